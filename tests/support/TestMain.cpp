// The main() of every test program: runs the tests, or with --child=<name> as first argument one IC_CHILD function.
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICLeakListener.h"
#include "tests/support/PageGuardHeap.h"
#include "tests/support/Platform.h"
#include "tests/support/internal/ICFailure.h"

#include <gmock/gmock.h>
#include <shellapi.h>

#include <cstdio>

namespace
{

std::vector<std::wstring> f_arguments()
{
    int count = 0;
    wchar_t ** const arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
    std::vector<std::wstring> const copied(arguments + 1, arguments + count);
    ::LocalFree(arguments);
    return copied;
}

LPTOP_LEVEL_EXCEPTION_FILTER g_previousFilter = nullptr;

// A language's own exceptions are left to its run-time library, which ends the process by std::terminate.
LONG WINAPI f_endByException(EXCEPTION_POINTERS * exception)
{
    EXCEPTION_RECORD const & record = *exception->ExceptionRecord;
    if ((record.ExceptionCode >> 28) != 0xC) return g_previousFilter == nullptr ? 0 : g_previousFilter(exception);
    std::fprintf(stderr, "unhandled exception %08lX at %p\n", record.ExceptionCode, record.ExceptionAddress);
    std::fflush(stderr);
    ::TerminateProcess(::GetCurrentProcess(), record.ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

int f_runChild(std::string const & name, std::vector<std::wstring> const & arguments)
{
    ICChildFunction::FUNCTION const function = ICChildFunction::mf_find(name);
    if (function == nullptr) {
        std::fprintf(stderr, "this program has no child function '%s'\n", name.c_str());
        return ERROR_PROC_NOT_FOUND;
    }
    g_previousFilter = ::SetUnhandledExceptionFilter(&f_endByException);
    return function(arguments);
}

} // namespace

int main(int argc, char ** argv)
{
#if defined(HSMBASE_PAGE_GUARD_HEAP)
    f_installPageGuardHeap();
#endif
    constexpr std::wstring_view CHILD = L"--child=";
    std::vector<std::wstring> arguments = f_arguments();
    if (!arguments.empty() && arguments.front().starts_with(CHILD)) {
        std::string const name = f_utf8(arguments.front().substr(CHILD.size()));
        arguments.erase(arguments.begin());
        return f_runChild(name, arguments);
    }
    testing::InitGoogleMock(&argc, argv);
    ICLeakListener::mf_install();
    return RUN_ALL_TESTS();
}
