#include <gmock/gmock.h>

#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "hsmbase/paths/ICPath.h"
#include "tests/paths/ICFailingFindClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/PlatformFailure.h"
#include "tests/support/Thrown.h"

namespace
{

using testing::ElementsAre;
using testing::IsEmpty;

using ICNames = ICArray<CString, CString &>;
using ICTexts = ICArray<CString *, CString *>;

std::vector<std::wstring> f_names(ICNames const & array)
{
    std::vector<std::wstring> names;
    for (INT_PTR index = 0; index < array.GetCount(); ++index)
        names.emplace_back(array[index]);
    return names;
}

// What is in a directory, in the system's order.
std::vector<std::wstring> f_listBare(std::wstring const & directory)
{
    std::vector<std::wstring> names;
    WIN32_FIND_DATAW entry;
    HANDLE const search = ::FindFirstFileW(f_longPath(directory + L"\\*").c_str(), &entry);
    do
        names.emplace_back(entry.cFileName);
    while (::FindNextFileW(search, &entry));
    ::FindClose(search);
    return names;
}

// Starts with one name, which a failed walk takes away.
class ICStartedNames : public ICNames
{
public:
    ICStartedNames()
    {
        CString first(L"first");
        Add(first);
    }
};

int f_removeMatches(ICTemporaryDirectory const & directory, wchar_t const * pattern, int force)
{
    return ICPath::mf_rm(directory.mf_getPath().c_str(), pattern, force);
}

std::vector<std::wstring> f_sorted(std::deque<CString> & texts, void (*sort)(ICTexts &))
{
    ICTexts array;
    for (CString & text : texts)
        array.Add(&text);
    sort(array);
    std::vector<std::wstring> sorted;
    for (INT_PTR index = 0; index < array.GetCount(); ++index)
        sorted.emplace_back(*array[index]);
    return sorted;
}

} // namespace

TEST(ICPath, ListContent_AppendsAllNamesInTheSystemsOrder)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeDirectory(L"sub");
    directory.mf_makeFile(L"b", {}, FILE_ATTRIBUTE_HIDDEN);
    for (int number = 0; number < 100; ++number)
        directory.mf_makeFile(L"f" + std::to_wstring(number));
    std::vector<std::wstring> expected = f_listBare(directory.mf_getPath());
    ASSERT_EQ(104u, expected.size());
    EXPECT_THAT(expected, testing::IsSupersetOf({L".", L"..", L"b", L"sub"}));
    expected.insert(expected.begin(), L"first");

    ICStartedNames names;
    ICPath::mf_listContent(directory.mf_getPath().c_str(), names);
    EXPECT_EQ(expected, f_names(names));
}

TEST(ICPath, ListContent_LongPathAndTrailingBackslash_AreNoMatter)
{
    ICTemporaryDirectory const directory;
    std::wstring const deep = std::wstring(200, L'x') + L"\\" + std::wstring(200, L'y');
    directory.mf_makeFile(deep + L"\\f");
    ICNames names;
    ICPath::mf_listContent((directory / deep + L"\\").c_str(), names);
    EXPECT_THAT(f_names(names), ElementsAre(L".", L"..", L"f"));
}

// The drive alone would be its current directory.
TEST(ICPath, ListContent_OfADrive_IsThatOfItsRoot)
{
    std::wstring asked;
    ICImportPatch const first(IC_IMPORT(FindFirstFileW), [&](LPCWSTR globber, LPWIN32_FIND_DATAW entry) {
        asked = globber;
        return ::FindFirstFileW(globber, entry);
    });
    ICNames names;
    ICPath::mf_listContent(L"C:", names);
    EXPECT_EQ(L"\\\\?\\C:\\*", asked);
    EXPECT_THAT(f_names(names), testing::Contains(L"windows"));
}

TEST(ICPath, ListContent_OfNoDirectory_LeavesTheNames)
{
    ICTemporaryDirectory const directory;
    CString const file = directory.mf_makeFile(L"f").c_str();
    ICStartedNames names;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { ICPath::mf_listContent(file, names); }));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [&] { ICPath::mf_listContent(file + L"x", names); }, ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICPath::mf_listContent(L"", names); }));
    EXPECT_THAT(f_names(names), ElementsAre(L"first"));
}

TEST(ICPath, ListContent_SearchThatDoesNotBegin_EmptiesTheNames)
{
    ICTemporaryDirectory const directory;
    for (ulong const error : {2ul, 5ul, 18ul}) {
        SCOPED_TRACE(error);
        ICStartedNames names;
        ICImportFault const fault("FindFirstFileW", error);
        ICImportFault const closed("FindClose");
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileSystem, [&] { ICPath::mf_listContent(directory.mf_getPath().c_str(), names); }, error));
        EXPECT_THAT(f_names(names), IsEmpty());
        EXPECT_EQ(0u, closed.mf_getCalls());
    }
}

TEST(ICPath, ListContent_SearchThatFails_EmptiesTheNamesAndIsClosed)
{
    ICTemporaryDirectory const directory;
    for (ulong const call : {1ul, 2ul}) {
        for (ulong const error : {0ul, 2ul, 1117ul}) {
            SCOPED_TRACE(error);
            ICStartedNames names;
            ICImportFault const fault("FindNextFileW", error, ICCalls::mf_only(call));
            ICImportFault const closed("FindClose");
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::FileSystem, [&] { ICPath::mf_listContent(directory.mf_getPath().c_str(), names); },
                error));
            EXPECT_THAT(f_names(names), IsEmpty());
            EXPECT_EQ(1u, closed.mf_getCalls());
        }
    }
}

// The end of a search is known by the error of the call that says so.
TEST(ICPath, ListContentAndRmPattern_StaleError_IsNotTaken)
{
    ICTemporaryDirectory const directory;
    ICNames names;
    ICImportPatch const first(IC_IMPORT(FindFirstFileW), [](LPCWSTR globber, LPWIN32_FIND_DATAW entry) {
        HANDLE const search = ::FindFirstFileW(globber, entry);
        ::SetLastError(ERROR_NO_MORE_FILES);
        return search;
    });
    // Finds an entry, fails without a number twice, and comes to the end.
    int calls = 0;
    ICImportPatch const next(IC_IMPORT(FindNextFileW), [&](HANDLE, LPWIN32_FIND_DATAW) {
        ++calls;
        if (calls == 1 || calls == 4) ::SetLastError(ERROR_NO_MORE_FILES);
        return calls == 1;
    });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSystem, [&] { ICPath::mf_listContent(directory.mf_getPath().c_str(), names); }, 0));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSystem, [&] { f_removeMatches(directory, L"*", 0); }, 0));
    EXPECT_EQ(4, calls);

    ICImportPatch const none(IC_IMPORT(FindFirstFileW),
                             [](LPCWSTR, LPWIN32_FIND_DATAW) { return INVALID_HANDLE_VALUE; });
    ::SetLastError(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::OpenHandle, [&] { f_removeMatches(directory, L"*", 0); }, 0));
}

TEST(ICPath, ListContent_SearchThatDoesNotClose_FailsWithTheFirstFailure)
{
    ICTemporaryDirectory const directory;
    ICStartedNames names;
    auto const list = [&] { ICPath::mf_listContent(directory.mf_getPath().c_str(), names); };
    ICFailingFindClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(ICErrno::_E_::System, list, ERROR_IO_DEVICE));
    EXPECT_THAT(f_names(names), IsEmpty());
    ICImportFault const fault("FindNextFileW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileSystem, list, ERROR_ACCESS_DENIED));
    EXPECT_EQ(2u, failing.mf_getCalls());
}

TEST(ICPath, ListContent_NoMemory_EmptiesTheNamesAndClosesTheSearch)
{
    ICTemporaryDirectory const directory;
    ICNames names;
    ICImportFault const closed("FindClose");
    ICImportPatch const noMoreMemory("realloc", [](void * block, std::size_t size) -> void * {
        return block == nullptr ? ::realloc(block, size) : nullptr;
    });
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { ICPath::mf_listContent(directory.mf_getPath().c_str(), names); }));
    EXPECT_THAT(f_names(names), IsEmpty());
    EXPECT_EQ(1u, closed.mf_getCalls());
}

TEST(ICPath, RmPattern_DeletesTheMatchingFilesAlone)
{
    ICTemporaryDirectory const directory;
    for (wchar_t const * name : {L"a.tmp", L"b.tmp", L"c.txt", L"dir.tmp\\d.tmp"})
        directory.mf_makeFile(name);
    ICImportFault const closed("FindClose");

    EXPECT_EQ(1, f_removeMatches(directory, L"*.tmp", 0));
    EXPECT_THAT(f_listBare(directory.mf_getPath()), ElementsAre(L".", L"..", L"c.txt", L"dir.tmp"));
    EXPECT_TRUE(f_isThere(directory / L"dir.tmp\\d.tmp"));
    EXPECT_EQ(1, f_removeMatches(directory, L"dir*", 0));
    EXPECT_EQ(2u, closed.mf_getCalls());
    EXPECT_TRUE(f_isThere(directory / L"dir.tmp"));
}

TEST(ICPath, RmPattern_Force_DeletesReadOnlyFiles)
{
    ICTemporaryDirectory const directory;
    for (wchar_t const * name : {L"a", L"b"})
        directory.mf_makeFile(name, "bytes", FILE_ATTRIBUTE_READONLY);
    directory.mf_makeFile(L"c");
    ICImportFault const changed("SetFileAttributesW");
    EXPECT_EQ(1, f_removeMatches(directory, L"c", 0));
    {
        ICImportFault const denied("DeleteFileW", ERROR_ACCESS_DENIED);
        EXPECT_EQ(0, f_removeMatches(directory, L"*", 0));
    }
    EXPECT_EQ(0u, changed.mf_getCalls());
    EXPECT_EQ(1, f_removeMatches(directory, L"*", 1));
    EXPECT_EQ(2u, changed.mf_getCalls());
    EXPECT_THAT(f_listBare(directory.mf_getPath()), ElementsAre(L".", L".."));
}

TEST(ICPath, RmPattern_LongPath_IsNoMatter)
{
    ICTemporaryDirectory const directory;
    std::wstring const deep = std::wstring(200, L'x') + L"\\" + std::wstring(200, L'y');
    std::wstring const file = directory.mf_makeFile(deep + L"\\f");
    std::wstring asked;
    ICImportPatch const first(IC_IMPORT(FindFirstFileW), [&](LPCWSTR globber, LPWIN32_FIND_DATAW entry) {
        asked = globber;
        return ::FindFirstFileW(globber, entry);
    });
    EXPECT_EQ(1, ICPath::mf_rm((directory / deep).c_str(), L"*", 0));
    EXPECT_EQ(f_longPath(directory / deep) + L"\\*", asked);
    EXPECT_FALSE(f_isThere(file));
}

TEST(ICPath, RmPattern_NoMatch_Fails)
{
    ICTemporaryDirectory const directory;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::OpenHandle, [&] { f_removeMatches(directory, L"*.tmp", 0); }, ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::OpenHandle, [&] { ICPath::mf_rm((directory / L"none").c_str(), L"*", 0); },
        ERROR_PATH_NOT_FOUND));
    ICImportFault const denied("FindFirstFileW", ERROR_ACCESS_DENIED);
    ICImportFault const closed("FindClose");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::OpenHandle, [&] { f_removeMatches(directory, L"*", 0); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(0u, closed.mf_getCalls());
}

TEST(ICPath, RmPattern_OneUndeletableOfFive_AnswersNo)
{
    ICTemporaryDirectory const directory;
    for (wchar_t const * name : {L"1.tmp", L"2.tmp", L"3.tmp", L"4.tmp", L"5.tmp"})
        directory.mf_makeFile(name);
    HANDLE const held =
        ::CreateFileW((directory / L"3.tmp").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(0, f_removeMatches(directory, L"*.tmp", 0));
    ::CloseHandle(held);
    EXPECT_THAT(f_listBare(directory.mf_getPath()), ElementsAre(L".", L"..", L"3.tmp"));
}

TEST(ICPath, RmPattern_FileThatVanishesMeanwhile_AnswersNo)
{
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a");
    directory.mf_makeFile(L"b");
    ICImportPatch const first(IC_IMPORT(FindFirstFileW), [&](LPCWSTR globber, LPWIN32_FIND_DATAW entry) {
        HANDLE const search = ::FindFirstFileW(globber, entry);
        ::DeleteFileW((directory / entry->cFileName).c_str());
        return search;
    });
    for (int const force : {0, 1}) {
        EXPECT_EQ(0, f_removeMatches(directory, force ? L"b" : L"a", force));
        EXPECT_EQ(!force, f_isThere(directory / L"b"));
    }
}

// Deliberate: the walk ends only when the system says that there are no more, and tries the entry that it holds again.
TEST(ICPath, RmPattern_SearchThatKeepsFailing_GoesOnUntilTheEnd)
{
    static constexpr ulong ERRORS[] = {ERROR_IO_DEVICE, ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_NO_MORE_FILES};
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a");
    directory.mf_makeFile(L"b");
    std::size_t calls = 0;
    ICImportPatch const next(IC_IMPORT(FindNextFileW), [&](HANDLE, LPWIN32_FIND_DATAW entry) -> BOOL {
        // What a failed call leaves there is not to be believed.
        ::wcscpy_s(entry->cFileName, MAX_PATH, L"b");
        ::SetLastError(ERRORS[calls++]);
        return FALSE;
    });
    ICImportFault const deletions("DeleteFileW");
    ICImportFault const closed("FindClose");

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSystem, [&] { f_removeMatches(directory, L"a", 0); }, ERROR_IO_DEVICE));
    EXPECT_EQ(4u, calls);
    EXPECT_EQ(4u, deletions.mf_getCalls());
    EXPECT_EQ(1u, closed.mf_getCalls());
    EXPECT_FALSE(f_isThere(directory / L"a"));
    EXPECT_TRUE(f_isThere(directory / L"b"));
}

TEST(ICPath, RmPattern_SearchThatDoesNotClose_IsNoFailure)
{
    ICTemporaryDirectory const directory;
    ICFailingFindClose const failing(ERROR_INVALID_HANDLE);
    directory.mf_makeFile(L"a");
    EXPECT_EQ(1, f_removeMatches(directory, L"*", 0));
    EXPECT_EQ(1u, failing.mf_getCalls());

    ICImportFault const fault("FindNextFileW", ERROR_IO_DEVICE, ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileSystem, [&] { f_removeMatches(directory, L"*", 0); }, ERROR_IO_DEVICE));
}

TEST(ICPath, Sort_WithAndWithoutCase)
{
    std::deque<CString> texts{L"b", L"C", L"a", L"B", L"\x00E4", L""};
    EXPECT_THAT(f_sorted(texts, &ICPath::mf_sort), ElementsAre(L"", L"B", L"C", L"a", L"b", L"\x00E4"));

    texts = {L"b2", L"C", L"a", L"B1"};
    EXPECT_THAT(f_sorted(texts, &ICPath::mf_sortNoCase), ElementsAre(L"a", L"B1", L"b2", L"C"));
}

TEST(ICPath, Sort_EqualTexts_AllStay)
{
    std::deque<CString> texts{L"a", L"A", L"a", L"B", L"A"};
    EXPECT_THAT(f_sorted(texts, &ICPath::mf_sort), ElementsAre(L"A", L"A", L"B", L"a", L"a"));
    std::vector<std::wstring> const sorted = f_sorted(texts, &ICPath::mf_sortNoCase);
    EXPECT_THAT(sorted, testing::UnorderedElementsAre(L"A", L"A", L"B", L"a", L"a"));
    EXPECT_EQ(L"B", sorted.back());
}

TEST(ICPath, Sort_FewerThanTwo_AreLeftAlone)
{
    for (auto * const sort : {&ICPath::mf_sort, &ICPath::mf_sortNoCase}) {
        std::deque<CString> texts;
        EXPECT_THAT(f_sorted(texts, sort), IsEmpty());
        texts.emplace_back(L"a");
        EXPECT_THAT(f_sorted(texts, sort), ElementsAre(L"a"));
    }
}

TEST(ICPath, Sort_ComparisonThatThrows_LeavesTheOrder)
{
    CString b(L"b"), a(L"a");
    ICTexts array;
    array.Add(&b);
    array.Add(&a);
    bool isForeign = false;
    ICImportPatch const compare(IC_IMPORT(_wcsicmp), [&](wchar_t const *, wchar_t const *) -> int {
        if (isForeign) throw std::length_error("foreign");
        throw ICErrno(ICErrno::_E_::CRC);
    });
    EXPECT_TRUE(f_throws(ICErrno::_E_::CRC, [&] { ICPath::mf_sortNoCase(array); }));
    isForeign = true;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { ICPath::mf_sortNoCase(array); }));
    EXPECT_EQ(&b, array[0]);
    EXPECT_EQ(&a, array[1]);
}

TEST(ICPath, Sort_NoMemory_Fails)
{
    CString b(L"b"), a(L"a");
    ICTexts array;
    array.Add(&b);
    array.Add(&a);
    {
        ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [&] { ICPath::mf_sort(array); }));
    }
    EXPECT_EQ(&b, array[0]);

    // The class library's own failure comes while the elements are written back, whichever way it asks for memory.
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(2));
    ICImportFault const noOtherMemory("realloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { ICPath::mf_sort(array); }));
}
