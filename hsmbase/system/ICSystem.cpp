#include "hsmbase/system/ICSystem.h"

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/system/internal/ICKernelHandle.h"

namespace
{
// The calling thread's token, after which `token` is open. A thread without one gets a copy of the process's, and
// deliberately keeps it: later calls find it. `function` tags the lines.
void f_openThreadToken(wchar_t const * function, ICKernelHandle & token)
{
    constexpr ulong rights = TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY;

    ::SetLastError(0);
    if (::OpenThreadToken(::GetCurrentThread(), rights, FALSE, token.mf_receive())) return;
    ulong const systemError = ::GetLastError();
    if (systemError != ERROR_NO_TOKEN) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security, systemError);
        throw ICTrace(function).mf_failed(failure, L"Failure getting security token (1): %s", failure.mf_toString());
    }

    // Deliberate: the failures from here on keep the code of the missing token, whatever the platform says.
    if (!::ImpersonateSelf(SecurityImpersonation)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security, systemError);
        throw ICTrace(function).mf_failed(failure, L"Failure creating security token: %s", failure.mf_toString());
    }
    if (!::OpenThreadToken(::GetCurrentThread(), rights, FALSE, token.mf_receive())) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security, systemError);
        throw ICTrace(function).mf_failed(failure, L"Failure getting security token (2): %s", failure.mf_toString());
    }
}

void f_switchPrivilege(wchar_t const * function, HANDLE token, wchar_t const * name, int enable)
{
    TOKEN_PRIVILEGES privileges = {};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : 0;

    ::SetLastError(0);
    if (!::LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security);
        throw ICTrace(function).mf_failed(failure, L"Failure getting local unique privilege identifier: %s",
                                          failure.mf_toString());
    }
    // Deliberate: only the result of the call counts. It is a success also for a privilege that the account lacks.
    ::SetLastError(0);
    if (!::AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security);
        throw ICTrace(function).mf_failed(failure, L"Failure adjusting privilege '%s':\r\n%s%s", name, ICLog::TAB,
                                          failure.mf_toString());
    }
}
} // namespace

void ICSystem::mf_adjustDebugAccess(int enable)
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_adjustDebugAccess";

    try {
        mf_implAdjustPrivilege(L"SeDebugPrivilege", enable);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure %s debug privileges for current thread:\r\n%s%s",
                       enable ? L"enabling" : L"disabling", ICLog::TAB, failure.mf_toString());
    }
}

// Enables or disables one privilege in the calling thread's token. Throws Parameter for no name, Security.
void ICSystem::mf_implAdjustPrivilege(wchar_t const * name, int enable)
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_implAdjustPrivilege";

    if (name == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pszPrivilageName");

    ICErrnoData outcome;
    ICKernelHandle token;
    try {
        f_openThreadToken(_sFunction_, token);
        f_switchPrivilege(_sFunction_, token.mf_get(), name, enable);
    }
    catch (ICErrno & failure) {
        // The step has left its line.
        outcome = failure.mf_getErrnoData();
    }

    ::SetLastError(0);
    if (token.mf_isOpen() && !token.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Security);
        ICTrace(_sFunction_).mf_error(L"Failure closing token handle: %s", failure.mf_toString());
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}
