#include "tests/support/internal/ICLeakSnapshot.h"
#include "tests/support/PageGuardHeap.h"
#include "tests/support/internal/ICGuardArena.h"
#include "tests/support/internal/ICPlatformFunction.h"
#include "tests/support/internal/ICUnaligned.h"

#include <winternl.h>

#include <algorithm>

namespace
{

constexpr ULONG STATUS_TOO_SHORT = 0xC0000004;

// Not in the headers, and too large for the enumeration that is there.
constexpr ULONG EXTENDED_HANDLE_INFORMATION = 64;
using QUERY = NTSTATUS(NTAPI *)(ULONG what, void * bytes, ULONG size, ULONG * needed);

struct HANDLE_ENTRY
{
    void * m_object;
    ULONG_PTR m_process;
    ULONG_PTR m_handle;
    ULONG m_access;
    USHORT m_backTrace;
    USHORT m_type;
    ULONG m_attributes;
    ULONG m_reserved;
};

struct HANDLE_TABLE
{
    ULONG_PTR m_count;
    ULONG_PTR m_reserved;
    HANDLE_ENTRY m_entries[1];
};

ICPageVector<char> f_query(ULONG what)
{
    static auto const query = f_platformFunction<QUERY>(L"ntdll.dll", "NtQuerySystemInformation");
    ICPageVector<char> bytes(0x40000);
    for (;;) {
        ULONG needed = 0;
        NTSTATUS const status = query(what, bytes.data(), static_cast<ULONG>(bytes.size()), &needed);
        if (static_cast<ULONG>(status) != STATUS_TOO_SHORT) return bytes;
        bytes.resize(bytes.size() * 2);
    }
}

void f_appendHandles(ICLeakItems & items)
{
    ICPageVector<char> const bytes = f_query(EXTENDED_HANDLE_INFORMATION);
    auto const * table = reinterpret_cast<HANDLE_TABLE const *>(bytes.data());
    for (ULONG_PTR index = 0; index < table->m_count; ++index) {
        HANDLE_ENTRY const & entry = table->m_entries[index];
        if (entry.m_process == ::GetCurrentProcessId()) items.push_back({entry.m_handle, 0});
    }
}

void f_appendThreads(ICLeakItems & items)
{
    ICPageVector<char> const bytes = f_query(SystemProcessInformation);
    char const * at = bytes.data();
    auto process = f_readUnaligned<SYSTEM_PROCESS_INFORMATION>(at);
    while (reinterpret_cast<ULONG_PTR>(process.UniqueProcessId) != ::GetCurrentProcessId()) {
        if (process.NextEntryOffset == 0) return;
        at += process.NextEntryOffset;
        process = f_readUnaligned<SYSTEM_PROCESS_INFORMATION>(at);
    }
    at += sizeof(process);
    for (ULONG index = 0; index < process.NumberOfThreads; ++index) {
        auto const thread = f_readUnaligned<SYSTEM_THREAD_INFORMATION>(at + index * sizeof(SYSTEM_THREAD_INFORMATION));
        items.push_back({reinterpret_cast<ULONG_PTR>(thread.ClientId.UniqueThread), 0});
    }
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
    f_appendHandles(snapshot.m_handles);
    f_appendThreads(snapshot.m_threads);
    std::sort(snapshot.m_blocks.begin(), snapshot.m_blocks.end());
    std::sort(snapshot.m_handles.begin(), snapshot.m_handles.end());
    std::sort(snapshot.m_threads.begin(), snapshot.m_threads.end());
    return snapshot;
}
