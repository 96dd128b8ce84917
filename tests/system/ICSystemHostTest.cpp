// The machine's name and addresses, and the report of the machine.
#include "hsmbase/system/ICSystem.h"

#include <cstddef>

#include <iphlpapi.h>

#include "hsmbase/system/internal/ICIPAddress.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr ulong LOOPBACK = 0x0100007F;
constexpr ulong PRIVATE = 0xFE01A8C0;

// A machine with a name and addresses, of which nothing has been asked yet.
class ICSystemHost : public testing::Test
{
protected:
    void SetUp() override { mf_forget(); }
    void TearDown() override { mf_forget(); }

    static void mf_forget()
    {
        ICSystem::m_sHostName.Empty();
        ICSystem::m_sSystemRoot.Empty();
        for (INT_PTR index = 0; index < ICSystem::m_aHostAddresses.GetCount(); ++index)
            delete ICSystem::m_aHostAddresses[index];
        ICSystem::m_aHostAddresses.RemoveAll();
    }

    static INT_PTR mf_countKept() { return ICSystem::m_aHostAddresses.GetCount(); }

    ICTracedAction mf_askAddresses() const
    {
        return m_process.mf_run([] { ICSystem::mf_getHostAddresses(); });
    }
    ICTracedAction mf_askName() const
    {
        return m_process.mf_run([] { ICSystem::mf_getHostName(); });
    }

    BOOL mf_nameHost(COMPUTER_NAME_FORMAT format, wchar_t * buffer, DWORD * size)
    {
        ++m_namings;
        EXPECT_EQ(ComputerNameDnsHostname, format);
        EXPECT_EQ(256u, *size);
        ::wcscpy_s(buffer, *size, m_name.c_str());
        return TRUE;
    }

    DWORD mf_fillTable(MIB_IPADDRTABLE * table, ULONG * size, BOOL isSorted)
    {
        ++m_tables;
        ulong const needed =
            static_cast<ulong>(offsetof(MIB_IPADDRTABLE, table) + m_rows.size() * sizeof(MIB_IPADDRROW));
        if (table == nullptr || *size < needed) {
            *size = needed;
            return ERROR_INSUFFICIENT_BUFFER;
        }
        EXPECT_TRUE(isSorted);
        table->dwNumEntries = static_cast<ulong>(m_rows.size());
        for (std::size_t row = 0; row < m_rows.size(); ++row)
            table->table[row].dwAddr = m_rows[row];
        return NO_ERROR;
    }

    ICTracedProcess const m_process;
    std::wstring m_name = L"My-Host";
    std::vector<ulong> m_rows{LOOPBACK, PRIVATE};
    int m_namings = 0;
    int m_tables = 0;
    ICImportPatch const m_onName{IC_IMPORT(GetComputerNameExW),
                                 [this](COMPUTER_NAME_FORMAT format, wchar_t * buffer, DWORD * size) {
                                     return mf_nameHost(format, buffer, size);
                                 }};
    ICImportPatch const m_onTable{
        IC_IMPORT(GetIpAddrTable),
        [this](MIB_IPADDRTABLE * table, ULONG * size, BOOL isSorted) { return mf_fillTable(table, size, isSorted); }};
};

auto f_isInfo(std::string const & operation, std::string const & text)
{
    return f_isRecord('I', "ICSystem::" + operation, text);
}

} // namespace

TEST_F(ICSystemHost, Name_IsAskedOnceAndKeptInCapitals)
{
    EXPECT_THAT(mf_askName().m_records, ElementsAre(f_isInfo("mf_getHostName", "Local host name is 'MY-HOST'")));
    EXPECT_THAT(mf_askName().m_records, IsEmpty());
    EXPECT_STREQ(L"MY-HOST", ICSystem::mf_getHostName());
    EXPECT_EQ(1, m_namings);
    EXPECT_EQ(&ICSystem::m_sHostName, &ICSystem::mf_getHostName());
}

TEST_F(ICSystemHost, EmptyName_IsAskedForAgain)
{
    m_name.clear();
    EXPECT_STREQ(L"", ICSystem::mf_getHostName());
    m_name = L"late";
    EXPECT_STREQ(L"LATE", ICSystem::mf_getHostName());
}

TEST_F(ICSystemHost, RefusedName_IsAskedForAgain)
{
    {
        ICImportFault const refused("GetComputerNameExW", DENIED);
        EXPECT_THAT(mf_askName(), f_failsShowing(ICErrno::_E_::System, DENIED, "ICSystem::mf_getHostName",
                                                 "Failure requesting hostname: "));
    }
    EXPECT_STREQ(L"MY-HOST", ICSystem::mf_getHostName());
}

TEST_F(ICSystemHost, Addresses_AreAllRowsInOrder_AskedForOnce)
{
    auto const & addresses = ICSystem::mf_getHostAddresses();
    ASSERT_EQ(2, addresses.GetCount());
    EXPECT_STREQ(L"127.0.0.1", addresses[0]->mf_getAddress());
    EXPECT_STREQ(L"192.168.1.254", addresses[1]->mf_getAddress());
    EXPECT_EQ(0u, addresses[0]->m_ulAdapterValue);
    EXPECT_EQ(&addresses, &ICSystem::mf_getHostAddresses());
    EXPECT_EQ(2, m_tables) << "the size, and the table";
}

TEST_F(ICSystemHost, Addresses_AreReportedByTheirNumber)
{
    EXPECT_THAT(mf_askAddresses().m_records,
                ElementsAre(f_isInfo("mf_getHostAddresses",
                                     "Found 2 local host IP addresses:\n127.0.0.1       \n192.168.1.254   ")));
    mf_forget();
    m_rows = {PRIVATE};
    EXPECT_THAT(mf_askAddresses().m_records,
                ElementsAre(f_isInfo("mf_getHostAddresses", "Local host IP address is '192.168.1.254'")));
}

TEST_F(ICSystemHost, NoAddress_IsAWarningAndAskedForAgain)
{
    m_rows.clear();
    for (int round = 0; round < 2; ++round) {
        EXPECT_THAT(mf_askAddresses().m_records,
                    ElementsAre(f_isRecord('W', "ICSystem::mf_getHostAddresses", "No local host IP addresses found")));
    }
    m_rows = {LOOPBACK};
    EXPECT_EQ(1, ICSystem::mf_getHostAddresses().GetCount());
}

// Deliberate: both calls leave the same text.
TEST_F(ICSystemHost, RefusedTable_KeepsNothing)
{
    for (ulong const call : {1ul, 2ul}) {
        SCOPED_TRACE(call);
        ICImportFault const refused("GetIpAddrTable", ICAnswer::mf_code(DENIED), ICCalls::mf_only(call));
        EXPECT_THAT(mf_askAddresses(), f_failsShowing(ICErrno::_E_::System, DENIED, "ICSystem::mf_getHostAddresses",
                                                      "Failure requesting IP address table size: "));
        EXPECT_EQ(1u, refused.mf_getAnswered());
        EXPECT_EQ(0, mf_countKept());
    }
    EXPECT_EQ(2, ICSystem::mf_getHostAddresses().GetCount());
}

TEST_F(ICSystemHost, TableWithoutNeedOfASize_IsAFailure)
{
    ICImportFault const refused("GetIpAddrTable", ICAnswer::mf_code(NO_ERROR), ICCalls::mf_only(1));
    EXPECT_THAT(mf_askAddresses(), f_failsShowing(ICErrno::_E_::System, NO_ERROR, "ICSystem::mf_getHostAddresses",
                                                  "Failure requesting IP address table size: "));
}

TEST_F(ICSystemHost, NoMemoryForTheTable_TellsItsSize)
{
    ICImportFault const noMemory("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(mf_askAddresses(), f_fails(ICErrno::_E_::Memory, 'E', "ICSystem::mf_getHostAddresses",
                                           "Failure allocating 52 bytes of memory of IP table buffer"));
    EXPECT_EQ(0, mf_countKept());
}

TEST_F(ICSystemHost, RowWithoutAddress_RefusesAllRows)
{
    m_rows = {LOOPBACK, 0, PRIVATE};
    EXPECT_THAT(mf_askAddresses(),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICIPAddress::ICIPAddress", "0 is not a valid IP address"));
    EXPECT_EQ(0, mf_countKept());
}

TEST_F(ICSystemHost, LocalServer_IsTheNameInAnyCaseOrAnExactAddress)
{
    for (wchar_t const * local : {L"MY-HOST", L"my-host", L"127.0.0.1", L"192.168.1.254"})
        EXPECT_EQ(1, ICSystem::mf_isLocalServer(local)) << testing::PrintToString(local);
    for (wchar_t const * other : {L"localhost", L"my-host.example.com", L"my-hos", L"127.0.0.2", L"127.0.0.1 (IPV4)",
                                  L" 127.0.0.1", L"127.0.0.1 ", L"127.000.000.001"})
        EXPECT_EQ(0, ICSystem::mf_isLocalServer(other)) << testing::PrintToString(other);
}

TEST_F(ICSystemHost, LocalServer_ByName_NeedsNoAddresses)
{
    EXPECT_EQ(1, ICSystem::mf_isLocalServer(L"my-host"));
    EXPECT_EQ(0, m_tables);
}

TEST_F(ICSystemHost, LocalServer_PassesFailuresOn)
{
    EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_isLocalServer(L""); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICSystem::mf_isLocalServer", "No host or IP address given"));
    EXPECT_EQ(0, m_namings);

    auto const ask = [] { ICSystem::mf_isLocalServer(L"x"); };
    ICImportFault const noTable("GetIpAddrTable", ICAnswer::mf_code(DENIED));
    EXPECT_EQ(DENIED, m_process.mf_run(ask).m_originatorErrno);
    ICSystem::m_sHostName.Empty();
    ICImportFault const noName("GetComputerNameExW", ERROR_INVALID_PARAMETER);
    EXPECT_EQ(ulong{ERROR_INVALID_PARAMETER}, m_process.mf_run(ask).m_originatorErrno);
}

TEST_F(ICSystemHost, Report_NumbersTheAddressesFrom0)
{
    ICImportPatch const root(IC_IMPORT(GetEnvironmentVariableW), [](wchar_t const *, wchar_t * value, DWORD size) {
        ::wcscpy_s(value, size, L"C:\\Win");
        return DWORD{6};
    });
    ICImportPatch const codePage(IC_IMPORT(GetLocaleInfoW), [](LCID, LCTYPE, wchar_t * value, int size) {
        ::wcscpy_s(value, static_cast<std::size_t>(size), L"1250");
        return 5;
    });
    EXPECT_STREQ(L"> System root:            C:\\Win\\\r\n"
                 L"> ANSI code page:         CP1250\r\n"
                 L"> Host name:              MY-HOST\r\n"
                 L"> Address   0:            127.0.0.1 (0x7f000001)\r\n"
                 L"> Address   1:            192.168.1.254 (0xc0a801fe)",
                 ICSystem::mf_toString(L"> "));
}

// Nothing patched: what the machine says of itself.
TEST(ICSystemThisHost, NameAndLoopbackAddress_AreLocal)
{
    wchar_t name[256] = {};
    DWORD size = 256;
    ASSERT_TRUE(::GetComputerNameExW(ComputerNameDnsHostname, name, &size));

    EXPECT_STREQ(CString(name).MakeUpper(), ICSystem::mf_getHostName());
    EXPECT_EQ(1, ICSystem::mf_isLocalServer(CString(name).MakeLower()));
    EXPECT_EQ(1, ICSystem::mf_isLocalServer(L"127.0.0.1"));
    EXPECT_EQ(0, ICSystem::mf_isLocalServer(L"localhost"));
}
