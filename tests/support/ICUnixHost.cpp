#include "tests/support/ICUnixHost.h"
#include "tests/support/ICFiles.h"
#include "tests/support/internal/ICFailure.h"
#include "tests/support/internal/ICPlatformFunction.h"

#include <atomic>
#include <string_view>

namespace
{

std::wstring f_shellQuoted(std::wstring const & text)
{
    std::wstring quoted = L"'";
    for (wchar_t const character : text)
        quoted += character == L'\'' ? std::wstring(L"'\\''") : std::wstring(1, character);
    return quoted + L"'";
}

std::wstring f_markerFile()
{
    static std::atomic<ulong> number;
    wchar_t path[MAX_PATH + 2] = {};
    ::GetTempPathW(MAX_PATH + 2, path);
    return path + (L"hsmbase-host-" + std::to_wstring(::GetCurrentProcessId())) + L"-" + std::to_wstring(++number);
}

HANDLE f_nextHandle()
{
    HANDLE const own = ::GetCurrentProcess();
    HANDLE handle = nullptr;
    ::DuplicateHandle(own, own, own, &handle, 0, FALSE, DUPLICATE_SAME_ACCESS);
    ::CloseHandle(handle);
    return handle;
}

// Wine forgets the handle of the host's program that it starts. Handles are given out from the lowest free number up.
void f_closeForgottenShell(HANDLE first)
{
    constexpr ULONG_PTR RANGE = 0x40;
    auto const begin = reinterpret_cast<ULONG_PTR>(first);
    for (ULONG_PTR value = begin; value < begin + RANGE; value += 4) {
        wchar_t path[MAX_PATH] = {};
        ::GetFinalPathNameByHandleW(reinterpret_cast<HANDLE>(value), path, MAX_PATH, 0);
        std::wstring_view const name(path);
        if (name.ends_with(L"\\dash") || name.ends_with(L"\\sh") || name.ends_with(L"\\bash"))
            ::CloseHandle(reinterpret_cast<HANDLE>(value));
    }
}

// A process of the host has no handles here, and what the structure holds for them is not to be closed.
void f_startShell(std::wstring commandLine)
{
    HANDLE const next = f_nextHandle();
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!::CreateProcessW(L"\\\\?\\unix\\bin\\sh", commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                          &startup, &process))
        throw f_platformFailure("cannot run on the host", commandLine);
    f_closeForgottenShell(next);
}

constexpr int TRIES = 10'000;

} // namespace

bool f_isUnixHost()
{
    static bool const isWine = f_platformFunction<void (*)()>(L"ntdll.dll", "wine_get_version") != nullptr;
    return isWine;
}

bool f_runOnHost(std::wstring const & command)
{
    // Such a process cannot be waited for. It renames a file into place when it has ended.
    std::wstring const marker = f_markerFile();
    std::wstring const hostMarker = f_hostPath(marker);
    std::wstring const unfinished = hostMarker + L".new";
    std::wstring script = L"(" + command + L"); echo $? > " + unfinished + L"; mv " + unfinished + L" " + hostMarker;
    f_startShell(L"sh -c \"" + script + L"\"");
    for (int tries = 0; tries < TRIES && !f_isThere(marker); ++tries)
        ::Sleep(1);
    bool const succeeded = f_readFile(marker) == "0\n";
    ::DeleteFileW(marker.c_str());
    return succeeded;
}

std::wstring f_hostPath(std::wstring const & path)
{
    auto * const translate =
        f_platformFunction<char * (*)(wchar_t const *)>(L"kernel32.dll", "wine_get_unix_file_name");
    char * const name = translate(path.c_str());
    if (name == nullptr) throw f_platformFailure("no name at the host for", path);
    wchar_t wide[0x1000] = {};
    ::MultiByteToWideChar(CP_UTF8, 0, name, -1, wide, 0x1000);
    ::HeapFree(::GetProcessHeap(), 0, name);
    return f_shellQuoted(wide);
}
