#pragma once

#include <memory>

#include "hsmbase/Types.h"

// Walks over the entries of one directory, with what the file system keeps there of each: attributes, times, size, and
// the number of its file. No entry is opened, so nothing is recalled.
//
//     ICDirectoryEntries entries(L"D:\\data");
//     while (entries.mf_next()) wprintf(L"%s\n", entries.mf_getEntry().cFileName);
//
// The number of a file, its file id, is the same for each of its names and by whatever path it is reached, and no other
// one on its volume has it at the same time. It is given whole: with NTFS the lower 48 bits are the record of the file,
// and the upper 16 say how often that record was used. 0 where a file system tells none.
//
// A directory is read many entries at a time. What changes in it meanwhile may be met or not.
//
// For the names alone see ICPath::mf_listContent.
//
// Threads: an object belongs to one thread at a time. A directory may be read by any number of objects.
class HSMBASE_EXPORT ICDirectoryEntries
{
public:
    // Opens the directory and reads its first entries. The path is of any length, with or without backslash at its end,
    // relative to the current directory or not; links and mount points are followed, so the root of what is mounted is
    // read. Throws _E_::FileAccess with the system error, also for an empty path, and _E_::Memory.
    explicit ICDirectoryEntries(CString const & directory);
    ICDirectoryEntries(ICDirectoryEntries const &) = delete;
    ICDirectoryEntries & operator=(ICDirectoryEntries const &) = delete;

    // Keeps the thread's last error.
    ~ICDirectoryEntries();

    // The number of the directory itself on its volume; 0: not told.
    ULONG64 mf_getDirectoryId() const;

    // Goes to the next entry, the first at first, in the order of the file system; "." and ".." are left out. Answers 0
    // behind the last one.
    //
    // Throws _E_::FileAccess with the system error: ERROR_FILENAME_EXCED_RANGE for a name that mf_getEntry can't take,
    // ERROR_FILE_CORRUPT where a file system answers what is no entry. A further call goes on behind such an entry, or
    // what was read together with it; else it asks the system again.
    int mf_next();

    // Where the walk stands; to be asked behind a call of mf_next that answered 1. dwReserved0 is the tag of a reparse
    // point, else 0. Without the short name.
    _WIN32_FIND_DATAW const & mf_getEntry() const { return m_entry; }

    // The number of this entry on its volume; 0: not told, and for mount points and links to directories, to which some
    // systems give that of the directory behind.
    ULONG64 mf_getFileId() const { return m_fileId; }

    // The numbers of the entry where the walk stands and of those behind it that are read already, in their order, "."
    // and ".." left out; 0 for each that is not told. With this, many can be looked at by one step, such as under a
    // lock; so many entries later there are others ahead. Usually some hundred. What the array held is lost, its memory
    // is used again. Empty behind the last entry and behind a failure, unless more is read already.
    void mf_getFileIdsAhead(CArray<ULONG64, ULONG64> & ids) const;

private:
    void mf_implShow(struct LISTED_ENTRY const & entry);

    CString const m_directory;
    std::unique_ptr<class ICDirectoryListing> const m_listing;
    ULONG64 m_fileId = 0;
    WIN32_FIND_DATAW m_entry = {};
};
