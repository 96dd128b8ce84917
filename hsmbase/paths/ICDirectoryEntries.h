#pragma once

#include "hsmbase/Types.h"

// Walks over the entries of one directory, with what the file system keeps there of each: attributes, times, size. No
// entry is opened, so nothing is recalled.
//
//     ICDirectoryEntries entries(L"D:\\data");
//     while (entries.mf_next()) wprintf(L"%s\n", entries.mf_getEntry().cFileName);
//
// For the names alone see ICPath::mf_listContent.
//
// Threads: an object belongs to one thread at a time.
class HSMBASE_EXPORT ICDirectoryEntries
{
public:
    // Of any length, with or without backslash at its end. Throws _E_::FileAccess with the system error.
    explicit ICDirectoryEntries(CString const & directory);
    ICDirectoryEntries(ICDirectoryEntries const &) = delete;
    ICDirectoryEntries & operator=(ICDirectoryEntries const &) = delete;

    // Keeps the thread's last error.
    ~ICDirectoryEntries();

    // Goes to the next entry, the first at first, in the order of the file system; "." and ".." are left out. Answers 0
    // behind the last one. Throws _E_::FileAccess with the system error; a further call asks the system again.
    int mf_next();

    // Where the walk stands; to be asked behind a call of mf_next that answered 1. Without the short name.
    _WIN32_FIND_DATAW const & mf_getEntry() const { return m_entry; }

private:
    int mf_implNext();

    CString const m_directory;
    HANDLE m_search;
    int m_isAhead = 0; // the entry is there already, not yet asked for
    WIN32_FIND_DATAW m_entry;
};
