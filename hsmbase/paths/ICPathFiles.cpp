// Files and directories as a whole: whether they are there, copying, moving, removing.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"

int ICPath::mf_exists(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_exists";

    if (path.IsEmpty()) {
        ICTrace(_sFunction_).mf_warning(L"Empty path argument");
        return 0;
    }
    try {
        mf_getAttributes(path, 0);
        return 1;
    }
    catch (ICErrno & failure) {
        // What can't be looked at counts as not there.
        if (!failure.mf_isErrno(ICErrno::_E_::FileNotFound))
            ICTrace(_sFunction_)
                .mf_warning(L"Failure getting file attributes for file '%s':\r\n%s%s\r\n"
                            L"%sAssuming path or file does not exist...",
                            path, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
        return 0;
    }
}
