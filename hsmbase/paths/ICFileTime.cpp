#include "hsmbase/paths/ICFileTime.h"

#include "hsmbase/failure/internal/ICTrace.h"

static wchar_t const ERROR_TEXT[] = L"FILETIME ERROR";

// Numbers that don't fit become a field that no date has, so that they don't come out as another date.
static WORD f_asField(int number)
{
    return 0 <= number && number < 0xFFFF ? static_cast<WORD>(number) : WORD{0xFFFF};
}

// Answers whether there are fields. Texts are made for logs and stores, where "no date" is an answer.
static bool f_breakDown(FILETIME const & time, SYSTEMTIME & fields, wchar_t const * function)
{
    ::SetLastError(0);
    if (::FileTimeToSystemTime(&time, &fields)) return true;

    ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
    ICTrace(function).mf_error(L"Failure converting FILETIME to SYSTEMTIME: %s", failure.mf_toString());
    return false;
}

ICFileTime::ICFileTime(CString const & dateTime, wchar_t delimiter)
{
    static wchar_t const _sFunction_[] = L"ICFileTime::ICFileTime";

    int const position = dateTime.Find(delimiter);
    if (position < 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Delimiter '%c' not found in date-time string '%s'", delimiter,
                       dateTime);
    mf_implParse(dateTime.Left(position), dateTime.Mid(position + 1));
}

ICFileTime ICFileTime::mf_getSystemTime()
{
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    return now;
}

CString ICFileTime::mf_toString(wchar_t delimiter) const
{
    static wchar_t const _sFunction_[] = L"ICFileTime::mf_toString";

    SYSTEMTIME fields;
    if (!f_breakDown(m_time, fields, _sFunction_)) return ERROR_TEXT;
    CString text;
    text.Format(L"%4.4u-%2.2u-%2.2u%c%2.2u:%2.2u:%2.2u", fields.wYear, fields.wMonth, fields.wDay, delimiter,
                fields.wHour, fields.wMinute, fields.wSecond);
    return text;
}

CString ICFileTime::mf_toLogString() const
{
    static wchar_t const _sFunction_[] = L"ICFileTime::mf_toLogString";

    SYSTEMTIME fields;
    if (!f_breakDown(m_time, fields, _sFunction_)) return ERROR_TEXT;
    CString text;
    text.Format(L"%2.2u-%2.2u-%2.2u %2.2u:%2.2u:%2.2u.%3.3u", fields.wYear % 100, fields.wMonth, fields.wDay,
                fields.wHour, fields.wMinute, fields.wSecond, fields.wMilliseconds);
    return text;
}

void ICFileTime::mf_implParse(CString const & date, CString const & time)
{
    static wchar_t const _sFunction_[] = L"ICFileTime::mf_implParse";

    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    // How many fields there were is not looked at: the system refuses what is no date.
    if (!date.IsEmpty()) ::swscanf_s(date, L"%d-%d-%d", &year, &month, &day);
    if (!time.IsEmpty()) ::swscanf_s(time, L"%d:%d:%d", &hour, &minute, &second);

    SYSTEMTIME fields{};
    fields.wYear = f_asField(year);
    fields.wMonth = f_asField(month);
    fields.wDay = f_asField(day);
    fields.wHour = f_asField(hour);
    fields.wMinute = f_asField(minute);
    fields.wSecond = f_asField(second);

    ::SetLastError(0);
    if (!::SystemTimeToFileTime(&fields, &m_time)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
        // Deliberate: the system's number stays in the trace. To the caller the text is wrong, and nothing else.
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Conversion, L"Failure converting system time to file time: %s",
                       failure.mf_toString());
    }
}
