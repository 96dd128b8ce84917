#pragma once

#include <functional>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>

#include <gtest/gtest.h>

#include "hsmbase/text/ICNumberFormatter.h"
#include "tests/support/ICRegistrySandbox.h"

// What the tests of formats share: the tables as the tests know them, the platform's own answers, and the older place
// of the choices.

struct NUMBER_ROW
{
    wchar_t const * m_thousands;
    wchar_t const * m_decimal;
    wchar_t const * m_whole;
    wchar_t const * m_fractions;
};

// Those that are formats; the last index has none.
inline constexpr NUMBER_ROW NUMBER_ROWS[] = {
    {L",", L".", L"123,456", L"123,456.000"}, {L",", L",", L"123,456", L"123,456,000"},
    {L" ", L",", L"123 456", L"123 456,000"}, {L" ", L".", L"123 456", L"123 456.000"},
    {L".", L",", L"123.456", L"123.456,000"}, {L"'", L",", L"123'456", L"123'456,000"},
};
inline constexpr ulong NO_NUMBER_FORMAT = 6;

inline constexpr wchar_t const * DATE_ROWS[] = {L"MM/dd/yyyy", L"dd-MM-yyyy", L"yyyy-MM-dd", L"dd.MM.yyyy",
                                                L"yyyy.MM.dd", L"dd/MM/yyyy", L"yyyy/MM/dd", nullptr};
inline constexpr wchar_t const * TIME_ROWS[] = {L"HH:mm:ss", L"HH,mm,ss", L"HH.mm.ss", L"HH:mm:ss tt", nullptr};

// What the platform answers: a text, or the number of its refusal.
struct PLATFORM_ANSWER
{
    std::wstring m_text;
    ulong m_error = 0;

    bool operator==(PLATFORM_ANSWER const &) const = default;

    friend void PrintTo(PLATFORM_ANSWER const & answer, std::ostream * out)
    {
        *out << testing::PrintToString(answer.m_text) << " (error " << answer.m_error << ")";
    }
};

template<class ASK>
PLATFORM_ANSWER f_platformAnswer(ASK const & ask)
{
    wchar_t buffer[1024] = {};
    ::SetLastError(0);
    int const length = ask(buffer, static_cast<int>(std::size(buffer)));
    if (length == 0) return {L"", ::GetLastError()};
    return {buffer};
}

inline PLATFORM_ANSWER f_platformNumber(CString const & text, NUMBERFMTW const & record)
{
    return f_platformAnswer([&](wchar_t * buffer, int length) {
        return ::GetNumberFormatW(LOCALE_USER_DEFAULT, 0, text, &record, buffer, length);
    });
}
inline PLATFORM_ANSWER f_platformDate(SYSTEMTIME const & time, wchar_t const * format)
{
    return f_platformAnswer([&](wchar_t * buffer, int length) {
        return ::GetDateFormatW(LOCALE_USER_DEFAULT, 0, &time, format, buffer, length);
    });
}
inline PLATFORM_ANSWER f_platformTime(SYSTEMTIME const & time, wchar_t const * format)
{
    return f_platformAnswer([&](wchar_t * buffer, int length) {
        return ::GetTimeFormatW(LOCALE_USER_DEFAULT, 0, &time, format, buffer, length);
    });
}

// A record of the test's own, as the tables have them.
inline NUMBERFMTW f_ownRecord(NUMBER_ROW const & row, int whole)
{
    static wchar_t none[] = L"";
    NUMBERFMTW record = {};
    record.NumDigits = whole ? 0 : 3;
    record.LeadingZero = 1;
    record.Grouping = 3;
    record.lpDecimalSep = whole ? none : const_cast<wchar_t *>(row.m_decimal);
    record.lpThousandSep = const_cast<wchar_t *>(row.m_thousands);
    record.NegativeOrder = 1;
    return record;
}

// A Wednesday.
inline constexpr SYSTEMTIME AFTERNOON = {2024, 1, 3, 31, 13, 5, 9, 123};

// Where the choices were kept per user, below the same root as those of the machine; gone when the object ends.
class ICUserSettings
{
public:
    explicit ICUserSettings(ICRegistrySandbox const & machine) : m_root(machine.mf_getPath()) {}
    ICUserSettings(ICUserSettings const &) = delete;
    ICUserSettings & operator=(ICUserSettings const &) = delete;
    ~ICUserSettings()
    {
        ::RegDeleteTreeW(HKEY_CURRENT_USER, m_root.c_str());
        // Refused while others have keys there.
        ::RegDeleteKeyW(HKEY_CURRENT_USER, L"Software\\hsmbase-tests");
    }

    std::wstring mf_getPath() const { return m_root + L"\\tnwgui"; }

    void mf_write(wchar_t const * name, ulong number) const { mf_write(name, REG_DWORD, &number, sizeof(number)); }
    void mf_write(wchar_t const * name, ulong type, void const * bytes, ulong size) const
    {
        auto const result = ::RegSetKeyValueW(HKEY_CURRENT_USER, mf_getPath().c_str(), name, type, bytes, size);
        if (result != ERROR_SUCCESS) throw std::runtime_error("cannot write a user's value");
    }
    bool mf_has(wchar_t const * name) const
    {
        return ::RegGetValueW(HKEY_CURRENT_USER, mf_getPath().c_str(), name, RRF_RT_ANY, nullptr, nullptr, nullptr) ==
               ERROR_SUCCESS;
    }

private:
    std::wstring const m_root;
};

// A choice of the machine; nothing if there is no such number.
inline std::optional<ulong> f_machineChoice(ICRegistrySandbox const & machine, wchar_t const * name)
{
    auto const value = machine.mf_read(L"", name);
    if (!value || value->m_type != REG_DWORD || value->m_bytes.size() != sizeof(ulong)) return std::nullopt;
    return *reinterpret_cast<ulong const *>(value->m_bytes.data());
}

// The three choices, to treat them alike.
struct CHOICE
{
    wchar_t const * m_valueName;
    ulong m_maxIndex;
    ulong (*m_get)();
    void (*m_configure)(ulong);
    char const * m_configureTag;
    char const * m_kind;
};
inline CHOICE const CHOICES[] = {
    {L"NumFmt", 6, &ICNumberFormatter::mf_getConfiguredNumberFormatIndex, &ICNumberFormatter::mf_configureNumberFormat,
     "ICNumberFormatter::mf_configureNumberFormat", "number"},
    {L"DateFmt", 7, &ICNumberFormatter::mf_getConfiguredDateFormatIndex, &ICNumberFormatter::mf_configureDateFormat,
     "ICNumberFormatter::mf_configureDateFormat", "date"},
    {L"TimeFmt", 4, &ICNumberFormatter::mf_getConfiguredTimeFormatIndex, &ICNumberFormatter::mf_configureTimeFormat,
     "ICNumberFormatter::mf_configureTimeFormat", "time"},
};
