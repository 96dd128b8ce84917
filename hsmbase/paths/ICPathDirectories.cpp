// Directories: making them, one or many.
#include <cwchar>
#include <memory>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"
#include "hsmbase/paths/internal/PathTexts.h"

void ICPath::mf_mkdir(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_mkdir";

    try {
        // Deliberate: asked for what it leaves in the trace; a directory that is there already is the system's failure.
        mf_exists(path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure checking existence of '%s'\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
    }
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    if (!::CreateDirectoryW(longPath, nullptr)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileOpen);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating directory '%s':\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
    }
}

static void f_refuseLongElement(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_mkdirs";

    CString const element = f_textOf(f_tooLongElement(f_viewOf(path)));
    if (element.IsEmpty()) return;
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::Parameter,
                   L"While creating dirs:\r\n%s%s\r\n%sthe element path '%s' of %lu chars is too long\r\n"
                   L"%smax length: %lu",
                   ICLog::TAB, path, ICLog::TAB, element, element.GetLength(), ICLog::TAB, MAXIMUM_ELEMENT);
}

// Where the names of directories begin that can be made: behind the drive, or behind server and share. -1: nowhere, for
// a UNC path that doesn't have both.
static int f_startOfDirectories(CString const & path)
{
    int const length = path.GetLength();
    if (length <= 2) return 0;
    if (f_beginsWith(path, UNC_PREFIX)) {
        int const server = UNC_PREFIX.length;
        int const share = path.Find(L'\\', server) + 1;
        if (share <= server + 1 || share == length || path[share] == L'\\') return -1;
        int const end = path.Find(L'\\', share);
        return end < 0 ? length : end + 1;
    }
    if (path[0] == L'\\') return 1;
    return path[1] == L':' ? 3 : 0;
}

static bool f_makeIfMissing(CString const & directory)
{
    if (ICPath::mf_exists(directory)) return false;
    ICPath::mf_mkdir(directory);
    return true;
}

void ICPath::mf_mkdirs(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_mkdirs";

    f_refuseLongElement(path);
    if (mf_exists(path)) {
        ICTrace(_sFunction_).mf_warning(L"Path '%s' already exists", path);
        return;
    }
    std::size_t const characters = static_cast<std::size_t>(path.GetLength()) + 1;
    std::unique_ptr<wchar_t[]> const walked = f_newText(characters);
    if (!walked)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory, L"Failure allocating %lu bytes of memory",
                       static_cast<ulong>(characters * sizeof(wchar_t)));
    std::wmemcpy(walked.get(), path, characters);
    int const start = f_startOfDirectories(path);
    if (start < 0) return;

    try {
        bool made = false;
        for (wchar_t * end = walked.get() + start; (end = std::wcschr(end, L'\\')) != nullptr; ++end) {
            *end = L'\0';
            made |= f_makeIfMissing(walked.get());
            *end = L'\\';
        }
        made |= f_makeIfMissing(walked.get());
        if (made) ICTrace(_sFunction_).mf_trace(L"Created path='%s'", path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating path '%s':\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
    }
}
