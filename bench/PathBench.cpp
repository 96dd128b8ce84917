#include <catch2/catch.hpp>

#include "hsmbase/paths/ICPath.h"

TEST_CASE("existence of a file", "[path][goal:1.2]")
{
    wchar_t program[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    CString const path = program;
    BENCHMARK("ours")
    {
        return ICPath::mf_exists(path);
    };
    BENCHMARK("peer")
    {
        return ::GetFileAttributesW(program);
    };
}

TEST_CASE("attributes of a file", "[path][goal:1.2]")
{
    wchar_t program[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    CString const path = program;
    BENCHMARK("ours")
    {
        return ICPath::mf_getAttributes(path, 1);
    };
    BENCHMARK("peer")
    {
        return ::GetFileAttributesW(program);
    };
}
