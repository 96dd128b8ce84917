#pragma once

#include "hsmbase/threads/ICThreads.h"

// The function of each thread of a group. `parameter` is the thread's record, an ICThreadsData, which outlives it.
unsigned long __stdcall f_ICThread(void * parameter);

// The life of one thread of a group, on that thread.
//
// The outcome is what ends the thread before its time, and becomes its exit code. A failure that ends one pass alone
// is no outcome.
class ICThreadsWorker
{
public:
    explicit ICThreadsWorker(ICThreadsData & data);
    ICThreadsWorker(ICThreadsWorker const &) = delete;
    ICThreadsWorker & operator=(ICThreadsWorker const &) = delete;

    // From the thread's context to its last line; answers the exit code.
    ulong mf_run();

private:
    // All lines of the thread are those of its function.
    static constexpr wchar_t _sFunction_[] = L"f_ICThread";

    void mf_implStart();
    int mf_implCreateContext();
    void mf_implExecuteOnStart();
    void mf_implSignalRunning();
    int mf_implPass();
    int mf_implExecute();
    int mf_implIsShutdown();
    void mf_implExecuteOnStop();
    long mf_implGetRunCount();

    ICThreadsData & m_data;
    ICThreads & m_group;
    int const m_index;
    ICErrnoData m_outcome;
};
