#pragma once

#include "tests/support/Platform.h"

#include <optional>
#include <string>
#include <string_view>

// A registry key of its own below HKEY_LOCAL_MACHINE\Software\hsmbase-tests, deleted with everything below it when the
// object ends; the last one deletes hsmbase-tests too. The test fails if the key cannot be deleted.
//
//     ICRegistrySandbox const registry;
//     registry.mf_write(L"Sub\\Key", L"Name", REG_DWORD, std::string_view("\1\0\0\0", 4));
//     thing.mf_open(HKEY_LOCAL_MACHINE, registry.mf_getPath().c_str());
//     EXPECT_EQ(L"text", registry.mf_readText(L"", L"Other"));
//
// Threads: any, as far as the registry goes.
struct ICRegistryValue
{
    ulong m_type;
    std::string m_bytes;
};

class ICRegistrySandbox
{
public:
    // Throws std::runtime_error, as all operations do.
    ICRegistrySandbox();
    ICRegistrySandbox(ICRegistrySandbox const &) = delete;
    ICRegistrySandbox & operator=(ICRegistrySandbox const &) = delete;
    ~ICRegistrySandbox();

    // "Software\hsmbase-tests\<process>-<number>", below HKEY_LOCAL_MACHINE.
    std::wstring const & mf_getPath() const { return m_path; }
    std::wstring operator/(std::wstring const & relative) const { return m_path + L"\\" + relative; }

    // Raw access past the library. An empty key is the root; missing keys are made for writing only.
    void mf_makeKey(std::wstring const & key) const;
    bool mf_hasKey(std::wstring const & key) const;
    void mf_write(std::wstring const & key, std::wstring const & name, ulong type, std::string_view bytes) const;
    void mf_writeText(std::wstring const & key, std::wstring const & name, std::wstring const & text) const;
    void mf_writeNumber(std::wstring const & key, std::wstring const & name, ulong number) const;
    // Empty if there is no such value.
    std::optional<ICRegistryValue> mf_read(std::wstring const & key, std::wstring const & name) const;
    // Up to the first NUL; empty text too if the value is missing.
    std::wstring mf_readText(std::wstring const & key, std::wstring const & name) const;

private:
    std::wstring m_path;
};
