#pragma once

#include "hsmbase/Types.h"

class ICHashBucket;

// A fixed number of buckets, each a list with a lock of its own, so that threads which work in different buckets never
// wait for each other. The table stores no keys and compares nothing: it gives the bucket, its users search the list.
//
//     class ICNames : public ICHashTable
//     {
//     public:
//         int mf_contains(CString const & name)
//         {
//             ICHashBucket & bucket = *mf_getHashBucket(mf_implCalculateHashIndex(bytes, length));
//             ICLinkedList & list = *bucket.mf_acquireLinkedList();
//             ...
//             bucket.mf_releaseLinkedList();
//         }
//     };
//
// Threads: any; the buckets stay the same for the table's life, so finding one takes no lock.
class HSMBASE_EXPORT ICHashTable
{
public:
    // `size` buckets. Throws _E_::Memory, and _E_::Synchronization with the system error for a bucket that can't be
    // made; nothing stays behind then.
    explicit ICHashTable(ulong size = 128);

    // The copy shares the buckets with its source, so only one of the two may be destroyed.
    ICHashTable(ICHashTable const &) = default;
    ICHashTable & operator=(ICHashTable const &) = default;

    // The items in the buckets are left as they are: whoever owns them empties the lists before.
    virtual ~ICHashTable();

    ulong mf_getSize() const { return m_ulSize; }

    // Throws _E_::Range, without a trace line, for an index that isn't below the size.
    ICHashBucket * mf_getHashBucket(ulong index) const;

protected:
    // 0 to 127, whatever the size of the table: one with another size than 128 maps the index itself.
    // Throws _E_::Parameter, without a trace line, for a key that is NULL or has no bytes.
    ulong mf_implCalculateHashIndex(unsigned char const * key, ulong length) const;

private:
    void mf_implDelete(ulong count);

    ulong m_ulSize;
    ICHashBucket ** m_ppBuckets; // m_ulSize of them, owned, as is the array, from malloc
};
