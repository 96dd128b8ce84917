// Every line of the backup, as a log shows it.
#include "tests/registry/BackupTest.h"
#include "tests/support/LoggedPlace.h"

#include <algorithm>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
char const BACKUP[] = "ICRegistryBackup::mf_backup";
char const BACKUP_PATH[] = "ICRegistryBackup::mf_implBackupPath";
char const RESTORE[] = "ICRegistryBackup::mf_restore";

class ICRegistryBackupTrace : public testing::Test
{
protected:
    // The text, with "@" for the path.
    std::string mf_at(std::string const & text) const { return f_at(text, m_path); }

    void mf_write(wchar_t const * key, wchar_t const * name) const { m_registry.mf_writeText(key, name, L"text"); }

    ICTracedAction mf_backup(int skipDotKeys = 0) const { return mf_backup(m_path, skipDotKeys); }
    ICTracedAction mf_backup(CString const & path, int skipDotKeys) const
    {
        ICBuffer buffer;
        ICTracedAction const outcome =
            m_process.mf_run([&] { ICRegistryBackup::mf_backup(buffer, path, HKLM, skipDotKeys); });
        EXPECT_EQ(outcome.m_failure.has_value(), !buffer.mf_isInitialized());
        return outcome;
    }

    ICTracedAction mf_restoreBytes(std::string const & bytes) const
    {
        return m_process.mf_run([&] { ICRegistryBackup::mf_restore(f_viewOf(bytes)); });
    }

    // A line behind the header and a section.
    ICTracedAction mf_restore(std::wstring const & line) const
    {
        return mf_restoreBytes(
            BACKUP_MARK + f_bytesOf(BACKUP_HEADER + (L"[HKLM\\" + (m_registry / L"Key")) + L"]\r\n" + line + L"\r\n"));
    }

    static testing::Matcher<ICTracedAction const &> mf_isCorrupted(std::string const & text)
    {
        return f_fails(ICErrno::_E_::DataCorrupted, 'E', RESTORE, text);
    }

    // All lines about keys below KEY in which a value is no string.
    testing::Matcher<ICTracedAction const &> mf_isUnexpected(char const * tag, std::string const & text) const
    {
        return f_failsShowing(ICErrno::_E_::Unexpected, tag, mf_at(text));
    }

    testing::Matcher<ICTracedAction const &> mf_isDenied(char const * tag, std::string const & text) const
    {
        return f_failsShowing(ICErrno::_E_::Registry, DENIED, tag, mf_at(text));
    }

    ICTracedProcess const m_process;
    ICRegistrySandbox const & m_registry = m_process.mf_getRegistry();
    CString const m_path = (m_registry / L"Key").c_str();
};

} // namespace

TEST_F(ICRegistryBackupTrace, Success_TellsTheSize)
{
    mf_write(L"Key", L"a");
    EXPECT_THAT(
        mf_backup().m_records,
        Contains(f_isRecord('T', BACKUP,
                            mf_at("Successfully wrote backup 'HKLM\\@' to buffer (" +
                                  std::to_string(2 + 2 * f_expectedText(m_path.GetString()).size()) + " bytes)"))));
    EXPECT_THAT(mf_restoreBytes(BACKUP_MARK + f_bytesOf(BACKUP_HEADER)).m_records,
                ElementsAre(f_isRecord('T', RESTORE, "Successfully restored registry backup from buffer (82 bytes)")));
}

TEST_F(ICRegistryBackupTrace, BufferInUse_IsTold)
{
    ICBuffer buffer(4);
    EXPECT_THAT(m_process.mf_run([&] { ICRegistryBackup::mf_backup(buffer, m_path, HKLM, 0); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', BACKUP, "Backup data buffer is already initialized"));
}

TEST_F(ICRegistryBackupTrace, AbsentKey_IsTold)
{
    EXPECT_THAT(mf_backup(), f_fails(ICErrno::_E_::FileNotFound, 'E', BACKUP,
                                     mf_at("Registry backup root 'HKLM\\@' does not exist")));
}

TEST_F(ICRegistryBackupTrace, PathWithoutName_IsTold)
{
    mf_write(L"Key", L"a");
    ICTracedAction const outcome = mf_backup(m_path + L"\\", 1);
    EXPECT_THAT(outcome,
                f_fails(ICErrno::_E_::Internal, 'E', BACKUP_PATH, mf_at("Could not separate file from path '@\\'")));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Internal, BACKUP,
                                        mf_at("Failure backing up registry path\nPath='@\\'\n")));
}

TEST_F(ICRegistryBackupTrace, RefusedListingOfValues_IsTold)
{
    mf_write(L"Key", L"a");
    ICImportFault const denied("RegEnumValueW", DENIED);
    ICTracedAction const outcome = mf_backup();
    EXPECT_THAT(outcome, mf_isDenied(BACKUP_PATH, "Failure querying values of 'HKLM\\@':\n"));
    EXPECT_THAT(outcome, mf_isDenied(BACKUP, "Failure backing up registry path\nPath='@'\n"));
}

TEST_F(ICRegistryBackupTrace, RefusedListingOfKeys_IsTold)
{
    mf_write(L"Key", L"a");
    ICImportFault const denied("RegEnumKeyExW", DENIED);
    ICTracedAction const outcome = mf_backup();
    // Deliberate: the colon stands on the next line.
    EXPECT_THAT(outcome, mf_isDenied(BACKUP_PATH, "Failure recursing into registry path\npath='HKLM\\@'\n:    "));
    EXPECT_THAT(outcome, mf_isDenied(BACKUP, "Failure backing up registry path\nPath='@'\n"));
}

TEST_F(ICRegistryBackupTrace, ValueThatIsNoString_IsToldOnEveryLevel)
{
    mf_write(L"Key", L"a");
    m_registry.mf_writeNumber(L"Key\\x\\y", L"n", 1);
    ICTracedAction const outcome = mf_backup();
    EXPECT_THAT(outcome, mf_isUnexpected(BACKUP_PATH, "Failure appending registry values\npath='HKLM\\@\\x\\y':\n"));
    for (char const * level : {"@\\x", "@"})
        EXPECT_THAT(outcome, mf_isUnexpected(BACKUP_PATH, std::string("Failure recursing into registry path\n") +
                                                              "path='HKLM\\" + level + "'\n:    "));
    EXPECT_THAT(outcome, mf_isUnexpected(BACKUP, "Failure backing up registry path\nPath='@'\n"));
    auto const isOurs = [](ICTraceRecord const & record) { return record.m_tag.starts_with("ICRegistryBackup::"); };
    EXPECT_EQ(4, std::ranges::count_if(outcome.m_records, isOurs));
}

TEST_F(ICRegistryBackupTrace, ValueTooLong_IsTold)
{
    m_registry.mf_writeText(L"Key", L"a", f_xs(512));
    EXPECT_THAT(mf_backup(), f_failsShowing(ICErrno::_E_::Registry, ERROR_MORE_DATA, BACKUP_PATH,
                                            mf_at("Failure appending registry values\npath='HKLM\\@':\n")));
}

TEST_F(ICRegistryBackupTrace, NullNames_AreTold)
{
    mf_write(L"Key\\x", L"a");
    ICTestList names{L"x"};
    names.InsertAt(0, nullptr, 1);
    CString text;
    EXPECT_THAT(m_process.mf_trace([&] { ICRegistryBackup::mf_implAppendSubKeys(text, names, m_path, HKLM, 0); }),
                Contains(f_isRecord('E', BACKUP_PATH, "String with index=0 is NULL")));
    names.Add(nullptr);
    EXPECT_THAT(m_process.mf_run([&] { ICRegistryBackup::mf_implAppendValues(text, names, m_path, HKLM); }).m_records,
                Contains(f_isRecord('E', BACKUP_PATH, "String with index=0 is NULL")));
    EXPECT_THAT(m_process.mf_trace([&] {
        ICTestList nulls;
        nulls.InsertAt(0, nullptr, 12);
        ICRegistryBackup::mf_implAppendValues(text, nulls, m_path, HKLM);
    }),
                AllOf(Contains(f_isRecord('E', BACKUP_PATH, "String with index=11 is NULL")), testing::SizeIs(12)));
}

TEST_F(ICRegistryBackupTrace, NoMemoryForTheBuffer_IsTold)
{
    m_registry.mf_makeKey(L"Key");
    ICImportPatch const noMemory("malloc",
                                 [](std::size_t size) -> void * { return size == 82 ? nullptr : std::malloc(size); });
    EXPECT_THAT(mf_backup(),
                f_failsShowing(ICErrno::_E_::Memory, BACKUP, "Failure copying data from string to buffer:\n"));
}

// A buffer gives its memory back without fail, so the platform's call has to throw.
TEST_F(ICRegistryBackupTrace, BufferThatCannotBeDeleted_IsTold_AndTheFirstFailureStands)
{
    m_registry.mf_makeKey(L"Key");
    ICBuffer buffer;
    char bytes[4];
    ICImportPatch const fillsAndFails("malloc", [&](std::size_t size) -> void * {
        if (size != 82) return std::malloc(size);
        buffer.m_pData = bytes;
        buffer.m_ulSize = sizeof bytes;
        buffer.m_bOwned = 1;
        return nullptr;
    });
    ICImportPatch const stuck("free", [&](void * block) {
        if (block == bytes) throw ICErrno(ICErrno::_E_::Internal);
        std::free(block);
    });
    ICTracedAction const outcome = m_process.mf_run([&] { ICRegistryBackup::mf_backup(buffer, m_path, HKLM, 0); });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Memory, BACKUP, "Failure copying data from string to buffer:\n"));
    EXPECT_THAT(outcome.m_records,
                Contains(f_isRecord('E', BACKUP,
                                    f_logged("Failure deleting output buffer:\n", ICErrno(ICErrno::_E_::Internal)))));
    buffer.m_pData = nullptr;
    buffer.m_ulSize = 0;
    buffer.m_bOwned = 0;
}

TEST_F(ICRegistryBackupTrace, BufferWithoutData_IsTold)
{
    for (std::string const bytes : {"", "\xFF"})
        EXPECT_THAT(mf_restoreBytes(bytes),
                    f_fails(ICErrno::_E_::Initialization, 'E', RESTORE, "Backup data buffer is not initialized"));
}

TEST_F(ICRegistryBackupTrace, WrongBytes_AreTold)
{
    EXPECT_THAT(mf_restoreBytes("\xFF\xFEx"), mf_isCorrupted("Data length must be multiple of 2 (UCS-2LE encoded)"));
    EXPECT_THAT(mf_restoreBytes("\xFE\xFF"), mf_isCorrupted("Buffer encoding is not UCS-2LE"));
    EXPECT_THAT(mf_restoreBytes("ab"), mf_isCorrupted("Buffer encoding is not UCS-2LE"));
    EXPECT_THAT(mf_restoreBytes(std::string("\0\0", 2)),
                f_failsShowing(ICErrno::_E_::Unknown, RESTORE, "Failure analyzing buffer encoding:\n"));
}

TEST_F(ICRegistryBackupTrace, WrongHeader_IsShown)
{
    EXPECT_THAT(mf_restoreBytes("\xFF\xFE" + f_bytesOf(L"REGEDIT4\r\n")),
                mf_isCorrupted("Header identifier 'Windows Registry Editor Version 5.00' is not equal 1st line:\n"
                               "line='REGEDIT4'"));
    EXPECT_THAT(mf_restoreBytes("\xFF\xFE"),
                mf_isCorrupted("Header identifier 'Windows Registry Editor Version 5.00' is not equal 1st line:\n"
                               "line=''"));
}

TEST_F(ICRegistryBackupTrace, WrongLines_AreShown)
{
    EXPECT_THAT(mf_restore(L"a"), mf_isCorrupted("Token 'a' is shorter than 2 characters"));
    EXPECT_THAT(mf_restore(std::wstring(2, L'\0')), mf_isCorrupted("Token '' is shorter than 2 characters"));
    EXPECT_THAT(mf_restore(L"[HKLM]"), mf_isCorrupted("No delimiter found in directory token '[HKLM]'"));
    EXPECT_THAT(mf_restore(L"\"a\""), mf_isCorrupted("No equal sign found in key/value token line '\"a\"'"));
    EXPECT_THAT(mf_restore(L"\"a=b\"=\"c\""),
                mf_isCorrupted("Cannot find string delimiters in token line '\"a=b\"=\"c\"'"));
    EXPECT_THAT(mf_restore(L"\"a\"=\"b"), mf_isCorrupted("Cannot analyze token line '\"a\"=\"b'"));
}

TEST_F(ICRegistryBackupTrace, RefusedWrite_ShowsNameAndValue)
{
    ICImportFault const denied("RegSetValueExW", DENIED);
    // The value as it was to be written, with single backslashes.
    EXPECT_THAT(mf_restore(L"\"a\\\\b\"=\"c\\\\d\""),
                mf_isDenied(RESTORE, "Failure writing registry key='HKLM\\@\\a\\\\b', value='c\\d':\n"));
}

TEST_F(ICRegistryBackupTrace, WriteWithoutRoot_ShowsTheNullKey)
{
    std::string const key = f_logged("", ICRegistry::mf_getSectionKeyString(nullptr, 1));
    EXPECT_THAT(mf_restoreBytes("\xFF\xFE" + f_bytesOf(std::wstring(BACKUP_HEADER) + L"\"a\"=\"b\"")),
                f_failsShowing(ICErrno::_E_::Registry, ERROR_INVALID_HANDLE, RESTORE,
                               "Failure writing registry key='" + key + "\\\\a', value='b':\n"));
}

TEST_F(ICRegistryBackupTrace, Lines_DoNotWaitForTheRegistrysLogging)
{
    mf_write(L"Key", L"a");
    ICRegistry::m_pThis->m_isLoggingOn = 0;
    ICTracedAction const saved = mf_backup();
    ICTracedAction const failed = mf_backup(m_path + L"\\none", 0);
    ICTracedAction const restored = mf_restore(L"!!");
    EXPECT_THAT(saved.m_records, ElementsAre(f_isRecord('T', BACKUP, testing::StartsWith("Successfully"))));
    EXPECT_THAT(failed.m_records, ElementsAre(f_isRecord('E', BACKUP, testing::EndsWith("does not exist"))));
    EXPECT_THAT(restored.m_records, ElementsAre(f_isRecord('E', RESTORE, "Cannot analyze token line '!!'")));
    ICRegistry::m_pThis->m_isLoggingOn = 1;
}

// A failure's text within a line is in the language of the log, not in the user's.
TEST(ICRegistryBackupLanguage, Lines_AreInTheLoggingLanguage)
{
    ICTracedProcess const process(L"German");
    CString const path = (process.mf_getRegistry() / L"Key").c_str();
    process.mf_getRegistry().mf_writeNumber(L"Key", L"n", 1);
    ICBuffer buffer;
    EXPECT_THAT(
        process.mf_run([&] { ICRegistryBackup::mf_backup(buffer, path, HKLM, 0); }),
        f_failsShowing(ICErrno::_E_::Unexpected, BACKUP, f_at("Failure backing up registry path\nPath='@'\n", path)));
}
