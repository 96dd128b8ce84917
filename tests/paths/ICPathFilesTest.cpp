#include <gtest/gtest.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

TEST(ICPath, Exists_FileAndDirectory_AreThere)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"a.bin");

    EXPECT_EQ(1, ICPath::mf_exists(file.c_str()));
    EXPECT_EQ(1, ICPath::mf_exists(directory.mf_getPath().c_str()));
}

TEST(ICPath, Exists_MissingFileOrDirectory_IsNotThere)
{
    ICTemporaryDirectory const directory;

    EXPECT_EQ(0, ICPath::mf_exists((directory / L"missing").c_str()));
    EXPECT_EQ(0, ICPath::mf_exists((directory / L"missing\\file").c_str()));
}

TEST(ICPath, Exists_EmptyPath_IsNotThereAndNotAskedFor)
{
    ICImportFault const counter("GetFileAttributesW");

    EXPECT_EQ(0, ICPath::mf_exists(L""));
    EXPECT_EQ(0u, counter.mf_getCalls());
}

TEST(ICPath, Exists_WhatCannotBeLookedAt_IsNotThere)
{
    static constexpr ulong ERRORS[] = {ERROR_ACCESS_DENIED, ERROR_BAD_NETPATH, ERROR_BAD_NET_NAME,
                                       ERROR_NETNAME_DELETED, ERROR_NETWORK_UNREACHABLE};
    for (ulong const error : ERRORS) {
        SCOPED_TRACE(error);
        ICImportFault const fault("GetFileAttributesW", error);
        EXPECT_EQ(0, ICPath::mf_exists(L"\\\\host\\share\\x"));
        EXPECT_EQ(1u, fault.mf_getAnswered());
    }
}

namespace
{

constexpr ulong SETTABLE = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM;

ulong f_settableAttributes(std::wstring const & path)
{
    return ::GetFileAttributesW(path.c_str()) & SETTABLE;
}

int f_move(std::wstring const & source, std::wstring const & target, int force)
{
    return ICPath::mf_move(source.c_str(), target.c_str(), force);
}

int f_remove(std::wstring const & path, int force)
{
    return ICPath::mf_rm(path.c_str(), force);
}

} // namespace

TEST(ICPath, Rm_DeletesTheFile)
{
    ICTemporaryDirectory const directory;
    for (int const force : {0, 1}) {
        std::wstring const file = directory.mf_makeFile(L"f", "bytes");
        EXPECT_EQ(1, f_remove(file, force));
        EXPECT_FALSE(f_isThere(file));
    }
}

TEST(ICPath, Rm_Force_DeletesAReadOnlyFile)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"f", "bytes", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    ulong atDeletion = ~0ul;
    ICImportPatch const deletion(IC_IMPORT(DeleteFileW), [&](LPCWSTR path) {
        atDeletion = f_settableAttributes(path);
        return ::DeleteFileW(path);
    });

    EXPECT_EQ(1, f_remove(file, 1));
    EXPECT_EQ(ulong{FILE_ATTRIBUTE_HIDDEN}, atDeletion);
    EXPECT_FALSE(f_isThere(file));
}

TEST(ICPath, Rm_WithoutForce_LeavesTheAttributesAlone)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_READONLY);
    ICImportFault const asked("GetFileAttributesW");
    ICImportFault const changed("SetFileAttributesW");
    ICImportFault const denied("DeleteFileW", ERROR_ACCESS_DENIED);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_remove(file.mf_getPath(), 0); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(0u, asked.mf_getCalls() + changed.mf_getCalls());
}

TEST(ICPath, Rm_ForceOnFileThatIsNotReadOnly_SetsNothingBeforehand)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"f", "bytes", FILE_ATTRIBUTE_HIDDEN);
    ICImportFault const changed("SetFileAttributesW");
    EXPECT_EQ(1, f_remove(file, 1));
    EXPECT_EQ(0u, changed.mf_getCalls());
}

TEST(ICPath, Rm_ForceOnFileThatCannotBeDeleted_LeavesItReadOnlyAgain)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN);
    ICImportFault const held("DeleteFileW", ERROR_SHARING_VIOLATION);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_remove(file.mf_getPath(), 1); }, ERROR_SHARING_VIOLATION));
    EXPECT_EQ(ulong{FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN}, f_settableAttributes(file.mf_getPath()));
}

// Deliberate: attributes that could not be read go back as 0.
TEST(ICPath, Rm_ForceWithoutAttributes_DeletesOrRecoversZero)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"f", "bytes", FILE_ATTRIBUTE_HIDDEN);
    ICImportFault const unread("GetFileAttributesW", ERROR_ACCESS_DENIED);
    {
        ICImportFault const denied("DeleteFileW", ERROR_WRITE_PROTECT);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [&] { f_remove(file, 1); }, ERROR_WRITE_PROTECT));
        EXPECT_EQ(0u, f_settableAttributes(file));
    }
    EXPECT_EQ(1, f_remove(file, 1));
    EXPECT_FALSE(f_isThere(file));
}

TEST(ICPath, Rm_ForceThatCannotSetAttributes_ThrowsTheDeletionsFailure)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_READONLY);
    ICImportFault const unset("SetFileAttributesW", ERROR_ACCESS_DENIED);
    ICImportFault const denied("DeleteFileW", ERROR_WRITE_PROTECT);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_remove(file.mf_getPath(), 1); }, ERROR_WRITE_PROTECT));
    EXPECT_EQ(2u, unset.mf_getCalls());
}

TEST(ICPath, Rm_MissingFileOrDirectory_KeepsSystemNumber)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeDirectory(L"sub");
    for (int const force : {0, 1}) {
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [&] { f_remove(directory / L"missing", force); }, ERROR_FILE_NOT_FOUND));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [&] { f_remove(directory / L"sub", force); }, ERROR_ACCESS_DENIED));
    }
    EXPECT_TRUE(f_isThere(directory / L"sub"));
}

TEST(ICPath, Rm_LongPath_IsNoMatter)
{
    ICTemporaryDirectory const directory;
    std::wstring const component(100, L'x');
    std::wstring const file = directory.mf_makeFile(component + L"\\" + component + L"\\" + component + L"\\f");
    std::wstring deleted;
    ICImportPatch const deletion(IC_IMPORT(DeleteFileW), [&](LPCWSTR path) {
        deleted = path;
        return ::DeleteFileW(path);
    });
    EXPECT_EQ(1, f_remove(file, 1));
    EXPECT_EQ(f_longPath(file), deleted);
    EXPECT_FALSE(f_isThere(file));
}

TEST(ICPath, Move_TakesTheNewName)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "bytes");
    for (int const force : {0, 1}) {
        EXPECT_EQ(1, f_move(force ? directory / L"b" : source, force ? source : directory / L"b", force));
        EXPECT_EQ(!force, f_isThere(directory / L"b"));
    }
    EXPECT_EQ("bytes", f_readFile(source));
}

TEST(ICPath, Move_IntoDirectory_KeepsItsOwnName)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "bytes");
    EXPECT_EQ(1, f_move(source, directory.mf_makeDirectory(L"sub"), 0));
    EXPECT_FALSE(f_isThere(source));
    EXPECT_EQ("bytes", f_readFile(directory / L"sub\\a"));
}

TEST(ICPath, Move_Directory_MovesWhatIsInIt)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a\\f", "bytes");
    EXPECT_EQ(1, f_move(directory / L"a", directory / L"b", 0));
    EXPECT_EQ("bytes", f_readFile(directory / L"b\\f"));
}

TEST(ICPath, Move_OntoFile_WithoutForce_IsRefused)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "new");
    std::wstring const target = directory.mf_makeFile(L"sub\\a", "old");
    for (std::wstring const & given : {target, directory / L"sub"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileExists, [&] { f_move(source, given, 0); }));
    EXPECT_EQ("new", f_readFile(source));
    EXPECT_EQ("old", f_readFile(target));
}

TEST(ICPath, Move_OntoFile_Force_ReplacesItEvenIfReadOnly)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "new");
    std::wstring const target = directory.mf_makeFile(L"b", "old", FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(1, f_move(source, target, 1));
    EXPECT_EQ("new", f_readFile(target));
    EXPECT_FALSE(f_isThere(source));
}

TEST(ICPath, Move_ForceOntoFileThatCannotBeDeleted_LeavesBoth)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "new");
    std::wstring const target = directory.mf_makeFile(L"b", "old");
    ICImportFault const held("DeleteFileW", ERROR_SHARING_VIOLATION);
    ICImportFault const moves("MoveFileExW");

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_move(source, target, 1); }, ERROR_SHARING_VIOLATION));
    EXPECT_EQ(0u, moves.mf_getCalls());
    EXPECT_EQ("new", f_readFile(source));
    EXPECT_EQ("old", f_readFile(target));
}

// Deliberate: the forced target is gone by then, here the source itself.
TEST(ICPath, Move_ForceOntoItself_DeletesItAndFails)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"a", "bytes");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileMove, [&] { f_move(file, file, 1); }, ERROR_FILE_NOT_FOUND));
    EXPECT_FALSE(f_isThere(file));
}

TEST(ICPath, Move_EmptySource_IsRefused)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { f_move(L"", L"D:\\x", 1); }));
}

TEST(ICPath, Move_FailedMove_KeepsSystemNumberAndSource)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "bytes");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileMove, [&] { f_move(directory / L"missing", directory / L"b", 0); }, ERROR_FILE_NOT_FOUND));
    for (ulong const error : {5ul, 17ul, 32ul}) {
        ICImportFault const fault("MoveFileExW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileMove, [&] { f_move(source, directory / L"b", 0); }, error));
    }
    EXPECT_EQ("bytes", f_readFile(source));
}

TEST(ICPath, Move_FailedMove_ForcedTargetIsGone)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "new");
    std::wstring const target = directory.mf_makeFile(L"b", "old");
    ICImportFault const fault("MoveFileExW", ERROR_SHARING_VIOLATION);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileMove, [&] { f_move(source, target, 1); }, ERROR_SHARING_VIOLATION));
    EXPECT_EQ("new", f_readFile(source));
    EXPECT_FALSE(f_isThere(target));
}

TEST(ICPath, Move_UsesTheLongFormsAndNoFlags)
{
    std::wstring from, to;
    ulong given = ~0ul;
    ICImportFault const nothingThere("GetFileAttributesW", ERROR_FILE_NOT_FOUND);
    ICImportPatch const move(IC_IMPORT(MoveFileExW), [&](LPCWSTR source, LPCWSTR target, DWORD flags) -> BOOL {
        from = source, to = target, given = flags;
        return TRUE;
    });
    EXPECT_EQ(1, f_move(L"D:\\a", L"\\\\host\\share\\b", 0));
    EXPECT_EQ(L"\\\\?\\D:\\a", from);
    EXPECT_EQ(L"\\\\?\\UNC\\host\\share\\b", to);
    EXPECT_EQ(0u, given);
}

TEST(ICPath, Move_TargetWhoseKindCannotBeTold_PassesTheFailureOn)
{
    ICTemporaryDirectory const directory;
    std::wstring const source = directory.mf_makeFile(L"a", "new");
    std::wstring const target = directory.mf_makeFile(L"b", "old");
    // The first call tells that the target is there, the second what it is.
    ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_move(source, target, 1); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ("old", f_readFile(target));
}
