#include <gtest/gtest.h>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/failure/ICErrnoNumber.h"

TEST(ICErrnoNumber, Default_IsSetAndInformation)
{
    ICErrnoNumber const number;
    EXPECT_EQ(0x01000000u, number.mf_getNumber());
    EXPECT_TRUE(number.mf_isSet());
    EXPECT_TRUE(number.mf_isInfo());
}

TEST(ICErrnoNumber, Reset_IsNotSetAndHasNoSeverity)
{
    ICErrnoNumber number;
    number.mf_reset();
    EXPECT_EQ(0u, number.mf_getNumber());
    EXPECT_FALSE(number.mf_isSet());
    EXPECT_FALSE(number.mf_isInfo() || number.mf_isWarning() || number.mf_isError() || number.mf_isSevere());
    EXPECT_EQ(L'?', number.mf_getSeverityChar());
}

TEST(ICErrnoNumber, UnknownTopByte_HasNoSeverity)
{
    ICErrnoNumber const number(0x05000001);
    EXPECT_TRUE(number.mf_isSet());
    EXPECT_FALSE(number.mf_isInfo() || number.mf_isWarning() || number.mf_isError() || number.mf_isSevere());
    EXPECT_STREQ(L"0x05000001 (?)", number.mf_toString());
}

TEST(ICErrnoNumber, StaticQueries_LookAtTheTopByteAlone)
{
    EXPECT_TRUE(ICErrnoNumber::mf_isInfo(0x01ffffffu));
    EXPECT_TRUE(ICErrnoNumber::mf_isWarning(0x02000001u));
    EXPECT_TRUE(ICErrnoNumber::mf_isError(0x03000000u));
    EXPECT_TRUE(ICErrnoNumber::mf_isSevere(0x04abcdefu));
    EXPECT_FALSE(ICErrnoNumber::mf_isInfo(0x00000001u));
    EXPECT_FALSE(ICErrnoNumber::mf_isSevere(0x14000000u));
}

TEST(ICErrnoNumber, ToString_PrintsNumberAndSeverity)
{
    EXPECT_STREQ(L"0x01000000 (I)", ICErrnoNumber().mf_toString());
    EXPECT_STREQ(L"0x0400000a (S)", ICErrnoNumber(0x0400000a).mf_toString());
}

TEST(ICErrnoNumber, Update_KeepsTheFirstOfTheWorstSeverity)
{
    ICErrnoNumber number(ICErrno::_W_::FileNotFound);
    number.mf_update(ICErrno::_W_::Timeout);
    EXPECT_EQ(ICErrno::_W_::FileNotFound.mf_getNumber(), number.mf_getNumber());
    number.mf_update(ICErrno::_E_::FileOpen);
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), number.mf_getNumber());
    number.mf_update(ICErrnoNumber(0));
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), number.mf_getNumber());
    number.mf_update(ICErrno::_W_::Timeout);
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), number.mf_getNumber());
    number.mf_update(ICErrno::_S_::Internal);
    EXPECT_EQ(ICErrno::_S_::Internal.mf_getNumber(), number.mf_getNumber());
}

TEST(ICErrnoNumber, UpdateOfZero_TakesAnyNumber)
{
    for (ulong const other : {0x01000001ul, 0x02000001ul, 0x05000001ul, 0x00000001ul}) {
        ICErrnoNumber number(0);
        number.mf_update(ICErrnoNumber(other));
        EXPECT_EQ(other, number.mf_getNumber());
    }
}

TEST(ICErrnoNumber, Copies_TakeTheNumber)
{
    ICErrnoNumber const source(ICErrno::_E_::CRC);
    ICErrnoNumber copy(source);
    EXPECT_EQ(source.mf_getNumber(), copy.mf_getNumber());
    copy = ICErrnoNumber(7);
    EXPECT_EQ(7u, copy.mf_getNumber());
}

TEST(ICErrnoValue, Default_HasTheDefaultNumberAndNoResource)
{
    ICErrnoValue const value;
    EXPECT_EQ(0x01000000u, value.mf_getNumber());
    EXPECT_EQ(0u, value.mf_getResourceId());
}

TEST(ICErrnoValue, Reset_ClearsBothFieldsThroughTheBase)
{
    ICErrnoValue value(ICErrno::_E_::FileOpen);
    static_cast<ICErrnoNumber &>(value).mf_reset();
    EXPECT_EQ(0u, value.mf_getNumber());
    EXPECT_EQ(0u, value.mf_getResourceId());
}

TEST(ICErrnoValue, TextsWithoutLanguages_ArePlaceholders)
{
    EXPECT_STREQ(L"<resource-id=2054 not loaded>", ICErrno::_E_::FileOpen.mf_getString());
    ICErrnoNumber const & asNumber = ICErrno::_E_::FileOpen;
    EXPECT_STREQ(L"0x0300002c (E: <resource-id=2054 not loaded>)", asNumber.mf_toString());
}
