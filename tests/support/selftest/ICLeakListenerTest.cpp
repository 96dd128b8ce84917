// The listener is proved from outside: a program of tests with seeded leaks is run and must fail.
#include "tests/support/ICChildProcess.h"

#include <gtest/gtest.h>

#include <string_view>

namespace
{

struct OUTCOME
{
    ulong m_exitCode;
    std::string m_output;

    bool mf_says(std::string_view part) const { return m_output.find(part) != std::string::npos; }
};

OUTCOME f_outcomeOf(wchar_t const * test)
{
    ICChildProcess child(f_besideProgram(L"support_seeded_leaks.exe"), {std::wstring(L"--gtest_filter=*.") + test});
    return {child.mf_getExitCode(), child.mf_getOutput()};
}

} // namespace

TEST(ICLeakListener, LeakedHandle_FailsTheTest)
{
    OUTCOME const outcome = f_outcomeOf(L"LeaksAHandle");
    EXPECT_EQ(1u, outcome.m_exitCode);
    EXPECT_TRUE(outcome.mf_says("left behind: 1 handles, 0 heap blocks, 0 threads")) << outcome.m_output;
    EXPECT_TRUE(outcome.mf_says(" Event\r\n")) << outcome.m_output;
}

TEST(ICLeakListener, LeakedBlock_FailsTheTest)
{
    OUTCOME const outcome = f_outcomeOf(L"LeaksABlock");
    EXPECT_EQ(1u, outcome.m_exitCode);
    EXPECT_TRUE(outcome.mf_says("left behind: 0 handles, 1 heap blocks, 0 threads")) << outcome.m_output;
    EXPECT_TRUE(outcome.mf_says("1234 bytes at 0x")) << outcome.m_output;
}

TEST(ICLeakListener, LeakedThread_FailsTheTest)
{
    OUTCOME const outcome = f_outcomeOf(L"LeaksAThread");
    EXPECT_EQ(1u, outcome.m_exitCode);
    EXPECT_TRUE(outcome.mf_says(" heap blocks, 1 threads")) << outcome.m_output;
}

TEST(ICLeakListener, CacheFilledOnce_PassesInTheSecondRun)
{
    OUTCOME const outcome = f_outcomeOf(L"FillsACacheOnce");
    EXPECT_EQ(0u, outcome.m_exitCode) << outcome.m_output;
    EXPECT_TRUE(outcome.mf_says("run 2")) << outcome.m_output;
    EXPECT_FALSE(outcome.mf_says("run 3")) << outcome.m_output;
}

TEST(ICLeakListener, ExcusedBlock_Passes)
{
    OUTCOME const outcome = f_outcomeOf(L"ExcusesItsBlock");
    EXPECT_EQ(0u, outcome.m_exitCode) << outcome.m_output;
}

TEST(ICLeakListener, MoreThanExcused_FailsTheTest)
{
    EXPECT_EQ(1u, f_outcomeOf(L"ExcusesLessThanItLeaks").m_exitCode);
}

TEST(ICLeakListener, FailedTest_IsNotJudged)
{
    OUTCOME const outcome = f_outcomeOf(L"FailsAndLeaks");
    EXPECT_EQ(1u, outcome.m_exitCode);
    EXPECT_FALSE(outcome.mf_says("left behind")) << outcome.m_output;
}

TEST(ICLeakListener, LeakOfAFixture_FailsTheTest)
{
    EXPECT_TRUE(f_outcomeOf(L"LeaksInTearDown").mf_says("left behind: 0 handles, 1 heap blocks"));
}

TEST(ICLeakListener, LeakWithOneParameter_FailsThatTestAlone)
{
    OUTCOME const outcome = f_outcomeOf(L"LeaksByParameter*");
    EXPECT_TRUE(outcome.mf_says("[       OK ] Two/SeededParameter.LeaksByParameter/0")) << outcome.m_output;
    EXPECT_TRUE(outcome.mf_says("[  FAILED  ] Two/SeededParameter.LeaksByParameter/1")) << outcome.m_output;
}
