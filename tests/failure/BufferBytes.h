#pragma once

#include <vector>

#include "hsmbase/failure/ICBuffer.h"

using BYTES = std::vector<unsigned char>;

inline BYTES f_bytesOf(ICBuffer const & buffer)
{
    auto const * const bytes = static_cast<unsigned char const *>(buffer.mf_getData());
    return BYTES(bytes, bytes + buffer.mf_getSize());
}
