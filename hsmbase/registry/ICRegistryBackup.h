#pragma once

#include "hsmbase/failure/ICArray.h"

class ICBuffer;

// A registry subtree as text, and back. The text has the layout of the platform's export files, version 5.00, in
// UTF-16 with a byte order mark, in the part that a tree of strings needs:
//
//     Windows Registry Editor Version 5.00
//
//     [HKEY_LOCAL_MACHINE\SOFTWARE\HSM]
//     "Language"="English"
//     "LogFileDir"="C:\\logs"
//
// The text is held in memory; files are their users' affair (ICPath::mf_FileToBuffer and mf_BufferToFile).
//
//     ICBuffer saved;
//     ICRegistryBackup::mf_backup(saved, root, HKEY_LOCAL_MACHINE, 0);
//     ...
//     ICRegistryBackup::mf_restore(saved);
//
// What does not come back as it was: an expandable string comes back expanded, as a plain one; a key without values
// comes back only as the parent of another one; a value with a line end in it, and one whose name has an equal sign,
// make mf_restore fail.
//
// Threads: any; nothing is locked, so what others change meanwhile may be in the backup or not.
class HSMBASE_EXPORT ICRegistryBackup
{
public:
    // Fills `target`, which must be empty, with the key `path` and all below it; answers 1. With `skipDotKeys` keys
    // whose names begin with a full stop are left out with all below them. An empty path is the root key itself, but
    // the texts of its own values are then read from this program's subtree, as wherever a value's path is empty.
    // Throws AlreadyInitialized for a buffer that holds data; FileNotFound for a key that doesn't exist; Unexpected for
    // a value that is no string; Registry, also for a string of 512 characters and more; Internal; Memory. The buffer
    // is empty after a failure.
    static int mf_backup(ICBuffer & target, CString const & path, HKEY const key, int skipDotKeys);

    // Writes the values of a backup, creating keys where they are missing; answers 1. Lines are applied as they are
    // read: after a failure the values ahead of it are written. Roots may also be "HKLM" and "HKCU", and a section with
    // an empty path is this program's own subtree. An unknown root fails with the first value below it.
    // Throws Initialization for a buffer without data, DataCorrupted for what is no backup, Registry, and what finding
    // the encoding throws.
    static int mf_restore(ICBuffer const & source);

private:
    struct SECTION;

    static CString mf_implEscapeString(CString const & text);
    static CString mf_implRevertString(CString const & text);

    // One key and all below it; 0 if it was left out.
    static int mf_implBackupPath(CString & text, CString const & path, HKEY const key, int skipDotKeys);

    // The key's block.
    static void mf_implBackupValues(CString & text, CString const & path, HKEY const key);

    // NULL entries are passed over.
    static void mf_implAppendValues(CString & text, ICArray<CString *, CString *> const & names, CString const & path,
                                    HKEY const key);
    static void mf_implAppendSubKeys(CString & text, ICArray<CString *, CString *> const & names, CString const & path,
                                     HKEY const key, int skipDotKeys);

    // One line that isn't empty: it opens a section, or writes a value of the open one.
    static void mf_implApplyLine(CString const & line, SECTION & section);
    static void mf_implOpenSection(CString const & line, SECTION & section);
    static void mf_implWriteValue(CString const & line, SECTION const & section);
};
