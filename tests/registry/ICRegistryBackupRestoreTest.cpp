// What mf_restore makes of a text.
#include "tests/registry/BackupTest.h"

#include "hsmbase/system/ICProcessInfo.h"

namespace
{

using ICRegistryBackupReading = ICBackupFixture;

OUTCOME const CORRUPTED = f_ownFailure(ICErrno::_E_::DataCorrupted);

std::string const HEADER_LINE = f_bytesOf(L"Windows Registry Editor Version 5.00\r\n");

} // namespace

TEST_F(ICRegistryBackupReading, BufferWithoutData_IsRefused)
{
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Initialization), mf_restoreBytes(""));
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Initialization), mf_restoreBytes("\xFF"));
}

TEST_F(ICRegistryBackupReading, OddLength_IsRefused)
{
    EXPECT_EQ(CORRUPTED, mf_restoreBytes(BACKUP_MARK + HEADER_LINE + "x"));
    EXPECT_EQ(CORRUPTED, mf_restoreBytes(std::string("\0\0\0", 3))) << "ahead of the encoding";
}

TEST_F(ICRegistryBackupReading, OtherEncodings_AreRefused)
{
    EXPECT_EQ(CORRUPTED, mf_restoreBytes("\xFE\xFF" + HEADER_LINE));
    EXPECT_EQ(CORRUPTED, mf_restoreBytes("\xFF\x41" + HEADER_LINE));
    EXPECT_EQ(CORRUPTED, mf_restoreBytes("Windows Registry Editor Version 5.00\r\n"));
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unknown), mf_restoreBytes(std::string("\0\0", 2) + HEADER_LINE));
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unknown), mf_restoreBytes(std::string("\0W", 2) + HEADER_LINE));
}

TEST_F(ICRegistryBackupReading, TextWithoutMark_LosesItsFirstCharacter)
{
    // It passes for UTF-16 by its zero bytes, and yet two bytes are taken for the mark.
    EXPECT_EQ(CORRUPTED, mf_restoreBytes(HEADER_LINE));
    EXPECT_EQ(NO_FAILURE, mf_restoreBytes(f_bytesOf(L"?") + HEADER_LINE));
    EXPECT_EQ(NO_FAILURE, mf_restoreBytes(std::string("\xFE\0", 2) + HEADER_LINE));
}

TEST_F(ICRegistryBackupReading, Header_IsComparedToTheCharacter)
{
    for (wchar_t const * header : {L"", L"\r\n\r\n", L"windows registry editor version 5.00", L"REGEDIT4",
                                   L"Windows Registry Editor Version 5.00 ", L" Windows Registry Editor Version 5.00",
                                   L"Windows Registry Editor Version 5.0", L"[HKLM\\a]"})
        EXPECT_EQ(CORRUPTED, mf_restoreText(header)) << header;
    EXPECT_EQ(NO_FAILURE, mf_restoreText(L"Windows Registry Editor Version 5.00"));
    EXPECT_EQ(NO_FAILURE, mf_restoreText(L"\n\r\n\nWindows Registry Editor Version 5.00\n\n\r"));
}

TEST_F(ICRegistryBackupReading, Lines_MayEndInAnyWay)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\n\"a\"=\"1\"\r\"b\"=\"2\"\r\r\n\n\n\"c\"=\"3\""));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}, {L"b", L"2"}, {L"c", L"3"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, BlankLines_AreNotEmpty)
{
    EXPECT_EQ(CORRUPTED, mf_restore(L"[@\\Key]\r\n \r\n"));
    EXPECT_EQ(CORRUPTED, mf_restore(L"[@\\Key]\r\n  \r\n"));
    EXPECT_EQ(CORRUPTED, mf_restore(L" [@\\Key]\r\n"));
}

TEST_F(ICRegistryBackupReading, NullCharacters_DoNotPassForTheEnd)
{
    std::wstring const one(1, L'\0');
    EXPECT_EQ(CORRUPTED, mf_restore(L"[@\\Key]\r\n\"a\"=\"1\"\r\n" + one + one + L"\"b\"=\"2\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}}), mf_read());
    EXPECT_EQ(CORRUPTED, mf_restore(L"[@\\Key]\r\n\"a\"=\"2\"\r\n" + one)) << "as a terminator";
    // A single one ends a line, as CR and LF do.
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]" + one + L"\"a\"=\"3\"" + one));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"3"}}}}), mf_read());
    EXPECT_EQ(CORRUPTED, mf_restore(L"[@\\Key]\r\n\"a\"=\"4" + one + L"5\"\r\n"));
}

TEST_F(ICRegistryBackupReading, Section_CreatesNothingByItself)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\r\n[@\\Key\\a]\r\n"));
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}

TEST_F(ICRegistryBackupReading, SectionWithoutBackslash_IsCorrupted)
{
    for (wchar_t const * line : {L"[HKLM]", L"[HKEY_LOCAL_MACHINE]", L"[]", L"[a/b]"})
        EXPECT_EQ(CORRUPTED, mf_restore(line)) << line;
}

TEST_F(ICRegistryBackupReading, SectionThatDoesNotEnd_IsCorrupted)
{
    for (wchar_t const * line : {L"[", L"[@\\Key", L"[@\\Key] ", L"@\\Key]", L"[@\\Key];", L"[@\\Key\""})
        EXPECT_EQ(CORRUPTED, mf_restore(line)) << line;
}

TEST_F(ICRegistryBackupReading, SectionWithTheShortRoot_IsTaken)
{
    std::wstring const section = L"[HKLM\\" + (m_sandbox / KEY) + L"]\r\n";
    EXPECT_EQ(NO_FAILURE, mf_restore(section + L"\"a\"=\"1\""));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, SectionWithTheUser_IsTheUsers)
{
    for (wchar_t const * root : {L"HKCU", L"HKEY_CURRENT_USER"}) {
        HKEY seen = nullptr;
        ICImportPatch const denied(
            IC_IMPORT(RegCreateKeyExW),
            [&](HKEY key, LPCWSTR, DWORD, LPWSTR, DWORD, REGSAM, LPSECURITY_ATTRIBUTES, PHKEY, LPDWORD) -> LSTATUS {
                seen = key;
                return ERROR_ACCESS_DENIED;
            });
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), mf_restore(std::wstring(L"[") + root + L"\\a]\n\"a\"=\"1\""));
        EXPECT_EQ(HKEY_CURRENT_USER, seen);
    }
}

TEST_F(ICRegistryBackupReading, UnknownRoot_FailsAtItsFirstValue)
{
    for (wchar_t const * root : {L"HKCR", L"hklm", L"HKEY_USERS", L"", L" HKLM", L"-HKEY_LOCAL_MACHINE"}) {
        std::wstring const section = std::wstring(L"[") + root + L"\\" + (m_sandbox / KEY) + L"]\r\n";
        EXPECT_EQ(NO_FAILURE, mf_restore(section)) << root;
        EXPECT_EQ(NO_FAILURE, mf_restore(section + L"[@\\Key]\r\n\"a\"=\"1\"")) << root;
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), mf_restore(L"[@\\Key]\r\n" + section + L"\"a\"=\"2\""))
            << root;
        EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}}), mf_read()) << root;
    }
}

TEST_F(ICRegistryBackupReading, SectionWithEmptyPath_IsThisProgramsKey)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[HKLM\\]\r\n\"a\"=\"1\""));
    std::wstring const process = CString(ICProcessInfo::mf_getName()).MakeLower().GetString();
    EXPECT_EQ(L"1", m_sandbox.mf_readText(process, L"a"));
}

TEST_F(ICRegistryBackupReading, OnlyTheFirstBackslashDivides)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key\\[b]\"=\\c]\r\n\"a\"=\"1\""));
    EXPECT_EQ((STRING_TREE{{L"", {}}, {L"[b]\"=", {}}, {L"[b]\"=\\c", {{L"a", L"1"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, LaterSection_TakesOver)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key\\a]\n\"v\"=\"1\"\n[@\\Key\\b]\n\"v\"=\"2\"\n[@\\Key\\a]\n\"w\"=\"3\""));
    EXPECT_EQ((STRING_TREE{{L"", {}}, {L"a", {{L"v", L"1"}, {L"w", L"3"}}}, {L"b", {{L"v", L"2"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, ValueAheadOfAnySection_IsNotWritten)
{
    EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), mf_restore(L"\"a\"=\"1\"\r\n[@\\Key]\r\n\"a\"=\"1\"\r\n"));
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
}

TEST_F(ICRegistryBackupReading, ValueOfAnyLength_IsWritten)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"a\"=\"" + f_xs(2000) + L"\"\r\n\"b\"=\"\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", f_xs(2000)}, {L"b", L""}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, Values_ArePlainStringsWithOneTerminator)
{
    mf_write(L"a", REG_EXPAND_SZ, f_terminated(L"%a%"));
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"a\"=\"%TEMP%\"\r\n"));
    EXPECT_EQ(f_terminated(L"%TEMP%"), mf_read(L"a", REG_SZ));
}

TEST_F(ICRegistryBackupReading, WhatIsThereAlready_IsOverwrittenOrKept)
{
    mf_write({{L"", {{L"a", L"old"}, {L"kept", L"old"}}}, {L"kept", {{L"b", L"old"}}}});
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"A\"=\"new\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"new"}, {L"kept", L"old"}}}, {L"kept", {{L"b", L"old"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, ValueLineThatIsNone_IsCorrupted)
{
    for (wchar_t const * line : {L"\"",
                                 L"\"\"",
                                 L"\"a\"",
                                 L"\"a\"=\"b",
                                 L"a\"=\"b\"",
                                 L"\"a\"=b\"",
                                 L"\"a=\"b\"",
                                 L"\"a=b\"",
                                 L"\"a\" = \"b\"",
                                 L"\"a\"=\"b\" ",
                                 L"\"a\"=dword:00000001",
                                 L"\"a\"=hex(2):25,00,00,00",
                                 L"\"a\"=-",
                                 L"a",
                                 L"=",
                                 L"\"=",
                                 L"=\"",
                                 L"; \"a\"=\"b\"",
                                 L"#",
                                 L"\x5B57\x5B57"})
        EXPECT_EQ(CORRUPTED, mf_restore(std::wstring(L"[@\\Key]\r\n") + line)) << line;
    EXPECT_FALSE(m_sandbox.mf_hasKey(KEY));
    // The sign that stands for the default value elsewhere.
    EXPECT_EQ(CORRUPTED, mf_restoreText(std::wstring(BACKUP_HEADER) + L"@=\"a\""));
}

TEST_F(ICRegistryBackupReading, QuotesThatServeTwice_LeaveNothingBetweenThem)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"a\"=\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L""}}}}), mf_read());
    mf_deleteKey();
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"=\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"", L""}}}}), mf_read());
    mf_deleteKey();
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"=\"text\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"", L"text"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, LoneBackslash_Stays_PairsCollapse)
{
    EXPECT_STREQ(L"C:\\temp", ICRegistryBackup::mf_implRevertString(L"C:\\temp"));
    EXPECT_STREQ(L"C:\\temp", ICRegistryBackup::mf_implRevertString(L"C:\\\\temp"));
    EXPECT_STREQ(L"\\\\", ICRegistryBackup::mf_implRevertString(L"\\\\\\"));
    EXPECT_STREQ(L"\\\\", ICRegistryBackup::mf_implRevertString(L"\\\\\\\\"));
    EXPECT_STREQ(L"\\a\\", ICRegistryBackup::mf_implRevertString(L"\\\\a\\"));
    EXPECT_STREQ(L"", ICRegistryBackup::mf_implRevertString(L""));
}

TEST_F(ICRegistryBackupReading, BackslashAheadOfTheLastQuote_IsNoEscape)
{
    EXPECT_EQ(NO_FAILURE, mf_restore(L"[@\\Key]\r\n\"a\"=\"b\\\"\r\n\"n\\\\m\"=\"\\n\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"b\\"}, {L"n\\\\m", L"\\n"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, FailureMidway_LeavesEarlierValuesWritten)
{
    EXPECT_EQ(CORRUPTED,
              mf_restore(L"[@\\Key]\r\n\"a\"=\"1\"\r\n[@\\Key\\b]\r\n\"c\"=\"2\"\r\n!!!\r\n\"d\"=\"3\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}, {L"b", {{L"c", L"2"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, RefusedWrite_IsThePlatformsFailure)
{
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED),
              mf_restore(L"[@\\Key]\r\n\"a\"=\"1\"\r\n\"b\"=\"2\"\r\n\"c\"=\"3\"\r\n"));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}}), mf_read());
}

TEST_F(ICRegistryBackupReading, ViewAtAnOddAddress_IsRead)
{
    std::string const bytes = "?" + (BACKUP_MARK + f_bytesOf(BACKUP_HEADER + mf_at(L"[@\\Key]\r\n\"a\"=\"1\"\r\n")));
    ICBuffer const view(bytes.data() + 1, static_cast<ulong>(bytes.size() - 1), 0);
    EXPECT_EQ(1, ICRegistryBackup::mf_restore(view));
    EXPECT_EQ((STRING_TREE{{L"", {{L"a", L"1"}}}}), mf_read());
    EXPECT_EQ(bytes.substr(1), f_bytesOf(view));
}
