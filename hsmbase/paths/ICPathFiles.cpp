// Files and directories as a whole: whether they are there, moving, removing.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
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

int ICPath::mf_move(CString const & source, CString const & target, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_move";

    if (source.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Source file is empty");
    bool const goesInto = mf_exists(target) && mf_isDirectory(target);
    CString const realTarget = goesInto ? mf_appendComponent(target, mf_getFilePart(source)) : target;
    if (mf_exists(realTarget)) mf_implClearTarget(source, realTarget, force);

    CString const longSource = ICLongPath::mf_addLongPathUNCPrefix(source);
    CString const longTarget = ICLongPath::mf_addLongPathUNCPrefix(realTarget);
    ::SetLastError(0);
    if (!::MoveFileExW(longSource, longTarget, 0)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileMove);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure moving file:\r\n%s%s\r\n%s'%s' -> '%s'", ICLog::TAB, failure.mf_toString(),
                       ICLog::TAB, source, realTarget);
    }
    ICTrace(_sFunction_).mf_debug(L"Moved '%s'\r\n%s   -> '%s'", source, ICLog::TAB, realTarget);
    return 1;
}

void ICPath::mf_implClearTarget(CString const & source, CString const & target, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_move";

    if (!force)
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_E_::FileExists,
                         L"Target file '%s' exists and has not been deleted (force inactive)", target);
    try {
        mf_rm(target, 1);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure,
                       L"While moving file, failure removing old target file\r\n"
                       L"%sfile to move: '%s'\r\n%sold target file: '%s'\r\n%s%s",
                       ICLog::TAB, source, ICLog::TAB, target, ICLog::TAB, failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_trace(L"Existing target file '%s' deleted (force active)", target);
}

int ICPath::mf_rm(CString const & path, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rm::1";

    ulong attributes = 0;
    try {
        if (force) attributes = mf_getAttributes(path, 1);
        if (mf_isReadonly(attributes)) mf_setAttributes(path, attributes & ~ulong{FILE_ATTRIBUTE_READONLY});
    }
    catch (ICErrno & failure) {
        // The deletion tells whether it mattered.
        ICTrace(_sFunction_)
            .mf_error(L"Failure reading / clearing read-attributes for file '%s':\r\n%s%s", path, ICLog::TAB,
                      failure.mf_toString());
    }

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    if (::DeleteFileW(longPath)) {
        ICTrace(_sFunction_).mf_trace(L"Successfully deleted file '%s'", path);
        return 1;
    }
    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
    ICTrace(_sFunction_).mf_warning(L"Failure deleting file '%s':\r\n%s", path, failure.mf_toString());
    if (force) mf_implRecoverAttributes(path, attributes);
    throw failure;
}

void ICPath::mf_implRecoverAttributes(CString const & path, ulong attributes)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rm::1";

    try {
        // Deliberate: whatever they are, also the 0 of attributes that could not be read.
        mf_setAttributes(path, attributes);
        ICTrace(_sFunction_).mf_debug(L"Recovered file attributes 0x%8.8x for file '%s'", attributes, path);
    }
    catch (ICErrno & failure) {
        // The caller is to learn of the deletion's failure.
        ICTrace(_sFunction_)
            .mf_error(L"Failure recovering attributes 0x%8.8x for file '%s':\r\n%s%s", attributes, path, ICLog::TAB,
                      failure.mf_toString());
    }
}
