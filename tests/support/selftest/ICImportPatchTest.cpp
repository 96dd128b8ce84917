#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/selftest/Victim.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>

namespace
{

DWORD WINAPI f_seven(LPCWSTR)
{
    return 7;
}

std::string f_messageOfPatching(char const * name, wchar_t const * module)
{
    try {
        ICImportPatch const patch(name, &f_seven, module);
    }
    catch (std::runtime_error const & failure) {
        return failure.what();
    }
    return "nothing thrown";
}

} // namespace

TEST(ICImportPatch, Function_ReplacesWhileAliveOnly)
{
    ulong const before = f_victimAttributes(L"C:\\");
    {
        ICImportPatch const patch("GetFileAttributesW", &f_seven, VICTIM);
        EXPECT_EQ(7u, f_victimAttributes(L"C:\\"));
        EXPECT_EQ(before, ::GetFileAttributesW(L"C:\\")) << "the test itself is not patched";
    }
    EXPECT_EQ(before, f_victimAttributes(L"C:\\"));
}

TEST(ICImportPatch, CapturingLambda_RecordsArgumentsAndCallsTheTrueFunction)
{
    std::wstring seen;
    ICImportPatch const patch(
        "GetFileAttributesW",
        [&](LPCWSTR path) {
            seen = path;
            return ::GetFileAttributesW(path) | FILE_ATTRIBUTE_OFFLINE;
        },
        VICTIM);
    EXPECT_EQ(::GetFileAttributesW(L"C:\\") | FILE_ATTRIBUTE_OFFLINE, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(L"C:\\", seen);
}

TEST(ICImportPatch, TypedName_ConvertsTheResultAndTakesGenericLambdas)
{
    ICImportPatch const patch(
        IC_IMPORT(ReadFile), [](auto...) { return FALSE; }, VICTIM);
    DWORD count = 0;
    EXPECT_FALSE(f_victimRead(nullptr, nullptr, 0, &count));
}

TEST(ICImportPatch, ShortCount_ByATypedReplacement)
{
    ICTemporaryFile const file("0123456789");
    HANDLE const handle = f_victimOpen(file.mf_getPath().c_str(), GENERIC_READ, 0, OPEN_EXISTING, 0);
    ICImportPatch const patch(
        IC_IMPORT(ReadFile),
        [](HANDLE from, void * bytes, DWORD size, DWORD * count, OVERLAPPED * overlapped) {
            return ::ReadFile(from, bytes, std::min<DWORD>(size, 3), count, overlapped);
        },
        VICTIM);
    char bytes[10] = {};
    DWORD count = 0;
    EXPECT_TRUE(f_victimRead(handle, bytes, sizeof(bytes), &count));
    ::CloseHandle(handle);
    EXPECT_EQ(3u, count);
    EXPECT_EQ(std::string_view("012"), bytes);
}

TEST(ICImportPatch, Nested_InnerReachesOuterAsItsOriginal)
{
    ICImportPatch const outer("GetFileAttributesW", &f_seven, VICTIM);
    {
        ICImportPatch const inner(
            "GetFileAttributesW",
            [&inner](LPCWSTR path) { return inner.mf_original<decltype(&::GetFileAttributesW)>()(path) + 1; }, VICTIM);
        EXPECT_EQ(8u, f_victimAttributes(L""));
    }
    EXPECT_EQ(7u, f_victimAttributes(L""));
}

TEST(ICImportPatch, SamePlaceTwice_EachHasItsOwnCaptures)
{
    auto const makePatch = [](DWORD answer) {
        return std::make_unique<ICImportPatch>(
            "GetFileAttributesW", [answer](LPCWSTR) { return answer; }, VICTIM);
    };
    auto const outer = makePatch(1);
    {
        auto const inner = makePatch(2);
        EXPECT_EQ(2u, f_victimAttributes(L""));
    }
    EXPECT_EQ(1u, f_victimAttributes(L""));
}

TEST(ICImportPatch, Replacement_MayThrowThroughTheModule)
{
    ICImportPatch const patch(
        "_Znay", [](std::size_t) -> void * { throw std::bad_alloc(); }, VICTIM);
    EXPECT_THROW(f_victimNew(10), std::bad_alloc);
}

TEST(ICImportPatch, NameNotImported_ThrowsWithSimilarNames)
{
    EXPECT_EQ("selftest_victim.dll does not import GetFileAttributesA; similar: GetFileAttributesW",
              f_messageOfPatching("GetFileAttributesA", VICTIM));
    EXPECT_EQ("selftest_victim.dll does not import Nothing", f_messageOfPatching("Nothing", VICTIM));
}

TEST(ICImportPatch, ModuleNotLoaded_Throws)
{
    EXPECT_EQ("module none.dll is not loaded", f_messageOfPatching("GetFileAttributesW", L"none.dll"));
}

TEST(ICImportPatch, Program_IsNamedByANullPointer)
{
    ICImportPatch const patch(
        "GetTempFileNameW", [](LPCWSTR, LPCWSTR, UINT, LPWSTR) { return 12u; }, nullptr);
    wchar_t name[MAX_PATH];
    EXPECT_EQ(12u, ::GetTempFileNameW(L"C:\\", L"x", 0, name));
}

TEST(ICImportPatch, EndInWrongOrder_Fails)
{
    ICImportSlots const untouched("GetFileAttributesW", VICTIM);
    auto first = std::make_unique<ICImportPatch>("GetFileAttributesW", &f_seven, VICTIM);
    auto second = std::make_unique<ICImportPatch>("GetFileAttributesW", &f_victimAttributes, VICTIM);
    EXPECT_NONFATAL_FAILURE(first.reset(), "patches of GetFileAttributesW must end in reverse order");
    second.reset();

    // The second has put the first one's function back.
    auto const left = f_exchangeImport(untouched.m_slots.front(), untouched.mf_getOriginal());
    EXPECT_EQ(reinterpret_cast<ANYFUNCTION>(&f_seven), left);
}

TEST(ICImports, OfAModule_ListsNamesAndDlls)
{
    std::vector<IMPORT> const imports = f_importsOf(VICTIM);
    auto const isRead = [](IMPORT const & import) { return std::string_view(import.m_name) == "ReadFile"; };
    auto const found = std::find_if(imports.begin(), imports.end(), isRead);
    ASSERT_NE(imports.end(), found);
    EXPECT_STREQ("KERNEL32.dll", found->m_module);
    EXPECT_NE(nullptr, *found->m_slot);
}
