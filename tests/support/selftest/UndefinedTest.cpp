// Proves the trap mode of the undefined-behaviour sanitizer with a source that is always compiled so.
#include "tests/support/selftest/Undefined.h"
#include "tests/support/ICChildProcess.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <string>

namespace
{

int const NUMBERS[4] = {1, 2, 3, 4};

int f_do(std::wstring const & what, int amount)
{
    if (what == L"overflow") return f_overflowing(INT_MAX - 1 + amount);
    if (what == L"shift") return f_shifted(1, 31 + amount);
    if (what == L"index") return f_elementOf(NUMBERS, 3 + amount);
    alignas(int) char bytes[8] = {};
    return f_through(reinterpret_cast<int const *>(bytes + amount));
}

} // namespace

// Arguments: what to do, and 1 to do it wrongly.
IC_CHILD(undefined)
{
    f_do(arguments[0], std::stoi(arguments[1]));
    return 0;
}

TEST(UndefinedBehaviour, EachKind_EndsByAnIllegalInstruction)
{
    for (wchar_t const * what : {L"overflow", L"shift", L"index", L"alignment"}) {
        SCOPED_TRACE(what);
        EXPECT_EQ(0u, ICChildProcess("undefined", {what, L"0"}).mf_getExitCode());
        ICChildProcess wrong("undefined", {what, L"1"});
        EXPECT_EQ(EXCEPTION_ILLEGAL_INSTRUCTION, wrong.mf_getExitCode()) << wrong.mf_getErrors();
    }
}
