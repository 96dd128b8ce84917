#include <gtest/gtest.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICFiles.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/PlatformFailure.h"
#include "tests/support/Thrown.h"

TEST(ICPath, CurrentDirectory_IsThatOfTheProcess)
{
    wchar_t before[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, before);
    EXPECT_STREQ(before, ICPath::mf_getCurrentDirectory());

    ::SetCurrentDirectoryW(L"C:\\");
    EXPECT_STREQ(L"C:\\", ICPath::mf_getCurrentDirectory());
    ::SetCurrentDirectoryW(before);
}

TEST(ICPath, TempDirectory_IsThatOfTheUser)
{
    wchar_t directory[MAX_PATH + 2] = {};
    ::GetTempPathW(MAX_PATH + 2, directory);
    EXPECT_STREQ(directory, ICPath::mf_getTempDirectory());
    EXPECT_EQ(L'\\', directory[::wcslen(directory) - 1]);
}

namespace
{

struct DIRECTORY_QUESTION
{
    char const * import;
    CString (*ask)();
};

// One call of the platform for both directories, so that one loop tests both.
constexpr DIRECTORY_QUESTION DIRECTORY_QUESTIONS[] = {
    {"GetCurrentDirectoryW", [] { return ICPath::mf_getCurrentDirectory(); }},
    {"GetTempPathW", [] { return ICPath::mf_getTempDirectory(); }},
};

} // namespace

TEST(ICPath, SystemDirectories_EachCallFailing_KeepsSystemNumber)
{
    for (auto const & question : DIRECTORY_QUESTIONS) {
        for (ulong const call : {1ul, 2ul}) {
            SCOPED_TRACE(question.import + std::to_string(call));
            ICImportFault const fault(question.import, ERROR_PATH_NOT_FOUND, ICCalls::mf_only(call));
            EXPECT_TRUE(f_throws(ICErrno::_E_::Path, question.ask, ERROR_PATH_NOT_FOUND));
            EXPECT_EQ(call, fault.mf_getCalls());
        }
    }
}

TEST(ICPath, SystemDirectoriesAndTempPath_StaleError_IsNotTaken)
{
    ulong first = 0;
    auto const answer = [&](DWORD length, LPWSTR) -> DWORD {
        if (length != 0) return 0;
        if (first != 0) ::SetLastError(ERROR_IO_DEVICE);
        return first;
    };
    ICImportPatch const current(IC_IMPORT(GetCurrentDirectoryW), answer);
    ICImportPatch const temporary(IC_IMPORT(GetTempPathW), answer);
    for (ulong const length : {0ul, 10ul}) {
        first = length;
        for (auto const & question : DIRECTORY_QUESTIONS) {
            SCOPED_TRACE(question.import);
            ::SetLastError(ERROR_ACCESS_DENIED);
            EXPECT_TRUE(f_throws(ICErrno::_E_::Path, question.ask, 0));
        }
    }
    ICImportPatch const found(IC_IMPORT(GetTempPathW), [](DWORD length, LPWSTR) -> DWORD {
        ::SetLastError(ERROR_IO_DEVICE);
        return length == 0 ? 10 : 9;
    });
    ICImportPatch const unnamed(IC_IMPORT(GetTempFileNameW), [](LPCWSTR, LPCWSTR, UINT, LPWSTR) { return 0u; });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [] { ICPath::mf_getTempPath(L""); }, 0));
}

TEST(ICPath, SystemDirectories_ThatGrowMeanwhile_AreTooLong)
{
    // The first call asks for the length, terminator included.
    ulong second = 9;
    auto const answer = [&](DWORD length, LPWSTR) -> DWORD { return length == 0 ? 10 : second; };
    ICImportPatch const current(IC_IMPORT(GetCurrentDirectoryW), answer);
    ICImportPatch const temporary(IC_IMPORT(GetTempPathW), answer);
    for (auto const & question : DIRECTORY_QUESTIONS) {
        SCOPED_TRACE(question.import);
        second = 9;
        EXPECT_STREQ(L"", question.ask());
        for (ulong const tooLong : {10ul, 11ul, 40000ul}) {
            second = tooLong;
            EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall, question.ask));
        }
    }
}

TEST(ICPath, SystemDirectories_NoMemory_Fail)
{
    for (auto const & question : DIRECTORY_QUESTIONS) {
        SCOPED_TRACE(question.import);
        ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, question.ask));
    }
}

TEST(ICPath, TempPath_MakesAnEmptyFileOfThatPrefix)
{
    CString const path = ICPath::mf_getTempPath(L"hsmbase");
    CString const start = ICPath::mf_getTempDirectory() + L"hsm";
    EXPECT_EQ(start, path.Left(start.GetLength()));
    EXPECT_TRUE(f_isThere(path.GetString()));
    EXPECT_EQ("", f_readFile(path.GetString()));

    CString const other = ICPath::mf_getTempPath(L"hsmbase");
    EXPECT_NE(path, other);
    EXPECT_TRUE(::DeleteFileW(path));
    EXPECT_TRUE(::DeleteFileW(other));
}

TEST(ICPath, TempPath_AsksWithTheLongFormAndAnswersWithoutIt)
{
    ICImportPatch const directory(IC_IMPORT(GetTempPathW), [](DWORD length, LPWSTR buffer) -> DWORD {
        if (length == 0) return 9;
        ::wcscpy_s(buffer, length, L"D:\\temp\\");
        return 8;
    });
    std::wstring asked, prefix;
    bool isZeroed = false;
    ICImportPatch const name(IC_IMPORT(GetTempFileNameW), [&](LPCWSTR place, LPCWSTR start, UINT number, LPWSTR path) {
        asked = place, prefix = start;
        std::wstring const nothing(12 + 6 + 263, L'\0');
        isZeroed = nothing.compare(0, nothing.size(), path, nothing.size()) == 0;
        ::wcscpy_s(path, nothing.size(), L"\\\\?\\D:\\temp\\pre1.tmp");
        return number + 1;
    });
    EXPECT_STREQ(L"D:\\temp\\pre1.tmp", ICPath::mf_getTempPath(L"prefix"));
    EXPECT_EQ(L"\\\\?\\D:\\temp\\", asked);
    EXPECT_EQ(L"prefix", prefix);
    EXPECT_TRUE(isZeroed);
}

TEST(ICPath, TempPath_EachCallFailing_KeepsSystemNumber)
{
    auto const get = [] { ICPath::mf_getTempPath(L"hsm"); };
    for (char const * import : {"GetTempPathW", "GetTempFileNameW"}) {
        SCOPED_TRACE(import);
        ICImportFault const denied(import, ERROR_ACCESS_DENIED);
        EXPECT_TRUE(f_throws(ICErrno::_E_::Path, get, ERROR_ACCESS_DENIED));
    }
    for (ulong const allocation : {1ul, 2ul}) {
        ICImportFault const made("GetTempFileNameW");
        ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(allocation));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, get));
        EXPECT_EQ(0u, made.mf_getCalls());
    }
}

namespace
{

// Stops the clock of the library.
class ICStoppedClock
{
public:
    explicit ICStoppedClock(ulong low, ulong high)
        : m_patch(IC_IMPORT(GetSystemTimeAsFileTime), [low, high](LPFILETIME time) {
              *time = {low, high};
          })
    {}

private:
    ICImportPatch const m_patch;
};

} // namespace

TEST(ICPath, AsideTempPath_IsBesideTheFileAndNamesTheTime)
{
    ICStoppedClock const clock(0x0012ABCD, 0x01DA3C0F);
    ICImportFault const made("CreateFileW");
    EXPECT_STREQ(L"D:\\a\\1da3c0f0012abcd.__ZOHLM__", ICPath::mf_getAsideTempPath(L"D:\\a\\b.txt"));
    EXPECT_STREQ(L"D:\\a\\1da3c0f0012abcd.__ZOHLM__", ICPath::mf_getAsideTempPath(L"D:\\a\\"));
    EXPECT_STREQ(L"1da3c0f0012abcd.__ZOHLM__", ICPath::mf_getAsideTempPath(L"b.txt"));
    EXPECT_STREQ(L"1da3c0f0012abcd.__ZOHLM__", ICPath::mf_getAsideTempPath(L""));
    EXPECT_EQ(0u, made.mf_getCalls());
}

// Deliberate: the time is all that tells two of them apart.
TEST(ICPath, AsideTempPath_TwiceWithinATick_IsTheSame)
{
    ICStoppedClock const clock(1, 0);
    EXPECT_STREQ(L"D:\\1.__ZOHLM__", ICPath::mf_getAsideTempPath(L"D:\\a"));
    EXPECT_STREQ(L"D:\\1.__ZOHLM__", ICPath::mf_getAsideTempPath(L"D:\\b"));
}

TEST(ICPath, NextFileName_CountsUp)
{
    static constexpr wchar_t const * NAMES[][2] = {
        {L"a.log", L"a-00.log"},
        {L"ab.log", L"ab-00.log"},
        {L"a-00.log", L"a-01.log"},
        {L"a-09.log", L"a-10.log"},
        {L"a-41.log", L"a-42.log"},
        {L"a-99.log", L"a-100.log"},
        // Deliberate: three digits are no number, and neither is one.
        {L"a-100.log", L"a-100-00.log"},
        {L"x-7.log", L"x-7-00.log"},
        {L"123.log", L"123-00.log"},
        {L"-12.log", L"-13.log"},
        {L"b1.log", L"b1-00.log"},
        {L"1b.log", L"1b-00.log"},
        {L"a-1b.log", L"a-1b-00.log"},
        {L"a-\xFF11\xFF12.log", L"a-\xFF11\xFF12-00.log"},
        {L"a.b-03.tar", L"a.b-04.tar"},
        {L"a-05.", L"a-06."},
        {L"D:\\dir.x\\file", L"D:\\dir-00.x\\file"},
    };
    for (auto const & [name, next] : NAMES)
        EXPECT_STREQ(next, ICPath::mf_createNextFileName(name));
}

TEST(ICPath, NextFileName_WithoutDot_IsRefused)
{
    for (wchar_t const * name : {L"", L"a", L"a-41"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICPath::mf_createNextFileName(name); }));
}

// Deliberate: names that end where a number could stand meet the string's own check.
TEST(ICPath, NextFileName_TooShortForItsNumber_IsRefusedByTheClassLibrary)
{
    for (wchar_t const * name : {L".log", L"7.log", L"12.log", L"."})
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { ICPath::mf_createNextFileName(name); }))
            << testing::PrintToString(name);
}
