#pragma once

#include <cwchar>

#include "hsmbase/Types.h"

// The first characters by which the forms of a path are told apart, and what is put in front of long paths.
struct PATH_PREFIX
{
    template<std::size_t SIZE>
    consteval PATH_PREFIX(wchar_t const (&prefix)[SIZE]) : text(prefix), length(static_cast<int>(SIZE) - 1)
    {}

    wchar_t const * text;
    int length;
};

inline constexpr PATH_PREFIX UNC_PREFIX = L"\\\\";
inline constexpr PATH_PREFIX DRIVER_PREFIX = L"Volume{";
inline constexpr PATH_PREFIX LONG_PREFIX = L"\\\\?\\";
inline constexpr PATH_PREFIX LONG_UNC_PREFIX = L"\\\\?\\UNC\\";
inline constexpr PATH_PREFIX GLOBAL_ROOT_PREFIX = L"\\\\?\\GLOBALROOT\\";
inline constexpr PATH_PREFIX SHADOW_COPY_PREFIX = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy";

// The backslash behind the root of a shadow copy is looked for from here: its number has one digit at least.
inline constexpr int SHADOW_COPY_DIGITS = SHADOW_COPY_PREFIX.length + 1;

// Exactly these characters: case counts.
inline bool f_beginsWith(CString const & path, PATH_PREFIX const & prefix)
{
    return std::wcsncmp(path, prefix.text, static_cast<std::size_t>(prefix.length)) == 0;
}
