#include "bench/BenchTree.h"

#include <filesystem>

#include "hsmbase/Types.h"

BenchTree::BenchTree(int directories, int filesEach)
{
    wchar_t temporary[MAX_PATH] = {};
    ::GetTempPathW(MAX_PATH, temporary);
    m_path = temporary + (L"hsmbase-bench-" + std::to_wstring(::GetCurrentProcessId()));
    ::CreateDirectoryW(m_path.c_str(), nullptr);
    for (int directory = 0; directory < directories; ++directory) {
        std::wstring const path = m_path + L"\\" + std::to_wstring(directory);
        ::CreateDirectoryW(path.c_str(), nullptr);
        for (int file = 0; file < filesEach; ++file)
            ::CloseHandle(::CreateFileW((path + L"\\file " + std::to_wstring(file) + L".dat").c_str(), GENERIC_WRITE, 0,
                                        nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr));
    }
}

BenchTree::~BenchTree()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}
