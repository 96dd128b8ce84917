#include "tests/support/ICSimulatedTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace
{

constexpr ULONG64 FIRST_HANDLE = 0x5d00'0000'0000;
constexpr ULONG64 LAST_HANDLE = 0x5dff'ffff'fff0;

BOOL f_fail(ulong error)
{
    ::SetLastError(error);
    return FALSE;
}

bool f_isOurs(HANDLE handle)
{
    auto const number = reinterpret_cast<ULONG64>(handle);
    return number > FIRST_HANDLE && number <= LAST_HANDLE;
}

std::wstring f_withoutLongPrefix(std::wstring const & path)
{
    if (path.starts_with(L"\\\\?\\UNC\\")) return L"\\\\" + path.substr(8);
    return path.starts_with(L"\\\\?\\") && !path.starts_with(L"\\\\?\\Volume{") ? path.substr(4) : path;
}

// The directory above, and the name; of a directory or any other path.
std::pair<std::wstring, std::wstring> f_apart(std::wstring path)
{
    if (path.ends_with(L'\\')) path.pop_back();
    std::size_t const name = path.rfind(L'\\') + 1;
    return {path.substr(0, name), path.substr(name)};
}

LARGE_INTEGER f_number(ULONG64 value)
{
    LARGE_INTEGER number;
    number.QuadPart = static_cast<long long>(value);
    return number;
}

// Writes an entry into what is left of a block, and answers how much it takes; 0: it doesn't fit.
std::size_t f_write(ICSimulatedEntry const & entry, std::byte * at, std::size_t room)
{
    std::size_t const nameBytes = entry.m_name.size() * sizeof(wchar_t);
    std::size_t const length = offsetof(FILE_ID_BOTH_DIR_INFO, FileName) + nameBytes;
    if (length > room) return 0;
    LARGE_INTEGER const time = {{entry.m_time.dwLowDateTime, static_cast<LONG>(entry.m_time.dwHighDateTime)}};
    FILE_ID_BOTH_DIR_INFO facts = {};
    facts.CreationTime = facts.LastAccessTime = facts.LastWriteTime = facts.ChangeTime = time;
    facts.EndOfFile = f_number(entry.m_size);
    facts.AllocationSize = f_number(entry.m_allocated);
    facts.FileAttributes = entry.m_attributes;
    facts.FileNameLength = static_cast<DWORD>(nameBytes);
    facts.EaSize = entry.m_attributes & FILE_ATTRIBUTE_REPARSE_POINT ? entry.m_reparseTag : 0;
    facts.FileId = f_number(entry.m_fileId);
    std::memcpy(at, &facts, offsetof(FILE_ID_BOTH_DIR_INFO, FileName));
    std::memcpy(at + offsetof(FILE_ID_BOTH_DIR_INFO, FileName), entry.m_name.data(), nameBytes);
    return std::min(room, (length + 7) / 8 * 8);
}

} // namespace

ICSimulatedTree::ICSimulatedTree()
{
    ::InitializeCriticalSection(&m_lock);
    m_patches.emplace_back(IC_IMPORT(CreateFileW), [this](LPCWSTR path, DWORD access, DWORD share, auto * security,
                                                          DWORD disposition, DWORD flags, HANDLE model) {
        if (access == FILE_LIST_DIRECTORY) return mf_implOpen(path);
        return ::CreateFileW(path, access, share, security, disposition, flags, model);
    });
    m_patches.emplace_back(IC_IMPORT(GetFileInformationByHandleEx),
                           [this](HANDLE handle, auto form, void * block, DWORD size) {
                               if (f_isOurs(handle)) return mf_implRead(handle, form, block, size);
                               return ::GetFileInformationByHandleEx(handle, form, block, size);
                           });
    m_patches.emplace_back(IC_IMPORT(GetFileInformationByHandle), [this](HANDLE handle, auto * information) {
        if (f_isOurs(handle)) return mf_implTell(handle, *information);
        return ::GetFileInformationByHandle(handle, information);
    });
    m_patches.emplace_back(IC_IMPORT(CloseHandle), [this](HANDLE handle) {
        return f_isOurs(handle) ? mf_implClose(handle) : ::CloseHandle(handle);
    });
    m_patches.emplace_back(IC_IMPORT(GetFileAttributesW), [this](LPCWSTR path) { return mf_implGetAttributes(path); });
    m_patches.emplace_back(IC_IMPORT(GetCompressedFileSizeW),
                           [this](LPCWSTR path, DWORD * high) { return mf_implGetAllocated(path, high); });
}

ICSimulatedTree::~ICSimulatedTree()
{
    m_patches.clear(); // nobody asks any more
    ::DeleteCriticalSection(&m_lock);
    for (auto const & [handle, walk] : m_walks)
        ADD_FAILURE() << "left open: " << std::string(walk.m_directory.begin(), walk.m_directory.end());
}

ICSimulatedEntry & ICSimulatedTree::mf_add(std::wstring const & directory, std::wstring const & name, ulong attributes,
                                           ULONG64 size)
{
    ICSimulatedEntry & entry = m_entries[mf_implKeyOf(directory)].emplace_back();
    entry.m_name = name;
    entry.m_attributes = attributes;
    entry.m_size = entry.m_allocated = size;
    entry.m_fileId = ++m_lastId;
    if (attributes & FILE_ATTRIBUTE_REPARSE_POINT) entry.m_reparseTag = IO_REPARSE_TAG_MOUNT_POINT;
    return entry;
}

ICSimulatedEntry & ICSimulatedTree::mf_link(std::wstring const & directory, std::wstring const & name,
                                            ICSimulatedEntry const & file)
{
    ICSimulatedEntry & entry = m_entries[mf_implKeyOf(directory)].emplace_back(file);
    entry.m_name = name;
    return entry;
}

ICSimulatedEntry & ICSimulatedTree::mf_mount(std::wstring const & directory, std::wstring const & name,
                                             std::wstring const & root)
{
    std::wstring const target = mf_implKeyOf(root);
    if (!mf_implIsRoot(target)) ADD_FAILURE() << "Only the root of a volume can be mounted";
    ICSimulatedEntry & entry = mf_add(directory, name, FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT);
    m_mounts[mf_implKeyOf(directory + name + L"\\")] = target;
    return entry;
}

void ICSimulatedTree::mf_fail(std::wstring const & directory, ulong error, ulong call)
{
    m_errors[{mf_implKeyOf(directory), call}] = error;
}

void ICSimulatedTree::mf_before(std::wstring const & directory, std::function<void()> action)
{
    m_actions[mf_implKeyOf(directory)] = std::move(action);
}

std::vector<std::wstring> ICSimulatedTree::mf_getRead() const
{
    LOCK const lock(*this);
    return m_read;
}

void ICSimulatedTree::mf_forgetRead()
{
    LOCK const lock(*this);
    m_read.clear();
}

ULONG64 ICSimulatedTree::mf_getDirectoryId(std::wstring const & directory)
{
    LOCK const lock(*this);
    return mf_implIdOf(mf_implKeyOf(directory));
}

std::wstring ICSimulatedTree::mf_implKeyOf(std::wstring const & directory) const
{
    std::wstring key = f_withoutLongPrefix(directory);
    ::_wcslwr(key.data());
    // Each step takes names away from what is left of the path, so it ends also where a volume is mounted in itself.
    auto const isBelow = [&](auto const & mount) { return key.starts_with(mount.first); };
    for (;;) {
        auto const mount = std::find_if(m_mounts.begin(), m_mounts.end(), isBelow);
        if (mount == m_mounts.end()) return key;
        key = mount->second + key.substr(mount->first.size());
    }
}

bool ICSimulatedTree::mf_implIsRoot(std::wstring const & key)
{
    bool const isShared = key.starts_with(L"\\\\");
    return std::count(key.begin(), key.end(), L'\\') == (isShared ? 4 : 1);
}

ICSimulatedEntry const * ICSimulatedTree::mf_implFind(std::wstring const & path) const
{
    auto const [above, name] = f_apart(path);
    auto const directory = m_entries.find(mf_implKeyOf(above));
    if (directory == m_entries.end()) return nullptr;
    auto const entry = std::find_if(directory->second.begin(), directory->second.end(), [&](auto const & candidate) {
        return ::_wcsicmp(candidate.m_name.c_str(), name.c_str()) == 0;
    });
    return entry == directory->second.end() ? nullptr : &*entry;
}

ULONG64 ICSimulatedTree::mf_implIdOf(std::wstring const & key)
{
    if (!m_tellsIds) return 0;
    if (mf_implIsRoot(key)) return ROOT_ID;
    if (ICSimulatedEntry const * const entry = mf_implFind(key)) return entry->m_fileId;
    ULONG64 & id = m_ids[key];
    if (id == 0) id = ++m_lastId;
    return id;
}

std::vector<ICSimulatedEntry> ICSimulatedTree::mf_implListOf(std::wstring const & key)
{
    std::vector<ICSimulatedEntry> entries;
    if (!mf_implIsRoot(key))
        for (auto const & [name, directory] : {std::pair(L".", key), std::pair(L"..", f_apart(key).first)}) {
            entries.push_back({name, FILE_ATTRIBUTE_DIRECTORY});
            entries.back().m_fileId = mf_implIdOf(directory);
        }
    auto const found = m_entries.find(key);
    if (found == m_entries.end()) return entries;
    for (ICSimulatedEntry const & entry : found->second) {
        entries.push_back(entry);
        if (!m_tellsIds) entries.back().m_fileId = 0;
    }
    return entries;
}

HANDLE ICSimulatedTree::mf_implOpen(std::wstring const & path)
{
    std::function<void()> action;
    {
        LOCK const lock(*this);
        auto const found = m_actions.find(mf_implKeyOf(path));
        if (found != m_actions.end()) action = found->second;
    }
    if (action) action();

    LOCK const lock(*this);
    std::wstring const key = mf_implKeyOf(path);
    m_read.push_back(f_withoutLongPrefix(path));
    auto const error = m_errors.find({key, 0});
    if (error != m_errors.end() || !path.ends_with(L'\\')) {
        ::SetLastError(error != m_errors.end() ? error->second : ERROR_INVALID_NAME);
        return INVALID_HANDLE_VALUE;
    }
    auto const handle = reinterpret_cast<HANDLE>(FIRST_HANDLE + (m_lastHandle += 4));
    m_walks[handle] = {key, mf_implListOf(key)};
    return handle;
}

BOOL ICSimulatedTree::mf_implRead(HANDLE directory, FILE_INFO_BY_HANDLE_CLASS form, void * block, DWORD size)
{
    if (form != FileIdBothDirectoryInfo && form != FileIdBothDirectoryRestartInfo)
        return f_fail(ERROR_INVALID_PARAMETER);
    LOCK const lock(*this);
    auto const found = m_walks.find(directory);
    if (found == m_walks.end()) return f_fail(ERROR_INVALID_HANDLE);
    WALK & walk = found->second;
    auto const error = m_errors.find({walk.m_directory, ++walk.m_calls});
    if (error != m_errors.end()) return f_fail(error->second);
    if (form == FileIdBothDirectoryRestartInfo) {
        walk.m_next = 0;
        if (walk.m_entries.empty()) return f_fail(ERROR_FILE_NOT_FOUND);
    }
    if (walk.m_next == walk.m_entries.size()) return f_fail(ERROR_NO_MORE_FILES);

    auto * const bytes = static_cast<std::byte *>(block);
    std::size_t const end = std::min(walk.m_entries.size(), walk.m_next + m_entriesAtOnce);
    std::size_t last = 0;
    for (std::size_t at = 0; walk.m_next < end; ++walk.m_next) {
        std::size_t const length = f_write(walk.m_entries[walk.m_next], bytes + at, size - at);
        if (length == 0) return at != 0 ? TRUE : f_fail(ERROR_MORE_DATA);
        if (at != 0) reinterpret_cast<FILE_ID_BOTH_DIR_INFO *>(bytes + last)->NextEntryOffset = DWORD(at - last);
        last = at;
        at += length;
    }
    return TRUE;
}

BOOL ICSimulatedTree::mf_implTell(HANDLE directory, BY_HANDLE_FILE_INFORMATION & information)
{
    LOCK const lock(*this);
    auto const found = m_walks.find(directory);
    if (found == m_walks.end()) return f_fail(ERROR_INVALID_HANDLE);
    ULONG64 const id = mf_implIdOf(found->second.m_directory);
    information = {};
    information.dwFileAttributes = FILE_ATTRIBUTE_DIRECTORY;
    information.nFileIndexHigh = static_cast<DWORD>(id >> 32);
    information.nFileIndexLow = static_cast<DWORD>(id);
    return TRUE;
}

BOOL ICSimulatedTree::mf_implClose(HANDLE directory)
{
    LOCK const lock(*this);
    if (m_walks.erase(directory) == 1) return TRUE;
    ADD_FAILURE() << "a simulated directory is closed twice";
    return f_fail(ERROR_INVALID_HANDLE);
}

DWORD ICSimulatedTree::mf_implGetAttributes(std::wstring const & path) const
{
    LOCK const lock(*this);
    ICSimulatedEntry const * const entry = mf_implFind(path);
    return entry ? entry->m_attributes : FILE_ATTRIBUTE_DIRECTORY;
}

DWORD ICSimulatedTree::mf_implGetAllocated(std::wstring const & path, DWORD * high) const
{
    LOCK const lock(*this);
    ICSimulatedEntry const * const entry = mf_implFind(path);
    if (entry == nullptr) return ::GetCompressedFileSizeW(path.c_str(), high);
    if (high != nullptr) *high = static_cast<DWORD>(entry->m_allocated >> 32);
    ::SetLastError(NO_ERROR);
    return static_cast<DWORD>(entry->m_allocated);
}
