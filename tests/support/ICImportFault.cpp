#include "tests/support/ICImportFault.h"

#include <array>
#include <atomic>
#include <cstring>
#include <initializer_list>
#include <mutex>
#include <stdexcept>
#include <string_view>

// One patched import. The first two members are read by machine code.
struct ICImportThunk
{
    ULONG64 m_answer;
    ANYFUNCTION m_original;
    unsigned char * m_code;
    bool m_used;
    ICAnswer m_given = ICAnswer::mf_code(0);
    ICCalls m_calls = ICCalls::mf_none();
    std::atomic<ulong> m_counted;
    std::atomic<ulong> m_answered;
};

namespace
{

constexpr std::size_t THUNKS = 120;
constexpr std::size_t THUNK_SIZE = 32;
constexpr std::size_t COMMON_SIZE = 256;

// Decides about one call: true means that it is answered. Must leave the last error alone when it is not.
bool f_isAnswered(ICImportThunk * thunk)
{
    ICCalls const & calls = thunk->m_calls;
    if (calls.m_thread != 0 && calls.m_thread != ::GetCurrentThreadId()) return false;
    ulong const number = ++thunk->m_counted;
    if (number < calls.m_first || number > calls.m_last) return false;
    ++thunk->m_answered;
    if (thunk->m_given.m_setsLastError) ::SetLastError(thunk->m_given.m_lastError);
    return true;
}

// What every thunk jumps to with its own address in r11: keeps the registers that carry arguments, asks f_isAnswered,
// then returns the answer or jumps to the original as if nothing had been between. As bytes, since not every compiler
// for this platform has an inline assembler.
constexpr unsigned char COMMON_HEAD[] = {
    0x48, 0x81, 0xEC, 0x98, 0x00, 0x00, 0x00,       // sub    rsp, 0x98
    0x48, 0x89, 0x4C, 0x24, 0x20,                   // mov    [rsp+0x20], rcx
    0x48, 0x89, 0x54, 0x24, 0x28,                   // mov    [rsp+0x28], rdx
    0x4C, 0x89, 0x44, 0x24, 0x30,                   // mov    [rsp+0x30], r8
    0x4C, 0x89, 0x4C, 0x24, 0x38,                   // mov    [rsp+0x38], r9
    0x4C, 0x89, 0x5C, 0x24, 0x40,                   // mov    [rsp+0x40], r11
    0x0F, 0x11, 0x44, 0x24, 0x50,                   // movups [rsp+0x50], xmm0
    0x0F, 0x11, 0x4C, 0x24, 0x60,                   // movups [rsp+0x60], xmm1
    0x0F, 0x11, 0x54, 0x24, 0x70,                   // movups [rsp+0x70], xmm2
    0x0F, 0x11, 0x9C, 0x24, 0x80, 0x00, 0x00, 0x00, // movups [rsp+0x80], xmm3
    0x4C, 0x89, 0xD9,                               // mov    rcx, r11
    0x48, 0xB8,                                     // mov    rax, address of f_isAnswered
};
constexpr unsigned char COMMON_TAIL[] = {
    0xFF, 0xD0,                                     // call   rax
    0x48, 0x8B, 0x4C, 0x24, 0x20,                   // mov    rcx, [rsp+0x20]
    0x48, 0x8B, 0x54, 0x24, 0x28,                   // mov    rdx, [rsp+0x28]
    0x4C, 0x8B, 0x44, 0x24, 0x30,                   // mov    r8, [rsp+0x30]
    0x4C, 0x8B, 0x4C, 0x24, 0x38,                   // mov    r9, [rsp+0x38]
    0x4C, 0x8B, 0x5C, 0x24, 0x40,                   // mov    r11, [rsp+0x40]
    0x0F, 0x10, 0x44, 0x24, 0x50,                   // movups xmm0, [rsp+0x50]
    0x0F, 0x10, 0x4C, 0x24, 0x60,                   // movups xmm1, [rsp+0x60]
    0x0F, 0x10, 0x54, 0x24, 0x70,                   // movups xmm2, [rsp+0x70]
    0x0F, 0x10, 0x9C, 0x24, 0x80, 0x00, 0x00, 0x00, // movups xmm3, [rsp+0x80]
    0x48, 0x81, 0xC4, 0x98, 0x00, 0x00, 0x00,       // add    rsp, 0x98
    0x84, 0xC0,                                     // test   al, al
    0x74, 0x04,                                     // jz     original
    0x49, 0x8B, 0x03,                               // mov    rax, [r11]
    0xC3,                                           // ret
    0x41, 0xFF, 0x63, 0x08,                         // original: jmp [r11+8]
};

class ICImportThunkPool
{
public:
    static ICImportThunkPool & mf_getThis()
    {
        static ICImportThunkPool pool;
        return pool;
    }

    ICImportThunk * mf_take()
    {
        std::lock_guard const guard(m_lock);
        // Round and round, so that a thunk rests as long as possible before it serves again.
        for (std::size_t tried = 0; tried < THUNKS; ++tried) {
            ICImportThunk & thunk = m_thunks[m_next++ % THUNKS];
            if (thunk.m_used) continue;
            thunk.m_used = true;
            return &thunk;
        }
        throw std::runtime_error("too many import faults at a time");
    }

    void mf_giveBack(ICImportThunk * thunk)
    {
        std::lock_guard const guard(m_lock);
        thunk->m_calls = ICCalls::mf_none();
        thunk->m_used = false;
    }

private:
    ICImportThunkPool()
    {
        auto * code = static_cast<unsigned char *>(::VirtualAlloc(nullptr, COMMON_SIZE + THUNKS * THUNK_SIZE,
                                                                  MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE));
        if (code == nullptr) throw std::runtime_error("no memory for import faults");
        auto * const decide = &f_isAnswered;
        unsigned char * at = mf_implAppend(code, COMMON_HEAD, sizeof(COMMON_HEAD));
        at = mf_implAppend(at, &decide, sizeof(decide));
        mf_implAppend(at, COMMON_TAIL, sizeof(COMMON_TAIL));
        for (std::size_t index = 0; index < THUNKS; ++index)
            mf_implWriteThunk(m_thunks[index], code + COMMON_SIZE + index * THUNK_SIZE, code);
    }

    // mov r11, thunk; jmp common
    static void mf_implWriteThunk(ICImportThunk & thunk, unsigned char * code, unsigned char const * common)
    {
        thunk.m_code = code;
        void const * const address = &thunk;
        unsigned char * at = mf_implAppend(code, "\x49\xBB", 2);
        at = mf_implAppend(at, &address, sizeof(address));
        at = mf_implAppend(at, "\xE9", 1);
        auto const distance = static_cast<LONG>(common - (at + sizeof(LONG)));
        mf_implAppend(at, &distance, sizeof(distance));
    }

    static unsigned char * mf_implAppend(unsigned char * at, void const * bytes, std::size_t size)
    {
        std::memcpy(at, bytes, size);
        return at + size;
    }

    std::mutex m_lock;
    std::array<ICImportThunk, THUNKS> m_thunks{};
    std::size_t m_next = 0;
};

bool f_startsWithOneOf(std::string_view name, std::initializer_list<char const *> beginnings)
{
    for (char const * beginning : beginnings) {
        if (name.starts_with(beginning)) return true;
    }
    return false;
}

} // namespace

ICCalls ICCalls::mf_onThisThread() const
{
    ICCalls limited = *this;
    limited.m_thread = ::GetCurrentThreadId();
    return limited;
}

ICAnswer ICAnswer::mf_failureOf(char const * name, ulong code)
{
    bool const isRegistry = f_startsWithOneOf(name, {"Reg"}) && !f_startsWithOneOf(name, {"Register"});
    if (isRegistry ||
        f_startsWithOneOf(name, {"Net", "WNet", "GetIpAddrTable", "GetAdapters", "GetNamedSecurityInfo",
                                 "SetNamedSecurityInfo", "GetSecurityInfo", "SetSecurityInfo", "SetEntriesInAcl"}))
        return mf_code(code);
    if (f_startsWithOneOf(name, {"CreateFileW", "CreateFileA", "CreateFile2", "CreateFileTransacted", "FindFirst",
                                 "CreateToolhelp32Snapshot", "OpenFileById", "CreateNamedPipe", "CreateTransaction"}))
        return mf_error(code, INVALID_HANDLE_VALUE);
    if (f_startsWithOneOf(name, {"GetFileAttributesW", "GetFileAttributesA", "SetFilePointer", "GetFileSize",
                                 "GetCompressedFileSize", "TlsAlloc", "FlsAlloc", "WaitFor", "MsgWaitFor",
                                 "SuspendThread", "ResumeThread"}) &&
        !f_startsWithOneOf(name, {"SetFilePointerEx", "GetFileSizeEx"}))
        return mf_error(code, 0xFFFFFFFFul);
    return mf_error(code, 0);
}

ICImportFault::ICImportFault(char const * name, ICAnswer answer, ICCalls calls, wchar_t const * module)
    : m_thunk(ICImportThunkPool::mf_getThis().mf_take(),
              [](ICImportThunk * thunk) { ICImportThunkPool::mf_getThis().mf_giveBack(thunk); }),
      m_slots(name, module)
{
    m_thunk->m_answer = answer.m_value;
    m_thunk->m_original = m_slots.mf_getOriginal();
    m_thunk->m_given = answer;
    m_thunk->m_calls = calls;
    m_thunk->m_counted = 0;
    m_thunk->m_answered = 0;
    m_slots.mf_replace(reinterpret_cast<ANYFUNCTION>(reinterpret_cast<ULONG_PTR>(m_thunk->m_code)));
}

ulong ICImportFault::mf_getCalls() const
{
    return m_thunk->m_counted;
}

ulong ICImportFault::mf_getAnswered() const
{
    return m_thunk->m_answered;
}
