#include <gtest/gtest.h>

#include "hsmbase/system/ICHost.h"

namespace
{

struct NAME_AND_PORT
{
    wchar_t const * text;
    wchar_t const * name;
    int port;
};

constexpr NAME_AND_PORT TEXTS[] = {
    {L"srv:1500", L"srv", 1500},
    {L"srv", L"srv", ICHost::PORT_DEFAULT},
    {L"", L"", ICHost::PORT_DEFAULT},
    {L":", L"", 0},
    {L":80", L"", 80},
    {L"srv:", L"srv", 0},
    {L"srv:x", L"srv", 0},
    {L"srv:15x", L"srv", 15},
    {L"srv: \t15", L"srv", 15},
    {L"srv:+15", L"srv", 15},
    {L"srv:-1", L"srv", ICHost::PORT_NONE},
    {L"srv:0x10", L"srv", 0},
    {L"srv:010", L"srv", 10},
    {L"srv:99999999999", L"srv", 2147483647},
    {L"srv:-99999999999", L"srv", -2147483647 - 1},
    {L"a:b:80", L"a", 0},
    {L"fe80::1", L"fe80", 0},
    {L" srv :1", L" srv ", 1},
};

} // namespace

TEST(ICHost, Default_HasNeitherNameNorPort)
{
    ICHost const host;
    EXPECT_TRUE(host.mf_getName().IsEmpty());
    EXPECT_EQ(-1, host.mf_getPort());
    EXPECT_TRUE(host.mf_isEmpty());
    EXPECT_FALSE(host.mf_hasPort());
}

TEST(ICHost, Constants_AreNoPortsOfTheirOwn)
{
    static_assert(ICHost::PORT_NONE == -1 && ICHost::PORT_DEFAULT == 0);
    EXPECT_FALSE(ICHost(L"srv", ICHost::PORT_NONE).mf_hasPort());
    EXPECT_FALSE(ICHost(L"srv", ICHost::PORT_DEFAULT).mf_hasPort());
    EXPECT_TRUE(ICHost(L"srv", 1).mf_hasPort());
    EXPECT_TRUE(ICHost(L"srv", -2).mf_hasPort());
}

TEST(ICHost, Text_IsSplitAtItsFirstColon)
{
    for (NAME_AND_PORT const & row : TEXTS) {
        SCOPED_TRACE(testing::PrintToString(row.text));
        ICHost const host{CString(row.text)};
        EXPECT_STREQ(row.name, host.mf_getName());
        EXPECT_EQ(row.port, host.mf_getPort());

        CString name(L"old");
        int port = 7;
        ICHost::mf_splitNameAndPort(row.text, name, port);
        EXPECT_STREQ(row.name, name);
        EXPECT_EQ(row.port, port);
    }
}

TEST(ICHost, Split_MayWriteOverItsText)
{
    CString text(L"srv:1500");
    int port = 0;
    ICHost::mf_splitNameAndPort(text, text, port);
    EXPECT_STREQ(L"srv", text);
    EXPECT_EQ(1500, port);
}

TEST(ICHost, NameAndPortApart_AreNotSplit)
{
    ICHost const byNumber(L"a:b", 70000);
    EXPECT_STREQ(L"a:b", byNumber.mf_getName());
    EXPECT_EQ(70000, byNumber.mf_getPort());

    ICHost const byText(L"a:b", CString(L"15x"));
    EXPECT_STREQ(L"a:b", byText.mf_getName());
    EXPECT_EQ(15, byText.mf_getPort());
}

TEST(ICHost, Setters_TakeNameVerbatimAndPortAsText)
{
    ICHost host(L"srv:1500");
    host.mf_setName(L"other:1");
    EXPECT_STREQ(L"other:1", host.mf_getName());
    EXPECT_EQ(1500, host.mf_getPort());

    host.mf_setPort(L"99 ");
    EXPECT_EQ(99, host.mf_getPort());
    host.mf_setPort(L"");
    EXPECT_EQ(0, host.mf_getPort());
}

TEST(ICHost, PortString_IsEmptyWithoutAPortOfItsOwn)
{
    EXPECT_STREQ(L"", ICHost(L"srv", ICHost::PORT_NONE).mf_getPortString());
    EXPECT_STREQ(L"", ICHost(L"srv", ICHost::PORT_DEFAULT).mf_getPortString());
    EXPECT_STREQ(L"1500", ICHost(L"srv", 1500).mf_getPortString());
    EXPECT_STREQ(L"-2", ICHost(L"srv", -2).mf_getPortString());
}

TEST(ICHost, ToString_ShowsAPortOfItsOwn)
{
    EXPECT_STREQ(L"srv:1500", ICHost(L"srv:1500").mf_toString());
    EXPECT_STREQ(L"srv", ICHost(L"srv:").mf_toString());
    EXPECT_STREQ(L"srv", ICHost(L"srv").mf_toString());
    EXPECT_STREQ(L"srv", ICHost(L"srv", ICHost::PORT_NONE).mf_toString());
}

TEST(ICHost, ToString_WithoutName_IsEmptyWhateverThePort)
{
    EXPECT_STREQ(L"", ICHost(L":1500").mf_toString());
    EXPECT_STREQ(L"", ICHost().mf_toString());
}

TEST(ICHost, IsEmpty_LooksAtTheNameAlone)
{
    EXPECT_TRUE(ICHost(L":1500").mf_isEmpty());
    EXPECT_FALSE(ICHost(L"srv").mf_isEmpty());
}

TEST(ICHost, Equality_IgnoresTheCaseOfNamesAlone)
{
    ICHost const host(L"srv:1500");
    EXPECT_TRUE(host == ICHost(L"SRV:1500"));
    EXPECT_FALSE(host != ICHost(L"SRV:1500"));
    EXPECT_TRUE(host != ICHost(L"SRV:1501"));
    EXPECT_FALSE(host == ICHost(L"SRV:1501"));
    EXPECT_TRUE(host != ICHost(L"srv2:1500"));
    EXPECT_FALSE(host == ICHost(L"srv2:1500"));
}

// Neither stands for a port, yet they differ.
TEST(ICHost, NoPortAndDefaultPort_AreDifferent)
{
    EXPECT_TRUE(ICHost(L"srv", ICHost::PORT_NONE) != ICHost(L"srv", ICHost::PORT_DEFAULT));
}

TEST(ICHost, Copies_AreEqualAndIndependent)
{
    ICHost host(L"srv:1500");
    ICHost const copy(host);
    ICHost assigned;
    ICHost const & result = (assigned = host);
    host.mf_setName(L"other");

    EXPECT_EQ(&assigned, &result);
    EXPECT_STREQ(L"srv:1500", copy.mf_toString());
    EXPECT_STREQ(L"srv:1500", assigned.mf_toString());
    assigned = *&assigned;
    EXPECT_STREQ(L"srv:1500", assigned.mf_toString());
}

TEST(ICHost, ValidPorts_Are1To65535)
{
    for (int const port : {1, 80, 65535})
        EXPECT_TRUE(ICHost::mf_isValidPort(port)) << port;
    for (int const port : {0, -1, 65536, -65535, 2147483647, -2147483647 - 1})
        EXPECT_FALSE(ICHost::mf_isValidPort(port)) << port;
}

TEST(ICHost, ValidNames_HoldLettersDigitsHyphensAndDots)
{
    CString const longName(L'x', 5000);
    for (wchar_t const * name : {L"a", L"7", L"a.b-c", L"a..b", L"a--b", L"127.0.0.1", L"azAZ09",
                                 static_cast<wchar_t const *>(longName.GetString())})
        EXPECT_TRUE(ICHost::mf_isValidName(name)) << testing::PrintToString(name);
}

TEST(ICHost, InvalidNames)
{
    for (wchar_t const * name :
         {L"",    L"my_host", L"-a",  L"a-",  L".a",  L"a.",  L"-",   L".",         L"a b",    L" a",          L"a:1",
          L"a/b", L"a\\b",    L"a,b", L"a@b", L"a[b", L"a`b", L"a{b", L"h\x00F6st", L"\xFF41", L"\xD83D\xDE00"})
        EXPECT_FALSE(ICHost::mf_isValidName(name)) << testing::PrintToString(name);
    EXPECT_FALSE(ICHost::mf_isValidName(CString(L"a\0b", 3)));
}
