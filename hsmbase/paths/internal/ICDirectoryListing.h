#pragma once

#include <cstddef>
#include <cstring>

#include "hsmbase/paths/internal/ICFileHandle.h"

// One entry as the file system tells it; good until the listing goes on.
struct LISTED_ENTRY
{
    // "." or "..".
    bool mf_isDots() const { return nameBytes <= 2 * sizeof(wchar_t) && std::memcmp(name, L"..", nameBytes) == 0; }

    FILE_ID_BOTH_DIR_INFO facts;          // as far as EaSize, which is the tag of a reparse point
    ULONG64 fileId;                       // 0: not told
    unsigned char const * name = nullptr; // without terminator, wherever the file system put it
    ulong nameBytes = 0;                  // at least one character, at most as many as a WIN32_FIND_DATAW takes
};

// An open directory and the entries of it that were read last, many by one call of the platform. It knows no failure
// and no trace: what goes wrong is in the thread's last error.
//
//     std::unique_ptr<ICDirectoryListing> const listing(new (std::nothrow) ICDirectoryListing);
//     if (!listing->mf_open(L"\\\\?\\D:\\data\\")) ...
//     LISTED_ENTRY entry;
//     while (listing->mf_next(entry)) ...
//
// It is made on the heap: a block of entries is too much for a stack.
//
// Threads: an object belongs to one thread at a time.
class ICDirectoryListing
{
public:
    ICDirectoryListing() = default;
    ICDirectoryListing(ICDirectoryListing const &) = delete;
    ICDirectoryListing & operator=(ICDirectoryListing const &) = delete;

    // Opens the directory and reads its first entries; to be called once. The path is in its long form and ends with a
    // backslash, by which the root of a volume is told from its device.
    bool mf_open(wchar_t const * longPath);

    // Goes to the next entry. ERROR_NO_MORE_FILES is the end. Behind any failure the next call goes on with the entries
    // that the system tells next: where it fails again, or behind those that are malformed.
    bool mf_next(LISTED_ENTRY & entry);

    // Of the open directory; 0: not told.
    ULONG64 mf_getDirectoryId() const { return m_directoryId; }

    // See ICDirectoryEntries::mf_getFileIdsAhead.
    void mf_getFileIdsAhead(CArray<ULONG64, ULONG64> & ids) const;

private:
    // How a file system can be asked, and where it then puts what stands behind the facts.
    struct FORM
    {
        FILE_INFO_BY_HANDLE_CLASS first;
        FILE_INFO_BY_HANDLE_CLASS following;
        ulong fileId; // 0: it isn't told
        ulong name;
    };
    static FORM const WITH_IDS;
    static FORM const WITHOUT_IDS;

    // More than this makes no listing quicker, and some servers refuse it.
    static constexpr ulong SIZE = 0x10000;

    static constexpr ulong NOWHERE = SIZE;

    bool mf_implRead();
    bool mf_implReadBy(FORM const & form);
    bool mf_implTake(ulong at, LISTED_ENTRY & entry) const;
    static ulong mf_implBehind(ulong at, LISTED_ENTRY const & entry);
    ULONG64 mf_implFindDirectoryId() const;

    ICFileHandle m_directory;
    FORM const * m_form = &WITH_IDS;
    bool m_isBegun = false;      // the form is known to be understood
    ulong m_current = NOWHERE;   // where the entry begins at which the listing stands
    ulong m_following = NOWHERE; // where the next one begins; NOWHERE: it has to be read
    ULONG64 m_directoryId = 0;
    unsigned char m_block[SIZE];
};
