#include "tests/support/ICFileCalls.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>
#include <string_view>
#include <tuple>

#include <io.h>

namespace
{

// A part of a name by which a function that reaches for files is known, and some that don't.
constexpr auto TELLING = std::to_array<std::string_view>({"File", "Find", "Directory", "Path", "Librar", "Link", "Open",
                                                          "open", "stat", "access", "unlink", "rename", "remove"});

// They reach for no file by its path: they have a handle, ask about volumes, or only deal with names and times.
constexpr auto HARMLESS = std::to_array<std::string_view>(
    {"FileTimeToLocalFileTime", "FileTimeToSystemTime", "LocalFileTimeToFileTime", "SystemTimeToFileTime",
     "GetSystemTimeAsFileTime", "GetSystemTimePreciseAsFileTime", "CompareFileTime",
     // by handle
     "FindClose", "FindNextFileW", "FlushFileBuffers", "GetFileInformationByHandle", "GetFileInformationByHandleEx",
     "GetFileSize", "GetFileSizeEx", "GetFileTime", "GetFileType", "GetFinalPathNameByHandleW", "LockFile",
     "LockFileEx", "ReadFile", "SetEndOfFile", "SetFileInformationByHandle", "SetFilePointer", "SetFilePointerEx",
     "SetFileTime", "UnlockFile", "UnlockFileEx", "WriteFile", "_fdopen", "fdopen",
     // volumes
     "FindFirstVolumeMountPointW", "FindFirstVolumeW", "FindNextVolumeMountPointW", "FindNextVolumeW",
     "FindVolumeClose", "FindVolumeMountPointClose", "GetVolumePathNameW", "GetVolumePathNamesForVolumeNameW",
     // names, and what are no files
     "FreeLibrary", "GetCurrentDirectoryW", "GetFullPathNameW", "GetModuleFileNameW", "GetSystemDirectoryW",
     "GetTempPathW", "GetWindowsDirectoryW", "OpenMutexW", "OpenEventW", "OpenEventLogW", "OpenProcess",
     "OpenProcessToken", "OpenThread", "OpenThreadToken", "RegOpenKeyExW", "SetCurrentDirectoryW"});

template<class NAMES>
bool f_isIn(NAMES const & names, std::string_view name)
{
    return std::find(std::begin(names), std::end(names), name) != std::end(names);
}

bool f_isTelling(std::string_view name)
{
    // Names of C++ that the compiler made tell nothing, but for the file streams'.
    if (name.starts_with("_Z")) return name.find("filebuf") != name.npos;
    return std::any_of(TELLING.begin(), TELLING.end(),
                       [&](std::string_view part) { return name.find(part) != name.npos; });
}

bool f_imports(wchar_t const * module, std::string_view name)
{
    auto const imports = f_importsOf(module);
    return std::any_of(imports.begin(), imports.end(), [&](IMPORT const & import) { return import.m_name == name; });
}

std::wstring f_pathOf(wchar_t const * path)
{
    return path ? path : L"";
}

std::wstring f_pathOf(char const * path)
{
    std::string_view const text = path ? path : "";
    return {text.begin(), text.end()};
}

std::wstring f_withoutLongPrefix(std::wstring const & path)
{
    if (path.starts_with(L"\\\\?\\UNC\\")) return L"\\\\" + path.substr(8);
    return path.starts_with(L"\\\\?\\") ? path.substr(4) : path;
}

} // namespace

std::ostream & operator<<(std::ostream & out, ICFileCall const & call)
{
    out << call.m_function << " \"";
    for (wchar_t const character : call.m_path)
        out << (character < 0x7f ? static_cast<char>(character) : '?');
    out << '"' << std::hex;
    for (ulong const number : call.m_numbers)
        out << " 0x" << number;
    return out << std::dec;
}

bool f_couldRecall(ICFileCall const & call)
{
    static constexpr auto ONLY_ENTRIES = std::to_array<std::string_view>(
        {"FindFirstFileW", "FindFirstFileExW", "GetFileAttributesW", "GetFileAttributesExW", "SetFileAttributesW",
         "GetCompressedFileSizeW", "GetFileSecurityW", "SetFileSecurityW", "DeleteFileW", "MoveFileExW",
         "CreateDirectoryW", "RemoveDirectoryW", "GetTempFileNameW"});
    static constexpr ulong DATA = FILE_READ_DATA | FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_EXECUTE | GENERIC_READ |
                                  GENERIC_WRITE | GENERIC_EXECUTE | GENERIC_ALL | MAXIMUM_ALLOWED;
    static constexpr ulong UNTOUCHED = FILE_FLAG_OPEN_NO_RECALL | FILE_FLAG_OPEN_REPARSE_POINT;

    if (call.m_function != "CreateFileW") return !f_isIn(ONLY_ENTRIES, call.m_function);
    return (call.m_numbers.at(0) & DATA) && !(call.m_numbers.at(3) & UNTOUCHED);
}

ICFileCalls::ICFileCalls(std::vector<wchar_t const *> modules) : m_modules(std::move(modules))
{
    mf_implNoteOpenings();
    mf_implNoteLooks();
    mf_implNoteChanges();
}

ICFileCalls::~ICFileCalls()
{
    // Patches of one name end in reverse order.
    while (!m_patches.empty())
        m_patches.pop_back();
}

// Each with a lambda of its own, by whose type the patches are told apart.
void ICFileCalls::mf_implNoteOpenings()
{
    mf_implNote(IC_IMPORT(CreateFileW),
                [](LPCWSTR, ulong access, ulong share, auto, ulong disposition, ulong flags, HANDLE) {
                    return NUMBERS{access, share, disposition, flags};
                });
    mf_implNote(IC_IMPORT(GetTempFileNameW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(LoadLibraryW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(LoadLibraryExW), [](LPCWSTR, HANDLE, ulong flags) { return NUMBERS{flags}; });
    mf_implNote(IC_IMPORT(fopen), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(_wfopen), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(_access), [](auto...) { return NUMBERS(); });
    // Their third argument is optional, and harmless where it isn't given.
    mf_implNote(ICImportName<int (*)(char const *, int, int)>{"_open"}, [](auto...) { return NUMBERS(); });
    mf_implNote(ICImportName<int (*)(wchar_t const *, int, int)>{"_wopen"}, [](auto...) { return NUMBERS(); });
}

void ICFileCalls::mf_implNoteLooks()
{
    mf_implNote(IC_IMPORT(FindFirstFileW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(FindFirstFileExW), [](LPCWSTR, auto level, void *, auto operation, void *, ulong flags) {
        return NUMBERS{static_cast<ulong>(level), static_cast<ulong>(operation), flags};
    });
    mf_implNote(IC_IMPORT(GetFileAttributesW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(GetFileAttributesExW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(GetCompressedFileSizeW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(GetFileSecurityW), [](LPCWSTR, ulong parts, auto, ulong, auto) { return NUMBERS{parts}; });
}

void ICFileCalls::mf_implNoteChanges()
{
    mf_implNote(IC_IMPORT(SetFileAttributesW), [](LPCWSTR, ulong attributes) { return NUMBERS{attributes}; });
    mf_implNote(IC_IMPORT(SetFileSecurityW), [](LPCWSTR, ulong parts, auto) { return NUMBERS{parts}; });
    mf_implNote(IC_IMPORT(DeleteFileW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(MoveFileExW), [](LPCWSTR, LPCWSTR, ulong flags) { return NUMBERS{flags}; });
    mf_implNote(IC_IMPORT(CreateDirectoryW), [](auto...) { return NUMBERS(); });
    mf_implNote(IC_IMPORT(RemoveDirectoryW), [](auto...) { return NUMBERS(); });
}

template<class RESULT, class... ARGS, class FUNCTION>
void ICFileCalls::mf_implNote(ICImportName<RESULT (*)(ARGS...)> name, FUNCTION numbers)
{
    m_noted.push_back(name.m_name);
    for (wchar_t const * const module : m_modules) {
        if (!f_imports(module, name.m_name)) continue;
        std::optional<ICImportPatch> & patch = m_patches.emplace_back();
        patch.emplace(
            name,
            [this, name, numbers, &patch](ARGS... arguments) -> RESULT {
                mf_implAdd(name.m_name, f_pathOf(std::get<0>(std::tie(arguments...))), numbers(arguments...));
                return patch->template mf_original<RESULT (*)(ARGS...)>()(arguments...);
            },
            module);
    }
}

void ICFileCalls::mf_implAdd(char const * function, std::wstring const & path, NUMBERS numbers)
{
    // Callers clear the last error ahead of the call, and may look at it behind one that sets none.
    ulong const lastError = ::GetLastError();
    ::AcquireSRWLockExclusive(&m_lock);
    m_calls.push_back({function, path, std::move(numbers)});
    ::ReleaseSRWLockExclusive(&m_lock);
    ::SetLastError(lastError);
}

std::vector<ICFileCall> ICFileCalls::mf_get() const
{
    ::AcquireSRWLockShared(&m_lock);
    std::vector<ICFileCall> const calls = m_calls;
    ::ReleaseSRWLockShared(&m_lock);
    return calls;
}

std::vector<ICFileCall> ICFileCalls::mf_getBelow(std::wstring const & directory) const
{
    std::wstring root = f_withoutLongPrefix(directory);
    while (root.ends_with(L'\\'))
        root.pop_back();
    std::vector<ICFileCall> calls = mf_get();
    std::erase_if(calls, [&](ICFileCall const & call) {
        std::wstring const path = f_withoutLongPrefix(call.m_path);
        bool const startsThere = ::_wcsnicmp(path.c_str(), root.c_str(), root.size()) == 0;
        return !startsThere || (path.size() > root.size() && path[root.size()] != L'\\');
    });
    return calls;
}

void ICFileCalls::mf_clear()
{
    ::AcquireSRWLockExclusive(&m_lock);
    m_calls.clear();
    ::ReleaseSRWLockExclusive(&m_lock);
}

std::vector<std::string> ICFileCalls::mf_getUnknown() const
{
    std::vector<std::string> unknown;
    for (wchar_t const * const module : m_modules)
        for (IMPORT const & import : f_importsOf(module)) {
            std::string const name = import.m_name;
            if (f_isTelling(name) && !f_isIn(HARMLESS, name) && !f_isIn(m_noted, name)) unknown.push_back(name);
        }
    return unknown;
}
