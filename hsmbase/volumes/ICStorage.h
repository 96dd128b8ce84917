#pragma once

#include "hsmbase/failure/ICArray.h"
#include "hsmbase/volumes/ICVolume.h"

class ICProgramFrame;

// All local volumes that can be managed, fixed drives with NTFS or ReFS, and on which of them a path lies.
//
//     ICVolume const * const volume = ICStorage::mf_getVolume(L"D:\\archive\\x.txt");   // also below a mount point
//     if (volume->mf_getDiskUsagePercent() > 90.0) ...
//
//     if (ICStorage::mf_update(1)) ...                     // a volume came, went offline or is back
//
// The machine is scanned when the singleton is created, and again whenever a path lies on no known volume. A volume
// once found stays until the singleton ends, also when it has gone from the machine: pointers to volumes are good until
// then. Two volumes are the same if their GUIDs are.
//
// Threads: any. The singleton is created and deleted by the start-up code, on one thread, while nobody else uses it.
//
// Locks: the mutex of the storage guards its array of volumes, that of a volume what changes in it. Whoever needs both
// takes that of the storage first, then those of the volumes in the order of the array. No lock is held over all while
// volumes are updated or the machine is scanned anew.
class HSMBASE_EXPORT ICStorage
{
public:
    // A snapshot for reading: it shares mutex and volumes with `other`, which owns them and must live longer. Throws
    // _E_::Synchronization.
    ICStorage(ICStorage const & other);
    ICStorage & operator=(ICStorage const &) = delete;
    virtual ~ICStorage();

    // The volume on which a path lies; the path begins with a drive letter and need not exist. Where no known volume
    // fits, the machine is scanned once more. Never NULL.
    //
    // Throws _E_::Initialization without the singleton, _E_::ItemNotFound if there is no such volume, _E_::Parameter
    // for a path that does not begin with a letter and a colon (network, volume id and shadow copy paths), _E_::Path
    // and _E_::FileSystem with the system error where the system can't tell, and _E_::Synchronization.
    static ICVolume const * mf_getVolume(CString const & path);

    // The first volume with this serial number; NULL if there is none. Throws _E_::Initialization without the
    // singleton, _E_::ItemNotFound while no volume at all is known, and _E_::Synchronization.
    static ICVolume const * mf_getVolume(ulong serialNumber);

    // All volumes, in the order in which they were found; they stay the storage's. Throws _E_::Initialization without
    // the singleton, _E_::Parameter for an array that is not empty, and _E_::Synchronization.
    static void mf_getVolumes(ICArray<ICVolume *, ICVolume *> & volumes);

    // Whether the path lies on a known volume; 0 also for every failure of mf_getVolume. Asked for a path on another
    // drive, it scans the machine.
    static int mf_isLocalPath(CString const & path);

    static int mf_isInitialized();

    // Reads the space figures of all volumes anew; with `addNew` also looks for new volumes and for what is mounted at
    // the mount points. Answers 1 if a volume came, became ready or ceased to be; one that fails counts for nothing.
    //
    // Throws _E_::Initialization without the singleton, _E_::Synchronization, and what a scan fails with: _E_::System,
    // or the failure of the volume at which it ended.
    static int mf_update(int addNew);

private:
    friend class ICProgramFrame;
    friend class ICStorageLock;

    // The storage of the machine, scanned and linked. Throws _E_::Synchronization, and _E_::Initialization for all that
    // goes wrong in the scan.
    ICStorage();
    ICStorage(HANDLE mutex, int isCopy);

    // Throws _E_::AlreadyInitialized and what the constructor throws. Deliberate: without memory there is no failure
    // and no instance, see mf_isInitialized.
    static void mf_createInstance();

    // Without an instance only a warning is written.
    static void mf_deleteInstance();

    // The singleton. Throws _E_::Initialization without it, _E_::ItemNotFound while it has no volumes, and
    // _E_::Synchronization.
    static ICStorage & mf_implGetFilled(wchar_t const * function);
    int mf_implCountVolumes() const;

    void mf_implInitialize(ICErrnoData & outcome);
    void mf_implTellVolumes() const;

    // Scans into the storage's own array.
    void mf_implInitializeVolumes();

    // Finds what is mounted at the mount points of each volume. A volume that fails is skipped.
    void mf_implInitializeVolumeRelations();
    void mf_implUpdateVolumeRelations();

    // Appends a volume for each one on the machine that can be managed, whether the storage has it or not; the caller
    // owns them, also after a failure. Throws _E_::System, _S_::Resource while the storage has no volume at all, and
    // the failure of the volume at which the scan ended.
    void mf_implFindVolumes(CArray<ICVolume *, ICVolume *> & volumes) const;
    static void mf_implAddVolumes(HANDLE search, CString const & first, CArray<ICVolume *, ICVolume *> & volumes,
                                  ICErrnoData & outcome);
    void mf_implCheckVolumes(ICErrnoData & outcome) const;

    // Answers 1 if the volume can be managed and was appended. Throws _E_::Memory and what ICVolume throws.
    static int mf_implAddVolume(CString const & idPath, CArray<ICVolume *, ICVolume *> & volumes);

    // Scans once more and takes what isn't there yet; answers 1 if there was any.
    int mf_implAddNewVolumes();
    int mf_implTakeNewVolumes(CArray<ICVolume *, ICVolume *> & volumes);

    // Under the lock. Throws _E_::Parameter for NULL and _E_::Internal for a NULL in the array.
    int mf_implIsVolumeRegistered(ICVolume const * volume) const;

    int mf_implUpdate(int addNew);
    int mf_implUpdateVolumes() const;

    // A copy of the array, taken under the lock.
    void mf_implGetVolumes(ICArray<ICVolume *, ICVolume *> & volumes) const;

    // The first volume that `matches` accepts, else NULL.
    template<class MATCHES>
    ICVolume const * mf_implSearch(MATCHES && matches) const;
    ICVolume const * mf_implSearch(CString const & idPath) const;
    ICVolume const * mf_implSearchAgain(CString const & path, CString const & idPath) const;
    static CString mf_implGetVolumeIdPath(CString const & path);

    // Deletes all volumes. Throws _E_::Synchronization.
    void mf_implCleanup();
    static void mf_implDelete(CArray<ICVolume *, ICVolume *> & volumes);

    // Throw _E_::Synchronization with the system error. A mutex that its thread left behind counts as locked.
    void mf_implLockStorage() const;
    void mf_implUnlockStorage() const;

    // The storage and each volume; what a single volume fails with is only traced. Throw _E_::Synchronization.
    void mf_implLockVolumes() const;
    void mf_implUnlockVolumes() const;

    HANDLE m_hMutex = nullptr;
    CArray<ICVolume *, ICVolume *> m_aVolumes; // owned, in scan order; only grows
    int m_isCopy = 0;                          // mutex and volumes belong to another storage

    static ICStorage * m_pThis;
};
