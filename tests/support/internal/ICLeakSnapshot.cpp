#include "tests/support/internal/ICLeakSnapshot.h"
#include "tests/support/ICUnixHost.h"
#include "tests/support/PageGuardHeap.h"
#include "tests/support/internal/ICGuardArena.h"
#include "tests/support/internal/ICUnaligned.h"

#include <winternl.h>

#include <algorithm>
#include <stdexcept>

namespace
{

constexpr ULONG STATUS_TOO_SHORT = 0xC0000004;
constexpr ULONG_PTR HANDLE_STEP = 4;
constexpr ULONG_PTR HIGHEST_HANDLE = 0x4000000;

ICPageVector<char> f_queryProcesses()
{
    ICPageVector<char> bytes(0x40000);
    for (;;) {
        ULONG needed = 0;
        NTSTATUS const status = ::NtQuerySystemInformation(SystemProcessInformation, bytes.data(),
                                                           static_cast<ULONG>(bytes.size()), &needed);
        if (static_cast<ULONG>(status) != STATUS_TOO_SHORT) return bytes;
        bytes.resize(bytes.size() * 2);
    }
}

// nullptr: not listed.
char const * f_findThisProcess(ICPageVector<char> const & processes)
{
    for (char const * at = processes.data();;) {
        auto const process = f_readUnaligned<SYSTEM_PROCESS_INFORMATION>(at);
        if (reinterpret_cast<ULONG_PTR>(process.UniqueProcessId) == ::GetCurrentProcessId()) return at;
        if (process.NextEntryOffset == 0) return nullptr;
        at += process.NextEntryOffset;
    }
}

// Each number is tried. A list of all handles of the system would be one call, but Wine's server dies of it whenever
// some process has none, as each has for a moment when it starts.
void f_appendHandles(SYSTEM_PROCESS_INFORMATION const & process, ICLeakItems & items)
{
    // Windows tells how many handles are open, Wine how many its table has room for.
    bool const isRoom = f_isUnixHost();
    ULONG left = process.HandleCount;
    for (ULONG_PTR value = HANDLE_STEP; left != 0 && value < HIGHEST_HANDLE; value += HANDLE_STEP) {
        DWORD flags = 0;
        bool const isOpen = ::GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0;
        if (isOpen) items.push_back({value, 0});
        if (isOpen || isRoom) --left;
    }
}

void f_appendThreads(char const * at, ULONG count, ICLeakItems & items)
{
    for (ULONG index = 0; index < count; ++index) {
        auto const thread = f_readUnaligned<SYSTEM_THREAD_INFORMATION>(at + index * sizeof(SYSTEM_THREAD_INFORMATION));
        items.push_back({reinterpret_cast<ULONG_PTR>(thread.ClientId.UniqueThread), 0});
    }
}

void f_appendHandlesAndThreads(ICLeakSnapshot & snapshot)
{
    ICPageVector<char> const processes = f_queryProcesses();
    char const * const at = f_findThisProcess(processes);
    if (at == nullptr) throw std::runtime_error("this process is not in the list of processes");
    auto const process = f_readUnaligned<SYSTEM_PROCESS_INFORMATION>(at);
    f_appendHandles(process, snapshot.m_handles);
    f_appendThreads(at + sizeof(process), process.NumberOfThreads, snapshot.m_threads);
}

void f_appendBlocks(HANDLE heap, ICLeakItems & items)
{
    ::HeapLock(heap);
    PROCESS_HEAP_ENTRY entry{};
    while (::HeapWalk(heap, &entry)) {
        if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
            items.push_back({reinterpret_cast<ULONG_PTR>(entry.lpData), entry.cbData});
    }
    ::HeapUnlock(heap);
}

} // namespace

ICLeakSnapshot ICLeakSnapshot::mf_take()
{
    ICLeakSnapshot snapshot;
    constexpr DWORD MOST_HEAPS = 128;
    HANDLE heaps[MOST_HEAPS];
    DWORD const count = std::min(::GetProcessHeaps(MOST_HEAPS, heaps), MOST_HEAPS);
    for (DWORD index = 0; index < count; ++index)
        f_appendBlocks(heaps[index], snapshot.m_blocks);
    if (f_isPageGuardHeapInstalled()) ICGuardArena::mf_getThis().mf_appendBlocks(snapshot.m_blocks);
    f_appendHandlesAndThreads(snapshot);
    std::sort(snapshot.m_blocks.begin(), snapshot.m_blocks.end());
    std::sort(snapshot.m_handles.begin(), snapshot.m_handles.end());
    std::sort(snapshot.m_threads.begin(), snapshot.m_threads.end());
    return snapshot;
}
