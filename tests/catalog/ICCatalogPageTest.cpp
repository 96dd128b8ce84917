#include "programs/catalog/ICCatalogPage.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/catalog/CatalogPages.h"
#include "tests/support/ICFiles.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

std::vector<std::string> f_lines(std::string const & page)
{
    std::vector<std::string> lines;
    std::istringstream stream(page);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

std::vector<std::string> f_linesWith(std::string const & page, std::string const & beginning)
{
    std::vector<std::string> lines = f_lines(page);
    std::erase_if(lines, [&beginning](std::string const & line) { return !line.starts_with(beginning); });
    return lines;
}

// Checks the page of each language by the texts of its library.
template<class CHECK>
void f_onEachPage(CHECK const & check)
{
    std::vector<ICCatalog::PAGE> const pages = f_pages();
    for (LANGUAGE const & language : LANGUAGES) {
        SCOPED_TRACE(testing::PrintToString(f_pageName(language)));
        check(LanguageLibrary(language.code), f_pageOf(pages, language));
    }
}

std::string f_number(ulong number)
{
    char text[11];
    ::sprintf_s(text, sizeof(text), "0x%08lx", number);
    return text;
}

// The cells of a row, without the blanks around them.
std::vector<std::string> f_cells(std::string const & row)
{
    static std::regex const cell("\\| (.*?) *(?= \\|)");
    std::vector<std::string> cells;
    for (std::sregex_iterator at(row.begin(), row.end(), cell), end; at != end; ++at)
        cells.push_back((*at)[1]);
    return cells;
}

} // namespace

TEST(ICCatalogPage, Headings_FollowTheOrderOfTheCatalog)
{
    f_onEachPage([](LanguageLibrary const & texts, std::string const & page) {
        std::vector<std::string> expected = {"# " + f_text(texts, IDS_CATALOG_TITLE),
                                             "## " + f_text(texts, IDS_CATALOG_HEADING_MESSAGES)};
        for (ICMessageCatalog::MESSAGE const & message : ICMessageCatalog::mf_getMessages())
            expected.push_back("### " + f_utf8(message.number));
        expected.push_back("## " + f_text(texts, IDS_CATALOG_HEADING_ERRORS));
        for (int const id : {IDS_SEVERITY_INFORMATION, IDS_SEVERITY_WARNING, IDS_SEVERITY_ERROR, IDS_SEVERITY_SEVERE})
            expected.push_back("### " + f_text(texts, static_cast<unsigned>(id)));
        EXPECT_EQ(expected, f_linesWith(page, "#"));
    });
}

TEST(ICCatalogPage, Purpose_NamesTheCommand)
{
    f_onEachPage([](LanguageLibrary const &, std::string const & page) {
        EXPECT_THAT(f_lines(page).at(2), HasSubstr("`hsmscan --explain-message`"));
    });
}

TEST(ICCatalogPage, Message_HasItsTextWithAWordForTheInsert)
{
    f_onEachPage([](LanguageLibrary const & texts, std::string const & page) {
        for (ICMessageCatalog::MESSAGE const & message : ICMessageCatalog::mf_getMessages()) {
            std::string text = f_text(texts, message.textId);
            text.replace(text.find("%1"), 2, "&lt;" + f_text(texts, message.insertId) + "&gt;");
            EXPECT_THAT(page, HasSubstr("\n### " + f_utf8(message.number) + "\n\n" + text + "\n\n**"));
        }
    });
}

TEST(ICCatalogPage, Message_HasThreeParagraphsWithLabels)
{
    f_onEachPage([](LanguageLibrary const & texts, std::string const & page) {
        auto const labelled = [&texts](unsigned label, unsigned id) {
            std::string const text = f_text(texts, label);
            std::string const words = text.substr(2, text.rfind("%2") - 2);
            return "\n\n**" + words + "** " + f_text(texts, id);
        };
        for (ICMessageCatalog::MESSAGE const & message : ICMessageCatalog::mf_getMessages())
            EXPECT_THAT(page, HasSubstr(labelled(IDS_LABEL_EXPLANATION, message.mf_getExplanationId()) +
                                        labelled(IDS_LABEL_SYSTEM_ACTION, message.mf_getSystemActionId()) +
                                        labelled(IDS_LABEL_USER_RESPONSE, message.mf_getUserResponseId()) + "\n\n#"));
    });
}

TEST(ICCatalogPage, ErrorConstants_StandOnceEach)
{
    f_onEachPage([](LanguageLibrary const & texts, std::string const & page) {
        std::vector<std::vector<std::string>> expected;
        for (ICMessageCatalog::SEVERITY const & severity : ICMessageCatalog::mf_getSeverities())
            for (ICMessageCatalog::ERROR_CONSTANT const & constant : severity.constants)
                expected.push_back({f_number(constant.number), f_utf8(constant.name), f_text(texts, constant.textId)});
        std::vector<std::vector<std::string>> found;
        for (std::string const & row : f_linesWith(page, "| 0x"))
            found.push_back(f_cells(row));
        EXPECT_EQ(expected, found);
    });
}

TEST(ICCatalogPage, Tables_HaveTheirColumnsBelowEachOther)
{
    f_onEachPage([](LanguageLibrary const & texts, std::string const & page) {
        std::vector<std::string> const headings = {f_text(texts, IDS_CATALOG_NUMBER), f_text(texts, IDS_CATALOG_NAME),
                                                   f_text(texts, IDS_CATALOG_TEXT)};
        std::size_t lastColumn = 0;
        std::string before;
        for (std::string const & row : f_linesWith(page, "| ")) {
            if (row.starts_with("| ---")) {
                EXPECT_EQ(headings, f_cells(before));
                lastColumn = row.rfind("| ---");
            } else if (row.starts_with("| 0x")) {
                EXPECT_EQ(lastColumn, row.find("| ", row.find("| ", 2) + 2)) << row;
            }
            before = row;
        }
        EXPECT_GT(lastColumn, 0u);
    });
}

TEST(ICCatalogPage, HeadingsOfWideCharacters_CountTwice)
{
    std::string const page = f_utf8(ICCatalogPage(LanguageLibrary(L"jpn").mf_getHandle()).mf_get());
    std::vector<std::string> const rows = f_linesWith(page, "| ");
    // Two characters of three bytes and two columns each.
    EXPECT_THAT(rows.at(0), StartsWith("| \xe7\x95\xaa\xe5\x8f\xb7       | \xe5\x90\x8d\xe5\x89\x8d              | "));
    EXPECT_THAT(rows.at(1), StartsWith("| ---------- | ----------------- | "));
}

TEST(ICCatalogPage, NothingIsLeftOfThePlacesOfInserts)
{
    f_onEachPage([](LanguageLibrary const &, std::string const & page) {
        EXPECT_THAT(page, Not(HasSubstr("%")));
        EXPECT_THAT(page, Not(HasSubstr("<")));
        EXPECT_THAT(page, Not(HasSubstr(">")));
    });
}

TEST(ICCatalogPage, Lines_AreThoseOfAPlainFile)
{
    f_onEachPage([](LanguageLibrary const &, std::string const & page) {
        EXPECT_THAT(page, Not(HasSubstr("\r")));
        EXPECT_THAT(page, Not(HasSubstr("\t")));
        EXPECT_THAT(page, Not(HasSubstr(" \n")));
        EXPECT_THAT(page, Not(HasSubstr("\n\n\n")));
        EXPECT_TRUE(page.ends_with(" |\n"));
    });
}

TEST(ICCatalogPage, LanguageWithoutAText_HasNoPage)
{
    ICCatalogPage page(nullptr);
    EXPECT_THROW(page.mf_get(), ICErrno);
}

// The pages are kept in the source tree, for those who read there.
TEST(ICCatalogPage, PagesOfTheSourceTree_AreWhatTheTextsSay)
{
    std::set<std::wstring> expected;
    for (ICCatalog::PAGE const & page : f_pages()) {
        expected.insert(page.name.GetString());
        std::wstring const file = f_inSources(L"docs\\messages\\" + std::wstring(page.name));
        EXPECT_TRUE(f_isThere(file) && f_readFile(file) == page.text)
            << "docs/messages/" << f_utf8(page.name)
            << " is out of date: run ./dev catalog and check in what it writes";
    }
    std::set<std::wstring> found;
    for (auto const & entry : std::filesystem::directory_iterator(f_inSources(L"docs\\messages")))
        found.insert(entry.path().filename().wstring());
    EXPECT_EQ(expected, found) << "not all of docs/messages is written by ./dev catalog";
}
