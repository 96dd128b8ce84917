// Attributes, times and security of files.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"

// The errors by which the system says that there is no such path.
static bool f_isMissing(ulong systemError)
{
    return systemError == ERROR_FILE_NOT_FOUND || systemError == ERROR_PATH_NOT_FOUND ||
           systemError == ERROR_BAD_NETPATH || systemError == ERROR_INVALID_NAME;
}

ulong ICPath::mf_getAttributes(CString const & path, int traceFailure)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getAttributes";

    if (path.IsEmpty())
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Path parameter is empty string");

    // A drive without backslash would name the current directory of the drive, not its root.
    bool const isDrive = path[path.GetLength() - 1] == L':';
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(isDrive ? path + L'\\' : path);
    ::SetLastError(0);
    ulong const attributes = ::GetFileAttributesW(longPath);
    if (attributes != INVALID_FILE_ATTRIBUTES) return attributes;

    ulong const systemError = ::GetLastError();
    ICErrno const failure(f_isMissing(systemError) ? ICErrno::_E_::FileNotFound : ICErrno::_E_::FileAccess,
                          systemError);
    if (traceFailure == 0) throw failure;
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Failure getting file attributes for file '%s':\r\n%s%s", path, ICLog::TAB,
                   failure.mf_toString());
}
