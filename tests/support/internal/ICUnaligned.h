#pragma once

#include <cstring>

// What lies at an address that may be odd for its type, as in tables of linkers and of the platform.
template<class TYPE>
TYPE f_readUnaligned(void const * at)
{
    TYPE value;
    std::memcpy(&value, at, sizeof(value));
    return value;
}
