// The version of the operating system, and the processors.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/registry/internal/ICRegistryKey.h"
#include "hsmbase/system/ICSystem.h"

#ifdef _MSC_VER
#pragma warning(disable : 4996) // The platform would rather not be asked for its version, but this is for people.
#endif

namespace
{
constexpr ulong f_release(ulong majorNumber, ulong minorNumber)
{
    return majorNumber << 16 | minorNumber;
}

constexpr ulong W2000 = f_release(5, 0);
constexpr ulong XP = f_release(5, 1);
constexpr ulong W2003 = f_release(5, 2);
constexpr ulong W2008 = f_release(6, 0);

ulong f_releaseOf(OSVERSIONINFOEXW const & version)
{
    return f_release(version.dwMajorVersion, version.dwMinorVersion);
}

int f_isAtLeast(ulong release, unsigned short servicePack)
{
    OSVERSIONINFOEXW least = {};
    least.dwOSVersionInfoSize = sizeof(least);
    least.dwMajorVersion = release >> 16;
    least.dwMinorVersion = release & 0xffff;
    least.wServicePackMajor = servicePack;

    ulong compared = VER_MAJORVERSION | VER_MINORVERSION;
    ULONGLONG conditions = ::VerSetConditionMask(0, VER_MAJORVERSION, VER_GREATER_EQUAL);
    conditions = ::VerSetConditionMask(conditions, VER_MINORVERSION, VER_GREATER_EQUAL);
    if (servicePack != 0) {
        compared |= VER_SERVICEPACKMAJOR;
        conditions = ::VerSetConditionMask(conditions, VER_SERVICEPACKMAJOR, VER_GREATER_EQUAL);
    }
    return ::VerifyVersionInfoW(&least, compared, conditions) ? 1 : 0;
}

WORD f_getArchitecture()
{
    SYSTEM_INFO info = {};
    ::GetSystemInfo(&info);
    return info.wProcessorArchitecture;
}

// That of the machine, also for a 32-bit process on a 64-bit system, where the platform can tell.
WORD f_getNativeArchitecture()
{
    using NATIVE_FUNCTION = void(WINAPI *)(SYSTEM_INFO * info);
    FARPROC const function = ::GetProcAddress(::GetModuleHandleW(L"kernel32.dll"), "GetNativeSystemInfo");
    if (function == nullptr) return f_getArchitecture();
    SYSTEM_INFO info = {};
    reinterpret_cast<NATIVE_FUNCTION>(reinterpret_cast<void (*)()>(function))(&info);
    return info.wProcessorArchitecture;
}

wchar_t const * f_getProduct(OSVERSIONINFOEXW const & version, WORD architecture)
{
    bool const isWorkstation = version.wProductType == VER_NT_WORKSTATION;
    switch (f_releaseOf(version)) {
    case W2008: return isWorkstation ? L"Microsoft Windows Vista, " : L"Microsoft Server 2008, ";
    case W2003:
        if (::GetSystemMetrics(SM_SERVERR2) != 0) return L"Microsoft Windows Server 2003 R2, ";
        if (isWorkstation && architecture == PROCESSOR_ARCHITECTURE_AMD64)
            return L"Microsoft Windows XP Professional x64 Edition ";
        return L"Microsoft Windows Server 2003, ";
    case XP: return L"Microsoft Windows XP, ";
    case W2000: return L"Microsoft Windows 2000, ";
    default:
        // Deliberate: the table ends with 2008, and what is later has no product text.
        return version.dwMajorVersion < 5 ? L"Microsoft Windows NT, " : L"";
    }
}

wchar_t const * f_getWorkstationEdition(OSVERSIONINFOEXW const & version)
{
    if (version.dwMajorVersion == 4) return L"Workstation 4.0, ";
    return version.wSuiteMask & VER_SUITE_PERSONAL ? L"Home Edition, " : L"Professional, ";
}

wchar_t const * f_chooseBySuite(OSVERSIONINFOEXW const & version, wchar_t const * datacenter,
                                wchar_t const * enterprise, wchar_t const * other)
{
    if (version.wSuiteMask & VER_SUITE_DATACENTER) return datacenter;
    return version.wSuiteMask & VER_SUITE_ENTERPRISE ? enterprise : other;
}

wchar_t const * f_getServerEdition(OSVERSIONINFOEXW const & version, WORD architecture)
{
    ulong const release = f_releaseOf(version);
    if (release == W2000) return f_chooseBySuite(version, L"Datacenter Server ", L"Advanced Server, ", L"Server, ");
    if (release < W2003)
        return version.wSuiteMask & VER_SUITE_ENTERPRISE ? L"Server 4.0, Enterprise Edition, " : L"Server 4.0, ";
    if (architecture == PROCESSOR_ARCHITECTURE_IA64)
        return f_chooseBySuite(version, L"Datacenter Edition for Itanium-based Systems, ",
                               L"Enterprise Edition for Itanium-based Systems, ", L"");
    if (architecture == PROCESSOR_ARCHITECTURE_AMD64)
        return f_chooseBySuite(version, L"Datacenter x64 Edition, ", L"Enterprise x64 Edition, ",
                               L"Standard x64 Edition, ");
    // Deliberate: this is compared with the whole word.
    bool const isWeb = version.wSuiteMask == VER_SUITE_BLADE;
    return f_chooseBySuite(version, L"Datacenter Edition, ", L"Enterprise Edition, ",
                           isWeb ? L"Web Edition, " : L"Standard Edition, ");
}

// One service pack comes in two makes that the platform gives the same name; a fix in the registry tells them apart.
bool f_isServicePack6a(OSVERSIONINFOEXW const & version)
{
    if (version.dwMajorVersion != 4 || ::lstrcmpiW(version.szCSDVersion, L"Service Pack 6") != 0) return false;
    ICRegistryKey key;
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009", 0,
                           KEY_QUERY_VALUE, key.mf_receive()) == ERROR_SUCCESS;
}

CString f_getServiceLevel(OSVERSIONINFOEXW const & version)
{
    CString level;
    if (f_isServicePack6a(version)) {
        level.Format(L"Service Pack 6a (Build %d)", version.dwBuildNumber);
    } else {
        wchar_t const * const service = version.szCSDVersion[0] == 0 ? L"No Service Pack" : version.szCSDVersion;
        level.Format(L"%s (Build %d)", service, version.dwBuildNumber);
    }
    return level;
}

CString f_describeNT(wchar_t const * function, OSVERSIONINFOEXW const & version)
{
    WORD const architecture = f_getNativeArchitecture();
    CString text = f_getProduct(version, architecture);
    switch (version.wProductType) {
    case VER_NT_WORKSTATION: text += f_getWorkstationEdition(version); break;
    case VER_NT_DOMAIN_CONTROLLER:
    case VER_NT_SERVER: text += f_getServerEdition(version, architecture); break;
    default:
        throw ICTrace(function).mf_failed(ICErrno::_E_::NotImplemented,
                                          L"No implemented: Windows NT 4.0 SP5 and earlier");
    }
    return text + f_getServiceLevel(version);
}

CString f_describeConsumerSystem(OSVERSIONINFOEXW const & version)
{
    if (version.dwMajorVersion != 4) return CString();
    wchar_t const make = version.szCSDVersion[1];
    switch (version.dwMinorVersion) {
    case 0: return make == L'B' || make == L'C' ? L"Microsoft Windows 95 OSR2 " : L"Microsoft Windows 95 ";
    case 10: return make == L'A' ? L"Microsoft Windows 98 SE " : L"Microsoft Windows 98 ";
    case 90: return L"Microsoft Windows Millennium Edition";
    default: return CString();
    }
}
} // namespace

int ICSystem::mf_isAtLeastW2000(unsigned short servicePack)
{
    return f_isAtLeast(W2000, servicePack);
}

int ICSystem::mf_isAtLeastW2003(unsigned short servicePack)
{
    return f_isAtLeast(W2003, servicePack);
}

int ICSystem::mf_isAtLeastW2008(unsigned short servicePack)
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_isAtLeastW2008";

    // Deliberate: on every call.
    ICTrace(_sFunction_).mf_write(ICLogData::LEVEL_S, L"Windows 2008 version numbers: To be fixed");
    return f_isAtLeast(W2008, servicePack);
}

int ICSystem::mf_is32Bit()
{
    return f_getArchitecture() == PROCESSOR_ARCHITECTURE_INTEL;
}

int ICSystem::mf_is64Bit()
{
    WORD const architecture = f_getArchitecture();
    return architecture == PROCESSOR_ARCHITECTURE_AMD64 || architecture == PROCESSOR_ARCHITECTURE_IA64;
}

CString ICSystem::mf_implGetProcessorArchitectureString(ulong architecture)
{
    switch (architecture) {
    case PROCESSOR_ARCHITECTURE_INTEL: return L"x86 (32-bit)";
    case PROCESSOR_ARCHITECTURE_IA64: return L"Intel Itanium Processor Family (IPF)";
    case PROCESSOR_ARCHITECTURE_AMD64: return L"x64 (AMD or Intel)";
    default: return L"Unknown processor";
    }
}

void ICSystem::mf_logHardwareInformation()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_logHardwareInformation";

    SYSTEM_INFO info = {};
    ::GetSystemInfo(&info);
    CString const architecture = mf_implGetProcessorArchitectureString(info.wProcessorArchitecture);
    ICTrace(_sFunction_)
        .mf_info(L"Number of processors: %lu (%s), memory page size: %lu bytes\r\n"
                 L"%sApplication address space: 0x%p - 0x%p",
                 info.dwNumberOfProcessors, architecture, info.dwPageSize, ICLog::TAB, info.lpMinimumApplicationAddress,
                 info.lpMaximumApplicationAddress);
}

CString ICSystem::mf_getSystemVersionString()
{
    static wchar_t const _sFunction_[] = L"ICSystem::mf_getSystemVersionString";

    OSVERSIONINFOEXW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    ::SetLastError(0);
    if (!::GetVersionExW(reinterpret_cast<OSVERSIONINFOW *>(&version))) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying Windows version info: %s", failure.mf_toString());
    }
    switch (version.dwPlatformId) {
    case VER_PLATFORM_WIN32s: return L"Microsoft Win32s";
    case VER_PLATFORM_WIN32_WINDOWS: return f_describeConsumerSystem(version);
    case VER_PLATFORM_WIN32_NT: return f_describeNT(_sFunction_, version);
    default: return CString();
    }
}
