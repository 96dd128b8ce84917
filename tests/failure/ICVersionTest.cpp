#include <gtest/gtest.h>

#include "hsmbase/failure/ICVersion.h"

TEST(ICVersion, ToString_CutsTheDigits)
{
    EXPECT_STREQ(L"8.1.0.2", ICVersion::mf_VersionNumberToVersionString(81002));
    EXPECT_STREQ(L"0.0.0.0", ICVersion::mf_VersionNumberToVersionString(0));
    EXPECT_STREQ(L"12.3.4.56", ICVersion::mf_VersionNumberToVersionString(123456));
    EXPECT_STREQ(L"0.9.9.99", ICVersion::mf_VersionNumberToVersionString(9999));
}

TEST(ICVersion, ToNumber_WeighsTheParts)
{
    struct CASE
    {
        wchar_t const * text;
        ulong expected;
    };
    CASE const cases[] = {{L"", 0},          {L"8", 80000},          {L"8.1", 81000},       {L"8.1.0", 81000},
                          {L"8.1.2", 81200}, {L"8.1.0.2", 81020},    {L"8.1.0.2.5", 81025}, {L"8.1.0.2.5.9", 81025},
                          {L"x.1", 1000},    {L"12.11.0.0", 131000}, {L"1.2.3.4", 12340}};
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testing::PrintToString(testCase.text));
        EXPECT_EQ(testCase.expected, ICVersion::mf_VersionStringToVersionNumber(testCase.text));
    }
}

// The fourth part weighs 10 going in and 1 coming out.
TEST(ICVersion, ThereAndBack_IsAnotherVersion)
{
    ulong const number = ICVersion::mf_VersionStringToVersionNumber(L"8.1.0.2");

    EXPECT_STREQ(L"8.1.0.20", ICVersion::mf_VersionNumberToVersionString(number));
}
