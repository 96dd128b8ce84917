#include "hsmbase/paths/ICDirectoryEntries.h"

#include <algorithm>

#include "tests/support/ICSimulatedTree.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

std::vector<std::wstring> f_namesIn(ICDirectoryEntries & entries)
{
    std::vector<std::wstring> names;
    while (entries.mf_next())
        names.emplace_back(entries.mf_getEntry().cFileName);
    return names;
}

std::vector<std::wstring> f_namesIn(std::wstring const & directory)
{
    ICDirectoryEntries entries(directory.c_str());
    return f_namesIn(entries);
}

class ICDirectoryEntriesTest : public testing::Test
{
protected:
    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
};

} // namespace

TEST_F(ICDirectoryEntriesTest, Entries_ComeWithTheirFactsAndWithoutDots)
{
    m_directory.mf_makeFile(L"a", "12345");
    m_directory.mf_makeDirectory(L"b");
    ICDirectoryEntries entries(m_directory.mf_getPath().c_str());
    ASSERT_TRUE(entries.mf_next());
    EXPECT_STREQ(L"a", entries.mf_getEntry().cFileName);
    EXPECT_EQ(5u, entries.mf_getEntry().nFileSizeLow);
    ASSERT_TRUE(entries.mf_next());
    EXPECT_STREQ(L"b", entries.mf_getEntry().cFileName);
    EXPECT_NE(0u, entries.mf_getEntry().dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
    EXPECT_FALSE(entries.mf_next());
    EXPECT_FALSE(entries.mf_next()) << "and it stays at its end";
}

TEST_F(ICDirectoryEntriesTest, NamesThatOnlyBeginWithDots_AreEntries)
{
    m_directory.mf_makeFile(L".a", "");
    m_directory.mf_makeFile(L"..b", "");
    EXPECT_THAT(f_namesIn(m_directory.mf_getPath()), testing::UnorderedElementsAre(L".a", L"..b"));
}

TEST_F(ICDirectoryEntriesTest, Directory_IsTakenWithAndWithoutBackslash)
{
    m_directory.mf_makeFile(L"a", "");
    EXPECT_THAT(f_namesIn(m_directory.mf_getPath() + L"\\"), ElementsAre(L"a"));
}

// The system has no entry to begin with there, not even ".".
TEST_F(ICDirectoryEntriesTest, EmptyRoot_HasNoEntries)
{
    ICSimulatedTree tree;
    EXPECT_THAT(f_namesIn(L"D:\\"), IsEmpty());
}

TEST_F(ICDirectoryEntriesTest, Missing_FailsWithTheSystemsNumber)
{
    EXPECT_THAT(m_process.mf_run([&] { f_namesIn(m_directory / L"none"); }),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_FILE_NOT_FOUND, "ICDirectoryEntries::ICDirectoryEntries",
                               f_at("Failure opening directory '@\\none':\n", m_directory.mf_getPath().c_str())));
}

TEST_F(ICDirectoryEntriesTest, ReadingThatBreaksOff_FailsAndClosesTheDirectory)
{
    ICSimulatedTree tree;
    tree.m_entriesAtOnce = 1;
    tree.mf_add(L"D:\\", L"a", 0);
    tree.mf_add(L"D:\\", L"b", 0);
    tree.mf_fail(L"D:\\", ERROR_DEVICE_NOT_CONNECTED, 2);
    std::vector<std::wstring> names;
    auto const read = [&] {
        ICDirectoryEntries entries(L"D:\\");
        while (entries.mf_next())
            names.emplace_back(entries.mf_getEntry().cFileName);
    };
    EXPECT_THAT(m_process.mf_run(read),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_DEVICE_NOT_CONNECTED, "ICDirectoryEntries::mf_next",
                               "Failure reading directory 'D:\\':\n"));
    EXPECT_THAT(names, ElementsAre(L"a"));
}

TEST_F(ICDirectoryEntriesTest, ReadingThatBreaksOff_GoesOnWhenAskedAgain)
{
    ICSimulatedTree tree;
    tree.m_entriesAtOnce = 1;
    tree.mf_add(L"D:\\", L"a", 0);
    tree.mf_add(L"D:\\", L"b", 0);
    tree.mf_fail(L"D:\\", ERROR_DEVICE_NOT_CONNECTED, 2);
    ICDirectoryEntries entries(L"D:\\");
    ASSERT_TRUE(entries.mf_next());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { entries.mf_next(); }, ERROR_DEVICE_NOT_CONNECTED));
    EXPECT_THAT(f_namesIn(entries), ElementsAre(L"b"));
}

TEST_F(ICDirectoryEntriesTest, End_KeepsTheLastError)
{
    {
        ICDirectoryEntries const entries(m_directory.mf_getPath().c_str());
        ::SetLastError(77);
    }
    EXPECT_EQ(77u, ::GetLastError());
}
