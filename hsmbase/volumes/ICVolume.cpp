#include "hsmbase/volumes/ICVolume.h"

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/internal/DriveTypeNames.h"
#include "hsmbase/volumes/internal/ICVolumeLock.h"
#include "hsmbase/volumes/internal/VolumeMutex.h"

namespace
{

constexpr int ID_PATH_LENGTH = 49;
constexpr int GUID_START = 11;
constexpr int GUID_LENGTH = 36;

constexpr unsigned int MOUNT_POINT_LINE = 4532;
constexpr unsigned int NO_MOUNT_POINTS_LINE = 4533;
constexpr unsigned int VOLUME_LINES = 4537;

} // namespace

ICVolume::ICVolume() = default;

// The other constructor has ended when this one's body begins: whatever is thrown there runs the destructor, which
// frees the mutex and the mount points that were found.
ICVolume::ICVolume(CString const & idPath) : ICVolume()
{
    static wchar_t const _sFunction_[] = L"ICVolume::ICVolume";

    if (idPath.GetLength() != ID_PATH_LENGTH)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Id-Path '%s' is expected to have 49 chars", idPath);
    m_szIdPath = idPath;
    ::SetLastError(0);
    m_hMutex = ::CreateMutexW(nullptr, TRUE, nullptr);
    if (m_hMutex == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating volume mutex:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
    m_szGUID = idPath.Mid(GUID_START, GUID_LENGTH);

    ICErrnoData outcome;
    mf_implInitialize(outcome);
    if (!outcome.mf_isSet()) m_initTime = ICFileTime::mf_getSystemTime();
    mf_implUnlock(outcome);
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

ICVolume::ICVolume(ICVolume const & other)
    : m_hMutex(other.m_hMutex), m_nDriveType(other.m_nDriveType), m_hasDriveLetter(other.m_hasDriveLetter),
      m_szDriveLetterPath(other.m_szDriveLetterPath), m_szIdPath(other.m_szIdPath), m_szGUID(other.m_szGUID),
      m_szVolumeName(other.m_szVolumeName), m_szFileSystemName(other.m_szFileSystemName),
      m_nSerialNumber(other.m_nSerialNumber), m_nFileSystemFlags(other.m_nFileSystemFlags),
      m_nMaxComponentLength(other.m_nMaxComponentLength), m_nSectorsPerCluster(other.m_nSectorsPerCluster),
      m_nBytesPerSector(other.m_nBytesPerSector), m_nClusterSize(other.m_nClusterSize), m_initTime(other.m_initTime),
      m_isCopy(1)
{
    ICVolumeLock lock(other);
    m_isReady = other.m_isReady;
    m_aMountPoints.Copy(other.m_aMountPoints);
    m_totalNumberOfBytes = other.m_totalNumberOfBytes;
    m_freeBytesAvailable = other.m_freeBytesAvailable;
    m_totalNumberOfFreeBytes = other.m_totalNumberOfFreeBytes;
    m_diskUsagePercent = other.m_diskUsagePercent;
    m_updateTime = other.m_updateTime;
    lock.mf_release();
}

ICVolume::~ICVolume()
{
    static wchar_t const _sFunction_[] = L"ICVolume::~ICVolume";

    if (m_isCopy) return;
    ulong const lastError = ::GetLastError();
    try {
        if (m_hMutex != nullptr) {
            ICVolumeLock const lock(*this);
            mf_implDeleteMountPoints();
        }
    }
    catch (ICErrno &) {
        // The trace has it. A volume that ends has no other users, so its memory goes all the same.
    }
    mf_implDeleteMountPoints();
    f_closeMutex(_sFunction_, m_hMutex);
    ::SetLastError(lastError);
}

void ICVolume::mf_implDeleteMountPoints()
{
    for (INT_PTR index = 0; index < m_aMountPoints.GetCount(); ++index)
        delete m_aMountPoints[index];
    m_aMountPoints.RemoveAll();
}

void ICVolume::mf_implLock() const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implLock";

    if (!f_takeMutex(m_hMutex)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure waiting for volume mutex:\r\n%s%s\r\n%sVolume: '%s'", ICLog::TAB,
                       failure.mf_toString(), ICLog::TAB, m_szIdPath);
    }
}

void ICVolume::mf_implUnlock() const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implUnlock";

    ::SetLastError(0);
    if (!::ReleaseMutex(m_hMutex)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Synchronization);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure releasing volume mutex:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
}

void ICVolume::mf_implUnlock(ICErrnoData & outcome) const
{
    try {
        mf_implUnlock();
    }
    catch (ICErrno & failure) {
        if (!outcome.mf_isSet()) outcome = failure.mf_getErrnoData();
    }
}

void ICVolume::mf_implLockData() const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implLockData";

    mf_implLock();
    if (m_isReady) return;
    mf_implUnlock();
    throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::DeviceNotReady, L"Volume '%s' is not ready", m_szIdPath);
}

void ICVolume::mf_implUnlockData() const
{
    mf_implUnlock();
}

template<class FIGURE>
FIGURE ICVolume::mf_implReadFigure(FIGURE const & figure) const
{
    mf_implLockData();
    FIGURE const value = figure;
    mf_implUnlockData();
    return value;
}

CString const & ICVolume::mf_getIdPath() const
{
    return m_szIdPath;
}

CString const & ICVolume::mf_getGUID() const
{
    return m_szGUID;
}

CString const & ICVolume::mf_getDriveLetterPath() const
{
    return m_szDriveLetterPath;
}

CString const & ICVolume::mf_getFileSystemName() const
{
    return m_szFileSystemName;
}

ulong ICVolume::mf_getSerialNumber() const
{
    return m_nSerialNumber;
}

ulong ICVolume::mf_getClusterSize() const
{
    return m_nClusterSize;
}

int ICVolume::mf_hasDriveLetter() const
{
    return m_hasDriveLetter;
}

wchar_t ICVolume::mf_getDriveLetter() const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getDriveLetter";

    if (!m_hasDriveLetter)
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_W_::NotSupported, L"No drive letter for volume '%s'",
                         m_szIdPath);
    return m_szDriveLetterPath.GetAt(0);
}

ICFileSize ICVolume::mf_getTotalNumberOfBytes() const
{
    return mf_implReadFigure(m_totalNumberOfBytes);
}

ICFileSize ICVolume::mf_getTotalNumberOfFreeBytes() const
{
    return mf_implReadFigure(m_totalNumberOfFreeBytes);
}

double ICVolume::mf_getDiskUsagePercent() const
{
    return mf_implReadFigure(m_diskUsagePercent);
}

int ICVolume::operator==(ICVolume const & other) const
{
    return m_szGUID == other.m_szGUID;
}

int ICVolume::operator!=(ICVolume const & other) const
{
    return !(*this == other);
}

int ICVolume::mf_update() const
{
    ICErrnoData outcome;
    ICVolumeLock lock(*this);
    int const hasChanged = mf_implUpdateSpace(outcome);
    lock.mf_release(outcome);
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    return hasChanged;
}

int ICVolume::mf_implUpdateSpace(ICErrnoData & outcome) const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_update";

    ULARGE_INTEGER available = {};
    ULARGE_INTEGER total = {};
    ULARGE_INTEGER totalFree = {};
    int const wasReady = m_isReady;
    ::SetLastError(0);
    if (::GetDiskFreeSpaceExW(m_szIdPath, &available, &total, &totalFree)) {
        m_isReady = 1;
        m_totalNumberOfBytes = ICFileSize(total.QuadPart);
        m_freeBytesAvailable = ICFileSize(available.QuadPart);
        m_totalNumberOfFreeBytes = ICFileSize(totalFree.QuadPart);
        mf_implUpdateUsage(outcome);
        return !wasReady;
    }
    ulong const systemError = ::GetLastError();
    if (systemError == ERROR_NOT_READY) {
        m_isReady = 0;
        return wasReady;
    }
    ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
    ICTrace(_sFunction_)
        .mf_collect(outcome, failure, L"Failure querying free disk space for '%s':\r\n%s%s", m_szIdPath, ICLog::TAB,
                    failure.mf_toString());
    return 0;
}

void ICVolume::mf_implUpdateUsage(ICErrnoData & outcome) const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_update";

    if (m_totalNumberOfBytes == 0) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, ICErrno::_E_::Arithmetic, L"Total number of free bytes is 0 for '%s'", m_szIdPath);
        return;
    }
    auto const total = static_cast<double>(m_totalNumberOfBytes.mf_getValue());
    auto const totalFree = static_cast<double>(m_totalNumberOfFreeBytes.mf_getValue());
    m_diskUsagePercent = 100.0 - totalFree * 100.0 / total;
    m_updateTime = ICFileTime::mf_getSystemTime();
}

void ICVolume::mf_getMountPoints(ICArray<ICMountPoint, ICMountPoint &> & mountPoints) const
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_getMountPoints";

    if (!mountPoints.IsEmpty())
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Parameter array is not empty");
    ICVolumeLock lock(*this);
    INT_PTR const count = m_aMountPoints.GetCount();
    mountPoints.SetSize(count);
    for (INT_PTR index = 0; index < count; ++index) {
        ICMountPoint * const mountPoint = m_aMountPoints[index];
        if (mountPoint != nullptr) mountPoints.SetAt(index, *mountPoint);
    }
    lock.mf_release();
}

CString ICVolume::mf_toShortString() const
{
    CString text;
    text.Format(L"%s", m_szIdPath.GetString());
    return text;
}

CString ICVolume::mf_toString(CString const & prefix) const
{
    ICVolumeLock lock(*this);
    CString const text = mf_implToString(prefix);
    lock.mf_release();
    return text;
}

CString ICVolume::mf_implMountPointsToString(CString const & prefix) const
{
    if (m_aMountPoints.IsEmpty()) return ICString(NO_MOUNT_POINTS_LINE, prefix.GetString());
    CString lines;
    for (INT_PTR index = 0; index < m_aMountPoints.GetCount(); ++index) {
        CString const mountPoint = m_aMountPoints[index]->mf_toString(CString());
        CString const line =
            ICString(MOUNT_POINT_LINE, prefix.GetString(), static_cast<ulong>(index + 1), mountPoint.GetString());
        lines += line;
    }
    return lines;
}

CString ICVolume::mf_implToString(CString const & prefix) const
{
    CString letter = L"(none)";
    if (m_hasDriveLetter) letter.Format(L"'%s'", m_szDriveLetterPath.GetString());
    CString percent;
    percent.Format(L"%.4f", m_diskUsagePercent);

    wchar_t const * const start = prefix;
    return ICString(VOLUME_LINES, start, static_cast<ulong>(m_nDriveType), mf_implGetDriveTypeString(m_nDriveType),
                    start, letter.GetString(), mf_implMountPointsToString(prefix).GetString(), start,
                    m_szIdPath.GetString(), start, m_szVolumeName.GetString(), start, m_szFileSystemName.GetString(),
                    start, m_nSerialNumber, start, m_nFileSystemFlags, start, m_nMaxComponentLength, start,
                    m_nSectorsPerCluster, start, m_nBytesPerSector, start, m_nClusterSize, start,
                    m_totalNumberOfBytes.mf_toString().GetString(), start,
                    m_freeBytesAvailable.mf_toString().GetString(), start,
                    m_totalNumberOfFreeBytes.mf_toString().GetString(), start, percent.GetString(), L'%', start,
                    m_initTime.mf_toString(L' ').GetString(), start, m_updateTime.mf_toString(L' ').GetString());
}

wchar_t const * ICVolume::mf_implGetDriveTypeString(unsigned int driveType)
{
    static wchar_t const _sFunction_[] = L"ICVolume::mf_implGetDriveTypeString";

    wchar_t const * const name = f_driveTypeName(driveType);
    if (name != nullptr) return name;
    // Deliberate: a path of an unknown drive type shows another name.
    ICTrace(_sFunction_).mf_error(L"Drive type string could not be found: %d\r\nReturning 'DRIVE_UNKNOWN'", driveType);
    return f_driveTypeName(DRIVE_UNKNOWN);
}
