#pragma once

#include "tests/support/Platform.h"

#include <string>

// What only the host below Wine can do: links, and removing what cannot be seen from above. Nothing of it works on
// Windows; a test asks f_isUnixHost first.
//
//     if (!f_isUnixHost()) GTEST_SKIP() << "links are made by the host";
//     ASSERT_TRUE(f_runOnHost(L"ln -s " + f_hostPath(target) + L" " + f_hostPath(directory / L"link")));
//
bool f_isUnixHost();

// Runs a shell command and waits for its end. True if it answered 0.
bool f_runOnHost(std::wstring const & command);

// The host's name of an absolute path, quoted for the shell. What the path names need not exist, its directory must.
std::wstring f_hostPath(std::wstring const & path);
