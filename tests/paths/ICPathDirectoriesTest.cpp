#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

void f_makeOne(std::wstring const & path)
{
    ICPath::mf_mkdir(path.c_str());
}

void f_makeAll(std::wstring const & path)
{
    ICPath::mf_mkdirs(path.c_str());
}

bool f_isDirectory(std::wstring const & path)
{
    ulong const attributes = ::GetFileAttributesW(f_longPath(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// What mf_mkdirs asks the system to make where nothing is there and everything can be made. The long prefix is taken
// off.
std::vector<std::wstring> f_madeFor(std::wstring const & path)
{
    std::vector<std::wstring> made;
    ICImportFault const nothingThere("GetFileAttributesW", ERROR_FILE_NOT_FOUND);
    ICImportPatch const create(IC_IMPORT(CreateDirectoryW), [&](LPCWSTR directory, auto *) -> BOOL {
        std::wstring const text = directory;
        made.push_back(text.starts_with(L"\\\\?\\UNC\\") ? L"\\\\" + text.substr(8)
                       : text.starts_with(L"\\\\?\\")    ? text.substr(4)
                                                         : text);
        return TRUE;
    });
    f_makeAll(path);
    return made;
}

} // namespace

TEST(ICPath, Mkdir_MakesOneDirectory)
{
    ICTemporaryDirectory const directory;
    f_makeOne(directory / L"a");
    EXPECT_TRUE(f_isDirectory(directory / L"a"));
}

TEST(ICPath, Mkdir_WhatIsThere_IsAFailure)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"f", "bytes");
    directory.mf_makeDirectory(L"d");
    for (wchar_t const * name : {L"f", L"d"})
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [&] { f_makeOne(directory / name); }, ERROR_ALREADY_EXISTS));
    EXPECT_EQ("bytes", f_readFile(directory / L"f"));
}

TEST(ICPath, Mkdir_FailedCall_KeepsSystemNumber)
{
    ICTemporaryDirectory const directory;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_makeOne(directory / L"missing\\a"); }, ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [] { f_makeOne(L""); }, ERROR_PATH_NOT_FOUND));
    ICImportFault const denied("CreateDirectoryW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_makeOne(directory / L"a"); }, ERROR_ACCESS_DENIED));
}

// The answer of the look is not needed, its trace lines are.
TEST(ICPath, Mkdir_LooksWhetherItIsThereFirst)
{
    ICTemporaryDirectory const directory;
    ICImportFault const looks("GetFileAttributesW", ERROR_ACCESS_DENIED);
    f_makeOne(directory / L"a");
    EXPECT_EQ(1u, looks.mf_getCalls());
    EXPECT_TRUE(f_isDirectory(directory / L"a"));
}

TEST(ICPath, Mkdirs_MakesWhatIsMissing)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeDirectory(L"a");
    f_makeAll(directory / L"a\\b\\c");
    EXPECT_TRUE(f_isDirectory(directory / L"a\\b\\c"));
    f_makeAll(directory / L"a\\d\\e\\");
    EXPECT_TRUE(f_isDirectory(directory / L"a\\d\\e"));
}

TEST(ICPath, Mkdirs_WhatIsThere_IsLeftAlone)
{
    ICTemporaryDirectory const directory;
    ICImportFault const made("CreateDirectoryW");
    f_makeAll(directory.mf_getPath());
    f_makeAll(directory.mf_makeFile(L"f"));
    EXPECT_EQ(0u, made.mf_getCalls());
}

TEST(ICPath, Mkdirs_LongPath_IsNoMatter)
{
    ICTemporaryDirectory const directory;
    std::wstring const component(200, L'x');
    f_makeAll(directory / (component + L"\\" + component));
    EXPECT_TRUE(f_isDirectory(directory / (component + L"\\" + component)));
}

TEST(ICPath, Mkdirs_ElementOf256_ChangesNothing)
{
    ICTemporaryDirectory const directory;
    std::wstring const element(256, L'x');
    for (std::wstring const & path : {L"a\\" + element, L"a\\" + element + L"\\b", L"a\\" + element + L"\\"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { f_makeAll(directory / path); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { f_makeAll(element); }));
    EXPECT_FALSE(f_isThere(directory / L"a"));
}

TEST(ICPath, Mkdirs_ElementOf255_IsMade)
{
    ICTemporaryDirectory const directory;
    std::wstring const element(255, L'x');
    f_makeAll(directory / (element + L"\\b"));
    EXPECT_TRUE(f_isDirectory(directory / (element + L"\\b")));
}

TEST(ICPath, Mkdirs_BeginsBehindDriveServerAndShare)
{
    EXPECT_THAT(f_madeFor(L"D:\\a\\b"), ElementsAre(L"D:\\a", L"D:\\a\\b"));
    EXPECT_THAT(f_madeFor(L"D:\\a\\"), ElementsAre(L"D:\\a", L"D:\\a\\"));
    EXPECT_THAT(f_madeFor(L"\\a\\b"), ElementsAre(L"\\a", L"\\a\\b"));
    EXPECT_THAT(f_madeFor(L"a\\b"), ElementsAre(L"a", L"a\\b"));
    EXPECT_THAT(f_madeFor(L"a"), ElementsAre(L"a"));
    EXPECT_THAT(f_madeFor(L"D:"), ElementsAre(L"D:"));
    EXPECT_THAT(f_madeFor(L"D:\\"), ElementsAre(L"D:\\"));
    EXPECT_THAT(f_madeFor(L"\\\\host\\share\\a\\b"), ElementsAre(L"\\\\host\\share\\a", L"\\\\host\\share\\a\\b"));
    EXPECT_THAT(f_madeFor(L"\\\\host\\share"), ElementsAre(L"\\\\host\\share"));
}

TEST(ICPath, Mkdirs_UncPathWithoutServerAndShare_DoesNothing)
{
    for (wchar_t const * path : {L"\\\\host", L"\\\\host\\", L"\\\\\\share\\a", L"\\\\host\\\\a"})
        EXPECT_THAT(f_madeFor(path), IsEmpty()) << testing::PrintToString(path);
}

TEST(ICPath, Mkdirs_EmptyPath_Fails)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [] { f_makeAll(L""); }, ERROR_PATH_NOT_FOUND));
}

TEST(ICPath, Mkdirs_FileOnTheWay_Fails)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"f", "bytes");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_makeAll(directory / L"f\\a"); }, ERROR_PATH_NOT_FOUND));
    EXPECT_EQ("bytes", f_readFile(directory / L"f"));
}

TEST(ICPath, Mkdirs_FailureOnTheWay_LeavesWhatWasMade)
{
    ICTemporaryDirectory const directory;
    ICImportFault const denied("CreateDirectoryW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_makeAll(directory / L"a\\b\\c"); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(2u, denied.mf_getCalls());
    EXPECT_TRUE(f_isDirectory(directory / L"a"));
    EXPECT_FALSE(f_isThere(directory / L"a\\b"));
}

TEST(ICPath, Mkdirs_NoMemory_FailsWithNothingMade)
{
    ICTemporaryDirectory const directory;
    ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [&] { f_makeAll(directory / L"a"); }));
    EXPECT_FALSE(f_isThere(directory / L"a"));
}
