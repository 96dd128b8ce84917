#pragma once

// HSMBASE_EXPORT marks the classes that cross the boundary of hsmbase.dll. Classes are exported whole.
#if defined(HSMBASE_BUILD)
#define HSMBASE_EXPORT __declspec(dllexport)
#else
#define HSMBASE_EXPORT __declspec(dllimport)
#endif
