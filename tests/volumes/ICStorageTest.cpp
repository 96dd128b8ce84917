// What the storage answers, its locks and its end.
#include "tests/support/ICFailingClose.h"
#include "tests/volumes/StorageTest.h"

#include <thread>

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

static_assert(std::is_nothrow_destructible_v<ICStorage>);
static_assert(std::is_nothrow_destructible_v<ICVolume>);
static_assert(std::has_virtual_destructor_v<ICStorage>);

constexpr char BY_PATH[] = "mf_getVolume::1";
constexpr char BY_SERIAL[] = "mf_getVolume::2";
constexpr char ALL[] = "mf_getVolumes";

class ICStorageTest : public StorageTest
{
protected:
    static ulong mf_numberOf(wchar_t const * path) { return ICStorage::mf_getVolume(path)->mf_getSerialNumber(); }

    ICTracedAction mf_ask(wchar_t const * path) const
    {
        return m_process.mf_run([path] { ICStorage::mf_getVolume(path); });
    }

    // The machine was looked through so often.
    void mf_expectScans(ulong count) const { EXPECT_EQ(count, m_machine.mf_getCalls("FindFirstVolumeW")); }

    static auto mf_isMiss(std::string const & path)
    {
        return mf_isRecord('W', BY_PATH,
                           "Volume for path '" + path +
                               "' not found.\nFile is probably not located on a local NTFS/ReFS volume.");
    }
    static auto mf_isUpdating() { return mf_isRecord('D', BY_PATH, "Updating storage..."); }
    static auto mf_isSecondScan(std::string const & path, std::string const & negation)
    {
        return mf_isRecord('D', BY_PATH, "Volume for path '" + path + "' was " + negation + "found after 2nd scan");
    }
};

// Paths that no drive letter and colon begin.
constexpr wchar_t const * OTHER_PATHS[] = {L"",
                                           L"D",
                                           L"D\\x",
                                           L":\\x",
                                           L"DE:\\x",
                                           L"\\\\host\\C$\\x",
                                           L"\\\\host\\C:\\x",
                                           L"\\\\?\\D:\\x",
                                           L"\\\\?\\Volume{00000000-0000-4000-8000-000000000001}\\x",
                                           L"\\\\?\\GLOBALROOT\\Device\\HarddiskVolumeShadowCopy1\\x"};

} // namespace

TEST_F(ICStorageTest, WithoutInstance_EverythingIsRefused)
{
    ICErrno const failure(ICErrno::_E_::Initialization);
    VOLUMES volumes;
    EXPECT_THAT(mf_ask(L"D:\\x"), mf_fails(failure, BY_PATH, "No instance"));
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_getVolume(1); }), mf_fails(failure, BY_SERIAL, "No instance"));
    EXPECT_THAT(m_process.mf_run([&] { ICStorage::mf_getVolumes(volumes); }), mf_fails(failure, ALL, "No instance"));
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_update(0); }),
                mf_fails(failure, "mf_update", "No singleton instance"));
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"D:\\x"));
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
}

TEST_F(ICStorageTest, WithoutVolumes_NoneIsFound)
{
    ICStorage & storage = mf_start();
    ICVolume * const volume = storage.m_aVolumes[0];
    storage.m_aVolumes.RemoveAll();
    ICErrno const failure(ICErrno::_E_::ItemNotFound);
    EXPECT_THAT(mf_ask(L"D:\\x"), mf_fails(failure, BY_PATH, "No volumes registered"));
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_getVolume(1); }),
                mf_fails(failure, BY_SERIAL, "No volumes registered"));
    storage.m_aVolumes.Add(volume);
    mf_expectScans(1);
}

TEST_F(ICStorageTest, Volume_ByTheRootOfThePath)
{
    ICSimulatedVolume & inner = m_machine.mf_add(3, L"F").mf_mount(L"old\\", m_first);
    m_first.mf_mount(L"archive\\", m_machine.mf_add(2).mf_mount(L"deep\\", inner));
    mf_start();
    EXPECT_EQ(1u, mf_numberOf(L"D:\\"));
    EXPECT_EQ(1u, mf_numberOf(L"d:\\none\\x.txt"));
    EXPECT_EQ(2u, mf_numberOf(L"D:\\archive\\x.txt")) << "what is mounted there";
    EXPECT_EQ(3u, mf_numberOf(L"D:\\archive\\deep\\x.txt"));
    EXPECT_EQ(1u, mf_numberOf(L"F:\\old\\x.txt"));
    EXPECT_EQ(3u, mf_numberOf(L"F:"));
    EXPECT_THAT(mf_ask(L"D:\\x").m_records, IsEmpty());
    EXPECT_EQ(1, ICStorage::mf_isLocalPath(L"D:\\archive\\x.txt"));
    mf_expectScans(1);
}

TEST_F(ICStorageTest, PathsWithoutLetterAndColon_AreRefusedWithoutLooking)
{
    mf_start();
    ulong const before = m_machine.mf_getCalls("GetVolumePathNameW");
    for (wchar_t const * const path : OTHER_PATHS) {
        SCOPED_TRACE(f_logged("", CString(path)));
        EXPECT_THAT(mf_ask(path), mf_fails(ICErrno::_E_::Parameter, BY_PATH,
                                           f_at("Path '@' is not a local NTFS/ReFS path name", path)));
        EXPECT_EQ(0, ICStorage::mf_isLocalPath(path));
    }
    EXPECT_EQ(before, m_machine.mf_getCalls("GetVolumePathNameW"));
    mf_expectScans(1);
}

TEST_F(ICStorageTest, RootThatCannotBeTold_Fails)
{
    mf_start();
    m_first.m_errors["GetVolumePathNameW"] = DENIED;
    ICErrno const failure = mf_denied(ICErrno::_E_::Path);
    EXPECT_THAT(mf_ask(L"D:\\x"),
                mf_fails(failure, BY_PATH, mf_shown("Failure getting volume root for path 'D:\\x':\n", failure)));
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"D:\\x"));
    mf_expectScans(1);
}

TEST_F(ICStorageTest, IdThatCannotBeTold_Fails)
{
    mf_start();
    m_first.m_errors["GetVolumeNameForVolumeMountPointW"] = DENIED;
    ICErrno const failure = mf_denied(ICErrno::_E_::FileSystem);
    EXPECT_THAT(mf_ask(L"D:\\x"),
                mf_fails(failure, BY_PATH,
                         mf_shown("Failure getting volume id for path 'D:\\x',\nroot path 'D:\\':\n", failure)));
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"D:\\x"));
    mf_expectScans(1);
}

TEST_F(ICStorageTest, Miss_ScansAgainAndFindsWhatCameMeanwhile)
{
    mf_start();
    m_machine.mf_add(2, L"E");
    std::vector<ICTraceRecord> const records = m_process.mf_trace([] { EXPECT_EQ(2u, mf_numberOf(L"E:\\x")); });
    EXPECT_THAT(mf_of(BY_PATH, records),
                ElementsAre(mf_isMiss("E:\\x"), mf_isUpdating(), mf_isSecondScan("E:\\x", "")));
    mf_expectScans(2);
    EXPECT_EQ(2u, mf_numberOf(L"E:\\y"));
    mf_expectScans(2);
    EXPECT_EQ(0, ICStorage::mf_update(1)) << "not added twice";
    EXPECT_EQ((NUMBERS{1, 2}), mf_numbers());
}

TEST_F(ICStorageTest, Miss_ThatStaysOne_FailsWithoutFurtherTrace)
{
    mf_start();
    m_machine.mf_add(2, L"E").m_fileSystem = L"FAT32";
    ICTracedAction const outcome = mf_ask(L"E:\\x");
    EXPECT_THAT(outcome.m_failure, testing::Optional(ICErrno::_E_::ItemNotFound.mf_getNumber()));
    EXPECT_THAT(mf_of(BY_PATH, outcome.m_records),
                ElementsAre(mf_isMiss("E:\\x"), mf_isUpdating(), mf_isSecondScan("E:\\x", "not ")));
    EXPECT_THAT(outcome.m_records.back(), mf_isSecondScan("E:\\x", "not "));
}

TEST_F(ICStorageTest, EachMiss_ScansAgain)
{
    m_machine.mf_add(2, L"Y").m_driveType = DRIVE_REMOTE;
    mf_start();
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"Y:\\x"));
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"Y:\\x"));
    mf_expectScans(3);
}

TEST_F(ICStorageTest, Miss_ThoughSomethingChanged_StaysOne)
{
    mf_start();
    m_machine.mf_add(2, L"E").m_fileSystem = L"FAT32";
    m_first.m_errors["GetDiskFreeSpaceExW"] = ERROR_NOT_READY;
    ICTracedAction const outcome = mf_ask(L"E:\\x");
    EXPECT_THAT(outcome.m_failure, testing::Optional(ICErrno::_E_::ItemNotFound.mf_getNumber()));
    EXPECT_THAT(outcome.m_records, Contains(mf_isSecondScan("E:\\x", "not ")));
}

TEST_F(ICStorageTest, Miss_VolumeThatAnotherScanAddedFirst_IsNotLookedForOnPurpose)
{
    mf_start();
    m_machine.mf_add(2, L"E");
    m_machine.mf_before("FindFirstVolumeW", 2, [] { EXPECT_EQ(1, ICStorage::mf_update(1)); });
    ICTracedAction const outcome = mf_ask(L"E:\\x");
    EXPECT_THAT(outcome.m_failure, testing::Optional(ICErrno::_E_::ItemNotFound.mf_getNumber()));
    EXPECT_THAT(outcome.m_records, Contains(mf_isSecondScan("E:\\x", "not ")));
    EXPECT_EQ((NUMBERS{1, 2}), mf_numbers()) << "added once";
    EXPECT_EQ(2u, mf_numberOf(L"E:\\x"));
}

TEST_F(ICStorageTest, Miss_WithAScanThatFails_IsAMissAllTheSame)
{
    mf_start();
    m_machine.mf_add(2, L"E").m_errors["GetDiskFreeSpaceW"] = DENIED;
    ICTracedAction const outcome = mf_ask(L"E:\\x");
    EXPECT_THAT(outcome.m_failure, testing::Optional(ICErrno::_E_::ItemNotFound.mf_getNumber()));
    EXPECT_THAT(mf_of(BY_PATH, outcome.m_records),
                ElementsAre(mf_isMiss("E:\\x"), mf_isUpdating(),
                            mf_isRecord('E', BY_PATH,
                                        mf_shown("Failure updating storage: ", mf_denied(ICErrno::_E_::System)))));
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"E:\\x"));
}

TEST_F(ICStorageTest, VolumeIds_AreComparedWithCase)
{
    ICStorage const & storage = mf_start();
    storage.m_aVolumes[0]->m_szIdPath.MakeUpper();
    EXPECT_TRUE(f_throws(ICErrno::_E_::ItemNotFound, [] { ICStorage::mf_getVolume(L"D:\\x"); }));
}

TEST_F(ICStorageTest, VolumeThatHasGone_Stays)
{
    m_machine.mf_add(2, L"E");
    mf_start();
    ICVolume const * const volume = ICStorage::mf_getVolume(2);
    m_machine.mf_remove(2);
    EXPECT_EQ(0, ICStorage::mf_update(1)) << "it fails, which is no change";
    EXPECT_EQ(volume, ICStorage::mf_getVolume(2));
    EXPECT_STREQ(mf_id(2), volume->mf_getIdPath());
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"E:\\x"));
}

TEST_F(ICStorageTest, Volume_BySerialNumber_TheFirst)
{
    m_machine.mf_add(2).m_serialNumber = 0xabcd;
    m_machine.mf_add(3).m_serialNumber = 0xabcd;
    ICStorage const & storage = mf_start();
    EXPECT_EQ(storage.m_aVolumes[0], ICStorage::mf_getVolume(1));
    EXPECT_EQ(storage.m_aVolumes[1], ICStorage::mf_getVolume(0xabcd));
}

TEST_F(ICStorageTest, SerialNumberThatNoVolumeHas_IsAWarningAndNoFailure)
{
    mf_start();
    for (auto const & [number, shown] : {std::pair{0ul, "00000000"}, std::pair{0xfee1deadul, "fee1dead"}}) {
        std::string const text = std::string("Volume with serial number 0x") + shown + " not found.";
        ulong const serialNumber = number;
        EXPECT_THAT(m_process.mf_trace([serialNumber] { EXPECT_EQ(nullptr, ICStorage::mf_getVolume(serialNumber)); }),
                    ElementsAre(mf_isRecord('W', BY_SERIAL, text)));
    }
    mf_expectScans(1);
}

TEST_F(ICStorageTest, Volumes_AreThePointersInOrder)
{
    m_machine.mf_add(2);
    ICStorage const & storage = mf_start();
    VOLUMES volumes;
    EXPECT_THAT(m_process.mf_trace([&] { ICStorage::mf_getVolumes(volumes); }), IsEmpty());
    ASSERT_EQ(2, volumes.GetCount());
    EXPECT_EQ(storage.m_aVolumes[0], volumes[0]);
    EXPECT_EQ(storage.m_aVolumes[1], volumes[1]);
}

TEST_F(ICStorageTest, Volumes_ArrayThatIsNotEmpty_IsRefused)
{
    mf_start();
    VOLUMES volumes;
    volumes.Add(nullptr);
    EXPECT_THAT(m_process.mf_run([&] { ICStorage::mf_getVolumes(volumes); }),
                mf_fails(ICErrno::_E_::Parameter, ALL, "Parameter array is not empty"));
    EXPECT_EQ(1, volumes.GetCount());
}

TEST_F(ICStorageTest, LockThatCannotBeHad_FailsWhateverNeedsIt)
{
    mf_start();
    VOLUMES volumes;
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    auto const isRefused =
        mf_fails(failure, "mf_implLockStorage", mf_shown("Failure waiting for storage mutex: ", failure));
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait());
    EXPECT_THAT(mf_ask(L"D:\\x"), isRefused);
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_getVolume(1); }), isRefused);
    EXPECT_THAT(m_process.mf_run([] { ICStorage const copy(*ICStorage::m_pThis); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { ICStorage::mf_getVolumes(volumes); }),
                AllOf(isRefused, mf_fails(failure, ALL, mf_shown("Failure getting volume pointer array: ", failure))));
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_update(0); }),
                AllOf(isRefused, mf_fails(failure, "mf_update", mf_shown("Failure updating volumes: ", failure))));
    EXPECT_EQ(0, ICStorage::mf_isLocalPath(L"D:\\x"));
    EXPECT_TRUE(volumes.IsEmpty());
}

TEST_F(ICStorageTest, LockThatIsNotReleased_FailsWhateverNeedsIt)
{
    mf_start();
    VOLUMES volumes;
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    auto const isRefused =
        mf_fails(failure, "mf_implUnlockStorage", mf_shown("Failure releasing storage mutex: ", failure));
    ICImportFault const refused("ReleaseMutex", DENIED);
    EXPECT_THAT(mf_ask(L"D:\\x"), isRefused);
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_getVolume(1); }), isRefused);
    EXPECT_THAT(m_process.mf_run([] { ICStorage const copy(*ICStorage::m_pThis); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { ICStorage::mf_getVolumes(volumes); }),
                AllOf(isRefused, mf_fails(failure, ALL, mf_shown("Failure getting volume pointer array: ", failure))));
    EXPECT_THAT(m_process.mf_run([] { ICStorage::mf_update(0); }),
                AllOf(isRefused, mf_fails(failure, "mf_update", mf_shown("Failure updating volumes: ", failure))));
}

TEST_F(ICStorageTest, SearchThatCannotLock_Fails)
{
    mf_start();
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    ICImportFault const refused("WaitForSingleObject", mf_refusedWait(), mf_only(2));
    ICTracedAction const outcome = mf_ask(L"D:\\x");
    EXPECT_THAT(outcome,
                mf_fails(failure, "mf_implLockStorage", mf_shown("Failure waiting for storage mutex: ", failure)));
    mf_expectScans(1);
}

TEST_F(ICStorageTest, AbandonedLock_CountsAsLocked)
{
    ICStorage const & storage = mf_start();
    std::thread([&] { storage.mf_implLockStorage(); }).join();
    EXPECT_EQ(1, ICStorage::mf_isLocalPath(L"D:\\x"));
    std::thread([&] { EXPECT_EQ(ulong{WAIT_OBJECT_0}, ::WaitForSingleObject(storage.m_hMutex, 0)); }).join();
}

TEST_F(ICStorageTest, AllLocks_StorageFirstAndReleasedLast)
{
    m_machine.mf_add(2);
    ICStorage const & storage = mf_start();
    std::vector<HANDLE> waits, releases;
    ICImportPatch const wait(IC_IMPORT(WaitForSingleObject), [&](HANDLE mutex, auto time) {
        waits.push_back(mutex);
        return ::WaitForSingleObject(mutex, time);
    });
    ICImportPatch const release(IC_IMPORT(ReleaseMutex), [&](HANDLE mutex) {
        releases.push_back(mutex);
        return ::ReleaseMutex(mutex);
    });
    HANDLE const first = storage.m_aVolumes[0]->m_hMutex;
    HANDLE const second = storage.m_aVolumes[1]->m_hMutex;
    storage.mf_implLockVolumes();
    EXPECT_THAT(waits, ElementsAre(storage.m_hMutex, first, second));
    EXPECT_THAT(releases, IsEmpty());
    storage.mf_implUnlockVolumes();
    EXPECT_THAT(releases, ElementsAre(first, second, storage.m_hMutex));
}

TEST_F(ICStorageTest, VolumeThatCannotBeLocked_IsToldAndTheNextOneFollows)
{
    m_machine.mf_add(2);
    ICStorage const & storage = mf_start();
    HANDLE const refused = storage.m_aVolumes[0]->m_hMutex;
    ICImportPatch const wait(IC_IMPORT(WaitForSingleObject), [=](HANDLE mutex, auto time) {
        if (mutex != refused) return ::WaitForSingleObject(mutex, time);
        ::SetLastError(DENIED);
        return ulong{WAIT_FAILED};
    });
    ICErrno const notHeld(ICErrno::_E_::Synchronization, ERROR_NOT_OWNER);
    auto const records = m_process.mf_trace([&] {
        storage.mf_implLockVolumes();
        storage.mf_implUnlockVolumes();
    });
    EXPECT_THAT(mf_of("mf_implLockVolumes", records),
                ElementsAre(mf_isRecord('E', "mf_implLockVolumes",
                                        mf_shown("Failure locking volume '@':\n",
                                                 mf_denied(ICErrno::_E_::Synchronization), "\nContinuing..."))));
    EXPECT_THAT(mf_of("mf_implUnlockVolumes", records),
                ElementsAre(mf_isRecord('E', "mf_implUnlockVolumes",
                                        mf_shown("Failure unlocking volume '@':\n", notHeld, "\nContinuing..."))));
    std::thread([&] {
        for (HANDLE const mutex : {storage.m_hMutex, refused, storage.m_aVolumes[1]->m_hMutex})
            EXPECT_EQ(ulong{WAIT_OBJECT_0}, ::WaitForSingleObject(mutex, 0));
    }).join();
}

TEST_F(ICStorageTest, AllLocks_StorageThatCannotBeLockedOrReleased_Fails)
{
    ICStorage const & storage = mf_start();
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    {
        ICImportFault const refused("WaitForSingleObject", mf_refusedWait());
        EXPECT_THAT(m_process.mf_run([&] { storage.mf_implLockVolumes(); }),
                    mf_fails(failure, "mf_implLockStorage", mf_shown("Failure waiting for storage mutex: ", failure)));
    }
    storage.mf_implLockVolumes();
    {
        ICImportFault const refused("ReleaseMutex", DENIED, mf_only(2));
        EXPECT_THAT(m_process.mf_run([&] { storage.mf_implUnlockVolumes(); }),
                    mf_fails(failure, "mf_implUnlockStorage", mf_shown("Failure releasing storage mutex: ", failure)));
    }
    storage.mf_implUnlockStorage();
}

TEST_F(ICStorageTest, NullEntries_AreSkippedByEveryWalk)
{
    ICStorage & storage = mf_start();
    storage.m_aVolumes.InsertAt(0, static_cast<ICVolume *>(nullptr));
    EXPECT_THAT(m_process.mf_trace([&] {
        EXPECT_EQ(1u, mf_numberOf(L"D:\\x"));
        EXPECT_NE(nullptr, ICStorage::mf_getVolume(1));
        EXPECT_EQ(0, ICStorage::mf_update(0));
        storage.mf_implInitializeVolumeRelations();
    }),
                IsEmpty());
    VOLUMES volumes;
    ICStorage::mf_getVolumes(volumes);
    EXPECT_EQ(2, volumes.GetCount());
}

TEST_F(ICStorageTest, Copy_SharesWhatTheSourceOwns)
{
    ICStorage const & storage = mf_start();
    {
        ICImportFault const closes("CloseHandle");
        {
            ICStorage const copy(storage);
            EXPECT_EQ(storage.m_hMutex, copy.m_hMutex);
            ASSERT_EQ(1, copy.m_aVolumes.GetCount());
            EXPECT_EQ(storage.m_aVolumes[0], copy.m_aVolumes[0]);
        }
        EXPECT_EQ(0u, closes.mf_getCalls());
    }
    EXPECT_EQ(1, ICStorage::mf_isLocalPath(L"D:\\x")) << "volumes and mutex are still there";
    EXPECT_EQ(0, storage.m_aVolumes[0]->mf_update());
}

TEST_F(ICStorageTest, End_WithoutInstance_WarnsUnderAnotherName)
{
    auto const isWarning = ElementsAre(mf_isRecord('W', "mf_delete", "No instance"));
    EXPECT_THAT(m_process.mf_trace([] { ICStorage::mf_deleteInstance(); }), isWarning);
    mf_start();
    EXPECT_THAT(m_process.mf_trace([] { ICStorage::mf_deleteInstance(); }), IsEmpty());
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
    EXPECT_EQ(nullptr, ICStorage::m_pThis);
    EXPECT_THAT(m_process.mf_trace([] { ICStorage::mf_deleteInstance(); }), isWarning);
}

TEST_F(ICStorageTest, End_MutexThatCannotBeClosed_IsTracedAndTheLastErrorKept)
{
    mf_start();
    ICFailingClose const failing(DENIED);
    auto const records = m_process.mf_trace([] {
        ::SetLastError(4711);
        ICStorage::mf_deleteInstance();
        EXPECT_EQ(4711u, ::GetLastError());
    });
    EXPECT_THAT(records, Contains(mf_isRecord(
                             'E', "~ICStorage",
                             mf_shown("Failure closing mutex handle: ", mf_denied(ICErrno::_E_::CloseHandle)))));
    EXPECT_EQ(2u, failing.mf_getCalls()) << "that of the volume and its own";
    EXPECT_EQ(0, ICStorage::mf_isInitialized());
}

TEST_F(ICStorageTest, End_LockThatCannotBeHadOrReleased_FreesAllTheSame)
{
    ICErrno const failure = mf_denied(ICErrno::_E_::Synchronization);
    for (auto const & [call, function, text] :
         {std::tuple{"WaitForSingleObject", "mf_implLockStorage", "Failure waiting for storage mutex: "},
          std::tuple{"ReleaseMutex", "mf_implUnlockStorage", "Failure releasing storage mutex: "}}) {
        mf_start();
        ICImportFault const closes("CloseHandle");
        ICImportFault const refused(call, ICAnswer::mf_error(DENIED, call[0] == 'W' ? WAIT_FAILED : 0));
        EXPECT_THAT(m_process.mf_trace([] { ICStorage::mf_deleteInstance(); }),
                    Contains(mf_isRecord('E', function, mf_shown(text, failure))));
        EXPECT_EQ(2u, closes.mf_getCalls());
        EXPECT_EQ(0, ICStorage::mf_isInitialized());
    }
}
