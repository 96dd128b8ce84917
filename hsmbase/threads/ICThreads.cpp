#include "hsmbase/threads/ICThreads.h"

#include <cstdlib>
#include <new>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/threads/internal/ICThreadsWorker.h"

namespace
{

// The platform waits for no more handles at once.
constexpr int MAXIMUM_THREADS = MAXIMUM_WAIT_OBJECTS;

constexpr ulong MINIMUM_TIMEOUT = 500;

// Zeroed; handles are pointers too.
void * f_allocatePointers(int count)
{
    return std::calloc(static_cast<std::size_t>(count), sizeof(void *));
}

HANDLE f_createEvent(wchar_t const * function, ICTraceFormat<CString> format)
{
    ::SetLastError(0);
    HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    if (event == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Initialization);
        throw ICTrace(function).mf_failed(failure, format, failure.mf_toString());
    }
    return event;
}

void f_closeEvent(wchar_t const * function, HANDLE & event, ICTraceFormat<> format)
{
    if (event == INVALID_HANDLE_VALUE) return;
    HANDLE const closing = event;
    event = INVALID_HANDLE_VALUE;
    ::SetLastError(0);
    if (!::CloseHandle(closing)) ICTrace(function).mf_error(format);
}

} // namespace

CString const ICThreads::STATE_STRING_NONE(L"STATE-NONE");
CString const ICThreads::STATE_STRING_HALTED(L"STATE-HALTED");
CString const ICThreads::STATE_STRING_RUNNING(L"STATE-RUNNING");
CString const ICThreads::STATE_STRING_SHUTDOWN(L"STATE-SHUTDOWN");

ICThreads::ICThreads(CString const & name, ulong type, int threadCount)
    : m_sName(name), m_threadCount(threadCount), m_phThreads(nullptr), m_ppThreads(nullptr), m_runCount(0),
      m_hRunning(INVALID_HANDLE_VALUE), m_hShutdown(INVALID_HANDLE_VALUE)
{
    static wchar_t const _sFunction_[] = L"ICThreads::ICThreads";

    if (threadCount < 1)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Initialization, L"Thread count < 0: %d threads", threadCount);
    if (threadCount > MAXIMUM_THREADS)
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_E_::Initialization,
                         L"Maximum thread count %d is exceeded: %d threads", MAXIMUM_THREADS, threadCount);
    // Ahead of all that may fail, since mf_implCleanup deletes it.
    ::InitializeCriticalSection(&m_csGroup);
    try {
        mf_implMakeRecords(type);
        m_hRunning = f_createEvent(_sFunction_, L"Failure initializing running event: %s");
        m_hShutdown = f_createEvent(_sFunction_, L"Failure initializing shutdown event: %s");
    }
    catch (ICErrno &) {
        mf_implDeleteRecords();
        mf_implCleanup();
        throw;
    }
}

ICThreads::~ICThreads()
{
    ulong const lastError = ::GetLastError();
    mf_implCleanup();
    ::SetLastError(lastError);
}

void ICThreads::mf_implMakeRecords(ulong type)
{
    static wchar_t const _sFunction_[] = L"ICThreads::ICThreads";

    m_phThreads = static_cast<HANDLE *>(f_allocatePointers(m_threadCount));
    if (m_phThreads == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"Malloc returned no memory for thread handles");
    m_ppThreads = static_cast<ICThreadsData **>(f_allocatePointers(m_threadCount));
    int made = 0;
    while (m_ppThreads != nullptr && made < m_threadCount) {
        m_ppThreads[made] = new (std::nothrow) ICThreadsData(this, type, made);
        if (m_ppThreads[made] == nullptr) break;
        ++made;
    }
    if (made < m_threadCount)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"Malloc returned no memory for thread data");
}

// For a group that never came to be: no thread has seen them.
void ICThreads::mf_implDeleteRecords()
{
    for (int index = 0; m_ppThreads != nullptr && index < m_threadCount; ++index)
        delete m_ppThreads[index];
}

// Deliberate: threads, their handles and their records are left alone. The owner has stopped the group before, and
// handles and records outlive it.
void ICThreads::mf_implCleanup()
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_implCleanup";

    f_closeEvent(_sFunction_, m_hRunning, L"Failure closing running-event handle");
    f_closeEvent(_sFunction_, m_hShutdown, L"Failure closing shutdown-event handle");
    ::DeleteCriticalSection(&m_csGroup);
    std::free(m_phThreads);
    std::free(m_ppThreads);
}

void ICThreads::mf_implExecuteOnStart(int) {}
void ICThreads::mf_implExecuteOnStop(int) {}

void ICThreads::mf_start()
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_start";

    for (int index = 0; index < m_threadCount; ++index) {
        ICThreadsData & record = *m_ppThreads[index];
        int const state = record.mf_getState();
        if (state != STATE_NONE)
            throw ICTrace(_sFunction_)
                .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_E_::Internal, L"Thread no. %d has unexpected state %d (%s)",
                             index, state, mf_getStateString(state));
        record.mf_setState(STATE_HALTED);
        ::SetLastError(0);
        m_phThreads[index] = ::CreateThread(nullptr, 0, &f_ICThread, &record, 0, nullptr);
        if (m_phThreads[index] == nullptr) {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
            throw ICTrace(_sFunction_)
                .mf_failed(failure, L"Error creating thread no. %d: %s", index, failure.mf_toString());
        }
    }
    ICTrace(_sFunction_).mf_debug(L"%s: %d worker thread(s) successfully created", m_sName, m_threadCount);
}

void ICThreads::mf_startWait()
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_startWait";

    ICTrace(_sFunction_).mf_trace(L"%s: Waiting for all threads to be running ...", m_sName);
    ::SetLastError(0);
    if (::WaitForSingleObject(m_hRunning, INFINITE) != WAIT_OBJECT_0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure waiting for starting thread(s): %s", failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_trace(L"%s: Waiting for all threads to be running: done.", m_sName);
}

void ICThreads::mf_stop()
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_stop";

    for (int index = 0; index < m_threadCount; ++index)
        m_ppThreads[index]->mf_setShutdownState(0);
    ::SetLastError(0);
    if (!::SetEvent(m_hShutdown)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure signaling shutdown event:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_debug(L"%s: Thread(s) shutdown event signaled", m_sName);
}

ICErrnoNumber ICThreads::mf_stopWait(ulong timeoutMsec)
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_stopWait";

    // Deliberate: as long as all outcomes are information, the result stays what it is now, and isn't _I_::Ok.
    ICErrnoNumber result;
    if (timeoutMsec < MINIMUM_TIMEOUT) {
        ICTrace(_sFunction_).mf_warning(L"Wait timeout is < 500 msec, set to 500 msec.");
        timeoutMsec = MINIMUM_TIMEOUT;
    }
    mf_implWait(timeoutMsec);
    for (int index = 0; index < m_threadCount; ++index) {
        ulong const exitCode = mf_implGetExitCode(index);
        result.mf_update(exitCode);
        mf_implTraceOutcome(index, exitCode);
    }
    ICTrace(_sFunction_)
        .mf_trace(L"%s: Waiting for all %lu thread(s) to terminate: done.\r\n"
                  L"%sFinal exit code of all thread(s): 0x%8.8x",
                  m_sName, m_threadCount, ICLog::TAB, result.mf_getNumber());
    return result;
}

// Deliberate: all threads read as halted afterwards, also those that still run when the time is over.
void ICThreads::mf_implWait(ulong timeoutMsec)
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_stopWait";

    ICTrace(_sFunction_).mf_trace(L"%s: Waiting for all threads to terminate ...", m_sName);
    ::SetLastError(0);
    ulong const answer = ::WaitForMultipleObjects(static_cast<ulong>(m_threadCount), m_phThreads, TRUE, timeoutMsec);
    if (answer == WAIT_FAILED) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Waiting for %d thread(s) failed:\r\n%s%s", m_threadCount, ICLog::TAB,
                       failure.mf_toString());
    }
    for (int index = 0; index < m_threadCount; ++index)
        m_ppThreads[index]->mf_setState(STATE_HALTED);
}

ulong ICThreads::mf_implGetExitCode(int index) const
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_stopWait";

    ulong exitCode = 0;
    ::SetLastError(0);
    if (!::GetExitCodeThread(m_phThreads[index], &exitCode)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting thread no. %d exit code: %s", index, failure.mf_toString());
    }
    return exitCode;
}

void ICThreads::mf_implTraceOutcome(int index, ulong exitCode) const
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_stopWait";

    if (ICErrnoNumber::mf_isInfo(exitCode)) {
        ICTrace(_sFunction_).mf_trace(L"%s: Terminated thread no. %d.", m_sName, index);
    } else if (exitCode == ICErrno::_W_::UserCanceled.mf_getNumber()) {
        ICTrace(_sFunction_)
            .mf_warning(L"%s: Thread %d has exited due to user cancelation\r\n%sReturn code: 0x%8.8x", m_sName, index,
                        ICLog::TAB, exitCode);
    } else if (ICErrnoNumber::mf_isWarning(exitCode)) {
        ICTrace(_sFunction_)
            .mf_warning(L"%s: Thread no. %d has exited with warning, return code: 0x%8.8x.\r\n"
                        L"%sSee warning reported by thread above.",
                        m_sName, index, exitCode, ICLog::TAB);
    } else if (ICErrnoNumber::mf_isError(exitCode)) {
        ICTrace(_sFunction_)
            .mf_error(L"%s: Thread no. %d has exited with error, return code: 0x%8.8x.\r\n"
                      L"%sSee error reported by thread above.",
                      m_sName, index, exitCode, ICLog::TAB);
    } else if (ICErrnoNumber::mf_isSevere(exitCode)) {
        ICTrace(_sFunction_)
            .mf_error(L"%s: Thread no. %d has exited with severe error, return code: 0x%8.8x.\r\n"
                      L"%sSee error reported by thread above.",
                      m_sName, index, exitCode, ICLog::TAB);
    } else {
        // A thread that still runs has the exit code STILL_ACTIVE, which has no severity.
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"%s: Thread no. %d has exited with unexpected return code: 0x%8.8x",
                       m_sName, index, exitCode);
    }
}

int ICThreads::mf_implCheckRange(int index) const
{
    static wchar_t const _sFunction_[] = L"ICThreads::mf_implCheckRange";

    if (index < 0) {
        ICTrace(_sFunction_).mf_error(L"INTERNAL: index=%d < 0", index);
        return 0;
    }
    if (index >= m_threadCount) {
        ICTrace(_sFunction_).mf_error(L"INTERNAL: index=%d > thread-count=%d", index, m_threadCount);
        return 0;
    }
    return 1;
}

// Deliberate: the check comes first and refuses -1, so that all threads at once are never counted.
ulong ICThreads::mf_implStateCounter(int index, int state) const
{
    if (!mf_implCheckRange(index)) return 0;
    int const first = index == -1 ? 0 : index;
    int const last = index == -1 ? m_threadCount - 1 : index;
    ulong count = 0;
    for (int current = first; current <= last; ++current)
        if (m_ppThreads[current]->mf_getState() == state) ++count;
    return count;
}

int ICThreads::mf_getState(int index) const
{
    return mf_implCheckRange(index) ? m_ppThreads[index]->mf_getState() : STATE_NONE;
}

int ICThreads::mf_isHalted(int index) const
{
    return static_cast<int>(mf_implStateCounter(index, STATE_HALTED));
}

int ICThreads::mf_isRunning(int index) const
{
    return static_cast<int>(mf_implStateCounter(index, STATE_RUNNING));
}

int ICThreads::mf_isShutdown(int index) const
{
    return static_cast<int>(mf_implStateCounter(index, STATE_SHUTDOWN));
}

ICErrnoData ICThreads::mf_getErrnoData(int index) const
{
    if (!mf_implCheckRange(index)) return ICErrno::_E_::Range;
    return m_ppThreads[index]->mf_getErrnoData();
}

void * ICThreads::mf_getUserData(int index) const
{
    return mf_implCheckRange(index) ? m_ppThreads[index]->mf_getUserData() : nullptr;
}

void ICThreads::mf_setUserData(int index, void * userData)
{
    if (mf_implCheckRange(index)) m_ppThreads[index]->mf_setUserData(userData);
}

CString const & ICThreads::mf_getStateString(int state)
{
    switch (state) {
    case STATE_NONE: return STATE_STRING_NONE;
    case STATE_HALTED: return STATE_STRING_HALTED;
    case STATE_RUNNING: return STATE_STRING_RUNNING;
    case STATE_SHUTDOWN: return STATE_STRING_SHUTDOWN;
    default: static CString const unknown(L"UNKNOWN-STATE"); return unknown;
    }
}
