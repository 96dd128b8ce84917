#include "tests/containers/ContainersTest.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/PageGuardHeap.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <type_traits>

using testing::ElementsAre;

namespace
{

constexpr int COUNT = 5;

class ICLinkedListTest : public testing::Test
{
protected:
    // Items 0 to `count` - 1, in this order.
    void mf_fill(int count)
    {
        for (int number = 0; number < count; ++number)
            m_list.mf_insertTail(mf_item(number));
    }

    ICNumberedItem & mf_item(int number) { return m_items[static_cast<std::size_t>(number)]; }

    // What mf_removeItems took: the numbers from the first on, by the count of them; the run's ends stand alone then.
    NUMBERS mf_take(int item, long & count, std::size_t expected)
    {
        ICLinkedListItem const run = m_list.mf_removeItems(mf_item(item), count);
        NUMBERS numbers{f_numberOf(run.m_pNext)};
        ICLinkedListItem * last = run.m_pNext;
        while (numbers.size() < expected) {
            if (last->m_pNext->m_pPrevious != last) numbers.push_back(-1);
            last = last->m_pNext;
            numbers.push_back(f_numberOf(last));
        }
        EXPECT_EQ(last, run.m_pPrevious);
        f_letAlone(*run.m_pNext);
        f_letAlone(*run.m_pPrevious);
        return numbers;
    }

    // Takes the run from `item` on out of a list of `size`.
    void mf_expectRun(int size, int item, int asked)
    {
        int const there = asked > 0 ? size - item : item + 1;
        int const taken = std::min(std::abs(asked), there);
        int const first = asked > 0 ? item : item - taken + 1;
        NUMBERS run, rest;
        for (int number = 0; number < size; ++number)
            (number >= first && number < first + taken ? run : rest).push_back(number);
        int const reported = std::min(std::abs(asked), there + 1);

        mf_fill(size);
        long count = asked;
        EXPECT_EQ(run, mf_take(item, count, run.size())) << size << ' ' << item << ' ' << asked;
        EXPECT_EQ(rest, f_numbersOf(m_list)) << size << ' ' << item << ' ' << asked;
        EXPECT_EQ(asked > 0 ? reported : -reported, count) << size << ' ' << item << ' ' << asked;
        m_list.mf_clearList(0);
    }

    std::array<ICNumberedItem, COUNT> m_items{ICNumberedItem(0), ICNumberedItem(1), ICNumberedItem(2),
                                              ICNumberedItem(3), ICNumberedItem(4)};
    ICLinkedList m_list;
};

} // namespace

static_assert(std::is_base_of_v<ICLinkedListItem, ICNumberedItem> && std::has_virtual_destructor_v<ICLinkedListItem>);
static_assert(std::has_virtual_destructor_v<ICLinkedList>);
static_assert(sizeof(ICLinkedListItem) == 3 * sizeof(void *), "the links, and the table of virtual operations");

TEST_F(ICLinkedListTest, NewItem_PointsAtItself)
{
    EXPECT_TRUE(f_isAlone(mf_item(0)));
}

TEST_F(ICLinkedListTest, NewList_IsEmpty)
{
    EXPECT_EQ(1, m_list.mf_isEmpty());
    EXPECT_EQ(nullptr, m_list.mf_getFirst());
    EXPECT_EQ(nullptr, m_list.mf_getLast());
    EXPECT_TRUE(f_isAlone(m_list.m_root));
}

// Deliberate: either link of the root will do.
TEST_F(ICLinkedListTest, Empty_IsAListWithOneLinkAtItsRoot)
{
    mf_fill(1);
    EXPECT_EQ(0, m_list.mf_isEmpty());
    m_list.m_root.m_pNext = &m_list.m_root;
    EXPECT_EQ(1, m_list.mf_isEmpty());
    m_list.m_root.m_pNext = &mf_item(0);
    m_list.m_root.m_pPrevious = &m_list.m_root;
    EXPECT_EQ(1, m_list.mf_isEmpty());
}

TEST_F(ICLinkedListTest, InsertTail_KeepsTheOrderAndInsertHeadTurnsItRound)
{
    mf_fill(2);
    m_list.mf_insertHead(mf_item(2));
    m_list.mf_insertHead(mf_item(3));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(3, 2, 0, 1));
    EXPECT_EQ(&mf_item(3), m_list.mf_getFirst());
    EXPECT_EQ(&mf_item(1), m_list.mf_getLast());
}

TEST_F(ICLinkedListTest, Neighbours_EndWithNull)
{
    mf_fill(2);
    EXPECT_EQ(&mf_item(1), m_list.mf_getNext(mf_item(0)));
    EXPECT_EQ(nullptr, m_list.mf_getNext(mf_item(1)));
    EXPECT_EQ(&mf_item(0), m_list.mf_getPrevious(mf_item(1)));
    EXPECT_EQ(nullptr, m_list.mf_getPrevious(mf_item(0)));
}

TEST_F(ICLinkedListTest, End_LeavesTheItemsAsTheyAre)
{
    {
        ICLinkedList ending;
        ending.mf_insertTail(mf_item(0));
        ending.mf_insertTail(mf_item(1));
    }
    EXPECT_EQ(&mf_item(1), mf_item(0).m_pNext);
    EXPECT_EQ(&mf_item(0), mf_item(1).m_pPrevious);
}

TEST_F(ICLinkedListTest, RemoveItem_AnswersItAndJoinsItsNeighbours)
{
    mf_fill(3);
    EXPECT_EQ(&mf_item(1), m_list.mf_removeItem(mf_item(1)));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 2));
    EXPECT_TRUE(f_isAlone(mf_item(1)));
}

TEST_F(ICLinkedListTest, RemoveItem_Twice_AnswersItTwice)
{
    mf_fill(2);
    EXPECT_EQ(&mf_item(0), m_list.mf_removeItem(mf_item(0)));
    EXPECT_EQ(&mf_item(0), m_list.mf_removeItem(mf_item(0)));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(1));
    EXPECT_TRUE(f_isAlone(mf_item(0)));
}

TEST_F(ICLinkedListTest, RemoveItem_NeverInserted_StaysAsItIs)
{
    EXPECT_EQ(&mf_item(0), m_list.mf_removeItem(mf_item(0)));
    EXPECT_TRUE(f_isAlone(mf_item(0)));
    EXPECT_EQ(1, m_list.mf_isEmpty());
}

TEST_F(ICLinkedListTest, RemoveItem_OfAnotherList_LeavesThatList)
{
    mf_fill(3);
    ICLinkedList other;
    EXPECT_EQ(&mf_item(1), other.mf_removeItem(mf_item(1)));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 2));
    EXPECT_EQ(1, other.mf_isEmpty());
}

TEST_F(ICLinkedListTest, RemoveHeadAndTail_TakeTheEnds)
{
    mf_fill(3);
    EXPECT_EQ(&mf_item(0), m_list.mf_removeHead());
    EXPECT_EQ(&mf_item(2), m_list.mf_removeTail());
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(1));
    EXPECT_TRUE(f_isAlone(mf_item(0)) && f_isAlone(mf_item(2)));
    EXPECT_EQ(&mf_item(1), m_list.mf_removeTail());
    EXPECT_TRUE(f_isAlone(m_list.m_root));
}

TEST_F(ICLinkedListTest, ReplaceItem_TakesLinksAndPlace)
{
    mf_fill(3);
    EXPECT_EQ(&mf_item(1), m_list.mf_replaceItem(mf_item(1), mf_item(4)));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 4, 2));
    EXPECT_TRUE(f_isAlone(mf_item(1)));
}

TEST_F(ICLinkedListTest, ReplaceItem_TheOnlyOne_IsHeadAndTail)
{
    mf_fill(1);
    m_list.mf_replaceItem(mf_item(0), mf_item(1));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(1));
}

// Deliberate: where mf_removeItem would refuse, this goes on.
TEST_F(ICLinkedListTest, ReplaceItem_WithABrokenNeighbour_IsNotChecked)
{
    mf_fill(3);
    mf_item(2).m_pPrevious = &mf_item(4);
    EXPECT_EQ(&mf_item(1), m_list.mf_replaceItem(mf_item(1), mf_item(3)));
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 3, 2));
}

TEST_F(ICLinkedListTest, RemoveItems_CountOneOrMinusOne_TakesOnlyTheItem)
{
    for (long const asked : {1L, -1L}) {
        mf_fill(3);
        long count = asked;
        EXPECT_THAT(mf_take(1, count, 1), ElementsAre(1));
        EXPECT_EQ(asked, count);
        EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 2));
        m_list.mf_clearList(0);
    }
}

// Deliberate: three items from there to the tail, five asked for, four reported.
TEST_F(ICLinkedListTest, RemoveItems_MoreThanThereAre_ReportsOneTooMany)
{
    mf_fill(4);
    long count = 5;
    EXPECT_THAT(mf_take(1, count, 3), ElementsAre(1, 2, 3));
    EXPECT_EQ(4, count);
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0));
}

// Each item of lists of each length, with each count, against the plain rule.
TEST_F(ICLinkedListTest, RemoveItems_EachCountAtEachItem_TakesTheRunInListOrder)
{
    constexpr int LIMIT = COUNT + 3;
    for (int size = 1; size <= COUNT; ++size)
        for (int item = 0; item < size; ++item)
            for (int number = 1; number <= LIMIT; ++number) {
                mf_expectRun(size, item, number);
                mf_expectRun(size, item, -number);
            }
}

TEST_F(ICLinkedListTest, RemoveItems_TheGreatestCounts_TakeAllThatIsThere)
{
    mf_fill(4);
    long count = LONG_MAX;
    EXPECT_THAT(mf_take(2, count, 2), ElementsAre(2, 3));
    EXPECT_EQ(3, count);
    count = LONG_MIN;
    EXPECT_THAT(mf_take(1, count, 2), ElementsAre(0, 1));
    EXPECT_EQ(-3, count);
    EXPECT_TRUE(f_isAlone(m_list.m_root));
}

TEST_F(ICLinkedListTest, ClearList_WithoutDeleting_LeavesTheItemsAlone)
{
    mf_fill(2);
    m_list.mf_clearList(0);
    EXPECT_TRUE(f_isAlone(m_list.m_root));
    EXPECT_EQ(&mf_item(1), mf_item(0).m_pNext);
    EXPECT_EQ(&mf_item(0), mf_item(1).m_pPrevious);
}

TEST_F(ICLinkedListTest, ClearList_Deleting_EndsEachItemFromTheHeadOn)
{
    NUMBERS ended;
    for (int number = 0; number < 4; ++number)
        m_list.mf_insertTail(*new ICMortalItem(number, ended));
    m_list.mf_clearList(1);
    EXPECT_THAT(ended, ElementsAre(0, 1, 2, 3));
    EXPECT_TRUE(f_isAlone(m_list.m_root));
    m_list.mf_clearList(1);
    EXPECT_EQ(4u, ended.size()) << "there was nothing to delete";
}

// An item that is read behind its end ends the child.
IC_CHILD(clear_guarded)
{
    f_installPageGuardHeap();
    NUMBERS ended;
    ICLinkedList list;
    for (int number = 0; number < 100; ++number)
        list.mf_insertTail(*new ICMortalItem(number, ended));
    list.mf_clearList(1);
    return list.mf_isEmpty() ? static_cast<int>(ended.size()) : 0;
}

TEST_F(ICLinkedListTest, ClearList_UnderTheGuardedHeap_ReadsNoItemBehindItsEnd)
{
    ICChildProcess child("clear_guarded");
    EXPECT_EQ(100u, child.mf_getExitCode()) << child.mf_getErrors();
}

TEST_F(ICLinkedListTest, MoveRoot_HandsOverTheItemsUntouched)
{
    mf_fill(3);
    ICLinkedList target;
    ICLinkedList::mf_moveRoot(m_list, target);
    EXPECT_THAT(f_numbersOf(target), ElementsAre(0, 1, 2));
    EXPECT_TRUE(f_isAlone(m_list.m_root));
    ICLinkedList::mf_moveRoot(target, m_list);
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 1, 2));
    EXPECT_TRUE(f_isAlone(target.m_root));
}

TEST_F(ICLinkedListTest, MoveRoot_FromAnEmptyList_DoesNothing)
{
    ICLinkedList target;
    ICLinkedList::mf_moveRoot(m_list, target);
    ICLinkedList::mf_moveRoot(m_list, m_list);
    EXPECT_TRUE(f_isAlone(m_list.m_root) && f_isAlone(target.m_root));
}

// Deliberate: the items go on pointing at the source's root.
TEST_F(ICLinkedListTest, Copy_HasHeadAndTailOfItsSource)
{
    mf_fill(3);
    ICLinkedList copy(m_list);
    EXPECT_EQ(&mf_item(0), copy.mf_getFirst());
    EXPECT_EQ(&mf_item(2), copy.mf_getLast());
    EXPECT_EQ(&m_list.m_root, copy.mf_getNext(mf_item(2))) << "not the copy's root, so not the end";
    EXPECT_EQ(nullptr, m_list.mf_getNext(mf_item(2)));

    ICLinkedList assigned;
    assigned.mf_insertTail(mf_item(4));
    assigned = m_list;
    EXPECT_EQ(&mf_item(0), assigned.mf_getFirst());
    EXPECT_EQ(&mf_item(2), assigned.mf_getLast());
    EXPECT_THAT(f_numbersOf(m_list), ElementsAre(0, 1, 2));
}

// Deliberate: the copy's links point at the root of its source, which isn't its own.
TEST_F(ICLinkedListTest, CopyOfAnEmptyList_IsNotEmpty)
{
    ICLinkedList const copy(m_list);
    EXPECT_EQ(0, copy.mf_isEmpty());
    EXPECT_EQ(&m_list.m_root, copy.m_root.m_pNext);
    EXPECT_EQ(&m_list.m_root, copy.m_root.m_pPrevious);
}

// Deliberate: copying an item copies its links.
TEST_F(ICLinkedListTest, CopyOfAnItem_HasItsLinks)
{
    mf_fill(3);
    ICLinkedListItem const copy(mf_item(1));
    EXPECT_EQ(&mf_item(2), copy.m_pNext);
    EXPECT_EQ(&mf_item(0), copy.m_pPrevious);

    ICLinkedListItem assigned;
    assigned = mf_item(3);
    EXPECT_EQ(&mf_item(3), assigned.m_pNext) << "the source, which stands in no list";
    EXPECT_EQ(&mf_item(3), assigned.m_pPrevious);
}
