#pragma once

#include <regex>
#include <string>
#include <vector>

#include "tests/support/Platform.h"

// What the program has written, as its reader sees it.

inline std::wstring f_shown(std::string const & bytes)
{
    int const size = static_cast<int>(bytes.size());
    std::wstring text(static_cast<std::size_t>(::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, nullptr, 0)),
                      L' ');
    ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), static_cast<int>(text.size()));
    return text;
}

// Without their ends.
inline std::vector<std::wstring> f_linesOf(std::wstring const & text)
{
    std::vector<std::wstring> lines;
    for (std::size_t begin = 0; begin < text.length();) {
        std::size_t const end = std::min(text.find(L"\r\n", begin), text.length());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
    return lines;
}

// On one line, with one blank where blanks and line ends were.
inline std::wstring f_flat(std::wstring const & text)
{
    return std::regex_replace(text, std::wregex(L"[ \r\n]+"), L" ");
}
