#include "hsmbase/volumes/ICStorage.h"

#include <new>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/volumes/internal/ForEachVolume.h"
#include "hsmbase/volumes/internal/ICStorageLock.h"
#include "hsmbase/volumes/internal/VolumeMutex.h"

ICStorage * ICStorage::m_pThis = nullptr;

ICStorage::ICStorage(HANDLE mutex, int isCopy) : m_hMutex(mutex), m_isCopy(isCopy) {}

// The other constructor has ended when this one's body begins: whatever is thrown there runs the destructor, which
// frees the mutex and the volumes that were found.
ICStorage::ICStorage() : ICStorage(nullptr, 0)
{
    static wchar_t const _sFunction_[] = L"ICStorage::ICStorage";

    ::SetLastError(0);
    m_hMutex = ::CreateMutexW(nullptr, TRUE, nullptr);
    if (m_hMutex == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure creating storage mutex: %s", failure.mf_toString());
    }

    ICErrnoData outcome;
    mf_implInitialize(outcome);
    try {
        mf_implUnlockStorage();
    }
    catch (ICErrno & failure) {
        if (!outcome.mf_isSet()) outcome = failure.mf_getErrnoData();
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

ICStorage::ICStorage(ICStorage const & other) : ICStorage(other.m_hMutex, 1)
{
    ICStorageLock lock(other);
    m_aVolumes.Copy(other.m_aVolumes);
    lock.mf_release();
}

ICStorage::~ICStorage()
{
    static wchar_t const _sFunction_[] = L"ICStorage::~ICStorage";

    if (m_isCopy) return;
    ulong const lastError = ::GetLastError();
    try {
        if (m_hMutex != nullptr) mf_implCleanup();
    }
    catch (ICErrno &) {
        // The trace has it. A storage that ends has no other users, so its memory goes all the same.
    }
    mf_implDelete(m_aVolumes);
    f_closeMutex(_sFunction_, m_hMutex);
    ::SetLastError(lastError);
}

void ICStorage::mf_implCleanup()
{
    ICStorageLock lock(*this);
    mf_implDelete(m_aVolumes);
    lock.mf_release();
}

void ICStorage::mf_implDelete(CArray<ICVolume *, ICVolume *> & volumes)
{
    for (INT_PTR index = 0; index < volumes.GetCount(); ++index)
        delete volumes[index];
    volumes.RemoveAll();
}

void ICStorage::mf_createInstance()
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_createInstance";

    if (m_pThis != nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"Singleton already initialized");
    try {
        m_pThis = new (std::nothrow) ICStorage();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating storage singleton:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
}

void ICStorage::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_delete";

    if (m_pThis == nullptr) {
        ICTrace(_sFunction_).mf_warning(L"No instance");
        return;
    }
    delete m_pThis;
    m_pThis = nullptr;
}

int ICStorage::mf_isInitialized()
{
    return m_pThis != nullptr;
}

void ICStorage::mf_implLockStorage() const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implLockStorage";

    if (!f_takeMutex(m_hMutex)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure waiting for storage mutex: %s", failure.mf_toString());
    }
}

void ICStorage::mf_implUnlockStorage() const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implUnlockStorage";

    ::SetLastError(0);
    if (!::ReleaseMutex(m_hMutex)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure releasing storage mutex: %s", failure.mf_toString());
    }
}

void ICStorage::mf_implLockVolumes() const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implLockVolumes";

    mf_implLockStorage();
    f_forEachVolume(m_aVolumes, _sFunction_, L"Failure locking volume '%s':\r\n%s%s\r\n%sContinuing...",
                    [](ICVolume const & volume) { volume.mf_implLock(); });
}

void ICStorage::mf_implUnlockVolumes() const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implUnlockVolumes";

    f_forEachVolume(m_aVolumes, _sFunction_, L"Failure unlocking volume '%s':\r\n%s%s\r\n%sContinuing...",
                    [](ICVolume const & volume) { volume.mf_implUnlock(); });
    mf_implUnlockStorage();
}

void ICStorage::mf_implGetVolumes(ICArray<ICVolume *, ICVolume *> & volumes) const
{
    ICStorageLock lock(*this);
    volumes.Copy(m_aVolumes);
    lock.mf_release();
}

void ICStorage::mf_getVolumes(ICArray<ICVolume *, ICVolume *> & volumes)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_getVolumes";

    if (m_pThis == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Initialization, L"No instance");
    if (!volumes.IsEmpty())
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Parameter array is not empty");
    try {
        m_pThis->mf_implGetVolumes(volumes);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting volume pointer array: %s", failure.mf_toString());
    }
}

template<class MATCHES>
ICVolume const * ICStorage::mf_implSearch(MATCHES && matches) const
{
    ICVolume const * found = nullptr;
    ICStorageLock lock(*this);
    for (INT_PTR index = 0; found == nullptr && index < m_aVolumes.GetCount(); ++index) {
        ICVolume const * const volume = m_aVolumes[index];
        if (volume != nullptr && matches(*volume)) found = volume;
    }
    lock.mf_release();
    return found;
}

ICStorage & ICStorage::mf_implGetFilled(wchar_t const * function)
{
    if (m_pThis == nullptr) throw ICTrace(function).mf_failed(ICErrno::_E_::Initialization, L"No instance");
    if (m_pThis->mf_implCountVolumes() == 0)
        throw ICTrace(function).mf_failed(ICErrno::_E_::ItemNotFound, L"No volumes registered");
    return *m_pThis;
}

int ICStorage::mf_implCountVolumes() const
{
    ICStorageLock lock(*this);
    auto const count = static_cast<int>(m_aVolumes.GetCount());
    lock.mf_release();
    return count;
}

ICVolume const * ICStorage::mf_getVolume(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_getVolume::1";

    ICStorage & storage = mf_implGetFilled(_sFunction_);
    if (path.Find(L':') != 1)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Path '%s' is not a local NTFS/ReFS path name", path);
    CString const idPath = mf_implGetVolumeIdPath(path);
    ICVolume const * volume = storage.mf_implSearch(idPath);
    if (volume == nullptr) volume = storage.mf_implSearchAgain(path, idPath);
    if (volume == nullptr) throw ICErrno(ICErrno::_E_::ItemNotFound);
    return volume;
}

CString ICStorage::mf_implGetVolumeIdPath(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_getVolume::1";

    CString root;
    try {
        root = ICVolume::mf_getVolumeRoot(path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting volume root for path '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
    try {
        return ICVolume::mf_getVolumeIdPath(root);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting volume id for path '%s',\r\n%sroot path '%s':\r\n%s%s", path,
                       ICLog::TAB, root, ICLog::TAB, failure.mf_toString());
    }
}

ICVolume const * ICStorage::mf_implSearch(CString const & idPath) const
{
    return mf_implSearch([&](ICVolume const & volume) { return volume.mf_getIdPath() == idPath; });
}

ICVolume const * ICStorage::mf_implSearchAgain(CString const & path, CString const & idPath) const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_getVolume::1";

    ICTrace(_sFunction_)
        .mf_warning(L"Volume for path '%s' not found.\r\n"
                    L"%sFile is probably not located on a local NTFS/ReFS volume.",
                    path, ICLog::TAB);
    ICTrace(_sFunction_).mf_debug(L"Updating storage...");
    ICVolume const * volume = nullptr;
    try {
        if (mf_update(1)) volume = mf_implSearch(idPath);
        wchar_t const * const negation = volume == nullptr ? L"not " : L"";
        ICTrace(_sFunction_).mf_debug(L"Volume for path '%s' was %sfound after 2nd scan", path, negation);
    }
    catch (ICErrno & failure) {
        // It is the volume that is asked for: there is none.
        ICTrace(_sFunction_).mf_error(L"Failure updating storage: %s", failure.mf_toString());
    }
    return volume;
}

ICVolume const * ICStorage::mf_getVolume(ulong serialNumber)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_getVolume::2";

    ICVolume const * const volume = mf_implGetFilled(_sFunction_).mf_implSearch([&](ICVolume const & candidate) {
        return candidate.mf_getSerialNumber() == serialNumber;
    });
    if (volume == nullptr)
        ICTrace(_sFunction_).mf_warning(L"Volume with serial number 0x%8.8x not found.", serialNumber);
    return volume;
}

int ICStorage::mf_isLocalPath(CString const & path)
{
    try {
        return mf_getVolume(path) != nullptr;
    }
    catch (ICErrno &) {
        // What can't be found, for whatever reason, isn't local.
        return 0;
    }
}
