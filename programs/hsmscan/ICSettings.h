#pragma once

#include "hsmbase/Types.h"

// The settings of the system, that is its registry root and all below it, saved to a file and brought back. The file is
// a text of the library's registry backup, with the root as its section.
//
// Such a text holds strings alone, so a number stands in it as "dword:0000002a", and a text that begins like that has
// "text:" ahead. For the time of an operation the strings lie in a key of their own below the root, ".settings"; keys
// whose names begin with a full stop are left out.
//
// Threads: one; and no other program should change the settings meanwhile.
class ICSettings
{
public:
    // Writes the file whole or not at all. Throws _E_::Unexpected for a setting that is neither text nor number, or that
    // can't stand in a line; Registry; and what ICFileTransaction and ICRegistryBackup throw.
    static void mf_save(CString const & file);

    // Brings back what the file holds; settings that it doesn't hold stay. Nothing is changed unless all of the file is
    // sound. Throws _E_::DataCorrupted for a text that is no such file or that reaches beyond this root; Registry; and
    // what ICPath::mf_FileToBuffer and ICRegistryBackup throw.
    static void mf_restore(CString const & file);
};
