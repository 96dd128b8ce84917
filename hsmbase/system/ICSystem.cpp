// Privileges, and the machine's name and addresses.
#include "hsmbase/system/ICSystem.h"

#include <cstddef>
#include <memory>
#include <new>
#include <vector>

#include <iphlpapi.h>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/system/internal/ICIPAddress.h"
#include "hsmbase/system/internal/ICKernelHandle.h"

namespace
{
constexpr unsigned int RESOURCE_HOST_ADDRESS = 4423;
constexpr unsigned int RESOURCE_MACHINE = 4424;

using ADDRESSES = ICArray<ICIPAddress *, ICIPAddress *>;

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

// The platform's table of addresses, as the bytes that it takes.
std::unique_ptr<std::byte[]> f_readAddressTable(wchar_t const * function)
{
    ulong size = 0;
    ulong code = ::GetIpAddrTable(nullptr, &size, FALSE);
    if (code != ERROR_INSUFFICIENT_BUFFER) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, code);
        throw ICTrace(function).mf_failed(failure, L"Failure requesting IP address table size: %s",
                                          failure.mf_toString());
    }
    std::unique_ptr<std::byte[]> bytes(new (std::nothrow) std::byte[size]);
    if (bytes == nullptr)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Memory,
                                          L"Failure allocating %lu bytes of memory of IP table buffer", size);
    code = ::GetIpAddrTable(reinterpret_cast<MIB_IPADDRTABLE *>(bytes.get()), &size, TRUE);
    if (code != NO_ERROR) {
        // Deliberate: the text is that of the first call.
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, code);
        throw ICTrace(function).mf_failed(failure, L"Failure requesting IP address table size: %s",
                                          failure.mf_toString());
    }
    return bytes;
}

void f_reportAddresses(wchar_t const * function, ADDRESSES const & addresses)
{
    int const count = static_cast<int>(addresses.GetCount());
    if (count == 0) {
        ICTrace(function).mf_warning(L"No local host IP addresses found");
    } else if (count == 1) {
        ICTrace(function).mf_info(L"Local host IP address is '%s'", addresses[0]->mf_getAddress());
    } else {
        CString lines;
        for (int index = 0; index < count; ++index)
            lines.AppendFormat(L"\r\n%s%-16s", ICLog::TAB, addresses[index]->mf_getAddress().GetString());
        ICTrace(function).mf_info(L"Found %d local host IP addresses:%s", count, lines);
    }
}
} // namespace

CString ICSystem::m_sHostName;
ICArray<ICIPAddress *, ICIPAddress *> ICSystem::m_aHostAddresses;

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

void ICSystem::mf_adjustSecurityAccess(int enable)
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_adjustSecurityAccess";

    try {
        mf_implAdjustPrivilege(L"SeRestorePrivilege", enable);
        mf_implAdjustPrivilege(L"SeSecurityPrivilege", enable);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure %s security privileges for current thread:\r\n%s%s",
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

CString const & ICSystem::mf_getHostName()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getHostName";

    if (!m_sHostName.IsEmpty()) return m_sHostName;
    wchar_t name[256] = {};
    ulong size = 256;
    ::SetLastError(0);
    if (!::GetComputerNameExW(ComputerNameDnsHostname, name, &size)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure requesting hostname: %s", failure.mf_toString());
    }
    m_sHostName = CString(name).MakeUpper();
    ICTrace(_sFunction_).mf_info(L"Local host name is '%s'", m_sHostName);
    return m_sHostName;
}

ICArray<ICIPAddress *, ICIPAddress *> const & ICSystem::mf_getHostAddresses()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getHostAddresses";

    if (!m_aHostAddresses.IsEmpty()) return m_aHostAddresses;

    // All rows become addresses before the first one is kept, since a row may be refused.
    std::vector<std::unique_ptr<ICIPAddress>> found;
    {
        auto const bytes = f_readAddressTable(_sFunction_);
        auto const & table = *reinterpret_cast<MIB_IPADDRTABLE const *>(bytes.get());
        for (ulong row = 0; row < table.dwNumEntries; ++row)
            found.push_back(std::make_unique<ICIPAddress>(table.table[row].dwAddr, 0));
    }
    for (auto & address : found)
        m_aHostAddresses.Add(address.release());
    f_reportAddresses(_sFunction_, m_aHostAddresses);
    return m_aHostAddresses;
}

int ICSystem::mf_isLocalServer(CString const & hostOrAddress)
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_isLocalServer";

    if (hostOrAddress.IsEmpty())
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"No host or IP address given");

    if (CString(hostOrAddress).MakeUpper() == mf_getHostName()) return 1;
    ADDRESSES const & addresses = mf_getHostAddresses();
    for (INT_PTR index = 0; index < addresses.GetCount(); ++index) {
        if (hostOrAddress == addresses[index]->mf_getAddress()) return 1;
    }
    return 0;
}

CString ICSystem::mf_toString(CString const & prefix)
{
    ADDRESSES const & addresses = mf_getHostAddresses();
    CString lines;
    for (INT_PTR index = 0; index < addresses.GetCount(); ++index) {
        ICIPAddress const & address = *addresses[index];
        lines += CString(ICString(RESOURCE_HOST_ADDRESS, prefix.GetString(), static_cast<ulong>(index),
                                  address.mf_getAddress().GetString(), address.mf_getNumber()));
    }
    CString const root = mf_getSystemRoot();
    CString const codePage = mf_getDefaultAnsiCodepage();
    CString const name = mf_getHostName();
    return ICString(RESOURCE_MACHINE, prefix.GetString(), root.GetString(), prefix.GetString(), codePage.GetString(),
                    prefix.GetString(), name.GetString(), lines.GetString());
}
