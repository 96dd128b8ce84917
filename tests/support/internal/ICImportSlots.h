#pragma once

#include "tests/support/Platform.h"
#include "winehost/ImportTable.h"

#include <vector>

// Every slot of one name in the import table of one loaded module; puts the original function back when it ends. The
// common ground of ICImportPatch and ICImportFault.
//
// Threads: replacing and restoring are atomic per slot and may happen while other threads call. A thread that is
// already inside the replacement is not waited for.
class ICImportSlots
{
public:
    // Throws std::runtime_error with a telling text if the module is not loaded or does not import the name.
    ICImportSlots(char const * name, wchar_t const * module);
    ICImportSlots(ICImportSlots const &) = delete;
    ICImportSlots & operator=(ICImportSlots const &) = delete;
    ~ICImportSlots();

    void mf_replace(ANYFUNCTION replacement);
    ANYFUNCTION mf_getOriginal() const { return m_original; }

private:
    char const * const m_name;
    std::vector<ANYFUNCTION *> m_slots;
    ANYFUNCTION m_original = nullptr;
    ANYFUNCTION m_replacement = nullptr;
};
