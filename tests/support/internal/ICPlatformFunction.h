#pragma once

#include "tests/support/Platform.h"

// A function of a loaded module by its name; nullptr if there is none.
template<class POINTER>
POINTER f_platformFunction(wchar_t const * module, char const * name)
{
    auto const any = reinterpret_cast<void (*)()>(::GetProcAddress(::GetModuleHandleW(module), name));
    return reinterpret_cast<POINTER>(any);
}
