#pragma once

#include "tests/support/ICFiles.h"
#include "tests/support/Platform.h"

#include <string>
#include <string_view>

// An empty directory of its own below %TEMP%, removed with all that is in it when the object ends. Links are removed,
// what they point to never. The test fails if something cannot be removed.
//
//     ICTemporaryDirectory const directory;
//     std::wstring const file = directory.mf_makeFile(L"sub\\a.bin", "bytes", FILE_ATTRIBUTE_HIDDEN);
//     EXPECT_FALSE(f_isThere(directory / L"b.bin"));
//
// Threads: any, as far as the file system goes.
class ICTemporaryDirectory
{
public:
    // Throws std::runtime_error.
    ICTemporaryDirectory();
    ICTemporaryDirectory(ICTemporaryDirectory const &) = delete;
    ICTemporaryDirectory & operator=(ICTemporaryDirectory const &) = delete;
    ~ICTemporaryDirectory();

    // Absolute, without trailing backslash, with long names.
    std::wstring const & mf_getPath() const { return m_path; }
    std::wstring operator/(std::wstring const & relative) const { return m_path + L"\\" + relative; }

    // Make what is missing on the way there and answer the whole path. 0: leave the attributes.
    std::wstring mf_makeDirectory(std::wstring const & relative) const;
    std::wstring mf_makeFile(std::wstring const & relative, std::string_view bytes = {}, ulong attributes = 0) const;

private:
    std::wstring m_path;
};

// One file in a directory of its own.
//
//     ICTemporaryFile const file("bytes");   ...   file.mf_getPath()
//
class ICTemporaryFile
{
public:
    explicit ICTemporaryFile(std::string_view bytes = {}, std::wstring const & name = L"file.bin", ulong attributes = 0)
        : m_path(m_directory.mf_makeFile(name, bytes, attributes))
    {}

    std::wstring const & mf_getPath() const { return m_path; }

private:
    ICTemporaryDirectory const m_directory;
    std::wstring const m_path;
};
