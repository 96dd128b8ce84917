// What hsmscan shows in each language, in the columns of a console.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/hsmscan/HsmscanProgram.h"
#include "tests/hsmscan/ShownText.h"
#include "tests/languages/ConsoleColumns.h"
#include "tests/languages/LanguageLists.h"

using testing::HasSubstr;

namespace
{

constexpr std::size_t LINE_WIDTH = 79;

// What no line begins with, and what no line ends with.
constexpr std::wstring_view CLOSING = L"、。，：；？！）」』】》・ーっッゃャゅュょョ,.;:)";
constexpr std::wstring_view OPENING = L"（「『【《(";

class HsmscanLayout : public Hsmscan, public testing::WithParamInterface<LANGUAGE>
{
protected:
    HsmscanLayout() { m_registry.mf_writeText(L"", L"Language", ICLanguage::mf_getLanguageName(m_id, 0).GetString()); }

    // The lines from the one that begins with this text to the next empty one.
    static std::vector<std::wstring> mf_linesFrom(std::wstring const & begin, std::string const & output)
    {
        std::vector<std::wstring> const lines = f_linesOf(f_shown(output));
        auto const first =
            std::ranges::find_if(lines, [&](std::wstring const & line) { return line.starts_with(begin); });
        return {first, std::find(first, lines.end(), std::wstring())};
    }

    // The column of a row's value. A label has no blanks in a row, and none before a value are as many as two.
    static std::size_t mf_valueColumn(std::wstring const & row)
    {
        std::size_t const label = row.find_first_not_of(L' ');
        return f_columnsOf(row.substr(0, row.find_first_not_of(L' ', row.find(L"  ", label))));
    }

    static std::wstring mf_withoutBlanks(std::wstring text)
    {
        std::erase_if(text, [](wchar_t letter) { return letter == L' ' || letter == L'\r' || letter == L'\n'; });
        return text;
    }

    std::wstring mf_text(unsigned id) const { return m_library.mf_getText(id); }

    unsigned short const m_id = f_idOf(GetParam());
    LanguageLibrary const m_library{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(Languages, HsmscanLayout, testing::ValuesIn(LANGUAGES), [](auto const & language) {
    std::wstring const wide = language.param.code;
    return std::string(wide.begin(), wide.end());
});

} // namespace

TEST_P(HsmscanLayout, Help_IsWholeInTwoColumnsWithinALine)
{
    RUN const run = mf_run({L"--help"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    for (std::wstring const & line : f_linesOf(f_shown(run.output)))
        EXPECT_LE(f_columnsOf(line), LINE_WIDTH) << testing::PrintToString(line);
    std::vector<std::wstring> const lines = mf_linesFrom(L"  --", run.output);
    ASSERT_GT(lines.size(), 20u);
    std::size_t const column = mf_valueColumn(lines[0]);
    for (std::wstring const & line : lines) {
        std::size_t const begin = line.find_first_not_of(L' ');
        EXPECT_EQ(column, line.starts_with(L"  --") ? mf_valueColumn(line) : begin) << testing::PrintToString(line);
        EXPECT_EQ(CLOSING.npos, CLOSING.find(line[begin])) << testing::PrintToString(line);
        EXPECT_EQ(OPENING.npos, OPENING.find(line.back())) << testing::PrintToString(line);
    }
    std::wstring const shown = mf_withoutBlanks(f_shown(run.output));
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        std::wstring const name = id.name;
        if (!name.starts_with(L"IDS_HSMSCAN_") || !name.ends_with(L"_HELP")) continue;
        EXPECT_THAT(shown, HasSubstr(mf_withoutBlanks(mf_text(id.number - 1) + mf_text(id.number)))) << run.output;
    }
    EXPECT_THAT(shown, HasSubstr(mf_withoutBlanks(mf_text(IDS_HSMSCAN_PURPOSE))));
}

TEST_P(HsmscanLayout, Rows_HaveTheirValuesInOneColumn)
{
    std::wstring const file = m_directory.mf_makeFile(L"a.bin", std::string(12345, 'a'));
    RUN const run = mf_run({L"--volumes", L"--explain", file, m_directory.mf_getPath()});
    EXPECT_EQ(0u, run.exitCode) << run.errors;

    std::vector<std::wstring> volume =
        mf_linesFrom(L"  " + mf_text(IDS_VOLUME).substr(2, mf_text(IDS_VOLUME).find(L':') - 1), run.output);
    ASSERT_EQ(18u, volume.size()) << run.output;
    for (std::wstring const & row : volume)
        EXPECT_EQ(26u, f_columnsOf(row.substr(0, row.find_first_not_of(L' ', row.find(L':') + 1))))
            << testing::PrintToString(row);

    std::vector<std::wstring> path = mf_linesFrom(L"  " + mf_text(IDS_HSMSCAN_EXPLAIN_PATH) + L"  ", run.output);
    ASSERT_GT(path.size(), 20u) << run.output;
    path.resize(20); // What comes behind is of the scan.
    for (std::wstring const & row : path)
        EXPECT_EQ(mf_valueColumn(path[0]), mf_valueColumn(row)) << testing::PrintToString(row);

    std::vector<std::wstring> totals = mf_linesFrom(mf_text(IDS_HSMSCAN_HEADING_TOTALS), run.output);
    ASSERT_EQ(17u, totals.size()) << run.output;
    std::wstring const finished = totals.back();
    totals.pop_back();
    for (std::wstring const & row : std::vector(totals.begin() + 1, totals.end()))
        EXPECT_EQ(f_columnsOf(totals[1]), f_columnsOf(row)) << testing::PrintToString(row);
    EXPECT_EQ(f_columnsOf(totals[1]) - 20, mf_valueColumn(finished));
}
