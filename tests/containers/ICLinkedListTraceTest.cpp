#include "tests/containers/ContainersTest.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class ICLinkedListTrace : public testing::Test
{
protected:
    ICLinkedListTrace()
    {
        m_list.mf_insertTail(m_first);
        m_list.mf_insertTail(m_second);
        m_list.mf_insertTail(m_third);
    }

    // What taking out the second item comes to, with one link at a wrong place.
    ICTracedAction mf_removeWith(ICLinkedListItem *& link, ICLinkedListItem * wrong)
    {
        ICLinkedListItem * const right = std::exchange(link, wrong);
        ICTracedAction const outcome = m_process.mf_run([this] { m_list.mf_removeItem(m_second); });
        EXPECT_EQ(wrong, link) << "a failed operation changes nothing";
        link = right;
        mf_expectUnchanged();
        return outcome;
    }

    void mf_expectUnchanged() const { EXPECT_THAT(f_numbersOf(m_list), ElementsAre(1, 2, 3)); }

    ICTracedProcess const m_process{L"German"};
    ICNumberedItem m_first{1};
    ICNumberedItem m_second{2};
    ICNumberedItem m_third{3};
    ICNumberedItem m_other{4};
    ICLinkedList m_list;
};

} // namespace

TEST_F(ICLinkedListTrace, RemoveItem_TheRoot_IsRefused)
{
    EXPECT_THAT(
        m_process.mf_run([this] { m_list.mf_removeItem(m_list.m_root); }),
        f_fails(ICErrno::_E_::Range, 'E', "ICLinkedList::mf_removeItem", "Attempt to remove the list root item"));
    mf_expectUnchanged();
}

// The root comes first, whatever is wrong with its links.
TEST_F(ICLinkedListTrace, RemoveItem_TheRootWithANullLink_IsRefusedAsTheRoot)
{
    ICLinkedListItem * const first = std::exchange(m_list.m_root.m_pNext, nullptr);
    EXPECT_THAT(
        m_process.mf_run([this] { m_list.mf_removeItem(m_list.m_root); }),
        f_fails(ICErrno::_E_::Range, 'E', "ICLinkedList::mf_removeItem", "Attempt to remove the list root item"));
    m_list.m_root.m_pNext = first;
}

TEST_F(ICLinkedListTrace, RemoveItem_NullLink_IsCorrupt)
{
    auto const isCorrupt = f_fails(ICErrno::_E_::DataCorrupted, 'E', "ICLinkedList::mf_removeItem",
                                   "Attempt to remove item that is not part of a doubly linked list");
    EXPECT_THAT(mf_removeWith(m_second.m_pNext, nullptr), isCorrupt);
    EXPECT_THAT(mf_removeWith(m_second.m_pPrevious, nullptr), isCorrupt);
}

TEST_F(ICLinkedListTrace, RemoveItem_NeighbourThatDoesntPointBack_IsNotFound)
{
    auto const isNotFound = f_fails(ICErrno::_E_::ItemNotFound, 'E', "ICLinkedList::mf_removeItem",
                                    "Attempt to remove item from a broken/changed list context");
    EXPECT_THAT(mf_removeWith(m_third.m_pPrevious, &m_other), isNotFound);
    EXPECT_THAT(mf_removeWith(m_first.m_pNext, &m_third), isNotFound);
    EXPECT_THAT(mf_removeWith(m_first.m_pNext, nullptr), isNotFound) << "its neighbour's link, not its own";
}

TEST_F(ICLinkedListTrace, RemoveHeadAndTail_OfABrokenList_FailAsRemoveItem)
{
    ICLinkedListItem * const link = std::exchange(m_first.m_pNext, nullptr);
    EXPECT_THAT(m_process.mf_run([this] { m_list.mf_removeHead(); }),
                f_fails(ICErrno::_E_::DataCorrupted, 'E', "ICLinkedList::mf_removeItem",
                        "Attempt to remove item that is not part of a doubly linked list"));
    m_first.m_pNext = link;
    ICLinkedListItem * const back = std::exchange(m_third.m_pPrevious, nullptr);
    EXPECT_THAT(m_process.mf_run([this] { m_list.mf_removeTail(); }),
                f_fails(ICErrno::_E_::DataCorrupted, 'E', "ICLinkedList::mf_removeItem",
                        "Attempt to remove item that is not part of a doubly linked list"));
    m_third.m_pPrevious = back;
    mf_expectUnchanged();
}

TEST_F(ICLinkedListTrace, NothingToRemove_LeavesNoTrace)
{
    EXPECT_THAT(m_process.mf_trace([this] {
        ICLinkedList empty;
        EXPECT_EQ(nullptr, empty.mf_removeHead());
        EXPECT_EQ(nullptr, empty.mf_removeTail());
        EXPECT_EQ(&m_other, empty.mf_removeItem(m_other));
        ICLinkedList target;
        ICLinkedList::mf_moveRoot(empty, target);
        empty.mf_clearList(1);
    }),
                IsEmpty());
}

TEST_F(ICLinkedListTrace, ReplaceItem_TheRoot_IsRefused)
{
    EXPECT_THAT(
        m_process.mf_run([this] { m_list.mf_replaceItem(m_list.m_root, m_other); }),
        f_fails(ICErrno::_E_::Range, 'E', "ICLinkedList::mf_replaceItem", "Attempt to replace the list root item"));
    mf_expectUnchanged();
    EXPECT_TRUE(f_isAlone(m_other));
}

TEST_F(ICLinkedListTrace, RemoveItems_CountZero_IsRefused)
{
    long count = 0;
    EXPECT_THAT(m_process.mf_run([&] { m_list.mf_removeItems(m_second, count); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICLinkedList::mf_removeItems", "0 == _rlItemCount"));
    EXPECT_THAT(m_process.mf_run([&] { m_list.mf_removeItems(m_list.m_root, count); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICLinkedList::mf_removeItems", "0 == _rlItemCount"))
        << "the count comes first";
    mf_expectUnchanged();
}

// Deliberate: the text is that of mf_replaceItem.
TEST_F(ICLinkedListTrace, RemoveItems_TheRoot_IsRefusedAsAReplacement)
{
    long count = 5;
    EXPECT_THAT(
        m_process.mf_run([&] { m_list.mf_removeItems(m_list.m_root, count); }),
        f_fails(ICErrno::_E_::Range, 'E', "ICLinkedList::mf_removeItems", "Attempt to replace the list root item"));
    EXPECT_EQ(5, count);
    mf_expectUnchanged();
}

// Deliberate: the trace knows mf_moveRoot as mf_moveItems.
TEST_F(ICLinkedListTrace, MoveRoot_ToAListWithItems_IsRefused)
{
    auto const isRefused = f_fails(ICErrno::_E_::Parameter, 'E', "ICLinkedList::mf_moveItems",
                                   "Target linked list is not empty, cannot move items");
    ICLinkedList source;
    EXPECT_THAT(m_process.mf_run([&] { ICLinkedList::mf_moveRoot(source, m_list); }), isRefused)
        << "even if there is nothing to move";
    source.mf_insertTail(m_other);
    EXPECT_THAT(m_process.mf_run([&] { ICLinkedList::mf_moveRoot(source, m_list); }), isRefused);
    EXPECT_THAT(m_process.mf_run([&] { ICLinkedList::mf_moveRoot(m_list, m_list); }), isRefused);
    mf_expectUnchanged();
    EXPECT_THAT(f_numbersOf(source), ElementsAre(4));
}
