// The value: its parts, what it keeps of two answers, its order.
#include "tests/paths/PathModelTest.h"
#include "tests/support/Thrown.h"

namespace
{

class ICPathValue : public PathModelTest
{
protected:
    static void mf_expectParts(wchar_t const * server, wchar_t const * volume, wchar_t const * directory,
                               wchar_t const * file, ICPath const & path)
    {
        EXPECT_STREQ(server, path.mf_getServerPart());
        EXPECT_STREQ(volume, path.mf_getVolumePart());
        EXPECT_STREQ(directory, path.mf_getDirectoryPart());
        EXPECT_STREQ(file, path.mf_getFilePart());
    }

    static void mf_expectKept(int isLocal, int isShadowCopy, ICPath const & path)
    {
        EXPECT_EQ(isLocal, mf_keptLocal(path));
        EXPECT_EQ(isShadowCopy, mf_keptShadowCopy(path));
    }
};

// Whether the question about the server, and that about the volume, come up.
struct LOCAL_CASE
{
    wchar_t const * server;
    wchar_t const * volume;
    int isLocal;
    int asksForVolume;
};

} // namespace

TEST_F(ICPathValue, New_IsEmptyAndKnowsNothing)
{
    ICPath const path;
    mf_expectParts(L"", L"", L"", L"", path);
    mf_expectKept(2, 2, path);
    EXPECT_EQ(0, path.mf_isInitialized());
}

TEST_F(ICPathValue, FourTexts_ServerAndVolumeInUpperCase)
{
    ICPath const path(L"host", L"d:", L"Dir\\Sub", L"File.Txt");
    mf_expectParts(L"HOST", L"D:", L"Dir\\Sub\\", L"File.Txt", path);
    mf_expectKept(2, 2, path);
}

TEST_F(ICPathValue, FourTexts_DirectoryGetsOneBackslash_UnlessEmpty)
{
    mf_expectParts(L"", L"", L"a\\", L"", ICPath(L"", L"", L"a\\", L""));
    mf_expectParts(L"", L"", L"", L"f", ICPath(L"", L"", L"", L"f"));
    mf_expectParts(L"", L"", L"\\", L"\\", ICPath(L"", L"", L"\\", L"\\"));
}

TEST_F(ICPathValue, FourTexts_OfThePathItself)
{
    ICPath path(L"a", L"b", L"c", L"d");
    path.mf_initialize(path.mf_getFilePart(), path.mf_getDirectoryPart(), path.mf_getVolumePart(),
                       path.mf_getServerPart());
    mf_expectParts(L"D", L"C\\", L"B\\", L"A", path);
}

TEST_F(ICPathValue, Set_TakesThePartAsItIs)
{
    ICPath path;
    path.mf_setServerPart(L"host");
    path.mf_setVolumePart(L"d:");
    path.mf_setDirectoryPart(L"a");
    path.mf_setFilePart(L"f\\");
    mf_expectParts(L"host", L"d:", L"a\\", L"f\\", path);
    path.mf_setDirectoryPart(L"b\\");
    EXPECT_STREQ(L"b\\", path.mf_getDirectoryPart());
}

TEST_F(ICPathValue, SetDirectory_EmptyText_IsRefusedByTheString)
{
    ICPath path(L"", L"", L"a", L"");
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { path.mf_setDirectoryPart(L""); }));
    EXPECT_STREQ(L"a\\", path.mf_getDirectoryPart());
}

TEST_F(ICPathValue, Initialized_AnyPart)
{
    EXPECT_EQ(1, ICPath(L"a", L"", L"", L"").mf_isInitialized());
    EXPECT_EQ(1, ICPath(L"", L"a", L"", L"").mf_isInitialized());
    EXPECT_EQ(1, ICPath(L"", L"", L"a", L"").mf_isInitialized());
    EXPECT_EQ(1, ICPath(L"", L"", L"", L"a").mf_isInitialized());
}

TEST_F(ICPathValue, FileOrDirectory_ByTheFilePartAlone)
{
    EXPECT_EQ(1, ICPath().mf_isDirectory());
    EXPECT_EQ(0, ICPath().mf_isFile());
    EXPECT_EQ(0, ICPath(L"", L"", L"", L"f").mf_isDirectory());
    EXPECT_EQ(1, ICPath(L"", L"", L"", L"f").mf_isFile());
}

TEST_F(ICPathValue, ToString_ShowsTheParts)
{
    EXPECT_STREQ(L"srv='HOST' vol='D:' dir='\\data\\' file='x.txt'", ICPath(L"D:\\data\\x.txt", 1).mf_toString());
    EXPECT_STREQ(L"srv='' vol='' dir='' file=''", ICPath().mf_toString());
    CString const longName(L'n', 3000);
    EXPECT_EQ(28 + 3000, ICPath(L"", L"", L"", longName).mf_toString().GetLength());
}

TEST_F(ICPathValue, DriveLetterVolume_HasItsColonSecond)
{
    struct CASE
    {
        wchar_t const * volume;
        int isDriveLetter;
    };
    for (CASE const & testCase : {CASE{L"D:", 1}, CASE{L"::", 1}, CASE{L"D:X", 1}, CASE{L"D", 0}, CASE{L":", 0},
                                  CASE{L"", 0}, CASE{L"D$", 0}, CASE{L"SHARE", 0}})
        EXPECT_EQ(testCase.isDriveLetter, ICPath(L"", testCase.volume, L"", L"").mf_implIsDriveLetterVolume());
}

TEST_F(ICPathValue, Copy_TakesThePartsAlone)
{
    ICPath const path(L"D:\\a\\f", 1);
    mf_expectKept(1, 0, path);
    ICPath const copy(path);
    mf_expectParts(L"HOST", L"D:", L"\\a\\", L"f", copy);
    mf_expectKept(2, 2, copy);
}

TEST_F(ICPathValue, Assignment_KeepsWhatTheTargetKnew)
{
    ICPath path(L"D:\\a\\f", 1);
    path = ICPath(L"\\\\srv\\share\\x", 1);
    mf_expectParts(L"SRV", L"SHARE", L"\\", L"x", path);
    mf_expectKept(1, 0, path);
    // So it goes on answering that it is local.
    EXPECT_EQ(1, path.mf_isLocal());
    EXPECT_STREQ(L"SHARE\\x", path.mf_getNTFSPath());
}

TEST_F(ICPathValue, Assignment_GivesNoAnswerAway)
{
    ICPath path;
    path = ICPath(L"D:\\a\\f", 1);
    mf_expectKept(2, 2, path);
}

TEST_F(ICPathValue, Assignment_ToItself_ChangesNothing)
{
    ICPath path(L"D:\\a\\f", 1);
    ICPath & same = path;
    EXPECT_EQ(&path, &(path = same));
    mf_expectParts(L"HOST", L"D:", L"\\a\\", L"f", path);
    mf_expectKept(1, 0, path);
}

TEST_F(ICPathValue, Reset_ForgetsOneAnswerOnly)
{
    ICPath path((CString(SHADOW_COPY) + L"\\a\\f"), 1);
    mf_expectKept(1, 1, path);
    path.mf_reset();
    mf_expectParts(L"", L"", L"", L"", path);
    mf_expectKept(2, 1, path);
}

TEST_F(ICPathValue, Changes_LeaveTheAnswers)
{
    ICPath path(L"D:\\a\\f", 1);
    path.mf_setServerPart(L"srv");
    path.mf_setVolumePart(SHADOW_COPY);
    path.mf_setDirectoryPart(L"\\b\\");
    path.mf_setFilePart(L"g");
    mf_expectKept(1, 0, path);
    path.mf_initialize(L"srv", L"share", L"\\", L"");
    mf_expectKept(1, 0, path);
    path.mf_initialize(L"\\\\srv\\share", 0);
    mf_expectKept(1, 0, path);
    EXPECT_EQ(1, path.mf_isLocal());
    EXPECT_EQ(0, path.mf_isShadowCopy());
}

TEST_F(ICPathValue, Local_IsADriveOfThisMachineThatTheStorageKnows)
{
    constexpr LOCAL_CASE cases[] = {
        {L"HOST", L"D:", 1, 1}, {L"host", L"d:", 1, 1},       {L"HOST", L"Q:", 0, 1}, {L"HOST", L"N:", 0, 1},
        {L"SRV", L"D:", 0, 0},  {L"HOST", L"SHARE", 0, 0},    {L"HOST", L"", 0, 0},   {L"HOST", L"::", 0, 0},
        {L"", L"SHARE", 0, 0},  {L"HOST.LOCAL", L"D:", 0, 0},
    };
    for (LOCAL_CASE const & testCase : cases) {
        ICPath const path(testCase.server, testCase.volume, L"", L"");
        SCOPED_TRACE(testing::PrintToString(path.mf_toString().GetString()));
        ulong const before = m_machine.mf_getCalls("GetVolumePathNameW");
        EXPECT_EQ(testCase.isLocal, path.mf_isLocal());
        EXPECT_EQ(testCase.asksForVolume, m_machine.mf_getCalls("GetVolumePathNameW") != before);
        EXPECT_EQ(testCase.isLocal, mf_keptLocal(path));
    }
}

TEST_F(ICPathValue, Local_AlsoByAddressOfThisMachine)
{
    EXPECT_EQ(1, ICPath(L"\\\\127.0.0.1\\D$\\f", 1).mf_isLocal());
}

TEST_F(ICPathValue, Local_IsFoundOutOnce)
{
    ICPath path(L"HOST", L"D:", L"\\", L"");
    EXPECT_EQ(1, path.mf_isLocal());
    ulong const calls = m_machine.mf_getCalls("GetVolumePathNameW");
    path.mf_setServerPart(L"SRV");
    EXPECT_EQ(1, path.mf_isLocal());
    EXPECT_EQ(calls, m_machine.mf_getCalls("GetVolumePathNameW"));
}

TEST_F(ICPathValue, Local_WithoutServer_FailsOnceAndIsNotLocalThen)
{
    ICPath const path(L"\\\\\\D$\\f", 1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { path.mf_isLocal(); }));
    EXPECT_EQ(0, mf_keptLocal(path));
    EXPECT_EQ(0, path.mf_isLocal());
}

TEST_F(ICPathValue, Local_WithoutStorage_IsNotLocal)
{
    ICStorage::mf_deleteInstance();
    EXPECT_EQ(0, ICPath(L"HOST", L"D:", L"\\", L"").mf_isLocal());
    EXPECT_EQ(1, ICPath(L"D:\\", 0).mf_isLocal());
}

TEST_F(ICPathValue, ShadowCopy_IsByTheVolume_FoundOutOnce)
{
    ICPath path(L"HOST", L"D:", L"\\", L"");
    EXPECT_EQ(0, path.mf_isShadowCopy());
    path.mf_setVolumePart(SHADOW_COPY);
    EXPECT_EQ(0, path.mf_isShadowCopy());
    ICPath const copy(path);
    EXPECT_EQ(1, copy.mf_isShadowCopy());
    EXPECT_EQ(1, mf_keptShadowCopy(copy));
    // In upper case it is none: the prefix counts letter by letter.
    EXPECT_EQ(0, ICPath(L"HOST", SHADOW_COPY, L"\\", L"").mf_isShadowCopy());
}

TEST_F(ICPathValue, Exists_AsksForTheNTFSForm)
{
    std::wstring asked;
    ICImportPatch const attributes(IC_IMPORT(GetFileAttributesW), [&](wchar_t const * path) -> DWORD {
        asked = path;
        return FILE_ATTRIBUTE_ARCHIVE;
    });
    EXPECT_EQ(1, ICPath(L"\\\\host\\d$\\a\\f", 1).mf_exists());
    EXPECT_EQ(L"\\\\?\\D:\\a\\f", asked);
    EXPECT_EQ(1, ICPath(L"\\\\srv\\d$\\a\\f", 1).mf_exists());
    EXPECT_EQ(L"\\\\?\\UNC\\SRV\\D$\\a\\f", asked);
}

TEST_F(ICPathValue, Exists_NotThere)
{
    ICImportFault const missing("GetFileAttributesW", ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(0, ICPath(L"D:\\a\\f", 1).mf_exists());
}

TEST_F(ICPathValue, Order_IsByServerVolumeDirectoryFile)
{
    // Each is below the next, though its later parts are above.
    ICPath const paths[] = {ICPath(L"A", L"Z", L"z", L"z"), ICPath(L"B", L"A", L"z", L"z"),
                            ICPath(L"B", L"B", L"a", L"z"), ICPath(L"B", L"B", L"b", L"a"),
                            ICPath(L"B", L"B", L"b", L"b")};
    for (ICPath const & left : paths)
        for (ICPath const & right : paths) {
            auto const expected = &left - &right;
            EXPECT_EQ(expected < 0, left.mf_compare(right) < 0);
            EXPECT_EQ(expected == 0, left.mf_compare(right) == 0);
            EXPECT_EQ(expected < 0, left.mf_compareNoCase(right) < 0);
            EXPECT_EQ(expected < 0, left < right);
            EXPECT_EQ(expected > 0, left > right);
            EXPECT_EQ(expected == 0, left == right);
            EXPECT_EQ(expected != 0, left != right);
        }
}

TEST_F(ICPathValue, Order_CountsCase_UnlessAskedNotTo)
{
    ICPath const upper(L"A", L"A", L"A", L"A");
    for (ICPath const & lower : {ICPath(L"A", L"A", L"a", L"A"), ICPath(L"A", L"A", L"A", L"a")}) {
        EXPECT_EQ(0, upper.mf_compareNoCase(lower));
        EXPECT_GT(0, upper.mf_compare(lower));
        EXPECT_FALSE(upper == lower);
        EXPECT_TRUE(upper != lower);
        EXPECT_TRUE(upper < lower);
    }
    ICPath changed(upper);
    changed.mf_setServerPart(L"a");
    EXPECT_EQ(0, upper.mf_compareNoCase(changed));
    EXPECT_TRUE(upper != changed);
}

TEST_F(ICPathValue, Order_TakesNoAnswerIntoAccount)
{
    ICPath const known(L"D:\\a\\f", 1);
    EXPECT_TRUE(known == ICPath(known));
    EXPECT_EQ(0, known.mf_compare(ICPath(known)));
}

TEST_F(ICPathValue, Append_PutsDirectoriesTogetherAndTakesTheFile)
{
    ICPath path(L"D:\\a", 0);
    path.mf_appendComponent(ICPath(L"SRV", L"SHARE", L"\\b", L""));
    mf_expectParts(L"HOST", L"D:", L"\\a\\b\\", L"", path);
    path.mf_appendComponent(ICPath(L"", L"", L"c", L"f"));
    mf_expectParts(L"HOST", L"D:", L"\\a\\b\\c\\", L"f", path);
}

TEST_F(ICPathValue, Append_Itself)
{
    ICPath path(L"D:\\a", 0);
    path.mf_appendComponent(path);
    mf_expectParts(L"HOST", L"D:", L"\\a\\a\\", L"", path);
}

TEST_F(ICPathValue, Append_WithoutAnyDirectory_IsRefusedByTheString)
{
    ICPath path;
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { path.mf_appendComponent(ICPath(L"", L"", L"", L"f")); }));
}

TEST_F(ICPathValue, Append_ToAFile_Fails)
{
    ICPath path(L"HOST", L"D:", L"a", L"f");
    EXPECT_THAT(m_process.mf_run([&] { path.mf_appendComponent(ICPath(L"", L"", L"b", L"g")); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICPath::mf_appendComponent",
                        "Path srv='HOST' vol='D:' dir='a\\' file='f' is a file\n"
                        "Cannot append component srv='' vol='' dir='b\\' file='g'"));
    mf_expectParts(L"HOST", L"D:", L"a\\", L"f", path);
}
