#pragma once

#include <vector>

#include "hsmbase/failure/ICErrno.h"

class ICScanTotals;

// Walks a directory and all below it. No file is opened, and no reparse point is entered: looking must not bring data
// back, and what lies behind a link is counted where it is.
class ICDirectoryScan
{
public:
    // Called for each failure; the walk goes on behind it.
    using REPORT = void (*)(ICErrno const & failure);

    ICDirectoryScan(ICScanTotals & totals, REPORT report) : m_totals(totals), m_report(report) {}

    // `path` may be relative to the current directory. One that names no directory is reported.
    void mf_scan(CString const & path);

    // Of all failures that were reported; 0x01000000 if there was none.
    ICErrnoNumber const & mf_getWorst() const { return m_worst; }

private:
    void mf_implReadDirectory(CString const & directory);
    void mf_implReadEntries(CString const & directory);
    void mf_implAddEntry(WIN32_FIND_DATAW const & entry, CString const & directory);
    void mf_implReport(ICErrnoData const & data);

    ICScanTotals & m_totals;
    REPORT const m_report;
    ICErrnoNumber m_worst;
    std::vector<CString> m_waiting; // directories that were found and not yet read, each with a backslash at its end
};
