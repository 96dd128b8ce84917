#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <utility>
#include <vector>

#include "hsmbase/containers/ICHashBucket.h"
#include "hsmbase/containers/ICHashTable.h"
#include "hsmbase/containers/ICLinkedList.h"

// What the tests of the containers share.

struct ICNumberedItem : ICLinkedListItem
{
    explicit ICNumberedItem(int number = 0) : m_number(number) {}

    int const m_number;
};

using NUMBERS = std::vector<int>;

// Tells of its end.
struct ICMortalItem : ICNumberedItem
{
    ICMortalItem(int number, NUMBERS & ended) : ICNumberedItem(number), m_ended(ended) {}
    ~ICMortalItem() override { m_ended.push_back(m_number); }

    NUMBERS & m_ended;
};

inline int f_numberOf(ICLinkedListItem const * item)
{
    return static_cast<ICNumberedItem const *>(item)->m_number;
}

// From head to tail, up to a link that doesn't lead back, which is shown as -1.
inline NUMBERS f_numbersOf(ICLinkedList const & list)
{
    NUMBERS numbers;
    ICLinkedListItem const * item = &list.m_root;
    while (item->m_pNext->m_pPrevious == item) {
        item = item->m_pNext;
        if (item == &list.m_root) return numbers;
        numbers.push_back(f_numberOf(item));
    }
    numbers.push_back(-1);
    return numbers;
}

inline bool f_isAlone(ICLinkedListItem const & item)
{
    return item.m_pNext == &item && item.m_pPrevious == &item;
}

// Gives a loose end back to itself: the outer links of a run that was cut out lead nowhere.
inline void f_letAlone(ICLinkedListItem & item)
{
    item.m_pNext = item.m_pPrevious = &item;
}

// Room for a copy that shares what it has with its source and so is never destroyed.
template<class TYPE>
class ICSharingCopy
{
public:
    explicit ICSharingCopy(TYPE const & source) : m_copy(*::new (m_bytes) TYPE(source)) {}
    ICSharingCopy(ICSharingCopy const &) = delete;
    ICSharingCopy & operator=(ICSharingCopy const &) = delete;

    TYPE & operator*() { return m_copy; }
    TYPE * operator->() { return &m_copy; }

private:
    alignas(TYPE) std::byte m_bytes[sizeof(TYPE)];
    TYPE & m_copy;
};

// A table whose hash can be asked for.
class ICHashingTable : public ICHashTable
{
public:
    using ICHashTable::ICHashTable;

    ulong mf_hash(std::string_view key) const
    {
        auto const * const bytes = reinterpret_cast<unsigned char const *>(key.data());
        return mf_implCalculateHashIndex(bytes, static_cast<ulong>(key.size()));
    }

    ulong mf_hash(std::initializer_list<unsigned char> key) const
    {
        return mf_implCalculateHashIndex(key.begin(), static_cast<ulong>(key.size()));
    }
};
