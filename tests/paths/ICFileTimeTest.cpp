#include <gtest/gtest.h>

#include "hsmbase/paths/ICFileTime.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

static_assert(sizeof(ICFileTime) == sizeof(FILETIME));
static_assert(ICFileTime().mf_getValue() == 0);

namespace
{

// 2024-01-02 03:04:05.006
constexpr ICFileTime MOMENT(133486382450060000ull);

// A value that no calendar has.
constexpr ICFileTime NO_DATE(0xFFFFFFFFFFFFFFFFull);

} // namespace

TEST(ICFileTime, Halves_MakeTheValue)
{
    ICFileTime time(0x89ABCDEFul, 0x01234567ul);

    EXPECT_EQ(0x0123456789ABCDEFull, time.mf_getValue());
    EXPECT_EQ(0x89ABCDEFu, time.mf_getLow());
    EXPECT_EQ(0x01234567u, time.mf_getHigh());
    EXPECT_EQ(0x89ABCDEFu, time.mf_getFileTime().dwLowDateTime);
    EXPECT_EQ(0x01234567u, time.mf_getFileTime().dwHighDateTime);

    time.mf_setLow(1);
    time.mf_setHigh(2);
    EXPECT_EQ(0x200000001ull, time.mf_getValue());
}

TEST(ICFileTime, FromFileTimeAndTicks_AreTheSame)
{
    FILETIME const platform = {0x89ABCDEF, 0x01234567};

    EXPECT_EQ(ICFileTime(platform), ICFileTime(0x0123456789ABCDEFll));
    EXPECT_EQ(ICFileTime(platform), ICFileTime(0x0123456789ABCDEFull));
    EXPECT_EQ(7u, ICFileTime(7).mf_getValue());
}

TEST(ICFileTime, Order_IsThatOfTheTicks)
{
    ICFileTime const ordered[] = {ICFileTime(), ICFileTime(1), ICFileTime(0xFFFFFFFFul, 0ul), ICFileTime(0ul, 1ul),
                                  NO_DATE};
    for (ICFileTime const & left : ordered)
        for (ICFileTime const & right : ordered) {
            EXPECT_EQ(&left < &right, left < right);
            EXPECT_EQ(&left == &right, left == right);
            EXPECT_EQ(&left >= &right, left >= right);
        }
}

TEST(ICFileTime, GetSystemTime_IsWhatTheSystemSays)
{
    ICImportPatch const clock(IC_IMPORT(GetSystemTimeAsFileTime),
                              [](FILETIME * now) { *now = MOMENT.mf_getFileTime(); });

    EXPECT_EQ(MOMENT, ICFileTime::mf_getSystemTime());
}

TEST(ICFileTime, ToString_ShowsTheStoredFields)
{
    EXPECT_STREQ(L"2024-01-02 03:04:05", MOMENT.mf_toString(L' '));
    EXPECT_STREQ(L"2024-01-02T03:04:05", MOMENT.mf_toString(L'T'));
    EXPECT_STREQ(L"1601-01-01 00:00:00", ICFileTime().mf_toString(L' '));
}

TEST(ICFileTime, ToLogString_HasTwoDigitsOfTheYearAndMilliseconds)
{
    EXPECT_STREQ(L"24-01-02 03:04:05.006", MOMENT.mf_toLogString());
    EXPECT_STREQ(L"01-01-01 00:00:00.000", ICFileTime().mf_toLogString());
}

TEST(ICFileTime, Texts_OfNoDate_SaySoAndNeverThrow)
{
    EXPECT_STREQ(L"FILETIME ERROR", NO_DATE.mf_toString(L' '));
    EXPECT_STREQ(L"FILETIME ERROR", NO_DATE.mf_toLogString());

    ICImportFault const refused("FileTimeToSystemTime", ERROR_INVALID_PARAMETER);
    EXPECT_STREQ(L"FILETIME ERROR", MOMENT.mf_toString(L' '));
    EXPECT_STREQ(L"FILETIME ERROR", MOMENT.mf_toLogString());
    EXPECT_EQ(2u, refused.mf_getAnswered());
}

TEST(ICFileTime, FromText_ReadsWhatToStringWrites)
{
    EXPECT_STREQ(L"2024-01-02 03:04:05", ICFileTime(L"2024-01-02 03:04:05", L' ').mf_toString(L' '));
    EXPECT_STREQ(L"2024-12-31 23:59:59", ICFileTime(L"2024-12-31T23:59:59", L'T').mf_toString(L' '));
}

TEST(ICFileTime, FromText_MissingFieldsOfTheTime_AreZero)
{
    EXPECT_STREQ(L"2024-01-02 00:00:00", ICFileTime(L"2024-01-02 ", L' ').mf_toString(L' '));
    EXPECT_STREQ(L"2024-01-02 10:00:00", ICFileTime(L"2024-01-02 10", L' ').mf_toString(L' '));
    EXPECT_STREQ(L"2024-01-02 10:20:00", ICFileTime(L"2024-1-2 10:20:x", L' ').mf_toString(L' '));
    EXPECT_STREQ(L"2024-01-02 00:00:00", ICFileTime(L"2024-01-02 noon", L' ').mf_toString(L' '));
}

TEST(ICFileTime, FromText_OnlyTheFirstDelimiterCounts)
{
    EXPECT_STREQ(L"2024-01-02 10:00:00", ICFileTime(L"2024-01-02 10:00:00 11:00:00", L' ').mf_toString(L' '));
}

TEST(ICFileTime, FromText_WithoutDelimiter_Fails)
{
    for (wchar_t const * text : {L"2024-01-02", L"", L"2024-01-02T10:00:00"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICFileTime(text, L' '); }));
}

TEST(ICFileTime, FromText_NoDate_FailsWithoutSystemNumber)
{
    for (wchar_t const * text :
         {L" 10:00:00", L" ", L"2024-13-01 ", L"2024-00-01 ", L"2024-01 ", L"2024-01-02 24:00:00",
          L"2024-01-02 10:60:00", L"2024-01-02 10:00:60", L"2024-01-02 -1:00:00", L"1600-12-31 ", L"0-1-2 "}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICFileTime(text, L' '); }));
    }
}

// 65536 + 10 is not 10, in no field.
TEST(ICFileTime, FromText_NumbersOfMoreThan16Bits_AreNotCut)
{
    for (wchar_t const * text : {L"2024-65537-01 ", L"2024-01-65538 ", L"2024-01-02 65546:00:00",
                                 L"2024-01-02 10:65546:00", L"2024-01-02 10:00:65546"}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICFileTime(text, L' '); }));
    }
}

TEST(ICFileTime, FromText_YearOfMoreThan16Bits_ReachesTheSystemAsTheLastOne)
{
    WORD year = 0;
    ICImportPatch const seen(IC_IMPORT(SystemTimeToFileTime), [&](SYSTEMTIME const * fields, FILETIME *) -> BOOL {
        year = fields->wYear;
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    });

    EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [] { ICFileTime(L"67560-01-02 ", L' '); }));
    EXPECT_EQ(0xFFFF, year);
}

TEST(ICFileTime, FromText_SystemRefuses_FailsWithoutSystemNumber)
{
    ICImportFault const refused("SystemTimeToFileTime", ERROR_NOT_ENOUGH_MEMORY);

    EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [] { ICFileTime(L"2024-01-02 10:00:00", L' '); }));
    EXPECT_EQ(1u, refused.mf_getAnswered());
}
