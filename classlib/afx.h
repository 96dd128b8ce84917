// Stands in for the class library's afx.h with compilers that bring none: the platform, CObject, the exceptions,
// CString and CTime. Include it, as with the real one, ahead of everything else that needs <windows.h>.
//
//     #include <afx.h>
//     CString path(L"C:\\Data");
//     path.AppendFormat(L"\\%lu.log", ::GetCurrentProcessId());
//
// Unicode only: UNICODE, _UNICODE and NOMINMAX are set here when the build did not set them.
// Left out: files, archives, run-time class information, the untemplated containers, windows of any kind.
#pragma once

#include "internal/Failures.h"

#include "atlstr.h"
#include "atltime.h"
