#include "tests/support/ICChildProcess.h"
#include "tests/support/ICTemporaryDirectory.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <thread>

IC_CHILD(speak)
{
    std::printf("%u arguments\n", static_cast<unsigned>(arguments.size()));
    std::fprintf(stderr, "complaint");
    return -7;
}

// Writes its arguments as UTF-16, each with its NUL.
IC_CHILD(echo)
{
    for (std::wstring const & argument : arguments) {
        DWORD written = 0;
        ::WriteFile(::GetStdHandle(STD_OUTPUT_HANDLE), argument.c_str(),
                    static_cast<DWORD>((argument.size() + 1) * sizeof(wchar_t)), &written, nullptr);
    }
    return 0;
}

IC_CHILD(crash)
{
    ::RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr);
    return 0;
}

IC_CHILD(throw_out)
{
    throw std::runtime_error("nobody catches this");
}

IC_CHILD(environment)
{
    wchar_t value[100] = {};
    ::GetEnvironmentVariableW(arguments[0].c_str(), value, 100);
    return std::wstring(value) == arguments[1] ? 1 : 0;
}

IC_CHILD(directory)
{
    wchar_t path[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, path);
    return _wcsicmp(path, arguments[0].c_str()) == 0 ? 1 : 0;
}

IC_CHILD(wait_for_ever)
{
    std::printf("ready\n");
    std::fflush(stdout);
    ::Sleep(INFINITE);
    return 0;
}

TEST(ICChildProcess, Function_GivesAllBitsOfItsResultAndBothTexts)
{
    ICChildProcess child("speak", {L"one", L"two"});
    EXPECT_EQ(0xFFFFFFF9u, child.mf_getExitCode());
    EXPECT_EQ("2 arguments\r\n", child.mf_getOutput());
    EXPECT_EQ("complaint", child.mf_getErrors());
}

TEST(ICChildProcess, Arguments_ArriveAsGiven)
{
    ICChildProcess::ARGUMENTS const arguments{
        L"",           L"a b", L"\"", L"\\", L"a\\\\\"b", L"c d\\", L"tab\t", L"\u00E4\u4E2D", L"--gtest_filter=x",
        L"\\\\x y\\\\"};
    std::wstring expected;
    for (std::wstring const & argument : arguments)
        expected.append(argument).push_back(L'\0');
    ICChildProcess child("echo", arguments);
    std::string const & output = child.mf_getOutput();
    EXPECT_EQ(expected, std::wstring(reinterpret_cast<wchar_t const *>(output.data()), output.size() / 2));
}

TEST(ICChildProcess, Crash_GivesTheExceptionCode)
{
    ICChildProcess child("crash");
    EXPECT_EQ(EXCEPTION_ACCESS_VIOLATION, child.mf_getExitCode());
    EXPECT_NE(std::string::npos, child.mf_getErrors().find("unhandled exception C0000005"));
}

TEST(ICChildProcess, UncaughtException_EndsByTerminate)
{
    ICChildProcess child("throw_out");
    EXPECT_EQ(3u, child.mf_getExitCode());
    EXPECT_NE(std::string::npos, child.mf_getErrors().find("nobody catches this"));
}

TEST(ICChildProcess, UnknownName_IsSaid)
{
    ICChildProcess child("nothing");
    EXPECT_EQ(ERROR_PROC_NOT_FOUND, static_cast<long>(child.mf_getExitCode()));
    EXPECT_EQ("this program has no child function 'nothing'\r\n", child.mf_getErrors());
}

TEST(ICChildProcess, Environment_IsAddedAndRemoved)
{
    ::SetEnvironmentVariableW(L"HSMBASE_TEST_OLD", L"old");
    ICChildOptions options;
    options.m_environment = {{L"HSMBASE_TEST", L"new"}, {L"hsmbase_test_old", L""}};
    EXPECT_EQ(1u, ICChildProcess("environment", {L"HSMBASE_TEST", L"new"}, options).mf_getExitCode());
    EXPECT_EQ(1u, ICChildProcess("environment", {L"HSMBASE_TEST_OLD", L""}, options).mf_getExitCode());
    EXPECT_EQ(1u, ICChildProcess("environment", {L"HSMBASE_TEST_OLD", L"old"}).mf_getExitCode());
    ::SetEnvironmentVariableW(L"HSMBASE_TEST_OLD", nullptr);
}

TEST(ICChildProcess, Directory_IsSet)
{
    ICTemporaryDirectory const directory;
    ICChildOptions options;
    options.m_directory = directory.mf_getPath();
    EXPECT_EQ(1u, ICChildProcess("directory", {directory.mf_getPath()}, options).mf_getExitCode());
}

TEST(ICChildProcess, Program_IsStartedByItsPath)
{
    ICChildProcess child(f_besideProgram(L"support_tests.exe"), {L"--child=speak"});
    EXPECT_EQ("0 arguments\r\n", child.mf_getOutput());
}

TEST(ICChildProcess, MissingProgram_Throws)
{
    EXPECT_THROW(ICChildProcess(f_besideProgram(L"none.exe")), std::runtime_error);
}

TEST(ICChildProcess, TimeLimit_KillsAndFails)
{
    ICChildOptions options;
    options.m_timeLimit = 1;
    ICChildProcess child("wait_for_ever", {}, options);
    EXPECT_NONFATAL_FAILURE(child.mf_getExitCode(), "killed after 1 ms");
    EXPECT_EQ(ERROR_TIMEOUT, static_cast<long>(child.mf_getExitCode()));
}

TEST(ICChildProcess, Destructor_KillsARunningProcessAndItsOutputCouldBeSeen)
{
    HANDLE copy = nullptr;
    {
        ICChildProcess const child("wait_for_ever");
        while (child.mf_peekOutput().empty())
            std::this_thread::yield();
        ::DuplicateHandle(::GetCurrentProcess(), child.mf_getHandle(), ::GetCurrentProcess(), &copy, 0, FALSE,
                          DUPLICATE_SAME_ACCESS);
    }
    EXPECT_EQ(WAIT_OBJECT_0, ::WaitForSingleObject(copy, 0));
    ::CloseHandle(copy);
}

TEST(ICChildProcess, ManyAtATime_DoNotMixTheirTexts)
{
    std::vector<std::thread> threads;
    for (int index = 0; index < 4; ++index) {
        threads.emplace_back([index] {
            ICChildProcess child("speak", ICChildProcess::ARGUMENTS(static_cast<std::size_t>(index), L"x"));
            EXPECT_EQ(std::to_string(index) + " arguments\r\n", child.mf_getOutput());
        });
    }
    for (std::thread & thread : threads)
        thread.join();
}
