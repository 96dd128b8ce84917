#pragma once

#include "hsmbase/threads/ICThreads.h"

// A thread that does something again and again, with a pause of a set length between, for ever or a number of times.
//
//     class ICProgress : public ICTimerThread
//     {
//     public:
//         ICProgress() : ICTimerThread(L"Progress", ICThreadContext::TYPE_TIMER) {}
//
//     private:
//         void mf_implExecuteTimer() override;          // the action
//     };
//
//     ICProgress progress;
//     progress.mf_start(1000, 1, INFINITE);             // at once, then each second
//     ...
//     progress.mf_stop();                               // waits for the action in progress
//
// A failure of the action that isn't severe ends that execution alone, and it isn't counted.
//
// Threads: mf_wakeUp may come from any thread, mf_stop from any but the timer's own: an action that calls it waits for
// itself for ever.
class HSMBASE_EXPORT ICTimerThread : public ICThreads
{
public:
    // `type` is one of the TYPE_ values of ICThreadContext. Throws what the group throws, and _E_::Initialization with
    // the system error where the event can't be had.
    ICTimerThread(CString const & name, ulong type);

    // As that of the group.
    ICTimerThread(ICTimerThread const &) = default;
    ICTimerThread & operator=(ICTimerThread const &) = default;

    // The thread must have been stopped. A failure to close the event is left in the trace.
    ~ICTimerThread() override;

    // Stops and collects the thread: also one that has ended by itself. Its exit code isn't told. Waits without end for
    // an execution in progress. Throws _E_::Synchronization, and what mf_stopWait of the group throws.
    void mf_stop() override;

private:
    void mf_implExecute(int index) override;

    // The action.
    virtual void mf_implExecuteTimer() = 0;

public:
    // Starts the thread and returns when it runs. `sleepPeriod` is in milliseconds, INFINITE sleeps until woken;
    // `immediate` leaves out the pause ahead of the first execution; `executionCount` is the number of executions,
    // INFINITE for no end, and 0 is taken as 1. Throws what mf_start and mf_startWait of the group throw; for a thread
    // that was started before _E_::Internal, and the three values have changed by then.
    virtual void mf_start(ulong sleepPeriod, int immediate, ulong executionCount);

    // Ends the pause: the next execution follows at once, and the next pause has its whole length. Calls during an
    // execution count as one. A failure is left in the trace.
    virtual void mf_wakeUp();

    int mf_isHalted() { return ICThreads::mf_isHalted(0); }
    int mf_isRunning() { return ICThreads::mf_isRunning(0); }
    int mf_isShutdown() { return ICThreads::mf_isShutdown(0); }

protected:
    // For the action. The executions that are left: without meaning where there is no end to them.
    ulong mf_implGetCountdown() const { return m_executionCount - m_executionsDone; }
    ulong mf_implGetSleepPeriod() { return m_sleepPeriod; }

    // For the pauses to come. Answers whether that changes anything.
    int mf_implSetSleepPeriod(ulong sleepPeriod);

private:
    // A timer starts by the other one.
    using ICThreads::mf_start;

    void mf_implCleanup();
    void mf_implSleep();

    int m_immediate;
    ulong m_executionCount;
    ulong m_sleepPeriod; // milliseconds
    HANDLE m_hWakeUp;    // -1: not open
    ulong m_executionsDone;
};
