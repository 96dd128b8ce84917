// The operations of CTime and CTimeSpan that are too long to stand in the class. Included by atltime.h only.
#pragma once

#include "../atltime.h"

#include <iterator>

inline CString CTimeSpan::Format(wchar_t const * format) const
{
    CString result;
    for (wchar_t const * at = format == nullptr ? L"" : format; *at != L'\0'; ++at) {
        if (at[0] != L'%' || at[1] == L'\0') {
            result.AppendChar(*at);
            continue;
        }
        switch (*++at) {
        case L'D': result.AppendFormat(L"%I64d", GetDays()); break;
        case L'H': result.AppendFormat(L"%02ld", GetHours()); break;
        case L'M': result.AppendFormat(L"%02ld", GetMinutes()); break;
        case L'S': result.AppendFormat(L"%02ld", GetSeconds()); break;
        default: result.AppendChar(*at);
        }
    }
    return result;
}

inline CTime::CTime(int year, int month, int day, int hour, int minute, int second, int dst)
{
    ATLENSURE(year >= 1900);
    ATLENSURE(month >= 1 && month <= 12);
    ATLENSURE(day >= 1 && day <= 31);
    ATLENSURE(hour >= 0 && hour <= 23);
    ATLENSURE(minute >= 0 && minute <= 59);
    ATLENSURE(second >= 0 && second <= 59);
    tm fields = {};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = dst;
    m_seconds = ::_mktime64(&fields);
    ATLENSURE_THROW(m_seconds != -1, E_INVALIDARG);
}

// A date has its day in bits 0 to 4, the month in 5 to 8, the year from 1980 above; a time the half seconds in bits 0
// to 4, the minute in 5 to 10, the hour above.
inline CTime::CTime(WORD dosDate, WORD dosTime, int dst)
    : CTime((dosDate >> 9) + 1980, (dosDate >> 5) & 0xF, dosDate & 0x1F, dosTime >> 11, (dosTime >> 5) & 0x3F,
            (dosTime & 0x1F) * 2, dst)
{}

inline CTime::CTime(SYSTEMTIME const & local, int dst)
{
    if (local.wYear >= 1900) {
        *this = CTime(local.wYear, local.wMonth, local.wDay, local.wHour, local.wMinute, local.wSecond, dst);
    }
}

inline CTime::CTime(FILETIME const & time, int dst)
{
    FILETIME local;
    ATLENSURE_THROW(::FileTimeToLocalFileTime(&time, &local), E_INVALIDARG);
    SYSTEMTIME fields;
    ATLENSURE_THROW(::FileTimeToSystemTime(&local, &fields), E_INVALIDARG);
    *this = CTime(fields, dst);
}

inline BOOL WINAPI CTime::IsValidFILETIME(FILETIME const & time) noexcept
{
    FILETIME local;
    SYSTEMTIME fields;
    return ::FileTimeToLocalFileTime(&time, &local) && ::FileTimeToSystemTime(&local, &fields);
}

inline tm * CTime::GetLocalTm(tm * fields) const
{
    ATLENSURE(fields != nullptr);
    return ::_localtime64_s(fields, &m_seconds) == 0 ? fields : nullptr;
}

inline tm * CTime::GetGmtTm(tm * fields) const
{
    ATLENSURE(fields != nullptr);
    return ::_gmtime64_s(fields, &m_seconds) == 0 ? fields : nullptr;
}

inline int CTime::mf_implField(int tm::*field, int base, int none) const noexcept
{
    tm fields;
    return GetLocalTm(&fields) == nullptr ? none : fields.*field + base;
}

inline bool CTime::GetAsSystemTime(SYSTEMTIME & local) const noexcept
{
    tm fields;
    if (GetLocalTm(&fields) == nullptr) return false;
    local.wYear = static_cast<WORD>(fields.tm_year + 1900);
    local.wMonth = static_cast<WORD>(fields.tm_mon + 1);
    local.wDayOfWeek = static_cast<WORD>(fields.tm_wday);
    local.wDay = static_cast<WORD>(fields.tm_mday);
    local.wHour = static_cast<WORD>(fields.tm_hour);
    local.wMinute = static_cast<WORD>(fields.tm_min);
    local.wSecond = static_cast<WORD>(fields.tm_sec);
    local.wMilliseconds = 0;
    return true;
}

inline CString CTime::mf_implFormat(wchar_t const * format, tm * (CTime::*breakDown)(tm *) const) const
{
    if (format == nullptr) return CString();
    tm fields;
    ATLENSURE_THROW((this->*breakDown)(&fields) != nullptr, E_INVALIDARG);
    wchar_t text[128];
    std::size_t const length = std::wcsftime(text, std::size(text), format, &fields);
    // A text too long for the buffer gives 0, with some run-times the size of the buffer.
    return length < std::size(text) ? CString(text, static_cast<int>(length)) : CString();
}
