// Construction, parts, questions and order.
#include "hsmbase/paths/ICPath.h"

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/volumes/ICStorage.h"

ICPath::ICPath() = default;

ICPath::ICPath(CString const & text, int isFile)
{
    static wchar_t const _sFunction_[] = L"ICPath::ICPath::2";

    try {
        mf_initialize(text, isFile);
    }
    catch (ICErrno & failure) {
        // Deliberate: the caller sees one constant, the cause stands in the trace.
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Initialization, L"Failure initializing from path '%s':\r\n%s%s", text, ICLog::TAB,
                       failure.mf_toString());
    }
}

ICPath::ICPath(CString const & server, CString const & volume, CString const & directory, CString const & file)
{
    mf_initialize(server, volume, directory, file);
}

// Deliberate: the two answers are not copied.
ICPath::ICPath(ICPath const & other)
    : m_szServer(other.m_szServer), m_szVolume(other.m_szVolume), m_szDirectory(other.m_szDirectory),
      m_szFile(other.m_szFile)
{}

// Deliberate: the two answers are neither copied nor found out anew; callers rely on what this path had answered.
ICPath & ICPath::operator=(ICPath const & other)
{
    if (this == &other) return *this;
    m_szServer = other.m_szServer;
    m_szVolume = other.m_szVolume;
    m_szDirectory = other.m_szDirectory;
    m_szFile = other.m_szFile;
    return *this;
}

ICPath::~ICPath() = default;

CString ICPath::mf_toString() const
{
    CString text;
    text.Format(L"srv='%s' vol='%s' dir='%s' file='%s'", m_szServer.GetString(), m_szVolume.GetString(),
                m_szDirectory.GetString(), m_szFile.GetString());
    return text;
}

void ICPath::mf_initialize(CString const & server, CString const & volume, CString const & directory,
                           CString const & file)
{
    // The texts may be parts of this very path.
    CString newVolume = volume;
    CString newDirectory = directory.IsEmpty() ? directory : mf_normalizeDirectory(directory);
    CString newFile = file;
    m_szServer = server;
    m_szServer.MakeUpper();
    m_szVolume = std::move(newVolume.MakeUpper());
    m_szDirectory = std::move(newDirectory);
    m_szFile = std::move(newFile);
}

void ICPath::mf_reset()
{
    m_szServer.Empty();
    m_szVolume.Empty();
    m_szDirectory.Empty();
    m_szFile.Empty();
    // Deliberate: of the two answers only this one.
    m_isLocal.mf_reset();
}

CString const & ICPath::mf_getServerPart() const
{
    return m_szServer;
}

CString const & ICPath::mf_getVolumePart() const
{
    return m_szVolume;
}

CString const & ICPath::mf_getDirectoryPart() const
{
    return m_szDirectory;
}

CString const & ICPath::mf_getFilePart() const
{
    return m_szFile;
}

void ICPath::mf_setServerPart(CString const & server)
{
    m_szServer = server;
}

void ICPath::mf_setVolumePart(CString const & volume)
{
    m_szVolume = volume;
}

void ICPath::mf_setDirectoryPart(CString const & directory)
{
    m_szDirectory = mf_normalizeDirectory(directory);
}

void ICPath::mf_setFilePart(CString const & file)
{
    m_szFile = file;
}

int ICPath::mf_implIsDriveLetterVolume() const
{
    return m_szVolume.GetLength() > 1 && m_szVolume[1] == L':';
}

int ICPath::mf_isInitialized() const
{
    return !m_szServer.IsEmpty() || !m_szVolume.IsEmpty() || !m_szDirectory.IsEmpty() || !m_szFile.IsEmpty();
}

int ICPath::mf_isDirectory() const
{
    return m_szFile.IsEmpty();
}

int ICPath::mf_isFile() const
{
    return !m_szFile.IsEmpty();
}

int ICPath::mf_isLocal() const
{
    if (!m_isLocal.mf_isSet()) {
        // Deliberate: stands from here on, also if a question below throws.
        m_isLocal = 0;
        // Not any drive letter volume: "::" has its first colon elsewhere.
        m_isLocal = mf_isNTFSPathName(m_szVolume) && ICSystem::mf_isLocalServer(m_szServer) &&
                    ICStorage::mf_isLocalPath(m_szVolume);
    }
    return m_isLocal.mf_isTrue();
}

int ICPath::mf_isShadowCopy() const
{
    if (!m_isShadowCopy.mf_isSet()) m_isShadowCopy = mf_isShadowCopyPathName(m_szVolume);
    return m_isShadowCopy.mf_isTrue();
}

int ICPath::mf_exists() const
{
    return mf_exists(mf_getNTFSPath());
}

int ICPath::mf_compare(ICPath const & other) const
{
    if (int const order = m_szServer.Compare(other.m_szServer)) return order;
    if (int const order = m_szVolume.Compare(other.m_szVolume)) return order;
    if (int const order = m_szDirectory.Compare(other.m_szDirectory)) return order;
    return m_szFile.Compare(other.m_szFile);
}

int ICPath::mf_compareNoCase(ICPath const & other) const
{
    if (int const order = m_szServer.CompareNoCase(other.m_szServer)) return order;
    if (int const order = m_szVolume.CompareNoCase(other.m_szVolume)) return order;
    if (int const order = m_szDirectory.CompareNoCase(other.m_szDirectory)) return order;
    return m_szFile.CompareNoCase(other.m_szFile);
}

int ICPath::operator==(ICPath const & other) const
{
    return mf_compare(other) == 0;
}

int ICPath::operator!=(ICPath const & other) const
{
    return mf_compare(other) != 0;
}

int ICPath::operator<(ICPath const & other) const
{
    return mf_compare(other) < 0;
}

int ICPath::operator>(ICPath const & other) const
{
    return mf_compare(other) > 0;
}

void ICPath::mf_appendComponent(ICPath const & other)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_appendComponent";

    if (mf_isFile())
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Path %s is a file\r\n%sCannot append component %s", mf_toString(),
                       ICLog::TAB, other.mf_toString());
    m_szDirectory = mf_appendDirectory(m_szDirectory, other.m_szDirectory);
    if (other.mf_isFile()) m_szFile = other.m_szFile;
}
