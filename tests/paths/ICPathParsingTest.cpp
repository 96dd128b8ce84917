// Taking a path text apart.
#include "tests/paths/PathModelTest.h"
#include "tests/support/Thrown.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr wchar_t SHADOW_COPY_FILE[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\Data\\x";

// A text, its parts, and what is kept of the two answers: 2 is not yet found out.
struct PARTS
{
    wchar_t const * text;
    int isFile;
    wchar_t const * server;
    wchar_t const * volume;
    wchar_t const * directory;
    wchar_t const * file;
    int isLocal = 2;
    int isShadowCopy = 2;
};

PARTS const UNC_PATHS[] = {
    {L"\\\\host\\C$\\dir\\f.txt", 1, L"HOST", L"C:", L"\\dir\\", L"f.txt"},
    {L"\\\\host\\C$\\dir\\f.txt", 0, L"HOST", L"C:", L"\\dir\\f.txt\\", L""},
    {L"\\\\host\\share", 0, L"HOST", L"SHARE", L"\\", L""},
    {L"\\\\host\\share\\", 0, L"HOST", L"SHARE", L"\\", L""},
    {L"\\\\host\\share\\", 1, L"HOST", L"SHARE", L"\\", L""},
    {L"\\\\host\\share\\f", 1, L"HOST", L"SHARE", L"\\", L"f"},
    {L"\\\\?\\UNC\\host\\share\\f", 1, L"HOST", L"SHARE", L"\\", L"f"},
    {L"\\\\?\\UNC\\host\\share", 0, L"HOST", L"SHARE", L"\\", L""},
    {L"\\\\host\\d$", 0, L"HOST", L"D:", L"\\", L""},
    {L"\\\\host\\d:\\f", 1, L"HOST", L"D:", L"\\", L"f"},
    {L"\\\\host\\c$x\\f", 1, L"HOST", L"C$X", L"\\", L"f"},
    {L"\\\\host\\$\\f", 1, L"HOST", L"$", L"\\", L"f"},
    {L"\\\\host\\$$\\f", 1, L"HOST", L"$:", L"\\", L"f"},
    {L"\\\\host\\admin$\\f", 1, L"HOST", L"ADMIN$", L"\\", L"f"},
    {L"\\\\host\\share\\a\\b\\..\\c", 1, L"HOST", L"SHARE", L"\\a\\b\\..\\", L"c"},
    {L"\\\\host\\share\\a/b/c", 1, L"HOST", L"SHARE", L"\\", L"a/b/c"},
    {L"\\\\host\\share\\\\a\\\\", 0, L"HOST", L"SHARE", L"\\\\a\\\\", L""},
    // The parser accepts anything between the delimiters.
    {L"\\\\host\\\\f", 1, L"HOST", L"", L"\\", L"f"},
    {L"\\\\\\share\\f", 1, L"", L"SHARE", L"\\", L"f"},
    {L"\\\\\\\\", 0, L"", L"", L"\\", L""},
    {L"\\\\.\\C:\\f", 1, L".", L"C:", L"\\", L"f"},
    {L"\\\\.\\PhysicalDrive0", 0, L".", L"PHYSICALDRIVE0", L"\\", L""},
    {L"\\\\host.example.org\\share\\f", 1, L"HOST.EXAMPLE.ORG", L"SHARE", L"\\", L"f"},
    {L"\\\\192.168.0.1\\d$\\f", 1, L"192.168.0.1", L"D:", L"\\", L"f"},
    {L"\\\\fe80--1.ipv6-literal.net\\d$\\f", 1, L"FE80--1.IPV6-LITERAL.NET", L"D:", L"\\", L"f"},
    {L"\\\\host\\share\\dir. \\f. ", 1, L"HOST", L"SHARE", L"\\dir. \\", L"f. "},
    {L"\\\\host\\share\\NUL", 1, L"HOST", L"SHARE", L"\\", L"NUL"},
    {L"\\\\host\\\xD83D\xDE00\\\xD83D\xDE01", 1, L"HOST", L"\xD83D\xDE00", L"\\", L"\xD83D\xDE01"},
    {L"\\\\host\\share\\\xDC00\\\xD800", 1, L"HOST", L"SHARE", L"\\\xDC00\\", L"\xD800"},
};

PARTS const LOCAL_PATHS[] = {
    {L"D:\\data\\x.txt", 1, L"HOST", L"D:", L"\\data\\", L"x.txt", 1, 0},
    {L"D:\\data\\x.txt", 0, L"HOST", L"D:", L"\\data\\x.txt\\", L"", 1, 0},
    {L"d:\\Data\\X", 1, L"HOST", L"D:", L"\\Data\\", L"X", 1, 0},
    {L"D:\\x\\", 0, L"HOST", L"D:", L"\\x\\", L"", 1, 0},
    {L"\\\\?\\D:\\x\\", 0, L"HOST", L"D:", L"\\x\\", L"", 1, 0},
    {L"D:\\", 0, L"HOST", L"D:", L"\\", L"", 1, 0},
    {L"D:\\", 1, L"HOST", L"D:", L"\\", L"", 1, 0},
    {L"D:", 0, L"HOST", L"D:", L"\\", L"", 1, 0},
    {L"D:\\archive\\f", 1, L"HOST", L"D:", L"\\archive\\", L"f", 1, 0},
    {L"D:\\dir. \\f. ", 1, L"HOST", L"D:", L"\\dir. \\", L"f. ", 1, 0},
    {L"D:\\a\\.\\..\\f", 1, L"HOST", L"D:", L"\\a\\.\\..\\", L"f", 1, 0},
    {L"D:\\CON\\LPT1.txt", 1, L"HOST", L"D:", L"\\CON\\", L"LPT1.txt", 1, 0},
    {L"D:\\f.txt:stream", 1, L"HOST", L"D:", L"\\", L"f.txt:stream", 1, 0},
    {L"D:\\\xD83D\xDE00\\\xD83D\xDE01", 1, L"HOST", L"D:", L"\\\xD83D\xDE00\\", L"\xD83D\xDE01", 1, 0},
    // Without a backslash behind the drive the directory begins with its first character; a file takes the drive along.
    {L"D:x", 0, L"HOST", L"D:", L"x\\", L"", 1, 0},
    {L"D:x\\y", 1, L"HOST", L"D:", L"x\\", L"y", 1, 0},
    {L"D:x", 1, L"HOST", L"D:", L"\\", L"D:x", 1, 0},
    {L"D:/a/f", 1, L"HOST", L"D:", L"\\", L"D:/a/f", 1, 0},
    {L"D:/a", 0, L"HOST", L"D:", L"/a\\", L"", 1, 0},
    // A mapped drive is that of its server.
    {L"N:\\a\\f", 1, L"SRV", L"SHARE", L"\\a\\", L"f", 0, 0},
    {L"\\\\?\\n:\\a", 0, L"SRV", L"SHARE", L"\\a\\", L"", 0, 0},
    // A shadow copy keeps its case.
    {SHADOW_COPY_FILE, 1, L"HOST", SHADOW_COPY, L"\\Data\\", L"x", 1, 1},
    {SHADOW_COPY_FILE, 0, L"HOST", SHADOW_COPY, L"\\Data\\x\\", L"", 1, 1},
    {SHADOW_COPY, 0, L"HOST", SHADOW_COPY, L"\\", L"", 1, 1},
};

// A text that is refused, and where.
struct REFUSED
{
    wchar_t const * text;
    int isFile;
    ICErrnoValue const & constant;
    char const * function;
    char const * message;
};

REFUSED const REFUSED_PATHS[] = {
    {L"", 0, ICErrno::_E_::Parameter, "mf_initialize", "Empty path parameter"},
    {L"\\\\?\\", 0, ICErrno::_E_::Parameter, "mf_implInitFromPath", "Empty path parameter"},
    {L"\\\\", 0, ICErrno::_E_::Parameter, "mf_implInitFromUNCPath", "Male-formed UNC path: '\\\\'"},
    {L"\\\\?\\UNC\\", 1, ICErrno::_E_::Parameter, "mf_implInitFromUNCPath", "Male-formed UNC path: '\\\\'"},
    {L"\\\\host", 0, ICErrno::_E_::Parameter, "mf_implInitFromUNCPath", "Male-formed UNC path: '\\\\host'"},
    {L"\\\\host\\share", 1, ICErrno::_E_::Parameter, "mf_implInitDirectoryAndFile",
     "No file in path '\\\\host\\share'"},
    {L"D:", 1, ICErrno::_E_::Parameter, "mf_implInitDirectoryAndFile", "No file in path 'D:'"},
    {L"N:", 1, ICErrno::_E_::Parameter, "mf_implInitDirectoryAndFile", "No file in path 'N:'"},
    {SHADOW_COPY, 1, ICErrno::_E_::Parameter, "mf_implInitDirectoryAndFile",
     "No file in path '\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7'"},
};

class ICPathParsing : public PathModelTest
{
protected:
    static void mf_expect(PARTS const & parts, ICPath const & path)
    {
        SCOPED_TRACE(testing::PrintToString(parts.text));
        EXPECT_STREQ(parts.server, path.mf_getServerPart());
        EXPECT_STREQ(parts.volume, path.mf_getVolumePart());
        EXPECT_STREQ(parts.directory, path.mf_getDirectoryPart());
        EXPECT_STREQ(parts.file, path.mf_getFilePart());
        EXPECT_EQ(parts.isLocal, mf_keptLocal(path));
        EXPECT_EQ(parts.isShadowCopy, mf_keptShadowCopy(path));
    }

    ICTracedAction mf_parse(CString const & text, int isFile = 0)
    {
        return m_process.mf_run([&] { m_path.mf_initialize(text, isFile); });
    }

    static std::string mf_tag(std::string const & function) { return "ICPath::" + function; }

    ICPath m_path;
};

} // namespace

TEST_F(ICPathParsing, UNCPaths_FallIntoServerVolumeDirectoryFile)
{
    for (PARTS const & parts : UNC_PATHS)
        mf_expect(parts, ICPath(parts.text, parts.isFile));
}

TEST_F(ICPathParsing, UNCPaths_AskNothingOfTheMachine)
{
    for (PARTS const & parts : UNC_PATHS)
        m_path.mf_initialize(parts.text, parts.isFile);
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindFirstVolumeW"));
    EXPECT_EQ(0u, m_machine.mf_getCalls("GetVolumePathNameW"));
}

TEST_F(ICPathParsing, LocalPaths_AndThoseOfMappedDrives)
{
    m_local.mf_mount(L"archive\\", m_machine.mf_add(3));
    for (PARTS const & parts : LOCAL_PATHS)
        mf_expect(parts, ICPath(parts.text, parts.isFile));
}

TEST_F(ICPathParsing, GoodPaths_LeaveNoTrace)
{
    for (PARTS const & parts : LOCAL_PATHS)
        EXPECT_THAT(m_process.mf_trace([&] { m_path.mf_initialize(parts.text, parts.isFile); }), IsEmpty());
}

TEST_F(ICPathParsing, UNCPathWithoutDirectory_LeavesADebugLine)
{
    EXPECT_THAT(mf_parse(L"\\\\?\\UNC\\host\\share").m_records,
                ElementsAre(f_isRecord('D', "ICPath::mf_implInitFromUNCPath",
                                       "No trailing directory delimiter in UNC path '\\\\host\\share'")));
    EXPECT_THAT(mf_parse(L"\\\\host\\share\\").m_records, IsEmpty());
}

TEST_F(ICPathParsing, CurrentDrive_IsTheVolumeOfAPathWithoutDrive)
{
    ICCurrentDriveD const currentDrive;
    mf_expect({L"\\a\\f", 1, L"HOST", L"D:", L"\\a\\", L"f", 1, 0}, ICPath(L"\\a\\f", 1));
    mf_expect({L"\\", 0, L"HOST", L"D:", L"\\", L"", 1, 0}, ICPath(L"\\", 0));
    // The second character decides, whatever the first one is.
    mf_expect({L"\\:f", 1, L"HOST", L"D:", L"\\", L":f", 1, 0}, ICPath(L"\\:f", 1));
}

TEST_F(ICPathParsing, LongNames_AreTakenWhole)
{
    for (int const length : {255, 256, 5000}) {
        CString const name(L'n', length);
        ICPath const path(L"\\\\?\\D:\\" + name + L"\\" + name, 1);
        EXPECT_STREQ(L"\\" + name + L"\\", path.mf_getDirectoryPart());
        EXPECT_STREQ(name, path.mf_getFilePart());
    }
}

TEST_F(ICPathParsing, UpperCase_IsThatOfTheString)
{
    for (wchar_t const * name : {L"`az{@AZ[-09_", L"h\xF6st", L"STRA\xDF\x65", L"\x131i", L"\xE9",
                                 L"\x43F\x443\x442\x44C", L"\xFF41\xFF5A", L"\xD801\xDC28"}) {
        ICPath const path(CString(L"\\\\") + name + L"\\" + name + L"\\", 0);
        EXPECT_STREQ(CString(name).MakeUpper(), path.mf_getServerPart());
        EXPECT_STREQ(CString(name).MakeUpper(), path.mf_getVolumePart());
    }
}

TEST_F(ICPathParsing, PartOfThePathItself_IsATextLikeAnyOther)
{
    ICPath path(L"", L"", L"\\\\srv\\share\\a\\b\\", L"");
    path.mf_initialize(path.mf_getDirectoryPart(), 1);
    mf_expect({L"", 1, L"SRV", L"SHARE", L"\\a\\b\\", L""}, path);
}

TEST_F(ICPathParsing, RefusedPaths_TellWhy)
{
    for (REFUSED const & refused : REFUSED_PATHS) {
        SCOPED_TRACE(refused.message);
        EXPECT_THAT(mf_parse(refused.text, refused.isFile),
                    f_fails(refused.constant, 'E', mf_tag(refused.function), refused.message));
        EXPECT_TRUE(f_throws(refused.constant, [&] { m_path.mf_initialize(refused.text, refused.isFile); }));
    }
}

TEST_F(ICPathParsing, RefusedPaths_FailTheConstructionWithOneConstant)
{
    for (REFUSED const & refused : REFUSED_PATHS) {
        SCOPED_TRACE(refused.message);
        auto const outcome = m_process.mf_run([&] { ICPath const path(refused.text, refused.isFile); });
        std::string const text = f_at("Failure initializing from path '@':\n", refused.text);
        EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Initialization, 'E', "ICPath::ICPath::2",
                                     f_logged(text, ICErrno(refused.constant))));
        EXPECT_THAT(outcome.m_records, Contains(f_isRecord('E', mf_tag(refused.function), refused.message)));
    }
}

TEST_F(ICPathParsing, FailedConstruction_KeepsNoNumberOfTheSystem)
{
    m_local.m_errors["GetVolumePathNameW"] = DENIED;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICPath const path(L"D:\\a", 0); }));
}

TEST_F(ICPathParsing, RelativePaths_AreNotSupported)
{
    ICCurrentDriveD const currentDrive;
    for (wchar_t const * text : {L"a", L"a\\f", L"..\\f", L"//host/share/f", L"Volume{6f2b}\\f",
                                 L"\\\\?\\Volume{6f2b}\\f", L"\\\\?\\a", L":D\\f", L" ", L"\xD83D\xDE00"})
        EXPECT_THAT(mf_parse(text), f_fails(ICErrno::_E_::NotSupported, 'E', "ICPath::mf_implInitFromPath",
                                            "Relative path names not supported"));
}

TEST_F(ICPathParsing, RelativePathOfAMappedDrive_IsNotSupportedEither)
{
    ICImportPatch const root(IC_IMPORT(GetVolumePathNameW), [](wchar_t const *, wchar_t * text, DWORD) {
        ::wcscpy_s(text, 4, L"N:\\");
        return TRUE;
    });
    EXPECT_THAT(mf_parse(L"a\\f"), f_fails(ICErrno::_E_::NotSupported, 'E', "ICPath::mf_implInitFromPath",
                                           "Relative path names not supported"));
    mf_expect({L"\\f", 1, L"SRV", L"SHARE", L"\\", L"f", 0, 0}, ICPath(L"\\f", 1));
}

TEST_F(ICPathParsing, OtherDriveTypes_AreNotSupported)
{
    struct CASE
    {
        unsigned int driveType;
        char const * text;
    };
    constexpr CASE cases[] = {{DRIVE_UNKNOWN, "Drive type '0' (DRIVE_UNKNOWN) not supported"},
                              {DRIVE_NO_ROOT_DIR, "Drive type '1' (DRIVE_NO_ROOT_DIR) not supported"},
                              {DRIVE_REMOVABLE, "Drive type '2' (DRIVE_REMOVABLE) not supported"},
                              {DRIVE_CDROM, "Drive type '5' (DRIVE_CDROM) not supported"},
                              {7, "Drive type '7' (DRIVE_??"
                                  "?) not supported"}};
    for (CASE const & testCase : cases) {
        m_local.m_driveType = testCase.driveType;
        EXPECT_THAT(mf_parse(L"D:\\a"),
                    f_fails(ICErrno::_E_::NotSupported, 'E', "ICPath::mf_implInitFromPath", testCase.text));
    }
}

TEST_F(ICPathParsing, DriveType_IsAskedOfTheRoot)
{
    m_local.mf_mount(L"archive\\", m_machine.mf_add(3));
    std::wstring asked;
    ICImportPatch const type(IC_IMPORT(GetDriveTypeW), [&](wchar_t const * root) -> UINT {
        EXPECT_EQ(0u, ::GetLastError());
        asked = root;
        return DRIVE_FIXED;
    });
    m_path.mf_initialize(L"\\\\?\\D:\\archive\\f", 1);
    EXPECT_EQ(L"D:\\archive\\", asked);
}

TEST_F(ICPathParsing, RamDisk_IsTakenForAShadowCopyAndRefused)
{
    m_local.m_driveType = DRIVE_RAMDISK;
    m_path.mf_initialize(L"\\\\srv\\share\\f", 1);
    EXPECT_THAT(mf_parse(L"D:\\a", 1),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_implInitShadowCopyServerAndVolume",
                        "Parameter is not a shadow copy path: 'D:\\'"));
    mf_expect({L"", 1, L"SRV", L"SHARE", L"\\", L"f"}, m_path);
}

TEST_F(ICPathParsing, ShadowCopyRoot_EndsBehindItsNumber)
{
    struct CASE
    {
        wchar_t const * root;
        wchar_t const * volume;
    };
    constexpr wchar_t TWELVE[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy12";
    constexpr wchar_t NONE[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy\\";
    for (CASE const & testCase : {CASE{SHADOW_COPY, SHADOW_COPY}, CASE{SHADOW_COPY_FILE, SHADOW_COPY},
                                  CASE{TWELVE, TWELVE}, CASE{NONE, NONE}}) {
        m_path.mf_implInitShadowCopyServerAndVolume(testCase.root);
        EXPECT_STREQ(testCase.volume, m_path.mf_getVolumePart());
    }
}

TEST_F(ICPathParsing, ShadowCopy_DirectoryBeginsWhereTheTextHasItsBackslash)
{
    // The root is long, the text isn't: nothing is read behind its end.
    ICImportPatch const root(IC_IMPORT(GetVolumePathNameW), [](wchar_t const *, wchar_t * text, DWORD length) {
        ::wcscpy_s(text, length, SHADOW_COPY);
        return TRUE;
    });
    ICImportFault const type("GetDriveTypeW", ICAnswer::mf_value(DRIVE_RAMDISK));
    mf_expect({L"D:\\a", 0, L"HOST", SHADOW_COPY, L"\\", L"", 1, 1}, ICPath(L"D:\\a", 0));
    EXPECT_THAT(mf_parse(L"D:\\a", 1), f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_implInitDirectoryAndFile",
                                               "No file in path 'D:\\a'"));
}

TEST_F(ICPathParsing, MappedDrive_IsAskedForByItsRoot)
{
    m_path.mf_initialize(L"N:\\a\\f", 1);
    EXPECT_EQ(L"N:\\", m_share.m_asked);
}

TEST_F(ICPathParsing, MappedDrive_ShareIsAllBehindTheServer)
{
    struct CASE
    {
        wchar_t const * share;
        wchar_t const * server;
        wchar_t const * volume;
    };
    // A drive of the server keeps its dollar sign here.
    for (CASE const & testCase : {CASE{L"\\\\srv\\share\\sub", L"SRV", L"SHARE\\SUB"},
                                  CASE{L"\\\\srv\\d$", L"SRV", L"D$"}, CASE{L"\\\\srv\\", L"SRV", L""},
                                  CASE{L"\\\\srv", L"", L"\\\\SRV"}, CASE{L"", L"", L""}, CASE{L"a", L"", L"A"}}) {
        m_share.m_share = testCase.share;
        m_path.mf_initialize(L"N:\\f", 1);
        EXPECT_STREQ(testCase.server, m_path.mf_getServerPart());
        EXPECT_STREQ(testCase.volume, m_path.mf_getVolumePart());
    }
}

TEST_F(ICPathParsing, MappedDriveWithoutShareName_Fails)
{
    m_share.m_code = ERROR_NOT_CONNECTED;
    m_path.mf_initialize(L"\\\\host\\d$\\a\\f", 1);
    EXPECT_THAT(mf_parse(L"N:\\b\\g", 1),
                f_failsShowing(ICErrno::_E_::Network, ERROR_NOT_CONNECTED, "ICPath::mf_implInitRemoteServerAndVolume",
                               "Failure requesting remote server share name for local directory 'N:\\':\n"));
    // Server and volume are gone, the rest stays.
    mf_expect({L"", 1, L"", L"", L"\\a\\", L"f"}, m_path);
}

TEST_F(ICPathParsing, NoVolumeRoot_IsThePlatformsFailure)
{
    m_path.mf_initialize(L"\\\\srv\\share\\f", 1);
    m_local.m_errors["GetVolumePathNameW"] = DENIED;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [&] { m_path.mf_initialize(L"D:\\a", 0); }, DENIED));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [&] { m_path.mf_initialize(L"\\\\?", 0); }, ERROR_FILE_NOT_FOUND));
    mf_expect({L"", 1, L"SRV", L"SHARE", L"\\", L"f"}, m_path);
}

TEST_F(ICPathParsing, NoHostName_IsThePlatformsFailure)
{
    ICSimulatedHost const unknown(L"");
    ICImportFault const refused("GetComputerNameExW", DENIED);
    m_path.mf_initialize(L"\\\\srv\\share\\f", 1);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { m_path.mf_initialize(L"D:\\a", 0); }, DENIED));
    mf_expect({L"", 1, L"SRV", L"SHARE", L"\\", L"f"}, m_path);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { m_path.mf_initialize(SHADOW_COPY_FILE, 1); }, DENIED));
    mf_expect({L"", 1, L"", L"", L"\\", L"f"}, m_path);
}

TEST_F(ICPathParsing, PartsStoredBeforeAFailure_Stay)
{
    m_path.mf_initialize(L"\\\\srv\\share\\a\\f", 1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { m_path.mf_initialize(L"\\\\other\\e$", 1); }));
    mf_expect({L"", 1, L"OTHER", L"E:", L"\\a\\", L"f"}, m_path);
    ICCurrentDriveD const currentDrive;
    EXPECT_TRUE(f_throws(ICErrno::_E_::NotSupported, [&] { m_path.mf_initialize(L"relative", 1); }));
    mf_expect({L"", 1, L"HOST", L"D:", L"\\a\\", L"f", 1, 0}, m_path);
}

TEST_F(ICPathParsing, Answers_AreReplacedByEachLocalPath_AndLeftByUNCPaths)
{
    m_path.mf_initialize(SHADOW_COPY_FILE, 1);
    m_path.mf_initialize(L"\\\\srv\\share\\f", 1);
    mf_expect({L"", 1, L"SRV", L"SHARE", L"\\", L"f", 1, 1}, m_path);
    m_path.mf_initialize(L"N:\\f", 1);
    mf_expect({L"", 1, L"SRV", L"SHARE", L"\\", L"f", 0, 0}, m_path);
    m_path.mf_initialize(L"D:\\f", 1);
    mf_expect({L"", 1, L"HOST", L"D:", L"\\", L"f", 1, 0}, m_path);
}

TEST_F(ICPathParsing, Steps_CheckTheirOwnText)
{
    EXPECT_THAT(m_process.mf_run([&] { m_path.mf_implInitFromUNCPath(L"", 0); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_implInitFromUNCPath", "Empty path parameter"));
    for (char const form : {'D', 'U'}) {
        CString const text = form == 'D' ? L"D:\\a" : L"\\\\?\\UNC\\host\\share";
        EXPECT_THAT(m_process.mf_run([&] { m_path.mf_implInitFromUNCPath(text, 0); }),
                    f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_implInitFromUNCPath",
                            f_at("Path '@' is not an UNC path", text)));
    }
}
