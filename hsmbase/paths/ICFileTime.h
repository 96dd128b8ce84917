#pragma once

#include <compare>
#include <concepts>

#include "hsmbase/Types.h"

// A point in time as the platform's files have it: ticks of 100 nanoseconds since 1601, UTC.
//
//     ICFileTime const now = ICFileTime::mf_getSystemTime();
//     if (now > ICFileTime(found.ftLastWriteTime)) ...
//     CString const stored = now.mf_toString(L' ');              // "2024-01-02 10:00:00"
//     ICFileTime const again(stored, L' ');                      // to the second
//
// Both text forms show the stored UTC fields; nothing is shifted to local time.
//
// Threads: a plain value.
class HSMBASE_EXPORT ICFileTime
{
public:
    // 0 ticks.
    constexpr ICFileTime() = default;
    constexpr ICFileTime(FILETIME const & time) : m_time(time) {}
    constexpr ICFileTime(ulong low, ulong high) : m_time{low, high} {}
    template<std::integral NUMBER>
    constexpr explicit ICFileTime(NUMBER ticks)
        : m_time{static_cast<ulong>(ticks),
                 static_cast<ulong>(static_cast<unsigned long long>(static_cast<long long>(ticks)) >> 32)}
    {}

    // Date, delimiter and time: "2024-01-02 10:00:00" with the blank. Fields that are missing are 0, so an empty time
    // is midnight. Throws _E_::Parameter without a delimiter and _E_::Conversion for a date that doesn't exist.
    ICFileTime(CString const & dateTime, wchar_t delimiter);

    constexpr ICFileTime(ICFileTime const &) = default;
    constexpr ICFileTime & operator=(ICFileTime const &) = default;

    // Now.
    static ICFileTime mf_getSystemTime();

    constexpr FILETIME const & mf_getFileTime() const { return m_time; }

    // The ticks.
    constexpr unsigned long long mf_getValue() const
    {
        return (static_cast<unsigned long long>(m_time.dwHighDateTime) << 32) | m_time.dwLowDateTime;
    }

    constexpr ulong mf_getLow() const { return m_time.dwLowDateTime; }
    constexpr ulong mf_getHigh() const { return m_time.dwHighDateTime; }
    constexpr void mf_setLow(ulong low) { m_time.dwLowDateTime = low; }
    constexpr void mf_setHigh(ulong high) { m_time.dwHighDateTime = high; }

    friend constexpr bool operator==(ICFileTime const & left, ICFileTime const & right)
    {
        return left.mf_getValue() == right.mf_getValue();
    }
    friend constexpr std::strong_ordering operator<=>(ICFileTime const & left, ICFileTime const & right)
    {
        return left.mf_getValue() <=> right.mf_getValue();
    }

    // "2024-01-02 10:00:00" with the delimiter given; the form that is stored.
    // Never throws: "FILETIME ERROR" for a value that is no date.
    CString mf_toString(wchar_t delimiter) const;

    // "24-01-02 10:00:00.000"; the form of logs and consoles. Never throws: as mf_toString.
    CString mf_toLogString() const;

private:
    void mf_implParse(CString const & date, CString const & time);

    FILETIME m_time{};
};
