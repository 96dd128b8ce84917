#include <gtest/gtest.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/context/Thrown.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"

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
