#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>

#include "hsmbase/failure/ICErrno.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/Thrown.h"

namespace
{
constexpr unsigned short ENGLISH_ID = 1033;
constexpr unsigned short GERMAN_ID = 1031;
} // namespace

// Libraries that are not as they should be.

TEST(ICLanguage, Create_NoEnglishLibrary_ThrowsResource)
{
    ICLanguageDirectory const languages(L"German");
    languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Resource, [] { ICLanguage::mf_createInstance(); }));
    EXPECT_EQ(nullptr, ICLanguage::m_pThis);
    EXPECT_FALSE(languages.mf_isAnythingLoaded());
}

TEST(ICLanguage, Create_EnglishOfAWrongVersion_ThrowsResourceAndTheLibraryStaysLoaded)
{
    for (wchar_t const * library : {ICLanguageDirectory::OLD_VERSION, ICLanguageDirectory::NEW_VERSION}) {
        SCOPED_TRACE(testing::PrintToString(library));
        ICLanguageDirectory const languages;
        languages.mf_place(library, L"tnwlangenu.dll");
        EXPECT_TRUE(f_throws(ICErrno::_E_::Resource, [] { ICLanguage::mf_createInstance(); }));
        EXPECT_EQ(nullptr, ICLanguage::m_pThis);
        EXPECT_TRUE(languages.mf_isAnythingLoaded());
    }
}

TEST(ICLanguage, Create_UserLanguageOfAWrongVersion_GoesOnWithoutItAndTheLibraryStaysLoaded)
{
    for (wchar_t const * library : {ICLanguageDirectory::OLD_VERSION, ICLanguageDirectory::NEW_VERSION}) {
        SCOPED_TRACE(testing::PrintToString(library));
        ICLanguageDirectory const languages(L"German");
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(library, L"tnwlangdeu.dll");
        ICLanguage::mf_createInstance();
        EXPECT_EQ(GERMAN_ID, ICLanguage::mf_getUserLanguageId());
        EXPECT_EQ(nullptr, ICLanguage::mf_getUserLanguageHandle());
        EXPECT_NE(nullptr, ICLanguage::mf_getLoggingLanguageHandle());
        EXPECT_EQ(1, ICLanguage::mf_isLanguageInstalled(GERMAN_ID));
        ICLanguage::mf_deleteInstance();
        EXPECT_EQ(nullptr, languages.mf_getModule(L"tnwlangenu.dll"));
        EXPECT_NE(nullptr, languages.mf_getModule(L"tnwlangdeu.dll"));
    }
}

TEST(ICLanguage, Create_UserLibraryWithoutVersionFunction_ThrowsDllFunctionAndTheLibraryStaysLoaded)
{
    ICLanguageDirectory const languages(L"German");
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    languages.mf_place(ICLanguageDirectory::NO_VERSION, L"tnwlangdeu.dll");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::DllFunction, [] { ICLanguage::mf_createInstance(); }, ERROR_PROC_NOT_FOUND));
    EXPECT_EQ(nullptr, ICLanguage::m_pThis);
    EXPECT_EQ(nullptr, languages.mf_getModule(L"tnwlangenu.dll"));
    EXPECT_NE(nullptr, languages.mf_getModule(L"tnwlangdeu.dll"));
}

TEST(ICLanguage, Create_FileThatIsNoLibrary_ThrowsDllOpen)
{
    ICLanguageDirectory const languages;
    languages.mf_placeBytes("This is no program.", L"tnwlangenu.dll");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::DllOpen, [] { ICLanguage::mf_createInstance(); }, ERROR_BAD_EXE_FORMAT));
    EXPECT_EQ(nullptr, ICLanguage::m_pThis);
}

TEST(ICLanguage, Create_LibraryPathOf260Characters_ThrowsBufferTooSmall)
{
    ICLanguageDirectory const languages;
    std::wstring const & root = languages.mf_getDirectory().mf_getPath();
    std::wstring const library = L"\\tnwlangenu.dll";
    std::wstring const longest = std::wstring(120, L'a') + L"\\";
    for (bool const fits : {true, false}) {
        SCOPED_TRACE(fits);
        std::size_t const length = (fits ? 259u : 260u) - library.size() - root.size() - 1;
        std::wstring const folder = longest + std::wstring(length - longest.size(), L'b');
        languages.mf_getDirectory().mf_makeDirectory(folder);
        languages.mf_place(ICLanguageDirectory::ENGLISH, folder + library);
        languages.mf_getRegistry().mf_writeText(L"", L"LanguageDir", languages.mf_getDirectory() / folder);
        wchar_t buffer[260];
        if (fits) {
            EXPECT_EQ(1, ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, buffer, 260));
            EXPECT_EQ(languages.mf_getDirectory() / (folder + library), buffer);
            continue;
        }
        EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall, [] { ICLanguage::mf_createInstance(); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall, [] { ICLanguage::mf_isLanguageInstalled(ENGLISH_ID); }));
    }
}

TEST(ICLanguage, LibraryPath_WithoutBuffer_ThrowsParameter)
{
    wchar_t buffer[260];
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, nullptr, 260); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, buffer, 0); }));
}

TEST(ICLanguage, LibraryPath_OfAMissingFile_LeavesTheBufferEmpty)
{
    ICLanguageDirectory const languages;
    wchar_t buffer[260];
    std::fill_n(buffer, 260, L'x');
    EXPECT_EQ(0, ICLanguage::mf_implGetLibraryPath(ENGLISH_ID, buffer, 260));
    EXPECT_EQ(260, std::count(buffer, buffer + 260, L'\0'));
}

// Failing calls of the platform.

TEST(ICLanguage, Create_EachLoadRefused_ThrowsDllOpenAndNothingStaysLoaded)
{
    for (ulong call = 1; call <= 3; ++call) {
        SCOPED_TRACE(call);
        ICLanguageDirectory const languages(L"German");
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
        ICImportFault const refused("LoadLibraryW", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::DllOpen, [] { ICLanguage::mf_createInstance(); }, ERROR_NOT_ENOUGH_MEMORY));
        EXPECT_EQ(call, refused.mf_getCalls());
        EXPECT_EQ(nullptr, ICLanguage::m_pThis);
        EXPECT_FALSE(languages.mf_isAnythingLoaded());
    }
}

TEST(ICLanguage, Create_EachVersionFunctionMissing_ThrowsDllFunction)
{
    for (ulong call = 1; call <= 3; ++call) {
        SCOPED_TRACE(call);
        ICLanguageDirectory const languages(L"German");
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
        ICImportFault const refused("GetProcAddress", ERROR_INVALID_ORDINAL, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::DllFunction, [] { ICLanguage::mf_createInstance(); }, ERROR_INVALID_ORDINAL));
        EXPECT_EQ(nullptr, ICLanguage::m_pThis);
    }
}

TEST(ICLanguage, Create_RegistryRefused_FailsWhereTheDirectoryIsAsked)
{
    // Each look at "LanguageDir" opens the key twice: fallback, logging, the check of the user's library, its loading.
    for (ulong const call : {1ul, 2ul, 3ul, 4ul, 7ul, 8ul, 9ul, 10ul}) {
        SCOPED_TRACE(call);
        ICLanguageDirectory const languages(L"German");
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
        ICImportFault const refused("RegOpenKeyExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Registry, [] { ICLanguage::mf_createInstance(); }, ERROR_ACCESS_DENIED));
        EXPECT_EQ(1u, refused.mf_getAnswered());
        EXPECT_EQ(nullptr, ICLanguage::m_pThis);
        EXPECT_FALSE(languages.mf_isAnythingLoaded());
    }
}

TEST(ICLanguage, Create_RegistryRefusesTheLanguageAlone_FallsBackToEnglish)
{
    for (ulong const call : {5ul, 6ul}) {
        SCOPED_TRACE(call);
        ICLanguageDirectory const languages(L"German");
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
        ICImportFault const refused("RegOpenKeyExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(call));
        ICLanguage::mf_createInstance();
        EXPECT_EQ(1u, refused.mf_getAnswered());
        EXPECT_EQ(ENGLISH_ID, ICLanguage::mf_getUserLanguageId());
    }
}

TEST(ICLanguage, Create_CleaningUpFails_StillThrowsTheFirstFailure)
{
    ICLanguageDirectory const languages(L"German");
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    languages.mf_place(ICLanguageDirectory::NO_VERSION, L"tnwlangdeu.dll");
    ICImportFault const refused("FreeLibrary", ERROR_INVALID_HANDLE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::DllFunction, [] { ICLanguage::mf_createInstance(); }, ERROR_PROC_NOT_FOUND));
    EXPECT_EQ(2u, refused.mf_getAnswered());
    EXPECT_EQ(nullptr, ICLanguage::m_pThis);
}

TEST(ICLanguage, Delete_EachReleaseRefused_GoesOnInOrderAndClearsTheInstance)
{
    for (ulong call = 1; call <= 3; ++call) {
        SCOPED_TRACE(call);
        ICLanguageDirectory const languages(L"German");
        languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
        ICLanguage::mf_createInstance();
        ICImportFault const refused("FreeLibrary", ERROR_INVALID_HANDLE, ICCalls::mf_only(call));
        ICLanguage::mf_deleteInstance();
        EXPECT_EQ(3u, refused.mf_getCalls());
        EXPECT_EQ(nullptr, ICLanguage::m_pThis);
        // The user's library is released first, English twice behind it.
        EXPECT_EQ(call == 1, languages.mf_getModule(L"tnwlangdeu.dll") != nullptr);
        EXPECT_EQ(call != 1, languages.mf_getModule(L"tnwlangenu.dll") != nullptr);
    }
}

TEST(ICLanguage, Terminate_AllReleasesRefused_ThrowsTheFirstAndClearsTheHandles)
{
    ICLanguageDirectory const languages(L"German");
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    languages.mf_place(ICLanguageDirectory::GERMAN, L"tnwlangdeu.dll");
    ICLanguage::mf_createInstance();
    {
        ICImportFault const refused("FreeLibrary", ERROR_INVALID_HANDLE);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Resource, [] { ICLanguage::m_pThis->mf_implTerminate(); }, ERROR_INVALID_HANDLE));
        EXPECT_EQ(3u, refused.mf_getAnswered());
    }
    EXPECT_EQ(nullptr, ICLanguage::mf_getUserLanguageHandle());
    EXPECT_EQ(nullptr, ICLanguage::mf_getLoggingLanguageHandle());
    EXPECT_EQ(nullptr, ICLanguage::mf_getFallbackLanguageHandle());
    ICImportFault const counter("FreeLibrary");
    ICLanguage::mf_deleteInstance();
    EXPECT_EQ(0u, counter.mf_getCalls());
}

TEST(ICLanguage, Delete_KeepsTheLastError)
{
    ICLanguageDirectory const languages;
    languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
    ICLanguage::mf_createInstance();
    ::SetLastError(4711);
    ICLanguage::m_pThis->~ICLanguage();
    EXPECT_EQ(4711u, ::GetLastError());
    ::operator delete(std::exchange(ICLanguage::m_pThis, nullptr));
}
