#include "tests/support/selftest/Victim.h"
#include "tests/support/selftest/Callee.h"

#include <cstdlib>

ulong f_victimAttributes(wchar_t const * path)
{
    return ::GetFileAttributesW(path);
}

HANDLE f_victimOpen(wchar_t const * path, ulong access, ulong share, ulong disposition, ulong flags)
{
    return ::CreateFileW(path, access, share, nullptr, disposition, flags, nullptr);
}

int f_victimRead(HANDLE file, void * bytes, DWORD size, DWORD * count)
{
    return ::ReadFile(file, bytes, size, count, nullptr);
}

LONG f_victimOpenKey(wchar_t const * path, HKEY * key)
{
    return ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key);
}

void * f_victimTlsValue(DWORD index)
{
    return ::TlsGetValue(index);
}

void * f_victimAllocate(std::size_t size)
{
    return std::malloc(size);
}

void f_victimFree(void * block)
{
    std::free(block);
}

char * f_victimNew(std::size_t size)
{
    return new char[size];
}

double f_victimMixed()
{
    return f_calleeMixed(1, 2.0, 3, 4.0, 5, 6, 7.0, 8, 9, 10.0);
}
