#include "hsmbase/text/ICNumberFormatter.h"

#include <iterator>
#include <new>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/PathTexts.h"
#include "hsmbase/registry/ICRegistry.h"

namespace
{

// The platform reads the texts of a record, though their pointers are not const.
constexpr NUMBERFMTW f_record(unsigned int digits, wchar_t const * thousands, wchar_t const * decimal)
{
    return {digits, 1, 3, const_cast<wchar_t *>(decimal), const_cast<wchar_t *>(thousands), 1};
}
constexpr NUMBERFMTW f_whole(wchar_t const * thousands)
{
    return f_record(0, thousands, L"");
}
constexpr NUMBERFMTW f_fractions(wchar_t const * thousands, wchar_t const * decimal)
{
    return f_record(3, thousands, decimal);
}

constexpr ulong NUMBER_FORMATS = 7;
struct NUMBER_TABLE
{
    NUMBERFMTW records[NUMBER_FORMATS];
    wchar_t const * texts[NUMBER_FORMATS];
};

// Deliberate: the last row of each is no format. Whoever chooses it sees the platform refuse.
constexpr NUMBER_TABLE WHOLE = {
    {f_whole(L","), f_whole(L","), f_whole(L" "), f_whole(L" "), f_whole(L"."), f_whole(L"'"), {}},
    {L"123,456", L"123,456", L"123 456", L"123 456", L"123.456", L"123'456", nullptr},
};
constexpr NUMBER_TABLE FRACTIONS = {
    {f_fractions(L",", L"."),
     f_fractions(L",", L","),
     f_fractions(L" ", L","),
     f_fractions(L" ", L"."),
     f_fractions(L".", L","),
     f_fractions(L"'", L","),
     {}},
    {L"123,456.000", L"123,456,000", L"123 456,000", L"123 456.000", L"123.456,000", L"123'456,000", nullptr},
};

NUMBER_TABLE const & f_numbers(int whole)
{
    return whole != 0 ? WHOLE : FRACTIONS;
}

// The last ones are the system's own, which have no text to choose by.
constexpr wchar_t const * DATE_FORMATS[] = {L"MM/dd/yyyy", L"dd-MM-yyyy", L"yyyy-MM-dd", L"dd.MM.yyyy",
                                            L"yyyy.MM.dd", L"dd/MM/yyyy", L"yyyy/MM/dd", nullptr};
constexpr unsigned int DATE_TEXTS[] = {761, 762, 763, 764, 765, 766, 1005, 0};

constexpr wchar_t const * TIME_FORMATS[] = {L"HH:mm:ss", L"HH,mm,ss", L"HH.mm.ss", L"HH:mm:ss tt", nullptr};
constexpr unsigned int TIME_TEXTS[] = {770, 771, 772, 773, 0};

// Deliberate: a time format is refused with the words for dates too.
template<std::size_t COUNT>
CString f_textByIndex(wchar_t const * function, unsigned int const (&resources)[COUNT], ulong index)
{
    if (index >= COUNT)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Range, L"Invalid date format index %lu specified.", index);
    if (resources[index] == 0) return {};
    return ICString(resources[index]);
}

void f_checkNumberIndex(wchar_t const * function, ulong index)
{
    if (index < NUMBER_FORMATS) return;
    ICErrno const failure(ICErrno::_E_::Range);
    throw ICTrace(function).mf_failed(failure,
                                      L"Invalid number format requested. No number format with index %lu\r\n%s%s",
                                      index, ICLog::TAB, failure.mf_toString());
}

// The two calls that a formatting function of the platform takes: ask(buffer, length) answers 0 for a failure, else the
// length with the terminator. `shown` is what is formatted, for the lines.
template<class ASK, class SHOWN>
CString f_format(wchar_t const * function, ASK const & ask, SHOWN const & shown)
{
    ::SetLastError(0);
    int const length = ask(nullptr, 0);
    if (length == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(function).mf_failed(failure, L"Could not calculate buffersize required to format '%s':\r\n%s%s",
                                          shown(), ICLog::TAB, failure.mf_toString());
    }
    std::unique_ptr<wchar_t[]> const buffer = f_newText(static_cast<std::size_t>(length) + 1);
    if (!buffer) throw ICTrace(function).mf_failed(ICErrno::_E_::Memory, L"No memory for number buffer");

    ::SetLastError(0);
    if (ask(buffer.get(), length) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(function).mf_failed(failure, L"Could not format number buffer '%s':\r\n%s%s", shown(), ICLog::TAB,
                                          failure.mf_toString());
    }
    return CString(buffer.get());
}

// Dates and times differ in the platform's function alone.
CString f_formatTime(wchar_t const * function, decltype(&::GetDateFormatW) platformFormat, SYSTEMTIME const * time,
                     wchar_t const * format)
{
    if (time == nullptr) throw ICTrace(function).mf_failed(ICErrno::_E_::Parameter, L"_pSystemTime == NULL");
    return f_format(
        function,
        [&](wchar_t * buffer, int length) {
            return platformFormat(LOCALE_USER_DEFAULT, 0, time, format, buffer, length);
        },
        [&] {
            CString shown;
            shown.Format(L"%4.4u-%2.2u-%2.2u %2.2u:%2.2u:%2.2u", time->wYear, time->wMonth, time->wDay, time->wHour,
                         time->wMinute, time->wSecond);
            return shown;
        });
}

SYSTEMTIME f_toSystemTime(wchar_t const * function, ICFileTime const & time)
{
    SYSTEMTIME fields;
    ::SetLastError(0);
    if (!::FileTimeToSystemTime(&time.mf_getFileTime(), &fields)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(function).mf_failed(failure, L"Failure converting FILETIME to SYSTEMTIME: %s",
                                          failure.mf_toString());
    }
    return fields;
}

// `index` has the number as soon as it is read, whatever happens then.
void f_moveSetting(wchar_t const * function, CString const & valueName, CString const & oldPath, CString const & path,
                   ulong & index)
{
    ICRegistry::mf_getValue(valueName, index, oldPath, HKEY_CURRENT_USER);
    ICRegistry::mf_setValue(valueName, index, path, HKEY_LOCAL_MACHINE);
    if (ICRegistry::mf_deleteValue(valueName, oldPath, HKEY_CURRENT_USER))
        // Deliberate: no blank stands before the paths.
        ICTrace(function).mf_trace(L"Moved registry value '%s'\r\n%sfrom%s\r\n%sto%s", valueName, ICLog::TAB, oldPath,
                                   ICLog::TAB, path);
}

} // namespace

// One of the three choices.
struct ICNumberFormatter::SETTING
{
    wchar_t const * valueName;
    ulong maxIndex;
    ICTraceFormat<ulong> refusal;
    std::atomic<ulong> ICNumberFormatter::*field;

    static SETTING const NUMBER;
    static SETTING const DATE;
    static SETTING const TIME;
};

constinit ICNumberFormatter::SETTING const ICNumberFormatter::SETTING::NUMBER = {
    L"NumFmt", NUMBER_FORMATS - 1, L"Invalid number format index %lu specified.", &ICNumberFormatter::m_ulNumberFormat};
constinit ICNumberFormatter::SETTING const ICNumberFormatter::SETTING::DATE = {
    L"DateFmt", std::size(DATE_FORMATS) - 1, L"Invalid date format index %lu specified.",
    &ICNumberFormatter::m_ulDateFormat};
constinit ICNumberFormatter::SETTING const ICNumberFormatter::SETTING::TIME = {
    L"TimeFmt", std::size(TIME_FORMATS) - 1, L"Invalid time format index %lu specified.",
    &ICNumberFormatter::m_ulTimeFormat};

ICNumberFormatter * ICNumberFormatter::m_pThis = nullptr;

ICNumberFormatter::ICNumberFormatter() : m_ulNumberFormat(0), m_ulTimeFormat(0), m_ulDateFormat(0)
{
    for (SETTING const * setting : {&SETTING::NUMBER, &SETTING::DATE, &SETTING::TIME})
        this->*setting->field = mf_implLoadFormat(setting->valueName, setting->maxIndex);
}

ICNumberFormatter::~ICNumberFormatter() = default;

void ICNumberFormatter::mf_createInstance()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_createInstance";

    if (m_pThis != nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Number formatter singleton already initialized");
    m_pThis = new (std::nothrow) ICNumberFormatter();
    if (m_pThis == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory to create number formatter singleton");
}

void ICNumberFormatter::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_deleteInstance";

    delete &mf_implGetInstance(_sFunction_);
    m_pThis = nullptr;
}

ICNumberFormatter & ICNumberFormatter::mf_implGetInstance(wchar_t const * function)
{
    if (m_pThis == nullptr)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Initialization, L"Number formatter singleton not initialized");
    return *m_pThis;
}

std::atomic<ulong> & ICNumberFormatter::mf_implGetField(wchar_t const * function, SETTING const & setting)
{
    // Deliberate: where the choice itself is asked for, the line ends in a full stop.
    if (m_pThis == nullptr)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Initialization, L"Number formatter singleton not initialized.");
    return m_pThis->*setting.field;
}

// The choices lived per user once, below the key of the graphical program.
ulong ICNumberFormatter::mf_implLoadFormat(CString const & valueName, ulong maxIndex)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_implLoadFormat";

    ulong index = 0;
    try {
        CString const root = ICRegistry::mf_getRegistryRoot(L"");
        CString const oldPath = ICRegistry::mf_getRegistryRoot(ICPath::mf_getFileBaseName(L"tnwgui.exe"));
        if (ICRegistry::mf_exists(valueName, oldPath, HKEY_CURRENT_USER))
            f_moveSetting(_sFunction_, valueName, oldPath, root, index);
        else
            ICRegistry::mf_getOrSetValue(valueName, index, root, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        // The number at hand serves; output goes on.
        ICTrace(_sFunction_)
            .mf_error(L"Could not initialize localized format from registry, falling back to default.\r\n%s%s",
                      ICLog::TAB, failure.mf_toString());
    }
    if (index <= maxIndex) return index;
    ICTrace(_sFunction_)
        .mf_warning(L"The value for '%s' exceeds the valid range from 0 to '%lu'\r\n%sReturning '0'.", valueName,
                    maxIndex, ICLog::TAB);
    return 0;
}

void ICNumberFormatter::mf_implStoreFormat(CString const & valueName, ulong index)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_implStoreFormat";

    try {
        ICRegistry::mf_setValue(valueName, index, ICRegistry::mf_getRegistryRoot(L""), HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Could not store format index for '%s'.\r\n%s%s", valueName, ICLog::TAB,
                       failure.mf_toString());
    }
}

void ICNumberFormatter::mf_implConfigure(wchar_t const * function, SETTING const & setting, ulong index)
{
    std::atomic<ulong> & field = mf_implGetField(function, setting);
    if (index > setting.maxIndex) throw ICTrace(function).mf_failed(ICErrno::_E_::Range, setting.refusal, index);
    mf_implStoreFormat(setting.valueName, index);
    field = index;
}

// -- Output

template<class NUMBER>
CString ICNumberFormatter::mf_implPrint(wchar_t const * function, wchar_t const * format, NUMBER number, int whole)
{
    ICNumberFormatter & formatter = mf_implGetInstance(function);
    CString text;
    text.Format(format, number);
    formatter.mf_implFormatNumber(text, whole);
    return text;
}

CString ICNumberFormatter::mf_formatNumber(int number)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatNumber::1";
    return mf_implPrint(_sFunction_, L"%d", number, 1);
}

CString ICNumberFormatter::mf_formatNumber(ulong number)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatNumber::2";
    return mf_implPrint(_sFunction_, L"%lu", number, 1);
}

CString ICNumberFormatter::mf_formatNumber(double number)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatNumber::3";
    return mf_implPrint(_sFunction_, L"%f", number, 0);
}

CString ICNumberFormatter::mf_formatNumber(_LARGE_INTEGER const & number)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatNumber::4";
    return mf_implPrint(_sFunction_, L"%I64d", number.QuadPart, 1);
}

CString ICNumberFormatter::mf_formatNumber(ICFileSize const & number)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatNumber::5";
    return mf_implPrint(_sFunction_, L"%I64d", number.mf_getValue(), 1);
}

void ICNumberFormatter::mf_implFormatNumber(CString & text, int whole)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_implFormatNumber";

    NUMBERFMTW const & record = f_numbers(whole).records[m_ulNumberFormat];
    text = f_format(
        _sFunction_,
        [&](wchar_t * buffer, int length) {
            return ::GetNumberFormatW(LOCALE_USER_DEFAULT, 0, text, &record, buffer, length);
        },
        [&] { return text; });
}

CString ICNumberFormatter::mf_formatDate(_SYSTEMTIME const * time)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatDate::1";
    return mf_implGetInstance(_sFunction_).mf_implFormatDate(time);
}

CString ICNumberFormatter::mf_formatDate(ICFileTime const & time)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatDate::2";

    ICNumberFormatter const & formatter = mf_implGetInstance(_sFunction_);
    SYSTEMTIME const fields = f_toSystemTime(_sFunction_, time);
    return formatter.mf_implFormatDate(&fields);
}

CString ICNumberFormatter::mf_implFormatDate(_SYSTEMTIME const * time) const
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_implFormatDate";
    return f_formatTime(_sFunction_, &::GetDateFormatW, time, DATE_FORMATS[m_ulDateFormat]);
}

CString ICNumberFormatter::mf_formatTime(_SYSTEMTIME const * time)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatTime::1";
    return mf_implGetInstance(_sFunction_).mf_implFormatTime(time);
}

CString ICNumberFormatter::mf_formatTime(ICFileTime const & time)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatTime::2";

    ICNumberFormatter const & formatter = mf_implGetInstance(_sFunction_);
    SYSTEMTIME const fields = f_toSystemTime(_sFunction_, time);
    return formatter.mf_implFormatTime(&fields);
}

CString ICNumberFormatter::mf_implFormatTime(_SYSTEMTIME const * time) const
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_implFormatTime";
    return f_formatTime(_sFunction_, &::GetTimeFormatW, time, TIME_FORMATS[m_ulTimeFormat]);
}

CString ICNumberFormatter::mf_formatDateTime(_SYSTEMTIME const * time, CString const & separator)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatDateTime::1";

    ICNumberFormatter const & formatter = mf_implGetInstance(_sFunction_);
    CString const date = formatter.mf_implFormatDate(time);
    return date + separator + formatter.mf_implFormatTime(time);
}

CString ICNumberFormatter::mf_formatDateTime(ICFileTime const & time, CString const & separator)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_formatDateTime::2";

    mf_implGetInstance(_sFunction_);
    SYSTEMTIME const fields = f_toSystemTime(_sFunction_, time);
    return mf_formatDateTime(&fields, separator);
}

CString ICNumberFormatter::mf_normalizeNumber(CString const & text)
{
    CString digits = text;
    for (wchar_t const separator : {L',', L'.', L'\'', L' '})
        digits.Remove(separator);
    return digits;
}

// -- The tables and the choices

_numberfmtW const * ICNumberFormatter::mf_getAllNumberFormats(int whole)
{
    return f_numbers(whole).records;
}

_numberfmtW const * ICNumberFormatter::mf_getConfiguredNumberFormat(int whole)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getConfiguredNumberFormat";
    return &f_numbers(whole).records[mf_implGetField(_sFunction_, SETTING::NUMBER)];
}

_numberfmtW const * ICNumberFormatter::mf_getNumberFormatByIndex(ulong index, int whole)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getNumberFormatByIndex";

    f_checkNumberIndex(_sFunction_, index);
    return &f_numbers(whole).records[index];
}

wchar_t const * ICNumberFormatter::mf_getNumberFormatStringByIndex(ulong index, int whole)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getNumberFormatStringByIndex";

    f_checkNumberIndex(_sFunction_, index);
    return f_numbers(whole).texts[index];
}

ulong ICNumberFormatter::mf_getConfiguredNumberFormatIndex()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getConfiguredNumberFormatIndex";
    return mf_implGetField(_sFunction_, SETTING::NUMBER);
}

void ICNumberFormatter::mf_configureNumberFormat(ulong index)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_configureNumberFormat";
    mf_implConfigure(_sFunction_, SETTING::NUMBER, index);
}

wchar_t const ** ICNumberFormatter::mf_getAllDateFormats()
{
    // The table is read-only memory, whatever the type says.
    return const_cast<wchar_t const **>(DATE_FORMATS);
}

wchar_t const * ICNumberFormatter::mf_getConfiguredDateFormat()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getConfiguredDateFormat";
    return DATE_FORMATS[mf_implGetField(_sFunction_, SETTING::DATE)];
}

ulong ICNumberFormatter::mf_getConfiguredDateFormatIndex()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getConfiguredDateFormatIndex";
    return mf_implGetField(_sFunction_, SETTING::DATE);
}

CString ICNumberFormatter::mf_getDateFormatStringByIndex(ulong index)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getDateFormatStringByIndex";
    return f_textByIndex(_sFunction_, DATE_TEXTS, index);
}

void ICNumberFormatter::mf_configureDateFormat(ulong index)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_configureDateFormat";
    mf_implConfigure(_sFunction_, SETTING::DATE, index);
}

wchar_t const ** ICNumberFormatter::mf_getAllTimeFormats()
{
    return const_cast<wchar_t const **>(TIME_FORMATS);
}

wchar_t const * ICNumberFormatter::mf_getConfiguredTimeFormat()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getConfiguredTimeFormat";
    return TIME_FORMATS[mf_implGetField(_sFunction_, SETTING::TIME)];
}

ulong ICNumberFormatter::mf_getConfiguredTimeFormatIndex()
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getConfiguredTimeFormatIndex";
    return mf_implGetField(_sFunction_, SETTING::TIME);
}

CString ICNumberFormatter::mf_getTimeFormatStringByIndex(ulong index)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_getTimeFormatStringByIndex";
    return f_textByIndex(_sFunction_, TIME_TEXTS, index);
}

void ICNumberFormatter::mf_configureTimeFormat(ulong index)
{
    static wchar_t const _sFunction_[] = L"ICNumberFormatter::mf_configureTimeFormat";
    mf_implConfigure(_sFunction_, SETTING::TIME, index);
}
