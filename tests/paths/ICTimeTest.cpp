#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/paths/ICTime.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/PlatformFailure.h"
#include "tests/support/Thrown.h"

namespace
{

// The library sees this time zone. The run-time has its own: see f_inEasternTime.
class ICFakeZone
{
public:
    ICFakeZone(LONG bias, LONG daylightBias, ulong answer = TIME_ZONE_ID_STANDARD)
        : m_patch(IC_IMPORT(GetTimeZoneInformation), [=](TIME_ZONE_INFORMATION * zone) -> DWORD {
              *zone = {};
              zone->Bias = bias;
              zone->DaylightBias = daylightBias;
              return answer;
          })
    {}

private:
    ICImportPatch const m_patch;
};

__time64_t f_toUTC(__time64_t seconds)
{
    CTime time(seconds);
    ICTime::mf_toUTC(time);
    return time.GetTime();
}

__time64_t f_toLocal(__time64_t seconds)
{
    CTime time(seconds);
    ICTime::mf_toLocal(time);
    return time.GetTime();
}

// One conversion a child, in a zone of five hours behind UTC in winter and four in summer: TZ is a matter of the whole
// process. The result comes as text.
CString f_convert(std::wstring const & what, wchar_t const * text)
{
    if (what == L"date") return ICTime::mf_mapDateStringToCTime(text).FormatGmt(L"%Y-%m-%dT%H:%M:%S");
    if (what == L"UTC date") return ICTime::mf_mapCTimeToString(ICTime::mf_mapUTCDateStringToCTime(text));
    if (what == L"time") return ICTime::mf_mapCTimeToString(ICTime::mf_mapDateTimeStringToCTime(text));
    if (what == L"UTC time") return ICTime::mf_mapCTimeToString(ICTime::mf_mapUTCDateTimeStringToCTime(text));
    if (what == L"to file time") {
        CTime const local = ICTime::mf_mapDateTimeStringToCTime(text);
        return ICFileTime(ICTime::mf_mapCTimeToFileTime(local)).mf_toString(L'T');
    }
    if (what == L"from file time") return ICTime::mf_mapFileTimeToString(ICFileTime(text, L'T').mf_getFileTime());
    return L"?";
}

std::string f_inEasternTime(wchar_t const * what, wchar_t const * text)
{
    ICChildProcess child("convertInEasternTime", {what, text});
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
    return child.mf_getOutput();
}

} // namespace

IC_CHILD(convertInEasternTime)
{
    ::_putenv("TZ=EST5EDT");
    ::_tzset();
    ICFakeZone const eastern(300, -60);
    // As the system does on a day in summer, whatever the season of the time converted.
    ICImportPatch const summer(IC_IMPORT(FileTimeToLocalFileTime), [](FILETIME const * time, FILETIME * local) -> BOOL {
        *local = ICFileTime(ICFileTime(*time).mf_getValue() - 4 * 36000000000ull).mf_getFileTime();
        return TRUE;
    });
    std::printf("%S", f_convert(arguments[0], arguments[1].c_str()).GetString());
    return 0;
}

TEST(ICTime, Shift_IsBiasAndDaylightBias)
{
    struct CASE
    {
        LONG bias, daylightBias;
        __time64_t seconds;
    };
    for (CASE const & zone : {CASE{0, 0, 0}, CASE{300, -60, 14400}, CASE{-60, -60, -7200}, CASE{-345, 0, -20700}}) {
        ICFakeZone const fake(zone.bias, zone.daylightBias);
        EXPECT_EQ(1000000 + zone.seconds, f_toUTC(1000000));
        EXPECT_EQ(1000000 - zone.seconds, f_toLocal(1000000));
    }
}

TEST(ICTime, Shift_DoesNotAskWhetherDaylightSavingIsInForce)
{
    for (ulong const answer : {0ul, 1ul, 2ul}) { // unknown, standard, daylight saving
        ICFakeZone const fake(60, -60, answer);
        EXPECT_EQ(1000000, f_toUTC(1000000));
        EXPECT_EQ(1000000, f_toLocal(1000000));
    }
}

TEST(ICTime, Shift_ThereAndBack_GivesTheValueInAnySeason)
{
    ICFakeZone const fake(-60, -60);
    for (__time64_t const seconds : {1704067200ll, 1719792000ll}) // January, July 2024
        EXPECT_EQ(seconds, f_toLocal(f_toUTC(seconds)));
}

TEST(ICTime, Shift_NoZone_KeepsSystemNumberAndValue)
{
    ICImportFault const refused("GetTimeZoneInformation",
                                ICAnswer::mf_error(ERROR_RESOURCE_NAME_NOT_FOUND, TIME_ZONE_ID_INVALID));
    CTime time(1000000);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [&] { ICTime::mf_toUTC(time); }, ERROR_RESOURCE_NAME_NOT_FOUND));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [&] { ICTime::mf_toLocal(time); }, ERROR_RESOURCE_NAME_NOT_FOUND));
    EXPECT_EQ(1000000, time.GetTime());
}

TEST(ICTime, Shift_IsAskedForEachTime)
{
    ICImportFault const counter("GetTimeZoneInformation");

    f_toUTC(0);
    f_toLocal(0);

    EXPECT_EQ(2u, counter.mf_getCalls());
}

TEST(ICTime, DateText_IsLocalMidnight)
{
    EXPECT_EQ("2024-01-02T05:00:00", f_inEasternTime(L"date", L"2024-01-02"));
    EXPECT_EQ("2024-07-02T04:00:00", f_inEasternTime(L"date", L"2024-7-2"));
}

TEST(ICTime, DateTimeText_IsLocalTime)
{
    EXPECT_EQ("2024-01-02T15:20:30", f_inEasternTime(L"time", L"2024-01-02T10:20:30"));
    EXPECT_EQ("2024-07-02T14:20:30", f_inEasternTime(L"time", L"2024-07-02T10:20:30"));
}

// Right while the zone's offset is bias plus daylight bias, that is in summer; in winter off by the daylight bias.
TEST(ICTime, UtcTexts_AreRightInSummerAndOneHourOffInWinter)
{
    EXPECT_EQ("2024-07-02T00:00:00", f_inEasternTime(L"UTC date", L"2024-07-02"));
    EXPECT_EQ("2024-01-02T01:00:00", f_inEasternTime(L"UTC date", L"2024-01-02"));
    EXPECT_EQ("2024-07-02T10:20:30", f_inEasternTime(L"UTC time", L"2024-07-02T10:20:30"));
    EXPECT_EQ("2024-01-02T11:20:30", f_inEasternTime(L"UTC time", L"2024-01-02T10:20:30"));
}

TEST(ICTime, CTimeToFileTime_IsRightInSummerAndOneHourOffInWinter)
{
    EXPECT_EQ("2024-07-02T14:20:30", f_inEasternTime(L"to file time", L"2024-07-02T10:20:30"));
    EXPECT_EQ("2024-01-02T14:20:30", f_inEasternTime(L"to file time", L"2024-01-02T10:20:30"));
}

TEST(ICTime, CTimeToFileTime_FillsAllFields)
{
    SYSTEMTIME seen{};
    ICFakeZone const fake(0, 0);
    ICImportPatch const conversion(IC_IMPORT(SystemTimeToFileTime), [&](SYSTEMTIME const * fields, FILETIME * time) {
        seen = *fields;
        return ::SystemTimeToFileTime(fields, time);
    });
    CTime const time(1704164645);
    SYSTEMTIME expected{};
    ASSERT_TRUE(time.GetAsSystemTime(expected));

    FILETIME const result = ICTime::mf_mapCTimeToFileTime(time);

    EXPECT_EQ(0, std::memcmp(&expected, &seen, sizeof(SYSTEMTIME)));
    FILETIME fromFields{};
    ::SystemTimeToFileTime(&expected, &fromFields);
    EXPECT_EQ(ICFileTime(fromFields), ICFileTime(result));
}

TEST(ICTime, CTimeToFileTime_NoZone_Fails)
{
    ICImportFault const refused("GetTimeZoneInformation", ICAnswer::mf_error(5, TIME_ZONE_ID_INVALID));

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [] { ICTime::mf_mapCTimeToFileTime(CTime(0)); }, 5));
}

// The run-time's calendar ends with the year 3000.
TEST(ICTime, CTimeToFileTime_NoBreakdown_FailsWithoutSystemNumber)
{
    ICFakeZone const fake(0, 0);

    EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [] { ICTime::mf_mapCTimeToFileTime(CTime(0x7FFFFFFFFFFF)); }));
}

TEST(ICTime, CTimeToFileTime_SystemRefuses_KeepsSystemNumber)
{
    ICFakeZone const fake(0, 0);
    ICImportFault const refused("SystemTimeToFileTime", ERROR_INVALID_PARAMETER);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [] { ICTime::mf_mapCTimeToFileTime(CTime(1000000)); }, ERROR_INVALID_PARAMETER));
}

TEST(ICTime, DateTexts_WithTooFewNumbers_Fail)
{
    for (wchar_t const * text : {L"", L"2024", L"2024-12", L"2024-12-", L"today", L"2024/12/24"}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICTime::mf_mapDateStringToCTime(text); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICTime::mf_mapUTCDateStringToCTime(text); }));
    }
    for (wchar_t const * text : {L"", L"2024-12-24", L"2024-12-24T10:20", L"2024-12-24 10:20:30"}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICTime::mf_mapDateTimeStringToCTime(text); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICTime::mf_mapUTCDateTimeStringToCTime(text); }));
    }
}

TEST(ICTime, DateTexts_WithFieldsOutOfRange_FailInTheClassLibrarysWay)
{
    for (wchar_t const * text :
         {L"1899-01-01", L"2024-13-01", L"2024-00-01", L"2024-01-00", L"2024-01-32", L"2024--1-02"}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_EQ(E_FAIL, f_platformFailure([&] { ICTime::mf_mapDateStringToCTime(text); }));
        EXPECT_EQ(E_FAIL, f_platformFailure([&] { ICTime::mf_mapUTCDateStringToCTime(text); }));
    }
    for (wchar_t const * text : {L"2024-13-01T00:00:00", L"2024-01-01T24:00:00", L"2024-01-01T00:60:00",
                                 L"2024-01-01T00:00:60", L"2024-01-01T-1:00:00"}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_EQ(E_FAIL, f_platformFailure([&] { ICTime::mf_mapDateTimeStringToCTime(text); }));
        EXPECT_EQ(E_FAIL, f_platformFailure([&] { ICTime::mf_mapUTCDateTimeStringToCTime(text); }));
    }
}

TEST(ICTime, DateTexts_OutsideTheRunTimesRange_FailInTheClassLibrarysWay)
{
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICTime::mf_mapDateStringToCTime(L"1960-01-01"); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICTime::mf_mapDateTimeStringToCTime(L"1960-01-01T00:00:00"); }));
}

TEST(ICTime, UtcTexts_NoZone_Fail)
{
    ICImportFault const refused("GetTimeZoneInformation", ICAnswer::mf_error(5, TIME_ZONE_ID_INVALID));

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [] { ICTime::mf_mapUTCDateStringToCTime(L"2024-01-02"); }, 5));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [] { ICTime::mf_mapUTCDateTimeStringToCTime(L"2024-01-02T00:00:00"); }, 5));
}

TEST(ICTime, CTimeToString_ShowsTheUtcFields)
{
    EXPECT_STREQ(L"1970-01-01T00:00:00", ICTime::mf_mapCTimeToString(CTime(0)));
    EXPECT_STREQ(L"2024-01-02T03:04:05", ICTime::mf_mapCTimeToString(CTime(1704164645)));
}

TEST(ICTime, CTimeToString_NoBreakdown_FailsInTheClassLibrarysWay)
{
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICTime::mf_mapCTimeToString(CTime(-1)); }));
}

// The system's shift is that of today, the run-time's that of the time converted.
TEST(ICTime, FileTimeToString_AskedInSummer_IsRightForSummerAndOneHourOffForWinter)
{
    EXPECT_EQ("2024-07-02T10:20:30", f_inEasternTime(L"from file time", L"2024-07-02T10:20:30"));
    EXPECT_EQ("2024-01-02T11:20:30", f_inEasternTime(L"from file time", L"2024-01-02T10:20:30"));
}

TEST(ICTime, FileTimeToString_Before1900_IsTheValueZero)
{
    EXPECT_STREQ(L"1970-01-01T00:00:00", ICTime::mf_mapFileTimeToString(FILETIME{0, 0x01000000}));
}

TEST(ICTime, FileTimeToString_NoDate_FailsInTheClassLibrarysWay)
{
    for (char const * call : {"FileTimeToLocalFileTime", "FileTimeToSystemTime"}) {
        ICImportFault const refused(call, ERROR_INVALID_PARAMETER);
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICTime::mf_mapFileTimeToString(FILETIME{0, 0x01D00000}); }));
        EXPECT_EQ(1u, refused.mf_getAnswered());
    }
}
