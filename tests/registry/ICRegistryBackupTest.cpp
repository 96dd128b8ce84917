// What mf_backup writes.
#include "tests/registry/BackupTest.h"

namespace
{

using ICRegistryBackupWriting = ICBackupFixture;

constexpr ulong HEADER_BYTES = 2 + 2 * 40;

// A key below HKEY_CURRENT_USER, deleted with the object.
class ICUserKey
{
public:
    ICUserKey() { ::RegDeleteTreeW(HKEY_CURRENT_USER, m_path); }
    ICUserKey(ICUserKey const &) = delete;
    ICUserKey & operator=(ICUserKey const &) = delete;
    ~ICUserKey() { ::RegDeleteTreeW(HKEY_CURRENT_USER, m_path); }

    CString const m_path = (L"Software\\hsmbase-tests-" + std::to_wstring(::GetCurrentProcessId())).c_str();
};

} // namespace

TEST_F(ICRegistryBackupWriting, KeysWithoutValues_GiveTheHeaderAlone)
{
    mf_write({{L"", {}}, {L"a", {}}, {L"a\\b", {}}, {L"c", {}}});
    ICBuffer buffer;
    EXPECT_EQ(1, ICRegistryBackup::mf_backup(buffer, m_path, HKLM, 0));
    EXPECT_EQ(HEADER_BYTES, buffer.mf_getSize());
    EXPECT_EQ(BACKUP_MARK + f_bytesOf(BACKUP_HEADER), f_bytesOf(buffer));
    mf_deleteKey();
    EXPECT_EQ(1, ICRegistryBackup::mf_restore(buffer));
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}

TEST_F(ICRegistryBackupWriting, KeyWithValues_IsABlock)
{
    mf_write({{L"", {{L"Language", L"English"}, {L"LogFileDir", L"C:\\logs"}}}});
    EXPECT_EQ(mf_at(L"Windows Registry Editor Version 5.00\r\n"
                    L"\r\n"
                    L"[@\\Key]\r\n"
                    L"\"Language\"=\"English\"\r\n"
                    L"\"LogFileDir\"=\"C:\\\\logs\"\r\n"
                    L"\r\n"),
              mf_backup());
}

TEST_F(ICRegistryBackupWriting, Buffer_OwnsTheMarkAndTwoBytesACharacter)
{
    mf_write({{L"", {{L"a", L"b"}}}});
    ICBuffer buffer;
    ICRegistryBackup::mf_backup(buffer, m_path, HKLM, 0);
    EXPECT_EQ(2 + 2 * f_expectedText(m_path.GetString()).size(), buffer.mf_getSize());
    EXPECT_TRUE(buffer.m_bOwned);
    EXPECT_EQ('\xFF', f_bytesOf(buffer)[0]);
    EXPECT_EQ('\xFE', f_bytesOf(buffer)[1]);
    EXPECT_EQ('\n', f_bytesOf(buffer)[buffer.mf_getSize() - 2]);
}

TEST_F(ICRegistryBackupWriting, SubKeys_StandBehindTheirKey_OnlyThoseWithValues)
{
    mf_write({{L"", {{L"r", L"0"}}},
              {L"a", {}},
              {L"a\\x", {{L"v", L"1"}}},
              {L"a\\x\\deep", {{L"v", L"2"}}},
              {L"a\\y", {}},
              {L"b", {{L"v", L"3"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"r\"=\"0\"\r\n\r\n"
                                    L"[@\\Key\\a\\x]\r\n\"v\"=\"1\"\r\n\r\n"
                                    L"[@\\Key\\a\\x\\deep]\r\n\"v\"=\"2\"\r\n\r\n"
                                    L"[@\\Key\\b]\r\n\"v\"=\"3\"\r\n\r\n"),
              mf_backup());
}

TEST_F(ICRegistryBackupWriting, ValuesAndKeys_StandInThePlatformsOrder)
{
    for (wchar_t const * name : {L"m", L"B", L"a", L"\u0436", L"10", L"9"}) {
        m_sandbox.mf_writeText(KEY, name, name);
        m_sandbox.mf_writeText(std::wstring(KEY) + L"\\" + name, name, name);
    }
    EXPECT_EQ(f_expectedText(m_path.GetString()), mf_backup());
}

TEST_F(ICRegistryBackupWriting, Backslashes_AreDoubled)
{
    EXPECT_STREQ(L"C:\\\\temp", ICRegistryBackup::mf_implEscapeString(L"C:\\temp"));
    EXPECT_STREQ(L"\\\\\\\\", ICRegistryBackup::mf_implEscapeString(L"\\\\"));
    EXPECT_STREQ(L"", ICRegistryBackup::mf_implEscapeString(L""));
    EXPECT_STREQ(L"a\"b\r\nc", ICRegistryBackup::mf_implEscapeString(L"a\"b\r\nc"));
}

TEST_F(ICRegistryBackupWriting, EmptyValue_IsEmptyQuotes)
{
    mf_write({{L"", {{L"a", L""}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"a\"=\"\"\r\n\r\n"), mf_backup());
}

TEST_F(ICRegistryBackupWriting, DefaultValue_HasAnEmptyName)
{
    mf_write({{L"", {{L"", L"text"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"\"=\"text\"\r\n\r\n"), mf_backup());
}

TEST_F(ICRegistryBackupWriting, NamesAndPaths_StandAsTheyAre)
{
    mf_write({{L"", {{L"a=b", L"1"}}}, {L"[k]\"=", {{L"\"c\\d", L"2"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"a=b\"=\"1\"\r\n\r\n"
                                    L"[@\\Key\\[k]\"=]\r\n\"\"c\\d\"=\"2\"\r\n\r\n"),
              mf_backup());
}

TEST_F(ICRegistryBackupWriting, QuotesAndLineEndsOfAValue_StandAsTheyAre)
{
    mf_write({{L"", {{L"a", L"say \"hi\"\r\nnow"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"a\"=\"say \"hi\"\r\nnow\"\r\n\r\n"), mf_backup());
}

TEST_F(ICRegistryBackupWriting, OtherScripts_AreUtf16)
{
    mf_write({{L"\u5B57", {{L"\u0416\u00DF", L"\U0001F600 \xD800"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key\\\u5B57]\r\n\"\u0416\u00DF\"=\"\U0001F600 \xD800\"\r\n\r\n"),
              mf_backup());
}

TEST_F(ICRegistryBackupWriting, ExpandableValue_IsExpanded)
{
    ::SetEnvironmentVariableW(L"HSM_BACKUP_TEST", L"x");
    mf_write(L"shorter", REG_EXPAND_SZ, f_terminated(L"%HSM_BACKUP_TEST%\\y"));
    // Not shorter when expanded, so read as it is stored.
    mf_write(L"unknown", REG_EXPAND_SZ, f_terminated(L"%HSM_BACKUP_NONE%"));
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"shorter\"=\"x\\\\y\"\r\n\"unknown\"=\"%HSM_BACKUP_NONE%\"\r\n\r\n"),
              mf_backup());
    ::SetEnvironmentVariableW(L"HSM_BACKUP_TEST", nullptr);
}

TEST_F(ICRegistryBackupWriting, LongestValue_IsTaken_LongerOneFails)
{
    mf_write({{L"", {{L"a", f_xs(511)}}}});
    EXPECT_EQ(f_expectedText(m_path.GetString()), mf_backup());
    mf_write({{L"", {{L"a", f_xs(512)}}}});
    EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA), mf_failureOfBackup());
}

TEST_F(ICRegistryBackupWriting, ValueThatIsNoString_FailsTheWhole)
{
    mf_write({{L"", {{L"a", L"b"}}}, {L"x", {{L"a", L"b"}}}, {L"x\\y", {{L"a", L"b"}}}});
    for (ulong const type : {4ul, 11ul, 3ul, 7ul, 0ul}) {
        SCOPED_TRACE(type);
        m_sandbox.mf_write(L"Key\\x\\y", L"n", type, std::string_view("\1\0\0\0\0\0\0\0", 8));
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unexpected), mf_failureOfBackup());
    }
}

TEST_F(ICRegistryBackupWriting, NameOf256Characters_FailsTheWhole)
{
    mf_write({{L"x", {{f_xs(255), L"b"}}}});
    EXPECT_EQ(f_expectedText(m_path.GetString()), mf_backup());
    mf_write({{L"x", {{f_xs(256), L"b"}}}});
    EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA), mf_failureOfBackup());
}

TEST_F(ICRegistryBackupWriting, BufferWithData_IsRefusedAndKept)
{
    mf_write({{L"", {{L"a", L"b"}}}});
    ICBuffer buffer("data", 4, 1);
    ICKeyAccount const account;
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::AlreadyInitialized),
              f_failureOf([&] { ICRegistryBackup::mf_backup(buffer, m_path, HKLM, 0); }));
    EXPECT_EQ("data", f_bytesOf(buffer));
    EXPECT_TRUE(account.m_calls.empty());
}

TEST_F(ICRegistryBackupWriting, AbsentKey_IsNotFound)
{
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::FileNotFound), mf_failureOfBackup());
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::FileNotFound), mf_failureOfBackup(L"Key\\deeper"));
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}

TEST_F(ICRegistryBackupWriting, SkipDotKeys_LeavesThemOutWithAllBelow)
{
    mf_write({{L"", {{L".value", L"1"}}},
              {L".hidden", {{L"a", L"2"}}},
              {L".hidden\\below", {{L"a", L"3"}}},
              {L"seen", {{L"a", L"4"}}},
              {L"seen\\.hidden", {{L"a", L"5"}}},
              {L"seen.too", {{L"a", L"6"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\".value\"=\"1\"\r\n\r\n"
                                    L"[@\\Key\\seen]\r\n\"a\"=\"4\"\r\n\r\n"
                                    L"[@\\Key\\seen.too]\r\n\"a\"=\"6\"\r\n\r\n"),
              mf_backup(KEY, 1));
    EXPECT_EQ(mf_backup(KEY, 1), mf_backup(KEY, -1));
    EXPECT_EQ(f_expectedText(m_path.GetString()), mf_backup(KEY, 0));
}

TEST_F(ICRegistryBackupWriting, SkipDotKeys_WithADotKeyAsRoot_GivesTheHeaderAlone)
{
    mf_write({{L".root", {{L"a", L"1"}}}, {L".root\\b", {{L"a", L"2"}}}});
    EXPECT_EQ(BACKUP_HEADER, mf_backup(L"Key\\.root", 1));
    EXPECT_EQ(f_expectedText(m_sandbox / L"Key\\.root"), mf_backup(L"Key\\.root", 0));
}

TEST_F(ICRegistryBackupWriting, SkipDotKeys_WithoutALastName_IsRefused)
{
    mf_write({{L"", {{L"a", L"1"}}}});
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Internal), mf_failureOfBackup(L"Key\\", 1));
    ICBuffer buffer;
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Internal),
              f_failureOf([&] { ICRegistryBackup::mf_backup(buffer, L"", HKLM, 1); }));
    EXPECT_FALSE(buffer.mf_isInitialized());
}

TEST_F(ICRegistryBackupWriting, PathWithABackslashAtItsEnd_IsTakenVerbatim)
{
    mf_write({{L"", {{L"a", L"1"}}}, {L"b", {{L"a", L"2"}}}});
    EXPECT_EQ(BACKUP_HEADER + mf_at(L"[@\\Key\\]\r\n\"a\"=\"1\"\r\n\r\n"
                                    L"[@\\Key\\b]\r\n\"a\"=\"2\"\r\n\r\n"),
              mf_backup(L"Key\\"));
}

TEST_F(ICRegistryBackupWriting, CurrentUser_IsNamedInFull)
{
    ICUserKey const user;
    ICRegistry::mf_setValue(L"a", L"b", user.m_path, 0, HKEY_CURRENT_USER);
    ICBuffer buffer;
    ICRegistryBackup::mf_backup(buffer, user.m_path, HKEY_CURRENT_USER, 0);
    EXPECT_EQ(BACKUP_MARK + f_bytesOf(BACKUP_HEADER + (L"[HKEY_CURRENT_USER\\" + std::wstring(user.m_path)) +
                                      L"]\r\n\"a\"=\"b\"\r\n\r\n"),
              f_bytesOf(buffer));
    ICRegistry::mf_setValue(L"a", L"changed", user.m_path, 0, HKEY_CURRENT_USER);
    ICRegistryBackup::mf_restore(buffer);
    CString value;
    ICRegistry::mf_getValue(L"a", value, user.m_path, HKEY_CURRENT_USER);
    EXPECT_STREQ(L"b", value);
}

TEST_F(ICRegistryBackupWriting, AnotherRoot_IsWrittenWithItsHandle_AndNotRestored)
{
    mf_write({{L"", {{L"a", L"b"}}}});
    HKEY root = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKLM, m_sandbox.mf_getPath().c_str(), 0, KEY_READ, &root));
    ICBuffer buffer;
    ICRegistryBackup::mf_backup(buffer, KEY, root, 0);
    std::wstring const section = std::wstring(ICRegistry::mf_getSectionKeyString(root, 0)) + L"\\Key";
    EXPECT_EQ(BACKUP_MARK + f_bytesOf(BACKUP_HEADER + (L"[" + section) + L"]\r\n\"a\"=\"b\"\r\n\r\n"),
              f_bytesOf(buffer));
    EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), f_failureOf([&] { ICRegistryBackup::mf_restore(buffer); }));
    ::RegCloseKey(root);
}

// The names of an empty path are the root key's own; the texts are looked for where values of an empty path are.
TEST_F(ICRegistryBackupWriting, EmptyPath_HasItsValuesInThisProgramsKey)
{
    mf_write({{L"", {{L"a", L"of the root"}}}, {L"x", {{L"b", L"below"}}}});
    HKEY root = nullptr;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKLM, m_path, 0, KEY_ALL_ACCESS, &root));
    std::wstring const section = L"[" + std::wstring(ICRegistry::mf_getSectionKeyString(root, 0)) + L"\\";
    ICBuffer buffer;
    auto const backup = [&] { ICRegistryBackup::mf_backup(buffer, L"", root, 0); };
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), f_failureOf(backup));
    ICRegistry::mf_setValue(L"a", L"of the program", L"", 0, root);
    ::RegDeleteTreeW(root, L"x");
    backup();
    std::wstring const block = section + L"]\r\n\"a\"=\"of the program\"\r\n\r\n";
    EXPECT_TRUE(f_bytesOf(buffer).starts_with(BACKUP_MARK + f_bytesOf(BACKUP_HEADER + block)));
    ::RegCloseKey(root);
}

TEST_F(ICRegistryBackupWriting, TreeOfManyLevels_ComesBack)
{
    STRING_TREE tree;
    std::wstring path;
    for (int level = 0; level < 200; ++level) {
        path += (path.empty() ? L"" : L"\\") + std::to_wstring(level);
        if (level % 10 == 9) tree[path][L"level"] = std::to_wstring(level);
    }
    mf_write(tree);
    STRING_TREE const before = mf_read();
    EXPECT_EQ(201u, before.size());
    EXPECT_EQ(f_expectedText(m_path.GetString()), mf_backup());
    EXPECT_EQ(before, mf_roundTrip(before));
}

// The appending itself, for what a listing never gives.
TEST_F(ICRegistryBackupWriting, NullNames_ArePassedOver)
{
    mf_write({{L"", {{L"a", L"1"}, {L"b", L"2"}}}, {L"x", {{L"c", L"3"}}}});
    ICTestList values{L"b"};
    values.InsertAt(0, nullptr, 2);
    values.Add(nullptr);
    CString text;
    ICRegistryBackup::mf_implAppendValues(text, values, m_path, HKLM);
    EXPECT_STREQ(L"\"b\"=\"2\"\r\n", text);

    ICTestList keys{L"x"};
    keys.InsertAt(0, nullptr, 1);
    text.Empty();
    ICRegistryBackup::mf_implAppendSubKeys(text, keys, m_path, HKLM, 0);
    EXPECT_EQ(mf_at(L"[@\\Key\\x]\r\n\"c\"=\"3\"\r\n\r\n"), text.GetString());
}

TEST_F(ICRegistryBackupWriting, BackupPath_TellsWhetherTheKeyWasTaken)
{
    mf_write({{L".a", {}}});
    CString text;
    EXPECT_EQ(1, ICRegistryBackup::mf_implBackupPath(text, m_path, HKLM, 1));
    EXPECT_EQ(0, ICRegistryBackup::mf_implBackupPath(text, m_path + L"\\.a", HKLM, 1));
    EXPECT_EQ(1, ICRegistryBackup::mf_implBackupPath(text, m_path + L"\\.a", HKLM, 0));
}
