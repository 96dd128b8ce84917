#include <algorithm>

#include "hsmbase/context/ICFormatter.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICFileTime.h"

// The three renderings of a failure: for the log, for a console, for a dialog.

namespace
{

constexpr unsigned int RESOURCE_ORIGINATOR_LABEL = 4060;
constexpr unsigned int RESOURCE_ORIGINATOR_TEXT = 4057;
constexpr ulong CONSOLE_WIDTH = 79;
constexpr int BAR_WIDTH = 78;

// One of the three texts that may follow a message.
struct DETAIL
{
    unsigned int labelId;
    int (ICErrnoData::*mf_isPresent)() const;
    wchar_t const * (ICErrnoData::*mf_getText)() const;
};

constexpr DETAIL DETAILS[] = {
    {3511, &ICErrnoData::mf_hasExplanation, &ICErrnoData::mf_getExplanation},
    {4422, &ICErrnoData::mf_hasSystemAction, &ICErrnoData::mf_getSystemAction},
    {4522, &ICErrnoData::mf_hasUserResponse, &ICErrnoData::mf_getUserResponse},
};

bool f_hasDetails(ICErrnoData const & data)
{
    return std::any_of(std::begin(DETAILS), std::end(DETAILS),
                       [&data](DETAIL const & detail) { return (data.*detail.mf_isPresent)() != 0; });
}

// The labels take two inserts, which other displays use for emphasis.
CString f_detailLabel(DETAIL const & detail)
{
    return ICString(detail.labelId, L"", L"");
}

CString f_originatorLabel()
{
    return ICString(RESOURCE_ORIGINATOR_LABEL);
}

CString f_originatorText(ICErrnoData const & data, CString const & name)
{
    if (data.mf_getOriginatorId() == ICErrnoData::HSM_INTERNAL) return name;
    return ICString(RESOURCE_ORIGINATOR_TEXT, name.GetString(), data.mf_getOriginatorErrno(),
                    data.mf_getOriginatorMessage());
}

CString f_creationTime(ICErrnoData const & data)
{
    return ICFileTime(data.mf_getCreationTime()).mf_toLogString();
}

// Deliberate: a record without a number shows another placeholder to users than in the log.
wchar_t const * f_shownNumber(ICErrnoData const & data)
{
    return data.mf_hasKVRNumber() ? data.mf_getKVRNumber() : L"KVR?????X";
}

CString f_numberedText(ICErrnoData const & data)
{
    CString text;
    text.Format(L"%s: %s", f_shownNumber(data), data.mf_getMessageText());
    return text;
}

CString f_padded(CString const & label, int width)
{
    CString padded(label);
    padded.Append(CString(L' ', std::max(0, width - label.GetLength())));
    return padded;
}

int f_labelWidth(ICErrnoData const & data)
{
    int width = data.mf_hasOriginator() ? f_originatorLabel().GetLength() : 0;
    for (DETAIL const & detail : DETAILS)
        if ((data.*detail.mf_isPresent)()) width = std::max(width, f_detailLabel(detail).GetLength());
    return width;
}

} // namespace

CString ICErrno::mf_implGetOriginatorName(ulong originatorId)
{
    static wchar_t const * const names[] = {L"System",       L"Rexbury",          L"Loopback",        L"Tarnwell",
                                            L"Morwick",      L"MessagePlus/Open", L"Xerces",          L"HSM driver",
                                            L"HSM internal", L"Backup",           L"User interaction"};
    return originatorId < std::size(names) ? names[originatorId] : L"<INVALID ORIGINATOR ID>";
}

CString ICErrno::mf_toString() const
{
    return m_data.mf_hasOriginator() ? mf_toLogMessage(m_data, L"    ") : m_data.mf_toString();
}

CString ICErrno::mf_toLogMessage(CString const & prefix) const
{
    return mf_toLogMessage(m_data, prefix);
}
CString ICErrno::mf_toConsoleMessage(CString const & prefix) const
{
    return mf_toConsoleMessage(m_data, prefix);
}
CString ICErrno::mf_toGuiMessage(CString const & prefix) const
{
    return mf_toGuiMessage(m_data, prefix);
}

CString ICErrno::mf_toLogMessage(ICErrnoData const & data, CString const & prefix)
{
    wchar_t const * const lead = prefix;
    CString log;
    log.Format(L"%sErrno-value:    %s", lead, data.mf_toString().GetString());
    if (!data.mf_hasOriginator()) {
        log.AppendFormat(L"\r\n%sOriginator:     <No originator information>", lead);
    } else {
        CString const name = mf_implGetOriginatorName(static_cast<ulong>(data.mf_getOriginatorId()));
        ulong const number = data.mf_getOriginatorErrno();
        if (data.mf_getOriginatorId() == ICErrnoData::HSM_INTERNAL)
            log.AppendFormat(L"\r\n%sOriginator:     %s", lead, name.GetString());
        else
            log.AppendFormat(L"\r\n%sOriginator:     %s, error code %luL (0x%8.8xL): %s", lead, name.GetString(),
                             number, number, data.mf_getOriginatorMessage());
    }
    if (data.mf_hasKVRNumber()) log.AppendFormat(L"\r\n%sMessage-number: %s", lead, data.mf_getKVRNumber());
    if (data.mf_hasMessageText()) log.AppendFormat(L"\r\n%sMessage-text:   %s", lead, data.mf_getMessageText());
    if (data.mf_hasExplanation()) log.AppendFormat(L"\r\n%sExplanation:    %s", lead, data.mf_getExplanation());
    if (data.mf_hasSystemAction()) log.AppendFormat(L"\r\n%sSystem action:  %s", lead, data.mf_getSystemAction());
    if (data.mf_hasUserResponse()) log.AppendFormat(L"\r\n%sUser response:  %s", lead, data.mf_getUserResponse());
    return log;
}

CString ICErrno::mf_toConsoleMessage(ICErrnoData const & data, CString const & prefix)
{
    CString const equalsBar = prefix + CString(L'=', BAR_WIDTH);
    CString const hyphenBar = prefix + CString(L'-', BAR_WIDTH) + L"\r\n";
    int const width = f_labelWidth(data);
    CString const continuation = prefix + CString(L' ', width);
    auto const labelled = [&](CString const & label, CString const & text) {
        return ICFormatter::mf_formatLines(text, prefix + f_padded(label, width), continuation, CONSOLE_WIDTH, 0) +
               L"\r\n";
    };

    CString console;
    console.Format(L"\r\n%s\r\n%s%s  %s\r\n%s\r\n", equalsBar.GetString(), prefix.GetString(),
                   f_creationTime(data).GetString(), data.mf_toString().GetString(), equalsBar.GetString());
    if (data.mf_hasMessageText())
        console +=
            ICFormatter::mf_formatLines(f_numberedText(data), prefix, prefix, CONSOLE_WIDTH, 0) + L"\r\n" + hyphenBar;
    if (data.mf_hasOriginator()) {
        CString const name = mf_implGetOriginatorName(static_cast<ulong>(data.mf_getOriginatorId()));
        console += labelled(f_originatorLabel(), f_originatorText(data, name)) + hyphenBar;
    }
    if (!f_hasDetails(data)) return console;
    for (DETAIL const & detail : DETAILS)
        if ((data.*detail.mf_isPresent)()) console += labelled(f_detailLabel(detail), (data.*detail.mf_getText)());
    return console + hyphenBar;
}

CString ICErrno::mf_toGuiMessage(ICErrnoData const & data, CString const & prefix)
{
    CString dialog;
    auto const addLabelled = [&](CString const & label, CString const & text) {
        dialog += L"\r\n\r\n" + prefix + label + ICFormatter::mf_formatLine(text);
    };
    dialog.Format(L"%s%s  %s\r\n\r\n", prefix.GetString(), f_creationTime(data).GetString(),
                  data.mf_toString().GetString());
    if (data.mf_hasMessageText())
        dialog +=
            ICFormatter::mf_formatLine(f_hasDetails(data) ? f_numberedText(data) : CString(data.mf_getMessageText()));
    if (data.mf_hasOriginator()) {
        CString const name = mf_implGetOriginatorName(static_cast<ulong>(data.mf_getOriginatorId()));
        addLabelled(f_originatorLabel(), f_originatorText(data, name));
    }
    if (f_hasDetails(data))
        for (DETAIL const & detail : DETAILS)
            addLabelled(f_detailLabel(detail), (data.*detail.mf_getText)());
    return dialog;
}
