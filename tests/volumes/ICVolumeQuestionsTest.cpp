// The questions about any path or root: on the simulated machine, and as far as Wine has volumes on its drives.
#include "tests/volumes/VolumesTest.h"

#include <utility>

using testing::AllOf;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ICVolumeQuestions : public VolumesTest
{
protected:
    template<class QUESTION>
    ICTracedAction mf_ask(QUESTION question) const
    {
        return m_process.mf_run([&] { question(); });
    }
};

std::string const DRIVE_TYPE_OF_X = "Failure getting drive type for volume 'X:\\':\n"
                                    "DRIVE_UNKNOWN or DRIVE_NO_ROOT_DIR (1)";

} // namespace

TEST_F(ICVolumeQuestions, Root_OfAPathThatNeedNotExist)
{
    m_first.mf_mount(L"archive\\", m_machine.mf_add(2));
    EXPECT_STREQ(L"D:\\", ICVolume::mf_getVolumeRoot(L"D:\\none\\x"));
    EXPECT_STREQ(L"D:\\archive\\", ICVolume::mf_getVolumeRoot(L"D:\\archive\\x"));
}

TEST_F(ICVolumeQuestions, Root_Buffers)
{
    ICImportPatch const patch(IC_IMPORT(GetVolumePathNameW), [](auto, auto root, auto length) {
        EXPECT_EQ(260u, length);
        std::fill_n(root, length - 1, L'x');
        return TRUE;
    });
    EXPECT_EQ(259, ICVolume::mf_getVolumeRoot(L"D:\\").GetLength());
}

TEST_F(ICVolumeQuestions, Root_OfUnknownPath_Fails)
{
    EXPECT_THAT(mf_ask([] { ICVolume::mf_getVolumeRoot(L"X:\\a"); }),
                mf_failsShowing(ICErrno(ICErrno::_E_::Path, ERROR_FILE_NOT_FOUND), "mf_getVolumeRoot",
                                "Could not obtain the volume path for 'X:\\a':\n"));
}

TEST_F(ICVolumeQuestions, VolumeId_OfARoot)
{
    EXPECT_STREQ(mf_id(1), ICVolume::mf_getVolumeIdPath(L"D:\\"));
    EXPECT_THAT(mf_ask([] { ICVolume::mf_getVolumeIdPath(L"D:"); }),
                mf_failsShowing(ICErrno(ICErrno::_E_::FileSystem, ERROR_INVALID_NAME), "mf_getVolumeIdPath",
                                "Failure getting volume id for root path 'D:':\n"));
}

TEST_F(ICVolumeQuestions, VolumeId_Buffer)
{
    ICImportPatch const patch(IC_IMPORT(GetVolumeNameForVolumeMountPointW), [](auto, auto idPath, auto length) {
        EXPECT_EQ(261u, length);
        std::fill_n(idPath, length - 1, L'x');
        return TRUE;
    });
    EXPECT_EQ(260, ICVolume::mf_getVolumeIdPath(L"D:\\").GetLength());
}

TEST_F(ICVolumeQuestions, IdPath_NamesTheSameObject)
{
    m_first.mf_mount(L"archive\\", m_machine.mf_add(2));
    EXPECT_STREQ(mf_id(1) + L"data\\x.txt", ICVolume::mf_getIdPath(L"D:\\data\\x.txt"));
    EXPECT_STREQ(mf_id(2) + L"x.txt", ICVolume::mf_getIdPath(L"D:\\archive\\x.txt"));
    EXPECT_STREQ(mf_id(1), ICVolume::mf_getIdPath(L"D:\\"));
    EXPECT_STREQ(mf_id(1), ICVolume::mf_getIdPath(L"D:")) << "shorter than its root";
}

TEST_F(ICVolumeQuestions, IdPath_TellsWhichStepFailed)
{
    ICErrno const noRoot(ICErrno::_E_::Path, ERROR_FILE_NOT_FOUND);
    EXPECT_THAT(
        mf_ask([] { ICVolume::mf_getIdPath(L"X:\\a"); }),
        mf_failsWith(noRoot, "mf_getIdPath::2", f_logged("Failure getting volume root: ", noRoot) + "\npath='X:\\a'"));

    m_first.m_errors["GetVolumeNameForVolumeMountPointW"] = DENIED;
    ICErrno const noId = mf_denied(ICErrno::_E_::FileSystem);
    EXPECT_THAT(
        mf_ask([] { ICVolume::mf_getIdPath(L"D:\\a"); }),
        mf_failsWith(noId, "mf_getIdPath::2",
                     f_logged("Failure getting volume id path: ", noId) + "\nvolume root='D:\\'    path='D:\\a'"));
}

TEST_F(ICVolumeQuestions, FileSystem_Name)
{
    EXPECT_STREQ(L"NTFS", ICVolume::mf_getFileSystemName(L"D:\\"));
    ICImportPatch const patch(IC_IMPORT(GetVolumeInformationW),
                              [](auto, auto label, auto, auto serial, auto, auto, auto name, auto length) {
                                  EXPECT_EQ(nullptr, label);
                                  EXPECT_EQ(nullptr, serial);
                                  EXPECT_EQ(259u, length);
                                  std::fill_n(name, length - 1, L'x');
                                  return TRUE;
                              });
    EXPECT_EQ(258, ICVolume::mf_getFileSystemName(L"D:\\").GetLength());
}

TEST_F(ICVolumeQuestions, FileSystem_NotReady_IsAName)
{
    m_first.m_isReady = false;
    EXPECT_THAT(
        m_process.mf_trace([] { EXPECT_STREQ(L"DEVICE-NOT-READY", ICVolume::mf_getFileSystemName(L"D:\\")); }),
        ElementsAre(f_isRecord('I', "ICVolume::mf_getFileSystemName::2", "Volume with root='D:\\' is not ready")));
}

TEST_F(ICVolumeQuestions, FileSystem_NotRecognised_IsANameWithoutTrace)
{
    m_first.m_fileSystem.clear();
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_STREQ(L"UNKNOWN", ICVolume::mf_getFileSystemName(L"D:\\")); }),
                IsEmpty());
}

TEST_F(ICVolumeQuestions, FileSystem_OtherErrors_Fail)
{
    m_first.m_errors["GetVolumeInformationW"] = DENIED;
    EXPECT_THAT(mf_ask([] { ICVolume::mf_getFileSystemName(L"D:\\"); }),
                mf_failsShowing(mf_denied(ICErrno::_E_::FileSystem), "mf_getFileSystemName::2",
                                "Could not obtain filesystem type for volume root 'D:\\':\n"));
}

TEST_F(ICVolumeQuestions, ClusterSize)
{
    EXPECT_EQ(4096u, ICVolume::mf_getClusterSize(L"D:\\"));
    m_first.m_errors["GetDiskFreeSpaceW"] = DENIED;
    EXPECT_THAT(mf_ask([] { ICVolume::mf_getClusterSize(L"D:\\"); }),
                mf_failsShowing(mf_denied(ICErrno::_E_::System), "mf_getClusterSize::2",
                                "Failure querying volume information for volume root 'D:\\':\n"));
}

TEST_F(ICVolumeQuestions, FixedDrive)
{
    EXPECT_EQ(1, ICVolume::mf_isFixedDrive(L"D:\\"));
    m_first.m_driveType = DRIVE_REMOTE;
    EXPECT_EQ(0, ICVolume::mf_isFixedDrive(L"D:\\"));
    ICErrno const failure(ICErrno::_E_::FileSystem);
    EXPECT_THAT(
        mf_ask([] { ICVolume::mf_isFixedDrive(L"X:\\"); }),
        AllOf(mf_failsWith(failure, "mf_implGetDriveType", DRIVE_TYPE_OF_X),
              mf_failsShowing(failure, "mf_isFixedDrive", "Failure requesting drive type for volume root 'X:\\':\n")));
}

TEST_F(ICVolumeQuestions, DriveTypeZero_IsRefusedToo)
{
    m_first.m_driveType = DRIVE_UNKNOWN;
    EXPECT_THAT(mf_ask([] { ICVolume::mf_isFixedDrive(L"D:\\"); }),
                mf_failsWith(ICErrno::_E_::FileSystem, "mf_implGetDriveType",
                             "Failure getting drive type for volume 'D:\\':\n"
                             "DRIVE_UNKNOWN or DRIVE_NO_ROOT_DIR (0)"));
}

TEST_F(ICVolumeQuestions, DriveTypes_HaveNames)
{
    wchar_t const * const names[] = {L"DRIVE_UNKNOWN", L"DRIVE_NO_ROOT_DIR", L"DRIVE_REMOVABLE", L"DRIVE_FIXED",
                                     L"DRIVE_REMOTE",  L"DRIVE_CDROM",       L"DRIVE_RAMDISK"};
    unsigned int driveType = 0;
    for (wchar_t const * const name : names)
        EXPECT_STREQ(name, ICVolume::mf_implGetDriveTypeString(driveType++));
}

TEST_F(ICVolumeQuestions, UnknownDriveType_IsDriveUnknown)
{
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_STREQ(L"DRIVE_UNKNOWN", ICVolume::mf_implGetDriveTypeString(7)); }),
                ElementsAre(f_isRecord('E', "ICVolume::mf_implGetDriveTypeString",
                                       "Drive type string could not be found: 7\nReturning 'DRIVE_UNKNOWN'")));
}

TEST_F(ICVolumeQuestions, ValidVolume_ByCharacter)
{
    for (wchar_t const letter : {L'a', L'Z', L'C'})
        EXPECT_EQ(1, ICVolume::mf_isValidVolume(letter));
    for (wchar_t const other : {L'1', L'$', L'\\', L'\0'})
        EXPECT_EQ(0, ICVolume::mf_isValidVolume(other));
}

TEST_F(ICVolumeQuestions, ValidVolume_ByText)
{
    for (wchar_t const * const text : {L"C", L"c", L"C$", L"C:"})
        EXPECT_EQ(1, ICVolume::mf_isValidVolume(CString(text))) << f_logged("", text);
    for (wchar_t const * const text : {L"C:\\", L"CD", L"C\\", L"C$\\", L"Volume{"})
        EXPECT_EQ(0, ICVolume::mf_isValidVolume(CString(text))) << f_logged("", text);
}

TEST_F(ICVolumeQuestions, ValidVolume_ThatCannotBeOne_IsRefused)
{
    EXPECT_THAT(mf_ask([] { ICVolume::mf_isValidVolume(CString()); }),
                mf_failsWith(ICErrno::_E_::Parameter, "mf_isValidVolume::2", "Volume parameter is empty"));
    for (wchar_t const * const text : {L"1", L"\\\\HOST\\C$", L":"})
        EXPECT_THAT(mf_ask([text] { ICVolume::mf_isValidVolume(CString(text)); }),
                    mf_failsWith(ICErrno::_E_::Formatting, "mf_isValidVolume::2",
                                 f_at("First character of volume '@' is not valid", text)));
}

TEST_F(ICVolumeQuestions, HSMVolume_IsFixedWithNTFSOrReFS)
{
    for (auto const & [name, isValid] : {std::pair(L"NTFS", 1), {L"ReFS", 1}, {L"REFS", 0}, {L"FAT32", 0}}) {
        m_first.m_fileSystem = name;
        EXPECT_EQ(isValid, ICVolume::mf_isValidHSMVolume(L"D:\\")) << f_logged("", name);
    }
}

TEST_F(ICVolumeQuestions, HSMVolume_ThatIsNone_IsTraced)
{
    auto const ask = [] { EXPECT_EQ(0, ICVolume::mf_isValidHSMVolume(L"D:\\")); };
    auto const isTraced = [](char const * text) {
        return ElementsAre(f_isRecord('T', "ICVolume::mf_isValidHSMVolume", text));
    };
    m_first.m_fileSystem = L"FAT32";
    EXPECT_THAT(m_process.mf_trace(ask), isTraced("Volume 'D:\\' type 'FAT32' is not NTFS nor ReFS"));
    m_first.m_fileSystem.clear();
    EXPECT_THAT(m_process.mf_trace(ask), isTraced("Volume 'D:\\' type 'UNKNOWN' is not NTFS nor ReFS"));
    m_first.m_driveType = DRIVE_CDROM;
    EXPECT_THAT(m_process.mf_trace(ask), isTraced("Volume 'D:\\' is not a fixed drive"));
}

TEST_F(ICVolumeQuestions, HSMVolume_FailsOnEitherStep)
{
    char const text[] = "Failure requesting file system type of volume 'D:\\':\n";
    m_first.m_errors["GetVolumeInformationW"] = DENIED;
    EXPECT_THAT(mf_ask([] { ICVolume::mf_isValidHSMVolume(L"D:\\"); }),
                mf_failsShowing(mf_denied(ICErrno::_E_::FileSystem), "mf_isValidHSMVolume", text));
    m_machine.mf_remove(1);
    EXPECT_THAT(mf_ask([] { ICVolume::mf_isValidHSMVolume(L"D:\\"); }),
                mf_failsShowing(ICErrno::_E_::FileSystem, "mf_isValidHSMVolume", text));
}

TEST_F(ICVolumeQuestions, MountPoints_OfClusterStorageAreNotValid)
{
    for (wchar_t const * const path :
         {L"ClusterStorage\\Volume1", L"clusterstorage\\volume2\\", L"CLUSTERSTORAGE\\VOLUME"})
        EXPECT_EQ(0, ICVolume::mf_isValidHSMMountPoint(path)) << f_logged("", path);
    for (wchar_t const * const path : {L"ClusterStorage\\Volum", L"data\\ClusterStorage\\Volume1", L"data\\", L""})
        EXPECT_EQ(1, ICVolume::mf_isValidHSMMountPoint(path)) << f_logged("", path);
}

TEST_F(ICVolumeQuestions, Maches_ButForCaseAndBackslashesAtTheEnd)
{
    EXPECT_EQ(1, ICVolume::mf_maches(L"D:\\\\", L"d:"));
    EXPECT_EQ(1, ICVolume::mf_maches(L"", L"\\\\"));
    EXPECT_EQ(1, ICVolume::mf_maches(mf_id(1).MakeUpper(), mf_id(1)));
    EXPECT_EQ(0, ICVolume::mf_maches(L"D:\\", L"E:\\"));
    EXPECT_EQ(0, ICVolume::mf_maches(L"\\D:", L"D:"));
}

// On the drives that are there.

TEST(ICVolumeOnRealDrives, SystemDrive)
{
    EXPECT_STREQ(L"C:\\", ICVolume::mf_getVolumeRoot(L"C:\\windows\\none.txt"));
    EXPECT_EQ(1, ICVolume::mf_isFixedDrive(L"C:\\"));
    EXPECT_STREQ(L"NTFS", ICVolume::mf_getFileSystemName(L"C:\\"));
    EXPECT_EQ(1, ICVolume::mf_isValidHSMVolume(L"C:\\"));
    CString const idPath = ICVolume::mf_getVolumeIdPath(L"C:\\");
    EXPECT_EQ(49, idPath.GetLength());
    EXPECT_STREQ(idPath + L"windows\\none.txt", ICVolume::mf_getIdPath(L"C:\\windows\\none.txt"));
}

TEST(ICVolumeOnRealDrives, ClusterSize_IsThatOfThePlatform)
{
    DWORD sectors = 0, bytes = 0, unused = 0;
    ASSERT_TRUE(::GetDiskFreeSpaceW(L"C:\\", &sectors, &bytes, &unused, &unused));
    EXPECT_EQ(sectors * bytes, ICVolume::mf_getClusterSize(L"C:\\"));
}

TEST(ICVolumeOnRealDrives, MissingDrive_Fails)
{
    ICTracedProcess const process;
    CString drive = L"B:\\";
    if (::GetDriveTypeW(drive) != DRIVE_NO_ROOT_DIR) GTEST_SKIP() << "there is a drive B";
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileSystem, [&] { ICVolume::mf_isFixedDrive(drive); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileSystem, [&] { ICVolume::mf_isValidHSMVolume(drive); }));
}

// Wine knows no drive type of a volume id and lists no mount points; the rest is its own.
TEST(ICVolumeOnRealDrives, Volume_OfTheSystemDrive)
{
    CString const idPath = ICVolume::mf_getVolumeIdPath(L"C:\\");
    ICImportPatch const fixed(IC_IMPORT(GetDriveTypeW),
                              [&](LPCWSTR root) { return idPath == root ? UINT{DRIVE_FIXED} : ::GetDriveTypeW(root); });
    ICImportFault const noMountPoints("FindFirstVolumeMountPointW", ERROR_NO_MORE_FILES);
    ICVolume const volume(idPath);
    DWORD serialNumber = 0;
    ULARGE_INTEGER total = {};
    ASSERT_TRUE(::GetVolumeInformationW(L"C:\\", nullptr, 0, &serialNumber, nullptr, nullptr, nullptr, 0));
    ASSERT_TRUE(::GetDiskFreeSpaceExW(L"C:\\", nullptr, &total, nullptr));
    EXPECT_EQ(serialNumber, volume.mf_getSerialNumber());
    EXPECT_EQ(total.QuadPart, static_cast<ULONG64>(volume.mf_getTotalNumberOfBytes().mf_getValue()));
    EXPECT_STREQ(L"C:\\", volume.mf_getDriveLetterPath());
    EXPECT_GT(volume.mf_getDiskUsagePercent(), 0);
    EXPECT_LE(volume.mf_getDiskUsagePercent(), 100);
    EXPECT_EQ(0, volume.mf_update());
}
