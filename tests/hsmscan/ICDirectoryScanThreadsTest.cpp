// Scans on several threads, and what they count once.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

#include "tests/hsmscan/ScanTest.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
// All that a scan tells, as one text.
std::wstring f_describe(ICScanTotals const & totals)
{
    std::wstring text;
    for (long long const count :
         {totals.m_files, totals.m_directories, totals.m_bytes, totals.m_bytesOnDisk, totals.m_offline, totals.m_sparse,
          totals.m_compressed, totals.m_encrypted, totals.m_hidden, totals.m_system, totals.m_readOnly,
          totals.m_reparsePoints, totals.m_candidateFiles, totals.m_candidateBytes, totals.m_unreadable})
        text += std::to_wstring(count) + L" ";
    for (ICScanTotals::LARGE_FILE const & file : totals.mf_getLargest())
        text += L"\n" + std::to_wstring(file.size) + L" " + file.path.GetString();
    for (CString const & path : totals.mf_getCandidates())
        text += std::wstring(L"\n") + path.GetString();
    return text;
}

class ICDirectoryScanThreads : public testing::Test
{
protected:
    // The run-time library keeps what the largest crowd of threads so far has needed at once. So there is a crowd as
    // large as any scan's ahead of the leak accounts.
    static void SetUpTestSuite()
    {
        constexpr int CROWD = 64;
        ICMeetingPoint meeting(CROWD);
        std::vector<std::thread> crowd;
        for (int index = 0; index < CROWD; ++index)
            crowd.emplace_back([&meeting] {
                EXPECT_THROW(throw ICErrno(ICErrno::_W_::UserCanceled), ICErrno);
                meeting.mf_arrive();
            });
        for (std::thread & thread : crowd)
            thread.join();
    }

    // Directories of several sizes, files of equal size, and files with several names all over.
    void mf_makeTree() const
    {
        for (int directory = 0; directory < 24; ++directory) {
            std::wstring const path = L"d" + std::to_wstring(directory % 5) + L"\\e" + std::to_wstring(directory);
            for (int file = 0; file < directory; ++file) {
                std::wstring const name = path + L"\\f" + std::to_wstring(file);
                m_directory.mf_makeFile(name, std::string(static_cast<std::size_t>(file % 4), 'x'),
                                        file % 7 == 0 ? FILE_ATTRIBUTE_HIDDEN : FILE_ATTRIBUTE_NORMAL);
                if (file % 3 == 0)
                    mf_link(name, L"d" + std::to_wstring(file % 5) + L"\\l" + std::to_wstring(directory) + L"-" +
                                      std::to_wstring(file));
            }
        }
    }

    void mf_link(std::wstring const & file, std::wstring const & name) const
    {
        m_directory.mf_makeDirectory(name.substr(0, name.find_last_of(L'\\')));
        ASSERT_TRUE(::CreateHardLinkW((m_directory / name).c_str(), (m_directory / file).c_str(), nullptr))
            << ::GetLastError();
    }

    std::vector<std::wstring> mf_getCandidates(std::vector<std::wstring> const & paths, int threads = 2) const
    {
        ICTestScan scan(threads);
        scan.mf_run(paths);
        std::vector<std::wstring> names;
        for (CString const & path : scan.m_totals.mf_getCandidates())
            names.push_back(path.GetString() + m_directory.mf_getPath().size() + 1);
        EXPECT_EQ(static_cast<long long>(names.size()), scan.m_totals.m_files);
        return names;
    }

    // Cancels a scan when so many directories were opened.
    static void mf_runCanceled(ICTestScan & scan, std::wstring const & path, ulong directories)
    {
        std::atomic<ulong> opened = 0;
        ICImportPatch const opening(IC_IMPORT(CreateFileW), [&](LPCWSTR name, DWORD access, DWORD share,
                                                                SECURITY_ATTRIBUTES * security, DWORD disposition,
                                                                DWORD flags, HANDLE pattern) {
            if (++opened == directories) scan.m_scan.mf_cancel();
            return ::CreateFileW(name, access, share, security, disposition, flags, pattern);
        });
        scan.mf_run({path});
    }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
};
} // namespace

TEST_F(ICDirectoryScanThreads, Result_IsTheSameWhateverTheirNumber)
{
    mf_makeTree();
    std::wstring const path = m_directory.mf_getPath();
    ICTestScan one(1);
    one.mf_run({path + L"\\d3", path, path + L"\\d1\\e6"});
    EXPECT_EQ(276, one.m_totals.m_files);
    EXPECT_EQ(29, one.m_totals.m_directories);
    for (int const threads : {2, 8, 64}) {
        ICTestScan scan(threads);
        scan.mf_run({path + L"\\d3", path, path + L"\\d1\\e6"});
        EXPECT_EQ(f_describe(one.m_totals), f_describe(scan.m_totals)) << threads;
        EXPECT_TRUE(scan.m_scan.mf_getWorst().mf_isInfo());
    }
}

TEST_F(ICDirectoryScanThreads, FileWithSeveralNames_CountsOnceByTheFirstOfThem)
{
    m_directory.mf_makeFile(L"m\\file", "123");
    mf_link(L"m\\file", L"m\\again");
    mf_link(L"m\\file", L"b\\other");
    mf_link(L"m\\file", L"z\\last");
    EXPECT_THAT(mf_getCandidates({m_directory.mf_getPath()}), ElementsAre(L"b\\other"));
    EXPECT_THAT(mf_getCandidates({m_directory / L"z", m_directory / L"m"}), ElementsAre(L"m\\again"));
    ICTestScan scan;
    scan.mf_run({m_directory.mf_getPath()});
    EXPECT_EQ(3, scan.m_totals.m_bytes);
    ASSERT_EQ(1u, scan.m_totals.mf_getLargest().size());
    EXPECT_EQ(m_directory / L"b\\other", scan.m_totals.mf_getLargest()[0].path.GetString());
}

TEST_F(ICDirectoryScanThreads, PathsThatOverlap_CountOnce)
{
    m_directory.mf_makeFile(L"a\\b\\c\\file", "1");
    m_directory.mf_makeFile(L"a\\file", "1");
    std::wstring const outer = m_directory / L"a";
    std::wstring const inner = m_directory / L"a\\b";
    for (auto const & paths : {std::vector<std::wstring>{outer, inner},
                               {inner, outer},
                               {outer, outer, outer + L"\\"},
                               {outer + L"\\b\\..", inner}}) {
        ICTestScan scan;
        scan.mf_run(paths);
        EXPECT_EQ(2, scan.m_totals.m_files);
        EXPECT_EQ(3, scan.m_totals.m_directories);
        EXPECT_EQ(2u, scan.m_totals.mf_getCandidates().size());
    }
}

TEST_F(ICDirectoryScanThreads, Counts_AreThoseOfTheTotalsInTheEnd)
{
    mf_makeTree();
    ICTestScan scan(4);
    scan.mf_run({m_directory.mf_getPath()});
    EXPECT_EQ(scan.m_totals.m_files, scan.m_scan.mf_getCounts().m_files);
    EXPECT_EQ(scan.m_totals.m_bytes, scan.m_scan.mf_getCounts().m_bytes);
    EXPECT_EQ(scan.m_totals.m_directories, scan.m_scan.mf_getCounts().m_directories + 1) << "the path itself";
}

TEST_F(ICDirectoryScanThreads, Cancel_EndsAllThreadsWithWhatWasFoundByThen)
{
    mf_makeTree();
    for (int const threads : {1, 8, 64})
        for (ulong const directories : {3ul, 8ul}) {
            ICTestScan scan(threads);
            mf_runCanceled(scan, m_directory.mf_getPath(), directories);
            EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), scan.m_scan.mf_getWorst().mf_getNumber());
            // Of many threads each may have a directory in hand by then.
            EXPECT_LE(scan.m_totals.m_files, threads == 1 ? 275 : 276);
            EXPECT_GT(scan.m_totals.m_directories, 0);
            EXPECT_THAT(scan.mf_getMessages(), IsEmpty());
        }
}

TEST_F(ICDirectoryScanThreads, CancelBeforeTheScan_FindsNothing)
{
    mf_makeTree();
    ICTestScan scan(4);
    scan.m_scan.mf_cancel();
    scan.mf_run({m_directory.mf_getPath()});
    EXPECT_EQ(ICErrno::_W_::UserCanceled.mf_getNumber(), scan.m_scan.mf_getWorst().mf_getNumber());
    EXPECT_EQ(0, scan.m_totals.m_files);
}

TEST_F(ICDirectoryScanThreads, FailuresBesideACancel_TellTheWorst)
{
    mf_makeTree();
    ICTestScan scan(2);
    scan.m_scan.mf_cancel();
    scan.mf_run({m_directory / L"missing", m_directory.mf_getPath()});
    EXPECT_TRUE(scan.m_scan.mf_getWorst().mf_isError());
    EXPECT_EQ(1u, scan.mf_getMessages().size());
}

TEST_F(ICDirectoryScanThreads, ThreadThatCannotBeMade_EndsTheOthersAndIsThrown)
{
    mf_makeTree();
    for (ulong const number : {1ul, 2ul, 5ul}) {
        ICTestScan scan(5);
        ICImportFault const refused("CreateThread", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_only(number));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::System, [&] { scan.mf_run({m_directory.mf_getPath()}); }, ERROR_NOT_ENOUGH_MEMORY));
    }
}

TEST_F(ICDirectoryScanThreads, WaitsThatFail_EndAllThreadsAndAreThrown)
{
    mf_makeTree();
    {
        ICTestScan scan(5);
        ICImportFault const refused("WaitForMultipleObjects", ERROR_INVALID_HANDLE);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::System, [&] { scan.mf_run({m_directory.mf_getPath()}); }, ERROR_INVALID_HANDLE));
    }
}

TEST_F(ICDirectoryScanThreads, ThreadThatCannotBeOpened_LeavesTheWorkToTheOthers)
{
    ICLeakAccount::mf_excuse("the record keeps the text of the failure", 0, 1);
    mf_makeTree();
    ICTestScan scan(4);
    {
        ICImportFault const refused("OpenThread", ERROR_ACCESS_DENIED, ICCalls::mf_only(2), nullptr);
        scan.mf_run({m_directory.mf_getPath()});
    }
    EXPECT_EQ(276, scan.m_totals.m_files);
    EXPECT_EQ(ICErrno::_E_::System.mf_getNumber(), scan.m_scan.mf_getWorst().mf_getNumber());
}
