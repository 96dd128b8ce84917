#pragma once

#include "tests/support/LoggedFailure.h"

// The text with a place, such as a directory, for each "@".
//
//     f_at("Moved '@\\a'", L"C:\\temp")
//
inline std::string f_at(std::string const & text, CString const & place)
{
    std::string const shown = f_logged("", place);
    std::string result;
    for (char const character : text) {
        if (character == '@')
            result += shown;
        else
            result += character;
    }
    return result;
}
