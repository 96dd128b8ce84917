// Working threads that poll while another one commands.
#include "tests/threads/CancelTest.h"

#include <atomic>

using testing::AllOf;
using testing::Each;
using testing::SizeIs;

namespace
{

constexpr int POLLERS = 3;
constexpr int MANY = 32;

class ICCancelSwitchThreads : public testing::Test
{
protected:
    ICStartedProcess const m_process;
    ICSwitchedWork m_work;
    ICCancelSwitch & m_switch = m_work.m_switch;
};

// A pause that follows another one at once, and the moment in which a pause begins, may make a poll fail.
bool f_isGap(ICPollOutcome const & outcome)
{
    return outcome == ICPollOutcome{static_cast<ulong>(ICErrno::_E_::Internal.mf_getNumber()), 0};
}

// Threads that poll `rounds` switches one after the other, each until it is cancelled. Meanwhile this one does
// `command` with each switch in turn, which must leave it cancelled.
class ICCancelRace
{
public:
    template<class COMMAND>
    static void mf_run(int rounds, COMMAND const & command)
    {
        ICCancelRace race;
        std::vector<std::jthread> pollers;
        for (int poller = 0; poller < POLLERS; ++poller)
            pollers.emplace_back([&race, rounds] { f_onWorker([&] { race.mf_work(rounds); }); });
        for (int round = 0; round < rounds && race.m_meeting.mf_arrive(); ++round) {
            // The pollers have more or less of a start.
            for (int turn = 0; turn < round % 4; ++turn)
                ::SwitchToThread();
            command(race.m_work->m_switch, round);
            if (!race.m_meeting.mf_arrive()) break;
            race.m_work.emplace();
        }
        pollers.clear();
        EXPECT_EQ(rounds * POLLERS, race.m_canceled);
        EXPECT_EQ(0, race.m_wrong);
    }

private:
    void mf_work(int rounds)
    {
        for (int round = 0; round < rounds && m_meeting.mf_arrive(); ++round) {
            ICThreadContext::mf_setCanceled(0);
            ICPollOutcome outcome;
            do {
                // The commanding thread needs a processor, too.
                ::SwitchToThread();
                outcome = f_poll(m_work->m_work);
            } while (outcome == RETURNED || f_isGap(outcome));
            bool const hasReason =
                m_work->m_switch.mf_getErrnoData().mf_getNumber() == ICErrno::_E_::FileOpen.mf_getNumber();
            if (outcome == CANCELED && hasReason)
                ++m_canceled;
            else
                ++m_wrong;
            if (!m_meeting.mf_arrive()) break;
        }
    }

    ICMeetingPoint m_meeting{POLLERS + 1};
    std::optional<ICSwitchedWork> m_work{std::in_place};
    std::atomic<int> m_canceled = 0;
    std::atomic<int> m_wrong = 0;
};

} // namespace

TEST_F(ICCancelSwitchThreads, Waiting_Cancel_ThrowsUserCanceled)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work);
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_THAT(pollers.mf_join(), Each(CANCELED));
}

TEST_F(ICCancelSwitchThreads, Waiting_Resume_Returns)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work);
    m_switch.mf_resume();
    EXPECT_THAT(pollers.mf_join(), Each(RETURNED));
}

TEST_F(ICCancelSwitchThreads, Waiting_Reset_Returns)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work);
    m_switch.mf_reset();
    EXPECT_THAT(pollers.mf_join(), Each(RETURNED));
}

TEST_F(ICCancelSwitchThreads, Waiting_PausedAgain_WaitsOn)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work);
    m_switch.mf_pause();
    m_switch.mf_resume();
    EXPECT_THAT(pollers.mf_join(), Each(RETURNED));
}

TEST_F(ICCancelSwitchThreads, ManyWaiting_OneCancel_WakesAll)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work, MANY);
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_THAT(pollers.mf_join(), AllOf(SizeIs(MANY), Each(CANCELED)));
}

TEST_F(ICCancelSwitchThreads, ManyWaiting_OneResume_WakesAll)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work, MANY);
    m_switch.mf_resume();
    EXPECT_THAT(pollers.mf_join(), AllOf(SizeIs(MANY), Each(RETURNED)));
}

TEST_F(ICCancelSwitchThreads, ManyWaiting_OneReset_WakesAll)
{
    m_switch.mf_pause();
    ICWaitingPollers pollers(m_work, MANY);
    m_switch.mf_reset();
    EXPECT_THAT(pollers.mf_join(), AllOf(SizeIs(MANY), Each(RETURNED)));
}

TEST_F(ICCancelSwitchThreads, Race_Cancel_ReachesEachPollerWithItsReason)
{
    ICCancelRace::mf_run(2000,
                         [](ICCancelSwitch & cancelSwitch, int) { cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen); });
}

TEST_F(ICCancelSwitchThreads, Race_PauseAndCancel_LeavesNobodyWaiting)
{
    ICCancelRace::mf_run(2000, [](ICCancelSwitch & cancelSwitch, int) {
        cancelSwitch.mf_pause();
        cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
    });
}

TEST_F(ICCancelSwitchThreads, Race_PausesAndResumesAndCancel_LeavesNobodyWaiting)
{
    ICCancelRace::mf_run(1000, [](ICCancelSwitch & cancelSwitch, int round) {
        for (int pause = 0; pause < round % 5; ++pause) {
            cancelSwitch.mf_pause();
            if (round % 2) cancelSwitch.mf_pause();
            cancelSwitch.mf_resume();
        }
        if (round % 3) cancelSwitch.mf_pause();
        cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
    });
}

// Pauses and resumes at full speed on one switch: polls return or find the gap, and all leave in the end.
TEST_F(ICCancelSwitchThreads, Race_PausesAndResumesAtFullSpeed_NobodyHangs)
{
    ICCancelRace::mf_run(1, [](ICCancelSwitch & cancelSwitch, int) {
        for (int pause = 0; pause < 5000; ++pause) {
            cancelSwitch.mf_pause();
            cancelSwitch.mf_resume();
        }
        cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
    });
}

TEST_F(ICCancelSwitchThreads, Race_PauseAndReset_LeavesNobodyWaiting)
{
    ICCancelRace::mf_run(1000, [](ICCancelSwitch & cancelSwitch, int) {
        cancelSwitch.mf_pause();
        cancelSwitch.mf_reset();
        cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
    });
}

TEST_F(ICCancelSwitchThreads, OneSwitch_ReachesAllWorkBelow)
{
    ICCancelObject parts[3];
    m_work.m_work.mf_implPropagateCancelSwitch(parts[0], 0);
    parts[0].mf_implPropagateCancelSwitch(parts[1], 0);
    parts[1].mf_implPropagateCancelSwitch(parts[2], 0);
    m_switch.mf_cancel(ICErrno::_E_::FileOpen);
    for (ICCancelObject & part : parts)
        f_onWorker([&] { EXPECT_EQ(CANCELED, f_poll(part)); });
}
