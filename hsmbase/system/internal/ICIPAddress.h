#pragma once

#include <string_view>

#include "hsmbase/failure/internal/ICTrace.h"

// An address of the machine, as text.
//
//     ICIPAddress const address(row.dwAddr, 0);        // 0x0100007F
//     address.mf_getAddress();                         // "127.0.0.1"
//     address.mf_getNumber();                          // 0x7F000001
//
// Threads: a plain value.
class ICIPAddress
{
public:
    // The address in network order, as the platform's table has it: its first number is the lowest byte. `value` is
    // kept and not used. Throws Parameter for 0.
    ICIPAddress(ulong number, ulong value) : m_ulAdapterValue(value)
    {
        static wchar_t const _sFunction_[] = L"ICIPAddress::ICIPAddress";

        if (number == 0) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"0 is not a valid IP address");
        m_sAddress.Format(L"%d.%d.%d.%d", mf_implByte(number, 0), mf_implByte(number, 1), mf_implByte(number, 2),
                          mf_implByte(number, 3));
    }

    // The dotted text alone.
    CString const & mf_getAddress() const { return m_sAddress; }

    // The text with its kind: "127.0.0.1 (IPV4)".
    CString mf_toString() const
    {
        CString text;
        text.Format(L"%s (%s)", m_sAddress.GetString(), mf_implIsIPv4() ? L"IPV4" : L"IPV6");
        return text;
    }

    // Deliberate: the first number is the highest byte, the opposite of the constructor's order, since this is for
    // people. Throws Formatting for a text that isn't of the dotted kind.
    ulong mf_getNumber() const
    {
        static wchar_t const _sFunction_[] = L"ICIPAddress::mf_getNumber";

        if (!mf_implIsIPv4())
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Formatting, L"String '%s' is not an IPV4 address string", m_sAddress);
        ulong first = 0;
        ulong second = 0;
        ulong third = 0;
        ulong fourth = 0;
        ::swscanf_s(m_sAddress, L"%lu.%lu.%lu.%lu", &first, &second, &third, &fourth);
        return ((first * 256 + second) * 256 + third) * 256 + fourth;
    }

private:
    static int mf_implByte(ulong number, int index) { return static_cast<int>((number >> (8 * index)) & 0xff); }

    // Deliberate: a rough test, which takes anything else for the other kind.
    int mf_implIsIPv4() const
    {
        constexpr std::wstring_view hexadecimal(L"0123456789abcdefABCDEF");
        int dots = 0;
        int digits = 0;
        for (int index = 0; index < m_sAddress.GetLength(); ++index) {
            if (m_sAddress[index] == L'.')
                ++dots;
            else if (hexadecimal.find(m_sAddress[index]) != hexadecimal.npos)
                ++digits;
            else
                return 0;
        }
        return dots == 3 && digits >= 4 && digits <= 12;
    }

    CString m_sAddress;
    [[maybe_unused]] ulong m_ulAdapterValue;
};
