// Whether values and keys are there, and the removal of values.
#include "tests/registry/RegistryTest.h"

using namespace std::string_view_literals;

namespace
{

using ICRegistryPresence = ICRegistryFixture;
using ICRegistryDeletion = ICRegistryFixture;

} // namespace

TEST_F(ICRegistryPresence, Value)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    EXPECT_EQ(1, ICRegistry::mf_exists(L"Number", m_path, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_exists(L"NUMBER", m_path, HKLM));
    EXPECT_EQ(0, ICRegistry::mf_exists(L"None", m_path, HKLM));
    EXPECT_EQ(0, ICRegistry::mf_exists(L"Number", m_path + L"\\Sub", HKLM));
    EXPECT_EQ(0, ICRegistry::mf_exists(L"Number", m_path + L"\\Sub\\Sub", HKLM));
}

TEST_F(ICRegistryPresence, ValueOfAnyTypeAndSize)
{
    mf_write(L"Big", REG_BINARY, std::wstring(100000, L'x'));
    mf_write(L"Strange", 4711, L""sv);
    EXPECT_EQ(1, ICRegistry::mf_exists(L"Big", m_path, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_exists(L"Strange", m_path, HKLM));
}

TEST_F(ICRegistryPresence, DefaultValue)
{
    m_sandbox.mf_makeKey(KEY);
    EXPECT_EQ(0, ICRegistry::mf_exists(L"", m_path, HKLM));
    m_sandbox.mf_writeText(KEY, L"", L"");
    EXPECT_EQ(1, ICRegistry::mf_exists(L"", m_path, HKLM));
}

TEST_F(ICRegistryPresence, Value_PathNotFound_IsAbsentToo)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    ICImportFault const absent("RegOpenKeyExW", ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(0, ICRegistry::mf_exists(L"Number", m_path, HKLM));
    EXPECT_EQ(0, ICRegistry::mf_PathExists(m_path, HKLM));
    EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"Number", m_path, HKLM));
}

TEST_F(ICRegistryPresence, Value_ThatCannotBeQueried_IsAbsent)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    ICKeyAccount const account;
    ICImportFault const denied("RegQueryValueExW", ERROR_ACCESS_DENIED);
    EXPECT_EQ(0, ICRegistry::mf_exists(L"Number", m_path, HKLM));
}

TEST_F(ICRegistryPresence, KeyThatCannotBeOpened_IsThrown)
{
    f_silentAndLogging([&] {
        ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED),
                  f_failureOf([&] { ICRegistry::mf_exists(L"Number", m_path, HKLM); }));
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED),
                  f_failureOf([&] { ICRegistry::mf_PathExists(m_path, HKLM); }));
    });
}

TEST_F(ICRegistryPresence, FailedClose_IsThrown)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    f_silentAndLogging([&] {
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        for (wchar_t const * name : {L"Number", L"None"})
            EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE),
                      f_failureOf([&] { ICRegistry::mf_exists(name, m_path, HKLM); }));
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE),
                  f_failureOf([&] { ICRegistry::mf_PathExists(m_path, HKLM); }));
    });
}

TEST_F(ICRegistryPresence, Path_IsTakenVerbatim)
{
    m_sandbox.mf_makeKey(KEY);
    EXPECT_EQ(1, ICRegistry::mf_PathExists(m_path, HKLM));
    EXPECT_EQ(0, ICRegistry::mf_PathExists(m_path + L"\\Sub", HKLM));
    EXPECT_EQ(0, ICRegistry::mf_PathExists(m_path + L"\\Sub\\Sub", HKLM));
    // Empty: the root key itself, not this program's subtree, which is not there.
    EXPECT_EQ(1, ICRegistry::mf_PathExists(L"", HKLM));
    EXPECT_FALSE(m_sandbox.mf_hasKey(L"registry_tests"));
}

TEST_F(ICRegistryPresence, OpensForQueriesOnlyAndCloses)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    ICKeyAccount const account;
    ICRegistry::mf_exists(L"Number", m_path, HKLM);
    ICRegistry::mf_PathExists(m_path, HKLM);
    ASSERT_EQ(2u, account.m_calls.size());
    for (auto const & call : account.m_calls)
        EXPECT_EQ(REGSAM{KEY_QUERY_VALUE}, call.m_access);
}

TEST_F(ICRegistryDeletion, Value)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        m_sandbox.mf_writeNumber(KEY, L"Number", 5);
        m_sandbox.mf_writeNumber(KEY, L"Other", 5);
        EXPECT_EQ(1, ICRegistry::mf_deleteValue(L"Number", m_path, HKLM));
        EXPECT_FALSE(m_sandbox.mf_read(KEY, L"Number").has_value());
        EXPECT_TRUE(m_sandbox.mf_read(KEY, L"Other").has_value());
        ASSERT_EQ(1u, account.m_calls.size());
        EXPECT_EQ(REGSAM{KEY_SET_VALUE}, account.m_calls[0].m_access);
        EXPECT_FALSE(account.m_calls[0].m_creates);
    });
}

TEST_F(ICRegistryDeletion, DefaultValue)
{
    m_sandbox.mf_writeNumber(KEY, L"", 5);
    EXPECT_EQ(1, ICRegistry::mf_deleteValue(L"", m_path, HKLM));
    EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"", m_path, HKLM));
}

TEST_F(ICRegistryDeletion, AbsentValueOrKey_AnswersZero)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        m_sandbox.mf_makeKey(KEY);
        EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"None", m_path, HKLM));
        EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"None", m_path + L"\\Sub", HKLM));
        EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"None", L"", HKLM));
        EXPECT_FALSE(m_sandbox.mf_hasKey(L"Key\\Sub"));
    });
}

TEST_F(ICRegistryDeletion, FailedSteps)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    auto const deletion = [&] { ICRegistry::mf_deleteValue(L"Number", m_path, HKLM); };
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        for (char const * import : {"RegOpenKeyExW", "RegDeleteValueW"}) {
            ICImportFault const denied(import, ERROR_ACCESS_DENIED);
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), f_failureOf(deletion)) << import;
        }
    });
    EXPECT_TRUE(m_sandbox.mf_read(KEY, L"Number").has_value());
}

TEST_F(ICRegistryDeletion, FailedClose_IsThrownWhenItIsTheOnlyOne)
{
    f_silentAndLogging([&] {
        m_sandbox.mf_writeNumber(KEY, L"Number", 5);
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        auto const deletion = [&] { ICRegistry::mf_deleteValue(L"Number", m_path, HKLM); };
        {
            ICImportFault const denied("RegDeleteValueW", ERROR_ACCESS_DENIED);
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), f_failureOf(deletion));
        }
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), f_failureOf(deletion));
        EXPECT_FALSE(m_sandbox.mf_read(KEY, L"Number").has_value());
        // The value is not there any more, which is no failure that could come first.
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), f_failureOf(deletion));
    });
}

TEST_F(ICRegistryDeletion, AbsentValueInAKeyThatIsGoneMeanwhile_AnswersZero)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    ICImportFault const absent("RegDeleteValueW", ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"Number", m_path, HKLM));
}
