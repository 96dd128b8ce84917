#include "hsmbase/volumes/ICMountPoint.h"

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/volumes/ICVolume.h"

ICMountPoint::ICMountPoint() = default;

ICMountPoint::ICMountPoint(ICVolume const * volume, CString const & path, ICVolume const * mountedVolume)
    : m_pVolume(volume), m_szPath(path), m_pMountedVolume(mountedVolume)
{}

ICMountPoint::~ICMountPoint() = default;

CString ICMountPoint::mf_getFullPath() const
{
    return m_pVolume != nullptr ? m_pVolume->mf_getIdPath() + m_szPath : m_szPath;
}

CString ICMountPoint::mf_toString(CString const & prefix) const
{
    // As wide as the names of the facts among which the line stands.
    static wchar_t const SEPARATOR[] = L"\r\n                        ==> ";

    CString mounted = L"N/A";
    if (m_pMountedVolume != nullptr) mounted.Format(L"'%s'", m_pMountedVolume->mf_toShortString().GetString());
    CString text;
    text.Format(L"%s'%s'%s%s", prefix.GetString(), mf_getFullPath().GetString(), SEPARATOR, mounted.GetString());
    return text;
}

void ICMountPoint::mf_setMountedVolume(ICVolume const * volume)
{
    static wchar_t const _sFunction_[] = L"ICMountPoint::mf_setMountedVolume";

    if (m_pMountedVolume != nullptr && volume != nullptr && *m_pMountedVolume != *volume)
        ICTrace(_sFunction_)
            .mf_warning(L"Mount point will be set to a different volume:\r\n%sOld volume: '%s'\r\n"
                        L"%sNew volume: '%s'\r\n",
                        ICLog::TAB, m_pMountedVolume->mf_getGUID(), ICLog::TAB, volume->mf_getGUID());
    m_pMountedVolume = volume;
}
