#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/support/ICMeetingPoint.h"

namespace
{

// What the run-time library makes for a thread that throws it keeps for the next one. So that no test's account meets
// that, as many threads as a group can have throw side by side ahead of all tests.
class ThreadsWarmUp : public testing::Environment
{
public:
    void SetUp() override
    {
        constexpr int COUNT = 64;
        ICMeetingPoint thrown(COUNT);
        std::vector<std::jthread> threads;
        for (int thread = 0; thread < COUNT; ++thread)
            threads.emplace_back([&] {
                try {
                    throw 1;
                }
                catch (int) {
                    thrown.mf_arrive();
                }
            });
    }
};

[[maybe_unused]] testing::Environment const * const g_warmUp = testing::AddGlobalTestEnvironment(new ThreadsWarmUp);

} // namespace
