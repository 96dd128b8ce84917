// Many threads register, fire and remove at once.
#include <gtest/gtest.h>

#include <atomic>

#include "hsmbase/failure/ICErrno.h"
#include "tests/events/EventsTest.h"

namespace
{

constexpr int THREADS = 12;
constexpr int ROUNDS = 200;

// Sees whether deliveries of one broadcaster overlap.
class ICOverlapDetector
{
public:
    ICTestListener::ACT mf_watching(ICTestListener::ACT const & act)
    {
        return [this, act](ICEvent const & event) {
            m_overlaps += m_inside++ != 0;
            act(event);
            --m_inside;
        };
    }

    std::atomic<int> m_overlaps = 0;

private:
    std::atomic<int> m_inside = 0;
};

} // namespace

TEST(ICEventBroadcasterThreads, EachOwnEventReachesItsListener)
{
    ICTestBroadcaster broadcaster;
    ICOverlapDetector overlaps;
    int all = 0; // under the broadcaster's lock, like everything in a delivery
    std::atomic<int> wrong = 0;
    ICTestListener const constant(L"constant", overlaps.mf_watching([&](ICEvent const &) { ++all; }));
    broadcaster.mf_registerEventListener(&constant);
    f_onManyThreads<THREADS>([&](int index) {
        ICEVENT_ID const own(std::uint64_t{1} << index);
        int received = 0;
        ICTestListener const listener(L"own", own, overlaps.mf_watching([&](ICEvent const &) { ++received; }));
        for (int round = 0; round < ROUNDS; ++round) {
            broadcaster.mf_registerEventListener(&listener);
            wrong += !broadcaster.mf_hasListeners(own);
            broadcaster.mf_fire(own);
            broadcaster.mf_removeEventListener(&listener);
        }
        wrong += received != ROUNDS;
    });
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(0, overlaps.m_overlaps);
    EXPECT_EQ(THREADS * ROUNDS, all);
    EXPECT_EQ(1, broadcaster.m_listeners.GetCount());
}

TEST(ICEventBroadcasterThreads, FailuresAndRemovalsFromInside_LeaveTheListWhole)
{
    ICTestBroadcaster broadcaster;
    std::atomic<int> wrong = 0;
    f_onManyThreads<THREADS>([&](int index) {
        ICEVENT_ID const own(std::uint64_t{1} << index);
        int received = 0;
        ICTestListener listener(L"own", own, [&](ICEvent const &) {
            ++received;
            broadcaster.mf_removeEventListener(&listener);
            throw ICErrno(ICErrno::_E_::FileOpen);
        });
        for (int round = 0; round < ROUNDS; ++round) {
            broadcaster.mf_registerEventListener(&listener);
            broadcaster.mf_fire(own);
            // Nobody else fires this kind, so the listener has had its event and is gone.
            wrong += received != round + 1;
            try {
                broadcaster.mf_removeEventListener(&listener);
                ++wrong;
            }
            catch (ICErrno & failure) {
                wrong += !failure.mf_isErrno(ICErrno::_E_::Internal);
            }
        }
    });
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(0, broadcaster.m_listeners.GetCount());
    EXPECT_TRUE(f_isLockFree(broadcaster));
}

TEST(ICEventBroadcasterThreads, Mask_NeverMissesAListenerThatStays)
{
    ICTestBroadcaster broadcaster;
    ICTestListener const constant(L"constant", ICEvent::MISC_SID);
    broadcaster.mf_registerEventListener(&constant);
    std::atomic<int> wrong = 0;
    f_onManyThreads<THREADS>([&](int index) {
        ICTestListener const listener(L"own", ICEvent::SOURCE_FILE);
        for (int round = 0; round < ROUNDS; ++round) {
            if (index % 2) broadcaster.mf_registerEventListener(&listener);
            wrong += !broadcaster.mf_hasListeners(ICEvent::MISC_SID);
            if (index % 2) broadcaster.mf_removeEventListener(&listener);
        }
    });
    EXPECT_EQ(0, wrong);
    EXPECT_EQ(0, broadcaster.mf_hasListeners(ICEvent::SOURCE_FILE));
}
