#include "programs/hsmscan/ICVisitedFiles.h"

#include <algorithm>
#include <bitset>
#include <new>

#include "hsmbase/containers/ICHashBucket.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
// So few that a scan of a small directory doesn't spend its time on making mutexes; so many that threads seldom meet.
constexpr ulong BUCKETS = 32;
constexpr ULONG64 BLOCK_SIZE = 1024;

// Holds a bucket while the object lives.
class ICHeldBucket
{
public:
    explicit ICHeldBucket(ICHashBucket & bucket) : m_bucket(bucket), m_list(*bucket.mf_acquireLinkedList()) {}
    ICHeldBucket(ICHeldBucket const &) = delete;
    ICHeldBucket & operator=(ICHeldBucket const &) = delete;

    ~ICHeldBucket()
    {
        try {
            m_bucket.mf_releaseLinkedList();
        }
        catch (ICErrno &) {
            // It has left its trace, and the work was done.
        }
    }

    ICLinkedList & mf_getList() { return m_list; }

private:
    ICHashBucket & m_bucket;
    ICLinkedList & m_list;
};
} // namespace

// The files BLOCK_SIZE * m_id and following.
struct ICVisitedFiles::BLOCK : public ICLinkedListItem
{
    explicit BLOCK(ICFileNumber const & number) : m_number(number) {}

    ICFileNumber const m_number;
    std::bitset<BLOCK_SIZE> m_isVisited;
};

struct ICVisitedFiles::VISIT
{
    ULONG64 m_id;
    std::size_t m_index; // where the answer goes
};

ICVisitedFiles::ICVisitedFiles() : ICHashTable(BUCKETS) {}

ICVisitedFiles::~ICVisitedFiles()
{
    for (ulong index = 0; index < mf_getSize(); ++index)
        mf_getHashBucket(index)->mf_getLinkedList().mf_clearList(1);
}

bool ICVisitedFiles::mf_visit(ICFileNumber const & file)
{
    std::vector<bool> isFirst(1, true);
    if (file.mf_isKnown()) mf_implVisit(file.m_volume, {{file.m_id, 0}}, isFirst);
    return isFirst[0];
}

void ICVisitedFiles::mf_visit(ulong volume, CArray<ULONG64, ULONG64> const & ids, std::vector<bool> & isFirst)
{
    auto const count = static_cast<std::size_t>(ids.GetCount());
    isFirst.assign(count, true);
    std::vector<VISIT> visits;
    visits.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        ULONG64 const id = ids[static_cast<INT_PTR>(index)];
        if (id != 0) visits.push_back({id, index});
    }
    // Of two names in one directory the first one counts, as it would one by one.
    std::sort(visits.begin(), visits.end(), [](VISIT const & left, VISIT const & right) {
        return left.m_id != right.m_id ? left.m_id < right.m_id : left.m_index < right.m_index;
    });
    mf_implVisit(volume, visits, isFirst);
}

// `visits` in order of ids, so that those of a block stand together and its bucket is locked once.
void ICVisitedFiles::mf_implVisit(ulong volume, std::vector<VISIT> const & visits, std::vector<bool> & isFirst)
{
    for (auto visit = visits.begin(); visit != visits.end();) {
        ICFileNumber const number = {volume, visit->m_id / BLOCK_SIZE};
        ICHeldBucket bucket(mf_implFindBucket(number));
        BLOCK & block = mf_implFindBlock(bucket.mf_getList(), number);
        for (; visit != visits.end() && visit->m_id / BLOCK_SIZE == number.m_id; ++visit) {
            auto isVisited = block.m_isVisited[visit->m_id % BLOCK_SIZE];
            isFirst[visit->m_index] = !isVisited;
            isVisited = true;
        }
    }
}

ICHashBucket & ICVisitedFiles::mf_implFindBucket(ICFileNumber const & block) const
{
    unsigned char key[sizeof(block.m_volume) + sizeof(block.m_id)];
    std::copy_n(reinterpret_cast<unsigned char const *>(&block.m_volume), sizeof(block.m_volume), key);
    std::copy_n(reinterpret_cast<unsigned char const *>(&block.m_id), sizeof(block.m_id), key + sizeof(block.m_volume));
    return *mf_getHashBucket(mf_implCalculateHashIndex(key, sizeof(key)) % BUCKETS);
}

// What was found comes to the front: the next directory's files are likely to lie there too.
ICVisitedFiles::BLOCK & ICVisitedFiles::mf_implFindBlock(ICLinkedList & blocks, ICFileNumber const & number)
{
    static wchar_t const _sFunction_[] = L"ICVisitedFiles::mf_implFindBlock";

    ICLinkedListItem * item = blocks.mf_getFirst();
    while (item != nullptr && static_cast<BLOCK *>(item)->m_number != number)
        item = blocks.mf_getNext(*item);
    if (item != nullptr)
        blocks.mf_removeItem(*item);
    else
        item = new (std::nothrow) BLOCK(number);
    if (item == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory for the numbers of files");
    blocks.mf_insertHead(*item);
    return *static_cast<BLOCK *>(item);
}
