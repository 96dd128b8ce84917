// The table of directories answers as the system does. It is tested here because it answers the library.
#include "tests/support/ICSimulatedTree.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>

#include <optional>
#include <thread>

#include "hsmbase/paths/ICDirectoryEntries.h"
#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICListedEntries.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

namespace
{

using IDS = std::vector<std::pair<std::wstring, ULONG64>>;

IDS f_idsIn(std::wstring const & directory)
{
    IDS ids;
    ICDirectoryEntries entries(directory.c_str());
    while (entries.mf_next())
        ids.emplace_back(entries.mf_getEntry().cFileName, entries.mf_getFileId());
    return ids;
}

class ICSimulatedTreeTest : public testing::Test
{
protected:
    ICStartedProcess const m_process;
    ICSimulatedTree m_tree;
};

} // namespace

TEST_F(ICSimulatedTreeTest, Directories_AreWhatWasSaidOfThem)
{
    ULONG64 const sub = m_tree.mf_add(L"D:\\", L"Sub", FILE_ATTRIBUTE_DIRECTORY).m_fileId;
    ULONG64 const file = m_tree.mf_add(L"D:\\sub\\", L"a", FILE_ATTRIBUTE_OFFLINE, 5).m_fileId;
    EXPECT_THAT(f_idsIn(L"D:\\"), ElementsAre(Pair(L"Sub", sub)));
    EXPECT_THAT(f_idsIn(L"d:\\SUB"), ElementsAre(Pair(L"a", file)));
    EXPECT_EQ(sub, ICDirectoryEntries(L"D:\\sub").mf_getDirectoryId());
    EXPECT_EQ(sub, m_tree.mf_getDirectoryId(L"D:\\sub\\"));
    EXPECT_NE(sub, file);
    EXPECT_THAT(m_tree.mf_getRead(), ElementsAre(L"D:\\", L"d:\\SUB\\", L"D:\\sub\\"));
    m_tree.mf_forgetRead();
    EXPECT_THAT(m_tree.mf_getRead(), IsEmpty());
}

TEST_F(ICSimulatedTreeTest, UnknownDirectories_AreThereAndEmpty)
{
    EXPECT_THAT(f_idsIn(L"E:\\one"), IsEmpty());
    ULONG64 const id = m_tree.mf_getDirectoryId(L"E:\\one\\");
    EXPECT_EQ(id, ICDirectoryEntries(L"e:\\one").mf_getDirectoryId());
    EXPECT_NE(id, ICDirectoryEntries(L"E:\\two").mf_getDirectoryId());
}

TEST_F(ICSimulatedTreeTest, Links_AreOneFile)
{
    ICSimulatedEntry const & file = m_tree.mf_add(L"D:\\", L"a", 0, 5);
    m_tree.mf_link(L"D:\\sub\\", L"b", file);
    EXPECT_EQ(f_idsIn(L"D:\\")[0].second, f_idsIn(L"D:\\sub")[0].second);
    EXPECT_EQ(ICFileSize(5), ICPath::mf_getCompressedSize(L"D:\\sub\\b"));
}

TEST_F(ICSimulatedTreeTest, MountedVolume_IsTheSameByEitherPath)
{
    m_tree.mf_mount(L"C:\\", L"d", L"D:\\");
    m_tree.mf_mount(L"D:\\", L"self", L"D:\\");
    m_tree.mf_add(L"C:\\d\\data\\", L"a", 0);
    m_tree.mf_add(L"D:\\data\\", L"b", 0);
    IDS const ids = f_idsIn(L"D:\\data");
    EXPECT_THAT(ids, ElementsAre(Pair(L"a", testing::_), Pair(L"b", testing::_)));
    EXPECT_EQ(ids, f_idsIn(L"C:\\d\\data"));
    EXPECT_EQ(ids, f_idsIn(L"C:\\d\\self\\self\\data"));
    EXPECT_EQ(m_tree.mf_getDirectoryId(L"D:\\data\\"), m_tree.mf_getDirectoryId(L"C:\\d\\data\\"));
    EXPECT_EQ(ICSimulatedTree::ROOT_ID, m_tree.mf_getDirectoryId(L"C:\\d\\"));
}

TEST_F(ICSimulatedTreeTest, AttributesAndAllocatedBytes_AreThoseOfTheEntry)
{
    ICSimulatedEntry & file = m_tree.mf_add(L"D:\\", L"a", FILE_ATTRIBUTE_OFFLINE, 5'000'000'000);
    file.m_allocated = 4'999'999'999;
    EXPECT_EQ(ulong{FILE_ATTRIBUTE_OFFLINE}, ICPath::mf_getAttributes(L"D:\\a", 1));
    EXPECT_EQ(ICFileSize(4'999'999'999), ICPath::mf_getCompressedSize(L"D:\\a"));
    EXPECT_TRUE(ICPath::mf_isDirectory(L"D:\\any"));
}

TEST_F(ICSimulatedTreeTest, Failures_ComeWhereTheyAreAskedFor)
{
    m_tree.mf_add(L"D:\\", L"a", 0);
    m_tree.mf_fail(L"D:\\", ERROR_CRC, 2);
    m_tree.mf_fail(L"E:\\", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [] { f_idsIn(L"E:\\"); }, ERROR_ACCESS_DENIED));
    ICDirectoryEntries entries(L"D:\\");
    EXPECT_TRUE(entries.mf_next());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { entries.mf_next(); }, ERROR_CRC));
    EXPECT_FALSE(entries.mf_next());
}

TEST_F(ICSimulatedTreeTest, FilesOfTheMachine_AreLeftInPeace)
{
    ICTemporaryFile const file("bytes");
    EXPECT_EQ(ICFileSize(5), ICPath::mf_getSize(file.mf_getPath().c_str()));
    EXPECT_EQ(ICFileSize(5), ICPath::mf_getCompressedSize(file.mf_getPath().c_str()));
}

// The action has the others go on.
TEST_F(ICSimulatedTreeTest, Threads_ReadAtOnceAndChange)
{
    constexpr int THREADS = 4;
    for (int number = 0; number < 500; ++number)
        m_tree.mf_add(L"D:\\many\\", std::to_wstring(number), 0);
    m_tree.m_entriesAtOnce = 7;
    ICMeetingPoint met(THREADS);
    for (int thread = 0; thread < THREADS; ++thread)
        m_tree.mf_before(L"D:\\" + std::to_wstring(thread) + L"\\", [&] {
            EXPECT_TRUE(met.mf_arrive());
            m_tree.mf_change([&] { m_tree.mf_add(L"D:\\found\\", L"x", 0); });
        });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < THREADS; ++thread)
        threads.emplace_back([thread] {
            EXPECT_THAT(f_idsIn(L"D:\\" + std::to_wstring(thread)), IsEmpty());
            EXPECT_EQ(500u, f_idsIn(L"D:\\many").size());
        });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(std::size_t{THREADS}, f_idsIn(L"D:\\found").size());
}

TEST(ICSimulatedTree, DirectoryThatIsLeftOpen_FailsTheTest)
{
    ICStartedProcess const process;
    std::optional<ICDirectoryEntries> open;
    EXPECT_NONFATAL_FAILURE(
        {
            ICSimulatedTree tree;
            open.emplace(L"D:\\data");
        },
        "left open: d:\\data\\");
    // The tree is gone, and the system knows no such handle.
    open.reset();
}

TEST(ICListedEntries, Attributes_ComeToTheEntriesOfThisName)
{
    ICStartedProcess const process;
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a", "");
    directory.mf_makeFile(L"b", "");
    auto const countOffline = [&] {
        int count = 0;
        ICDirectoryEntries entries(directory.mf_getPath().c_str());
        while (entries.mf_next())
            if (entries.mf_getEntry().dwFileAttributes & FILE_ATTRIBUTE_OFFLINE) ++count;
        return count;
    };
    {
        ICListedEntries const offline(L"a", FILE_ATTRIBUTE_OFFLINE);
        EXPECT_EQ(1, countOffline());
    }
    EXPECT_EQ(0, countOffline());
    ICListedEntries const all([](std::wstring_view, auto & entry) { entry.FileAttributes = FILE_ATTRIBUTE_OFFLINE; });
    EXPECT_EQ(2, countOffline());
}
