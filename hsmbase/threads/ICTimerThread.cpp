#include "hsmbase/threads/ICTimerThread.h"

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/internal/PathStep.h"

namespace
{
constexpr ulong PERIODICALLY = 0xFFFFFFFF;

// A failure is left in the trace.
void f_signal(HANDLE event, wchar_t const * function, ICTraceFormat<CString, wchar_t const *> const & failureText)
{
    ::SetLastError(0);
    if (!::SetEvent(event)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        wchar_t const * const indent = ICLog::TAB;
        ICTrace(function).mf_error(failureText, failure.mf_toString(), indent);
    }
}
} // namespace

ICTimerThread::ICTimerThread(CString const & name, ulong type)
    : ICThreads(name, type, 1), m_immediate(1), m_executionCount(0), m_sleepPeriod(0), m_hWakeUp(INVALID_HANDLE_VALUE),
      m_executionsDone(0)
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::ICTimerThread";

    ::SetLastError(0);
    HANDLE const event = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
    if (event == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Initialization);
        ICTrace(_sFunction_).mf_error(L"Failure initializing wake-up event: %s", failure.mf_toString());
        mf_implCleanup(); // which complains of the missing event too
        throw ICErrno(failure);
    }
    m_hWakeUp = event;
}

ICTimerThread::~ICTimerThread()
{
    ulong const lastError = ::GetLastError();
    mf_implCleanup();
    ::SetLastError(lastError);
}

// The part of this class; that of the group follows in its destructor.
void ICTimerThread::mf_implCleanup()
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::mf_implCleanup";

    if (m_hWakeUp == INVALID_HANDLE_VALUE) {
        ICTrace(_sFunction_).mf_warning(L"Wake-up event handle was not initialized");
        return;
    }
    HANDLE const closing = m_hWakeUp;
    m_hWakeUp = INVALID_HANDLE_VALUE;
    ::SetLastError(0);
    if (!::CloseHandle(closing)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::CloseHandle);
        ICTrace(_sFunction_).mf_error(L"Failure closing wake-up event handle: %s", failure.mf_toString());
    }
}

// Deliberate: the values are stored before a second start is refused.
void ICTimerThread::mf_start(ulong sleepPeriod, int immediate, ulong executionCount)
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::mf_start";

    m_sleepPeriod = sleepPeriod;
    m_immediate = immediate;
    m_executionCount = executionCount;
    auto const start = [this] {
        ICThreads::mf_start();
        ICThreads::mf_startWait();
    };
    f_step(_sFunction_, start, L"Failure starting timer thread: %s");
    CString count(L"'periodically'");
    if (executionCount != PERIODICALLY) count.Format(L"%lu", executionCount);
    ICTrace(_sFunction_)
        .mf_trace(L"Started timer thread '%s', timeout=%lu msec, execution count=%s", mf_getName(), sleepPeriod, count);
}

void ICTimerThread::mf_implExecute(int index)
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::mf_implExecute";

    if (index != 0)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Internal, L"Unexpected thread index: %d, expected 0", index);
    if (m_immediate)
        m_immediate = 0;
    else
        mf_implSleep();
    if (mf_isShutdown()) {
        ICTrace(_sFunction_).mf_trace(L"Shutdown was signaled, exiting ...");
        return;
    }
    f_step(
        _sFunction_, [this] { mf_implExecuteTimer(); }, L"Execution failure: %s");
    if (m_executionCount == PERIODICALLY || ++m_executionsDone < m_executionCount) return;
    ICTrace(_sFunction_).mf_trace(L"Execution count expired, exiting ...");
    // That of the group: the timer's own would wait for this very thread.
    f_step(
        _sFunction_, [this] { ICThreads::mf_stop(); }, L"Failure stopping ICThread base:\r\n%s%s", ICLog::TAB);
}

void ICTimerThread::mf_implSleep()
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::mf_implExecute";

    ::SetLastError(0);
    ulong const answer = ::WaitForSingleObject(m_hWakeUp, m_sleepPeriod);
    if (answer == WAIT_TIMEOUT) return;
    if (answer != WAIT_OBJECT_0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure waiting for wake-up event: %s", failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_debug(L"Wake-up event was signaled");
}

void ICTimerThread::mf_stop()
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::mf_stop";

    f_step(
        _sFunction_, [this] { ICThreads::mf_stop(); }, L"Failure stopping thread: %s");
    f_signal(m_hWakeUp, _sFunction_, L"Failure signaling wake-up event on shutdown: %s\r\n%sContinuing ...");
    f_step(
        _sFunction_, [this] { ICThreads::mf_stopWait(INFINITE); }, L"Failure waiting for thread:\r\n%s%s", ICLog::TAB);
    ICTrace(_sFunction_).mf_trace(L"Timer thread '%s' terminated", mf_getName());
}

void ICTimerThread::mf_wakeUp()
{
    static wchar_t const _sFunction_[] = L"ICTimerThread::mf_wakeUp";

    f_signal(m_hWakeUp, _sFunction_, L"Failure signaling wake-up event: %s\r\n%sContinuing ...");
}

int ICTimerThread::mf_implSetSleepPeriod(ulong sleepPeriod)
{
    if (sleepPeriod == m_sleepPeriod) return 0;
    m_sleepPeriod = sleepPeriod;
    return 1;
}
