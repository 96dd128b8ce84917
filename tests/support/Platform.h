#pragma once

// The platform for the tests' nets, which stand apart from the library and its class library: they must hold also while
// the library is broken. With Visual Studio the class library insists on bringing <windows.h> itself.
#if defined(_AFXDLL)
#include <afx.h>
#else
#include <windows.h>
#endif

using ulong = unsigned long;
