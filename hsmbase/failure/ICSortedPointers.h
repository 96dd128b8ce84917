#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "hsmbase/Types.h"

// The part of ICArray::mf_sort that doesn't depend on the element type: a sorted copy of pointer-sized items. It stands
// apart so that the template needs no trace and no failure of its own.
//
// Threads: a value of one thread.
class HSMBASE_EXPORT ICSortedPointers
{
public:
    // Copies `count` pointer-sized items and sorts the copy with `compare`, which gets pointers to two items as with
    // qsort. Throws _E_::Parameter for a NULL `compare`, also when there is nothing to sort, and _E_::Memory.
    ICSortedPointers(void const * items, std::size_t count, int (*compare)(void const *, void const *));
    ICSortedPointers(ICSortedPointers const &) = delete;
    ICSortedPointers & operator=(ICSortedPointers const &) = delete;

    // `index` must be below the count, and the count at least 2.
    void * mf_get(std::size_t index) const { return m_items.get()[index]; }

private:
    struct FREE
    {
        void operator()(void ** items) const { std::free(items); }
    };

    std::unique_ptr<void *, FREE> m_items;
};
