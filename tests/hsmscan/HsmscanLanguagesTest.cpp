#include <gmock/gmock.h>

#include "hsmbase/context/ICLanguage.h"
#include "languages/ResourceIds.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/hsmscan/HsmscanProgram.h"
#include "tests/support/ICFiles.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace
{

// A text without inserts, as the program writes it to a pipe.
std::string f_textOf(wchar_t const * library, unsigned id)
{
    HMODULE const module = ::LoadLibraryExW(library, nullptr, LOAD_LIBRARY_AS_DATAFILE);
    wchar_t text[4096] = {};
    int const length = ::LoadStringW(module, id, text, static_cast<int>(std::size(text)));
    char bytes[3 * std::size(text)] = {};
    ::WideCharToMultiByte(CP_UTF8, 0, text, length, bytes, static_cast<int>(std::size(bytes)), nullptr, nullptr);
    ::FreeLibrary(module);
    if (length == 0) throw std::runtime_error("a library has no text " + std::to_string(id));
    return bytes;
}

std::string f_completed(wchar_t const * library)
{
    return f_textOf(library, IDS_HSMSCAN_COMPLETED);
}

} // namespace

// hsmscan in a folder of language libraries that are not all as they should be. English is.
class HsmscanLanguages : public Hsmscan
{
protected:
    HsmscanLanguages()
    {
        m_folder.mf_place(ICLanguageFolder::ENGLISH, ICLanguageFolder::ENGLISH);
        mf_configure(L"LanguageDir", m_folder.mf_getDirectory().mf_getPath());
    }

    void mf_configure(wchar_t const * name, std::wstring const & value) const
    {
        m_registry.mf_writeText(L"", name, value);
    }

    RUN mf_scan() const { return mf_run({m_directory.mf_getPath()}); }

    ICLanguageFolder const m_folder;
};

TEST_F(Hsmscan, EachLanguage_IsChosenOnceAndSpokenFromThenOn)
{
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    ICLanguage::mf_getAllLanguageIds(ids);
    ASSERT_EQ(0, ids[14]);
    for (unsigned short const * id = ids; *id != 0; ++id) {
        std::wstring const name = ICLanguage::mf_getLanguageName(*id, 0).GetString();
        SCOPED_TRACE(testing::PrintToString(name));
        std::string const usage = f_textOf(ICLanguage::mf_getLibraryName(*id), IDS_HSMSCAN_USAGE);
        RUN const first = mf_run({L"--language", name, L"--help"});
        EXPECT_EQ(0u, first.exitCode) << first.errors;
        EXPECT_THAT(first.output, StartsWith(usage));
        EXPECT_EQ(name, m_registry.mf_readText(L"", L"Language"));
        RUN const second = mf_run({L"--help"});
        EXPECT_THAT(second.output, StartsWith(usage));
        EXPECT_EQ("", first.errors + second.errors);
    }
}

TEST_F(Hsmscan, LanguageInTheRegistry_IsThatOfTheNextStart)
{
    constexpr unsigned short JAPANESE = 1041, GERMAN = 1031, RUSSIAN = 1049;
    for (unsigned short const id : {JAPANESE, GERMAN, RUSSIAN}) {
        m_registry.mf_writeText(L"", L"Language", ICLanguage::mf_getLanguageName(id, 0).GetString());
        EXPECT_THAT(mf_run({m_directory.mf_getPath()}).output,
                    HasSubstr(f_completed(ICLanguage::mf_getLibraryName(id))));
    }
}

TEST_F(HsmscanLanguages, MissingLibrary_FallsBackToEnglishAndKeepsTheConfiguration)
{
    mf_configure(L"Language", L"Japanese");
    RUN const run = mf_scan();
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_EQ("", run.errors);
    EXPECT_THAT(run.output, HasSubstr("The scan is complete."));
    EXPECT_EQ(L"Japanese", m_registry.mf_readText(L"", L"Language"));
    m_folder.mf_place(L"tnwlangjpn.dll", L"tnwlangjpn.dll");
    EXPECT_THAT(mf_scan().output, HasSubstr(f_completed(L"tnwlangjpn.dll")));
}

// A library that can't be loaded ends the start, whatever the language; choosing another one mends it.
TEST_F(HsmscanLanguages, DamagedLibrary_EndsTheStart)
{
    std::string const whole = f_readFile(f_besideProgram(L"tnwlangrus.dll"));
    for (std::string const & damaged : {std::string("no library"), whole.substr(0, whole.size() / 2), std::string()}) {
        m_folder.mf_placeBytes(damaged, L"tnwlangrus.dll");
        mf_configure(L"Language", L"Russian");
        RUN const run = mf_scan();
        EXPECT_EQ(2u, run.exitCode) << damaged.size();
        EXPECT_EQ("", run.output);
        EXPECT_THAT(mf_run({L"--language", L"English", m_directory.mf_getPath()}).output,
                    HasSubstr("The scan is complete."));
        EXPECT_EQ(L"English", m_registry.mf_readText(L"", L"Language"));
    }
}

// Only the version 81002 will do. The language stays chosen without a library, so no text can be had: this is meant.
TEST_F(HsmscanLanguages, TooOldLibrary_LeavesPlaceholdersForTexts)
{
    for (wchar_t const * const library : {ICLanguageFolder::OLD_VERSION, ICLanguageFolder::NEW_VERSION}) {
        mf_configure(L"Language", L"French");
        m_folder.mf_place(library, L"tnwlangfra.dll");
        RUN const run = mf_run({L"--version"});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_THAT(run.output, StartsWith("<resource-id=20015 not formatted>"));
    }
}

TEST_F(HsmscanLanguages, LibraryWithFewTexts_IsHelpedOutByEnglish)
{
    mf_configure(L"Language", L"French");
    m_folder.mf_place(ICLanguageFolder::FEW_TEXTS, L"tnwlangfra.dll");
    EXPECT_THAT(mf_scan().output, HasSubstr("The scan is complete."));
}

TEST_F(Hsmscan, NoEnglishLibraryInTheConfiguredDirectory_IsLookedForBesideTheProgram)
{
    ICLanguageFolder const empty;
    m_registry.mf_writeText(L"", L"LanguageDir", empty.mf_getDirectory().mf_getPath());
    EXPECT_THAT(mf_run({L"--version"}).output, StartsWith("hsmscan, version "));
}
