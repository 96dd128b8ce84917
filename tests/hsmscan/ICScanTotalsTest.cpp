#include "programs/hsmscan/ICScanTotals.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "programs/hsmscan/ICScanOptions.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"

namespace
{
constexpr long long DAY = 864'000'000'000;

ICScanOptions f_options(long long minSize, ulong minAge, ulong largest)
{
    wchar_t const * const arguments[] = {L"path"};
    ICScanOptions options(1, arguments);
    options.m_minSize = minSize;
    options.m_minAge = minAge;
    options.m_largest = largest;
    return options;
}

// `age` in days.
WIN32_FIND_DATAW f_entry(wchar_t const * name, ulong attributes, long long size = 0, long long age = 0)
{
    WIN32_FIND_DATAW entry = {};
    entry.dwFileAttributes = attributes;
    entry.nFileSizeLow = static_cast<ulong>(size);
    entry.nFileSizeHigh = static_cast<ulong>(size >> 32);
    FILETIME now;
    ::GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER ticks;
    ticks.LowPart = now.dwLowDateTime;
    ticks.HighPart = now.dwHighDateTime;
    ticks.QuadPart -= static_cast<ULONGLONG>(age * DAY);
    entry.ftLastWriteTime = {ticks.LowPart, ticks.HighPart};
    ::wcscpy_s(entry.cFileName, name);
    return entry;
}
} // namespace

TEST(ICScanTotals, EachAttribute_IsCountedForFilesAndDirectories)
{
    struct
    {
        ulong attribute;
        long long ICScanTotals::*total;
    } const rows[] = {{FILE_ATTRIBUTE_OFFLINE, &ICScanTotals::m_offline},
                      {FILE_ATTRIBUTE_SPARSE_FILE, &ICScanTotals::m_sparse},
                      {FILE_ATTRIBUTE_COMPRESSED, &ICScanTotals::m_compressed},
                      {FILE_ATTRIBUTE_ENCRYPTED, &ICScanTotals::m_encrypted},
                      {FILE_ATTRIBUTE_HIDDEN, &ICScanTotals::m_hidden},
                      {FILE_ATTRIBUTE_SYSTEM, &ICScanTotals::m_system},
                      {FILE_ATTRIBUTE_READONLY, &ICScanTotals::m_readOnly},
                      {FILE_ATTRIBUTE_REPARSE_POINT, &ICScanTotals::m_reparsePoints}};
    for (auto const & row : rows) {
        ICScanTotals totals(f_options(0, 0, 0));
        totals.mf_add(f_entry(L"f", row.attribute), L"C:\\", 1);
        totals.mf_add(f_entry(L"d", row.attribute | FILE_ATTRIBUTE_DIRECTORY), L"C:\\", 1);
        totals.mf_add(f_entry(L"n", FILE_ATTRIBUTE_NORMAL), L"C:\\", 1);
        EXPECT_EQ(2, totals.*row.total) << row.attribute;
        for (auto const & other : rows)
            EXPECT_EQ(other.total == row.total ? 2 : 0, totals.*other.total);
        EXPECT_EQ(2, totals.m_files);
        EXPECT_EQ(1, totals.m_directories);
    }
}

TEST(ICScanTotals, Sizes_Beyond32Bits_AreAddedUp)
{
    ICScanTotals totals(f_options(0, 0, 0));
    totals.mf_add(f_entry(L"a", 0, 0x1'0000'0001), L"C:\\", 1);
    totals.mf_add(f_entry(L"b", 0, 0xffff'ffff), L"C:\\", 1);
    EXPECT_EQ(0x2'0000'0000, totals.m_bytes);
}

TEST(ICScanTotals, SizeOnDisk_IsThatOfTheClusters)
{
    ICScanTotals totals(f_options(0, 0, 9));
    for (long long const size : {0, 1, 4096, 4097})
        totals.mf_add(f_entry(L"a", 0, size), L"C:\\", 4096);
    EXPECT_EQ(0 + 4096 + 4096 + 8192, totals.m_bytesOnDisk);
    EXPECT_EQ(8192, totals.mf_getLargest().front().sizeOnDisk);
}

TEST(ICScanTotals, SizeOnDisk_IsAskedForWhereItMayBeLess)
{
    CString asked;
    ICImportPatch const allocated(IC_IMPORT(GetCompressedFileSizeW), [&asked](wchar_t const * path, ulong * high) {
        asked = path;
        *high = 1;
        ::SetLastError(0);
        return DWORD{0x200};
    });
    for (ulong const attributes :
         std::initializer_list<ulong>{FILE_ATTRIBUTE_OFFLINE, FILE_ATTRIBUTE_SPARSE_FILE, FILE_ATTRIBUTE_COMPRESSED,
                                      FILE_ATTRIBUTE_REPARSE_POINT}) {
        ICScanTotals totals(f_options(0, 0, 0));
        asked.Empty();
        totals.mf_add(f_entry(L"a", attributes, 0x2'0000'0000), L"C:\\", 4096);
        EXPECT_EQ(0x1'0000'0200, totals.m_bytesOnDisk);
        EXPECT_STREQ(L"\\\\?\\C:\\a", asked);
    }
}

TEST(ICScanTotals, SizeOnDiskThatCannotBeHad_CountsAsWhatWasSeen)
{
    ICImportFault const gone("GetCompressedFileSizeW", ERROR_FILE_NOT_FOUND);
    ICScanTotals totals(f_options(0, 0, 0));
    totals.mf_add(f_entry(L"a", FILE_ATTRIBUTE_SPARSE_FILE, 5000), L"C:\\", 4096);
    EXPECT_EQ(8192, totals.m_bytesOnDisk);
}

TEST(ICScanTotals, Candidates_AreOldAndLargeAndStillHere)
{
    struct
    {
        ulong attributes;
        long long size;
        long long age;
        bool isCandidate;
    } const rows[] = {{FILE_ATTRIBUTE_NORMAL, 100, 10, true},
                      {FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_COMPRESSED, 100, 11, true},
                      {FILE_ATTRIBUTE_NORMAL, 99, 10, false},
                      {FILE_ATTRIBUTE_NORMAL, 100, 9, false},
                      {FILE_ATTRIBUTE_OFFLINE, 100, 10, false},
                      {FILE_ATTRIBUTE_REPARSE_POINT, 100, 10, false},
                      {FILE_ATTRIBUTE_SYSTEM, 100, 10, false},
                      {FILE_ATTRIBUTE_DIRECTORY, 100, 10, false}};
    for (auto const & row : rows) {
        // Built behind the entry, so that its "now" isn't earlier.
        WIN32_FIND_DATAW const entry = f_entry(L"f", row.attributes, row.size, row.age);
        ICScanTotals totals(f_options(100, 10, 0));
        totals.mf_add(entry, L"C:\\", 1);
        EXPECT_EQ(row.isCandidate ? 1 : 0, totals.m_candidateFiles);
        EXPECT_EQ(row.isCandidate ? row.size : 0, totals.m_candidateBytes);
    }
}

TEST(ICScanTotals, Largest_AreSortedAndBounded)
{
    ICScanTotals totals(f_options(0, 0, 3));
    for (wchar_t const * const name : {L"e", L"b", L"d", L"a", L"c"})
        totals.mf_add(f_entry(name, 0, name[0] == L'a' ? 9 : 5), L"C:\\", 1);
    auto const largest = totals.mf_getLargest();
    ASSERT_EQ(3u, largest.size());
    EXPECT_STREQ(L"C:\\a", largest[0].path);
    EXPECT_EQ(9, largest[0].size);
    EXPECT_STREQ(L"C:\\b", largest[1].path);
    EXPECT_STREQ(L"C:\\c", largest[2].path);
}

TEST(ICScanTotals, NoneWanted_KeepsNone)
{
    ICScanTotals totals(f_options(0, 0, 0));
    totals.mf_add(f_entry(L"a", 0, 9), L"C:\\", 1);
    EXPECT_TRUE(totals.mf_getLargest().empty());
}

namespace
{
ICScanTotals f_totals(ulong largest)
{
    ICScanOptions options = f_options(0, 0, largest);
    options.m_list = L"list";
    return ICScanTotals(options);
}

std::vector<std::wstring> f_largest(ICScanTotals const & totals)
{
    std::vector<std::wstring> paths;
    for (ICScanTotals::LARGE_FILE const & file : totals.mf_getLargest())
        paths.push_back(file.path.GetString());
    return paths;
}

std::vector<std::wstring> f_candidates(ICScanTotals const & totals)
{
    std::vector<std::wstring> paths;
    for (CString const & path : totals.mf_getCandidates())
        paths.push_back(path.GetString());
    return paths;
}
} // namespace

TEST(ICScanTotals, AnotherName_CountsNothingAndIsShownIfItComesFirst)
{
    using PATHS = std::vector<std::wstring>;
    ICScanTotals totals = f_totals(2);
    totals.mf_add(f_entry(L"m", 0, 5, 1), L"C:\\", 1, {1, 77});
    totals.mf_add(f_entry(L"a", 0, 4, 1), L"C:\\", 1, {1, 78});
    totals.mf_addName(f_entry(L"x", 0, 5, 1), L"C:\\", 1, {1, 77});
    EXPECT_EQ((PATHS{L"C:\\m", L"C:\\a"}), f_largest(totals));
    EXPECT_EQ((PATHS{L"C:\\a", L"C:\\m"}), f_candidates(totals));
    totals.mf_addName(f_entry(L"b", 0, 5, 1), L"C:\\", 1, {1, 77});
    EXPECT_EQ((PATHS{L"C:\\b", L"C:\\a"}), f_largest(totals));
    EXPECT_EQ((PATHS{L"C:\\a", L"C:\\b"}), f_candidates(totals));
    EXPECT_EQ(2, totals.m_files);
    EXPECT_EQ(9, totals.m_bytes);
    EXPECT_EQ(2, totals.m_candidateFiles);
}

TEST(ICScanTotals, NameThatLiesBehindTheLargest_ComesInByABetterOne)
{
    using PATHS = std::vector<std::wstring>;
    ICScanTotals totals = f_totals(1);
    totals.mf_add(f_entry(L"m", 0, 5, 1), L"C:\\", 1, {1, 1});
    totals.mf_add(f_entry(L"z", 0, 5, 1), L"C:\\", 1, {1, 2});
    EXPECT_EQ((PATHS{L"C:\\m"}), f_largest(totals));
    totals.mf_addName(f_entry(L"a", 0, 5, 1), L"C:\\", 1, {1, 2});
    EXPECT_EQ((PATHS{L"C:\\a"}), f_largest(totals));
}

TEST(ICScanTotals, FilesWithoutNumber_AreAllDifferent)
{
    ICScanTotals totals = f_totals(5);
    totals.mf_add(f_entry(L"a", 0, 5, 1), L"C:\\", 1);
    totals.mf_add(f_entry(L"b", 0, 5, 1), L"C:\\", 1);
    EXPECT_EQ(2u, f_largest(totals).size());
    EXPECT_EQ(2u, f_candidates(totals).size());
}

// What several threads found together is what one would have found, however the names are dealt out.
TEST(ICScanTotals, Parts_AddUpToTheWhole)
{
    constexpr int FILES = 60;
    constexpr int NAMES = 3;
    std::mt19937 random(17);
    for (int round = 0; round < 200; ++round) {
        ICScanTotals whole = f_totals(7);
        ICScanTotals parts[] = {ICScanTotals::mf_makeEmpty(whole), ICScanTotals::mf_makeEmpty(whole),
                                ICScanTotals::mf_makeEmpty(whole)};
        std::vector<std::pair<int, int>> names;
        for (int file = 0; file < FILES; ++file)
            for (int name = 0; name < NAMES; ++name)
                names.emplace_back(file, name);
        std::shuffle(names.begin(), names.end(), random);
        std::set<int> isMet;
        for (auto const & [file, name] : names) {
            std::wstring const text = std::to_wstring((file * 31 + name * 17) % 101) + L"-" + std::to_wstring(file);
            WIN32_FIND_DATAW const entry = f_entry(text.c_str(), 0, file % 5, 1);
            ICFileNumber const number = {1, static_cast<ULONG64>(file + 1)};
            ICScanTotals & part = parts[random() % std::size(parts)];
            if (isMet.insert(file).second)
                part.mf_add(entry, L"C:\\", 1, number);
            else
                part.mf_addName(entry, L"C:\\", 1, number);
        }
        std::sort(names.begin(), names.end());
        for (auto const & [file, name] : names) {
            std::wstring const text = std::to_wstring((file * 31 + name * 17) % 101) + L"-" + std::to_wstring(file);
            WIN32_FIND_DATAW const entry = f_entry(text.c_str(), 0, file % 5, 1);
            ICFileNumber const number = {1, static_cast<ULONG64>(file + 1)};
            name == 0 ? whole.mf_add(entry, L"C:\\", 1, number) : whole.mf_addName(entry, L"C:\\", 1, number);
        }
        ICScanTotals sum = ICScanTotals::mf_makeEmpty(whole);
        for (ICScanTotals const & part : parts)
            sum.mf_add(part);
        ASSERT_EQ(f_largest(whole), f_largest(sum)) << round;
        ASSERT_EQ(f_candidates(whole), f_candidates(sum)) << round;
        ASSERT_EQ(whole.m_bytes, sum.m_bytes);
        ASSERT_EQ(FILES, sum.m_files);
    }
}
