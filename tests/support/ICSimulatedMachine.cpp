#include "tests/support/ICSimulatedMachine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <cwctype>

namespace
{

// Whether a text goes on with `part` at its start, whatever the case.
bool f_startsWith(std::wstring const & text, std::wstring const & part)
{
    return ::_wcsnicmp(text.c_str(), part.c_str(), part.size()) == 0;
}

BOOL f_fail(ulong error)
{
    ::SetLastError(error);
    return FALSE;
}

BOOL f_give(std::wstring const & text, wchar_t * buffer, DWORD length)
{
    if (buffer == nullptr) return TRUE;
    if (text.size() >= length) return f_fail(ERROR_FILENAME_EXCED_RANGE);
    std::copy_n(text.c_str(), text.size() + 1, buffer);
    return TRUE;
}

template<class VALUE, class GIVEN>
void f_give(VALUE * target, GIVEN value)
{
    if (target != nullptr) *target = static_cast<VALUE>(value);
}

void f_give(ULARGE_INTEGER * target, ULONG64 value)
{
    if (target != nullptr) target->QuadPart = value;
}

} // namespace

ICSimulatedVolume & ICSimulatedVolume::mf_mount(std::wstring const & path, ICSimulatedVolume const & target)
{
    m_mountPoints.push_back({path, target.m_idPath});
    return *this;
}

ICSimulatedMachine::ICSimulatedMachine()
{
    ::InitializeCriticalSection(&m_lock);
    mf_implPatchQuestions();
    mf_implPatchSearches();
}

ICSimulatedMachine::~ICSimulatedMachine()
{
    m_patches.clear(); // nobody asks any more
    ::DeleteCriticalSection(&m_lock);
    if (!m_searches.empty()) ADD_FAILURE() << m_searches.size() << " search(es) left open";
}

std::wstring ICSimulatedMachine::mf_idPathOf(ulong number)
{
    std::wstring const digits = std::to_wstring(number);
    return L"\\\\?\\Volume{00000000-0000-4000-8000-" + std::wstring(12 - digits.size(), L'0') + digits + L"}\\";
}

ICSimulatedVolume & ICSimulatedMachine::mf_add(ulong number, std::wstring const & letters)
{
    ICSimulatedVolume & volume = m_volumes.emplace_back();
    volume.m_idPath = mf_idPathOf(number);
    volume.m_letters = letters;
    volume.m_label = L"Volume " + std::to_wstring(number);
    volume.m_serialNumber = number;
    return volume;
}

void ICSimulatedMachine::mf_remove(ulong number)
{
    m_volumes.remove_if([&](auto const & volume) { return volume.m_idPath == mf_idPathOf(number); });
}

void ICSimulatedMachine::mf_before(std::string const & name, ulong call, std::function<void()> action)
{
    m_actions[{name, call}] = std::move(action);
}

ulong ICSimulatedMachine::mf_getCalls(std::string const & name) const
{
    auto const found = m_calls.find(name);
    return found == m_calls.end() ? 0 : found->second;
}

// A function that the library does not call has no slot.
template<class SIGNATURE, class FUNCTION>
void ICSimulatedMachine::mf_implPatch(ICImportName<SIGNATURE> name, FUNCTION function)
{
    for (IMPORT const & import : f_importsOf())
        if (std::string(name.m_name) == import.m_name) {
            auto answer = [this, function = std::move(function)](auto... arguments) {
                LOCK const lock(*this);
                return function(arguments...);
            };
            m_patches.push_back(std::make_unique<ICImportPatch>(name, std::move(answer)));
            return;
        }
}

void ICSimulatedMachine::mf_implPatchQuestions()
{
    mf_implPatch(IC_IMPORT(GetDriveTypeW), [this](auto root) { return mf_getDriveType(root); });
    mf_implPatch(IC_IMPORT(GetLogicalDrives), [this] { return mf_getLogicalDrives(); });
    mf_implPatch(IC_IMPORT(GetVolumePathNameW),
                 [this](auto path, auto root, auto length) { return mf_getVolumePathName(path, root, length); });
    mf_implPatch(IC_IMPORT(GetVolumeNameForVolumeMountPointW),
                 [this](auto root, auto idPath, auto length) { return mf_getVolumeName(root, idPath, length); });
    mf_implPatch(IC_IMPORT(GetVolumeInformationW),
                 [this](auto... arguments) { return mf_getVolumeInformation(arguments...); });
    mf_implPatch(IC_IMPORT(GetDiskFreeSpaceW), [this](auto... arguments) { return mf_getDiskFreeSpace(arguments...); });
    mf_implPatch(IC_IMPORT(GetDiskFreeSpaceExW),
                 [this](auto... arguments) { return mf_getDiskFreeSpaceEx(arguments...); });
}

void ICSimulatedMachine::mf_implPatchSearches()
{
    mf_implPatch(IC_IMPORT(FindFirstVolumeW),
                 [this](auto idPath, auto length) { return mf_findFirstVolume(idPath, length); });
    mf_implPatch(IC_IMPORT(FindNextVolumeW),
                 [this](auto handle, auto idPath, auto length) { return mf_findNextVolume(handle, idPath, length); });
    mf_implPatch(IC_IMPORT(FindVolumeClose), [this](auto handle) { return mf_findVolumeClose(handle); });
    mf_implPatch(IC_IMPORT(FindFirstVolumeMountPointW),
                 [this](auto root, auto path, auto length) { return mf_findFirstMountPoint(root, path, length); });
    mf_implPatch(IC_IMPORT(FindNextVolumeMountPointW),
                 [this](auto handle, auto path, auto length) { return mf_findNextMountPoint(handle, path, length); });
    mf_implPatch(IC_IMPORT(FindVolumeMountPointClose), [this](auto handle) { return mf_findMountPointClose(handle); });
}

void ICSimulatedMachine::mf_implCall(std::string const & name)
{
    auto const action = m_actions.find({name, ++m_calls[name]});
    if (action != m_actions.end()) action->second();
}

ICSimulatedVolume * ICSimulatedMachine::mf_implFind(std::wstring const & idPath)
{
    auto const found = std::find_if(m_volumes.begin(), m_volumes.end(),
                                    [&](auto const & volume) { return volume.m_idPath == idPath; });
    return found == m_volumes.end() ? nullptr : &*found;
}

ICSimulatedMountPoint const * ICSimulatedMachine::mf_implMountPointAt(ICSimulatedVolume const & volume,
                                                                      std::wstring const & rest)
{
    for (ICSimulatedMountPoint const & mountPoint : volume.m_mountPoints)
        if (f_startsWith(rest + L"\\", mountPoint.m_path)) return &mountPoint;
    return nullptr;
}

ICSimulatedMachine::PLACE ICSimulatedMachine::mf_implResolve(std::wstring const & path)
{
    PLACE place;
    for (ICSimulatedVolume & volume : m_volumes) {
        bool const hasLetter =
            path.size() >= 2 && path[1] == L':' &&
            volume.m_letters.find(static_cast<wchar_t>(std::towupper(path[0]))) != std::wstring::npos;
        if (hasLetter)
            place = {&volume, volume.m_idPath, 3};
        else if (f_startsWith(path + L"\\", volume.m_idPath))
            place = {&volume, volume.m_idPath, volume.m_idPath.size()};
    }
    while (place.m_volume != nullptr && path.size() > place.m_rootLength) {
        ICSimulatedMountPoint const * const mountPoint =
            mf_implMountPointAt(*place.m_volume, path.substr(place.m_rootLength));
        if (mountPoint == nullptr) break;
        place = {mf_implFind(mountPoint->m_target), mountPoint->m_target,
                 place.m_rootLength + mountPoint->m_path.size()};
    }
    return place;
}

bool ICSimulatedMachine::mf_implFails(std::string const & name, std::wstring const & idPath)
{
    ICSimulatedVolume const * const volume = mf_implFind(idPath);
    if (volume == nullptr) return !f_fail(ERROR_FILE_NOT_FOUND);
    auto const error = volume->m_errors.find(name);
    return error != volume->m_errors.end() && !f_fail(error->second);
}

ICSimulatedVolume * ICSimulatedMachine::mf_implAsk(std::string const & name, wchar_t const * root)
{
    mf_implCall(name);
    PLACE const place = mf_implResolve(root);
    if (mf_implFails(name, place.m_idPath)) return nullptr;
    if (!place.m_volume->m_isReady) f_fail(ERROR_NOT_READY);
    return place.m_volume->m_isReady ? place.m_volume : nullptr;
}

UINT ICSimulatedMachine::mf_getDriveType(wchar_t const * root)
{
    mf_implCall("GetDriveTypeW");
    PLACE const place = mf_implResolve(root);
    return place.m_volume != nullptr ? place.m_volume->m_driveType : DRIVE_NO_ROOT_DIR;
}

DWORD ICSimulatedMachine::mf_getLogicalDrives()
{
    mf_implCall("GetLogicalDrives");
    std::wstring letters = m_emptyLetters;
    for (ICSimulatedVolume const & volume : m_volumes)
        letters += volume.m_letters;
    DWORD drives = 0;
    for (wchar_t const letter : letters)
        drives |= DWORD{1} << (letter - L'A');
    return drives;
}

BOOL ICSimulatedMachine::mf_getVolumePathName(wchar_t const * path, wchar_t * root, DWORD length)
{
    mf_implCall("GetVolumePathNameW");
    PLACE const place = mf_implResolve(path);
    if (mf_implFails("GetVolumePathNameW", place.m_idPath)) return FALSE;
    std::wstring const text = std::wstring(path) + L"\\";
    return f_give(text.substr(0, place.m_rootLength), root, length);
}

BOOL ICSimulatedMachine::mf_getVolumeName(wchar_t const * root, wchar_t * idPath, DWORD length)
{
    mf_implCall("GetVolumeNameForVolumeMountPointW");
    std::wstring const path(root);
    if (!path.ends_with(L'\\')) return f_fail(ERROR_INVALID_NAME);
    PLACE const place = mf_implResolve(path);
    if (place.m_idPath.empty()) return f_fail(ERROR_FILE_NOT_FOUND);
    if (path.size() != place.m_rootLength) return f_fail(ERROR_NOT_A_REPARSE_POINT);
    // Where a volume was mounted that is gone, its id can still be read.
    if (place.m_volume != nullptr && mf_implFails("GetVolumeNameForVolumeMountPointW", place.m_idPath)) return FALSE;
    return f_give(place.m_idPath, idPath, length);
}

BOOL ICSimulatedMachine::mf_getVolumeInformation(wchar_t const * root, wchar_t * label, DWORD labelLength,
                                                 DWORD * serialNumber, DWORD * maximumComponent, DWORD * flags,
                                                 wchar_t * fileSystem, DWORD fileSystemLength)
{
    ICSimulatedVolume const * const volume = mf_implAsk("GetVolumeInformationW", root);
    if (volume == nullptr) return FALSE;
    if (volume->m_fileSystem.empty()) return f_fail(ERROR_UNRECOGNIZED_VOLUME);
    f_give(serialNumber, volume->m_serialNumber);
    f_give(maximumComponent, volume->m_maximumComponent);
    f_give(flags, volume->m_flags);
    return f_give(volume->m_label, label, labelLength) && f_give(volume->m_fileSystem, fileSystem, fileSystemLength);
}

BOOL ICSimulatedMachine::mf_getDiskFreeSpace(wchar_t const * root, DWORD * sectorsPerCluster, DWORD * bytesPerSector,
                                             DWORD * freeClusters, DWORD * clusters)
{
    ICSimulatedVolume const * const volume = mf_implAsk("GetDiskFreeSpaceW", root);
    if (volume == nullptr) return FALSE;
    ULONG64 const clusterSize = std::max<ULONG64>(1, ULONG64{volume->m_sectorsPerCluster} * volume->m_bytesPerSector);
    f_give(sectorsPerCluster, volume->m_sectorsPerCluster);
    f_give(bytesPerSector, volume->m_bytesPerSector);
    f_give(freeClusters, volume->m_available / clusterSize);
    f_give(clusters, volume->m_total / clusterSize);
    return TRUE;
}

BOOL ICSimulatedMachine::mf_getDiskFreeSpaceEx(wchar_t const * root, ULARGE_INTEGER * available, ULARGE_INTEGER * total,
                                               ULARGE_INTEGER * totalFree)
{
    ICSimulatedVolume const * const volume = mf_implAsk("GetDiskFreeSpaceExW", root);
    if (volume == nullptr) return FALSE;
    f_give(available, volume->m_available);
    f_give(total, volume->m_total);
    f_give(totalFree, volume->m_totalFree);
    return TRUE;
}

HANDLE ICSimulatedMachine::mf_findFirstVolume(wchar_t * idPath, DWORD length)
{
    mf_implCall("FindFirstVolumeW");
    SEARCH search{true, {}, {}};
    for (ICSimulatedVolume const & volume : m_volumes)
        search.m_names.push_back(volume.m_idPath);
    return mf_implOpen(std::move(search), idPath, length);
}

BOOL ICSimulatedMachine::mf_findNextVolume(HANDLE handle, wchar_t * idPath, DWORD length)
{
    mf_implCall("FindNextVolumeW");
    SEARCH * const search = mf_implSearch(handle, true);
    if (search == nullptr) return FALSE;
    // Volumes that have gone meanwhile are not found any more.
    while (search->m_next < search->m_names.size() && mf_implFind(search->m_names[search->m_next]) == nullptr)
        ++search->m_next;
    return mf_implNext(*search, idPath, length);
}

BOOL ICSimulatedMachine::mf_findVolumeClose(HANDLE handle)
{
    mf_implCall("FindVolumeClose");
    if (mf_implSearch(handle, true) == nullptr) return FALSE;
    m_searches.erase(handle);
    return TRUE;
}

HANDLE ICSimulatedMachine::mf_findFirstMountPoint(wchar_t const * root, wchar_t * path, DWORD length)
{
    ICSimulatedVolume const * const volume = mf_implAsk("FindFirstVolumeMountPointW", root);
    if (volume == nullptr) return INVALID_HANDLE_VALUE;
    SEARCH search{false, volume->m_idPath, {}};
    for (ICSimulatedMountPoint const & mountPoint : volume->m_mountPoints)
        search.m_names.push_back(mountPoint.m_path);
    return mf_implOpen(std::move(search), path, length);
}

BOOL ICSimulatedMachine::mf_findNextMountPoint(HANDLE handle, wchar_t * path, DWORD length)
{
    mf_implCall("FindNextVolumeMountPointW");
    SEARCH * const search = mf_implSearch(handle, false);
    if (search == nullptr || mf_implFails("FindNextVolumeMountPointW", search->m_idPath)) return FALSE;
    return mf_implNext(*search, path, length);
}

BOOL ICSimulatedMachine::mf_findMountPointClose(HANDLE handle)
{
    mf_implCall("FindVolumeMountPointClose");
    SEARCH const * const search = mf_implSearch(handle, false);
    if (search == nullptr) return FALSE;
    std::wstring const idPath = search->m_idPath;
    // What fails to close is closed all the same.
    m_searches.erase(handle);
    return mf_implFind(idPath) == nullptr || !mf_implFails("FindVolumeMountPointClose", idPath);
}

HANDLE ICSimulatedMachine::mf_implOpen(SEARCH search, wchar_t * text, DWORD length)
{
    if (!mf_implNext(search, text, length)) return INVALID_HANDLE_VALUE;
    // No handle of the true machine is that large.
    m_lastSearch += 4;
    auto const handle = reinterpret_cast<HANDLE>(0x5e00'0000'0000 + m_lastSearch);
    m_searches.emplace(handle, std::move(search));
    return handle;
}

BOOL ICSimulatedMachine::mf_implNext(SEARCH & search, wchar_t * text, DWORD length)
{
    if (search.m_next == search.m_names.size()) return f_fail(ERROR_NO_MORE_FILES);
    return f_give(search.m_names[search.m_next++], text, length);
}

ICSimulatedMachine::SEARCH * ICSimulatedMachine::mf_implSearch(HANDLE handle, bool isForVolumes)
{
    auto const found = m_searches.find(handle);
    if (found != m_searches.end() && found->second.m_isForVolumes == isForVolumes) return &found->second;
    ADD_FAILURE() << "no such search: " << handle;
    f_fail(ERROR_INVALID_HANDLE);
    return nullptr;
}
