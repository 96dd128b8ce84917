// CArray: an array that grows, with checked indices. It stands in for the class library's afxtempl.h.
//
//     CArray<CString> names;
//     names.Add(L"first");
//     names.SetAtGrow(4, L"fifth");                   // 1 to 3 are empty strings now
//     for (INT_PTR i = 0; i < names.GetCount(); ++i) { use(names[i]); }
//
// An index or size out of range ends in AfxThrowInvalidArgException, no memory in AfxThrowMemoryException. Elements
// are made by their default constructor (numbers and pointers: 0) and destroyed one by one, but the array moves them as
// bytes when it grows, inserts or removes: a type that keeps pointers into its own objects does not fit in.
//
// Growth: by `growBy` elements, or with 0 by an eighth of the size, at least 4 and at most 1024. The first allocation
// takes exactly what is asked for, or `growBy` if that is more.
//
// Threads: as for any container, one writer or many readers. No locks.
// Left out: the other templates of afxtempl.h, serialisation, diagnostics.
#pragma once

#include "afx.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <type_traits>
#include <utility>

template<class TYPE, class ARG_TYPE = TYPE const &>
class CArray : public CObject
{
    static_assert(alignof(TYPE) <= alignof(std::max_align_t), "The elements lie in memory from malloc.");

public:
    constexpr CArray() = default;
    ~CArray() { RemoveAll(); }

    INT_PTR GetSize() const { return m_size; }
    INT_PTR GetCount() const { return m_size; }
    bool IsEmpty() const { return m_size == 0; }
    INT_PTR GetUpperBound() const { return m_size - 1; }

    // Makes or destroys elements at the end. Size 0 frees the memory. A `growBy` of -1 leaves the growth as it is.
    void SetSize(INT_PTR newSize, INT_PTR growBy = -1)
    {
        ENSURE(newSize >= 0);
        if (growBy >= 0) {
            m_growBy = growBy;
        }
        std::destroy(m_data + std::min(newSize, m_size), m_data + m_size);
        INT_PTR const kept = std::min(newSize, m_size);
        m_size = kept;
        if (newSize == 0) {
            std::free(std::exchange(m_data, nullptr));
            m_capacity = 0;
            return;
        }
        mf_implReserve(newSize);
        mf_implMake(kept, newSize - kept);
        m_size = newSize;
    }

    void FreeExtra()
    {
        if (m_size == 0) {
            RemoveAll();
        } else if (m_size != m_capacity) {
            mf_implReallocate(m_size);
        }
    }

    void RemoveAll() { SetSize(0); }

    TYPE & GetAt(INT_PTR index) { return m_data[mf_implChecked(index)]; }
    TYPE const & GetAt(INT_PTR index) const { return m_data[mf_implChecked(index)]; }
    TYPE & ElementAt(INT_PTR index) { return GetAt(index); }
    TYPE const & ElementAt(INT_PTR index) const { return GetAt(index); }
    TYPE & operator[](INT_PTR index) { return GetAt(index); }
    TYPE const & operator[](INT_PTR index) const { return GetAt(index); }
    void SetAt(INT_PTR index, ARG_TYPE element) { GetAt(index) = element; }

    // The first element, NULL for an array without memory. Good until the size changes.
    TYPE * GetData() { return m_data; }
    TYPE const * GetData() const { return m_data; }

    // Like SetAt, but an index behind the end makes the array long enough. The element may be one of the array's own.
    void SetAtGrow(INT_PTR index, ARG_TYPE element)
    {
        ENSURE(index >= 0);
        if (index < m_size) {
            m_data[index] = element;
            return;
        }
        INT_PTR const own = mf_implOwnIndex(element);
        SetSize(mf_implSum(index, 1));
        if (own >= 0) {
            m_data[index] = std::as_const(m_data[own]);
        } else {
            m_data[index] = element;
        }
    }

    // Answers the index of the new element.
    INT_PTR Add(ARG_TYPE element)
    {
        INT_PTR const index = m_size;
        SetAtGrow(index, element);
        return index;
    }

    // Answers the index of the first element that was appended. The array itself is refused.
    INT_PTR Append(CArray const & other)
    {
        ENSURE(this != &other);
        INT_PTR const before = m_size;
        SetSize(mf_implSum(before, other.m_size));
        std::copy_n(other.m_data, other.m_size, m_data + before);
        return before;
    }

    void Copy(CArray const & other)
    {
        if (this != &other) {
            SetSize(other.m_size);
            std::copy_n(other.m_data, other.m_size, m_data);
        }
    }

    // Inserts `count` equal elements; behind the end the gap is filled with new ones.
    void InsertAt(INT_PTR index, ARG_TYPE element, INT_PTR count = 1)
    {
        ENSURE(index >= 0 && count > 0);
        INT_PTR const own = mf_implOwnIndex(element);
        mf_implOpen(index, count);
        for (INT_PTR at = index; at < index + count; ++at) {
            if (own >= 0) {
                m_data[at] = std::as_const(m_data[own < index ? own : own + count]);
            } else {
                m_data[at] = element;
            }
        }
    }

    void InsertAt(INT_PTR index, CArray * other)
    {
        ENSURE(index >= 0 && other != nullptr && other != this);
        if (other->m_size > 0) {
            mf_implOpen(index, other->m_size);
            std::copy_n(other->m_data, other->m_size, m_data + index);
        }
    }

    void RemoveAt(INT_PTR index, INT_PTR count = 1)
    {
        ENSURE(index >= 0 && count >= 0 && count <= m_size && index <= m_size - count);
        std::destroy_n(m_data + index, count);
        mf_implMove(index, index + count, m_size - index - count);
        m_size -= count;
    }

private:
    INT_PTR mf_implChecked(INT_PTR index) const
    {
        if (static_cast<std::size_t>(index) >= static_cast<std::size_t>(m_size)) {
            AfxThrowInvalidArgException();
        }
        return index;
    }

    static std::size_t mf_implBytes(INT_PTR count) { return static_cast<std::size_t>(count) * ELEMENT_BYTES; }

    static INT_PTR mf_implSum(INT_PTR size, INT_PTR count)
    {
        if (count > MAXIMUM_SIZE - size) AfxThrowMemoryException();
        return size + count;
    }

    void mf_implReserve(INT_PTR size)
    {
        if (size <= m_capacity) return;
        if (m_data == nullptr) {
            mf_implReallocate(std::max(size, m_growBy));
            return;
        }
        INT_PTR const growBy = m_growBy != 0 ? m_growBy : std::clamp<INT_PTR>(m_size / 8, 4, 1024);
        mf_implReallocate(std::max(size, mf_implSum(m_capacity, growBy)));
    }

    void mf_implReallocate(INT_PTR capacity)
    {
        void * const data =
            capacity > MAXIMUM_SIZE ? nullptr : std::realloc(static_cast<void *>(m_data), mf_implBytes(capacity));
        if (data == nullptr) AfxThrowMemoryException();
        m_data = static_cast<TYPE *>(data);
        m_capacity = capacity;
    }

    void mf_implMake(INT_PTR index, INT_PTR count) { std::uninitialized_value_construct_n(m_data + index, count); }

    void mf_implMove(INT_PTR to, INT_PTR from, INT_PTR count)
    {
        if (count > 0) {
            std::memmove(static_cast<void *>(m_data + to), static_cast<void const *>(m_data + from),
                         mf_implBytes(count));
        }
    }

    // Makes room: new elements at [index, index + count).
    void mf_implOpen(INT_PTR index, INT_PTR count)
    {
        INT_PTR const behind = m_size - index;
        if (behind <= 0) {
            SetSize(mf_implSum(index, count));
            return;
        }
        mf_implReserve(mf_implSum(m_size, count));
        mf_implMove(index + count, index, behind);
        try {
            mf_implMake(index, count);
        }
        catch (...) {
            mf_implMove(index, index + count, behind);
            throw;
        }
        m_size += count;
    }

    // Where in the array the argument lies, -1 for elsewhere: the elements move when the array grows.
    INT_PTR mf_implOwnIndex(std::remove_reference_t<ARG_TYPE> const & element) const
    {
        if constexpr (std::is_same_v<std::remove_cvref_t<ARG_TYPE>, TYPE>) {
            std::less<TYPE const *> const before;
            TYPE const * const place = std::addressof(element);
            if (m_data != nullptr && !before(place, m_data) && before(place, m_data + m_size)) {
                return place - m_data;
            }
        }
        return -1;
    }

    static constexpr std::size_t ELEMENT_BYTES = sizeof(TYPE); // NOLINT(bugprone-sizeof-expression): also of pointers
    static constexpr INT_PTR MAXIMUM_SIZE = static_cast<INT_PTR>(static_cast<std::size_t>(-1) / 2 / ELEMENT_BYTES);

    TYPE * m_data = nullptr;
    INT_PTR m_size = 0;
    INT_PTR m_capacity = 0;
    INT_PTR m_growBy = 0;
};
