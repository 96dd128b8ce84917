#include "programs/hsmscan/ICScanTotals.h"

#include <algorithm>

#include "programs/hsmscan/ICScanOptions.h"

namespace
{
long long f_join(ulong high, ulong low)
{
    return static_cast<long long>((static_cast<unsigned long long>(high) << 32) | low);
}

long long f_daysAgo(ulong days)
{
    constexpr long long TICKS_A_DAY = 864'000'000'000;
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return f_join(now.dwHighDateTime, now.dwLowDateTime) - static_cast<long long>(days) * TICKS_A_DAY;
}

bool f_isLarger(ICScanTotals::LARGE_FILE const & left, ICScanTotals::LARGE_FILE const & right)
{
    return left.size != right.size ? left.size > right.size : left.path < right.path;
}
} // namespace

ICScanTotals::ICScanTotals(ICScanOptions const & options)
    : m_minSize(options.m_minSize), m_newestWrite(f_daysAgo(options.m_minAge)), m_largestCount(options.m_largest)
{}

void ICScanTotals::mf_add(WIN32_FIND_DATAW const & entry, CString const & directory)
{
    ulong const attributes = entry.dwFileAttributes;
    m_offline += (attributes & FILE_ATTRIBUTE_OFFLINE) != 0;
    m_sparse += (attributes & FILE_ATTRIBUTE_SPARSE_FILE) != 0;
    m_compressed += (attributes & FILE_ATTRIBUTE_COMPRESSED) != 0;
    m_encrypted += (attributes & FILE_ATTRIBUTE_ENCRYPTED) != 0;
    m_hidden += (attributes & FILE_ATTRIBUTE_HIDDEN) != 0;
    m_system += (attributes & FILE_ATTRIBUTE_SYSTEM) != 0;
    m_readOnly += (attributes & FILE_ATTRIBUTE_READONLY) != 0;
    m_reparsePoints += (attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0;
    if (attributes & FILE_ATTRIBUTE_DIRECTORY)
        ++m_directories;
    else
        mf_implAddFile(entry, directory);
}

void ICScanTotals::mf_implAddFile(WIN32_FIND_DATAW const & file, CString const & directory)
{
    long long const size = f_join(file.nFileSizeHigh, file.nFileSizeLow);
    ++m_files;
    m_bytes += size;
    if (mf_implIsCandidate(file, size)) {
        ++m_candidateFiles;
        m_candidateBytes += size;
    }
    mf_implKeepIfLarge(size, file, directory);
}

// What is offline or a reparse point has been migrated or belongs to somebody else; the system's own files must stay.
bool ICScanTotals::mf_implIsCandidate(WIN32_FIND_DATAW const & file, long long size) const
{
    constexpr ulong EXCLUDED = FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_SYSTEM;
    if (file.dwFileAttributes & EXCLUDED) return false;
    return size >= m_minSize &&
           f_join(file.ftLastWriteTime.dwHighDateTime, file.ftLastWriteTime.dwLowDateTime) <= m_newestWrite;
}

// A path is composed only for a file that gets in.
void ICScanTotals::mf_implKeepIfLarge(long long size, WIN32_FIND_DATAW const & file, CString const & directory)
{
    if (m_largestCount == 0) return;
    bool const isFull = m_largest.size() == m_largestCount;
    if (isFull && size < m_largest.front().size) return;
    LARGE_FILE large{size, directory + file.cFileName};
    if (isFull) {
        if (!f_isLarger(large, m_largest.front())) return;
        std::pop_heap(m_largest.begin(), m_largest.end(), f_isLarger);
        m_largest.pop_back();
    }
    m_largest.push_back(std::move(large));
    std::push_heap(m_largest.begin(), m_largest.end(), f_isLarger);
}

std::vector<ICScanTotals::LARGE_FILE> ICScanTotals::mf_getLargest() const
{
    std::vector<LARGE_FILE> sorted = m_largest;
    std::sort(sorted.begin(), sorted.end(), f_isLarger);
    return sorted;
}
