// Scans of drives and volumes, on a simulated machine whose directories are simulated too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/volumes/ICStorage.h"
#include "programs/hsmscan/ICDirectoryScan.h"
#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "tests/hsmscan/ScanTest.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/ICSimulatedTree.h"
#include "tests/support/ICStartedProcess.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace
{

constexpr ulong MOUNTED = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

ICScanOptions f_options()
{
    wchar_t const * const arguments[] = {L"path"};
    return ICScanOptions(1, arguments);
}

class ICDirectoryScanVolumes : public testing::Test
{
protected:
    void SetUp() override { ICStorage::mf_createInstance(); }
    void TearDown() override { ICStorage::mf_deleteInstance(); }

    // Mounts a volume at a directory of a drive. The storage needn't know of it.
    void mf_mount(ICSimulatedVolume & volume, wchar_t const * name, ICSimulatedVolume const & target)
    {
        volume.mf_mount(name + std::wstring(L"\\"), target);
        m_tree.mf_mount(mf_rootOf(volume), name, mf_rootOf(target));
    }

    // By which the tree knows it.
    static std::wstring mf_rootOf(ICSimulatedVolume const & volume)
    {
        return volume.m_letters.empty() ? volume.m_idPath : volume.m_letters.substr(0, 1) + L":\\";
    }

    std::vector<std::wstring> mf_scan(std::vector<CString> const & paths)
    {
        m_tree.mf_forgetRead();
        f_excuseThreads(1);
        ICDirectoryScan scan(m_totals, {[](CString const &) {}, [](ICErrno const &) { ADD_FAILURE(); }});
        scan.mf_scan(paths);
        return m_tree.mf_getRead();
    }

    ICStartedProcess const m_process;
    ICSimulatedMachine m_machine;
    ICSimulatedVolume & m_c = m_machine.mf_add(1, L"C");
    ICSimulatedVolume & m_d = m_machine.mf_add(2, L"D");
    ICSimulatedVolume & m_unnamed = m_machine.mf_add(3);
    ICSimulatedTree m_tree;
    ICScanTotals m_totals{f_options()};
};

} // namespace

TEST_F(ICDirectoryScanVolumes, DriveLetter_IsTheWholeDrive)
{
    m_tree.mf_add(L"D:\\", L"a", FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_THAT(mf_scan({L"D:"}), ElementsAre(L"D:\\", L"D:\\a\\"));
    EXPECT_EQ(2, m_totals.m_directories);
}

TEST_F(ICDirectoryScanVolumes, VolumeId_IsScannedByItsLetterIfItHasOne)
{
    EXPECT_THAT(mf_scan({m_d.m_idPath.c_str()}), ElementsAre(L"D:\\"));
    std::wstring withoutBackslash = m_unnamed.m_idPath;
    withoutBackslash.pop_back();
    EXPECT_THAT(mf_scan({withoutBackslash.c_str()}), ElementsAre(m_unnamed.m_idPath));
}

TEST_F(ICDirectoryScanVolumes, SameVolumeTwice_IsScannedOnce)
{
    EXPECT_THAT(mf_scan({L"D:", L"D:\\", m_d.m_idPath.c_str(), L"d:\\"}), ElementsAre(L"D:\\"));
    EXPECT_EQ(1, m_totals.m_directories);
}

TEST_F(ICDirectoryScanVolumes, MountPoints_AreEnteredOnce)
{
    mf_mount(m_c, L"first", m_unnamed);
    mf_mount(m_c, L"second", m_unnamed);
    m_tree.mf_add(L"C:\\second\\", L"x", 0);
    EXPECT_THAT(mf_scan({L"C:"}), ElementsAre(L"C:\\", L"C:\\first\\"));
}

TEST_F(ICDirectoryScanVolumes, VolumeMountedWithinItself_IsNotEntered)
{
    mf_mount(m_c, L"self", m_c);
    EXPECT_THAT(mf_scan({L"C:"}), ElementsAre(L"C:\\"));
    m_c.m_mountPoints = {{L"data\\self\\", m_c.m_idPath}};
    m_tree.mf_add(L"C:\\data\\", L"self", MOUNTED);
    EXPECT_THAT(mf_scan({L"C:\\data"}), ElementsAre(L"C:\\data\\")) << "also when only a part of it is scanned";
}

TEST_F(ICDirectoryScanVolumes, VolumeThatIsGivenItself_IsNotEnteredAtItsMountPoint)
{
    mf_mount(m_c, L"d", m_d);
    EXPECT_THAT(mf_scan({L"C:", L"D:"}), ElementsAre(L"C:\\", L"D:\\"));
    EXPECT_THAT(mf_scan({L"C:", L"D:\\data"}), UnorderedElementsAre(L"C:\\", L"C:\\d\\", L"D:\\data\\"))
        << "a directory of it is not all of it";
}

// They have the tag of a mount point.
TEST_F(ICDirectoryScanVolumes, LinksToDirectories_AreNotEntered)
{
    m_tree.mf_add(L"C:\\", L"link", MOUNTED);
    EXPECT_THAT(mf_scan({L"C:"}), ElementsAre(L"C:\\"));
    EXPECT_EQ(1, m_totals.m_reparsePoints);
}

TEST_F(ICDirectoryScanVolumes, Clusters_AreThoseOfTheVolumeThatWasEntered)
{
    m_unnamed.m_sectorsPerCluster = 128;
    mf_mount(m_c, L"mounted", m_unnamed);
    for (wchar_t const * const directory : {L"C:\\", L"C:\\mounted\\"})
        m_tree.mf_add(directory, L"file", 0, 1);
    mf_scan({L"C:"});
    EXPECT_EQ(2, m_totals.m_bytes);
    EXPECT_EQ(8 * 512 + 128 * 512, m_totals.m_bytesOnDisk);
}

TEST_F(ICDirectoryScanVolumes, VolumeWithoutAnswers_IsScannedAllTheSame)
{
    m_d.m_errors["GetDiskFreeSpaceW"] = ERROR_ACCESS_DENIED;
    m_tree.mf_add(L"D:\\", L"a", 0);
    EXPECT_THAT(mf_scan({L"D:"}), ElementsAre(L"D:\\"));
    EXPECT_EQ(1, m_totals.m_files);
}
