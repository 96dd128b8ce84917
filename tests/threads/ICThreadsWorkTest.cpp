// What the threads of a group do between start and end.
#include <atomic>

#include "hsmbase/threads/ICCancelSwitch.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICTestGroup.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

namespace
{

constexpr char WORKER[] = "f_ICThread";
constexpr ulong CLEAN = 0x01000000;

using ICThreadsWork = ICThreadsTest;
using ICThreadsCancel = ICThreadsTest;
using ICThreadsOnStop = ICThreadsTest;

// The first pass fails, the second one asks for the third, and so on.
class ICFailingPass
{
public:
    ICFailingPass(ICTestGroup & group, ICErrno const & failure)
    {
        group.m_execute = [this, &group, failure](int) {
            if (++m_passes == 1) throw ICErrno(failure);
            m_goesOn.mf_give();
            group.mf_waitForStop();
        };
    }
    bool mf_awaitNextPass() { return m_goesOn.mf_await(); }

private:
    std::atomic<int> m_passes = 0;
    ICSignal m_goesOn;
};

std::string f_failedPass(ICErrno const & failure)
{
    return f_logged("Failure executing overloaded worker function in thread no. 0:\n", failure) + "\nContinuing...";
}

// A group whose poll fails otherwise than by cancellation.
class ICPollFails : public ICTestGroup
{
public:
    using ICTestGroup::ICTestGroup;
    void mf_tryCancel() override { throw ICErrno(ICErrno::_E_::Synchronization, ERROR_INVALID_HANDLE); }
};

} // namespace

TEST_F(ICThreadsWork, Passes_FollowEachOtherWithTheThreadsIndex)
{
    constexpr int PASSES = 500;
    ICTestGroup group(2);
    int passes[2] = {};
    ulong threads[2] = {};
    std::atomic<int> strangers = 0;
    ICSignal done[2];
    group.m_execute = [&](int index) {
        if (passes[index] == 0) threads[index] = ::GetCurrentThreadId();
        strangers += threads[index] != ::GetCurrentThreadId();
        if (++passes[index] < PASSES) return;
        done[index].mf_give();
        group.mf_waitForStop();
    };
    group.mf_up();
    EXPECT_TRUE(done[0].mf_await());
    EXPECT_TRUE(done[1].mf_await());
    EXPECT_EQ(CLEAN, group.mf_down());
    EXPECT_EQ(0, strangers);
    EXPECT_NE(threads[0], threads[1]);
    EXPECT_THAT(passes, ElementsAre(PASSES, PASSES));
}

TEST_F(ICThreadsWork, Passes_RunOnAllThreadsAtOnceOnOneObject)
{
    constexpr int COUNT = 8;
    ICTestGroup group(COUNT);
    ICMeetingPoint inside(COUNT);
    std::atomic<int> met = 0;
    group.m_execute = [&](int) {
        met += inside.mf_arrive();
        group.mf_waitForStop();
    };
    group.mf_up();
    EXPECT_EQ(CLEAN, group.mf_down());
    EXPECT_EQ(COUNT, met);
}

TEST_F(ICThreadsWork, PassThatFails_IsTracedAndDropped)
{
    ICErrno const failures[] = {ICErrno(ICErrno::_E_::Parameter), ICErrno(ICErrno::_W_::Timeout),
                                ICErrno(ICErrno::_I_::Deleted), ICErrno(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED)};
    for (ICErrno const & failure : failures) {
        ICTestGroup group(1);
        ICFailingPass pass(group, failure);
        auto const records = m_process.mf_trace([&] {
            group.mf_up();
            EXPECT_TRUE(pass.mf_awaitNextPass());
            EXPECT_EQ(CLEAN, group.mf_down());
        });
        EXPECT_THAT(records, Contains(f_isRecord('E', WORKER, f_failedPass(failure))));
        EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), group.mf_getExitCode(0));
        EXPECT_FALSE(group.mf_getErrnoData(0).mf_isSet()) << "start-up failures alone";
    }
}

// Only the warning counts as cancellation, by its exact number.
TEST_F(ICThreadsWork, PassThrowsTheErrorUserCanceled_IsAFailureAsAnyOther)
{
    ICTestGroup group(1);
    ICErrno const failure(ICErrno::_E_::UserCanceled);
    ICFailingPass pass(group, failure);
    EXPECT_THAT(m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_TRUE(pass.mf_awaitNextPass());
        EXPECT_EQ(CLEAN, group.mf_down());
    }),
                Contains(f_isRecord('E', WORKER, f_failedPass(failure))));
}

TEST_F(ICThreadsWork, SevereFailure_EndsItsThreadAlone)
{
    ICTestGroup group(2);
    ICSignal goesOn;
    ICErrno const failure(ICErrno::_S_::Resource, ERROR_NO_SYSTEM_RESOURCES);
    std::atomic<int> stopped = 0;
    std::atomic<int> end = 0;
    group.m_execute = [&](int index) {
        if (index == 0) throw ICErrno(failure);
        goesOn.mf_give();
        while (!end)
            group.mf_waitForStop();
    };
    group.m_onStop = [&](int index) { stopped += index == 0; };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_TRUE(group.mf_awaitEnd(0));
        EXPECT_THAT(group.mf_getStates(), ElementsAre(0, 1));
        EXPECT_EQ(1, stopped);
        EXPECT_TRUE(goesOn.mf_await());
        end = 1;
        EXPECT_EQ(ICErrno::_S_::Resource.mf_getNumber(), group.mf_down());
    });
    EXPECT_THAT(records, Contains(f_isRecord('E', WORKER, f_failedPass(failure))));
    EXPECT_THAT(records, Contains(f_isRecord('S', WORKER, "Severe error, exiting thread worker loop ...")));
    EXPECT_FALSE(group.mf_getErrnoData(0).mf_isSet()) << "start-up failures alone";
    EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), group.mf_getExitCode(1));
}

// ExitThread runs no destructors: whatever the outcome owns must be gone before, of which the leak account tells.
TEST_F(ICThreadsWork, OutcomeWithTexts_LeavesNoMemory)
{
    ICTestGroup group(4);
    group.m_execute = [](int) {
        ICErrnoData failure(ICErrno::_S_::Internal);
        failure.mf_setOriginator(ICErrnoData::BACKUP, 7, L"A text that is owned by the record");
        failure.mf_setKVRNumber(L"KVR0001E", 1);
        throw ICErrno(failure);
    };
    group.mf_up();
    EXPECT_EQ(ICErrno::_S_::Internal.mf_getNumber(), group.mf_down());
}

TEST_F(ICThreadsWork, ContextOfAnEndedThread_StaysBehind)
{
    ICTestGroup group(1);
    ICThreadContext * context = nullptr;
    group.m_onStop = [&](int) { context = ICThreadContext::mf_implFindThreadContext(); };
    group.mf_up();
    group.mf_down();
    EXPECT_EQ(ICThreadContext::TYPE_WORKER + 0, context->m_type);
    delete context;
}

TEST_F(ICThreadsCancel, PassIsCanceled_EndsTheThread)
{
    ICTestGroup group(2);
    std::atomic<int> stopped = 0;
    group.m_execute = [&](int index) {
        if (index == 1) throw ICErrno(ICErrno::_W_::UserCanceled);
        group.mf_waitForStop();
    };
    group.m_onStop = [&](int index) { stopped += index == 1; };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_TRUE(group.mf_awaitEnd(1));
        EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 0));
        EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_down());
    });
    EXPECT_EQ(1, stopped);
    EXPECT_THAT(records,
                Contains(f_isRecord('W', WORKER, "Overloaded worker function in thread no. 1 was canceled by user")));
    EXPECT_THAT(records, Not(Contains(f_isRecord('E', WORKER, testing::_))));
}

TEST_F(ICThreadsCancel, Switch_EndsAllThreadsAheadOfTheirNextPass)
{
    ICTestGroup group(3);
    ICCancelSwitch cancel;
    group.mf_installCancelSwitch(&cancel);
    ICMeetingPoint inside(4);
    std::atomic<int> passes = 0;
    std::atomic<int> marked = 0;
    group.m_execute = [&](int) {
        ++passes;
        inside.mf_arrive();
        inside.mf_arrive();
    };
    group.m_onStop = [&](int) { marked += ICThreadContext::mf_isCanceled(); };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_TRUE(inside.mf_arrive());
        cancel.mf_cancel(ICErrnoData(ICErrno::_W_::Shutdown));
        EXPECT_TRUE(inside.mf_arrive());
        for (int index = 0; index < 3; ++index)
            EXPECT_TRUE(group.mf_awaitEnd(index));
        EXPECT_THAT(group.mf_getStates(), ElementsAre(0, 0, 0));
        EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_down()) << "and not the reason";
    });
    EXPECT_EQ(3, passes);
    EXPECT_EQ(3, marked);
    // The poll has its own line; that of the thread function is for passes that are cancelled from inside.
    EXPECT_THAT(f_recordsOf(WORKER, records), Not(Contains(f_isRecord('W', WORKER, testing::_))));
    for (std::string const index : {"0", "1", "2"})
        EXPECT_THAT(records, Contains(f_isRecord('W', "ICThreads::mf_stopWait",
                                                 "G: Thread " + index +
                                                     " has exited due to user cancelation\nReturn code: 0x02000037")));
}

TEST_F(ICThreadsCancel, SwitchInsideAPass_EndsThePass)
{
    ICTestGroup group(1);
    ICCancelSwitch cancel;
    group.mf_installCancelSwitch(&cancel);
    group.m_execute = [&](int) {
        cancel.mf_cancel(ICErrnoData(ICErrno::_W_::Shutdown));
        group.mf_tryCancel();
    };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_join());
    });
    EXPECT_THAT(records,
                Contains(f_isRecord('W', WORKER, "Overloaded worker function in thread no. 0 was canceled by user")));
}

TEST_F(ICThreadsCancel, CanceledAheadOfTheStart_NoPassRuns)
{
    ICTestGroup group(2);
    ICCancelSwitch cancel;
    cancel.mf_cancel(ICErrnoData(ICErrno::_W_::Shutdown));
    group.mf_installCancelSwitch(&cancel);
    std::atomic<int> passes = 0;
    std::atomic<int> stops = 0;
    group.m_execute = [&](int) { ++passes; };
    group.m_onStop = [&](int) { ++stops; };
    group.mf_up();
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_join());
    EXPECT_EQ(0, passes);
    EXPECT_EQ(2, stops);
}

TEST_F(ICThreadsCancel, Pause_HoldsThreadsAheadOfTheirNextPass)
{
    ICTestGroup group(1);
    ICCancelSwitch cancel;
    group.mf_installCancelSwitch(&cancel);
    ICSignal waits;
    ICSignal goesOn;
    std::atomic<int> passes = 0;
    ICImportPatch const waiting(IC_IMPORT(WaitForSingleObject), [&](HANDLE handle, ulong timeout) {
        if (handle == cancel.m_hWaitEvent) waits.mf_give();
        return ::WaitForSingleObject(handle, timeout);
    });
    group.m_execute = [&](int) {
        if (++passes == 1) {
            cancel.mf_pause();
            return;
        }
        goesOn.mf_give();
        group.mf_waitForStop();
    };
    group.mf_up();
    EXPECT_TRUE(waits.mf_await());
    EXPECT_EQ(1, passes);
    EXPECT_EQ(1, group.mf_isRunning(0));
    cancel.mf_resume();
    EXPECT_TRUE(goesOn.mf_await());
    EXPECT_EQ(CLEAN, group.mf_down());
    EXPECT_EQ(2, passes);
}

TEST_F(ICThreadsCancel, PollFailsOtherwise_EndsTheThreadWithoutALine)
{
    ICPollFails group(1);
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_EQ(ICErrno::_E_::Synchronization.mf_getNumber(), group.mf_join());
    });
    EXPECT_THAT(f_recordsOf(WORKER, records), Each(f_isRecord('T', WORKER, testing::_)));
}

TEST_F(ICThreadsOnStop, Fails_IsTheOutcome)
{
    ICTestGroup group(1);
    group.m_onStop = [](int) { throw ICErrno(ICErrno::_E_::FileClose, ERROR_DISK_FULL); };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_EQ(ICErrno::_E_::FileClose.mf_getNumber(), group.mf_down());
    });
    EXPECT_THAT(records, Contains(f_isRecord('E', WORKER,
                                             f_logged("Failure executing on-stop action for thread no. 0:\n",
                                                      ICErrno::_E_::FileClose, ERROR_DISK_FULL))));
    EXPECT_FALSE(group.mf_getErrnoData(0).mf_isSet()) << "start-up failures alone";
}

// Deliberate: it takes the place of whatever ended the loop, be that worse.
TEST_F(ICThreadsOnStop, Fails_ReplacesWhatEndedTheLoop)
{
    for (ICErrnoValue const * cause : {&ICErrno::_S_::System, &ICErrno::_W_::UserCanceled}) {
        ICTestGroup group(1);
        group.m_execute = [&](int) { throw ICErrno(*cause); };
        group.m_onStop = [](int) { throw ICErrno(ICErrno::_I_::StubFile); };
        group.mf_up();
        EXPECT_TRUE(group.mf_awaitEnd(0));
        EXPECT_EQ(ICErrno::_I_::StubFile.mf_getNumber(), group.mf_getExitCode(0));
        EXPECT_EQ(CLEAN, group.mf_down());
    }
}

TEST_F(ICThreadsOnStop, RunsInItsThreadAheadOfTheHaltedState)
{
    ICTestGroup group(1);
    int state = -1;
    ulong threads[2] = {};
    group.m_onStart = [&](int) { threads[0] = ::GetCurrentThreadId(); };
    group.m_onStop = [&](int index) {
        threads[1] = ::GetCurrentThreadId();
        state = group.mf_getState(index);
    };
    group.mf_up();
    group.mf_down();
    EXPECT_EQ(2, state) << "to be shut down";
    EXPECT_EQ(threads[0], threads[1]);
}

TEST(ICThreadsLanguage, FailureOfAPass_IsTracedInEnglishAndTheNextPassSpeaksGerman)
{
    ICTracedProcess const process(L"German");
    ICTestGroup group(1);
    ICErrno const failure(ICErrno::_E_::Parameter);
    unsigned short languages[2] = {};
    ICSignal goesOn;
    int passes = 0;
    group.m_execute = [&](int) {
        languages[passes] = ICThreadContext::mf_getCurrentLanguageId();
        if (passes++ == 0) throw ICErrno(failure);
        goesOn.mf_give();
        group.mf_waitForStop();
    };
    auto const records = process.mf_trace([&] {
        group.mf_up();
        EXPECT_TRUE(goesOn.mf_await());
        group.mf_down();
    });
    EXPECT_THAT(records, Contains(f_isRecord('E', WORKER, f_failedPass(failure))));
    EXPECT_THAT(languages, ElementsAre(0x0407, 0x0407));
}

// Only ICErrno is caught.
IC_CHILD(foreign_exception)
{
    ICStartedProcess const process;
    ICTestGroup group(1);
    group.m_execute = [](int) { throw 42; };
    group.mf_up();
    group.mf_join();
    return 77;
}

TEST(ICThreadsForeign, ExceptionOfAnotherType_EndsTheProcess)
{
    ICChildProcess child("foreign_exception");
    EXPECT_NE(0u, child.mf_getExitCode());
    EXPECT_NE(77u, child.mf_getExitCode());
    EXPECT_THAT(child.mf_getErrors(), HasSubstr("instance of 'int'"));
}
