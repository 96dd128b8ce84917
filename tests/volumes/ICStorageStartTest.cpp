// The start of the storage: what it takes of a machine, and each way in which that can fail.
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportPatch.h"
#include "tests/volumes/StorageTest.h"

#include <thread>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr char CONSTRUCTOR[] = "ICStorage";
constexpr char CREATION[] = "mf_createInstance";
constexpr char SCAN[] = "mf_implFindVolumes";
constexpr char INITIALIZE[] = "mf_implInitializeVolumes";
constexpr char ADD[] = "mf_implAddVolume";
constexpr char RELATIONS[] = "mf_implInitializeVolumeRelations";
constexpr char NO_VOLUMES[] = "No volumes could be made available for storage management";

class ICStorageStart : public StorageTest
{
protected:
    // The start fails as one whose scan failed with `cause`, told by each that it came through, and leaves nothing.
    // What the scan itself traces is the matter of `records`.
    template<class MATCHER = decltype(testing::_)>
    void mf_expectFailedScan(ICErrno const & cause, MATCHER const & records = testing::_)
    {
        ICErrno const failure(ICErrno::_E_::Initialization);
        ICTracedAction const outcome = mf_tryToStart();
        EXPECT_THAT(outcome,
                    AllOf(mf_fails(failure, INITIALIZE, mf_shown("Failure scanning for NTFS/ReFS volumes:\n", cause)),
                          mf_fails(failure, CONSTRUCTOR,
                                   mf_shown("Failure initializing volume information:\n", cause, "\nCleaning up ...")),
                          mf_fails(failure, CREATION, mf_shown("Failure creating storage singleton:\n", failure))));
        EXPECT_THAT(mf_of(CONSTRUCTOR, outcome.m_records), testing::SizeIs(1)) << "no volumes are told";
        EXPECT_THAT(outcome.m_records, records);
        EXPECT_EQ(0, ICStorage::mf_isInitialized());
        EXPECT_EQ(0u, m_machine.mf_getOpenSearches());
    }
};

} // namespace

TEST_F(ICStorageStart, TakesFixedDrivesWithNtfsOrReFS_InTheOrderOfTheScan)
{
    m_machine.mf_add(7).m_fileSystem = L"FAT32";
    m_machine.mf_add(3).m_fileSystem = L"ReFS";
    m_machine.mf_add(5).m_driveType = DRIVE_CDROM;
    m_machine.mf_add(2);
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
    ICStorage const & storage = mf_start();
    EXPECT_EQ(1, ICStorage::mf_isInitialized());
    EXPECT_EQ((NUMBERS{1, 3, 2}), mf_numbers(storage));
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindVolumeClose"));
}

TEST_F(ICStorageStart, EachVolume_IsToldAboutWhileScanning)
{
    m_machine.mf_add(7).m_fileSystem = L"FAT32";
    auto const records = m_process.mf_trace([] { mf_start(); });
    EXPECT_THAT(mf_of(ADD, records),
                ElementsAre(mf_isRecord('D', ADD, mf_text("Validated HSM (NTFS/ReFS) volume '@'")),
                            mf_isRecord('T', ADD,
                                        f_at("Skipping '@', not a fixed NTFS/ReFS drive or other failure", mf_id(7)))));
    EXPECT_THAT(mf_of(SCAN, records), ElementsAre(mf_isRecord('D', SCAN, "Found 1 volume id(s)")));
}

TEST_F(ICStorageStart, Volumes_AreToldAtTheInformationLevel)
{
    m_first.mf_mount(L"archive\\", m_machine.mf_add(2));
    auto const records = m_process.mf_trace([] { mf_start(); });
    auto const text = [](int index, ICVolume const * volume) {
        CString head;
        head.Format(L"Volume %2.2d related information (0x%p):\r\n", index, volume);
        return f_logged("", head + volume->mf_toString(ICLog::TAB));
    };
    CArray<ICVolume *, ICVolume *> const & volumes = ICStorage::m_pThis->m_aVolumes;
    EXPECT_THAT(mf_of(CONSTRUCTOR, records), ElementsAre(mf_isRecord('I', CONSTRUCTOR, "Detected 02 active volumes:"),
                                                         mf_isRecord('I', CONSTRUCTOR, text(0, volumes[0])),
                                                         mf_isRecord('I', CONSTRUCTOR, text(1, volumes[1]))));
}

TEST_F(ICStorageStart, MountPoints_AreLinkedToVolumesFoundBeforeAndBehind)
{
    ICSimulatedVolume & second = m_machine.mf_add(2);
    ICSimulatedVolume & third = m_machine.mf_add(3);
    second.mf_mount(L"a\\", m_first).mf_mount(L"b\\", third);
    auto const & volumes = mf_start().m_aVolumes;
    EXPECT_EQ(volumes[0], volumes[1]->m_aMountPoints[0]->m_pMountedVolume);
    EXPECT_EQ(volumes[2], volumes[1]->m_aMountPoints[1]->m_pMountedVolume);
}

TEST_F(ICStorageStart, Mutex_IsUnnamedAndOwnedUntilAllIsScanned)
{
    std::vector<HANDLE> mutexes;
    ICImportPatch const patch(IC_IMPORT(CreateMutexW), [&](auto security, auto isOwned, auto name) {
        EXPECT_EQ(nullptr, name);
        EXPECT_TRUE(isOwned);
        mutexes.push_back(::CreateMutexW(security, isOwned, name));
        return mutexes.back();
    });
    auto const waitElsewhere = [&] {
        ulong answer = 0;
        std::thread([&] {
            answer = ::WaitForSingleObject(mutexes[0], 0);
            if (answer == WAIT_OBJECT_0) ::ReleaseMutex(mutexes[0]);
        }).join();
        return answer;
    };
    m_first.mf_mount(L"a\\", m_machine.mf_add(2));
    m_machine.mf_before("FindFirstVolumeW", 1, [&] { EXPECT_EQ(ulong{WAIT_TIMEOUT}, waitElsewhere()); });
    m_machine.mf_before("FindVolumeClose", 1, [&] { EXPECT_EQ(ulong{WAIT_TIMEOUT}, waitElsewhere()); });
    mf_start();
    EXPECT_EQ(mutexes[0], ICStorage::m_pThis->m_hMutex);
    EXPECT_EQ(ulong{WAIT_OBJECT_0}, waitElsewhere());
}

TEST_F(ICStorageStart, NoMutex_Fails)
{
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("CreateMutexW", DENIED);
    ICImportFault const closes("CloseHandle");
    EXPECT_THAT(mf_tryToStart(),
                AllOf(mf_fails(failure, CONSTRUCTOR, mf_shown("Failure creating storage mutex: ", failure)),
                      mf_fails(failure, CREATION, mf_shown("Failure creating storage singleton:\n", failure))));
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
    EXPECT_EQ(0u, m_machine.mf_getCalls("FindFirstVolumeW"));
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST_F(ICStorageStart, SecondStart_IsRefusedAndLeavesTheFirst)
{
    ICStorage const & storage = mf_start();
    EXPECT_THAT(mf_tryToStart(), mf_fails(ICErrno::_E_::AlreadyInitialized, CREATION, "Singleton already initialized"));
    EXPECT_EQ(&storage, ICStorage::m_pThis);
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindFirstVolumeW"));
}

TEST_F(ICStorageStart, NoMemoryForTheStorage_IsSilentOnPurpose)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), mf_only(1));
    EXPECT_THAT(m_process.mf_trace([] { ICStorage::mf_createInstance(); }), IsEmpty());
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
}

TEST_F(ICStorageStart, NothingButFat_FailsWithTheSevereLine)
{
    m_first.m_fileSystem = L"FAT32";
    m_machine.mf_add(2).m_fileSystem = L"FAT";
    mf_expectFailedScan(ICErrno::_S_::Resource, Contains(mf_isRecord('S', SCAN, NO_VOLUMES)));
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindVolumeClose"));
}

TEST_F(ICStorageStart, MachineWithoutVolumes_FailsWithTheSevereLine)
{
    m_machine.mf_remove(1);
    mf_expectFailedScan(ICErrno::_S_::Resource, Contains(mf_isRecord('S', SCAN, NO_VOLUMES)));
    EXPECT_EQ(0u, m_machine.mf_getCalls("FindVolumeClose"));
}

TEST_F(ICStorageStart, FirstVolumeThatCannotBeFound_EndsTheScan)
{
    ICErrno const cause = mf_denied(ICErrno::_E_::System);
    ICImportFault const refused("FindFirstVolumeW", DENIED);
    mf_expectFailedScan(cause,
                        AllOf(Contains(mf_isRecord('E', SCAN, mf_shown("Failure scanning for first volume: ", cause))),
                              Not(Contains(Field("level", &ICTraceRecord::m_level, 'S')))));
    EXPECT_EQ(0u, m_machine.mf_getCalls("FindNextVolumeW"));
}

TEST_F(ICStorageStart, NextVolumeThatCannotBeFound_EndsTheScanAndFreesWhatWasFound)
{
    m_machine.mf_add(2);
    ICErrno const cause = mf_denied(ICErrno::_E_::System);
    ICImportFault const refused("FindNextVolumeW", DENIED, mf_only(2));
    mf_expectFailedScan(cause, Contains(mf_isRecord('E', SCAN, mf_shown("Failure scanning for next volume: ", cause))));
}

TEST_F(ICStorageStart, SearchThatIsNotClosed_FailsTheScan)
{
    ICErrno const cause = mf_denied(ICErrno::_E_::System);
    ICImportPatch const failing(IC_IMPORT(FindVolumeClose), [this](HANDLE search) {
        m_machine.mf_findVolumeClose(search);
        ::SetLastError(DENIED);
        return FALSE;
    });
    mf_expectFailedScan(cause,
                        Contains(mf_isRecord('E', SCAN, mf_shown("Failure closing volume search handle: ", cause))));
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindVolumeClose"));
}

TEST_F(ICStorageStart, SearchThatIsNotClosed_KeepsTheEarlierFailure)
{
    m_first.m_fileSystem = L"FAT";
    ICImportPatch const failing(IC_IMPORT(FindVolumeClose), [this](HANDLE search) {
        m_machine.mf_findVolumeClose(search);
        ::SetLastError(DENIED);
        return FALSE;
    });
    mf_expectFailedScan(ICErrno::_S_::Resource, Contains(mf_isRecord('E', SCAN,
                                                                     mf_shown("Failure closing volume search handle: ",
                                                                              mf_denied(ICErrno::_E_::System)))));
}

TEST_F(ICStorageStart, FirstVolumeThatFails_IsSkipped)
{
    m_first.m_errors["GetDiskFreeSpaceW"] = DENIED;
    m_machine.mf_add(2);
    ICErrno const cause = mf_denied(ICErrno::_E_::System);
    auto const records = m_process.mf_trace([] { mf_start(); });
    EXPECT_THAT(records,
                AllOf(Contains(mf_isRecord('E', ADD, mf_shown("Failure adding volume '@':\n", cause))),
                      Contains(mf_isRecord(
                          'E', SCAN, mf_shown("Failure adding first volume '@':\n", cause, "\nSkipping volume ...")))));
    EXPECT_EQ(NUMBERS{2}, mf_numbers());
}

TEST_F(ICStorageStart, SecondVolumeThatFails_EndsTheScanOnPurpose)
{
    m_machine.mf_add(2).m_errors["GetDiskFreeSpaceW"] = DENIED;
    m_machine.mf_add(3);
    ICErrno const cause = mf_denied(ICErrno::_E_::System);
    mf_expectFailedScan(
        cause,
        AllOf(Contains(mf_isRecord('E', ADD, mf_shown("Failure adding volume '@':\n", cause, {}, 2))),
              Contains(mf_isRecord('E', SCAN,
                                   mf_shown("Failure adding next volume '@':\n", cause, "\nSkipping volume ...", 2)))));
    EXPECT_EQ(1u, m_machine.mf_getCalls("FindNextVolumeW")) << "the third volume is not asked for";
}

TEST_F(ICStorageStart, VolumeThatCannotBeValidated_IsSkippedWhereverItStands)
{
    m_first.m_errors["GetVolumeInformationW"] = DENIED;
    m_machine.mf_add(2);
    m_machine.mf_add(3).m_errors["GetVolumeInformationW"] = DENIED;
    ICErrno const cause = mf_denied(ICErrno::_E_::FileSystem);
    auto const isSkipped = [&](ulong number) {
        return AllOf(
            Contains(mf_isRecord(
                'E', ADD, mf_shown("Failure validating volume '@':\n", cause, "    Volume will not be added", number))),
            Contains(mf_isRecord('T', ADD,
                                 f_at("Skipping '@', not a fixed NTFS/ReFS drive or other failure", mf_id(number)))));
    };
    EXPECT_THAT(m_process.mf_trace([] { mf_start(); }), AllOf(isSkipped(1), isSkipped(3)));
    EXPECT_EQ(NUMBERS{2}, mf_numbers());
}

TEST_F(ICStorageStart, VolumesThatAreNotReady_AreSkipped)
{
    m_machine.mf_add(2).m_isReady = false;
    mf_start();
    EXPECT_EQ(NUMBERS{1}, mf_numbers()) << "without a file system that is told";
}

TEST_F(ICStorageStart, NoMemoryForAVolume_SkipsTheFirstAndFailsForTheNext)
{
    m_machine.mf_add(2);
    std::string const text = "No memory for volume object instance\nVolume-root=@";
    {
        ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), mf_only(2));
        auto const records = m_process.mf_trace([] { mf_start(); });
        EXPECT_THAT(records, Contains(mf_isRecord('E', ADD, mf_text(text))));
        EXPECT_EQ(NUMBERS{2}, mf_numbers());
        ICStorage::mf_deleteInstance();
    }
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), mf_only(3));
    ICErrno const failure(ICErrno::_E_::Initialization);
    ICTracedAction const outcome = mf_tryToStart();
    EXPECT_THAT(outcome,
                AllOf(mf_fails(failure, ADD, f_at(text, mf_id(2))),
                      mf_fails(failure, INITIALIZE,
                               mf_shown("Failure scanning for NTFS/ReFS volumes:\n", ICErrno(ICErrno::_E_::Memory)))));
}

TEST_F(ICStorageStart, MountPointThatCannotBeAsked_IsToldAndTheNextVolumeFollows)
{
    m_first.mf_mount(L"a\\", m_machine.mf_add(2).mf_mount(L"b\\", m_machine.mf_add(3)));
    // Each of three volumes has asked for that behind the letter once.
    ICImportFault const refused("GetVolumeNameForVolumeMountPointW", DENIED, mf_only(4));
    EXPECT_THAT(m_process.mf_trace([] { mf_start(); }),
                Contains(mf_isRecord('E', RELATIONS,
                                     mf_shown("Failure initializing mount point targets for volume: @\n",
                                              ICErrno(ICErrno::_E_::Initialization), "\nContinuing..."))));
    auto const & volumes = ICStorage::m_pThis->m_aVolumes;
    EXPECT_EQ(nullptr, volumes[0]->m_aMountPoints[0]->m_pMountedVolume);
    EXPECT_EQ(volumes[2], volumes[1]->m_aMountPoints[0]->m_pMountedVolume);
}

// The waits of a start with one volume: that of the volume's update, the count of the scan, the relations with storage
// and volume, the volume's text.
TEST_F(ICStorageStart, RelationsThatCannotLock_FailTheStart)
{
    ICErrno const cause = mf_denied(ICErrno::_E_::Synchronization);
    ICErrno const failure(ICErrno::_E_::Initialization);
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait(), mf_only(3));
    ICTracedAction const outcome = mf_tryToStart();
    EXPECT_THAT(
        outcome,
        AllOf(mf_fails(failure, "mf_implLockStorage", mf_shown("Failure waiting for storage mutex: ", cause)),
              mf_fails(failure, CONSTRUCTOR,
                       mf_shown("Failure initializing volume relation information: ", cause, "\nCleaning up ...")),
              mf_fails(failure, CREATION, mf_shown("Failure creating storage singleton:\n", failure))));
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
}

TEST_F(ICStorageStart, VolumeThatCannotBeTold_FailsTheStart)
{
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait(), mf_only(5));
    ICTracedAction const outcome = mf_tryToStart();
    EXPECT_THAT(outcome, mf_fails(failure, CREATION, mf_shown("Failure creating storage singleton:\n", failure)));
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
}

// The releases of a start with one volume: the volume's update and construction, the count, the relations with volume
// and storage, the volume's text, and the start's own.
TEST_F(ICStorageStart, MutexThatIsNotReleased_FailsTheStart)
{
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("ReleaseMutex", DENIED, mf_only(7));
    ICTracedAction const outcome = mf_tryToStart();
    EXPECT_THAT(outcome,
                AllOf(mf_fails(failure, "mf_implUnlockStorage", mf_shown("Failure releasing storage mutex: ", failure)),
                      mf_fails(failure, CREATION, mf_shown("Failure creating storage singleton:\n", failure))));
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
}

TEST_F(ICStorageStart, MutexThatIsNotReleased_KeepsTheEarlierFailure)
{
    ICImportFault const noFirst("FindFirstVolumeW", ERROR_GEN_FAILURE);
    ICImportFault const refused("ReleaseMutex", DENIED);
    mf_expectFailedScan(ICErrno(ICErrno::_E_::System, ERROR_GEN_FAILURE));
}

TEST_F(ICStorageStart, FailedStart_ClosesEveryMutexAndSaysSoIfItCannot)
{
    m_machine.mf_add(2).m_errors["GetVolumeInformationW"] = DENIED; // skipped
    m_machine.mf_add(3).m_errors["GetDiskFreeSpaceExW"] = DENIED;   // ends the scan
    ICFailingClose const failing(ERROR_INVALID_HANDLE);
    ICTracedAction const outcome = mf_tryToStart();
    EXPECT_EQ(3u, failing.mf_getCalls()) << "two volumes and the storage";
    EXPECT_THAT(outcome.m_records,
                Contains(mf_isRecord('E', "~ICStorage",
                                     mf_shown("Failure closing mutex handle: ",
                                              ICErrno(ICErrno::_E_::CloseHandle, ERROR_INVALID_HANDLE)))));
}

TEST_F(ICStorageStart, FailedStart_ThatCannotLockForItsCleanup_FreesAllTheSame)
{
    m_machine.mf_add(2).m_errors["GetDiskFreeSpaceW"] = DENIED;
    // The wait behind that of the first volume is the storage's, for its cleanup.
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait(), ICCalls::mf_from(2));
    mf_expectFailedScan(mf_denied(ICErrno::_E_::System));
}

TEST_F(ICStorageStart, AfterAFailure_TheNextStartWorks)
{
    m_first.m_fileSystem = L"FAT";
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICStorage::mf_createInstance(); }));
    m_first.m_fileSystem = L"NTFS";
    EXPECT_EQ(NUMBERS{1}, mf_numbers(mf_start()));
}
