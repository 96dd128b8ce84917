#pragma once

#include "hsmbase/failure/ICArray.h"
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/volumes/ICMountPoint.h"

class ICErrnoData;
class ICStorage;

// One local file system that may be managed: its identity, its drive letter, the mount points that lie on it, what the
// file system says of itself, and how full it is.
//
//     CString const root = ICVolume::mf_getVolumeRoot(L"D:\\data\\x.txt");        // "D:\"
//     if (ICVolume::mf_isValidHSMVolume(root)) {
//         ICVolume const volume(ICVolume::mf_getVolumeIdPath(root));
//         wprintf(L"%.1f percent used", volume.mf_getDiskUsagePercent());
//     }
//
// A volume is known by its id path, "\\?\Volume{...}\" with a GUID of 36 characters. A drive letter or a directory at
// which a volume is mounted is a root, with a backslash at its end. All text is taken as it comes: case counts in ids.
//
// The static questions work on any path or root, without an instance.
//
// Threads: any. Identity, drive letter and the file system's facts never change and are read without a lock. The
// volume's mutex guards the space figures, the readiness and the mount points; a thread may take it again.
//
// Locks: that of the storage, then those of its volumes. A volume takes no other lock while it holds its own.
class HSMBASE_EXPORT ICVolume
{
public:
    // Reads everything but the targets of the mount points, with the volume locked meanwhile. A device that is not
    // ready only for the query of its space gives a volume that is not ready.
    //
    // Throws _E_::Parameter for an id path of another length than 49, _E_::NotSupported for anything but a fixed drive,
    // _E_::Synchronization, and _E_::FileSystem, _E_::System or _E_::Arithmetic for what could not be read.
    explicit ICVolume(CString const & idPath);

    // A snapshot for reading: it shares mutex and mount points with `other`, which owns them and must live longer.
    // Throws _E_::Synchronization.
    ICVolume(ICVolume const & other);
    ICVolume & operator=(ICVolume const &) = delete;
    virtual ~ICVolume();

    CString const & mf_getIdPath() const;

    // The 36 characters between the braces.
    CString const & mf_getGUID() const;

    // The lowest of the volume's letters, as "D:\"; empty for a volume without one.
    CString const & mf_getDriveLetterPath() const;
    CString const & mf_getFileSystemName() const;
    ulong mf_getSerialNumber() const;

    // In bytes.
    ulong mf_getClusterSize() const;
    int mf_hasDriveLetter() const;

    // As "D". Throws _W_::NotSupported for a volume without a letter.
    wchar_t mf_getDriveLetter() const;

    // As of the last mf_update that could reach the device. Throw _E_::DeviceNotReady where the last one could not, and
    // _E_::Synchronization.
    ICFileSize mf_getTotalNumberOfBytes() const;
    ICFileSize mf_getTotalNumberOfFreeBytes() const;
    double mf_getDiskUsagePercent() const;

    // Two volumes are the same if their GUIDs are.
    int operator==(ICVolume const & other) const;
    int operator!=(ICVolume const & other) const;

    // Reads the space figures anew; answers 1 if the volume became ready or ceased to be. A device that is not ready is
    // no failure. Throws _E_::Synchronization, _E_::System with the figures as they were, and _E_::Arithmetic for a
    // volume of 0 bytes, whose usage and time of update stay.
    int mf_update() const;

    // Copies of the mount points on this volume, valid while the volumes are. Throws _E_::Parameter for an array that
    // is not empty, and _E_::Synchronization.
    void mf_getMountPoints(ICArray<ICMountPoint, ICMountPoint &> & mountPoints) const;

    // All facts, one a line, each line beginning with `prefix`; in the thread's current language. Throws
    // _E_::Synchronization.
    CString mf_toString(CString const & prefix) const;

    // The id path.
    CString mf_toShortString() const;

    // The root of the volume on which a path lies. The path need not exist. Throws _E_::Path with the system error.
    static CString mf_getVolumeRoot(CString const & path);

    // The id path of the volume with this root. Throws _E_::FileSystem with the system error.
    static CString mf_getVolumeIdPath(CString const & root);

    // The same object, named below its volume's id path. Throws what the two above throw.
    static CString mf_getIdPath(CString const & path);

    // As "NTFS". "DEVICE-NOT-READY" for a device that is not ready, "UNKNOWN" for a volume without a file system that
    // the system knows. Throws _E_::FileSystem with the system error.
    static CString mf_getFileSystemName(CString const & root);

    // In bytes. Throws _E_::System with the system error.
    static ulong mf_getClusterSize(CString const & root);

    // Throws _E_::FileSystem for a root that is none.
    static int mf_isFixedDrive(CString const & root);

    // Whether this may name a drive: a letter; in a text also with a colon or a dollar sign behind it, and no more.
    // The second throws _E_::Parameter for an empty text and _E_::Formatting if the first character is no letter.
    static int mf_isValidVolume(wchar_t volume);
    static int mf_isValidVolume(CString const & volume);

    // Whether this is the root of a volume that can be managed: a fixed drive with NTFS or ReFS. Throws what
    // mf_isFixedDrive and mf_getFileSystemName throw.
    static int mf_isValidHSMVolume(CString const & root);

    // Whether a mount point, given relative to its volume, can be managed: those of shared cluster volumes can't.
    static int mf_isValidHSMMountPoint(CString const & path);

    // Whether two roots are the same text but for case and backslashes at their ends.
    static int mf_maches(CString const & first, CString const & second);

private:
    friend class ICStorage;
    friend class ICVolumeLock;

    ICVolume();

    // Throw _E_::Synchronization with the system error. A mutex that its thread left behind counts as locked.
    void mf_implLock() const;
    void mf_implUnlock() const;

    // Keeps the failure unless there is one already.
    void mf_implUnlock(ICErrnoData & outcome) const;

    // For the space figures: throws also _E_::DeviceNotReady, with the volume unlocked.
    void mf_implLockData() const;
    void mf_implUnlockData() const;
    template<class FIGURE>
    FIGURE mf_implReadFigure(FIGURE const & figure) const;

    // Construction, step by step. Each throws what the constructor throws.
    void mf_implInitialize(ICErrnoData & outcome);
    void mf_implInitializeDriveLetterPath();
    void mf_implInitializeDriveLetterPath(wchar_t letter);
    void mf_implInitializeMountPoints();
    void mf_implInitializeVolumeInformation();
    void mf_implInitializeNTFSClusterInformation();
    void mf_implAddMountPoint(CString const & path);

    // Finds the volumes that are mounted on this one among `volumes`; the caller holds the locks of all. A target that
    // is not among them leaves a warning and the link as it was. Throws _E_::Initialization when the system can't tell
    // the target of a mount point; those behind it are not looked at.
    void mf_implInitializeMountPoints2(ICArray<ICVolume *, ICVolume *> const & volumes);
    static void mf_implLinkMountPoint(ICMountPoint & mountPoint, CString const & target,
                                      ICArray<ICVolume *, ICVolume *> const & volumes);

    int mf_implUpdateSpace(ICErrnoData & outcome) const;
    void mf_implUpdateUsage(ICErrnoData & outcome) const;

    CString mf_implMountPointsToString(CString const & prefix) const;
    CString mf_implToString(CString const & prefix) const;

    void mf_implDeleteMountPoints();

    // The platform's drive type. Throws _E_::FileSystem for the two that mean that there is no such drive.
    static unsigned int mf_implGetDriveType(CString const & root);
    static wchar_t const * mf_implGetDriveTypeString(unsigned int driveType);

    HANDLE m_hMutex = nullptr;
    mutable int m_isReady = 0; // the last query of the space could reach the device
    unsigned int m_nDriveType = DRIVE_UNKNOWN;
    int m_hasDriveLetter = 0;
    CString m_szDriveLetterPath;
    CArray<ICMountPoint *, ICMountPoint *> m_aMountPoints; // owned
    CString m_szIdPath;
    CString m_szGUID;
    CString m_szVolumeName; // the label
    CString m_szFileSystemName;
    ulong m_nSerialNumber = 0;
    ulong m_nFileSystemFlags = 0;
    ulong m_nMaxComponentLength = 0;
    ulong m_nSectorsPerCluster = 0;
    ulong m_nBytesPerSector = 0;
    ulong m_nClusterSize = 0;
    mutable ICFileSize m_totalNumberOfBytes;
    mutable ICFileSize m_freeBytesAvailable; // to the caller
    mutable ICFileSize m_totalNumberOfFreeBytes;
    mutable double m_diskUsagePercent = 0;
    ICFileTime m_initTime;
    mutable ICFileTime m_updateTime; // of the last successful query of the space
    int m_isCopy = 0;                // mutex and mount points belong to another volume
};
