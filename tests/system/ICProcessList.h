#pragma once

#include <cwchar>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ICImportPatch.h"

#include <tlhelp32.h>

// What the library sees as the processes of the machine while an object lives. The snapshot itself is a real one, so
// that it must be closed.
//
//     ICProcessList list({{0, L"[System Process]"}, {4, L"System"}});
//     EXPECT_EQ(4u, ICProcessInfo::mf_getKernelId());
//     EXPECT_EQ(2u, list.m_asked.size());
//
struct LISTED_PROCESS
{
    ulong m_id;
    wchar_t const * m_image;
    ulong m_size = sizeof(PROCESSENTRY32W); // as the platform leaves it
};

class ICProcessList
{
public:
    // `end` is the error number behind the last process.
    explicit ICProcessList(std::vector<LISTED_PROCESS> processes, ulong end = ERROR_NO_MORE_FILES)
        : m_processes(std::move(processes)), m_end(end)
    {}

    // The entries that the library handed in, as it did, and the calls that took them: 1 for the first, 2 for the next.
    std::vector<PROCESSENTRY32W> m_asked;
    std::string m_calls;

private:
    BOOL mf_implGive(char call, PROCESSENTRY32W & entry)
    {
        std::size_t const position = m_asked.size();
        m_asked.push_back(entry);
        m_calls += call;
        if (position >= m_processes.size()) {
            ::SetLastError(m_end);
            return FALSE;
        }
        LISTED_PROCESS const & process = m_processes[position];
        entry.dwSize = process.m_size;
        entry.th32ProcessID = process.m_id;
        std::wcsncpy(entry.szExeFile, process.m_image, MAX_PATH - 1);
        return TRUE;
    }

    std::vector<LISTED_PROCESS> const m_processes;
    ulong const m_end;
    ICImportPatch const m_first{IC_IMPORT(Process32FirstW),
                                [this](HANDLE, PROCESSENTRY32W * entry) { return mf_implGive('1', *entry); }};
    ICImportPatch const m_next{IC_IMPORT(Process32NextW),
                               [this](HANDLE, PROCESSENTRY32W * entry) { return mf_implGive('2', *entry); }};
};
