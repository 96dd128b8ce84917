// Numbers, dates and times as the platform formats them with the format that was chosen.
#include <gtest/gtest.h>

#include <climits>
#include <limits>
#include <vector>

#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"
#include "tests/text/NumberFormatterTest.h"

using FORMATTER = ICNumberFormatter;

namespace
{

class ICNumberFormatterTest : public testing::Test
{
protected:
    ICNumberFormatterTest() { FORMATTER::mf_createInstance(); }
    ~ICNumberFormatterTest() override { FORMATTER::mf_deleteInstance(); }

    ICStartedProcess const m_process;
};

LARGE_INTEGER f_large(long long value)
{
    LARGE_INTEGER large = {};
    large.QuadPart = value;
    return large;
}

FILETIME f_fileTime(SYSTEMTIME const & time)
{
    FILETIME result = {};
    EXPECT_TRUE(::SystemTimeToFileTime(&time, &result));
    return result;
}

template<class FORMAT>
PLATFORM_ANSWER f_libraryAnswer(FORMAT const & format)
{
    try {
        return {format().GetString()};
    }
    catch (ICErrno & failure) {
        EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::System));
        EXPECT_EQ(int{ICErrnoData::SYSTEM}, failure.mf_getErrnoData().mf_getOriginatorId());
        return {L"", failure.mf_getErrnoData().mf_getOriginatorErrno()};
    }
}

CString f_printed(double number)
{
    CString text;
    text.Format(L"%f", number);
    return text;
}

// Three groups of a number, with the separator between them.
std::wstring f_grouped(wchar_t const * first, wchar_t const * separator)
{
    return std::wstring(first) + separator + L"234" + separator + L"567";
}

void f_expectLikePlatform(SYSTEMTIME const & time)
{
    for (ulong index = 0; index < std::size(DATE_ROWS); ++index) {
        FORMATTER::mf_configureDateFormat(index);
        EXPECT_EQ(f_platformDate(time, DATE_ROWS[index]),
                  f_libraryAnswer([&] { return FORMATTER::mf_formatDate(&time); }));
    }
    for (ulong index = 0; index < std::size(TIME_ROWS); ++index) {
        FORMATTER::mf_configureTimeFormat(index);
        EXPECT_EQ(f_platformTime(time, TIME_ROWS[index]),
                  f_libraryAnswer([&] { return FORMATTER::mf_formatTime(&time); }));
    }
}

} // namespace

TEST_F(ICNumberFormatterTest, FormatNumber_WholeKinds_AreGroupedByEachFormat)
{
    for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
        wchar_t const * const separator = NUMBER_ROWS[index].m_thousands;
        FORMATTER::mf_configureNumberFormat(index);
        EXPECT_EQ(f_grouped(L"1", separator), FORMATTER::mf_formatNumber(1234567).GetString());
        EXPECT_EQ(f_grouped(L"-1", separator), FORMATTER::mf_formatNumber(-1234567).GetString());
        EXPECT_EQ(f_grouped(L"4", separator), FORMATTER::mf_formatNumber(4234567ul).GetString());
        EXPECT_EQ(f_grouped(L"-9", separator), FORMATTER::mf_formatNumber(f_large(-9234567)).GetString());
        EXPECT_EQ(f_grouped(L"9", separator), FORMATTER::mf_formatNumber(ICFileSize(9234567)).GetString());
    }
}

TEST_F(ICNumberFormatterTest, FormatNumber_Double_HasThreeDigitsBehindItsSeparator)
{
    for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
        NUMBER_ROW const & row = NUMBER_ROWS[index];
        FORMATTER::mf_configureNumberFormat(index);
        EXPECT_EQ(f_grouped(L"1", row.m_thousands) + row.m_decimal + L"891",
                  FORMATTER::mf_formatNumber(1234567.891).GetString());
        EXPECT_EQ(f_grouped(L"-1", row.m_thousands) + row.m_decimal + L"500",
                  FORMATTER::mf_formatNumber(-1234567.5).GetString());
    }
}

TEST_F(ICNumberFormatterTest, FormatNumber_SmallNumbers_HaveNoSeparator)
{
    EXPECT_STREQ(L"0", FORMATTER::mf_formatNumber(0));
    EXPECT_STREQ(L"999", FORMATTER::mf_formatNumber(999ul));
    EXPECT_STREQ(L"-1", FORMATTER::mf_formatNumber(-1));
    EXPECT_STREQ(L"1,000", FORMATTER::mf_formatNumber(1000));
    EXPECT_STREQ(L"0.000", FORMATTER::mf_formatNumber(0.0));
    EXPECT_STREQ(L"0.125", FORMATTER::mf_formatNumber(0.125));
}

TEST_F(ICNumberFormatterTest, FormatNumber_Extremes_AreComplete)
{
    EXPECT_STREQ(L"-2,147,483,648", FORMATTER::mf_formatNumber(INT_MIN));
    EXPECT_STREQ(L"2,147,483,647", FORMATTER::mf_formatNumber(INT_MAX));
    EXPECT_STREQ(L"4,294,967,295", FORMATTER::mf_formatNumber(ULONG_MAX));
    EXPECT_STREQ(L"-9,223,372,036,854,775,808", FORMATTER::mf_formatNumber(f_large(LLONG_MIN)));
    EXPECT_STREQ(L"9,223,372,036,854,775,807", FORMATTER::mf_formatNumber(f_large(LLONG_MAX)));
    EXPECT_STREQ(L"9,223,372,036,854,775,807", FORMATTER::mf_formatNumber(ICFileSize(LLONG_MAX)));
    EXPECT_STREQ(L"-1", FORMATTER::mf_formatNumber(ICFileSize(0xFFFFFFFF, 0xFFFFFFFF)));
}

TEST_F(ICNumberFormatterTest, FormatNumber_AnyNumberInAnyFormat_IsWhatThePlatformSays)
{
    int const numbers[] = {0, 1, -1, 12, 999, 1000, -1000, 99'999, 100'000, INT_MAX, INT_MIN};
    for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
        FORMATTER::mf_configureNumberFormat(index);
        NUMBERFMTW const record = f_ownRecord(NUMBER_ROWS[index], 1);
        for (int const number : numbers) {
            CString printed;
            printed.Format(L"%d", number);
            EXPECT_EQ(f_platformNumber(printed, record),
                      f_libraryAnswer([&] { return FORMATTER::mf_formatNumber(number); }));
        }
    }
}

// Rounding, carries and negative zeros are the platform's matter, and so are texts that are no numbers. Numbers of more
// than some hundred characters end the process under Wine, whose function has no more room than that.
TEST_F(ICNumberFormatterTest, FormatNumber_AnyDoubleInAnyFormat_IsWhatThePlatformSays)
{
    using LIMITS = std::numeric_limits<double>;
    double const numbers[] = {0.0,
                              -0.0,
                              0.1,
                              0.0004,
                              0.0005,
                              -0.0001,
                              999.9994,
                              999.9995,
                              123456789.1234567,
                              1e15,
                              -1e15,
                              1e60,
                              -1e60,
                              1e-300,
                              LIMITS::denorm_min(),
                              LIMITS::infinity(),
                              -LIMITS::infinity(),
                              LIMITS::quiet_NaN()};
    for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
        FORMATTER::mf_configureNumberFormat(index);
        NUMBERFMTW const record = f_ownRecord(NUMBER_ROWS[index], 0);
        for (double const number : numbers) {
            SCOPED_TRACE(number);
            EXPECT_EQ(f_platformNumber(f_printed(number), record),
                      f_libraryAnswer([&] { return FORMATTER::mf_formatNumber(number); }));
        }
    }
}

TEST_F(ICNumberFormatterTest, FormatNumber_NoFormat_FailsAsThePlatformDecides)
{
    FORMATTER::mf_configureNumberFormat(NO_NUMBER_FORMAT);
    NUMBERFMTW const none = {};
    PLATFORM_ANSWER const refusal = f_platformNumber(L"1", none);
    ASSERT_NE(0u, refusal.m_error);
    EXPECT_EQ(refusal, f_libraryAnswer([] { return FORMATTER::mf_formatNumber(1); }));
    EXPECT_EQ(refusal, f_libraryAnswer([] { return FORMATTER::mf_formatNumber(1ul); }));
    EXPECT_EQ(refusal, f_libraryAnswer([] { return FORMATTER::mf_formatNumber(1.0); }));
    EXPECT_EQ(refusal, f_libraryAnswer([] { return FORMATTER::mf_formatNumber(f_large(1)); }));
    EXPECT_EQ(refusal, f_libraryAnswer([] { return FORMATTER::mf_formatNumber(ICFileSize(1)); }));
}

TEST_F(ICNumberFormatterTest, FormatNumber_AsksForTheSizeAndGivesAZeroedBufferWithACharacterToSpare)
{
    FORMATTER::mf_configureNumberFormat(4);
    int calls = 0;
    ICImportPatch const recorder(IC_IMPORT(GetNumberFormatW), [&](LCID locale, DWORD flags, LPCWSTR text,
                                                                  NUMBERFMTW const * record, LPWSTR buffer, int size) {
        EXPECT_EQ(LCID{1024}, locale);
        EXPECT_EQ(0u, flags);
        EXPECT_STREQ(L"1000", text);
        EXPECT_EQ(FORMATTER::mf_getNumberFormatByIndex(4, 1), record);
        EXPECT_EQ(0u, ::GetLastError());
        ::SetLastError(5);
        if (++calls == 1) {
            EXPECT_EQ(nullptr, buffer);
            EXPECT_EQ(0, size);
            return 4;
        }
        EXPECT_EQ(4, size);
        EXPECT_EQ(std::wstring(5, L'\0'), std::wstring(buffer, 5));
        // All that was announced, and no terminator.
        std::fill_n(buffer, 4, L'x');
        return 4;
    });
    EXPECT_STREQ(L"xxxx", FORMATTER::mf_formatNumber(1000));
    EXPECT_EQ(2, calls);
}

TEST_F(ICNumberFormatterTest, FormatNumber_EitherCallRefused_ThrowsSystemWithItsNumber)
{
    for (ulong const call : {1ul, 2ul}) {
        ICImportFault const refused("GetNumberFormatW", ERROR_INVALID_FLAGS, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::System, [] { FORMATTER::mf_formatNumber(1); }, ERROR_INVALID_FLAGS));
        EXPECT_EQ(call, refused.mf_getCalls());
    }
}

TEST_F(ICNumberFormatterTest, Format_NoMemoryForTheBuffer_ThrowsMemory)
{
    ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { FORMATTER::mf_formatNumber(1); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { FORMATTER::mf_formatDate(&AFTERNOON); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { FORMATTER::mf_formatTime(&AFTERNOON); }));
}

TEST_F(ICNumberFormatterTest, FormatDate_EachFormat)
{
    wchar_t const * const dates[] = {L"01/31/2024", L"31-01-2024", L"2024-01-31", L"31.01.2024",
                                     L"2024.01.31", L"31/01/2024", L"2024/01/31"};
    for (ulong index = 0; index < std::size(dates); ++index) {
        FORMATTER::mf_configureDateFormat(index);
        EXPECT_STREQ(dates[index], FORMATTER::mf_formatDate(&AFTERNOON));
        EXPECT_STREQ(dates[index], FORMATTER::mf_formatDate(ICFileTime(f_fileTime(AFTERNOON))));
        EXPECT_STREQ(DATE_ROWS[index], FORMATTER::mf_getConfiguredDateFormat());
    }
}

TEST_F(ICNumberFormatterTest, FormatTime_EachFormat)
{
    wchar_t const * const times[] = {L"13:05:09", L"13,05,09", L"13.05.09"};
    for (ulong index = 0; index < std::size(times); ++index) {
        FORMATTER::mf_configureTimeFormat(index);
        EXPECT_STREQ(times[index], FORMATTER::mf_formatTime(&AFTERNOON));
        EXPECT_STREQ(times[index], FORMATTER::mf_formatTime(ICFileTime(f_fileTime(AFTERNOON))));
        EXPECT_STREQ(TIME_ROWS[index], FORMATTER::mf_getConfiguredTimeFormat());
    }
}

TEST_F(ICNumberFormatterTest, FormatDateAndTime_InAnyFormat_AreWhatThePlatformSays)
{
    f_expectLikePlatform(AFTERNOON);
    f_expectLikePlatform({1601, 1, 1, 1, 0, 0, 0, 0});
    f_expectLikePlatform({2024, 2, 4, 29, 23, 59, 59, 999});
    f_expectLikePlatform({9999, 12, 5, 31, 12, 0, 0, 0});
}

TEST_F(ICNumberFormatterTest, FormatDateAndTime_TimesThatAreNone_AreWhatThePlatformSays)
{
    f_expectLikePlatform({2023, 2, 3, 29, 12, 0, 0, 0});
    f_expectLikePlatform({2024, 13, 0, 1, 12, 0, 0, 0});
    f_expectLikePlatform({2024, 0, 0, 0, 12, 0, 0, 0});
    f_expectLikePlatform({2024, 1, 3, 31, 24, 0, 0, 0});
    f_expectLikePlatform({2024, 1, 3, 31, 12, 60, 60, 1000});
    f_expectLikePlatform({0, 0, 0, 0, 0, 0, 0, 0});
}

TEST_F(ICNumberFormatterTest, FormatDate_MonthThirteen_ThrowsSystem)
{
    SYSTEMTIME const none = {2024, 13, 0, 1, 12, 0, 0, 0};
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { FORMATTER::mf_formatDate(&none); }, ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { FORMATTER::mf_formatDateTime(&none, L" "); }, ERROR_INVALID_PARAMETER));
}

TEST_F(ICNumberFormatterTest, FormatTime_HourTwentyFour_ThrowsSystem)
{
    SYSTEMTIME const none = {2024, 1, 3, 31, 24, 0, 0, 0};
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { FORMATTER::mf_formatTime(&none); }, ERROR_INVALID_PARAMETER));
}

TEST_F(ICNumberFormatterTest, Format_SystemsOwnFormat_PassesNullToThePlatform)
{
    FORMATTER::mf_configureDateFormat(7);
    FORMATTER::mf_configureTimeFormat(4);
    EXPECT_EQ(nullptr, FORMATTER::mf_getConfiguredDateFormat());
    EXPECT_EQ(nullptr, FORMATTER::mf_getConfiguredTimeFormat());
    std::vector<wchar_t const *> formats;
    ICImportPatch const dates(IC_IMPORT(GetDateFormatW), [&](LCID locale, DWORD flags, SYSTEMTIME const * time,
                                                             LPCWSTR format, LPWSTR buffer, int size) {
        EXPECT_EQ(LCID{1024}, locale);
        EXPECT_EQ(0u, flags);
        formats.push_back(format);
        return ::GetDateFormatW(locale, flags, time, format, buffer, size);
    });
    ICImportPatch const times(IC_IMPORT(GetTimeFormatW), [&](LCID locale, DWORD flags, SYSTEMTIME const * time,
                                                             LPCWSTR format, LPWSTR buffer, int size) {
        EXPECT_EQ(LCID{1024}, locale);
        EXPECT_EQ(0u, flags);
        formats.push_back(format);
        return ::GetTimeFormatW(locale, flags, time, format, buffer, size);
    });
    std::wstring const expected =
        f_platformDate(AFTERNOON, nullptr).m_text + L" " + f_platformTime(AFTERNOON, nullptr).m_text;
    EXPECT_EQ(expected, FORMATTER::mf_formatDateTime(&AFTERNOON, L" ").GetString());
    EXPECT_EQ(std::vector<wchar_t const *>(4, nullptr), formats);
}

TEST_F(ICNumberFormatterTest, FormatDateTime_IsDateSeparatorTime)
{
    FORMATTER::mf_configureDateFormat(2);
    FORMATTER::mf_configureTimeFormat(1);
    ICFileTime const stored(f_fileTime(AFTERNOON));
    EXPECT_STREQ(L"2024-01-31 13,05,09", FORMATTER::mf_formatDateTime(&AFTERNOON, L" "));
    EXPECT_STREQ(L"2024-01-31, at 13,05,09", FORMATTER::mf_formatDateTime(stored, L", at "));
    EXPECT_STREQ(L"2024-01-3113,05,09", FORMATTER::mf_formatDateTime(stored, L""));
}

TEST_F(ICNumberFormatterTest, FormatDateAndTime_EitherCallRefused_ThrowsSystemWithItsNumber)
{
    for (ulong const call : {1ul, 2ul}) {
        ICImportFault const noDate("GetDateFormatW", ERROR_INVALID_FLAGS, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::System, [] { FORMATTER::mf_formatDate(&AFTERNOON); }, ERROR_INVALID_FLAGS));
        ICImportFault const noTime("GetTimeFormatW", ERROR_INVALID_FLAGS, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::System, [] { FORMATTER::mf_formatDateTime(&AFTERNOON, L" "); }, ERROR_INVALID_FLAGS));
    }
}

TEST_F(ICNumberFormatterTest, Format_NullTime_ThrowsParameter)
{
    SYSTEMTIME const * const none = nullptr;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { FORMATTER::mf_formatDate(none); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { FORMATTER::mf_formatTime(none); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { FORMATTER::mf_formatDateTime(none, L" "); }));
}

TEST_F(ICNumberFormatterTest, Format_FileTimeBeyondTheCalendar_ThrowsSystem)
{
    ICFileTime const none(0, 0x80000000);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { FORMATTER::mf_formatDate(none); }, ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { FORMATTER::mf_formatTime(none); }, ERROR_INVALID_PARAMETER));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { FORMATTER::mf_formatDateTime(none, L" "); }, ERROR_INVALID_PARAMETER));
}

TEST_F(ICNumberFormatterTest, Format_FileTimeZero_IsTheStartOfTheCalendar)
{
    EXPECT_STREQ(L"01/01/1601 00:00:00", FORMATTER::mf_formatDateTime(ICFileTime(), L" "));
}

TEST_F(ICNumberFormatterTest, Format_IsNotShiftedToLocalTime)
{
    ICImportFault const local("FileTimeToLocalFileTime");
    ICImportFault const fields("GetLocalTime");
    ICImportFault const zone("GetTimeZoneInformation");
    ICFileTime const stored(f_fileTime(AFTERNOON));
    EXPECT_STREQ(L"01/31/2024 13:05:09", FORMATTER::mf_formatDateTime(stored, L" "));
    EXPECT_STREQ(L"01/31/2024 13:05:09", FORMATTER::mf_formatDateTime(&AFTERNOON, L" "));
    EXPECT_EQ(0u, local.mf_getCalls() + fields.mf_getCalls() + zone.mf_getCalls());
}

TEST_F(ICNumberFormatterTest, ConfiguredFormats_AreThoseOfTheTables)
{
    FORMATTER::mf_configureNumberFormat(5);
    EXPECT_EQ(FORMATTER::mf_getAllNumberFormats(1) + 5, FORMATTER::mf_getConfiguredNumberFormat(1));
    EXPECT_EQ(FORMATTER::mf_getAllNumberFormats(0) + 5, FORMATTER::mf_getConfiguredNumberFormat(0));
    EXPECT_EQ(5u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    FORMATTER::mf_configureNumberFormat(NO_NUMBER_FORMAT);
    EXPECT_EQ(FORMATTER::mf_getAllNumberFormats(1) + 6, FORMATTER::mf_getConfiguredNumberFormat(1));
}

TEST_F(ICNumberFormatterTest, Format_NumbersComeBackByNormalizing)
{
    for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
        FORMATTER::mf_configureNumberFormat(index);
        EXPECT_STREQ(L"4294967295", FORMATTER::mf_normalizeNumber(FORMATTER::mf_formatNumber(ULONG_MAX)));
    }
}
