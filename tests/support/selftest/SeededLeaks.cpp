// Tests that leak, and some that only seem to. A program of its own, run by ICLeakListenerTest.cpp with a filter.
#include "tests/support/ICLeakAccount.h"
#include "tests/support/selftest/Victim.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace
{

int g_runs = 0;

DWORD WINAPI f_waitFor(void * event)
{
    return ::WaitForSingleObject(event, INFINITE);
}

} // namespace

TEST(SeededLeaks, LeaksAHandle)
{
    EXPECT_NE(nullptr, ::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

TEST(SeededLeaks, LeaksABlock)
{
    EXPECT_NE(nullptr, f_victimAllocate(1234));
}

TEST(SeededLeaks, LeaksAThread)
{
    HANDLE const event = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::CloseHandle(::CreateThread(nullptr, 0, &f_waitFor, event, 0, nullptr));
    ICLeakAccount::mf_excuse("only the thread is to be seen", 1000, 1000);
}

TEST(SeededLeaks, FillsACacheOnce)
{
    static void * const cache = f_victimAllocate(1234);
    EXPECT_NE(nullptr, cache);
    std::printf("run %d\n", ++g_runs);
}

TEST(SeededLeaks, ExcusesItsBlock)
{
    ICLeakAccount::mf_excuse("meant for this test", 0, 1);
    EXPECT_NE(nullptr, f_victimAllocate(1234));
}

TEST(SeededLeaks, ExcusesLessThanItLeaks)
{
    ICLeakAccount::mf_excuse("one of two", 0, 1);
    f_victimAllocate(1234);
    EXPECT_NE(nullptr, f_victimAllocate(1234));
}

TEST(SeededLeaks, FailsAndLeaks)
{
    FAIL() << f_victimAllocate(1234);
}

class SeededFixture : public testing::Test
{
protected:
    void TearDown() override { f_victimAllocate(1234); }
};

TEST_F(SeededFixture, LeaksInTearDown)
{
    SUCCEED();
}

class SeededParameter : public testing::TestWithParam<int>
{};

TEST_P(SeededParameter, LeaksByParameter)
{
    if (GetParam() == 2) f_victimAllocate(1234);
}

INSTANTIATE_TEST_SUITE_P(Two, SeededParameter, testing::Values(1, 2));
