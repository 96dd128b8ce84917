#pragma once

#include <vector>

#include "hsmbase/Types.h"
#include "programs/hsmscan/ICVisitedFiles.h"

class ICScanOptions;

// What a scan, or one of its threads, has found.
//
// A file that is met again under another name counts once. Where one of its names is to be shown, it is the first in
// order of paths, so that nothing depends on which one was met first.
class ICScanTotals
{
public:
    struct LARGE_FILE
    {
        long long size; // bytes
        long long sizeOnDisk;
        CString path;
        ICFileNumber number;
    };

    explicit ICScanTotals(ICScanOptions const & options);

    // Nothing found yet, by the rules of `other`.
    static ICScanTotals mf_makeEmpty(ICScanTotals const & other) { return ICScanTotals(other, EMPTY()); }

    // One entry of a directory, that is `directory` and its name; `directory` ends with a backslash. `clusterSize` is
    // that of the volume, in bytes, at least 1.
    void mf_add(WIN32_FIND_DATAW const & entry, CString const & directory, ulong clusterSize,
                ICFileNumber const & number = ICFileNumber());

    // Another name of a file that was added, perhaps to other totals.
    void mf_addName(WIN32_FIND_DATAW const & entry, CString const & directory, ulong clusterSize,
                    ICFileNumber const & number);

    // What others have found by the same rules.
    void mf_add(ICScanTotals const & other);

    // A directory that a user has named, and one that cannot be read to its end.
    void mf_addRoot() { ++m_directories; }
    void mf_addUnreadable() { ++m_unreadable; }

    // The largest files, the largest first; of equal ones the first in order of paths.
    std::vector<LARGE_FILE> mf_getLargest() const;

    // The paths of all files that are worth migrating, in their order, if the options want a list of them.
    std::vector<CString> mf_getCandidates() const;

    long long m_files = 0;
    long long m_directories = 0;
    long long m_bytes = 0; // of files, their logical size
    long long m_bytesOnDisk = 0;
    long long m_offline = 0;
    long long m_sparse = 0;
    long long m_compressed = 0;
    long long m_encrypted = 0;
    long long m_hidden = 0;
    long long m_system = 0;
    long long m_readOnly = 0;
    long long m_reparsePoints = 0;
    long long m_candidateFiles = 0;
    long long m_candidateBytes = 0;
    long long m_unreadable = 0;

private:
    struct EMPTY
    {};
    struct CANDIDATE
    {
        ICFileNumber number;
        CString path;
    };

    ICScanTotals(ICScanTotals const & other, EMPTY);

    bool mf_implIsCandidate(WIN32_FIND_DATAW const & file, long long size) const;
    bool mf_implIsLarge(WIN32_FIND_DATAW const & file, long long size, CString const & directory) const;
    void mf_implKeepLarge(LARGE_FILE const & file);
    bool mf_implRename(LARGE_FILE const & file);

    long long const m_minSize;
    long long const m_newestWrite; // file time; what was written later is too young
    std::size_t const m_largestCount;
    bool const m_isListWanted;
    std::vector<LARGE_FILE> m_largest;   // a heap, the smallest of the largest on top
    std::vector<CANDIDATE> m_candidates; // each name that a file was met by
};
