#include "hsmbase/paths/ICTime.h"

#include <ctime>

#include "hsmbase/failure/internal/ICTrace.h"

// What mf_toUTC adds. Deliberate: the daylight bias counts also while daylight saving is not in force.
static CTimeSpan f_getZoneShift(wchar_t const * function)
{
    TIME_ZONE_INFORMATION zone{};
    ::SetLastError(0);
    if (::GetTimeZoneInformation(&zone) == TIME_ZONE_ID_INVALID) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
        throw ICTrace(function).mf_failed(failure, L"Failure getting time zone information: %s", failure.mf_toString());
    }
    return CTimeSpan((static_cast<__time64_t>(zone.Bias) + zone.DaylightBias) * 60);
}

static ICErrno f_noTime(wchar_t const * function, CString const & text)
{
    return ICTrace(function).mf_failed(ICErrno::_E_::Conversion, L"Could not convert '%s' into CTime struct.", text);
}

static CTime f_parseDate(wchar_t const * function, CString const & text)
{
    int year = 0, month = 0, day = 0;
    if (::swscanf_s(text, L"%d-%d-%d", &year, &month, &day) < 3) throw f_noTime(function, text);
    return CTime(year, month, day, 0, 0, 0);
}

static CTime f_parseDateTime(wchar_t const * function, CString const & text)
{
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (::swscanf_s(text, L"%d-%d-%dT%d:%d:%d", &year, &month, &day, &hour, &minute, &second) < 6)
        throw f_noTime(function, text);
    return CTime(year, month, day, hour, minute, second);
}

void ICTime::mf_toUTC(CTime & time)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_toUTC";

    time += f_getZoneShift(_sFunction_);
}

void ICTime::mf_toLocal(CTime & time)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_toLocal";

    time -= f_getZoneShift(_sFunction_);
}

FILETIME ICTime::mf_mapCTimeToFileTime(CTime const & time)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_mapCTimeToFileTime";

    CTime shifted = time;
    mf_toUTC(shifted);

    // The local breakdown takes the shift off again, so that the fields are those of UTC.
    __time64_t const seconds = shifted.GetTime();
    tm local{};
    if (::_localtime64_s(&local, &seconds) != 0)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Conversion, L"Conversion CTime -> SYSTEMTIME failed");

    SYSTEMTIME fields{};
    fields.wYear = static_cast<WORD>(local.tm_year + 1900);
    fields.wMonth = static_cast<WORD>(local.tm_mon + 1);
    fields.wDayOfWeek = static_cast<WORD>(local.tm_wday);
    fields.wDay = static_cast<WORD>(local.tm_mday);
    fields.wHour = static_cast<WORD>(local.tm_hour);
    fields.wMinute = static_cast<WORD>(local.tm_min);
    fields.wSecond = static_cast<WORD>(local.tm_sec);

    FILETIME result;
    ::SetLastError(0);
    if (!::SystemTimeToFileTime(&fields, &result)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Conversion SYSTEMTIME -> FILETIME failed: %s", failure.mf_toString());
    }
    return result;
}

CTime ICTime::mf_mapDateStringToCTime(CString const & date)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_mapDateStringToCTime";

    CTime const time = f_parseDate(_sFunction_, date);
    ICTrace(_sFunction_)
        .mf_debug(L"Date string to CTime conversion: '%s' => '%s'", date, time.Format(L"%Y-%m-%d %H:%M:%S"));
    return time;
}

CTime ICTime::mf_mapUTCDateStringToCTime(CString const & date)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_mapUTCDateStringToCTime";

    CTime time = f_parseDate(_sFunction_, date);
    mf_toLocal(time);
    return time;
}

CTime ICTime::mf_mapDateTimeStringToCTime(CString const & dateTime)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_mapDateTimeStringToCTime";

    return f_parseDateTime(_sFunction_, dateTime);
}

CTime ICTime::mf_mapUTCDateTimeStringToCTime(CString const & dateTime)
{
    static wchar_t const _sFunction_[] = L"ICTime::mf_mapUTCDateTimeStringToCTime";

    CTime time = f_parseDateTime(_sFunction_, dateTime);
    mf_toLocal(time);
    return time;
}

CString ICTime::mf_mapCTimeToString(CTime const & time)
{
    return time.FormatGmt(L"%Y-%m-%dT%H:%M:%S"); // deliberate: UTC, no mf_toLocal
}

CString ICTime::mf_mapFileTimeToString(FILETIME const & time)
{
    return mf_mapCTimeToString(CTime(time));
}
