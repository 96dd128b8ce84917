#pragma once

#include <algorithm>
#include <iterator>
#include <string>

// How many columns of a console a text takes, by the characters that are in it, whatever the language.

// Characters that take two columns of a console whatever its font: those of East Asia, with their full-width forms.
inline bool f_isWide(wchar_t letter)
{
    static constexpr wchar_t WIDE[][2] = {{0x1100, 0x115F}, {0x2E80, 0x303E}, {0x3041, 0xA4CF}, {0xAC00, 0xD7A3},
                                          {0xF900, 0xFAFF}, {0xFE30, 0xFE6F}, {0xFF01, 0xFF60}, {0xFFE0, 0xFFE6}};
    return std::any_of(std::begin(WIDE), std::end(WIDE),
                       [letter](auto const & range) { return letter >= range[0] && letter <= range[1]; });
}

inline std::size_t f_columnsOf(std::wstring const & text)
{
    return text.length() + static_cast<std::size_t>(std::count_if(text.begin(), text.end(), f_isWide));
}
