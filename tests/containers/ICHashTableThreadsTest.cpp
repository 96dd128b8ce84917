// Eight threads work in one table at once.
#include "tests/containers/ContainersTest.h"
#include "tests/support/ICMeetingPoint.h"

#include <gmock/gmock.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <random>
#include <set>
#include <string>
#include <thread>

using testing::Each;

namespace
{

constexpr int THREADS = 8;
constexpr int ROUNDS = 150;
constexpr ulong BUCKETS = 20;

struct ICNamedItem : ICLinkedListItem
{
    explicit ICNamedItem(std::string name) : m_name(std::move(name)) {}

    std::string const m_name;
};

// Names, each at most once, in another number of buckets than the hash has values: the index is mapped here.
class ICNames : public ICHashingTable
{
public:
    ICNames() : ICHashingTable(BUCKETS) {}

    ~ICNames() override
    {
        for (ulong index = 0; index < mf_getSize(); ++index)
            mf_getHashBucket(index)->mf_getLinkedList().mf_clearList(1);
    }

    ulong mf_indexOf(std::string const & name) const { return mf_hash(name) % mf_getSize(); }

    // Whether it wasn't there.
    bool mf_add(std::string const & name)
    {
        HELD_BUCKET const bucket(*this, name);
        if (bucket.mf_find(name) != nullptr) return false;
        bucket.m_list.mf_insertTail(*new ICNamedItem(name));
        return true;
    }

    // Whether it was there.
    bool mf_remove(std::string const & name)
    {
        HELD_BUCKET const bucket(*this, name);
        ICNamedItem * const item = bucket.mf_find(name);
        if (item == nullptr) return false;
        delete bucket.m_list.mf_removeItem(*item);
        return true;
    }

    // The same under one lock, which the owner takes again and again.
    bool mf_renew(std::string const & name)
    {
        HELD_BUCKET const bucket(*this, name);
        bool const wasThere = mf_remove(name);
        return mf_add(name) && wasThere;
    }

    // All names from head to tail of the buckets; one in a wrong bucket is shown as such.
    std::vector<std::string> mf_list() const
    {
        std::vector<std::string> names;
        for (ulong index = 0; index < mf_getSize(); ++index) {
            ICLinkedList & list = mf_getHashBucket(index)->mf_getLinkedList();
            for (ICLinkedListItem * item = list.mf_getFirst(); item != nullptr; item = list.mf_getNext(*item)) {
                std::string const & name = static_cast<ICNamedItem *>(item)->m_name;
                names.push_back(mf_indexOf(name) == index ? name : "misplaced " + name);
                if (item->m_pNext->m_pPrevious != item || item->m_pPrevious->m_pNext != item)
                    names.push_back("broken at " + name);
            }
        }
        return names;
    }

private:
    struct HELD_BUCKET
    {
        HELD_BUCKET(ICNames const & names, std::string const & name)
            : m_bucket(*names.mf_getHashBucket(names.mf_indexOf(name))), m_list(*m_bucket.mf_acquireLinkedList())
        {}
        HELD_BUCKET(HELD_BUCKET const &) = delete;
        HELD_BUCKET & operator=(HELD_BUCKET const &) = delete;
        ~HELD_BUCKET() { m_bucket.mf_releaseLinkedList(); }

        ICNamedItem * mf_find(std::string const & name) const
        {
            ICLinkedListItem * item = m_list.mf_getFirst();
            while (item != nullptr && static_cast<ICNamedItem *>(item)->m_name != name)
                item = m_list.mf_getNext(*item);
            return static_cast<ICNamedItem *>(item);
        }

        ICHashBucket & m_bucket;
        ICLinkedList & m_list;
    };
};

std::string f_name(int thread, int number)
{
    return std::to_string(thread) + " of " + std::to_string(number);
}

// Calls `work` with 0 to THREADS - 1 on threads of their own, which begin together.
template<class WORK>
void f_onManyThreads(WORK work)
{
    ICMeetingPoint start(THREADS);
    std::array<std::jthread, THREADS> threads;
    for (int index = 0; index < THREADS; ++index)
        threads[static_cast<std::size_t>(index)] = std::jthread([&work, &start, index] {
            start.mf_arrive();
            work(index);
        });
}

} // namespace

TEST(ICHashTableThreads, EachAddsItsOwn_NothingIsLost)
{
    ICNames names;
    std::atomic<int> wrong = 0;
    f_onManyThreads([&](int thread) {
        for (int number = 0; number < ROUNDS; ++number)
            wrong += !names.mf_add(f_name(thread, number)) + !names.mf_renew(f_name(thread, number));
    });
    EXPECT_EQ(0, wrong);
    std::set<std::string> expected;
    for (int thread = 0; thread < THREADS; ++thread)
        for (int number = 0; number < ROUNDS; ++number)
            expected.insert(f_name(thread, number));
    std::vector<std::string> const found = names.mf_list();
    EXPECT_EQ(expected, std::set<std::string>(found.begin(), found.end()));
    EXPECT_EQ(expected.size(), found.size()) << "each of them once";
}

// All want the same names: what was added and not removed is what is there.
TEST(ICHashTableThreads, AllAddAndRemoveTheSame_TheBalanceIsRight)
{
    constexpr int NAMES = 40;
    ICNames names;
    std::array<std::atomic<int>, NAMES> balance{};
    f_onManyThreads([&](int thread) {
        std::mt19937 random(static_cast<unsigned int>(thread));
        for (int round = 0; round < ROUNDS; ++round) {
            int const number = static_cast<int>(random() % NAMES);
            std::atomic<int> & count = balance[static_cast<std::size_t>(number)];
            if (random() % 2)
                count += names.mf_add(f_name(0, number));
            else
                count -= names.mf_remove(f_name(0, number));
        }
    });
    std::multiset<std::string> expected;
    for (int number = 0; number < NAMES; ++number) {
        int const count = balance[static_cast<std::size_t>(number)];
        EXPECT_TRUE(count == 0 || count == 1) << count;
        if (count == 1) expected.insert(f_name(0, number));
    }
    std::vector<std::string> const found = names.mf_list();
    EXPECT_EQ(expected, std::multiset<std::string>(found.begin(), found.end()));
}

TEST(ICHashTableThreads, OneBucket_IsNeverEnteredByTwo)
{
    ICHashTable const table;
    ICHashBucket & bucket = *table.mf_getHashBucket(5);
    std::atomic<int> inside = 0, meetings = 0;
    int rounds = 0; // under the bucket's lock
    f_onManyThreads([&](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            bucket.mf_acquireLinkedList();
            meetings += inside++ != 0;
            ++rounds;
            ::SwitchToThread();
            --inside;
            bucket.mf_releaseLinkedList();
        }
    });
    EXPECT_EQ(0, meetings);
    EXPECT_EQ(THREADS * ROUNDS, rounds);
}

// All stand in different buckets at the same time, and one of them holds a second one too.
TEST(ICHashTableThreads, DifferentBuckets_NeverWaitForEachOther)
{
    ICHashTable const table(THREADS + 1);
    ICMeetingPoint allHold(THREADS);
    std::array<bool, THREADS> met{};
    f_onManyThreads([&](int thread) {
        auto const index = static_cast<ulong>(thread);
        table.mf_getHashBucket(index)->mf_acquireLinkedList();
        if (thread == 0) table.mf_getHashBucket(THREADS)->mf_acquireLinkedList();
        met[index] = allHold.mf_arrive();
        if (thread == 0) table.mf_getHashBucket(THREADS)->mf_releaseLinkedList();
        table.mf_getHashBucket(index)->mf_releaseLinkedList();
    });
    EXPECT_THAT(met, Each(true));
}

// Every thread ends while it holds the bucket, in the middle of others that wait for it.
TEST(ICHashTableThreads, AbandonedBucket_IsTakenOverByTheNextOne)
{
    ICHashTable const table;
    ICHashBucket & bucket = *table.mf_getHashBucket(5);
    std::array<ICNumberedItem, THREADS> items;
    f_onManyThreads(
        [&](int thread) { bucket.mf_acquireLinkedList()->mf_insertTail(items[static_cast<std::size_t>(thread)]); });
    ICLinkedList & list = *bucket.mf_acquireLinkedList();
    int count = 0;
    while (list.mf_removeHead() != nullptr)
        ++count;
    bucket.mf_releaseLinkedList();
    EXPECT_EQ(THREADS, count);
    EXPECT_TRUE(std::all_of(items.begin(), items.end(), f_isAlone));
}
