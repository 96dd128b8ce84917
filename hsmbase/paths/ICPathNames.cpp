// Names: the current and the temporary directory, and new names for files.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathStep.h"
#include "hsmbase/paths/internal/PlatformText.h"

CString ICPath::mf_getCurrentDirectory()
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getCurrentDirectory";

    return f_platformText(
        [](ulong length, wchar_t * buffer) { return ::GetCurrentDirectoryW(length, buffer); },
        [] {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
            return ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure retrieving buffer size from GetCurrentDirectory\r\n%serror: %s",
                           ICLog::TAB, failure.mf_toString());
        },
        [](ulong length) {
            return ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Memory,
                           L"Failure allocating memory for buffer of current directory name\r\n"
                           L"%sTCHARs to allocate: %lu",
                           ICLog::TAB, length);
        },
        [] {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
            return ICTrace(_sFunction_)
                .mf_failed(failure, L"Windows GetCurrentDirectory() failed with error: %s", failure.mf_toString());
        },
        [](ulong length, ulong copied) {
            return ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::BufferTooSmall,
                           L"Buffer too small (%lu chars, %lu chars) to hold current directory name", length, copied);
        });
}

CString ICPath::mf_getTempDirectory()
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getTempDirectory";

    return f_platformText(
        [](ulong length, wchar_t * buffer) { return ::GetTempPathW(length, buffer); },
        [] {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
            return ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure while retrieving buffer size from Windows GetTempPath():\r\n%s%s",
                           ICLog::TAB, failure.mf_toString());
        },
        [](ulong length) {
            return ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Memory,
                           L"Failure allocating memory for buffer of temp directory name\r\n"
                           L"%sTCHARs to allocate: %lu",
                           ICLog::TAB, length);
        },
        [] {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
            return ICTrace(_sFunction_)
                .mf_failed(failure, L"Windows GetTempPath() failed with error: %s", failure.mf_toString());
        },
        [](ulong length, ulong copied) {
            return ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::BufferTooSmall,
                           L"Buffer too small to hold temp directory name (%lu chars)\r\n"
                           L"%s%lu chars required instead",
                           length, ICLog::TAB, copied);
        });
}

CString ICPath::mf_getTempPath(CString const & prefix)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getTempPath";
    // A backslash, a name and its terminator.
    static constexpr std::size_t NAME_ROOM = 263;

    CString const directory = f_step(
        _sFunction_, [] { return mf_getTempDirectory(); }, L"Failure retrieving temp directory\r\n%s%s", ICLog::TAB);
    CString const longDirectory = ICLongPath::mf_addLongPathUNCPrefix(directory);
    std::size_t const characters =
        static_cast<std::size_t>(longDirectory.GetLength()) + static_cast<std::size_t>(prefix.GetLength()) + NAME_ROOM;
    std::unique_ptr<wchar_t[]> const path = f_newText(characters);
    if (!path)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory, L"Failure allocating %lu bytes of memory",
                       static_cast<ulong>(characters * sizeof(wchar_t)));
    ::SetLastError(0);
    if (!::GetTempFileNameW(longDirectory, prefix, 0, path.get())) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Windows GetTempFileName() failed with error: %s", failure.mf_toString());
    }
    return ICLongPath::mf_removeLongPathUNCPrefix(path.get());
}

CString ICPath::mf_getAsideTempPath(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getAsideTempPath";

    CString name;
    name.Format(L"%I64x.__ZOHLM__", ICFileTime::mf_getSystemTime().mf_getValue());
    CString const aside = mf_appendFile(mf_getLocationPart(path), name);
    ICTrace(_sFunction_).mf_debug(L"Temporary aside file path name: '%s'", aside);
    return aside;
}

static bool f_isDigit(wchar_t character)
{
    return character >= L'0' && character <= L'9';
}

CString ICPath::mf_createNextFileName(CString const & name)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_createNextFileName";

    int const dot = name.ReverseFind(L'.');
    if (dot < 0)
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_E_::Parameter,
                         L"No dot '.' found in file name '%s', cannot build next file name", name);

    // Deliberate: from right to left, so that a name that ends within a possible number meets the string's own check.
    bool const isNumbered = f_isDigit(name[dot - 1]) && f_isDigit(name[dot - 2]) && name[dot - 3] == L'-';
    CString const base = name.Left(isNumbered ? dot - 3 : dot);
    long const number = isNumbered ? 10 * (name[dot - 2] - L'0') + (name[dot - 1] - L'0') + 1 : 0;
    CString next;
    next.Format(L"%s-%2.2ld%s", base.GetString(), number, name.Mid(dot).GetString());
    ICTrace(_sFunction_).mf_debug(L"Created next file name: '%s' -> '%s'", name, next);
    return next;
}
