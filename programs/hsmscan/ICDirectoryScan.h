#pragma once

#include <vector>

#include "hsmbase/failure/ICErrno.h"

class ICScanTotals;

// Walks directories and all below them. No file is opened, and no link is entered: looking must not bring data back,
// and what lies behind a link is counted where it is. A volume that is mounted at a directory is entered, once in all:
// not
// where it is among the paths given, and not from within itself.
class ICDirectoryScan
{
public:
    // Who is told, in the order in which things happen.
    struct LISTENER
    {
        void (*m_started)(CString const & path);
        void (*m_failed)(ICErrno const & failure); // the walk goes on behind it
    };

    ICDirectoryScan(ICScanTotals & totals, LISTENER const & listener) : m_totals(totals), m_listener(listener) {}

    // Directories, which may be relative to the current one, drives such as "D:", and id paths of volumes. One that
    // names no directory is reported; a whole volume that was walked by then is left out.
    void mf_scan(std::vector<CString> const & paths);

    // Of all failures that were reported; 0x01000000 if there was none.
    ICErrnoNumber const & mf_getWorst() const { return m_worst; }

private:
    // What is known of the volume on which a directory lies; nothing of one that can't be asked.
    struct VOLUME
    {
        CString m_idPath;
        ulong m_clusterSize = 1;
        bool m_isWhole = false; // the directory is its root
    };

    // A directory that was found and not yet read, with a backslash at its end.
    struct PLACE
    {
        CString m_directory;
        ulong m_clusterSize;
    };

    static CString mf_implFindDirectory(CString const & path);
    static VOLUME mf_implFindVolume(CString const & directory);
    void mf_implReserveVolume(CString const & path);
    void mf_implScan(CString const & path);
    void mf_implWalk(CString const & directory);
    void mf_implReadDirectory(PLACE const & place);
    void mf_implAddEntry(WIN32_FIND_DATAW const & entry, PLACE const & place);
    void mf_implEnterVolume(CString const & directory);
    void mf_implReport(ICErrno const & failure, wchar_t const * number, unsigned int textId, CString const & path);

    ICScanTotals & m_totals;
    LISTENER const m_listener;
    ICErrnoNumber m_worst;
    std::vector<PLACE> m_waiting;
    std::vector<CString> m_reserved; // id paths of volumes that are given as a whole
    std::vector<CString> m_entered;  // of those that were walked from their root
    CString m_current;               // of the one on which the walk began
};
