#include "hsmbase/paths/internal/ICDirectoryListing.h"

namespace
{

// What a file system answers that doesn't know a form of listing.
bool f_isUnknownForm(ulong systemError)
{
    return systemError == ERROR_INVALID_PARAMETER || systemError == ERROR_NOT_SUPPORTED ||
           systemError == ERROR_INVALID_FUNCTION || systemError == ERROR_INVALID_LEVEL;
}

// Both values say that a file system has no number for a file, or none that is of 64 bits.
ULONG64 f_knownId(ULONG64 id)
{
    return id == ~0ull ? 0 : id;
}

bool f_fail(ulong systemError)
{
    ::SetLastError(systemError);
    return false;
}

} // namespace

ICDirectoryListing::FORM const ICDirectoryListing::WITH_IDS = {FileIdBothDirectoryRestartInfo, FileIdBothDirectoryInfo,
                                                               offsetof(FILE_ID_BOTH_DIR_INFO, FileId),
                                                               offsetof(FILE_ID_BOTH_DIR_INFO, FileName)};

// Its facts are the same as far as EaSize, and the name follows them at once.
ICDirectoryListing::FORM const ICDirectoryListing::WITHOUT_IDS = {FileFullDirectoryRestartInfo, FileFullDirectoryInfo,
                                                                  0, offsetof(FILE_ID_BOTH_DIR_INFO, ShortNameLength)};

bool ICDirectoryListing::mf_open(wchar_t const * longPath)
{
    // Links are followed, and nothing is brought back by it.
    constexpr ulong SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    constexpr ulong FLAGS = FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_NO_RECALL;
    ::SetLastError(0);
    if (!f_open(m_directory, longPath, FILE_LIST_DIRECTORY, SHARE_ALL, OPEN_EXISTING, FLAGS)) return false;
    if (!mf_implRead() && ::GetLastError() != ERROR_NO_MORE_FILES) return false;
    m_directoryId = mf_implFindDirectoryId();
    return true;
}

bool ICDirectoryListing::mf_next(LISTED_ENTRY & entry)
{
    m_current = NOWHERE;
    if (m_following == NOWHERE && !mf_implRead()) return false;
    ulong const at = m_following;
    m_following = NOWHERE;
    if (!mf_implTake(at, entry)) return f_fail(ERROR_FILE_CORRUPT);
    m_following = mf_implBehind(at, entry);
    if (entry.nameBytes >= sizeof(WIN32_FIND_DATAW::cFileName)) return f_fail(ERROR_FILENAME_EXCED_RANGE);
    m_current = at;
    return true;
}

void ICDirectoryListing::mf_getFileIdsAhead(CArray<ULONG64, ULONG64> & ids) const
{
    ulong at = m_current != NOWHERE ? m_current : m_following;
    ids.SetSize((SIZE - at) / m_form->name);
    INT_PTR count = 0;
    LISTED_ENTRY entry;
    for (; at != NOWHERE && mf_implTake(at, entry); at = mf_implBehind(at, entry))
        if (!entry.mf_isDots()) ids[count++] = entry.fileId;
    ids.SetSize(count);
}

bool ICDirectoryListing::mf_implRead()
{
    if (mf_implReadBy(*m_form)) return true;
    if (m_isBegun) return false;
    if (f_isUnknownForm(::GetLastError())) {
        m_form = &WITHOUT_IDS;
        if (mf_implReadBy(*m_form)) return true;
    }
    // The root of a volume has no "." and ".." and may hold nothing at all.
    if (::GetLastError() == ERROR_FILE_NOT_FOUND) ::SetLastError(ERROR_NO_MORE_FILES);
    return false;
}

bool ICDirectoryListing::mf_implReadBy(FORM const & form)
{
    // What a call leaves as it was is no entry.
    std::memset(m_block, 0, form.name);
    ::SetLastError(0);
    if (!::GetFileInformationByHandleEx(m_directory.mf_get(), m_isBegun ? form.following : form.first, m_block, SIZE))
        return false;
    m_isBegun = true;
    m_following = 0;
    return true;
}

// Only what lies within the block is taken: file systems of others fill it, and servers behind them.
bool ICDirectoryListing::mf_implTake(ulong at, LISTED_ENTRY & entry) const
{
    ulong const room = SIZE - at;
    if (room < m_form->name) return false;
    std::memcpy(&entry.facts, m_block + at, offsetof(FILE_ID_BOTH_DIR_INFO, ShortNameLength));
    ulong const nameBytes = entry.facts.FileNameLength;
    if (nameBytes == 0 || nameBytes % sizeof(wchar_t) != 0 || nameBytes > room - m_form->name) return false;
    ulong const length = entry.facts.NextEntryOffset;
    if (length != 0 && (length < m_form->name + nameBytes || length >= room)) return false;

    entry.name = m_block + at + m_form->name;
    entry.nameBytes = nameBytes;
    entry.fileId = 0;
    // Some systems give a link to a directory the number of what lies behind it, which would then be met twice.
    constexpr ulong LINK = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if (m_form->fileId == 0 || (entry.facts.FileAttributes & LINK) == LINK) return true;
    std::memcpy(&entry.fileId, m_block + at + m_form->fileId, sizeof entry.fileId);
    entry.fileId = f_knownId(entry.fileId);
    return true;
}

ulong ICDirectoryListing::mf_implBehind(ulong at, LISTED_ENTRY const & entry)
{
    return entry.facts.NextEntryOffset != 0 ? at + entry.facts.NextEntryOffset : NOWHERE;
}

// The directory itself is the first entry, if the file system has one for it. That saves a call which can cost as much
// as reading a hundred entries.
ULONG64 ICDirectoryListing::mf_implFindDirectoryId() const
{
    LISTED_ENTRY entry;
    if (m_following != NOWHERE && mf_implTake(m_following, entry) && entry.mf_isDots() &&
        entry.nameBytes == sizeof(wchar_t) && entry.fileId != 0)
        return entry.fileId;
    BY_HANDLE_FILE_INFORMATION information = {};
    // Where a file system tells none, it is listed without.
    if (!::GetFileInformationByHandle(m_directory.mf_get(), &information)) return 0;
    return f_knownId(static_cast<ULONG64>(information.nFileIndexHigh) << 32 | information.nFileIndexLow);
}
