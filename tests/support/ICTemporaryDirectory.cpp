#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICUnixHost.h"
#include "tests/support/internal/ICFailure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>

namespace
{

std::wstring f_temporaryRoot()
{
    wchar_t path[MAX_PATH + 2] = {};
    ulong const length = ::GetTempPathW(MAX_PATH + 2, path);
    if (length == 0 || length > MAX_PATH) throw f_platformFailure("no path for", L"%TEMP%");
    wchar_t longPath[MAX_PATH + 2] = {};
    ulong const longLength = ::GetLongPathNameW(path, longPath, MAX_PATH + 2);
    bool const isLong = longLength != 0 && longLength <= MAX_PATH;
    return isLong ? longPath : path;
}

void f_makeDirectories(std::wstring const & path, std::size_t known)
{
    for (std::size_t end = known; end < path.size();) {
        end = std::min(path.find(L'\\', end + 1), path.size());
        std::wstring const part = path.substr(0, end);
        if (!::CreateDirectoryW(f_longPath(part).c_str(), nullptr) && ::GetLastError() != ERROR_ALREADY_EXISTS)
            throw f_platformFailure("cannot make directory", part);
    }
}

class ICSearch
{
public:
    explicit ICSearch(std::wstring const & pattern) : m_handle(::FindFirstFileW(pattern.c_str(), &m_entry)) {}
    ICSearch(ICSearch const &) = delete;
    ICSearch & operator=(ICSearch const &) = delete;
    ~ICSearch()
    {
        if (m_handle != INVALID_HANDLE_VALUE) ::FindClose(m_handle);
    }

    WIN32_FIND_DATAW m_entry{};
    HANDLE const m_handle;
};

bool f_removeTree(std::wstring const & path);

bool f_removeEntry(std::wstring const & path, ulong attributes)
{
    if ((attributes & FILE_ATTRIBUTE_READONLY) != 0)
        ::SetFileAttributesW(path.c_str(), attributes & ~static_cast<ulong>(FILE_ATTRIBUTE_READONLY));
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) return ::DeleteFileW(path.c_str()) != 0;
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) return f_removeTree(path);
    return ::RemoveDirectoryW(path.c_str()) != 0;
}

// Under Wine deleting a link deletes its target, and a link to a file does not show that it is one. "rm" follows none.
void f_removeByHost(std::wstring const & path)
{
    std::wstring const name = f_hostPath(path);
    f_runOnHost(L"rm -rf " + name + L" 2>/dev/null || { chmod -R u+rwX " + name + L"; rm -rf " + name + L"; }");
}

// Takes and hands on the long form. False: something is left.
bool f_removeTree(std::wstring const & path)
{
    bool isEmpty = true;
    {
        ICSearch search(path + L"\\*");
        bool more = search.m_handle != INVALID_HANDLE_VALUE;
        for (; more; more = ::FindNextFileW(search.m_handle, &search.m_entry) != 0) {
            std::wstring const name = search.m_entry.cFileName;
            if (name == L"." || name == L"..") continue;
            isEmpty = f_removeEntry(path + L"\\" + name, search.m_entry.dwFileAttributes) && isEmpty;
        }
    }
    return isEmpty && ::RemoveDirectoryW(path.c_str()) != 0;
}

} // namespace

ICTemporaryDirectory::ICTemporaryDirectory()
{
    static std::atomic<ulong> number;
    std::wstring const stem = f_temporaryRoot() + L"hsmbase-test-" + std::to_wstring(::GetCurrentProcessId()) + L"-";
    // A killed process of the same number may have left its directories.
    do {
        m_path = stem + std::to_wstring(++number);
        ::SetLastError(0);
    } while (!::CreateDirectoryW(m_path.c_str(), nullptr) && ::GetLastError() == ERROR_ALREADY_EXISTS);
    if (!f_isThere(m_path)) throw f_platformFailure("cannot make directory", m_path);
}

ICTemporaryDirectory::~ICTemporaryDirectory()
{
    ulong const lastError = ::GetLastError();
    try {
        if (f_isUnixHost())
            f_removeByHost(m_path);
        else
            f_removeTree(f_longPath(m_path));
    }
    catch (std::runtime_error const & failure) {
        ADD_FAILURE() << failure.what();
    }
    if (f_isThere(m_path)) ADD_FAILURE() << "could not remove '" << f_utf8(m_path) << "'";
    ::SetLastError(lastError);
}

std::wstring ICTemporaryDirectory::mf_makeDirectory(std::wstring const & relative) const
{
    std::wstring const path = *this / relative;
    f_makeDirectories(path, m_path.size());
    return path;
}

std::wstring ICTemporaryDirectory::mf_makeFile(std::wstring const & relative, std::string_view bytes,
                                               ulong attributes) const
{
    std::wstring const path = *this / relative;
    f_makeDirectories(path.substr(0, path.rfind(L'\\')), m_path.size());
    f_writeFile(path, bytes);
    if (attributes != 0) f_setAttributes(path, attributes);
    return path;
}
