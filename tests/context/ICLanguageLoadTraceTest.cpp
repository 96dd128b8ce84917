#include <utility>

#include "hsmbase/context/ICLanguage.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

using testing::Contains;

namespace
{
constexpr unsigned short ENGLISH_ID = 1033;
constexpr unsigned short GERMAN_ID = 1031;

// A process that speaks English, where German is configured for the languages that come up now; their libraries are
// those of a folder.
class ICLanguageLoadTrace : public testing::Test
{
protected:
    ICLanguageLoadTrace() { mf_configure(m_folder.mf_getDirectory().mf_getPath(), L"German"); }

    void mf_configure(std::wstring const & directory, wchar_t const * language) const
    {
        m_process.mf_getRegistry().mf_writeText(L"", L"LanguageDir", directory);
        m_process.mf_getRegistry().mf_writeText(L"", L"Language", language);
    }

    void mf_placeBoth() const
    {
        m_folder.mf_place(ICLanguageFolder::ENGLISH, L"tnwlangenu.dll");
        m_folder.mf_place(ICLanguageFolder::GERMAN, L"tnwlangdeu.dll");
    }

    // What comes of bringing languages up, beside those that the trace speaks, and taking them down.
    ICTracedAction mf_create() const
    {
        return m_process.mf_run([] { ICLanguage const created; });
    }

    // A text that names a library of the folder.
    std::string mf_naming(std::string const & before, wchar_t const * library, char const * after) const
    {
        return f_logged(before, CString((m_folder.mf_getDirectory() / library).c_str())) + after;
    }

    ICLanguageFolder const m_folder;
    ICTracedProcess const m_process;
};

char const INITIALIZE[] = "ICLanguage::mf_implInitialize";
char const ACQUIRE[] = "ICLanguage::mf_implAcquireHandle";
char const LIBRARY_PATH[] = "ICLanguage::mf_implGetLibraryPath";

// The three libraries in the order of their loading.
struct ROLE
{
    char const * failure;
    char const * notObtained;
    wchar_t const * library;
    unsigned short id;
};
ROLE const ROLES[] = {
    {"Failure loading fallback library handle for language 1033 (English):\n",
     "Could not obtain fallback language handle, language = 1033", L"tnwlangenu.dll", ENGLISH_ID},
    {"Failure loading logging library handle for language 1033 (English):\n",
     "Could not obtain logging language handle, language = 1033", L"tnwlangenu.dll", ENGLISH_ID},
    {"Failure loading handle for user language 1031 (German):\n",
     "Could not obtain user language handle for language 1031", L"tnwlangdeu.dll", GERMAN_ID},
};

ulong f_oldVersion()
{
    return 81001;
}

// Has a lock refused once, when the condition holds: the warnings of what never fails otherwise make it fail then.
template<class CONDITION>
ICImportPatch f_refuseLockOnce(CONDITION isDue)
{
    return ICImportPatch(IC_IMPORT(EnterCriticalSection), [isDue, isFirst = true](CRITICAL_SECTION * lock) mutable {
        if (isDue() && std::exchange(isFirst, false)) throw ICErrno(ICErrno::_E_::Internal);
        ::EnterCriticalSection(lock);
    });
}
} // namespace

TEST_F(ICLanguageLoadTrace, Create_TellsTheUsersLanguage)
{
    mf_placeBoth();
    EXPECT_THAT(mf_create().m_records,
                Contains(f_isRecord('I', INITIALIZE, "Running with user language 1031 (German)")));
}

TEST_F(ICLanguageLoadTrace, Create_LoadRefused_IsAnErrorThatNamesTheLibraryAndItsRole)
{
    mf_placeBoth();
    for (ulong call = 1; call <= 3; ++call) {
        SCOPED_TRACE(call);
        ROLE const & role = ROLES[call - 1];
        ICImportFault const refused("LoadLibraryW", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_only(call));
        auto const outcome = mf_create();
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::DllOpen, ERROR_NOT_ENOUGH_MEMORY, ACQUIRE,
                                            mf_naming("Failure loading language library '", role.library, "':\n")));
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::DllOpen, ERROR_NOT_ENOUGH_MEMORY, INITIALIZE, role.failure));
    }
}

TEST_F(ICLanguageLoadTrace, Create_NoVersionFunction_IsAnErrorThatNamesIt)
{
    m_folder.mf_place(ICLanguageFolder::ENGLISH, L"tnwlangenu.dll");
    m_folder.mf_place(ICLanguageFolder::NO_VERSION, L"tnwlangdeu.dll");
    EXPECT_THAT(mf_create(), f_failsShowing(ICErrno::_E_::DllFunction, ERROR_PROC_NOT_FOUND, ACQUIRE,
                                            mf_naming("Failure getting function address, library='", L"tnwlangdeu.dll",
                                                      "',\nfunction='?GetLanguageVersion@@YA?BKXZ':\n")));
}

TEST_F(ICLanguageLoadTrace, Create_WrongVersion_IsAnErrorButForTheUsersLanguageAWarning)
{
    mf_placeBoth();
    for (int call = 1; call <= 3; ++call) {
        SCOPED_TRACE(call);
        ROLE const & role = ROLES[call - 1];
        ICImportPatch const old(
            IC_IMPORT(GetProcAddress), [call, count = 0](HMODULE library, char const * name) mutable {
                return ++count == call ? reinterpret_cast<FARPROC>(reinterpret_cast<void (*)()>(&f_oldVersion))
                                       : ::GetProcAddress(library, name);
            });
        auto const outcome = mf_create();
        std::string const refused = "Wrong library version, found 81001, needed 81002\nLanguage: ";
        std::string const text = mf_naming(refused + std::to_string(role.id) + ", library: '", role.library, "'");
        EXPECT_THAT(outcome.m_records, Contains(f_isRecord('E', ACQUIRE, text)));
        EXPECT_THAT(outcome.m_records, Contains(f_isRecord(call == 3 ? 'W' : 'E', INITIALIZE, role.notObtained)));
        if (call == 3)
            EXPECT_FALSE(outcome.m_failure);
        else
            EXPECT_EQ(static_cast<ulong>(ICErrno::_E_::Resource.mf_getNumber()), outcome.m_failure);
    }
}

TEST_F(ICLanguageLoadTrace, Create_NoLibrary_WarnsOfTheFileAndFailsForTheLanguage)
{
    auto const outcome = mf_create();
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Resource, 'W', LIBRARY_PATH,
                                 mf_naming("Language resource library '", L"tnwlangenu.dll", "' not found")));
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Resource, 'E', ACQUIRE, "Could not get library for language 1033"));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Resource, "ICLanguage::ICLanguage",
                                        "Failure initializing language singleton: "));
}

TEST_F(ICLanguageLoadTrace, Create_LanguageNotInstalled_IsAnErrorThatNamesTheDefault)
{
    m_folder.mf_place(ICLanguageFolder::ENGLISH, L"tnwlangenu.dll");
    EXPECT_THAT(m_process.mf_trace([] { ICLanguage const created; }),
                Contains(f_isRecord('E', INITIALIZE,
                                    "Configured user language 1031 (German) is not installed.\n"
                                    "Defaulting to default language 1033 (English) ...")));
}

TEST_F(ICLanguageLoadTrace, Create_LanguageUnknown_IsAnErrorThatNamesTheDefault)
{
    mf_placeBoth();
    mf_configure(m_folder.mf_getDirectory().mf_getPath(), L"Klingon");
    auto const records = m_process.mf_trace([] { ICLanguage const created; });
    ICErrno const unknown(ICErrno::_E_::Unknown);
    EXPECT_THAT(records, Contains(f_isRecord('E', "ICLanguage::mf_implReadUserLanguage",
                                             f_logged("Failure querying for language selection: ", unknown))));
    EXPECT_THAT(records, Contains(f_isRecord('E', INITIALIZE,
                                             f_logged("Failure reading user language configuration: ", unknown) +
                                                 "\nDefaulting to language 1033 (English) ...")));
}

// Taking down.

TEST_F(ICLanguageLoadTrace, Delete_ReleaseRefused_NamesTheRoleAndContinues)
{
    char const * const roles[] = {"user", "logging", "fallback"};
    mf_placeBoth();
    ICErrno const failure(ICErrno::_E_::Resource, ERROR_INVALID_HANDLE);
    for (ulong call = 1; call <= 3; ++call) {
        SCOPED_TRACE(call);
        ICImportFault const refused("FreeLibrary", ERROR_INVALID_HANDLE, ICCalls::mf_only(call));
        auto const records = m_process.mf_trace([] { ICLanguage const created; });
        std::string const text = std::string("Failure releasing ") + roles[call - 1] + " language handle: ";
        EXPECT_THAT(records, Contains(f_isRecord('E', "ICLanguage::mf_implReleaseHandle",
                                                 f_logged("Failure releasing library handle: ", failure))));
        EXPECT_THAT(records, Contains(f_isRecord('E', "ICLanguage::mf_implTerminate", f_logged(text, failure))));
        EXPECT_THAT(records, Contains(f_isRecord('E', "ICLanguage::~ICLanguage",
                                                 f_logged("Failure deleting up language singleton: ", failure) +
                                                     "\nContinuing...")));
    }
}

TEST_F(ICLanguageLoadTrace, Create_CleaningUpFails_IsAnErrorBesideTheFirst)
{
    m_folder.mf_place(ICLanguageFolder::ENGLISH, L"tnwlangenu.dll");
    m_folder.mf_place(ICLanguageFolder::NO_VERSION, L"tnwlangdeu.dll");
    ICImportFault const refused("FreeLibrary", ERROR_INVALID_HANDLE);
    auto const cleaning =
        f_logged("Failure cleaning up language singleton: ", ICErrno(ICErrno::_E_::Resource, ERROR_INVALID_HANDLE)) +
        "\nContinuing...";
    EXPECT_THAT(mf_create(), f_fails(ICErrno::_E_::DllFunction, ERROR_PROC_NOT_FOUND, 'E', INITIALIZE, cleaning));
}

// The path of a library.

TEST_F(ICLanguageLoadTrace, LibraryPath_WithoutBuffer_IsAnError)
{
    wchar_t buffer[1];
    auto const f_isRefused = [] {
        return f_fails(ICErrno::_E_::Parameter, 'E', LIBRARY_PATH,
                       "( NULL == _pszBuffer ) || ( 0 == _ulBufferLength )");
    };
    EXPECT_THAT(m_process.mf_run([] { ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, nullptr, 1); }), f_isRefused());
    EXPECT_THAT(m_process.mf_run([&] { ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, buffer, 0); }), f_isRefused());
}

TEST_F(ICLanguageLoadTrace, LibraryPath_TooLong_NamesPathAndBuffer)
{
    mf_placeBoth();
    wchar_t buffer[20];
    EXPECT_THAT(m_process.mf_run([&] { ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, buffer, 20); }),
                f_fails(ICErrno::_E_::BufferTooSmall, 'E', LIBRARY_PATH,
                        mf_naming("Library path '", L"tnwlangenu.dll", "' too long for buffer (20 chars)")));
}

TEST_F(ICLanguageLoadTrace, LibraryPath_NoDirectoryConfigured_WarnsAndTakesTheCurrentOne)
{
    CString const root = m_process.mf_getRegistry().mf_getPath().c_str();
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, root, L"LanguageDir"));
    EXPECT_THAT(m_process.mf_trace([] { ICLanguage::mf_isLanguageInstalled(GERMAN_ID); }),
                Contains(f_isRecord('W', LIBRARY_PATH,
                                    f_logged("Library path for user language not found in registry\n", root) +
                                        "\\LanguageDir. Using current directory ...")));
}

TEST_F(ICLanguageLoadTrace, LibraryPath_RegistryRefuses_IsForwarded)
{
    ICImportFault const refused("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_THAT(m_process.mf_run([] { ICLanguage::mf_isLanguageInstalled(GERMAN_ID); }),
                f_failsShowing(ICErrno::_E_::Registry, ERROR_ACCESS_DENIED, LIBRARY_PATH,
                               "Failure reading language path for key='LanguageDir' from registry:\n"));
}

TEST_F(ICLanguageLoadTrace, LibraryPath_FileCannotBeLookedAt_IsForwardedByAll)
{
    auto const f_run = [this](void (*action)()) {
        ICImportFault const refused("GetFileAttributesW", ERROR_ACCESS_DENIED);
        auto const failing = f_refuseLockOnce([&refused] { return refused.mf_getCalls() > 0; });
        return m_process.mf_run(action);
    };
    auto const asked = f_run([] { ICLanguage::mf_isLanguageInstalled(GERMAN_ID); });
    EXPECT_THAT(asked,
                f_failsShowing(ICErrno::_E_::Internal, LIBRARY_PATH,
                               mf_naming("Failure checking library existence for '", L"tnwlangdeu.dll", "':\n")));
    EXPECT_THAT(asked, f_failsShowing(ICErrno::_E_::Internal, "ICLanguage::mf_isLanguageInstalled",
                                      "Failure checking library availability, language: 1031:\n"));
    EXPECT_THAT(f_run([] { ICLanguage const created; }),
                f_failsShowing(ICErrno::_E_::Internal, ACQUIRE, "Failure getting language library name for id=1033: "));
}

TEST_F(ICLanguageLoadTrace, LibraryPath_NameCannotBeHad_IsForwarded)
{
    auto const outcome = m_process.mf_run([] {
        auto const failing = f_refuseLockOnce([] { return true; });
        wchar_t buffer[260];
        ICLanguage::mf_implGetLibraryPath(9999, buffer, 260);
    });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Internal, LIBRARY_PATH,
                                        "Failure getting language library name for id=9999: "));
}

// The configuration.

TEST_F(ICLanguageLoadTrace, Configure_TellsTheNewLanguage)
{
    EXPECT_THAT(m_process.mf_trace([] { ICLanguage::mf_configureLanguage(GERMAN_ID); }),
                Contains(f_isRecord('I', "ICLanguage::mf_implWriteUserLanguage",
                                    "Language changed in registry, new language: 1031 (German)")));
}

TEST_F(ICLanguageLoadTrace, Configure_RegistryRefuses_HasTheWordsOfReading)
{
    ICImportFault const refused("RegSetValueExW", ERROR_ACCESS_DENIED);
    auto const outcome = m_process.mf_run([] { ICLanguage::mf_configureLanguage(GERMAN_ID); });
    EXPECT_THAT(outcome,
                f_failsShowing(ICErrno::_E_::Registry, ERROR_ACCESS_DENIED, "ICLanguage::mf_implWriteUserLanguage",
                               "Failure querying for language selection: "));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Registry, ERROR_ACCESS_DENIED, "ICLanguage::mf_configureLanguage",
                                        "Failure changing language persistently to 1031:\n"));
}

TEST_F(ICLanguageLoadTrace, GetConfigured_RegistryRefuses_HasAnotherTag)
{
    ICImportFault const refused("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    auto const outcome = m_process.mf_run([] { ICLanguage::mf_getConfiguredLanguageId(); });
    EXPECT_THAT(outcome,
                f_failsShowing(ICErrno::_E_::Registry, ERROR_ACCESS_DENIED, "ICLanguage::mf_implReadUserLanguage",
                               "Failure querying for language selection: "));
    EXPECT_THAT(outcome,
                f_failsShowing(ICErrno::_E_::Registry, ERROR_ACCESS_DENIED, "ICLanguage::mf_configureLanguageId",
                               "Failure querying configured language:\n"));
}
