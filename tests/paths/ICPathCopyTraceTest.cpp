// The lines of copying and appending, as a log shows them.
#include "hsmbase/paths/ICPath.h"
#include "tests/paths/FileTransfers.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedPlace.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Texts have "@" for the directory. The process's first write is that of the copy, the log's come later.
class ICPathCopyTrace : public testing::Test
{
protected:
    testing::Matcher<ICTraceRecord const &> mf_line(std::string const & function, std::string const & text) const
    {
        return f_isRecord('E', "ICPath::" + function, f_at(text, m_directory.mf_getPath().c_str()));
    }

    // The records of an action that threw this failure.
    template<class ACTION>
    std::vector<ICTraceRecord> mf_failing(ICErrno const & failure, ACTION action) const
    {
        ICTracedAction const outcome = m_process.mf_run(action);
        EXPECT_EQ(failure.mf_getNumber(), static_cast<int>(outcome.m_failure.value_or(0)));
        EXPECT_EQ(failure.mf_getErrnoData().mf_getOriginatorErrno(), outcome.m_originatorErrno);
        return outcome.m_records;
    }

    auto mf_copying(wchar_t const * source, wchar_t const * target, int force = 0) const
    {
        return [=, this] { ICPath::mf_copy(mf_path(source), mf_path(target), force); };
    }

    CString mf_path(wchar_t const * name) const { return (m_directory / name).c_str(); }
    static ICErrno mf_failure(ICErrnoValue const & constant, ulong error) { return ICErrno(constant, error); }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_source = m_directory.mf_makeFile(L"source", "bytes");
    ICErrno const m_unread = mf_failure(ICErrno::_E_::FileRead, ERROR_CRC);
    ICErrno const m_unclosed = mf_failure(ICErrno::_E_::FileClose, ERROR_IO_DEVICE);
};

// The eight digits that stand for a handle.
std::string f_shown(ICFileHandle const & file)
{
    char digits[9] = {};
    ::sprintf_s(digits, sizeof digits, "%8.8x", static_cast<unsigned int>(reinterpret_cast<ULONG_PTR>(file.mf_get())));
    return digits;
}

} // namespace

TEST_F(ICPathCopyTrace, Success_LeavesNoLine)
{
    EXPECT_THAT(m_process.mf_trace(mf_copying(L"source", L"target")), IsEmpty());
}

TEST_F(ICPathCopyTrace, NoMemory)
{
    ICImportFault const noMemory("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(mf_failing(ICErrno::_E_::Memory, [] { ICPath::mf_copy(nullptr, nullptr); }),
                ElementsAre(mf_line("mf_copy::1", "Malloc returned no memory (65536 bytes)")));
}

TEST_F(ICPathCopyTrace, FailedRead_TellsBothPaths)
{
    ICImportFault const fault("ReadFile", ERROR_CRC);
    EXPECT_THAT(mf_failing(m_unread, mf_copying(L"source", L"target")),
                ElementsAre(mf_line("mf_copy::1", f_logged("Failure reading source file: ", m_unread)),
                            mf_line("mf_copy::4", "Failure copying '@\\source' -> '@\\target'")));
}

TEST_F(ICPathCopyTrace, FailedWrite_TellsTheSizeAndTheSystemsWordsAlone)
{
    ICImportFault const fault("WriteFile", ERROR_DISK_FULL, ICCalls::mf_only(1));
    EXPECT_THAT(mf_failing(mf_failure(ICErrno::_E_::FileWrite, ERROR_DISK_FULL), mf_copying(L"source", L"target")),
                ElementsAre(mf_line("mf_copy::1", f_logged("Writing 5 byte-block to file failed: ",
                                                           ICErrno::mf_getSystemMessage(ERROR_DISK_FULL))),
                            mf_line("mf_copy::4", "Failure copying '@\\source' -> '@\\target'")));
}

TEST_F(ICPathCopyTrace, ShortWrite_TellsTheSizeThatWasToBeWritten)
{
    bool isDue = true;
    ICImportPatch const writes(IC_IMPORT(WriteFile),
                               [&](HANDLE file, auto * bytes, DWORD length, DWORD * count, auto *) {
                                   DWORD const taken = isDue ? length - 1 : length;
                                   isDue = false;
                                   return ::WriteFile(file, bytes, taken, count, nullptr);
                               });
    EXPECT_THAT(mf_failing(mf_failure(ICErrno::_E_::FileWrite, 0), mf_copying(L"source", L"target")),
                Contains(mf_line("mf_copy::1",
                                 f_logged("Writing 5 byte-block to file failed: ", ICErrno::mf_getSystemMessage(0)))));
    EXPECT_EQ("byte", f_readFile(m_directory / L"target"));
}

TEST_F(ICPathCopyTrace, SourceThatDoesNotOpen_IsToldWithoutSystemNumber)
{
    ICErrno const failure(ICErrno::_E_::FileOpen);
    auto const notOpened =
        mf_line("mf_implOpenSourceFile", f_logged("Opening source file '@\\none' failed:\n", failure));
    EXPECT_THAT(mf_failing(failure, mf_copying(L"none", L"target")),
                ElementsAre(notOpened, mf_line("mf_copy::4", "Failure copying '@\\none' -> '@\\target'")));
    ICFileHandle const target = f_openFile(m_directory / L"target");
    EXPECT_THAT(
        mf_failing(failure, [&] { ICPath::mf_copy(mf_path(L"none"), target.mf_get()); }),
        ElementsAre(notOpened, mf_line("mf_copy::2", "Failure copying '@\\none'->HANDLE(" + f_shown(target) + ")")));
}

TEST_F(ICPathCopyTrace, TargetThatDoesNotOpen)
{
    std::string const text = "Opening target file '@\\target' failed:\n";
    std::string const copying = "Failure copying '@\\source' -> '@\\target'";
    ICErrno const denied = mf_failure(ICErrno::_E_::FileOpen, DENIED);
    {
        ICImportFault const fault("CreateFileW", DENIED, ICCalls::mf_only(2));
        EXPECT_THAT(
            mf_failing(denied, mf_copying(L"source", L"target")),
            ElementsAre(mf_line("mf_implOpenTargetFile", f_logged(text, denied)), mf_line("mf_copy::4", copying)));
    }
    m_directory.mf_makeFile(L"target");
    ICErrno const isThere = mf_failure(ICErrno::_E_::FileExists, ERROR_FILE_EXISTS);
    EXPECT_THAT(mf_failing(isThere, mf_copying(L"source", L"target")),
                ElementsAre(mf_line("mf_implOpenTargetFile", f_logged(text, isThere)), mf_line("mf_copy::4", copying)));
}

// Deliberate: the name within the directory is composed all the same.
TEST_F(ICPathCopyTrace, IntoADirectory_ComposesANameForNothing)
{
    m_directory.mf_makeDirectory(L"into");
    ICErrno const denied = mf_failure(ICErrno::_E_::FileOpen, DENIED);
    EXPECT_THAT(
        mf_failing(denied, mf_copying(L"source", L"into", 1)),
        Contains(mf_line("mf_implOpenTargetFile", f_logged("Opening target file '@\\into' failed:\n", denied))));
    auto const fromNowhere = [&] { ICPath::mf_copy(CString(), mf_path(L"into"), 0); };
    EXPECT_THAT(mf_failing(ICErrno::_E_::FileOpen, fromNowhere),
                Contains(mf_line("mf_getFilePart", "Empty file path")));
}

TEST_F(ICPathCopyTrace, FromHandleToPath_TellsBoth)
{
    ICFileHandle const source = f_openFile(m_source);
    ICErrno const failure = mf_failure(ICErrno::_E_::FileRead, DENIED);
    EXPECT_THAT(mf_failing(failure, [&] { ICPath::mf_copy(source.mf_get(), mf_path(L"target"), 0); }),
                ElementsAre(mf_line("mf_copy::1", f_logged("Failure reading source file: ", failure)),
                            mf_line("mf_copy::3", "Failure copying HANDLE(" + f_shown(source) + ")->'@\\target'")));
}

// Deliberate: the copy succeeds although its files can't be closed.
TEST_F(ICPathCopyTrace, FailedCloses_AreLinesOnly)
{
    ICFailingClose const failing(ERROR_IO_DEVICE);
    auto const line = mf_line("mf_implCloseFile", f_logged("Closing file failed: ", m_unclosed));
    ICFileSize copied;
    EXPECT_THAT(m_process.mf_trace([&] { copied = ICPath::mf_copy(mf_path(L"source"), mf_path(L"target"), 0); }),
                ElementsAre(line, line));
    EXPECT_TRUE(copied == 5);
    EXPECT_EQ(2u, failing.mf_getCalls());
    EXPECT_EQ("bytes", f_readFile(m_directory / L"target"));
}

TEST_F(ICPathCopyTrace, ClosingNothing_IsIgnored)
{
    ICImportFault const closes("CloseHandle");
    EXPECT_THAT(m_process.mf_trace([] { ICPath::mf_implCloseFile(INVALID_HANDLE_VALUE); }), IsEmpty());
    EXPECT_EQ(0u, closes.mf_getCalls());
}

// No failure of the system's gets out of a close, so one has to be thrown from beneath it.
TEST_F(ICPathCopyTrace, CloseThatThrows_IsKeptOnlyIfNothingIs)
{
    ICImportPatch const closes(IC_IMPORT(CloseHandle), [&](HANDLE file) -> BOOL {
        ::CloseHandle(file);
        throw ICErrno(m_unclosed);
    });
    auto const unclosed = [&](std::string const & function, std::string const & file) {
        return mf_line(function, f_logged("Failure closing " + file + ":\n", m_unclosed));
    };
    ICFileHandle const handle = f_openFile(m_directory / L"handle");
    EXPECT_THAT(mf_failing(m_unclosed, mf_copying(L"source", L"target")),
                ElementsAre(unclosed("mf_copy::4", "target file '@\\target'"),
                            unclosed("mf_copy::4", "source file '@\\source'")));
    EXPECT_THAT(mf_failing(m_unclosed, [&] { ICPath::mf_copy(mf_path(L"source"), handle.mf_get()); }),
                ElementsAre(unclosed("mf_copy::2", "source file '@\\source'")));
    auto const reversed = [&] { ICPath::mf_copy(handle.mf_get(), mf_path(L"target"), 1); };
    EXPECT_THAT(mf_failing(mf_failure(ICErrno::_E_::FileRead, DENIED), reversed),
                AllOf(SizeIs(3), Contains(unclosed("mf_copy::3", "target file '@\\target'"))));
}

TEST_F(ICPathCopyTrace, Append_WithoutEnd)
{
    ICErrno const failure = mf_failure(ICErrno::_E_::FileSeek, ERROR_INVALID_HANDLE);
    auto const append = [] { ICPath::mf_append(INVALID_HANDLE_VALUE, INVALID_HANDLE_VALUE); };
    EXPECT_THAT(
        mf_failing(failure, append),
        ElementsAre(mf_line("mf_append", f_logged("Failure setting file-position to end-of-file:\n", failure))));
}

TEST_F(ICPathCopyTrace, Append_TellsOfTheCopy)
{
    ICFileHandle const source = f_openFile(m_source);
    ICFileHandle const target = f_openFile(m_directory / L"target");
    ICImportFault const fault("ReadFile", ERROR_CRC);
    EXPECT_THAT(
        mf_failing(m_unread, [&] { ICPath::mf_append(source.mf_get(), target.mf_get()); }),
        ElementsAre(mf_line("mf_copy::1", f_logged("Failure reading source file: ", m_unread)),
                    mf_line("mf_append", f_logged("Failure copying file content to end of file:\n", m_unread))));
}
