// Directories: making and removing them, one or many.
#include <cwchar>
#include <memory>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"
#include "hsmbase/paths/internal/PathStep.h"
#include "hsmbase/paths/internal/PathTexts.h"

void ICPath::mf_mkdir(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_mkdir";

    // Deliberate: asked for what it leaves in the trace; a directory that is there already is the system's failure.
    f_step(
        _sFunction_, [&] { mf_exists(path); }, L"Failure checking existence of '%s'\r\n%s%s", path, ICLog::TAB);
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

    auto const makeMissing = [&] {
        bool made = false;
        for (wchar_t * end = walked.get() + start; (end = std::wcschr(end, L'\\')) != nullptr; ++end) {
            *end = L'\0';
            made |= f_makeIfMissing(walked.get());
            *end = L'\\';
        }
        made |= f_makeIfMissing(walked.get());
        return made;
    };
    if (f_step(_sFunction_, makeMissing, L"Failure creating path '%s':\r\n%s%s", path, ICLog::TAB))
        ICTrace(_sFunction_).mf_trace(L"Created path='%s'", path);
}

void ICPath::mf_rmdir(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rmdir";

    if (!f_step(
            _sFunction_, [&] { return mf_exists(path); }, L"Failure checking whether '%s' exists\r\n%s%s", path,
            ICLog::TAB)) {
        ICTrace(_sFunction_).mf_warning(L"Path '%s' does not exist", path);
        return;
    }
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ::SetLastError(0);
    if (!::RemoveDirectoryW(longPath)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileOpen);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure deleting directory '%s':\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
    }
}

// What is neither a directory nor, when asked again, a file is left: it changed in between.
static void f_removeEntry(CString const & root, CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rmdirs";

    // Deliberate: by this attribute alone, so what a link leads to is removed as well.
    if (f_step(
            _sFunction_, [&] { return ICPath::mf_isDirectory(path); },
            L"Failure checking whether '%s' is a directory\r\n%s%s", path, ICLog::TAB)) {
        f_step(
            _sFunction_, [&] { ICPath::mf_rmdirs(path); },
            L"Failure in recursive call to mf_rmdirs\r\n%sroot path: '%s'\r\n%ssub path: '%s'\r\n%s%s", ICLog::TAB,
            root, ICLog::TAB, path, ICLog::TAB);
        return;
    }
    if (f_step(
            _sFunction_, [&] { return ICPath::mf_isFile(path); }, L"Failure checking whether '%s' is a file\r\n%s%s",
            path, ICLog::TAB))
        f_step(
            _sFunction_, [&] { ICPath::mf_rm(path, 1); }, L"Failure removing file '%s'\r\n%s%s", path, ICLog::TAB);
}

void ICPath::mf_rmdirs(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rmdirs";

    if (!f_step(
            _sFunction_, [&] { return mf_isDirectory(path); }, L"Error checking whether '%s' is a directory\r\n%s%s",
            path, ICLog::TAB))
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Internal, L"The path '%s' is not a directory", path);

    ICArray<CString, CString &> names;
    f_step(
        _sFunction_, [&] { mf_listContent(path, names); }, L"Failure listing contents of directory '%s'\r\n%s%s", path,
        ICLog::TAB);
    for (INT_PTR index = 0; index < names.GetCount(); ++index) {
        CString const & name = names[index];
        ICTrace(_sFunction_).mf_debug(L"aList[i] = '%s'", name);
        if (name != L"." && name != L"..") f_removeEntry(path, mf_appendComponent(path, name));
    }
    f_step(
        _sFunction_, [&] { mf_rmdir(path); }, L"Failure removing directory '%s'\r\n%s%s", path, ICLog::TAB);
}
