#include "hsmbase/paths/ICDirectoryEntries.h"

#include <new>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICDirectoryListing.h"

static FILETIME f_timeOf(LARGE_INTEGER const & time)
{
    return {time.LowPart, static_cast<ulong>(time.HighPart)};
}

ICDirectoryEntries::ICDirectoryEntries(CString const & directory)
    : m_directory(directory), m_listing(new (std::nothrow) ICDirectoryListing)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryEntries::ICDirectoryEntries";

    if (!m_listing)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory to read directory '%s'", directory);
    // What is empty stays so: a backslash would make it the root of the current drive.
    CString const path = directory.IsEmpty() ? directory : ICPath::mf_normalizeDirectory(directory);
    if (!m_listing->mf_open(ICLongPath::mf_addLongPathUNCPrefix(path))) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure opening directory '%s':\r\n%s%s", directory, ICLog::TAB,
                       failure.mf_toString());
    }
}

ICDirectoryEntries::~ICDirectoryEntries() = default;

ULONG64 ICDirectoryEntries::mf_getDirectoryId() const
{
    return m_listing->mf_getDirectoryId();
}

int ICDirectoryEntries::mf_next()
{
    static wchar_t const _sFunction_[] = L"ICDirectoryEntries::mf_next";

    LISTED_ENTRY entry;
    do {
        if (m_listing->mf_next(entry)) continue;
        ulong const systemError = ::GetLastError();
        if (systemError == ERROR_NO_MORE_FILES) return 0;
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess, systemError);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure reading directory '%s':\r\n%s%s", m_directory, ICLog::TAB,
                       failure.mf_toString());
    } while (entry.mf_isDots());
    mf_implShow(entry);
    return 1;
}

void ICDirectoryEntries::mf_getFileIdsAhead(CArray<ULONG64, ULONG64> & ids) const
{
    m_listing->mf_getFileIdsAhead(ids);
}

void ICDirectoryEntries::mf_implShow(LISTED_ENTRY const & entry)
{
    FILE_ID_BOTH_DIR_INFO const & facts = entry.facts;
    m_fileId = entry.fileId;
    m_entry.dwFileAttributes = facts.FileAttributes;
    m_entry.ftCreationTime = f_timeOf(facts.CreationTime);
    m_entry.ftLastAccessTime = f_timeOf(facts.LastAccessTime);
    m_entry.ftLastWriteTime = f_timeOf(facts.LastWriteTime);
    m_entry.nFileSizeHigh = static_cast<ulong>(facts.EndOfFile.HighPart);
    m_entry.nFileSizeLow = facts.EndOfFile.LowPart;
    m_entry.dwReserved0 = facts.FileAttributes & FILE_ATTRIBUTE_REPARSE_POINT ? facts.EaSize : 0;
    std::memcpy(m_entry.cFileName, entry.name, entry.nameBytes);
    m_entry.cFileName[entry.nameBytes / sizeof(wchar_t)] = L'\0';
}
