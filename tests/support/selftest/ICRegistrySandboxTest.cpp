#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICChildProcess.h"

#include <gtest/gtest.h>

#include <memory>

namespace
{

bool f_isKey(std::wstring const & path)
{
    HKEY key = nullptr;
    if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
    ::RegCloseKey(key);
    return true;
}

} // namespace

IC_CHILD(many_sandboxes)
{
    for (int index = 0; index < 200; ++index) {
        ICRegistrySandbox const registry;
        registry.mf_writeNumber(L"Sub", L"Number", 1);
    }
    return 0;
}

TEST(ICRegistrySandbox, TwoAtATime_DifferAndAreDeleted)
{
    std::wstring path;
    {
        ICRegistrySandbox const first;
        ICRegistrySandbox const second;
        EXPECT_NE(first.mf_getPath(), second.mf_getPath());
        EXPECT_TRUE(f_isKey(first.mf_getPath()));
        path = first.mf_getPath();
    }
    EXPECT_FALSE(f_isKey(path));
}

TEST(ICRegistrySandbox, Path_NamesTheProcess)
{
    ICRegistrySandbox const registry;
    std::wstring const stem = L"Software\\hsmbase-tests\\" + std::to_wstring(::GetCurrentProcessId()) + L"-";
    EXPECT_TRUE(registry.mf_getPath().starts_with(stem));
    EXPECT_EQ(registry.mf_getPath() + L"\\Sub", registry / L"Sub");
}

TEST(ICRegistrySandbox, Values_AreReadAsWritten)
{
    ICRegistrySandbox const registry;
    registry.mf_writeText(L"Sub\\Key", L"Text", L"some text");
    registry.mf_writeNumber(L"", L"Number", 0x01020304);
    registry.mf_write(L"", L"Odd", 77, "abc");
    EXPECT_EQ(L"some text", registry.mf_readText(L"Sub\\Key", L"Text"));
    EXPECT_EQ("\4\3\2\1", registry.mf_read(L"", L"Number")->m_bytes);
    EXPECT_EQ(77u, registry.mf_read(L"", L"Odd")->m_type);
    EXPECT_EQ("abc", registry.mf_read(L"", L"Odd")->m_bytes);
}

TEST(ICRegistrySandbox, MissingThings_AreEmptyAndNotMade)
{
    ICRegistrySandbox const registry;
    EXPECT_FALSE(registry.mf_read(L"", L"none"));
    EXPECT_FALSE(registry.mf_read(L"None", L"none"));
    EXPECT_EQ(L"", registry.mf_readText(L"", L"none"));
    EXPECT_FALSE(registry.mf_hasKey(L"None"));
    registry.mf_makeKey(L"None");
    EXPECT_TRUE(registry.mf_hasKey(L"None"));
}

TEST(ICRegistrySandbox, SeveralProcesses_DoNotDeleteEachOthersParent)
{
    auto const first = std::make_unique<ICChildProcess>("many_sandboxes");
    auto const second = std::make_unique<ICChildProcess>("many_sandboxes");
    EXPECT_EQ(0u, first->mf_getExitCode()) << first->mf_getErrors();
    EXPECT_EQ(0u, second->mf_getExitCode()) << second->mf_getErrors();
}
