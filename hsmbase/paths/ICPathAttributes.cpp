// Attributes, times and security of files.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"

// The errors by which the system says that there is no such path.
// Deliberate: which of them an operation takes for that differs, and callers rely on the lists as they are.
static bool f_isMissing(ulong systemError)
{
    return systemError == ERROR_FILE_NOT_FOUND || systemError == ERROR_PATH_NOT_FOUND;
}

static bool f_isMissingOrMisnamed(ulong systemError)
{
    return f_isMissing(systemError) || systemError == ERROR_INVALID_NAME;
}

static bool f_isMissingMisnamedOrOnNoServer(ulong systemError)
{
    return f_isMissingOrMisnamed(systemError) || systemError == ERROR_BAD_NETPATH;
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
    ICErrno const failure(f_isMissingMisnamedOrOnNoServer(systemError) ? ICErrno::_E_::FileNotFound
                                                                       : ICErrno::_E_::FileAccess,
                          systemError);
    if (traceFailure == 0) throw failure;
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Failure getting file attributes for file '%s':\r\n%s%s", path, ICLog::TAB,
                   failure.mf_toString());
}

void ICPath::mf_setAttributes(CString const & path, ulong attributes)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_setAttributes";

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    if (::SetFileAttributesW(longPath, attributes)) return;

    ulong const systemError = ::GetLastError();
    ICErrno const failure(f_isMissing(systemError) ? ICErrno::_E_::FileNotFound : ICErrno::_E_::FileAccess,
                          systemError);
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Failure setting file attributes for file\r\n%s'%s':\r\n%s", ICLog::TAB, path,
                   failure.mf_toString());
}

int ICPath::mf_isDirectory(ulong attributes)
{
    return static_cast<int>(attributes & FILE_ATTRIBUTE_DIRECTORY);
}

int ICPath::mf_isFile(ulong attributes)
{
    return (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

int ICPath::mf_isReadonly(ulong attributes)
{
    return static_cast<int>(attributes & FILE_ATTRIBUTE_READONLY);
}

// Those of a path that must be there; `function` tags the line.
static ulong f_getAttributes(wchar_t const * function, CString const & path)
{
    try {
        return ICPath::mf_getAttributes(path, 1);
    }
    catch (ICErrno & failure) {
        throw ICTrace(function).mf_failed(failure, L"Failure getting attributes for path '%s':\r\n%s%s", path,
                                          ICLog::TAB, failure.mf_toString());
    }
}

int ICPath::mf_isDirectory(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_isDirectory";

    return mf_isDirectory(f_getAttributes(_sFunction_, path));
}

int ICPath::mf_isFile(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_isFile";

    return mf_isFile(f_getAttributes(_sFunction_, path));
}

int ICPath::mf_isReadonly(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_isReadonly";

    return mf_isReadonly(f_getAttributes(_sFunction_, path));
}

void ICPath::mf_getW32FileAttributes(void * const file, _WIN32_FILE_ATTRIBUTE_DATA & data)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getW32FileAttributes::1";

    BY_HANDLE_FILE_INFORMATION information = {};
    ::SetLastError(0);
    if (!::GetFileInformationByHandle(file, &information)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting file information by handle:\r\n%s", failure.mf_toString());
    }
    data.dwFileAttributes = information.dwFileAttributes;
    data.ftCreationTime = information.ftCreationTime;
    data.ftLastAccessTime = information.ftLastAccessTime;
    data.ftLastWriteTime = information.ftLastWriteTime;
    data.nFileSizeHigh = information.nFileSizeHigh;
    data.nFileSizeLow = information.nFileSizeLow;
}

void ICPath::mf_getW32FileAttributes(CString const & path, _WIN32_FILE_ATTRIBUTE_DATA & data)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getW32FileAttributes::2";
    // A migrated file stays offline, and a link answers for itself.
    static constexpr ulong UNTOUCHED = FILE_FLAG_OPEN_NO_RECALL | FILE_FLAG_OPEN_REPARSE_POINT;

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ICFileHandle file;
    ::SetLastError(0);
    if (!f_open(file, longPath, FILE_READ_ATTRIBUTES, FILE_SHARE_READ, OPEN_EXISTING, UNTOUCHED)) {
        ulong const systemError = ::GetLastError();
        ICErrno const failure(f_isMissingOrMisnamed(systemError) ? ICErrno::_E_::FileNotFound : ICErrno::_E_::FileOpen,
                              systemError);
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, failure, L"Failure opening file '%s':\r\n%s", path, failure.mf_toString());
    }

    ICFirstFailure outcome(_sFunction_);
    outcome.mf_run([&] { mf_getW32FileAttributes(file.mf_get(), data); },
                   L"Failure getting w32 attributes for file '%s':\r\n%s", path);
    outcome.mf_close(file, ICErrno::_E_::FileClose, L"Failure closing file '%s':\r\n%s", path);
    outcome.mf_throw();
}

ICFileSize ICPath::mf_getSize(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getSize";

    try {
        WIN32_FILE_ATTRIBUTE_DATA data = {};
        mf_getW32FileAttributes(path, data);
        return ICFileSize(data.nFileSizeLow, data.nFileSizeHigh);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying file size for '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
}
