#pragma once

#include "hsmbase/Types.h"

// The base of everything that can stand in an ICLinkedList: it holds the two links, so that a list needs no memory of
// its own. An item stands in one list at a time.
//
//     struct PLACE : ICLinkedListItem { CString m_directory; };
//
// Threads: guarded by whoever guards the list.
class HSMBASE_EXPORT ICLinkedListItem
{
public:
    // Stands in no list: both links point at the item itself.
    ICLinkedListItem() : m_pNext(this), m_pPrevious(this) {}

    // The links as they are: a copy of an item that stands in no list points at its source.
    ICLinkedListItem(ICLinkedListItem const &) = default;
    ICLinkedListItem & operator=(ICLinkedListItem const &) = default;

    // Doesn't touch the neighbours: an item is taken out before it ends.
    virtual ~ICLinkedListItem() {}

private:
    friend class ICLinkedList;

    ICLinkedListItem * m_pNext;
    ICLinkedListItem * m_pPrevious;
};
