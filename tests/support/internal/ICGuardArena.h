#pragma once

#include "tests/support/internal/ICLeakSnapshot.h"

// The memory of the page-guard heap: one reserved range of addresses in which every block ends at a page without
// access. A freed block's pages lose their memory at once, and its addresses are not used again before the whole range
// has been gone through. Nothing in here uses another heap.
//
// A block is known by a run of pages that begins with the page in which it begins; the run's last page is the guard.
// Between the start of the run and the block, and between the block and its guard page, lie fill bytes.
//
// Threads: any. One lock guards all; it is not taken while the process ends, since a killed thread may hold it.

// What was found wrong with a pointer.
struct GUARD_FINDING
{
    char const * m_text = nullptr; // nullptr: nothing.
    std::size_t m_size = 0;        // Bytes of the block concerned.
    long long m_offset = 0;        // Where, seen from the start of the block.
};

class ICGuardArena
{
public:
    // The first call reserves the range, and must come before anything is allocated here.
    static ICGuardArena & mf_getThis();

    // nullptr: too large, or too many blocks at a time for the host's limits. Filled with FRESH, or zero.
    void * mf_allocate(std::size_t size, std::size_t alignment, bool isZero);
    // The block stays as it is if something is wrong.
    GUARD_FINDING mf_free(void * block);

    bool mf_owns(void const * address) const;
    // Bytes that were asked for; ~0 if no block that is in use begins there.
    std::size_t mf_sizeOf(void const * block);
    void mf_appendBlocks(ICLeakItems & items);
    // Which block an access at this address belongs to, in use or freed. Takes no lock: called after a page fault.
    GUARD_FINDING mf_explain(void const * address) const;

    static constexpr unsigned char FRESH = 0xA5;
    static constexpr std::size_t MOST_BLOCKS = 20'000;

private:
    struct RUN
    {
        unsigned char * m_block;
        std::size_t m_size;
        ULONG m_pages; // With the guard page. 0: no run begins here.
        ULONG m_isUsed;
        ULONG m_next; // Used runs form a ring through run 0.
        ULONG m_previous;
    };

    class LOCK
    {
    public:
        explicit LOCK(ICGuardArena & arena);
        LOCK(LOCK const &) = delete;
        LOCK & operator=(LOCK const &) = delete;
        ~LOCK();

    private:
        SRWLOCK * const m_lock;
    };

    static constexpr std::size_t PAGE = 0x1000;
    static constexpr ULONG PAGES = 1ul << 21;
    static constexpr unsigned char FILL = 0xFB;

    ICGuardArena();
    unsigned char * mf_implPage(ULONG index) const { return m_pages + std::size_t{index} * PAGE; }
    ULONG mf_implIndexOf(void const * address) const;
    bool mf_implIsBlock(void const * block) const;
    ULONG mf_implFindRun(ULONG pages);
    ULONG mf_implJoin(ULONG first, ULONG wanted) const;
    void mf_implTake(ULONG index, ULONG pages, ULONG joined);
    void mf_implUnlink(RUN & run);
    GUARD_FINDING mf_implCheckFill(RUN const & run) const;

    SRWLOCK m_lock = SRWLOCK_INIT;
    unsigned char * m_pages;
    RUN * m_runs;
    BOOLEAN(NTAPI * m_isEnding)();
    ULONG m_cursor = 1;
    std::size_t m_used = 0;
};
