// What a timer says, and how it fails.
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/threads/ICTestTimer.h"

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr ulong REFUSED = ERROR_INVALID_HANDLE;
constexpr char CONSTRUCTION[] = "ICTimerThread::ICTimerThread";
constexpr char CLEANUP[] = "ICTimerThread::mf_implCleanup";
constexpr char START[] = "ICTimerThread::mf_start";
constexpr char STOP[] = "ICTimerThread::mf_stop";
constexpr char EXECUTE[] = "ICTimerThread::mf_implExecute";
constexpr char WAKE_UP[] = "ICTimerThread::mf_wakeUp";

class ICTimerThreadTrace : public testing::Test
{
protected:
    // One pass, on this thread.
    ICTracedAction mf_pass(ICTestTimer & timer, int index = 0) const
    {
        return m_process.mf_run([&] { timer.mf_implExecute(index); });
    }

    ICTracedProcess const m_process{L"German"};
};

ICCalls f_call(ulong number)
{
    return ICCalls::mf_only(number).mf_onThisThread();
}

// The failure's text, then the line that the timer goes on.
std::string f_continuing(std::string const & text, ICErrnoValue const & constant, ulong systemError)
{
    return f_logged(text, constant, systemError) + "\nContinuing ...";
}

} // namespace

TEST_F(ICTimerThreadTrace, Construction_NoEvent_FailsAndComplainsOfItToo)
{
    // Those of the group are the first two.
    ICImportFault const refused("CreateEventW", REFUSED, f_call(3));
    ICLeakAccount::mf_excuse("a record outlives its group, with its two locks", 0, 3);
    auto const outcome = m_process.mf_run([] { ICTestTimer const timer; });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Initialization, REFUSED, CONSTRUCTION,
                                        "Failure initializing wake-up event: "));
    EXPECT_THAT(outcome.m_records, Contains(f_isRecord('W', CLEANUP, "Wake-up event handle was not initialized")));
}

TEST_F(ICTimerThreadTrace, Construction_WakeUpEvent_IsAutoResetAndNameless)
{
    std::vector<std::vector<int>> asked;
    ICImportPatch const creating(IC_IMPORT(CreateEventW),
                                 [&](SECURITY_ATTRIBUTES * security, BOOL manual, BOOL initial, LPCWSTR name) {
                                     asked.push_back({manual, initial, security != nullptr, name != nullptr});
                                     return ::CreateEventW(security, manual, initial, name);
                                 });
    ICTestTimer const timer;
    EXPECT_THAT(asked.back(), ElementsAre(FALSE, FALSE, 0, 0));
}

TEST_F(ICTimerThreadTrace, Destruction_CloseFails_IsTracedAndIgnored)
{
    ICFailingClose const failing(REFUSED);
    EXPECT_THAT(
        m_process.mf_trace([] { ICTestTimer const timer; }),
        Contains(f_isRecord('E', CLEANUP,
                            f_logged("Failure closing wake-up event handle: ", ICErrno::_E_::CloseHandle, REFUSED))));
    // Those of the group follow.
    EXPECT_EQ(3u, failing.mf_getCalls());
}

TEST_F(ICTimerThreadTrace, Destruction_KeepsTheLastError)
{
    {
        ICTestTimer const timer;
        ::SetLastError(77);
    }
    EXPECT_EQ(77u, ::GetLastError());
}

TEST_F(ICTimerThreadTrace, Start_TellsPeriodAndCount)
{
    ICTestTimer timer;
    EXPECT_THAT(m_process.mf_trace([&] {
        timer.mf_start(3'600'000, 0, 3);
        timer.mf_stop();
    }),
                Contains(f_isRecord('T', START, "Started timer thread 'T', timeout=3600000 msec, execution count=3")));
}

TEST_F(ICTimerThreadTrace, Start_Periodically_IsSaidInWords)
{
    ICTestTimer timer;
    EXPECT_THAT(m_process.mf_trace([&] {
        timer.mf_start(0xFFFFFFFF, 0, PERIODICALLY);
        timer.mf_stop();
    }),
                Contains(f_isRecord(
                    'T', START, "Started timer thread 'T', timeout=4294967295 msec, execution count='periodically'")));
}

TEST_F(ICTimerThreadTrace, Start_NoThread_Fails)
{
    ICImportFault const refused("CreateThread", REFUSED);
    ICTestTimer timer;
    EXPECT_THAT(m_process.mf_run([&] { timer.mf_start(0, 1, 1); }),
                f_failsShowing(ICErrno::_E_::System, REFUSED, START, "Failure starting timer thread: "));
}

TEST_F(ICTimerThreadTrace, Start_WaitFails_FailsAndTheThreadRuns)
{
    ICTestTimer timer;
    {
        ICImportFault const refused("WaitForSingleObject", ICAnswer::mf_error(REFUSED, WAIT_FAILED), f_call(1));
        EXPECT_THAT(m_process.mf_run([&] { timer.mf_start(0, 1, 1); }),
                    f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, START, "Failure starting timer thread: "));
    }
    EXPECT_TRUE(timer.mf_awaitEnd());
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTrace, Start_Twice_Fails)
{
    ICTestTimer timer;
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    auto const outcome = m_process.mf_run([&] { timer.mf_start(AN_HOUR, 0, PERIODICALLY); });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Internal, START, "Failure starting timer thread: "));
    EXPECT_THAT(outcome.m_records, Not(Contains(f_isRecord('T', START, HasSubstr("Started")))));
    timer.mf_stop();
}

TEST_F(ICTimerThreadTrace, Pass_OtherIndex_Fails)
{
    ICTestTimer timer;
    for (int const index : {1, -1}) {
        std::string const text = "Unexpected thread index: " + std::to_string(index) + ", expected 0";
        EXPECT_THAT(mf_pass(timer, index), f_fails(ICErrno::_E_::Internal, 'E', EXECUTE, text));
    }
    EXPECT_EQ(0, timer.m_executions);
    EXPECT_EQ(1, timer.m_immediate);
}

TEST_F(ICTimerThreadTrace, Pass_WokenUp_IsTraced)
{
    ICTestTimer timer;
    timer.mf_beSleepy();
    timer.mf_wakeUp();
    timer.m_executionCount = PERIODICALLY;
    timer.mf_implSetSleepPeriod(AN_HOUR);
    EXPECT_THAT(mf_pass(timer).m_records, ElementsAre(f_isRecord('D', EXECUTE, "Wake-up event was signaled")));
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTrace, Pass_PeriodIsOver_IsSilent)
{
    ICTestTimer timer;
    timer.mf_beSleepy();
    timer.m_executionCount = PERIODICALLY;
    EXPECT_THAT(mf_pass(timer).m_records, IsEmpty());
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTrace, Pass_AtOnce_LeavesTheWakeUpForTheNext)
{
    ICTestTimer timer;
    timer.mf_wakeUp();
    timer.m_executionCount = PERIODICALLY;
    EXPECT_THAT(mf_pass(timer).m_records, IsEmpty());
    EXPECT_EQ(0, timer.m_immediate);
    EXPECT_TRUE(f_isSignalled(timer.m_hWakeUp));
}

TEST_F(ICTimerThreadTrace, Pass_WaitFails_FailsWithoutExecution)
{
    ICTestTimer timer;
    timer.mf_beSleepy();
    ICImportFault const refused("WaitForSingleObject", ICAnswer::mf_error(REFUSED, WAIT_FAILED));
    EXPECT_THAT(mf_pass(timer),
                f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, EXECUTE, "Failure waiting for wake-up event: "));
    EXPECT_EQ(0, timer.m_executions);
}

TEST_F(ICTimerThreadTrace, Pass_WaitEndsOddly_FailsWithoutExecution)
{
    ICTestTimer timer;
    timer.mf_beSleepy();
    for (ulong const answer : {0x80ul, 1ul}) {
        ICImportFault const odd("WaitForSingleObject", ICAnswer::mf_value(answer));
        EXPECT_THAT(mf_pass(timer),
                    f_failsShowing(ICErrno::_E_::Synchronization, 0, EXECUTE, "Failure waiting for wake-up event: "));
    }
    EXPECT_EQ(0, timer.m_executions);
}

TEST_F(ICTimerThreadTrace, Pass_Shutdown_IsTracedAndDoesNotExecute)
{
    ICTestTimer timer;
    timer.m_ppThreads[0]->mf_setShutdownState(1);
    EXPECT_THAT(mf_pass(timer).m_records, ElementsAre(f_isRecord('T', EXECUTE, "Shutdown was signaled, exiting ...")));
    EXPECT_EQ(0, timer.m_executions);
}

TEST_F(ICTimerThreadTrace, Pass_ActionFails_IsTracedAndGoesOut)
{
    ICTestTimer timer([] { throw ICErrno(ICErrno::_E_::FileOpen, REFUSED); });
    timer.m_executionCount = 1;
    EXPECT_THAT(mf_pass(timer), f_failsShowing(ICErrno::_E_::FileOpen, REFUSED, EXECUTE, "Execution failure: "));
    EXPECT_EQ(0u, timer.m_executionsDone);
}

TEST_F(ICTimerThreadTrace, Pass_CountExpires_IsTraced)
{
    ICTestTimer timer;
    timer.m_executionCount = 1;
    EXPECT_THAT(mf_pass(timer).m_records, Contains(f_isRecord('T', EXECUTE, "Execution count expired, exiting ...")));
    EXPECT_TRUE(f_isSignalled(timer.m_hShutdown));
}

TEST_F(ICTimerThreadTrace, Pass_CountExpires_StopFails)
{
    ICTestTimer timer;
    timer.m_executionCount = 1;
    ICImportFault const refused("SetEvent", REFUSED);
    EXPECT_THAT(mf_pass(timer),
                f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, EXECUTE, "Failure stopping ICThread base:\n"));
}

TEST_F(ICTimerThreadTrace, Stop_IsTraced)
{
    ICTestTimer timer;
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    EXPECT_THAT(m_process.mf_trace([&] { timer.mf_stop(); }),
                Contains(f_isRecord('T', STOP, "Timer thread 'T' terminated")));
}

TEST_F(ICTimerThreadTrace, Stop_GroupFails_GoesOutWithoutWaiting)
{
    ICTestTimer timer;
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    {
        ICImportFault const refused("SetEvent", REFUSED, f_call(1));
        ICImportFault const waits("WaitForMultipleObjects");
        EXPECT_THAT(m_process.mf_run([&] { timer.mf_stop(); }),
                    f_failsShowing(ICErrno::_E_::Synchronization, REFUSED, STOP, "Failure stopping thread: "));
        EXPECT_EQ(1u, refused.mf_getCalls());
        EXPECT_EQ(0u, waits.mf_getCalls());
    }
    timer.mf_stop();
}

TEST_F(ICTimerThreadTrace, Stop_WakeUpFails_IsTracedAndWaitsAllTheSame)
{
    ICTestTimer timer;
    timer.mf_start(0, 1, 1);
    EXPECT_TRUE(timer.mf_awaitEnd());
    ICImportFault const refused("SetEvent", REFUSED, f_call(2));
    auto const records = m_process.mf_trace([&] { timer.mf_stop(); });
    EXPECT_THAT(records, Contains(f_isRecord('E', STOP,
                                             f_continuing("Failure signaling wake-up event on shutdown: ",
                                                          ICErrno::_E_::Synchronization, REFUSED))));
    EXPECT_THAT(records, Contains(f_isRecord('T', STOP, "Timer thread 'T' terminated")));
}

TEST_F(ICTimerThreadTrace, Stop_WaitFails_GoesOut)
{
    ICTestTimer timer;
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    {
        ICImportFault const refused("WaitForMultipleObjects", ICAnswer::mf_error(REFUSED, WAIT_FAILED));
        auto const outcome = m_process.mf_run([&] { timer.mf_stop(); });
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::System, REFUSED, STOP, "Failure waiting for thread:\n"));
        EXPECT_THAT(outcome.m_records, Not(Contains(f_isRecord('T', STOP, HasSubstr("terminated")))));
    }
    timer.mf_stop();
}

TEST_F(ICTimerThreadTrace, WakeUp_Fails_IsTracedAndIgnored)
{
    ICTestTimer timer;
    ICImportFault const refused("SetEvent", REFUSED);
    EXPECT_THAT(
        m_process.mf_trace([&] { timer.mf_wakeUp(); }),
        ElementsAre(f_isRecord(
            'E', WAKE_UP, f_continuing("Failure signaling wake-up event: ", ICErrno::_E_::Synchronization, REFUSED))));
}

TEST_F(ICTimerThreadTrace, WakeUp_Works_IsSilent)
{
    ICTestTimer timer;
    EXPECT_THAT(m_process.mf_trace([&] { timer.mf_wakeUp(); }), IsEmpty());
}
