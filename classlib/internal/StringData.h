// CStringData: what lies before the characters of a string, and the life of such a block.
//
// A block is made with one reference and freed with the last. Blocks come from malloc, so that one that a library made
// can be freed by a program that shares its run-time, and can be extended in place.
//
// Threads: the count is interlocked; everything else belongs to who is the only owner. No locks.
#pragma once

#include "Failures.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <cstring>

struct CStringData
{
    static constexpr long NIL = 0;     // the static block: never counted, never written, never freed
    static constexpr long LOCKED = -1; // one owner, and copies do not share

    // Leaves the sizes of all blocks, and of two texts joined, within an int.
    static constexpr int MAXIMUM_LENGTH = 0x7FFFFFE0;

    long references;
    int length;
    int capacity; // characters that fit, without the terminator
    int reserved; // keeps the characters on a 16-byte boundary

    static CStringData * mf_of(wchar_t * text) noexcept { return reinterpret_cast<CStringData *>(text) - 1; }
    wchar_t * mf_text() noexcept { return reinterpret_cast<wchar_t *>(this + 1); }
    static std::size_t mf_bytes(int length) noexcept { return static_cast<std::size_t>(length) * sizeof(wchar_t); }

    long mf_references() noexcept { return std::atomic_ref(references).load(std::memory_order_acquire); }
    void mf_setReferences(long count) noexcept { std::atomic_ref(references).store(count, std::memory_order_release); }
    void mf_acquire() noexcept { std::atomic_ref(references).fetch_add(1, std::memory_order_relaxed); }

    // Whether the one who asks may write.
    bool mf_isOwn() noexcept
    {
        long const count = mf_references();
        return count == 1 || count == LOCKED;
    }

    void mf_release() noexcept;

    // A block of one reference with the text and room for `capacity` characters, not less than the text has.
    static CStringData * mf_create(wchar_t const * text, int length, int capacity)
    {
        CStringData * const data = mf_implAllocate(nullptr, capacity);
        data->references = 1;
        data->length = length;
        std::memcpy(data->mf_text(), text, mf_bytes(length));
        data->mf_text()[length] = L'\0';
        return data;
    }

    // The block with room for `capacity` characters, not less than the text has. The old address is void.
    CStringData * mf_resize(int newCapacity);

    // The capacity to ask for when there is need for more: half as much again.
    int mf_grown() const noexcept { return capacity + std::min(capacity / 2, MAXIMUM_LENGTH - capacity); }

private:
    bool mf_implIsNil() noexcept;

    // Blocks are whole units of 16 bytes.
    static int mf_implRounded(int capacity) noexcept { return capacity | 7; }

    static CStringData * mf_implAllocate(CStringData * old, int capacity);
};

struct CStringNil
{
    CStringData data;
    wchar_t text[8];
};

// All empty strings without a block of their own point here. Every module has its own, so a block is recognised as such
// by its count.
inline constinit CStringNil g_classlibNil{{CStringData::NIL, 0, 0, 0}, {}};

// The address is asked first because the compiler knows it: it would warn about a static block that is freed.
inline bool CStringData::mf_implIsNil() noexcept
{
    return this == &g_classlibNil.data || mf_references() == NIL;
}

inline CStringData * CStringData::mf_resize(int newCapacity)
{
    return mf_implIsNil() || mf_implRounded(newCapacity) == capacity ? this : mf_implAllocate(this, newCapacity);
}

// A static analyser can't follow the counts and would find leaks and blocks freed twice in whatever uses strings; so
// it does not see where blocks come from and where they go.
#ifndef __clang_analyzer__

inline CStringData * CStringData::mf_implAllocate(CStringData * old, int capacity)
{
    int const rounded = mf_implRounded(capacity);
    std::size_t const bytes = sizeof(CStringData) + mf_bytes(rounded) + sizeof(wchar_t);
    void * const block = capacity > MAXIMUM_LENGTH ? nullptr : std::realloc(old, bytes);
    if (block == nullptr) AfxThrowMemoryException();
    CStringData * const data = static_cast<CStringData *>(block);
    data->capacity = rounded;
    return data;
}

inline void CStringData::mf_release() noexcept
{
    if (mf_implIsNil()) return;
    // A count of 1 cannot be raised by others: it takes an owner to copy from.
    if (mf_references() <= 1 || std::atomic_ref(references).fetch_sub(1, std::memory_order_acq_rel) == 1) {
        std::free(this);
    }
}

#endif
