#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{
struct ROW
{
    unsigned short id;
    wchar_t const * name;
    unsigned int nameResource;
    wchar_t const * library;
    int requiresUCS2;
    int printsDoubleWidthChars;
};

constexpr ROW ROWS[] = {
    {1029, L"Czech", 3832, L"tnwlangcsy.dll", 0, 0},     {1033, L"English", 3833, L"tnwlangenu.dll", 0, 0},
    {1036, L"French", 3835, L"tnwlangfra.dll", 0, 0},    {1031, L"German", 3836, L"tnwlangdeu.dll", 0, 0},
    {1038, L"Hungarian", 3837, L"tnwlanghun.dll", 0, 0}, {1040, L"Italian", 3838, L"tnwlangita.dll", 0, 0},
    {1041, L"Japanese", 3839, L"tnwlangjpn.dll", 1, 1},  {1042, L"Korean", 3840, L"tnwlangkor.dll", 1, 1},
    {1045, L"Polish", 3841, L"tnwlangplk.dll", 0, 0},    {1046, L"Portuguese", 3842, L"tnwlangptb.dll", 0, 0},
    {1049, L"Russian", 3843, L"tnwlangrus.dll", 1, 0},   {2052, L"Simplified Chinese", 3844, L"tnwlangchs.dll", 1, 1},
    {3082, L"Spanish", 3845, L"tnwlangesp.dll", 0, 0},   {1028, L"Traditional Chinese", 3846, L"tnwlangcht.dll", 1, 1},
};

constexpr unsigned short ENGLISH_ID = 1033;
constexpr unsigned short GERMAN_ID = 1031;
constexpr unsigned short POLISH_ID = 1045;

using IDS = std::vector<unsigned short>;

IDS f_asList(unsigned short const * ids)
{
    IDS list;
    for (; *ids != 0; ++ids)
        list.push_back(*ids);
    return list;
}

IDS f_getInstalled()
{
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    return f_asList(ICLanguage::mf_getInstalledLanguageIds(ids));
}

// The program runs elsewhere while the object lives.
class CurrentDirectory
{
public:
    explicit CurrentDirectory(std::wstring const & path)
    {
        ::GetCurrentDirectoryW(MAX_PATH, m_before);
        ::SetCurrentDirectoryW(path.c_str());
    }
    CurrentDirectory(CurrentDirectory const &) = delete;
    CurrentDirectory & operator=(CurrentDirectory const &) = delete;
    ~CurrentDirectory() { ::SetCurrentDirectoryW(m_before); }

private:
    wchar_t m_before[MAX_PATH] = {};
};
} // namespace

// The list of languages.

TEST(ICLanguageTable, AllIds_StandInTheOrderOfTheEnglishNames)
{
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    EXPECT_EQ(ids, ICLanguage::mf_getAllLanguageIds(ids));
    IDS expected;
    for (ROW const & row : ROWS)
        expected.push_back(row.id);
    EXPECT_EQ(expected, f_asList(ids));
    EXPECT_EQ(0, ids[14]);
}

TEST(ICLanguageTable, EveryRow_IsFoundByIdAndByName)
{
    ICStartedProcess const process;
    for (ROW const & row : ROWS) {
        SCOPED_TRACE(row.id);
        EXPECT_EQ(row.id, ICLanguage::mf_getLanguageId(row.name));
        EXPECT_STREQ(row.name, ICLanguage::mf_getLanguageName(row.id, 0));
        EXPECT_STREQ(CString(ICString(row.nameResource)), ICLanguage::mf_getLanguageName(row.id, 1));
        EXPECT_STREQ(row.library, ICLanguage::mf_getLibraryName(row.id));
        EXPECT_EQ(1, ICLanguage::mf_isLanguageDefined(row.id));
        EXPECT_EQ(row.requiresUCS2, ICLanguage::mf_requiresUCS2(row.id));
        EXPECT_EQ(row.printsDoubleWidthChars, ICLanguage::mf_printsDoubleWidthChars(row.id));
    }
}

TEST(ICLanguageTable, UnknownIds_AreAnsweredByEachOperationInItsOwnWay)
{
    ICStartedProcess const process;
    for (unsigned short const id : IDS{0, 9, 1030, 9999, 65535}) {
        SCOPED_TRACE(id);
        EXPECT_STREQ(L"<UNKNOWN>", ICLanguage::mf_getLanguageName(id, 0));
        EXPECT_STREQ(L"<UNKNOWN>", ICLanguage::mf_getLanguageName(id, 1));
        EXPECT_STREQ(L"<UNKNOWN>", ICLanguage::mf_getLibraryName(id));
        EXPECT_EQ(0, ICLanguage::mf_isLanguageDefined(id));
        EXPECT_EQ(0, ICLanguage::mf_isLanguageInstalled(id));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [id] { ICLanguage::mf_requiresUCS2(id); }));
        EXPECT_EQ(0, ICLanguage::mf_printsDoubleWidthChars(id));
    }
}

TEST(ICLanguageTable, IdOfAName_ComparesExactly)
{
    for (wchar_t const * name : {L"english", L"ENGLISH", L"English ", L" English", L"Chinese", L"Deutsch", L"1033"}) {
        SCOPED_TRACE(testing::PrintToString(name));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [name] { ICLanguage::mf_getLanguageId(name); }));
    }
    for (wchar_t const * name : {static_cast<wchar_t const *>(nullptr), L""})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [name] { ICLanguage::mf_getLanguageId(name); }));
}

TEST(ICLanguageTable, LocalizedName_FollowsTheThreadsLanguage)
{
    ICStartedProcess const process(L"German");
    EXPECT_STREQ(L"Deutsch", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
    EXPECT_STREQ(L"German", ICLanguage::mf_getLanguageName(GERMAN_ID, 0));
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_STREQ(L"German", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
}

// Without the singleton.

TEST(ICLanguage, WithoutInstance_WhatReadsItThrowsInitialization)
{
    void (*const QUERIES[])() = {
        [] { ICLanguage::mf_getLanguageId(ICLanguage::USER_LANGUAGE); },
        [] { ICLanguage::mf_getLanguageId(ICLanguage::FALLBACK_LANGUAGE); },
        [] { ICLanguage::mf_getLanguageId(4); },
        [] { ICLanguage::mf_getUserLanguageId(); },
        [] { ICLanguage::mf_getLoggingLanguageId(); },
        [] { ICLanguage::mf_getLanguageHandle(ICLanguage::USER_LANGUAGE); },
        [] { ICLanguage::mf_getLanguageHandle(ICLanguage::CURRENT_LANGUAGE); },
        [] { ICLanguage::mf_getUserLanguageHandle(); },
        [] { ICLanguage::mf_getLoggingLanguageHandle(); },
        [] { ICLanguage::mf_getFallbackLanguageHandle(); },
        [] { ICLanguage::mf_isLanguageDefined(ENGLISH_ID); },
        [] { ICLanguage::mf_requiresUCS2(ENGLISH_ID); },
    };
    for (auto const & query : QUERIES) {
        SCOPED_TRACE(&query - QUERIES);
        EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, query));
    }
}

TEST(ICLanguage, WithoutInstance_TheListAndTheFallbackIdAnswer)
{
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getFallbackLanguageId());
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getLanguageId(L"German"));
    EXPECT_STREQ(L"German", ICLanguage::mf_getLanguageName(GERMAN_ID, 0));
    EXPECT_STREQ(L"<resource-id=3836 not loaded>", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
    EXPECT_STREQ(L"tnwlangdeu.dll", ICLanguage::mf_getLibraryName(GERMAN_ID));
    EXPECT_EQ(1, ICLanguage::mf_printsDoubleWidthChars(1041));
}

TEST(ICLanguage, DeleteWithoutInstance_IsHarmless)
{
    ICLanguage::mf_deleteInstance();
    EXPECT_EQ(nullptr, ICLanguage::m_pThis);
}

// Start and end.

TEST(ICLanguage, Create_LoadsThreeRolesFromTwoFiles)
{
    ICLanguageDirectory const languages(L"German");
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
    ICLanguage::mf_createInstance();
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getUserLanguageId());
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getLoggingLanguageId());
    EXPECT_EQ(languages.mf_getModule(L"tnwlangdeu.dll"), ICLanguage::mf_getUserLanguageHandle());
    EXPECT_EQ(languages.mf_getModule(L"tnwlangenu.dll"), ICLanguage::mf_getLoggingLanguageHandle());
    EXPECT_EQ(languages.mf_getModule(L"tnwlangenu.dll"), ICLanguage::mf_getFallbackLanguageHandle());
    EXPECT_NE(nullptr, ICLanguage::mf_getUserLanguageHandle());
    EXPECT_NE(nullptr, ICLanguage::mf_getFallbackLanguageHandle());
    ICLanguage::mf_deleteInstance();
    EXPECT_FALSE(languages.mf_isAnythingLoaded());
}

TEST(ICLanguage, Create_LoadsOncePerRoleAndReleasesAsOften)
{
    ICLanguageDirectory const languages;
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    ICImportFault const loads("LoadLibraryW");
    ICImportFault const releases("FreeLibrary");
    ICLanguage::mf_createInstance();
    EXPECT_EQ(3u, loads.mf_getCalls());
    ICLanguage::mf_deleteInstance();
    EXPECT_EQ(3u, releases.mf_getCalls());
    EXPECT_FALSE(languages.mf_isAnythingLoaded());
}

TEST(ICLanguage, CreateTwice_ThrowsAndKeepsTheFirst)
{
    ICStartedProcess const process(L"German");
    ICLanguage const * const first = ICLanguage::m_pThis;
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICLanguage::mf_createInstance(); }));
    EXPECT_EQ(first, ICLanguage::m_pThis);
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getUserLanguageId());
}

TEST(ICLanguage, CreateWithoutMemory_ThrowsMemory)
{
    ICLanguageDirectory const languages;
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { ICLanguage::mf_createInstance(); }));
    EXPECT_EQ(nullptr, ICLanguage::m_pThis);
}

TEST(ICLanguage, Create_AbsentLanguageValue_IsCreatedWithEnglish)
{
    ICLanguageDirectory const languages(nullptr);
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    ICLanguage::mf_createInstance();
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getUserLanguageId());
    EXPECT_EQ(L"English", languages.mf_getRegistry().mf_readText(L"", L"Language"));
    EXPECT_EQ(ulong{REG_SZ}, languages.mf_getRegistry().mf_read(L"", L"Language").value_or(ICRegistryValue()).m_type);
}

TEST(ICLanguage, Create_UnknownLanguageName_FallsBackToEnglish)
{
    for (wchar_t const * name : {L"Klingon", L"german", L""}) {
        SCOPED_TRACE(testing::PrintToString(name));
        ICLanguageDirectory const languages(name);
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
        ICLanguage::mf_createInstance();
        EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getUserLanguageId());
        EXPECT_EQ(ICLanguage::mf_getFallbackLanguageHandle(), ICLanguage::mf_getUserLanguageHandle());
        EXPECT_EQ(name, languages.mf_getRegistry().mf_readText(L"", L"Language"));
    }
}

TEST(ICLanguage, Create_LanguageValueOfAnotherType_FallsBackToEnglish)
{
    ICLanguageDirectory const languages(nullptr);
    languages.mf_getRegistry().mf_writeNumber(L"", L"Language", 1031);
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    ICLanguage::mf_createInstance();
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getUserLanguageId());
}

TEST(ICLanguage, Create_LanguageThatIsNotInstalled_FallsBackToEnglish)
{
    ICLanguageDirectory const languages(L"Polish");
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    ICLanguage::mf_createInstance();
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getUserLanguageId());
    EXPECT_NE(nullptr, ICLanguage::mf_getUserLanguageHandle());
}

// A registry root without "LanguageDir", and the program in the folder of the libraries.
class ICLanguageWithoutLanguageDir : public testing::Test
{
protected:
    ICLanguageWithoutLanguageDir()
    {
        m_registry.mf_writeText(L"", L"Language", L"Polish");
        ICRegistry::mf_deleteInstance();
        ICRegistry::mf_createInstance(m_registry.mf_getPath().c_str());
    }

    ICLanguageDirectory m_languages;
    ICRegistrySandbox m_registry;
    CurrentDirectory m_current{m_languages.mf_getDirectory().mf_getPath()};
    // Wine looks beside the program first, where all languages are, even for a name that begins with ".\\".
    ICImportPatch const m_load{IC_IMPORT(LoadLibraryW), [](wchar_t const * name) {
                                   wchar_t path[MAX_PATH] = {};
                                   ::GetFullPathNameW(name, MAX_PATH, path, nullptr);
                                   return ::LoadLibraryW(path);
                               }};
};

TEST_F(ICLanguageWithoutLanguageDir, Create_LooksInTheCurrentDirectory)
{
    m_languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    m_languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangplk.dll");
    ICLanguage::mf_createInstance();
    EXPECT_EQ(POLISH_ID, ICLanguage::mf_getUserLanguageId());
    EXPECT_NE(nullptr, ICLanguage::mf_getUserLanguageHandle());
    EXPECT_EQ(m_languages.mf_getModule(L"tnwlangplk.dll"), ICLanguage::mf_getUserLanguageHandle());
    EXPECT_EQ((IDS{ENGLISH_ID, POLISH_ID}), f_getInstalled());
    wchar_t buffer[260];
    EXPECT_EQ(1, ICLanguage::mf_implGetLibraryPath(POLISH_ID, buffer, 260));
    EXPECT_STREQ(L".\\tnwlangplk.dll", buffer);
    ICLanguage::mf_deleteInstance();
}

TEST_F(ICLanguageWithoutLanguageDir, Create_LooksNowhereElse)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Resource, [] { ICLanguage::mf_createInstance(); }));
    EXPECT_EQ(IDS(), f_getInstalled());
}

// Which languages are installed.

TEST(ICLanguage, Installed_NoFileFound_GivesTheClosingZeroOnly)
{
    ICLanguageDirectory const languages;
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    std::fill_n(ids, ICLanguage::MAX_LANGUAGE_IDS, static_cast<unsigned short>(7));
    EXPECT_EQ(ids, ICLanguage::mf_getInstalledLanguageIds(ids));
    EXPECT_EQ(0, ids[0]);
    EXPECT_EQ(7, ids[1]);
}

TEST(ICLanguage, Installed_LooksAtTheFileOnly)
{
    ICLanguageDirectory const languages;
    languages.mf_placeBytes("no library", L"tnwlangesp.dll");
    languages.mf_place(ICLanguageDirectory::OLD_VERSION, L"tnwlangcsy.dll");
    languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
    EXPECT_EQ((IDS{1029, GERMAN_ID, 3082}), f_getInstalled());
    EXPECT_EQ(1, ICLanguage::mf_isLanguageInstalled(1029));
    EXPECT_EQ(0, ICLanguage::mf_isLanguageInstalled(ENGLISH_ID));
}

TEST(ICLanguage, Installed_AllFourteen_StandInTableOrder)
{
    ICLanguageDirectory const languages;
    IDS expected;
    for (ROW const & row : ROWS) {
        languages.mf_placeBytes("", row.library);
        expected.push_back(row.id);
    }
    EXPECT_EQ(expected, f_getInstalled());
}

TEST(ICLanguage, Installed_RegistryRefused_ForwardsTheFailure)
{
    ICLanguageDirectory const languages;
    ICImportFault const refused("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Registry, [] { ICLanguage::mf_isLanguageInstalled(ENGLISH_ID); }, ERROR_ACCESS_DENIED));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Registry, [] { f_getInstalled(); }, ERROR_ACCESS_DENIED));
}

// The configured language.

TEST(ICLanguage, Configure_WritesTheNameAndLeavesTheRunningLanguage)
{
    ICStartedProcess const process(L"German");
    ICLanguage::mf_configureLanguage(3082);
    EXPECT_EQ(L"Spanish", process.mf_getRegistry().mf_readText(L"", L"Language"));
    EXPECT_EQ(3082, ICLanguage::mf_getConfiguredLanguageId());
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getUserLanguageId());
}

TEST(ICLanguage, Configure_NeedsNoInstance)
{
    ICLanguageDirectory const languages(nullptr);
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getConfiguredLanguageId());
    EXPECT_EQ(L"English", languages.mf_getRegistry().mf_readText(L"", L"Language"));
    for (ROW const & row : ROWS) {
        ICLanguage::mf_configureLanguage(row.id);
        EXPECT_EQ(row.name, languages.mf_getRegistry().mf_readText(L"", L"Language"));
        EXPECT_EQ(row.id, ICLanguage::mf_getConfiguredLanguageId());
    }
}

TEST(ICLanguage, Configure_UnknownId_IsNotChecked)
{
    ICLanguageDirectory const languages;
    ICLanguage::mf_configureLanguage(9999);
    EXPECT_EQ(L"<UNKNOWN>", languages.mf_getRegistry().mf_readText(L"", L"Language"));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [] { ICLanguage::mf_getConfiguredLanguageId(); }));
}

TEST(ICLanguage, Configure_RegistryRefused_ForwardsTheFailure)
{
    ICLanguageDirectory const languages(L"German");
    {
        ICImportFault const refused("RegSetValueExW", ERROR_ACCESS_DENIED);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Registry, [] { ICLanguage::mf_configureLanguage(ENGLISH_ID); }, ERROR_ACCESS_DENIED));
    }
    EXPECT_EQ(L"German", languages.mf_getRegistry().mf_readText(L"", L"Language"));
    ICImportFault const refused("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Registry, [] { ICLanguage::mf_getConfiguredLanguageId(); }, ERROR_ACCESS_DENIED));
}

// Selectors and threads.

TEST(ICLanguageSelector, EachSelector_NamesItsLanguage)
{
    ICStartedProcess const process(L"German");
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getLanguageId(1ul));
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getLanguageId(2ul));
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getLanguageId(3ul));
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getLanguageId(0x10000ul));
    EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), ICLanguage::mf_getLanguageHandle(1));
    EXPECT_EQ(ICLanguage::mf_getLoggingLanguageHandle(), ICLanguage::mf_getLanguageHandle(2));
    EXPECT_EQ(ICLanguage::mf_getFallbackLanguageHandle(), ICLanguage::mf_getLanguageHandle(3));
    EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), ICLanguage::mf_getLanguageHandle(0x10000));
    EXPECT_NE(ICLanguage::mf_getLanguageHandle(1), ICLanguage::mf_getLanguageHandle(2));
}

TEST(ICLanguageSelector, UnknownSelector_ThrowsLanguage)
{
    ICStartedProcess const process;
    for (ulong const selector : {0ul, 4ul, 0xfffful, 0x10001ul, 0xfffffffful}) {
        SCOPED_TRACE(selector);
        EXPECT_TRUE(f_throws(ICErrno::_E_::Language, [selector] { ICLanguage::mf_getLanguageId(selector); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Language, [selector] { ICLanguage::mf_getLanguageHandle(selector); }));
    }
}

TEST(ICLanguageSelector, CurrentLanguage_FollowsTheToggles)
{
    ICStartedProcess const process(L"German");
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getLanguageId(ICLanguage::CURRENT_LANGUAGE));
    EXPECT_EQ(ICLanguage::mf_getLoggingLanguageHandle(), ICLanguage::mf_getLanguageHandle(0x10000));
    ICThreadContext::mf_setUserLanguage();
    EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getLanguageId(ICLanguage::CURRENT_LANGUAGE));
}

TEST(ICLanguageSelector, CurrentLanguageOnAThreadWithoutContext_ThrowsUnexpected)
{
    ICStartedProcess const process(L"German");
    std::thread([] {
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [] { ICLanguage::mf_getLanguageId(0x10000ul); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [] { ICLanguage::mf_getLanguageHandle(0x10000); }));
        EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getLanguageId(1ul));
    }).join();
}

TEST(ICLanguageSelector, EachThread_HasItsOwnLanguage)
{
    ICStartedProcess const process(L"German");
    ICThreadContext::mf_setLoggingLanguage();
    std::thread([] {
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, 1);
        EXPECT_STREQ(L"Deutsch", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
        ICThreadContext::mf_setLoggingLanguage();
        EXPECT_STREQ(L"German", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
        ICThreadContext::mf_setUserLanguage();
        ICThreadContext::mf_delete();
    }).join();
    EXPECT_STREQ(L"German", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
    ICThreadContext::mf_setUserLanguage();
    EXPECT_STREQ(L"Deutsch", ICLanguage::mf_getLanguageName(GERMAN_ID, 1));
}
