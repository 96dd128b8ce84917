#pragma once

#include "hsmbase/Types.h"

// The registry root of the benchmarks, removed when the program ends.
class BenchRegistry
{
public:
    static constexpr wchar_t ROOT[] = L"Software\\hsmbase-bench";

    BenchRegistry() = default;
    BenchRegistry(BenchRegistry const &) = delete;
    BenchRegistry & operator=(BenchRegistry const &) = delete;
    ~BenchRegistry() { ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, ROOT); }
};
