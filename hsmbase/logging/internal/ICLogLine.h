#pragma once

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>

#include "hsmbase/Types.h"
#include "hsmbase/logging/internal/ThreadCodePage.h"

// One record of the trace log while it is rendered and written, in characters of one width. The buffers are shared by
// all threads under the log's lock, so that a record costs no allocation.
//
//     line.mf_putHead(process, processId, function, letter);
//     line.mf_putText(format, arguments);
//
// The head is put together by hand: it is the larger part of most records, and the platform's formatting would take
// most of the time of a trace call.
template<class CHAR>
class ICLogLine
{
public:
    static constexpr bool IS_WIDE = sizeof(CHAR) == sizeof(wchar_t);
    static constexpr ulong CAPACITY = 8192;

    // "%s (%4.4X:%4.4X) %s", cut or filled to 57 characters, then " yy-mm-dd hh:mm:ss.mmm\r\n l: ".
    void mf_putHead(CHAR const * process, ulong processId, CHAR const * function, char letter)
    {
        m_end = m_text;
        mf_put(process);
        mf_put(' ', '(');
        mf_putHexadecimal(processId);
        mf_put(':');
        mf_putHexadecimal(::GetCurrentThreadId());
        mf_put(')', ' ');
        mf_put(function);
        std::fill(m_end, m_text + PREFIX, CHAR(' '));
        m_end = m_text + PREFIX;
        mf_put(' ');
        mf_putLocalTime();
        mf_put('\r', '\n', ' ', letter, ':', ' ');
    }

    // The caller's message with its line end. What is too long is cut ahead of the line end.
    void mf_putText(CHAR const * format, va_list arguments)
    {
        constexpr ulong END = 3; // "\r\n" and the terminator
        ulong const room = static_cast<ulong>(m_text + CAPACITY - m_end) - END;
        int length = mf_format(m_end, room, format, arguments);
        if (length < 0) {
            // It doesn't fit, or the platform can't render it. What came out counts, and nothing of an earlier record.
            std::fill_n(m_end, room + 1, CHAR(0));
            mf_format(m_end, room, format, arguments);
            length = static_cast<int>(std::char_traits<CHAR>::length(m_end));
        }
        m_end += length;
        mf_put('\r', '\n');
        *m_end = 0;
    }

    CHAR * mf_getText() { return m_text; }
    ulong mf_getLength() const { return static_cast<ulong>(m_end - m_text); }
    void mf_grow(long characters) { m_end += characters; }
    void mf_clear() { m_end = m_text; }

    // The record in the width of a file: its bytes, valid until the next call, and their number.
    struct BYTES
    {
        void const * start;
        ulong count;
    };
    BYTES mf_getBytes(int ucs2)
    {
        if (IS_WIDE == (ucs2 != 0)) return {m_text, mf_getLength() * static_cast<ulong>(sizeof(CHAR))};
        return {m_converted, mf_convert(m_text, mf_getLength())};
    }

private:
    static constexpr ulong PREFIX = 57;

    template<class... CHARACTERS>
    void mf_put(char first, CHARACTERS... more)
    {
        *m_end++ = static_cast<CHAR>(first);
        ((*m_end++ = static_cast<CHAR>(more)), ...);
    }

    // As much as the prefix still holds. A process name has at most 31 characters, so the numbers always fit.
    void mf_put(CHAR const * text)
    {
        if (text == nullptr) return;
        while (m_end < m_text + PREFIX && *text != 0)
            *m_end++ = *text++;
    }

    void mf_putHexadecimal(ulong number)
    {
        int digits = 4;
        while (digits < 8 && number >> (4 * digits) != 0)
            ++digits;
        while (--digits >= 0)
            mf_put("0123456789ABCDEF"[(number >> (4 * digits)) & 0xf]);
    }

    void mf_putDigits(unsigned number, int digits, char separator)
    {
        for (CHAR * at = m_end + digits; at > m_end; number /= 10)
            *--at = static_cast<CHAR>('0' + number % 10);
        m_end += digits;
        if (separator != 0) mf_put(separator);
    }

    void mf_putLocalTime()
    {
        SYSTEMTIME now;
        ::GetLocalTime(&now);
        mf_putDigits(now.wYear, 2, '-');
        mf_putDigits(now.wMonth, 2, '-');
        mf_putDigits(now.wDay, 2, ' ');
        mf_putDigits(now.wHour, 2, ':');
        mf_putDigits(now.wMinute, 2, ':');
        mf_putDigits(now.wSecond, 2, '.');
        mf_putDigits(now.wMilliseconds, 3, 0);
    }

    // The arguments are copied: on some targets formatting uses them up.
    static int mf_format(wchar_t * text, ulong room, wchar_t const * format, va_list arguments)
    {
        va_list copy;
        va_copy(copy, arguments);
        int const length = ::_vsnwprintf(text, room, format, copy);
        va_end(copy);
        return length;
    }
    static int mf_format(char * text, ulong room, char const * format, va_list arguments)
    {
        va_list copy;
        va_copy(copy, arguments);
        int const length = ::_vsnprintf(text, room, format, copy);
        va_end(copy);
        return length;
    }

    ulong mf_convert(char const * text, ulong length)
    {
        int const count = ::MultiByteToWideChar(CP_THREAD_ACP, 0, text, static_cast<int>(length),
                                                reinterpret_cast<wchar_t *>(m_converted), CAPACITY);
        return static_cast<ulong>(count) * static_cast<ulong>(sizeof(wchar_t));
    }

    ulong mf_convert(wchar_t const * text, ulong length)
    {
        return f_toThreadCodePage(text, length, reinterpret_cast<char *>(m_converted));
    }

    CHAR m_text[CAPACITY];
    alignas(wchar_t) unsigned char m_converted[CODE_PAGE_BYTES * CAPACITY];
    CHAR * m_end = m_text;
};
