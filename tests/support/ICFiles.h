#pragma once

#include "tests/support/Platform.h"

#include <string>
#include <string_view>

// Whole files in one call, for arranging and asserting. Paths may be of any length. All throw std::runtime_error with
// path and error number.

// Replaces what is there.
void f_writeFile(std::wstring const & path, std::string_view bytes);
std::string f_readFile(std::wstring const & path);
void f_setAttributes(std::wstring const & path, ulong attributes);
bool f_isThere(std::wstring const & path);

// The \\?\ form of an absolute path.
std::wstring f_longPath(std::wstring const & path);

// The path of a file of the source tree, named from its root: L"tests\\support\\ICFiles.h".
std::wstring f_inSources(std::wstring const & name);
