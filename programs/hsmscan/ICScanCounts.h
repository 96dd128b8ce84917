#pragma once

#include <atomic>

// How far a scan has come, to be looked at while it runs.
struct ICScanCounts
{
    std::atomic<long long> m_files = 0;
    std::atomic<long long> m_directories = 0;
    std::atomic<long long> m_bytes = 0;
};
