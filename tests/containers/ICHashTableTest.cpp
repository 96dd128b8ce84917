#include "tests/containers/ContainersTest.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

#include <algorithm>
#include <array>
#include <new>
#include <set>
#include <type_traits>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

using SUBSTITUTION = std::array<unsigned int, 256>;

// The table that the hash stands on, by its formula.
SUBSTITUTION f_substitution()
{
    SUBSTITUTION table;
    for (unsigned int index = 0; index < table.size(); ++index)
        table[index] = (4 * index * index + 5 * index + 1) % 256;
    return table;
}

// The handles of the mutexes that the library has made and not closed, while the object lives.
class ICOpenMutexes
{
public:
    std::set<HANDLE> const & mf_get() const { return m_open; }
    ulong mf_getMade() const { return m_made; }

private:
    std::set<HANDLE> m_open;
    ulong m_made = 0;
    ICImportPatch const m_creating{IC_IMPORT(CreateMutexW), [this](auto... arguments) {
                                       HANDLE const mutex = ::CreateMutexW(arguments...);
                                       m_open.insert(mutex);
                                       ++m_made;
                                       return mutex;
                                   }};
    ICImportPatch const m_closing{IC_IMPORT(CloseHandle), [this](HANDLE handle) {
                                      m_open.erase(handle);
                                      return ::CloseHandle(handle);
                                  }};
};

class ICHashTableTrace : public testing::Test
{
protected:
    static constexpr ulong SIZE = 16;
    static constexpr ulong ERRNO = ERROR_NO_SYSTEM_RESOURCES;

    ICTracedProcess const m_process{L"German"};
};

} // namespace

static_assert(std::has_virtual_destructor_v<ICHashTable>);
static_assert(!std::is_convertible_v<ulong, ICHashTable>);

TEST(ICHashTable, NewTable_Has128EmptyBucketsOfTheirOwn)
{
    ICHashTable const table;
    EXPECT_EQ(128u, table.mf_getSize());
    std::set<ICHashBucket const *> buckets;
    std::set<HANDLE> mutexes;
    for (ulong index = 0; index < 128; ++index) {
        ICHashBucket & bucket = *table.mf_getHashBucket(index);
        EXPECT_EQ(1, bucket.mf_getLinkedList().mf_isEmpty());
        buckets.insert(&bucket);
        mutexes.insert(bucket.m_hMutex);
    }
    EXPECT_THAT(buckets, SizeIs(128));
    EXPECT_THAT(mutexes, SizeIs(128));
}

TEST(ICHashTable, Bucket_IsTheSameEachTime)
{
    ICHashTable const table(3);
    EXPECT_EQ(3u, table.mf_getSize());
    EXPECT_EQ(table.mf_getHashBucket(2), table.mf_getHashBucket(2));
    EXPECT_NE(table.mf_getHashBucket(0), table.mf_getHashBucket(2));
}

TEST(ICHashTable, Bucket_127IsTheLastOfTheDefault)
{
    ICHashTable const table;
    EXPECT_NE(nullptr, table.mf_getHashBucket(127));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [&] { table.mf_getHashBucket(128); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [&] { table.mf_getHashBucket(0xFFFFFFFF); }));
}

TEST(ICHashTable, Bucket_OfATableWithoutAny_IsRefused)
{
    ICHashTable const table(0);
    EXPECT_EQ(0u, table.mf_getSize());
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [&] { table.mf_getHashBucket(0); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [&] { table.mf_getHashBucket(0xFFFFFFFF); }));
}

TEST(ICHashTable, Substitution_IsAPermutationWithTheKnownEnds)
{
    SUBSTITUTION const table = f_substitution();
    EXPECT_THAT(std::set<unsigned int>(table.begin(), table.end()), SizeIs(256));
    EXPECT_THAT(std::vector(table.begin(), table.begin() + 8), ElementsAre(1, 10, 27, 52, 85, 126, 175, 232));
    EXPECT_THAT(std::vector(table.end() - 5, table.end()), ElementsAre(76, 45, 22, 7, 0));
}

// A single byte tells all but the lowest bit of its substitute; that one shows in what the second byte makes of it.
TEST(ICHashTable, Hash_OfEachPairOfBytes_IsThatOfTheFormula)
{
    SUBSTITUTION const table = f_substitution();
    ICHashingTable const hashing(1);
    int differences = 0;
    for (unsigned int first = 0; first < 256; ++first) {
        auto const byte = static_cast<unsigned char>(first);
        differences += hashing.mf_hash({byte}) != table[first] / 2;
        for (unsigned int second = 0; second < 256; ++second)
            differences +=
                hashing.mf_hash({byte, static_cast<unsigned char>(second)}) != table[second ^ table[first]] / 2;
    }
    EXPECT_EQ(0, differences);
}

TEST(ICHashTable, Hash_OfSingleBytes_ReachesEachBucketTwice)
{
    ICHashingTable const hashing;
    std::vector<int> reached(hashing.mf_getSize());
    for (unsigned int byte = 0; byte < 256; ++byte)
        ++reached.at(hashing.mf_hash({static_cast<unsigned char>(byte)}));
    EXPECT_THAT(reached, Each(2));
}

TEST(ICHashTable, Hash_KnownKeys)
{
    ICHashingTable const hashing;
    EXPECT_EQ(0u, hashing.mf_hash({0}));
    EXPECT_EQ(116u, hashing.mf_hash({7}));
    EXPECT_EQ(0u, hashing.mf_hash({0, 1}));
    EXPECT_EQ(114u, hashing.mf_hash("hierarchical storage"));
    EXPECT_EQ(54u, hashing.mf_hash("D:\\archive\\report.txt"));
}

// Deliberate: it isn't reduced by the size.
TEST(ICHashTable, Hash_IsTheSameInATableOfAnySize)
{
    ICHashingTable const none(0), small(5), large(300);
    for (unsigned int byte = 0; byte < 256; ++byte) {
        auto const key = {static_cast<unsigned char>(byte)};
        EXPECT_EQ(small.mf_hash(key), large.mf_hash(key));
        EXPECT_EQ(none.mf_hash(key), large.mf_hash(key));
        EXPECT_GT(128u, large.mf_hash(key)) << "the buckets above are never reached";
    }
    EXPECT_NE(nullptr, large.mf_getHashBucket(299));
}

// Deliberate: a table of another size maps the index itself.
TEST(ICHashTable, SmallTable_RefusesTheHigherHashes)
{
    ICHashingTable const table(64);
    int refused = 0;
    for (unsigned int byte = 0; byte < 256; ++byte) {
        ulong const hash = table.mf_hash({static_cast<unsigned char>(byte)});
        if (hash < 64) {
            EXPECT_NE(nullptr, table.mf_getHashBucket(hash));
        } else {
            EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [&] { table.mf_getHashBucket(hash); }));
            ++refused;
        }
    }
    EXPECT_EQ(128, refused);
}

TEST(ICHashTable, Destructor_LeavesTheItems)
{
    ICNumberedItem item(7);
    {
        ICHashTable const table(2);
        table.mf_getHashBucket(1)->mf_getLinkedList().mf_insertTail(item);
    }
    EXPECT_EQ(7, item.m_number);
    EXPECT_FALSE(f_isAlone(item));
}

TEST(ICHashTable, Destructor_ClosesEachMutexOnce)
{
    ICOpenMutexes const mutexes;
    ICImportFault const closing("CloseHandle");
    {
        ICHashTable const table(9);
        EXPECT_THAT(mutexes.mf_get(), SizeIs(9));
    }
    EXPECT_THAT(mutexes.mf_get(), IsEmpty());
    EXPECT_EQ(9u, closing.mf_getCalls());
}

// Deliberate: only one of the two may be destroyed.
TEST(ICHashTable, Copy_SharesTheBuckets)
{
    ICHashTable const table(3);
    ICSharingCopy<ICHashTable> copy(table);
    EXPECT_EQ(3u, copy->mf_getSize());
    EXPECT_EQ(table.m_ppBuckets, copy->m_ppBuckets);
    EXPECT_EQ(table.mf_getHashBucket(2), copy->mf_getHashBucket(2));

    ICHashTable const other(2);
    *copy = other;
    EXPECT_EQ(2u, copy->mf_getSize());
    EXPECT_EQ(other.mf_getHashBucket(1), copy->mf_getHashBucket(1));
}

TEST_F(ICHashTableTrace, RefusedKeysAndIndexes_LeaveNoTrace)
{
    ICHashingTable const table;
    unsigned char const key = 0;
    ICTracedAction outcome = m_process.mf_run([&] { table.mf_implCalculateHashIndex(nullptr, 1); });
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, IsEmpty());
    outcome = m_process.mf_run([&] { table.mf_implCalculateHashIndex(&key, 0); });
    EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, IsEmpty());
    outcome = m_process.mf_run([&] { table.mf_getHashBucket(128); });
    EXPECT_EQ(ICErrno::_E_::Range.mf_getNumber(), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, IsEmpty());
}

TEST_F(ICHashTableTrace, NoMemoryForTheArray_MakesNoMutex)
{
    ICOpenMutexes const mutexes;
    ICTracedAction outcome;
    {
        ICImportFault const refused("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1).mf_onThisThread());
        outcome = m_process.mf_run([] { ICHashTable const table; });
    }
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Memory, 'E', "ICHashTable::ICHashTable",
                                 "Failure allocating 1024 bytes of hash bucket pointer memory"));
    EXPECT_EQ(1u, outcome.m_records.size());
    EXPECT_EQ(0u, mutexes.mf_getMade());
}

// At each bucket: the leak account of the test sees to the memory.
TEST_F(ICHashTableTrace, NoMutexForABucket_GivesBackTheEarlierOnes)
{
    for (ulong bucket = 0; bucket < SIZE; ++bucket) {
        ICOpenMutexes const mutexes;
        ICImportFault const failing("CreateMutexW", ERRNO, ICCalls::mf_only(bucket + 1));
        ICTracedAction const outcome = m_process.mf_run([] { ICHashTable const table(SIZE); });
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Synchronization, ERRNO, "ICHashBucket::ICHashBucket",
                                            "Failure initializing mutex: "));
        EXPECT_EQ(1u, outcome.m_records.size()) << "the buckets that were made end without a line";
        EXPECT_EQ(bucket, mutexes.mf_getMade());
        EXPECT_THAT(mutexes.mf_get(), IsEmpty()) << bucket;
    }
}

TEST_F(ICHashTableTrace, NoMemoryForABucket_GivesBackTheEarlierOnes)
{
    ICOpenMutexes const mutexes;
    int buckets = 0;
    ICImportPatch const exhausted("_Znwy", [&](std::size_t size) -> void * {
        if (size == sizeof(ICHashBucket) && ++buckets == 6) throw std::bad_alloc();
        return ::operator new(size);
    });
    EXPECT_THROW(ICHashTable const table(SIZE), std::bad_alloc);
    EXPECT_EQ(5u, mutexes.mf_getMade());
    EXPECT_THAT(mutexes.mf_get(), IsEmpty());
}
