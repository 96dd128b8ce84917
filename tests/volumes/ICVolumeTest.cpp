// What a volume tells, its space, its mount points, its locks.
#include "tests/support/ICFailingClose.h"
#include "tests/volumes/VolumesTest.h"

#include <optional>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

using MOUNT_POINTS = ICArray<ICMountPoint, ICMountPoint &>;

// Stands still at 2024-01-02 10:00:00.
class ICStandingClock
{
    ICImportPatch const m_patch{IC_IMPORT(GetSystemTimeAsFileTime), [](FILETIME * time) {
                                    SYSTEMTIME const now = {2024, 1, 2, 2, 10, 0, 0, 0};
                                    ::SystemTimeToFileTime(&now, time);
                                }};
};

class ICVolumeTest : public VolumesTest
{
protected:
    // With mount points "a\" to volume 2 and "b\" to volume 3.
    void mf_mountTwo() { m_first.mf_mount(L"a\\", m_machine.mf_add(2)).mf_mount(L"b\\", m_machine.mf_add(3)); }

    static ICArray<ICVolume *, ICVolume *> & mf_fill(ICArray<ICVolume *, ICVolume *> & array,
                                                     std::initializer_list<ICVolume *> volumes)
    {
        for (ICVolume * const volume : volumes)
            array.Add(volume);
        return array;
    }
};

} // namespace

TEST_F(ICVolumeTest, Letter_OfAVolumeWithoutOne_IsAWarning)
{
    m_first.m_letters.clear();
    m_machine.mf_add(9, L"C");
    ICVolume const volume(mf_id(1));
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getDriveLetter(); }),
                f_fails(ICErrno::_W_::NotSupported, 'W', "ICVolume::mf_getDriveLetter",
                        mf_text("No drive letter for volume '@'")));
}

TEST_F(ICVolumeTest, Equal_ByGuidWithCase)
{
    m_machine.mf_add(2);
    ICVolume const volume(mf_id(1));
    ICVolume same(mf_id(1));
    EXPECT_EQ(1, volume == same);
    EXPECT_EQ(0, volume != same);
    EXPECT_EQ(0, volume == ICVolume(mf_id(2)));
    EXPECT_EQ(1, volume != ICVolume(mf_id(2)));
    ICVolume other(mf_id(1));
    same.m_szGUID = L"abc";
    other.m_szGUID = L"ABC";
    EXPECT_EQ(0, same == other);
}

TEST_F(ICVolumeTest, Space_AsOfTheLastUpdate)
{
    ICVolume const volume(mf_id(1));
    m_first.m_totalFree = 125'000'000'000;
    EXPECT_EQ(500'000'000'000, volume.mf_getTotalNumberOfFreeBytes().mf_getValue());
    EXPECT_DOUBLE_EQ(50.0, volume.mf_getDiskUsagePercent());
    EXPECT_EQ(0, volume.mf_update());
    EXPECT_EQ(1'000'000'000'000, volume.mf_getTotalNumberOfBytes().mf_getValue());
    EXPECT_EQ(125'000'000'000, volume.mf_getTotalNumberOfFreeBytes().mf_getValue());
    EXPECT_DOUBLE_EQ(87.5, volume.mf_getDiskUsagePercent());
}

TEST_F(ICVolumeTest, VolumeGoingOfflineAndBack_AnswersOneOnceEach)
{
    ICVolume const volume(mf_id(1));
    m_first.m_isReady = false;
    EXPECT_THAT(m_process.mf_trace([&] {
        EXPECT_EQ(1, volume.mf_update());
        EXPECT_EQ(0, volume.mf_update());
    }),
                IsEmpty());
    m_first.m_isReady = true;
    EXPECT_EQ(1, volume.mf_update());
    EXPECT_EQ(0, volume.mf_update());
}

TEST_F(ICVolumeTest, Space_OfAVolumeThatIsNotReady_IsRefused)
{
    ICVolume const volume(mf_id(1));
    m_first.m_isReady = false;
    volume.mf_update();
    auto const isRefused =
        mf_failsWith(ICErrno::_E_::DeviceNotReady, "mf_implLockData", mf_text("Volume '@' is not ready"));
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getTotalNumberOfBytes(); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getTotalNumberOfFreeBytes(); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getDiskUsagePercent(); }), isRefused);
    std::thread([&] { EXPECT_EQ(ulong{WAIT_OBJECT_0}, ::WaitForSingleObject(volume.m_hMutex, 0)); }).join();
}

TEST_F(ICVolumeTest, Update_ThatFails_LeavesTheFigures)
{
    ICVolume const volume(mf_id(1));
    m_first.m_totalFree = 1;
    m_first.m_errors["GetDiskFreeSpaceExW"] = DENIED;
    EXPECT_THAT(
        m_process.mf_run([&] { volume.mf_update(); }),
        mf_failsShowing(mf_denied(ICErrno::_E_::System), "mf_update", "Failure querying free disk space for '@':\n"));
    EXPECT_EQ(500'000'000'000, volume.mf_getTotalNumberOfFreeBytes().mf_getValue());
}

TEST_F(ICVolumeTest, Update_ToNoBytes_KeepsUsageAndTime)
{
    ICVolume const volume(mf_id(1));
    ICFileTime const before = volume.m_updateTime;
    m_first.m_total = 0;
    m_first.m_totalFree = 7;
    EXPECT_THAT(
        m_process.mf_run([&] { volume.mf_update(); }),
        mf_failsWith(ICErrno::_E_::Arithmetic, "mf_update", mf_text("Total number of free bytes is 0 for '@'")));
    EXPECT_EQ(0, volume.mf_getTotalNumberOfBytes().mf_getValue());
    EXPECT_EQ(7, volume.mf_getTotalNumberOfFreeBytes().mf_getValue());
    EXPECT_DOUBLE_EQ(50.0, volume.mf_getDiskUsagePercent());
    EXPECT_EQ(before, volume.m_updateTime);
}

TEST_F(ICVolumeTest, LockThatCannotBeHad_FailsWhateverNeedsIt)
{
    ICVolume const volume(mf_id(1));
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    auto const isRefused = mf_failsWith(
        failure, "mf_implLock", mf_text(f_logged("Failure waiting for volume mutex:\n", failure) + "\nVolume: '@'"));
    ICImportFault const refused("WaitForSingleObject", ICAnswer::mf_error(DENIED, WAIT_FAILED));
    MOUNT_POINTS mountPoints;
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_update(); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getTotalNumberOfBytes(); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getMountPoints(mountPoints); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_toString(L""); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { ICVolume const copy(volume); }), isRefused);
}

TEST_F(ICVolumeTest, LockThatIsNotReleased_FailsBehindTheWork)
{
    ICVolume const volume(mf_id(1));
    m_first.m_totalFree = 1;
    auto const isRefused =
        mf_failsShowing(mf_denied(ICErrno::_E_::Synchronization), "mf_implUnlock", "Failure releasing volume mutex:\n");
    ICImportFault const refused("ReleaseMutex", DENIED);
    MOUNT_POINTS mountPoints;
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_update(); }), isRefused);
    EXPECT_EQ(1, volume.m_totalNumberOfFreeBytes.mf_getValue());
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getTotalNumberOfBytes(); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getMountPoints(mountPoints); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_toString(L""); }), isRefused);
}

TEST_F(ICVolumeTest, Update_FailureAndLockThatIsNotReleased_KeepsTheFirst)
{
    ICVolume const volume(mf_id(1));
    m_first.m_errors["GetDiskFreeSpaceExW"] = ERROR_GEN_FAILURE;
    ICImportFault const refused("ReleaseMutex", DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { volume.mf_update(); }, ERROR_GEN_FAILURE));
}

TEST_F(ICVolumeTest, AbandonedLock_CountsAsLocked)
{
    ICVolume const volume(mf_id(1));
    std::thread([&] { volume.mf_implLock(); }).join();
    EXPECT_EQ(0, volume.mf_update());
    std::thread([&] { EXPECT_EQ(ulong{WAIT_OBJECT_0}, ::WaitForSingleObject(volume.m_hMutex, 0)); }).join();
}

TEST_F(ICVolumeTest, Lock_IsRecursive)
{
    ICVolume const volume(mf_id(1));
    volume.mf_implLock();
    EXPECT_EQ(0, volume.mf_update());
    EXPECT_FALSE(volume.mf_toString(L"").IsEmpty());
    volume.mf_implUnlock();
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Synchronization, [&] { volume.mf_implUnlock(); }, ERROR_NOT_OWNER));
}

TEST_F(ICVolumeTest, Copy_SharesWhatTheSourceOwns)
{
    mf_mountTwo();
    ICVolume const volume(mf_id(1));
    {
        ICVolume const copy(volume);
        EXPECT_EQ(volume.m_hMutex, copy.m_hMutex);
        ASSERT_EQ(2, copy.m_aMountPoints.GetCount());
        EXPECT_EQ(volume.m_aMountPoints[1], copy.m_aMountPoints[1]);
        EXPECT_STREQ(volume.mf_toString(L"-"), copy.mf_toString(L"-"));
        EXPECT_EQ(1, volume == copy);
    }
    EXPECT_EQ(0, volume.mf_update()) << "the mutex is still there";
    EXPECT_STREQ(L"b\\", volume.m_aMountPoints[1]->m_szPath);
}

TEST_F(ICVolumeTest, Copy_HasFiguresOfItsOwn)
{
    ICVolume const volume(mf_id(1));
    ICVolume const copy(volume);
    m_first.m_isReady = false;
    volume.mf_update();
    EXPECT_EQ(500'000'000'000, copy.mf_getTotalNumberOfFreeBytes().mf_getValue());
}

TEST_F(ICVolumeTest, End_MutexThatCannotBeClosed_IsTracedAndTheLastErrorKept)
{
    std::optional<ICVolume> volume(std::in_place, mf_id(1));
    ICFailingClose const failing(DENIED);
    auto const end = [&] {
        ::SetLastError(4711);
        volume.reset();
        EXPECT_EQ(4711u, ::GetLastError());
    };
    EXPECT_THAT(m_process.mf_trace(end),
                ElementsAre(f_isRecord('E', "ICVolume::~ICVolume",
                                       f_logged("Failure closing mutex handle: ", ICErrno::_E_::CloseHandle, DENIED))));
    EXPECT_EQ(1u, failing.mf_getCalls());
}

TEST_F(ICVolumeTest, End_LockThatCannotBeHadOrReleased_FreesAllTheSame)
{
    mf_mountTwo();
    for (char const * const name : {"WaitForSingleObject", "ReleaseMutex"}) {
        std::optional<ICVolume> volume(std::in_place, mf_id(1));
        ICImportFault const refused(name, ICAnswer::mf_error(DENIED, name[0] == 'W' ? WAIT_FAILED : 0));
        EXPECT_EQ(1u, m_process.mf_trace([&] { volume.reset(); }).size());
    }
}

TEST_F(ICVolumeTest, MountPoints_AreCopied)
{
    mf_mountTwo();
    MOUNT_POINTS mountPoints;
    ICVolume volume(mf_id(1));
    delete std::exchange(volume.m_aMountPoints[0], nullptr);
    volume.mf_getMountPoints(mountPoints);
    ASSERT_EQ(2, mountPoints.GetCount());
    EXPECT_STREQ(L"", mountPoints[0].mf_getFullPath()) << "nothing for a null entry";
    EXPECT_STREQ(mf_id(1) + L"b\\", mountPoints[1].mf_getFullPath());
    volume.m_aMountPoints.RemoveAt(0);
}

TEST_F(ICVolumeTest, MountPoints_ArrayThatIsNotEmpty_IsRefused)
{
    ICVolume const volume(mf_id(1));
    MOUNT_POINTS mountPoints;
    mountPoints.SetSize(1);
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_getMountPoints(mountPoints); }),
                mf_failsWith(ICErrno::_E_::Parameter, "mf_getMountPoints", "Parameter array is not empty"));
    EXPECT_EQ(1, mountPoints.GetCount());
}

TEST_F(ICVolumeTest, SecondPass_LinksTheMountedVolumes)
{
    mf_mountTwo();
    ICVolume volume(mf_id(1)), second(mf_id(2)), third(mf_id(3)), alsoThird(mf_id(3));
    ICArray<ICVolume *, ICVolume *> volumes;
    mf_fill(volumes, {&volume, nullptr, &third, &alsoThird, &second});
    EXPECT_THAT(m_process.mf_trace([&] { volume.mf_implInitializeMountPoints2(volumes); }), IsEmpty());
    EXPECT_EQ(&second, volume.m_aMountPoints[0]->m_pMountedVolume);
    EXPECT_EQ(&third, volume.m_aMountPoints[1]->m_pMountedVolume) << "the first in order";
}

TEST_F(ICVolumeTest, SecondPass_VolumeThatIsNotThere_WarnsAndKeepsTheOldLink)
{
    mf_mountTwo();
    ICVolume volume(mf_id(1)), second(mf_id(2)), third(mf_id(3));
    ICArray<ICVolume *, ICVolume *> volumes;
    mf_fill(volumes, {&third});
    EXPECT_THAT(m_process.mf_trace([&] { volume.mf_implInitializeMountPoints2(volumes); }),
                ElementsAre(f_isRecord('W', "ICVolume::mf_implInitializeMountPoints2",
                                       mf_text("Volume mounted at mount path '@a\\' not found.\nContinuing ..."))));
    EXPECT_EQ(nullptr, volume.m_aMountPoints[0]->m_pMountedVolume);
    EXPECT_EQ(&third, volume.m_aMountPoints[1]->m_pMountedVolume) << "the walk goes on";
    volume.m_aMountPoints[0]->mf_setMountedVolume(&second);
    volume.mf_implInitializeMountPoints2(volumes);
    EXPECT_EQ(&second, volume.m_aMountPoints[0]->m_pMountedVolume);
}

TEST_F(ICVolumeTest, SecondPass_AnotherVolumeThanBefore_WarnsAndLinksIt)
{
    mf_mountTwo();
    ICVolume volume(mf_id(1)), second(mf_id(2)), third(mf_id(3));
    volume.m_aMountPoints[0]->mf_setMountedVolume(&third);
    ICArray<ICVolume *, ICVolume *> volumes;
    mf_fill(volumes, {&second, &third});
    EXPECT_THAT(m_process.mf_trace([&] { volume.mf_implInitializeMountPoints2(volumes); }),
                ElementsAre(f_isRecord('W', "ICMountPoint::mf_setMountedVolume",
                                       "Mount point will be set to a different volume:\nOld volume: '" + mf_guid(3) +
                                           "'\nNew volume: '" + mf_guid(2) + "'\n")));
    EXPECT_EQ(&second, volume.m_aMountPoints[0]->m_pMountedVolume);
}

TEST_F(ICVolumeTest, SecondPass_TargetThatCannotBeAsked_EndsIt)
{
    mf_mountTwo();
    ICVolume volume(mf_id(1)), third(mf_id(3));
    ICArray<ICVolume *, ICVolume *> volumes;
    mf_fill(volumes, {&third});
    ICImportFault const refused("GetVolumeNameForVolumeMountPointW", DENIED, ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([&] { volume.mf_implInitializeMountPoints2(volumes); }),
                mf_failsWith(ICErrno::_E_::Initialization, "mf_implInitializeMountPoints2",
                             f_logged(mf_text("Failure initializing mount point 'a\\' of volume '@':\n"),
                                      ICErrno::_E_::FileSystem, DENIED)));
    EXPECT_EQ(nullptr, volume.m_aMountPoints[1]->m_pMountedVolume);
}

TEST_F(ICVolumeTest, ShortString_IsTheIdPath)
{
    EXPECT_STREQ(mf_id(1), ICVolume(mf_id(1)).mf_toShortString());
}

TEST_F(ICVolumeTest, String_TellsEveryFact)
{
    ICStandingClock const clock;
    m_first.m_label = L"100%";
    ICVolume const volume(mf_id(1));
    EXPECT_STREQ(L"> Drive type:             3 (DRIVE_FIXED)\r\n"
                 L"> Drive letter:           'D:\\'\r\n> Mount points:           (none)\r\n"
                 L"> Volume id:              \\\\?\\Volume{00000000-0000-4000-8000-000000000001}\\\r\n"
                 L"> Volume label:           '100%'\r\n> File system:            NTFS\r\n"
                 L"> Serial number:          0x00000001\r\n> File system flags:      0x03e700ff\r\n"
                 L"> Max. name length:       255\r\n> Sectors per cluster:    8\r\n"
                 L"> Bytes per sector:       512\r\n> Cluster size (bytes):   4096\r\n"
                 L"> Capacity (bytes):       1000000000000\r\n> Available (bytes):      400000000000\r\n"
                 L"> Free in total (bytes):  500000000000\r\n> Space used:             50.0000 %\r\n"
                 L"> Recorded:               2024-01-02 10:00:00\r\n"
                 L"> Updated:                2024-01-02 10:00:00",
                 volume.mf_toString(L"> "));
}

TEST_F(ICVolumeTest, String_TellsMountPointsAndWhereThereIsNoLetter)
{
    mf_mountTwo();
    m_first.m_letters.clear();
    m_machine.mf_add(9, L"C");
    ICVolume volume(mf_id(1)), second(mf_id(2));
    volume.m_aMountPoints[0]->mf_setMountedVolume(&second);
    std::string const expected = f_logged("", L"- Drive letter:           (none)\r\n"
                                              L"- Mount point   1:        '" +
                                                  mf_id(1) +
                                                  L"a\\'\r\n"
                                                  L"                        ==> '" +
                                                  mf_id(2) +
                                                  L"'\r\n"
                                                  L"- Mount point   2:        '" +
                                                  mf_id(1) +
                                                  L"b\\'\r\n"
                                                  L"                        ==> N/A\r\n- Volume id:");
    EXPECT_THAT(f_logged("", volume.mf_toString(L"- ")), testing::HasSubstr(expected));
}

TEST_F(ICVolumeTest, String_OfAVolumeThatIsNotReady_HasTheLastFigures)
{
    ICVolume const volume(mf_id(1));
    m_first.m_isReady = false;
    volume.mf_update();
    EXPECT_THAT(f_logged("", volume.mf_toString(L"")), testing::HasSubstr("1000000000000"));
}
