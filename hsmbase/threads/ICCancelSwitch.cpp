#include "hsmbase/threads/ICCancelSwitch.h"

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{

// Signals or resets the event; always behind the change of the state, which stays when this fails.
void f_change(BOOL(WINAPI * change)(HANDLE), HANDLE event, wchar_t const * function, ICTraceFormat<CString> failureText)
{
    ::SetLastError(0);
    if (!change(event)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(function).mf_failed(failure, failureText, failure.mf_toString());
    }
}

void f_warnOfFinalState(wchar_t const * function)
{
    ICTrace(function).mf_warning(L"Already reached final state 'STATE_CANCEL', ignored...");
}

ICErrno f_unknownState(wchar_t const * function, long state)
{
    return ICTrace(function).mf_failed(ICErrno::_E_::Internal, L"Unknown cancel state %ld", state);
}

} // namespace

// The lock comes last: what is thrown ahead of it leaves nothing behind.
ICCancelSwitch::ICCancelSwitch() : m_hWaitEvent(nullptr), m_state(0), m_logCancelation(1)
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::ICCancelSwitch";

    ::SetLastError(0);
    m_hWaitEvent = ::CreateEventW(nullptr, TRUE, TRUE, nullptr);
    if (m_hWaitEvent == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure creating cancelation event: %s", failure.mf_toString());
    }
    ::InitializeCriticalSection(&m_csErrnoData);
}

ICCancelSwitch::~ICCancelSwitch()
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::~ICCancelSwitch";

    ulong const lastError = ::GetLastError();
    ::SetLastError(0);
    if (!::CloseHandle(m_hWaitEvent)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::CloseHandle);
        ICTrace(_sFunction_).mf_error(L"Failure closing cancelation handle: %s", failure.mf_toString());
    }
    ::DeleteCriticalSection(&m_csErrnoData);
    ::SetLastError(lastError);
}

// Deliberate: a thread that asks between the two steps finds a pause and an event that doesn't hold it, and fails.
void ICCancelSwitch::mf_pause()
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::mf_pause";

    long const state = m_state;
    if (state == STATE_CANCEL) return f_warnOfFinalState(_sFunction_);
    if (state != 0 && state != STATE_PAUSE) throw f_unknownState(_sFunction_, state);
    if (state == 0) ::InterlockedExchange(&m_state, STATE_PAUSE);
    f_change(&::ResetEvent, m_hWaitEvent, _sFunction_, L"Failure resetting cancelation event: %s");
}

void ICCancelSwitch::mf_resume()
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::mf_resume";

    long const state = m_state;
    if (state == 0) return;
    if (state == STATE_CANCEL) return f_warnOfFinalState(_sFunction_);
    if (state != STATE_PAUSE) throw f_unknownState(_sFunction_, state);
    ::InterlockedExchange(&m_state, 0);
    f_change(&::SetEvent, m_hWaitEvent, _sFunction_, L"Failure signaling cancelation event: %s");
}

void ICCancelSwitch::mf_cancel(ICErrnoData const & reason)
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::mf_cancel";

    long const state = m_state;
    if (state == STATE_CANCEL) return;
    if (state != 0 && state != STATE_PAUSE) throw f_unknownState(_sFunction_, state);
    // The reason first: whoever sees the state finds it.
    mf_implSetErrnoData(reason);
    ::InterlockedExchange(&m_state, STATE_CANCEL);
    if (state == STATE_PAUSE)
        f_change(&::SetEvent, m_hWaitEvent, _sFunction_, L"Failure setting cancelation event: %s");
}

int ICCancelSwitch::mf_isPaused() const
{
    return m_state == STATE_PAUSE;
}

int ICCancelSwitch::mf_isCanceled() const
{
    return m_state == STATE_CANCEL;
}

// Deliberate: the reason stays. Its texts show through a later one that has none.
void ICCancelSwitch::mf_reset()
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::mf_reset";

    ::InterlockedExchange(&m_state, 0);
    f_change(&::SetEvent, m_hWaitEvent, _sFunction_, L"Failure signaling cancelation event: %s");
    ICTrace(_sFunction_).mf_trace(L"Reset cancelation object");
}

ICErrnoData ICCancelSwitch::mf_getErrnoData() const
{
    ICSectionLock const lock(m_csErrnoData);
    return m_errnoData;
}

void ICCancelSwitch::mf_setLogCancelation(int log)
{
    m_logCancelation = log;
}

int ICCancelSwitch::mf_doesLogCancelation() const
{
    return m_logCancelation;
}

void ICCancelSwitch::mf_implPauseOrCancel(long state) const
{
    static wchar_t const _sFunction_[] = L"ICCancelSwitch::mf_implTryCancel";

    if (state == STATE_PAUSE) {
        ICTrace(_sFunction_).mf_debug(L"Thread paused, entering wait mode...");
        ::SetLastError(0);
        ulong const answer = ::WaitForSingleObject(m_hWaitEvent, INFINITE);
        if (answer == WAIT_FAILED) {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
            throw ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure waiting for cancelation wait event: %s", failure.mf_toString());
        }
        if (answer != WAIT_OBJECT_0)
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Synchronization, L"Unexpected result waiting for cancelation event: %lu",
                           answer);
    }
    long const stateNow = m_state;
    if (stateNow == 0) return;
    // Deliberate: no second wait. A controller that pauses again an instant after it resumed makes the poll fail.
    if (stateNow == STATE_PAUSE)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Found state 'STATE_PAUSE' directly after leaving 'STATE_PAUSE'");
    if (stateNow != STATE_CANCEL)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Unexpected, L"Unknown cancel state: %d", stateNow);
    if (m_logCancelation) ICTrace(_sFunction_).mf_warning(L"Canceled, throwing user-canceled exception...");
    // From here on the log takes this thread's errors for consequences. Without a context it fails, and that goes out.
    ICThreadContext::mf_setCanceled(1);
    throw ICErrno(ICErrno::_W_::UserCanceled);
}

void ICCancelSwitch::mf_implSetErrnoData(ICErrnoData const & reason)
{
    ICSectionLock const lock(m_csErrnoData);
    m_errnoData = reason;
}

void ICCancelSwitch::mf_implResetErrnoData()
{
    ICSectionLock const lock(m_csErrnoData);
    m_errnoData.mf_reset();
}
