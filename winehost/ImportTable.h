#pragma once

#include <vector>

// Any function of any signature; cast back before it is called.
using ANYFUNCTION = void (*)();

// What a loaded module imports: one entry a name and DLL, in the order of the table. The texts and the slot lie in the
// module and are valid while it is loaded. Imports by number have an empty name.
//
//     for (IMPORT const & import : f_importsOf(L"hsmbase.dll"))
//         printf("%s from %s\n", import.m_name, import.m_module);
//
struct IMPORT
{
    char const * m_module;
    char const * m_name;
    ANYFUNCTION * m_slot;
};

// nullptr: the program itself. Throws std::runtime_error if no such module is loaded.
std::vector<IMPORT> f_importsOf(wchar_t const * module = L"hsmbase.dll");

// Writes one slot of a table and answers what was there before. Threads may call through the slot meanwhile.
ANYFUNCTION f_exchangeImport(ANYFUNCTION * slot, ANYFUNCTION function);
