// When a timer runs its action, and when it ends.
#include <algorithm>
#include <chrono>
#include <thread>

#include "tests/support/ICImportFault.h"
#include "tests/threads/ICRawStorage.h"
#include "tests/threads/ICTestTimer.h"
#include "tests/threads/VirtualSlot.h"

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

namespace
{

class ICTimerThreadTest : public testing::Test
{
protected:
    ICStartedProcess const m_process;
};

// Owns nothing but what the group has in raw memory, so that a copy of it need not be destroyed.
class ICNamelessTimer : public ICTimerThread
{
public:
    ICNamelessTimer() : ICTimerThread(CString(), ICThreadContext::TYPE_TIMER) {}
    ICNamelessTimer(ICNamelessTimer const &) = default;

private:
    void mf_implExecuteTimer() override {}
};

} // namespace

TEST_F(ICTimerThreadTest, New_IsNothingYet)
{
    ICTestTimer timer;
    EXPECT_STREQ(L"T", timer.mf_getName());
    EXPECT_EQ(1, timer.mf_getThreadCount());
    EXPECT_EQ(1, timer.m_immediate);
    EXPECT_EQ(0u, timer.mf_implGetSleepPeriod());
    EXPECT_EQ(0u, timer.m_executionsDone);
    EXPECT_FALSE(timer.mf_isHalted() || timer.mf_isRunning() || timer.mf_isShutdown());
}

TEST_F(ICTimerThreadTest, New_WakeUpEventIsAutoResetAndUnsignalled)
{
    ICTestTimer const timer;
    EXPECT_FALSE(f_isSignalled(timer.m_hWakeUp));
    ::SetEvent(timer.m_hWakeUp);
    EXPECT_TRUE(f_isSignalled(timer.m_hWakeUp));
    EXPECT_FALSE(f_isSignalled(timer.m_hWakeUp));
}

TEST_F(ICTimerThreadTest, Start_ThreeTimesAtOnce_SleepsTwiceThenStopsItself)
{
    ICTestTimer timer;
    ICSleeps const sleeps(timer, &ICSleeps::mf_isOver);
    timer.mf_start(1000, 1, 3);
    EXPECT_TRUE(timer.mf_awaitEnd());
    EXPECT_THAT(sleeps.mf_getPeriods(), ElementsAre(1000, 1000));
    EXPECT_EQ(3, timer.m_executions);
    EXPECT_TRUE(timer.mf_isShutdown() || timer.mf_isHalted());
    timer.mf_stop();
    EXPECT_TRUE(timer.mf_isHalted());
}

TEST_F(ICTimerThreadTest, Start_ThreeTimesAtOnce_TakesTwoPeriods)
{
    ICTestTimer timer;
    auto const begin = std::chrono::steady_clock::now();
    timer.mf_start(50, 1, 3);
    EXPECT_TRUE(timer.mf_awaitEnd());
    // A clock of 16 ms may round each period.
    EXPECT_LE(std::chrono::milliseconds(2 * (50 - 16)), std::chrono::steady_clock::now() - begin);
    EXPECT_EQ(3, timer.m_executions);
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Start_NotAtOnce_SleepsFirst)
{
    ICTestTimer timer;
    std::vector<int> executed;
    ICSleeps sleeps(timer, [&](HANDLE wakeUp, ulong) {
        executed.push_back(timer.m_executions);
        return executed.size() == 1 ? WAIT_TIMEOUT : ::WaitForSingleObject(wakeUp, TEST_LIMIT);
    });
    timer.mf_start(1000, 0, PERIODICALLY);
    EXPECT_TRUE(timer.mf_awaitExecution());
    timer.mf_stop();
    EXPECT_THAT(sleeps.mf_getPeriods(), Each(1000));
    EXPECT_EQ(0, executed.at(0));
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTest, Start_NotAtOnce_WakeUpEndsTheFirstSleep)
{
    ICTestTimer timer;
    ICSleeps sleeps(timer);
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    EXPECT_TRUE(sleeps.mf_awaitSleep());
    EXPECT_EQ(0, timer.m_executions);
    timer.mf_wakeUp();
    EXPECT_TRUE(timer.mf_awaitExecution());
    // The next sleep has its whole length.
    EXPECT_TRUE(sleeps.mf_awaitSleep(2));
    timer.mf_stop();
    EXPECT_THAT(sleeps.mf_getPeriods(), ElementsAre(AN_HOUR, AN_HOUR));
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTest, Start_InfinitePeriod_SleepsUntilWoken)
{
    ICTestTimer timer;
    ICSleeps sleeps(timer);
    timer.mf_start(0xFFFFFFFF, 0, 1);
    EXPECT_TRUE(sleeps.mf_awaitSleep());
    timer.mf_wakeUp();
    EXPECT_TRUE(timer.mf_awaitEnd());
    timer.mf_stop();
    EXPECT_THAT(sleeps.mf_getPeriods(), ElementsAre(INFINITE));
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTest, Start_CountOfZero_IsOneExecution)
{
    ICTestTimer timer;
    timer.mf_start(0, 1, 0);
    EXPECT_TRUE(timer.mf_awaitEnd());
    EXPECT_EQ(1, timer.m_executions);
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Start_Periodically_GoesOnUntilStopped)
{
    ICTestTimer timer;
    timer.mf_start(0, 1, PERIODICALLY);
    EXPECT_TRUE(timer.mf_awaitExecution(100));
    EXPECT_TRUE(timer.mf_isRunning());
    timer.mf_stop();
    EXPECT_TRUE(timer.mf_isHalted());
    // Executions of a timer without end aren't counted.
    EXPECT_EQ(0u, timer.m_executionsDone);
}

TEST_F(ICTimerThreadTest, Start_ReturnsWhenTheThreadRuns)
{
    ICTestTimer timer;
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    EXPECT_TRUE(timer.mf_isRunning());
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Start_Twice_FailsAndHasStoredItsValues)
{
    ICTestTimer timer;
    ICSleeps sleeps(timer);
    timer.mf_start(AN_HOUR, 0, PERIODICALLY);
    EXPECT_TRUE(sleeps.mf_awaitSleep());
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { timer.mf_start(AN_HOUR + 1, 0, 7); }));
    EXPECT_EQ(AN_HOUR + 1, timer.mf_implGetSleepPeriod());
    EXPECT_EQ(7u, timer.m_executionCount);
    EXPECT_TRUE(timer.mf_isRunning());
    timer.mf_stop();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { timer.mf_start(AN_HOUR, 1, 1); }));
    EXPECT_EQ(0, timer.m_executions);
}

TEST_F(ICTimerThreadTest, Stop_DuringASleep_EndsWithoutExecution)
{
    ICTestTimer timer;
    ICSleeps sleeps(timer);
    timer.mf_start(0xFFFFFFFF, 0, PERIODICALLY);
    EXPECT_TRUE(sleeps.mf_awaitSleep());
    timer.mf_stop();
    EXPECT_TRUE(timer.mf_isHalted());
    EXPECT_EQ(0, timer.m_executions);
}

TEST_F(ICTimerThreadTest, Stop_WaitsForTheExecutionInProgress)
{
    ICSignal stopping;
    bool isStopping = false;
    ICTestTimer timer([&] { isStopping = stopping.mf_await(); });
    timer.mf_start(AN_HOUR, 1, PERIODICALLY);
    EXPECT_TRUE(timer.mf_awaitExecution());
    ICImportPatch const collecting(IC_IMPORT(WaitForMultipleObjects),
                                   [&](auto count, auto handles, auto all, auto limit) {
                                       EXPECT_EQ(INFINITE, limit);
                                       stopping.mf_give();
                                       return ::WaitForMultipleObjects(count, handles, all, limit);
                                   });
    timer.mf_stop();
    EXPECT_TRUE(isStopping);
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTest, Stop_AfterTheCountExpired_CollectsTheThread)
{
    ICTestTimer timer;
    timer.mf_start(0, 1, 1);
    EXPECT_TRUE(timer.mf_awaitEnd());
    for (int time = 0; time < 2; ++time) {
        timer.mf_stop();
        EXPECT_TRUE(timer.mf_isHalted());
    }
    EXPECT_EQ(1, timer.m_executions);
}

TEST_F(ICTimerThreadTest, WakeUps_DuringAnExecution_AreOneExecution)
{
    ICTestTimer * woken = nullptr;
    ICTestTimer timer([&] {
        if (woken->m_executions > 1) return;
        for (int time = 0; time < 3; ++time)
            woken->mf_wakeUp();
    });
    woken = &timer;
    ICSleeps sleeps(timer);
    timer.mf_start(0xFFFFFFFF, 1, PERIODICALLY);
    EXPECT_TRUE(sleeps.mf_awaitSleep(2));
    timer.mf_stop();
    EXPECT_EQ(2, timer.m_executions);
    EXPECT_THAT(sleeps.mf_getPeriods(), SizeIs(2));
}

// Each wake-up is followed by an execution that sees what was there before it.
TEST_F(ICTimerThreadTest, WakeUps_OfManyThreads_NoneIsLost)
{
    constexpr int WAKERS = 4;
    constexpr int ROUNDS = 250;
    std::atomic<int> work = 0;
    ICSignal allSeen;
    ICTestTimer timer([&] {
        if (work == WAKERS * ROUNDS) allSeen.mf_give();
    });
    timer.mf_start(0xFFFFFFFF, 0, PERIODICALLY);
    std::vector<std::jthread> wakers;
    for (int waker = 0; waker < WAKERS; ++waker)
        wakers.emplace_back([&] {
            for (int round = 0; round < ROUNDS; ++round) {
                ++work;
                timer.mf_wakeUp();
            }
        });
    EXPECT_TRUE(allSeen.mf_await());
    wakers.clear();
    timer.mf_stop();
    EXPECT_LE(timer.m_executions, WAKERS * ROUNDS);
}

TEST_F(ICTimerThreadTest, Execute_Fails_IsNotCountedAndSleepsAgain)
{
    ICTestTimer * failing = nullptr;
    ICTestTimer timer([&] {
        if (failing->m_executions <= 2) throw ICErrno(ICErrno::_E_::Parameter);
    });
    failing = &timer;
    ICSleeps const sleeps(timer, &ICSleeps::mf_isOver);
    timer.mf_start(1000, 1, 2);
    EXPECT_TRUE(timer.mf_awaitEnd());
    EXPECT_EQ(4, timer.m_executions);
    EXPECT_EQ(2u, timer.m_executionsDone);
    EXPECT_THAT(sleeps.mf_getPeriods(), ElementsAre(1000, 1000, 1000));
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Execute_FailsSeverely_EndsTheTimer)
{
    ICTestTimer timer([] { throw ICErrno(ICErrno::_S_::Unspecific); });
    timer.mf_start(0, 1, PERIODICALLY);
    EXPECT_TRUE(timer.mf_awaitEnd());
    EXPECT_EQ(1, timer.m_executions);
    // Its exit code tells, mf_stop doesn't.
    ulong code = 0;
    EXPECT_TRUE(::GetExitCodeThread(timer.m_phThreads[0], &code));
    EXPECT_EQ(ICErrno::_S_::Unspecific.mf_getNumber(), code);
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Cancelled_EndsTheTimer)
{
    ICCancelSwitch cancelSwitch;
    ICTestTimer timer([&] { cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen); });
    timer.mf_installCancelSwitch(&cancelSwitch);
    timer.mf_start(0, 1, PERIODICALLY);
    EXPECT_TRUE(timer.mf_awaitEnd());
    EXPECT_EQ(1, timer.m_executions);
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Thread_HasTheTypeOfTheTimer)
{
    ulong type = 0;
    ICTestTimer timer([&] { type = ICThreadContext::mf_getType(); });
    timer.mf_start(0, 1, 1);
    EXPECT_TRUE(timer.mf_awaitEnd());
    timer.mf_stop();
    EXPECT_EQ(ICThreadContext::TYPE_TIMER, type);
}

TEST_F(ICTimerThreadTest, Countdown_TellsWhatIsLeft)
{
    ICTestTimer * counting = nullptr;
    std::vector<ulong> left;
    ICTestTimer timer([&] { left.push_back(counting->mf_implGetCountdown()); });
    counting = &timer;
    timer.mf_start(0, 1, 3);
    EXPECT_TRUE(timer.mf_awaitEnd());
    timer.mf_stop();
    EXPECT_THAT(left, ElementsAre(3, 2, 1));
    EXPECT_EQ(0u, timer.mf_implGetCountdown());
}

TEST_F(ICTimerThreadTest, SetSleepPeriod_TellsWhetherItChanges)
{
    ICTestTimer timer;
    EXPECT_EQ(0, timer.mf_implSetSleepPeriod(0));
    EXPECT_EQ(1, timer.mf_implSetSleepPeriod(20));
    EXPECT_EQ(0, timer.mf_implSetSleepPeriod(20));
    EXPECT_EQ(20u, timer.mf_implGetSleepPeriod());
}

TEST_F(ICTimerThreadTest, SetSleepPeriod_InTheAction_IsTheNextSleeps)
{
    ICTestTimer * changing = nullptr;
    ICTestTimer timer([&] { changing->mf_implSetSleepPeriod(changing->mf_implGetSleepPeriod() * 2); });
    changing = &timer;
    ICSleeps const sleeps(timer, &ICSleeps::mf_isOver);
    timer.mf_start(100, 0, 3);
    EXPECT_TRUE(timer.mf_awaitEnd());
    timer.mf_stop();
    EXPECT_THAT(sleeps.mf_getPeriods(), ElementsAre(100, 200, 400));
}

// It asks for the end of its own thread, without limit.
TEST_F(ICTimerThreadTest, Stop_InTheAction_WaitsForItself)
{
    ICTestTimer * stopping = nullptr;
    bool isItself = false;
    ICTestTimer timer([&] { stopping->mf_stop(); });
    stopping = &timer;
    {
        ICImportPatch const refused(IC_IMPORT(WaitForMultipleObjects),
                                    [&](ulong, HANDLE const * handles, auto, ulong limit) {
                                        isItself = ::GetThreadId(*handles) == ::GetCurrentThreadId() &&
                                                   limit == INFINITE && !f_isSignalled(*handles);
                                        ::SetLastError(ERROR_POSSIBLE_DEADLOCK);
                                        return WAIT_FAILED;
                                    });
        timer.mf_start(0, 1, PERIODICALLY);
        EXPECT_TRUE(timer.mf_awaitEnd());
    }
    EXPECT_TRUE(isItself);
    timer.mf_stop();
}

TEST_F(ICTimerThreadTest, Copy_IsASecondView)
{
    ICNamelessTimer timer;
    timer.mf_implSetSleepPeriod(20);
    ICRawStorage<ICNamelessTimer> storage;
    ICNamelessTimer const & copy = storage.mf_make(timer);
    EXPECT_EQ(timer.m_hWakeUp, copy.m_hWakeUp);
    EXPECT_EQ(timer.m_hShutdown, copy.m_hShutdown);
    EXPECT_EQ(timer.m_ppThreads, copy.m_ppThreads);
    EXPECT_EQ(20u, copy.m_sleepPeriod);
    EXPECT_EQ(1, copy.m_immediate);
    delete timer.m_ppThreads[0];
}

TEST_F(ICTimerThreadTest, Fields_StandInTheirOrder)
{
    ICTestTimer timer;
    std::vector<void const *> const fields = {&timer.m_hShutdown,   &timer.m_immediate, &timer.m_executionCount,
                                              &timer.m_sleepPeriod, &timer.m_hWakeUp,   &timer.m_executionsDone};
    EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end()));
}

#ifndef _MSC_VER
TEST_F(ICTimerThreadTest, VirtualOperations_KeepTheirSlots)
{
    using START = void (ICTimerThread::*)(ulong, int, ulong);
    EXPECT_EQ(11, f_slotOf(&ICThreads::mf_stopWait));
    EXPECT_EQ(12, f_slotOf(&ICTimerThread::mf_implExecuteTimer));
    EXPECT_EQ(13, f_slotOf(static_cast<START>(&ICTimerThread::mf_start)));
    EXPECT_EQ(14, f_slotOf(&ICTimerThread::mf_wakeUp));
    EXPECT_EQ(7, f_slotOf(&ICTimerThread::mf_implExecute));
    EXPECT_EQ(10, f_slotOf(&ICTimerThread::mf_stop));
}
#endif
