// Copying and appending: what gets where, with how many calls, and how files are opened for it.
#include <gmock/gmock.h>

#include <stdexcept>

#include "hsmbase/paths/ICPath.h"
#include "tests/paths/FileTransfers.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICUnixHost.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

class ICPathCopy : public testing::Test
{
protected:
    ICFileSize mf_copy(wchar_t const * source, wchar_t const * target, int force = 0) const
    {
        return ICPath::mf_copy(CString((m_directory / source).c_str()), CString((m_directory / target).c_str()), force);
    }

    // Two files, by handles.
    static ICFileSize mf_copy(ICFileHandle const & source, ICFileHandle const & target)
    {
        return ICPath::mf_copy(source.mf_get(), target.mf_get());
    }
    static ICFileSize mf_append(ICFileHandle const & source, ICFileHandle const & target)
    {
        return ICPath::mf_append(source.mf_get(), target.mf_get());
    }

    std::string mf_read(wchar_t const * name) const { return f_readFile(m_directory / name); }

    ICTemporaryDirectory const m_directory;
    std::wstring const m_source = m_directory.mf_makeFile(L"source", "bytes");
    std::wstring const m_target = m_directory / L"target";
};

} // namespace

TEST_F(ICPathCopy, CopiesAllBytes_ByHandlesAndPaths)
{
    for (ulong const size : SIZES_AROUND_THE_BLOCK) {
        SCOPED_TRACE(size);
        std::string const content = f_content(size);
        f_writeFile(m_source, content);
        EXPECT_TRUE(mf_copy(L"source", L"target", 1) == size);
        EXPECT_EQ(content, f_readFile(m_target));
        {
            ICFileHandle const target = f_openFile(m_directory / L"byHandle");
            EXPECT_TRUE(ICPath::mf_copy(CString(m_source.c_str()), target.mf_get()) == size);
        }
        EXPECT_EQ(content, mf_read(L"byHandle"));
        EXPECT_TRUE(mf_copy(f_openFile(m_source), f_openFile(m_directory / L"byHandles")) == size);
        EXPECT_EQ(content, mf_read(L"byHandles"));
    }
}

TEST_F(ICPathCopy, GoesInBlocksOf64KiB)
{
    f_writeFile(m_source, f_content(65537));
    ICFileHandle const source = f_openFile(m_source);
    std::vector<ulong> asked;
    ICImportPatch const reads(IC_IMPORT(ReadFile), [&](HANDLE file, void * bytes, DWORD length, DWORD * count, auto *) {
        asked.push_back(length);
        return ::ReadFile(file, bytes, length, count, nullptr);
    });
    ICPretendedTransfers const writes(IC_IMPORT(WriteFile));

    EXPECT_TRUE(mf_copy(source, ICFileHandle()) == 65537);
    EXPECT_THAT(asked, ElementsAre(65536, 65536, 65536));
    EXPECT_THAT(writes.mf_getLengths(), ElementsAre(65536, 1));
}

TEST_F(ICPathCopy, Handles_CopyFromTheirPositionsOn_AndStayOpen)
{
    ICFileHandle const source = f_openFile(m_source);
    ICFileHandle const target = f_openFile(m_directory.mf_makeFile(L"target", "0123456789"));
    f_setPosition(source, 2);
    f_setPosition(target, 4);
    ICImportFault const closes("CloseHandle");

    EXPECT_TRUE(mf_copy(source, target) == 3);
    EXPECT_EQ(5, f_positionOf(source));
    EXPECT_EQ(7, f_positionOf(target));
    EXPECT_EQ("0123tes789", f_readFile(m_target));
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST_F(ICPathCopy, CountsBeyond4GiB)
{
    constexpr ulong BLOCKS = 65537;
    ulong calls = 0;
    ICImportPatch const reads(IC_IMPORT(ReadFile), [&](HANDLE, void *, DWORD length, DWORD * count, auto *) -> BOOL {
        *count = ++calls <= BLOCKS ? length : 0;
        return TRUE;
    });
    ICPretendedTransfers const writes(IC_IMPORT(WriteFile));
    EXPECT_TRUE(mf_copy(ICFileHandle(), ICFileHandle()) == BLOCKS * 65536ll);
}

TEST_F(ICPathCopy, OpensForItselfAlone_AsTheReparsePoint_WithoutLongPrefix)
{
    ICFileCalls calls;
    ICFileCall const looks{"GetFileAttributesW", f_longPath(m_target), {}};
    ICFileCall const opens{"CreateFileW", m_source, {0x80000000, 0, 3, 0x200000}};

    mf_copy(L"source", L"target", 0);
    EXPECT_THAT(calls.mf_get(),
                ElementsAre(looks, opens, ICFileCall{"CreateFileW", m_target, {0x40000000, 0, 1, 0x200000}}));
    calls.mf_clear();
    mf_copy(L"source", L"target", 1);
    EXPECT_THAT(calls.mf_get(),
                ElementsAre(looks, looks, opens, ICFileCall{"CreateFileW", m_target, {0x40000000, 0, 2, 0x200000}}));
}

TEST_F(ICPathCopy, ClosesTheTargetFirst)
{
    std::vector<std::wstring> closed;
    ICImportPatch const closes(IC_IMPORT(CloseHandle), [&](HANDLE file) {
        wchar_t name[1024] = {};
        ::GetFinalPathNameByHandleW(file, name, 1023, 0);
        closed.emplace_back(std::wstring(name).substr(std::wstring(name).rfind(L'\\') + 1));
        return ::CloseHandle(file);
    });
    mf_copy(L"source", L"target");
    EXPECT_THAT(closed, ElementsAre(L"target", L"source"));
}

TEST_F(ICPathCopy, OntoAFile_NeedsForce_WhichLeavesNothingOfIt)
{
    f_writeFile(m_target, "longer than that");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileExists, [&] { mf_copy(L"source", L"target", 0); }, ERROR_FILE_EXISTS));
    EXPECT_EQ("longer than that", f_readFile(m_target));
    EXPECT_TRUE(mf_copy(L"source", L"target", 1) == 5);
    EXPECT_EQ("bytes", f_readFile(m_target));
}

// Deliberate: the source is not put into the directory.
TEST_F(ICPathCopy, IntoADirectory_FailsAtOpening)
{
    m_directory.mf_makeDirectory(L"target");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileExists, [&] { mf_copy(L"source", L"target", 0); }, ERROR_FILE_EXISTS));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_copy(L"source", L"target", 1); }, DENIED));
    EXPECT_FALSE(f_isThere(m_directory / L"target\\source"));
    EXPECT_EQ("bytes", f_readFile(m_source));
}

TEST_F(ICPathCopy, TargetWhoseKindCannotBeTold_OpensNothing)
{
    f_writeFile(m_target, "old");
    // The first call tells that the target is there, the second what it is.
    ICImportFault const fault("GetFileAttributesW", DENIED, ICCalls::mf_only(2));
    ICImportFault const opens("CreateFileW");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_copy(L"source", L"target", 1); }, DENIED));
    EXPECT_EQ(0u, opens.mf_getCalls());
}

// Deliberate: the handles go to the block copy in reverse order.
TEST_F(ICPathCopy, FromHandleToPath_AlwaysFailsToRead_OnceTheTargetIsMade)
{
    ICFileHandle const source = f_openFile(m_source);
    auto const copy = [&](int force) {
        return [this, force, &source] { ICPath::mf_copy(source.mf_get(), CString(m_target.c_str()), force); };
    };
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileRead, copy(0), DENIED));
    EXPECT_EQ("", f_readFile(m_target));

    f_writeFile(m_target, "old");
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileExists, copy(0), ERROR_FILE_EXISTS));
    EXPECT_EQ("old", f_readFile(m_target));
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileRead, copy(1), DENIED));
    EXPECT_EQ("", f_readFile(m_target));
    EXPECT_EQ("bytes", f_readFile(m_source));
    EXPECT_EQ(0, f_positionOf(source));
}

TEST_F(ICPathCopy, SourceThatDoesNotOpen_HasNoSystemNumber_AndNoTargetIsMade)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileOpen, [&] { mf_copy(L"missing", L"target", 1); }));
    ICFileHandle const held = f_openFile(m_source);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileOpen, [&] { mf_copy(L"source", L"target", 1); }));
    EXPECT_FALSE(f_isThere(m_target));
}

TEST_F(ICPathCopy, TargetThatDoesNotOpen_ClosesTheSource)
{
    for (ulong const error : {DENIED, 32ul, 183ul, 1117ul}) {
        SCOPED_TRACE(error);
        ICImportFault const fault("CreateFileW", error, ICCalls::mf_only(2));
        ICImportFault const closes("CloseHandle");
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [&] { mf_copy(L"source", L"target"); }, error));
        EXPECT_EQ(1u, closes.mf_getCalls());
    }
}

TEST_F(ICPathCopy, FailedRead_LeavesWhatWasWritten_AndClosesBoth)
{
    std::string const content = f_content(70000);
    f_writeFile(m_source, content);
    ICImportFault const fault("ReadFile", ERROR_CRC, ICCalls::mf_only(2));
    ICImportFault const closes("CloseHandle");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileRead, [&] { mf_copy(L"source", L"target"); }, ERROR_CRC));
    EXPECT_EQ(2u, closes.mf_getCalls());
    EXPECT_EQ(content.substr(0, 65536), f_readFile(m_target));
    EXPECT_EQ(content, f_readFile(m_source));
}

TEST_F(ICPathCopy, FullDisk_KeepsSystemNumberAndSource)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "the device that is always full is the host's";
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [&] { ICPath::mf_copy(CString(m_source.c_str()), CString(L"Z:\\dev\\full"), 1); },
        ERROR_DISK_FULL));
    EXPECT_EQ("bytes", f_readFile(m_source));
}

TEST_F(ICPathCopy, FailedWrite_ClosesBoth)
{
    for (ulong const error : {DENIED, 112ul, 1117ul}) {
        SCOPED_TRACE(error);
        ICImportFault const fault("WriteFile", error);
        ICImportFault const closes("CloseHandle");
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileWrite, [&] { mf_copy(L"source", L"target", 1); }, error));
        EXPECT_EQ(2u, closes.mf_getCalls());
        EXPECT_EQ(1u, fault.mf_getCalls());
    }
}

TEST_F(ICPathCopy, ShortWrite_IsAFailureWithoutNumber)
{
    ICPretendedTransfers const writes(IC_IMPORT(WriteFile), 1);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [&] { mf_copy(L"source", L"target"); }, 0));
    EXPECT_EQ(1u, writes.mf_getLengths().size());
}

TEST_F(ICPathCopy, NoMemory_ReadsNothing)
{
    ICFileHandle const source = f_openFile(m_source);
    ICImportFault const noMemory("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [&] { mf_copy(source, ICFileHandle()); }));
    EXPECT_EQ(0, f_positionOf(source));
}

TEST_F(ICPathCopy, InvalidHandles_FailToReadAndToWrite)
{
    ICFileHandle const source = f_openFile(m_source);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileRead, [&] { mf_copy(ICFileHandle(), source); }, ERROR_INVALID_HANDLE));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [&] { mf_copy(source, ICFileHandle()); }, ERROR_INVALID_HANDLE));
}

// What the class library throws for a lack of memory, say.
TEST_F(ICPathCopy, ForeignException_ClosesBothAndGoesOn)
{
    ICImportFault const closes("CloseHandle");
    ICImportPatch const reads(IC_IMPORT(ReadFile), [](HANDLE, void *, DWORD, DWORD *, OVERLAPPED *) -> BOOL {
        throw std::length_error("foreign");
    });
    EXPECT_THROW(mf_copy(L"source", L"target"), std::length_error);
    EXPECT_EQ(2u, closes.mf_getCalls());
}

TEST_F(ICPathCopy, EmptyNames_FailToOpen)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileOpen, [&] { ICPath::mf_copy(CString(), CString(m_target.c_str()), 1); }));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { ICPath::mf_copy(CString(m_source.c_str()), CString(), 1); },
        ERROR_PATH_NOT_FOUND));
    EXPECT_EQ("bytes", f_readFile(m_source));
}

TEST_F(ICPathCopy, OntoItself_FailsToOpenTheTarget)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { mf_copy(L"source", L"source", 1); }, ERROR_SHARING_VIOLATION));
    EXPECT_EQ("bytes", f_readFile(m_source));
}

TEST_F(ICPathCopy, Append_AnswersTheNewEnd_WhereverTheTargetStood)
{
    ICFileHandle const target = f_openFile(m_directory.mf_makeFile(L"target", "old "));
    ICFileHandle const source = f_openFile(m_source);
    EXPECT_TRUE(mf_append(source, target) == 9);
    f_setPosition(source, 3);
    f_setPosition(target, 1);
    EXPECT_TRUE(mf_append(source, target) == 11);
    EXPECT_TRUE(mf_append(source, target) == 11);
    EXPECT_EQ("old byteses", f_readFile(m_target));
}

TEST_F(ICPathCopy, Append_BehindAnEndBeyond4GiB)
{
    ICFileHandle const source = f_openFile(m_source);
    LONGLONG moved = -1;
    ulong way = ~0ul;
    ICImportPatch const seek(IC_IMPORT(SetFilePointerEx),
                             [&](HANDLE, LARGE_INTEGER distance, LARGE_INTEGER * end, DWORD from) -> BOOL {
                                 moved = distance.QuadPart, way = from;
                                 end->QuadPart = 0x200000000;
                                 return TRUE;
                             });
    ICPretendedTransfers const writes(IC_IMPORT(WriteFile));
    EXPECT_TRUE(mf_append(source, ICFileHandle()) == 0x200000005);
    EXPECT_EQ(0, moved);
    EXPECT_EQ(ulong{FILE_END}, way);
}

TEST_F(ICPathCopy, Append_WithoutEnd_CopiesNothing)
{
    ICFileHandle const source = f_openFile(m_source);
    ICFileHandle const target = f_openFile(m_target);
    ICImportFault const reads("ReadFile");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSeek, [&] { mf_append(source, ICFileHandle()); }, ERROR_INVALID_HANDLE));
    ICImportFault const fault("SetFilePointerEx", ERROR_SEEK);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSeek, [&] { mf_append(source, target); }, ERROR_SEEK));
    EXPECT_EQ(0u, reads.mf_getCalls());
}

TEST_F(ICPathCopy, Append_PassesFailuresOfTheCopyOn)
{
    ICFileHandle const source = f_openFile(m_source);
    ICFileHandle const target = f_openFile(m_directory.mf_makeFile(L"target", "old"));
    {
        ICImportFault const fault("ReadFile", ERROR_CRC);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileRead, [&] { mf_append(source, target); }, ERROR_CRC));
    }
    ICImportFault const fault("WriteFile", ERROR_DISK_FULL);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [&] { mf_append(source, target); }, ERROR_DISK_FULL));
    EXPECT_EQ("old", f_readFile(m_target));
}
