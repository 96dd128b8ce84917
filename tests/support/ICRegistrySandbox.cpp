#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/internal/ICFailure.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>

namespace
{

wchar_t const PARENT[] = L"Software\\hsmbase-tests";

class ICKey
{
public:
    ICKey() = default;
    ICKey(ICKey const &) = delete;
    ICKey & operator=(ICKey const &) = delete;
    ~ICKey()
    {
        if (m_key != nullptr) ::RegCloseKey(m_key);
    }

    ulong mf_create(std::wstring const & path)
    {
        return static_cast<ulong>(::RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                                    nullptr, &m_key, &m_disposition));
    }
    ulong mf_open(std::wstring const & path)
    {
        return static_cast<ulong>(::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &m_key));
    }

    HKEY m_key = nullptr;
    DWORD m_disposition = 0;
};

std::wstring f_join(std::wstring const & root, std::wstring const & key)
{
    return key.empty() ? root : root + L"\\" + key;
}

// Another process may delete the empty parent between the two steps of our creation, hence the tries.
bool f_createRoot(std::wstring const & path)
{
    ulong result = ERROR_SUCCESS;
    for (int tries = 0; tries < 100; ++tries) {
        ICKey key;
        result = key.mf_create(path);
        if (result == ERROR_SUCCESS) return key.m_disposition == REG_CREATED_NEW_KEY;
        if (result != ERROR_KEY_DELETED && result != ERROR_FILE_NOT_FOUND) break;
    }
    throw f_platformFailure("cannot create key", path, result);
}

} // namespace

ICRegistrySandbox::ICRegistrySandbox()
{
    static std::atomic<ulong> number;
    std::wstring const stem = std::wstring(PARENT) + L"\\" + std::to_wstring(::GetCurrentProcessId()) + L"-";
    // A killed process of the same number may have left its keys.
    do {
        m_path = stem + std::to_wstring(++number);
    } while (!f_createRoot(m_path));
}

ICRegistrySandbox::~ICRegistrySandbox()
{
    ulong const lastError = ::GetLastError();
    auto const result = ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, m_path.c_str());
    bool const isGone = result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
    if (!isGone) ADD_FAILURE() << "could not delete key '" << f_utf8(m_path) << "': error " << result;
    // Refused while others have keys there.
    ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, PARENT);
    ::SetLastError(lastError);
}

void ICRegistrySandbox::mf_makeKey(std::wstring const & key) const
{
    ICKey created;
    ulong const result = created.mf_create(f_join(m_path, key));
    if (result != ERROR_SUCCESS) throw f_platformFailure("cannot create key", key, result);
}

bool ICRegistrySandbox::mf_hasKey(std::wstring const & key) const
{
    ICKey opened;
    return opened.mf_open(f_join(m_path, key)) == ERROR_SUCCESS;
}

void ICRegistrySandbox::mf_write(std::wstring const & key, std::wstring const & name, ulong type,
                                 std::string_view bytes) const
{
    ICKey created;
    ulong result = created.mf_create(f_join(m_path, key));
    if (result == ERROR_SUCCESS) {
        result = static_cast<ulong>(::RegSetValueExW(created.m_key, name.c_str(), 0, type,
                                                     reinterpret_cast<BYTE const *>(bytes.data()),
                                                     static_cast<DWORD>(bytes.size())));
    }
    if (result != ERROR_SUCCESS) throw f_platformFailure("cannot write value", f_join(key, name), result);
}

void ICRegistrySandbox::mf_writeText(std::wstring const & key, std::wstring const & name,
                                     std::wstring const & text) const
{
    auto const * bytes = reinterpret_cast<char const *>(text.c_str());
    mf_write(key, name, REG_SZ, std::string_view(bytes, (text.size() + 1) * sizeof(wchar_t)));
}

void ICRegistrySandbox::mf_writeNumber(std::wstring const & key, std::wstring const & name, ulong number) const
{
    mf_write(key, name, REG_DWORD, std::string_view(reinterpret_cast<char const *>(&number), sizeof(number)));
}

std::optional<ICRegistryValue> ICRegistrySandbox::mf_read(std::wstring const & key, std::wstring const & name) const
{
    ICKey opened;
    if (opened.mf_open(f_join(m_path, key)) != ERROR_SUCCESS) return std::nullopt;
    ICRegistryValue value{};
    DWORD size = 0;
    auto result = ::RegQueryValueExW(opened.m_key, name.c_str(), nullptr, &value.m_type, nullptr, &size);
    if (result == ERROR_FILE_NOT_FOUND) return std::nullopt;
    value.m_bytes.resize(size);
    auto * bytes = reinterpret_cast<BYTE *>(value.m_bytes.data());
    if (result == ERROR_SUCCESS)
        result = ::RegQueryValueExW(opened.m_key, name.c_str(), nullptr, &value.m_type, bytes, &size);
    if (result != ERROR_SUCCESS) throw f_platformFailure("cannot read value", name, static_cast<ulong>(result));
    value.m_bytes.resize(size);
    return value;
}

std::wstring ICRegistrySandbox::mf_readText(std::wstring const & key, std::wstring const & name) const
{
    std::optional<ICRegistryValue> const value = mf_read(key, name);
    if (!value) return {};
    std::wstring text(value->m_bytes.size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), value->m_bytes.data(), text.size() * sizeof(wchar_t));
    return text.substr(0, text.find(L'\0'));
}
