// Taking a path text apart.
#include <algorithm>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathPrefixes.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/volumes/ICVolume.h"

// Names of servers and volumes are plain as a rule, and then no locale has a say: asking it for each character would
// take as long as all the rest of parsing.
static CString f_upper(CString text)
{
    int const length = text.GetLength();
    wchar_t * const characters = text.GetBuffer();
    bool const isPlain =
        std::all_of(characters, characters + length, [](wchar_t character) { return character < 0x80; });
    if (!isPlain) return text.MakeUpper();
    std::transform(characters, characters + length, characters, [](wchar_t character) {
        return L'a' <= character && character <= L'z' ? static_cast<wchar_t>(character - (L'a' - L'A')) : character;
    });
    return text;
}

void ICPath::mf_initialize(CString const & text, int isFile)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_initialize";

    if (text.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty path parameter");
    // Also holds the text if it is a part of this very path.
    CString const path = ICLongPath::mf_removeLongPathUNCPrefix(text);
    if (mf_isUNCPathName(path))
        mf_implInitFromUNCPath(path, isFile);
    else
        mf_implInitFromPath(path, isFile);
    // A file such as "C:x" has left none.
    if (m_szDirectory.IsEmpty() || m_szDirectory[m_szDirectory.GetLength() - 1] != L'\\') m_szDirectory += L'\\';
}

// Where the directory begins: behind the drive, if there is one. Throws NotSupported for a relative path.
static int f_startOfDirectory(CString const & text)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implInitFromPath";

    if (text.GetLength() > 1 && text[1] == L':') return 2;
    if (text[0] == L'\\') return 0;
    throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::NotSupported, L"Relative path names not supported");
}

// Behind the root of a shadow copy; at the end if nothing follows it.
static int f_startOfShadowCopyDirectory(CString const & text)
{
    int const start = text.Find(L'\\', SHADOW_COPY_DIGITS);
    return start < 0 ? text.GetLength() : start;
}

void ICPath::mf_implInitFromPath(CString const & text, int isFile)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implInitFromPath";

    if (text.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty path parameter");
    CString const root = ICVolume::mf_getVolumeRoot(text);
    ::SetLastError(0);
    unsigned int const driveType = ::GetDriveTypeW(root);
    if (driveType == DRIVE_FIXED) {
        mf_implInitLocalServerAndVolume(root);
        mf_implInitDirectoryAndFile(text, f_startOfDirectory(text), isFile);
    } else if (driveType == DRIVE_REMOTE) {
        mf_implInitRemoteServerAndVolume(root);
        mf_implInitDirectoryAndFile(text, f_startOfDirectory(text), isFile);
    } else if (driveType == DRIVE_RAMDISK) {
        // Deliberate: the platform gives devices of shadow copies this type.
        mf_implInitShadowCopyServerAndVolume(root);
        mf_implInitDirectoryAndFile(text, f_startOfShadowCopyDirectory(text), isFile);
    } else {
        wchar_t const * const name = mf_implGetDriveTypeString(driveType);
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::NotSupported, L"Drive type '%d' (%s) not supported", driveType, name);
    }
}

void ICPath::mf_implInitLocalServerAndVolume(CString const & root)
{
    // The name of the host is upper case already.
    m_szServer = ICSystem::mf_getHostName();
    m_szVolume = f_upper(root.Left(2));
    m_isLocal = 1;
    m_isShadowCopy = 0;
}

void ICPath::mf_implInitRemoteServerAndVolume(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implInitRemoteServerAndVolume";

    m_szServer.Empty();
    m_szVolume.Empty();
    try {
        CString const share = ICSystem::mf_getServerShareName(root);
        int const serverEnd = share.Find(L'\\', UNC_PREFIX.length);
        m_szServer = f_upper(share.Mid(UNC_PREFIX.length, serverEnd - UNC_PREFIX.length));
        m_szVolume = f_upper(share.Mid(serverEnd + 1));
        m_isLocal = 0;
        m_isShadowCopy = 0;
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting remote server share name for local directory '%s':\r\n%s%s", root,
                       ICLog::TAB, failure.mf_toString());
    }
}

void ICPath::mf_implInitShadowCopyServerAndVolume(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implInitShadowCopyServerAndVolume";

    if (!mf_isShadowCopyPathName(root))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Parameter is not a shadow copy path: '%s'", root);
    m_szServer.Empty();
    m_szVolume.Empty();
    m_szServer = ICSystem::mf_getHostName();
    // Deliberate: as given, not in upper case.
    m_szVolume = root.Left(f_startOfShadowCopyDirectory(root));
    m_isLocal = 1;
    m_isShadowCopy = 1;
}

// Leaves both answers as they are: whether a share is local is found out on demand.
void ICPath::mf_implInitFromUNCPath(CString const & text, int isFile)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implInitFromUNCPath";

    if (text.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty path parameter");
    if (!mf_isUNCPathName(text))
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Path '%s' is not an UNC path", text);
    int const serverEnd = text.Find(L'\\', UNC_PREFIX.length);
    if (serverEnd < 0)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Male-formed UNC path: '%s'", text);
    int volumeEnd = text.Find(L'\\', serverEnd + 1);
    if (volumeEnd < 0) {
        ICTrace(_sFunction_).mf_debug(L"No trailing directory delimiter in UNC path '%s'", text);
        volumeEnd = text.GetLength();
    }
    m_szServer = f_upper(text.Mid(UNC_PREFIX.length, serverEnd - UNC_PREFIX.length));
    m_szVolume = f_upper(text.Mid(serverEnd + 1, volumeEnd - serverEnd - 1));
    if (m_szVolume.GetLength() == 2 && m_szVolume[1] == L'$') m_szVolume.SetAt(1, L':');
    mf_implInitDirectoryAndFile(text, volumeEnd, isFile);
}

void ICPath::mf_implInitDirectoryAndFile(CString const & text, int start, int isFile)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implInitDirectoryAndFile";

    bool const hasNothing = text.GetLength() == start;
    if (isFile) {
        if (hasNothing) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"No file in path '%s'", text);
        int const fileStart = text.ReverseFind(L'\\') + 1;
        // The file of "C:x" takes the drive, too.
        m_szDirectory = text.Mid(start, fileStart - start);
        m_szFile = text.Mid(fileStart);
    } else {
        m_szDirectory = hasNothing ? CString(L'\\') : mf_normalizeDirectory(text.Mid(start));
        m_szFile.Empty();
    }
}
