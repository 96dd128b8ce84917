// What is done with path texts alone, without asking the system.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"

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

    int const length = path.GetLength();
    bool const endsInDelimiter = path[length - 1] == L'\\';
    bool const beginsWithDelimiter = component[0] == L'\\';
    if (endsInDelimiter && beginsWithDelimiter) return path.Left(length - 1) + component;
    if (endsInDelimiter || beginsWithDelimiter) return path + component;
    return path + L'\\' + component;
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
