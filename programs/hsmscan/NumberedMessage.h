#pragma once

#include "hsmbase/failure/ICErrno.h"

// The failure with a message of the program's own: its number, and the resource of its text, which those of its other
// texts follow. The path is the insert of the text.
inline ICErrno f_withMessage(ICErrno const & failure, wchar_t const * number, unsigned int textId, CString const & path)
{
    ICErrnoData data = failure.mf_getErrnoData();
    ICErrnoData::mf_setMessage(data, number, textId, textId + 1, textId + 2, textId + 3, path.GetString());
    return ICErrno(data);
}
