#include "hsmbase/context/ICStatus.h"

#include "tests/support/LoggedFailure.h"

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

TEST(ICStatusTrace, EndBanner_ReachesNoFile)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_trace([] { ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0); }), IsEmpty());
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
