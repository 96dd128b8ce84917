// From mf_stop to the result.
#include <tuple>

#include "hsmbase/threads/ICCancelSwitch.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICTestGroup.h"

using testing::Contains;
using testing::ElementsAre;
using testing::Not;

namespace
{

constexpr char STOP[] = "ICThreads::mf_stop";
constexpr char STOP_WAIT[] = "ICThreads::mf_stopWait";
constexpr char SHORT_TIMEOUT[] = "Wait timeout is < 500 msec, set to 500 msec.";
constexpr ulong CLEAN = 0x01000000;

using ICThreadsStop = ICThreadsTest;
using ICThreadsStopWait = ICThreadsTest;
using ICThreadsTimeout = ICThreadsTest;
using ICThreadsResult = ICThreadsTest;

// A group of threads of which each ends with an outcome: ICErrno::_I_::Ok, or a failure that its end brings.
using OUTCOMES = std::vector<ICErrnoValue>;

class ICEndingGroup : public ICTestGroup
{
public:
    explicit ICEndingGroup(OUTCOMES const & outcomes) : ICTestGroup(static_cast<int>(outcomes.size()))
    {
        m_onStop = [outcomes](int index) {
            ICErrnoValue const & outcome = outcomes[static_cast<std::size_t>(index)];
            if (outcome.mf_getNumber() != ICErrno::_I_::Ok.mf_getNumber()) throw ICErrno(outcome);
        };
        mf_up();
    }
};

ulong f_resultOf(OUTCOMES const & outcomes)
{
    return ICEndingGroup(outcomes).mf_down();
}

// A group whose one thread makes a pass for each time that the test asks for one, and outlives any wait that isn't told
// to last.
class ICStubbornGroup : public ICTestGroup
{
public:
    ICStubbornGroup() : ICTestGroup(1)
    {
        m_execute = [this](int) {
            m_asked.mf_await();
            if (m_endOfNextPass) m_endOfNextPass();
            m_done.mf_give();
        };
        mf_up();
    }

    // Whether the thread made a pass.
    bool mf_pass()
    {
        m_asked.mf_give();
        return m_done.mf_await();
    }

    void mf_timeOut()
    {
        ICImportFault const timeOut("WaitForMultipleObjects", ICAnswer::mf_value(WAIT_TIMEOUT));
        mf_stopWait(1000);
    }

    // The result, once the pass that waits has come to its end.
    ulong mf_lastPass()
    {
        m_asked.mf_give();
        EXPECT_TRUE(mf_awaitEnd(0));
        return mf_join();
    }

    std::function<void()> m_endOfNextPass;

private:
    ICSignal m_asked;
    ICSignal m_done;
};

struct WAIT_CALL
{
    ulong count;
    BOOL all;
    ulong timeout;

    auto operator<=>(WAIT_CALL const &) const = default;
};

// The waits of mf_stopWait with a time-out, which end with the threads whatever it says.
std::vector<WAIT_CALL> f_waitsFor(ICTestGroup & group, ulong timeout)
{
    std::vector<WAIT_CALL> calls;
    ICImportPatch const waiting(IC_IMPORT(WaitForMultipleObjects),
                                [&](ulong count, HANDLE const * handles, BOOL all, ulong milliseconds) {
                                    calls.push_back({count, all, milliseconds});
                                    return ::WaitForMultipleObjects(count, handles, all, TEST_LIMIT);
                                });
    group.mf_stopWait(timeout);
    return calls;
}

ulong f_rankOf(ulong number)
{
    return number >> 24;
}

} // namespace

TEST_F(ICThreadsStop, OnlyRunningThreads_AreToBeShutDown)
{
    ICTestGroup group(4);
    for (int index = 0; index < 4; ++index)
        group.mf_setState(index, index - 1);
    EXPECT_THAT(m_process.mf_trace([&] { group.mf_stop(); }),
                ElementsAre(f_isRecord('D', STOP, "G: Thread(s) shutdown event signaled")));
    EXPECT_THAT(group.mf_getStates(), ElementsAre(-1, 0, 2, 2));
    EXPECT_TRUE(f_isSignalled(group.m_hShutdown));
    EXPECT_TRUE(f_isSignalled(group.m_hShutdown)) << "it stays signalled";
}

// The thread notices behind its pass, and ends as halted by itself.
TEST_F(ICThreadsStop, DuringAPass_ShutdownThenHalted)
{
    ICTestGroup group(1);
    ICMeetingPoint inside(2);
    group.m_execute = [&](int) {
        inside.mf_arrive();
        inside.mf_arrive();
    };
    group.mf_up();
    EXPECT_TRUE(inside.mf_arrive());
    group.mf_stop();
    EXPECT_THAT(group.mf_getStates(), ElementsAre(2));
    EXPECT_EQ(1, group.mf_isShutdown(0));
    EXPECT_TRUE(inside.mf_arrive());
    EXPECT_TRUE(group.mf_awaitEnd(0));
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0));
    EXPECT_EQ(CLEAN, group.mf_join());
}

TEST_F(ICThreadsStop, FromAPassOfTheGroup_EndsAll)
{
    ICTestGroup group(3);
    ICMeetingPoint all(3);
    group.m_execute = [&](int index) {
        all.mf_arrive();
        if (index == 1) group.mf_stop();
        group.mf_waitForStop();
    };
    group.mf_up();
    EXPECT_EQ(CLEAN, group.mf_join());
    for (int index = 0; index < 3; ++index)
        EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), group.mf_getExitCode(index));
}

TEST_F(ICThreadsStop, AgainAndAfterTheEnd_ChangesNothing)
{
    ICTestGroup group(1);
    group.mf_up();
    group.mf_stop();
    group.mf_stop();
    EXPECT_EQ(CLEAN, group.mf_join());
    group.mf_stop();
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0));
    EXPECT_EQ(CLEAN, group.mf_join());
}

// Deliberate: it is lost on threads that don't run yet.
TEST_F(ICThreadsStop, AheadOfTheStart_IsLost)
{
    ICTestGroup group(2);
    group.mf_stop();
    EXPECT_THAT(group.mf_getStates(), ElementsAre(-1, -1));
    group.mf_up();
    EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 1));
    EXPECT_EQ(CLEAN, group.mf_down());
}

TEST_F(ICThreadsStop, EventCannotBeSet_ThrowsAndTheStatesAreSet)
{
    ICTestGroup group(2);
    group.mf_up();
    {
        ICImportFault const failing("SetEvent", ERROR_INVALID_HANDLE);
        EXPECT_THAT(m_process.mf_run([&] { group.mf_stop(); }),
                    f_failsShowing(ICErrno::_E_::Synchronization, ERROR_INVALID_HANDLE, STOP,
                                   "Failure signaling shutdown event:\n"));
    }
    EXPECT_THAT(group.mf_getStates(), ElementsAre(2, 2));
    EXPECT_FALSE(f_isSignalled(group.m_hShutdown));
    EXPECT_EQ(CLEAN, group.mf_down());
}

TEST_F(ICThreadsStop, ForcedByTheRecord_EndsOneThread)
{
    ICTestGroup group(2);
    ICMeetingPoint inside(3);
    group.m_execute = [&](int) {
        inside.mf_arrive();
        group.mf_waitForStop();
    };
    group.mf_up();
    EXPECT_TRUE(inside.mf_arrive());
    EXPECT_EQ(1, group.m_ppThreads[0]->mf_setShutdownState(0));
    EXPECT_THAT(group.mf_getStates(), ElementsAre(2, 1));
    EXPECT_EQ(CLEAN, group.mf_down());
}

TEST_F(ICThreadsStopWait, ShortTimeouts_Become500WithAWarning)
{
    for (ulong const timeout : {0ul, 1ul, 499ul}) {
        ICTestGroup group(2);
        group.mf_up();
        group.mf_stop();
        std::vector<WAIT_CALL> calls;
        EXPECT_THAT(m_process.mf_trace([&] { calls = f_waitsFor(group, timeout); }),
                    Contains(f_isRecord('W', STOP_WAIT, SHORT_TIMEOUT)));
        EXPECT_THAT(calls, ElementsAre(WAIT_CALL{2, TRUE, 500}));
    }
}

TEST_F(ICThreadsStopWait, OtherTimeouts_AreTaken)
{
    for (ulong const timeout : {500ul, 501ul, 0xFFFFFFFEul, ulong{INFINITE}}) {
        ICTestGroup group(1);
        group.mf_up();
        group.mf_stop();
        std::vector<WAIT_CALL> calls;
        EXPECT_THAT(m_process.mf_trace([&] { calls = f_waitsFor(group, timeout); }),
                    Not(Contains(f_isRecord('W', STOP_WAIT, SHORT_TIMEOUT))));
        EXPECT_THAT(calls, ElementsAre(WAIT_CALL{1, TRUE, timeout}));
    }
}

TEST_F(ICThreadsStopWait, ZeroAndAThreadThatRuns_LastsHalfASecond)
{
    ICStubbornGroup group;
    ULONGLONG const before = ::GetTickCount64();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { group.mf_stopWait(0); }));
    EXPECT_GE(::GetTickCount64() - before, 450u);
    group.m_ppThreads[0]->mf_setShutdownState(1);
    EXPECT_EQ(CLEAN, group.mf_lastPass());
}

TEST_F(ICThreadsStopWait, WaitFails_ThrowsAndLeavesTheStates)
{
    ICTestGroup group(2);
    group.mf_up();
    {
        ICImportFault const failing("WaitForMultipleObjects", ERROR_INVALID_HANDLE);
        EXPECT_THAT(
            m_process.mf_run([&] { group.mf_join(); }),
            f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_HANDLE, STOP_WAIT, "Waiting for 2 thread(s) failed:\n"));
    }
    EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 1));
    EXPECT_EQ(CLEAN, group.mf_down());
}

TEST_F(ICThreadsStopWait, NeverStarted_Fails)
{
    ICTestGroup group(1);
    EXPECT_THAT(
        m_process.mf_run([&] { group.mf_join(); }),
        f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_HANDLE, STOP_WAIT, "Waiting for 1 thread(s) failed:\n"));
    EXPECT_THAT(group.mf_getStates(), ElementsAre(-1));
}

TEST_F(ICThreadsStopWait, ExitCodeCannotBeHad_Throws)
{
    ICTestGroup group(2);
    group.mf_up();
    group.mf_stop();
    {
        ICImportFault const failing("GetExitCodeThread", ERROR_INVALID_HANDLE, ICCalls::mf_only(2));
        EXPECT_THAT(m_process.mf_run([&] { group.mf_join(); }),
                    f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_HANDLE, STOP_WAIT,
                                   "Failure getting thread no. 1 exit code: "));
    }
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0, 0));
    EXPECT_EQ(CLEAN, group.mf_join());
}

// All results of the wait but WAIT_FAILED count alike, so a time-out has no failure of its own.
TEST_F(ICThreadsTimeout, ThreadThatRuns_IsAnInternalFailureAndReadsAsHalted)
{
    ICStubbornGroup group;
    EXPECT_THAT(m_process.mf_run([&] { group.mf_timeOut(); }),
                f_fails(ICErrno::_E_::Internal, 'E', STOP_WAIT,
                        "G: Thread no. 0 has exited with unexpected return code: 0x00000103"));
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0));
    EXPECT_FALSE(f_isSignalled(group.m_phThreads[0]));
    group.m_ppThreads[0]->mf_setShutdownState(1);
    EXPECT_EQ(CLEAN, group.mf_lastPass());
}

TEST_F(ICThreadsTimeout, OneOfTwoRuns_BothReadAsHalted)
{
    ICTestGroup group(2);
    ICSignal end;
    group.m_execute = [&](int index) { index == 0 ? group.mf_waitForStop() : static_cast<void>(end.mf_await()); };
    group.mf_up();
    group.mf_stop();
    EXPECT_TRUE(group.mf_awaitEnd(0));
    auto const outcome = m_process.mf_run([&] {
        ICImportFault const timeOut("WaitForMultipleObjects", ICAnswer::mf_value(WAIT_TIMEOUT));
        group.mf_stopWait(500);
    });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Internal, 'E', STOP_WAIT,
                                 "G: Thread no. 1 has exited with unexpected return code: 0x00000103"));
    EXPECT_THAT(outcome.m_records, Contains(f_isRecord('T', STOP_WAIT, "G: Terminated thread no. 0.")));
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0, 0));
    group.m_ppThreads[1]->mf_setShutdownState(1);
    end.mf_give();
    EXPECT_EQ(CLEAN, group.mf_join());
}

// Deliberate: a thread that is halted by name and runs in fact isn't reached by mf_stop any more.
TEST_F(ICThreadsTimeout, Stop_DoesNotReachTheThreadAnyMore)
{
    ICStubbornGroup group;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { group.mf_timeOut(); }));
    group.mf_stop();
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0));
    EXPECT_TRUE(group.mf_pass());
    EXPECT_TRUE(group.mf_pass());
    group.m_ppThreads[0]->mf_setShutdownState(1);
    EXPECT_EQ(CLEAN, group.mf_lastPass());
}

TEST_F(ICThreadsTimeout, Switch_StillReachesTheThread)
{
    ICStubbornGroup group;
    ICCancelSwitch cancel;
    group.mf_installCancelSwitch(&cancel);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { group.mf_timeOut(); }));
    cancel.mf_cancel(ICErrnoData(ICErrno::_W_::Shutdown));
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_lastPass());
}

TEST_F(ICThreadsTimeout, SevereFailure_StillEndsTheThread)
{
    ICStubbornGroup group;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { group.mf_timeOut(); }));
    group.m_endOfNextPass = [] { throw ICErrno(ICErrno::_S_::Unexpected); };
    EXPECT_EQ(ICErrno::_S_::Unexpected.mf_getNumber(), group.mf_lastPass());
}

TEST_F(ICThreadsResult, AllInformation_StaysWhatItBegan)
{
    EXPECT_EQ(CLEAN, f_resultOf({ICErrno::_I_::Ok}));
    EXPECT_EQ(CLEAN, f_resultOf({ICErrno::_I_::StubFile, ICErrno::_I_::Ok}));
}

TEST_F(ICThreadsResult, ErrorOutranksCancelation)
{
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(),
              f_resultOf({ICErrno::_W_::UserCanceled, ICErrno::_E_::Parameter}));
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(),
              f_resultOf({ICErrno::_E_::Parameter, ICErrno::_W_::UserCanceled}));
}

// Two of each severity, so that it shows that the first one of the highest stays.
TEST_F(ICThreadsResult, EachTwoOutcomes_TheFirstOfTheWorst)
{
    OUTCOMES const all = {ICErrno::_I_::Ok,        ICErrno::_I_::StubFile,  ICErrno::_W_::Timeout,
                          ICErrno::_W_::Shutdown,  ICErrno::_E_::Parameter, ICErrno::_E_::Attributes,
                          ICErrno::_S_::Migration, ICErrno::_S_::Unexpected};
    for (ICErrnoValue const & first : all)
        for (ICErrnoValue const & second : all) {
            ulong const worst = f_rankOf(second.mf_getNumber()) > f_rankOf(first.mf_getNumber()) ? second.mf_getNumber()
                                                                                                 : first.mf_getNumber();
            ulong const expected = f_rankOf(worst) == 1 ? CLEAN : worst;
            EXPECT_EQ(expected, f_resultOf({first, second}))
                << std::hex << first.mf_getNumber() << ", " << second.mf_getNumber();
        }
}

TEST_F(ICThreadsResult, RisingAndFallingOutcomes_EndWithTheWorst)
{
    OUTCOMES const rising = {ICErrno::_I_::Ok, ICErrno::_W_::Timeout, ICErrno::_E_::Parameter, ICErrno::_S_::System};
    EXPECT_EQ(ICErrno::_S_::System.mf_getNumber(), f_resultOf(rising));
    EXPECT_EQ(ICErrno::_S_::System.mf_getNumber(), f_resultOf(OUTCOMES(rising.rbegin(), rising.rend())));
}

TEST_F(ICThreadsResult, EachOutcome_HasItsLine)
{
    ICEndingGroup group({ICErrno::_I_::Ok, ICErrno::_W_::UserCanceled, ICErrno::_W_::Timeout, ICErrno::_E_::Parameter,
                         ICErrno::_S_::System});
    auto const records = m_process.mf_trace([&] { group.mf_down(); });
    EXPECT_THAT(f_recordsOf(STOP_WAIT, records),
                ElementsAre(f_isRecord('T', STOP_WAIT, "G: Waiting for all threads to terminate ..."),
                            f_isRecord('T', STOP_WAIT, "G: Terminated thread no. 0."),
                            f_isRecord('W', STOP_WAIT,
                                       "G: Thread 1 has exited due to user cancelation\nReturn code: 0x02000037"),
                            f_isRecord('W', STOP_WAIT,
                                       "G: Thread no. 2 has exited with warning, return code: 0x02000034.\n"
                                       "See warning reported by thread above."),
                            f_isRecord('E', STOP_WAIT,
                                       "G: Thread no. 3 has exited with error, return code: 0x03000053.\n"
                                       "See error reported by thread above."),
                            f_isRecord('E', STOP_WAIT,
                                       "G: Thread no. 4 has exited with severe error, return code: 0x04000007.\n"
                                       "See error reported by thread above."),
                            f_isRecord('T', STOP_WAIT,
                                       "G: Waiting for all 5 thread(s) to terminate: done.\n"
                                       "Final exit code of all thread(s): 0x04000007")));
}

TEST_F(ICThreadsResult, CodeWithoutSeverity_IsAnInternalFailure)
{
    for (auto const & [code, text] : {std::tuple(0x00000000ul, "0x00000000"), std::tuple(0x00fffffful, "0x00ffffff"),
                                      std::tuple(0x05000001ul, "0x05000001"), std::tuple(0xc0000005ul, "0xc0000005")}) {
        ICTestGroup group(2);
        group.mf_up();
        group.mf_stop();
        ICImportPatch const codes(IC_IMPORT(GetExitCodeThread), [code](HANDLE, DWORD * answer) {
            *answer = code;
            return TRUE;
        });
        EXPECT_THAT(m_process.mf_run([&] { group.mf_join(); }),
                    f_fails(ICErrno::_E_::Internal, 'E', STOP_WAIT,
                            std::string("G: Thread no. 0 has exited with unexpected return code: ") + text));
    }
}

TEST_F(ICThreadsResult, AskedAgain_IsTheSame)
{
    ICEndingGroup group({ICErrno::_W_::Timeout, ICErrno::_E_::Parameter});
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(), group.mf_down());
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(), group.mf_join());
}
