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
