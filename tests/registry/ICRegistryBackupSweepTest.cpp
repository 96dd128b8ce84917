// Each call of the platform fails once, and the tree changes while it is walked.
#include "tests/registry/BackupTest.h"
#include "tests/support/ICImportSweep.h"

namespace
{

STRING_TREE const TREE = {{L"", {{L"a", L"1"}, {L"b", L"C:\\2"}}},
                          {L"x", {{L"c", L"3"}}},
                          {L"x\\y", {}},
                          {L"x\\y\\z", {{L"d", L"4"}, {L"e", L""}}}};

// Does something when the library opens a key of the given name for the n-th time.
class ICOnOpening
{
public:
    ICOnOpening(std::wstring const & name, int number, std::function<void()> act)
        : m_patch(IC_IMPORT(RegOpenKeyExW), [this, end = L"\\" + name, number, act = std::move(act)](
                                                HKEY root, LPCWSTR path, DWORD options, REGSAM access, PHKEY key) {
              if (std::wstring_view(path).ends_with(end) && ++m_count == number) act();
              return ::RegOpenKeyExW(root, path, options, access, key);
          })
    {}
    ICOnOpening(ICOnOpening const &) = delete;
    ICOnOpening & operator=(ICOnOpening const &) = delete;

    int mf_getCount() const { return m_count; }

private:
    int m_count = 0;
    ICImportPatch const m_patch;
};

class ICRegistryBackupSweep : public ICBackupFixture
{
protected:
    ICRegistryBackupSweep() { mf_write(TREE); }

    void mf_delete(std::wstring const & key) const
    {
        EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKLM, (m_path + L"\\" + key.c_str()).GetString()));
    }
    void mf_deleteValue(std::wstring const & key, wchar_t const * name) const
    {
        CString const path = m_path + L"\\" + key.c_str();
        EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteKeyValueW(HKLM, path, name));
    }
};

} // namespace

TEST_F(ICRegistryBackupSweep, Backup_EachCallFailsOnce_TheBufferIsEmptyThen)
{
    std::string const whole = BACKUP_MARK + f_bytesOf(f_expectedText(m_path.GetString()));
    ICBuffer buffer;
    ICImportSweep sweep("mf_backup", [&] { ICRegistryBackup::mf_backup(buffer, m_path, HKLM, 1); });
    sweep.m_prepare = [&] { buffer.mf_delete(); };
    sweep.m_check = [&](ICSweepRun const & run) -> std::string {
        if (run.m_end == ICSweepRun::FAILED) return buffer.mf_isInitialized() ? "the buffer isn't empty" : "";
        return f_bytesOf(buffer) == whole ? "" : "the backup isn't whole";
    };
    // Two lists of each of four keys, and five values, each with an opening and a closing.
    EXPECT_LT(8u * 3 + 5u * 3, sweep.mf_run());
}

TEST_F(ICRegistryBackupSweep, Restore_EachCallFailsOnce_EarlierValuesStay)
{
    STRING_TREE const whole = f_withoutEmptyKeys(mf_read());
    std::string const bytes = BACKUP_MARK + f_bytesOf(mf_backup());
    ICImportSweep sweep("mf_restore", [&] { ICRegistryBackup::mf_restore(f_viewOf(bytes)); });
    sweep.m_prepare = [&] { mf_deleteKey(); };
    sweep.m_check = [&](ICSweepRun const & run) -> std::string {
        // A value needs three calls, one of each kind, and is there if it was written ahead of the failing one, or if
        // only its key's closing failed.
        ulong const expected = run.m_end == ICSweepRun::RETURNED ? 5
                               : run.m_import == "RegCloseKey"   ? run.m_call
                                                                 : run.m_call - 1;
        ulong values = 0;
        for (auto const & [path, key] : mf_read())
            for (auto const & [name, text] : key)
                if (++values; whole.at(path).at(name) != text) return "another value";
        return values == expected ? "" : std::to_string(values) + " values for " + std::to_string(expected);
    };
    EXPECT_EQ(15u, sweep.mf_run());
}

TEST_F(ICRegistryBackupSweep, RootThatVanishes_IsThePlatformsFailure)
{
    // It is looked for, and then opened for its values.
    ICOnOpening const vanishes(KEY, 2, [&] { mf_deleteKey(); });
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), mf_failureOfBackup());
}

TEST_F(ICRegistryBackupSweep, SubKeyThatVanishes_IsThePlatformsFailure)
{
    ICOnOpening const vanishes(L"x", 1, [&] { mf_delete(L"x"); });
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), mf_failureOfBackup());
    EXPECT_EQ(1, vanishes.mf_getCount());
}

TEST_F(ICRegistryBackupSweep, KeyThatVanishesBehindItsValues_IsThePlatformsFailure)
{
    // Opened for the list of values, for the one value, and then for the list of keys.
    ICOnOpening const vanishes(L"x", 3, [&] { mf_delete(L"x"); });
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), mf_failureOfBackup());
    EXPECT_EQ(3, vanishes.mf_getCount());
}

TEST_F(ICRegistryBackupSweep, ValueThatVanishes_IsThePlatformsFailure)
{
    ICOnOpening const vanishes(L"z", 2, [&] { mf_deleteValue(L"x\\y\\z", L"e"); });
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), mf_failureOfBackup());
}

TEST_F(ICRegistryBackupSweep, KeyDeletedWhileItIsListed_IsThePlatformsFailure)
{
    for (char const * import : {"RegEnumValueW", "RegEnumKeyExW"}) {
        mf_write(TREE);
        ICImportFault const deleted(import, ERROR_KEY_DELETED, ICCalls::mf_from(2));
        EXPECT_EQ(f_registryFailure(ERROR_KEY_DELETED), mf_failureOfBackup()) << import;
    }
}

TEST_F(ICRegistryBackupSweep, ValueThatBecomesANumber_FailsTheWhole)
{
    ICOnOpening const changes(L"z", 2, [&] { m_sandbox.mf_writeNumber(L"Key\\x\\y\\z", L"e", 1); });
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unexpected), mf_failureOfBackup());
}

TEST_F(ICRegistryBackupSweep, ValueThatAppears_IsLeftOut_KeyAheadIsTaken)
{
    ICOnOpening const appears(L"z", 2, [&] {
        m_sandbox.mf_writeText(L"Key\\x\\y\\z", L"f", L"5");
        m_sandbox.mf_writeText(L"Key\\x\\y\\z\\new", L"g", L"6");
    });
    std::wstring const text = mf_backup();
    EXPECT_EQ(text.npos, text.find(L"\"f\"=\"5\""));
    EXPECT_NE(text.npos, text.find(L"\"g\"=\"6\""));
}
