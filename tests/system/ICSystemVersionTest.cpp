// Versions of the operating system, on simulated machines.
#include "hsmbase/system/ICSystem.h"

#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;

namespace
{

constexpr BYTE WORKSTATION = VER_NT_WORKSTATION;
constexpr BYTE CONTROLLER = VER_NT_DOMAIN_CONTROLLER;
constexpr BYTE SERVER = VER_NT_SERVER;
constexpr WORD X86 = 0;
constexpr WORD ITANIUM = 6;
constexpr WORD X64 = 9;
constexpr WORD NO_SUITE = 0;
constexpr WORD ENTERPRISE = 0x2;
constexpr WORD DATACENTER = 0x80;
constexpr WORD HOME = 0x200;
constexpr WORD WEB = 0x400;

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

struct MACHINE
{
    ulong m_platform = VER_PLATFORM_WIN32_NT;
    ulong m_major = 6;
    ulong m_minor = 0;
    BYTE m_type = SERVER;
    WORD m_suite = NO_SUITE;
    WORD m_nativeArchitecture = X64;
    WORD m_architecture = X86;
    std::wstring m_service;
    ulong m_build = 42;
    int m_isR2 = 0;
    bool m_knowsNative = true;
    bool m_hasFix = false;
};

class ICSystemVersion : public testing::Test
{
protected:
    // The whole text, without "No Service Pack (Build 42)" at the end of most.
    std::wstring mf_describe()
    {
        std::wstring const text(ICSystem::mf_getSystemVersionString().GetString());
        std::wstring const end(L"No Service Pack (Build 42)");
        return text.ends_with(end) ? text.substr(0, text.size() - end.size()) : text;
    }

    static void WINAPI mf_answerNative(SYSTEM_INFO * info)
    {
        info->wProcessorArchitecture = m_this->m_machine.m_nativeArchitecture;
    }

    // Comes up before the platform is simulated.
    ICTracedProcess const m_process;
    MACHINE m_machine;
    static inline ICSystemVersion * m_this = nullptr;

    void SetUp() override { m_this = this; }
    void TearDown() override { m_this = nullptr; }

private:
    ICImportPatch const m_onVersion{IC_IMPORT(GetVersionExW), [this](OSVERSIONINFOW * info) {
                                        auto & version = *reinterpret_cast<OSVERSIONINFOEXW *>(info);
                                        EXPECT_EQ(sizeof(version), version.dwOSVersionInfoSize);
                                        version.dwPlatformId = m_machine.m_platform;
                                        version.dwMajorVersion = m_machine.m_major;
                                        version.dwMinorVersion = m_machine.m_minor;
                                        version.dwBuildNumber = m_machine.m_build;
                                        version.wProductType = m_machine.m_type;
                                        version.wSuiteMask = m_machine.m_suite;
                                        ::wcscpy_s(version.szCSDVersion, m_machine.m_service.c_str());
                                        return TRUE;
                                    }};
    ICImportPatch const m_onInfo{IC_IMPORT(GetSystemInfo), [this](SYSTEM_INFO * info) {
                                     info->wProcessorArchitecture = m_machine.m_architecture;
                                 }};
    ICImportPatch const m_onFunction{IC_IMPORT(GetProcAddress), [this](HMODULE module, char const * name) -> FARPROC {
                                         EXPECT_EQ(::GetModuleHandleW(L"kernel32.dll"), module);
                                         EXPECT_STREQ("GetNativeSystemInfo", name);
                                         if (!m_machine.m_knowsNative) return nullptr;
                                         return reinterpret_cast<FARPROC>(
                                             reinterpret_cast<void (*)()>(&mf_answerNative));
                                     }};
    ICImportPatch const m_onMetrics{IC_IMPORT(GetSystemMetrics), [this](int index) {
                                        EXPECT_EQ(SM_SERVERR2, index);
                                        return m_machine.m_isR2;
                                    }};
    ICImportPatch const m_onKey{
        IC_IMPORT(RegOpenKeyExW), [this](HKEY root, wchar_t const * path, DWORD, REGSAM, HKEY * key) -> LSTATUS {
            EXPECT_EQ(HKEY_LOCAL_MACHINE, root);
            EXPECT_STREQ(L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Hotfix\\Q246009", path);
            if (!m_machine.m_hasFix) return ERROR_FILE_NOT_FOUND;
            return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE", 0, KEY_QUERY_VALUE, key);
        }};
};

struct PRODUCT
{
    ulong major;
    ulong minor;
    BYTE type;
    WORD architecture;
    int isR2;
    wchar_t const * text;
};

// With the edition that follows.
constexpr PRODUCT PRODUCTS[] = {
    {6, 0, WORKSTATION, X64, 0, L"Microsoft Windows Vista, Professional, "},
    {6, 0, WORKSTATION, X64, 1, L"Microsoft Windows Vista, Professional, "},
    {6, 0, SERVER, X64, 0, L"Microsoft Server 2008, Standard x64 Edition, "},
    {6, 0, CONTROLLER, X64, 0, L"Microsoft Server 2008, Standard x64 Edition, "},
    {5, 2, SERVER, X86, 1, L"Microsoft Windows Server 2003 R2, Standard Edition, "},
    {5, 2, WORKSTATION, X64, 1, L"Microsoft Windows Server 2003 R2, Professional, "},
    {5, 2, WORKSTATION, X64, 0, L"Microsoft Windows XP Professional x64 Edition Professional, "},
    {5, 2, WORKSTATION, X86, 0, L"Microsoft Windows Server 2003, Professional, "},
    {5, 2, WORKSTATION, ITANIUM, 0, L"Microsoft Windows Server 2003, Professional, "},
    {5, 2, SERVER, X64, 0, L"Microsoft Windows Server 2003, Standard x64 Edition, "},
    {5, 1, WORKSTATION, X86, 0, L"Microsoft Windows XP, Professional, "},
    {5, 1, SERVER, X86, 0, L"Microsoft Windows XP, Server 4.0, "},
    {5, 0, WORKSTATION, X86, 0, L"Microsoft Windows 2000, Professional, "},
    {5, 0, SERVER, X86, 0, L"Microsoft Windows 2000, Server, "},
    {4, 0, WORKSTATION, X86, 0, L"Microsoft Windows NT, Workstation 4.0, "},
    {4, 0, SERVER, X86, 0, L"Microsoft Windows NT, Server 4.0, "},
    {3, 51, WORKSTATION, X86, 0, L"Microsoft Windows NT, Professional, "},
    {3, 51, SERVER, X86, 0, L"Microsoft Windows NT, Server 4.0, "},
    {5, 3, WORKSTATION, X86, 1, L"Professional, "},
    {6, 1, WORKSTATION, X64, 1, L"Professional, "},
    {6, 1, SERVER, X64, 0, L"Standard x64 Edition, "},
    {6, 3, SERVER, X64, 0, L"Standard x64 Edition, "},
    {10, 0, SERVER, X64, 0, L"Standard x64 Edition, "},
    {10, 0, WORKSTATION, X64, 0, L"Professional, "},
};

struct EDITION
{
    ulong major;
    ulong minor;
    WORD architecture;
    WORD suite;
    wchar_t const * text;
};

// Of servers, behind the product.
constexpr EDITION EDITIONS[] = {
    {5, 0, X86, DATACENTER, L"Datacenter Server "},
    {5, 0, X64, DATACENTER | ENTERPRISE, L"Datacenter Server "},
    {5, 0, ITANIUM, ENTERPRISE, L"Advanced Server, "},
    {5, 0, X86, WEB, L"Server, "},
    {4, 0, X86, ENTERPRISE, L"Server 4.0, Enterprise Edition, "},
    {4, 0, X86, ENTERPRISE | DATACENTER, L"Server 4.0, Enterprise Edition, "},
    {4, 0, X86, DATACENTER, L"Server 4.0, "},
    {5, 1, X64, ENTERPRISE, L"Server 4.0, Enterprise Edition, "},
    {5, 1, X64, NO_SUITE, L"Server 4.0, "},
    {5, 2, ITANIUM, DATACENTER | ENTERPRISE, L"Datacenter Edition for Itanium-based Systems, "},
    {5, 2, ITANIUM, ENTERPRISE, L"Enterprise Edition for Itanium-based Systems, "},
    {5, 2, ITANIUM, NO_SUITE, L""},
    {5, 2, ITANIUM, WEB, L""},
    {5, 2, X64, DATACENTER | ENTERPRISE, L"Datacenter x64 Edition, "},
    {5, 2, X64, ENTERPRISE, L"Enterprise x64 Edition, "},
    {5, 2, X64, NO_SUITE, L"Standard x64 Edition, "},
    {5, 2, X64, WEB, L"Standard x64 Edition, "},
    {5, 2, X86, DATACENTER | ENTERPRISE, L"Datacenter Edition, "},
    {5, 2, X86, ENTERPRISE, L"Enterprise Edition, "},
    {5, 2, X86, WEB, L"Web Edition, "},
    {5, 2, X86, WEB | 0x10, L"Standard Edition, "},
    {5, 2, X86, WEB | ENTERPRISE, L"Enterprise Edition, "},
    {5, 2, X86, NO_SUITE, L"Standard Edition, "},
    {6, 0, ITANIUM, DATACENTER, L"Datacenter Edition for Itanium-based Systems, "},
    {6, 1, X64, ENTERPRISE, L"Enterprise x64 Edition, "},
    {10, 0, X86, WEB, L"Web Edition, "},
    {6, 1, 12, NO_SUITE, L"Standard Edition, "},
};

struct CONSUMER
{
    ulong major;
    ulong minor;
    wchar_t const * service;
    wchar_t const * text;
};

constexpr CONSUMER CONSUMERS[] = {
    {4, 0, L"", L"Microsoft Windows 95 "},
    {4, 0, L" A", L"Microsoft Windows 95 "},
    {4, 0, L" B", L"Microsoft Windows 95 OSR2 "},
    {4, 0, L" C", L"Microsoft Windows 95 OSR2 "},
    {4, 0, L"B ", L"Microsoft Windows 95 "},
    {4, 0, L" b", L"Microsoft Windows 95 "},
    {4, 10, L"", L"Microsoft Windows 98 "},
    {4, 10, L" A ", L"Microsoft Windows 98 SE "},
    {4, 10, L" B", L"Microsoft Windows 98 "},
    {4, 90, L" A", L"Microsoft Windows Millennium Edition"},
    {4, 1, L"", L""},
    {5, 0, L"", L""},
    {3, 10, L"", L""},
};

} // namespace

TEST_F(ICSystemVersion, Products)
{
    for (PRODUCT const & row : PRODUCTS) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        m_machine.m_major = row.major;
        m_machine.m_minor = row.minor;
        m_machine.m_type = row.type;
        m_machine.m_nativeArchitecture = row.architecture;
        m_machine.m_isR2 = row.isR2;
        EXPECT_EQ(row.text, mf_describe());
    }
}

TEST_F(ICSystemVersion, ServerEditions)
{
    for (EDITION const & row : EDITIONS) {
        for (BYTE const type : {SERVER, CONTROLLER}) {
            SCOPED_TRACE(testing::PrintToString(row.text));
            m_machine.m_major = row.major;
            m_machine.m_minor = row.minor;
            m_machine.m_type = type;
            m_machine.m_nativeArchitecture = row.architecture;
            m_machine.m_suite = row.suite;
            std::wstring const text = mf_describe();
            std::size_t const product = text.starts_with(L"Microsoft") ? text.find(L", ") + 2 : 0;
            EXPECT_EQ(row.text, text.substr(product));
        }
    }
}

TEST_F(ICSystemVersion, WorkstationEditions)
{
    m_machine.m_type = WORKSTATION;
    m_machine.m_suite = HOME | ENTERPRISE;
    EXPECT_EQ(L"Microsoft Windows Vista, Home Edition, ", mf_describe());
    m_machine.m_suite = DATACENTER | ENTERPRISE | WEB;
    EXPECT_EQ(L"Microsoft Windows Vista, Professional, ", mf_describe());
    m_machine.m_major = 4;
    m_machine.m_suite = HOME;
    EXPECT_EQ(L"Microsoft Windows NT, Workstation 4.0, ", mf_describe());
}

TEST_F(ICSystemVersion, ConsumerSystems)
{
    m_machine.m_platform = VER_PLATFORM_WIN32_WINDOWS;
    for (CONSUMER const & row : CONSUMERS) {
        SCOPED_TRACE(testing::Message() << row.major << "." << row.minor << testing::PrintToString(row.service));
        m_machine.m_major = row.major;
        m_machine.m_minor = row.minor;
        m_machine.m_service = row.service;
        EXPECT_STREQ(row.text, ICSystem::mf_getSystemVersionString());
    }
}

TEST_F(ICSystemVersion, OtherPlatforms)
{
    m_machine.m_platform = VER_PLATFORM_WIN32s;
    EXPECT_STREQ(L"Microsoft Win32s", ICSystem::mf_getSystemVersionString());
    for (ulong const platform : {3ul, 0xfffffffful}) {
        m_machine.m_platform = platform;
        EXPECT_STREQ(L"", ICSystem::mf_getSystemVersionString());
    }
}

TEST_F(ICSystemVersion, ServiceLevel_EndsTheText)
{
    EXPECT_STREQ(L"Microsoft Server 2008, Standard x64 Edition, No Service Pack (Build 42)",
                 ICSystem::mf_getSystemVersionString());
    m_machine.m_service = L"Service Pack 2";
    m_machine.m_build = 6002;
    EXPECT_STREQ(L"Microsoft Server 2008, Standard x64 Edition, Service Pack 2 (Build 6002)",
                 ICSystem::mf_getSystemVersionString());
    m_machine.m_service = L"Service Pack 6";
    m_machine.m_hasFix = true;
    EXPECT_STREQ(L"Microsoft Server 2008, Standard x64 Edition, Service Pack 6 (Build 6002)",
                 ICSystem::mf_getSystemVersionString());
}

TEST_F(ICSystemVersion, ServicePack6_OfMajor4_IsToldFrom6aByItsFix)
{
    struct
    {
        wchar_t const * service;
        bool hasFix;
        wchar_t const * text;
    } const rows[] = {{L"Service Pack 6", true, L"Service Pack 6a (Build 42)"},
                      {L"SERVICE pack 6", true, L"Service Pack 6a (Build 42)"},
                      {L"Service Pack 6", false, L"Service Pack 6 (Build 42)"},
                      {L"SERVICE pack 6", false, L"SERVICE pack 6 (Build 42)"},
                      {L"Service Pack 6a", true, L"Service Pack 6a (Build 42)"},
                      {L"Service Pack 5", true, L"Service Pack 5 (Build 42)"}};
    m_machine.m_major = 4;
    ICImportFault const closed("RegCloseKey");
    for (auto const & row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.service));
        m_machine.m_service = row.service;
        m_machine.m_hasFix = row.hasFix;
        EXPECT_STREQ(CString(L"Microsoft Windows NT, Server 4.0, ") + row.text, ICSystem::mf_getSystemVersionString());
    }
    EXPECT_EQ(2u, closed.mf_getCalls()) << "each key that was opened";
}

TEST_F(ICSystemVersion, Architecture_IsTheNativeOneWhereThePlatformKnowsIt)
{
    m_machine.m_architecture = ITANIUM;
    m_machine.m_suite = ENTERPRISE;
    EXPECT_EQ(L"Microsoft Server 2008, Enterprise x64 Edition, ", mf_describe());
    m_machine.m_knowsNative = false;
    EXPECT_EQ(L"Microsoft Server 2008, Enterprise Edition for Itanium-based Systems, ", mf_describe());
}

TEST_F(ICSystemVersion, Failures)
{
    auto const ask = [] { ICSystem::mf_getSystemVersionString(); };
    for (BYTE const type : {BYTE{0}, BYTE{4}}) {
        m_machine.m_type = type;
        EXPECT_THAT(m_process.mf_run(ask),
                    f_fails(ICErrno::_E_::NotImplemented, 'E', "ICSystem::mf_getSystemVersionString",
                            "No implemented: Windows NT 4.0 SP5 and earlier"));
    }
    ICImportFault const refused("GetVersionExW", DENIED);
    EXPECT_THAT(m_process.mf_run(ask),
                f_failsShowing(ICErrno::_E_::System, DENIED, "ICSystem::mf_getSystemVersionString",
                               "Failure querying Windows version info: "));
}

TEST_F(ICSystemVersion, Bits_AreThoseThatTheProcessSees)
{
    struct
    {
        WORD architecture;
        int is32Bit;
        int is64Bit;
    } const rows[] = {{X86, 1, 0}, {X64, 0, 1}, {ITANIUM, 0, 1}, {5, 0, 0}, {0xffff, 0, 0}};
    for (auto const & row : rows) {
        SCOPED_TRACE(row.architecture);
        m_machine.m_architecture = row.architecture;
        EXPECT_EQ(row.is32Bit, ICSystem::mf_is32Bit());
        EXPECT_EQ(row.is64Bit, ICSystem::mf_is64Bit());
    }
}

namespace
{

// A system of a version, against which the library has the platform verify another one.
class ICSystemAtLeast : public testing::Test
{
protected:
    using VERSION = std::tuple<ulong, ulong, ulong>;

    static ULONGLONG mf_conditions(ulong compared)
    {
        ULONGLONG conditions = 0;
        for (ulong const bit : {0x1ul, 0x2ul, 0x20ul}) {
            if (compared & bit) conditions = ::VerSetConditionMask(conditions, bit, VER_GREATER_EQUAL);
        }
        return conditions;
    }

    VERSION m_system{5, 2, 0};
    ulong m_compared = 0;
    ICImportPatch const m_onVerify{
        IC_IMPORT(VerifyVersionInfoW), [this](OSVERSIONINFOEXW * asked, DWORD compared, DWORDLONG conditions) {
            EXPECT_EQ(sizeof(*asked), asked->dwOSVersionInfoSize);
            EXPECT_EQ(mf_conditions(compared), conditions);
            m_compared = compared;
            VERSION const least{asked->dwMajorVersion, asked->dwMinorVersion, asked->wServicePackMajor};
            return m_system >= least ? TRUE : FALSE;
        }};
};

} // namespace

TEST_F(ICSystemAtLeast, EachSystem)
{
    struct
    {
        VERSION system;
        int is2000;
        int is2003;
        int is2008;
    } const rows[] = {{{4, 0, 0}, 0, 0, 0}, {{5, 0, 0}, 1, 0, 0}, {{5, 1, 0}, 1, 0, 0}, {{5, 2, 0}, 1, 1, 0},
                      {{6, 0, 0}, 1, 1, 1}, {{6, 1, 0}, 1, 1, 1}, {{10, 0, 0}, 1, 1, 1}};
    for (auto const & row : rows) {
        m_system = row.system;
        EXPECT_EQ(row.is2000, ICSystem::mf_isAtLeastW2000(0));
        EXPECT_EQ(row.is2003, ICSystem::mf_isAtLeastW2003(0));
        EXPECT_EQ(row.is2008, ICSystem::mf_isAtLeastW2008(0));
        EXPECT_EQ(0x3u, m_compared);
    }
}

TEST_F(ICSystemAtLeast, ServicePack_IsComparedUnlessItIs0)
{
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2003(0));
    EXPECT_EQ(0, ICSystem::mf_isAtLeastW2003(1));
    EXPECT_EQ(0x23u, m_compared);
    m_system = {5, 2, 1};
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2003(1));
    EXPECT_EQ(0, ICSystem::mf_isAtLeastW2003(2));
    m_system = {5, 0, 3};
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2000(3));
    EXPECT_EQ(0, ICSystem::mf_isAtLeastW2000(4));
    m_system = {6, 0, 1};
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2008(1));
    EXPECT_EQ(0, ICSystem::mf_isAtLeastW2008(65535));
}

// Deliberate: a severe line on every call, whatever comes out.
TEST_F(ICSystemAtLeast, W2008_LeavesASevereLine)
{
    ICTracedProcess const process;
    auto const line = f_isRecord('S', "ICSystem::mf_isAtLeastW2008", "Windows 2008 version numbers: To be fixed");
    auto const ask = [] { ICSystem::mf_isAtLeastW2008(0); };
    EXPECT_THAT(process.mf_trace(ask), ElementsAre(line));
    m_system = {6, 0, 0};
    EXPECT_THAT(process.mf_trace(ask), ElementsAre(line));
    EXPECT_THAT(process.mf_trace([] { ICSystem::mf_isAtLeastW2003(1); }), testing::IsEmpty());
}

// Nothing patched: the system that runs the tests is no older than any of them.
TEST(ICSystemThisVersion, IsAtLeastEach)
{
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2000(0));
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2003(0));
    EXPECT_EQ(1, ICSystem::mf_isAtLeastW2008(0));
    EXPECT_EQ(0, ICSystem::mf_is32Bit());
    EXPECT_EQ(1, ICSystem::mf_is64Bit());

    OSVERSIONINFOW version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    ASSERT_TRUE(::GetVersionExW(&version));
    CString build;
    build.Format(L"(Build %lu)", version.dwBuildNumber);
    EXPECT_EQ(build, ICSystem::mf_getSystemVersionString().Right(build.GetLength()));
}

TEST(ICSystemHardware, Architectures)
{
    EXPECT_STREQ(L"x86 (32-bit)", ICSystem::mf_implGetProcessorArchitectureString(0));
    EXPECT_STREQ(L"Intel Itanium Processor Family (IPF)", ICSystem::mf_implGetProcessorArchitectureString(6));
    EXPECT_STREQ(L"x64 (AMD or Intel)", ICSystem::mf_implGetProcessorArchitectureString(9));
    for (ulong const other : {1ul, 5ul, 12ul, 0xfffful, 0x10000ul})
        EXPECT_STREQ(L"Unknown processor", ICSystem::mf_implGetProcessorArchitectureString(other));
}

TEST(ICSystemHardware, IsOneInformation)
{
    ICImportPatch const machine(IC_IMPORT(GetSystemInfo), [](SYSTEM_INFO * info) {
        *info = {};
        info->wProcessorArchitecture = X64;
        info->dwNumberOfProcessors = 48;
        info->dwPageSize = 4096;
        info->lpMinimumApplicationAddress = reinterpret_cast<void *>(0x10000);
        info->lpMaximumApplicationAddress = reinterpret_cast<void *>(0x7FFFFFFEFFFF);
    });
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_trace([] { ICSystem::mf_logHardwareInformation(); }),
                ElementsAre(f_isRecord('I', "ICSystem::mf_logHardwareInformation",
                                       "Number of processors: 48 (x64 (AMD or Intel)), memory page size: 4096 bytes\n"
                                       "Application address space: 0x0000000000010000 - 0x00007FFFFFFEFFFF")));
}
