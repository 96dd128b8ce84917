#pragma once

#include "hsmbase/containers/ICLinkedListItem.h"

// A doubly linked list whose links live in the items. Nothing is allocated, and inserting and removing take the same
// time wherever they happen. A root inside the list closes the circle, so no operation asks whether the list is empty.
//
//     ICLinkedList waiting;
//     waiting.mf_insertTail(*new PLACE);
//     ...
//     while (auto * place = static_cast<PLACE *>(waiting.mf_removeHead())) { ...; delete place; }
//
// The items aren't owned: a list that ends leaves them as they are. To end them with it, call mf_clearList(1) before.
//
// A failed operation changes nothing.
//
// Threads: no lock; one thread at a time.
class HSMBASE_EXPORT ICLinkedList
{
public:
    ICLinkedList() = default;

    // Head and tail as they are: the items go on pointing at the source's root, so a copy is good for looking at the
    // items forward by their number and for nothing else. The copy of an empty list isn't empty.
    ICLinkedList(ICLinkedList const &) = default;
    ICLinkedList & operator=(ICLinkedList const &) = default;

    virtual ~ICLinkedList() {}

    int mf_isEmpty() const { return m_root.m_pNext == &m_root || m_root.m_pPrevious == &m_root; }

    // NULL for an empty list.
    ICLinkedListItem * mf_getFirst() { return mf_implGetItem(m_root.m_pNext); }
    ICLinkedListItem * mf_getLast() { return mf_implGetItem(m_root.m_pPrevious); }

    // NULL behind the last item, and ahead of the first.
    ICLinkedListItem * mf_getNext(ICLinkedListItem & item) { return mf_implGetItem(item.m_pNext); }
    ICLinkedListItem * mf_getPrevious(ICLinkedListItem & item) { return mf_implGetItem(item.m_pPrevious); }

    // An item that stands in a list is taken out of it first, by the caller: nothing is checked.
    void mf_insertHead(ICLinkedListItem & item) { mf_implInsert(item, m_root, *m_root.m_pNext); }
    void mf_insertTail(ICLinkedListItem & item) { mf_implInsert(item, *m_root.m_pPrevious, m_root); }

    // Takes the item out and answers it. One that stands in no list stays as it is; one of another list is taken out of
    // that. Throws _E_::Range for the root, _E_::DataCorrupted where a link is NULL, _E_::ItemNotFound where a
    // neighbour doesn't point back.
    ICLinkedListItem * mf_removeItem(ICLinkedListItem & item)
    {
        if (!mf_implIsLinked(item)) mf_implRefuseRemoval(item);
        mf_implJoin(*item.m_pPrevious, *item.m_pNext);
        mf_implUnlink(item);
        return &item;
    }

    // NULL for an empty list, otherwise as mf_removeItem.
    ICLinkedListItem * mf_removeHead();
    ICLinkedListItem * mf_removeTail();

    // `newItem` takes the place of `oldItem`, which is answered and then stands in no list. The links aren't checked.
    // Throws _E_::Range for the root.
    ICLinkedListItem * mf_replaceItem(ICLinkedListItem & oldItem, ICLinkedListItem & newItem);

    // Takes a run of items out: `count` items from `item` on, toward the tail, or toward the head if `count` is
    // negative. The answer's next link is the first of them, its previous link the last, in the order of the list; walk
    // them by their number, since the outer links of the run lead nowhere.
    // A run that ends earlier than asked for sets `count` to the size of the run and one more.
    // Throws _E_::Parameter for a count of 0, _E_::Range for the root.
    ICLinkedListItem mf_removeItems(ICLinkedListItem & item, long & count);

    // Empties the list. With `deleteItems` each item is deleted, from the head on.
    void mf_clearList(int deleteItems);

    // Hands all items over to an empty list; takes the same time for any number of them.
    // Throws _E_::Parameter for a target that isn't empty.
    static void mf_moveRoot(ICLinkedList & source, ICLinkedList & target);

private:
    ICLinkedListItem * mf_implGetItem(ICLinkedListItem * item) { return item == &m_root ? nullptr : item; }
    int mf_implIsLinked(ICLinkedListItem const & item) const
    {
        return &item != &m_root && item.m_pNext != nullptr && item.m_pPrevious != nullptr &&
               item.m_pNext->m_pPrevious == &item && item.m_pPrevious->m_pNext == &item;
    }
    [[noreturn]] void mf_implRefuseRemoval(ICLinkedListItem const & item) const;

    static void mf_implJoin(ICLinkedListItem & left, ICLinkedListItem & right)
    {
        left.m_pNext = &right;
        right.m_pPrevious = &left;
    }
    static void mf_implUnlink(ICLinkedListItem & item) { mf_implJoin(item, item); }
    static void mf_implInsert(ICLinkedListItem & item, ICLinkedListItem & left, ICLinkedListItem & right)
    {
        mf_implJoin(left, item);
        mf_implJoin(item, right);
    }

    ICLinkedListItem m_root; // not an item: its next link is the head, its previous link the tail
};
