#include "hsmbase/containers/ICLinkedList.h"

#include "hsmbase/failure/internal/ICTrace.h"

// An item that isn't linked as it should be: which of the reasons it is.
void ICLinkedList::mf_implRefuseRemoval(ICLinkedListItem const & item) const
{
    static wchar_t const _sFunction_[] = L"ICLinkedList::mf_removeItem";

    if (&item == &m_root)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Range, L"Attempt to remove the list root item");
    if (item.m_pNext == nullptr || item.m_pPrevious == nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"Attempt to remove item that is not part of a doubly linked list");
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::ItemNotFound, L"Attempt to remove item from a broken/changed list context");
}

ICLinkedListItem * ICLinkedList::mf_removeHead()
{
    return mf_isEmpty() ? nullptr : mf_removeItem(*m_root.m_pNext);
}

ICLinkedListItem * ICLinkedList::mf_removeTail()
{
    return mf_isEmpty() ? nullptr : mf_removeItem(*m_root.m_pPrevious);
}

ICLinkedListItem * ICLinkedList::mf_replaceItem(ICLinkedListItem & oldItem, ICLinkedListItem & newItem)
{
    static wchar_t const _sFunction_[] = L"ICLinkedList::mf_replaceItem";

    if (&oldItem == &m_root)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Range, L"Attempt to replace the list root item");
    mf_implInsert(newItem, *oldItem.m_pPrevious, *oldItem.m_pNext);
    mf_implUnlink(oldItem);
    return &oldItem;
}

ICLinkedListItem ICLinkedList::mf_removeItems(ICLinkedListItem & item, long & count)
{
    static wchar_t const _sFunction_[] = L"ICLinkedList::mf_removeItems";

    if (count == 0) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"0 == _rlItemCount");
    // Deliberate: nothing is replaced here, but the text is that of mf_replaceItem.
    if (&item == &m_root)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Range, L"Attempt to replace the list root item");

    long const step = count > 0 ? 1 : -1;
    long reached = step;
    ICLinkedListItem * last = &item;
    while (reached != count) {
        // Deliberate: the step that leaves the list counts, so a run that is too short reports one item more.
        reached += step;
        ICLinkedListItem * const next = step > 0 ? last->m_pNext : last->m_pPrevious;
        if (next == &m_root) break;
        last = next;
    }
    count = reached;

    ICLinkedListItem & head = step > 0 ? item : *last;
    ICLinkedListItem & tail = step > 0 ? *last : item;
    mf_implJoin(*head.m_pPrevious, *tail.m_pNext);
    ICLinkedListItem run;
    mf_implJoin(run, head);
    mf_implJoin(tail, run);
    return run;
}

void ICLinkedList::mf_clearList(int deleteItems)
{
    if (deleteItems) {
        ICLinkedListItem * next = m_root.m_pNext;
        while (next != &m_root) {
            ICLinkedListItem const * const item = next;
            next = item->m_pNext;
            delete item;
        }
    }
    mf_implUnlink(m_root);
}

void ICLinkedList::mf_moveRoot(ICLinkedList & source, ICLinkedList & target)
{
    // Deliberate: the trace knows this operation by another name.
    static wchar_t const _sFunction_[] = L"ICLinkedList::mf_moveItems";

    if (!target.mf_isEmpty())
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Target linked list is not empty, cannot move items");
    if (source.mf_isEmpty()) return;
    mf_implJoin(target.m_root, *source.m_root.m_pNext);
    mf_implJoin(*source.m_root.m_pPrevious, target.m_root);
    mf_implUnlink(source.m_root);
}
