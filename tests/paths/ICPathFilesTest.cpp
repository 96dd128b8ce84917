#include <gtest/gtest.h>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"

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
