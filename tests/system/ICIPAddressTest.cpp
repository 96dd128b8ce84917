#include "hsmbase/system/internal/ICIPAddress.h"

#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

namespace
{

struct NUMBERED
{
    ulong number;
    wchar_t const * text;
    ulong shownNumber;
};

constexpr NUMBERED ADDRESSES[] = {
    {0x0100007F, L"127.0.0.1", 0x7F000001},       {0x01020304, L"4.3.2.1", 0x04030201},
    {0xFFFFFFFF, L"255.255.255.255", 0xFFFFFFFF}, {0x00000001, L"1.0.0.0", 0x01000000},
    {0x80000000, L"0.0.0.128", 0x00000080},       {0xFE01A8C0, L"192.168.1.254", 0xC0A801FE},
};

// An address with a text that no number makes.
ICIPAddress f_address(wchar_t const * text)
{
    ICIPAddress address(1, 0);
    address.m_sAddress = text;
    return address;
}

} // namespace

TEST(ICIPAddress, Number_IsReadFromItsLowestByte)
{
    for (NUMBERED const & row : ADDRESSES) {
        SCOPED_TRACE(row.number);
        ICIPAddress const address(row.number, 0);
        EXPECT_STREQ(row.text, address.mf_getAddress());
        EXPECT_STREQ(CString(row.text) + L" (IPV4)", address.mf_toString());
    }
}

// Deliberate: the way back has the other order of bytes.
TEST(ICIPAddress, ShownNumber_HasTheFirstNumberHighest)
{
    for (NUMBERED const & row : ADDRESSES)
        EXPECT_EQ(row.shownNumber, ICIPAddress(row.number, 0).mf_getNumber()) << row.number;
}

TEST(ICIPAddress, AdapterValue_IsKept)
{
    EXPECT_EQ(42u, ICIPAddress(1, 42).m_ulAdapterValue);
}

TEST(ICIPAddress, RoughTest_TakesHexadecimalDigitsAndThreeDots)
{
    for (wchar_t const * text : {L"1.2.3.4", L"255.255.255.255", L"a.b.C.F", L"...1234", L"9999.9999.9.999"})
        EXPECT_STREQ(text + CString(L" (IPV4)"), f_address(text).mf_toString());
}

TEST(ICIPAddress, RoughTest_TakesAnythingElseForTheOtherKind)
{
    for (wchar_t const * text : {L"", L"....", L"1.2.3", L"1.2.3.4.5", L"1..3.", L"1.2.3.", L"1234.1234.1234.1",
                                 L"fe80::1", L"1.2.3.g", L"1.2.3.4 ", L" 1.2.3.4", L"1.2.3.\xFF11", L"12345"})
        EXPECT_STREQ(text + CString(L" (IPV6)"), f_address(text).mf_toString());
}

TEST(ICIPAddress, ShownNumber_IsJoinedWithoutLookingAtRanges)
{
    EXPECT_EQ(0x0204E703u, f_address(L"2.1.999.3").mf_getNumber());
    EXPECT_EQ(0u, f_address(L"a.b.c.d").mf_getNumber());
    EXPECT_EQ(0x01000000u, f_address(L"1.b.3.4").mf_getNumber());
}

TEST(ICIPAddress, Failures)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICIPAddress(0, 1); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Formatting, [] { f_address(L"fe80::1").mf_getNumber(); }));
}

TEST(ICIPAddress, Failures_LeaveTheirLines)
{
    ICTracedProcess const process(L"German");
    EXPECT_THAT(process.mf_run([] { ICIPAddress(0, 1); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICIPAddress::ICIPAddress", "0 is not a valid IP address"));
    EXPECT_THAT(process.mf_run([] { f_address(L"fe80::1").mf_getNumber(); }),
                f_fails(ICErrno::_E_::Formatting, 'E', "ICIPAddress::mf_getNumber",
                        "String 'fe80::1' is not an IPV4 address string"));
}
