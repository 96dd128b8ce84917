// The three times of a file, and times and attributes together.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "hsmbase/paths/internal/PathStep.h"
#include "hsmbase/system/ICSystem.h"

void ICPath::mf_getTimes(void * const file, _FILETIME & creation, _FILETIME & lastAccess, _FILETIME & lastWrite)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getTimes::1";

    ::SetLastError(0);
    if (!::GetFileTime(file, &creation, &lastAccess, &lastWrite)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_).mf_failed(failure, L"GetFileTime failed: %s", failure.mf_toString());
    }
}

void ICPath::mf_getTimes(CString const & path, _FILETIME & creation, _FILETIME & lastAccess, _FILETIME & lastWrite)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_getTimes::2";
    static constexpr ulong UNFOLLOWED = FILE_FLAG_OPEN_REPARSE_POINT | FILE_ATTRIBUTE_NORMAL;

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ICFirstFailure outcome(_sFunction_);
    ICFileHandle file;
    if (outcome.mf_call([&] { return f_open(file, longPath, FILE_READ_ATTRIBUTES, 0, OPEN_EXISTING, UNFOLLOWED); },
                        ICErrno::_E_::FileOpen, L"CreateFile '%s' failed:\r\n%s", path)) {
        outcome.mf_run([&] { mf_getTimes(file.mf_get(), creation, lastAccess, lastWrite); },
                       L"Failure getting file times for '%s':\r\n%s", path);
        outcome.mf_close(file, ICErrno::_E_::FileClose, L"CloseHandle '%s' failed:\r\n%s", path);
    }
    if (outcome.mf_isSet()) creation = lastAccess = lastWrite = FILETIME();
    outcome.mf_throw();
}

void ICPath::mf_setTimes(void * const file, _FILETIME const & creation, _FILETIME const & lastAccess,
                         _FILETIME const & lastWrite)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_setTimes::1";

    ::SetLastError(0);
    if (!::SetFileTime(file, &creation, &lastAccess, &lastWrite)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_).mf_failed(failure, L"SetFileTime failed:\r\n%s", failure.mf_toString());
    }
}

// Keeps what fails in `outcome`.
static void f_setTimesOf(ICFirstFailure & outcome, CString const & path, FILETIME const & creation,
                         FILETIME const & lastAccess, FILETIME const & lastWrite)
{
    // The link itself, and directories too.
    static constexpr ulong UNFOLLOWED = FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS;

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ICFileHandle file;
    if (!outcome.mf_call([&] { return f_open(file, longPath, FILE_WRITE_ATTRIBUTES, 0, OPEN_EXISTING, UNFOLLOWED); },
                         ICErrno::_E_::FileOpen, L"CreateFile '%s' failed:\r\n%s", path))
        return;
    outcome.mf_run([&] { ICPath::mf_setTimes(file.mf_get(), creation, lastAccess, lastWrite); },
                   L"Failure setting file times for '%s':\r\n%s", path);
    outcome.mf_close(file, ICErrno::_E_::FileClose, L"CloseHandle '%s' failed:\r\n%s", path);
}

void ICPath::mf_setTimes(CString const & path, _FILETIME const & creation, _FILETIME const & lastAccess,
                         _FILETIME const & lastWrite)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_setTimes::2";

    ICFirstFailure outcome(_sFunction_);
    bool const hasAccess = outcome.mf_run([] {
        ICSystem::mf_adjustDebugAccess(1);
        ICSystem::mf_adjustSecurityAccess(1);
    });
    if (hasAccess) f_setTimesOf(outcome, path, creation, lastAccess, lastWrite);
    // Both, whatever failed: enabling may have come half the way.
    outcome.mf_run([] { ICSystem::mf_adjustDebugAccess(0); });
    outcome.mf_run([] { ICSystem::mf_adjustSecurityAccess(0); });
    outcome.mf_throw();
}

void ICPath::mf_setW32FileAttributes(CString const & path, _WIN32_FILE_ATTRIBUTE_DATA const & data)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_setW32FileAttributes";

    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    auto const setAll = [&] {
        // In this order: a read-only attribute would be in the way of the times.
        mf_setTimes(longPath, data.ftCreationTime, data.ftLastAccessTime, data.ftLastWriteTime);
        mf_setAttributes(longPath, data.dwFileAttributes);
    };
    f_step(_sFunction_, setAll, L"Failure setting file attributes/times for file '%s':\r\n%s", path);
}

void ICPath::mf_applyW32FileAttributes(_WIN32_FILE_ATTRIBUTE_DATA const & data) const
{
    // Deliberate: that is the name by which the log knows it.
    static wchar_t const _sFunction_[] = L"ICPath::mf_applyW32Attribute";

    CString const path = mf_getNTFSPath();
    f_step(
        _sFunction_, [&] { mf_setW32FileAttributes(path, data); },
        L"Failure setting file attributes/times for file '%s':\r\n%s%s", path, ICLog::TAB);
}
