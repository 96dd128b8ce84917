#include <algorithm>
#include <climits>
#include <optional>

#include "frame/ICProgramFrame.h"
#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/logging/ICLog.h"
#include "hsmbase/registry/ICRegistry.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICConsole.h"
#include "programs/hsmscan/ICDirectoryScan.h"
#include "programs/hsmscan/ICInterrupt.h"
#include "programs/hsmscan/ICListTransaction.h"
#include "programs/hsmscan/ICMachineReport.h"
#include "programs/hsmscan/ICMessageReport.h"
#include "programs/hsmscan/ICPathReport.h"
#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanProgress.h"
#include "programs/hsmscan/ICScanReport.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "programs/hsmscan/ICSettings.h"
#include "programs/hsmscan/NumberedMessage.h"

// hsmscan looks through directories, drives and volumes for files that are worth migrating, without recalling any.

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

// The sentence below the totals.
CString f_outcome(ICErrnoNumber const & worst, bool isCanceled)
{
    if (isCanceled) return ICString(IDS_HSMSCAN_CANCELED);
    return ICString(worst.mf_isInfo() ? IDS_HSMSCAN_COMPLETED : IDS_HSMSCAN_COMPLETED_WITH_FAILURES);
}

void f_walk(ICDirectoryScan & scan, ICScanOptions const & options)
{
    std::optional<ICScanProgress> progress;
    if (!options.m_isQuiet && ICConsole::mf_canShowStatus())
        progress.emplace(scan.mf_getCounts(), &ICConsole::mf_showStatus);
    scan.mf_scan(options.m_paths);
}

ICErrno f_listFailure(ICErrno const & failure, CString const & path)
{
    return f_withMessage(failure, L"KVR29004E", IDS_KVR29004_TEXT, path);
}

// A list that can't be written is told of ahead of what may be hours of work.
void f_prepareList(ICListTransaction & list, ICScanOptions const & options)
{
    try {
        list.mf_prepare();
    }
    catch (ICErrno & failure) {
        throw f_listFailure(failure, options.m_list);
    }
}

ICErrnoNumber f_writeList(ICListTransaction & list, ICScanTotals const & totals, ICScanOptions const & options)
{
    try {
        list.mf_write(totals.mf_getCandidates());
        return ICErrnoNumber();
    }
    catch (ICErrno & failure) {
        if (failure.mf_isErrno(ICErrno::_W_::UserCanceled)) return failure.mf_getErrnoData().mf_getNumber();
        ICErrno const message = f_listFailure(failure, options.m_list);
        ICScanReport::mf_printFailure(message);
        return message.mf_getErrnoData().mf_getNumber();
    }
}

ICErrnoNumber f_scan(ICScanOptions const & options)
{
    ICScanTotals totals(options);
    ICDirectoryScan scan(totals, {&ICScanReport::mf_printStart, &ICScanReport::mf_printFailure}, options.m_threads);
    ICInterrupt const interrupt([&scan] { scan.mf_cancel(); });
    std::optional<ICListTransaction> list;
    if (!options.m_list.IsEmpty()) {
        list.emplace(options.m_list);
        list->mf_installCancelSwitch(&scan.mf_getCancelSwitch());
        f_prepareList(*list, options);
    }
    f_walk(scan, options);
    ICErrnoNumber worst = scan.mf_getWorst();
    if (list) worst.mf_update(f_writeList(*list, totals, options));
    ICScanReport::mf_printTotals(totals);
    ICConsole::mf_printLine(CString());
    ICConsole::mf_printLine(f_outcome(worst, scan.mf_getCancelSwitch().mf_isCanceled()));
    return worst;
}

void f_moveSettings(ICScanOptions const & options)
{
    try {
        if (!options.m_settingsBackup.IsEmpty()) ICSettings::mf_save(options.m_settingsBackup);
    }
    catch (ICErrno & failure) {
        throw f_withMessage(failure, L"KVR29005E", IDS_KVR29005_TEXT, options.m_settingsBackup);
    }
    try {
        if (!options.m_settingsRestore.IsEmpty()) ICSettings::mf_restore(options.m_settingsRestore);
    }
    catch (ICErrno & failure) {
        throw f_withMessage(failure, L"KVR29006E", IDS_KVR29006_TEXT, options.m_settingsRestore);
    }
}

// All that the command line asks for, in the order in which the help lists it.
int f_answer(ICScanOptions const & options)
{
    ICErrnoNumber worst;
    f_moveSettings(options);
    if (options.m_areVolumesWanted) ICMachineReport::mf_printVolumes();
    if (options.m_isSystemWanted) ICMachineReport::mf_printSystem();
    for (CString const & path : options.m_explained) {
        ICPathReport report(path);
        report.mf_print();
        worst.mf_update(report.mf_getWorst());
    }
    if (!options.m_paths.empty()) worst.mf_update(f_scan(options));
    return f_exitCode(worst);
}

// The size stays for later runs, the level is for this one. Both leave a line in the log.
void f_configureLog(ICScanOptions const & options)
{
    if (options.m_logSize > 0) {
        constexpr long long KBYTE = 1024;
        long long const kBytes = std::min<long long>((options.m_logSize + KBYTE - 1) / KBYTE, ULONG_MAX);
        ICRegistry::mf_setValue(L"LogFileSize", static_cast<ulong>(kBytes), ICRegistry::mf_getRegistryRoot(CString()),
                                HKEY_LOCAL_MACHINE);
        ICLog::mf_updateParameters();
    }
    if (!options.m_logLevel.IsEmpty()) ICLog::mf_setLogLevel(options.m_logLevel);
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

int f_work(ICScanOptions const & options, bool isLanguageKnown)
{
    wchar_t const * const language = options.m_language;
    if (!options.mf_isValid()) return f_refuse(options.mf_getProblem());
    if (!isLanguageKnown) return f_refuse(ICString(IDS_HSMSCAN_LANGUAGE_UNKNOWN, language));
    if (!options.m_language.IsEmpty() &&
        ICLanguage::mf_getUserLanguageId() != ICLanguage::mf_getLanguageId(options.m_language))
        return f_refuse(ICString(IDS_HSMSCAN_LANGUAGE_NOT_INSTALLED, language));
    if (options.m_isHelpWanted) {
        ICScanReport::mf_printHelp();
        return 0;
    }
    if (options.m_isVersionWanted) {
        ICScanReport::mf_printVersion();
        return 0;
    }
    if (!options.m_explainedMessages.empty()) return f_exitCode(ICMessageReport::mf_print(options.m_explainedMessages));
    f_configureLog(options);
    return f_answer(options);
}

int f_run(ICScanOptions const & options)
{
    bool const isKnown = options.m_language.IsEmpty() || f_isLanguageKnown(options.m_language);
    // What does no work needs neither logs nor volumes.
    bool const isWorking = options.mf_isValid() && isKnown && !options.m_isHelpWanted && !options.m_isVersionWanted &&
                           options.m_explainedMessages.empty();
    ICProgramFrame const frame({.m_registryRoot = options.m_registryRoot,
                                .m_language = isKnown ? options.m_language : CString(),
                                .m_logDirectory = options.m_logDirectory,
                                .m_traceLog = isWorking ? L"hsmscan.log" : L"",
                                .m_adminLog = isWorking ? L"hsmscan-admin.log" : L"",
                                .m_storage = isWorking,
                                .m_tellFailure = &ICScanReport::mf_printFailure});
    try {
        return f_work(options, isKnown);
    }
    catch (ICErrno & failure) {
        // While the frame is up: the failure speaks the user's language, and its record reaches the administrator.
        ICScanReport::mf_printFailure(failure);
        return f_exitCode(failure.mf_getErrnoData());
    }
}
} // namespace

int wmain(int count, wchar_t ** arguments)
{
    ICScanOptions const options(count - 1, arguments + 1);
    try {
        return f_run(options);
    }
    catch (ICErrno & failure) {
        return f_exitCode(failure.mf_getErrnoData()); // of the start-up, and told by then
    }
}
