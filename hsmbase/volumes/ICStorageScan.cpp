// How the storage finds the volumes of the machine, at its start and anew.
#include <memory>
#include <new>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/volumes/ICStorage.h"
#include "hsmbase/volumes/internal/ForEachVolume.h"
#include "hsmbase/volumes/internal/ICStorageLock.h"
#include "hsmbase/volumes/internal/ICVolumeSearch.h"

void ICStorage::mf_implInitialize(ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICStorage::ICStorage";

    try {
        mf_implInitializeVolumes();
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, ICErrno::_E_::Initialization,
                        L"Failure initializing volume information:\r\n%s\r\n%sCleaning up ...", failure.mf_toString(),
                        ICLog::TAB);
        return;
    }
    try {
        mf_implInitializeVolumeRelations();
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, ICErrno::_E_::Initialization,
                        L"Failure initializing volume relation information: %s\r\n%sCleaning up ...",
                        failure.mf_toString(), ICLog::TAB);
        return;
    }
    try {
        mf_implTellVolumes();
    }
    catch (ICErrno & failure) {
        outcome = failure.mf_getErrnoData(); // the volume that cannot be locked has traced it
    }
}

void ICStorage::mf_implTellVolumes() const
{
    static wchar_t const _sFunction_[] = L"ICStorage::ICStorage";

    auto const count = static_cast<int>(m_aVolumes.GetCount());
    ICTrace(_sFunction_).mf_info(L"Detected %2.2d active volumes:", count);
    for (int index = 0; index < count; ++index) {
        ICVolume const * const volume = m_aVolumes[index];
        void const * const address = volume;
        ICTrace(_sFunction_)
            .mf_info(L"Volume %2.2d related information (0x%p):\r\n%s", index, address,
                     volume->mf_toString(ICLog::TAB));
    }
}

void ICStorage::mf_implInitializeVolumes()
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implInitializeVolumes";

    try {
        mf_implFindVolumes(m_aVolumes);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure scanning for NTFS/ReFS volumes:\r\n%s", failure.mf_toString());
    }
}

void ICStorage::mf_implFindVolumes(CArray<ICVolume *, ICVolume *> & volumes) const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implFindVolumes";

    wchar_t idPath[MAX_PATH] = {};
    ::SetLastError(0);
    ICVolumeSearch search(::FindFirstVolumeW(idPath, MAX_PATH));
    ulong const systemError = ::GetLastError();
    if (!search.mf_isOpen() && systemError != ERROR_NO_MORE_FILES) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure scanning for first volume: %s", failure.mf_toString());
    }

    ICErrnoData outcome;
    if (search.mf_isOpen()) mf_implAddVolumes(search.mf_get(), idPath, volumes, outcome);
    if (!outcome.mf_isSet()) mf_implCheckVolumes(outcome);
    ::SetLastError(0);
    if (search.mf_isOpen() && !search.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure closing volume search handle: %s", failure.mf_toString());
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

void ICStorage::mf_implAddVolumes(HANDLE search, CString const & first, CArray<ICVolume *, ICVolume *> & volumes,
                                  ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implFindVolumes";

    try {
        mf_implAddVolume(first, volumes);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure adding first volume '%s':\r\n%s%s\r\n%sSkipping volume ...", first, ICLog::TAB,
                      failure.mf_toString(), ICLog::TAB);
    }

    wchar_t idPath[MAX_PATH] = {};
    ::SetLastError(0);
    while (::FindNextVolumeW(search, idPath, MAX_PATH)) {
        try {
            mf_implAddVolume(idPath, volumes);
        }
        catch (ICErrno & failure) {
            // Deliberate, whatever the words say: unlike the first volume, a next one that fails ends the scan.
            wchar_t const * const volume = idPath;
            ICTrace(_sFunction_)
                .mf_collect(outcome, failure, L"Failure adding next volume '%s':\r\n%s%s\r\n%sSkipping volume ...",
                            volume, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
            return;
        }
        ::SetLastError(0);
    }
    if (ulong const systemError = ::GetLastError(); systemError != ERROR_NO_MORE_FILES) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure scanning for next volume: %s", failure.mf_toString());
    }
}

void ICStorage::mf_implCheckVolumes(ICErrnoData & outcome) const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implFindVolumes";

    // Deliberate: those of the storage, not those that were found. Once it has any, a scan may find nothing.
    int const count = mf_implCountVolumes();
    if (count != 0) {
        ICTrace(_sFunction_).mf_debug(L"Found %d volume id(s)", count);
        return;
    }
    outcome = ICErrno::_S_::Resource;
    ICTrace(_sFunction_).mf_write(ICLogData::LEVEL_S, L"No volumes could be made available for storage management");
}

int ICStorage::mf_implAddVolume(CString const & idPath, CArray<ICVolume *, ICVolume *> & volumes)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implAddVolume";

    int isValid = 0;
    try {
        isValid = ICVolume::mf_isValidHSMVolume(idPath);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure validating volume '%s':\r\n%s%s%sVolume will not be added", idPath, ICLog::TAB,
                      failure.mf_toString(), ICLog::TAB);
    }
    if (!isValid) {
        ICTrace(_sFunction_).mf_trace(L"Skipping '%s', not a fixed NTFS/ReFS drive or other failure", idPath);
        return 0;
    }
    ICTrace(_sFunction_).mf_debug(L"Validated HSM (NTFS/ReFS) volume '%s'", idPath);

    std::unique_ptr<ICVolume> volume;
    try {
        volume.reset(new (std::nothrow) ICVolume(idPath));
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure adding volume '%s':\r\n%s%s", idPath, ICLog::TAB, failure.mf_toString());
    }
    if (volume == nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory, L"No memory for volume object instance\r\n%sVolume-root=%s", ICLog::TAB,
                       idPath);
    // First the room: nothing may fail while nobody owns the object.
    INT_PTR const index = volumes.Add(nullptr);
    volumes[index] = volume.release();
    return 1;
}

int ICStorage::mf_implIsVolumeRegistered(ICVolume const * volume) const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implIsVolumeRegistered";

    if (volume == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pVolume");
    auto const count = static_cast<int>(m_aVolumes.GetCount());
    for (int index = 0; index < count; ++index) {
        ICVolume const * const registered = m_aVolumes[index];
        if (registered == nullptr)
            throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Internal, L"Volume object no %d is NULL", index);
        if (*registered == *volume) return 1;
    }
    return 0;
}

int ICStorage::mf_implTakeNewVolumes(CArray<ICVolume *, ICVolume *> & volumes)
{
    int hasTaken = 0;
    ICStorageLock lock(*this);
    for (INT_PTR index = 0; index < volumes.GetCount(); ++index) {
        if (mf_implIsVolumeRegistered(volumes[index])) continue;
        m_aVolumes.Add(volumes[index]);
        volumes[index] = nullptr;
        hasTaken = 1;
    }
    lock.mf_release();
    return hasTaken;
}

int ICStorage::mf_implAddNewVolumes()
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implAddNewVolumes";

    // Deletes what the storage has not taken.
    struct FOUND
    {
        CArray<ICVolume *, ICVolume *> m_volumes;
        ~FOUND() { mf_implDelete(m_volumes); }
    } found;

    try {
        mf_implFindVolumes(found.m_volumes);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure scanning for NTFS/ReFS volumes: %s", failure.mf_toString());
    }
    return mf_implTakeNewVolumes(found.m_volumes);
}

void ICStorage::mf_implInitializeVolumeRelations()
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implInitializeVolumeRelations";

    ICStorageLock lock(*this, ICStorageLock::STORAGE_AND_VOLUMES);
    ICArray<ICVolume *, ICVolume *> volumes;
    volumes.Copy(m_aVolumes);
    f_forEachVolume(volumes, _sFunction_,
                    L"Failure initializing mount point targets for volume: %s\r\n%s%s\r\n%sContinuing...",
                    [&](ICVolume & volume) { volume.mf_implInitializeMountPoints2(volumes); });
    lock.mf_release();
}

void ICStorage::mf_implUpdateVolumeRelations()
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implUpdateVolumeRelations";

    try {
        mf_implInitializeVolumeRelations();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure re-initializing volume relations: %s", failure.mf_toString());
    }
}

int ICStorage::mf_implUpdateVolumes() const
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implUpdate";

    // The volumes lock themselves, and the storage may grow meanwhile.
    ICArray<ICVolume *, ICVolume *> volumes;
    mf_implGetVolumes(volumes);
    int hasChanged = 0;
    f_forEachVolume(volumes, _sFunction_, L"Failure updating volume '%s':\r\n%s%s\r\n%sContinuing...",
                    [&](ICVolume const & volume) {
                        if (volume.mf_update()) hasChanged = 1;
                    });
    return hasChanged;
}

int ICStorage::mf_implUpdate(int addNew)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_implUpdate";

    int hasChanged = mf_implUpdateVolumes();
    if (!addNew) return hasChanged;
    try {
        if (mf_implAddNewVolumes()) hasChanged = 1;
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure add new volumes: %s", failure.mf_toString());
    }
    try {
        mf_implUpdateVolumeRelations();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure updating volume relations: %s", failure.mf_toString());
    }
    return hasChanged;
}

int ICStorage::mf_update(int addNew)
{
    static wchar_t const _sFunction_[] = L"ICStorage::mf_update";

    if (m_pThis == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Initialization, L"No singleton instance");
    try {
        return m_pThis->mf_implUpdate(addNew);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure updating volumes: %s", failure.mf_toString());
    }
}
