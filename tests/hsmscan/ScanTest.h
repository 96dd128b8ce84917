#pragma once

#include <vector>

#include "hsmbase/failure/ICErrno.h"
#include "programs/hsmscan/ICDirectoryScan.h"
#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "tests/support/ICLeakAccount.h"

// What the tests of whole scans share.

inline ICScanOptions f_scanOptions()
{
    wchar_t const * const arguments[] = {L"--min-size", L"0", L"--min-age", L"0", L"--list", L"list", L"path"};
    return ICScanOptions(7, arguments);
}

// The library keeps handle, record and context of each thread that a group has made.
inline void f_excuseThreads(long threads)
{
    ICLeakAccount::mf_excuse("a group leaves its threads' handles, records and contexts", threads, 4 * threads);
}

// One scan with all that comes of it.
class ICTestScan
{
public:
    explicit ICTestScan(int threads = 1) : m_scan(m_totals, {&mf_started, &mf_failed}, threads)
    {
        f_excuseThreads(threads);
        s_messages.clear();
    }
    ~ICTestScan() { s_messages = {}; }

    void mf_run(std::vector<std::wstring> const & paths)
    {
        std::vector<CString> given;
        for (std::wstring const & path : paths)
            given.emplace_back(path.c_str());
        m_scan.mf_scan(given);
    }

    // Of the failures so far.
    static std::vector<CString> const & mf_getMessages() { return s_messages; }

    ICScanTotals m_totals{f_scanOptions()};
    ICDirectoryScan m_scan;

private:
    static void mf_started(CString const &) {}
    static void mf_failed(ICErrno const & failure) { s_messages.push_back(failure.mf_toLogMessage(L"")); }

    static inline std::vector<CString> s_messages;
};
