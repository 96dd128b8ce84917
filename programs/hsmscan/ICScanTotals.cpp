#include "programs/hsmscan/ICScanTotals.h"

#include <algorithm>
#include <cwchar>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICPath.h"
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

// Only files that may have less than their size are asked for: it costs a call, which brings nothing back.
long long f_sizeOnDisk(WIN32_FIND_DATAW const & file, long long size, CString const & directory, ulong clusterSize)
{
    constexpr ulong PARTIAL =
        FILE_ATTRIBUTE_SPARSE_FILE | FILE_ATTRIBUTE_COMPRESSED | FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_REPARSE_POINT;
    if (file.dwFileAttributes & PARTIAL) {
        try {
            return ICPath::mf_getCompressedSize(directory + file.cFileName).mf_getValue();
        }
        catch (ICErrno &) {
            // It has left its trace. The file may be gone by now; what was seen of it counts.
        }
    }
    long long const cluster = clusterSize;
    return (size + cluster - 1) / cluster * cluster;
}

// The largest first; of equal ones the first in order of paths.
bool f_isAhead(ICScanTotals::LARGE_FILE const & left, ICScanTotals::LARGE_FILE const & right)
{
    return left.size != right.size ? left.size > right.size : left.path < right.path;
}

// The same for a file whose path isn't composed yet.
bool f_isFileAhead(long long size, CString const & directory, wchar_t const * name,
                   ICScanTotals::LARGE_FILE const & other)
{
    if (size != other.size) return size > other.size;
    auto const length = static_cast<std::size_t>(directory.GetLength());
    int const order = std::wcsncmp(directory, other.path, length);
    return order != 0 ? order < 0 : std::wcscmp(name, other.path.GetString() + length) < 0;
}

long long ICScanTotals::*const COUNTS[] = {
    &ICScanTotals::m_files,          &ICScanTotals::m_directories,    &ICScanTotals::m_bytes,
    &ICScanTotals::m_bytesOnDisk,    &ICScanTotals::m_offline,        &ICScanTotals::m_sparse,
    &ICScanTotals::m_compressed,     &ICScanTotals::m_encrypted,      &ICScanTotals::m_hidden,
    &ICScanTotals::m_system,         &ICScanTotals::m_readOnly,       &ICScanTotals::m_reparsePoints,
    &ICScanTotals::m_candidateFiles, &ICScanTotals::m_candidateBytes, &ICScanTotals::m_unreadable,
};
} // namespace

ICScanTotals::ICScanTotals(ICScanOptions const & options)
    : m_minSize(options.m_minSize), m_newestWrite(f_daysAgo(options.m_minAge)), m_largestCount(options.m_largest),
      m_isListWanted(!options.m_list.IsEmpty())
{}

ICScanTotals::ICScanTotals(ICScanTotals const & other, EMPTY)
    : m_minSize(other.m_minSize), m_newestWrite(other.m_newestWrite), m_largestCount(other.m_largestCount),
      m_isListWanted(other.m_isListWanted)
{}

void ICScanTotals::mf_add(WIN32_FIND_DATAW const & entry, CString const & directory, ulong clusterSize,
                          ICFileNumber const & number)
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
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
        ++m_directories;
        return;
    }
    long long const size = f_join(entry.nFileSizeHigh, entry.nFileSizeLow);
    long long const sizeOnDisk = f_sizeOnDisk(entry, size, directory, clusterSize);
    ++m_files;
    m_bytes += size;
    m_bytesOnDisk += sizeOnDisk;
    if (mf_implIsCandidate(entry, size)) {
        ++m_candidateFiles;
        m_candidateBytes += size;
        if (m_isListWanted) m_candidates.push_back({number, directory + entry.cFileName});
    }
    if (mf_implIsLarge(entry, size, directory))
        mf_implKeepLarge({size, sizeOnDisk, directory + entry.cFileName, number});
}

void ICScanTotals::mf_addName(WIN32_FIND_DATAW const & entry, CString const & directory, ulong clusterSize,
                              ICFileNumber const & number)
{
    if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return;
    long long const size = f_join(entry.nFileSizeHigh, entry.nFileSizeLow);
    if (m_isListWanted && mf_implIsCandidate(entry, size))
        m_candidates.push_back({number, directory + entry.cFileName});
    if (!mf_implIsLarge(entry, size, directory)) return;
    LARGE_FILE const file = {size, f_sizeOnDisk(entry, size, directory, clusterSize), directory + entry.cFileName,
                             number};
    if (!mf_implRename(file)) mf_implKeepLarge(file);
}

void ICScanTotals::mf_add(ICScanTotals const & other)
{
    for (auto const count : COUNTS)
        this->*count += other.*count;
    for (LARGE_FILE const & file : other.m_largest)
        if (!mf_implRename(file) && (m_largest.size() < m_largestCount || f_isAhead(file, m_largest.front())))
            mf_implKeepLarge(file);
    m_candidates.insert(m_candidates.end(), other.m_candidates.begin(), other.m_candidates.end());
}

// What is offline or a reparse point has been migrated or belongs to somebody else; the system's own files must stay.
bool ICScanTotals::mf_implIsCandidate(WIN32_FIND_DATAW const & file, long long size) const
{
    constexpr ulong EXCLUDED = FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_REPARSE_POINT | FILE_ATTRIBUTE_SYSTEM;
    if (file.dwFileAttributes & EXCLUDED) return false;
    return size >= m_minSize &&
           f_join(file.ftLastWriteTime.dwHighDateTime, file.ftLastWriteTime.dwLowDateTime) <= m_newestWrite;
}

// Before its path is composed, which few files need.
bool ICScanTotals::mf_implIsLarge(WIN32_FIND_DATAW const & file, long long size, CString const & directory) const
{
    if (m_largest.size() < m_largestCount) return true;
    return m_largestCount > 0 && f_isFileAhead(size, directory, file.cFileName, m_largest.front());
}

void ICScanTotals::mf_implKeepLarge(LARGE_FILE const & file)
{
    if (m_largest.size() == m_largestCount) {
        std::pop_heap(m_largest.begin(), m_largest.end(), f_isAhead);
        m_largest.pop_back();
    }
    m_largest.push_back(file);
    std::push_heap(m_largest.begin(), m_largest.end(), f_isAhead);
}

// Whether the file is among the largest by another name already; of the two the first in order of paths stays. One that
// isn't lies behind so many others by this name too, or is ahead of them by this name alone.
bool ICScanTotals::mf_implRename(LARGE_FILE const & file)
{
    if (!file.number.mf_isKnown()) return false;
    auto const known = std::find_if(m_largest.begin(), m_largest.end(),
                                    [&file](LARGE_FILE const & other) { return other.number == file.number; });
    if (known == m_largest.end()) return false;
    if (file.path < known->path) {
        known->path = file.path;
        std::make_heap(m_largest.begin(), m_largest.end(), f_isAhead);
    }
    return true;
}

std::vector<ICScanTotals::LARGE_FILE> ICScanTotals::mf_getLargest() const
{
    std::vector<LARGE_FILE> sorted = m_largest;
    std::sort(sorted.begin(), sorted.end(), f_isAhead);
    return sorted;
}

std::vector<CString> ICScanTotals::mf_getCandidates() const
{
    std::vector<CANDIDATE> sorted = m_candidates;
    std::sort(sorted.begin(), sorted.end(), [](CANDIDATE const & left, CANDIDATE const & right) {
        return left.number != right.number ? left.number < right.number : left.path < right.path;
    });
    std::vector<CString> paths;
    paths.reserve(sorted.size());
    ICFileNumber last;
    for (CANDIDATE const & candidate : sorted) {
        if (!candidate.number.mf_isKnown() || candidate.number != last) paths.push_back(candidate.path);
        last = candidate.number;
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}
