#pragma once

#include "tests/support/Platform.h"

#include <map>
#include <string>
#include <vector>

// Runs a process and keeps what came of it. The test's own program is started again with a function of its own, for
// what can happen only once in a process; or any other program is started.
//
//     IC_CHILD(crash) { ::RaiseException(EXCEPTION_ACCESS_VIOLATION, 0, 0, nullptr); return 0; }
//
//     TEST(ICThing, Crash_IsSeen)
//     {
//         ICChildProcess child("crash", {L"first argument"});
//         EXPECT_EQ(EXCEPTION_ACCESS_VIOLATION, child.mf_getExitCode()) << child.mf_getErrors();
//     }
//
//     ICChildProcess scan(f_besideProgram(L"hsmscan.exe"), {L"--help"}, {.m_environment = {{L"TZ", L"UTC"}}});
//
// The process starts in the constructor. Every query but mf_getHandle waits for its end; a process that outstays its
// time limit is killed and the test fails. A child that dies of an exception writes its code and address to stderr.
//
// Threads: an object belongs to one thread; many may be used at a time.
struct ICChildOptions
{
    std::wstring m_directory;                           // Empty: that of the test.
    std::map<std::wstring, std::wstring> m_environment; // Replaces or adds; an empty value removes.
    ulong m_timeLimit = 60'000;                         // Milliseconds.
};

class ICChildProcess
{
public:
    using ARGUMENTS = std::vector<std::wstring>;

    // The function that IC_CHILD(name) defined in this program. Throw std::runtime_error if nothing could be started.
    explicit ICChildProcess(char const * name, ARGUMENTS const & arguments = {}, ICChildOptions const & options = {});
    // A program by its path.
    explicit ICChildProcess(std::wstring const & program, ARGUMENTS const & arguments = {},
                            ICChildOptions const & options = {});
    ICChildProcess(ICChildProcess const &) = delete;
    ICChildProcess & operator=(ICChildProcess const &) = delete;
    // Kills a process that nobody has waited for.
    ~ICChildProcess();

    // All 32 bits.
    ulong mf_getExitCode();
    // The bytes as they were written.
    std::string const & mf_getOutput();
    std::string const & mf_getErrors();

    // The running process; open until the object ends.
    HANDLE mf_getHandle() const { return m_process; }
    ulong mf_getId() const { return m_id; }
    // What the running process has written up to now.
    std::string mf_peekOutput() const;

private:
    // A file that the child writes to; deleted at the end.
    struct CAPTURE
    {
        CAPTURE();
        CAPTURE(CAPTURE const &) = delete;
        CAPTURE & operator=(CAPTURE const &) = delete;
        ~CAPTURE();
        void mf_close();

        std::wstring m_path;
        HANDLE m_handle; // Inheritable; our side of it is closed once the child has its own.
    };

    void mf_implStart(std::wstring const & program, ARGUMENTS const & arguments, ICChildOptions const & options);
    void mf_implWait();

    CAPTURE m_outputFile;
    CAPTURE m_errorFile;
    HANDLE m_process = nullptr;
    ulong m_id = 0;
    ulong m_timeLimit;
    bool m_isWaitedFor = false;
    ulong m_exitCode = 0;
    std::string m_output;
    std::string m_errors;
};

// The path of a file in the folder of the test program.
std::wstring f_besideProgram(wchar_t const * name);

// Registers a function that a child process runs instead of the tests; its result is the process's exit code. Known by
// name within one program; the arguments are called "arguments".
class ICChildFunction
{
public:
    using FUNCTION = int (*)(std::vector<std::wstring> const & arguments);

    ICChildFunction(char const * name, FUNCTION function);

    // nullptr: no such function.
    static FUNCTION mf_find(std::string const & name);

private:
    static ICChildFunction const * s_last;
    char const * const m_name;
    FUNCTION const m_function;
    ICChildFunction const * const m_previous;
};

#define IC_CHILD(name)                                                                                                 \
    static int f_child_##name(std::vector<std::wstring> const & arguments);                                            \
    static ICChildFunction const g_child_##name(#name, &f_child_##name);                                               \
    static int f_child_##name([[maybe_unused]] std::vector<std::wstring> const & arguments)
