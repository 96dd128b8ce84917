#pragma once

#include <type_traits>

#include "hsmbase/failure/ICSortedPointers.h"

// The class library's array with a sort for arrays of pointers.
//
//     ICArray<CString *, CString *> names;                  // the array doesn't own what its pointers point to
//     names.Add(&first);
//     names.mf_sort([](void const * left, void const * right) {
//         return (*static_cast<CString * const *>(left))->Compare(**static_cast<CString * const *>(right));
//     });
//
// Threads: an array belongs to one thread at a time.
template<class TYPE, class ARG_TYPE>
class ICArray : public CArray<TYPE, ARG_TYPE>
{
public:
    // Sorts in the order that `compare` gives; it gets pointers to two elements, as with qsort. Elements that compare
    // equal have no particular order. Fewer than two elements are left alone.
    //
    // Throws _E_::Parameter for a NULL `compare`, for an array of any size, and _E_::Memory; both leave the elements as
    // they were.
    void mf_sort(int (*compare)(void const *, void const *)) requires(std::is_pointer_v<TYPE>)
    {
        INT_PTR const count = this->GetCount();
        ICSortedPointers const sorted(this->GetData(), static_cast<std::size_t>(count), compare);
        if (count < 2) return;

        this->SetSize(0, -1);
        this->SetSize(count, -1);
        for (INT_PTR index = 0; index < count; ++index)
            this->SetAt(index, static_cast<TYPE>(sorted.mf_get(static_cast<std::size_t>(index))));
    }
};
