// Making, asking, copying and ending a group.
#include "hsmbase/threads/ICThreads.h"

#include <cstring>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICRawStorage.h"
#include "tests/threads/ICTestGroup.h"
#include "tests/threads/VirtualSlot.h"

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

constexpr char CONSTRUCTOR[] = "ICThreads::ICThreads";
constexpr char CLEANUP[] = "ICThreads::mf_implCleanup";

using ICThreadsMake = ICThreadsTest;
using ICThreadsEnd = ICThreadsTest;
using ICThreadsCopy = ICThreadsTest;
using ICThreadsAsk = ICThreadsTest;

// The least that a group is, for what isn't destroyed: without a name it owns nothing but its arrays and events.
class ICBareGroup : public ICThreads
{
public:
    explicit ICBareGroup(int count) : ICThreads(CString(), ICThreadContext::TYPE_WORKER, count) {}
    explicit ICBareGroup(ICThreads const & other) : ICThreads(other) {}

private:
    void mf_implExecute(int) override { ::WaitForSingleObject(m_hShutdown, TEST_LIMIT); }
};

auto f_make(int count)
{
    return [count] { ICTestGroup const group(count); };
}

ICCalls f_call(ulong number)
{
    return ICCalls::mf_only(number).mf_onThisThread();
}

void f_deleteRecords(ICThreads const & group)
{
    for (int index = 0; index < group.mf_getThreadCount(); ++index)
        delete group.m_ppThreads[index];
}

} // namespace

TEST_F(ICThreadsMake, CountBelowOne_Fails)
{
    EXPECT_THAT(m_process.mf_run(f_make(0)),
                f_fails(ICErrno::_E_::Initialization, 'E', CONSTRUCTOR, "Thread count < 0: 0 threads"));
    EXPECT_THAT(m_process.mf_run(f_make(-1)),
                f_fails(ICErrno::_E_::Initialization, 'E', CONSTRUCTOR, "Thread count < 0: -1 threads"));
}

TEST_F(ICThreadsMake, CountAbove64_FailsWithAWarning)
{
    EXPECT_THAT(m_process.mf_run(f_make(65)), f_fails(ICErrno::_E_::Initialization, 'W', CONSTRUCTOR,
                                                      "Maximum thread count 64 is exceeded: 65 threads"));
}

TEST_F(ICThreadsMake, RefusedCount_TouchesNothing)
{
    ICImportFault const locks("InitializeCriticalSection");
    ICImportFault const events("CreateEventW");
    for (int const count : {0, 65})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, f_make(count)));
    EXPECT_EQ(0u, locks.mf_getCalls());
    EXPECT_EQ(0u, events.mf_getCalls());
}

TEST_F(ICThreadsMake, OneAnd64_AreTheBounds)
{
    for (int const count : {1, 64}) {
        ICTestGroup const group(count);
        EXPECT_EQ(count, group.mf_getThreadCount());
        EXPECT_EQ(std::vector<int>(static_cast<std::size_t>(count), -1), group.mf_getStates());
    }
}

TEST_F(ICThreadsMake, Made_IsAtRest)
{
    ICTestGroup const group(3, ICThreadContext::TYPE_TERMINATOR);
    EXPECT_STREQ(L"G", group.mf_getName());
    EXPECT_EQ(0, group.m_runCount);
    EXPECT_FALSE(f_isSignalled(group.m_hRunning));
    EXPECT_FALSE(f_isSignalled(group.m_hShutdown));
    for (int index = 0; index < 3; ++index) {
        ICThreadsData const & record = *group.m_ppThreads[index];
        EXPECT_EQ(&group, record.mf_getThread());
        EXPECT_EQ(ICThreadContext::TYPE_TERMINATOR + 0, record.mf_getType());
        EXPECT_EQ(index, record.mf_getIndex());
        EXPECT_EQ(nullptr, group.m_phThreads[index]);
    }
}

TEST_F(ICThreadsMake, Events_AreManualAndUnsignalledAndNameless)
{
    std::vector<std::vector<int>> asked;
    ICImportPatch const creating(IC_IMPORT(CreateEventW),
                                 [&](SECURITY_ATTRIBUTES * security, BOOL manual, BOOL initial, LPCWSTR name) {
                                     asked.push_back({manual, initial, security != nullptr, name != nullptr});
                                     return ::CreateEventW(security, manual, initial, name);
                                 });
    ICTestGroup const group(1);
    EXPECT_THAT(asked, ElementsAre(ElementsAre(TRUE, FALSE, 0, 0), ElementsAre(TRUE, FALSE, 0, 0)));
}

TEST_F(ICThreadsMake, NoMemoryForHandles_Fails)
{
    ICImportFault const noMemory("calloc", ICAnswer::mf_value(nullptr), f_call(1));
    EXPECT_THAT(m_process.mf_run(f_make(2)),
                f_fails(ICErrno::_E_::Memory, 'E', CONSTRUCTOR, "Malloc returned no memory for thread handles"));
}

TEST_F(ICThreadsMake, NoMemoryForRecords_Fails)
{
    ICImportFault const noMemory("calloc", ICAnswer::mf_value(nullptr), f_call(2));
    EXPECT_THAT(m_process.mf_run(f_make(2)),
                f_fails(ICErrno::_E_::Memory, 'E', CONSTRUCTOR, "Malloc returned no memory for thread data"));
}

TEST_F(ICThreadsMake, NoMemoryForOneRecord_Fails)
{
    for (ulong number = 1; number <= 3; ++number) {
        ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), f_call(number));
        EXPECT_THAT(m_process.mf_run(f_make(3)),
                    f_fails(ICErrno::_E_::Memory, 'E', CONSTRUCTOR, "Malloc returned no memory for thread data"));
        EXPECT_EQ(number, noMemory.mf_getCalls());
    }
}

TEST_F(ICThreadsMake, NoRunningEvent_Fails)
{
    ICImportFault const refused("CreateEventW", ERROR_NO_SYSTEM_RESOURCES, f_call(1));
    EXPECT_THAT(m_process.mf_run(f_make(2)), f_failsShowing(ICErrno::_E_::Initialization, ERROR_NO_SYSTEM_RESOURCES,
                                                            CONSTRUCTOR, "Failure initializing running event: "));
    EXPECT_EQ(1u, refused.mf_getCalls());
}

TEST_F(ICThreadsMake, NoShutdownEvent_Fails)
{
    ICImportFault const refused("CreateEventW", ERROR_NO_SYSTEM_RESOURCES, f_call(2));
    EXPECT_THAT(m_process.mf_run(f_make(2)), f_failsShowing(ICErrno::_E_::Initialization, ERROR_NO_SYSTEM_RESOURCES,
                                                            CONSTRUCTOR, "Failure initializing shutdown event: "));
}

// An event that could not be had is not open, so it isn't closed either.
TEST_F(ICThreadsMake, NoEvent_IsNotClosed)
{
    ICImportFault const deleting("DeleteCriticalSection");
    ICImportFault const closing("CloseHandle");
    for (ulong number = 1; number <= 2; ++number) {
        ICImportFault const refused("CreateEventW", ERROR_NO_SYSTEM_RESOURCES, f_call(number));
        ulong const closedBefore = closing.mf_getCalls();
        ulong const deletedBefore = deleting.mf_getCalls();
        EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, f_make(1), ERROR_NO_SYSTEM_RESOURCES));
        EXPECT_EQ(number - 1, closing.mf_getCalls() - closedBefore);
        EXPECT_EQ(3u, deleting.mf_getCalls() - deletedBefore) << "two of the record, one of the group";
    }
}

TEST_F(ICThreadsEnd, Events_AreClosedAndTheLockDeleted)
{
    std::vector<HANDLE> closed;
    ICImportPatch const closing(IC_IMPORT(CloseHandle), [&](HANDLE handle) {
        closed.push_back(handle);
        return ::CloseHandle(handle);
    });
    ICImportFault const deleting("DeleteCriticalSection");
    std::vector<HANDLE> events;
    {
        ICTestGroup const group(1);
        events = {group.m_hRunning, group.m_hShutdown};
    }
    EXPECT_EQ(events, closed);
    EXPECT_EQ(3u, deleting.mf_getCalls()) << "that of the group, and two of the record that the test group deletes";
}

TEST_F(ICThreadsEnd, EventsThatWontClose_AreLeftInTheTraceAlone)
{
    std::vector<HANDLE> events;
    {
        ICImportFault const refused("CloseHandle", ERROR_INVALID_HANDLE);
        auto const records = m_process.mf_trace([&] {
            ICTestGroup const group(1);
            events = {group.m_hRunning, group.m_hShutdown};
        });
        EXPECT_THAT(records, ElementsAre(f_isRecord('E', CLEANUP, "Failure closing running-event handle"),
                                         f_isRecord('E', CLEANUP, "Failure closing shutdown-event handle")));
    }
    for (HANDLE const event : events)
        EXPECT_TRUE(::CloseHandle(event));
}

TEST_F(ICThreadsEnd, Cleanup_LeavesMinusOneForTheEvents)
{
    ICRawStorage<ICBareGroup> storage;
    ICBareGroup & group = storage.mf_make(1);
    f_deleteRecords(group);
    group.mf_implCleanup();
    EXPECT_EQ(INVALID_HANDLE_VALUE, group.m_hRunning);
    EXPECT_EQ(INVALID_HANDLE_VALUE, group.m_hShutdown);
}

TEST_F(ICThreadsEnd, LastError_Stays)
{
    ICRawStorage<ICBareGroup> storage;
    ICBareGroup & group = storage.mf_make(1);
    f_deleteRecords(group);
    std::vector<HANDLE> const events = {group.m_hRunning, group.m_hShutdown};
    {
        ICImportFault const refused("CloseHandle", ERROR_INVALID_HANDLE);
        ::SetLastError(1234);
        group.~ICBareGroup();
        EXPECT_EQ(1234u, ::GetLastError());
    }
    for (HANDLE const event : events)
        EXPECT_TRUE(::CloseHandle(event));
}

// Deliberate: threads' handles and records outlive the group.
TEST_F(ICThreadsEnd, HandlesAndRecords_OutliveTheGroup)
{
    constexpr int COUNT = 3;
    std::vector<HANDLE> handles;
    std::vector<ICThreadsData *> records;
    ICLeakAccount account;
    {
        ICBareGroup group(COUNT);
        group.mf_start();
        group.mf_startWait();
        group.mf_stop();
        group.mf_stopWait(TEST_LIMIT);
        handles.assign(group.m_phThreads, group.m_phThreads + COUNT);
        records.assign(group.m_ppThreads, group.m_ppThreads + COUNT);
    }
    account.mf_isBalanced();
    EXPECT_EQ(COUNT, account.mf_getHandles()) << account.mf_describe();
    EXPECT_LE(2 * COUNT, account.mf_getBlocks()) << "records, contexts: " << account.mf_describe();
    EXPECT_EQ(0, account.mf_getThreads()) << account.mf_describe();
    for (ICThreadsData * const record : records) {
        EXPECT_EQ(0, record->mf_getState());
        delete record;
    }
    for (HANDLE const handle : handles) {
        DWORD code = 0;
        EXPECT_TRUE(::GetExitCodeThread(handle, &code));
        EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), code);
        EXPECT_TRUE(::CloseHandle(handle));
    }
    ICLeakAccount::mf_excuse("a thread of a group leaves its context", 0, COUNT);
}

TEST_F(ICThreadsEnd, GroupThatNeverStarted_LeavesNoThreads)
{
    ICLeakAccount account;
    f_make(64)();
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

// A copy is one of bytes, so it stays in raw storage and is never destroyed.
TEST_F(ICThreadsCopy, SharesHandlesRecordsAndEvents)
{
    ICBareGroup group(2);
    ICRawStorage<ICBareGroup> storage;
    ICThreads const & copy = storage.mf_make(group);
    EXPECT_EQ(2, copy.mf_getThreadCount());
    EXPECT_EQ(group.m_phThreads, copy.m_phThreads);
    EXPECT_EQ(group.m_ppThreads, copy.m_ppThreads);
    EXPECT_EQ(group.m_hRunning, copy.m_hRunning);
    EXPECT_EQ(group.m_hShutdown, copy.m_hShutdown);
    EXPECT_EQ(0, std::memcmp(&group.m_csGroup, &copy.m_csGroup, sizeof(CRITICAL_SECTION)));
    f_deleteRecords(group);
}

TEST_F(ICThreadsCopy, IsASecondViewOfTheSameThreads)
{
    ICTestGroup group(2);
    ICRawStorage<ICBareGroup> storage;
    ICThreads & copy = storage.mf_make(group);
    group.mf_up();
    EXPECT_STREQ(L"G", copy.mf_getName());
    EXPECT_EQ(0, copy.m_runCount) << "the count goes its own way";
    EXPECT_EQ(1, copy.mf_isRunning(0));
    EXPECT_EQ(1, copy.mf_isRunning(1));
    copy.mf_stop();
    EXPECT_EQ(0x01000000u, copy.mf_stopWait(TEST_LIMIT).mf_getNumber());
    EXPECT_EQ(1, group.mf_isHalted(0));
    copy.m_sName.Empty();
}

TEST_F(ICThreadsAsk, StateString_OfEachState)
{
    EXPECT_STREQ(L"STATE-NONE", ICThreads::mf_getStateString(-1));
    EXPECT_STREQ(L"STATE-HALTED", ICThreads::mf_getStateString(0));
    EXPECT_STREQ(L"STATE-RUNNING", ICThreads::mf_getStateString(1));
    EXPECT_STREQ(L"STATE-SHUTDOWN", ICThreads::mf_getStateString(2));
    EXPECT_EQ(&ICThreads::STATE_STRING_NONE, &ICThreads::mf_getStateString(-1));
    EXPECT_EQ(&ICThreads::STATE_STRING_HALTED, &ICThreads::mf_getStateString(0));
    EXPECT_EQ(&ICThreads::STATE_STRING_RUNNING, &ICThreads::mf_getStateString(1));
    EXPECT_EQ(&ICThreads::STATE_STRING_SHUTDOWN, &ICThreads::mf_getStateString(2));
}

TEST_F(ICThreadsAsk, StateString_OfAnyOtherNumber_IsUnknown)
{
    for (int const state : {-2, 3, INT_MAX, INT_MIN})
        EXPECT_STREQ(L"UNKNOWN-STATE", ICThreads::mf_getStateString(state)) << state;
    EXPECT_EQ(&ICThreads::mf_getStateString(3), &ICThreads::mf_getStateString(-2));
}

TEST_F(ICThreadsAsk, States_OfEachThread)
{
    ICTestGroup group(4);
    for (int index = 0; index < 4; ++index)
        group.mf_setState(index, index - 1);
    EXPECT_THAT(group.mf_getStates(), ElementsAre(-1, 0, 1, 2));
    for (int index = 0; index < 4; ++index) {
        EXPECT_EQ(index == 1, group.mf_isHalted(index));
        EXPECT_EQ(index == 2, group.mf_isRunning(index));
        EXPECT_EQ(index == 3, group.mf_isShutdown(index));
    }
}

TEST_F(ICThreadsAsk, WithinTheGroup_TracesNothing)
{
    ICTestGroup group(2);
    EXPECT_THAT(m_process.mf_trace([&] {
        for (int index = 0; index < 2; ++index) {
            group.mf_setUserData(index, &group);
            group.mf_getUserData(index);
            group.mf_getErrnoData(index);
            group.mf_getState(index);
            group.mf_isRunning(index);
        }
    }),
                IsEmpty());
}

TEST_F(ICThreadsAsk, UserData_IsEachThreadsOwn)
{
    ICTestGroup group(2);
    int data[2] = {};
    for (int index = 0; index < 2; ++index)
        group.mf_setUserData(index, &data[index]);
    for (int index = 0; index < 2; ++index)
        EXPECT_EQ(&data[index], group.mf_getUserData(index));
}

// Each question with an index outside leaves this line and answers nothing.
TEST_F(ICThreadsAsk, OutsideTheGroup_AnswersAndTraces)
{
    struct CASE
    {
        int index;
        char const * text;
    };
    ICTestGroup group(2);
    for (CASE const & testCase : {CASE{-1, "INTERNAL: index=-1 < 0"},
                                  {INT_MIN, "INTERNAL: index=-2147483648 < 0"},
                                  {2, "INTERNAL: index=2 > thread-count=2"},
                                  {99, "INTERNAL: index=99 > thread-count=2"}}) {
        int const index = testCase.index;
        auto const records = m_process.mf_trace([&] {
            EXPECT_EQ(-1, group.mf_getState(index));
            EXPECT_EQ(0, group.mf_isHalted(index));
            EXPECT_EQ(0, group.mf_isRunning(index));
            EXPECT_EQ(0, group.mf_isShutdown(index));
            EXPECT_EQ(nullptr, group.mf_getUserData(index));
            EXPECT_EQ(ICErrno::_E_::Range.mf_getNumber(), group.mf_getErrnoData(index).mf_getNumber());
            group.mf_setUserData(index, &group);
        });
        EXPECT_THAT(records, SizeIs(7));
        EXPECT_THAT(records, Each(f_isRecord('E', "ICThreads::mf_implCheckRange", testCase.text)));
    }
    EXPECT_EQ(nullptr, group.mf_getUserData(0));
    EXPECT_EQ(nullptr, group.mf_getUserData(1));
}

// Deliberate: -1 would count all threads, but the check of the range comes first.
TEST_F(ICThreadsAsk, StateCounter_AllThreads_IsRefused)
{
    ICTestGroup const group(2);
    EXPECT_EQ(1u, group.mf_implStateCounter(0, -1));
    EXPECT_EQ(0u, group.mf_implStateCounter(0, 0));
    EXPECT_THAT(m_process.mf_trace([&] { EXPECT_EQ(0u, group.mf_implStateCounter(-1, -1)); }),
                ElementsAre(f_isRecord('E', "ICThreads::mf_implCheckRange", "INTERNAL: index=-1 < 0")));
}

#ifndef _MSC_VER

// Behind the first operation come the two places of the destructor.
TEST(ICThreadsTable, Slots_StandInTheirOrder)
{
    EXPECT_EQ(0, f_slotOf(&ICThreads::mf_installCancelSwitch));
    EXPECT_EQ(3, f_slotOf(&ICThreads::mf_tryCancel));
    EXPECT_EQ(4, f_slotOf(&ICThreads::mf_implPropagateCancelSwitch));
    EXPECT_EQ(5, f_slotOf(&ICThreads::mf_implExecuteOnStart));
    EXPECT_EQ(6, f_slotOf(&ICThreads::mf_implExecuteOnStop));
    EXPECT_EQ(7, f_slotOf(&ICThreads::mf_implExecute));
    EXPECT_EQ(8, f_slotOf(&ICThreads::mf_start));
    EXPECT_EQ(9, f_slotOf(&ICThreads::mf_startWait));
    EXPECT_EQ(10, f_slotOf(&ICThreads::mf_stop));
    EXPECT_EQ(11, f_slotOf(&ICThreads::mf_stopWait));
}

#endif
