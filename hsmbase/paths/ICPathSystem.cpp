// What only the system can tell about a path text: the kind of its drive, and its absolute form.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/DriveTypeNames.h"
#include "hsmbase/paths/internal/PlatformText.h"
#include "hsmbase/volumes/ICVolume.h"

// Deliberate: for an unknown number, ICVolume answers another name.
wchar_t const * ICPath::mf_implGetDriveTypeString(unsigned int driveType)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_implGetDriveTypeString";

    wchar_t const * const name = f_driveTypeName(driveType);
    if (name != nullptr) return name;
    ICTrace(_sFunction_).mf_error(L"Drive type string for %d not found\n", driveType);
    return L"DRIVE_???";
}

int ICPath::mf_isLocal(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_isLocal";

    CString const root = ICVolume::mf_getVolumeRoot(path);
    ::SetLastError(0);
    unsigned int const driveType = ::GetDriveTypeW(root);
    // The type of a RAM disk is that of shadow copies.
    if (driveType == DRIVE_FIXED || driveType == DRIVE_RAMDISK) return 1;
    if (driveType == DRIVE_REMOTE) return 0;
    wchar_t const * const name = mf_implGetDriveTypeString(driveType);
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::NotSupported, L"Drive type '%d' (%s) of path='%s' not supported", driveType, name,
                   path);
}

int ICPath::mf_isRemote(CString const & path)
{
    return !mf_isLocal(path);
}

CString ICPath::mf_getAbsolutePath(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getAbsolutePath";

    CString const relative = path.IsEmpty() ? CString(L'.') : path;
    return f_platformText(
        [&](ulong length, wchar_t * buffer) { return ::GetFullPathNameW(relative, length, buffer, nullptr); },
        [&] {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
            return ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure querying length of buffer for full path name of file '%s'\r\n%s%s",
                           relative, ICLog::TAB, failure.mf_toString());
        },
        [&](ulong length) {
            return ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Memory,
                           L"Failure allocating full path name buffer of file '%s':\r\n%sbuffer length: %lu", relative,
                           ICLog::TAB, length);
        },
        [&] {
            ICErrno const failure = f_systemFailure(ICErrno::_E_::BufferTooSmall);
            return ICTrace(_sFunction_)
                .mf_failed(failure, L"Failure querying full path name of file '%s':\r\n%s%s", relative, ICLog::TAB,
                           failure.mf_toString());
        },
        [&](ulong length, ulong copied) {
            return ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::BufferTooSmall,
                           L"Buffer too small (%lu chars, %lu chars) to hold full path name of file\r\n%s'%s'", length,
                           copied, ICLog::TAB, relative);
        });
}
