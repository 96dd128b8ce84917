#pragma once

#include "tests/support/Platform.h"

#include <stdexcept>
#include <string>

// UTF-16 as UTF-8, for messages.
std::string f_utf8(std::wstring const & text);

// "what 'object': error n", with the last error unless a code is given.
std::runtime_error f_platformFailure(char const * what, std::wstring const & object, ulong code = ::GetLastError());
