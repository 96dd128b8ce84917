#include "hsmbase/context/ICStatus.h"

#include "tests/events/EventsTest.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::_;
using testing::ElementsAre;
using testing::IsEmpty;

static auto f_isStartBanner()
{
    return ElementsAre(f_isRecord('I', "ICStatus::mf_setStatus",
                                  "**** Logging started ******************************************************"));
}

TEST(ICStatusTrace, StartBanner_IsTheFirstLineOfARun)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_read(), f_isStartBanner());
}

TEST(ICStatusTrace, StartBanner_FollowsTheBitAmongOthersAndComesEachTime)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_trace([] { ICStatus::mf_setStatus(0x300, 1); }), f_isStartBanner());
    ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 0);
}

// Deliberate: the bit is gone by the time that the banner is written.
TEST(ICStatusTrace, EndBanner_ReachesNeitherFileNorListeners)
{
    ICTracedProcess const process;
    int heard = 0;
    ICTestListener const ear(L"ear", ICEvent::MISC_LOG, [&heard](ICEvent const &) { ++heard; });
    ICLog::mf_registerLogListener(&ear);
    EXPECT_THAT(process.mf_trace([] { ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0); }), IsEmpty());
    EXPECT_EQ(0, heard);
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    EXPECT_EQ(1, heard);
    ICLog::mf_removeLogListener(&ear);
}

TEST(ICStatusTrace, OtherBits_LeaveNoLine)
{
    ICTracedProcess const process;
    auto const records = process.mf_trace([] {
        for (int const on : {1, 0})
            ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, on);
    });
    EXPECT_THAT(records, IsEmpty());
}

TEST(ICStatusTrace, NameOfNoSingleBit_IsAnError)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_run([] { ICStatus::mf_getStatusItemString(3); }),
                f_fails(ICErrno::_E_::Unknown, 'E', "ICStatus::mf_getStatusItemString",
                        "Undefined (or multiple-value) status value: 3"));
}

TEST(ICStatusTrace, LookForTheContextFails_AnswersNoAndOnlyTheLookIsTraced)
{
    ICTracedProcess const process;
    int answer = 1;
    ICImportFault const refused("TlsGetValue", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1).mf_onThisThread());
    auto const records = process.mf_trace([&answer] { answer = ICStatus::mf_canToggleLanguages(); });
    EXPECT_EQ(0, answer);
    EXPECT_THAT(records, ElementsAre(f_isRecord('E', "ICTlsHandler::mf_getContextData", _),
                                     f_isRecord('E', "ICThreadContext::mf_isInitialized", _)));
}
