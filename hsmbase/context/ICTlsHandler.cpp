#include "hsmbase/context/ICTlsHandler.h"

#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
constexpr ulong NO_SLOT = 0xFFFFFFFF;
static_assert(NO_SLOT == TLS_OUT_OF_INDEXES);
} // namespace

constinit ulong ICTlsHandler::m_dwIndexContext = NO_SLOT;

void ICTlsHandler::mf_initialize()
{
    static wchar_t const _sFunction_[] = L"ICTlsHandler::mf_initialize";

    if (m_dwIndexContext != NO_SLOT)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"TLS slot already initialized");

    ::SetLastError(0);
    ulong const slot = ::TlsAlloc();
    if (slot == NO_SLOT) {
        // Deliberate: the system's error number is the failed slot, not the last error. Readers of traces know it.
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, slot);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure allocating TLS (thread local storage): %s", failure.mf_toString());
    }
    m_dwIndexContext = slot;
}

void ICTlsHandler::mf_terminate()
{
    static wchar_t const _sFunction_[] = L"ICTlsHandler::mf_terminate";

    if (m_dwIndexContext == NO_SLOT) {
        ICTrace(_sFunction_).mf_warning(L"TLS slot was not initialized");
        return;
    }

    // Deliberate: the number stays, so that a second start in the same process is refused. A failure leaves a slot that
    // ends with the process anyway.
    ::TlsFree(m_dwIndexContext);
}

void ICTlsHandler::mf_setContextData(void const * data)
{
    static wchar_t const _sFunction_[] = L"ICTlsHandler::mf_setContextData";

    void const * const present = mf_implGetValue(_sFunction_);
    if (present != nullptr && data != nullptr)
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_W_::AlreadyInitialized,
                         L"Thread context data already initialized");

    ::SetLastError(0);
    if (!::TlsSetValue(m_dwIndexContext, const_cast<void *>(data))) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure setting TLS thread context data for TLS index=%lu:\r\n%s%s", m_dwIndexContext,
                       ICLog::TAB, failure.mf_toString());
    }
}

void * ICTlsHandler::mf_getContextData()
{
    static wchar_t const _sFunction_[] = L"ICTlsHandler::mf_getContextData";

    return mf_implGetValue(_sFunction_);
}

// `function` is the tag under which a failure is logged.
void * ICTlsHandler::mf_implGetValue(wchar_t const * function)
{
    if (m_dwIndexContext == NO_SLOT)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Initialization, L"TLS handler not initialized");

    // Only the last error tells a stored NULL from a failure.
    ::SetLastError(0);
    void * const data = ::TlsGetValue(m_dwIndexContext);
    if (data == nullptr && ::GetLastError() != ERROR_SUCCESS) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(function).mf_failed(failure,
                                          L"Failure getting TLS thread context data for TLS index=%lu:\r\n%s%s",
                                          m_dwIndexContext, ICLog::TAB, failure.mf_toString());
    }
    return data;
}
