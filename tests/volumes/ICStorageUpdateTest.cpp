// The storage follows its machine: space, new volumes, what is mounted where.
#include "tests/volumes/StorageTest.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr char UPDATE[] = "mf_update";
constexpr char STEPS[] = "mf_implUpdate";
constexpr char COMPARISON[] = "mf_implIsVolumeRegistered";
constexpr char NEW_VOLUMES[] = "mf_implAddNewVolumes";
constexpr char RELATIONS[] = "mf_implUpdateVolumeRelations";

class ICStorageUpdate : public StorageTest
{
protected:
    ICTracedAction mf_tryToUpdate() const
    {
        return m_process.mf_run([] { ICStorage::mf_update(1); });
    }

    // An update that failed while it looked for new volumes.
    static auto mf_failsForNewVolumes(ICErrno const & failure)
    {
        return AllOf(mf_fails(failure, STEPS, mf_shown("Failure add new volumes: ", failure)),
                     mf_fails(failure, UPDATE, mf_shown("Failure updating volumes: ", failure)));
    }

    static ICVolume const * mf_mountedAt(INT_PTR volume, INT_PTR mountPoint)
    {
        return ICStorage::m_pThis->m_aVolumes[volume]->m_aMountPoints[mountPoint]->m_pMountedVolume;
    }
};

} // namespace

TEST_F(ICStorageUpdate, SpaceOnly_DoesNotLookForVolumes)
{
    mf_start();
    m_machine.mf_add(2);
    m_first.m_totalFree = 1;
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_EQ(0, ICStorage::mf_update(0)); }), IsEmpty());
    EXPECT_EQ(1, ICStorage::mf_getVolume(1)->mf_getTotalNumberOfFreeBytes().mf_getValue());
    EXPECT_EQ(NUMBERS{1}, mf_numbers());
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindFirstVolumeW"));
}

TEST_F(ICStorageUpdate, VolumeThatGoesOfflineAndComesBack_IsAChangeOnceEach)
{
    m_machine.mf_add(2);
    mf_start();
    m_first.m_isReady = false;
    EXPECT_EQ(1, ICStorage::mf_update(0));
    EXPECT_EQ(0, ICStorage::mf_update(0));
    EXPECT_EQ(0, ICStorage::mf_update(1));
    m_first.m_isReady = true;
    EXPECT_EQ(1, ICStorage::mf_update(1));
    EXPECT_EQ(0, ICStorage::mf_update(1));
    EXPECT_EQ((NUMBERS{1, 2}), mf_numbers());
}

TEST_F(ICStorageUpdate, VolumeThatFails_IsToldAndTheNextOneFollows)
{
    m_machine.mf_add(2);
    ICSimulatedVolume & third = m_machine.mf_add(3);
    mf_start();
    m_machine.mf_remove(2);
    m_first.m_errors["GetDiskFreeSpaceExW"] = DENIED;
    third.m_totalFree = 3;
    auto const isTold = [](ulong number, ulong systemError) {
        return mf_isRecord('E', STEPS,
                           mf_shown("Failure updating volume '@':\n", ICErrno(ICErrno::_E_::System, systemError),
                                    "\nContinuing...", number));
    };
    auto const records = m_process.mf_trace([] { EXPECT_EQ(0, ICStorage::mf_update(0)) << "a failure is no change"; });
    EXPECT_THAT(mf_of(STEPS, records), ElementsAre(isTold(1, DENIED), isTold(2, ERROR_FILE_NOT_FOUND)));
    EXPECT_EQ(3, ICStorage::mf_getVolume(3)->mf_getTotalNumberOfFreeBytes().mf_getValue());
}

TEST_F(ICStorageUpdate, NewVolumes_AreAddedBehindTheOthersOnce)
{
    ICStorage const & storage = mf_start();
    ICVolume const * const first = storage.m_aVolumes[0];
    m_machine.mf_add(3);
    m_machine.mf_add(2);
    EXPECT_EQ(1, ICStorage::mf_update(1));
    EXPECT_EQ((NUMBERS{1, 3, 2}), mf_numbers());
    EXPECT_EQ(0, ICStorage::mf_update(1));
    EXPECT_EQ((NUMBERS{1, 3, 2}), mf_numbers());
    EXPECT_EQ(first, storage.m_aVolumes[0]) << "those that were there stay the same";
}

TEST_F(ICStorageUpdate, AnyNumberButZero_LooksForVolumes)
{
    mf_start();
    m_machine.mf_add(2);
    EXPECT_EQ(1, ICStorage::mf_update(-7));
}

TEST_F(ICStorageUpdate, MachineWhoseVolumesAllHaveGone_IsNoFailure)
{
    mf_start();
    m_machine.mf_remove(1);
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_EQ(0, ICStorage::mf_update(1)); }),
                AllOf(Contains(mf_isRecord('D', "mf_implFindVolumes", "Found 1 volume id(s)")),
                      Not(Contains(testing::Field("level", &ICTraceRecord::m_level, 'S')))));
    EXPECT_EQ(NUMBERS{1}, mf_numbers()) << "the storage's own";
}

TEST_F(ICStorageUpdate, ScanThatFails_TakesNothing)
{
    mf_start();
    m_machine.mf_add(2);
    m_machine.mf_add(3).m_errors["GetDiskFreeSpaceW"] = DENIED;
    ICErrno const failure = mf_denied(ICErrno::_E_::System);
    ICImportFault const closes("CloseHandle");
    ICTracedAction const outcome = mf_tryToUpdate();
    EXPECT_EQ(3u, closes.mf_getCalls()) << "each volume that was built";
    EXPECT_THAT(outcome,
                AllOf(mf_failsForNewVolumes(failure),
                      mf_fails(failure, NEW_VOLUMES, mf_shown("Failure scanning for NTFS/ReFS volumes: ", failure))));
    EXPECT_EQ(NUMBERS{1}, mf_numbers());
    EXPECT_EQ(0u, m_machine.mf_getOpenSearches());
}

TEST_F(ICStorageUpdate, ScanThatFails_LeavesTheRelations)
{
    m_first.mf_mount(L"a\\", m_machine.mf_add(2));
    m_machine.mf_add(3);
    mf_start();
    m_first.m_mountPoints[0].m_target = ICSimulatedMachine::mf_idPathOf(3);
    ICImportFault const refused("FindFirstVolumeW", DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICStorage::mf_update(1); }, DENIED));
    EXPECT_EQ(ICStorage::mf_getVolume(2), mf_mountedAt(0, 0));
}

// Of the first volume three drive types are asked: to validate it, to build it, and that of its letter.
TEST_F(ICStorageUpdate, VolumeThatVanishesBeforeItIsLookedAt_IsSkipped)
{
    mf_start();
    m_machine.mf_add(2);
    m_machine.mf_add(3);
    m_machine.mf_before("GetDriveTypeW", m_machine.mf_getCalls("GetDriveTypeW") + 4,
                        [this] { m_machine.mf_remove(2); });
    EXPECT_EQ(1, ICStorage::mf_update(1));
    EXPECT_EQ((NUMBERS{1, 3}), mf_numbers());
}

TEST_F(ICStorageUpdate, VolumeThatVanishesWhileItIsBuilt_EndsTheScan)
{
    mf_start();
    m_machine.mf_add(2);
    m_machine.mf_before("GetDriveTypeW", m_machine.mf_getCalls("GetDriveTypeW") + 5,
                        [this] { m_machine.mf_remove(2); });
    EXPECT_THAT(mf_tryToUpdate(), mf_failsForNewVolumes(ICErrno::_E_::FileSystem));
    EXPECT_EQ(NUMBERS{1}, mf_numbers());
}

TEST_F(ICStorageUpdate, TargetThatComesLater_IsLinked)
{
    m_first.m_mountPoints.push_back({L"a\\", ICSimulatedMachine::mf_idPathOf(2)});
    EXPECT_THAT(m_process.mf_trace([] { mf_start(); }),
                Contains(f_isRecord('W', "ICVolume::mf_implInitializeMountPoints2",
                                    mf_text("Volume mounted at mount path '@a\\' not found.\nContinuing ..."))));
    EXPECT_EQ(nullptr, mf_mountedAt(0, 0));
    m_machine.mf_add(2);
    EXPECT_EQ(1, ICStorage::mf_update(1));
    EXPECT_EQ(ICStorage::mf_getVolume(2), mf_mountedAt(0, 0));
}

TEST_F(ICStorageUpdate, Relations_FollowAlsoWithoutANewVolume)
{
    m_first.mf_mount(L"a\\", m_machine.mf_add(2));
    m_machine.mf_add(3);
    mf_start();
    m_first.m_mountPoints[0].m_target = ICSimulatedMachine::mf_idPathOf(3);
    EXPECT_EQ(0, ICStorage::mf_update(0));
    EXPECT_EQ(ICStorage::mf_getVolume(2), mf_mountedAt(0, 0));
    EXPECT_EQ(0, ICStorage::mf_update(1));
    EXPECT_EQ(ICStorage::mf_getVolume(3), mf_mountedAt(0, 0));
}

TEST_F(ICStorageUpdate, MountPointsOfKnownVolumes_AreNotScannedAgain)
{
    ICStorage const & storage = mf_start();
    m_first.mf_mount(L"a\\", m_machine.mf_add(2).mf_mount(L"b\\", m_first));
    EXPECT_EQ(1, ICStorage::mf_update(1));
    EXPECT_EQ(0, storage.m_aVolumes[0]->m_aMountPoints.GetCount());
    EXPECT_EQ(storage.m_aVolumes[0], mf_mountedAt(1, 0));
}

// The waits of an update with one volume: the list, the volume's update, that of the volume which the scan builds, the
// count, the comparison, the end of that volume, the relations.
TEST_F(ICStorageUpdate, ComparisonThatCannotLock_Fails)
{
    mf_start();
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait(), mf_only(5));
    ICTracedAction const outcome = mf_tryToUpdate();
    EXPECT_THAT(outcome, AllOf(mf_failsForNewVolumes(failure),
                               mf_fails(failure, "mf_implLockStorage",
                                        mf_shown("Failure waiting for storage mutex: ", failure))));
    EXPECT_EQ(NUMBERS{1}, mf_numbers());
}

// The releases ahead: the list, the volume's update, two of the volume that the scan builds, the count.
TEST_F(ICStorageUpdate, ComparisonThatIsNotReleased_FailsBehindTheWork)
{
    mf_start();
    m_machine.mf_remove(1);
    m_machine.mf_add(2, L"E");
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("ReleaseMutex", DENIED, mf_only(6));
    ICTracedAction const outcome = mf_tryToUpdate();
    EXPECT_THAT(outcome, AllOf(mf_failsForNewVolumes(failure),
                               mf_fails(failure, "mf_implUnlockStorage",
                                        mf_shown("Failure releasing storage mutex: ", failure))));
    EXPECT_EQ((NUMBERS{1, 2}), mf_numbers());
}

TEST_F(ICStorageUpdate, RelationsThatCannotLock_Fail)
{
    mf_start();
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait(), mf_only(7));
    ICTracedAction const outcome = mf_tryToUpdate();
    EXPECT_THAT(outcome,
                AllOf(mf_fails(failure, RELATIONS, mf_shown("Failure re-initializing volume relations: ", failure)),
                      mf_fails(failure, STEPS, mf_shown("Failure updating volume relations: ", failure)),
                      mf_fails(failure, UPDATE, mf_shown("Failure updating volumes: ", failure))));
}

TEST_F(ICStorageUpdate, Registered_ByGuidWithCase)
{
    ICStorage & storage = mf_start();
    ICVolume same(mf_id(1));
    EXPECT_EQ(1, storage.mf_implIsVolumeRegistered(&same));
    same.m_szGUID = L"abc";
    storage.m_aVolumes[0]->m_szGUID = L"ABC";
    EXPECT_EQ(0, storage.mf_implIsVolumeRegistered(&same));
}

TEST_F(ICStorageUpdate, Registered_NullIsRefused)
{
    ICStorage const & storage = mf_start();
    EXPECT_THAT(m_process.mf_run([&] { storage.mf_implIsVolumeRegistered(nullptr); }),
                mf_fails(ICErrno::_E_::Parameter, COMPARISON, "NULL == _pVolume"));
}

TEST_F(ICStorageUpdate, Registered_NullEntry_FailsTheUpdate)
{
    ICStorage & storage = mf_start();
    storage.m_aVolumes.Add(nullptr);
    m_machine.mf_add(2);
    ICErrno const failure(ICErrno::_E_::Internal);
    EXPECT_THAT(mf_tryToUpdate(),
                AllOf(mf_fails(failure, COMPARISON, "Volume object no 1 is NULL"), mf_failsForNewVolumes(failure)));
    EXPECT_EQ((NUMBERS{1, 0}), mf_numbers());
    EXPECT_EQ(1, ICStorage::mf_isLocalPath(L"D:\\x")) << "the lock was released";
}

TEST_F(ICStorageUpdate, Walk_IsNotDisturbedByVolumesThatAreAddedMeanwhile)
{
    ICSimulatedVolume & second = m_machine.mf_add(2);
    mf_start();
    m_first.m_totalFree = 11;
    second.m_totalFree = 22;
    ulong const next = m_machine.mf_getCalls("GetDiskFreeSpaceExW") + 1;
    m_machine.mf_before("GetDiskFreeSpaceExW", next, [this] {
        for (ulong number = 3; number < 30; ++number)
            m_machine.mf_add(number);
        EXPECT_EQ(1, ICStorage::mf_update(1));
    });
    EXPECT_EQ(0, ICStorage::mf_update(0));
    EXPECT_EQ(29u, mf_numbers().size());
    EXPECT_EQ(11, ICStorage::mf_getVolume(1)->mf_getTotalNumberOfFreeBytes().mf_getValue());
    EXPECT_EQ(22, ICStorage::mf_getVolume(2)->mf_getTotalNumberOfFreeBytes().mf_getValue());
}
