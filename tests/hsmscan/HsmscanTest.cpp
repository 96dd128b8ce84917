#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/context/ICLanguageDirectory.h"
#include "tests/hsmscan/HsmscanProgram.h"
#include "tests/support/ICTraceReader.h"
#include "tests/support/ICUnixHost.h"

using testing::Contains;
using testing::HasSubstr;
using testing::Not;

TEST_F(Hsmscan, Scan_PrintsTotalsInTwoColumns)
{
    m_directory.mf_makeFile(L"one\\a.bin", std::string(3000, 'a'));
    m_directory.mf_makeFile(L"b.bin", "12345", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
    RUN const run = mf_run({L"--min-size", L"1K", L"--min-age", L"0", m_directory.mf_getPath()});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_EQ("", run.errors);
    EXPECT_EQ(2, mf_total(run.output, "Files"));
    EXPECT_EQ(2, mf_total(run.output, "Directories"));
    EXPECT_EQ(3005, mf_total(run.output, "Bytes"));
    EXPECT_EQ(1, mf_total(run.output, "Hidden"));
    EXPECT_EQ(1, mf_total(run.output, "Worth migrating \\(files\\)"));
    EXPECT_EQ(3000, mf_total(run.output, "Worth migrating \\(bytes\\)"));
    EXPECT_EQ(0, mf_total(run.output, "Directories that could not be read"));
    EXPECT_THAT(run.output, HasSubstr("3,000  "));
    EXPECT_THAT(run.output, HasSubstr("one\\a.bin"));
}

// The host's own tools count the same tree from below: what they see through links to files, each file once, and no
// broken links.
TEST_F(Hsmscan, Totals_AgreeWithTheHostsOwnCount)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "the second opinion is the host's";
    std::wstring const counts = m_directory.mf_makeFile(L"counts");
    std::wstring const script =
        m_directory.mf_makeFile(L"script", "cd /usr/share && files='! -type d ! -xtype l ! -xtype d'\n"
                                           "each() { find . $files -exec stat -L -c '%d:%i %s' {} + | sort -u; }\n"
                                           "each | wc -l\n"
                                           "find . -xtype d | wc -l\n"
                                           "each | awk '{ sum += $2 } END { printf \"%.0f\\n\", sum }'\n");
    ASSERT_TRUE(f_runOnHost(L"sh " + f_hostPath(script) + L" > " + f_hostPath(counts)));
    std::istringstream expected(f_readFile(counts));
    long long fileCount = 0, directoryCount = 0, bytes = 0;
    expected >> fileCount >> directoryCount >> bytes;
    ASSERT_GT(fileCount, 100);
    RUN const run = mf_run({L"Z:\\usr\\share"});
    EXPECT_EQ(fileCount, mf_total(run.output, "Files"));
    EXPECT_EQ(directoryCount, mf_total(run.output, "Directories"));
    EXPECT_EQ(bytes, mf_total(run.output, "Bytes"));
}

TEST_F(Hsmscan, FileNamesOfAllScripts_ArePrintedAsUtf8)
{
    m_directory.mf_makeFile(L"\u0416\u65e5\u00e9.bin", "1");
    RUN const run = mf_run({m_directory.mf_getPath()});
    EXPECT_THAT(run.output, HasSubstr("\xd0\x96\xe6\x97\xa5\xc3\xa9.bin"));
}

TEST_F(Hsmscan, SeveralPaths_AreAddedUpAndAFailureTellsInTheExitCode)
{
    m_directory.mf_makeFile(L"one\\a", "1");
    m_directory.mf_makeFile(L"two\\a", "1");
    RUN const run = mf_run({m_directory / L"one", m_directory / L"missing", m_directory / L"two"});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_EQ(2, mf_total(run.output, "Files"));
    EXPECT_EQ(2, mf_total(run.output, "Directories"));
    EXPECT_THAT(run.errors, HasSubstr("KVR29002E: "));
    EXPECT_THAT(run.errors, HasSubstr("missing"));
    EXPECT_THAT(run.errors, HasSubstr(std::string(78, '=')));
    EXPECT_THAT(run.errors, HasSubstr("Explanation: "));
}

TEST_F(Hsmscan, Language_SwitchesAllTextsAndIsKept)
{
    for (auto const & arguments : {std::vector<std::wstring>{L"--language", L"German", m_directory.mf_getPath()},
                                   std::vector<std::wstring>{m_directory.mf_getPath()}}) {
        RUN const run = mf_run(arguments);
        EXPECT_EQ(0u, run.exitCode) << run.errors;
        EXPECT_EQ(1, mf_total(run.output, "Verzeichnisse"));
        EXPECT_THAT(run.output, Not(HasSubstr("Directories")));
    }
    EXPECT_EQ(L"German", m_registry.mf_readText(L"", L"Language"));
}

TEST_F(Hsmscan, LanguagesThatCannotBeHad_AreRefusedAndLeaveTheConfiguration)
{
    RUN const unknown = mf_run({L"--language", L"german", m_directory.mf_getPath()});
    EXPECT_EQ(2u, unknown.exitCode);
    EXPECT_THAT(unknown.errors, HasSubstr("The language 'german' is not known."));
    ICLanguageFolder folder;
    folder.mf_place(ICLanguageFolder::ENGLISH, ICLanguageFolder::ENGLISH);
    m_registry.mf_writeText(L"", L"Language", L"German");
    m_registry.mf_writeText(L"", L"LanguageDir", folder.mf_getDirectory().mf_getPath());
    RUN const absent = mf_run({L"--language", L"Hungarian", m_directory.mf_getPath()});
    EXPECT_EQ(2u, absent.exitCode);
    EXPECT_THAT(absent.errors, HasSubstr("'Hungarian'"));
    EXPECT_EQ(L"German", m_registry.mf_readText(L"", L"Language"));
}

TEST_F(Hsmscan, Help_ListsTheOptionsWithinTheWidthOfAConsole)
{
    RUN const run = mf_run({L"--help"});
    EXPECT_EQ(0u, run.exitCode);
    for (char const * const option :
         {"hsmscan [options] [PATH...]", "--min-size", "--min-age", "--largest", "--language", "--root", "--volumes",
          "--system", "--explain ", "--explain-message", "--threads", "--list", "--quiet", "--backup-settings",
          "--restore-settings", "--help", "--version"})
        EXPECT_THAT(run.output, HasSubstr(option));
    std::istringstream lines(run.output);
    for (std::string line; std::getline(lines, line);)
        EXPECT_LE(line.size(), 80u) << line;
}

TEST_F(Hsmscan, Volumes_AreThoseOfTheMachine)
{
    RUN const run = mf_run({L"--volumes"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr("Volume C:\\\r\n"));
    EXPECT_THAT(run.output, HasSubstr("\\\\?\\Volume{"));
    EXPECT_THAT(run.output, Not(HasSubstr("Totals"))) << "nothing was to be scanned";
}

TEST_F(Hsmscan, System_TellsHostAndDirectories)
{
    wchar_t name[MAX_COMPUTERNAME_LENGTH + 1] = {};
    DWORD length = MAX_COMPUTERNAME_LENGTH + 1;
    ASSERT_TRUE(::GetComputerNameW(name, &length));
    RUN const run = mf_run({L"--system"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_THAT(run.output, HasSubstr(std::string(name, name + length)));
    EXPECT_THAT(run.output, HasSubstr("This system\r\n"));
}

TEST_F(Hsmscan, Explain_ShowsEveryFormOfAPathAndWhatLiesThere)
{
    std::wstring const file = m_directory.mf_makeFile(L"a.bin", "12345");
    RUN const run = mf_run({L"--explain", file});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_EQ("", run.errors);
    std::string const path(file.begin(), file.end());
    EXPECT_EQ(path, mf_row(run.output, "Path"));
    EXPECT_EQ("a.bin", mf_row(run.output, "File"));
    EXPECT_EQ("Yes", mf_row(run.output, "On a local volume"));
    EXPECT_EQ(path, mf_row(run.output, "Form with drive letter"));
    EXPECT_EQ("\\\\?\\" + path, mf_row(run.output, "Long form"));
    EXPECT_THAT(mf_row(run.output, "Form with server"), testing::EndsWith("$" + path.substr(2)));
    EXPECT_THAT(mf_row(run.output, "Form with volume id"), testing::StartsWith("Volume{"));
    EXPECT_EQ("-", mf_row(run.output, "Form of a shadow copy"));
    EXPECT_EQ(path.substr(0, 3), mf_row(run.output, "Root of the volume"));
    EXPECT_EQ("NTFS", mf_row(run.output, "File system"));
    EXPECT_EQ("ARCHIVE", mf_row(run.output, "Attributes"));
    EXPECT_THAT(mf_row(run.output, "Last written"), testing::MatchesRegex("\\d+/\\d+/\\d+ \\d+:\\d+:\\d+"));
    EXPECT_EQ("5", mf_row(run.output, "Bytes"));
    EXPECT_EQ("No", mf_row(run.output, "Opening recalls data"));
}

TEST_F(Hsmscan, Explain_TakesWhatIsNotThere)
{
    RUN const run = mf_run({L"--explain", m_directory / L"none", L"--explain", L"\\\\host\\share\\dir\\"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_EQ("none", mf_row(run.output, "File"));
    EXPECT_EQ("No", mf_row(run.output, "Exists"));
    std::string const second = run.output.substr(run.output.rfind("Path  "));
    EXPECT_EQ("HOST", mf_row(second, "Server"));
    EXPECT_EQ("SHARE", mf_row(second, "Volume or share"));
    EXPECT_EQ("\\dir\\", mf_row(second, "Directory"));
    EXPECT_EQ("-", mf_row(second, "Form with drive letter"));
}

TEST_F(Hsmscan, Explain_OfWhatIsNoPath_IsAFailureInTheConsoleForm)
{
    RUN const run = mf_run({L"--explain", L"\\\\host"});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("KVR29003E: "));
    EXPECT_EQ("\\\\host", mf_row(run.output, "Path"));
}

TEST_F(Hsmscan, BadOptions_AreToldInOneSentence)
{
    struct
    {
        std::vector<std::wstring> arguments;
        char const * sentence;
    } const rows[] = {{{L"--frobnicate", L"x"}, "The option '--frobnicate' is not known."},
                      {{L"x", L"--min-age"}, "The option '--min-age' needs a value."},
                      {{L"--min-size", L"12Q", L"x"}, "The value '12Q' of the option '--min-size' is not valid."},
                      {{}, "No path was given."}};
    for (auto const & row : rows) {
        RUN const run = mf_run(row.arguments);
        EXPECT_EQ(2u, run.exitCode);
        EXPECT_EQ("", run.output);
        EXPECT_THAT(run.errors, HasSubstr(row.sentence));
        EXPECT_THAT(run.errors, HasSubstr("--help"));
    }
}

TEST_F(Hsmscan, Version_IsThatOfTheLibrary)
{
    EXPECT_THAT(mf_run({L"--version"}).output, HasSubstr("8.1.2"));
}

TEST_F(Hsmscan, SettingsOfTheWrongKind_AreAFailureInTheConsoleForm)
{
    m_registry.mf_writeNumber(L"", L"LanguageDir", 5);
    RUN const run = mf_run({m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("0x03000071 (E: "));
}

TEST_F(Hsmscan, FullMessage_StandsOnTheConsoleAndOnceInTheAdministratorsLog)
{
    RUN const run = mf_run({m_directory / L"missing", m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    for (char const * const part : {"KVR29002E: ", "Explanation:", "System action:", "User response:"})
        EXPECT_THAT(run.errors, HasSubstr(part));
    std::string const lines = f_readFile(m_logs / L"hsmscan-admin.log");
    EXPECT_TRUE(
        std::regex_match(lines, std::regex("[0-9]{2}/[0-9]{2}/20[0-9]{2} [0-9:]{8} KVR29002E [^\r]*missing[^\r]*\r\n")))
        << lines;
}

TEST_F(Hsmscan, TraceLog_TellsTheFailuresOfTheScan)
{
    mf_run({m_directory / L"missing"});
    EXPECT_THAT(f_readTrace(m_logs / L"hsmscan.log"),
                Contains(f_isRecord('E', "ICPath::mf_getAttributes", HasSubstr("missing"))));
}

TEST_F(Hsmscan, LogLevel_IsForThisRun)
{
    mf_run({L"--log-level", L"c", m_directory.mf_getPath()});
    mf_run({m_directory.mf_getPath()});
    auto const level = [](char const * slots) {
        return f_isRecord('I', "ICLog::mf_setLogLevel", std::string("Log level changed, log slots = ") + slots);
    };
    auto const records = f_readTrace(m_logs / L"hsmscan.log");
    EXPECT_THAT(records, Not(Contains(level("0x01000003")))) << "by then I is off";
    EXPECT_THAT(records, Contains(f_isRecord('I', "ICStatus::mf_setStatus", testing::_)).Times(2)) << "both runs";
    mf_run({L"--log-level", L"I", m_directory.mf_getPath()});
    EXPECT_THAT(f_readTrace(m_logs / L"hsmscan.log"), Contains(level("0x00000103")));
}

TEST_F(Hsmscan, LogLevelThatIsNone_IsAFailureInTheConsoleForm)
{
    RUN const run = mf_run({L"--log-level", L"EQ", m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("KVR27069E: "));
    EXPECT_THAT(run.output, Not(HasSubstr("Totals")));
    EXPECT_THAT(f_readFile(m_logs / L"hsmscan-admin.log"), HasSubstr("KVR27069E"));
}

TEST_F(Hsmscan, LogSize_IsKept)
{
    mf_run({L"--log-size", L"100001", m_directory.mf_getPath()});
    EXPECT_THAT(f_readTrace(m_logs / L"hsmscan.log"),
                Contains(f_isRecord('I', "ICLog::mf_updateParameters", HasSubstr("-> 100352 bytes/66%"))));
    EXPECT_EQ(std::string("\x62\0\0\0", 4), m_registry.mf_read(L"", L"LogFileSize")->m_bytes);
}

TEST_F(Hsmscan, LogDirectoryThatCannotBeMade_IsAFailureInTheConsoleForm)
{
    std::wstring const file = m_directory.mf_makeFile(L"file");
    RUN const run = mf_run({L"--log-dir", file + L"\\logs", m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("System, error code"));
    EXPECT_EQ("", run.output);
}

TEST_F(Hsmscan, Threads_MakeNoDifferenceToWhatIsPrinted)
{
    auto const printed = [this](wchar_t const * threads) {
        RUN const run = mf_run({L"--threads", threads, L"--min-size", L"1", L"--min-age", L"0", L"Z:\\usr\\share"});
        EXPECT_EQ(0u, run.exitCode) << run.errors;
        return std::regex_replace(run.output, std::regex("Finished[^\r]*"), "");
    };
    std::string const one = printed(L"1");
    for (wchar_t const * const threads : {L"2", L"8", L"64"})
        EXPECT_EQ(one, printed(threads));
}

TEST_F(Hsmscan, List_HoldsWhatIsWorthMigratingInTheOrderOfPaths)
{
    m_directory.mf_makeFile(L"d\\b.bin", std::string(2000, 'b'));
    m_directory.mf_makeFile(L"d\\\u0416.bin", std::string(2000, 'a'));
    m_directory.mf_makeFile(L"d\\small.bin", "1");
    std::wstring const list = m_directory.mf_makeFile(L"list.txt", "the old list");
    RUN const run = mf_run({L"--min-size", L"1K", L"--min-age", L"0", L"--list", list, m_directory / L"d"});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    std::wstring const directory = m_directory / L"d\\";
    std::string const path(directory.begin(), directory.end());
    EXPECT_EQ(path + "b.bin\r\n" + path + "\xd0\x96.bin\r\n", f_readFile(list));
}

TEST_F(Hsmscan, ListThatCannotBeWritten_IsToldBeforeTheScan)
{
    RUN const run = mf_run({L"--list", m_directory / L"missing\\list.txt", m_directory.mf_getPath()});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_THAT(run.errors, HasSubstr("KVR29004E: "));
    EXPECT_THAT(run.output, Not(HasSubstr("Scanning")));
}

TEST_F(Hsmscan, Numbers_DatesAndTimes_AreInTheFormatsOfTheMachine)
{
    m_directory.mf_makeFile(L"a.bin", std::string(1234567, 'a'));
    EXPECT_THAT(mf_run({m_directory.mf_getPath()}).output, HasSubstr(" 1,234,567\r\n"));
    m_registry.mf_writeNumber(L"", L"NumFmt", 5);
    m_registry.mf_writeNumber(L"", L"DateFmt", 3);
    m_registry.mf_writeNumber(L"", L"TimeFmt", 2);
    std::string const output = mf_run({m_directory.mf_getPath()}).output;
    EXPECT_THAT(output, HasSubstr(" 1'234'567\r\n"));
    EXPECT_TRUE(std::regex_search(
        output, std::regex("Finished +[0-9]{2}\\.[0-9]{2}\\.20[0-9]{2} [0-9]{2}\\.[0-9]{2}\\.[0-9]{2}\r")))
        << output;
}

TEST_F(Hsmscan, FaultPoint_MakesEachDirectoryFailWhileItIsOn)
{
    m_directory.mf_makeFile(L"d\\a", "1");
    m_registry.mf_writeNumber(L"Debug", L"SYS", 0x800);
    RUN const failing = mf_run({m_directory.mf_getPath()});
    EXPECT_EQ(2u, failing.exitCode);
    EXPECT_EQ(1, mf_total(failing.output, "Directories that could not be read"));
    EXPECT_THAT(failing.errors, HasSubstr("KVR29001E: "));
    EXPECT_THAT(failing.errors, HasSubstr("Debug exception, impersonating originator"));
    m_registry.mf_writeNumber(L"Debug", L"SYS", 0);
    EXPECT_EQ(0u, mf_run({m_directory.mf_getPath()}).exitCode);
}

TEST_F(Hsmscan, FaultPointsOfTheList_LeaveTheOldList)
{
    m_directory.mf_makeFile(L"d\\a", "12");
    std::wstring const list = m_directory.mf_makeFile(L"list.txt", "the old list");
    std::pair<wchar_t const *, ulong> const points[] = {{L"HSM", 0x001}, {L"SYS", 0x010}};
    for (auto const & [name, action] : points) {
        m_registry.mf_writeNumber(L"Debug", name, action);
        RUN const run = mf_run({L"--min-size", L"1", L"--min-age", L"0", L"--list", list, m_directory / L"d"});
        EXPECT_EQ(2u, run.exitCode) << run.output;
        EXPECT_THAT(run.errors, HasSubstr("KVR29004E: "));
        EXPECT_EQ("the old list", f_readFile(list));
        m_registry.mf_writeNumber(L"Debug", name, 0);
    }
    EXPECT_EQ(0u, mf_run({L"--min-size", L"1", L"--min-age", L"0", L"--list", list, m_directory / L"d"}).exitCode);
    EXPECT_NE("the old list", f_readFile(list));
}

TEST_F(Hsmscan, Settings_AreSavedAndBroughtBack)
{
    std::wstring const file = m_directory / L"settings.reg";
    m_registry.mf_writeNumber(L"", L"NumFmt", 5);
    RUN const saved = mf_run({L"--backup-settings", file});
    EXPECT_EQ(0u, saved.exitCode) << saved.errors;
    m_registry.mf_writeNumber(L"", L"NumFmt", 1);
    RUN const restored = mf_run({L"--restore-settings", file});
    EXPECT_EQ(0u, restored.exitCode) << restored.errors;
    EXPECT_EQ(std::string("\5\0\0\0", 4), m_registry.mf_read(L"", L"NumFmt")->m_bytes);
}

TEST_F(Hsmscan, SettingsThatCannotBeHad_AreAFailureInTheConsoleForm)
{
    RUN const restored = mf_run({L"--restore-settings", m_directory / L"missing.reg"});
    EXPECT_EQ(2u, restored.exitCode);
    EXPECT_THAT(restored.errors, HasSubstr("KVR29006E: "));
    RUN const saved = mf_run({L"--backup-settings", m_directory / L"missing\\settings.reg"});
    EXPECT_EQ(2u, saved.exitCode);
    EXPECT_THAT(saved.errors, HasSubstr("KVR29005E: "));
}
