// Loading files into memory and writing memory to files.
#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "hsmbase/paths/ICPath.h"
#include "tests/paths/FileTransfers.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICUnixHost.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr ulong PIECE = 32768000;
constexpr char EMPTY[] = "";

struct FREE
{
    void operator()(void * memory) const { std::free(memory); }
};

// The size that a file pretends to have, as far as it is asked for.
auto f_pretendedSize(ULONG64 size)
{
    return [size](HANDLE file, BY_HANDLE_FILE_INFORMATION * information) {
        BOOL const answer = ::GetFileInformationByHandle(file, information);
        information->nFileSizeHigh = static_cast<ulong>(size >> 32);
        information->nFileSizeLow = static_cast<ulong>(size);
        return answer;
    };
}

class ICPathLoading : public testing::Test
{
protected:
    // What is loaded; the outputs come back in the members.
    std::string mf_load(std::wstring const & path)
    {
        ICPath::mf_FileToBuffer(path.c_str(), m_buffer, m_size);
        std::unique_ptr<void, FREE> const owner(m_buffer);
        return std::string(static_cast<char const *>(m_buffer), static_cast<std::size_t>(m_size.mf_getValue()));
    }

    auto mf_loading()
    {
        return [this] { mf_load(m_file); };
    }

    void mf_expectNothing() const
    {
        EXPECT_EQ(nullptr, m_buffer);
        EXPECT_TRUE(m_size == 0);
    }

    char m_before = 'x';
    void * m_buffer = &m_before;
    ICFileSize m_size = 77;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_file = m_directory.mf_makeFile(L"f", "bytes");
};

class ICPathWriting : public testing::Test
{
protected:
    static void mf_write(std::wstring const & path, void const * data, ICFileSize const & size)
    {
        ICPath::mf_BufferToFile(path.c_str(), data, size);
    }
    static void mf_write(ICFileHandle const & file, void const * data, ICFileSize const & size)
    {
        ICPath::mf_BufferToFile(file.mf_get(), data, size);
    }
    static void mf_write(std::wstring const & path, std::string const & data)
    {
        mf_write(path, data.data(), data.size());
    }

    ICTemporaryDirectory const m_directory;
    std::wstring const m_file = m_directory.mf_makeFile(L"f", "0123456789");
};

// Controls of devices that succeed where the platform doesn't have them.
class ICSparseFiles
{
public:
    struct CONTROL
    {
        ulong m_code;
        std::vector<LONGLONG> m_input;
        bool operator==(CONTROL const &) const = default;
    };

    ICSparseFiles()
        : m_patch(IC_IMPORT(DeviceIoControl),
                  [this](HANDLE, DWORD code, void * input, DWORD length, void * output, DWORD room, DWORD * answered,
                         OVERLAPPED * overlapped) -> BOOL {
                      CONTROL control{code, {}};
                      control.m_input.resize(length / sizeof(LONGLONG));
                      if (length > 0)
                          std::memcpy(control.m_input.data(), input, control.m_input.size() * sizeof(LONGLONG));
                      m_controls.push_back(control);
                      EXPECT_EQ(nullptr, output);
                      EXPECT_EQ(0u, room);
                      EXPECT_NE(nullptr, answered);
                      EXPECT_EQ(nullptr, overlapped);
                      return TRUE;
                  })
    {}

    std::vector<CONTROL> m_controls;

private:
    ICImportPatch const m_patch;
};

} // namespace

TEST_F(ICPathLoading, HandsOutContentAndSize)
{
    for (ulong const size : SIZES_AROUND_THE_BLOCK) {
        SCOPED_TRACE(size);
        std::string const content = f_content(size);
        f_writeFile(m_file, content);
        EXPECT_EQ(content, mf_load(m_file));
        EXPECT_NE(nullptr, m_buffer);
    }
}

TEST_F(ICPathLoading, AsksForTheSizeFirst_ThenOpensTheReparsePointToReadOn)
{
    ICFileCalls const calls;
    mf_load(m_file);
    EXPECT_THAT(calls.mf_get(), ElementsAre(ICFileCall{"CreateFileW", f_longPath(m_file), {0x80, 1, 3, 0x300000}},
                                            ICFileCall{"CreateFileW", f_longPath(m_file), {1, 1, 3, 0x8200000}}));
}

TEST_F(ICPathLoading, LongPath_IsNoMatter)
{
    std::wstring const name(100, L'x');
    EXPECT_EQ("far", mf_load(m_directory.mf_makeFile(name + L"\\" + name + L"\\" + name + L"\\f", "far")));
}

// Deliberate: the size as it comes in is refused, not that of the file.
TEST_F(ICPathLoading, SizeAsItComesIn_IsRefusedFrom1GiBOn)
{
    ICImportFault const opens("CreateFileW");
    for (long long const size : {0x40000000ll, 0x40000001ll, 0x100000000ll}) {
        m_size = size;
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileSizeExceeded, mf_loading()));
        EXPECT_TRUE(m_size == size);
        EXPECT_EQ(&m_before, m_buffer);
    }
    EXPECT_EQ(0u, opens.mf_getCalls());
    for (long long const size : {0x3fffffffll, -1ll}) {
        m_size = size;
        EXPECT_EQ("bytes", mf_load(m_file));
        EXPECT_TRUE(m_size == 5);
    }
}

TEST_F(ICPathLoading, MissingFile_LeavesNothing)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [&] { mf_load(m_directory / L"missing"); }, ERROR_FILE_NOT_FOUND));
    mf_expectNothing();
}

TEST_F(ICPathLoading, FileOf4GiB_IsRefusedUnread)
{
    ICImportFault const opens("CreateFileW");
    ICImportPatch const size(IC_IMPORT(GetFileInformationByHandle), f_pretendedSize(0x100000000));
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileSizeExceeded, mf_loading()));
    mf_expectNothing();
    EXPECT_EQ(1u, opens.mf_getCalls()); // for the size
}

TEST_F(ICPathLoading, GoesInPieces)
{
    for (ulong const last : {0ul, 1ul, PIECE}) {
        SCOPED_TRACE(last);
        ICImportPatch const size(IC_IMPORT(GetFileInformationByHandle), f_pretendedSize(PIECE + last));
        ICPretendedTransfers const reads(IC_IMPORT(ReadFile));
        mf_load(m_file);
        if (last == 0)
            EXPECT_THAT(reads.mf_getLengths(), ElementsAre(PIECE));
        else
            EXPECT_THAT(reads.mf_getLengths(), ElementsAre(PIECE, last));
    }
}

TEST_F(ICPathLoading, NoMemory_OpensNothing)
{
    f_writeFile(m_file, f_content(NO_ROOM_FOR));
    ICImportFault const opens("CreateFileW");
    ICImportPatch const noMemory("calloc", &f_callocOfLittle);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, mf_loading()));
    mf_expectNothing();
    EXPECT_EQ(1u, opens.mf_getCalls()); // for the size
}

TEST_F(ICPathLoading, FileThatDoesNotOpen_LeavesNothing)
{
    for (ulong const error : {2ul, DENIED, 32ul}) {
        SCOPED_TRACE(error);
        ICImportFault const fault("CreateFileW", error, ICCalls::mf_only(2));
        ICImportFault const closes("CloseHandle");
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, mf_loading(), error));
        EXPECT_EQ(1u, closes.mf_getCalls());
        mf_expectNothing();
    }
}

TEST_F(ICPathLoading, FailedRead_ClosesAndLeavesNothing)
{
    ICImportFault const fault("ReadFile", ERROR_CRC);
    ICImportFault const closes("CloseHandle");
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileRead, mf_loading(), ERROR_CRC));
    EXPECT_EQ(2u, closes.mf_getCalls());
    EXPECT_EQ(1u, fault.mf_getCalls());
    mf_expectNothing();
}

// Somebody cut the file meanwhile.
TEST_F(ICPathLoading, ShortRead_IsAFailureWithoutNumber)
{
    ICImportPatch const size(IC_IMPORT(GetFileInformationByHandle), f_pretendedSize(6));
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileRead, mf_loading(), 0));
    mf_expectNothing();
}

TEST_F(ICPathLoading, FailedClose_LeavesNothing_AndIsOutrankedByAFailedRead)
{
    ulong closes = 0;
    ICImportPatch const closing(IC_IMPORT(CloseHandle), [&](HANDLE file) -> BOOL {
        ::CloseHandle(file);
        ::SetLastError(ERROR_IO_DEVICE);
        return ++closes % 2 == 1; // the first is that of asking for the size
    });
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileClose, mf_loading(), ERROR_IO_DEVICE));
    mf_expectNothing();
    ICImportFault const fault("ReadFile", ERROR_CRC);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileRead, mf_loading(), ERROR_CRC));
    mf_expectNothing();
}

TEST_F(ICPathWriting, WritesAllBytes_ByHandleAndPath)
{
    for (ulong const size : SIZES_AROUND_THE_BLOCK) {
        SCOPED_TRACE(size);
        std::string const content = f_content(size);
        std::wstring const number = std::to_wstring(size);
        mf_write(m_directory / (L"p" + number), content);
        EXPECT_EQ(content, f_readFile(m_directory / (L"p" + number)));
        mf_write(f_openFile(m_directory / (L"h" + number)), content.data(), size);
        EXPECT_EQ(content, f_readFile(m_directory / (L"h" + number)));
    }
}

TEST_F(ICPathWriting, GoesInBlocksOf64KiB)
{
    std::string const content = f_content(131073);
    ICPretendedTransfers const writes(IC_IMPORT(WriteFile));
    mf_write(ICFileHandle(nullptr), content.data(), content.size());
    EXPECT_THAT(writes.mf_getLengths(), ElementsAre(65536, 65536, 1));
}

TEST_F(ICPathWriting, Handle_IsWrittenFromItsPositionOn_AndStaysOpen)
{
    ICFileHandle const file = f_openFile(m_file);
    f_setPosition(file, 3);
    ICImportFault const closes("CloseHandle");
    mf_write(file, "abc", 3);
    EXPECT_EQ(6, f_positionOf(file));
    EXPECT_EQ("012abc6789", f_readFile(m_file));
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST_F(ICPathWriting, InvalidHandle_IsRefused)
{
    for (long long const size : {0, 3})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { mf_write(ICFileHandle(), "abc", size); }));
}

TEST_F(ICPathWriting, Size0_CutsTheFileAtItsPosition_WithOrWithoutData)
{
    ICImportFault const writes("WriteFile");
    ICImportFault const controls("DeviceIoControl");
    {
        ICFileHandle const file = f_openFile(m_file);
        f_setPosition(file, 7);
        mf_write(file, EMPTY, 0);
        EXPECT_EQ("0123456", f_readFile(m_file));
        f_setPosition(file, 2);
        mf_write(file, nullptr, 0);
        EXPECT_EQ("01", f_readFile(m_file));
    }
    mf_write(m_file, EMPTY, 0);
    EXPECT_EQ("", f_readFile(m_file));
    EXPECT_EQ(0u, writes.mf_getCalls() + controls.mf_getCalls());
}

TEST_F(ICPathWriting, Size0_ThatCannotBeSet)
{
    ICFileHandle const file = f_openFile(m_file);
    ICImportFault const fault("SetEndOfFile", DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_write(file, EMPTY, 0); }, DENIED));
    EXPECT_EQ("0123456789", f_readFile(m_file));
}

// Deliberate: from 1 GiB on, whatever the text says.
TEST_F(ICPathWriting, DataOf1GiB_IsRefused)
{
    ICFileHandle const file = f_openFile(m_file);
    ICPretendedTransfers const writes(IC_IMPORT(WriteFile));
    for (long long const size : {0x40000000ll, 0x100000000ll, -1ll})
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileSizeExceeded, [&] { mf_write(file, "x", size); }));
    EXPECT_THAT(writes.mf_getLengths(), IsEmpty());

    mf_write(file, "x", 0x3fffffff);
    EXPECT_THAT(writes.mf_getLengths(), SizeIs(0x4000));
    EXPECT_EQ(0xffffu, writes.mf_getLengths().back());
}

TEST_F(ICPathWriting, FailedWrite_LeavesWhatWasWritten)
{
    std::string const content = f_content(70000);
    ICImportFault const fault("WriteFile", ERROR_DISK_FULL, ICCalls::mf_only(2));
    ICImportFault const closes("CloseHandle");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [&] { mf_write(m_file, content); }, ERROR_DISK_FULL));
    EXPECT_EQ(1u, closes.mf_getCalls());
    EXPECT_EQ(content.substr(0, 65536), f_readFile(m_file));
}

TEST_F(ICPathWriting, FullDisk)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "the device that is always full is the host's";
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [] { mf_write(L"Z:\\dev\\full", "bytes"); }, ERROR_DISK_FULL));
}

// Nor with the number that opening a file leaves which is there already.
TEST_F(ICPathWriting, ShortWrite_IsAFailureWithoutNumber)
{
    for (std::size_t const call : {1u, 2u}) {
        ICPretendedTransfers const writes(IC_IMPORT(WriteFile), call);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileWrite, [&] { mf_write(m_file, f_content(200000)); }, 0));
        EXPECT_THAT(writes.mf_getLengths(), SizeIs(call));
    }
}

// Deliberate: the zeros go one past the end.
TEST_F(ICPathWriting, WithoutData_LeavesASparseFileOfThatSize)
{
    ICSparseFiles sparse;
    mf_write(m_directory / L"new", nullptr, 1000);
    mf_write(m_file, nullptr, 4);
    EXPECT_EQ(std::string(1000, '\0'), f_readFile(m_directory / L"new"));
    EXPECT_EQ(4u, f_readFile(m_file).size());
    EXPECT_THAT(sparse.m_controls,
                ElementsAre(ICSparseFiles::CONTROL{0x900C4, {}}, ICSparseFiles::CONTROL{0x980C8, {0, 1001}},
                            ICSparseFiles::CONTROL{0x900C4, {}}, ICSparseFiles::CONTROL{0x980C8, {0, 5}}));
}

TEST_F(ICPathWriting, WithoutData_HasNoLimit)
{
    ICSparseFiles sparse;
    LONGLONG position = 0;
    ulong way = ~0ul;
    ICImportPatch const seek(IC_IMPORT(SetFilePointerEx),
                             [&](HANDLE, LARGE_INTEGER distance, LARGE_INTEGER *, DWORD from) -> BOOL {
                                 position = distance.QuadPart, way = from;
                                 return TRUE;
                             });
    mf_write(m_file, nullptr, 0x20000000000);
    EXPECT_EQ(0x20000000000, position);
    EXPECT_EQ(ulong{FILE_BEGIN}, way);
    EXPECT_EQ(0x20000000001, sparse.m_controls.back().m_input.back());
}

TEST_F(ICPathWriting, WithoutData_NegativeSize_IsThePlatformsToRefuse)
{
    ICSparseFiles const sparse;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_write(m_file, nullptr, -1); }, ERROR_NEGATIVE_SEEK));
    EXPECT_EQ("0123456789", f_readFile(m_file));
}

// Deliberate: there is no fallback.
TEST_F(ICPathWriting, WithoutData_FileThatCannotBeSparse_StaysAsItIs)
{
    ICImportFault const fault("DeviceIoControl", ERROR_INVALID_FUNCTION);
    ICImportFault const seeks("SetFilePointerEx");
    ICImportFault const cuts("SetEndOfFile");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_write(m_file, nullptr, 4); }, ERROR_INVALID_FUNCTION));
    EXPECT_EQ(1u, fault.mf_getCalls());
    EXPECT_EQ(0u, seeks.mf_getCalls() + cuts.mf_getCalls());
    EXPECT_EQ("0123456789", f_readFile(m_file));
}

TEST_F(ICPathWriting, WithoutData_EachLaterStepEndsIt)
{
    auto const write = [&] { mf_write(m_file, nullptr, 4); };
    {
        ICSparseFiles const sparse;
        ICImportFault const fault("SetFilePointerEx", ERROR_SEEK);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, write, ERROR_SEEK));
        EXPECT_THAT(sparse.m_controls, SizeIs(1));
    }
    {
        ICSparseFiles const sparse;
        ICImportFault const fault("SetEndOfFile", ERROR_USER_MAPPED_FILE);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, write, ERROR_USER_MAPPED_FILE));
        EXPECT_THAT(sparse.m_controls, SizeIs(1));
        EXPECT_EQ("0123456789", f_readFile(m_file));
    }
    ICSparseFiles const sparse;
    ICImportFault const fault("DeviceIoControl", ERROR_NOT_SUPPORTED, ICCalls::mf_only(2));
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileWrite, write, ERROR_NOT_SUPPORTED));
    EXPECT_EQ("0123", f_readFile(m_file));
}

TEST_F(ICPathWriting, ByPath_OpensForItselfAlone_AsTheReparsePoint)
{
    ICFileCalls const calls;
    mf_write(m_file, "abc");
    EXPECT_THAT(calls.mf_get(), ElementsAre(ICFileCall{"GetFileAttributesW", f_longPath(m_directory.mf_getPath()), {}},
                                            ICFileCall{"CreateFileW", f_longPath(m_file), {2, 0, 4, 0x200000}}));
}

TEST_F(ICPathWriting, ByPath_LongerFile_KeepsTheRest)
{
    mf_write(m_file, "abc");
    EXPECT_EQ("abc3456789", f_readFile(m_file));
}

TEST_F(ICPathWriting, ByPath_MakesMissingDirectories)
{
    mf_write(m_directory / L"a\\b\\c", "bytes");
    EXPECT_EQ("bytes", f_readFile(m_directory / L"a\\b\\c"));
    std::wstring const name(100, L'x');
    std::wstring const distant = m_directory / (name + L"\\" + name + L"\\" + name + L"\\f");
    mf_write(distant, "bytes");
    EXPECT_EQ("bytes", f_readFile(distant));
}

TEST_F(ICPathWriting, ByPath_AsksForADirectoryBehindAnyButTheFirstCharacter)
{
    ICImportFault const asked("GetFileAttributesW");
    ICImportFault const nowhere("CreateFileW", ERROR_INVALID_NAME);
    for (wchar_t const * const path : {L"", L"x", L"\\x", L"\\"})
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [&] { mf_write(path, "abc"); }, ERROR_INVALID_NAME));
    EXPECT_EQ(0u, asked.mf_getCalls());
    EXPECT_THROW(mf_write(L"C:\\x", "abc"), ICErrno);
    EXPECT_EQ(1u, asked.mf_getCalls());
}

TEST_F(ICPathWriting, ByPath_DirectoryThatCannotBeMade_OpensNothing)
{
    ICImportFault const fault("CreateDirectoryW", DENIED);
    ICImportFault const opens("CreateFileW");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_write(m_directory / L"a\\f", "abc"); }, DENIED));
    EXPECT_EQ(0u, opens.mf_getCalls());
}

TEST_F(ICPathWriting, ByPath_FileThatDoesNotOpen)
{
    m_directory.mf_makeDirectory(L"sub");
    ICImportFault const closes("CloseHandle");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_write(m_directory / L"sub", "abc"); }, DENIED));
    EXPECT_EQ(0u, closes.mf_getCalls());
    ICFileHandle const held = f_openFile(m_file);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_write(m_file, "abc"); }, ERROR_SHARING_VIOLATION));
    EXPECT_EQ("0123456789", f_readFile(m_file));
}

TEST_F(ICPathWriting, ByPath_FailedClose_IsThrown_UnlessTheWriteFailed)
{
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileClose, [&] { mf_write(m_file, "abc"); }, ERROR_IO_DEVICE));
    EXPECT_EQ("abc3456789", f_readFile(m_file));
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileSizeExceeded, [&] { mf_write(m_file, "x", -1); }));
    EXPECT_EQ(2u, failing.mf_getCalls());
}
