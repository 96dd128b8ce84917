#include "hsmbase/containers/ICHashBucket.h"

#include "hsmbase/failure/internal/ICTrace.h"

ICHashBucket::ICHashBucket() : m_hMutex(INVALID_HANDLE_VALUE)
{
    static wchar_t const _sFunction_[] = L"ICHashBucket::ICHashBucket";

    ::SetLastError(0);
    HANDLE const mutex = ::CreateMutexW(nullptr, FALSE, nullptr);
    if (mutex == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure initializing mutex: %s", failure.mf_toString());
    }
    m_hMutex = mutex;
}

ICHashBucket::~ICHashBucket()
{
    static wchar_t const _sFunction_[] = L"ICHashBucket::~ICHashBucket";

    ulong const lastError = ::GetLastError();
    ::SetLastError(0);
    if (m_hMutex == INVALID_HANDLE_VALUE) {
        ICTrace(_sFunction_).mf_warning(L"Mutex handle was invalid");
    } else if (!::CloseHandle(m_hMutex)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::CloseHandle);
        ICTrace(_sFunction_).mf_error(L"Failure closing mutex: %s", failure.mf_toString());
    }
    ::SetLastError(lastError);
}

ICLinkedList * ICHashBucket::mf_acquireLinkedList()
{
    static wchar_t const _sFunction_[] = L"ICHashBucket::mf_acquireLinkedList";

    try {
        mf_implLock();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_S, failure, L"Failure acquiring hash bucket: %s", failure.mf_toString());
    }
    return &m_list;
}

void ICHashBucket::mf_releaseLinkedList()
{
    static wchar_t const _sFunction_[] = L"ICHashBucket::mf_releaseLinkedList";

    try {
        mf_implUnlock();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_S, failure, L"Failure releasing hash bucket: %s", failure.mf_toString());
    }
}

void ICHashBucket::mf_implLock()
{
    static wchar_t const _sFunction_[] = L"ICHashBucket::mf_implLock";

    ::SetLastError(0);
    if (::WaitForSingleObject(m_hMutex, INFINITE) == WAIT_FAILED) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure waiting for mutex: %s", failure.mf_toString());
    }
}

void ICHashBucket::mf_implUnlock()
{
    static wchar_t const _sFunction_[] = L"ICHashBucket::mf_implUnlock";

    ::SetLastError(0);
    if (!::ReleaseMutex(m_hMutex)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure releasing mutex: %s", failure.mf_toString());
    }
}
