// That the simulated machine answers as the platform does, so that the tests on it mean something.
#include "tests/support/ICSimulatedMachine.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

using testing::ElementsAre;

namespace
{

constexpr DWORD ROOM = MAX_PATH;

class ICSimulatedMachineTest : public testing::Test
{
protected:
    std::wstring mf_rootOf(wchar_t const * path)
    {
        wchar_t root[ROOM] = {};
        return m_machine.mf_getVolumePathName(path, root, ROOM) ? root : mf_lastError();
    }
    std::wstring mf_idOf(wchar_t const * root)
    {
        wchar_t idPath[ROOM] = {};
        return m_machine.mf_getVolumeName(root, idPath, ROOM) ? idPath : mf_lastError();
    }
    std::vector<std::wstring> mf_scan()
    {
        std::vector<std::wstring> found;
        wchar_t idPath[ROOM] = {};
        HANDLE const search = m_machine.mf_findFirstVolume(idPath, ROOM);
        if (search == INVALID_HANDLE_VALUE) return {mf_lastError()};
        do
            found.emplace_back(idPath);
        while (m_machine.mf_findNextVolume(search, idPath, ROOM));
        found.push_back(mf_lastError());
        m_machine.mf_findVolumeClose(search);
        return found;
    }

    static std::wstring mf_lastError() { return L"error " + std::to_wstring(::GetLastError()); }
    static std::wstring mf_id(ulong number) { return ICSimulatedMachine::mf_idPathOf(number); }

    ICSimulatedMachine m_machine;
};

} // namespace

TEST_F(ICSimulatedMachineTest, IdPath_HasTheFixedForm)
{
    EXPECT_EQ(L"\\\\?\\Volume{00000000-0000-4000-8000-000000000017}\\", mf_id(17));
    EXPECT_EQ(49u, mf_id(17).size());
}

TEST_F(ICSimulatedMachineTest, Roots_OfLettersMountPointsAndIds)
{
    ICSimulatedVolume const & inner = m_machine.mf_add(3);
    ICSimulatedVolume const & archive = m_machine.mf_add(2).mf_mount(L"old\\", inner);
    m_machine.mf_add(1, L"D").mf_mount(L"archive\\", archive);

    EXPECT_EQ(L"D:\\", mf_rootOf(L"D:\\data\\x.txt"));
    EXPECT_EQ(L"d:\\", mf_rootOf(L"d:"));
    EXPECT_EQ(L"D:\\archive\\", mf_rootOf(L"D:\\archive"));
    EXPECT_EQ(L"D:\\", mf_rootOf(L"D:\\archives\\x"));
    EXPECT_EQ(L"D:\\Archive\\old\\", mf_rootOf(L"D:\\Archive\\old\\x"));
    EXPECT_EQ(mf_id(2) + L"old\\", mf_rootOf((mf_id(2) + L"old\\x").c_str()));
    EXPECT_EQ(L"error 2", mf_rootOf(L"E:\\x"));
}

TEST_F(ICSimulatedMachineTest, Ids_OfRootsOnly)
{
    ICSimulatedVolume const & archive = m_machine.mf_add(2);
    m_machine.mf_add(1, L"D").mf_mount(L"archive\\", archive);

    EXPECT_EQ(mf_id(1), mf_idOf(L"D:\\"));
    EXPECT_EQ(mf_id(2), mf_idOf(L"D:\\archive\\"));
    EXPECT_EQ(mf_id(2), mf_idOf((mf_id(1) + L"archive\\").c_str()));
    EXPECT_EQ(L"error 123", mf_idOf(L"D:"));
    EXPECT_EQ(L"error 4390", mf_idOf(L"D:\\data\\"));
    EXPECT_EQ(L"error 2", mf_idOf(L"E:\\"));
    m_machine.mf_remove(2);
    EXPECT_EQ(mf_id(2), mf_idOf(L"D:\\archive\\")) << "the mount point is still there";
}

TEST_F(ICSimulatedMachineTest, Letters_AreAMask)
{
    m_machine.mf_add(1, L"DB");
    m_machine.mf_addEmptyLetters(L"Z");
    EXPECT_EQ(0x200000Au, m_machine.mf_getLogicalDrives());
    EXPECT_EQ(UINT{DRIVE_FIXED}, m_machine.mf_getDriveType(L"B:\\"));
    EXPECT_EQ(UINT{DRIVE_NO_ROOT_DIR}, m_machine.mf_getDriveType(L"Z:\\"));
}

TEST_F(ICSimulatedMachineTest, VolumeThatIsNotReady_HasATypeOnly)
{
    ICSimulatedVolume & volume = m_machine.mf_add(1, L"D");
    volume.m_isReady = false;
    EXPECT_EQ(UINT{DRIVE_FIXED}, m_machine.mf_getDriveType(L"D:\\"));
    ULARGE_INTEGER total = {};
    EXPECT_FALSE(m_machine.mf_getDiskFreeSpaceEx(L"D:\\", nullptr, &total, nullptr));
    EXPECT_EQ(DWORD{ERROR_NOT_READY}, ::GetLastError());
    volume.m_isReady = true;
    EXPECT_TRUE(m_machine.mf_getDiskFreeSpaceEx(L"D:\\", nullptr, &total, nullptr));
    EXPECT_EQ(1'000'000'000'000u, total.QuadPart);
}

TEST_F(ICSimulatedMachineTest, VolumeWithoutKnownFileSystem_IsNotRecognised)
{
    m_machine.mf_add(1, L"D").m_fileSystem.clear();
    EXPECT_FALSE(m_machine.mf_getVolumeInformation(L"D:\\", nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0));
    EXPECT_EQ(DWORD{ERROR_UNRECOGNIZED_VOLUME}, ::GetLastError());
}

TEST_F(ICSimulatedMachineTest, FunctionFailsForOneVolume)
{
    m_machine.mf_add(1, L"D").m_errors["GetDiskFreeSpaceW"] = ERROR_ACCESS_DENIED;
    m_machine.mf_add(2, L"E");
    DWORD size = 0;
    EXPECT_FALSE(m_machine.mf_getDiskFreeSpace(L"D:\\", &size, &size, &size, &size));
    EXPECT_EQ(DWORD{ERROR_ACCESS_DENIED}, ::GetLastError());
    EXPECT_TRUE(m_machine.mf_getDiskFreeSpace(L"E:\\", &size, &size, &size, &size));
    EXPECT_EQ(2u, m_machine.mf_getCalls("GetDiskFreeSpaceW"));
}

TEST_F(ICSimulatedMachineTest, Scan_InTheOrderOfTheTable)
{
    EXPECT_THAT(mf_scan(), ElementsAre(L"error 18"));
    m_machine.mf_add(7);
    m_machine.mf_add(3);
    EXPECT_THAT(mf_scan(), ElementsAre(mf_id(7), mf_id(3), L"error 18"));
}

TEST_F(ICSimulatedMachineTest, Scan_VolumeThatVanishesMeanwhile_IsLeftOut)
{
    m_machine.mf_add(1);
    m_machine.mf_add(2);
    m_machine.mf_add(3);
    m_machine.mf_before("FindNextVolumeW", 1, [this] { m_machine.mf_remove(2); });
    EXPECT_THAT(mf_scan(), ElementsAre(mf_id(1), mf_id(3), L"error 18"));
}

TEST_F(ICSimulatedMachineTest, MountPoints_AreRelativeToTheVolume)
{
    ICSimulatedVolume const & target = m_machine.mf_add(2);
    m_machine.mf_add(1).mf_mount(L"a\\", target).mf_mount(L"b\\c\\", target);
    wchar_t path[ROOM] = {};
    HANDLE const search = m_machine.mf_findFirstMountPoint(mf_id(1).c_str(), path, ROOM);
    EXPECT_STREQ(L"a\\", path);
    EXPECT_TRUE(m_machine.mf_findNextMountPoint(search, path, ROOM));
    EXPECT_STREQ(L"b\\c\\", path);
    EXPECT_FALSE(m_machine.mf_findNextMountPoint(search, path, ROOM));
    EXPECT_EQ(DWORD{ERROR_NO_MORE_FILES}, ::GetLastError());
    EXPECT_TRUE(m_machine.mf_findMountPointClose(search));
}

TEST_F(ICSimulatedMachineTest, BufferThatIsTooSmall_IsRefused)
{
    m_machine.mf_add(1, L"D");
    wchar_t idPath[49] = {};
    EXPECT_FALSE(m_machine.mf_getVolumeName(L"D:\\", idPath, 49));
    EXPECT_EQ(DWORD{ERROR_FILENAME_EXCED_RANGE}, ::GetLastError());
}

TEST_F(ICSimulatedMachineTest, SearchLeftOpen_FailsTheTest)
{
    EXPECT_NONFATAL_FAILURE(
        {
            ICSimulatedMachine machine;
            machine.mf_add(1);
            wchar_t idPath[ROOM] = {};
            machine.mf_findFirstVolume(idPath, ROOM);
            EXPECT_EQ(1u, machine.mf_getOpenSearches());
        },
        "1 search(es) left open");
}

TEST_F(ICSimulatedMachineTest, SearchClosedByTheOtherFunction_FailsTheTest)
{
    m_machine.mf_add(1);
    wchar_t idPath[ROOM] = {};
    HANDLE const search = m_machine.mf_findFirstVolume(idPath, ROOM);
    EXPECT_NONFATAL_FAILURE(m_machine.mf_findMountPointClose(search), "no such search");
    EXPECT_TRUE(m_machine.mf_findVolumeClose(search));
    EXPECT_NONFATAL_FAILURE(m_machine.mf_findVolumeClose(search), "no such search");
}
