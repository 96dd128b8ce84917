// Where links lead.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFileHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "hsmbase/paths/internal/PlatformText.h"

static wchar_t const _sFunction_[] = L"ICPath::mf_SymlinkToDirectory";

// The long form of what `file`, which was opened by `path`, is called.
static CString f_finalPath(HANDLE file, CString const & path)
{
    // One character more than the platform asks for.
    auto const ask = [&](ulong room, wchar_t * buffer) -> ulong {
        ulong const answer = ::GetFinalPathNameByHandleW(file, buffer, room, VOLUME_NAME_DOS);
        return room == 0 && answer != 0 ? answer + 1 : answer;
    };
    auto const noLength = [&] {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSystem);
        return ICTrace(_sFunction_)
            .mf_failed(failure,
                       L"Failure determining memory required by GetFinalPathNameByHandle,\r\n"
                       L"%sSymbolic link: '%s', result=%lu\r\n%s%s",
                       ICLog::TAB, path, 0ul, ICLog::TAB, failure.mf_toString());
    };
    auto const noMemory = [&](ulong characters) {
        return ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory,
                       L"No memory to allocate %lu bytes for path buffer,\r\n%sSymbolic link: '%s'",
                       static_cast<ulong>(characters * sizeof(wchar_t)), ICLog::TAB, path);
    };
    auto const notCopied = [&] {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSystem);
        return ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting final path name of symbolic link: '%s'\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    };
    auto const tooLong = [&](ulong, ulong) { return notCopied(); };
    return f_platformText(ask, noLength, noMemory, notCopied, tooLong);
}

CString ICPath::mf_SymlinkToDirectory(CString const & path)
{
    CString const longPath = ICLongPath::mf_addLongPathUNCPrefix(path);
    ICFirstFailure outcome(_sFunction_);
    CString target;
    ICFileHandle file;
    if (outcome.mf_call(
            [&] {
                return f_open(file, longPath, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS);
            },
            ICErrno::_E_::FileOpen, L"CreateFile '%s' failed:\r\n%s", path)) {
        outcome.mf_run([&] { target = ICLongPath::mf_removeLongPathUNCPrefix(f_finalPath(file.mf_get(), path)); });
        outcome.mf_close(file, ICErrno::_E_::FileClose, L"CloseHandle '%s' failed:\r\n%s", path);
    }
    outcome.mf_throw();
    ICTrace(_sFunction_).mf_trace(L"Path name of symbolic link '%s':\r\n%s%s", path, ICLog::TAB, target);
    return target;
}
