#pragma once

#include "hsmbase/Types.h"

// Conversions between the wall-clock value CTime, file times and text.
//
//     CTime const since = ICTime::mf_mapDateStringToCTime(L"2024-01-02");        // local midnight
//     FILETIME const limit = ICTime::mf_mapCTimeToFileTime(since);
//
// Values that a CTime can't hold fail in the class library's way and not as ICErrno: code 0x80004005 for a field out of
// range, 0x80070057 for a point in time out of range.
//
// Threads: any; there is no state, the time zone is asked for on each call.
class HSMBASE_EXPORT ICTime
{
public:
    // Both shift by the zone's bias plus its daylight bias.
    // Deliberate: by both all year, whether or not daylight saving is in force at the time in question, so that the two
    // undo each other in any season. Throw _E_::Conversion when the zone can't be had.
    static void mf_toUTC(CTime & time);
    static void mf_toLocal(CTime & time);

    // Throws _E_::Conversion.
    static FILETIME mf_mapCTimeToFileTime(CTime const & time);

    // From "2024-01-02", as local midnight; the second form, as UTC. Throw _E_::Conversion for a text with fewer than
    // three numbers.
    static CTime mf_mapDateStringToCTime(CString const & date);
    static CTime mf_mapUTCDateStringToCTime(CString const & date);

    // From "2024-01-02T10:00:00", as local time; the second form, as UTC. Throw _E_::Conversion for a text with fewer
    // than six numbers.
    static CTime mf_mapDateTimeStringToCTime(CString const & dateTime);
    static CTime mf_mapUTCDateTimeStringToCTime(CString const & dateTime);

    // The UTC fields as "2024-01-02T10:00:00"; mf_mapUTCDateTimeStringToCTime reads it.
    static CString mf_mapCTimeToString(CTime const & time);

    // The same for a file time. One that is no date, or before 1900, gives the text of the value 0.
    static CString mf_mapFileTimeToString(FILETIME const & time);
};
