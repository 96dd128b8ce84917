#include <gtest/gtest.h>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/PlatformFailure.h"
#include "tests/support/Thrown.h"

namespace
{

struct FORM
{
    wchar_t const * path;
    int isNTFS, isUNC, isDriver, isShadowCopy;
};

FORM const FORMS[] = {
    {L"D:\\data\\x.txt", 1, 0, 0, 0},
    {L"D:", 1, 0, 0, 0},
    {L"1:", 1, 0, 0, 0},
    {L"\\\\HOST\\D$\\data", 0, 1, 0, 0},
    {L"\\\\", 0, 1, 0, 0},
    {L"\\\\?", 0, 0, 0, 0},
    {L"\\\\?\\D:\\data", 0, 0, 0, 0},
    {L"\\\\?\\UNC\\HOST\\D$", 0, 0, 0, 0},
    {L"\\", 0, 0, 0, 0},
    {L"//HOST/D$", 0, 0, 0, 0},
    {L"Volume{6f2b}\\data", 0, 0, 1, 0},
    {L"Volume{", 0, 0, 1, 0},
    {L"Volume", 0, 0, 0, 0},
    {L"volume{6f2b}\\data", 0, 0, 0, 0},
    {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\data", 0, 0, 0, 1},
    {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy", 0, 0, 0, 1},
    {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolume7\\data", 0, 0, 0, 0},
    {L"", 0, 0, 0, 0},
    {L"data\\x.txt", 0, 0, 0, 0},
    {L"data:stream", 0, 0, 0, 0},
    {L":\\data", 0, 0, 0, 0},
    {L"a::", 1, 0, 0, 0},
};

} // namespace

TEST(ICPath, Forms_AreToldByTheFirstCharacters)
{
    for (FORM const & form : FORMS) {
        SCOPED_TRACE(testing::PrintToString(form.path));
        EXPECT_EQ(form.isNTFS, ICPath::mf_isNTFSPathName(form.path));
        EXPECT_EQ(form.isUNC, ICPath::mf_isUNCPathName(form.path));
        EXPECT_EQ(form.isDriver, ICPath::mf_isDriverPathName(form.path));
        EXPECT_EQ(form.isShadowCopy, ICPath::mf_isShadowCopyPathName(form.path));
    }
}

TEST(ICPath, Absolute_IsAnyOfTheFourForms)
{
    for (FORM const & form : FORMS) {
        SCOPED_TRACE(testing::PrintToString(form.path));
        EXPECT_EQ(form.isNTFS + form.isUNC + form.isDriver + form.isShadowCopy,
                  ICPath::mf_isAbsolutePathName(form.path));
    }
}

TEST(ICPath, NormalizeDirectory_EndsInOneBackslash)
{
    EXPECT_STREQ(L"D:\\data\\", ICPath::mf_normalizeDirectory(L"D:\\data"));
    EXPECT_STREQ(L"D:\\data\\", ICPath::mf_normalizeDirectory(L"D:\\data\\"));
    EXPECT_STREQ(L"\\", ICPath::mf_normalizeDirectory(L"\\"));
    EXPECT_STREQ(L"a/\\", ICPath::mf_normalizeDirectory(L"a/"));
}

TEST(ICPath, NormalizeDirectory_EmptyText_IsRefusedByTheString)
{
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICPath::mf_normalizeDirectory(L""); }));
}

TEST(ICPath, AppendComponent_LeavesOneBackslashAtTheJoint)
{
    EXPECT_STREQ(L"a\\b", ICPath::mf_appendComponent(L"a", L"b"));
    EXPECT_STREQ(L"a\\b", ICPath::mf_appendComponent(L"a\\", L"b"));
    EXPECT_STREQ(L"a\\b", ICPath::mf_appendComponent(L"a", L"\\b"));
    EXPECT_STREQ(L"a\\b", ICPath::mf_appendComponent(L"a\\", L"\\b"));
    EXPECT_STREQ(L"a\\\\b\\", ICPath::mf_appendComponent(L"a\\\\", L"\\b\\"));
}

TEST(ICPath, AppendComponent_OneEmpty_AnswersTheOther)
{
    EXPECT_STREQ(L"a", ICPath::mf_appendComponent(L"a", L""));
    EXPECT_STREQ(L"\\b", ICPath::mf_appendComponent(L"", L"\\b"));
    EXPECT_STREQ(L"", ICPath::mf_appendComponent(L"", L""));
}

TEST(ICPath, AppendFile_JoinsOrAnswersTheDirectory)
{
    EXPECT_STREQ(L"D:\\a\\x.txt", ICPath::mf_appendFile(L"D:\\a", L"x.txt"));
    EXPECT_STREQ(L"D:\\a\\x.txt", ICPath::mf_appendFile(L"D:\\a\\", L"x.txt"));
    EXPECT_STREQ(L"x.txt", ICPath::mf_appendFile(L"", L"x.txt"));
    EXPECT_STREQ(L"D:\\a", ICPath::mf_appendFile(L"D:\\a", L""));
}

TEST(ICPath, AppendFile_FileWithLeadingBackslash_Fails)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICPath::mf_appendFile(L"D:\\a", L"\\x.txt"); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICPath::mf_appendFile(L"", L"\\"); }));
}

TEST(ICPath, GetFilePart_IsWhatStandsBehindTheLastBackslash)
{
    EXPECT_STREQ(L"x.txt", ICPath::mf_getFilePart(L"D:\\a\\x.txt"));
    EXPECT_STREQ(L"x.txt", ICPath::mf_getFilePart(L"x.txt"));
    EXPECT_STREQ(L"a/x.txt", ICPath::mf_getFilePart(L"D:\\a/x.txt"));
    EXPECT_STREQ(L"x", ICPath::mf_getFilePart(L"\\x"));
}

TEST(ICPath, GetFilePart_OfNoFile_IsEmptyAndNoFailure)
{
    for (wchar_t const * path : {L"", L"\\", L"D:\\a\\"})
        EXPECT_STREQ(L"", ICPath::mf_getFilePart(path));
}

TEST(ICPath, GetLocationPart_IsWhatStandsBeforeTheFilePart)
{
    EXPECT_STREQ(L"D:\\a\\", ICPath::mf_getLocationPart(L"D:\\a\\x.txt"));
    EXPECT_STREQ(L"D:\\a\\", ICPath::mf_getLocationPart(L"D:\\a\\"));
    EXPECT_STREQ(L"\\", ICPath::mf_getLocationPart(L"\\x"));
    EXPECT_STREQ(L"D:\\", ICPath::mf_getLocationPart(L"D:\\a/x.txt"));
    EXPECT_STREQ(L"", ICPath::mf_getLocationPart(L"x.txt"));
    EXPECT_STREQ(L"", ICPath::mf_getLocationPart(L"D:x"));
    EXPECT_STREQ(L"", ICPath::mf_getLocationPart(L""));
}

TEST(ICPath, GetFileBaseName_EndsBeforeTheLastDotOfTheFile)
{
    EXPECT_STREQ(L"x", ICPath::mf_getFileBaseName(L"D:\\a\\x.txt"));
    EXPECT_STREQ(L"x.tar", ICPath::mf_getFileBaseName(L"x.tar.gz"));
    EXPECT_STREQ(L"x", ICPath::mf_getFileBaseName(L"x."));
    EXPECT_STREQ(L"x", ICPath::mf_getFileBaseName(L"D:\\a.b\\x"));
    EXPECT_STREQ(L"", ICPath::mf_getFileBaseName(L"D:\\a.b\\"));
    EXPECT_STREQ(L"", ICPath::mf_getFileBaseName(L""));
}

TEST(ICPath, GetFileBaseName_LeadingDot_DoesNotCount)
{
    EXPECT_STREQ(L".profile", ICPath::mf_getFileBaseName(L"D:\\home\\.profile"));
    EXPECT_STREQ(L".profile", ICPath::mf_getFileBaseName(L".profile.old"));
}

TEST(ICPath, AppendDirectory_EndsInOneBackslash)
{
    EXPECT_STREQ(L"D:\\a\\b\\", ICPath::mf_appendDirectory(L"D:\\a", L"b"));
    EXPECT_STREQ(L"D:\\a\\b\\", ICPath::mf_appendDirectory(L"D:\\a\\", L"\\b\\"));
    EXPECT_STREQ(L"D:\\a\\", ICPath::mf_appendDirectory(L"D:\\a", L""));
    EXPECT_STREQ(L"b\\", ICPath::mf_appendDirectory(L"", L"b"));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICPath::mf_appendDirectory(L"", L""); }));
}

TEST(ICPath, AppendComponent_OfTheSameText_IsWhole)
{
    CString path = L"a\\b";
    path = ICPath::mf_appendComponent(path, path);
    EXPECT_STREQ(L"a\\b\\a\\b", path);
}

TEST(ICPath, RemoveComponent_EndsInABackslash)
{
    EXPECT_STREQ(L"D:\\a\\", ICPath::mf_removeComponent(L"D:\\a\\b\\"));
    EXPECT_STREQ(L"D:\\a\\", ICPath::mf_removeComponent(L"D:\\a\\b"));
    EXPECT_STREQ(L"D:\\", ICPath::mf_removeComponent(L"D:\\a"));
    EXPECT_STREQ(L"\\", ICPath::mf_removeComponent(L"\\a"));
    // One backslash at the end is disregarded, no more.
    EXPECT_STREQ(L"D:\\a\\", ICPath::mf_removeComponent(L"D:\\a\\\\"));
    EXPECT_STREQ(L"\\", ICPath::mf_removeComponent(L"\\\\"));
}

TEST(ICPath, RemoveComponent_NothingLeft_IsEmpty)
{
    for (wchar_t const * path : {L"", L"abc", L"abc\\", L"D:\\", L"\\", L"a/b"})
        EXPECT_STREQ(L"", ICPath::mf_removeComponent(path));
}

TEST(ICPath, GetFileTypeName_IsInLowerCase)
{
    EXPECT_STREQ(L"txt", ICPath::mf_getFileTypeName(L"D:\\a\\X.TXT"));
    EXPECT_STREQ(L"gz", ICPath::mf_getFileTypeName(L"x.tar.gz"));
    EXPECT_STREQ(L"profile", ICPath::mf_getFileTypeName(L".Profile"));
    EXPECT_STREQ(L"", ICPath::mf_getFileTypeName(L"x."));
    EXPECT_STREQ(L"", ICPath::mf_getFileTypeName(L"D:\\a\\x"));
    EXPECT_STREQ(L"", ICPath::mf_getFileTypeName(L""));
}

TEST(ICPath, GetFileTypeName_CountsDotsOfDirectories)
{
    EXPECT_STREQ(L"b\\c", ICPath::mf_getFileTypeName(L"D:\\a.b\\c"));
    EXPECT_STREQ(L"\\", ICPath::mf_getFileTypeName(L"D:\\a.\\"));
}

TEST(ICPath, GetRelativePath_DropsDriveOrShare)
{
    EXPECT_STREQ(L"a\\x.txt", ICPath::mf_getRelativePath(L"D:\\a\\x.txt"));
    EXPECT_STREQ(L"a\\x.txt", ICPath::mf_getRelativePath(L"\\\\?\\D:\\a\\x.txt"));
    EXPECT_STREQ(L"a\\x.txt", ICPath::mf_getRelativePath(L"\\\\HOST\\D$\\a\\x.txt"));
    EXPECT_STREQ(L"a\\x.txt", ICPath::mf_getRelativePath(L"\\\\?\\UNC\\HOST\\share\\a\\x.txt"));
    EXPECT_STREQ(L"", ICPath::mf_getRelativePath(L"\\\\HOST\\share\\"));
    EXPECT_STREQ(L"", ICPath::mf_getRelativePath(L"D:\\"));
    EXPECT_STREQ(L"", ICPath::mf_getRelativePath(L"D:"));
    // The third character goes, whatever it is.
    EXPECT_STREQ(L"", ICPath::mf_getRelativePath(L"D:x"));
}

TEST(ICPath, GetRelativePath_OfOtherTexts_IsTheTextWithItsPrefix)
{
    for (wchar_t const * path : {L"", L"a\\x", L"\\a", L"Volume{6f2b}\\x", L"\\\\?\\Volume{6f2b}\\x", L"\\\\?\\",
                                 L"\\\\?", L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\x"})
        EXPECT_STREQ(path, ICPath::mf_getRelativePath(path));
}

TEST(ICPath, GetRelativePath_WithoutShare_Fails)
{
    for (wchar_t const * path : {L"\\\\", L"\\\\HOST", L"\\\\HOST\\", L"\\\\HOST\\share", L"\\\\?\\UNC\\HOST\\share"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Path, [&] { ICPath::mf_getRelativePath(path); }));
}

TEST(ICPath, TooLongName_IsOneOf256Characters_Anywhere)
{
    CString const fits(L'n', 255);
    CString const tooLong(L'n', 256);
    for (wchar_t const * const form : {L"%s", L"D:\\%s", L"D:\\%s\\", L"D:\\a\\%s\\b", L"\\\\%s\\share", L"%s\\a",
                                       L"\\%s", L"\\\\?\\D:\\a\\%s\\\\"}) {
        SCOPED_TRACE(testing::PrintToString(form));
        CString path;
        path.Format(form, fits.GetString());
        EXPECT_EQ(0, ICPath::mf_isTooLongName(path));
        path.Format(form, tooLong.GetString());
        EXPECT_EQ(1, ICPath::mf_isTooLongName(path));
    }
}

TEST(ICPath, TooLongName_IsNoMatterOfTheWholePath)
{
    CString path = L"D:";
    for (int i = 0; i < 200; ++i)
        path += L"\\" + CString(L'n', 255);
    EXPECT_EQ(0, ICPath::mf_isTooLongName(path));
    EXPECT_EQ(0, ICPath::mf_isTooLongName(L""));
    EXPECT_EQ(0, ICPath::mf_isTooLongName(CString(L'\\', 300)));
    // Slashes divide nothing.
    EXPECT_EQ(1, ICPath::mf_isTooLongName(CString(L'/', 256)));
}

TEST(ICPath, RootDirectory_OfEachForm)
{
    struct CASE
    {
        wchar_t const * directory;
        int isRoot;
    };
    CASE const cases[] = {
        {L"C:\\", 1},
        {L"C:\\a", 0},
        {L"C:a", 1},
        {L"\\\\HOST\\C$\\", 1},
        {L"\\\\HOST\\C$", 0},
        {L"\\\\HOST\\C$\\a", 0},
        // Deliberate: only the number of characters behind the server counts.
        {L"\\\\HOST\\abc", 1},
        {L"\\\\HOST\\share\\", 0},
        {L"\\\\a", 1},
        {L"\\\\HOST", 0},
        {L"Volume{6f2b}\\", 1},
        {L"Volume{6f2b}\\a", 0},
        {L"Volume{6f2b}\\a\\", 0},
        {L"Volume{6f2b}", 0},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\", 1},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy12\\", 1},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7", 0},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy\\", 0},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\a", 0},
        {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\a\\", 0},
    };
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testing::PrintToString(testCase.directory));
        EXPECT_EQ(testCase.isRoot, ICPath::mf_isRootDirectory(testCase.directory));
    }
}

TEST(ICPath, RootDirectory_TooShort_Fails)
{
    for (wchar_t const * directory : {L"", L"\\", L"C:", L"\\\\"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICPath::mf_isRootDirectory(directory); }));
}

TEST(ICPath, RootDirectory_OfNoForm_Fails)
{
    for (wchar_t const * directory : {L"abc", L"\\a\\", L"\\\\?", L"\\\\?\\C:\\", L"//HOST/C$/"})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Path, [&] { ICPath::mf_isRootDirectory(directory); }));
}

TEST(ICPath, SubDirectory_LiesBelowWithoutRegardToCase)
{
    EXPECT_EQ(1, ICPath::mf_isSubDirectory(L"D:\\a", L"d:\\A\\b"));
    EXPECT_EQ(1, ICPath::mf_isSubDirectory(L"D:\\a", L"d:\\a"));
    EXPECT_EQ(1, ICPath::mf_isSubDirectory(L"D:\\a\\", L"D:\\a"));
    EXPECT_EQ(0, ICPath::mf_isSubDirectory(L"D:\\ab", L"D:\\a"));
    EXPECT_EQ(0, ICPath::mf_isSubDirectory(L"D:\\a", L"D:\\ab"));
    EXPECT_EQ(0, ICPath::mf_isSubDirectory(L"D:\\a\\b", L"D:\\a"));
    EXPECT_EQ(1, ICPath::mf_isSubDirectory(L"\\", L"\\a"));
}

TEST(ICPath, SubDirectory_EmptyText_IsRefusedByTheString)
{
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICPath::mf_isSubDirectory(L"", L"D:\\a"); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { ICPath::mf_isSubDirectory(L"D:\\a", L""); }));
}

TEST(ICPath, CompareTexts_WithOrWithoutCase)
{
    EXPECT_EQ(0, ICPath::mf_compare(L"D:\\A", L"d:\\a", 0));
    EXPECT_GT(0, ICPath::mf_compare(L"D:\\A", L"d:\\a", 1));
    EXPECT_LT(0, ICPath::mf_compare(L"b", L"A", 0));
    EXPECT_LT(0, ICPath::mf_compare(L"b", L"a", -1));
}

namespace
{

// A path as real systems see them, and its pieces.
struct PIECES
{
    wchar_t const * path;
    wchar_t const * location;
    wchar_t const * file;
    wchar_t const * baseName;
    wchar_t const * typeName;
    wchar_t const * parent;
};

PIECES const PIECES_OF_PATHS[] = {
    {L"C:\\Program Files\\a b\\x.exe", L"C:\\Program Files\\a b\\", L"x.exe", L"x", L"exe",
     L"C:\\Program Files\\a b\\"},
    {L"\\\\HOST\\share", L"\\\\HOST\\", L"share", L"share", L"", L"\\\\HOST\\"},
    {L"\\\\HOST\\share\\", L"\\\\HOST\\share\\", L"", L"", L"", L"\\\\HOST\\"},
    {L"\\\\host.example\\share\\f", L"\\\\host.example\\share\\", L"f", L"f", L"example\\share\\f",
     L"\\\\host.example\\share\\"},
    {L"\\\\?\\C:\\a\\f.TXT", L"\\\\?\\C:\\a\\", L"f.TXT", L"f", L"txt", L"\\\\?\\C:\\a\\"},
    {L"\\\\?\\UNC\\HOST\\share\\f", L"\\\\?\\UNC\\HOST\\share\\", L"f", L"f", L"", L"\\\\?\\UNC\\HOST\\share\\"},
    {L"\\\\.\\PhysicalDrive0", L"\\\\.\\", L"PhysicalDrive0", L"PhysicalDrive0", L"\\physicaldrive0", L"\\\\.\\"},
    {L"\\\\?\\Volume{6f2b}\\f", L"\\\\?\\Volume{6f2b}\\", L"f", L"f", L"", L"\\\\?\\Volume{6f2b}\\"},
    {L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\f",
     L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\", L"f", L"f", L"",
     L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\"},
    {L"..\\..\\f.c", L"..\\..\\", L"f.c", L"f", L"c", L"..\\..\\"},
    {L"C:/a/f.txt", L"", L"C:/a/f.txt", L"C:/a/f", L"txt", L""},
    {L"C:\\a/b\\f", L"C:\\a/b\\", L"f", L"f", L"", L"C:\\a/b\\"},
    {L"C:\\dir. \\file. ", L"C:\\dir. \\", L"file. ", L"file", L" ", L"C:\\dir. \\"},
    {L"C:\\f...", L"C:\\", L"f...", L"f..", L"", L"C:\\"},
    {L"C:\\ ", L"C:\\", L" ", L" ", L"", L"C:\\"},
    {L"C:\\NUL", L"C:\\", L"NUL", L"NUL", L"", L"C:\\"},
    {L"C:\\a\\COM1.txt", L"C:\\a\\", L"COM1.txt", L"COM1", L"txt", L"C:\\a\\"},
    {L"C:\\f.txt:stream", L"C:\\", L"f.txt:stream", L"f", L"txt:stream", L"C:\\"},
    {L"C:\\\xD83D\xDE00\\\xD83D\xDE01.\xD83D\xDE02", L"C:\\\xD83D\xDE00\\", L"\xD83D\xDE01.\xD83D\xDE02",
     L"\xD83D\xDE01", L"\xD83D\xDE02", L"C:\\\xD83D\xDE00\\"},
    {L"C:\\\xDE00\\\xD83D", L"C:\\\xDE00\\", L"\xD83D", L"\xD83D", L"", L"C:\\\xDE00\\"},
    {L"C:\\a\\\\f", L"C:\\a\\\\", L"f", L"f", L"", L"C:\\a\\\\"},
    {L"C:", L"", L"C:", L"C:", L"", L""},
    {L".", L"", L".", L".", L"", L""},
    {L"..", L"", L"..", L".", L"", L""},
    {L"", L"", L"", L"", L"", L""},
};

} // namespace

TEST(ICPath, Pieces_OfPathsAsSystemsSeeThem)
{
    for (PIECES const & pieces : PIECES_OF_PATHS) {
        SCOPED_TRACE(testing::PrintToString(pieces.path));
        EXPECT_STREQ(pieces.location, ICPath::mf_getLocationPart(pieces.path));
        EXPECT_STREQ(pieces.file, ICPath::mf_getFilePart(pieces.path));
        EXPECT_STREQ(pieces.baseName, ICPath::mf_getFileBaseName(pieces.path));
        EXPECT_STREQ(pieces.typeName, ICPath::mf_getFileTypeName(pieces.path));
        EXPECT_STREQ(pieces.parent, ICPath::mf_removeComponent(pieces.path));
    }
}
