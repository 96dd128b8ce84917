// Groups at their limits: as many threads as there can be, some of which fail, and many groups one after the other.
#include <array>
#include <atomic>
#include <thread>

#include "hsmbase/threads/ICCancelSwitch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/threads/ICTestGroup.h"

using testing::Contains;
using testing::HasSubstr;

namespace
{

constexpr int COUNT = 64;
constexpr ulong CLEAN = 0x01000000;

using ICThreadsStress = ICThreadsTest;

// What becomes of a thread of a group in which all kinds are mixed.
enum class FATE
{
    WORKS,
    STARTS_IN_VAIN,
    FAILS_SEVERELY,
    IS_CANCELED,
    FAILS_AGAIN_AND_AGAIN
};

FATE f_fateOf(int index)
{
    return static_cast<FATE>(index % 5);
}

ulong f_codeOf(int index)
{
    switch (f_fateOf(index)) {
    case FATE::STARTS_IN_VAIN: return ICErrno::_E_::Initialization.mf_getNumber();
    case FATE::FAILS_SEVERELY: return ICErrno::_S_::Resource.mf_getNumber();
    case FATE::IS_CANCELED: return ICErrno::_W_::UserCanceled.mf_getNumber();
    default: return ICErrno::_I_::Ok.mf_getNumber();
    }
}

} // namespace

TEST_F(ICThreadsStress, SixtyFourThreadsOfAllFates_EachEndsAsItShould)
{
    ICTestGroup group(COUNT);
    std::array<std::atomic<int>, COUNT> passes{};
    std::array<std::atomic<int>, COUNT> stops{};
    group.m_onStart = [](int index) {
        if (f_fateOf(index) == FATE::STARTS_IN_VAIN) throw ICErrno(ICErrno::_E_::Initialization);
    };
    group.m_execute = [&](int index) {
        int const pass = ++passes[static_cast<std::size_t>(index)];
        if (f_fateOf(index) == FATE::FAILS_SEVERELY) throw ICErrno(ICErrno::_S_::Resource);
        if (f_fateOf(index) == FATE::IS_CANCELED) throw ICErrno(ICErrno::_W_::UserCanceled);
        if (f_fateOf(index) == FATE::FAILS_AGAIN_AND_AGAIN && pass < 10) throw ICErrno(ICErrno::_E_::Shutdown);
        if (pass >= 10) group.mf_waitForStop();
    };
    group.m_onStop = [&](int index) { ++stops[static_cast<std::size_t>(index)]; };
    ulong result = 0;
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        for (int index = 0; index < COUNT; ++index)
            EXPECT_TRUE(ICErrnoNumber::mf_isInfo(f_codeOf(index)) || group.mf_awaitEnd(index)) << index;
        result = group.mf_down();
    });
    EXPECT_EQ(ICErrno::_S_::Resource.mf_getNumber(), result);
    EXPECT_EQ(COUNT, group.m_runCount);
    for (int index = 0; index < COUNT; ++index) {
        bool const starts = f_fateOf(index) != FATE::STARTS_IN_VAIN;
        EXPECT_EQ(f_codeOf(index), group.mf_getExitCode(index)) << index;
        EXPECT_EQ(0, group.mf_getState(index)) << index;
        EXPECT_EQ(starts, passes[static_cast<std::size_t>(index)] > 0) << index;
        EXPECT_EQ(starts, stops[static_cast<std::size_t>(index)] == 1) << index;
        EXPECT_EQ(starts, group.mf_getErrnoData(index).mf_isSet() == 0) << index;
    }
    EXPECT_THAT(records, Contains(f_isRecord('T', "f_ICThread", HasSubstr("Exiting thread no. "))).Times(COUNT));
}

TEST_F(ICThreadsStress, SixtyFourThreadsAtOnce_AreStoppedByOneOfThem)
{
    ICTestGroup group(COUNT);
    ICMeetingPoint all(COUNT);
    group.m_execute = [&](int index) {
        all.mf_arrive();
        if (index == COUNT - 1) group.mf_stop();
        group.mf_waitForStop();
    };
    group.mf_up();
    EXPECT_EQ(CLEAN, group.mf_join());
}

TEST_F(ICThreadsStress, SixtyFourThreadsAtWork_AreCanceledByTheSwitch)
{
    ICTestGroup group(COUNT);
    ICCancelSwitch cancel;
    group.mf_installCancelSwitch(&cancel);
    std::atomic<long> passes = 0;
    ICSignal busy;
    group.m_execute = [&](int) {
        if (++passes == 1'000) busy.mf_give();
    };
    group.mf_up();
    EXPECT_TRUE(busy.mf_await());
    cancel.mf_cancel(ICErrnoData(ICErrno::_W_::Shutdown));
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_join());
}

TEST_F(ICThreadsStress, StatesAskedForWhileThreadsComeAndGo_AreStates)
{
    constexpr int ROUNDS = 10;
    for (int round = 0; round < ROUNDS; ++round) {
        ICTestGroup group(8);
        std::atomic<int> isOver = 0;
        std::atomic<int> wrong = 0;
        ICMeetingPoint start(2);
        std::jthread const asking([&] {
            start.mf_arrive();
            while (!isOver)
                for (int const state : group.mf_getStates())
                    wrong += state < -1 || state > 2;
        });
        start.mf_arrive();
        group.mf_up();
        EXPECT_EQ(CLEAN, group.mf_down());
        isOver = 1;
        EXPECT_EQ(0, wrong);
    }
}

TEST_F(ICThreadsStress, ManyGroupsOneAfterTheOther_LeaveNothingButContexts)
{
    constexpr int GROUPS = 30;
    for (int number = 0; number < GROUPS; ++number) {
        ICTestGroup group(4);
        group.mf_up();
        ASSERT_EQ(CLEAN, group.mf_down());
    }
}
