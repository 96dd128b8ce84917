#include "frame/ICProgramFrame.h"
#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICConsole.h"
#include "programs/hsmscan/ICDirectoryScan.h"
#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanReport.h"
#include "programs/hsmscan/ICScanTotals.h"

// hsmscan looks through directories for files that are worth migrating, without recalling any.

namespace
{
// The exit code tells the highest severity seen.
int f_exitCode(IFSeverity const & worst)
{
    if (worst.mf_isSevere()) return 3;
    if (worst.mf_isError()) return 2;
    if (worst.mf_isWarning()) return 1;
    return 0;
}

int f_refuse(CString const & problem)
{
    ICConsole::mf_printError(problem);
    ICConsole::mf_printError(ICString(IDS_HSMSCAN_HELP_HINT));
    return f_exitCode(ICErrno::_E_::UserInput);
}

int f_scan(ICScanOptions const & options)
{
    ICScanTotals totals(options);
    ICDirectoryScan scan(totals, &ICScanReport::mf_printFailure);
    for (CString const & path : options.m_paths) {
        ICConsole::mf_printLine(ICString(IDS_HSMSCAN_SCANNING, path.GetString()));
        scan.mf_scan(path);
    }
    ICScanReport::mf_printTotals(totals);
    bool const isComplete = scan.mf_getWorst().mf_isInfo();
    ICConsole::mf_printLine(CString());
    ICConsole::mf_printLine(ICString(isComplete ? IDS_HSMSCAN_COMPLETED : IDS_HSMSCAN_COMPLETED_WITH_FAILURES));
    return f_exitCode(scan.mf_getWorst());
}

bool f_isLanguageKnown(CString const & language)
{
    try {
        ICLanguage::mf_getLanguageId(language);
        return true;
    }
    catch (ICErrno &) {
        return false; // The name is a user's word; the answer is a sentence, not a failure.
    }
}

int f_run(ICScanOptions const & options)
{
    bool const isSwitched = !options.m_language.IsEmpty();
    bool const isKnown = !isSwitched || f_isLanguageKnown(options.m_language);
    ICProgramFrame const frame(options.m_registryRoot, isKnown ? options.m_language : CString());

    wchar_t const * const language = options.m_language;
    if (!options.mf_isValid()) return f_refuse(options.mf_getProblem());
    if (!isKnown) return f_refuse(ICString(IDS_HSMSCAN_LANGUAGE_UNKNOWN, language));
    if (isSwitched && ICLanguage::mf_getUserLanguageId() != ICLanguage::mf_getLanguageId(options.m_language))
        return f_refuse(ICString(IDS_HSMSCAN_LANGUAGE_NOT_INSTALLED, language));
    if (options.m_isHelpWanted) {
        ICScanReport::mf_printHelp();
        return 0;
    }
    if (options.m_isVersionWanted) {
        ICScanReport::mf_printVersion();
        return 0;
    }
    return f_scan(options);
}
} // namespace

int wmain(int count, wchar_t ** arguments)
{
    ICScanOptions const options(count - 1, arguments + 1);
    try {
        return f_run(options);
    }
    catch (ICErrno & failure) {
        // Without languages the rendering shows placeholders beside number and originator.
        ICScanReport::mf_printFailure(failure);
        return f_exitCode(failure.mf_getErrnoData());
    }
}
