// What the directory knows of a file, and its size on the disk.
#include <gtest/gtest.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/paths/ICFailingFindClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{

constexpr ulong MISSING[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_INVALID_NAME};

// Deliberate: a bad network path doesn't mean missing here, as it does with mf_getAttributes.
constexpr ulong NO_ACCESS[] = {ERROR_BAD_NETPATH, ERROR_ACCESS_DENIED, ERROR_BAD_NET_NAME, ERROR_NO_MORE_FILES,
                               ERROR_NOT_READY};

WIN32_FIND_DATAW f_find(std::wstring const & path)
{
    WIN32_FIND_DATAW data = {};
    ICPath::mf_getW32FindData(path.c_str(), data);
    return data;
}

void f_findNone()
{
    f_find(L"Q:\\none");
}

void f_sizeOfNone()
{
    ICPath::mf_getCompressedSize(L"Q:\\none");
}

bool f_isZero(WIN32_FIND_DATAW const & data)
{
    WIN32_FIND_DATAW const zero = {};
    return std::memcmp(&zero, &data, sizeof data) == 0;
}

} // namespace

TEST(ICPathEntries, FindData_IsTheEntry)
{
    ICTemporaryFile const file("bytes", L"Name.bin", FILE_ATTRIBUTE_HIDDEN);
    WIN32_FIND_DATAW const data = f_find(file.mf_getPath());
    EXPECT_STREQ(L"Name.bin", data.cFileName);
    EXPECT_EQ(5u, data.nFileSizeLow);
    EXPECT_EQ(0u, data.nFileSizeHigh);
    EXPECT_TRUE(data.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN);
}

TEST(ICPathEntries, FindData_OfADirectory_WithAnyBackslashes)
{
    ICTemporaryDirectory const directory;
    std::wstring const path = directory.mf_makeDirectory(L"sub");
    for (wchar_t const * const end : {L"", L"\\", L"\\\\\\"}) {
        WIN32_FIND_DATAW const data = f_find(path + end);
        EXPECT_STREQ(L"sub", data.cFileName);
        EXPECT_TRUE(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    }
}

TEST(ICPathEntries, FindData_IsSearchedByTheLongForm_WithoutBackslashes)
{
    struct CASE
    {
        wchar_t const * path;
        wchar_t const * searched;
    };
    CASE const cases[] = {{L"D:\\data", L"\\\\?\\D:\\data"},
                          {L"D:\\data\\\\", L"\\\\?\\D:\\data"},
                          {L"\\\\host\\share\\", L"\\\\?\\UNC\\host\\share"},
                          {L"D:\\", L"\\\\?\\D:"},
                          {L"data", L"data"},
                          {L"\\", L""}};
    std::wstring searched;
    ICImportPatch const search(IC_IMPORT(FindFirstFileExW),
                               [&](LPCWSTR path, auto level, auto * data, auto operation, auto * filter, DWORD flags) {
                                   searched = path;
                                   EXPECT_EQ(FindExInfoStandard, level);
                                   EXPECT_EQ(FindExSearchNameMatch, operation);
                                   EXPECT_EQ(nullptr, filter);
                                   EXPECT_EQ(0u, flags);
                                   EXPECT_TRUE(f_isZero(*static_cast<WIN32_FIND_DATAW *>(data)));
                                   return ::FindFirstFileW(L"C:\\*", static_cast<WIN32_FIND_DATAW *>(data));
                               });
    ICImportFault const closes("FindClose");
    WIN32_FIND_DATAW data;
    for (CASE const & testCase : cases) {
        std::memset(&data, 0xcd, sizeof data);
        ICPath::mf_getW32FindData(testCase.path, data);
        EXPECT_EQ(testCase.searched, searched);
    }
    EXPECT_EQ(std::size(cases), closes.mf_getCalls());
}

TEST(ICPathEntries, FindData_EmptyPath_IsRefused_AndTheRecordStays)
{
    WIN32_FIND_DATAW data = {};
    data.nFileSizeLow = 4711;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICPath::mf_getW32FindData(L"", data); }));
    EXPECT_EQ(4711u, data.nFileSizeLow);
}

TEST(ICPathEntries, FindData_ThreeErrorsMeanMissing)
{
    ICImportFault const closes("FindClose");
    for (ulong const error : MISSING) {
        SCOPED_TRACE(error);
        ICImportFault const fault("FindFirstFileExW", error);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileNotFound, &f_findNone, error));
    }
    for (ulong const error : NO_ACCESS) {
        SCOPED_TRACE(error);
        ICImportFault const fault("FindFirstFileExW", error);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, &f_findNone, error));
    }
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST(ICPathEntries, FindData_OfAMissingFile_IsZero)
{
    ICTemporaryDirectory const directory;
    WIN32_FIND_DATAW data;
    std::memset(&data, 0xcd, sizeof data);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [&] { ICPath::mf_getW32FindData((directory / L"none").c_str(), data); },
        ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_isZero(data));
}

TEST(ICPathEntries, FindData_SearchThatDoesNotClose_IsAFailure)
{
    ICTemporaryFile const file("bytes");
    ICFailingFindClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { f_find(file.mf_getPath()); }, ERROR_IO_DEVICE));
    EXPECT_EQ(1u, failing.mf_getCalls());
}

TEST(ICPathEntries, CompressedSize_IsThatOnTheDisk)
{
    ICTemporaryFile const file("bytes");
    EXPECT_TRUE(ICPath::mf_getCompressedSize(file.mf_getPath().c_str()) <= 4096 * 16);
    std::wstring asked;
    ICImportPatch const size(IC_IMPORT(GetCompressedFileSizeW), [&](LPCWSTR path, DWORD * high) {
        asked = path, *high = 7;
        return 9;
    });
    EXPECT_TRUE(ICPath::mf_getCompressedSize(L"D:\\data") == ICFileSize(9, 7));
    EXPECT_EQ(L"\\\\?\\D:\\data", asked);
}

// The value by which the platform says "failed" is a low half like any other.
TEST(ICPathEntries, CompressedSize_IsJudgedByTheErrorAlone)
{
    ulong low = INVALID_FILE_SIZE;
    ulong error = ERROR_SUCCESS;
    ICImportPatch const size(IC_IMPORT(GetCompressedFileSizeW), [&](LPCWSTR, DWORD * high) {
        *high = 1;
        if (error) ::SetLastError(error);
        return low;
    });
    ::SetLastError(ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(ICPath::mf_getCompressedSize(L"D:\\x") == ICFileSize(INVALID_FILE_SIZE, 1)) << "stale error";

    low = 5, error = ERROR_IO_DEVICE;
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, &f_sizeOfNone, ERROR_IO_DEVICE));
}

// Deliberate: no error means missing here.
TEST(ICPathEntries, CompressedSize_Failure_KeepsSystemNumber)
{
    for (ulong const error : MISSING) {
        SCOPED_TRACE(error);
        ICImportFault const fault("GetCompressedFileSizeW", error);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, &f_sizeOfNone, error));
    }
    ICTemporaryDirectory const directory;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { ICPath::mf_getCompressedSize((directory / L"none").c_str()); },
        ERROR_FILE_NOT_FOUND));
}

// The bytes that it would have again, and those that it has.
TEST(ICPathEntries, OfflineFile_HasItsLogicalSize_AndTakesLess)
{
    ICTemporaryFile const file("stub");
    ICImportPatch const logical(IC_IMPORT(GetFileInformationByHandle), [](HANDLE, BY_HANDLE_FILE_INFORMATION * data) {
        *data = {};
        data->dwFileAttributes = FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_SPARSE_FILE;
        data->nFileSizeHigh = 2;
        return TRUE;
    });
    ICImportPatch const onDisk(IC_IMPORT(GetCompressedFileSizeW), [](LPCWSTR, DWORD * high) {
        *high = 0;
        return 4096;
    });
    EXPECT_TRUE(ICPath::mf_getSize(file.mf_getPath().c_str()) == 0x200000000);
    EXPECT_TRUE(ICPath::mf_getCompressedSize(file.mf_getPath().c_str()) == 4096);
}
