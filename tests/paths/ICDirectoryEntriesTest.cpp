#include "hsmbase/paths/ICDirectoryEntries.h"

#include <array>
#include <map>
#include <thread>

#include "tests/support/ICImportFault.h"
#include "tests/support/ICListedEntries.h"
#include "tests/support/ICSimulatedTree.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace
{

constexpr wchar_t ROOT[] = L"D:\\"; // of the simulated tree

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

std::map<std::wstring, ULONG64> f_idsIn(std::wstring const & directory)
{
    std::map<std::wstring, ULONG64> ids;
    ICDirectoryEntries entries(directory.c_str());
    while (entries.mf_next())
        ids[entries.mf_getEntry().cFileName] = entries.mf_getFileId();
    return ids;
}

ULONG64 f_directoryId(std::wstring const & directory)
{
    return ICDirectoryEntries(directory.c_str()).mf_getDirectoryId();
}

// The number that the system gives a file or directory that is opened.
ULONG64 f_indexOf(std::wstring const & path)
{
    BY_HANDLE_FILE_INFORMATION information = {};
    HANDLE const file =
        ::CreateFileW(f_longPath(path).c_str(), 0, 7, nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    EXPECT_TRUE(::GetFileInformationByHandle(file, &information));
    ::CloseHandle(file);
    return static_cast<ULONG64>(information.nFileIndexHigh) << 32 | information.nFileIndexLow;
}

std::string f_describe(WIN32_FIND_DATAW const & entry)
{
    auto const numbers = {entry.dwFileAttributes,
                          entry.ftCreationTime.dwHighDateTime,
                          entry.ftCreationTime.dwLowDateTime,
                          entry.ftLastAccessTime.dwHighDateTime,
                          entry.ftLastAccessTime.dwLowDateTime,
                          entry.ftLastWriteTime.dwHighDateTime,
                          entry.ftLastWriteTime.dwLowDateTime,
                          entry.nFileSizeHigh,
                          entry.nFileSizeLow,
                          entry.dwReserved0};
    std::string text = f_logged("", CString(entry.cFileName));
    for (ulong const number : numbers)
        text += ' ' + std::to_string(number);
    return text;
}

std::vector<std::string> f_describeAll(std::wstring const & directory)
{
    std::vector<std::string> texts;
    ICDirectoryEntries entries(directory.c_str());
    while (entries.mf_next())
        texts.push_back(f_describe(entries.mf_getEntry()));
    return texts;
}

// The same by a search of the platform.
std::vector<std::string> f_searchAll(std::wstring const & directory)
{
    std::vector<std::string> texts;
    WIN32_FIND_DATAW entry = {};
    HANDLE const search = ::FindFirstFileW((f_longPath(directory) + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return texts;
    do
        if (entry.cFileName != std::wstring(L".") && entry.cFileName != std::wstring(L".."))
            texts.push_back(f_describe(entry));
    while (::FindNextFileW(search, &entry));
    ::FindClose(search);
    return texts;
}

std::vector<ULONG64> f_idsAhead(ICDirectoryEntries const & entries)
{
    CArray<ULONG64, ULONG64> ids;
    ids.Add(77);
    entries.mf_getFileIdsAhead(ids);
    return {ids.GetData(), ids.GetData() + ids.GetCount()};
}

class ICDirectoryEntriesTest : public testing::Test
{
protected:
    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
};

// On simulated directories.
class ICDirectoryEntriesTreeTest : public testing::Test
{
protected:
    ICTracedProcess const m_process;
    ICSimulatedTree m_tree;
};

// A file system that answers the first question of `form` by an error and the others truly.
class ICUnknownForm
{
public:
    explicit ICUnknownForm(ulong error)
        : m_patch(IC_IMPORT(GetFileInformationByHandleEx),
                  [this, error](HANDLE directory, auto form, void * block, DWORD size) -> BOOL {
                      m_asked.push_back(form);
                      if (form != FileIdBothDirectoryRestartInfo && form != FileIdBothDirectoryInfo)
                          return ::GetFileInformationByHandleEx(directory, form, block, size);
                      ::SetLastError(error);
                      return FALSE;
                  })
    {}

    std::vector<int> m_asked;

private:
    ICImportPatch const m_patch;
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

TEST_F(ICDirectoryEntriesTest, Facts_AreThoseOfASearch)
{
    m_directory.mf_makeFile(L"hidden", "12345", FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_READONLY);
    m_directory.mf_makeFile(L"system", "", FILE_ATTRIBUTE_SYSTEM);
    m_directory.mf_makeFile(L"a name with an.extension", "1");
    m_directory.mf_makeDirectory(L"below");
    ASSERT_EQ(4u, f_searchAll(m_directory.mf_getPath()).size());
    EXPECT_EQ(f_searchAll(m_directory.mf_getPath()), f_describeAll(m_directory.mf_getPath()));
}

// So many that they are read in several blocks, which end in the middle of the directory.
TEST_F(ICDirectoryEntriesTest, ManyEntriesOfAllLengths_AreThoseOfASearch)
{
    for (int length = 1; length <= 255; ++length)
        for (wchar_t const * const letter : {L"a", L"b", L"c"})
            m_directory.mf_makeFile(letter + std::wstring(static_cast<std::size_t>(length) - 1, L'x'), "");
    ICImportFault const reads("GetFileInformationByHandleEx");
    std::vector<std::string> const found = f_describeAll(m_directory.mf_getPath());
    EXPECT_EQ(3u * 255, found.size());
    EXPECT_EQ(f_searchAll(m_directory.mf_getPath()), found);
    EXPECT_LT(4u, reads.mf_getCalls()) << "else all of them were read at once";
}

TEST_F(ICDirectoryEntriesTest, NamesOfAllScripts_AreTakenWhole)
{
    std::vector<std::wstring> const names = {L"Größe", L"\x0444\x0430\x0439\x043b", L"\x65e5\x672c\x8a9e",
                                             L"\xd83d\xdcc1 and more", L"e\x0301"};
    for (std::wstring const & name : names)
        m_directory.mf_makeFile(name, "");
    EXPECT_THAT(f_namesIn(m_directory.mf_getPath()), testing::UnorderedElementsAreArray(names));
}

TEST_F(ICDirectoryEntriesTest, NamesThatOnlyBeginWithDots_AreEntries)
{
    m_directory.mf_makeFile(L".a", "");
    m_directory.mf_makeFile(L"..b", "");
    m_directory.mf_makeFile(L"...", "");
    EXPECT_THAT(f_namesIn(m_directory.mf_getPath()), testing::UnorderedElementsAre(L".a", L"..b", L"..."));
}

TEST_F(ICDirectoryEntriesTest, EmptyDirectory_HasNoEntries)
{
    ICDirectoryEntries entries(m_directory.mf_getPath().c_str());
    EXPECT_FALSE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), IsEmpty());
}

TEST_F(ICDirectoryEntriesTest, Directory_IsTakenWithAndWithoutBackslashAndLongPrefix)
{
    m_directory.mf_makeFile(L"a", "");
    std::wstring const path = m_directory.mf_getPath();
    for (std::wstring const & spelling : {path, path + L"\\", L"\\\\?\\" + path, L"\\\\?\\" + path + L"\\"}) {
        EXPECT_THAT(f_namesIn(spelling), ElementsAre(L"a"));
        EXPECT_EQ(f_indexOf(path), f_directoryId(spelling));
    }
}

TEST_F(ICDirectoryEntriesTest, RelativeDirectory_IsBelowTheCurrentOne)
{
    m_directory.mf_makeFile(L"sub\\a", "");
    wchar_t before[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, before);
    ::SetCurrentDirectoryW(m_directory.mf_getPath().c_str());
    EXPECT_THAT(f_namesIn(L"sub"), ElementsAre(L"a"));
    EXPECT_THAT(f_namesIn(L"."), ElementsAre(L"sub"));
    ::SetCurrentDirectoryW(before);
}

TEST_F(ICDirectoryEntriesTest, RootOfADrive_IsTakenInEachOfItsForms)
{
    std::vector<std::string> const found = f_searchAll(L"C:");
    ASSERT_FALSE(found.empty());
    for (wchar_t const * const root : {L"C:", L"C:\\", L"\\\\?\\C:\\", L"\\\\?\\C:"}) {
        EXPECT_EQ(found, f_describeAll(root));
        EXPECT_EQ(f_indexOf(L"C:\\"), f_directoryId(root));
    }
}

TEST_F(ICDirectoryEntriesTest, PathsBeyondTheOrdinaryLimit_AreTaken)
{
    std::wstring deep;
    for (int level = 0; level < 10; ++level)
        deep += std::wstring(200, static_cast<wchar_t>(L'a' + level)) + L"\\";
    m_directory.mf_makeFile(deep + L"file", "1");
    EXPECT_THAT(f_namesIn(m_directory / deep), ElementsAre(L"file"));
    EXPECT_EQ(f_indexOf(m_directory / deep + L"file"), f_idsIn(m_directory / deep)[L"file"]);
}

TEST_F(ICDirectoryEntriesTest, FileIds_AreThoseOfTheOpenedFiles)
{
    m_directory.mf_makeFile(L"a", "");
    m_directory.mf_makeFile(L"b", "");
    m_directory.mf_makeDirectory(L"sub");
    std::map<std::wstring, ULONG64> const ids = f_idsIn(m_directory.mf_getPath());
    ASSERT_EQ(3u, ids.size());
    for (auto const & [name, id] : ids)
        EXPECT_EQ(f_indexOf(m_directory / name), id);
    EXPECT_NE(ids.at(L"a"), ids.at(L"b"));
    EXPECT_NE(0u, ids.at(L"a"));
}

TEST_F(ICDirectoryEntriesTest, HardLinks_HaveTheSameId)
{
    std::wstring const file = m_directory.mf_makeFile(L"one\\a", "");
    m_directory.mf_makeFile(L"two\\other", "");
    ASSERT_TRUE(::CreateHardLinkW((m_directory / L"one\\b").c_str(), file.c_str(), nullptr));
    ASSERT_TRUE(::CreateHardLinkW((m_directory / L"two\\c").c_str(), file.c_str(), nullptr));
    std::map<std::wstring, ULONG64> const one = f_idsIn(m_directory / L"one");
    std::map<std::wstring, ULONG64> const two = f_idsIn(m_directory / L"two");
    EXPECT_EQ(one.at(L"a"), one.at(L"b"));
    EXPECT_EQ(one.at(L"a"), two.at(L"c"));
    EXPECT_NE(one.at(L"a"), two.at(L"other"));
}

TEST_F(ICDirectoryEntriesTest, DirectoryId_IsThatOfItsEntryAbove)
{
    m_directory.mf_makeDirectory(L"sub");
    EXPECT_EQ(f_idsIn(m_directory.mf_getPath())[L"sub"], f_directoryId(m_directory / L"sub"));
}

TEST_F(ICDirectoryEntriesTest, Missing_FailsWithTheSystemsNumber)
{
    EXPECT_THAT(m_process.mf_run([&] { f_namesIn(m_directory / L"none"); }),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_FILE_NOT_FOUND, "ICDirectoryEntries::ICDirectoryEntries",
                               f_at("Failure opening directory '@\\none':\n", m_directory.mf_getPath().c_str())));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_namesIn(m_directory / L"none\\below"); }, ERROR_PATH_NOT_FOUND));
}

TEST_F(ICDirectoryEntriesTest, EmptyPath_IsNoDirectory)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [] { f_namesIn(L""); }, ERROR_PATH_NOT_FOUND));
}

TEST_F(ICDirectoryEntriesTest, File_IsNoDirectory)
{
    std::wstring const file = m_directory.mf_makeFile(L"a", "12345");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_namesIn(file); }, ERROR_INVALID_NAME));
}

TEST_F(ICDirectoryEntriesTest, OpeningThatIsDenied_Fails)
{
    ICImportFault const denied("CreateFileW", ERROR_ACCESS_DENIED);
    EXPECT_THAT(m_process.mf_run([&] { f_namesIn(m_directory.mf_getPath()); }),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED, "ICDirectoryEntries::ICDirectoryEntries",
                               f_at("Failure opening directory '@':\n", m_directory.mf_getPath().c_str())));
}

TEST_F(ICDirectoryEntriesTest, NoMemory_Fails)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([&] { f_namesIn(m_directory.mf_getPath()); }),
                f_fails(ICErrno::_E_::Memory, 'E', "ICDirectoryEntries::ICDirectoryEntries",
                        f_at("No memory to read directory '@'", m_directory.mf_getPath().c_str())));
}

// What was read is told all the same; what then is there to be told is up to the system.
TEST_F(ICDirectoryEntriesTest, DirectoryThatVanishes_EndsOrFails)
{
    m_directory.mf_makeFile(L"sub\\a", "");
    m_directory.mf_makeFile(L"sub\\b", "");
    ICDirectoryEntries entries((m_directory / L"sub").c_str());
    for (wchar_t const * const name : {L"sub\\a", L"sub\\b"})
        ASSERT_TRUE(::DeleteFileW((m_directory / name).c_str()));
    ::RemoveDirectoryW((m_directory / L"sub").c_str());
    std::vector<std::wstring> names;
    try {
        names = f_namesIn(entries);
    }
    catch (ICErrno & failure) {
        EXPECT_EQ(ICErrno::_E_::FileAccess.mf_getNumber(), failure.mf_getErrnoData().mf_getNumber());
        return;
    }
    EXPECT_THAT(names, ElementsAre(L"a", L"b"));
}

TEST_F(ICDirectoryEntriesTest, ReparseTag_IsThatOfReparsePointsAlone)
{
    m_directory.mf_makeFile(L"plain", "");
    m_directory.mf_makeFile(L"stub", "");
    ICListedEntries const tagged([](std::wstring_view name, FILE_ID_BOTH_DIR_INFO & entry) {
        entry.EaSize = IO_REPARSE_TAG_HSM; // else the size of extended attributes
        if (name == L"stub") entry.FileAttributes |= FILE_ATTRIBUTE_REPARSE_POINT;
    });
    ICDirectoryEntries entries(m_directory.mf_getPath().c_str());
    ASSERT_TRUE(entries.mf_next());
    EXPECT_EQ(0u, entries.mf_getEntry().dwReserved0);
    ASSERT_TRUE(entries.mf_next());
    EXPECT_EQ(IO_REPARSE_TAG_HSM, entries.mf_getEntry().dwReserved0);
}

TEST_F(ICDirectoryEntriesTest, FormWithoutIds_IsAskedWhereTheOtherIsUnknown)
{
    m_directory.mf_makeFile(L"a", "12345");
    m_directory.mf_makeDirectory(L"sub");
    std::vector<std::string> const found = f_describeAll(m_directory.mf_getPath());
    for (ulong const error : std::to_array<ulong>(
             {ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED, ERROR_INVALID_FUNCTION, ERROR_INVALID_LEVEL})) {
        ICUnknownForm const unknown(error);
        EXPECT_EQ(found, f_describeAll(m_directory.mf_getPath()));
        EXPECT_THAT(unknown.m_asked,
                    ElementsAre(FileIdBothDirectoryRestartInfo, FileFullDirectoryRestartInfo, FileFullDirectoryInfo));
        EXPECT_THAT(f_idsIn(m_directory.mf_getPath()), ElementsAre(testing::Pair(L"a", 0), testing::Pair(L"sub", 0)));
        EXPECT_EQ(f_indexOf(m_directory.mf_getPath()), f_directoryId(m_directory.mf_getPath()));
    }
}

TEST_F(ICDirectoryEntriesTest, FormWithoutIds_ListsManyEntriesToo)
{
    for (int number = 0; number < 700; ++number)
        m_directory.mf_makeFile(
            std::wstring(static_cast<std::size_t>(number) % 200 + 1, L'x') + std::to_wstring(number), "");
    std::vector<std::string> const found = f_searchAll(m_directory.mf_getPath());
    ICUnknownForm const unknown(ERROR_INVALID_PARAMETER);
    EXPECT_EQ(found, f_describeAll(m_directory.mf_getPath()));
    EXPECT_LT(4u, unknown.m_asked.size());
}

TEST_F(ICDirectoryEntriesTest, OtherFailureOfTheFirstQuestion_IsOne)
{
    ICUnknownForm const refused(ERROR_ACCESS_DENIED);
    EXPECT_THAT(m_process.mf_run([&] { f_namesIn(m_directory.mf_getPath()); }),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED, "ICDirectoryEntries::ICDirectoryEntries",
                               f_at("Failure opening directory '@':\n", m_directory.mf_getPath().c_str())));
    EXPECT_THAT(refused.m_asked, ElementsAre(FileIdBothDirectoryRestartInfo));
}

TEST_F(ICDirectoryEntriesTest, FileSystemThatKnowsNoForm_FailsByTheLast)
{
    ICImportFault const first("GetFileInformationByHandleEx", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1));
    ICImportFault const second("GetFileInformationByHandleEx", ERROR_NOT_SUPPORTED, ICCalls::mf_from(2));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_namesIn(m_directory.mf_getPath()); }, ERROR_NOT_SUPPORTED));
    EXPECT_EQ(2u, second.mf_getCalls()) << "each form is asked for once";
}

TEST_F(ICDirectoryEntriesTest, SeveralObjects_ReadOneDirectoryAtOnce)
{
    for (int number = 0; number < 100; ++number)
        m_directory.mf_makeFile(std::to_wstring(number), "");
    std::vector<std::wstring> const names = f_namesIn(m_directory.mf_getPath());
    std::vector<std::wstring> found[4];
    std::vector<std::thread> threads;
    for (auto & own : found)
        threads.emplace_back([&] { own = f_namesIn(m_directory.mf_getPath()); });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_THAT(found, testing::Each(names));
}

TEST_F(ICDirectoryEntriesTest, End_KeepsTheLastError)
{
    {
        ICDirectoryEntries const entries(m_directory.mf_getPath().c_str());
        ::SetLastError(77);
    }
    EXPECT_EQ(77u, ::GetLastError());
}

// The system has no entry to begin with there, not even ".".
TEST_F(ICDirectoryEntriesTreeTest, EmptyRoot_HasNoEntries)
{
    ICDirectoryEntries entries(ROOT);
    EXPECT_FALSE(entries.mf_next());
    EXPECT_FALSE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), IsEmpty());
}

TEST_F(ICDirectoryEntriesTreeTest, Facts_AreOf64Bits)
{
    ICSimulatedEntry & file =
        m_tree.mf_add(ROOT, L"a", FILE_ATTRIBUTE_OFFLINE | FILE_ATTRIBUTE_SPARSE_FILE, 0x0123'4567'89ab'cdef);
    file.m_fileId = 0xfedc'ba98'7654'3210;
    file.m_time = {0x9abc'def0, 0x0123'4567};
    ICDirectoryEntries entries(ROOT);
    ASSERT_TRUE(entries.mf_next());
    EXPECT_EQ("a 4608 19088743 2596069104 19088743 2596069104 19088743 2596069104 19088743 2309737967 0",
              f_describe(entries.mf_getEntry()));
    EXPECT_EQ(0xfedc'ba98'7654'3210, entries.mf_getFileId());
}

TEST_F(ICDirectoryEntriesTreeTest, MountPoint_HasItsTagAndIsFollowed)
{
    m_tree.mf_mount(ROOT, L"mnt", L"E:\\");
    m_tree.mf_add(L"E:\\", L"a", 0);
    ICDirectoryEntries entries(ROOT);
    ASSERT_TRUE(entries.mf_next());
    EXPECT_EQ(IO_REPARSE_TAG_MOUNT_POINT, entries.mf_getEntry().dwReserved0);
    EXPECT_EQ(0u, entries.mf_getFileId());
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(0));
    EXPECT_THAT(f_namesIn(L"D:\\mnt"), ElementsAre(L"a"));
    EXPECT_EQ(ICSimulatedTree::ROOT_ID, f_directoryId(L"D:\\mnt")) << "the root of what is mounted";
}

TEST_F(ICDirectoryEntriesTreeTest, RootOfAVolume_IsTakenByItsId)
{
    std::wstring const idPath = L"\\\\?\\Volume{00000000-0000-4000-8000-000000000003}\\";
    m_tree.mf_add(idPath, L"a", 0);
    EXPECT_THAT(f_namesIn(idPath), ElementsAre(L"a"));
    EXPECT_THAT(m_tree.mf_getRead(), ElementsAre(idPath));
}

// It has no entry that tells it.
TEST_F(ICDirectoryEntriesTreeTest, DirectoryIdOfARoot_IsAsked)
{
    m_tree.mf_add(ROOT, L"a", FILE_ATTRIBUTE_DIRECTORY);
    ICImportFault const asked("GetFileInformationByHandle");
    EXPECT_EQ(ICSimulatedTree::ROOT_ID, f_directoryId(ROOT));
    EXPECT_EQ(1u, asked.mf_getCalls());
    EXPECT_EQ(m_tree.mf_getDirectoryId(L"D:\\a\\"), f_directoryId(L"D:\\a"));
    EXPECT_EQ(1u, asked.mf_getCalls()) << "one call is saved for any other directory";
}

TEST_F(ICDirectoryEntriesTreeTest, DirectoryIdThatIsNotTold_HindersNothing)
{
    m_tree.mf_add(ROOT, L"a", 0);
    ICImportFault const refused("GetFileInformationByHandle", ERROR_NOT_SUPPORTED);
    ICDirectoryEntries entries(ROOT);
    EXPECT_EQ(0u, entries.mf_getDirectoryId());
    EXPECT_THAT(f_namesIn(entries), ElementsAre(L"a"));
}

TEST_F(ICDirectoryEntriesTreeTest, IdsThatAreNotTold_AreZero)
{
    m_tree.mf_add(ROOT, L"a", 0).m_fileId = 0;
    m_tree.mf_add(ROOT, L"b", 0).m_fileId = ~0ull;
    m_tree.mf_add(ROOT, L"c", 0).m_fileId = ~0ull - 1;
    EXPECT_THAT(f_idsIn(ROOT),
                ElementsAre(testing::Pair(L"a", 0), testing::Pair(L"b", 0), testing::Pair(L"c", ~0ull - 1)));
    m_tree.m_tellsIds = false;
    EXPECT_EQ(0u, f_directoryId(ROOT));
    EXPECT_EQ(0u, f_directoryId(L"D:\\sub"));
}

TEST_F(ICDirectoryEntriesTreeTest, IdsAhead_AreThoseOfTheEntriesThatAreRead)
{
    m_tree.m_entriesAtOnce = 3;
    std::vector<ULONG64> ids;
    for (wchar_t const * const name : {L"a", L"b", L"c", L"d"})
        ids.push_back(m_tree.mf_add(L"D:\\sub\\", name, 0).m_fileId);
    ICDirectoryEntries entries(L"D:\\sub");
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(ids[0])) << "., .. and a are read";
    ASSERT_TRUE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(ids[0]));
    ASSERT_TRUE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(ids[1], ids[2], ids[3]));
    ASSERT_TRUE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(ids[2], ids[3]));
    ASSERT_TRUE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(entries.mf_getFileId()));
    EXPECT_FALSE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), IsEmpty());
}

TEST_F(ICDirectoryEntriesTreeTest, IdsAhead_OfWhatTellsNone_AreZeros)
{
    for (wchar_t const * const name : {L"a", L"b", L"c"})
        m_tree.mf_add(ROOT, name, 0);
    m_tree.m_tellsIds = false;
    ICDirectoryEntries entries(ROOT);
    ASSERT_TRUE(entries.mf_next());
    EXPECT_THAT(f_idsAhead(entries), ElementsAre(0, 0, 0));
}

// So many entries later there are others.
TEST_F(ICDirectoryEntriesTreeTest, IdsAhead_MeetEveryEntryOnce)
{
    std::vector<ULONG64> expected;
    for (int number = 0; number < 3000; ++number) {
        std::wstring const name(static_cast<std::size_t>(number) % 255 + 1, L'n');
        expected.push_back(m_tree.mf_add(ROOT, name, 0).m_fileId);
    }
    std::vector<ULONG64> found;
    std::size_t entry = 0;
    ICDirectoryEntries entries(ROOT);
    for (CArray<ULONG64, ULONG64> ids; entries.mf_next(); ++entry) {
        if (entry == found.size()) {
            entries.mf_getFileIdsAhead(ids);
            found.insert(found.end(), ids.GetData(), ids.GetData() + ids.GetCount());
        }
        ASSERT_EQ(found.at(entry), entries.mf_getFileId());
    }
    EXPECT_THAT(found, ElementsAreArray(expected));
}

TEST_F(ICDirectoryEntriesTreeTest, ReadingThatBreaksOff_FailsAndClosesTheDirectory)
{
    m_tree.m_entriesAtOnce = 1;
    m_tree.mf_add(ROOT, L"a", 0);
    m_tree.mf_add(ROOT, L"b", 0);
    m_tree.mf_fail(ROOT, ERROR_DEVICE_NOT_CONNECTED, 2);
    std::vector<std::wstring> names;
    auto const read = [&] {
        ICDirectoryEntries entries(ROOT);
        while (entries.mf_next())
            names.emplace_back(entries.mf_getEntry().cFileName);
    };
    EXPECT_THAT(m_process.mf_run(read),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_DEVICE_NOT_CONNECTED, "ICDirectoryEntries::mf_next",
                               "Failure reading directory 'D:\\':\n"));
    EXPECT_THAT(names, ElementsAre(L"a"));
}

TEST_F(ICDirectoryEntriesTreeTest, ReadingThatBreaksOff_GoesOnWhenAskedAgain)
{
    m_tree.m_entriesAtOnce = 1;
    m_tree.mf_add(ROOT, L"a", 0);
    m_tree.mf_add(ROOT, L"b", 0);
    // What means more at the beginning is a failure like any other here.
    for (ulong const error :
         std::to_array<ulong>({ERROR_DEVICE_NOT_CONNECTED, ERROR_INVALID_PARAMETER, ERROR_FILE_NOT_FOUND})) {
        m_tree.mf_fail(ROOT, error, 2);
        ICDirectoryEntries entries(ROOT);
        ASSERT_TRUE(entries.mf_next());
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileAccess, [&] { entries.mf_next(); }, error));
        EXPECT_THAT(f_idsAhead(entries), IsEmpty());
        EXPECT_THAT(f_namesIn(entries), ElementsAre(L"b"));
    }
}

TEST_F(ICDirectoryEntriesTreeTest, ReadingThatBreaksOffAtOnce_IsAFailureOfOpening)
{
    m_tree.mf_fail(ROOT, ERROR_CRC, 1);
    EXPECT_THAT(m_process.mf_run([] { f_namesIn(ROOT); }),
                f_failsShowing(ICErrno::_E_::FileAccess, ERROR_CRC, "ICDirectoryEntries::ICDirectoryEntries",
                               "Failure opening directory 'D:\\':\n"));
}
