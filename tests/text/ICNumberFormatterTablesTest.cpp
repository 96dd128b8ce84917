// The tables of formats, which need no singleton, and the texts that a user chooses by.
#include <gtest/gtest.h>

#include "hsmbase/context/ICString.h"
#include "languages/ResourceIds.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"
#include "tests/text/NumberFormatterTest.h"

namespace
{

void f_expectRecord(NUMBERFMTW const & expected, NUMBERFMTW const & record)
{
    EXPECT_EQ(expected.NumDigits, record.NumDigits);
    EXPECT_EQ(expected.LeadingZero, record.LeadingZero);
    EXPECT_EQ(expected.Grouping, record.Grouping);
    EXPECT_STREQ(expected.lpDecimalSep, record.lpDecimalSep);
    EXPECT_STREQ(expected.lpThousandSep, record.lpThousandSep);
    EXPECT_EQ(expected.NegativeOrder, record.NegativeOrder);
}

constexpr unsigned int DATE_TEXTS[] = {IDS_DATE_MDY_SLASHES, IDS_DATE_DMY_DASHES, IDS_DATE_YMD_DASHES,
                                       IDS_DATE_DMY_DOTS,    IDS_DATE_YMD_DOTS,   IDS_DATE_DMY_SLASHES,
                                       IDS_DATE_YMD_SLASHES};
constexpr unsigned int TIME_TEXTS[] = {IDS_TIME_COLONS, IDS_TIME_COMMAS, IDS_TIME_DOTS, IDS_TIME_COLONS_AM_PM};

} // namespace

TEST(ICNumberFormatterTables, NumberFormats_AreTheSevenRows)
{
    for (int const whole : {0, 1}) {
        NUMBERFMTW const * const records = ICNumberFormatter::mf_getAllNumberFormats(whole);
        for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
            SCOPED_TRACE(index);
            NUMBER_ROW const & row = NUMBER_ROWS[index];
            f_expectRecord(f_ownRecord(row, whole), records[index]);
            EXPECT_STREQ(whole ? row.m_whole : row.m_fractions,
                         ICNumberFormatter::mf_getNumberFormatStringByIndex(index, whole));
        }
        f_expectRecord(NUMBERFMTW{}, records[NO_NUMBER_FORMAT]);
        EXPECT_EQ(nullptr, ICNumberFormatter::mf_getNumberFormatStringByIndex(NO_NUMBER_FORMAT, whole));
    }
}

TEST(ICNumberFormatterTables, NumberFormat_AnyNumberButZeroMeansWhole)
{
    NUMBERFMTW const * const whole = ICNumberFormatter::mf_getAllNumberFormats(1);
    EXPECT_EQ(whole, ICNumberFormatter::mf_getAllNumberFormats(-1));
    EXPECT_EQ(whole + 2, ICNumberFormatter::mf_getNumberFormatByIndex(2, 256));
    EXPECT_STREQ(L"123 456", ICNumberFormatter::mf_getNumberFormatStringByIndex(2, INT_MIN));
    EXPECT_NE(whole, ICNumberFormatter::mf_getAllNumberFormats(0));
}

TEST(ICNumberFormatterTables, NumberFormatByIndex_IsTheRow)
{
    for (int const whole : {0, 1})
        for (ulong index = 0; index <= NO_NUMBER_FORMAT; ++index)
            EXPECT_EQ(ICNumberFormatter::mf_getAllNumberFormats(whole) + index,
                      ICNumberFormatter::mf_getNumberFormatByIndex(index, whole));
}

TEST(ICNumberFormatterTables, NumberFormatByIndex_BeyondTheTable_ThrowsRange)
{
    for (int const whole : {0, 1}) {
        for (ulong const index : {7ul, ULONG_MAX}) {
            EXPECT_TRUE(
                f_throws(ICErrno::_E_::Range, [&] { ICNumberFormatter::mf_getNumberFormatByIndex(index, whole); }));
            EXPECT_TRUE(f_throws(ICErrno::_E_::Range,
                                 [&] { ICNumberFormatter::mf_getNumberFormatStringByIndex(index, whole); }));
        }
    }
}

TEST(ICNumberFormatterTables, DateFormats_AreTheEightRows)
{
    wchar_t const * const * const formats = ICNumberFormatter::mf_getAllDateFormats();
    for (std::size_t index = 0; index < std::size(DATE_ROWS); ++index)
        EXPECT_STREQ(DATE_ROWS[index], formats[index]);
}

TEST(ICNumberFormatterTables, TimeFormats_AreTheFiveRows)
{
    wchar_t const * const * const formats = ICNumberFormatter::mf_getAllTimeFormats();
    for (std::size_t index = 0; index < std::size(TIME_ROWS); ++index)
        EXPECT_STREQ(TIME_ROWS[index], formats[index]);
}

TEST(ICNumberFormatterTables, DisplayTexts_AreThoseOfTheUsersLanguage)
{
    {
        ICStartedProcess const process(L"English");
        EXPECT_STREQ(L"MM/DD/YYYY", ICNumberFormatter::mf_getDateFormatStringByIndex(0));
        EXPECT_STREQ(L"HH:MM:SS AM/PM", ICNumberFormatter::mf_getTimeFormatStringByIndex(3));
        for (ulong index = 0; index < std::size(DATE_TEXTS); ++index)
            EXPECT_STREQ(CString(ICString(DATE_TEXTS[index])), ICNumberFormatter::mf_getDateFormatStringByIndex(index));
        for (ulong index = 0; index < std::size(TIME_TEXTS); ++index)
            EXPECT_STREQ(CString(ICString(TIME_TEXTS[index])), ICNumberFormatter::mf_getTimeFormatStringByIndex(index));
    }
    ICStartedProcess const process(L"German");
    EXPECT_STREQ(L"JJJJ/MM/TT", ICNumberFormatter::mf_getDateFormatStringByIndex(6));
    EXPECT_STREQ(L"HH,MM,SS", ICNumberFormatter::mf_getTimeFormatStringByIndex(1));
}

TEST(ICNumberFormatterTables, DisplayText_OfTheSystemsOwnFormat_IsEmpty)
{
    ICStartedProcess const process;
    EXPECT_STREQ(L"", ICNumberFormatter::mf_getDateFormatStringByIndex(7));
    EXPECT_STREQ(L"", ICNumberFormatter::mf_getTimeFormatStringByIndex(4));
}

TEST(ICNumberFormatterTables, DisplayText_BeyondTheTable_ThrowsRange)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [] { ICNumberFormatter::mf_getDateFormatStringByIndex(8); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [] { ICNumberFormatter::mf_getTimeFormatStringByIndex(5); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [] { ICNumberFormatter::mf_getDateFormatStringByIndex(ULONG_MAX); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [] { ICNumberFormatter::mf_getTimeFormatStringByIndex(ULONG_MAX); }));
}

TEST(ICNumberFormatterTables, Normalize_DropsSeparatorsOfEveryFormat)
{
    EXPECT_STREQ(L"12345", ICNumberFormatter::mf_normalizeNumber(L"1,234.5"));
    for (NUMBER_ROW const & row : NUMBER_ROWS) {
        EXPECT_STREQ(L"123456", ICNumberFormatter::mf_normalizeNumber(row.m_whole));
        EXPECT_STREQ(L"123456000", ICNumberFormatter::mf_normalizeNumber(row.m_fractions));
    }
}

TEST(ICNumberFormatterTables, Normalize_KeepsAllElse)
{
    EXPECT_STREQ(L"", ICNumberFormatter::mf_normalizeNumber(L""));
    EXPECT_STREQ(L"", ICNumberFormatter::mf_normalizeNumber(L" ,.', "));
    EXPECT_STREQ(L"-1x\t\x00a0\x2019é", ICNumberFormatter::mf_normalizeNumber(L" -1.x\t\x00a0'\x2019, é"));
    CString const given = L"1,2";
    EXPECT_STREQ(L"12", ICNumberFormatter::mf_normalizeNumber(given));
    EXPECT_STREQ(L"1,2", given);
}
