#pragma once

#include <compare>
#include <vector>

#include "hsmbase/containers/ICHashTable.h"

class ICLinkedList;

// The number of a file on its volume, by which it is known again under another name.
struct ICFileNumber
{
    ulong m_volume = 0; // within the scan
    ULONG64 m_id = 0;   // of the file system; 0: not told

    bool mf_isKnown() const { return m_id != 0; }
    auto operator<=>(ICFileNumber const &) const = default;
};

// Which files a scan has met. A file takes a bit: numbers that lie close together, as those of a directory do, share a
// block, so that millions of files take little memory and a lock is taken once for many.
//
// Threads: any.
class ICVisitedFiles : private ICHashTable
{
public:
    ICVisitedFiles();
    ~ICVisitedFiles() override;
    ICVisitedFiles(ICVisitedFiles const &) = delete;
    ICVisitedFiles & operator=(ICVisitedFiles const &) = delete;

    // Whether nobody has asked for this file before; always so for one without a number.
    bool mf_visit(ICFileNumber const & file);

    // The same for many files of a volume, in the order of `ids`. Throws _E_::Memory.
    void mf_visit(ulong volume, CArray<ULONG64, ULONG64> const & ids, std::vector<bool> & isFirst);

private:
    struct BLOCK;
    struct VISIT;

    void mf_implVisit(ulong volume, std::vector<VISIT> const & visits, std::vector<bool> & isFirst);
    ICHashBucket & mf_implFindBucket(ICFileNumber const & block) const;
    static BLOCK & mf_implFindBlock(ICLinkedList & blocks, ICFileNumber const & number);
};
