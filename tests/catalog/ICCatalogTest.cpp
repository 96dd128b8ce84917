#include "programs/catalog/ICCatalog.h"

#include <gmock/gmock.h>

#include <regex>

#include "hsmbase/failure/ICErrno.h"
#include "tests/catalog/CatalogPages.h"
#include "tests/context/ICLanguageDirectory.h"

namespace
{

// A folder with the libraries of all languages.
class ICCatalogLibraries : public testing::Test
{
protected:
    ICCatalogLibraries()
    {
        for (LANGUAGE const & language : LANGUAGES)
            m_folder.mf_place(f_libraryName(language.code).c_str(), f_libraryName(language.code));
    }

    // The number of the failure, and its text.
    std::pair<ulong, std::string> mf_fail() const
    {
        try {
            ICCatalog::mf_makePages(m_folder.mf_getDirectory().mf_getPath().c_str());
        }
        catch (ICErrno & failure) {
            return {static_cast<ulong>(failure.mf_getNumber()), f_utf8(failure.mf_getErrnoData().mf_getMessageText())};
        }
        return {0, ""};
    }

    std::string mf_problem(std::wstring const & library, std::string const & reason) const
    {
        return "The language library '" + f_utf8((m_folder.mf_getDirectory() / library).c_str()) +
               "' cannot be used: " + reason;
    }

    ICLanguageFolder const m_folder;
};

// The lines of the index that name a language: its own name, its page, the title there.
std::vector<std::smatch> f_links(std::string const & index)
{
    static std::regex const link("- \\[([^\\]]+)\\]\\(([^)]+)\\): ([^\\n]+)\\n");
    return {std::sregex_iterator(index.begin(), index.end(), link), std::sregex_iterator()};
}

unsigned f_nameId(LANGUAGE const & language)
{
    std::wstring name = L"IDS_LANGUAGE_" + std::wstring(language.name);
    std::transform(name.begin(), name.end(), name.begin(),
                   [](wchar_t letter) { return letter == L'-' ? L'_' : static_cast<wchar_t>(std::towupper(letter)); });
    return std::find_if(std::begin(RESOURCE_IDS), std::end(RESOURCE_IDS),
                        [&name](RESOURCE_ID const & id) { return id.name == name; })
        ->number;
}

} // namespace

TEST(ICCatalog, Pages_AreOneALanguageAndAnIndex)
{
    std::vector<std::wstring> expected;
    for (LANGUAGE const & language : LANGUAGES)
        expected.push_back(f_pageName(language));
    expected.emplace_back(L"README.md");
    std::vector<std::wstring> found;
    for (ICCatalog::PAGE const & page : f_pages())
        found.emplace_back(page.name);
    EXPECT_EQ(expected, found);
}

TEST(ICCatalog, Index_NamesEachLanguageInItsOwnWordsAndLinksItsPage)
{
    std::string const index = f_pages().back().text;
    EXPECT_TRUE(index.starts_with("# Messages and error numbers\n\n- [")) << index;
    std::vector<std::smatch> const links = f_links(index);
    ASSERT_EQ(std::size(LANGUAGES), links.size()) << index;
    for (std::size_t at = 0; at < links.size(); ++at) {
        LANGUAGE const & language = LANGUAGES[at];
        LanguageLibrary const texts(language.code);
        EXPECT_EQ(f_text(texts, f_nameId(language)), links[at][1]);
        EXPECT_EQ(f_utf8(f_pageName(language).c_str()), links[at][2]);
        EXPECT_EQ(f_text(texts, IDS_CATALOG_TITLE), links[at][3]);
    }
}

TEST(ICCatalog, Pages_AreTheSameEachTime)
{
    std::vector<ICCatalog::PAGE> const first = f_pages();
    std::vector<ICCatalog::PAGE> const second = f_pages();
    ASSERT_EQ(first.size(), second.size());
    for (std::size_t at = 0; at < first.size(); ++at)
        EXPECT_EQ(first[at].text, second[at].text);
}

TEST_F(ICCatalogLibraries, Libraries_AreThoseOfTheDirectory)
{
    std::vector<ICCatalog::PAGE> const pages = ICCatalog::mf_makePages(m_folder.mf_getDirectory().mf_getPath().c_str());
    EXPECT_EQ(std::size(LANGUAGES) + 1, pages.size());
    EXPECT_FALSE(m_folder.mf_isAnythingLoaded());
}

TEST_F(ICCatalogLibraries, DamagedLibrary_IsRefused)
{
    m_folder.mf_placeBytes("no library", L"tnwlangdeu.dll");
    auto const [number, text] = mf_fail();
    EXPECT_EQ(ICErrno::_E_::DllOpen.mf_getNumber(), number);
    EXPECT_THAT(text, testing::StartsWith(mf_problem(L"tnwlangdeu.dll", "")));
    EXPECT_GT(text.size(), mf_problem(L"tnwlangdeu.dll", "").size()) << "the system's reason";
}

TEST_F(ICCatalogLibraries, MissingLibrary_IsRefused)
{
    std::wstring const library = m_folder.mf_getDirectory() / L"tnwlangfra.dll";
    ASSERT_TRUE(::DeleteFileW(library.c_str()));
    EXPECT_EQ(ICErrno::_E_::DllOpen.mf_getNumber(), mf_fail().first);
}

TEST_F(ICCatalogLibraries, LibraryOfAnotherVersion_IsRefused)
{
    m_folder.mf_place(ICLanguageFolder::NEW_VERSION, L"tnwlangenu.dll");
    EXPECT_EQ(std::pair(ICErrno::_E_::Version.mf_getNumber(),
                        mf_problem(L"tnwlangenu.dll", "It has version 81003 instead of 81002.")),
              mf_fail());
    EXPECT_FALSE(m_folder.mf_isAnythingLoaded());
}

TEST_F(ICCatalogLibraries, LibraryWithoutVersion_IsRefused)
{
    m_folder.mf_place(ICLanguageFolder::NO_VERSION, L"tnwlangcht.dll");
    EXPECT_EQ(ICErrno::_E_::DllFunction.mf_getNumber(), mf_fail().first);
}

TEST_F(ICCatalogLibraries, LibraryWithoutAText_IsRefused)
{
    m_folder.mf_place(ICLanguageFolder::FEW_TEXTS, L"tnwlangrus.dll");
    EXPECT_EQ(std::pair(ICErrno::_E_::Resource.mf_getNumber(), mf_problem(L"tnwlangrus.dll", "Text 21000 is missing.")),
              mf_fail());
}
