#include "programs/hsmscan/ICScanReport.h"

#include <algorithm>

#include "hsmbase/context/ICColumnFormatter.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/text/ICNumberFormatter.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICConsole.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "programs/hsmscan/ICTextLayout.h"

namespace
{
constexpr wchar_t INDENT[] = L"  ";

struct OPTION_TEXT
{
    unsigned int syntax;
    unsigned int help;
};

constexpr OPTION_TEXT OPTION_TEXTS[] = {
    {IDS_HSMSCAN_MIN_SIZE_SYNTAX, IDS_HSMSCAN_MIN_SIZE_HELP},
    {IDS_HSMSCAN_MIN_AGE_SYNTAX, IDS_HSMSCAN_MIN_AGE_HELP},
    {IDS_HSMSCAN_LARGEST_SYNTAX, IDS_HSMSCAN_LARGEST_HELP},
    {IDS_HSMSCAN_THREADS_SYNTAX, IDS_HSMSCAN_THREADS_HELP},
    {IDS_HSMSCAN_LIST_SYNTAX, IDS_HSMSCAN_LIST_HELP},
    {IDS_HSMSCAN_QUIET_SYNTAX, IDS_HSMSCAN_QUIET_HELP},
    {IDS_HSMSCAN_LANGUAGE_SYNTAX, IDS_HSMSCAN_LANGUAGE_HELP},
    {IDS_HSMSCAN_ROOT_SYNTAX, IDS_HSMSCAN_ROOT_HELP},
    {IDS_HSMSCAN_LOG_LEVEL_SYNTAX, IDS_HSMSCAN_LOG_LEVEL_HELP},
    {IDS_HSMSCAN_LOG_DIR_SYNTAX, IDS_HSMSCAN_LOG_DIR_HELP},
    {IDS_HSMSCAN_LOG_SIZE_SYNTAX, IDS_HSMSCAN_LOG_SIZE_HELP},
    {IDS_HSMSCAN_VOLUMES_SYNTAX, IDS_HSMSCAN_VOLUMES_HELP},
    {IDS_HSMSCAN_SYSTEM_SYNTAX, IDS_HSMSCAN_SYSTEM_HELP},
    {IDS_HSMSCAN_EXPLAIN_SYNTAX, IDS_HSMSCAN_EXPLAIN_HELP},
    {IDS_HSMSCAN_EXPLAIN_MESSAGE_SYNTAX, IDS_HSMSCAN_EXPLAIN_MESSAGE_HELP},
    {IDS_HSMSCAN_BACKUP_SYNTAX, IDS_HSMSCAN_BACKUP_HELP},
    {IDS_HSMSCAN_RESTORE_SYNTAX, IDS_HSMSCAN_RESTORE_HELP},
    {IDS_HSMSCAN_HELP_SYNTAX, IDS_HSMSCAN_HELP_HELP},
    {IDS_HSMSCAN_VERSION_SYNTAX, IDS_HSMSCAN_VERSION_HELP},
};

struct TOTAL_TEXT
{
    unsigned int label;
    long long ICScanTotals::*total;
};

constexpr TOTAL_TEXT TOTAL_TEXTS[] = {
    {IDS_HSMSCAN_TOTAL_FILES, &ICScanTotals::m_files},
    {IDS_HSMSCAN_TOTAL_DIRECTORIES, &ICScanTotals::m_directories},
    {IDS_HSMSCAN_TOTAL_BYTES, &ICScanTotals::m_bytes},
    {IDS_HSMSCAN_TOTAL_BYTES_ON_DISK, &ICScanTotals::m_bytesOnDisk},
    {IDS_HSMSCAN_TOTAL_OFFLINE, &ICScanTotals::m_offline},
    {IDS_HSMSCAN_TOTAL_SPARSE, &ICScanTotals::m_sparse},
    {IDS_HSMSCAN_TOTAL_COMPRESSED, &ICScanTotals::m_compressed},
    {IDS_HSMSCAN_TOTAL_ENCRYPTED, &ICScanTotals::m_encrypted},
    {IDS_HSMSCAN_TOTAL_HIDDEN, &ICScanTotals::m_hidden},
    {IDS_HSMSCAN_TOTAL_SYSTEM, &ICScanTotals::m_system},
    {IDS_HSMSCAN_TOTAL_READ_ONLY, &ICScanTotals::m_readOnly},
    {IDS_HSMSCAN_TOTAL_REPARSE_POINTS, &ICScanTotals::m_reparsePoints},
    {IDS_HSMSCAN_TOTAL_CANDIDATE_FILES, &ICScanTotals::m_candidateFiles},
    {IDS_HSMSCAN_TOTAL_CANDIDATE_BYTES, &ICScanTotals::m_candidateBytes},
    {IDS_HSMSCAN_TOTAL_UNREADABLE, &ICScanTotals::m_unreadable},
};
} // namespace

void ICScanReport::mf_printHelp()
{
    CString const none;
    int labelWidth = 0;
    for (OPTION_TEXT const & option : OPTION_TEXTS)
        labelWidth = std::max(labelWidth, ICTextLayout::mf_getWidth(ICString(option.syntax)));
    CString const continuation = INDENT + CString(L' ', labelWidth) + INDENT;

    ICConsole::mf_printLine(ICString(IDS_HSMSCAN_USAGE));
    ICConsole::mf_printLine(none);
    ICConsole::mf_printLine(ICTextLayout::mf_wrap(ICString(IDS_HSMSCAN_PURPOSE), none, none));
    ICConsole::mf_printLine(none);
    ICConsole::mf_printLine(ICString(IDS_HSMSCAN_OPTIONS));
    for (OPTION_TEXT const & option : OPTION_TEXTS) {
        CString const label = INDENT + ICTextLayout::mf_pad(ICString(option.syntax), labelWidth) + INDENT;
        ICConsole::mf_printLine(ICTextLayout::mf_wrap(ICString(option.help), label, continuation));
    }
}

void ICScanReport::mf_printVersion()
{
    ICConsole::mf_printLine(ICString(IDS_HSMSCAN_VERSION, L"8.1.2"));
}

void ICScanReport::mf_printStart(CString const & path)
{
    ICConsole::mf_printLine(ICString(IDS_HSMSCAN_SCANNING, path.GetString()));
}

void ICScanReport::mf_printFailure(ICErrno const & failure)
{
    ICConsole::mf_printError(failure.mf_toConsoleMessage(CString()));
}

void ICScanReport::mf_printTotals(ICScanTotals const & totals)
{
    CString const none;
    ICColumnFormatter columns(L"  ", INDENT, 0);
    for (TOTAL_TEXT const & text : TOTAL_TEXTS) {
        CString value;
        value.Format(L"%20s", ICNumberFormatter::mf_formatNumber(ICFileSize(totals.*text.total)).GetString());
        columns.mf_addString(ICString(text.label), value, none);
    }
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    columns.mf_addString(ICString(IDS_HSMSCAN_TOTAL_FINISHED), ICNumberFormatter::mf_formatDateTime(&now, L" "), none);
    mf_implPrintHeading(IDS_HSMSCAN_HEADING_TOTALS);
    ICConsole::mf_printLine(columns.mf_getString());

    auto const largest = totals.mf_getLargest();
    if (largest.empty()) return;
    mf_implPrintHeading(IDS_HSMSCAN_HEADING_LARGEST);
    for (ICScanTotals::LARGE_FILE const & file : largest) {
        CString size, sizeOnDisk;
        size.Format(L"%16s", ICNumberFormatter::mf_formatNumber(ICFileSize(file.size)).GetString());
        sizeOnDisk.Format(L"%16s", ICNumberFormatter::mf_formatNumber(ICFileSize(file.sizeOnDisk)).GetString());
        ICConsole::mf_printLine(
            ICString(IDS_HSMSCAN_LARGEST_LINE, size.GetString(), sizeOnDisk.GetString(), file.path.GetString()));
    }
}

void ICScanReport::mf_implPrintHeading(unsigned int resourceId)
{
    ICConsole::mf_printLine(CString());
    ICConsole::mf_printLine(ICString(resourceId));
}
