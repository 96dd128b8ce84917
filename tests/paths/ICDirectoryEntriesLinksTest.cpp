#include <map>

#include "hsmbase/paths/ICDirectoryEntries.h"
#include "tests/support/ICListedEntries.h"
#include "tests/support/ICTracedProcess.h"
#include "tests/support/ICUnixHost.h"

namespace
{
std::map<std::wstring, ULONG64> f_idsIn(std::wstring const & directory)
{
    std::map<std::wstring, ULONG64> ids;
    CArray<ULONG64, ULONG64> ahead;
    ICDirectoryEntries entries(directory.c_str());
    while (entries.mf_next()) {
        ids[entries.mf_getEntry().cFileName] = entries.mf_getFileId();
        entries.mf_getFileIdsAhead(ahead);
        EXPECT_EQ(entries.mf_getFileId(), ahead[0]);
    }
    return ids;
}
} // namespace

// Else a directory would count as met before where a link to it was met.
TEST(ICDirectoryEntriesLinks, LinksToDirectories_HaveNoNumber)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "links are made by the host";
    ICTracedProcess const process;
    ICTemporaryDirectory const directory;
    directory.mf_makeDirectory(L"real");
    ASSERT_TRUE(f_runOnHost(L"ln -s " + f_hostPath(directory / L"real") + L" " + f_hostPath(directory / L"link")));
    auto const ids = f_idsIn(directory.mf_getPath());
    EXPECT_EQ(0u, ids.at(L"link"));
    EXPECT_NE(0u, ids.at(L"real"));
}

TEST(ICDirectoryEntriesLinks, ReparsePointsThatAreFiles_HaveTheirNumber)
{
    ICTracedProcess const process;
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"stub", "1");
    directory.mf_makeDirectory(L"mounted");
    ICListedEntries const stub(
        [](std::wstring_view, FILE_ID_BOTH_DIR_INFO & entry) { entry.FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT; });
    auto const ids = f_idsIn(directory.mf_getPath());
    EXPECT_NE(0u, ids.at(L"stub"));
    EXPECT_EQ(0u, ids.at(L"mounted"));
}
