// Creating and deleting keys.
#include "hsmbase/registry/internal/ICRegistryKey.h"
#include "tests/registry/RegistryTest.h"

namespace
{

using ICRegistryCreation = ICRegistryFixture;
using ICRegistryKeyDeletion = ICRegistryFixture;

} // namespace

TEST_F(ICRegistryCreation, NewKey_AppearsWithAllMissingLevels)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICRegistry::mf_create(L"New", m_path + L"\\a\\b", HKLM);
        EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\a\\b\\New"));
    });
}

TEST_F(ICRegistryCreation, ExistingKey_SucceedsAndStaysAsItIs)
{
    m_sandbox.mf_writeNumber(L"Key\\There", L"Number", 5);
    m_sandbox.mf_makeKey(L"Key\\There\\Sub");
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICRegistry::mf_create(L"There", m_path, HKLM);
    });
    EXPECT_TRUE(m_sandbox.mf_read(L"Key\\There", L"Number").has_value());
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\There\\Sub"));
}

TEST_F(ICRegistryCreation, EmptyName_IsRefusedBeforeTheRegistryIsTouched)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Parameter),
                  f_failureOf([&] { ICRegistry::mf_create(L"", m_path, HKLM); }));
        EXPECT_TRUE(account.m_calls.empty());
    });
}

TEST_F(ICRegistryCreation, EmptyPath_IsThisProgramsSubtree)
{
    ICRegistry::mf_create(L"New", L"", HKLM);
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"registry_tests\\New"));
}

TEST_F(ICRegistryCreation, WithoutInstance_TheTextIsAKeyLikeAnyOther)
{
    ICRegistry::mf_deleteInstance();
    ICRegistryKey root;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegOpenKeyExW(HKLM, m_sandbox.mf_getPath().c_str(), 0, KEY_ALL_ACCESS, root.mf_receive()));
    ICRegistry::mf_create(L"New", L"", root.mf_get());
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"<Instance not initialized>\\New"));
    EXPECT_EQ(1, ICRegistry::mf_delete(L"New", L"", root.mf_get()));
    ICRegistry::mf_createInstance(m_sandbox.mf_getPath().c_str());
}

TEST_F(ICRegistryCreation, PathAndName_HaveOneBackslashBetweenThem)
{
    ICKeyAccount const account;
    ICRegistry::mf_create(L"\\New", m_path + L"\\", HKLM);
    ICRegistry::mf_create(L"a\\b", m_path, HKLM);
    ASSERT_EQ(2u, account.m_calls.size());
    EXPECT_EQ(m_sandbox / L"Key\\New", account.m_calls[0].m_path);
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\a\\b"));
    for (auto const & call : account.m_calls) {
        EXPECT_TRUE(call.m_creates);
        EXPECT_EQ(REGSAM{KEY_SET_VALUE}, call.m_access);
    }
}

TEST_F(ICRegistryCreation, FailedStep_IsThrown)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICImportFault const denied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED),
                  f_failureOf([&] { ICRegistry::mf_create(L"New", m_path, HKLM); }));
    });
    EXPECT_FALSE(m_sandbox.mf_hasKey(L"Key"));
}

TEST_F(ICRegistryCreation, FailedClose_IsThrownAndTheKeyIsThere)
{
    f_silentAndLogging([&] {
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE),
                  f_failureOf([&] { ICRegistry::mf_create(L"New", m_path, HKLM); }));
        EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\New"));
    });
}

TEST_F(ICRegistryKeyDeletion, Key_GoesWithItsValues)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        m_sandbox.mf_writeNumber(L"Key\\Gone", L"Number", 5);
        m_sandbox.mf_makeKey(L"Key\\Kept");
        EXPECT_EQ(1, ICRegistry::mf_delete(L"Gone", m_path, HKLM));
        EXPECT_FALSE(m_sandbox.mf_hasKey(L"Key\\Gone"));
        EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\Kept"));
        ASSERT_EQ(1u, account.m_calls.size());
        EXPECT_EQ(m_path.GetString(), account.m_calls[0].m_path);
        EXPECT_EQ(REGSAM{KEY_SET_VALUE}, account.m_calls[0].m_access);
        EXPECT_FALSE(account.m_calls[0].m_creates);
    });
}

TEST_F(ICRegistryKeyDeletion, KeyWithSubkeys_IsThrownAndStays)
{
    m_sandbox.mf_writeNumber(L"Key\\Full\\Sub", L"Number", 5);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED),
                  f_failureOf([&] { ICRegistry::mf_delete(L"Full", m_path, HKLM); }));
    });
    EXPECT_TRUE(m_sandbox.mf_read(L"Key\\Full\\Sub", L"Number").has_value());
}

TEST_F(ICRegistryKeyDeletion, AbsentKeyOrParent_AnswersZero)
{
    m_sandbox.mf_makeKey(KEY);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(0, ICRegistry::mf_delete(L"None", m_path, HKLM));
        EXPECT_EQ(0, ICRegistry::mf_delete(L"None", m_path + L"\\Sub", HKLM));
        EXPECT_EQ(0, ICRegistry::mf_delete(L"None", m_path + L"\\Sub\\Sub", HKLM));
        EXPECT_EQ(0, ICRegistry::mf_delete(L"None", L"", HKLM));
        EXPECT_FALSE(m_sandbox.mf_hasKey(L"Key\\Sub"));
    });
}

TEST_F(ICRegistryKeyDeletion, PathNotFound_IsAbsentToo)
{
    m_sandbox.mf_makeKey(L"Key\\There");
    for (char const * import : {"RegOpenKeyExW", "RegDeleteKeyW"}) {
        ICKeyAccount const account;
        ICImportFault const absent(import, ERROR_PATH_NOT_FOUND);
        EXPECT_EQ(0, ICRegistry::mf_delete(L"There", m_path, HKLM)) << import;
    }
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\There"));
}

TEST_F(ICRegistryKeyDeletion, EmptyName_IsRefusedAndTheParentStays)
{
    m_sandbox.mf_makeKey(KEY);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Parameter),
                  f_failureOf([&] { ICRegistry::mf_delete(L"", m_path, HKLM); }));
        EXPECT_TRUE(account.m_calls.empty());
        EXPECT_TRUE(m_sandbox.mf_hasKey(KEY));
    });
}

TEST_F(ICRegistryKeyDeletion, EmptyPath_IsThisProgramsSubtree)
{
    m_sandbox.mf_makeKey(L"registry_tests\\Gone");
    EXPECT_EQ(1, ICRegistry::mf_delete(L"Gone", L"", HKLM));
    EXPECT_FALSE(m_sandbox.mf_hasKey(L"registry_tests\\Gone"));
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"registry_tests"));
}

TEST_F(ICRegistryKeyDeletion, FailedStep_IsThrown)
{
    m_sandbox.mf_makeKey(L"Key\\There");
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        for (char const * import : {"RegOpenKeyExW", "RegDeleteKeyW"}) {
            ICImportFault const denied(import, ERROR_NOT_ENOUGH_MEMORY);
            EXPECT_EQ(f_registryFailure(ERROR_NOT_ENOUGH_MEMORY),
                      f_failureOf([&] { ICRegistry::mf_delete(L"There", m_path, HKLM); }))
                << import;
        }
    });
    EXPECT_TRUE(m_sandbox.mf_hasKey(L"Key\\There"));
}

TEST_F(ICRegistryKeyDeletion, ParentThatGoesMeanwhile_IsThrown)
{
    m_sandbox.mf_makeKey(KEY);
    ICKeyAccount const account;
    ICImportPatch const vanishes(IC_IMPORT(RegDeleteKeyW), [&](HKEY parent, LPCWSTR name) {
        ::RegDeleteKeyW(HKLM, m_path);
        return ::RegDeleteKeyW(parent, name);
    });
    EXPECT_EQ(f_registryFailure(ERROR_KEY_DELETED),
              f_failureOf([&] { ICRegistry::mf_delete(L"There", m_path, HKLM); }));
}

TEST_F(ICRegistryKeyDeletion, FailedClose_IsThrownWhenItIsTheOnlyFailure)
{
    f_silentAndLogging([&] {
        m_sandbox.mf_makeKey(L"Key\\Gone");
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        auto const deletion = [&] { ICRegistry::mf_delete(L"Gone", m_path, HKLM); };
        {
            ICImportFault const denied("RegDeleteKeyW", ERROR_ACCESS_DENIED);
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), f_failureOf(deletion));
        }
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), f_failureOf(deletion));
        EXPECT_FALSE(m_sandbox.mf_hasKey(L"Key\\Gone"));
        // The key is not there any more, which is no failure that could come first.
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), f_failureOf(deletion));
    });
}
