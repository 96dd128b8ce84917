#include "tests/support/internal/ICGuardArena.h"
#include "tests/support/internal/ICPlatformFunction.h"

#include <algorithm>
#include <cstring>

namespace
{

std::size_t f_roundedUp(std::size_t size, std::size_t unit)
{
    return (size + unit - 1) / unit * unit;
}

void * f_reserve(std::size_t size, ulong type)
{
    return ::VirtualAlloc(nullptr, size, type, type == MEM_RESERVE ? PAGE_NOACCESS : PAGE_READWRITE);
}

} // namespace

ICGuardArena::LOCK::LOCK(ICGuardArena & arena) : m_lock(arena.m_isEnding() ? nullptr : &arena.m_lock)
{
    if (m_lock != nullptr) ::AcquireSRWLockExclusive(m_lock);
}

ICGuardArena::LOCK::~LOCK()
{
    if (m_lock != nullptr) ::ReleaseSRWLockExclusive(m_lock);
}

ICGuardArena & ICGuardArena::mf_getThis()
{
    // Never destroyed: blocks are freed until the very end of the process.
    alignas(ICGuardArena) static unsigned char memory[sizeof(ICGuardArena)];
    static auto * const arena = new (memory) ICGuardArena;
    return *arena;
}

ICGuardArena::ICGuardArena()
    : m_pages(static_cast<unsigned char *>(f_reserve(PAGES * PAGE, MEM_RESERVE))),
      m_runs(static_cast<RUN *>(f_reserve(PAGES * sizeof(RUN), MEM_RESERVE | MEM_COMMIT))),
      m_isEnding(f_platformFunction<BOOLEAN(NTAPI *)()>(L"ntdll.dll", "RtlDllShutdownInProgress"))
{
    if (m_pages == nullptr || m_runs == nullptr) ::TerminateProcess(::GetCurrentProcess(), ERROR_OUTOFMEMORY);
    m_runs[1].m_pages = PAGES - 1;
}

void * ICGuardArena::mf_allocate(std::size_t size, std::size_t alignment, bool isZero)
{
    std::size_t const room = f_roundedUp(std::max<std::size_t>(size, 1), alignment);
    if (room > PAGES / 4 * PAGE) return nullptr;
    auto const pages = static_cast<ULONG>(f_roundedUp(room, PAGE) / PAGE);

    LOCK const guard(*this);
    if (m_used == MOST_BLOCKS) return nullptr;
    ULONG const index = mf_implFindRun(pages + 1);
    if (index == 0) return nullptr;
    unsigned char * const begin = mf_implPage(index);
    if (::VirtualAlloc(begin, pages * PAGE, MEM_COMMIT, PAGE_READWRITE) == nullptr) return nullptr;
    mf_implTake(index, pages + 1, mf_implJoin(index, pages + 1));

    unsigned char * const end = begin + pages * PAGE;
    RUN & run = m_runs[index];
    run.m_block = end - room;
    run.m_size = size;
    std::memset(begin, FILL, static_cast<std::size_t>(run.m_block - begin));
    if (!isZero) std::memset(run.m_block, FRESH, size);
    std::memset(run.m_block + size, FILL, room - size);
    return run.m_block;
}

GUARD_FINDING ICGuardArena::mf_free(void * block)
{
    LOCK const guard(*this);
    ULONG const index = mf_implIndexOf(block);
    RUN & run = m_runs[index];
    if (run.m_block != block || block == nullptr) {
        GUARD_FINDING finding = mf_explain(block);
        finding.m_text = "free of a pointer into the middle of a block";
        return finding;
    }
    if (!run.m_isUsed) return {"double free of a block", run.m_size, 0};
    GUARD_FINDING const finding = mf_implCheckFill(run);
    if (finding.m_text != nullptr) return finding;
    mf_implUnlink(run);
    ::VirtualFree(mf_implPage(index), (run.m_pages - 1) * PAGE, MEM_DECOMMIT);
    return {};
}

bool ICGuardArena::mf_owns(void const * address) const
{
    auto const * at = static_cast<unsigned char const *>(address);
    return at >= m_pages && at < m_pages + PAGES * PAGE;
}

std::size_t ICGuardArena::mf_sizeOf(void const * block)
{
    LOCK const guard(*this);
    RUN const & run = m_runs[mf_implIndexOf(block)];
    return run.m_isUsed && run.m_block == block ? run.m_size : ~std::size_t{0};
}

void ICGuardArena::mf_appendBlocks(ICLeakItems & items)
{
    LOCK const guard(*this);
    for (ULONG index = m_runs[0].m_next; index != 0; index = m_runs[index].m_next)
        items.push_back({reinterpret_cast<ULONG_PTR>(m_runs[index].m_block), m_runs[index].m_size});
}

GUARD_FINDING ICGuardArena::mf_explain(void const * address) const
{
    ULONG const index = mf_implIndexOf(address);
    for (ULONG first = index; first > 0; --first) {
        RUN const & run = m_runs[first];
        if (run.m_pages == 0) continue;
        if (run.m_block == nullptr || index - first >= run.m_pages) break;
        auto const offset = static_cast<unsigned char const *>(address) - run.m_block;
        return {run.m_isUsed ? "access past the end of a block" : "access to a freed block", run.m_size, offset};
    }
    return {"access where no block is", 0, 0};
}

ULONG ICGuardArena::mf_implIndexOf(void const * address) const
{
    return static_cast<ULONG>((static_cast<unsigned char const *>(address) - m_pages) / static_cast<long long>(PAGE));
}

// The first free pages from the cursor on, once around; 0 if there are not as many in a row.
ULONG ICGuardArena::mf_implFindRun(ULONG pages)
{
    bool isAround = false;
    for (ULONG index = m_cursor;;) {
        if (index >= PAGES) {
            if (isAround) return 0;
            isAround = true;
            index = 1;
            continue;
        }
        ULONG const joined = mf_implJoin(index, pages);
        if (joined >= pages) return index;
        index += joined == 0 ? m_runs[index].m_pages : joined;
    }
}

// How many free pages follow one another here, as whole runs; counts no further than needed.
ULONG ICGuardArena::mf_implJoin(ULONG first, ULONG wanted) const
{
    ULONG joined = 0;
    while (joined < wanted && first + joined < PAGES && !m_runs[first + joined].m_isUsed)
        joined += m_runs[first + joined].m_pages;
    return joined;
}

void ICGuardArena::mf_implTake(ULONG index, ULONG pages, ULONG joined)
{
    for (ULONG stale = 0; stale < pages; ++stale)
        m_runs[index + stale] = {};
    if (joined > pages) m_runs[index + pages].m_pages = joined - pages;
    RUN & run = m_runs[index];
    run.m_pages = pages;
    run.m_isUsed = 1;
    run.m_next = m_runs[0].m_next;
    m_runs[run.m_next].m_previous = index;
    m_runs[0].m_next = index;
    m_cursor = index + pages;
    ++m_used;
}

void ICGuardArena::mf_implUnlink(RUN & run)
{
    m_runs[run.m_previous].m_next = run.m_next;
    m_runs[run.m_next].m_previous = run.m_previous;
    run.m_isUsed = 0;
    --m_used;
}

GUARD_FINDING ICGuardArena::mf_implCheckFill(RUN const & run) const
{
    auto const isTouched = [](unsigned char byte) { return byte != FILL; };
    unsigned char const * const begin = mf_implPage(mf_implIndexOf(run.m_block));
    unsigned char const * const end = begin + (run.m_pages - 1) * PAGE;
    unsigned char const * const behind = run.m_block + run.m_size;
    unsigned char const * const over = std::find_if(behind, end, isTouched);
    if (over != end) return {"write past the end of a block, seen when it is freed", run.m_size, over - run.m_block};
    auto const * const front = static_cast<unsigned char const *>(run.m_block);
    unsigned char const * const under = std::find_if(begin, front, isTouched);
    if (under != front) return {"write before a block, seen when it is freed", run.m_size, under - run.m_block};
    return {};
}
