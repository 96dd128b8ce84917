// CTime and CTimeSpan: points in time and their differences, in whole seconds of 64 bits. They stand in for the class
// library's atltime.h.
//
//     CTime const midnight(2024, 12, 24, 0, 0, 0);
//     CString const text = (midnight + CTimeSpan(1, 0, 0, 0)).Format(L"%Y-%m-%d");
//
// A CTime counts from 1970-01-01 00:00:00 UTC. Fields are local time unless the name says Gmt. The run-time can break
// down no values before 1970 and after the year 3000: field queries answer 0 for them (hour, minute and second -1).
//
// Failures go through AtlThrow: E_FAIL (0x80004005) for a field out of its range, E_INVALIDARG (0x80070057) for a value
// that cannot be converted.
//
// Threads: plain values; the time zone is the process's. No locks.
// Left out: CFileTime, OLE dates, DBTIMESTAMP, formats from resources.
#pragma once

#include "atlstr.h"

#include <compare>
#include <ctime>

// The platform's headers have a macro of this name for the tick count.
#ifdef GetCurrentTime
#undef GetCurrentTime
#endif

class CTimeSpan
{
public:
    constexpr CTimeSpan() noexcept = default;
    constexpr CTimeSpan(__time64_t seconds) noexcept : m_seconds(seconds) {}
    constexpr CTimeSpan(LONG days, int hours, int minutes, int seconds) noexcept
        : m_seconds(seconds + 60LL * (minutes + 60LL * (hours + 24LL * days)))
    {}

    // Get... answers one field of days, hours 0 to 23, minutes and seconds 0 to 59; GetTotal... the whole span, cut.
    constexpr LONGLONG GetDays() const noexcept { return m_seconds / (24LL * 3600); }
    constexpr LONGLONG GetTotalHours() const noexcept { return m_seconds / 3600; }
    constexpr LONG GetHours() const noexcept { return static_cast<LONG>(GetTotalHours() % 24); }
    constexpr LONGLONG GetTotalMinutes() const noexcept { return m_seconds / 60; }
    constexpr LONG GetMinutes() const noexcept { return static_cast<LONG>(GetTotalMinutes() % 60); }
    constexpr LONGLONG GetTotalSeconds() const noexcept { return m_seconds; }
    constexpr LONG GetSeconds() const noexcept { return static_cast<LONG>(m_seconds % 60); }
    constexpr __time64_t GetTimeSpan() const noexcept { return m_seconds; }

    constexpr CTimeSpan & operator+=(CTimeSpan other) noexcept
    {
        m_seconds += other.m_seconds;
        return *this;
    }
    constexpr CTimeSpan & operator-=(CTimeSpan other) noexcept
    {
        m_seconds -= other.m_seconds;
        return *this;
    }
    constexpr CTimeSpan operator+(CTimeSpan other) const noexcept { return m_seconds + other.m_seconds; }
    constexpr CTimeSpan operator-(CTimeSpan other) const noexcept { return m_seconds - other.m_seconds; }
    constexpr auto operator<=>(CTimeSpan const &) const noexcept = default;

    // %D: days, %H, %M, %S: two digits each, %%: a percent sign. Any other letter stays as it is.
    CString Format(wchar_t const * format) const;

private:
    __time64_t m_seconds = 0;
};

class CTime
{
public:
    constexpr CTime() noexcept = default;
    constexpr CTime(__time64_t seconds) noexcept : m_seconds(seconds) {}

    // From local time: year from 1900, month 1 to 12, day 1 to 31, hour 0 to 23, minute and second 0 to 59; anything
    // else E_FAIL. What the run-time cannot express as a time: E_INVALIDARG. A day that its month does not have runs
    // over into the next month. `dst`: 0 standard time, greater daylight saving time, less than 0: the run-time finds
    // out.
    CTime(int year, int month, int day, int hour, int minute, int second, int dst = -1);
    CTime(WORD dosDate, WORD dosTime, int dst = -1);

    // From local time. Before 1900: the value 0.
    CTime(SYSTEMTIME const & local, int dst = -1);

    // From UTC, by way of the local time. Before 1900: the value 0. Not a time: E_INVALIDARG.
    CTime(FILETIME const & time, int dst = -1);

    static CTime WINAPI GetCurrentTime() noexcept { return ::_time64(nullptr); }
    static BOOL WINAPI IsValidFILETIME(FILETIME const & time) noexcept;

    constexpr __time64_t GetTime() const noexcept { return m_seconds; }
    int GetYear() const noexcept { return mf_implField(&tm::tm_year, 1900, 0); }
    int GetMonth() const noexcept { return mf_implField(&tm::tm_mon, 1, 0); }
    int GetDay() const noexcept { return mf_implField(&tm::tm_mday, 0, 0); }
    int GetHour() const noexcept { return mf_implField(&tm::tm_hour, 0, -1); }
    int GetMinute() const noexcept { return mf_implField(&tm::tm_min, 0, -1); }
    int GetSecond() const noexcept { return mf_implField(&tm::tm_sec, 0, -1); }
    int GetDayOfWeek() const noexcept { return mf_implField(&tm::tm_wday, 1, 0); } // 1: Sunday

    // Local time, without milliseconds. False for a value that cannot be broken down.
    bool GetAsSystemTime(SYSTEMTIME & local) const noexcept;

    // Fills the caller's record and answers it, NULL for a value that cannot be broken down. No record: E_FAIL.
    tm * GetLocalTm(tm * fields) const;
    tm * GetGmtTm(tm * fields) const;

    // The run-time's strftime formats. A text of more than 127 characters comes out empty. A value that cannot be
    // broken down: E_INVALIDARG.
    CString Format(wchar_t const * format) const { return mf_implFormat(format, &CTime::GetLocalTm); }
    CString FormatGmt(wchar_t const * format) const { return mf_implFormat(format, &CTime::GetGmtTm); }

    constexpr CTime & operator+=(CTimeSpan span) noexcept
    {
        m_seconds += span.GetTimeSpan();
        return *this;
    }
    constexpr CTime & operator-=(CTimeSpan span) noexcept
    {
        m_seconds -= span.GetTimeSpan();
        return *this;
    }
    constexpr CTimeSpan operator-(CTime other) const noexcept { return m_seconds - other.m_seconds; }
    constexpr CTime operator-(CTimeSpan span) const noexcept { return m_seconds - span.GetTimeSpan(); }
    constexpr CTime operator+(CTimeSpan span) const noexcept { return m_seconds + span.GetTimeSpan(); }
    constexpr auto operator<=>(CTime const &) const noexcept = default;

private:
    int mf_implField(int tm::*field, int base, int none) const noexcept;
    CString mf_implFormat(wchar_t const * format, tm * (CTime::*breakDown)(tm *) const) const;

    __time64_t m_seconds = 0;
};

#include "internal/TimeOperations.h"
