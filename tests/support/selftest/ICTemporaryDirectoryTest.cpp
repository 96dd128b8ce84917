#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICUnixHost.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string_view>

TEST(ICTemporaryDirectory, TwoAtATime_DifferAndAreRemoved)
{
    std::wstring path;
    {
        ICTemporaryDirectory const first;
        ICTemporaryDirectory const second;
        EXPECT_NE(first.mf_getPath(), second.mf_getPath());
        EXPECT_TRUE(f_isThere(first.mf_getPath()));
        path = first.mf_getPath();
    }
    EXPECT_FALSE(f_isThere(path));
}

TEST(ICTemporaryDirectory, Contents_AreRemovedWhateverTheirAttributes)
{
    std::wstring path;
    {
        ICTemporaryDirectory const directory;
        path = directory.mf_getPath();
        directory.mf_makeFile(L"a\\b\\c.bin", "text", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
        directory.mf_makeDirectory(L"a\\d\\e");
        EXPECT_EQ("text", f_readFile(directory / L"a\\b\\c.bin"));
        EXPECT_TRUE(f_isThere(directory / L"a\\d\\e"));
    }
    EXPECT_FALSE(f_isThere(path));
}

TEST(ICTemporaryDirectory, LongPaths_AreMadeAndRemoved)
{
    std::wstring path;
    {
        ICTemporaryDirectory const directory;
        path = directory.mf_getPath();
        std::wstring relative = std::wstring(100, L'a');
        for (int depth = 0; depth < 4; ++depth)
            relative += L"\\" + std::wstring(100, L'b');
        EXPECT_EQ("deep", f_readFile(directory.mf_makeFile(relative + L"\\c.bin", "deep")));
    }
    EXPECT_FALSE(f_isThere(path));
}

TEST(ICTemporaryDirectory, Links_AreRemovedAndTheirTargetsStay)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "links are made by the host";
    ICTemporaryDirectory const target;
    target.mf_makeDirectory(L"empty");
    target.mf_makeFile(L"full\\file", "kept");
    std::wstring path;
    {
        ICTemporaryDirectory const directory;
        path = directory.mf_getPath();
        for (wchar_t const * name : {L"empty", L"full", L"full\\file", L"missing"}) {
            ASSERT_TRUE(f_runOnHost(L"ln -s " + f_hostPath(target / name) + L" " +
                                    f_hostPath(directory / (L"link to " + std::wstring(name).substr(0, 4))) +
                                    std::to_wstring(std::wstring(name).size())));
        }
    }
    EXPECT_FALSE(f_isThere(path));
    EXPECT_TRUE(f_isThere(target / L"empty"));
    EXPECT_EQ("kept", f_readFile(target / L"full\\file"));
}

TEST(ICTemporaryDirectory, SomethingLeft_Fails)
{
    auto directory = std::make_unique<ICTemporaryDirectory>();
    std::wstring const ours = directory->mf_getPath();
    ICImportPatch const stillThere(
        IC_IMPORT(GetFileAttributesW),
        [&](LPCWSTR path) -> DWORD {
            bool const isOurs = std::wstring_view(path).ends_with(ours);
            return isOurs ? FILE_ATTRIBUTE_DIRECTORY : stillThere.mf_original<decltype(&::GetFileAttributesW)>()(path);
        },
        nullptr);
    EXPECT_NONFATAL_FAILURE(directory.reset(), "could not remove '");
}

TEST(ICTemporaryFile, HasItsBytesNameAndAttributes)
{
    ICTemporaryFile const file("bytes", L"name.txt", FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ("bytes", f_readFile(file.mf_getPath()));
    EXPECT_TRUE(file.mf_getPath().ends_with(L"\\name.txt"));
    EXPECT_NE(0u, ::GetFileAttributesW(file.mf_getPath().c_str()) & FILE_ATTRIBUTE_HIDDEN);
}

TEST(ICFiles, LargeFile_ComesBackWhole)
{
    std::string bytes(3'000'001, 'x');
    bytes[2'500'000] = 'y';
    ICTemporaryFile const file(bytes);
    EXPECT_TRUE(bytes == f_readFile(file.mf_getPath()));
}

TEST(ICFiles, MissingFile_ThrowsWithPathAndNumber)
{
    try {
        f_readFile(L"C:\\none\\\u00E4");
        FAIL();
    }
    catch (std::runtime_error const & failure) {
        EXPECT_STREQ("cannot open 'C:\\none\\\xC3\xA4': error 3", failure.what());
    }
}

TEST(ICUnixHost, Command_AnswersItsSuccess)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "no such host";
    EXPECT_TRUE(f_runOnHost(L"true"));
    EXPECT_FALSE(f_runOnHost(L"false"));
}
