// Scans of drives and volumes, on a simulated machine whose directories are simulated too.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>

#include "hsmbase/volumes/ICStorage.h"
#include "programs/hsmscan/ICDirectoryScan.h"
#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanTotals.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/ICStartedProcess.h"

using testing::ElementsAre;
using testing::UnorderedElementsAre;

namespace
{

constexpr ulong MOUNTED = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;

WIN32_FIND_DATAW f_entry(wchar_t const * name, ulong attributes, ulong size)
{
    WIN32_FIND_DATAW entry = {};
    entry.dwFileAttributes = attributes;
    entry.nFileSizeLow = size;
    entry.dwReserved0 = attributes == MOUNTED ? IO_REPARSE_TAG_MOUNT_POINT : 0;
    ::wcscpy_s(entry.cFileName, name);
    return entry;
}

// Directories as "D:\mnt\", each with its entries. What is not there is an empty directory.
class SIMULATED_TREE
{
public:
    SIMULATED_TREE() = default;
    SIMULATED_TREE(SIMULATED_TREE const &) = delete;
    SIMULATED_TREE & operator=(SIMULATED_TREE const &) = delete;

    void mf_add(std::wstring const & directory, wchar_t const * name, ulong attributes, ulong size = 0)
    {
        m_entries[directory].push_back(f_entry(name, attributes, size));
    }

    std::vector<std::wstring> m_read; // the directories that were read, in order

private:
    struct SEARCH
    {
        std::vector<WIN32_FIND_DATAW> const * m_entries;
        std::size_t m_next;
    };

    HANDLE mf_implFindFirst(std::wstring globber, WIN32_FIND_DATAW & entry)
    {
        if (globber.starts_with(L"\\\\?\\") && !globber.starts_with(L"\\\\?\\Volume")) globber.erase(0, 4);
        globber.pop_back();
        m_read.push_back(globber);
        m_search = {&m_entries[globber], 0};
        if (mf_implFindNext(entry)) return &m_search;
        ::SetLastError(ERROR_FILE_NOT_FOUND);
        return INVALID_HANDLE_VALUE;
    }

    BOOL mf_implFindNext(WIN32_FIND_DATAW & entry)
    {
        if (m_search.m_next == m_search.m_entries->size()) {
            ::SetLastError(ERROR_NO_MORE_FILES);
            return FALSE;
        }
        entry = (*m_search.m_entries)[m_search.m_next++];
        return TRUE;
    }

    std::map<std::wstring, std::vector<WIN32_FIND_DATAW>> m_entries;
    SEARCH m_search = {}; // one at a time, as the scan does
    ICImportPatch const m_first{IC_IMPORT(FindFirstFileExW), [this](LPCWSTR path, FINDEX_INFO_LEVELS, void * data,
                                                                    FINDEX_SEARCH_OPS, void *, DWORD) {
                                    return mf_implFindFirst(path, *static_cast<WIN32_FIND_DATAW *>(data));
                                }};
    ICImportPatch const m_next{IC_IMPORT(FindNextFileW),
                               [this](HANDLE, WIN32_FIND_DATAW * data) { return mf_implFindNext(*data); }};
    ICImportPatch const m_close{IC_IMPORT(FindClose), [](HANDLE) -> BOOL { return TRUE; }};
    ICImportPatch const m_attributes{IC_IMPORT(GetFileAttributesW),
                                     [](LPCWSTR) -> DWORD { return FILE_ATTRIBUTE_DIRECTORY; }};
};

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
        m_tree.mf_add(std::wstring(1, volume.m_letters[0]) + L":\\", name, MOUNTED);
    }

    std::vector<std::wstring> mf_scan(std::vector<CString> const & paths)
    {
        m_tree.m_read.clear();
        ICDirectoryScan scan(m_totals, {[](CString const &) {}, [](ICErrno const &) { ADD_FAILURE(); }});
        scan.mf_scan(paths);
        return m_tree.m_read;
    }

    ICStartedProcess const m_process;
    ICSimulatedMachine m_machine;
    ICSimulatedVolume & m_c = m_machine.mf_add(1, L"C");
    ICSimulatedVolume & m_d = m_machine.mf_add(2, L"D");
    ICSimulatedVolume & m_unnamed = m_machine.mf_add(3);
    SIMULATED_TREE m_tree;
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
