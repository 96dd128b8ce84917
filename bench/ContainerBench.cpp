#include <catch2/catch.hpp>

#include <array>

#include "bench/InTurn.h"
#include "hsmbase/containers/ICHashBucket.h"
#include "hsmbase/containers/ICHashTable.h"

namespace
{

using KEY = std::array<unsigned char, 64>;

class HASHING : public ICHashTable
{
public:
    HASHING() : ICHashTable(1) {}

    ulong mf_hash(KEY const & key) const
    {
        return mf_implCalculateHashIndex(key.data(), static_cast<ulong>(key.size()));
    }
};

constexpr std::array<unsigned char, 256> SUBSTITUTION = [] {
    std::array<unsigned char, 256> table{};
    for (unsigned int index = 0; index < table.size(); ++index)
        table[index] = static_cast<unsigned char>(4 * index * index + 5 * index + 1);
    return table;
}();

ulong f_bareHash(KEY const & key)
{
    std::size_t hash = 0;
    for (unsigned char const byte : key)
        hash = SUBSTITUTION[byte ^ hash];
    return static_cast<ulong>(hash >> 1);
}

// A key that the compiler knows nothing of.
KEY f_key()
{
    KEY key;
    ulong const start = ::GetTickCount();
    for (std::size_t index = 0; index < key.size(); ++index)
        key[index] = static_cast<unsigned char>(start + 7 * index);
    return key;
}

} // namespace

TEST_CASE("hash index of a 64-byte key", "[containers][goal:1.05]")
{
    HASHING const table;
    // Each key hangs on the index before: the processor would work at two unrelated ones at a time.
    KEY key = f_key();
    REQUIRE(table.mf_hash(key) == f_bareHash(key));
    BENCHMARK("ours")
    {
        return key[0] = static_cast<unsigned char>(table.mf_hash(key));
    };
    BENCHMARK("peer")
    {
        return key[0] = static_cast<unsigned char>(f_bareHash(key));
    };
}

TEST_CASE("lock and unlock a bucket", "[containers][goal:1.05]")
{
    ICHashTable const table;
    ICHashBucket & bucket = *table.mf_getHashBucket(5);
    HANDLE const mutex = ::CreateMutexW(nullptr, FALSE, nullptr);
    auto const ours = [&] {
        bucket.mf_acquireLinkedList();
        bucket.mf_releaseLinkedList();
    };
    auto const peer = [mutex] {
        ::WaitForSingleObject(mutex, INFINITE);
        ::ReleaseMutex(mutex);
    };
    f_measureInTurn(3000, ours, peer);
    ::CloseHandle(mutex);
}
