// What a volume finds out about itself while it is built.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/volumes/ICVolume.h"
#include "hsmbase/volumes/internal/ICMountPointSearch.h"

namespace
{

constexpr wchar_t CONSTRUCTOR[] = L"ICVolume::ICVolume";
constexpr ulong LETTERS = 26;

// One step of the construction, unless an earlier one failed.
template<class STEP>
void f_step(ICErrnoData & outcome, CString const & idPath,
            ICTraceFormat<CString, wchar_t const *, CString> const & format, STEP && step)
{
    if (outcome.mf_isSet()) return;
    try {
        step();
    }
    catch (ICErrno & failure) {
        wchar_t const * const indent = ICLog::TAB;
        ICTrace(CONSTRUCTOR).mf_collect(outcome, failure, format, idPath, indent, failure.mf_toString());
    }
}

} // namespace

void ICVolume::mf_implInitialize(ICErrnoData & outcome)
{
    f_step(outcome, m_szIdPath, L"Failure initializing drive type for volume '%s'\r\n%s%s",
           [this] { m_nDriveType = mf_implGetDriveType(m_szIdPath); });
    if (!outcome.mf_isSet() && m_nDriveType != DRIVE_FIXED)
        ICTrace(CONSTRUCTOR)
            .mf_collect(outcome, ICErrno::_E_::NotSupported, L"Volume '%s' is not a fixed drive", m_szIdPath);
    f_step(outcome, m_szIdPath, L"Failure initializing drive letter for volume '%s':\r\n%s%s",
           [this] { mf_implInitializeDriveLetterPath(); });
    f_step(outcome, m_szIdPath, L"Failure initializing mount points for volume '%s':\r\n%s%s",
           [this] { mf_implInitializeMountPoints(); });
    f_step(outcome, m_szIdPath, L"Failure initializing information for volume '%s'\r\n%s%s",
           [this] { mf_implInitializeVolumeInformation(); });
    f_step(outcome, m_szIdPath, L"Failure initializing cluster data for volume '%s':\r\n%s%s",
           [this] { mf_implInitializeNTFSClusterInformation(); });
    f_step(outcome, m_szIdPath, L"Failure updating space information for volume '%s':\r\n%s%s",
           [this] { mf_update(); });
}

void ICVolume::mf_implInitializeDriveLetterPath()
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeDriveLetterPath";

    ::SetLastError(0);
    ulong const letters = ::GetLogicalDrives();
    if (letters == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSystem);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure requesting logical drives: %s", failure.mf_toString());
    }
    try {
        for (ulong letter = 0; letter < LETTERS && !m_hasDriveLetter; ++letter)
            if (letters & (1ul << letter)) mf_implInitializeDriveLetterPath(static_cast<wchar_t>(L'A' + letter));
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure during drive letter analysis: %s\r\n%sConcerned volume: '%s'",
                       failure.mf_toString(), ICLog::TAB, m_szIdPath);
    }
}

void ICVolume::mf_implInitializeDriveLetterPath(wchar_t letter)
{
    CString path;
    path.Format(L"%c:\\", letter);
    // Deliberate: a letter without a drive fails the volume if it comes ahead of the volume's own.
    if (mf_implGetDriveType(path) != DRIVE_FIXED || mf_getVolumeIdPath(path) != m_szIdPath) return;
    m_szDriveLetterPath = path;
    m_hasDriveLetter = 1;
}

void ICVolume::mf_implInitializeMountPoints()
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeMountPoints";

    wchar_t path[MAX_PATH] = {};
    ::SetLastError(0);
    ICMountPointSearch search(::FindFirstVolumeMountPointW(m_szIdPath, path, MAX_PATH));
    if (!search.mf_isOpen()) {
        ulong const systemError = ::GetLastError();
        if (systemError == ERROR_PATH_NOT_FOUND || systemError == ERROR_NO_MORE_FILES) return;
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure scanning for first mount point of volume: %s\r\n%s%s", m_szIdPath, ICLog::TAB,
                       failure.mf_toString());
    }

    ICErrnoData outcome;
    do {
        mf_implAddMountPoint(path);
        ::SetLastError(0);
    } while (::FindNextVolumeMountPointW(search.mf_get(), path, MAX_PATH));
    if (ulong const systemError = ::GetLastError(); systemError != ERROR_NO_MORE_FILES) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure scanning for next mount point of volume: %s\r\n%s%s", m_szIdPath,
                        ICLog::TAB, failure.mf_toString());
    }
    ::SetLastError(0);
    if (!search.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure closing mount point search handle for volume '%s':\r\n%s%s",
                        m_szIdPath, ICLog::TAB, failure.mf_toString());
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

void ICVolume::mf_implAddMountPoint(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeMountPoints";

    if (!mf_isValidHSMMountPoint(path)) {
        ICTrace(_sFunction_).mf_trace(L"Mount point '%s%s' skipped", m_szIdPath, path);
        return;
    }
    // First the room: nothing may fail while the array doesn't own the object yet.
    INT_PTR const index = m_aMountPoints.Add(nullptr);
    m_aMountPoints[index] = new ICMountPoint(this, path, nullptr);
}

void ICVolume::mf_implInitializeVolumeInformation()
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeVolumeInformation";

    wchar_t volumeName[MAX_PATH] = {};
    wchar_t fileSystemName[MAX_PATH] = {};
    ::SetLastError(0);
    if (!::GetVolumeInformationW(m_szIdPath, volumeName, MAX_PATH, &m_nSerialNumber, &m_nMaxComponentLength,
                                 &m_nFileSystemFlags, fileSystemName, MAX_PATH)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure retrieving information for volume '%s':\r\n%s%s", m_szIdPath, ICLog::TAB,
                       failure.mf_toString());
    }
    m_szVolumeName = volumeName;
    m_szFileSystemName = fileSystemName;
}

void ICVolume::mf_implInitializeNTFSClusterInformation()
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeNTFSClusterInformation";

    ulong freeClusters = 0;
    ulong clusters = 0;
    ::SetLastError(0);
    if (!::GetDiskFreeSpaceW(m_szIdPath, &m_nSectorsPerCluster, &m_nBytesPerSector, &freeClusters, &clusters)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying disk cluster information for '%s':\r\n%s%s", m_szIdPath, ICLog::TAB,
                       failure.mf_toString());
    }
    m_nClusterSize = m_nSectorsPerCluster * m_nBytesPerSector;
}

void ICVolume::mf_implInitializeMountPoints2(ICArray<ICVolume *, ICVolume *> const & volumes)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeMountPoints2";

    for (INT_PTR index = 0; index < m_aMountPoints.GetCount(); ++index) {
        ICMountPoint & mountPoint = *m_aMountPoints[index];
        CString target;
        try {
            target = mf_getVolumeIdPath(mountPoint.mf_getFullPath());
        }
        catch (ICErrno & failure) {
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Initialization,
                           L"Failure initializing mount point '%s' of volume '%s':\r\n%s%s", mountPoint.m_szPath,
                           m_szIdPath, ICLog::TAB, failure.mf_toString());
        }
        mf_implLinkMountPoint(mountPoint, target, volumes);
    }
}

void ICVolume::mf_implLinkMountPoint(ICMountPoint & mountPoint, CString const & target,
                                     ICArray<ICVolume *, ICVolume *> const & volumes)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implInitializeMountPoints2";

    for (INT_PTR index = 0; index < volumes.GetCount(); ++index) {
        ICVolume const * const volume = volumes[index];
        if (volume == nullptr || volume->m_szIdPath != target) continue;
        mountPoint.mf_setMountedVolume(volume);
        return;
    }
    ICTrace(_sFunction_)
        .mf_warning(L"Volume mounted at mount path '%s' not found.\r\n%sContinuing ...", mountPoint.mf_getFullPath(),
                    ICLog::TAB);
}
