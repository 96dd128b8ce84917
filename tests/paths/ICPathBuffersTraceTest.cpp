// The lines of loading files into memory and of writing memory to files, as a log shows them.
#include "hsmbase/paths/ICPath.h"
#include "tests/paths/FileTransfers.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedPlace.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Texts have "@" for the directory.
class ICPathBuffersTrace : public testing::Test
{
protected:
    std::string mf_at(std::string const & text) const { return f_at(text, m_directory.mf_getPath().c_str()); }

    testing::Matcher<ICTracedAction const &> mf_isFailing(ICErrno const & failure, std::string const & function,
                                                          std::string const & text) const
    {
        return f_fails(mf_constant(failure), failure.mf_getErrnoData().mf_getOriginatorErrno(), 'E',
                       "ICPath::" + function, f_logged(mf_at(text), failure));
    }
    static ICErrnoValue mf_constant(ICErrno const & failure) { return failure.mf_getErrnoData(); }

    ICTracedAction mf_load() const
    {
        return m_process.mf_run([this] {
            void * buffer = nullptr;
            ICFileSize size;
            ICPath::mf_FileToBuffer(m_path, buffer, size);
            std::free(buffer);
        });
    }

    ICTracedAction mf_write(void const * data, ICFileSize const & size) const
    {
        return m_process.mf_run([=, this] { ICPath::mf_BufferToFile(m_path, data, size); });
    }

    // What both forms of writing trace of a failure.
    testing::Matcher<ICTracedAction const &> mf_isUnwritten(ICErrno const & failure, std::string const & text) const
    {
        return AllOf(mf_isFailing(failure, "mf_BufferToFile::1", text),
                     mf_isFailing(failure, "mf_BufferToFile::2", "Failure writing buffer to file '@\\f': "));
    }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    CString const m_path = m_directory.mf_makeFile(L"f", "bytes").c_str();
};

} // namespace

TEST_F(ICPathBuffersTrace, Loading_LeavesNoLine)
{
    EXPECT_THAT(mf_load().m_records, IsEmpty());
}

// Deliberate: another limit than is meant.
TEST_F(ICPathBuffersTrace, Loading_SizeAsItComesIn)
{
    void * buffer = nullptr;
    ICFileSize size(0x40000000);
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_FileToBuffer(m_path, buffer, size); }),
                f_fails(ICErrno::_E_::FileSizeExceeded, 'E', "ICPath::mf_FileToBuffer",
                        mf_at("File size of source file '@\\f' exceeds 2 GByte")));
}

TEST_F(ICPathBuffersTrace, Loading_SizeThatCannotBeTold_IsToldByThatStepAlone)
{
    ICImportFault const fault("GetFileInformationByHandle", DENIED);
    ICTracedAction const outcome = mf_load();
    ICErrno const failure(ICErrno::_E_::FileAccess, DENIED);
    EXPECT_THAT(outcome, mf_isFailing(failure, "mf_getSize", "Failure querying file size for '@\\f':\n"));
    EXPECT_EQ("ICPath::mf_getSize", outcome.m_records.back().m_tag);
}

TEST_F(ICPathBuffersTrace, Loading_FileOf4GiB)
{
    ICImportPatch const size(IC_IMPORT(GetFileInformationByHandle), [](HANDLE, BY_HANDLE_FILE_INFORMATION * given) {
        *given = {};
        given->nFileSizeHigh = 1;
        return TRUE;
    });
    EXPECT_THAT(mf_load(),
                f_fails(ICErrno::_E_::FileSizeExceeded, 'E', "ICFileSize::mf_get32BitSize", "Filesize > 4GByte"));
}

TEST_F(ICPathBuffersTrace, Loading_NoMemory)
{
    f_writeFile(m_path.GetString(), f_content(NO_ROOM_FOR));
    ICImportPatch const noMemory("calloc", &f_callocOfLittle);
    EXPECT_THAT(mf_load(), f_fails(ICErrno::_E_::Memory, 'E', "ICPath::mf_FileToBuffer",
                                   mf_at("Failure allocating memory for file to load into memory\n"
                                         "bytes to allocate with malloc: 54321\nfile name: '@\\f'")));
}

TEST_F(ICPathBuffersTrace, Loading_FileThatDoesNotOpen)
{
    ICImportFault const fault("CreateFileW", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(mf_load(), mf_isFailing(ICErrno(ICErrno::_E_::FileAccess, DENIED), "mf_FileToBuffer",
                                        "Failure opening file '@\\f':\n"));
}

TEST_F(ICPathBuffersTrace, Loading_FailedReadAndClose_AreBothTold)
{
    ulong closes = 0;
    ICImportPatch const closing(IC_IMPORT(CloseHandle), [&](HANDLE file) -> BOOL {
        ::CloseHandle(file);
        ::SetLastError(ERROR_IO_DEVICE);
        return ++closes == 1; // that of asking for the size
    });
    ICImportFault const fault("ReadFile", ERROR_CRC);
    ICErrno const unclosed(ICErrno::_E_::FileClose, ERROR_IO_DEVICE);
    ICTracedAction const outcome = mf_load();
    EXPECT_THAT(outcome, mf_isFailing(ICErrno(ICErrno::_E_::FileRead, ERROR_CRC), "mf_FileToBuffer",
                                      "Failure reading target file '@\\f':\n"));
    EXPECT_THAT(outcome.m_records, Contains(f_isRecord('E', "ICPath::mf_FileToBuffer",
                                                       f_logged(mf_at("Failure closing file '@\\f':\n"), unclosed))));
}

TEST_F(ICPathBuffersTrace, Writing_TellsWhereItLooks)
{
    EXPECT_THAT(mf_write("abc", 3).m_records,
                ElementsAre(f_isRecord('D', "ICPath::mf_BufferToFile::2",
                                       mf_at("Checking existence of file '@\\f'\nin directory '@'..."))));
}

TEST_F(ICPathBuffersTrace, Writing_TellsWhichDirectoryIsMade)
{
    CString const path = (m_directory / L"a\\f").c_str();
    EXPECT_THAT(m_process.mf_trace([&] { ICPath::mf_BufferToFile(path, "abc", 3); }),
                AllOf(Contains(f_isRecord('T', "ICPath::mf_BufferToFile::2", mf_at("Creating directory '@\\a'"))),
                      Contains(f_isRecord('T', "ICPath::mf_mkdirs", mf_at("Created path='@\\a'")))));
}

TEST_F(ICPathBuffersTrace, Writing_DirectoryThatCannotBeMade_IsToldByThatStepAlone)
{
    CString const path = (m_directory / L"a\\f").c_str();
    ICImportFault const fault("CreateDirectoryW", DENIED);
    ICTracedAction const outcome = m_process.mf_run([&] { ICPath::mf_BufferToFile(path, "abc", 3); });
    ICErrno const failure(ICErrno::_E_::FileOpen, DENIED);
    EXPECT_THAT(outcome, mf_isFailing(failure, "mf_mkdirs", "Failure creating path '@\\a':\n"));
    EXPECT_EQ("ICPath::mf_mkdirs", outcome.m_records.back().m_tag);
}

TEST_F(ICPathBuffersTrace, Writing_FileThatDoesNotOpen)
{
    ICImportFault const fault("CreateFileW", DENIED);
    EXPECT_THAT(mf_write("abc", 3), mf_isFailing(ICErrno(ICErrno::_E_::FileOpen, DENIED), "mf_BufferToFile::2",
                                                 "Opening file '@\\f' failed:\n"));
}

TEST_F(ICPathBuffersTrace, Writing_FailedClose)
{
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_THAT(mf_write("abc", 3), mf_isFailing(ICErrno(ICErrno::_E_::FileClose, ERROR_IO_DEVICE),
                                                 "mf_BufferToFile::2", "Closing file '@\\f' failed:\n"));
}

TEST_F(ICPathBuffersTrace, Writing_FailedWrite)
{
    // The log has told by then where the file is looked for.
    ICImportPatch const writes(IC_IMPORT(WriteFile),
                               [](HANDLE file, auto * bytes, DWORD length, DWORD * count, OVERLAPPED * overlapped) {
                                   if (length != 3) return ::WriteFile(file, bytes, length, count, overlapped);
                                   ::SetLastError(ERROR_DISK_FULL);
                                   return FALSE;
                               });
    EXPECT_THAT(mf_write("abc", 3), mf_isUnwritten(ICErrno(ICErrno::_E_::FileWrite, ERROR_DISK_FULL),
                                                   "Writing 3 byte-block to file failed: "));
}

TEST_F(ICPathBuffersTrace, Writing_InvalidHandle)
{
    EXPECT_THAT(
        m_process.mf_run([] { ICPath::mf_BufferToFile(INVALID_HANDLE_VALUE, "abc", 3); }),
        f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_BufferToFile::1", "Parameter error: Invalid file handle"));
}

TEST_F(ICPathBuffersTrace, Writing_SizesThatAreRefused)
{
    EXPECT_THAT(mf_write("abc", 0x40000000), f_fails(ICErrno::_E_::FileSizeExceeded, 'E', "ICPath::mf_BufferToFile::1",
                                                     "Buffers with more than 2 GByte not supported"));
    EXPECT_THAT(mf_write("abc", -1),
                f_fails(ICErrno::_E_::FileSizeExceeded, 'E', "ICFileSize::mf_get32BitSize", "Filesize > 4GByte"));
}

TEST_F(ICPathBuffersTrace, Writing_Size0_ThatCannotBeSet)
{
    ICImportFault const fault("SetEndOfFile", DENIED);
    EXPECT_THAT(mf_write("abc", 0),
                mf_isUnwritten(ICErrno(ICErrno::_E_::FileAccess, DENIED), "Deleting file content for file failed: "));
}

TEST_F(ICPathBuffersTrace, Writing_FileThatCannotBeSparse)
{
    ICErrno const failure(ICErrno::_E_::FileAccess, DENIED);
    ICImportFault const fault("DeviceIoControl", DENIED);
    EXPECT_THAT(mf_write(nullptr, 3), f_fails(ICErrno::_E_::FileAccess, DENIED, 'E', "ICPath::mf_BufferToFile::1",
                                              f_logged("Setting file to sparse file failed: ", failure) +
                                                  "\nWill zero file size instead of using sparse file."));
}

TEST_F(ICPathBuffersTrace, Writing_SparseFileThatFailsLater)
{
    ICImportFault const controls("DeviceIoControl", ICAnswer::mf_value(TRUE));
    {
        // The log seeks too: the call after its line.
        ICImportPatch const seek(IC_IMPORT(SetFilePointerEx),
                                 [](HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER * position, DWORD from) {
                                     if (from != FILE_BEGIN || distance.QuadPart != 3)
                                         return ::SetFilePointerEx(file, distance, position, from);
                                     ::SetLastError(ERROR_SEEK);
                                     return FALSE;
                                 });
        EXPECT_THAT(mf_write(nullptr, 3),
                    mf_isUnwritten(ICErrno(ICErrno::_E_::FileAccess, ERROR_SEEK), "Failure setting file pointer: "));
    }
    {
        ICImportFault const fault("SetEndOfFile", DENIED);
        EXPECT_THAT(mf_write(nullptr, 3), mf_isUnwritten(ICErrno(ICErrno::_E_::FileAccess, DENIED),
                                                         "Failure setting EOF position of file: "));
    }
    ICImportFault const fault("DeviceIoControl", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(mf_write(nullptr, 3),
                mf_isUnwritten(ICErrno(ICErrno::_E_::FileWrite, DENIED), "Zero-ing content of file failed: "));
}
