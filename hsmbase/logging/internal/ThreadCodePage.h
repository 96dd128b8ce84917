#pragma once

#include <algorithm>

#include "hsmbase/Types.h"

// The most bytes that a character of UTF-16 takes in a code page of a thread.
inline constexpr ulong CODE_PAGE_BYTES = 4;

// `bytes` takes CODE_PAGE_BYTES for each of the `length` characters. Answers how many bytes are to be written.
// Deliberate: at most one a character, also where the code page takes more.
inline ulong f_toThreadCodePage(wchar_t const * text, ulong length, char * bytes)
{
    // The lower half of each code page that a thread can have is ASCII, and most lines are.
    unsigned all = 0;
    for (ulong index = 0; index < length; ++index) {
        all |= text[index];
        bytes[index] = static_cast<char>(text[index]);
    }
    if (all < 0x80) return length;
    int const count = ::WideCharToMultiByte(CP_THREAD_ACP, 0, text, static_cast<int>(length), bytes,
                                            static_cast<int>(length * CODE_PAGE_BYTES), nullptr, nullptr);
    return std::min(static_cast<ulong>(count), length);
}
