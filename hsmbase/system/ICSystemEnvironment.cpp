// What the environment, the settings of the user and the network say: directories, code pages, shares.
#include "hsmbase/failure/internal/ICHandle.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/system/ICSystem.h"

#include <lmcons.h>

#include <lmapibuf.h>
#include <lmuse.h>

namespace
{
struct NETWORK_BUFFER
{
    using TYPE = BYTE *;
    static TYPE mf_none() { return nullptr; }
    static ulong mf_close(TYPE buffer) { return ::NetApiBufferFree(buffer); }
};
using ICNetworkBuffer = ICHandle<NETWORK_BUFFER>;

// A directory of the environment; an empty one stays empty.
CString f_getDirectory(wchar_t const * variable)
{
    CString const directory = ICSystem::mf_getEnvironmentVariable(variable);
    return directory.IsEmpty() ? directory : ICPath::mf_normalizeDirectory(directory);
}
} // namespace

CString ICSystem::m_sSystemRoot;
CString ICSystem::m_sSystemDrive;

CString const & ICSystem::mf_getSystemRoot()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getSystemRoot";

    if (!m_sSystemRoot.IsEmpty()) return m_sSystemRoot;
    try {
        m_sSystemRoot = f_getDirectory(L"SYSTEMROOT");
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting environment variable 'SYSTEMROOT': %s", failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_info(L"Windows system root is '%s'", m_sSystemRoot);
    return m_sSystemRoot;
}

CString const & ICSystem::mf_getSystemDrive()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getSystemDrive";

    if (!m_sSystemDrive.IsEmpty()) return m_sSystemDrive;
    try {
        m_sSystemDrive = f_getDirectory(L"SYSTEMDRIVE");
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting environment variable 'SYSTEMDRIVE': %s", failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_info(L"Windows system drive is '%s'", m_sSystemDrive);
    return m_sSystemDrive;
}

CString ICSystem::mf_getRecycleRoot(wchar_t drive)
{
    return ICPath::mf_appendDirectory(CString(drive) + L':', L"$Recycle.Bin");
}

CString ICSystem::mf_getEnvironmentVariable(CString const & name)
{
    // Deliberate: the tag is not the operation's own name.
    static wchar_t const _sFunction_[] = L"ICEnvironment::mf_getVariable";

    constexpr ulong limit = 1023;
    wchar_t value[limit + 1] = {};
    ::SetLastError(0);
    ulong const count = ::GetEnvironmentVariableW(name, value, limit);
    if (count >= limit) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::BufferTooSmall,
                       L"Buffer too small to hold value of environment variable '%s':\r\n%s%s...", name, ICLog::TAB,
                       value);
    }
    if (count > 0) return value;

    // The platform answers 0 characters without an error for a variable that is there and empty.
    ulong const systemError = ::GetLastError();
    if (systemError != ERROR_ENVVAR_NOT_FOUND && systemError != ERROR_SUCCESS) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting environment variable '%s': %s", name, failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_warning(L"Environment variable '%s' not found", name);
    return CString();
}

CString ICSystem::mf_getDefaultAnsiCodepage()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getDefaultAnsiCodepage";

    constexpr int length = 15;
    wchar_t digits[length] = {};
    ::SetLastError(0);
    if (::GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE, digits, length) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting Windows default ANSI codepage: %s", failure.mf_toString());
    }
    CString const codePage = CString(L"CP") + digits;
    ICTrace(_sFunction_).mf_debug(L"Computed Windows default ANSI codepage: '%s'", codePage);
    return codePage;
}

CString ICSystem::mf_getDefaultUnicodeCodepage()
{
    return L"UCS-2LE";
}

CString ICSystem::mf_getServerShareName(CString const & mountPoint)
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getServerShareName";

    if (mountPoint.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"No mount point");

    ICNetworkBuffer buffer;
    // The platform only reads the name.
    LMSTR const name = const_cast<LMSTR>(mountPoint.GetString());
    ulong const code = ::NetUseGetInfo(nullptr, name, 0, buffer.mf_receive());
    if (code != NO_ERROR) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Network, code);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure requesting remote server share information for mount point '%s':\r\n%s%s",
                       mountPoint, ICLog::TAB, failure.mf_toString());
    }
    return reinterpret_cast<USE_INFO_0 const *>(buffer.mf_get())->ui0_remote;
}
