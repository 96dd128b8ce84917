#include "programs/hsmscan/ICDirectoryScan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "tests/hsmscan/ScanTest.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICListedEntries.h"
#include "tests/support/ICSimulatedTree.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICUnixHost.h"

namespace
{
std::vector<CString> sMessages;

void f_keep(ICErrno const & failure)
{
    sMessages.push_back(failure.mf_toLogMessage(L""));
}

constexpr ICDirectoryScan::LISTENER LISTENER = {[](CString const &) {}, &f_keep};

ICScanOptions f_options()
{
    wchar_t const * const arguments[] = {L"path"};
    return ICScanOptions(1, arguments);
}
} // namespace

// The scan's own calls are those of the program, which here is the test.
class ICDirectoryScanTest : public testing::Test
{
protected:
    void SetUp() override { sMessages.clear(); }
    void TearDown() override { sMessages = {}; }

    void mf_scan(std::wstring const & path)
    {
        f_excuseThreads(1);
        m_scan.mf_scan({path.c_str()});
    }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    ICScanTotals m_totals{f_options()};
    ICDirectoryScan m_scan{m_totals, LISTENER};
};

TEST_F(ICDirectoryScanTest, Tree_IsCountedWhole)
{
    m_directory.mf_makeFile(L"a.bin", "12345");
    m_directory.mf_makeFile(L"one\\b.bin", "123", FILE_ATTRIBUTE_HIDDEN);
    m_directory.mf_makeFile(L"one\\two\\c.bin", "1", FILE_ATTRIBUTE_SYSTEM);
    m_directory.mf_makeDirectory(L"empty");
    mf_scan(m_directory.mf_getPath());
    EXPECT_EQ(3, m_totals.m_files);
    EXPECT_EQ(4, m_totals.m_directories);
    EXPECT_EQ(9, m_totals.m_bytes);
    EXPECT_EQ(1, m_totals.m_hidden);
    EXPECT_EQ(1, m_totals.m_system);
    EXPECT_TRUE(sMessages.empty());
    EXPECT_TRUE(m_scan.mf_getWorst().mf_isInfo());
}

TEST_F(ICDirectoryScanTest, Spellings_OfTheSameDirectory_CountTheSame)
{
    m_directory.mf_makeFile(L"sub\\a.bin", "12345");
    std::wstring const path = m_directory.mf_getPath();
    for (std::wstring const & spelling : {path, path + L"\\", L"\\\\?\\" + path, path + L"\\sub\\.."}) {
        f_excuseThreads(1);
        ICScanTotals totals(f_options());
        ICDirectoryScan(totals, LISTENER).mf_scan({spelling.c_str()});
        EXPECT_EQ(1, totals.m_files);
        EXPECT_EQ(2, totals.m_directories);
    }
}

TEST_F(ICDirectoryScanTest, PathsBeyondTheOrdinaryLimit_AreWalked)
{
    std::wstring deep;
    for (int level = 0; level < 6; ++level)
        deep += std::wstring(100, L'd') + L"\\";
    m_directory.mf_makeFile(deep + L"file", "1");
    mf_scan(m_directory.mf_getPath());
    EXPECT_EQ(1, m_totals.m_files);
    EXPECT_EQ(7, m_totals.m_directories);
    EXPECT_GT(m_totals.mf_getLargest().front().path.GetLength(), 600);
}

TEST_F(ICDirectoryScanTest, Links_AreCountedAndNotEntered)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "links are made by the host";
    m_directory.mf_makeFile(L"real\\a.bin", "1");
    ASSERT_TRUE(f_runOnHost(L"ln -s " + f_hostPath(m_directory / L"real") + L" " + f_hostPath(m_directory / L"link")));
    mf_scan(m_directory.mf_getPath());
    EXPECT_EQ(1, m_totals.m_files);
    EXPECT_EQ(3, m_totals.m_directories);
    EXPECT_EQ(1, m_totals.m_reparsePoints);
}

// Each directory is listed, and nothing else is done but asking how much of an offline file is there.
TEST_F(ICDirectoryScanTest, Files_AreNeverOpened)
{
    m_directory.mf_makeFile(L"sub\\a.bin", "1");
    m_directory.mf_makeFile(L"sub\\offline", "1");
    ICListedEntries const offline(L"offline", FILE_ATTRIBUTE_OFFLINE);
    ICFileCalls const calls;
    mf_scan(m_directory.mf_getPath());
    EXPECT_EQ(2, m_totals.m_files);
    std::vector<std::string> functions;
    for (ICFileCall const & call : calls.mf_getBelow(m_directory.mf_getPath()))
        functions.push_back(call.m_function);
    EXPECT_THAT(functions, testing::UnorderedElementsAre("GetFileAttributesW", "CreateFileW", "CreateFileW",
                                                         "GetCompressedFileSizeW"));
    EXPECT_THAT(calls.mf_getBelow(m_directory / L"sub\\a.bin"), testing::IsEmpty());
    EXPECT_THAT(calls.mf_getBelow(m_directory.mf_getPath()), testing::Each(testing::ResultOf(&f_couldRecall, false)));
    EXPECT_THAT(calls.mf_getUnknown(), testing::IsEmpty());
}

TEST_F(ICDirectoryScanTest, UnreadableDirectory_IsReportedAndTheWalkGoesOn)
{
    for (wchar_t const * const name : {L"a\\1", L"b\\1", L"c\\1"})
        m_directory.mf_makeFile(name, "1");
    ICImportPatch const denied(IC_IMPORT(CreateFileW), [](LPCWSTR path, DWORD access, DWORD share, auto * security,
                                                          DWORD disposition, DWORD flags, HANDLE model) {
        if (std::wstring(path).ends_with(L"\\b\\")) {
            ::SetLastError(ERROR_ACCESS_DENIED);
            return INVALID_HANDLE_VALUE;
        }
        return ::CreateFileW(path, access, share, security, disposition, flags, model);
    });
    mf_scan(m_directory.mf_getPath());
    EXPECT_EQ(2, m_totals.m_files);
    EXPECT_EQ(4, m_totals.m_directories);
    EXPECT_EQ(1, m_totals.m_unreadable);
    ASSERT_EQ(1u, sMessages.size());
    EXPECT_NE(-1, sMessages[0].Find(L"KVR29001E"));
    EXPECT_NE(-1, sMessages[0].Find(L"\\b\\"));
    EXPECT_NE(-1, sMessages[0].Find(L"error code 5L"));
    EXPECT_TRUE(m_scan.mf_getWorst().mf_isError());
}

TEST_F(ICDirectoryScanTest, ReadingThatBreaksOff_KeepsWhatWasReadAndClosesTheDirectory)
{
    ICSimulatedTree tree;
    for (wchar_t const * const name : {L"a", L"b", L"c", L"d"})
        tree.mf_add(L"D:\\", name, 0, 1);
    tree.m_entriesAtOnce = 1;
    tree.mf_fail(L"D:\\", ERROR_DEVICE_NOT_CONNECTED, 4);
    mf_scan(L"D:\\");
    EXPECT_EQ(3, m_totals.m_files);
    EXPECT_EQ(1, m_totals.m_unreadable);
    EXPECT_EQ(1u, sMessages.size());
}

TEST_F(ICDirectoryScanTest, WhatIsNoDirectory_IsReported)
{
    std::wstring const file = m_directory.mf_makeFile(L"file", "1");
    for (std::wstring const & path : {file, m_directory / L"missing", std::wstring(), std::wstring(L"?:\\<>")})
        mf_scan(path);
    EXPECT_EQ(4u, sMessages.size());
    for (CString const & message : sMessages)
        EXPECT_NE(-1, message.Find(L"KVR29002E"));
    EXPECT_EQ(0, m_totals.m_directories);
    EXPECT_TRUE(m_scan.mf_getWorst().mf_isError());
}
