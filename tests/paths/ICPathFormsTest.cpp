// Putting the parts together again.
#include "tests/paths/PathModelTest.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr wchar_t SHADOW_COPY_FILE[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\Data\\x";
constexpr wchar_t SHADOW_COPY_DIRECTORY[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\Data\\";
constexpr wchar_t SHADOW_COPY_ROOT[] = L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy7\\";

// A text, the forms of the path, and those of its directory.
struct FORMS_OF_PATH
{
    wchar_t const * text;
    int isFile;
    wchar_t const * path;
    wchar_t const * directory;
    wchar_t const * ntfsPath;
    wchar_t const * ntfsDirectory;
    wchar_t const * uncPath;
    wchar_t const * uncDirectory;
};

FORMS_OF_PATH const FORMS_OF_PATHS[] = {
    {L"D:\\data\\x.txt", 1, L"D:\\data\\x.txt", L"D:\\data\\", L"D:\\data\\x.txt", L"D:\\data\\",
     L"\\\\HOST\\D$\\data\\x.txt", L"\\\\HOST\\D$\\data\\"},
    {L"\\\\host\\d$\\dir\\f.txt", 1, L"D:\\dir\\f.txt", L"D:\\dir\\", L"D:\\dir\\f.txt", L"D:\\dir\\",
     L"\\\\HOST\\D$\\dir\\f.txt", L"\\\\HOST\\D$\\dir\\"},
    {L"D:", 0, L"D:\\", L"D:\\", L"D:\\", L"D:\\", L"\\\\HOST\\D$\\", L"\\\\HOST\\D$\\"},
    // A drive of another machine, and a share of this one, have no NTFS form.
    {L"\\\\srv\\d$\\dir\\f", 1, L"\\\\SRV\\D$\\dir\\f", L"\\\\SRV\\D$\\dir\\", L"\\\\SRV\\D$\\dir\\f",
     L"\\\\SRV\\D$\\dir\\", L"\\\\SRV\\D$\\dir\\f", L"\\\\SRV\\D$\\dir\\"},
    {L"\\\\host\\share", 0, L"\\\\HOST\\SHARE\\", L"\\\\HOST\\SHARE\\", L"\\\\HOST\\SHARE\\", L"\\\\HOST\\SHARE\\",
     L"\\\\HOST\\SHARE\\", L"\\\\HOST\\SHARE\\"},
    {L"N:\\a\\f", 1, L"\\\\SRV\\SHARE\\a\\f", L"\\\\SRV\\SHARE\\a\\", L"\\\\SRV\\SHARE\\a\\f", L"\\\\SRV\\SHARE\\a\\",
     L"\\\\SRV\\SHARE\\a\\f", L"\\\\SRV\\SHARE\\a\\"},
    {L"\\\\\\share\\f", 1, L"\\\\\\SHARE\\f", L"\\\\\\SHARE\\", L"\\\\\\SHARE\\f", L"\\\\\\SHARE\\", L"\\\\\\SHARE\\f",
     L"\\\\\\SHARE\\"},
    {L"\\\\.\\C:\\f", 1, L"\\\\.\\C$\\f", L"\\\\.\\C$\\", L"\\\\.\\C$\\f", L"\\\\.\\C$\\", L"\\\\.\\C$\\f",
     L"\\\\.\\C$\\"},
    // A shadow copy has one form.
    {SHADOW_COPY_FILE, 1, SHADOW_COPY_FILE, SHADOW_COPY_DIRECTORY, SHADOW_COPY_FILE, SHADOW_COPY_DIRECTORY,
     SHADOW_COPY_FILE, SHADOW_COPY_DIRECTORY},
    {SHADOW_COPY, 0, SHADOW_COPY_ROOT, SHADOW_COPY_ROOT, SHADOW_COPY_ROOT, SHADOW_COPY_ROOT, SHADOW_COPY_ROOT,
     SHADOW_COPY_ROOT},
};

// Texts whose forms, parsed again, give the same forms.
wchar_t const * const ROUND_TRIPS[] = {
    L"D:\\data\\x.txt",
    L"d:\\data\\x.txt",
    L"D:\\",
    L"D:",
    L"D:x",
    L"D:x\\y",
    L"D:/a/f",
    L"\\\\?\\D:\\data\\x",
    L"D:\\dir. \\f. ",
    L"D:\\NUL",
    L"D:\\AUX\\COM1.txt",
    L"D:\\a\\..\\.\\b",
    L"D:\\a\\\\b",
    L"D:\\f.txt:stream",
    L"D:\\\xD83D\xDE00\\\xD83D\xDE01",
    L"D:\\\xDE00\\\xD83D",
    L"D:\\archive\\f",
    L"\\\\host\\d$\\dir\\f",
    L"\\\\host\\d:\\dir\\f",
    L"\\\\host\\q$\\dir\\f",
    L"\\\\host\\share\\f",
    L"\\\\host\\share",
    L"\\\\host\\share\\",
    L"\\\\?\\UNC\\host\\share\\f",
    L"\\\\srv\\d$\\a\\b\\f",
    L"\\\\srv\\$$\\f",
    L"\\\\srv\\d$x\\f",
    L"\\\\srv\\\\f",
    L"\\\\\\share\\f",
    L"\\\\\\\\",
    L"\\\\.\\C:\\f",
    L"\\\\.\\PhysicalDrive0",
    L"\\\\host.example.org\\share\\a/b\\f",
    L"\\\\192.168.0.1\\d$\\f",
    L"\\\\srv\\\xD83D\xDE00\\\xD83D\xDE01",
    L"N:\\a\\f",
    L"N:",
    SHADOW_COPY,
    SHADOW_COPY_FILE,
};

using FORM = CString (ICPath::*)() const;

FORM const PATH_FORMS[] = {&ICPath::mf_getPath, &ICPath::mf_getNTFSPath, &ICPath::mf_getUNCPath};
FORM const ALL_FORMS[] = {&ICPath::mf_getPath,           &ICPath::mf_getDirectory,          &ICPath::mf_getNTFSPath,
                          &ICPath::mf_getUNCPath,        &ICPath::mf_getNTFSDirectory,      &ICPath::mf_getUNCDirectory,
                          &ICPath::mf_getShadowCopyPath, &ICPath::mf_getShadowCopyDirectory};

class ICPathForms : public PathModelTest
{
protected:
    static void mf_expectSameForms(ICPath const & expected, ICPath const & path)
    {
        for (FORM const form : ALL_FORMS)
            EXPECT_STREQ((expected.*form)(), (path.*form)());
        // The simulated machine knows no roots of shadow copies by id, nor those of texts such as "D:x".
        bool const hasId = expected.mf_isLocal() && !expected.mf_isShadowCopy();
        if (!hasId || expected.mf_getDirectoryPart()[0] != L'\\') return;
        EXPECT_STREQ(expected.mf_getDriverPath(), path.mf_getDriverPath());
        EXPECT_STREQ(expected.mf_getDriverDirectory(), path.mf_getDriverDirectory());
    }
};

} // namespace

TEST_F(ICPathForms, OfPathsAsSystemsSeeThem)
{
    for (FORMS_OF_PATH const & forms : FORMS_OF_PATHS) {
        SCOPED_TRACE(testing::PrintToString(forms.text));
        ICPath const path(forms.text, forms.isFile);
        EXPECT_STREQ(forms.path, path.mf_getPath());
        EXPECT_STREQ(forms.directory, path.mf_getDirectory());
        EXPECT_STREQ(forms.ntfsPath, path.mf_getNTFSPath());
        EXPECT_STREQ(forms.ntfsDirectory, path.mf_getNTFSDirectory());
        EXPECT_STREQ(forms.uncPath, path.mf_getUNCPath());
        EXPECT_STREQ(forms.uncDirectory, path.mf_getUNCDirectory());
    }
}

TEST_F(ICPathForms, WithoutDirectory_GetABackslash)
{
    ICPath const path(L"HOST", L"D:", L"", L"");
    EXPECT_STREQ(L"D:\\", path.mf_getNTFSDirectory());
    EXPECT_STREQ(L"\\\\HOST\\D$\\", path.mf_getUNCDirectory());
    EXPECT_STREQ(L"D:\\", path.mf_getShadowCopyDirectory());
    path.mf_getUNCDirectory();
    ICPath const file(L"HOST", L"D:", L"", L"f");
    EXPECT_STREQ(L"D:\\f", file.mf_getNTFSPath());
    EXPECT_STREQ(L"\\\\HOST\\D$\\f", file.mf_getUNCPath());
    EXPECT_STREQ(L"D:\\f", file.mf_getShadowCopyPath());
}

TEST_F(ICPathForms, EmptyPath_IsOnlyDelimiters)
{
    ICPath const path;
    EXPECT_STREQ(L"\\\\\\\\", path.mf_getPath());
    EXPECT_STREQ(L"\\\\\\\\", path.mf_getUNCPath());
    EXPECT_STREQ(L"\\", path.mf_getShadowCopyPath());
}

TEST_F(ICPathForms, ShadowCopyForm_IsVolumeAndDirectory_OfAnyPath)
{
    EXPECT_STREQ(L"D:\\a\\f", ICPath(L"D:\\a\\f", 1).mf_getShadowCopyPath());
    EXPECT_STREQ(L"SHARE\\a\\f", ICPath(L"\\\\srv\\share\\a\\f", 1).mf_getShadowCopyPath());
    EXPECT_STREQ(SHADOW_COPY_DIRECTORY, ICPath(SHADOW_COPY_FILE, 1).mf_getShadowCopyDirectory());
}

TEST_F(ICPathForms, DriverForm_IsTheVolumesWithoutPrefix)
{
    m_local.mf_mount(L"archive\\", m_machine.mf_add(3));
    EXPECT_STREQ(L"Volume{00000000-0000-4000-8000-000000000001}\\a\\f", ICPath(L"D:\\a\\f", 1).mf_getDriverPath());
    EXPECT_STREQ(L"Volume{00000000-0000-4000-8000-000000000001}\\a\\", ICPath(L"D:\\a\\f", 1).mf_getDriverDirectory());
    EXPECT_STREQ(L"Volume{00000000-0000-4000-8000-000000000001}\\", ICPath(L"D:", 0).mf_getDriverPath());
    EXPECT_STREQ(L"Volume{00000000-0000-4000-8000-000000000003}\\f",
                 ICPath(L"\\\\host\\D$\\archive\\f", 1).mf_getDriverPath());
    EXPECT_EQ(1, ICPath::mf_isDriverPathName(ICPath(L"D:\\a\\f", 1).mf_getDriverPath()));
}

// The one form that is not that of the directory with the file behind: a file may be a mount point.
TEST_F(ICPathForms, DriverForm_OfAMountPoint)
{
    m_local.mf_mount(L"archive\\", m_machine.mf_add(3));
    ICPath const path(L"D:\\archive", 1);
    EXPECT_STREQ(L"Volume{00000000-0000-4000-8000-000000000001}\\", path.mf_getDriverDirectory());
    EXPECT_EQ(0, path.mf_getDriverPath().Find(L"Volume{00000000-0000-4000-8000-000000000003}\\"));
}

TEST_F(ICPathForms, DriverForm_WithoutVolumeId_Fails)
{
    ICPath const path(L"D:\\a\\f", 1);
    m_local.m_errors["GetVolumeNameForVolumeMountPointW"] = DENIED;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSystem, [&] { path.mf_getDriverPath(); }, DENIED));
    m_local.m_errors["GetVolumePathNameW"] = DENIED;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [&] { path.mf_getDriverDirectory(); }, DENIED));
}

TEST_F(ICPathForms, NTFSForm_OfWhatIsNotLocal_Warns)
{
    ICPath const path(L"\\\\srv\\share\\a\\f", 1);
    std::string const text = "Path srv='SRV' vol='SHARE' dir='\\a\\' file='f'\n"
                             "is not a local NTFS path (local shares are not considered)\n"
                             "Returning UNC path ...";
    for (FORM const form : {&ICPath::mf_getNTFSPath, &ICPath::mf_getNTFSDirectory})
        EXPECT_THAT(m_process.mf_trace([&] { (path.*form)(); }),
                    ElementsAre(f_isRecord('W', "ICPath::mf_getNTFSDirectory", text)));
    for (FORM const form : {&ICPath::mf_getPath, &ICPath::mf_getDirectory, &ICPath::mf_getUNCPath})
        EXPECT_THAT(m_process.mf_trace([&] { (path.*form)(); }), IsEmpty());
}

TEST_F(ICPathForms, UNCForm_ColonBecomesADollarSign_InAnyVolumeThatHasItSecond)
{
    EXPECT_STREQ(L"\\\\H\\X$YZ\\f", ICPath(L"H", L"X:YZ", L"", L"f").mf_getUNCPath());
    EXPECT_STREQ(L"\\\\H\\:$\\f", ICPath(L"H", L"::", L"", L"f").mf_getUNCPath());
    EXPECT_STREQ(L"\\\\\\D$\\", ICPath(L"", L"D:", L"", L"").mf_getUNCPath());
    EXPECT_STREQ(L"\\\\H\\:\\:\\f", ICPath(L"H", L":", L"\\:\\", L"f").mf_getUNCPath());
}

TEST_F(ICPathForms, WithoutServer_FailOnce)
{
    ICPath const path(L"\\\\\\D$\\f", 1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { path.mf_getPath(); }));
    EXPECT_STREQ(L"\\\\\\D$\\f", path.mf_getPath());
}

TEST_F(ICPathForms, KeptAnswers_DecideTheForm)
{
    ICPath path(SHADOW_COPY_FILE, 1);
    path.mf_initialize(L"\\\\srv\\share\\f", 1);
    EXPECT_STREQ(L"SHARE\\f", path.mf_getPath());
    EXPECT_STREQ(L"SHARE\\f", path.mf_getUNCPath());
    path.mf_reset();
    path.mf_initialize(L"\\\\srv\\share\\f", 1);
    EXPECT_EQ(0, path.mf_isLocal());
    // Deliberate: that it was a shadow copy is not forgotten.
    EXPECT_STREQ(L"SHARE\\f", path.mf_getPath());
}

TEST_F(ICPathForms, PathForms_AreTheirDirectoryFormsAndTheFile)
{
    for (wchar_t const * text : ROUND_TRIPS) {
        SCOPED_TRACE(testing::PrintToString(text));
        ICPath const path(text, 0);
        ICPath withFile(path);
        withFile.mf_setFilePart(L"f.txt");
        EXPECT_STREQ(path.mf_getDirectory() + L"f.txt", withFile.mf_getPath());
        EXPECT_STREQ(path.mf_getNTFSDirectory() + L"f.txt", withFile.mf_getNTFSPath());
        EXPECT_STREQ(path.mf_getUNCDirectory() + L"f.txt", withFile.mf_getUNCPath());
        EXPECT_STREQ(path.mf_getShadowCopyDirectory() + L"f.txt", withFile.mf_getShadowCopyPath());
    }
}

TEST_F(ICPathForms, RoundTrip_EachFormParsedAgain_ComposesTheSameForms)
{
    for (wchar_t const * text : ROUND_TRIPS)
        for (int const isFile : {0, 1}) {
            SCOPED_TRACE(testing::PrintToString(text) + (isFile ? " as file" : " as directory"));
            ICPath path;
            auto const outcome = m_process.mf_run([&] { path.mf_initialize(text, isFile); });
            bool const hasNoFile = outcome.m_failure.has_value();
            if (hasNoFile || path.mf_getDirectoryPart()[0] != L'\\') continue;
            for (FORM const form : PATH_FORMS)
                mf_expectSameForms(path, ICPath((path.*form)(), path.mf_isFile()));
        }
}

TEST_F(ICPathForms, RoundTrip_LongNames)
{
    CString path = L"D:";
    for (int const length : {1, 254, 255, 256, 1000})
        path += L"\\" + CString(L'n', length);
    EXPECT_STREQ(path, ICPath(path, 1).mf_getPath());
    EXPECT_STREQ(path, ICPath(ICPath(path, 1).mf_getUNCPath(), 1).mf_getNTFSPath());
}

TEST_F(ICPathForms, RoundTrip_DriverForm_DoesNotComeBack)
{
    ICCurrentDriveD const currentDrive;
    CString const path = L"Volume{00000000-0000-4000-8000-000000000001}\\a\\f";
    for (CString const & text : {path, L"\\\\?\\" + path})
        EXPECT_TRUE(f_throws(ICErrno::_E_::NotSupported, [&] { ICPath().mf_initialize(text, 1); }));
}

// Deliberate: the directory of a text such as "D:x" has no backslash ahead, so the UNC form runs it into the volume.
TEST_F(ICPathForms, RoundTrip_DriveWithoutBackslash_ComesBackByItsNTFSFormOnly)
{
    for (wchar_t const * text : {L"D:x\\", L"D:x\\y\\", L"D:/a/f\\"}) {
        ICPath const path(text, 0);
        EXPECT_STREQ(text, path.mf_getPath());
        EXPECT_STREQ(text, ICPath(path.mf_getPath(), 0).mf_getPath());
    }
    EXPECT_STREQ(L"\\\\HOST\\D$x\\", ICPath(L"D:x", 0).mf_getUNCPath());
    EXPECT_STREQ(L"D$X", ICPath(ICPath(L"D:x", 0).mf_getUNCPath(), 0).mf_getVolumePart());
}

// Deliberate: a share named like a drive with more behind is taken for local, and its UNC form has another name.
TEST_F(ICPathForms, RoundTrip_DriveWithMoreBehind_ComesBackAsAShare)
{
    ICCurrentDriveD const root;
    ICPath const path(L"\\\\host\\d:yz\\f", 1);
    EXPECT_STREQ(L"D:YZ\\f", path.mf_getPath());
    EXPECT_STREQ(L"\\\\HOST\\D$YZ\\f", path.mf_getUNCPath());
    EXPECT_STREQ(L"\\\\HOST\\D$YZ\\f", ICPath(path.mf_getUNCPath(), 1).mf_getPath());
}

// Deliberate: what was parsed on a mapped drive stays remote, also if the drive is one of this machine.
TEST_F(ICPathForms, RoundTrip_DriveMappedToThisMachine_ComesBackAsLocal)
{
    m_share.m_share = L"\\\\host\\d$";
    ICPath const path(L"N:\\f", 1);
    EXPECT_STREQ(L"\\\\HOST\\D$\\f", path.mf_getPath());
    EXPECT_STREQ(L"D:\\f", ICPath(path.mf_getPath(), 1).mf_getPath());
}
