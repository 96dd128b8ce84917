#pragma once

#include "hsmbase/failure/internal/ICHandle.h"

// The owner of one open registry key. Closing answers the platform's error number.
struct REGISTRY_KEY
{
    using TYPE = HKEY;
    static TYPE mf_none() { return nullptr; }
    static LSTATUS mf_close(TYPE key) { return ::RegCloseKey(key); }
};

using ICRegistryKey = ICHandle<REGISTRY_KEY>;
