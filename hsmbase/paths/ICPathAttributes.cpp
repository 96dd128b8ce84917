// Attributes of files, and what else a look at a file tells.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/paths/internal/ICFindHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "hsmbase/paths/internal/PathStep.h"

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

void ICPath::mf_addAttributes(CString const & path, ulong attributes)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_addAttributes";

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    ulong const present = ::GetFileAttributesW(longPath);
    if (present == INVALID_FILE_ATTRIBUTES) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting file attributes for '%s': %s", path, failure.mf_toString());
    }
    ::SetLastError(0);
    if (!::SetFileAttributesW(longPath, present | attributes)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        // Deliberate: it says "Ignored", and is thrown.
        throw ICTrace(_sFunction_)
            .mf_failed(failure,
                       L"Failure setting file attributes for '%s': %s\r\n%sIgnored, attribute(s) 0x%8.8x not set", path,
                       failure.mf_toString(), ICLog::TAB, attributes);
    }
}

void ICPath::mf_removeAttributes(CString const & path, ulong attributes)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_removeAttributes";

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    ulong present = ::GetFileAttributesW(longPath);
    if (present == INVALID_FILE_ATTRIBUTES) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        // Setting them tells whether it mattered.
        ICTrace(_sFunction_)
            .mf_error(L"Failure getting file attributes for '%s': %s\r\n"
                      L"%sIgnored, assuming no attributes (0x00000000)",
                      path, failure.mf_toString(), ICLog::TAB);
        present = 0;
    }
    ::SetLastError(0);
    if (!::SetFileAttributesW(longPath, present & ~attributes)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        // Deliberate: it says "getting", "Ignored" and these two attributes, whatever they are, and is thrown. Taking
        // off these two is what the operation is for.
        throw ICTrace(_sFunction_)
            .mf_failed(failure,
                       L"Failure getting file attributes for '%s': %s\r\n"
                       L"%sIgnored, FILE_ATTRIBUTE_SPARSE_FILE and FILE_ATTRIBUTE_OFFLINE not set",
                       path, failure.mf_toString(), ICLog::TAB);
    }
}

CString ICPath::mf_getAttributesString(ulong attributes, CString const & separator)
{
    struct ATTRIBUTE_NAME
    {
        ulong bit;
        wchar_t const * name;
    };
    static constexpr ATTRIBUTE_NAME NAMES[] = {{FILE_ATTRIBUTE_READONLY, L"READONLY"},
                                               {FILE_ATTRIBUTE_HIDDEN, L"HIDDEN"},
                                               {FILE_ATTRIBUTE_SYSTEM, L"SYSTEM"},
                                               {FILE_ATTRIBUTE_DIRECTORY, L"DIRECTORY"},
                                               {FILE_ATTRIBUTE_ARCHIVE, L"ARCHIVE"},
                                               {FILE_ATTRIBUTE_DEVICE, L"DEVICE"},
                                               {FILE_ATTRIBUTE_NORMAL, L"NORMAL"},
                                               {FILE_ATTRIBUTE_TEMPORARY, L"TEMPORARY"},
                                               {FILE_ATTRIBUTE_SPARSE_FILE, L"SPARSE_FILE"},
                                               {FILE_ATTRIBUTE_REPARSE_POINT, L"REPARSE_POINT"},
                                               {FILE_ATTRIBUTE_COMPRESSED, L"COMPRESSED"},
                                               {FILE_ATTRIBUTE_OFFLINE, L"OFFLINE"},
                                               {FILE_ATTRIBUTE_NOT_CONTENT_INDEXED, L"NOT_CONTENT_INDEXED"},
                                               {FILE_ATTRIBUTE_ENCRYPTED, L"ENCRYPTED"},
                                               {FILE_ATTRIBUTE_VIRTUAL, L"VIRTUAL"}};

    CString names;
    for (ATTRIBUTE_NAME const & attribute : NAMES) {
        if (!(attributes & attribute.bit)) continue;
        if (!names.IsEmpty()) names += separator;
        names += attribute.name;
    }
    return names;
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

    WIN32_FILE_ATTRIBUTE_DATA data = {};
    f_step(
        _sFunction_, [&] { mf_getW32FileAttributes(path, data); }, L"Failure querying file size for '%s':\r\n%s%s",
        path, ICLog::TAB);
    return ICFileSize(data.nFileSizeLow, data.nFileSizeHigh);
}

ICFileSize ICPath::mf_getCompressedSize(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getCompressedSize";

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ulong high = 0;
    ::SetLastError(0);
    ulong const low = ::GetCompressedFileSizeW(longPath, &high);
    // No value of the low half alone means a failure.
    if (::GetLastError() == ERROR_SUCCESS) return ICFileSize(low, high);

    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Failure querying compressed file size for file '%s':\r\n%s%s", path, ICLog::TAB,
                   failure.mf_toString());
}

void ICPath::mf_getW32FindData(CString const & path, _WIN32_FIND_DATAW & data)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getW32FindData";

    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty path");
    CString const name = ICLongPath::mf_addLongPathUNCPrefix(path).TrimRight(L'\\');
    data = WIN32_FIND_DATAW();
    ::SetLastError(0);
    ICFindHandle search(::FindFirstFileExW(name, FindExInfoStandard, &data, FindExSearchNameMatch, nullptr, 0));
    if (!search.mf_isOpen()) {
        ulong const systemError = ::GetLastError();
        ICErrno const failure(
            f_isMissingOrMisnamed(systemError) ? ICErrno::_E_::FileNotFound : ICErrno::_E_::FileAccess, systemError);
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, failure, L"Failure searching file '%s':\r\n%s", path,
                         failure.mf_toString());
    }
    ::SetLastError(0);
    if (!search.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure closing FindFile handle for globber '%s':\r\n%s", path,
                       failure.mf_toString());
    }
}
