#pragma once

#include <string>

#include "hsmbase/Types.h"

// The text in UTF-8. Half a surrogate pair becomes the replacement character.
inline std::string f_utf8(CString const & text)
{
    // A UTF-16 unit takes at most three bytes.
    std::string bytes(static_cast<std::size_t>(text.GetLength()) * 3, '\0');
    int const length = ::WideCharToMultiByte(CP_UTF8, 0, text.GetString(), text.GetLength(), bytes.data(),
                                             static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    return bytes;
}
