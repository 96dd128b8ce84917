#include "tests/support/internal/ICFailure.h"

std::string f_utf8(std::wstring const & text)
{
    int const length = static_cast<int>(text.size());
    int const size = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string narrow(static_cast<std::size_t>(size), '\0');
    ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, narrow.data(), size, nullptr, nullptr);
    return narrow;
}

std::runtime_error f_platformFailure(char const * what, std::wstring const & object, ulong code)
{
    return std::runtime_error(std::string(what) + " '" + f_utf8(object) + "': error " + std::to_string(code));
}
