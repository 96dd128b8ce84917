#pragma once

#include <mutex>
#include <new>
#include <set>

#include "tests/support/ICImportPatch.h"

// Watches the contexts that the library allocates and deletes while the object lives.
//
//     ContextHeap const heap;
//     ...
//     EXPECT_EQ(0u, heap.mf_getLive());
//
class ContextHeap
{
public:
    std::size_t mf_getAllocated() const { return m_allocated; }
    std::size_t mf_getLive() const { return m_live.size(); }

private:
    void * mf_allocate(std::size_t size)
    {
        void * const block = ::operator new(size, std::nothrow);
        std::lock_guard const guard(m_lock);
        ++m_allocated;
        m_live.insert(block);
        return block;
    }

    void mf_free(void * block)
    {
        {
            std::lock_guard const guard(m_lock);
            m_live.erase(block);
        }
        ::operator delete(block);
    }

    std::mutex m_lock;
    std::size_t m_allocated = 0;
    std::set<void *> m_live;

    // By the names that this compiler gives to operator new and delete.
    ICImportPatch const m_new{"_ZnwyRKSt9nothrow_t",
                              [this](std::size_t size, std::nothrow_t const &) { return mf_allocate(size); }};
    ICImportPatch const m_delete{"_ZdlPvy", [this](void * block, std::size_t) { mf_free(block); }};
    ICImportPatch const m_deleteUnbuilt{"_ZdlPvRKSt9nothrow_t",
                                        [this](void * block, std::nothrow_t const &) { mf_free(block); }};
};
