#include "programs/hsmscan/ICMessageReport.h"

#include <algorithm>

#include "hsmbase/context/ICColumnFormatter.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "languages/ResourceIds.h"
#include "programs/catalog/ICMessageCatalog.h"
#include "programs/hsmscan/ICConsole.h"
#include "programs/hsmscan/ICTextLayout.h"

namespace
{

using MESSAGE = ICMessageCatalog::MESSAGE;
using ERROR_CONSTANT = ICMessageCatalog::ERROR_CONSTANT;

struct DETAIL
{
    unsigned int labelId;
    unsigned int (MESSAGE::*mf_getTextId)() const;
};

constexpr DETAIL DETAILS[] = {
    {IDS_LABEL_EXPLANATION, &MESSAGE::mf_getExplanationId},
    {IDS_LABEL_SYSTEM_ACTION, &MESSAGE::mf_getSystemActionId},
    {IDS_LABEL_USER_RESPONSE, &MESSAGE::mf_getUserResponseId},
};

CString f_label(DETAIL const & detail)
{
    return ICString(detail.labelId, L"", L"");
}

// As it stands on a console when it is raised.
void f_printMessage(MESSAGE const & message)
{
    CString const none;
    CString const insert = L"<" + CString(ICString(message.insertId)) + L">";
    CString const text = CString(message.number) + L": " + CString(ICString(message.textId, insert.GetString()));
    ICConsole::mf_printLine(ICTextLayout::mf_wrap(text, none, none));

    int width = 0;
    for (DETAIL const & detail : DETAILS)
        width = std::max(width, ICTextLayout::mf_getWidth(f_label(detail)));
    CString const continuation(L' ', width);
    for (DETAIL const & detail : DETAILS)
        ICConsole::mf_printLine(ICTextLayout::mf_wrap(ICString((message.*detail.mf_getTextId)()),
                                                      ICTextLayout::mf_pad(f_label(detail), width), continuation));
}

void f_printError(ERROR_CONSTANT const & constant)
{
    CString const none;
    ICMessageCatalog::SEVERITY const & severity = ICMessageCatalog::mf_getSeverity(constant);
    ICColumnFormatter columns(L"  ", L"", 0);
    columns.mf_addHex32(ICString(IDS_CATALOG_NUMBER), constant.number, none);
    columns.mf_addString(ICString(IDS_CATALOG_NAME), severity.scope + CString(constant.name), none);
    columns.mf_addString(ICString(IDS_CATALOG_SEVERITY), ICString(severity.textId), none);
    columns.mf_addString(ICString(IDS_CATALOG_TEXT), ICString(constant.textId), none);
    ICConsole::mf_printLine(columns.mf_getString());
}

bool f_print(CString const & number, bool isFirst)
{
    MESSAGE const * const message = ICMessageCatalog::mf_findMessage(number);
    ERROR_CONSTANT const * const constant = ICMessageCatalog::mf_findError(number);
    bool const isKnown = message != nullptr || constant != nullptr;
    if (isKnown && !isFirst) ICConsole::mf_printLine(CString());
    if (message != nullptr) f_printMessage(*message);
    if (constant != nullptr) f_printError(*constant);
    if (!isKnown) ICConsole::mf_printError(ICString(IDS_HSMSCAN_MESSAGE_UNKNOWN, number.GetString()));
    return isKnown;
}

} // namespace

ICErrnoNumber ICMessageReport::mf_print(std::vector<CString> const & numbers)
{
    ICErrnoNumber worst;
    bool isFirst = true;
    for (CString const & number : numbers) {
        if (f_print(number, isFirst))
            isFirst = false;
        else
            worst.mf_update(ICErrno::_E_::UserInput);
    }
    return worst;
}
