// The lines of the event log's class, as a log shows them.
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/logging/ICEventLog.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

using testing::Contains;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Event logging is up, and whatever instance a test makes ends with it.
class ICEventLogTrace : public testing::Test
{
protected:
    void SetUp() override { ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 1); }
    void TearDown() override
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 0);
        if (ICEventLog::m_pThis != nullptr) ICEventLog::mf_deleteInstance();
    }

    static void mf_create() { ICEventLog::mf_createInstance(L"HSM service"); }
    static void mf_report() { ICEventLog::mf_logEvent(EVENTLOG_WARNING_TYPE, 7, L"text"); }

    ICTracedProcess const m_process;
};

} // namespace

TEST_F(ICEventLogTrace, SecondInstance_IsRefused)
{
    EXPECT_THAT(m_process.mf_trace(&mf_create),
                Contains(f_isRecord('T', "ICEventLog::mf_createInstance", "Initialized event logging")));
    EXPECT_THAT(m_process.mf_run(&mf_create),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICEventLog::mf_createInstance",
                        "Event log singleton already Initialized."));
}

TEST_F(ICEventLogTrace, RefusedSource_IsNamed)
{
    ICImportFault const refused("RegisterEventSourceW", DENIED);
    EXPECT_THAT(m_process.mf_run(&mf_create),
                f_failsShowing(ICErrno::_E_::Logging, DENIED, "ICEventLog::ICEventLog",
                               "Failure registering logging event source 'HSM service':\n"));
}

TEST_F(ICEventLogTrace, DeletionWithoutInstance_Warns)
{
    EXPECT_THAT(m_process.mf_trace(&ICEventLog::mf_deleteInstance),
                Contains(f_isRecord('W', "ICEventLog::mf_deleteInstance", "Event log singleton was not Initialized.")));
}

TEST_F(ICEventLogTrace, SourceThatCannotBeGivenBack_IsAnErrorLineOnly)
{
    mf_create();
    ICImportPatch const refused(IC_IMPORT(DeregisterEventSource), [](HANDLE source) -> BOOL {
        ::DeregisterEventSource(source);
        ::SetLastError(DENIED);
        return FALSE;
    });
    EXPECT_THAT(m_process.mf_trace(&ICEventLog::mf_deleteInstance),
                Contains(f_isRecord('E', "ICEventLog::~ICEventLog",
                                    f_logged("Could not deregister event source:\n", ICErrno::_E_::System, DENIED))));
}

TEST_F(ICEventLogTrace, EventWithoutInstance_Fails)
{
    EXPECT_THAT(m_process.mf_run(&mf_report),
                f_fails(ICErrno::_E_::Internal, 'E', "ICEventLog::mf_logEvent", "Eventlog not initialized."));
}

TEST_F(ICEventLogTrace, RefusedEvent_Fails)
{
    mf_create();
    ICImportFault const refused("ReportEventW", DENIED);
    EXPECT_THAT(m_process.mf_run(&mf_report), f_failsShowing(ICErrno::_E_::Logging, DENIED, "ICEventLog::mf_logEvent",
                                                             "Failure reporting log event: "));
}
