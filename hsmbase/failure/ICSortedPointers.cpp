#include "hsmbase/failure/ICSortedPointers.h"

#include <cstdlib>
#include <cstring>

#include "hsmbase/failure/internal/ICTrace.h"

ICSortedPointers::ICSortedPointers(void const * items, std::size_t count, int (*compare)(void const *, void const *))
    : m_items(nullptr)
{
    static wchar_t const _sFunction_[] = L"ICArray::mf_sort";

    if (compare == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == f_compare");
    if (count < 2) return;

    std::size_t const bytes = count * sizeof(void *);
    m_items.reset(static_cast<void **>(std::malloc(bytes)));
    if (m_items == nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Memory, L"No memory for %lu array entries (%lu bytes)", static_cast<ulong>(count),
                       static_cast<ulong>(bytes));

    std::memcpy(m_items.get(), items, bytes);
    std::qsort(m_items.get(), count, sizeof(void *), compare);
}
