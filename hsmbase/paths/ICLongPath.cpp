#include "hsmbase/paths/ICLongPath.h"

#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"

CString ICLongPath::mf_addLongPathUNCPrefix(CString const & path)
{
    if (path.IsEmpty() || f_beginsWith(path, LONG_PREFIX) || !ICPath::mf_isAbsolutePathName(path)) return path;
    if (ICPath::mf_isUNCPathName(path)) return LONG_UNC_PREFIX.text + path.Mid(UNC_PREFIX.length);
    return LONG_PREFIX.text + path;
}

CString ICLongPath::mf_removeLongPathUNCPrefix(CString const & path)
{
    if (f_beginsWith(path, LONG_UNC_PREFIX)) return UNC_PREFIX.text + path.Mid(LONG_UNC_PREFIX.length);
    if (!f_beginsWith(path, LONG_PREFIX) || f_beginsWith(path, GLOBAL_ROOT_PREFIX)) return path;
    return path.Mid(LONG_PREFIX.length);
}
