// From mf_start to the first pass.
#include <atomic>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICTestGroup.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr char WORKER[] = "f_ICThread";
constexpr char START[] = "ICThreads::mf_start";
constexpr char START_WAIT[] = "ICThreads::mf_startWait";

using ICThreadsStart = ICThreadsTest;
using ICThreadsStartWait = ICThreadsTest;
using ICThreadsOnStart = ICThreadsTest;

struct CREATION
{
    SIZE_T stack;
    LPTHREAD_START_ROUTINE function;
    void * parameter;
    ulong flags;
    std::vector<int> states; // of the group's threads at this moment
};

// A thread's function that is preceded by a context: from then on the thread can trace.
struct BEGINNING
{
    LPTHREAD_START_ROUTINE function;
    void * parameter;

    static unsigned long __stdcall mf_run(void * parameter)
    {
        BEGINNING const & beginning = *static_cast<BEGINNING *>(parameter);
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, 0);
        return beginning.function(beginning.parameter);
    }
};

// Takes part in each creation of a thread.
template<class ACT>
auto f_creating(ACT act)
{
    return [act](SECURITY_ATTRIBUTES * security, SIZE_T stack, LPTHREAD_START_ROUTINE function, void * parameter,
                 ulong flags, DWORD * id) {
        CREATION creation{stack, function, parameter, flags, {}};
        act(creation);
        return ::CreateThread(security, creation.stack, creation.function, creation.parameter, creation.flags, id);
    };
}

} // namespace

TEST_F(ICThreadsStart, AndStop_OneThread_TracesItsLife)
{
    ICTestGroup group(1);
    ulong result = 0;
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        result = group.mf_down();
    });
    EXPECT_EQ(0x01000000u, result);
    EXPECT_THAT(
        f_recordsOf(WORKER, records),
        ElementsAre(f_isRecord('T', WORKER, "G: Thread no. 0 started and initialized\nCurrent thread run count: 1"),
                    f_isRecord('T', WORKER, "G: All 1 thread(s) running, signaling running-event"),
                    f_isRecord('D', WORKER, "G: Shutdown signaled, exiting worker loop of thread no. 0 ..."),
                    f_isRecord('T', WORKER, "G: Exiting thread no. 0 ...")));
}

TEST_F(ICThreadsStart, ThreeThreads_TraceTheirCreation)
{
    ICTestGroup group(3);
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        group.mf_down();
    });
    EXPECT_THAT(f_recordsOf(START, records),
                ElementsAre(f_isRecord('D', START, "G: 3 worker thread(s) successfully created")));
    EXPECT_THAT(f_recordsOf(START_WAIT, records),
                ElementsAre(f_isRecord('T', START_WAIT, "G: Waiting for all threads to be running ..."),
                            f_isRecord('T', START_WAIT, "G: Waiting for all threads to be running: done.")));
    EXPECT_THAT(records, Contains(f_isRecord('T', WORKER, "G: All 3 thread(s) running, signaling running-event")));
    for (std::string const index : {"0", "1", "2"})
        EXPECT_THAT(records,
                    Contains(f_isRecord('T', WORKER,
                                        AllOf(HasSubstr("G: Thread no. " + index + " started and initialized\n"),
                                              HasSubstr("Current thread run count: ")))));
}

TEST_F(ICThreadsStart, Threads_HaveDefaultStackNoFlagsAndTheirRecord)
{
    ICTestGroup group(3);
    std::vector<CREATION> creations;
    ICImportPatch const creating(IC_IMPORT(CreateThread),
                                 f_creating([&](CREATION & creation) { creations.push_back(creation); }));
    group.mf_up();
    ASSERT_EQ(3u, creations.size());
    for (int index = 0; index < 3; ++index) {
        CREATION const & creation = creations[static_cast<std::size_t>(index)];
        EXPECT_EQ(0u, creation.stack);
        EXPECT_EQ(0u, creation.flags);
        EXPECT_EQ(group.m_ppThreads[index], creation.parameter);
    }
    group.mf_down();
}

// NONE to HALTED by the caller, ahead of the thread; HALTED to RUNNING by the thread, ahead of its on-start action.
TEST_F(ICThreadsStart, States_GoFromNoneByHaltedToRunning)
{
    ICTestGroup group(3);
    int stateInOnStart[3] = {};
    group.m_onStart = [&](int index) { stateInOnStart[index] = group.mf_getState(index); };
    std::vector<std::vector<int>> states;
    ICImportPatch const creating(IC_IMPORT(CreateThread), f_creating([&](CREATION & creation) {
                                     creation.flags = CREATE_SUSPENDED;
                                     states.push_back(group.mf_getStates());
                                 }));
    group.mf_start();
    EXPECT_THAT(states, ElementsAre(ElementsAre(0, -1, -1), ElementsAre(0, 0, -1), ElementsAre(0, 0, 0)));
    for (int index = 0; index < 3; ++index)
        ::ResumeThread(group.m_phThreads[index]);
    group.mf_startWait();
    EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 1, 1));
    EXPECT_THAT(stateInOnStart, ElementsAre(1, 1, 1));
    group.mf_down();
}

TEST_F(ICThreadsStart, ContextOfEachThread_HasTypeAndIndex)
{
    ICTestGroup group(3, ICThreadContext::TYPE_MIGRATION);
    ulong types[3] = {};
    ulong indexes[3] = {};
    group.m_onStart = [&](int index) {
        types[index] = ICThreadContext::mf_getType();
        indexes[index] = ICThreadContext::mf_getIndex();
    };
    group.mf_up();
    EXPECT_EQ(0x01000000u, group.mf_down());
    EXPECT_THAT(types, ElementsAre(0x40000000u, 0x40000000u, 0x40000000u));
    EXPECT_THAT(indexes, ElementsAre(0u, 1u, 2u));
}

TEST_F(ICThreadsStart, Running_Fails)
{
    ICTestGroup group(2);
    group.mf_up();
    EXPECT_THAT(m_process.mf_run([&] { group.mf_start(); }),
                f_fails(ICErrno::_E_::Internal, 'W', START, "Thread no. 0 has unexpected state 1 (STATE-RUNNING)"));
    group.mf_down();
}

TEST_F(ICThreadsStart, AfterAFullStop_Fails)
{
    ICTestGroup group(2);
    group.mf_up();
    group.mf_down();
    EXPECT_THAT(m_process.mf_run([&] { group.mf_start(); }),
                f_fails(ICErrno::_E_::Internal, 'W', START, "Thread no. 0 has unexpected state 0 (STATE-HALTED)"));
}

TEST_F(ICThreadsStart, UnexpectedStateOfALaterThread_LeavesThoseBeforeItRunning)
{
    ICTestGroup group(2);
    group.mf_setState(1, 2);
    ICSignal runs;
    group.m_onStart = [&](int) { runs.mf_give(); };
    EXPECT_THAT(m_process.mf_run([&] { group.mf_start(); }),
                f_fails(ICErrno::_E_::Internal, 'W', START, "Thread no. 1 has unexpected state 2 (STATE-SHUTDOWN)"));
    EXPECT_TRUE(runs.mf_await());
    EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 2));
    group.mf_stop();
    EXPECT_TRUE(group.mf_awaitEnd(0));
}

TEST_F(ICThreadsStart, ThreadCannotBeMade_ThoseBeforeItRunOn)
{
    ICTestGroup group(4);
    ICMeetingPoint running(3);
    group.m_onStart = [&](int) { running.mf_arrive(); };
    ICImportFault const refused("CreateThread", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_only(3));
    EXPECT_THAT(m_process.mf_run([&] { group.mf_start(); }),
                f_failsShowing(ICErrno::_E_::System, ERROR_NOT_ENOUGH_MEMORY, START, "Error creating thread no. 2: "));
    EXPECT_TRUE(running.mf_arrive());
    EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 1, 0, -1));
    EXPECT_FALSE(f_isSignalled(group.m_hRunning));
    group.mf_stop();
    for (int const index : {0, 1}) {
        EXPECT_TRUE(group.mf_awaitEnd(index));
        EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), group.mf_getExitCode(index));
    }
    EXPECT_THAT(group.mf_getStates(), ElementsAre(0, 0, 0, -1));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { group.mf_join(); }, ERROR_INVALID_HANDLE))
        << "no thread 2";
}

TEST_F(ICThreadsStart, FirstThreadCannotBeMade_LeavesNone)
{
    ICTestGroup group(1);
    ICImportFault const refused("CreateThread", ERROR_ACCESS_DENIED);
    EXPECT_THAT(m_process.mf_run([&] { group.mf_start(); }),
                f_failsShowing(ICErrno::_E_::System, ERROR_ACCESS_DENIED, START, "Error creating thread no. 0: "));
    EXPECT_EQ(nullptr, group.m_phThreads[0]);
    EXPECT_EQ(0, group.mf_getState(0));
}

TEST_F(ICThreadsStart, ThreadWithoutRecord_EndsWithAnInternalFailure)
{
    ICTestGroup group(1);
    BEGINNING beginning{};
    ICImportPatch const creating(IC_IMPORT(CreateThread), f_creating([&](CREATION & creation) {
                                     beginning = {creation.function, nullptr};
                                     creation.function = &BEGINNING::mf_run;
                                     creation.parameter = &beginning;
                                 }));
    EXPECT_THAT(m_process.mf_trace([&] {
        group.mf_start();
        EXPECT_EQ(ICErrno::_E_::Internal.mf_getNumber(), group.mf_join());
    }),
                Contains(f_isRecord('E', WORKER, "NULL == _lpParameter")));
    EXPECT_EQ(0, group.m_runCount);
}

TEST_F(ICThreadsStartWait, ReturnsOnceTheLastThreadRuns)
{
    ICTestGroup group(3);
    ICMeetingPoint working(3);
    group.m_execute = [&](int index) {
        if (index != 2) working.mf_arrive();
        group.mf_waitForStop();
    };
    ICImportPatch const creating(IC_IMPORT(CreateThread), f_creating([&](CREATION & creation) {
                                     if (creation.parameter == group.m_ppThreads[2]) creation.flags = CREATE_SUSPENDED;
                                 }));
    group.mf_start();
    EXPECT_TRUE(working.mf_arrive());
    EXPECT_EQ(2, group.m_runCount);
    EXPECT_FALSE(f_isSignalled(group.m_hRunning));
    ::ResumeThread(group.m_phThreads[2]);
    group.mf_startWait();
    EXPECT_EQ(3, group.m_runCount);
    EXPECT_EQ(0x01000000u, group.mf_down());
}

TEST_F(ICThreadsStartWait, AgainAndAfterTheEnd_ReturnsAtOnce)
{
    ICTestGroup group(1);
    group.mf_up();
    group.mf_startWait();
    group.mf_down();
    group.mf_startWait();
    EXPECT_EQ(1, group.m_runCount) << "it never goes down";
}

TEST_F(ICThreadsStartWait, WaitFails_Throws)
{
    ICTestGroup group(1);
    group.mf_start();
    ICImportFault const failing("WaitForSingleObject", ERROR_INVALID_HANDLE, ICCalls::mf_all().mf_onThisThread());
    EXPECT_THAT(m_process.mf_run([&] { group.mf_startWait(); }),
                f_failsShowing(ICErrno::_E_::Synchronization, ERROR_INVALID_HANDLE, START_WAIT,
                               "Failure waiting for starting thread(s): "));
    ::WaitForSingleObject(group.m_hRunning, TEST_LIMIT);
    group.mf_down();
}

// Whatever isn't the event is a failure, also an answer that the platform doesn't count as one.
TEST_F(ICThreadsStartWait, AnyOtherAnswer_Throws)
{
    ICTestGroup group(1);
    group.mf_start();
    for (ulong const answer : {ulong{WAIT_TIMEOUT}, ulong{WAIT_ABANDONED}, 1ul}) {
        ICImportFault const other("WaitForSingleObject", ICAnswer::mf_value(answer),
                                  ICCalls::mf_all().mf_onThisThread());
        EXPECT_THAT(
            m_process.mf_run([&] { group.mf_startWait(); }),
            f_failsShowing(ICErrno::_E_::Synchronization, 0, START_WAIT, "Failure waiting for starting thread(s): "));
    }
    ::WaitForSingleObject(group.m_hRunning, TEST_LIMIT);
    group.mf_down();
}

// Nobody waits by mf_startWait here: that would be for ever.
TEST_F(ICThreadsStartWait, RunningEventCannotBeSet_IsTracedAndTheThreadGoesOn)
{
    ICTestGroup group(1);
    ICSignal works;
    group.m_execute = [&](int) {
        works.mf_give();
        group.mf_waitForStop();
    };
    auto const records = m_process.mf_trace([&] {
        ICImportFault const failing("SetEvent", ERROR_INVALID_HANDLE, ICCalls::mf_only(1));
        group.mf_start();
        EXPECT_TRUE(works.mf_await());
        EXPECT_FALSE(f_isSignalled(group.m_hRunning));
        EXPECT_EQ(0x01000000u, group.mf_down());
    });
    std::string const shown =
        f_logged("Failure signaling running-event: ", ICErrno::_E_::Synchronization, ERROR_INVALID_HANDLE);
    EXPECT_THAT(records, Contains(f_isRecord('E', WORKER, shown + "\nContinuing ...")));
}

// Both have been counted before either looks, so both set the event.
TEST_F(ICThreadsStartWait, TwoThreadsThatSeeAFullCounter_BothSignal)
{
    ICTestGroup group(2);
    ICMeetingPoint counted(2);
    group.m_onStart = [&](int) { counted.mf_arrive(); };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_EQ(0x01000000u, group.mf_down());
    });
    EXPECT_THAT(records,
                Contains(f_isRecord('T', WORKER, "G: All 2 thread(s) running, signaling running-event")).Times(2));
    EXPECT_THAT(
        records,
        Contains(f_isRecord('T', WORKER, HasSubstr("started and initialized\nCurrent thread run count: 2"))).Times(2));
}

// A thread without context never counts as running, so that mf_startWait would wait for ever. It can't trace either:
// only its record and its exit code tell of it.
TEST_F(ICThreadsStart, NoContext_ThreadEndsWithoutHavingRun)
{
    ICTestGroup group(1);
    std::atomic<int> calls = 0;
    group.m_onStart = group.m_execute = group.m_onStop = [&](int) { ++calls; };
    auto const records = m_process.mf_trace([&] {
        ICImportFault const noSlot("TlsSetValue", ERROR_INVALID_PARAMETER);
        group.mf_start();
        EXPECT_EQ(ICErrno::_E_::System.mf_getNumber(), group.mf_join());
    });
    EXPECT_THAT(f_recordsOf(WORKER, records), IsEmpty());
    EXPECT_EQ(0, group.m_runCount);
    EXPECT_FALSE(f_isSignalled(group.m_hRunning));
    EXPECT_EQ(0, calls);
}

// The thread has a context already, so it gets no second one, and can trace that.
TEST_F(ICThreadsStart, ContextFails_TracesThreeLines)
{
    ICTestGroup group(1);
    BEGINNING beginning{};
    ICImportPatch const creating(IC_IMPORT(CreateThread), f_creating([&](CREATION & creation) {
                                     beginning = {creation.function, creation.parameter};
                                     creation.function = &BEGINNING::mf_run;
                                     creation.parameter = &beginning;
                                 }));
    auto const records = m_process.mf_trace([&] {
        group.mf_start();
        EXPECT_EQ(ICErrno::_W_::AlreadyInitialized.mf_getNumber(), group.mf_join());
    });
    std::string const shown = f_logged("Failure creating thread context for thread with type=0x00000008, index=0:\n",
                                       ICErrno(ICErrno::_W_::AlreadyInitialized));
    EXPECT_THAT(f_recordsOf(WORKER, records),
                ElementsAre(f_isRecord('E', WORKER, shown),
                            f_isRecord('E', WORKER,
                                       "Failure starting thread no. 0\nSetting thread errno data and existing ..."),
                            f_isRecord('T', WORKER, "G: Exiting thread no. 0 ...")));
    EXPECT_EQ(0, group.m_runCount);
    EXPECT_EQ(ICErrno::_W_::AlreadyInitialized.mf_getNumber(), group.mf_getErrnoData(0).mf_getNumber());
}

TEST_F(ICThreadsStart, NoContext_StateStaysHaltedAndTheRecordTellsWhy)
{
    ICTestGroup group(2);
    ICSignal works;
    group.m_execute = [&](int) {
        works.mf_give();
        group.mf_waitForStop();
    };
    {
        ICImportFault const oneWithout("TlsSetValue", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1));
        group.mf_start();
        EXPECT_TRUE(works.mf_await());
        int const failed = group.mf_isRunning(0) ? 1 : 0;
        EXPECT_TRUE(group.mf_awaitEnd(failed));
        EXPECT_EQ(0, group.mf_getState(failed));
        EXPECT_EQ(1, group.m_runCount);
        EXPECT_FALSE(f_isSignalled(group.m_hRunning));
        ICErrnoData const failure = group.mf_getErrnoData(failed);
        EXPECT_EQ(ICErrno::_E_::System.mf_getNumber(), failure.mf_getNumber());
        EXPECT_EQ(ULONG{ERROR_INVALID_PARAMETER}, failure.mf_getOriginatorErrno());
        EXPECT_FALSE(group.mf_getErrnoData(1 - failed).mf_isSet());
    }
    EXPECT_EQ(ICErrno::_E_::System.mf_getNumber(), group.mf_down());
}

TEST_F(ICThreadsOnStart, Fails_StillCountsAsRunningAndTellsWhy)
{
    ICTestGroup group(2);
    std::atomic<int> passes = 0;
    std::atomic<int> stops = 0;
    group.m_onStart = [](int index) {
        if (index == 1) throw ICErrno(ICErrno::_E_::Configuration, ERROR_FILE_NOT_FOUND);
    };
    group.m_execute = [&](int index) {
        passes += index == 1;
        group.mf_waitForStop();
    };
    group.m_onStop = [&](int index) { stops += index == 1 ? 100 : 1; };
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_TRUE(group.mf_awaitEnd(1));
        EXPECT_THAT(group.mf_getStates(), ElementsAre(1, 0));
        EXPECT_EQ(ICErrno::_E_::Configuration.mf_getNumber(), group.mf_down());
    });
    EXPECT_EQ(2, group.m_runCount);
    EXPECT_EQ(0, passes);
    EXPECT_EQ(1, stops) << "that of thread 0 alone";
    ICErrnoData const failure = group.mf_getErrnoData(1);
    EXPECT_EQ(ICErrno::_E_::Configuration.mf_getNumber(), failure.mf_getNumber());
    EXPECT_EQ(ULONG{ERROR_FILE_NOT_FOUND}, failure.mf_getOriginatorErrno());
    EXPECT_FALSE(group.mf_getErrnoData(0).mf_isSet());
    std::string const shown = f_logged("Failure executing on-start action for thread no. 1:\n",
                                       ICErrno::_E_::Configuration, ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(records, Contains(f_isRecord('E', WORKER, shown + "\nTerminating thread ...")));
    EXPECT_THAT(
        records,
        Contains(f_isRecord('E', WORKER, "Failure starting thread no. 1\nSetting thread errno data and existing ...")));
    EXPECT_THAT(records, Not(Contains(f_isRecord('T', WORKER, HasSubstr("Thread no. 1 started")))));
}

// Nothing but the loop knows cancellation.
TEST_F(ICThreadsOnStart, UserCanceled_IsAFailureAsAnyOther)
{
    ICTestGroup group(1);
    group.m_onStart = [](int) { throw ICErrno(ICErrno::_W_::UserCanceled); };
    EXPECT_THAT(m_process.mf_trace([&] {
        group.mf_up();
        EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_down());
    }),
                Contains(f_isRecord('E', WORKER, HasSubstr("Failure executing on-start action for thread no. 0:\n"))));
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), group.mf_getErrnoData(0).mf_getNumber());
}

// The record holds the line that the administrator is owed, and it outlives the group: who asks for it pays it.
TEST_F(ICThreadsOnStart, FailureForTheAdministrator_IsOwedByWhoAsks)
{
    ICTestGroup group(1);
    group.m_onStart = [](int) {
        ICErrnoData failure(ICErrno::_E_::Configuration);
        failure.mf_setAdminLogFlag(1);
        throw ICErrno(failure);
    };
    group.mf_up();
    group.mf_down();
    ICErrnoData const first = group.mf_getErrnoData(0);
    ICErrnoData const second = group.mf_getErrnoData(0);
    EXPECT_EQ(1, first.mf_isAdminLogFlagSet());
    EXPECT_EQ(0, second.mf_isAdminLogFlagSet());
}

TEST_F(ICThreadsOnStart, Default_DoesNothing)
{
    ICTestGroup group(1);
    EXPECT_THAT(m_process.mf_trace([&] {
        group.ICThreads::mf_implExecuteOnStart(0);
        group.ICThreads::mf_implExecuteOnStop(0);
    }),
                IsEmpty());
}
