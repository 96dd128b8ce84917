#include "hsmbase/threads/internal/ICThreadsWorker.h"

#include "hsmbase/failure/internal/ICTrace.h"

namespace
{

ulong f_runThread(void * parameter)
{
    static wchar_t const _sFunction_[] = L"f_ICThread";

    if (parameter == nullptr) {
        ICTrace(_sFunction_).mf_error(L"NULL == _lpParameter");
        return ICErrno::_E_::Internal.mf_getNumber();
    }
    return ICThreadsWorker(*static_cast<ICThreadsData *>(parameter)).mf_run();
}

} // namespace

unsigned long __stdcall f_ICThread(void * parameter)
{
    // ExitThread runs no destructors, so there may be none left to run here.
    ::ExitThread(f_runThread(parameter));
}

// The group is const to its record, not to its threads.
ICThreadsWorker::ICThreadsWorker(ICThreadsData & data)
    : m_data(data), m_group(const_cast<ICThreads &>(*data.mf_getThread())), m_index(data.mf_getIndex())
{}

ulong ICThreadsWorker::mf_run()
{
    mf_implStart();
    mf_implSignalRunning();
    if (!m_outcome.mf_isSet()) {
        while (mf_implPass()) {}
        mf_implExecuteOnStop();
    }
    m_data.mf_setState(ICThreads::STATE_HALTED);
    ICTrace(_sFunction_).mf_trace(L"%s: Exiting thread no. %d ...", m_group.m_sName, m_index);
    // Deliberate: the context stays behind.
    return m_outcome.mf_isSet() ? m_outcome.mf_getNumber() : ICErrno::_I_::Ok.mf_getNumber();
}

void ICThreadsWorker::mf_implStart()
{
    if (mf_implCreateContext()) mf_implExecuteOnStart();
    if (!m_outcome.mf_isSet()) return;
    ICTrace(_sFunction_)
        .mf_error(L"Failure starting thread no. %d\r\n%sSetting thread errno data and existing ...", m_index,
                  ICLog::TAB);
    m_data.mf_setErrnoData(m_outcome);
}

// Deliberate: a thread without context doesn't count as running, so that mf_startWait waits for ever.
int ICThreadsWorker::mf_implCreateContext()
{
    try {
        ICThreadContext::mf_create(m_data.mf_getType(), static_cast<ulong>(m_index));
        return 1;
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(m_outcome, failure,
                        L"Failure creating thread context for thread with type=0x%8.8x, index=%d:\r\n%s%s",
                        m_data.mf_getType(), m_index, ICLog::TAB, failure.mf_toString());
        return 0;
    }
}

void ICThreadsWorker::mf_implExecuteOnStart()
{
    m_data.mf_setState(ICThreads::STATE_RUNNING);
    // Ahead of the action: a thread whose action fails has run, and holds up nobody in mf_startWait.
    ::InterlockedIncrement(&m_group.m_runCount);
    try {
        m_group.mf_implExecuteOnStart(m_index);
        ICTrace(_sFunction_)
            .mf_trace(L"%s: Thread no. %d started and initialized\r\n%sCurrent thread run count: %ld", m_group.m_sName,
                      m_index, ICLog::TAB, mf_implGetRunCount());
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(m_outcome, failure,
                        L"Failure executing on-start action for thread no. %d:\r\n%s%s\r\n%sTerminating thread ...",
                        m_index, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
    }
}

void ICThreadsWorker::mf_implSignalRunning()
{
    if (mf_implGetRunCount() != m_group.m_threadCount) return;
    ICTrace(_sFunction_)
        .mf_trace(L"%s: All %d thread(s) running, signaling running-event", m_group.m_sName, m_group.m_threadCount);
    ::SetLastError(0);
    if (!::SetEvent(m_group.m_hRunning)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        ICTrace(_sFunction_)
            .mf_error(L"Failure signaling running-event: %s\r\n%sContinuing ...", failure.mf_toString(), ICLog::TAB);
    }
}

// Answers whether another pass follows.
int ICThreadsWorker::mf_implPass()
{
    try {
        m_group.mf_tryCancel();
    }
    catch (ICErrno & failure) {
        m_outcome = failure.mf_getErrnoData();
        return 0;
    }
    return mf_implExecute() && !mf_implIsShutdown();
}

// Answers whether the thread may go on.
int ICThreadsWorker::mf_implExecute()
{
    try {
        m_group.mf_implExecute(m_index);
        return 1;
    }
    catch (ICErrno & failure) {
        if (failure.mf_isErrno(ICErrno::_W_::UserCanceled)) {
            ICTrace(_sFunction_)
                .mf_warning(L"Overloaded worker function in thread no. %d was canceled by user", m_index);
            m_outcome = failure.mf_getErrnoData();
            return 0;
        }
        ICTrace(_sFunction_)
            .mf_error(L"Failure executing overloaded worker function in thread no. %d:\r\n%s%s\r\n%sContinuing...",
                      m_index, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
        if (!failure.mf_isSevere()) return 1;
        ICTrace(_sFunction_).mf_write(ICLogData::LEVEL_S, L"Severe error, exiting thread worker loop ...");
        m_outcome = failure.mf_getErrnoData();
        return 0;
    }
}

int ICThreadsWorker::mf_implIsShutdown()
{
    if (m_data.mf_getState() != ICThreads::STATE_SHUTDOWN) return 0;
    ICTrace(_sFunction_)
        .mf_debug(L"%s: Shutdown signaled, exiting worker loop of thread no. %d ...", m_group.m_sName, m_index);
    return 1;
}

void ICThreadsWorker::mf_implExecuteOnStop()
{
    try {
        m_group.mf_implExecuteOnStop(m_index);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure executing on-stop action for thread no. %d:\r\n%s%s", m_index, ICLog::TAB,
                      failure.mf_toString());
        // Deliberate: it takes the place of what ended the loop.
        m_outcome = failure.mf_getErrnoData();
    }
}

// The atomic read: the count exchanged for itself. It is looked at once, or another thread's increment in between
// would be undone.
long ICThreadsWorker::mf_implGetRunCount()
{
    long const count = m_group.m_runCount;
    return ::InterlockedCompareExchange(&m_group.m_runCount, count, count);
}
