#include "programs/hsmscan/ICDirectoryScan.h"

#include <algorithm>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/volumes/ICStorage.h"
#include "hsmbase/volumes/ICVolume.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "programs/hsmscan/ICScanWorkers.h"

namespace
{
bool f_contains(std::vector<ICScanVolume const *> const & volumes, ICScanVolume const & volume)
{
    return std::find(volumes.begin(), volumes.end(), &volume) != volumes.end();
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

ICDirectoryScan::ICDirectoryScan(ICScanTotals & totals, LISTENER const & listener, int threads)
    : m_totals(totals), m_listener(listener), m_threads(threads), m_failures(listener.m_failed),
      m_queue([this](ICLinkedList & mountPoints, ICLinkedList & directories) {
          mf_implEnterVolumes(mountPoints, directories);
      })
{}

void ICDirectoryScan::mf_scan(std::vector<CString> const & paths)
{
    for (CString const & path : paths)
        mf_implReserveVolume(path);
    for (CString const & path : paths) {
        m_listener.m_started(path);
        mf_implAddRoot(path);
    }
    ICScanWorkers workers(m_threads, {m_queue, m_visited, m_failures, m_counts}, m_totals);
    workers.mf_installCancelSwitch(&m_cancelSwitch);
    m_failures.mf_update(workers.mf_run());
    workers.mf_collect(m_totals);
}

void ICDirectoryScan::mf_cancel()
{
    m_cancelSwitch.mf_cancel(ICErrno::_W_::UserCanceled);
    m_queue.mf_stop();
}

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

ICDirectoryScan::PLACE ICDirectoryScan::mf_implFindPlace(CString const & directory)
{
    constexpr ULONG64 NTFS_RECORD = 0x0000FFFFFFFFFFFF; // above it stands how often the record was used
    try {
        CString const root = ICVolume::mf_getVolumeRoot(directory);
        bool const isLocal = !ICPath::mf_isUNCPathName(root);
        ICScanVolume & volume = mf_implFindVolume(isLocal ? ICVolume::mf_getVolumeIdPath(root) : root);
        volume.m_isLocal = isLocal;
        volume.m_clusterSize = std::max(1ul, ICVolume::mf_getClusterSize(root));
        CString const fileSystem = ICVolume::mf_getFileSystemName(volume.m_key);
        if (fileSystem == L"NTFS") volume.m_fileIdMask = NTFS_RECORD;
        return {volume, ICVolume::mf_maches(root, directory) != 0};
    }
    catch (ICErrno &) {
        // It has left its trace. The scan does without what a file system won't tell.
        return {mf_implFindVolume(L""), false};
    }
}

// A volume without a name is another one each time.
ICScanVolume & ICDirectoryScan::mf_implFindVolume(wchar_t const * key)
{
    if (*key != L'\0')
        for (auto const & volume : m_volumes)
            if (volume->m_key == key) return *volume;
    m_volumes.push_back(std::make_unique<ICScanVolume>());
    m_volumes.back()->m_key = key;
    m_volumes.back()->m_number = static_cast<ulong>(m_volumes.size());
    return *m_volumes.back();
}

void ICDirectoryScan::mf_implReserveVolume(CString const & path)
{
    try {
        PLACE const place = mf_implFindPlace(mf_implFindDirectory(path));
        if (place.m_isWhole && place.m_volume.m_isLocal) m_reserved.push_back(&place.m_volume);
    }
    catch (ICErrno &) {
        // Told when the path's turn comes.
    }
}

void ICDirectoryScan::mf_implAddRoot(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryScan::mf_implAddRoot";
    try {
        CString const directory = mf_implFindDirectory(path);
        if (!ICPath::mf_isDirectory(directory))
            throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Path, L"'%s' is no directory", path);
        PLACE const place = mf_implFindPlace(directory);
        if (place.m_isWhole && place.m_volume.m_isLocal) {
            if (f_contains(m_entered, place.m_volume)) return;
            m_entered.push_back(&place.m_volume);
        }
        std::unique_ptr<ICScanPlace> root = mf_implOpen(directory, place.m_volume, place.m_volume);
        if (root == nullptr) return;
        m_totals.mf_addRoot();
        m_queue.mf_add(std::move(root));
    }
    catch (ICErrno & failure) {
        m_failures.mf_report(failure, L"KVR29002E", IDS_KVR29002_TEXT, path);
    }
}

// NULL for a directory where somebody was before. One that can't be opened is told of when its turn comes.
std::unique_ptr<ICScanPlace> ICDirectoryScan::mf_implOpen(CString const & directory, ICScanVolume const & volume,
                                                          ICScanVolume const & origin)
{
    auto place = std::make_unique<ICScanPlace>(directory, volume, origin);
    try {
        place->m_entries = std::make_unique<ICDirectoryEntries>(directory);
    }
    catch (ICErrno &) {
        return place;
    }
    ULONG64 const id = place->m_entries->mf_getDirectoryId() & volume.m_fileIdMask;
    return m_visited.mf_visit({volume.m_number, id}) ? std::move(place) : nullptr;
}

// In the order of their paths, so that of several mount points of a volume the same one is entered each time.
void ICDirectoryScan::mf_implEnterVolumes(ICLinkedList & mountPoints, ICLinkedList & directories)
{
    std::vector<std::unique_ptr<ICScanPlace>> sorted;
    while (ICLinkedListItem * const item = mountPoints.mf_removeHead())
        sorted.emplace_back(static_cast<ICScanPlace *>(item));
    std::sort(sorted.begin(), sorted.end(),
              [](auto const & left, auto const & right) { return left->m_directory < right->m_directory; });
    for (auto const & mountPoint : sorted) {
        PLACE const target = mf_implFindPlace(mountPoint->m_directory);
        if (!mf_implIsToBeEntered(target, *mountPoint)) continue;
        m_entered.push_back(&target.m_volume);
        auto root = mf_implOpen(mountPoint->m_directory, target.m_volume, mountPoint->m_origin);
        if (root != nullptr) directories.mf_insertHead(*root.release());
    }
}

bool ICDirectoryScan::mf_implIsToBeEntered(PLACE const & target, ICScanPlace const & mountPoint) const
{
    ICScanVolume const & volume = target.m_volume;
    if (!target.m_isWhole || !volume.m_isLocal) return false;
    if (&volume == &mountPoint.m_origin || &volume == &mountPoint.m_volume) return false;
    return !f_contains(m_reserved, volume) && !f_contains(m_entered, volume);
}
