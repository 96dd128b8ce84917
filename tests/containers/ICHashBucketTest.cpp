#include "tests/containers/ContainersTest.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/LoggedFailure.h"

#include <optional>
#include <thread>
#include <type_traits>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ICHashBucketTest : public testing::Test
{
protected:
    static constexpr ulong DENIED = ERROR_ACCESS_DENIED;

    // What a try at the mutex, from a thread of its own, comes to; a mutex that was got is given back.
    static ulong mf_tryFromElsewhere(HANDLE mutex)
    {
        ulong answer = WAIT_FAILED;
        std::jthread([&] {
            answer = ::WaitForSingleObject(mutex, 0);
            if (answer != WAIT_TIMEOUT) ::ReleaseMutex(mutex);
        }).join();
        return answer;
    }

    bool mf_isFree() const { return mf_tryFromElsewhere(m_bucket.m_hMutex) == WAIT_OBJECT_0; }
    bool mf_isHeld() const { return mf_tryFromElsewhere(m_bucket.m_hMutex) == WAIT_TIMEOUT; }

    // A thread takes the bucket and ends.
    void mf_abandon()
    {
        std::jthread([this] { m_bucket.mf_acquireLinkedList()->mf_insertTail(m_item); }).join();
    }

    // Runs `work` while a thread of its own holds the bucket.
    template<class WORK>
    void mf_whileHeldElsewhere(WORK work)
    {
        ICMeetingPoint isHeld(2), isDone(2);
        std::jthread const holder([&] {
            m_bucket.mf_acquireLinkedList();
            isHeld.mf_arrive();
            isDone.mf_arrive();
            m_bucket.mf_releaseLinkedList();
        });
        isHeld.mf_arrive();
        work();
        isDone.mf_arrive();
    }

    ICHashBucket m_bucket;
    ICNumberedItem m_item{7};
};

class ICHashBucketTrace : public ICHashBucketTest
{
protected:
    // The failure is traced where it happens and, with LEVEL_S, by the operation that was called.
    static auto mf_failsInTwoLines(ulong error, char const * step, char const * stepText, char const * operation,
                                   char const * text)
    {
        ICErrnoValue const & constant = ICErrno::_E_::Synchronization;
        return testing::AllOf(f_fails(constant, error, 'E', step, f_logged(stepText, constant, error)),
                              testing::Field("records", &ICTracedAction::m_records,
                                             ElementsAre(f_isRecord('E', step, f_logged(stepText, constant, error)),
                                                         f_isRecord('S', operation, f_logged(text, constant, error)))));
    }

    static auto mf_failsToAcquire(ulong error)
    {
        return mf_failsInTwoLines(error, "ICHashBucket::mf_implLock",
                                  "Failure waiting for mutex: ", "ICHashBucket::mf_acquireLinkedList",
                                  "Failure acquiring hash bucket: ");
    }

    static auto mf_failsToRelease(ulong error)
    {
        return mf_failsInTwoLines(error, "ICHashBucket::mf_implUnlock",
                                  "Failure releasing mutex: ", "ICHashBucket::mf_releaseLinkedList",
                                  "Failure releasing hash bucket: ");
    }

    // Runs the action with an old number in the thread's last error.
    template<class ACTION>
    ICTracedAction mf_runStale(ACTION action) const
    {
        return m_process.mf_run([&] {
            ::SetLastError(ERROR_DISK_FULL);
            action();
        });
    }

    ICTracedProcess const m_process{L"German"};
};

} // namespace

static_assert(std::has_virtual_destructor_v<ICHashBucket>);
static_assert(sizeof(ICHashBucket) == 2 * sizeof(void *) + sizeof(ICLinkedList));

TEST_F(ICHashBucketTest, NewBucket_IsFreeAndItsListEmpty)
{
    EXPECT_TRUE(mf_isFree());
    EXPECT_EQ(1, m_bucket.mf_getLinkedList().mf_isEmpty());
}

TEST_F(ICHashBucketTest, Mutex_HasNoNameNoOwnerAndNoSecurityOfItsOwn)
{
    std::vector<bool> plain;
    ICImportPatch const creating(IC_IMPORT(CreateMutexW), [&](auto * security, BOOL owned, wchar_t const * name) {
        plain.push_back(security == nullptr && !owned && name == nullptr);
        return ::CreateMutexW(security, owned, name);
    });
    ICHashBucket const bucket;
    EXPECT_THAT(plain, ElementsAre(true));
}

TEST_F(ICHashBucketTest, Acquire_HoldsTheBucketUntilItIsReleased)
{
    EXPECT_EQ(&m_bucket.mf_getLinkedList(), m_bucket.mf_acquireLinkedList());
    EXPECT_TRUE(mf_isHeld());
    m_bucket.mf_releaseLinkedList();
    EXPECT_TRUE(mf_isFree());
}

TEST_F(ICHashBucketTest, Acquire_ByItsOwner_IsReleasedAsOften)
{
    m_bucket.mf_acquireLinkedList();
    m_bucket.mf_acquireLinkedList();
    m_bucket.mf_releaseLinkedList();
    EXPECT_TRUE(mf_isHeld());
    m_bucket.mf_releaseLinkedList();
    EXPECT_TRUE(mf_isFree());
}

TEST_F(ICHashBucketTest, Acquire_WaitsForTheOtherThread)
{
    std::optional<std::jthread> waiting;
    NUMBERS seen;
    mf_whileHeldElsewhere([&] {
        waiting.emplace([&] {
            m_bucket.mf_acquireLinkedList();
            seen = f_numbersOf(m_bucket.mf_getLinkedList());
            m_bucket.mf_releaseLinkedList();
        });
        m_bucket.mf_getLinkedList().mf_insertTail(m_item);
    });
    waiting.reset();
    EXPECT_THAT(seen, ElementsAre(7)) << "what was there before the bucket was free";
}

TEST_F(ICHashBucketTest, GetLinkedList_TakesNoLock)
{
    mf_whileHeldElsewhere([this] {
        m_bucket.mf_getLinkedList().mf_insertTail(m_item);
        EXPECT_TRUE(mf_isHeld());
    });
    EXPECT_THAT(f_numbersOf(m_bucket.mf_getLinkedList()), ElementsAre(7));
}

// Deliberate: the copy shares mutex and items with its source.
TEST_F(ICHashBucketTest, Copy_SharesMutexAndLinks)
{
    m_bucket.mf_getLinkedList().mf_insertTail(m_item);
    ICSharingCopy<ICHashBucket> copy(m_bucket);
    EXPECT_EQ(&m_item, copy->mf_acquireLinkedList()->mf_getFirst());
    EXPECT_TRUE(mf_isHeld());
    copy->mf_releaseLinkedList();
    EXPECT_TRUE(mf_isFree());
}

TEST_F(ICHashBucketTest, Assign_SharesMutexAndLinks)
{
    m_bucket.mf_getLinkedList().mf_insertTail(m_item);
    ICHashBucket target;
    HANDLE const own = target.m_hMutex;
    target = m_bucket;
    EXPECT_EQ(m_bucket.m_hMutex, target.m_hMutex);
    EXPECT_EQ(&m_item, target.mf_getLinkedList().mf_getFirst());
    EXPECT_EQ(&m_item, target.mf_getLinkedList().mf_getLast());
    target.m_hMutex = own; // only one of the two may close the other
}

TEST_F(ICHashBucketTest, Destructor_LeavesTheItemsAndTheLastError)
{
    {
        ICHashBucket ending;
        ending.mf_getLinkedList().mf_insertTail(m_item);
        ::SetLastError(DENIED);
    }
    EXPECT_EQ(DENIED, ::GetLastError());
    EXPECT_EQ(m_item.m_pNext, m_item.m_pPrevious);
    EXPECT_FALSE(f_isAlone(m_item));
}

TEST_F(ICHashBucketTrace, Abandoned_IsTakenOverAsIfItHadBeenFree)
{
    mf_abandon();
    EXPECT_THAT(m_process.mf_trace([this] {
        EXPECT_THAT(f_numbersOf(*m_bucket.mf_acquireLinkedList()), ElementsAre(7));
        EXPECT_TRUE(mf_isHeld());
        m_bucket.mf_releaseLinkedList();
    }),
                IsEmpty());
    EXPECT_TRUE(mf_isFree());
}

// Deliberate: only WAIT_FAILED is a failure.
TEST_F(ICHashBucketTrace, Acquire_AnyOtherAnswerOfTheWait_CountsAsLocked)
{
    for (ulong const answer : {ulong{WAIT_TIMEOUT}, ulong{WAIT_IO_COMPLETION}, 1ul}) {
        ICImportFault const odd("WaitForSingleObject", ICAnswer::mf_value(answer));
        EXPECT_THAT(m_process.mf_trace([this] { EXPECT_NE(nullptr, m_bucket.mf_acquireLinkedList()); }), IsEmpty());
    }
}

TEST_F(ICHashBucketTrace, Acquire_TheWaitFails)
{
    ICImportFault const failing("WaitForSingleObject", ICAnswer::mf_error(DENIED, WAIT_FAILED));
    ICTracedAction const outcome = m_process.mf_run([this] { m_bucket.mf_acquireLinkedList(); });
    EXPECT_THAT(outcome, mf_failsToAcquire(DENIED));
}

TEST_F(ICHashBucketTrace, Acquire_OfNoMutex_FailsForReal)
{
    HANDLE const own = std::exchange(m_bucket.m_hMutex, nullptr);
    ICTracedAction const outcome = m_process.mf_run([this] { m_bucket.mf_acquireLinkedList(); });
    m_bucket.m_hMutex = own;
    EXPECT_THAT(outcome, mf_failsToAcquire(ERROR_INVALID_HANDLE));
}

TEST_F(ICHashBucketTrace, Release_BySomebodyElse_Fails)
{
    mf_whileHeldElsewhere([this] {
        EXPECT_THAT(m_process.mf_run([this] { m_bucket.mf_releaseLinkedList(); }), mf_failsToRelease(ERROR_NOT_OWNER));
    });
    EXPECT_THAT(m_process.mf_run([this] { m_bucket.mf_releaseLinkedList(); }), mf_failsToRelease(ERROR_NOT_OWNER))
        << "nobody holds it";
}

// A call that fails without a number gives 0, not the number of an earlier failure.
TEST_F(ICHashBucketTrace, StaleErrors_AreNotReported)
{
    ICImportFault const creating("CreateMutexW", ICAnswer::mf_value(nullptr));
    ICImportFault const waiting("WaitForSingleObject", ICAnswer::mf_value(ulong{WAIT_FAILED}));
    ICImportFault const releasing("ReleaseMutex", ICAnswer::mf_value(0));
    auto const isNew = f_fails(ICErrno::_E_::Synchronization, 0, 'E', "ICHashBucket::ICHashBucket", testing::_);
    EXPECT_THAT(mf_runStale([] { ICHashBucket const bucket; }), isNew);
    EXPECT_THAT(mf_runStale([this] { m_bucket.mf_acquireLinkedList(); }), mf_failsToAcquire(0));
    EXPECT_THAT(mf_runStale([this] { m_bucket.mf_releaseLinkedList(); }), mf_failsToRelease(0));
}

TEST_F(ICHashBucketTrace, Constructor_NoMutex_Fails)
{
    alignas(ICHashBucket) std::byte room[sizeof(ICHashBucket)];
    ICImportFault const failing("CreateMutexW", ERROR_NO_SYSTEM_RESOURCES);
    ICTracedAction const outcome = m_process.mf_run([&] { ::new (room) ICHashBucket; });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Synchronization, ERROR_NO_SYSTEM_RESOURCES,
                                        "ICHashBucket::ICHashBucket", "Failure initializing mutex: "));
    EXPECT_EQ(1u, outcome.m_records.size());
    EXPECT_EQ(INVALID_HANDLE_VALUE, reinterpret_cast<ICHashBucket const *>(room)->m_hMutex);
}

TEST_F(ICHashBucketTrace, Destructor_InvalidHandle_IsAWarning)
{
    EXPECT_THAT(m_process.mf_trace([] {
        ICHashBucket ending;
        ::CloseHandle(std::exchange(ending.m_hMutex, INVALID_HANDLE_VALUE));
    }),
                ElementsAre(f_isRecord('W', "ICHashBucket::~ICHashBucket", "Mutex handle was invalid")));
}

TEST_F(ICHashBucketTrace, Destructor_CloseFails_IsAnErrorLineAndNoMore)
{
    std::optional<ICHashBucket> ending(std::in_place);
    std::vector<ICTraceRecord> records;
    {
        ICFailingClose const failing(DENIED);
        records = m_process.mf_trace([&] {
            ::SetLastError(ERROR_DISK_FULL);
            ending.reset();
            EXPECT_EQ(ulong{ERROR_DISK_FULL}, ::GetLastError());
        });
        EXPECT_EQ(1u, failing.mf_getCalls());
    }
    EXPECT_THAT(records,
                ElementsAre(f_isRecord('E', "ICHashBucket::~ICHashBucket",
                                       f_logged("Failure closing mutex: ", ICErrno::_E_::CloseHandle, DENIED))));
}

TEST_F(ICHashBucketTrace, Destructor_CloseFails_ReportsNoStaleError)
{
    ICImportPatch const failing(IC_IMPORT(CloseHandle), [](HANDLE handle) { return ::CloseHandle(handle) ? 0 : 1; });
    std::optional<ICHashBucket> ending(std::in_place);
    EXPECT_THAT(mf_runStale([&] { ending.reset(); }).m_records,
                ElementsAre(f_isRecord('E', "ICHashBucket::~ICHashBucket",
                                       f_logged("Failure closing mutex: ", ICErrno::_E_::CloseHandle, 0))));
}
