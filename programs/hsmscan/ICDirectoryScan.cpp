#include "programs/hsmscan/ICDirectoryScan.h"

#include <algorithm>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICDirectoryEntries.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/volumes/ICStorage.h"
#include "hsmbase/volumes/ICVolume.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICScanTotals.h"

namespace
{

bool f_contains(std::vector<CString> const & texts, CString const & text)
{
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

// "\\?\Volume{...}", with or without backslash at its end.
bool f_isVolumeId(CString const & path)
{
    constexpr int ID_PATH = 49;
    return path.Left(11) == L"\\\\?\\Volume{" && ICPath::mf_normalizeDirectory(path).GetLength() == ID_PATH;
}

// By its letter, if it has one: the name by which its users know it.
CString f_rootOfVolume(CString const & idPath)
{
    if (!ICStorage::mf_isInitialized()) return idPath;
    ICArray<ICVolume *, ICVolume *> volumes;
    ICStorage::mf_getVolumes(volumes);
    for (INT_PTR index = 0; index < volumes.GetCount(); ++index)
        if (volumes[index]->mf_getIdPath() == idPath && volumes[index]->mf_hasDriveLetter())
            return volumes[index]->mf_getDriveLetterPath();
    return idPath;
}

} // namespace

// With a drive, a share or a volume in front, as the long form of a path needs it, and a backslash at the end.
CString ICDirectoryScan::mf_implFindDirectory(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryScan::mf_implFindDirectory";
    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty path");
    if (f_isVolumeId(path)) return f_rootOfVolume(ICPath::mf_normalizeDirectory(path));
    // "D:" is meant as the drive, not as the current directory on it.
    if (path.GetLength() == 2 && ICPath::mf_isNTFSPathName(path)) return ICPath::mf_normalizeDirectory(path);
    return ICPath::mf_normalizeDirectory(ICPath::mf_getAbsolutePath(ICLongPath::mf_removeLongPathUNCPrefix(path)));
}

ICDirectoryScan::VOLUME ICDirectoryScan::mf_implFindVolume(CString const & directory)
{
    VOLUME volume;
    try {
        CString const root = ICVolume::mf_getVolumeRoot(directory);
        volume.m_clusterSize = std::max(1ul, ICVolume::mf_getClusterSize(root));
        volume.m_isWhole = ICVolume::mf_maches(root, directory) != 0;
        if (!ICPath::mf_isUNCPathName(root)) volume.m_idPath = ICVolume::mf_getVolumeIdPath(root);
    }
    catch (ICErrno &) {
        // It has left its trace. The scan does without what a file system won't tell.
    }
    return volume;
}

void ICDirectoryScan::mf_scan(std::vector<CString> const & paths)
{
    for (CString const & path : paths)
        mf_implReserveVolume(path);
    for (CString const & path : paths) {
        m_listener.m_started(path);
        mf_implScan(path);
    }
}

void ICDirectoryScan::mf_implReserveVolume(CString const & path)
{
    try {
        VOLUME const volume = mf_implFindVolume(mf_implFindDirectory(path));
        if (volume.m_isWhole && !volume.m_idPath.IsEmpty()) m_reserved.push_back(volume.m_idPath);
    }
    catch (ICErrno &) {
        // Told when the path's turn comes.
    }
}

void ICDirectoryScan::mf_implScan(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryScan::mf_implScan";
    try {
        CString const directory = mf_implFindDirectory(path);
        if (!ICPath::mf_isDirectory(directory))
            throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Path, L"'%s' is no directory", path);
        mf_implWalk(directory);
    }
    catch (ICErrno & failure) {
        mf_implReport(failure, L"KVR29002E", IDS_KVR29002_TEXT, path);
    }
}

void ICDirectoryScan::mf_implWalk(CString const & directory)
{
    VOLUME const volume = mf_implFindVolume(directory);
    if (volume.m_isWhole && !volume.m_idPath.IsEmpty()) {
        if (f_contains(m_entered, volume.m_idPath)) return;
        m_entered.push_back(volume.m_idPath);
    }
    m_current = volume.m_idPath;
    m_totals.mf_addRoot();
    m_waiting.push_back({directory, volume.m_clusterSize});
    while (!m_waiting.empty()) {
        PLACE const place = m_waiting.back();
        m_waiting.pop_back();
        try {
            mf_implReadDirectory(place);
        }
        catch (ICErrno & failure) {
            m_totals.mf_addUnreadable();
            mf_implReport(failure, L"KVR29001E", IDS_KVR29001_TEXT, place.m_directory);
        }
    }
}

void ICDirectoryScan::mf_implReadDirectory(PLACE const & place)
{
    ICDirectoryEntries entries(place.m_directory);
    while (entries.mf_next())
        mf_implAddEntry(entries.mf_getEntry(), place);
}

void ICDirectoryScan::mf_implAddEntry(WIN32_FIND_DATAW const & entry, PLACE const & place)
{
    ulong const attributes = entry.dwFileAttributes;
    m_totals.mf_add(entry, place.m_directory, place.m_clusterSize);
    if (!ICPath::mf_isDirectory(attributes)) return;
    if (!(attributes & FILE_ATTRIBUTE_REPARSE_POINT))
        m_waiting.push_back({place.m_directory + entry.cFileName + L"\\", place.m_clusterSize});
    else if (entry.dwReserved0 == IO_REPARSE_TAG_MOUNT_POINT)
        mf_implEnterVolume(place.m_directory + entry.cFileName + L"\\");
}

// A link to a directory has the same tag as a mount point, but no volume id.
void ICDirectoryScan::mf_implEnterVolume(CString const & directory)
{
    VOLUME const volume = mf_implFindVolume(directory);
    if (!volume.m_isWhole || volume.m_idPath.IsEmpty() || volume.m_idPath == m_current) return;
    if (f_contains(m_reserved, volume.m_idPath) || f_contains(m_entered, volume.m_idPath)) return;
    m_entered.push_back(volume.m_idPath);
    m_waiting.push_back({directory, volume.m_clusterSize});
}

void ICDirectoryScan::mf_implReport(ICErrno const & failure, wchar_t const * number, unsigned int textId,
                                    CString const & path)
{
    ICErrnoData data = failure.mf_getErrnoData();
    // A message's other texts follow its own.
    ICErrnoData::mf_setMessage(data, number, textId, textId + 1, textId + 2, textId + 3, path.GetString());
    m_worst.mf_update(data);
    m_listener.m_failed(ICErrno(data));
}
