#pragma once

#include "tests/support/Platform.h"

#include <new>
#include <vector>

// Memory from whole pages, so that counting heap blocks makes none.
template<class TYPE>
struct ICPageAllocator
{
    using value_type = TYPE;

    ICPageAllocator() = default;
    template<class OTHER>
    ICPageAllocator(ICPageAllocator<OTHER> const &)
    {}

    TYPE * allocate(std::size_t count)
    {
        void * const pages = ::VirtualAlloc(nullptr, count * sizeof(TYPE), MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
        if (pages == nullptr) throw std::bad_alloc();
        return static_cast<TYPE *>(pages);
    }
    void deallocate(TYPE * pages, std::size_t) { ::VirtualFree(pages, 0, MEM_RELEASE); }

    template<class OTHER>
    bool operator==(ICPageAllocator<OTHER> const &) const
    {
        return true;
    }
};

template<class TYPE>
using ICPageVector = std::vector<TYPE, ICPageAllocator<TYPE>>;

// One open handle (value, 0), one busy heap block (address, bytes) or one thread (id, 0).
struct LEAK_ITEM
{
    ULONG_PTR m_key;
    ULONG_PTR m_size;

    auto operator<=>(LEAK_ITEM const &) const = default;
};

using ICLeakItems = ICPageVector<LEAK_ITEM>;

// What this process holds at one moment, each list sorted. Taking it leaves no handle, block or thread behind.
struct ICLeakSnapshot
{
    static ICLeakSnapshot mf_take();

    ICLeakItems m_handles;
    ICLeakItems m_blocks; // Of all heaps, the run-time library's included; a page-guard heap's too.
    ICLeakItems m_threads;
};
