#include <gtest/gtest.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{

constexpr ulong MISSING[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_BAD_NETPATH, ERROR_INVALID_NAME};
constexpr ulong NO_ACCESS[] = {ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION, ERROR_BAD_NET_NAME, ERROR_NOT_READY};

} // namespace

TEST(ICPath, GetAttributes_AnswersThoseOfFileAndDirectory)
{
    ICTemporaryDirectory const directory;
    std::wstring const file = directory.mf_makeFile(L"a.bin", "bytes", FILE_ATTRIBUTE_HIDDEN);

    EXPECT_TRUE(ICPath::mf_getAttributes(file.c_str(), 1) & FILE_ATTRIBUTE_HIDDEN);
    EXPECT_TRUE(ICPath::mf_getAttributes(directory.mf_getPath().c_str(), 0) & FILE_ATTRIBUTE_DIRECTORY);
}

TEST(ICPath, GetAttributes_EmptyPath_Fails)
{
    for (int const traceFailure : {0, 1})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICPath::mf_getAttributes(L"", traceFailure); }));
}

TEST(ICPath, GetAttributes_AsksForTheLongForm)
{
    struct CASE
    {
        wchar_t const * path;
        wchar_t const * asked;
    };
    CASE const cases[] = {{L"D:\\data", L"\\\\?\\D:\\data"},
                          {L"D:", L"\\\\?\\D:\\"},
                          {L"\\\\host\\share", L"\\\\?\\UNC\\host\\share"},
                          {L"data", L"data"},
                          {L"stream:", L"stream:\\"}};
    std::wstring asked;
    ICImportPatch const attributes(IC_IMPORT(GetFileAttributesW), [&](wchar_t const * path) -> DWORD {
        asked = path;
        return FILE_ATTRIBUTE_ARCHIVE;
    });
    for (CASE const & testCase : cases) {
        EXPECT_EQ(ulong{FILE_ATTRIBUTE_ARCHIVE}, ICPath::mf_getAttributes(testCase.path, 1));
        EXPECT_EQ(testCase.asked, asked);
    }
}

TEST(ICPath, GetAttributes_LongPath_IsNoMatter)
{
    ICTemporaryDirectory const directory;
    std::wstring const component(100, L'x');
    std::wstring const path = directory.mf_makeFile(component + L"\\" + component + L"\\" + component + L"\\f");

    EXPECT_GT(path.size(), 300u);
    EXPECT_FALSE(ICPath::mf_getAttributes(path.c_str(), 1) & FILE_ATTRIBUTE_DIRECTORY);
}

TEST(ICPath, GetAttributes_FourErrorsMeanMissing)
{
    for (int const traceFailure : {0, 1})
        for (ulong const error : MISSING) {
            SCOPED_TRACE(error);
            ICImportFault const missing("GetFileAttributesW", error);
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::FileNotFound, [&] { ICPath::mf_getAttributes(L"D:\\x", traceFailure); }, error));
        }
}

TEST(ICPath, GetAttributes_OtherErrorsMeanNoAccess)
{
    for (int const traceFailure : {0, 1})
        for (ulong const error : NO_ACCESS) {
            SCOPED_TRACE(error);
            ICImportFault const denied("GetFileAttributesW", error);
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::FileAccess, [&] { ICPath::mf_getAttributes(L"D:\\x", traceFailure); }, error));
        }
}

TEST(ICPath, GetAttributes_SystemSetsNoError_StaleOneIsNotTaken)
{
    ICImportPatch const silent(IC_IMPORT(GetFileAttributesW),
                               [](wchar_t const *) -> DWORD { return INVALID_FILE_ATTRIBUTES; });
    ::SetLastError(ERROR_FILE_NOT_FOUND);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [] { ICPath::mf_getAttributes(L"D:\\x", 0); }, 0));
}

TEST(ICPath, SetAttributes_SetsExactlyThese)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
    ICPath::mf_setAttributes(file.mf_getPath().c_str(), FILE_ATTRIBUTE_SYSTEM);

    ulong const attributes = ::GetFileAttributesW(file.mf_getPath().c_str());
    EXPECT_EQ(ulong{FILE_ATTRIBUTE_SYSTEM}, attributes & (FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_HIDDEN | 1));
}

TEST(ICPath, SetAttributes_UsesTheLongForm)
{
    std::wstring set;
    ulong bits = 0;
    ICImportPatch const attributes(IC_IMPORT(SetFileAttributesW), [&](wchar_t const * path, DWORD given) -> BOOL {
        set = path;
        bits = given;
        return TRUE;
    });
    ICPath::mf_setAttributes(L"D:\\data", 0x1021);
    EXPECT_EQ(L"\\\\?\\D:\\data", set);
    EXPECT_EQ(0x1021u, bits);
}

// Deliberate: fewer errors mean missing than with mf_getAttributes.
TEST(ICPath, SetAttributes_TwoErrorsMeanMissing)
{
    for (ulong const error : MISSING) {
        SCOPED_TRACE(error);
        ICImportFault const fault("SetFileAttributesW", error);
        bool const missing = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
        EXPECT_TRUE(f_throws(
            missing ? ICErrno::_E_::FileNotFound : ICErrno::_E_::FileAccess,
            [] { ICPath::mf_setAttributes(L"D:\\x", 1); }, error));
    }
}

TEST(ICPath, SetAttributes_OtherErrorsMeanNoAccess)
{
    for (ulong const error : NO_ACCESS) {
        SCOPED_TRACE(error);
        ICImportFault const fault("SetFileAttributesW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [] { ICPath::mf_setAttributes(L"D:\\x", 1); }, error));
    }
}

TEST(ICPath, AttributeQuestions_AnswerTheBit)
{
    EXPECT_EQ(0x10, ICPath::mf_isDirectory(0xffffffffu));
    EXPECT_EQ(0, ICPath::mf_isDirectory(0xffffffefu));
    EXPECT_EQ(1, ICPath::mf_isReadonly(0xffffffffu));
    EXPECT_EQ(0, ICPath::mf_isReadonly(0xfffffffeu));
}

TEST(ICPath, IsDirectory_OfPath_AsksTheSystem)
{
    ICTemporaryDirectory const directory;
    EXPECT_EQ(0x10, ICPath::mf_isDirectory(CString(directory.mf_getPath().c_str())));
    EXPECT_EQ(0, ICPath::mf_isDirectory(CString(directory.mf_makeFile(L"f").c_str())));
}

TEST(ICPath, IsFile_IsWhatIsNoDirectory)
{
    EXPECT_EQ(0, ICPath::mf_isFile(0xffffffffu));
    EXPECT_EQ(1, ICPath::mf_isFile(0xffffffefu));
    EXPECT_EQ(1, ICPath::mf_isFile(0ul));
    ICTemporaryDirectory const directory;
    EXPECT_EQ(0, ICPath::mf_isFile(CString(directory.mf_getPath().c_str())));
    EXPECT_EQ(1, ICPath::mf_isFile(CString(directory.mf_makeFile(L"f").c_str())));
}

TEST(ICPath, IsReadonly_OfPath_AsksTheSystem)
{
    ICTemporaryDirectory const directory;
    EXPECT_EQ(1, ICPath::mf_isReadonly(CString(directory.mf_makeFile(L"r", "", FILE_ATTRIBUTE_READONLY).c_str())));
    EXPECT_EQ(0, ICPath::mf_isReadonly(CString(directory.mf_makeFile(L"f").c_str())));
}

TEST(ICPath, AttributeQuestions_OfPath_PassTheFailureOn)
{
    for (auto const question : {+[](CString const & path) { return ICPath::mf_isDirectory(path); },
                                +[](CString const & path) { return ICPath::mf_isFile(path); },
                                +[](CString const & path) { return ICPath::mf_isReadonly(path); }}) {
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { question(CString()); }));
        ICImportFault const denied("GetFileAttributesW", ERROR_ACCESS_DENIED);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [&] { question(CString(L"D:\\x")); }, ERROR_ACCESS_DENIED));
    }
}

namespace
{

// Answers for any handle, with each field told apart.
BOOL WINAPI f_informationOfOfflineFile(HANDLE, BY_HANDLE_FILE_INFORMATION * information)
{
    *information = {FILE_ATTRIBUTE_OFFLINE, {1, 2}, {3, 4}, {5, 6}, 7, 8, 9, 10, 11, 12};
    return TRUE;
}

ulong f_attributesOf(std::wstring const & path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    ICPath::mf_getW32FileAttributes(CString(path.c_str()), data);
    return data.dwFileAttributes;
}

} // namespace

TEST(ICPath, GetW32FileAttributes_TakesAttributesTimesAndSize)
{
    ICImportPatch const information("GetFileInformationByHandle", &f_informationOfOfflineFile);
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    ICPath::mf_getW32FileAttributes(INVALID_HANDLE_VALUE, data);

    EXPECT_EQ(ulong{FILE_ATTRIBUTE_OFFLINE}, data.dwFileAttributes);
    EXPECT_EQ(1u, data.ftCreationTime.dwLowDateTime);
    EXPECT_EQ(2u, data.ftCreationTime.dwHighDateTime);
    EXPECT_EQ(3u, data.ftLastAccessTime.dwLowDateTime);
    EXPECT_EQ(4u, data.ftLastAccessTime.dwHighDateTime);
    EXPECT_EQ(5u, data.ftLastWriteTime.dwLowDateTime);
    EXPECT_EQ(6u, data.ftLastWriteTime.dwHighDateTime);
    EXPECT_EQ(8u, data.nFileSizeHigh);
    EXPECT_EQ(9u, data.nFileSizeLow);
}

TEST(ICPath, GetW32FileAttributes_FailureByHandle_KeepsSystemNumber)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { ICPath::mf_getW32FileAttributes(INVALID_HANDLE_VALUE, data); },
        ERROR_INVALID_HANDLE));
}

TEST(ICPath, GetW32FileAttributes_NeitherRecallsNorFollows)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_HIDDEN);
    std::wstring opened;
    ulong access = 0, share = 0, disposition = 0, flags = 0;
    ICImportPatch const open(IC_IMPORT(CreateFileW), [&](LPCWSTR path, DWORD asked, DWORD shared, auto * security,
                                                         DWORD way, DWORD attributes, HANDLE model) {
        opened = path, access = asked, share = shared, disposition = way, flags = attributes;
        return ::CreateFileW(path, asked, shared, security, way, attributes, model);
    });

    EXPECT_TRUE(f_attributesOf(file.mf_getPath()) & FILE_ATTRIBUTE_HIDDEN);
    EXPECT_EQ(f_longPath(file.mf_getPath()), opened);
    EXPECT_EQ(0x80u, access);
    EXPECT_EQ(1u, share);
    EXPECT_EQ(3u, disposition);
    EXPECT_EQ(0x300000u, flags);
}

// Deliberate: a bad network path doesn't mean missing here.
TEST(ICPath, GetW32FileAttributes_ThreeErrorsMeanMissing)
{
    for (ulong const error : MISSING) {
        SCOPED_TRACE(error);
        ICImportFault const fault("CreateFileW", error);
        EXPECT_TRUE(f_throws(
            error == ERROR_BAD_NETPATH ? ICErrno::_E_::FileOpen : ICErrno::_E_::FileNotFound,
            [] { f_attributesOf(L"D:\\x"); }, error));
    }
}

TEST(ICPath, GetW32FileAttributes_OtherErrorsMeanNotOpened)
{
    ICImportFault const closes("CloseHandle");
    for (ulong const error : NO_ACCESS) {
        SCOPED_TRACE(error);
        ICImportFault const fault("CreateFileW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [] { f_attributesOf(L"D:\\x"); }, error));
    }
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST(ICPath, GetW32FileAttributes_FailureByPath_IsThrownAfterTheClose)
{
    ICTemporaryFile const file("bytes");
    ICImportFault const closes("CloseHandle");
    ICImportFault const fault("GetFileInformationByHandle", ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_attributesOf(file.mf_getPath()); }, ERROR_IO_DEVICE));
    EXPECT_EQ(1u, closes.mf_getCalls());
}

TEST(ICPath, GetW32FileAttributes_FailedClose_CountsOnlyAlone)
{
    ICTemporaryFile const file("bytes");
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileClose, [&] { f_attributesOf(file.mf_getPath()); }, ERROR_IO_DEVICE));

    ICImportFault const first("GetFileInformationByHandle", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_attributesOf(file.mf_getPath()); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(2u, failing.mf_getCalls());
}

TEST(ICPath, GetSize_IsTheNumberOfBytes)
{
    EXPECT_TRUE(ICPath::mf_getSize(ICTemporaryFile().mf_getPath().c_str()) == 0);
    EXPECT_TRUE(ICPath::mf_getSize(ICTemporaryFile("bytes").mf_getPath().c_str()) == 5);
}

TEST(ICPath, GetSize_OfOfflineFile_IsTheLogicalSizeInBothHalves)
{
    ICTemporaryFile const file("bytes");
    ICImportPatch const information("GetFileInformationByHandle", &f_informationOfOfflineFile);
    EXPECT_TRUE(ICPath::mf_getSize(file.mf_getPath().c_str()) == ICFileSize(9, 8));
}

TEST(ICPath, GetSize_PassesEachFailureOn)
{
    ICTemporaryFile const file("bytes");
    auto const ask = [&] { ICPath::mf_getSize(file.mf_getPath().c_str()); };
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [] { ICPath::mf_getSize(L"D:\\no\\such\\file"); }, ERROR_PATH_NOT_FOUND));
    {
        ICImportFault const held("CreateFileW", ERROR_SHARING_VIOLATION);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileOpen, ask, ERROR_SHARING_VIOLATION));
    }
    {
        ICImportFault const fault("GetFileInformationByHandle", ERROR_IO_DEVICE);
        EXPECT_TRUE(f_throws(ICErrno::_E_::FileAccess, ask, ERROR_IO_DEVICE));
    }
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileClose, ask, ERROR_IO_DEVICE));
}

TEST(ICPath, GetSize_OfDirectory_CannotBeOpened)
{
    ICTemporaryDirectory const directory;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { ICPath::mf_getSize(directory.mf_getPath().c_str()); }, ERROR_ACCESS_DENIED));
}
