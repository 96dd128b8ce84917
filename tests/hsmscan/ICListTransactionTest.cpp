#include "programs/hsmscan/ICListTransaction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICImportSweep.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

namespace
{

// What is in a directory: the bytes of files, "directory" for what is none.
using FILES = std::map<std::wstring, std::string>;

FILES f_filesIn(std::wstring const & directory)
{
    FILES files;
    WIN32_FIND_DATAW data = {};
    HANDLE const search = ::FindFirstFileW((directory + L"\\*").c_str(), &data);
    if (search == INVALID_HANDLE_VALUE) return files;
    do {
        std::wstring const name = data.cFileName;
        bool const isDirectory = (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        if (name != L"." && name != L"..")
            files[name] = isDirectory ? "directory" : f_readFile(directory + L"\\" + name);
    } while (::FindNextFileW(search, &data));
    ::FindClose(search);
    return files;
}

void f_write(std::wstring const & file, std::vector<CString> const & paths)
{
    ICListTransaction list(file.c_str());
    list.mf_write(paths);
}

// As many as make three blocks.
std::vector<CString> f_threeBlocks()
{
    return std::vector<CString>(3000, L"D:\\departments\\accounting\\archive\\statements");
}

std::string f_linesOf(std::vector<CString> const & paths)
{
    std::string lines;
    for (CString const & path : paths) {
        for (int index = 0; index < path.GetLength(); ++index)
            lines += static_cast<char>(path[index]);
        lines += "\r\n";
    }
    return lines;
}

// Lets `act` run behind each call that the program makes of WriteFile, with the number of the call. The transaction is
// part of the program here.
template<class ACT>
class ICBehindWrites
{
public:
    explicit ICBehindWrites(ACT act)
        : m_act(std::move(act)),
          m_patch(
              IC_IMPORT(WriteFile),
              [this](HANDLE file, void const * bytes, DWORD length, DWORD * written, OVERLAPPED * overlapped) {
                  auto const write = m_patch.mf_original<decltype(&::WriteFile)>();
                  BOOL const isDone = write(file, bytes, length, written, overlapped);
                  m_act(++m_calls, length);
                  return isDone;
              },
              nullptr)
    {}
    ICBehindWrites(ICBehindWrites const &) = delete;
    ICBehindWrites & operator=(ICBehindWrites const &) = delete;

    int mf_getCalls() const { return m_calls; }

private:
    int m_calls = 0;
    ACT const m_act;
    ICImportPatch const m_patch;
};

// The program's call that fails, and what comes of it.
struct ROW
{
    char const * m_import;
    ulong m_error;
    ICErrnoValue const & m_constant;
};

ROW const ROWS[] = {
    {"CreateFileW", ERROR_ACCESS_DENIED, ICErrno::_E_::FileOpen},
    {"WideCharToMultiByte", ERROR_INVALID_PARAMETER, ICErrno::_E_::Conversion},
    {"WriteFile", ERROR_DISK_FULL, ICErrno::_E_::FileWrite},
    {"FlushFileBuffers", ERROR_IO_DEVICE, ICErrno::_E_::FileWrite},
    {"MoveFileExW", ERROR_SHARING_VIOLATION, ICErrno::_E_::FileMove},
};

class ICListTransactionTest : public testing::Test
{
protected:
    FILES mf_files() const { return f_filesIn(m_directory.mf_getPath()); }
    void mf_makeOld() const { f_writeFile(m_list, "old\r\n"); }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_list = m_directory / L"list.txt";
    FILES const m_old = {{L"list.txt", "old\r\n"}};
};

} // namespace

// What is written.

TEST_F(ICListTransactionTest, Write_NewList_HoldsOnePathALine)
{
    f_write(m_list, {L"C:\\a", L"\\\\host\\share\\b b", L"D:\\c"});
    EXPECT_EQ((FILES{{L"list.txt", "C:\\a\r\n\\\\host\\share\\b b\r\nD:\\c\r\n"}}), mf_files());
}

TEST_F(ICListTransactionTest, Write_OldList_IsReplacedWhole)
{
    f_writeFile(m_list, std::string(1000, 'x'));
    f_setAttributes(m_list, FILE_ATTRIBUTE_HIDDEN);
    f_write(m_list, {L"C:\\a"});
    EXPECT_EQ((FILES{{L"list.txt", "C:\\a\r\n"}}), mf_files());
}

TEST_F(ICListTransactionTest, Write_NoPaths_MakesAnEmptyFile)
{
    mf_makeOld();
    f_write(m_list, {});
    EXPECT_EQ((FILES{{L"list.txt", ""}}), mf_files());
}

TEST_F(ICListTransactionTest, Execute_WithoutPaths_MakesAnEmptyFile)
{
    mf_makeOld();
    ICListTransaction(m_list.c_str()).mf_executeTransaction();
    EXPECT_EQ((FILES{{L"list.txt", ""}}), mf_files());
}

TEST_F(ICListTransactionTest, Write_AllScripts_AreUtf8)
{
    f_write(m_list, {L"\u00e9\u0416\u65e5", L"\xd83d\xde00.bin"});
    EXPECT_EQ("\xc3\xa9\xd0\x96\xe6\x97\xa5\r\n\xf0\x9f\x98\x80.bin\r\n", f_readFile(m_list));
}

TEST_F(ICListTransactionTest, Write_HalfOfASurrogatePair_BecomesAReplacementCharacter)
{
    f_write(m_list, {L"a\xd83dz", L"\xde00", L"", L"next"});
    EXPECT_EQ("a\xef\xbf\xbdz\r\n\xef\xbf\xbd\r\n\r\nnext\r\n", f_readFile(m_list));
}

TEST_F(ICListTransactionTest, Write_LongestPaths_AreWhole)
{
    CString const path = CString(L'\u65e5', 32767);
    f_write(m_list, {path, L"next"});
    std::string expected;
    for (int unit = 0; unit < path.GetLength(); ++unit)
        expected += "\xe6\x97\xa5";
    EXPECT_EQ(expected + "\r\nnext\r\n", f_readFile(m_list));
}

TEST_F(ICListTransactionTest, Write_AMillionPaths)
{
    std::vector<CString> paths;
    std::string expected;
    for (int number = 0; number < 1000000; ++number) {
        CString path;
        path.Format(L"D:\\departments\\accounting\\archive\\%d.bin", number);
        paths.push_back(path);
        expected += "D:\\departments\\accounting\\archive\\" + std::to_string(number) + ".bin\r\n";
    }
    f_write(m_list, paths);
    EXPECT_TRUE(expected == f_readFile(m_list)) << "too long to be shown";
}

TEST_F(ICListTransactionTest, Write_GoesByBlocks)
{
    std::vector<ulong> lengths;
    {
        ICBehindWrites const watched([&](int, ulong length) { lengths.push_back(length); });
        f_write(m_list, f_threeBlocks());
    }
    ASSERT_EQ(3u, lengths.size());
    for (std::size_t block = 0; block < 2; ++block) {
        EXPECT_GE(lengths[block], 0x10000u);
        EXPECT_LT(lengths[block], 0x10000u + 100);
    }
    EXPECT_EQ(f_linesOf(f_threeBlocks()), f_readFile(m_list));
}

// Where it is written.

TEST_F(ICListTransactionTest, Prepare_MakesOneFileBesideTheListThatNobodyElseOpens)
{
    mf_makeOld();
    ICListTransaction list(m_list.c_str());
    list.mf_prepare();
    std::wstring const temporary = list.m_sTemporary.GetString();
    EXPECT_THAT(temporary, testing::StartsWith(m_directory.mf_getPath() + L"\\"));
    EXPECT_THAT(temporary, EndsWith(L".__ZOHLM__"));
    HANDLE const opened =
        ::CreateFileW(temporary.c_str(), GENERIC_READ, 7, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    EXPECT_EQ(INVALID_HANDLE_VALUE, opened);
    EXPECT_EQ(ulong{ERROR_SHARING_VIOLATION}, ::GetLastError());
    EXPECT_EQ("old\r\n", f_readFile(m_list));
    list.mf_write({L"C:\\a"});
    EXPECT_EQ((FILES{{L"list.txt", "C:\\a\r\n"}}), mf_files());
}

TEST_F(ICListTransactionTest, RelativePath_IsByTheDirectoryThatIsCurrentAtTheStart)
{
    wchar_t before[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, before);
    m_directory.mf_makeDirectory(L"sub");
    ::SetCurrentDirectoryW(m_directory.mf_getPath().c_str());
    ICListTransaction list(L"sub\\list.txt");
    list.mf_prepare();
    ::SetCurrentDirectoryW(before);
    list.mf_write({L"C:\\a"});
    EXPECT_EQ((FILES{{L"list.txt", "C:\\a\r\n"}}), f_filesIn(m_directory / L"sub"));
}

TEST_F(ICListTransactionTest, PathsBeyondTheOrdinaryLimit_AreTaken)
{
    std::wstring deep;
    for (int level = 0; level < 6; ++level)
        deep += std::wstring(100, L'd') + L"\\";
    std::wstring const file = m_directory.mf_makeFile(deep + L"list.txt", "old");
    {
        ICFileCalls const calls({L"hsmbase.dll", nullptr});
        f_write(file, {L"C:\\a"});
        EXPECT_THAT(calls.mf_get(),
                    testing::Each(testing::Field(&ICFileCall::m_path, testing::StartsWith(L"\\\\?\\"))));
        EXPECT_THAT(calls.mf_get(), testing::Contains(testing::Field(&ICFileCall::m_function, "MoveFileExW")));
    }
    EXPECT_EQ("C:\\a\r\n", f_readFile(file));
    f_write(L"\\\\?\\" + file, {L"C:\\b"});
    EXPECT_EQ("C:\\b\r\n", f_readFile(file));
}

// What can't be replaced.

TEST_F(ICListTransactionTest, MissingDirectory_IsToldAtTheStart)
{
    ICListTransaction list((m_directory / L"none\\list.txt").c_str());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { list.mf_prepare(); }, ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(list.mf_isAborted());
    EXPECT_THAT(mf_files(), IsEmpty());
}

TEST_F(ICListTransactionTest, Directories_AreToldAtTheStart)
{
    m_directory.mf_makeDirectory(L"sub");
    for (std::wstring const & path : {m_directory / L"sub", m_directory / L"sub\\", m_directory / L"sub\\..\\sub"}) {
        ICListTransaction list(path.c_str());
        EXPECT_TRUE(f_throws(ICErrno::_E_::Path, [&] { list.mf_prepare(); }));
    }
    ICListTransaction nameless(L"");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Path, [&] { nameless.mf_prepare(); })) << "the current directory";
    EXPECT_EQ((FILES{{L"sub", "directory"}}), mf_files());
    EXPECT_THAT(f_filesIn(m_directory / L"sub"), IsEmpty());
}

TEST_F(ICListTransactionTest, ReadOnlyList_IsToldAtTheStart)
{
    mf_makeOld();
    f_setAttributes(m_list, FILE_ATTRIBUTE_READONLY);
    ICListTransaction list(m_list.c_str());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { list.mf_prepare(); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, ListThatBecomesReadOnlyMeanwhile_Stays)
{
    mf_makeOld();
    ICListTransaction list(m_list.c_str());
    list.mf_prepare();
    f_setAttributes(m_list, FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { list.mf_write({L"C:\\a"}); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, DirectoryThatTakesTheNameMeanwhile_Stays)
{
    ICListTransaction list(m_list.c_str());
    list.mf_prepare();
    m_directory.mf_makeDirectory(L"list.txt");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Path, [&] { list.mf_write({L"C:\\a"}); }));
    EXPECT_EQ((FILES{{L"list.txt", "directory"}}), mf_files());
}

TEST_F(ICListTransactionTest, ListThatIsInUse_Stays)
{
    mf_makeOld();
    HANDLE const user =
        ::CreateFileW(m_list.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(INVALID_HANDLE_VALUE, user);
    try {
        f_write(m_list, {L"C:\\a"});
        ADD_FAILURE() << "replaced under its user";
    }
    catch (ICErrno & failure) {
        EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::FileMove));
        EXPECT_TRUE(failure.mf_getErrnoData().mf_hasOriginator());
    }
    ::CloseHandle(user);
    EXPECT_EQ(m_old, mf_files());
}

// What has the name of the temporary file is another's.
TEST_F(ICListTransactionTest, TemporaryNameThatIsTaken_FailsAndLeavesIt)
{
    mf_makeOld();
    ICImportPatch const stopped(IC_IMPORT(GetSystemTimeAsFileTime), [](FILETIME * time) { *time = {0xabcdef, 1}; });
    f_writeFile(m_directory / L"100abcdef.__ZOHLM__", "another's");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_write(m_list, {}); }, ERROR_FILE_EXISTS));
    EXPECT_EQ((FILES{{L"100abcdef.__ZOHLM__", "another's"}, {L"list.txt", "old\r\n"}}), mf_files());
}

// Each call fails.

TEST_F(ICListTransactionTest, EachCallOfTheProgramFailing_LeavesTheOldList)
{
    std::vector<CString> const paths = f_threeBlocks();
    for (ROW const & row : ROWS) {
        ulong calls = 0;
        {
            ICImportFault const counter(row.m_import, nullptr);
            f_write(m_list, paths);
            calls = counter.mf_getCalls();
        }
        ASSERT_GT(calls, 0u) << row.m_import;
        mf_makeOld();
        // Of many alike the first ones, one in the middle and the last.
        for (ulong const call : {1ul, 2ul, calls / 2, calls}) {
            if (call == 0 || call > calls) continue;
            testing::AssertionResult thrown = testing::AssertionSuccess();
            {
                ICImportFault const fault(row.m_import, row.m_error, ICCalls::mf_only(call), nullptr);
                thrown = f_throws(
                    row.m_constant, [&] { f_write(m_list, paths); }, row.m_error);
            }
            EXPECT_TRUE(thrown) << row.m_import << ", call " << call;
            EXPECT_EQ(m_old, mf_files()) << row.m_import << ", call " << call;
        }
    }
}

TEST_F(ICListTransactionTest, ShortWrite_IsAFailure)
{
    mf_makeOld();
    {
        ICImportFault const fault("WriteFile", ICAnswer::mf_value(TRUE), ICCalls::mf_only(2), nullptr);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileWrite, [&] { f_write(m_list, f_threeBlocks()); }, ERROR_SUCCESS));
    }
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, CloseFailing_LeavesTheOldList)
{
    mf_makeOld();
    {
        ICFailingClose const failing(ERROR_IO_DEVICE, nullptr);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileClose, [&] { f_write(m_list, {L"C:\\a"}); }, ERROR_IO_DEVICE));
    }
    EXPECT_EQ(m_old, mf_files());
}

// The first failure is told, all the same the file is closed and taken away.
TEST_F(ICListTransactionTest, WriteAndCloseFailing_TellsTheFirst)
{
    mf_makeOld();
    {
        ICImportFault const fault("WriteFile", ERROR_DISK_FULL, ICCalls::mf_all(), nullptr);
        ICFailingClose const failing(ERROR_IO_DEVICE, nullptr);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileWrite, [&] { f_write(m_list, {L"C:\\a"}); }, ERROR_DISK_FULL));
    }
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, WhatIsNoFailureOfTheLibrary_IsUndoneTooAndPasses)
{
    mf_makeOld();
    {
        ICImportPatch const broken(
            IC_IMPORT(MoveFileExW), [](LPCWSTR, LPCWSTR, DWORD) -> BOOL { throw std::runtime_error("broken"); },
            nullptr);
        ICListTransaction list(m_list.c_str());
        EXPECT_THROW(list.mf_write({L"C:\\a"}), std::runtime_error);
        EXPECT_TRUE(list.mf_isAborted());
    }
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, EachCallOfTheLibraryFailing_LeavesTheOldListOrTheNewOne)
{
    ICImportSweep sweep("list", [&] {
        ICListTransaction list(m_list.c_str());
        list.mf_prepare();
        list.mf_write({L"C:\\a"});
    });
    sweep.m_prepare = [&] { mf_makeOld(); };
    sweep.m_check = [&](ICSweepRun const & run) {
        std::string const expected = run.m_end == ICSweepRun::RETURNED ? "C:\\a\r\n" : "old\r\n";
        return mf_files() == FILES{{L"list.txt", expected}} ? "" : "not the right list, or not alone";
    };
    sweep.mf_run();
}

// Cancel.

TEST_F(ICListTransactionTest, CancelAtEachPoll_LeavesTheOldList)
{
    mf_makeOld();
    std::vector<CString> const paths = f_threeBlocks();
    for (int const polls : {0, 1, 2, 3}) {
        ICCancelSwitch stop;
        ICListTransaction list(m_list.c_str());
        list.mf_installCancelSwitch(&stop);
        list.mf_prepare();
        int blocks = 0;
        {
            if (polls == 0) stop.mf_cancel(ICErrno::_W_::UserCanceled);
            ICBehindWrites const cancelling([&](int number, ulong) {
                if (number == polls) stop.mf_cancel(ICErrno::_W_::UserCanceled);
            });
            EXPECT_TRUE(f_throws(ICErrno::_W_::UserCanceled, [&] { list.mf_write(paths); }));
            blocks = cancelling.mf_getCalls();
        }
        ICThreadContext::mf_setCanceled(0);
        EXPECT_EQ(polls, blocks);
        EXPECT_TRUE(list.mf_isAborted());
        EXPECT_EQ(m_old, mf_files());
    }
}

TEST_F(ICListTransactionTest, CancelOfAnEmptyList_IsHeededBeforeTheReplacement)
{
    mf_makeOld();
    ICCancelSwitch stop;
    ICListTransaction list(m_list.c_str());
    list.mf_installCancelSwitch(&stop);
    stop.mf_cancel(ICErrno::_W_::UserCanceled);
    EXPECT_TRUE(f_throws(ICErrno::_W_::UserCanceled, [&] { list.mf_write({}); }));
    ICThreadContext::mf_setCanceled(0);
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, SwitchThatIsNotCancelled_DisturbsNothing)
{
    ICCancelSwitch stop;
    ICListTransaction list(m_list.c_str());
    list.mf_installCancelSwitch(&stop);
    list.mf_write(f_threeBlocks());
    stop.mf_cancel(ICErrno::_W_::UserCanceled);
    EXPECT_EQ(f_linesOf(f_threeBlocks()), f_readFile(m_list));
}

// The end of the object, and further runs.

TEST_F(ICListTransactionTest, End_OfARunThatIsPreparedOnly_TakesTheTemporaryFileAway)
{
    mf_makeOld();
    std::wstring temporary;
    {
        ICListTransaction list(m_list.c_str());
        list.mf_prepare();
        temporary = list.m_sTemporary.GetString();
        EXPECT_TRUE(f_isThere(temporary));
        ::SetLastError(4711);
    }
    EXPECT_EQ(4711u, ::GetLastError());
    EXPECT_FALSE(f_isThere(temporary));
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, End_OfAnObjectWithoutRun_TouchesNothing)
{
    mf_makeOld();
    {
        ICListTransaction const list(m_list.c_str());
    }
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, End_AfterAnUndoThatFailed_TriesAgain)
{
    mf_makeOld();
    {
        ICListTransaction list(m_list.c_str());
        {
            ICImportFault const full("WriteFile", ERROR_DISK_FULL, ICCalls::mf_all(), nullptr);
            ICImportFault const stays("DeleteFileW", ERROR_SHARING_VIOLATION);
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::FileWrite, [&] { list.mf_write({L"C:\\a"}); }, ERROR_DISK_FULL));
        }
        EXPECT_EQ(2u, mf_files().size());
    }
    EXPECT_EQ(m_old, mf_files());
}

TEST_F(ICListTransactionTest, End_WhereTheTemporaryFileStays_ThrowsNothing)
{
    mf_makeOld();
    ICImportFault const stays("DeleteFileW", ERROR_SHARING_VIOLATION);
    {
        ICListTransaction list(m_list.c_str());
        list.mf_prepare();
    }
    EXPECT_EQ(1u, stays.mf_getAnswered());
    EXPECT_EQ("old\r\n", f_readFile(m_list));
}

TEST_F(ICListTransactionTest, SecondRun_FailsAndTheListStays)
{
    {
        ICListTransaction list(m_list.c_str());
        list.mf_write({L"C:\\a"});
        EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { list.mf_write({L"C:\\b"}); }));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { list.mf_prepare(); }));
    }
    EXPECT_EQ((FILES{{L"list.txt", "C:\\a\r\n"}}), mf_files());
}

TEST_F(ICListTransactionTest, SecondPrepare_FailsAndTheRunGoesOn)
{
    ICListTransaction list(m_list.c_str());
    list.mf_prepare();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { list.mf_prepare(); }));
    list.mf_write({L"C:\\a"});
    EXPECT_EQ((FILES{{L"list.txt", "C:\\a\r\n"}}), mf_files());
}

// The trace.

class ICListTransactionTrace : public testing::Test
{
protected:
    // Some call of the program fails while this list is written.
    ICTracedAction mf_runFailing(char const * import, ulong error) const
    {
        return m_process.mf_run([&] {
            ICImportFault const fault(import, error, ICCalls::mf_all(), nullptr);
            f_write(m_list, {L"C:\\a"});
        });
    }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_list = m_directory / L"list.txt";
};

TEST_F(ICListTransactionTrace, Run_TellsItsSteps)
{
    std::vector<std::string> texts;
    for (ICTraceRecord const & record : m_process.mf_trace([this] { f_write(m_list, {L"C:\\a"}); }))
        if (record.m_tag.starts_with("ICTransaction::")) texts.push_back(record.m_text);
    EXPECT_THAT(texts, ElementsAre("Added transaction step 0: id=0x00000001 (make temporary file)",
                                   "Added transaction step 1: id=0x00000002 (write temporary file)",
                                   "Added transaction step 2: id=0x00000003 (move it in place)",
                                   testing::AllOf(testing::StartsWith("Transaction 'file "), EndsWith("' started")),
                                   HasSubstr("id=0x00000001 (make temporary file) started"),
                                   HasSubstr("id=0x00000001 (make temporary file) completed"),
                                   HasSubstr("id=0x00000002 (write temporary file) started"),
                                   HasSubstr("id=0x00000002 (write temporary file) completed"),
                                   HasSubstr("id=0x00000003 (move it in place) started"),
                                   HasSubstr("id=0x00000003 (move it in place) completed"),
                                   testing::AllOf(testing::StartsWith("Transaction 'file "), EndsWith("' completed"))));
}

TEST_F(ICListTransactionTrace, Failures_AreToldWithTheListAndTheReason)
{
    auto const tells = [this](std::string const & start) {
        return testing::AllOf(testing::StartsWith(start), HasSubstr(f_logged("", m_list.c_str())),
                              HasSubstr(".__ZOHLM__'"), HasSubstr("error code "));
    };
    EXPECT_THAT(mf_runFailing("CreateFileW", ERROR_ACCESS_DENIED),
                f_fails(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED, 'E', "ICFileTransaction::mf_implCreate",
                        tells("Failure making file '")));
    EXPECT_THAT(mf_runFailing("WriteFile", ERROR_DISK_FULL),
                f_fails(ICErrno::_E_::FileWrite, ERROR_DISK_FULL, 'E', "ICFileTransaction::mf_implWriteBlock",
                        tells("Failure writing file '")));
    EXPECT_THAT(mf_runFailing("FlushFileBuffers", ERROR_DISK_FULL),
                f_fails(ICErrno::_E_::FileWrite, ERROR_DISK_FULL, 'E', "ICFileTransaction::mf_implWrite",
                        tells("Failure flushing file '")));
    EXPECT_THAT(mf_runFailing("MoveFileExW", ERROR_ACCESS_DENIED),
                f_fails(ICErrno::_E_::FileMove, ERROR_ACCESS_DENIED, 'E', "ICFileTransaction::mf_implMove",
                        tells("Failure moving file in place:\n")));
    EXPECT_THAT(mf_runFailing("WideCharToMultiByte", ERROR_INVALID_PARAMETER),
                f_failsShowing(ICErrno::_E_::Conversion, ERROR_INVALID_PARAMETER,
                               "ICListTransaction::mf_implWriteContent", "Failure converting 'C:\\a' to UTF-8: "));
    ICTracedAction const outcome = m_process.mf_run([this] {
        ICFailingClose const failing(ERROR_IO_DEVICE, nullptr);
        f_write(m_list, {L"C:\\a"});
    });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::FileClose, ERROR_IO_DEVICE, 'E', "ICFileTransaction::mf_implWrite",
                                 tells("Failure closing file '")));
    EXPECT_THAT(f_filesIn(m_directory.mf_getPath()), IsEmpty());
}

TEST_F(ICListTransactionTrace, ListsThatCannotBeReplaced_AreTold)
{
    m_directory.mf_makeDirectory(L"list.txt");
    std::string const name = f_logged("'", m_list.c_str());
    EXPECT_THAT(m_process.mf_run([this] { f_write(m_list, {}); }),
                f_fails(ICErrno::_E_::Path, 'E', "ICFileTransaction::mf_implCheckTarget", name + "' is a directory"));
    ::RemoveDirectoryW(m_list.c_str());
    m_directory.mf_makeFile(L"list.txt", "old", FILE_ATTRIBUTE_READONLY);
    EXPECT_THAT(m_process.mf_run([this] { f_write(m_list, {}); }),
                f_fails(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED, 'E', "ICFileTransaction::mf_implCheckTarget",
                        name + "' is read-only"));
}

TEST_F(ICListTransactionTrace, UndoWithoutClose_IsToldAndTheFileIsTakenAway)
{
    ICListTransaction list(m_list.c_str());
    list.mf_prepare();
    std::vector<ICTraceRecord> const records = m_process.mf_trace([&] {
        ICFailingClose const failing(ERROR_IO_DEVICE, nullptr);
        list.mf_implUndo(ICErrno::_E_::Interrupted);
    });
    EXPECT_THAT(records, testing::Contains(f_isRecord('E', "ICFileTransaction::mf_implRemove",
                                                      testing::StartsWith("Failure closing file '"))));
    EXPECT_THAT(f_filesIn(m_directory.mf_getPath()), IsEmpty());
}
