#pragma once

#include "tests/support/Platform.h"

// A module whose imports the self tests patch: each operation makes one call through its import table.
#if defined(VICTIM_BUILD)
#define VICTIM_EXPORT __declspec(dllexport)
#else
#define VICTIM_EXPORT __declspec(dllimport)
#endif

inline constexpr wchar_t VICTIM[] = L"selftest_victim.dll";

VICTIM_EXPORT ulong f_victimAttributes(wchar_t const * path);
VICTIM_EXPORT HANDLE f_victimOpen(wchar_t const * path, ulong access, ulong share, ulong disposition, ulong flags);
VICTIM_EXPORT int f_victimRead(HANDLE file, void * bytes, DWORD size, DWORD * count);
VICTIM_EXPORT LONG f_victimOpenKey(wchar_t const * path, HKEY * key);
VICTIM_EXPORT void * f_victimTlsValue(DWORD index);
VICTIM_EXPORT void * f_victimAllocate(std::size_t size);
VICTIM_EXPORT void f_victimFree(void * block);
VICTIM_EXPORT char * f_victimNew(std::size_t size);

// Calls f_calleeMixed with the numbers 1 to 10.
VICTIM_EXPORT double f_victimMixed();
