#pragma once

#include <new>
#include <utility>

// Storage whose object is never destroyed, as for copies that share what only one of them may give back.
//
//     ICRawStorage<ICCancelSwitch> storage;
//     ICCancelSwitch & copy = storage.mf_make(original);
//
template<class TYPE>
struct ICRawStorage
{
    template<class... ARGS>
    TYPE & mf_make(ARGS &&... arguments)
    {
        return *new (m_bytes) TYPE(std::forward<ARGS>(arguments)...);
    }

    alignas(TYPE) unsigned char m_bytes[sizeof(TYPE)];
};
