#pragma once

// The platform and its class library, and the one integer type of our own.
//
// This is the only header of the library that brings <windows.h>, and it does so through <afx.h>: the platform's class
// library insists on being first.
#include <afx.h>
#include <afxtempl.h>
#include <atltime.h>

#include "hsmbase/Export.h"

// 32 bits, unsigned, on every compiler for this platform.
using ulong = unsigned long;
static_assert(sizeof(ulong) == 4, "ulong is a 32-bit value in every interface and in every stored form");
