#pragma once

#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/registry/ICRegistryBackup.h"
#include "tests/registry/RegistryTest.h"

#include <cstring>
#include <map>

// What the tests of the registry's backup share.

// The values of a key by their names, and the keys below a key by their relative paths; the key itself is "". A value
// that isn't REG_SZ has its type ahead of its text: "<2>%a%".
using KEY_VALUES = std::map<std::wstring, std::wstring>;
using STRING_TREE = std::map<std::wstring, KEY_VALUES>;

// Below HKEY_LOCAL_MACHINE, past the library. Reading a key that doesn't exist gives an empty tree.
STRING_TREE f_readTree(std::wstring const & path);
void f_writeTree(std::wstring const & path, STRING_TREE const & tree);

// The tree without keys that have no values and lead to none.
STRING_TREE f_withoutEmptyKeys(STRING_TREE tree);

// The text that a backup of the key must be, in the platform's order of values and keys, without the mark.
std::wstring f_expectedText(std::wstring const & path);

inline constexpr wchar_t BACKUP_HEADER[] = L"Windows Registry Editor Version 5.00\r\n\r\n";
inline constexpr char BACKUP_MARK[] = "\xFF\xFE";

inline std::string f_bytesOf(std::wstring_view text)
{
    return std::string(reinterpret_cast<char const *>(text.data()), text.size() * sizeof(wchar_t));
}

// A view of the bytes, which must stay.
inline ICBuffer f_viewOf(std::string const & bytes)
{
    ICBuffer buffer;
    if (!bytes.empty()) buffer.mf_initialize(bytes.data(), static_cast<ulong>(bytes.size()), 0);
    return ICBuffer(buffer, 0);
}

inline std::string f_bytesOf(ICBuffer const & buffer)
{
    return std::string(static_cast<char const *>(buffer.mf_getData()), buffer.mf_getSize());
}

// A key of the test's own, whose tree is written and read past the library.
class ICBackupFixture : public ICRegistryFixture
{
protected:
    // Backs up a key of the sandbox, KEY unless another one is given; answers the text without the mark.
    std::wstring mf_backup(std::wstring const & key = KEY, int skipDotKeys = 0) const
    {
        ICBuffer buffer;
        EXPECT_EQ(1, ICRegistryBackup::mf_backup(buffer, (m_sandbox / key).c_str(), HKLM, skipDotKeys));
        std::string const bytes = f_bytesOf(buffer);
        EXPECT_EQ(BACKUP_MARK, bytes.substr(0, 2));
        std::wstring text((bytes.size() - 2) / sizeof(wchar_t), L'\0');
        std::memcpy(text.data(), bytes.data() + 2, bytes.size() - 2);
        return text;
    }

    OUTCOME mf_failureOfBackup(std::wstring const & key = KEY, int skipDotKeys = 0) const
    {
        ICBuffer buffer;
        OUTCOME const outcome =
            f_failureOf([&] { ICRegistryBackup::mf_backup(buffer, (m_sandbox / key).c_str(), HKLM, skipDotKeys); });
        EXPECT_FALSE(buffer.mf_isInitialized());
        return outcome;
    }

    // What restoring the bytes throws.
    static OUTCOME mf_restoreBytes(std::string const & bytes)
    {
        return f_failureOf([&] { EXPECT_EQ(1, ICRegistryBackup::mf_restore(f_viewOf(bytes))); });
    }

    static OUTCOME mf_restoreText(std::wstring const & text) { return mf_restoreBytes(BACKUP_MARK + f_bytesOf(text)); }

    // The same for lines behind the header; each "@" stands for the root key and the path of the sandbox.
    OUTCOME mf_restore(std::wstring const & lines) const { return mf_restoreText(BACKUP_HEADER + mf_at(lines)); }

    std::wstring mf_at(std::wstring const & lines) const
    {
        std::wstring text;
        for (wchar_t const character : lines)
            text += character == L'@' ? L"HKEY_LOCAL_MACHINE\\" + m_sandbox.mf_getPath() : std::wstring(1, character);
        return text;
    }

    STRING_TREE mf_read(std::wstring const & key = KEY) const { return f_readTree(m_sandbox / key); }
    void mf_write(STRING_TREE const & tree) const { f_writeTree(m_sandbox / KEY, tree); }
    using ICRegistryFixture::mf_read;
    using ICRegistryFixture::mf_write;

    void mf_deleteKey() const { ::RegDeleteTreeW(HKLM, m_path); }

    // The tree after a backup, the loss of the key and a restore.
    STRING_TREE mf_roundTrip(STRING_TREE const & tree) const
    {
        mf_deleteKey();
        mf_write(tree);
        std::wstring const text = mf_backup();
        mf_deleteKey();
        EXPECT_EQ(NO_FAILURE, mf_restoreText(text));
        return mf_read();
    }
};
