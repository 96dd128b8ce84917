#include "tests/support/PlatformFailure.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <type_traits>

static_assert(sizeof(CTime) == 8 && sizeof(CTimeSpan) == 8);
static_assert(CTime().GetTime() == 0 && CTimeSpan().GetTotalSeconds() == 0);
static_assert(CTimeSpan(1, 2, 3, 4).GetTotalSeconds() == 93784);

namespace
{
// Runs five hours west of UTC, daylight saving time one hour less, and puts the process back to the former zone.
class CTimeInZone : public testing::Test
{
public:
    CTimeInZone() : m_former(mf_get()), m_formerBias(_dstbias)
    {
        mf_set(L"EST5EDT");
        // Some run-times take the bias from the system although the zone is given.
        _dstbias = -3600;
    }
    ~CTimeInZone() override
    {
        mf_set(m_former);
        _dstbias = m_formerBias;
    }

private:
    static CString mf_get()
    {
        wchar_t const * const zone = ::_wgetenv(L"TZ");
        return zone == nullptr ? L"" : zone;
    }
    static void mf_set(CString const & zone)
    {
        ::_wputenv(L"TZ=" + zone);
        ::_tzset();
    }

    CString const m_former;
    long const m_formerBias;
};
} // namespace

static FILETIME f_fileTime(unsigned long long value)
{
    return {static_cast<DWORD>(value), static_cast<DWORD>(value >> 32)};
}

static SYSTEMTIME f_systemTime(WORD year, WORD month, WORD day, WORD hour, WORD minute, WORD second)
{
    return {year, month, 0, day, hour, minute, second, 999};
}

TEST(CTime, Default_IsTheBeginningOf1970)
{
    EXPECT_EQ(0, CTime().GetTime());
    EXPECT_STREQ(L"1970-01-01 00:00:00", CTime().FormatGmt(L"%Y-%m-%d %H:%M:%S"));
}

TEST(CTime, Fields_ComeBackAsGiven)
{
    CTime const time(2024, 2, 29, 23, 58, 59);
    EXPECT_EQ(2024, time.GetYear());
    EXPECT_EQ(2, time.GetMonth());
    EXPECT_EQ(29, time.GetDay());
    EXPECT_EQ(23, time.GetHour());
    EXPECT_EQ(58, time.GetMinute());
    EXPECT_EQ(59, time.GetSecond());
    EXPECT_EQ(5, time.GetDayOfWeek()) << "Thursday; Sunday is 1";
    EXPECT_EQ(1, CTime(2024, 3, 3, 0, 0, 0).GetDayOfWeek());
}

TEST(CTime, FieldsOutOfRange_FailWithUnspecified)
{
    struct ROW
    {
        int year, month, day, hour, minute, second;
    } const rows[] = {
        {1899, 1, 1, 0, 0, 0},  {0, 1, 1, 0, 0, 0},     {-1, 1, 1, 0, 0, 0},    {2024, 0, 1, 0, 0, 0},
        {2024, 13, 1, 0, 0, 0}, {2024, -1, 1, 0, 0, 0}, {2024, 1, 0, 0, 0, 0},  {2024, 1, 32, 0, 0, 0},
        {2024, 1, 1, -1, 0, 0}, {2024, 1, 1, 24, 0, 0}, {2024, 1, 1, 0, -1, 0}, {2024, 1, 1, 0, 60, 0},
        {2024, 1, 1, 0, 0, -1}, {2024, 1, 1, 0, 0, 60},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(static_cast<HRESULT>(0x80004005),
                  f_platformFailure([&] { CTime(row.year, row.month, row.day, row.hour, row.minute, row.second); }));
    }
}

TEST(CTime, EdgesOfTheRanges_AreTaken)
{
    EXPECT_EQ(S_OK, f_platformFailure([] { CTime(2024, 1, 1, 0, 0, 0); }));
    EXPECT_EQ(S_OK, f_platformFailure([] { CTime(2024, 12, 31, 23, 59, 59); }));
    EXPECT_EQ(S_OK, f_platformFailure([] { CTime(3000, 12, 30, 0, 0, 0); }));
    EXPECT_EQ(3, CTime(2023, 2, 31, 0, 0, 0).GetMonth()) << "runs over";
    EXPECT_EQ(3, CTime(2023, 2, 31, 0, 0, 0).GetDay());
}

TEST(CTime, WhatTheRunTimeCannotExpress_FailsWithInvalidArgument)
{
    for (int const year : {1900, 1950, 1969, 3002, 9999, 100000}) {
        SCOPED_TRACE(year);
        EXPECT_EQ(static_cast<HRESULT>(0x80070057), f_platformFailure([&] { CTime(year, 1, 1, 0, 0, 0); }));
    }
}

TEST(CTime, ValuesThatCannotBeBrokenDown_HaveNeutralFields)
{
    for (__time64_t const seconds : {-1000000ll, 0x7FFFFFFFFFFFFFFFll}) {
        SCOPED_TRACE(seconds);
        CTime const time(seconds);
        tm fields;
        SYSTEMTIME local;
        EXPECT_EQ(nullptr, time.GetGmtTm(&fields));
        EXPECT_EQ(nullptr, time.GetLocalTm(&fields));
        EXPECT_FALSE(time.GetAsSystemTime(local));
        EXPECT_EQ(0, time.GetYear());
        EXPECT_EQ(0, time.GetMonth());
        EXPECT_EQ(0, time.GetDay());
        EXPECT_EQ(-1, time.GetHour());
        EXPECT_EQ(-1, time.GetMinute());
        EXPECT_EQ(-1, time.GetSecond());
        EXPECT_EQ(0, time.GetDayOfWeek());
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { time.Format(L"%Y"); }));
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { time.FormatGmt(L"%Y"); }));
    }
}

TEST_F(CTimeInZone, Fields_AreLocalAndGmtIsNot)
{
    CTime const winter(1704110400); // 2024-01-01 12:00:00 UTC
    EXPECT_EQ(7, winter.GetHour());
    tm fields = {};
    ASSERT_EQ(&fields, winter.GetGmtTm(&fields));
    EXPECT_EQ(12, fields.tm_hour);
    ASSERT_EQ(&fields, winter.GetLocalTm(&fields));
    EXPECT_EQ(7, fields.tm_hour);
    EXPECT_STREQ(L"2024-01-01 07:00:00", winter.Format(L"%Y-%m-%d %H:%M:%S"));
    EXPECT_STREQ(L"2024-01-01 12:00:00", winter.FormatGmt(L"%Y-%m-%d %H:%M:%S"));
    EXPECT_EQ(winter, CTime(2024, 1, 1, 7, 0, 0));
}

TEST_F(CTimeInZone, DaylightSaving_CanBeTold)
{
    CTime const noon(1719853200); // 2024-07-01 17:00:00 UTC, that is 12:00:00 five hours west
    CTimeSpan const hour(3600);
    SYSTEMTIME const local = f_systemTime(2024, 7, 1, 12, 0, 0);
    WORD const date = ((2024 - 1980) << 9) | (7 << 5) | 1;
    EXPECT_EQ(noon, CTime(2024, 7, 1, 12, 0, 0, 0));
    EXPECT_EQ(noon - hour, CTime(2024, 7, 1, 12, 0, 0, 1));
    EXPECT_EQ(noon, CTime(local, 0));
    EXPECT_EQ(noon - hour, CTime(local, 1));
    EXPECT_EQ(noon, CTime(date, 12 << 11, 0));
    EXPECT_EQ(noon - hour, CTime(date, 12 << 11, 1));
    FILETIME const time = f_fileTime(133536384000000000ull);
    EXPECT_EQ(hour, CTime(time, 0) - CTime(time, 1));
}

TEST_F(CTimeInZone, DaylightSaving_IsLeftToTheRunTime)
{
    tm fields = {};
    fields.tm_year = 124;
    fields.tm_mon = 6;
    fields.tm_mday = 1;
    fields.tm_isdst = -1;
    EXPECT_EQ(CTime(::_mktime64(&fields)), CTime(2024, 7, 1, 0, 0, 0));
    EXPECT_EQ(CTime(2024, 7, 1, 0, 0, 0, -1), CTime(2024, 7, 1, 0, 0, 0));
}

TEST(CTime, GetTm_WithoutRecord_FailsWithUnspecified)
{
    EXPECT_EQ(E_FAIL, f_platformFailure([] { CTime().GetLocalTm(nullptr); }));
    EXPECT_EQ(E_FAIL, f_platformFailure([] { CTime().GetGmtTm(nullptr); }));
}

TEST(CTime, SystemTime_GoesThereAndBack)
{
    CTime const time(f_systemTime(2024, 2, 29, 13, 14, 15));
    EXPECT_EQ(CTime(2024, 2, 29, 13, 14, 15), time);
    SYSTEMTIME local = {};
    ASSERT_TRUE(time.GetAsSystemTime(local));
    EXPECT_EQ(2024, local.wYear);
    EXPECT_EQ(2, local.wMonth);
    EXPECT_EQ(29, local.wDay);
    EXPECT_EQ(4, local.wDayOfWeek);
    EXPECT_EQ(13, local.wHour);
    EXPECT_EQ(14, local.wMinute);
    EXPECT_EQ(15, local.wSecond);
    EXPECT_EQ(0, local.wMilliseconds);
}

TEST(CTime, SystemTime_IsCheckedFrom1900On)
{
    EXPECT_EQ(0, CTime(f_systemTime(1899, 12, 31, 1, 1, 1)).GetTime());
    EXPECT_EQ(0, CTime(f_systemTime(0, 99, 99, 99, 99, 99)).GetTime());
    EXPECT_EQ(E_FAIL, f_platformFailure([] { CTime(f_systemTime(2024, 13, 1, 0, 0, 0)); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CTime(f_systemTime(1900, 1, 1, 0, 0, 0)); }));
}

TEST(CTime, FileTime_OfTheSystem_GivesItsLocalFields)
{
    FILETIME const time = f_fileTime(133536384001234567ull); // a day in 2024, with a fraction that is cut
    FILETIME local;
    SYSTEMTIME fields;
    ASSERT_TRUE(::FileTimeToLocalFileTime(&time, &local) && ::FileTimeToSystemTime(&local, &fields));
    EXPECT_EQ(CTime(fields), CTime(time));
    EXPECT_TRUE(CTime::IsValidFILETIME(time));
}

TEST(CTime, FileTime_OutsideOfTime_FailsWithInvalidArgument)
{
    FILETIME const never = f_fileTime(0xF000000000000000ull); // not the last one: some zones would wrap it
    EXPECT_EQ(static_cast<HRESULT>(0x80070057), f_platformFailure([&] { CTime{never}; }));
    EXPECT_FALSE(CTime::IsValidFILETIME(never));
}

TEST(CTime, FileTime_Before1900_IsZero)
{
    unsigned long long const days = 24ull * 3600 * 10000000;
    EXPECT_EQ(0, CTime(f_fileTime(100 * days)).GetTime());
    EXPECT_EQ(0, CTime(f_fileTime(298ull * 365 * days)).GetTime());
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { CTime(f_fileTime(300ull * 366 * days)); }))
        << "after 1900, before 1970";
}

TEST(CTime, DosTime_IsTakenApart)
{
    WORD const date = ((2024 - 1980) << 9) | (2 << 5) | 29;
    WORD const time = (13 << 11) | (14 << 5) | (58 / 2);
    EXPECT_EQ(CTime(2024, 2, 29, 13, 14, 58), CTime(date, time));
    EXPECT_EQ(E_FAIL, f_platformFailure([] { CTime(WORD(0), WORD(0)); }));
}

TEST(CTime, GetCurrentTime_IsTheRunTimesTime)
{
    __time64_t const before = ::_time64(nullptr);
    __time64_t const now = CTime::GetCurrentTime().GetTime();
    EXPECT_LE(before, now);
    EXPECT_LE(now, ::_time64(nullptr));
}

TEST(CTime, Format_IsBoundTo127Characters)
{
    CTime const time(2024, 1, 1, 0, 0, 0);
    CString const fits(L'x', 127);
    EXPECT_EQ(fits, time.Format(fits));
    EXPECT_STREQ(L"", time.Format(fits + L'x'));
    EXPECT_STREQ(L"", time.Format(fits + L"%Y"));
    EXPECT_STREQ(L"", time.FormatGmt(CString(L'x', 1000)));
    EXPECT_STREQ(L"", time.Format(nullptr));
    EXPECT_STREQ(L"", time.Format(L""));
    EXPECT_STREQ(L"001 100%", time.Format(L"%j 100%%"));
}

TEST(CTime, Arithmetic_AndOrder)
{
    CTime const early(1000);
    CTime const late(1000 + 86400);
    EXPECT_EQ(CTimeSpan(1, 0, 0, 0), late - early);
    EXPECT_EQ(late, early + CTimeSpan(1, 0, 0, 0));
    EXPECT_EQ(early, late - CTimeSpan(1, 0, 0, 0));
    CTime moved = early;
    moved += CTimeSpan(86400);
    EXPECT_TRUE(moved == late && moved != early);
    moved -= CTimeSpan(86400);
    EXPECT_TRUE(moved < late && moved <= early && late > moved && early >= moved);
}

TEST(CTimeSpan, Parts_AreCut)
{
    CTimeSpan const span(400, 25, 61, 61);
    EXPECT_EQ(401, span.GetDays());
    EXPECT_EQ(2, span.GetHours());
    EXPECT_EQ(2, span.GetMinutes());
    EXPECT_EQ(1, span.GetSeconds());
    EXPECT_EQ(401 * 24 + 2, span.GetTotalHours());
    EXPECT_EQ((401 * 24 + 2) * 60 + 2, span.GetTotalMinutes());
    EXPECT_EQ(((401 * 24 + 2) * 60 + 2) * 60 + 1, span.GetTotalSeconds());
    EXPECT_EQ(-1, CTimeSpan(-90).GetMinutes());
    EXPECT_EQ(-30, CTimeSpan(-90).GetSeconds());
}

TEST(CTimeSpan, Arithmetic_AndOrder)
{
    CTimeSpan span(60);
    span += CTimeSpan(30);
    EXPECT_EQ(CTimeSpan(90), span);
    span -= CTimeSpan(60);
    EXPECT_EQ(CTimeSpan(30), span);
    EXPECT_EQ(CTimeSpan(45), span + CTimeSpan(15));
    EXPECT_EQ(CTimeSpan(15), span - CTimeSpan(15));
    EXPECT_TRUE(CTimeSpan(1) < CTimeSpan(2) && CTimeSpan(2) >= CTimeSpan(2) && CTimeSpan(-1) != CTimeSpan(1));
}

TEST(CTimeSpan, Format_KnowsItsLetters)
{
    CTimeSpan const span(12, 3, 4, 5);
    EXPECT_STREQ(L"12 days, 03:04:05 (100%)", span.Format(L"%D days, %H:%M:%S (100%%)"));
    EXPECT_STREQ(L"x%", span.Format(L"%x%"));
    EXPECT_STREQ(L"", span.Format(nullptr));
}
