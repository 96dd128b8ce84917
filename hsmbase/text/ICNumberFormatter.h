#pragma once

#include <atomic>

#include "hsmbase/Types.h"

class ICFileSize;
class ICFileTime;

// Numbers, dates and times in the formats that were chosen for the whole machine, out of three fixed tables.
//
//     ICNumberFormatter::mf_formatNumber(1234567)             "1,234,567"
//     ICNumberFormatter::mf_formatDateTime(time, L" ")        "01/31/2024 12:00:00"
//
// The choice lies in the registry below the system's root, in HKEY_LOCAL_MACHINE: the values "NumFmt" (0 to 6),
// "DateFmt" (0 to 7) and "TimeFmt" (0 to 4), each an index into its table, 0 where nothing was chosen. It is read when
// the singleton is created, and written and put into force by mf_configure...
//
//     index   numbers                    dates         times
//     0       123,456  123,456.000       MM/dd/yyyy    HH:mm:ss
//     1       123,456  123,456,000       dd-MM-yyyy    HH,mm,ss
//     2       123 456  123 456,000       yyyy-MM-dd    HH.mm.ss
//     3       123 456  123 456.000       dd.MM.yyyy    HH:mm:ss tt
//     4       123.456  123.456,000       yyyy.MM.dd    the system's own
//     5       123'456  123'456,000       dd/MM/yyyy
//     6       none: formatting fails     yyyy/MM/dd
//     7                                  the system's own
//
// Times are taken as they are; no time zone is applied.
//
// Every operation but the tables and mf_normalizeNumber throws Initialization without the singleton. A refusal of the
// platform is System with its error number.
//
// Threads: any; a new choice is in force at the next call. The singleton is created and deleted on one thread.
class HSMBASE_EXPORT ICNumberFormatter
{
public:
    ICNumberFormatter(ICNumberFormatter const &) = delete;
    ICNumberFormatter & operator=(ICNumberFormatter const &) = delete;

    // A choice that can't be read, or is out of range, counts as 0 and leaves its trace. Throws AlreadyInitialized,
    // Memory.
    static void mf_createInstance();
    static void mf_deleteInstance();

    // Whole numbers, but for the double, which has three digits behind its separator. Throw System, Memory.
    static CString mf_formatNumber(int number);
    static CString mf_formatNumber(ulong number);
    static CString mf_formatNumber(double number);
    static CString mf_formatNumber(_LARGE_INTEGER const & number);
    static CString mf_formatNumber(ICFileSize const & number);

    // Throw Parameter for a NULL time, System for a time that is none, Memory.
    static CString mf_formatDate(_SYSTEMTIME const * time);
    static CString mf_formatDate(ICFileTime const & time);
    static CString mf_formatTime(_SYSTEMTIME const * time);
    static CString mf_formatTime(ICFileTime const & time);
    static CString mf_formatDateTime(_SYSTEMTIME const * time, CString const & separator);
    static CString mf_formatDateTime(ICFileTime const & time, CString const & separator);

    // The records of GetNumberFormatW, for whole numbers or for such with three digits behind the separator. The table
    // has seven rows. The getters by index throw Range.
    static _numberfmtW const * mf_getAllNumberFormats(int whole);
    static _numberfmtW const * mf_getConfiguredNumberFormat(int whole);
    static _numberfmtW const * mf_getNumberFormatByIndex(ulong index, int whole);

    // What the format looks like; NULL for index 6.
    static wchar_t const * mf_getNumberFormatStringByIndex(ulong index, int whole);
    static ulong mf_getConfiguredNumberFormatIndex();

    // Stores the choice and puts it into force. Throws Range; Registry, and the choice stays as it was.
    static void mf_configureNumberFormat(ulong index);

    // The formats of GetDateFormatW, eight of them; the last is NULL, the system's own.
    static wchar_t const ** mf_getAllDateFormats();
    static wchar_t const * mf_getConfiguredDateFormat();
    static ulong mf_getConfiguredDateFormatIndex();

    // The text that a user chooses by; empty for the system's own. Throws Range.
    static CString mf_getDateFormatStringByIndex(ulong index);
    static void mf_configureDateFormat(ulong index);

    // The same for GetTimeFormatW, five of them.
    static wchar_t const ** mf_getAllTimeFormats();
    static wchar_t const * mf_getConfiguredTimeFormat();
    static ulong mf_getConfiguredTimeFormatIndex();
    static CString mf_getTimeFormatStringByIndex(ulong index);
    static void mf_configureTimeFormat(ulong index);

    // The text without commas, full stops, apostrophes and blanks: a number in any of the formats becomes digits. A
    // decimal separator goes too.
    static CString mf_normalizeNumber(CString const & text);

private:
    ICNumberFormatter();
    virtual ~ICNumberFormatter();

    static ulong mf_implLoadFormat(CString const & valueName, ulong maxIndex);
    static void mf_implStoreFormat(CString const & valueName, ulong index);
    void mf_implFormatNumber(CString & text, int whole);
    CString mf_implFormatDate(_SYSTEMTIME const * time) const;
    CString mf_implFormatTime(_SYSTEMTIME const * time) const;

    struct SETTING;
    static ICNumberFormatter & mf_implGetInstance(wchar_t const * function);
    static std::atomic<ulong> & mf_implGetField(wchar_t const * function, SETTING const & setting);
    static void mf_implConfigure(wchar_t const * function, SETTING const & setting, ulong index);
    template<class NUMBER>
    static CString mf_implPrint(wchar_t const * function, wchar_t const * format, NUMBER number, int whole);

    static ICNumberFormatter * m_pThis;

    // Indexes into the tables, always within them.
    std::atomic<ulong> m_ulNumberFormat;
    std::atomic<ulong> m_ulTimeFormat;
    std::atomic<ulong> m_ulDateFormat;
};
