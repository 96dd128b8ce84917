// hsmscan at a console: Ctrl+C, and the progress that only a console shows. Both are made by the host below Wine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/ICChildProcess.h"
#include "tests/support/ICFiles.h"
#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICUnixHost.h"

using testing::HasSubstr;
using testing::Not;

namespace
{
// A tree that takes long enough to do something meanwhile.
constexpr wchar_t LARGE_TREE[] = L"Z:\\usr";

class HsmscanConsole : public testing::Test
{
protected:
    void SetUp() override
    {
        if (!f_isUnixHost()) GTEST_SKIP() << "signals and terminals are those of the host";
    }

    std::vector<std::wstring> mf_arguments(std::vector<std::wstring> const & further) const
    {
        std::vector<std::wstring> arguments = {L"--root", m_registry.mf_getPath(), L"--log-dir", m_logs.mf_getPath()};
        arguments.insert(arguments.end(), further.begin(), further.end());
        return arguments;
    }

    bool mf_runScript(std::string const & text) const
    {
        return f_runOnHost(L"sh " + f_hostPath(m_directory.mf_makeFile(L"script", text)));
    }

    // Sends Ctrl+C to the program that has this directory among its arguments.
    bool mf_interrupt(std::wstring const & directory) const
    {
        std::wstring const name = directory.substr(directory.find_last_of(L'\\') + 1);
        return mf_runScript("for process in /proc/[0-9]*; do\n"
                            "    { tr '\\0' ' ' < $process/cmdline; } 2> /dev/null | grep -q '[h]smscan.exe.*" +
                            std::string(name.begin(), name.end()) +
                            "' && kill -INT ${process#/proc/} && exit 0\n"
                            "done\n"
                            "exit 1\n");
    }

    // Runs the program at a terminal of its own, `before` ahead of it; what it shows there goes to the answer.
    std::string mf_runAtTerminal(std::vector<std::wstring> const & further, std::string const & redirection,
                                 std::string const & before = "") const
    {
        std::wstring command = L"wine " + f_hostPath(f_besideProgram(L"hsmscan.exe"));
        for (std::wstring const & argument : mf_arguments(further))
            command += L" '" + argument + L"'";
        std::wstring const shown = m_directory.mf_makeFile(L"shown");
        std::wstring const run =
            m_directory.mf_makeFile(L"run", before + std::string(command.begin(), command.end()) + redirection + "\n");
        std::wstring const script =
            L"script -qec \"sh " + f_hostPath(run) + L"\" /dev/null > " + f_hostPath(shown) + L" < /dev/null\n";
        EXPECT_TRUE(mf_runScript(std::string(script.begin(), script.end())));
        return f_readFile(shown);
    }

    ICRegistrySandbox const m_registry;
    ICTemporaryDirectory const m_directory;
    ICTemporaryDirectory const m_logs;
};
} // namespace

TEST_F(HsmscanConsole, CtrlC_EndsTheScanWithTheTotalsSoFar)
{
    ICTemporaryDirectory const lists;
    std::wstring const list = lists.mf_makeFile(L"list.txt", "the old list");
    ICChildProcess scan(f_besideProgram(L"hsmscan.exe"),
                        mf_arguments({L"--threads", L"1", L"--list", list, LARGE_TREE}));
    while (scan.mf_peekOutput().find("Scanning") == std::string::npos &&
           ::WaitForSingleObject(scan.mf_getHandle(), 0) == WAIT_TIMEOUT)
        ::Sleep(1);
    EXPECT_TRUE(mf_interrupt(m_logs.mf_getPath()));
    EXPECT_EQ(1u, scan.mf_getExitCode());
    EXPECT_EQ("", scan.mf_getErrors());
    EXPECT_THAT(scan.mf_getOutput(), HasSubstr("The scan was canceled."));
    EXPECT_THAT(scan.mf_getOutput(), HasSubstr("\r\nTotals\r\n"));
    EXPECT_EQ("the old list", f_readFile(list));
    std::filesystem::directory_iterator const content(lists.mf_getPath());
    EXPECT_EQ(1, std::distance(begin(content), end(content))) << "a temporary file was left behind";
}

TEST_F(HsmscanConsole, Progress_IsShownAtATerminalOnly)
{
    if (!mf_runScript("command -v script && command -v wine")) GTEST_SKIP() << "no terminal to be had";
    EXPECT_THAT(mf_runAtTerminal({L"Z:\\usr\\share"}, ""), HasSubstr("files/s"));
    EXPECT_THAT(mf_runAtTerminal({L"--quiet", m_directory.mf_getPath()}, ""), Not(HasSubstr("files/s")));
    EXPECT_THAT(mf_runAtTerminal({m_directory.mf_getPath()}, " 2> /dev/null"), Not(HasSubstr("files/s")));
}

TEST_F(HsmscanConsole, Progress_AtANarrowTerminal_IsCut)
{
    if (!mf_runScript("command -v script && command -v wine")) GTEST_SKIP() << "no terminal to be had";
    std::string const shown = mf_runAtTerminal({L"Z:\\usr\\share"}, "", "stty cols 40\n");
    EXPECT_THAT(shown, HasSubstr("..."));
    EXPECT_THAT(shown, Not(HasSubstr("files/s")));
}
