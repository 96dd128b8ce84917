// Questions about any path or root, without an instance.
#include <cwctype>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/volumes/ICVolume.h"

CString ICVolume::mf_getVolumeRoot(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getVolumeRoot";

    wchar_t root[MAX_PATH] = {};
    ::SetLastError(0);
    if (!::GetVolumePathNameW(path, root, MAX_PATH)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Could not obtain the volume path for '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
    return root;
}

CString ICVolume::mf_getVolumeIdPath(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getVolumeIdPath";

    wchar_t idPath[MAX_PATH + 1] = {};
    ::SetLastError(0);
    if (!::GetVolumeNameForVolumeMountPointW(root, idPath, MAX_PATH + 1)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSystem);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting volume id for root path '%s':\r\n%s%s", root, ICLog::TAB,
                       failure.mf_toString());
    }
    return idPath;
}

CString ICVolume::mf_getIdPath(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getIdPath::2";

    CString root;
    try {
        root = mf_getVolumeRoot(path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting volume root: %s\r\n%spath='%s'", failure.mf_toString(), ICLog::TAB,
                       path);
    }
    try {
        return mf_getVolumeIdPath(root) + path.Right(path.GetLength() - root.GetLength());
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting volume id path: %s\r\n%svolume root='%s'%spath='%s'",
                       failure.mf_toString(), ICLog::TAB, root, ICLog::TAB, path);
    }
}

CString ICVolume::mf_getFileSystemName(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getFileSystemName::2";

    wchar_t name[MAX_PATH - 1] = {};
    ::SetLastError(0);
    if (::GetVolumeInformationW(root, nullptr, 0, nullptr, nullptr, nullptr, name, MAX_PATH - 1)) return name;
    ulong const systemError = ::GetLastError();
    if (systemError == ERROR_NOT_READY) {
        ICTrace(_sFunction_).mf_info(L"Volume with root='%s' is not ready", root);
        return L"DEVICE-NOT-READY";
    }
    if (systemError == ERROR_UNRECOGNIZED_VOLUME) return L"UNKNOWN";
    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSystem, systemError);
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Could not obtain filesystem type for volume root '%s':\r\n%s%s", root, ICLog::TAB,
                   failure.mf_toString());
}

ulong ICVolume::mf_getClusterSize(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getClusterSize::2";

    ulong sectorsPerCluster = 0;
    ulong bytesPerSector = 0;
    ulong freeClusters = 0;
    ulong clusters = 0;
    ::SetLastError(0);
    if (!::GetDiskFreeSpaceW(root, &sectorsPerCluster, &bytesPerSector, &freeClusters, &clusters)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying volume information for volume root '%s':\r\n%s%s", root, ICLog::TAB,
                       failure.mf_toString());
    }
    return sectorsPerCluster * bytesPerSector;
}

unsigned int ICVolume::mf_implGetDriveType(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implGetDriveType";

    ::SetLastError(0);
    unsigned int const driveType = ::GetDriveTypeW(root);
    if (driveType == DRIVE_UNKNOWN || driveType == DRIVE_NO_ROOT_DIR)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::FileSystem,
                       L"Failure getting drive type for volume '%s':\r\n%sDRIVE_UNKNOWN or DRIVE_NO_ROOT_DIR (%u)",
                       root, ICLog::TAB, driveType);
    return driveType;
}

int ICVolume::mf_isFixedDrive(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_isFixedDrive";

    try {
        return mf_implGetDriveType(root) == DRIVE_FIXED;
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting drive type for volume root '%s':\r\n%s%s", root, ICLog::TAB,
                       failure.mf_toString());
    }
}

int ICVolume::mf_isValidVolume(wchar_t volume)
{
    return std::iswalpha(volume) != 0;
}

int ICVolume::mf_isValidVolume(CString const & volume)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_isValidVolume::2";

    if (volume.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Volume parameter is empty");
    if (!mf_isValidVolume(volume.GetAt(0)))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Formatting, L"First character of volume '%s' is not valid", volume);
    if (volume.GetLength() == 1) return 1;
    return volume.GetLength() == 2 && (volume.GetAt(1) == L':' || volume.GetAt(1) == L'$');
}

int ICVolume::mf_isValidHSMVolume(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_isValidHSMVolume";

    try {
        if (!mf_isFixedDrive(root)) {
            ICTrace(_sFunction_).mf_trace(L"Volume '%s' is not a fixed drive", root);
            return 0;
        }
        CString const name = mf_getFileSystemName(root);
        if (name == L"NTFS" || name == L"ReFS") return 1;
        ICTrace(_sFunction_).mf_trace(L"Volume '%s' type '%s' is not NTFS nor ReFS", root, name);
        return 0;
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting file system type of volume '%s':\r\n%s%s", root, ICLog::TAB,
                       failure.mf_toString());
    }
}

int ICVolume::mf_isValidHSMMountPoint(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_isValidHSMMountPoint";
    static wchar_t const CLUSTER_STORAGE[] = L"ClusterStorage\\Volume";

    if (::_wcsnicmp(path, CLUSTER_STORAGE, sizeof CLUSTER_STORAGE / sizeof *CLUSTER_STORAGE - 1) != 0) return 1;
    ICTrace(_sFunction_)
        .mf_trace(L"Cluster storage mount point '%s' skipped\r\n"
                  L"%sShared cluster volumes are not yet supported by HSM",
                  path, ICLog::TAB);
    return 0;
}

int ICVolume::mf_maches(CString const & first, CString const & second)
{
    CString left = first;
    CString right = second;
    left.TrimRight(L'\\');
    right.TrimRight(L'\\');
    return left.CompareNoCase(right) == 0;
}
