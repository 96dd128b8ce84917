#pragma once

#include "hsmbase/failure/ICErrno.h"

class ICScanTotals;

// What hsmscan tells its user, in the user's language.
class ICScanReport
{
public:
    static void mf_printHelp();
    static void mf_printVersion();
    static void mf_printStart(CString const & path);
    static void mf_printFailure(ICErrno const & failure);

    // What was found, as two columns, and the largest files.
    static void mf_printTotals(ICScanTotals const & totals);

private:
    static void mf_implPrintHeading(unsigned int resourceId);
};
