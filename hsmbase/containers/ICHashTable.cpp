#include "hsmbase/containers/ICHashTable.h"

#include <array>
#include <cstdlib>

#include "hsmbase/containers/ICHashBucket.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{

// The substitution of the hash: a permutation of 0 to 255.
constexpr std::array<unsigned char, 256> SUBSTITUTION = [] {
    std::array<unsigned char, 256> table{};
    for (unsigned int index = 0; index < table.size(); ++index)
        table[index] = static_cast<unsigned char>((4 * index * index + 5 * index + 1) % 256);
    return table;
}();

} // namespace

ICHashTable::ICHashTable(ulong size) : m_ulSize(size), m_ppBuckets(nullptr)
{
    static wchar_t const _sFunction_[] = L"ICHashTable::ICHashTable";

    std::size_t const bytes = size * sizeof(ICHashBucket *);
    m_ppBuckets = static_cast<ICHashBucket **>(std::malloc(bytes));
    if (m_ppBuckets == nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory, L"Failure allocating %lu bytes of hash bucket pointer memory",
                       static_cast<ulong>(bytes));
    ulong built = 0;
    try {
        for (; built < size; ++built)
            m_ppBuckets[built] = new ICHashBucket;
    }
    catch (...) {
        // There is no table yet whose destructor would do it.
        mf_implDelete(built);
        throw;
    }
}

ICHashTable::~ICHashTable()
{
    mf_implDelete(m_ulSize);
}

// The first `count` buckets, and the array.
void ICHashTable::mf_implDelete(ulong count)
{
    for (ulong index = 0; index < count; ++index)
        delete m_ppBuckets[index];
    std::free(m_ppBuckets);
}

ICHashBucket * ICHashTable::mf_getHashBucket(ulong index) const
{
    if (index >= m_ulSize) throw ICErrno(ICErrno::_E_::Range);
    return m_ppBuckets[index];
}

ulong ICHashTable::mf_implCalculateHashIndex(unsigned char const * key, ulong length) const
{
    if (key == nullptr || length == 0) throw ICErrno(ICErrno::_E_::Parameter);
    // As wide as an address: a byte would be widened anew for each look-up.
    std::size_t hash = 0;
    for (unsigned char const * const end = key + length; key != end; ++key)
        hash = SUBSTITUTION[*key ^ hash];
    return static_cast<ulong>(hash >> 1);
}
