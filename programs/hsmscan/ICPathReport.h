#pragma once

#include "hsmbase/failure/ICErrno.h"

// Tells everything about one path: its parts, all its forms, its volume, what lies there, and whether opening it would
// bring data back. Nothing is opened for that.
class ICPathReport
{
public:
    explicit ICPathReport(CString const & path) : m_path(path) {}

    // What can't be told is left out, and the failure is shown.
    void mf_print();

    // Of all failures that were shown; 0x01000000 if there was none.
    ICErrnoNumber const & mf_getWorst() const { return m_worst; }

private:
    CString const m_path;
    ICErrnoNumber m_worst;
};
