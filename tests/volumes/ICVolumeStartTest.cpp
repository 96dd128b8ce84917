// Building a volume: what it finds out, and each way in which that can fail.
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportPatch.h"
#include "tests/volumes/VolumesTest.h"

#include <thread>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ICVolumeStart : public VolumesTest
{
protected:
    std::vector<std::wstring> mf_paths(ICVolume const & volume) const
    {
        std::vector<std::wstring> paths;
        for (INT_PTR index = 0; index < volume.m_aMountPoints.GetCount(); ++index)
            paths.emplace_back(volume.m_aMountPoints[index]->m_szPath);
        return paths;
    }
};

// A platform call that fails while a volume is built: where that is told first, and by the step it belongs to.
struct FAILING_CALL
{
    char const * m_name;
    char const * m_function;
    char const * m_text;
    char const * m_step;
    char const * m_skipped; // not called any more
};

constexpr char MOUNT_POINTS[] = "mf_implInitializeMountPoints";
constexpr char MOUNT_POINTS_STEP[] = "Failure initializing mount points for volume '@':\n";

constexpr FAILING_CALL FAILING_CALLS[] = {
    {"FindFirstVolumeMountPointW", MOUNT_POINTS, "Failure scanning for first mount point of volume: @\n",
     MOUNT_POINTS_STEP, "GetVolumeInformationW"},
    {"FindNextVolumeMountPointW", MOUNT_POINTS, "Failure scanning for next mount point of volume: @\n",
     MOUNT_POINTS_STEP, "GetVolumeInformationW"},
    {"FindVolumeMountPointClose", MOUNT_POINTS, "Failure closing mount point search handle for volume '@':\n",
     MOUNT_POINTS_STEP, "GetVolumeInformationW"},
    {"GetVolumeInformationW", "mf_implInitializeVolumeInformation", "Failure retrieving information for volume '@':\n",
     "Failure initializing information for volume '@'\n", "GetDiskFreeSpaceW"},
    {"GetDiskFreeSpaceW", "mf_implInitializeNTFSClusterInformation",
     "Failure querying disk cluster information for '@':\n", "Failure initializing cluster data for volume '@':\n",
     "GetDiskFreeSpaceExW"},
    {"GetDiskFreeSpaceExW", "mf_update", "Failure querying free disk space for '@':\n",
     "Failure updating space information for volume '@':\n", "FindFirstVolumeW"},
};

} // namespace

TEST_F(ICVolumeStart, TakesWhatThePlatformTells)
{
    ICVolume const volume(mf_id(1));
    EXPECT_STREQ(mf_id(1), volume.mf_getIdPath());
    EXPECT_STREQ(L"00000000-0000-4000-8000-000000000001", volume.mf_getGUID());
    EXPECT_STREQ(L"D:\\", volume.mf_getDriveLetterPath());
    EXPECT_STREQ(L"NTFS", volume.mf_getFileSystemName());
    EXPECT_STREQ(L"Volume 1", volume.m_szVolumeName);
    EXPECT_EQ(1u, volume.mf_getSerialNumber());
    EXPECT_EQ(0x03e700ffu, volume.m_nFileSystemFlags);
    EXPECT_EQ(255u, volume.m_nMaxComponentLength);
    EXPECT_EQ(8u, volume.m_nSectorsPerCluster);
    EXPECT_EQ(512u, volume.m_nBytesPerSector);
    EXPECT_EQ(4096u, volume.mf_getClusterSize());
    EXPECT_EQ(1, volume.mf_hasDriveLetter());
    EXPECT_EQ(UINT{DRIVE_FIXED}, volume.m_nDriveType);
    EXPECT_EQ(1, volume.m_isReady);
    EXPECT_EQ(400'000'000'000, volume.m_freeBytesAvailable.mf_getValue());
    EXPECT_GE(volume.m_initTime, volume.m_updateTime);
    EXPECT_NE(0u, volume.m_updateTime.mf_getValue());
}

TEST_F(ICVolumeStart, GoodVolume_LeavesNoTrace)
{
    EXPECT_THAT(m_process.mf_trace([] { ICVolume const volume(mf_id(1)); }), IsEmpty());
}

TEST_F(ICVolumeStart, IdPathOfAnotherLength_IsRefusedBeforeAnyPlatformCall)
{
    ICImportFault const mutex("CreateMutexW");
    for (CString const & idPath : {mf_id(1).Left(48), mf_id(1) + L"\\", CString()}) {
        EXPECT_THAT(m_process.mf_run([&] { ICVolume const volume(idPath); }),
                    f_fails(ICErrno::_E_::Parameter, 'E', "ICVolume::ICVolume",
                            f_at("Id-Path '@' is expected to have 49 chars", idPath)));
    }
    EXPECT_EQ(0u, mutex.mf_getCalls());
    EXPECT_EQ(0u, m_machine.mf_getCalls("GetDriveTypeW"));
}

TEST_F(ICVolumeStart, Mutex_IsUnnamedAndOwnedUntilTheVolumeIsBuilt)
{
    HANDLE mutex = nullptr;
    ICImportPatch const patch(IC_IMPORT(CreateMutexW), [&](auto security, auto isOwned, auto name) {
        EXPECT_EQ(nullptr, name);
        EXPECT_TRUE(isOwned);
        return mutex = ::CreateMutexW(security, isOwned, name);
    });
    auto const waitElsewhere = [&mutex] {
        ulong answer = 0;
        std::thread([&] {
            answer = ::WaitForSingleObject(mutex, 0);
            if (answer == WAIT_OBJECT_0) ::ReleaseMutex(mutex);
        }).join();
        return answer;
    };
    m_machine.mf_before("GetDriveTypeW", 1, [&] { EXPECT_EQ(ulong{WAIT_TIMEOUT}, waitElsewhere()); });
    m_machine.mf_before("GetDiskFreeSpaceExW", 1, [&] { EXPECT_EQ(ulong{WAIT_TIMEOUT}, waitElsewhere()); });
    ICVolume const volume(mf_id(1));
    EXPECT_EQ(mutex, volume.m_hMutex);
    EXPECT_EQ(ulong{WAIT_OBJECT_0}, waitElsewhere());
}

TEST_F(ICVolumeStart, NoMutex_Fails)
{
    ICImportFault const refused("CreateMutexW", DENIED);
    EXPECT_THAT(mf_build(), mf_failsShowing(mf_denied(ICErrno::_E_::Synchronization), "ICVolume",
                                            "Failure creating volume mutex:\n"));
    EXPECT_EQ(0u, m_machine.mf_getCalls("GetDriveTypeW"));
}

TEST_F(ICVolumeStart, MutexThatIsNotReleased_FailsTheVolume)
{
    ICImportFault const refused("ReleaseMutex", DENIED, ICCalls::mf_only(2)); // the first is that of the update
    EXPECT_THAT(mf_build(), mf_failsShowing(mf_denied(ICErrno::_E_::Synchronization), "mf_implUnlock",
                                            "Failure releasing volume mutex:\n"));
}

TEST_F(ICVolumeStart, MutexThatIsNotReleased_KeepsTheEarlierFailure)
{
    m_first.m_errors["GetDiskFreeSpaceW"] = DENIED;
    ICImportFault const refused("ReleaseMutex", ERROR_NOT_OWNER);
    EXPECT_THAT(mf_build(), mf_failsShowing(mf_denied(ICErrno::_E_::System), "ICVolume",
                                            "Failure initializing cluster data for volume '@':\n"));
}

TEST_F(ICVolumeStart, NoDriveType_Fails)
{
    m_machine.mf_remove(1);
    ICErrno const failure(ICErrno::_E_::FileSystem);
    EXPECT_THAT(mf_build(),
                AllOf(mf_failsWith(failure, "mf_implGetDriveType",
                                   mf_text("Failure getting drive type for volume '@':\n"
                                           "DRIVE_UNKNOWN or DRIVE_NO_ROOT_DIR (1)")),
                      mf_failsShowing(failure, "ICVolume", "Failure initializing drive type for volume '@'\n")));
    EXPECT_EQ(0u, m_machine.mf_getCalls("GetLogicalDrives"));
}

TEST_F(ICVolumeStart, AnythingButAFixedDrive_IsNotSupported)
{
    for (UINT const driveType : {UINT{DRIVE_REMOVABLE}, UINT{DRIVE_REMOTE}, UINT{DRIVE_CDROM}, UINT{DRIVE_RAMDISK}}) {
        m_first.m_driveType = driveType;
        EXPECT_THAT(mf_build(),
                    mf_failsWith(ICErrno::_E_::NotSupported, "ICVolume", mf_text("Volume '@' is not a fixed drive")));
    }
    EXPECT_EQ(0u, m_machine.mf_getCalls("GetLogicalDrives"));
}

TEST_F(ICVolumeStart, EachCallThatFails_FailsTheVolumeAndSkipsTheRest)
{
    m_first.mf_mount(L"archive\\", m_machine.mf_add(2));
    for (FAILING_CALL const & call : FAILING_CALLS) {
        SCOPED_TRACE(call.m_name);
        m_first.m_errors = {{call.m_name, DENIED}};
        ulong const before = m_machine.mf_getCalls(call.m_skipped);
        EXPECT_THAT(mf_build(), AllOf(mf_failsShowing(mf_denied(ICErrno::_E_::System), call.m_function, call.m_text),
                                      mf_failsShowing(mf_denied(ICErrno::_E_::System), "ICVolume", call.m_step)));
        EXPECT_EQ(before, m_machine.mf_getCalls(call.m_skipped));
        EXPECT_EQ(0u, m_machine.mf_getOpenSearches());
    }
}

TEST_F(ICVolumeStart, FailedVolume_ClosesItsMutexAndSaysSoIfItCannot)
{
    m_first.m_errors["GetVolumeInformationW"] = DENIED;
    ICFailingClose const failing(ERROR_INVALID_HANDLE);
    ICTracedAction const outcome = mf_build();
    EXPECT_EQ(1u, failing.mf_getCalls());
    EXPECT_EQ(DENIED, outcome.m_originatorErrno);
    EXPECT_THAT(outcome.m_records, Contains(f_isRecord('E', "ICVolume::~ICVolume",
                                                       f_logged("Failure closing mutex handle: ",
                                                                ICErrno::_E_::CloseHandle, ERROR_INVALID_HANDLE))));
}

TEST_F(ICVolumeStart, FailsOnOneStepOnly_TheFirst)
{
    m_first.m_errors = {{"GetVolumeInformationW", DENIED}, {"GetDiskFreeSpaceW", ERROR_GEN_FAILURE}};
    EXPECT_THAT(mf_build().m_records,
                ElementsAre(f_isRecord('E', "ICVolume::mf_implInitializeVolumeInformation", testing::_),
                            f_isRecord('E', "ICVolume::ICVolume", testing::_)));
}

TEST_F(ICVolumeStart, SystemWithoutDriveLetters_Fails)
{
    ICImportFault const none("GetLogicalDrives", DENIED);
    ICErrno const failure = mf_denied(ICErrno::_E_::FileSystem);
    EXPECT_THAT(
        mf_build(),
        AllOf(mf_failsShowing(failure, "mf_implInitializeDriveLetterPath", "Failure requesting logical drives: "),
              mf_failsShowing(failure, "ICVolume", "Failure initializing drive letter for volume '@':\n")));
}

TEST_F(ICVolumeStart, TwoLetters_TheLowerOne)
{
    m_first.m_letters = L"FD";
    ICVolume const volume(mf_id(1));
    EXPECT_STREQ(L"D:\\", volume.mf_getDriveLetterPath());
    EXPECT_EQ(L'D', volume.mf_getDriveLetter());
}

TEST_F(ICVolumeStart, LettersFromFirstToLast)
{
    for (wchar_t const letter : {L'A', L'Z'}) {
        m_first.m_letters = letter;
        EXPECT_EQ(letter, ICVolume(mf_id(1)).mf_getDriveLetter());
    }
}

TEST_F(ICVolumeStart, NoLetter_IsNoFailure)
{
    m_machine.mf_add(2, L"CE");
    m_first.m_letters.clear();
    ICVolume const volume(mf_id(1));
    EXPECT_EQ(0, volume.mf_hasDriveLetter());
    EXPECT_STREQ(L"", volume.mf_getDriveLetterPath());
}

TEST_F(ICVolumeStart, LettersOfOtherDriveTypes_AreNotAskedForTheirVolume)
{
    ICSimulatedVolume & cd = m_machine.mf_add(2, L"C");
    cd.m_driveType = DRIVE_CDROM;
    cd.m_errors["GetVolumeNameForVolumeMountPointW"] = DENIED;
    EXPECT_EQ(L'D', ICVolume(mf_id(1)).mf_getDriveLetter());
    EXPECT_EQ(1u, m_machine.mf_getCalls("GetVolumeNameForVolumeMountPointW"));
}

TEST_F(ICVolumeStart, LettersBehindTheMatch_AreNotLookedAt)
{
    m_machine.mf_addEmptyLetters(L"E");
    EXPECT_EQ(L'D', ICVolume(mf_id(1)).mf_getDriveLetter());
}

TEST_F(ICVolumeStart, LetterWithoutDriveAheadOfTheMatch_FailsTheVolumeOnPurpose)
{
    m_machine.mf_addEmptyLetters(L"C");
    ICErrno const failure(ICErrno::_E_::FileSystem);
    std::string const analysis = f_logged("Failure during drive letter analysis: ", failure);
    EXPECT_THAT(
        mf_build(),
        AllOf(mf_failsWith(failure, "mf_implGetDriveType",
                           "Failure getting drive type for volume 'C:\\':\n"
                           "DRIVE_UNKNOWN or DRIVE_NO_ROOT_DIR (1)"),
              mf_failsWith(failure, "mf_implInitializeDriveLetterPath", mf_text(analysis + "\nConcerned volume: '@'")),
              mf_failsShowing(failure, "ICVolume", "Failure initializing drive letter for volume '@':\n")));
}

TEST_F(ICVolumeStart, LetterWithoutVolumeId_FailsTheVolume)
{
    m_machine.mf_add(2, L"C").m_errors["GetVolumeNameForVolumeMountPointW"] = DENIED;
    ICErrno const failure = mf_denied(ICErrno::_E_::FileSystem);
    EXPECT_THAT(
        mf_build(),
        AllOf(mf_failsShowing(failure, "mf_getVolumeIdPath", "Failure getting volume id for root path 'C:\\':\n"),
              mf_failsShowing(failure, "ICVolume", "Failure initializing drive letter for volume '@':\n")));
}

TEST_F(ICVolumeStart, NoMountPoints_OnEitherAnswer)
{
    EXPECT_THAT(mf_paths(ICVolume(mf_id(1))), IsEmpty()); // 18
    m_first.m_errors["FindFirstVolumeMountPointW"] = ERROR_PATH_NOT_FOUND;
    EXPECT_THAT(m_process.mf_trace([] { ICVolume const volume(mf_id(1)); }), IsEmpty());
    EXPECT_EQ(0u, m_machine.mf_getCalls("FindVolumeMountPointClose"));
}

TEST_F(ICVolumeStart, MountPoints_InTheOrderOfTheWalkWithoutTargets)
{
    ICSimulatedVolume const & target = m_machine.mf_add(2);
    m_first.mf_mount(L"b\\", target).mf_mount(L"a\\c\\", target);
    ICVolume const volume(mf_id(1));
    EXPECT_THAT(mf_paths(volume), ElementsAre(L"b\\", L"a\\c\\"));
    EXPECT_EQ(&volume, volume.m_aMountPoints[1]->m_pVolume);
    EXPECT_EQ(nullptr, volume.m_aMountPoints[1]->m_pMountedVolume);
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindVolumeMountPointClose"));
}

TEST_F(ICVolumeStart, ClusterStorage_IsNotListed)
{
    ICSimulatedVolume const & target = m_machine.mf_add(2);
    m_first.mf_mount(L"ClusterStorage\\Volume1\\", target).mf_mount(L"data\\", target);
    m_first.mf_mount(L"clusterstorage\\volume2\\", target);
    EXPECT_THAT(mf_paths(ICVolume(mf_id(1))), ElementsAre(L"data\\"));
    EXPECT_THAT(m_process.mf_trace([] { ICVolume const volume(mf_id(1)); }),
                AllOf(Contains(f_isRecord('T', "ICVolume::mf_isValidHSMMountPoint",
                                          "Cluster storage mount point 'ClusterStorage\\Volume1\\' skipped\n"
                                          "Shared cluster volumes are not yet supported by HSM")),
                      Contains(f_isRecord('T', "ICVolume::mf_implInitializeMountPoints",
                                          mf_text("Mount point '@clusterstorage\\volume2\\' skipped")))));
}

TEST_F(ICVolumeStart, WalkThatBreaksOff_KeepsWhatItFoundAndItsFailure)
{
    m_first.mf_mount(L"a\\", m_machine.mf_add(2));
    ICVolume volume(mf_id(1));
    m_first.m_errors = {{"FindNextVolumeMountPointW", DENIED}, {"FindVolumeMountPointClose", ERROR_GEN_FAILURE}};
    ICTracedAction const outcome = m_process.mf_run([&] { volume.mf_implInitializeMountPoints(); });
    EXPECT_THAT(outcome, mf_failsShowing(mf_denied(ICErrno::_E_::System), MOUNT_POINTS,
                                         "Failure scanning for next mount point of volume: @\n"));
    EXPECT_THAT(outcome.m_records,
                Contains(f_isRecord('E', "ICVolume::mf_implInitializeMountPoints",
                                    f_logged(mf_text("Failure closing mount point search handle for volume '@':\n"),
                                             ICErrno::_E_::System, ERROR_GEN_FAILURE))));
    EXPECT_THAT(mf_paths(volume), ElementsAre(L"a\\", L"a\\"));
}

TEST_F(ICVolumeStart, VolumeThatVanishesDuringTheWalk_Fails)
{
    m_first.mf_mount(L"a\\", m_machine.mf_add(2));
    m_machine.mf_before("FindNextVolumeMountPointW", 1, [this] { m_machine.mf_remove(1); });
    EXPECT_THAT(mf_build(), mf_failsShowing(ICErrno(ICErrno::_E_::System, ERROR_FILE_NOT_FOUND), MOUNT_POINTS,
                                            "Failure scanning for next mount point of volume: @\n"));
}

TEST_F(ICVolumeStart, ReFS_HasClustersToo)
{
    m_first.m_fileSystem = L"ReFS";
    m_first.m_sectorsPerCluster = 128;
    ICVolume const volume(mf_id(1));
    EXPECT_STREQ(L"ReFS", volume.mf_getFileSystemName());
    EXPECT_EQ(65536u, volume.mf_getClusterSize());
}

TEST_F(ICVolumeStart, DeviceThatIsNotReadyForItsSpaceAlone_GivesAVolumeThatIsNotReady)
{
    m_first.m_errors["GetDiskFreeSpaceExW"] = ERROR_NOT_READY;
    ICVolume const volume(mf_id(1));
    EXPECT_EQ(0, volume.m_isReady);
    EXPECT_EQ(0u, volume.m_updateTime.mf_getValue());
    EXPECT_NE(0u, volume.m_initTime.mf_getValue());
    EXPECT_TRUE(f_throws(ICErrno::_E_::DeviceNotReady, [&] { volume.mf_getTotalNumberOfBytes(); }));
}

TEST_F(ICVolumeStart, DeviceThatIsNotReadyBefore_FailsTheVolume)
{
    m_first.m_isReady = false;
    EXPECT_THAT(mf_build(), mf_failsShowing(ICErrno(ICErrno::_E_::System, ERROR_NOT_READY), MOUNT_POINTS,
                                            "Failure scanning for first mount point of volume: @\n"));
}

TEST_F(ICVolumeStart, VolumeOfNoBytes_Fails)
{
    m_first.m_total = 0;
    EXPECT_THAT(mf_build(), AllOf(mf_failsWith(ICErrno::_E_::Arithmetic, "mf_update",
                                               mf_text("Total number of free bytes is 0 for '@'")),
                                  mf_failsShowing(ICErrno::_E_::Arithmetic, "ICVolume",
                                                  "Failure updating space information for volume '@':\n")));
}
