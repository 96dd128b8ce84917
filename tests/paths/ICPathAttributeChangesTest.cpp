// Single attributes, and their names.
#include <gtest/gtest.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{

constexpr ulong READONLY = FILE_ATTRIBUTE_READONLY;
constexpr ulong HIDDEN = FILE_ATTRIBUTE_HIDDEN;
constexpr ulong SYSTEM = FILE_ATTRIBUTE_SYSTEM;

constexpr ulong ERRORS[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_ACCESS_DENIED, ERROR_SHARING_VIOLATION,
                            ERROR_INVALID_NAME};

// Q: isn't there.
constexpr wchar_t NONE[] = L"Q:\\none";

void f_add(ulong attributes)
{
    ICPath::mf_addAttributes(NONE, attributes);
}

void f_remove(ulong attributes)
{
    ICPath::mf_removeAttributes(NONE, attributes);
}

// A file that has what its test says, and notes what it gets.
class ICSimulatedAttributes
{
public:
    explicit ICSimulatedAttributes(ulong present)
        : m_get(IC_IMPORT(GetFileAttributesW),
                [this, present](LPCWSTR path) {
                    m_asked = path;
                    return present;
                }),
          m_set(IC_IMPORT(SetFileAttributesW), [this](LPCWSTR path, DWORD attributes) {
              m_changed = path, m_given = attributes;
              return TRUE;
          })
    {}

    std::wstring m_asked;
    std::wstring m_changed;
    ulong m_given = 0;

private:
    ICImportPatch const m_get;
    ICImportPatch const m_set;
};

CString f_names(ulong attributes)
{
    return ICPath::mf_getAttributesString(attributes, L", ");
}

} // namespace

TEST(ICPathAttributeChanges, AddAndRemove_LeaveAllOthers)
{
    ICTemporaryFile const file("bytes", L"f", HIDDEN | SYSTEM);
    std::wstring const & path = file.mf_getPath();
    auto const expectPresent = [&](ulong attributes) {
        EXPECT_EQ(attributes, ::GetFileAttributesW(path.c_str()) & (READONLY | HIDDEN | SYSTEM));
    };
    ICPath::mf_addAttributes(path.c_str(), READONLY | HIDDEN);
    expectPresent(READONLY | HIDDEN | SYSTEM);
    ICPath::mf_removeAttributes(path.c_str(), HIDDEN | READONLY);
    expectPresent(SYSTEM);
    EXPECT_EQ("bytes", f_readFile(path));
}

// Not kept by every system, so the numbers are looked at.
TEST(ICPathAttributeChanges, AddAndRemove_OfOfflineFile_AskAndSetTheWholeNumber)
{
    ICSimulatedAttributes file(0x1220);
    ICPath::mf_addAttributes(L"D:\\data", 0x1001);
    EXPECT_EQ(0x1221u, file.m_given);
    ICPath::mf_removeAttributes(L"D:\\data", FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_SPARSE_FILE);
    EXPECT_EQ(0x20u, file.m_given);
    EXPECT_EQ(L"\\\\?\\D:\\data", file.m_asked);
    EXPECT_EQ(L"\\\\?\\D:\\data", file.m_changed);
}

TEST(ICPathAttributeChanges, Remove_OfAllAttributes_SetsNone)
{
    ICSimulatedAttributes file(0x20);
    ICPath::mf_removeAttributes(L"D:\\data", 0xffffffff);
    EXPECT_EQ(0u, file.m_given);
}

// Deliberate: no error means missing here.
TEST(ICPathAttributeChanges, Add_ThatCannotRead_SetsNothing)
{
    ICImportFault const set("SetFileAttributesW");
    for (ulong const error : ERRORS) {
        SCOPED_TRACE(error);
        ICImportFault const fault("GetFileAttributesW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [] { f_add(READONLY); }, error));
    }
    EXPECT_EQ(0u, set.mf_getCalls());
}

TEST(ICPathAttributeChanges, AddAndRemove_ThatCannotSet_KeepSystemNumber)
{
    ICSimulatedAttributes const file(0x20);
    for (ulong const error : ERRORS) {
        SCOPED_TRACE(error);
        ICImportFault const fault("SetFileAttributesW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [] { f_add(READONLY); }, error));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [] { f_remove(READONLY); }, error));
    }
}

TEST(ICPathAttributeChanges, Remove_ThatCannotRead_AssumesNoAttributes)
{
    ICSimulatedAttributes file(0x1220);
    ICImportFault const denied("GetFileAttributesW", ERROR_ACCESS_DENIED);
    file.m_given = 4711;
    f_remove(FILE_ATTRIBUTE_OFFLINE);
    EXPECT_EQ(0u, file.m_given);
}

TEST(ICPathAttributeChanges, MissingFile_FailsToBeRead_OrToBeSet)
{
    ICTemporaryDirectory const directory;
    CString const path = (directory / L"none").c_str();
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { ICPath::mf_addAttributes(path, READONLY); }, ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { ICPath::mf_removeAttributes(path, READONLY); }, ERROR_FILE_NOT_FOUND));
}

TEST(ICPathAttributeChanges, FileThatVanishesBetween_FailsToBeSet)
{
    ICTemporaryFile const file("bytes");
    CString const path = file.mf_getPath().c_str();
    ICImportPatch const vanishing(IC_IMPORT(GetFileAttributesW), [](LPCWSTR asked) {
        ulong const attributes = ::GetFileAttributesW(asked);
        ::DeleteFileW(asked);
        return attributes;
    });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { ICPath::mf_addAttributes(path, READONLY); }, ERROR_FILE_NOT_FOUND));
}

TEST(ICPathAttributeNames, EachBit)
{
    struct CASE
    {
        ulong bit;
        wchar_t const * name;
    };
    CASE const cases[] = {{0x1, L"READONLY"},        {0x2, L"HIDDEN"},
                          {0x4, L"SYSTEM"},          {0x8, L""},
                          {0x10, L"DIRECTORY"},      {0x20, L"ARCHIVE"},
                          {0x40, L"DEVICE"},         {0x80, L"NORMAL"},
                          {0x100, L"TEMPORARY"},     {0x200, L"SPARSE_FILE"},
                          {0x400, L"REPARSE_POINT"}, {0x800, L"COMPRESSED"},
                          {0x1000, L"OFFLINE"},      {0x2000, L"NOT_CONTENT_INDEXED"},
                          {0x4000, L"ENCRYPTED"},    {0x8000, L""},
                          {0x10000, L"VIRTUAL"},     {0x20000, L""}};
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testCase.bit);
        EXPECT_STREQ(testCase.name, f_names(testCase.bit));
    }
}

TEST(ICPathAttributeNames, SeveralBits_InTheirOrder_WithSeparatorsBetween)
{
    EXPECT_STREQ(L"READONLY, ARCHIVE, OFFLINE", f_names(0x1021));
    EXPECT_STREQ(L"READONLY, ARCHIVE, OFFLINE", f_names(0x21028 | 1)) << "bits without a name are left out";
    EXPECT_STREQ(L"", f_names(0));
    EXPECT_STREQ(L"READONLYHIDDEN", ICPath::mf_getAttributesString(3, CString()));
    EXPECT_STREQ(
        L"READONLY, HIDDEN, SYSTEM, DIRECTORY, ARCHIVE, DEVICE, NORMAL, TEMPORARY, SPARSE_FILE, REPARSE_POINT, "
        L"COMPRESSED, OFFLINE, NOT_CONTENT_INDEXED, ENCRYPTED, VIRTUAL",
        f_names(0xffffffff));
}
