// The instance and the naming of keys.
#include "hsmbase/registry/ICRegistry.h"

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/registry/RegistryTest.h"

namespace
{

class ICInstance
{
public:
    explicit ICInstance(wchar_t const * root) { ICRegistry::mf_createInstance(root); }
    ICInstance(ICInstance const &) = delete;
    ICInstance & operator=(ICInstance const &) = delete;
    ~ICInstance() { ICRegistry::mf_deleteInstance(); }
};

// Gives the process another name for a while.
class ICProcessName
{
public:
    explicit ICProcessName(wchar_t const * name) : m_before(ICProcessInfo::mf_getName())
    {
        ICProcessInfo::m_sName = name;
    }
    ICProcessName(ICProcessName const &) = delete;
    ICProcessName & operator=(ICProcessName const &) = delete;
    ~ICProcessName() { ICProcessInfo::m_sName = m_before; }

private:
    CString const m_before;
};

using ICRegistryNaming = ICRegistryFixture;

wchar_t const NOT_INITIALIZED[] = L"<Instance not initialized>";

} // namespace

TEST(ICRegistry, CreateInstance_Twice_FailsAndKeepsTheFirst)
{
    ICInstance const first(L"First");
    f_silentAndLogging([] {
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::AlreadyInitialized),
                  f_failureOf([] { ICRegistry::mf_createInstance(L"Second"); }));
        EXPECT_STREQ(L"First", ICRegistry::mf_getRegistryRoot(L"").GetString());
    });
}

TEST(ICRegistry, CreateInstance_WithoutMemory_FailsAndCanBeRepeated)
{
    {
        ICImportPatch const noMemory("_ZnwyRKSt9nothrow_t",
                                     [](std::size_t, std::nothrow_t const &) -> void * { return nullptr; });
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Memory), f_failureOf([] { ICRegistry::mf_createInstance(L"Root"); }));
    }
    EXPECT_EQ(nullptr, ICRegistry::m_pThis);
    ICInstance const instance(L"Root");
    EXPECT_NE(nullptr, ICRegistry::m_pThis);
}

TEST(ICRegistry, DeleteInstance_Twice_IsHarmless)
{
    ICRegistry::mf_createInstance(L"Root");
    ICRegistry::mf_deleteInstance();
    ICRegistry::mf_deleteInstance();
    EXPECT_EQ(nullptr, ICRegistry::m_pThis);
}

TEST(ICRegistry, ActivateLogging_WithAnyArgument_OnlySets)
{
    ICInstance const instance(L"Root");
    EXPECT_EQ(0, ICRegistry::mf_implIsLoggingOn());
    ICRegistry::mf_activateLogging(0);
    EXPECT_EQ(1, ICRegistry::mf_implIsLoggingOn());
    ICRegistry::mf_activateLogging(0);
    EXPECT_EQ(1, ICRegistry::mf_implIsLoggingOn());
}

TEST(ICRegistry, ActivateLogging_WithoutInstance_DoesNothingAndANewOneIsSilent)
{
    ICRegistry::mf_activateLogging(1);
    EXPECT_EQ(0, ICRegistry::mf_implIsLoggingOn());
    ICInstance const instance(L"Root");
    EXPECT_EQ(0, ICRegistry::mf_implIsLoggingOn());
}

TEST(ICRegistry, GetRegistryRoot_KeepsTheRootVerbatim)
{
    ICInstance const instance(L"SoftWare\\Tests\\");
    EXPECT_STREQ(L"SoftWare\\Tests\\", ICRegistry::mf_getRegistryRoot(L"").GetString());
    EXPECT_STREQ(L"SoftWare\\Tests\\Sub", ICRegistry::mf_getRegistryRoot(L"Sub").GetString());
    EXPECT_STREQ(L"SoftWare\\Tests\\Sub", ICRegistry::mf_getRegistryRoot(L"\\Sub").GetString());
}

TEST(ICRegistry, GetRegistryPath_HasTheProcessNameInLowerCase)
{
    ICInstance const instance(L"Root");
    ICProcessName const name(L"HsmScan");
    EXPECT_STREQ(L"Root\\hsmscan", ICRegistry::mf_getRegistryPath(L"").GetString());
    EXPECT_STREQ(L"Root\\hsmscan\\Sub", ICRegistry::mf_getRegistryPath(L"Sub").GetString());
    EXPECT_STREQ(L"HsmScan", ICProcessInfo::mf_getName().GetString());
}

TEST(ICRegistry, GetRegistryPath_OfThisProgram)
{
    ICInstance const instance(L"Root");
    EXPECT_STREQ(L"Root\\registry_tests", ICRegistry::mf_getRegistryPath(L"").GetString());
}

TEST(ICRegistry, Naming_WithoutInstance_AnswersTheLiteral)
{
    EXPECT_STREQ(NOT_INITIALIZED, ICRegistry::mf_getRegistryRoot(L"").GetString());
    EXPECT_STREQ(NOT_INITIALIZED, ICRegistry::mf_getRegistryRoot(L"Sub").GetString());
    EXPECT_STREQ(NOT_INITIALIZED, ICRegistry::mf_getRegistryPath(L"").GetString());
    EXPECT_STREQ(NOT_INITIALIZED, ICRegistry::mf_getRegistryPath(L"Sub").GetString());
}

TEST(ICRegistry, Values_WithoutInstance_LieInAKeyOfThatName)
{
    ulong value = 7;
    EXPECT_EQ(0, ICRegistry::mf_exists(L"Number", L"", HKEY_CURRENT_USER));
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND),
              f_failureOf([&] { ICRegistry::mf_getValue(L"Number", value, L"", HKEY_CURRENT_USER); }));
    ICRegistry::mf_setValue(L"Number", 5ul, L"", HKEY_CURRENT_USER);
    ICRegistry::mf_getValue(L"Number", value, NOT_INITIALIZED, HKEY_CURRENT_USER);
    EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteKeyW(HKEY_CURRENT_USER, NOT_INITIALIZED));
    EXPECT_EQ(5u, value);
}

TEST(ICRegistry, SectionKeyFromString_MindsTheCase)
{
    EXPECT_EQ(HKEY_LOCAL_MACHINE, ICRegistry::mf_getSectionKeyFromString(L"HKLM"));
    EXPECT_EQ(HKEY_LOCAL_MACHINE, ICRegistry::mf_getSectionKeyFromString(L"HKEY_LOCAL_MACHINE"));
    EXPECT_EQ(HKEY_CURRENT_USER, ICRegistry::mf_getSectionKeyFromString(L"HKCU"));
    EXPECT_EQ(HKEY_CURRENT_USER, ICRegistry::mf_getSectionKeyFromString(L"HKEY_CURRENT_USER"));
    for (wchar_t const * other : {L"", L"hklm", L"HKLM ", L"HKEY_CLASSES_ROOT", L"HKEY_LOCAL_MACHINE\\Software"})
        EXPECT_EQ(nullptr, ICRegistry::mf_getSectionKeyFromString(other));
}

TEST(ICRegistry, SectionKeyString_HasAShortAndALongForm)
{
    EXPECT_STREQ(L"HKLM", ICRegistry::mf_getSectionKeyString(HKEY_LOCAL_MACHINE, 1).GetString());
    EXPECT_STREQ(L"HKEY_LOCAL_MACHINE", ICRegistry::mf_getSectionKeyString(HKEY_LOCAL_MACHINE, 0).GetString());
    EXPECT_STREQ(L"HKCU", ICRegistry::mf_getSectionKeyString(HKEY_CURRENT_USER, -1).GetString());
    EXPECT_STREQ(L"HKEY_CURRENT_USER", ICRegistry::mf_getSectionKeyString(HKEY_CURRENT_USER, 0).GetString());
}

TEST(ICRegistry, SectionKeyString_OfAnotherKey_ShowsTheHandle)
{
    for (int shortForm : {0, 1}) {
        EXPECT_STREQ(L"<Unexpected key=0x0000000000000000>",
                     ICRegistry::mf_getSectionKeyString(nullptr, shortForm).GetString());
        EXPECT_STREQ(L"<Unexpected key=0xFFFFFFFF80000003>",
                     ICRegistry::mf_getSectionKeyString(HKEY_USERS, shortForm).GetString());
    }
}

TEST_F(ICRegistryNaming, EmptyPath_IsThisProgramsSubtree)
{
    ICRegistry::mf_setValue(L"Number", 5ul, L"", HKLM);
    EXPECT_TRUE(m_sandbox.mf_read(L"registry_tests", L"Number").has_value());
    ulong value = 0;
    ICRegistry::mf_getValue(L"Number", value, L"", HKLM);
    EXPECT_EQ(5u, value);
    EXPECT_EQ(1, ICRegistry::mf_exists(L"Number", L"", HKLM));
    EXPECT_EQ(1, ICRegistry::mf_deleteValue(L"Number", L"", HKLM));
    EXPECT_FALSE(m_sandbox.mf_read(L"registry_tests", L"Number").has_value());
}

TEST_F(ICRegistryNaming, EmptyPath_OfALoneWriting_IsThisProgramsSubtree)
{
    ICTestList const list{L"a"};
    ICRegistry::mf_setValues(L"List", list, L"", HKLM);
    ICRegistry::mf_setValue(L"Text", L"b", L"", 0, HKLM);
    ICRegistry::mf_setValue(L"Size", ICFileSize(1), L"", HKLM);
    for (wchar_t const * name : {L"List", L"Text", L"Size"})
        EXPECT_TRUE(m_sandbox.mf_read(L"registry_tests", name).has_value());
}

TEST_F(ICRegistryNaming, NonEmptyPath_IsTakenVerbatim)
{
    ICRegistry::mf_setValue(L"Number", 5ul, m_path, HKLM);
    EXPECT_TRUE(m_sandbox.mf_read(KEY, L"Number").has_value());
    EXPECT_FALSE(m_sandbox.mf_hasKey(L"registry_tests"));
}

TEST_F(ICRegistryNaming, CurrentUser_IsASectionOfItsOwn)
{
    ICRegistry::mf_setValue(L"Number", 5ul, m_path, HKEY_CURRENT_USER);
    EXPECT_EQ(1, ICRegistry::mf_exists(L"Number", m_path, HKEY_CURRENT_USER));
    EXPECT_EQ(0, ICRegistry::mf_exists(L"Number", m_path, HKLM));
    EXPECT_EQ(ERROR_SUCCESS, ::RegDeleteTreeW(HKEY_CURRENT_USER, m_sandbox.mf_getPath().c_str()));
    ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\hsmbase-tests");
}
