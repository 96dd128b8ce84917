// What commands and polls say when they fail, and what a poll answers in each state that it may find.
#include "tests/threads/CancelTest.h"

#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr ulong REFUSED = ERROR_INVALID_HANDLE;
constexpr char POLL[] = "ICCancelSwitch::mf_implTryCancel";
constexpr char FINAL[] = "Already reached final state 'STATE_CANCEL', ignored...";

class ICCancelSwitchTrace : public testing::Test
{
protected:
    ICTracedAction mf_poll() const
    {
        return m_process.mf_run([this] { m_work.m_work.mf_tryCancel(); });
    }

    // A poll that finds a pause, then this state behind its wait.
    ICTracedAction mf_pollPaused(long stateBehind) const
    {
        m_work.m_switch.mf_pause();
        ICImportPatch const wait(IC_IMPORT(WaitForSingleObject), [&](HANDLE, DWORD) {
            m_work.m_switch.m_state = stateBehind;
            return WAIT_OBJECT_0;
        });
        return mf_poll();
    }

    ICTracedProcess const m_process{L"German"};
    ICSwitchedWork mutable m_work;
    ICCancelSwitch & m_switch = m_work.m_switch;
};

testing::Matcher<ICTracedAction const &> f_fallsSilent()
{
    return AllOf(testing::Field(&ICTracedAction::m_failure, testing::Eq(std::nullopt)),
                 testing::Field(&ICTracedAction::m_records, IsEmpty()));
}

testing::Matcher<ICTraceRecord const &> f_waits()
{
    return f_isRecord('D', POLL, "Thread paused, entering wait mode...");
}

testing::Matcher<ICTraceRecord const &> f_leaves()
{
    return f_isRecord('W', POLL, "Canceled, throwing user-canceled exception...");
}

} // namespace

TEST_F(ICCancelSwitchTrace, Construction_NoEvent_Fails)
{
    ICImportFault const refused("CreateEventW", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_THAT(m_process.mf_run([] { ICCancelSwitch const cancelSwitch; }),
                f_failsShowing(ICErrno::_E_::Synchronization, ERROR_NOT_ENOUGH_MEMORY, "ICCancelSwitch::ICCancelSwitch",
                               "Failure creating cancelation event: "));
}

TEST_F(ICCancelSwitchTrace, Destruction_CloseFails_IsTracedAndIgnored)
{
    ICFailingClose const failing(REFUSED);
    EXPECT_THAT(
        m_process.mf_trace([] {
            ICCancelSwitch const cancelSwitch;
            ::SetLastError(77);
        }),
        ElementsAre(f_isRecord('E', "ICCancelSwitch::~ICCancelSwitch",
                               f_logged("Failure closing cancelation handle: ", ICErrno::_E_::CloseHandle, REFUSED))));
    EXPECT_EQ(1u, failing.mf_getCalls());
}

TEST_F(ICCancelSwitchTrace, Destruction_KeepsTheLastError)
{
    {
        ICCancelSwitch const cancelSwitch;
        ::SetLastError(77);
    }
    EXPECT_EQ(77u, ::GetLastError());
}

TEST_F(ICCancelSwitchTrace, Commands_Working_AreSilent)
{
    EXPECT_THAT(m_process.mf_trace([&] {
        m_switch.mf_resume();
        m_switch.mf_pause();
        m_switch.mf_pause();
        m_switch.mf_resume();
        m_switch.mf_cancel(ICErrno::_E_::FileOpen);
        m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    }),
                IsEmpty());
}

TEST_F(ICCancelSwitchTrace, Pause_ResetFails_StatePausedStays)
{
    ICImportFault const refused("ResetEvent", REFUSED);
    for (int time = 0; time < 2; ++time) {
        EXPECT_THAT(m_process.mf_run([&] { m_switch.mf_pause(); }),
                    f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, "ICCancelSwitch::mf_pause",
                                   "Failure resetting cancelation event: "));
        EXPECT_TRUE(m_switch.mf_isPaused());
    }
}

TEST_F(ICCancelSwitchTrace, Pause_AfterCancel_WarnsAndStaysCancelled)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_THAT(m_process.mf_trace([&] { m_switch.mf_pause(); }),
                ElementsAre(f_isRecord('W', "ICCancelSwitch::mf_pause", FINAL)));
    EXPECT_TRUE(m_switch.mf_isCanceled());
}

TEST_F(ICCancelSwitchTrace, Resume_SetFails_StateRunningStays)
{
    m_switch.mf_pause();
    ICImportFault const refused("SetEvent", REFUSED);
    EXPECT_THAT(m_process.mf_run([&] { m_switch.mf_resume(); }),
                f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, "ICCancelSwitch::mf_resume",
                               "Failure signaling cancelation event: "));
    EXPECT_EQ(0, m_switch.m_state);
}

TEST_F(ICCancelSwitchTrace, Resume_AfterCancel_WarnsAndStaysCancelled)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_THAT(m_process.mf_trace([&] { m_switch.mf_resume(); }),
                ElementsAre(f_isRecord('W', "ICCancelSwitch::mf_resume", FINAL)));
    EXPECT_TRUE(m_switch.mf_isCanceled());
}

TEST_F(ICCancelSwitchTrace, Cancel_SetFails_StateCancelledStays)
{
    m_switch.mf_pause();
    ICImportFault const refused("SetEvent", REFUSED);
    EXPECT_THAT(m_process.mf_run([&] { m_switch.mf_cancel(ICErrno::_E_::FileOpen); }),
                f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, "ICCancelSwitch::mf_cancel",
                               "Failure setting cancelation event: "));
    EXPECT_TRUE(m_switch.mf_isCanceled());
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), m_switch.mf_getErrnoData().mf_getNumber());
}

TEST_F(ICCancelSwitchTrace, Commands_UnknownState_Fail)
{
    m_switch.m_state = 5;
    EXPECT_THAT(m_process.mf_run([&] { m_switch.mf_pause(); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICCancelSwitch::mf_pause", "Unknown cancel state 5"));
    EXPECT_THAT(m_process.mf_run([&] { m_switch.mf_resume(); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICCancelSwitch::mf_resume", "Unknown cancel state 5"));
    m_switch.m_state = -1;
    EXPECT_THAT(m_process.mf_run([&] { m_switch.mf_cancel(ICErrno::_E_::FileOpen); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICCancelSwitch::mf_cancel", "Unknown cancel state -1"));
    EXPECT_FALSE(m_switch.mf_getErrnoData().mf_isSet());
}

TEST_F(ICCancelSwitchTrace, Reset_IsTraced)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_THAT(m_process.mf_trace([&] { m_switch.mf_reset(); }),
                ElementsAre(f_isRecord('T', "ICCancelSwitch::mf_reset", "Reset cancelation object")));
    EXPECT_THAT(mf_poll(), f_fallsSilent());
}

TEST_F(ICCancelSwitchTrace, Reset_SetFails_StateRunningStays)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    ICImportFault const refused("SetEvent", REFUSED);
    auto const outcome = m_process.mf_run([&] { m_switch.mf_reset(); });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, "ICCancelSwitch::mf_reset",
                                        "Failure signaling cancelation event: "));
    EXPECT_EQ(1u, outcome.m_records.size());
    EXPECT_EQ(0, m_switch.m_state);
}

TEST_F(ICCancelSwitchTrace, Poll_Running_MakesNoCall)
{
    ICImportFault const locks("EnterCriticalSection");
    ICImportFault const waits("WaitForSingleObject");
    ICImportFault const contexts("TlsGetValue");
    EXPECT_THAT(mf_poll(), f_fallsSilent());
    EXPECT_EQ(0u, locks.mf_getCalls() + waits.mf_getCalls() + contexts.mf_getCalls());
}

TEST_F(ICCancelSwitchTrace, Poll_Cancelled_ThrowsEachTime)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    for (int poll = 0; poll < 3; ++poll)
        EXPECT_THAT(mf_poll(), AllOf(f_fails(ICErrno::_W_::UserCanceled, 'W', POLL,
                                             "Canceled, throwing user-canceled exception..."),
                                     testing::Field(&ICTracedAction::m_originatorErrno, 0xffffffff)));
}

// The reason stays in the switch.
TEST_F(ICCancelSwitchTrace, Poll_Cancelled_ThrowsWithoutTheReason)
{
    m_switch.mf_cancel(ICErrno(ICErrno::_E_::FileOpen, 5, 7, L"why").mf_getErrnoData());
    EXPECT_TRUE(f_throws(ICErrno::_W_::UserCanceled, [&] { m_work.m_work.mf_tryCancel(); }));
}

TEST_F(ICCancelSwitchTrace, Poll_MainThread_ThrowsAndIsNotMarked)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    auto const outcome = mf_poll();
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, ElementsAre(f_leaves(), f_isRecord('T', "ICThreadContext::mf_setCanceled",
                                                                      "Main thread, thread cancelation not possible")));
    EXPECT_FALSE(ICThreadContext::mf_isCanceled());
}

TEST_F(ICCancelSwitchTrace, Poll_Worker_IsMarked)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    ICPollOutcome outcome;
    f_onWorker([&] { outcome = f_poll(m_work.m_work); });
    EXPECT_EQ(CANCELED, outcome);
}

TEST_F(ICCancelSwitchTrace, Poll_NoContext_UnexpectedGoesOut)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    std::jthread([&] {
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { m_work.m_work.mf_tryCancel(); }));
    }).join();
}

TEST_F(ICCancelSwitchTrace, Poll_NoContext_RunningAndPausedNeedNone)
{
    std::jthread([&] { m_work.m_work.mf_tryCancel(); }).join();
    m_switch.mf_pause();
    ICImportPatch const wait(IC_IMPORT(WaitForSingleObject), [&](HANDLE, DWORD) {
        m_switch.mf_resume();
        return WAIT_OBJECT_0;
    });
    std::jthread([&] { m_work.m_work.mf_tryCancel(); }).join();
    EXPECT_EQ(0, m_switch.m_state);
}

TEST_F(ICCancelSwitchTrace, LogCancelation_Off_OnlyTheLineIsMissing)
{
    m_switch.mf_setLogCancelation(0);
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    ICPollOutcome polled;
    EXPECT_THAT(m_process.mf_trace([&] { f_onWorker([&] { polled = f_poll(m_work.m_work); }); }),
                Not(Contains(f_leaves())));
    EXPECT_EQ(CANCELED, polled);
}

TEST_F(ICCancelSwitchTrace, LogCancelation_Off_OtherLinesStay)
{
    m_switch.mf_setLogCancelation(0);
    EXPECT_THAT(mf_pollPaused(5).m_records, ElementsAre(f_waits(), f_isRecord('E', POLL, "Unknown cancel state: 5")));
}

TEST_F(ICCancelSwitchTrace, Cancelled_ErrorsOfTheThreadAreOfTheUser)
{
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    constexpr char INSTALL[] = "ICCancelObject::mf_installCancelSwitch";
    constexpr char TEXT[] = "Resetting cancel switch to NULL is not allowed";
    auto const fail = [&] {
        f_throws(ICErrno::_E_::Parameter, [&] { m_work.m_work.mf_installCancelSwitch(nullptr); });
    };
    EXPECT_THAT(m_process.mf_trace([&] {
        f_onWorker([&] {
            fail();
            f_poll(m_work.m_work);
            fail();
        });
        fail();
    }),
                AllOf(Contains(f_isRecord('E', INSTALL, TEXT)).Times(2), Contains(f_isRecord('U', INSTALL, TEXT)),
                      Contains(f_leaves())));
}

TEST_F(ICCancelSwitchTrace, Wait_ThenRunning_Returns)
{
    auto const outcome = mf_pollPaused(0);
    EXPECT_FALSE(outcome.m_failure);
    EXPECT_THAT(outcome.m_records, ElementsAre(f_waits()));
}

TEST_F(ICCancelSwitchTrace, Wait_ThenCancelled_Throws)
{
    auto const outcome = mf_pollPaused(2);
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, Contains(f_waits()));
    EXPECT_THAT(outcome.m_records, Contains(f_leaves()));
}

TEST_F(ICCancelSwitchTrace, Wait_ThenPausedAgain_FailsAndDoesNotWaitAgain)
{
    auto const outcome = mf_pollPaused(1);
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Internal, 'E', POLL,
                                 "Found state 'STATE_PAUSE' directly after leaving 'STATE_PAUSE'"));
    EXPECT_THAT(outcome.m_records, Contains(f_waits()).Times(1));
}

TEST_F(ICCancelSwitchTrace, Poll_UnknownState_Fails)
{
    for (long const state : {5L, -1L}) {
        std::string const text = "Unknown cancel state: " + std::to_string(state);
        EXPECT_THAT(mf_pollPaused(state), f_fails(ICErrno::_E_::Unexpected, 'E', POLL, text));
        EXPECT_THAT(mf_poll(), f_fails(ICErrno::_E_::Unexpected, 'E', POLL, text));
        m_switch.mf_reset();
    }
}

TEST_F(ICCancelSwitchTrace, Wait_Fails_Throws)
{
    m_switch.mf_pause();
    ICImportFault const refused("WaitForSingleObject", ICAnswer::mf_error(REFUSED, WAIT_FAILED));
    EXPECT_THAT(mf_poll(), f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, POLL,
                                          "Failure waiting for cancelation wait event: "));
    EXPECT_TRUE(m_switch.mf_isPaused());
}

TEST_F(ICCancelSwitchTrace, Wait_UnexpectedResult_ThrowsWithoutSystemError)
{
    m_switch.mf_pause();
    for (ulong const result : {258ul, 128ul, 1ul}) {
        ICImportFault const odd("WaitForSingleObject", ICAnswer::mf_value(result));
        EXPECT_THAT(mf_poll(), f_fails(ICErrno::_E_::Synchronization, 0xffffffff, 'E', POLL,
                                       "Unexpected result waiting for cancelation event: " + std::to_string(result)));
    }
}

// The gap in a pause: the state says so, the event doesn't yet.
TEST_F(ICCancelSwitchTrace, Poll_BetweenStateAndEventOfAPause_Fails)
{
    ICTracedAction polled;
    ICImportPatch const reset(IC_IMPORT(ResetEvent), [&](HANDLE event) {
        polled = mf_poll();
        return ::ResetEvent(event);
    });
    m_switch.mf_pause();
    EXPECT_THAT(polled, f_fails(ICErrno::_E_::Internal, 'E', POLL,
                                "Found state 'STATE_PAUSE' directly after leaving 'STATE_PAUSE'"));
}
