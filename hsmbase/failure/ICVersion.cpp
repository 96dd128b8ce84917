#include "hsmbase/failure/ICVersion.h"

#include <cwchar>

CString ICVersion::mf_VersionNumberToVersionString(ulong version)
{
    CString text;
    text.Format(L"%d.%d.%d.%d", version / 10000, version / 1000 - (version / 10000) * 10,
                version / 100 - (version / 1000) * 10, version % 100);
    return text;
}

ulong ICVersion::mf_VersionStringToVersionNumber(CString const & version)
{
    ulong number = 0;
    ulong weight = 10000;
    int position = 0;
    for (CString part = version.Tokenize(L".", position); position >= 0; part = version.Tokenize(L".", position)) {
        number += static_cast<ulong>(::_wtoi(part)) * weight;
        weight /= 10;
    }
    return number;
}
