// Putting the parts together again. Each directory form has room for the file, so that a path form takes one
// allocation.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"
#include "hsmbase/paths/internal/PathTexts.h"
#include "hsmbase/volumes/ICVolume.h"

static std::wstring_view f_orRoot(CString const & directory)
{
    return directory.IsEmpty() ? L"\\" : f_viewOf(directory);
}

CString ICPath::mf_getShadowCopyDirectory() const
{
    return f_join({f_viewOf(m_szVolume), f_orRoot(m_szDirectory)}, m_szFile.GetLength());
}

CString ICPath::mf_getShadowCopyPath() const
{
    return mf_getShadowCopyDirectory() + m_szFile;
}

CString ICPath::mf_getNTFSDirectory() const
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getNTFSDirectory";

    if (mf_isLocal()) return f_join({f_viewOf(m_szVolume), f_orRoot(m_szDirectory)}, m_szFile.GetLength());
    ICTrace(_sFunction_)
        .mf_warning(L"Path %s\r\n%sis not a local NTFS path (local shares are not considered)\r\n"
                    L"%sReturning UNC path ...",
                    mf_toString(), ICLog::TAB, ICLog::TAB);
    return mf_getUNCDirectory();
}

CString ICPath::mf_getNTFSPath() const
{
    return mf_getNTFSDirectory() + m_szFile;
}

CString ICPath::mf_getUNCDirectory() const
{
    if (mf_isShadowCopy()) return mf_getShadowCopyDirectory();
    CString form = f_join({UNC_PREFIX.text, f_viewOf(m_szServer), L"\\", f_viewOf(m_szVolume), f_orRoot(m_szDirectory)},
                          m_szFile.GetLength());
    if (mf_implIsDriveLetterVolume()) form.SetAt(m_szServer.GetLength() + 4, L'$');
    return form;
}

CString ICPath::mf_getUNCPath() const
{
    return mf_getUNCDirectory() + m_szFile;
}

CString ICPath::mf_getDirectory() const
{
    if (!mf_isLocal()) return mf_getUNCDirectory();
    return mf_isShadowCopy() ? mf_getShadowCopyDirectory() : mf_getNTFSDirectory();
}

CString ICPath::mf_getPath() const
{
    return mf_getDirectory() + m_szFile;
}

CString ICPath::mf_getDriverDirectory() const
{
    return ICVolume::mf_getIdPath(mf_getNTFSDirectory()).Mid(LONG_PREFIX.length);
}

CString ICPath::mf_getDriverPath() const
{
    return ICVolume::mf_getIdPath(mf_getNTFSPath()).Mid(LONG_PREFIX.length);
}
