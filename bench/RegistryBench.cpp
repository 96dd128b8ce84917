#include <catch2/catch.hpp>

#include "bench/BenchRegistry.h"
#include "hsmbase/registry/ICRegistry.h"

TEST_CASE("read a DWORD from the registry", "[registry][goal:1.05]")
{
    CString const root = BenchRegistry::ROOT;
    CString const name = L"Number";
    ICRegistry::mf_setValue(name, 5ul, root, HKEY_LOCAL_MACHINE);
    BENCHMARK("ours")
    {
        ulong value = 0;
        ICRegistry::mf_getValue(name, value, root, HKEY_LOCAL_MACHINE);
        return value;
    };
    BENCHMARK("peer")
    {
        HKEY key = nullptr;
        ulong value = 0;
        ulong type = 0;
        ulong bytes = sizeof(value);
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, root, 0, KEY_QUERY_VALUE, &key);
        ::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE *>(&value), &bytes);
        ::RegCloseKey(key);
        return value;
    };
}

TEST_CASE("read a string from the registry", "[registry][goal:1.05]")
{
    CString const root = BenchRegistry::ROOT;
    CString const name = L"Text";
    ICRegistry::mf_setValue(name, CString(L"a directory of a usual length"), root, 0, HKEY_LOCAL_MACHINE);
    BENCHMARK("ours")
    {
        CString value;
        ICRegistry::mf_getValue(name, value, root, HKEY_LOCAL_MACHINE);
        return value.GetLength();
    };
    BENCHMARK("peer")
    {
        HKEY key = nullptr;
        wchar_t value[512] = {};
        ulong type = 0;
        ulong bytes = sizeof(value);
        ::RegOpenKeyExW(HKEY_LOCAL_MACHINE, root, 0, KEY_QUERY_VALUE, &key);
        ::RegQueryValueExW(key, name, nullptr, &type, reinterpret_cast<BYTE *>(value), &bytes);
        ::RegCloseKey(key);
        return CString(value).GetLength();
    };
}
