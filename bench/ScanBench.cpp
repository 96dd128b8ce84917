#include <catch2/catch.hpp>

#include <cstdlib>
#include <vector>

#include "bench/BenchTree.h"
#include "bench/InTurn.h"
#include "programs/hsmscan/ICDirectoryScan.h"
#include "programs/hsmscan/ICScanOptions.h"
#include "programs/hsmscan/ICScanTotals.h"

namespace
{

struct COUNTS
{
    long long files = 0;
    long long bytes = 0;
};

// What the platform's own calls cost, with no more than it takes to add up sizes.
void f_scanBare(std::wstring const & directory, COUNTS & counts)
{
    WIN32_FIND_DATAW entry;
    HANDLE const search = ::FindFirstFileW((directory + L"\\*").c_str(), &entry);
    if (search == INVALID_HANDLE_VALUE) return;
    do {
        std::wstring_view const name = entry.cFileName;
        if (name == L"." || name == L"..") continue;
        if (!(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
            ++counts.files;
            counts.bytes += entry.nFileSizeLow;
        } else if (!(entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
            f_scanBare(directory + L"\\" + entry.cFileName, counts);
        }
    } while (::FindNextFileW(search, &entry));
    ::FindClose(search);
}

void f_ignore(CString const &) {}
void f_ignore(ICErrno const &) {}

// The environment variable HSMSCAN_TREE names another tree to be scanned, such as one of a million files.
void f_compare(int threads)
{
    wchar_t const * const given = ::_wgetenv(L"HSMSCAN_TREE");
    BenchTree const tree(given ? 0 : 100, given ? 0 : 200);
    CString const path = given ? given : tree.mf_getPath().c_str();
    wchar_t const * const arguments[] = {path};
    ICScanOptions const options(1, arguments);
    long long files = 0;
    auto const ours = [&] {
        ICScanTotals totals(options);
        ICDirectoryScan(totals, {&f_ignore, &f_ignore}, threads).mf_scan(options.m_paths);
        files = totals.m_files;
    };
    COUNTS counts;
    auto const peer = [&] {
        counts = {};
        f_scanBare(path.GetString(), counts);
    };
    f_measureInTurn(given ? 3 : 15, ours, peer);
    CHECK(files == counts.files);
}

} // namespace

TEST_CASE("scan of a tree", "[scan][tree][goal:1.15]")
{
    f_compare(1);
}

TEST_CASE("scan of a tree, two threads", "[scan][tree]")
{
    f_compare(2);
}
