#include <gtest/gtest.h>

#include "hsmbase/paths/ICFileSize.h"
#include "tests/support/Thrown.h"

static_assert(sizeof(ICFileSize) == 8);
static_assert(ICFileSize() == 0);
static_assert(ICFileSize(1ul, 2ul).mf_getValue() == 0x200000001);

TEST(ICFileSize, Halves_MakeTheValue)
{
    ICFileSize size(0xFFFFFFFFul, 0x12ul);

    EXPECT_EQ(0x12FFFFFFFF, size.mf_getValue());
    EXPECT_EQ(0xFFFFFFFFu, size.mf_getLow());
    EXPECT_EQ(0x12u, size.mf_getHigh());

    size.mf_setLow(7);
    EXPECT_EQ(0x1200000007, size.mf_getValue());
    size.mf_setHigh(0);
    EXPECT_EQ(7, size.mf_getValue());
}

TEST(ICFileSize, Numbers_OfAnyKind_KeepTheirValue)
{
    EXPECT_EQ(5, ICFileSize(5).mf_getValue());
    EXPECT_EQ(-5, ICFileSize(-5).mf_getValue());
    EXPECT_EQ(0xFFFFFFFF, ICFileSize(0xFFFFFFFFul).mf_getValue());
    EXPECT_EQ(0x123456789ABC, ICFileSize(0x123456789ABCll).mf_getValue());
    EXPECT_EQ(LLONG_MIN, ICFileSize(LLONG_MIN).mf_getValue());
    EXPECT_EQ(-1, ICFileSize(ULLONG_MAX).mf_getValue());
}

TEST(ICFileSize, Order_IsThatOfTheSignedValue)
{
    ICFileSize const ordered[] = {LLONG_MIN, -1, 0, 1, 0xFFFFFFFFul, 0x100000000, LLONG_MAX};
    for (ICFileSize const & left : ordered)
        for (ICFileSize const & right : ordered) {
            EXPECT_EQ(&left < &right, left < right);
            EXPECT_EQ(&left == &right, left == right);
            EXPECT_EQ(&left >= &right, left >= right);
        }
    EXPECT_TRUE(ICFileSize(5) > 4);
    EXPECT_TRUE(ICFileSize(5) != 4);
}

TEST(ICFileSize, Add_CarriesIntoTheHighHalf)
{
    ICFileSize size(0xFFFFFFFFul);

    EXPECT_EQ(&size, &(size += 1ul));
    EXPECT_EQ(0x100000000, size.mf_getValue());
    EXPECT_EQ(0x1FFFFFFFF, (size + 0xFFFFFFFFul).mf_getValue());
    EXPECT_EQ(0x300000000, (size + ICFileSize(0x200000000)).mf_getValue());
    EXPECT_EQ(0, (ICFileSize(-1) + 1).mf_getValue());
}

TEST(ICFileSize, Add_BeyondTheRange_Wraps)
{
    EXPECT_EQ(LLONG_MIN, (ICFileSize(LLONG_MAX) + 1).mf_getValue());
}

TEST(ICFileSize, Get32BitSize_TakesTheWholeLowHalf)
{
    EXPECT_EQ(0u, ICFileSize().mf_get32BitSize());
    EXPECT_EQ(0xFFFFFFFFu, ICFileSize(0xFFFFFFFFul).mf_get32BitSize());
}

TEST(ICFileSize, Get32BitSize_FromFourGiBOn_Fails)
{
    for (ICFileSize const & size : {ICFileSize(0x100000000), ICFileSize(LLONG_MAX), ICFileSize(-1)})
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileSizeExceeded, [&] { size.mf_get32BitSize(); }));
}

TEST(ICFileSize, ToString_IsDecimalOrHexadecimal)
{
    ICFileSize const size(0x1ABCDEF0123);

    EXPECT_STREQ(L"1837406028067", size.mf_toString());
    EXPECT_STREQ(L"1837406028067", size.mf_toString(0));
    EXPECT_STREQ(L"1abcdef0123", size.mf_toString(1));
    EXPECT_STREQ(L"1abcdef0123", size.mf_toString(-1));
    EXPECT_STREQ(L"0", ICFileSize().mf_toString());
    EXPECT_STREQ(L"-9223372036854775808", ICFileSize(LLONG_MIN).mf_toString());
    EXPECT_STREQ(L"ffffffffffffffff", ICFileSize(-1).mf_toString(1));
}

TEST(ICFileSize, ToStringWithPrefix_FillsToSixteenDigits)
{
    EXPECT_STREQ(L"size=0000000000000042", ICFileSize(42).mf_toString(L"size="));
    EXPECT_STREQ(L"0000000000000000", ICFileSize().mf_toString(L""));
    EXPECT_STREQ(L"9223372036854775807", ICFileSize(LLONG_MAX).mf_toString(L""));
    EXPECT_STREQ(L"-0000000000000001", ICFileSize(-1).mf_toString(L""));
}

TEST(ICFileSize, ToStringWithPrefix_LongPrefix_IsCutAtTheBuffer)
{
    CString const fits(L'x', 47);
    CString const tooLong(L'x', 70);

    EXPECT_STREQ(fits + L"0000000000000042", ICFileSize(42).mf_toString(fits));
    EXPECT_STREQ(tooLong.Left(63), ICFileSize(42).mf_toString(tooLong));
}
