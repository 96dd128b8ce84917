// hsmscan in the pseudo-language: a word without accents doesn't come from the resources, and what is cut, runs over
// its line or leaves its column did so because the texts are longer.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/system/ICSystem.h"
#include "tests/hsmscan/HsmscanProgram.h"
#include "tests/hsmscan/ShownText.h"
#include "tests/languages/LanguageLists.h"
#include "tests/languages/PseudoLanguage.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

constexpr std::size_t LINE_WIDTH = 79;

// What is rightly the same in every language, wherever it stands.
constexpr wchar_t const * NO_TEXTS[] = {
    L"--[a-z-]+",                                  // options
    L"[A-Z]:\\\\[^\\s']*",                         // paths
    L"\\\\\\\\[^\\s']*",                           //
    L"Volume\\{[0-9a-f-]+\\}[^\\s']*",             //
    L"'[A-Z]:'|\\b[A-Z]:(?=\\s)",                  // a drive
    L"KVR[0-9]{5}E",                               // numbers
    L"0x[0-9a-f]{8}",                              //
    L"\\([EWSI](?=: )",                            // severities in front of an error's text
    L"\\bDRIVE_FIXED\\b|\\bNTFS\\b|\\bARCHIVE\\b", // names of the system
    L"\\bCP[0-9]+",                                //
};

// An originator's name and message are those of the system: they fill their row.
constexpr wchar_t const * ORIGINATOR = L"System(, [^:]*: )[^-]*";

// Words without a letter that has an accented form.
constexpr std::wstring_view BARE_WORDS[] = {L"S", L"T", L"X", L"F", L"K", L"L", L"M", L"G", L"W"};

class HsmscanPseudo : public Hsmscan
{
protected:
    HsmscanPseudo()
    {
        m_registry.mf_writeText(L"", L"LanguageDir", f_besideProgram(L"pseudo"));
        m_registry.mf_writeText(L"", L"Language", L"German");
    }

    // The words that can't be the resources'. `others`: what is rightly no text in this output.
    static std::vector<std::wstring> mf_strangers(std::string const & output, std::vector<std::wstring> others = {})
    {
        std::wstring text = f_flat(f_shown(output));
        text = std::regex_replace(text, std::wregex(ORIGINATOR), L"$1");
        for (wchar_t const * const noText : NO_TEXTS)
            text = std::regex_replace(text, std::wregex(noText), L" ");
        for (std::wstring const & other : others)
            for (std::size_t at = text.find(other); at != text.npos; at = text.find(other))
                text.replace(at, other.length(), L" ");
        std::vector<std::wstring> strangers;
        std::wregex const word(L"[A-Za-z" + std::wstring(PSEUDO_LETTERS) + L"]+");
        for (std::wsregex_iterator at(text.begin(), text.end(), word), end; at != end; ++at)
            if (!mf_isPseudo(at->str())) strangers.push_back(at->str());
        return strangers;
    }

    // The line of a failure's number is never wrapped.
    static std::vector<std::wstring> mf_longLines(std::string const & output)
    {
        std::vector<std::wstring> lines = f_linesOf(f_shown(output));
        std::wregex const number(L".*  0x[0-9a-f]{8} \\([SEWI]: .*");
        std::erase_if(lines, [&number](std::wstring const & line) {
            return line.length() <= LINE_WIDTH || std::regex_match(line, number);
        });
        return lines;
    }

    // Where the value of a row begins: behind the first two blanks within the line, or behind a colon.
    static std::size_t mf_valueColumn(std::wstring const & row)
    {
        std::size_t const label = row.find_first_not_of(L' ');
        return row.find_first_not_of(L' ', row.find(L"  ", label));
    }

    // The text as the program gets it.
    std::wstring mf_text(unsigned id) const { return m_library.mf_getText(id); }

    LanguageLibrary const m_library{PSEUDO_LANGUAGE};

private:
    static bool mf_isPseudo(std::wstring const & word)
    {
        if (std::ranges::find(BARE_WORDS, word) != std::end(BARE_WORDS)) return true;
        return f_hasOneOf(word, PSEUDO_LETTERS) && !f_hasOneOf(word, PLAIN_LETTERS);
    }
};

} // namespace

TEST_F(HsmscanPseudo, Strangers_AreFound)
{
    EXPECT_THAT(mf_strangers("Þààth C:\\data\\a.bin  --list"), IsEmpty());
    EXPECT_THAT(mf_strangers("Þààth and ÞÅÅth"), testing::ElementsAre(L"and"));
    EXPECT_THAT(mf_strangers("Þààths of 5 M"), testing::ElementsAre(L"Þààths", L"of"));
    EXPECT_THAT(mf_strangers("vöölüüméé data here", {L"data"}), testing::ElementsAre(L"here"));
}

TEST_F(HsmscanPseudo, Help_IsWholeWithinTheWidthOfAConsole)
{
    RUN const run = mf_run({L"--help"});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_THAT(mf_strangers(run.output), IsEmpty());
    EXPECT_THAT(mf_longLines(run.output), IsEmpty());
    std::wstring const shown = f_flat(f_shown(run.output));
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        std::wstring const name = id.name;
        if (!name.starts_with(L"IDS_HSMSCAN_") || !name.ends_with(L"_HELP")) continue;
        EXPECT_THAT(shown, HasSubstr(mf_text(id.number - 1) + L" " + mf_text(id.number))) << run.output;
    }
    EXPECT_THAT(shown, HasSubstr(mf_text(IDS_HSMSCAN_PURPOSE)));
}

TEST_F(HsmscanPseudo, Help_HasTwoColumns)
{
    RUN const run = mf_run({L"--help"});
    std::vector<std::wstring> const lines = f_linesOf(f_shown(run.output));
    auto const first = std::ranges::find(lines, mf_text(IDS_HSMSCAN_OPTIONS)) + 1;
    ASSERT_LT(first, lines.end());
    std::size_t const column = mf_valueColumn(*first);
    for (auto line = first; line != lines.end(); ++line)
        EXPECT_EQ(column, line->starts_with(L"  --") ? mf_valueColumn(*line) : line->find_first_not_of(L' '))
            << testing::PrintToString(*line);
}

TEST_F(HsmscanPseudo, Version_IsTold)
{
    RUN const run = mf_run({L"--version"});
    EXPECT_THAT(mf_strangers(run.output), IsEmpty());
    EXPECT_THAT(run.output, HasSubstr("8.1.2"));
}

TEST_F(HsmscanPseudo, Scan_KeepsItsColumns)
{
    m_directory.mf_makeFile(L"one\\a.bin", std::string(123'456, 'a'));
    m_directory.mf_makeFile(L"b.bin", "12345");
    RUN const run =
        mf_run({L"--min-size", L"1K", L"--min-age", L"0", L"--list", m_logs / L"list", m_directory.mf_getPath()});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_THAT(mf_strangers(run.output), IsEmpty());
    std::vector<std::wstring> const lines = f_linesOf(f_shown(run.output));
    auto const totals = std::ranges::find(lines, mf_text(IDS_HSMSCAN_HEADING_TOTALS));
    auto const largest = std::ranges::find(lines, mf_text(IDS_HSMSCAN_HEADING_LARGEST));
    ASSERT_LT(largest + 2, lines.end());
    std::wstring const finished = L"  " + mf_text(IDS_HSMSCAN_TOTAL_FINISHED);
    for (auto line = totals + 1; !line->starts_with(finished); ++line) {
        ASSERT_LT(line, largest);
        EXPECT_EQ(totals[1].length(), line->length()) << testing::PrintToString(*line);
    }
    EXPECT_EQ(largest[1].find(m_directory.mf_getPath()), largest[2].find(m_directory.mf_getPath()));
    EXPECT_EQ(lines.back(), mf_text(IDS_HSMSCAN_COMPLETED));
}

TEST_F(HsmscanPseudo, MachineReport_KeepsItsColumns)
{
    RUN const run = mf_run({L"--volumes", L"--system"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    ASSERT_TRUE(::GetComputerNameW(name, &length));
    std::wstring const version = ICSystem::mf_getSystemVersionString().GetString();
    EXPECT_THAT(mf_strangers(run.output, {version, name}), IsEmpty());
    int rows = 0;
    for (std::wstring const & line : f_linesOf(f_shown(run.output))) {
        if (!line.starts_with(L"  ") || line.ends_with(version)) continue;
        EXPECT_EQ(26u, line.find_first_not_of(L' ', line.find(L':') + 1)) << testing::PrintToString(line);
        ++rows;
    }
    EXPECT_GT(rows, 30);
}

TEST_F(HsmscanPseudo, PathReport_KeepsItsColumns)
{
    std::wstring const file = m_directory.mf_makeFile(L"a.bin", "12345");
    RUN const run = mf_run({L"--explain", file});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    ASSERT_TRUE(::GetComputerNameW(name, &length));
    std::wstring const folder = file.substr(2, file.rfind(L'\\') - 1);
    EXPECT_THAT(mf_strangers(run.output, {folder + L"a.bin", folder, L"a.bin", name}), IsEmpty());
    std::vector<std::wstring> const lines = f_linesOf(f_shown(run.output));
    ASSERT_EQ(20u, lines.size());
    for (std::wstring const & line : lines)
        EXPECT_EQ(mf_valueColumn(lines[0]), mf_valueColumn(line)) << testing::PrintToString(line);
}

TEST_F(HsmscanPseudo, ExplainedMessages_StandWithinTheWidthOfAConsole)
{
    RUN const run = mf_run({L"--explain-message", L"KVR27069E", L"--explain-message", L"KVR29006E"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_THAT(mf_strangers(run.output), IsEmpty());
    EXPECT_THAT(mf_longLines(run.output), IsEmpty());
    std::wstring const shown = f_flat(f_shown(run.output));
    for (int const text : {IDS_KVR27069_TEXT, IDS_KVR29006_TEXT})
        for (int const further : {1, 2, 3})
            EXPECT_THAT(shown + L" ", HasSubstr(L": " + mf_text(static_cast<unsigned>(text + further)) + L" "))
                << run.output;
}

TEST_F(HsmscanPseudo, ExplainedErrorNumber_KeepsItsColumns)
{
    RUN const run = mf_run({L"--explain-message", L"0x0300002b", L"--explain-message", L"q"});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(mf_strangers(run.output, {L"ICErrno::_E_::FileNotFound"}), IsEmpty());
    EXPECT_THAT(mf_strangers(run.errors, {L"'q'"}), IsEmpty());
    std::vector<std::wstring> const lines = f_linesOf(f_shown(run.output));
    ASSERT_EQ(4u, lines.size());
    for (std::wstring const & line : lines)
        EXPECT_EQ(mf_valueColumn(lines[0]), mf_valueColumn(line)) << testing::PrintToString(line);
}

TEST_F(HsmscanPseudo, ErrorsOfTheCommandLine_AreTold)
{
    std::pair<std::vector<std::wstring>, unsigned> const rows[] = {
        {{L"--frob", L"x"}, IDS_HSMSCAN_UNKNOWN_OPTION},
        {{L"x", L"--min-age"}, IDS_HSMSCAN_VALUE_MISSING},
        {{L"--min-size", L"12", L"--min-age", L"q", L"x"}, IDS_HSMSCAN_VALUE_INVALID},
        {{}, IDS_HSMSCAN_NO_PATH},
        {{L"--language", L"q", L"x"}, IDS_HSMSCAN_LANGUAGE_UNKNOWN},
        {{L"--language", L"Hungarian", L"x"}, IDS_HSMSCAN_LANGUAGE_NOT_INSTALLED},
    };
    for (auto const & [arguments, id] : rows) {
        RUN const run = mf_run(arguments);
        EXPECT_EQ(2u, run.exitCode);
        EXPECT_THAT(mf_strangers(run.errors, {L"'q'", L"'Hungarian'"}), IsEmpty());
        std::wstring const text = mf_text(id);
        EXPECT_THAT(f_shown(run.errors), testing::StartsWith(text.substr(0, text.find(L'%')))) << run.errors;
    }
}

TEST_F(HsmscanPseudo, Failures_AreRenderedWithinTheWidthOfAConsole)
{
    std::wstring const nowhere = L"C:\\nowhere\\x";
    struct
    {
        std::vector<std::wstring> arguments;
        unsigned text;
    } const rows[] = {
        {{nowhere}, IDS_KVR29002_TEXT},
        {{L"--explain", L"\\\\host"}, IDS_KVR29003_TEXT},
        {{L"--list", nowhere, m_directory.mf_getPath()}, IDS_KVR29004_TEXT},
        {{L"--backup-settings", nowhere}, IDS_KVR29005_TEXT},
        {{L"--restore-settings", nowhere}, IDS_KVR29006_TEXT},
        {{L"--log-level", L"EQ", L"C:\\"}, IDS_KVR27069_TEXT},
    };
    for (auto const & row : rows) {
        RUN const run = mf_run(row.arguments);
        EXPECT_EQ(2u, run.exitCode);
        EXPECT_THAT(mf_strangers(run.errors, {L"hsmscan"}), IsEmpty()) << run.errors;
        EXPECT_THAT(mf_strangers(run.output), IsEmpty()) << run.output;
        EXPECT_THAT(mf_longLines(run.errors), IsEmpty());
        std::wstring const shown = f_flat(f_shown(run.errors));
        for (unsigned const further : {1u, 2u, 3u})
            EXPECT_THAT(shown, HasSubstr(L": " + mf_text(row.text + further) + L" ")) << run.errors;
    }
}

TEST_F(HsmscanPseudo, DirectoryThatCannotBeRead_IsToldAndCounted)
{
    m_registry.mf_writeNumber(L"Debug", L"SYS", 0x800);
    RUN const run = mf_run({m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("KVR29001E: "));
    EXPECT_THAT(mf_strangers(run.errors), IsEmpty()) << run.errors;
    EXPECT_THAT(mf_strangers(run.output), IsEmpty()) << run.output;
    EXPECT_EQ(f_linesOf(f_shown(run.output)).back(), mf_text(IDS_HSMSCAN_COMPLETED_WITH_FAILURES));
}

TEST_F(HsmscanPseudo, LogDirectoryThatCannotBeMade_IsTold)
{
    RUN const run = mf_run({L"--log-dir", m_directory.mf_makeFile(L"file") + L"\\logs", m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(mf_strangers(run.errors), IsEmpty()) << run.errors;
}

TEST_F(HsmscanPseudo, SettingsThatAreMoved_AreNotTold)
{
    std::wstring const file = m_directory / L"settings.reg";
    for (wchar_t const * const option : {L"--backup-settings", L"--restore-settings"}) {
        RUN const run = mf_run({option, file});
        EXPECT_EQ(0u, run.exitCode);
        EXPECT_EQ("", run.output + run.errors);
    }
}
