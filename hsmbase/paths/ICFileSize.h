#pragma once

#include <compare>
#include <concepts>

#include "hsmbase/Types.h"

// A count of bytes: 64 bits, signed, in the two halves in which the platform hands sizes over.
//
//     ICFileSize total;                                                   // 0
//     total += ICFileSize(found.nFileSizeLow, found.nFileSizeHigh);
//     if (total > 0x100000000) wprintf(L"%s bytes", total.mf_toString().GetString());
//
// Threads: a plain value.
class HSMBASE_EXPORT ICFileSize
{
public:
    // 0 bytes.
    constexpr ICFileSize() = default;

    // Any whole number; an unsigned one above the signed range becomes negative.
    template<std::integral NUMBER>
    constexpr ICFileSize(NUMBER bytes)
        : m_low(static_cast<ulong>(bytes)),
          m_high(static_cast<ulong>(static_cast<unsigned long long>(static_cast<long long>(bytes)) >> 32))
    {}
    constexpr ICFileSize(ulong low, ulong high) : m_low(low), m_high(high) {}
    constexpr ICFileSize(ICFileSize const &) = default;
    constexpr ICFileSize & operator=(ICFileSize const &) = default;

    constexpr long long mf_getValue() const
    {
        return static_cast<long long>((static_cast<unsigned long long>(m_high) << 32) | m_low);
    }

    constexpr ulong mf_getLow() const { return m_low; }
    constexpr ulong mf_getHigh() const { return m_high; }
    constexpr void mf_setLow(ulong low) { m_low = low; }
    constexpr void mf_setHigh(ulong high) { m_high = high; }

    constexpr ICFileSize & operator+=(ICFileSize const & other)
    {
        // Unsigned, so that a sum beyond the range wraps instead of being undefined.
        *this = ICFileSize(static_cast<unsigned long long>(mf_getValue()) +
                           static_cast<unsigned long long>(other.mf_getValue()));
        return *this;
    }
    friend constexpr ICFileSize operator+(ICFileSize left, ICFileSize const & right) { return left += right; }

    friend constexpr bool operator==(ICFileSize const & left, ICFileSize const & right) = default;
    friend constexpr std::strong_ordering operator<=>(ICFileSize const & left, ICFileSize const & right)
    {
        return left.mf_getValue() <=> right.mf_getValue();
    }

    // The size for interfaces of 32 bits. Throws _E_::FileSizeExceeded from 4 GiB on, and for negative values.
    ulong mf_get32BitSize() const;

    // Decimal; hexadecimal with `hexadecimal` non-zero, in lower case without prefix.
    CString mf_toString() const;
    CString mf_toString(int hexadecimal) const;

    // `prefix` and the value in sixteen decimal digits. The text is cut at 63 characters: prefixes are short.
    CString mf_toString(CString const & prefix) const;

private:
    ulong m_low = 0;
    ulong m_high = 0;
};
