// Each platform call of each operation on volumes and storage fails once, by each error that tells anything: no lock
// stays, no search stays open, and what was known stays known.
#include <algorithm>
#include <memory>

#include "hsmbase/volumes/ICStorage.h"
#include "tests/support/ICImportSweep.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/ICStartedProcess.h"

#include <gtest/gtest.h>

namespace
{

using NUMBERS = std::vector<ulong>;

// Whether another thread could have each mutex at once.
bool f_areFree(std::vector<HANDLE> mutexes)
{
    auto const tryAll = [](void * given) -> DWORD {
        DWORD kept = 0;
        for (HANDLE const mutex : *static_cast<std::vector<HANDLE> const *>(given)) {
            ulong const answer = ::WaitForSingleObject(mutex, 0);
            if (answer == WAIT_OBJECT_0) ::ReleaseMutex(mutex);
            if (answer != WAIT_OBJECT_0) ++kept;
        }
        return kept;
    };
    HANDLE const thread = ::CreateThread(nullptr, 0, tryAll, &mutexes, 0, nullptr);
    ::WaitForSingleObject(thread, INFINITE);
    DWORD kept = 1;
    ::GetExitCodeThread(thread, &kept);
    ::CloseHandle(thread);
    return kept == 0;
}

std::string f_show(NUMBERS const & numbers)
{
    std::string text;
    for (ulong const number : numbers)
        text += " " + std::to_string(number);
    return text;
}

// A machine of three volumes; the second one is mounted on the first, the third, which has no letter, on both.
class VolumesSweep : public testing::Test
{
protected:
    VolumesSweep()
    {
        ICSimulatedVolume & first = m_machine.mf_add(1, L"D");
        ICSimulatedVolume & second = m_machine.mf_add(2, L"E");
        ICSimulatedVolume const & third = m_machine.mf_add(3);
        first.mf_mount(L"archive\\", second);
        first.mf_mount(L"old\\", third);
        second.mf_mount(L"old\\", third);
    }

    static CString mf_id(ulong number) { return ICSimulatedMachine::mf_idPathOf(number).c_str(); }

    ICStartedProcess const m_process;
    ICSimulatedMachine m_machine;
};

class ICVolumeSweep : public VolumesSweep
{
protected:
    // With a volume that is there already, and stays usable.
    std::size_t mf_sweep(std::string const & name, std::function<void()> action)
    {
        ICImportSweep sweep(name, action);
        sweep.m_prepare = [&] { m_volume = std::make_unique<ICVolume>(mf_id(1)); };
        sweep.m_check = [&](ICSweepRun const &) -> std::string {
            if (!f_areFree({m_volume->m_hMutex})) return "the volume stays locked; ";
            if (m_volume->m_aMountPoints.GetCount() != 2) return "mount points are lost; ";
            bool const isKnown = !m_volume->m_isReady || m_volume->m_totalNumberOfBytes.mf_getValue() == TOTAL;
            return isKnown ? "" : "the figures are lost; ";
        };
        sweep.m_settle = [&] { m_volume.reset(); };
        return sweep.mf_run();
    }

    static constexpr long long TOTAL = 1'000'000'000'000;
    std::unique_ptr<ICVolume> m_volume;
};

class ICStorageSweep : public VolumesSweep
{
protected:
    static NUMBERS mf_numbers()
    {
        NUMBERS numbers;
        for (INT_PTR index = 0; index < ICStorage::m_pThis->m_aVolumes.GetCount(); ++index)
            numbers.push_back(ICStorage::m_pThis->m_aVolumes[index]->mf_getSerialNumber());
        return numbers;
    }

    // Of the storage that is up: its locks are free.
    static std::string mf_findKept()
    {
        std::vector<HANDLE> mutexes{ICStorage::m_pThis->m_hMutex};
        for (INT_PTR index = 0; index < ICStorage::m_pThis->m_aVolumes.GetCount(); ++index)
            mutexes.push_back(ICStorage::m_pThis->m_aVolumes[index]->m_hMutex);
        return f_areFree(mutexes) ? "" : "a lock stays; ";
    }

    // What was known stays known; a fourth volume is new.
    static std::string mf_findLost()
    {
        NUMBERS const numbers = mf_numbers();
        bool const isKnown = numbers == NUMBERS{1, 2, 3} || numbers == NUMBERS{1, 2, 3, 4};
        return isKnown ? "" : "it knows" + f_show(numbers) + "; ";
    }

    // With a storage that is up already.
    std::size_t mf_sweep(std::string const & name, std::function<void()> action)
    {
        ICImportSweep sweep(name, action);
        sweep.m_prepare = [&] {
            m_machine.mf_remove(4);
            ICStorage::mf_createInstance();
            m_machine.mf_add(4, L"F");
        };
        sweep.m_check = [&](ICSweepRun const &) {
            return ICStorage::mf_isInitialized() ? mf_findKept() + mf_findLost() : "the storage is gone; ";
        };
        sweep.m_settle = [] { ICStorage::mf_deleteInstance(); };
        return sweep.mf_run();
    }
};

} // namespace

TEST_F(ICVolumeSweep, AnyCallThatFails_LeavesNoVolumeOrOneThatIsUsable)
{
    ICImportSweep sweep("ICVolume", [&] { m_volume = std::make_unique<ICVolume>(mf_id(1)); });
    sweep.m_check = [&](ICSweepRun const & run) -> std::string {
        if ((m_volume == nullptr) != (run.m_end == ICSweepRun::FAILED)) return "there is no volume; ";
        return !m_volume || f_areFree({m_volume->m_hMutex}) ? "" : "the volume stays locked; ";
    };
    sweep.m_settle = [&] { m_volume.reset(); };
    EXPECT_LT(20u, sweep.mf_run());
}

TEST_F(ICVolumeSweep, AnyCallThatFailsInTheEnd_LeavesNothing)
{
    mf_sweep("~ICVolume", [&] { ICVolume const other(mf_id(2)); });
    mf_sweep("copy", [&] { ICVolume const copy(*m_volume); });
}

TEST_F(ICVolumeSweep, AnyCallOfAQuestionThatFails_LeavesTheVolume)
{
    std::size_t failed = mf_sweep("mf_update", [&] { m_volume->mf_update(); });
    failed += mf_sweep("mf_getTotalNumberOfBytes", [&] { m_volume->mf_getTotalNumberOfBytes(); });
    failed += mf_sweep("mf_getDiskUsagePercent", [&] { m_volume->mf_getDiskUsagePercent(); });
    failed += mf_sweep("mf_getMountPoints", [&] {
        ICArray<ICMountPoint, ICMountPoint &> mountPoints;
        m_volume->mf_getMountPoints(mountPoints);
    });
    failed += mf_sweep("mf_toString", [&] { m_volume->mf_toString(L"  "); });
    failed += mf_sweep("mf_getVolumeRoot", [] { ICVolume::mf_getVolumeRoot(L"D:\\archive\\x.txt"); });
    failed += mf_sweep("mf_getVolumeIdPath", [] { ICVolume::mf_getVolumeIdPath(L"D:\\"); });
    failed += mf_sweep("mf_getIdPath", [] { ICVolume::mf_getIdPath(L"D:\\archive\\x.txt"); });
    failed += mf_sweep("mf_getFileSystemName", [] { ICVolume::mf_getFileSystemName(L"D:\\"); });
    failed += mf_sweep("mf_getClusterSize", [] { ICVolume::mf_getClusterSize(L"D:\\"); });
    failed += mf_sweep("mf_isFixedDrive", [] { ICVolume::mf_isFixedDrive(L"D:\\"); });
    failed += mf_sweep("mf_isValidHSMVolume", [] { ICVolume::mf_isValidHSMVolume(L"D:\\"); });
    EXPECT_LT(40u, failed);
}

TEST_F(ICStorageSweep, AnyCallOfTheStartThatFails_LeavesNoStorageOrOneThatIsUsable)
{
    ICImportSweep sweep("mf_createInstance", [] { ICStorage::mf_createInstance(); });
    sweep.m_check = [](ICSweepRun const & run) -> std::string {
        bool const isUp = ICStorage::mf_isInitialized();
        if (isUp != (run.m_end == ICSweepRun::RETURNED)) return "the storage is up after a failure, or isn't; ";
        if (!isUp) return "";
        // A volume that fails is left out.
        NUMBERS const numbers = mf_numbers();
        bool const isPart = !numbers.empty() && std::ranges::includes(NUMBERS{1, 2, 3}, numbers);
        return mf_findKept() + (isPart ? "" : "it knows" + f_show(numbers) + "; ");
    };
    sweep.m_settle = [] {
        if (ICStorage::mf_isInitialized()) ICStorage::mf_deleteInstance();
    };
    EXPECT_LT(100u, sweep.mf_run());
}

TEST_F(ICStorageSweep, AnyCallOfTheEndThatFails_LeavesNothing)
{
    ICImportSweep sweep("mf_deleteInstance", [] { ICStorage::mf_deleteInstance(); });
    sweep.m_prepare = [] { ICStorage::mf_createInstance(); };
    sweep.m_check = [](ICSweepRun const & run) -> std::string {
        return run.m_end == ICSweepRun::RETURNED && !ICStorage::mf_isInitialized() ? "" : "it did not end; ";
    };
    EXPECT_LT(10u, sweep.mf_run());
}

TEST_F(ICStorageSweep, AnyCallOfAnUpdateThatFails_LeavesAllThatWasKnown)
{
    EXPECT_LT(10u, mf_sweep("mf_update(0)", [] { ICStorage::mf_update(0); }));
    EXPECT_LT(100u, mf_sweep("mf_update(1)", [] { ICStorage::mf_update(1); }));
}

TEST_F(ICStorageSweep, AnyCallOfAQuestionThatFails_LeavesTheStorage)
{
    std::size_t failed = mf_sweep("mf_getVolume", [] { ICStorage::mf_getVolume(L"D:\\archive\\x.txt"); });
    failed += mf_sweep("mf_getVolume, scan", [] { ICStorage::mf_getVolume(L"F:\\x.txt"); });
    failed += mf_sweep("mf_getVolume by number", [] { ICStorage::mf_getVolume(3); });
    failed += mf_sweep("mf_getVolumes", [] {
        ICArray<ICVolume *, ICVolume *> volumes;
        ICStorage::mf_getVolumes(volumes);
    });
    failed += mf_sweep("mf_isLocalPath", [] { ICStorage::mf_isLocalPath(L"G:\\x.txt"); });
    failed += mf_sweep("copy", [] { ICStorage const copy(*ICStorage::m_pThis); });
    EXPECT_LT(100u, failed);
}
