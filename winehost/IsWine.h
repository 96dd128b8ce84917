#pragma once

#include "hsmbase/Types.h"

// Whether this is Wine, by what only its ntdll.dll has.
inline bool f_isWine()
{
    return ::GetProcAddress(::GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}
