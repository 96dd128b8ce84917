#include <gtest/gtest.h>

#include "hsmbase/failure/ICBool.h"
#include "tests/support/Thrown.h"

TEST(ICBool, Default_IsUndefined)
{
    ICBool const value;

    EXPECT_FALSE(value.mf_isSet());
    EXPECT_FALSE(value.mf_isTrue());
    EXPECT_FALSE(value.mf_isFalse());
}

TEST(ICBool, Constants_HoldTheirStoredValues)
{
    EXPECT_EQ(0, ICBool::IC_FALSE.m_value);
    EXPECT_EQ(1, ICBool::IC_TRUE.m_value);
    EXPECT_EQ(2, ICBool::IC_UNDEFINED.m_value);
}

TEST(ICBool, FromNumber_EverythingButZeroIsTrue)
{
    EXPECT_TRUE(ICBool(0).mf_isFalse());
    for (int const number : {1, 2, -1, 0x100, INT_MIN}) {
        SCOPED_TRACE(number);
        EXPECT_TRUE(ICBool(number).mf_isTrue());
        EXPECT_FALSE(ICBool(number).mf_isFalse());
    }
}

TEST(ICBool, FromText_KnowsTwoWordsInAnyCase)
{
    struct CASE
    {
        wchar_t const * text;
        ICBool expected;
    };
    CASE const cases[] = {{L"true", ICBool::IC_TRUE},       {L"TRUE", ICBool::IC_TRUE},  {L"false", ICBool::IC_FALSE},
                          {L"FaLsE", ICBool::IC_FALSE},     {L"", ICBool::IC_UNDEFINED}, {L"yes", ICBool::IC_UNDEFINED},
                          {L" true", ICBool::IC_UNDEFINED}, {L"1", ICBool::IC_UNDEFINED}};
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testing::PrintToString(testCase.text));
        EXPECT_TRUE(ICBool(testCase.text) == testCase.expected);
    }
}

TEST(ICBool, Number_IsTheTruthValue)
{
    EXPECT_EQ(1, static_cast<int>(ICBool(7)));
    EXPECT_EQ(0, static_cast<int>(ICBool(0)));
}

TEST(ICBool, Undefined_IsNoNumber)
{
    ICBool const value;

    EXPECT_TRUE(f_throws(ICErrno::_E_::BoolNotSet, [&] { static_cast<void>(static_cast<int>(value)); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::BoolNotSet, [&] { static_cast<void>(value == 0); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::BoolNotSet, [&] { static_cast<void>(value == 1); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::BoolNotSet, [&] { static_cast<void>(value != 1); }));
}

TEST(ICBool, EqualsNumber_ComparesTruthValues)
{
    EXPECT_TRUE(ICBool::IC_TRUE == 1);
    EXPECT_TRUE(ICBool::IC_TRUE == 5);
    EXPECT_FALSE(ICBool::IC_TRUE == 0);
    EXPECT_TRUE(ICBool::IC_FALSE == 0);
    EXPECT_FALSE(ICBool::IC_FALSE == -1);
    EXPECT_TRUE(ICBool::IC_FALSE != 1);
    EXPECT_FALSE(ICBool::IC_TRUE != 5);
}

TEST(ICBool, EqualsBool_ComparesStoredValuesAndNeverThrows)
{
    ICBool const all[] = {ICBool::IC_FALSE, ICBool::IC_TRUE, ICBool::IC_UNDEFINED};
    for (ICBool const & left : all)
        for (ICBool const & right : all) {
            EXPECT_EQ(&left == &right, left == right);
            EXPECT_EQ(&left != &right, left != right);
        }
    EXPECT_EQ(1, ICBool() == ICBool());
}

TEST(ICBool, Assignment_AnswersWhetherItIsTrueNow)
{
    ICBool value;

    EXPECT_EQ(1, value = 3);
    EXPECT_TRUE(value.mf_isTrue());
    EXPECT_EQ(0, value = 0);
    EXPECT_TRUE(value.mf_isFalse());
    EXPECT_EQ(1, value = ICBool::IC_TRUE);
    EXPECT_EQ(0, value = ICBool::IC_UNDEFINED);
    EXPECT_FALSE(value.mf_isSet());
}

TEST(ICBool, Reset_MakesUndefined)
{
    ICBool value(1);

    value.mf_reset();

    EXPECT_TRUE(value == ICBool::IC_UNDEFINED);
}

TEST(ICBool, ToString_NamesTheValue)
{
    EXPECT_STREQ(L"false", ICBool::IC_FALSE.mf_toString());
    EXPECT_STREQ(L"true", ICBool::IC_TRUE.mf_toString());
    EXPECT_STREQ(L"undefined", ICBool::IC_UNDEFINED.mf_toString());
}

TEST(ICBool, ToString_OverwrittenByte_SaysSo)
{
    ICBool value;
    value.m_value = 7;

    EXPECT_STREQ(L"<unexpected state>", value.mf_toString());
}
