#include "hsmbase/logging/ICEventLog.h"

#include "hsmbase/context/ICStatus.h"
#include "hsmbase/failure/internal/ICTrace.h"

constinit ICEventLog * ICEventLog::m_pThis = nullptr;

ICEventLog::ICEventLog(CString const & sourceName) : m_hEventSource(INVALID_HANDLE_VALUE), m_sSourceName(sourceName)
{
    static wchar_t const _sFunction_[] = L"ICEventLog::ICEventLog";

    ::SetLastError(0);
    m_hEventSource = ::RegisterEventSourceW(nullptr, m_sSourceName);
    if (m_hEventSource == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Logging);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure registering logging event source '%s':\r\n%s%s", m_sSourceName, ICLog::TAB,
                       failure.mf_toString());
    }
}

ICEventLog::~ICEventLog()
{
    static wchar_t const _sFunction_[] = L"ICEventLog::~ICEventLog";

    if (m_hEventSource == INVALID_HANDLE_VALUE) return;
    ulong const lastError = ::GetLastError();
    ::SetLastError(0);
    if (!::DeregisterEventSource(m_hEventSource)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(_sFunction_).mf_error(L"Could not deregister event source:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
    ::SetLastError(lastError);
}

void ICEventLog::mf_createInstance(CString const & sourceName)
{
    static wchar_t const _sFunction_[] = L"ICEventLog::mf_createInstance";

    if (m_pThis != nullptr) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Event log singleton already Initialized.");
    }
    m_pThis = new ICEventLog(sourceName);
    ICTrace(_sFunction_).mf_trace(L"Initialized event logging");
}

void ICEventLog::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICEventLog::mf_deleteInstance";

    if (m_pThis == nullptr) {
        ICTrace(_sFunction_).mf_warning(L"Event log singleton was not Initialized.");
        return;
    }
    delete m_pThis;
    m_pThis = nullptr;
}

void ICEventLog::mf_logEvent(unsigned short type, ulong eventId, CString const & text)
{
    static wchar_t const _sFunction_[] = L"ICEventLog::mf_logEvent";

    if (!ICStatus::mf_canWriteToEventLog()) return;
    if (m_pThis == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Internal, L"Eventlog not initialized.");
    if (m_pThis->m_hEventSource == nullptr) return;

    wchar_t const * strings[] = {m_pThis->m_sSourceName, text};
    unsigned short const count = text.IsEmpty() ? 1 : 2;
    ::SetLastError(0);
    if (!::ReportEventW(m_pThis->m_hEventSource, type, 0, eventId, nullptr, count, 0, strings, nullptr)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Logging);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure reporting log event: %s", failure.mf_toString());
    }
}
