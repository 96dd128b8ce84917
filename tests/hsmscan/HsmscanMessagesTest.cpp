// What hsmscan tells of messages and error numbers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/hsmscan/HsmscanProgram.h"
#include "tests/support/ICFiles.h"

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace
{

class HsmscanMessages : public Hsmscan
{
protected:
    static constexpr wchar_t EXPLAIN[] = L"--explain-message";

    // All below the first line.
    static std::string mf_details(std::string const & output) { return output.substr(output.find("\r\n")); }
};

} // namespace

TEST_F(HsmscanMessages, Message_ShowsItsTextsBesideTheirLabels)
{
    RUN const run = mf_run({EXPLAIN, L"KVR29002E"});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_EQ("", run.errors);
    EXPECT_EQ("KVR29002E: The path '<path>' does not exist or is not a directory.\r\n"
              "Explanation:   A scan starts from an existing directory. Nothing was found\r\n"
              "               under the given path, or what was found is not a directory.\r\n"
              "System action: The path is skipped. The scan continues with the next path, if\r\n"
              "               there is one.\r\n"
              "User response: Check the spelling of the path. Enclose a path that contains\r\n"
              "               blanks in double quotation marks.\r\n",
              run.output);
}

TEST_F(HsmscanMessages, Message_IsLaidOutAsWhereItIsRaised)
{
    for (wchar_t const * const language : {L"English", L"German"}) {
        std::string const raised = mf_run({L"--language", language, m_directory / L"missing"}).errors;
        std::string const explained = mf_run({EXPLAIN, L"KVR29002E"}).output;
        EXPECT_THAT(raised, HasSubstr(mf_details(explained)));
    }
}

TEST_F(HsmscanMessages, ErrorNumber_ShowsItsConstant)
{
    RUN const run = mf_run({EXPLAIN, L"300002B"});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_EQ("", run.errors);
    EXPECT_EQ("Number    0x0300002b\r\n"
              "Name      ICErrno::_E_::FileNotFound\r\n"
              "Severity  Error\r\n"
              "Text      File not found\r\n",
              run.output);
}

TEST_F(HsmscanMessages, Language_IsTheConfiguredOne)
{
    RUN const run = mf_run({L"--language", L"German", EXPLAIN, L"kvr27469e", EXPLAIN, L"0x02000034"});
    EXPECT_EQ(0u, run.exitCode);
    EXPECT_THAT(run.output, StartsWith("KVR27469E: Die Protokolldatei '<Datei>' kann nicht ge\xc3\xb6"
                                       "ffnet werden.\r\n"));
    EXPECT_THAT(run.output, HasSubstr("\r\nErl\xc3\xa4uterung:    "));
    EXPECT_EQ("0x02000034", mf_row(run.output, "Nummer"));
    EXPECT_EQ("ICErrno::_W_::Timeout", mf_row(run.output, "Name"));
    EXPECT_EQ("Warnung", mf_row(run.output, "Schweregrad"));
    EXPECT_THAT(mf_row(run.output, "Text"), Not(HasSubstr("imeout")));
}

TEST_F(HsmscanMessages, SeveralNumbers_AreExplainedInTheirOrder)
{
    std::string const all = mf_run({EXPLAIN, L"0x01000000", EXPLAIN, L"KVR27069E", EXPLAIN, L"0x01000000"}).output;
    std::string const error = mf_run({EXPLAIN, L"0x01000000"}).output;
    std::string const message = mf_run({EXPLAIN, L"KVR27069E"}).output;
    EXPECT_EQ(error + "\r\n" + message + "\r\n" + error, all);
}

TEST_F(HsmscanMessages, UnknownNumber_IsAnErrorAndTheOthersAreExplained)
{
    RUN const run = mf_run({EXPLAIN, L"KVR1", EXPLAIN, L"2b", EXPLAIN, L"KVR27069E"});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_EQ("There is no message and no error with the number 'KVR1'.\r\n"
              "There is no message and no error with the number '2b'.\r\n",
              run.errors);
    EXPECT_EQ(mf_run({EXPLAIN, L"KVR27069E"}).output, run.output);
    EXPECT_EQ("", mf_run({EXPLAIN, L"KVR1"}).output);
}

TEST_F(HsmscanMessages, NothingElse_IsDone)
{
    RUN const run = mf_run({EXPLAIN, L"KVR27069E", L"--system", L"--backup-settings", m_directory / L"settings.reg",
                            m_directory.mf_getPath()});
    EXPECT_EQ(0u, run.exitCode) << run.errors;
    EXPECT_EQ(mf_run({EXPLAIN, L"KVR27069E"}).output, run.output);
    EXPECT_FALSE(f_isThere(m_directory / L"settings.reg"));
    EXPECT_TRUE(std::filesystem::is_empty(m_logs.mf_getPath()));
}

TEST_F(HsmscanMessages, HelpAndVersion_ComeFirst)
{
    EXPECT_EQ(mf_run({L"--help"}).output, mf_run({EXPLAIN, L"KVR27069E", L"--help"}).output);
    EXPECT_EQ(mf_run({L"--version"}).output, mf_run({EXPLAIN, L"KVR27069E", L"--version"}).output);
}

TEST_F(HsmscanMessages, NoNumber_IsRefused)
{
    RUN const run = mf_run({EXPLAIN, L""});
    EXPECT_EQ(2u, run.exitCode);
    EXPECT_EQ("", run.output);
    EXPECT_THAT(run.errors, StartsWith("The value '' of the option '--explain-message' is not valid."));
}
