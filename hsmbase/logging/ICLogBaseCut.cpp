#include "hsmbase/logging/ICLogBase.h"

#include <algorithm>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/text/ICEncoding.h"

static constexpr ulong BUFFER_BYTES = 4096;
static constexpr long long MARK_BYTES = 2;

static int f_seek(HANDLE file, long long distance, ulong method, long long * position = nullptr)
{
    LARGE_INTEGER const target = {.QuadPart = distance};
    LARGE_INTEGER reached = {};
    ::SetLastError(0);
    int const isDone = ::SetFilePointerEx(file, target, &reached, method);
    if (position != nullptr) *position = reached.QuadPart;
    return isDone;
}

// How many bytes into the buffer the last record begins. Without a record start it is the first unit, or the second if
// the first is a line feed. The unit behind the buffer counts as a blank.
template<class UNIT>
static long long f_findRecordStart(unsigned char const * buffer, ulong bytes)
{
    auto const * const units = reinterpret_cast<UNIT const *>(buffer);
    constexpr int UNIT_BYTES = sizeof(UNIT);
    int const span = static_cast<int>(bytes);
    auto const isLineFeed = [units, span](int index) { return index < span / UNIT_BYTES && units[index] == '\n'; };
    auto const isBlank = [units, span](int index) { return index >= span / UNIT_BYTES || units[index] == ' '; };

    int index = std::max(span - 2, 0) / UNIT_BYTES;
    while (index > 0 && (!isLineFeed(index) || isBlank(index + 1)))
        --index;
    if (isLineFeed(index)) ++index;
    return static_cast<long long>(index) * UNIT_BYTES;
}

int ICLogBase::mf_implSeekEnd(long long & size) const
{
    return f_seek(m_hFile, 0, FILE_END, &size);
}

int ICLogBase::mf_implTruncateFile(ulong bytesToWrite) const
{
    long long size = 0;
    if (!mf_implSeekEnd(size))
        return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (%lu)");
    if (m_nMaxFileSize == 0 || size + bytesToWrite <= m_nMaxFileSize) return 1;
    return mf_implCut(size);
}

int ICLogBase::mf_implCut(long long size) const
{
    long long keep = m_nMaxFileSize / 100 * m_ulFilePercent;
    if (keep > size) return 1;
    if (m_bUcs2) keep -= keep % 2;

    alignas(wchar_t) unsigned char buffer[BUFFER_BYTES];
    ulong const span = static_cast<ulong>(std::min<long long>(BUFFER_BYTES, size - keep));
    // Nothing to search and nothing to take away.
    if (span == 0) return 1;
    long long from = size - keep - span;
    if (!f_seek(m_hFile, from, FILE_BEGIN))
        return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.2): FAILURE SETTING FILE POINTER (%lu)");
    DWORD count = 0;
    if (!::ReadFile(m_hFile, buffer, span, &count, nullptr) || count != span)
        return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.3): FAILURE READING SEARCH BUFFER (%lu)");
    from += m_bUcs2 ? f_findRecordStart<wchar_t>(buffer, span) : f_findRecordStart<char>(buffer, span);

    long long to = 0;
    if (m_bUcs2) {
        if (!mf_implMarkStart()) return 0;
        to = MARK_BYTES;
    }
    // What is read must lie behind what is written; else the file grew with each chunk and there were no end.
    return mf_implMoveDown(std::max(from, to), to, buffer, span);
}

// Writes the byte-order mark at the start of the file.
int ICLogBase::mf_implMarkStart() const
{
    if (!f_seek(m_hFile, 0, FILE_BEGIN))
        return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.4): FAILURE REWINDING FILE POINTER (%lu)");
    try {
        ICEncoding::mf_writeByteOrderMark(m_hFile, ICEncoding::UCS2_LE);
        return 1;
    }
    catch (ICErrno & failure) {
        CString text;
        text.Format(L"ICLogBase::mf_implTruncateFile(1.5): FAILURE WRITING BYTE-ORDER-MARK: %s",
                    failure.mf_toString().GetString());
        mf_implWriteError(text);
        return 0;
    }
}

// Copies what stands from `from` on to `to`, and ends the file there.
int ICLogBase::mf_implMoveDown(long long from, long long to, unsigned char * buffer, ulong span) const
{
    for (;;) {
        if (!f_seek(m_hFile, from, FILE_BEGIN))
            return mf_implWriteSystemError(
                L"ICLogBase::mf_implTruncateFile(1.6): FAILURE POSITIONING FILE POINTER (%lu)");
        DWORD count = 0;
        if (!::ReadFile(m_hFile, buffer, span, &count, nullptr))
            return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.7): FAILURE READING FROM LOG FILE (%lu)");
        if (count == 0) return mf_implEndFileAt(to);
        from += count;
        if (!f_seek(m_hFile, to, FILE_BEGIN))
            return mf_implWriteSystemError(
                L"ICLogBase::mf_implTruncateFile(1.8): FAILURE POSITIONING FILE POINTER (%lu)");
        if (!mf_implWriteBytes(buffer, count))
            return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.9): FAILURE WRITING TO LOG FILE (%lu)");
        to += count;
    }
}

int ICLogBase::mf_implEndFileAt(long long size) const
{
    if (!f_seek(m_hFile, size, FILE_BEGIN))
        return mf_implWriteSystemError(L"ICLogBase::mf_implTruncateFile(1.A): FAILURE POSITIONING FILE POINTER (%lu)");
    ::SetLastError(0);
    if (!::SetEndOfFile(m_hFile))
        return mf_implWriteSystemError(
            L"ICLogBase::mf_implTruncateFile(1.B): FAILURE POSITIONING FILE POINTER TO EOF (%lu)");
    return 1;
}
