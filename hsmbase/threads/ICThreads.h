#pragma once

#include "hsmbase/failure/ICErrnoNumber.h"
#include "hsmbase/threads/ICCancelObject.h"
#include "hsmbase/threads/ICThreadsData.h"

// A named group of 1 to 64 threads that do the same work. A derived class supplies one pass of it; each thread does
// pass after pass until the group is stopped, the work is cancelled, or a severe failure ends the thread.
//
//     class ICCopiers : public ICThreads
//     {
//     public:
//         ICCopiers() : ICThreads(L"Copiers", ICThreadContext::TYPE_WORKER, 4) {}
//
//     private:
//         void mf_implExecute(int index) override;      // one pass, on four threads at once
//     };
//
//     ICCopiers copiers;
//     copiers.mf_start();
//     copiers.mf_startWait();
//     ...
//     copiers.mf_stop();
//     ICErrnoNumber const worst = copiers.mf_stopWait(INFINITE);
//
// The four are called in this order, once in the life of a group. Skipping mf_startWait is a fault: mf_stop before a
// thread runs is lost on that thread.
//
// What becomes of a failure on a thread: it is logged. _W_::UserCanceled and severe failures end the thread, any other
// ends the pass. A thread's outcome is its exit code, an ICErrnoNumber. Only ICErrno is caught: another exception ends
// the process.
//
// Each thread has its context, with the type of the group and its index, and a switch reaches it by mf_tryCancel, which
// runs ahead of each pass and wherever the pass calls it.
//
// The end of a group neither stops its threads nor closes their handles nor frees their records: it must have been
// stopped before, and handles and records stay for the life of the process.
//
// Threads: the owner's thread calls the four, any thread mf_stop and the queries. No lock is held while another is
// taken or a line is traced.
class HSMBASE_EXPORT ICThreads : public ICCancelObject
{
    friend class ICThreadsData;
    friend class ICThreadsWorker;

public:
    // Names of states for the trace.
    static CString const STATE_STRING_NONE;
    static CString const STATE_STRING_HALTED;
    static CString const STATE_STRING_RUNNING;
    static CString const STATE_STRING_SHUTDOWN;

    // `name` leads the group's trace lines, `type` is one of the TYPE_ values of ICThreadContext. Throws
    // _E_::Initialization for a count outside 1 to 64 and, with the system error, where an event can't be had;
    // _E_::Memory.
    ICThreads(CString const & name, ulong type, int threadCount);

    // A second view of the same group: shares handles, records and events, so only one of the two may be destroyed.
    ICThreads(ICThreads const &) = default;
    ICThreads & operator=(ICThreads const &) = default;

    ~ICThreads() override;

protected:
    // On each thread ahead of its first pass and behind its last, in whatever way that ended. A failure ahead keeps the
    // thread from working: neither passes nor the other operation follow, and mf_getErrnoData tells why. A failure
    // behind becomes the thread's outcome.
    virtual void mf_implExecuteOnStart(int index);
    virtual void mf_implExecuteOnStop(int index);

private:
    // One pass. It runs on all threads of the group at once, with nothing but `index` to tell them apart.
    virtual void mf_implExecute(int index) = 0;

public:
    // Makes the threads. Throws _E_::Internal for a group that was started before; _E_::System with the system error
    // where a thread can't be made: those made before it run on.
    virtual void mf_start();

    // Waits until all threads run, without end: for ever where one gets no context. Such a thread can't trace; its
    // mf_getErrnoData tells. Throws _E_::Synchronization.
    virtual void mf_startWait();

    // Asks the running threads to end behind the pass that they are in, and doesn't wait. May be called from a pass.
    // Throws _E_::Synchronization.
    virtual void mf_stop();

    // Waits for the end of all threads: at least 500 ms, INFINITE without end. Answers the first outcome of the worst
    // severity; 0x01000000 if none is worse than information.
    // Throws _E_::Internal for a thread that still runs when the time is over: its state reads halted then, and mf_stop
    // doesn't reach it any more. Throws _E_::System with the system error.
    virtual ICErrnoNumber mf_stopWait(ulong timeoutMsec);

    CString const & mf_getName() const { return m_sName; }
    int mf_getThreadCount() const { return m_threadCount; }

    // Of one thread. For an index outside the group each leaves a line in the trace and answers as said here.
    int mf_getState(int index) const;             // -1 not started or outside, 0 halted, 1 running, 2 to be shut down
    int mf_isHalted(int index) const;             // 0
    int mf_isRunning(int index) const;            // 0
    int mf_isShutdown(int index) const;           // 0
    ICErrnoData mf_getErrnoData(int index) const; // why it could not start; outside: _E_::Range
    void * mf_getUserData(int index) const;       // NULL
    void mf_setUserData(int index, void * userData);

    // Of a value of mf_getState; "UNKNOWN-STATE" for any other number.
    static CString const & mf_getStateString(int state);

private:
    static int const STATE_NONE = -1;
    static int const STATE_HALTED = 0;
    static int const STATE_RUNNING = 1;
    static int const STATE_SHUTDOWN = 2;

    void mf_implMakeRecords(ulong type);
    void mf_implDeleteRecords();
    void mf_implCleanup();
    void mf_implWait(ulong timeoutMsec);
    ulong mf_implGetExitCode(int index) const;
    void mf_implTraceOutcome(int index, ulong exitCode) const;
    int mf_implCheckRange(int index) const;
    ulong mf_implStateCounter(int index, int state) const;

    // Raw values, since the copy is one of bytes.
    CString m_sName;
    int m_threadCount;
    HANDLE * m_phThreads;         // owned array, from malloc; the handles outlive the group
    ICThreadsData ** m_ppThreads; // owned array, from malloc; the records outlive the group
    long volatile m_runCount;     // threads that have reached STATE_RUNNING; never goes down
    CRITICAL_SECTION m_csGroup;
    HANDLE m_hRunning;  // signalled once all threads run; -1: not open
    HANDLE m_hShutdown; // signalled by mf_stop; -1: not open
};
