#include "tests/support/ICFiles.h"
#include "tests/support/internal/ICFailure.h"

#include <algorithm>
#include <iterator>

namespace
{

class ICOpenFile
{
public:
    ICOpenFile(std::wstring const & path, ulong access, ulong disposition)
        : m_handle(::CreateFileW(f_longPath(path).c_str(), access,
                                 FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, disposition,
                                 FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (m_handle == INVALID_HANDLE_VALUE) throw f_platformFailure("cannot open", path);
    }
    ICOpenFile(ICOpenFile const &) = delete;
    ICOpenFile & operator=(ICOpenFile const &) = delete;
    ~ICOpenFile() { ::CloseHandle(m_handle); }

    HANDLE const m_handle;
};

constexpr std::size_t CHUNK = 0x100000;

} // namespace

void f_writeFile(std::wstring const & path, std::string_view bytes)
{
    ICOpenFile const file(path, GENERIC_WRITE, CREATE_ALWAYS);
    while (!bytes.empty()) {
        DWORD written = 0;
        auto const size = static_cast<DWORD>(std::min(bytes.size(), CHUNK));
        if (!::WriteFile(file.m_handle, bytes.data(), size, &written, nullptr) || written == 0)
            throw f_platformFailure("cannot write", path);
        bytes.remove_prefix(written);
    }
}

std::string f_readFile(std::wstring const & path)
{
    ICOpenFile const file(path, GENERIC_READ, OPEN_EXISTING);
    std::string bytes;
    for (;;) {
        std::size_t const before = bytes.size();
        bytes.resize(before + CHUNK);
        DWORD count = 0;
        if (!::ReadFile(file.m_handle, bytes.data() + before, static_cast<DWORD>(CHUNK), &count, nullptr))
            throw f_platformFailure("cannot read", path);
        bytes.resize(before + count);
        if (count == 0) return bytes;
    }
}

void f_setAttributes(std::wstring const & path, ulong attributes)
{
    if (!::SetFileAttributesW(f_longPath(path).c_str(), attributes))
        throw f_platformFailure("cannot set the attributes of", path);
}

bool f_isThere(std::wstring const & path)
{
    return ::GetFileAttributesW(f_longPath(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::wstring f_longPath(std::wstring const & path)
{
    if (path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\")) return path;
    if (path.starts_with(L"\\\\")) return L"\\\\?\\UNC" + path.substr(1);
    return L"\\\\?\\" + path;
}

std::wstring f_inSources(std::wstring const & name)
{
    std::string const root = HSMBASE_SOURCE_DIR;
    wchar_t path[1024];
    int const length = ::MultiByteToWideChar(CP_UTF8, 0, root.c_str(), -1, path, static_cast<int>(std::size(path)));
    if (length == 0) throw f_platformFailure("cannot read the name of the source tree in", name);
    std::wstring whole = path + name;
    std::replace(whole.begin(), whole.end(), L'/', L'\\');
    return whole;
}
