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
} // namespace

ICScanTotals::ICScanTotals(ICScanOptions const & options)
    : m_minSize(options.m_minSize), m_newestWrite(f_daysAgo(options.m_minAge)), m_largestCount(options.m_largest)
{}

void ICScanTotals::mf_add(WIN32_FIND_DATAW const & entry, CString const & directory, ulong clusterSize)
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
        mf_implAddFile(entry, directory, clusterSize);
}

void ICScanTotals::mf_implAddFile(WIN32_FIND_DATAW const & file, CString const & directory, ulong clusterSize)
{
    long long const size = f_join(file.nFileSizeHigh, file.nFileSizeLow);
    long long const sizeOnDisk = f_sizeOnDisk(file, size, directory, clusterSize);
    ++m_files;
    m_bytes += size;
    m_bytesOnDisk += sizeOnDisk;
    if (mf_implIsCandidate(file, size)) {
        ++m_candidateFiles;
        m_candidateBytes += size;
    }
    mf_implKeepIfLarge(size, sizeOnDisk, file, directory);
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
void ICScanTotals::mf_implKeepIfLarge(long long size, long long sizeOnDisk, WIN32_FIND_DATAW const & file,
                                      CString const & directory)
{
    if (m_largestCount == 0) return;
    if (m_largest.size() == m_largestCount) {
        if (!f_isFileAhead(size, directory, file.cFileName, m_largest.front())) return;
        std::pop_heap(m_largest.begin(), m_largest.end(), f_isAhead);
        m_largest.pop_back();
    }
    m_largest.push_back({size, sizeOnDisk, directory + file.cFileName});
    std::push_heap(m_largest.begin(), m_largest.end(), f_isAhead);
}

std::vector<ICScanTotals::LARGE_FILE> ICScanTotals::mf_getLargest() const
{
    std::vector<LARGE_FILE> sorted = m_largest;
    std::sort(sorted.begin(), sorted.end(), f_isAhead);
    return sorted;
}
