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

void f_removeOne(std::wstring const & path)
{
    ICPath::mf_rmdir(path.c_str());
}

void f_removeAll(std::wstring const & path)
{
    ICPath::mf_rmdirs(path.c_str());
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

TEST(ICPath, Rmdir_RemovesOneEmptyDirectory)
{
    ICTemporaryDirectory const directory;
    std::wstring const deep = std::wstring(200, L'x') + L"\\" + std::wstring(200, L'y');
    for (std::wstring const & path : {std::wstring(L"a"), deep}) {
        f_removeOne(directory.mf_makeDirectory(path));
        EXPECT_FALSE(f_isThere(directory / path));
    }
    EXPECT_TRUE(f_isDirectory(directory / std::wstring(200, L'x')));
}

TEST(ICPath, MkdirAndRmdir_UseTheLongFormAndTakeNoStaleError)
{
    std::wstring made, removed;
    ICImportPatch const there(IC_IMPORT(GetFileAttributesW), [](LPCWSTR) -> DWORD {
        ::SetLastError(ERROR_IO_DEVICE);
        return FILE_ATTRIBUTE_DIRECTORY;
    });
    ICImportPatch const make(IC_IMPORT(CreateDirectoryW), [&](LPCWSTR path, auto *) {
        made = path;
        return FALSE;
    });
    ICImportPatch const remove(IC_IMPORT(RemoveDirectoryW), [&](LPCWSTR path) {
        removed = path;
        return FALSE;
    });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [] { f_makeOne(L"\\\\host\\share\\a"); }, 0));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [] { f_removeOne(L"D:\\a"); }, 0));
    EXPECT_EQ(L"\\\\?\\UNC\\host\\share\\a", made);
    EXPECT_EQ(L"\\\\?\\D:\\a", removed);
}

TEST(ICPath, Rmdir_WhatIsNotThere_IsLeftAlone)
{
    ICTemporaryDirectory const directory;
    ICImportFault const removed("RemoveDirectoryW");
    f_removeOne(directory / L"missing");
    f_removeOne(L"");
    EXPECT_EQ(0u, removed.mf_getCalls());
}

TEST(ICPath, Rmdir_FailedCall_KeepsSystemNumberAndWhatIsThere)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"a\\f", "bytes");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_removeOne(directory / L"a"); }, ERROR_DIR_NOT_EMPTY));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_removeOne(file); }, ERROR_DIRECTORY));
    EXPECT_EQ("bytes", f_readFile(file));
    // Gone between the look and the call, denied, in use.
    for (ulong const error : {2ul, 5ul, 32ul}) {
        ICImportFault const fault("RemoveDirectoryW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [&] { f_removeOne(directory / L"a"); }, error));
    }
}

TEST(ICPath, Rmdirs_RemovesTheWholeTree)
{
    ICTemporaryDirectory const directory;
    std::wstring const deep = std::wstring(200, L'x') + L"\\" + std::wstring(200, L'y');
    directory.mf_makeFile(L"a\\b\\c\\f", "bytes");
    directory.mf_makeFile(L"a\\b\\g", "bytes", FILE_ATTRIBUTE_READONLY);
    directory.mf_makeFile(L"a\\" + deep + L"\\f");
    directory.mf_makeDirectory(L"a\\empty");
    directory.mf_makeFile(L"kept");

    f_removeAll(directory / L"a");
    EXPECT_FALSE(f_isThere(directory / L"a"));
    EXPECT_TRUE(f_isThere(directory / L"kept"));

    directory.mf_makeFile(L"a\\b\\f");
    f_removeAll(directory / L"a\\");
    EXPECT_FALSE(f_isThere(directory / L"a"));
}

TEST(ICPath, Rmdirs_OfNoDirectory_Fails)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"f", "bytes");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { f_removeAll(file); }));
    EXPECT_EQ("bytes", f_readFile(file));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [&] { f_removeAll(directory / L"missing"); }, ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { f_removeAll(L""); }));
}

// Deliberate: what leads elsewhere counts as a directory, and what it leads to is removed.
TEST(ICPath, Rmdirs_GoesIntoReparsePoints)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a\\junction\\f");
    ICImportPatch const asLink(IC_IMPORT(GetFileAttributesW), [](LPCWSTR path) {
        ulong const attributes = ::GetFileAttributesW(path);
        bool const isJunction = std::wstring(path).ends_with(L"junction");
        return isJunction ? attributes | FILE_ATTRIBUTE_REPARSE_POINT : attributes;
    });
    f_removeAll(directory / L"a");
    EXPECT_FALSE(f_isThere(directory / L"a"));
}

TEST(ICPath, Rmdirs_EachFailure_EndsTheWalk)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a\\1");
    directory.mf_makeFile(L"a\\2");
    auto const removeAll = [&] { f_removeAll(directory / L"a"); };
    // The attributes are asked for of the directory, by the listing, and twice of the first file.
    for (ulong const call : {1ul, 2ul, 3ul, 4ul}) {
        SCOPED_TRACE(call);
        ICImportFault const deletions("DeleteFileW");
        ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_only(call));
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, removeAll, ERROR_ACCESS_DENIED));
        EXPECT_EQ(0u, deletions.mf_getCalls());
    }
    {
        ICImportFault const held("DeleteFileW", ERROR_SHARING_VIOLATION);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, removeAll, ERROR_SHARING_VIOLATION));
        EXPECT_EQ(1u, held.mf_getCalls());
    }
    EXPECT_TRUE(f_isThere(directory / L"a\\1"));
    EXPECT_TRUE(f_isThere(directory / L"a\\2"));
    ICImportFault const held("RemoveDirectoryW", ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileOpen, removeAll, ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(f_isDirectory(directory / L"a"));
    EXPECT_FALSE(f_isThere(directory / L"a\\1"));
}

TEST(ICPath, Rmdirs_FailureBelow_LeavesWhatComesAfter)
{
    ICTemporaryDirectory const directory;
    for (wchar_t const * name : {L"a\\1\\f", L"a\\2\\f"})
        directory.mf_makeFile(name);
    ICImportFault const held("RemoveDirectoryW", ERROR_SHARING_VIOLATION, ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_removeAll(directory / L"a"); }, ERROR_SHARING_VIOLATION));
    EXPECT_FALSE(f_isThere(directory / L"a\\1\\f"));
    EXPECT_TRUE(f_isThere(directory / L"a\\2\\f"));
}

TEST(ICPath, Rmdirs_FileThatVanishesMeanwhile_EndsTheWalk)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a\\1");
    directory.mf_makeFile(L"a\\2");
    ICImportPatch const closed(IC_IMPORT(FindClose), [&](HANDLE search) {
        ::DeleteFileW((directory / L"a\\1").c_str());
        return ::FindClose(search);
    });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [&] { f_removeAll(directory / L"a"); }, ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_isThere(directory / L"a\\2"));
}

// A file that has become a directory when it is asked for the second time.
TEST(ICPath, Rmdirs_EntryThatIsNeither_IsLeft)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a\\f");
    ICImportFault const deletions("DeleteFileW");
    ICImportFault const changed("GetFileAttributesW", ICAnswer::mf_value(FILE_ATTRIBUTE_DIRECTORY),
                                ICCalls::mf_only(4));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_removeAll(directory / L"a"); }, ERROR_DIR_NOT_EMPTY));
    EXPECT_EQ(0u, deletions.mf_getCalls());
    EXPECT_TRUE(f_isThere(directory / L"a\\f"));
}
