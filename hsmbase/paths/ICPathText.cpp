// What is done with path texts alone, without asking the system.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"
#include "hsmbase/paths/internal/PathTexts.h"

int ICPath::mf_compare(CString const & first, CString const & second, int caseSensitive)
{
    return caseSensitive ? first.Compare(second) : first.CompareNoCase(second);
}

int ICPath::mf_isNTFSPathName(CString const & path)
{
    return path.Find(L':') == 1;
}

int ICPath::mf_isUNCPathName(CString const & path)
{
    return f_beginsWith(path, UNC_PREFIX) && path[UNC_PREFIX.length] != L'?';
}

int ICPath::mf_isDriverPathName(CString const & path)
{
    return f_beginsWith(path, DRIVER_PREFIX);
}

int ICPath::mf_isShadowCopyPathName(CString const & path)
{
    return f_beginsWith(path, SHADOW_COPY_PREFIX);
}

int ICPath::mf_isAbsolutePathName(CString const & path)
{
    return mf_isNTFSPathName(path) || mf_isUNCPathName(path) || mf_isDriverPathName(path) ||
           mf_isShadowCopyPathName(path);
}

int ICPath::mf_isRootDirectory(CString const & directory)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_isRootDirectory";

    int const length = directory.GetLength();
    if (length < 3)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Directory name too short: '%s'", directory);
    if (mf_isNTFSPathName(directory)) return length == 3;
    // Deliberate: what fits "\\HOST\C$\" fits "\\HOST\abc", too, and no root of a share with a longer name.
    if (mf_isUNCPathName(directory)) return directory.Find(L'\\', UNC_PREFIX.length) + 4 == length;
    if (mf_isDriverPathName(directory)) return directory.Find(L'\\') == length - 1;
    if (mf_isShadowCopyPathName(directory)) return directory.Find(L'\\', SHADOW_COPY_DIGITS) == length - 1;
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::Path, L"Directory '%s' is no NTFS, UNC, driver, or shadow copy path", directory);
}

int ICPath::mf_isTooLongName(CString const & path)
{
    return !f_tooLongElement(f_viewOf(path)).empty();
}

int ICPath::mf_isSubDirectory(CString const & parent, CString const & child)
{
    CString const upper = mf_normalizeDirectory(parent);
    CString const lower = mf_normalizeDirectory(child);
    int const length = upper.GetLength();
    return lower.GetLength() >= length && ::_wcsnicmp(upper, lower, static_cast<std::size_t>(length)) == 0;
}

CString ICPath::mf_normalizeDirectory(CString const & directory)
{
    // The index of an empty text is refused by the string: there is no directory to normalise.
    if (directory[directory.GetLength() - 1] == L'\\') return directory;
    return directory + L'\\';
}

CString ICPath::mf_appendComponent(CString const & path, CString const & component)
{
    if (component.IsEmpty()) return path;
    if (path.IsEmpty()) return component;

    std::wstring_view head = f_viewOf(path);
    bool const endsInDelimiter = head.ends_with(L'\\');
    bool const beginsWithDelimiter = component[0] == L'\\';
    if (endsInDelimiter && beginsWithDelimiter) head.remove_suffix(1);
    return f_join({head, endsInDelimiter || beginsWithDelimiter ? L"" : L"\\", f_viewOf(component)});
}

CString ICPath::mf_appendDirectory(CString const & path, CString const & directory)
{
    return mf_normalizeDirectory(mf_appendComponent(path, directory));
}

CString ICPath::mf_appendFile(CString const & directory, CString const & file)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_appendFile";

    if (file.IsEmpty()) return directory;
    if (file[0] == L'\\')
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter,
                       L"File or directory parameter starts with path delimiter '\\':\r\n%sDirectory='%s', file='%s'",
                       ICLog::TAB, directory, file);
    return mf_appendComponent(directory, file);
}

CString ICPath::mf_removeComponent(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_removeComponent";

    if (path.IsEmpty()) return path;
    std::wstring_view rest = f_viewOf(path);
    if (rest.ends_with(L'\\')) rest.remove_suffix(1);
    std::size_t const delimiter = rest.rfind(L'\\');
    if (delimiter == rest.npos) {
        ICTrace(_sFunction_).mf_error(L"Path parameter '%s' has no path component to remove", path);
        return CString();
    }
    return f_textOf(rest.substr(0, delimiter + 1));
}

CString ICPath::mf_getFilePart(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getFilePart";

    if (path.IsEmpty()) {
        ICTrace(_sFunction_).mf_error(L"Empty file path");
        return path;
    }
    int const delimiter = path.ReverseFind(L'\\');
    if (delimiter == path.GetLength() - 1)
        ICTrace(_sFunction_).mf_error(L"Parameter '%s' is not a file path but a directory", path);
    return path.Mid(delimiter + 1);
}

CString ICPath::mf_getLocationPart(CString const & path)
{
    return path.Left(path.ReverseFind(L'\\') + 1);
}

CString ICPath::mf_getFileBaseName(CString const & path)
{
    CString const file = mf_getFilePart(path);
    int const dot = file.ReverseFind(L'.');
    return dot > 0 ? file.Left(dot) : file;
}

CString ICPath::mf_getFileTypeName(CString const & path)
{
    // Deliberate: a dot in a directory's name counts, too.
    int const dot = path.ReverseFind(L'.');
    return dot < 0 ? CString() : path.Mid(dot + 1).MakeLower();
}

CString ICPath::mf_getRelativePath(CString const & path)
{
    // Deliberate: the tag is not the operation's own name.
    static wchar_t const _sFunction_[] = L"ICController::mf_getRelativePath";

    CString const shortPath = ICLongPath::mf_removeLongPathUNCPrefix(path);
    if (mf_isUNCPathName(shortPath)) {
        int const serverEnd = shortPath.Find(L'\\', UNC_PREFIX.length);
        if (serverEnd < 0)
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Path, L"Could not find delimiter 1 '\\' in UNC path '%s'", shortPath);
        int const shareEnd = shortPath.Find(L'\\', serverEnd + 1);
        if (shareEnd < 0)
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Path, L"Could not find delimiter '\\' in UNC path '%s'", shortPath);
        return shortPath.Mid(shareEnd + 1);
    }
    if (mf_isNTFSPathName(shortPath)) return shortPath.Mid(3);
    ICTrace(_sFunction_).mf_error(L"Path parameter '%s' is not a UNC path nor a WIN path", path);
    return path;
}
