#pragma once

#include <vector>

#include "hsmbase/Types.h"

class ICScanOptions;

// What a scan has found.
class ICScanTotals
{
public:
    struct LARGE_FILE
    {
        long long size; // bytes
        long long sizeOnDisk;
        CString path;
    };

    explicit ICScanTotals(ICScanOptions const & options);

    // One entry of a directory, that is `directory` and its name; `directory` ends with a backslash. `clusterSize` is
    // that of the volume, in bytes, at least 1.
    void mf_add(WIN32_FIND_DATAW const & entry, CString const & directory, ulong clusterSize);

    // A directory that a user has named, and one that cannot be read to its end.
    void mf_addRoot() { ++m_directories; }
    void mf_addUnreadable() { ++m_unreadable; }

    // The largest files, the largest first; of equal ones the first in order of paths.
    std::vector<LARGE_FILE> mf_getLargest() const;

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
    void mf_implAddFile(WIN32_FIND_DATAW const & file, CString const & directory, ulong clusterSize);
    bool mf_implIsCandidate(WIN32_FIND_DATAW const & file, long long size) const;
    void mf_implKeepIfLarge(long long size, long long sizeOnDisk, WIN32_FIND_DATAW const & file,
                            CString const & directory);

    long long const m_minSize;
    long long const m_newestWrite; // file time; what was written later is too young
    std::size_t const m_largestCount;
    std::vector<LARGE_FILE> m_largest; // a heap, the smallest of the largest on top
};
