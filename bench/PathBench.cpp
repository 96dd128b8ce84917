#include <catch2/catch.hpp>

#include <filesystem>
#include <stdexcept>
#include <vector>

#include "bench/BenchTree.h"
#include "bench/InTurn.h"
#include "hsmbase/paths/ICDirectoryEntries.h"
#include "hsmbase/paths/ICPath.h"

namespace
{

constexpr wchar_t UNC_PATH[] = L"\\\\FILESERVER\\PROJECTS\\2026\\reports\\quarter\\figures of the third quarter.xlsx";

CString f_program()
{
    wchar_t program[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, program, MAX_PATH);
    return program;
}

// Handles that are closed by nobody else.
struct OPEN_FILE
{
    OPEN_FILE(std::wstring const & path, DWORD access, DWORD disposition)
        : handle(::CreateFileW(path.c_str(), access, 0, nullptr, disposition, FILE_ATTRIBUTE_NORMAL, nullptr))
    {
        if (handle == INVALID_HANDLE_VALUE) throw std::runtime_error("a file of the benchmark can't be opened");
    }
    ~OPEN_FILE() { ::CloseHandle(handle); }
    HANDLE const handle;
};

void f_copyBare(std::wstring const & source, std::wstring const & target)
{
    constexpr DWORD BLOCK = 0x10000;
    OPEN_FILE const from(source, GENERIC_READ, OPEN_EXISTING);
    OPEN_FILE const to(target, GENERIC_WRITE, CREATE_ALWAYS);
    std::vector<char> block(BLOCK);
    for (DWORD read = 0; ::ReadFile(from.handle, block.data(), BLOCK, &read, nullptr) && read != 0;) {
        DWORD written = 0;
        ::WriteFile(to.handle, block.data(), read, &written, nullptr);
    }
}

} // namespace

TEST_CASE("existence of a file", "[path][goal:1.2]")
{
    CString const path = f_program();
    BENCHMARK("ours")
    {
        return ICPath::mf_exists(path);
    };
    BENCHMARK("peer")
    {
        return ::GetFileAttributesW(path);
    };
}

TEST_CASE("attributes of a file", "[path][goal:1.2]")
{
    CString const path = f_program();
    BENCHMARK("ours")
    {
        return ICPath::mf_getAttributes(path, 1);
    };
    BENCHMARK("peer")
    {
        return ::GetFileAttributesW(path);
    };
}

TEST_CASE("parse a UNC path", "[path][goal:0.4]")
{
    CString const text = UNC_PATH;
    BENCHMARK("ours")
    {
        ICPath const path(text, 1);
        return path.mf_getServerPart().GetLength() + path.mf_getVolumePart().GetLength() +
               path.mf_getDirectoryPart().GetLength() + path.mf_getFilePart().GetLength();
    };
    BENCHMARK("peer")
    {
        std::filesystem::path const path(UNC_PATH);
        return path.root_name().native().size() + path.root_directory().native().size() +
               path.relative_path().parent_path().native().size() + path.filename().native().size();
    };
}

TEST_CASE("compose a UNC path", "[path][goal:0.15]")
{
    ICPath const path(UNC_PATH, 1);
    static_cast<void>(path.mf_getUNCPath()); // whether it is a shadow copy is known from here on
    std::filesystem::path const whole(UNC_PATH);
    std::filesystem::path const root = whole.root_path();
    std::filesystem::path const directory = whole.relative_path().parent_path();
    std::filesystem::path const file = whole.filename();
    BENCHMARK("ours")
    {
        return path.mf_getUNCPath().GetLength();
    };
    BENCHMARK("peer")
    {
        return (root / directory / file).native().size();
    };
}

TEST_CASE("list a directory of 10,000 entries", "[path][tree][goal:1.1]")
{
    BenchTree const tree(1, 10'000);
    CString const directory = tree.mf_getPath().c_str();
    auto const ours = [&] {
        ICArray<CString, CString &> names;
        ICPath::mf_listContent(directory + L"\\0", names);
        return names.GetCount();
    };
    auto const peer = [&] {
        std::vector<std::wstring> names;
        WIN32_FIND_DATAW entry;
        HANDLE const search = ::FindFirstFileW((tree.mf_getPath() + L"\\0\\*").c_str(), &entry);
        do
            names.emplace_back(entry.cFileName);
        while (::FindNextFileW(search, &entry));
        ::FindClose(search);
        return names.size();
    };
    REQUIRE(ours() == 10'002);
    f_measureInTurn(30, ours, peer);
}

TEST_CASE("walk over 10,000 entries", "[path][tree][goal:1.05]")
{
    BenchTree const tree(1, 10'000);
    CString const directory = (tree.mf_getPath() + L"\\0").c_str();
    auto const ours = [&] {
        ICDirectoryEntries entries(directory);
        int count = 0;
        while (entries.mf_next())
            ++count;
        return count;
    };
    auto const peer = [&] {
        WIN32_FIND_DATAW entry;
        HANDLE const search = ::FindFirstFileW(directory + L"\\*", &entry);
        int count = 0;
        do
            ++count;
        while (::FindNextFileW(search, &entry));
        ::FindClose(search);
        return count;
    };
    REQUIRE(ours() == 10'000);
    f_measureInTurn(30, ours, peer);
}

TEST_CASE("copy a file of 256 MiB", "[path][copy][goal:1.05]")
{
    BenchTree const tree(0, 0);
    std::wstring const source = tree.mf_getPath() + L"\\source";
    std::wstring const target = tree.mf_getPath() + L"\\target";
    {
        OPEN_FILE const file(source, GENERIC_WRITE, CREATE_ALWAYS);
        std::vector<char> const block(1 << 20, 'x');
        for (int mebibyte = 0; mebibyte < 256; ++mebibyte) {
            DWORD written = 0;
            ::WriteFile(file.handle, block.data(), static_cast<DWORD>(block.size()), &written, nullptr);
        }
    }
    REQUIRE(ICPath::mf_copy(source.c_str(), target.c_str(), 1) == ICFileSize(256 << 20));
    f_measureInTurn(
        8, [&] { ICPath::mf_copy(source.c_str(), target.c_str(), 1); }, [&] { f_copyBare(source, target); });
}
