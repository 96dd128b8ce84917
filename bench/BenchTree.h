#pragma once

#include <string>

// A temporary tree of empty files: so many directories, named by numbers, of so many files each. Gone with the object.
class BenchTree
{
public:
    BenchTree(int directories, int filesEach);
    BenchTree(BenchTree const &) = delete;
    BenchTree & operator=(BenchTree const &) = delete;
    ~BenchTree();

    // Without backslash at the end.
    std::wstring const & mf_getPath() const { return m_path; }

private:
    std::wstring m_path;
};
