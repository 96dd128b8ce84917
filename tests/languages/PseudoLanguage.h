#pragma once

#include <algorithm>
#include <string_view>

// The letters of the pseudo-language that its texts have in place of plain ones: tests/languages/pseudo.
inline constexpr std::wstring_view PSEUDO_LETTERS = L"àçðéƒïñöþßüÿÅÇÐÉÏÑØÞÜÝ";

// The plain letters that it has these for. No word of its texts has any of them, but for options and inserts.
inline constexpr std::wstring_view PLAIN_LETTERS = L"acdefinopsuyACDEINOPUY";

inline bool f_hasOneOf(std::wstring_view text, std::wstring_view letters)
{
    return text.find_first_of(letters) != std::wstring_view::npos;
}
