// The list against a plain model: random sequences of all operations, those that must fail included, and a look at every
// link after each of them.
#include "tests/containers/ContainersTest.h"
#include "tests/support/PageGuardHeap.h"
#include "tests/support/Thrown.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <memory>
#include <random>
#include <sstream>

using testing::Each;
using testing::Gt;

namespace
{

constexpr int SEQUENCES = 1'000'000;
constexpr unsigned int LONGEST = 6;
constexpr unsigned int ITEMS = 6;
constexpr unsigned int LISTS = 2;
constexpr std::size_t ROOT_LINKS = 2 * std::size_t{LISTS};

class ICListModel
{
public:
    enum KIND
    {
        INSERT_HEAD,
        INSERT_TAIL,
        REMOVE_ITEM,
        REMOVE_TWICE,
        REMOVE_HEAD,
        REMOVE_TAIL,
        REPLACE,
        REMOVE_RUN,
        MOVE_ROOT,
        CLEAR,
        CLEAR_DELETING,
        COPY,
        REFUSED_COUNT,
        REFUSED_MOVE,
        REFUSED_ROOT,
        REFUSED_NULL_LINK,
        REFUSED_NEIGHBOUR,
        KINDS
    };

    ICListModel()
    {
        m_ended.reserve(ITEMS);
        for (unsigned int item = 0; item < ITEMS; ++item)
            mf_renew(item);
    }

    // Whether all of a sequence came out as in the model.
    bool mf_run()
    {
        mf_reset();
        bool isRight = true;
        for (unsigned int step = mf_pick(LONGEST) + 1; isRight && step > 0; --step)
            isRight = mf_step() && mf_isRight();
        return isRight;
    }

    // How often each kind of step was taken.
    std::array<int, KINDS> const & mf_getTaken() const { return m_taken; }

    // The steps of the last sequence: kind, list, item or other list, count.
    std::string mf_describe() const
    {
        std::ostringstream text;
        for (STEP const & step : m_steps)
            text << ' ' << step[0] << '(' << step[1] << ", " << step[2] << ", " << step[3] << ')';
        return text.str();
    }

private:
    using STEP = std::array<int, 4>;
    using LINKS = std::array<ICLinkedListItem const *, ROOT_LINKS + 2 * std::size_t{ITEMS}>;
    static constexpr unsigned int ALONE = LISTS;

    struct SIDE
    {
        ICLinkedList m_list;
        NUMBERS m_expected;
    };

    unsigned int mf_pick(unsigned int count) { return m_random() % count; }
    SIDE & mf_pickSide() { return m_sides[mf_pick(LISTS)]; }
    ICMortalItem & mf_get(int number) { return *m_items[static_cast<unsigned int>(number)]; }
    unsigned int mf_homeOf(int number) const { return m_homes[static_cast<unsigned int>(number)]; }

    // An item that stands in a list, or one that doesn't; ITEMS for none.
    int mf_pickItem(bool isAlone)
    {
        unsigned int const start = mf_pick(ITEMS);
        for (unsigned int index = 0; index < ITEMS; ++index) {
            unsigned int const item = (start + index) % ITEMS;
            if ((m_homes[item] == ALONE) == isAlone) return static_cast<int>(item);
        }
        return ITEMS;
    }

    void mf_note(KIND kind, SIDE const & side, int item = 0, long count = 0)
    {
        ++m_taken[kind];
        m_steps.push_back({kind, static_cast<int>(&side - m_sides.data()), item, static_cast<int>(count)});
    }

    void mf_renew(unsigned int item)
    {
        m_items[item] = std::make_unique<ICMortalItem>(static_cast<int>(item), m_ended);
    }

    void mf_reset()
    {
        m_steps.clear();
        for (SIDE & side : m_sides) {
            f_letAlone(side.m_list.m_root);
            side.m_expected.clear();
        }
        for (unsigned int item = 0; item < ITEMS; ++item)
            mf_release(static_cast<int>(item));
    }

    // Out of the model's lists, and its links at itself.
    void mf_release(int item)
    {
        f_letAlone(mf_get(item));
        m_homes[static_cast<unsigned int>(item)] = ALONE;
    }

    void mf_expectIn(SIDE & side, NUMBERS::iterator place, int item)
    {
        side.m_expected.insert(place, item);
        m_homes[static_cast<unsigned int>(item)] = static_cast<unsigned int>(&side - m_sides.data());
    }

    void mf_expectAlone(int item)
    {
        unsigned int & home = m_homes[static_cast<unsigned int>(item)];
        if (home != ALONE) std::erase(m_sides[home].m_expected, item);
        home = ALONE;
    }

    LINKS mf_links() const
    {
        LINKS links;
        std::size_t count = 0;
        auto const add = [&](ICLinkedListItem const & item) {
            links[count++] = item.m_pNext;
            links[count++] = item.m_pPrevious;
        };
        for (SIDE const & side : m_sides)
            add(side.m_list.m_root);
        for (auto const & item : m_items)
            add(*item);
        return links;
    }

    bool mf_isRight()
    {
        bool isRight = std::all_of(m_sides.begin(), m_sides.end(), [this](SIDE & side) { return mf_isRight(side); });
        for (unsigned int item = 0; item < ITEMS; ++item)
            if (m_homes[item] == ALONE) isRight = isRight && f_isAlone(*m_items[item]);
        return isRight;
    }

    // Each link, and what the list says about its items.
    bool mf_isRight(SIDE & side)
    {
        ICLinkedList & list = side.m_list;
        ICLinkedListItem * before = &list.m_root;
        bool isRight = list.mf_isEmpty() == side.m_expected.empty();
        for (int const number : side.m_expected) {
            ICLinkedListItem & item = mf_get(number);
            bool const isFirst = before == &list.m_root;
            isRight = isRight && before->m_pNext == &item && item.m_pPrevious == before &&
                      (isFirst ? list.mf_getFirst() : list.mf_getNext(*before)) == &item &&
                      list.mf_getPrevious(item) == (isFirst ? nullptr : before);
            before = &item;
        }
        bool const isEmpty = before == &list.m_root;
        return isRight && before->m_pNext == &list.m_root && list.m_root.m_pPrevious == before &&
               list.mf_getLast() == (isEmpty ? nullptr : before) &&
               (isEmpty ? list.mf_getFirst() : list.mf_getNext(*before)) == nullptr;
    }

    // Whether the action throws the constant and leaves every link as it was.
    template<class ACTION>
    bool mf_refuses(ICErrnoValue const & constant, ACTION action)
    {
        LINKS const before = mf_links();
        return f_throws(constant, action) && mf_links() == before;
    }

    bool mf_step()
    {
        switch (mf_pick(25)) {
        case 0: return mf_clear();
        case 1: return mf_delete();
        case 2: return mf_refuseRoot();
        case 3: return mf_refuseDamaged();
        case 4: return mf_copy();
        case 5: return mf_move();
        case 6:
        case 7:
        case 8: return mf_remove();
        case 9:
        case 10: return mf_removeEnd(mf_pick(2) != 0);
        case 11: return mf_replace();
        case 12:
        case 13:
        case 14: return mf_removeRun();
        default: return mf_insert();
        }
    }

    bool mf_insert()
    {
        int const item = mf_pickItem(true);
        if (item == ITEMS) return true;
        SIDE & side = mf_pickSide();
        bool const isHead = mf_pick(2) != 0;
        mf_note(isHead ? INSERT_HEAD : INSERT_TAIL, side, item);
        isHead ? side.m_list.mf_insertHead(mf_get(item)) : side.m_list.mf_insertTail(mf_get(item));
        mf_expectIn(side, isHead ? side.m_expected.begin() : side.m_expected.end(), item);
        return true;
    }

    // Any item, through any of the lists: one of the other list, or of none.
    bool mf_remove()
    {
        int const item = static_cast<int>(mf_pick(ITEMS));
        SIDE & side = mf_pickSide();
        mf_note(mf_homeOf(item) == ALONE ? REMOVE_TWICE : REMOVE_ITEM, side, item);
        mf_expectAlone(item);
        return side.m_list.mf_removeItem(mf_get(item)) == &mf_get(item);
    }

    bool mf_removeEnd(bool isHead)
    {
        SIDE & side = mf_pickSide();
        mf_note(isHead ? REMOVE_HEAD : REMOVE_TAIL, side);
        ICLinkedListItem * const removed = isHead ? side.m_list.mf_removeHead() : side.m_list.mf_removeTail();
        if (side.m_expected.empty()) return removed == nullptr;
        int const item = isHead ? side.m_expected.front() : side.m_expected.back();
        mf_expectAlone(item);
        return removed == &mf_get(item);
    }

    bool mf_replace()
    {
        int const oldItem = mf_pickItem(false);
        int const newItem = mf_pickItem(true);
        if (oldItem == ITEMS || newItem == ITEMS) return true;
        SIDE & side = m_sides[mf_homeOf(oldItem)];
        mf_note(REPLACE, side, oldItem, newItem);
        NUMBERS & expected = side.m_expected;
        mf_expectIn(side, std::find(expected.begin(), expected.end(), oldItem), newItem);
        mf_expectAlone(oldItem);
        return mf_pickSide().m_list.mf_replaceItem(mf_get(oldItem), mf_get(newItem)) == &mf_get(oldItem);
    }

    // Each count from two too many toward the head to two too many toward the tail.
    bool mf_removeRun()
    {
        int const item = mf_pickItem(false);
        if (item == ITEMS) return true;
        SIDE & side = m_sides[mf_homeOf(item)];
        NUMBERS & expected = side.m_expected;
        long const limit = static_cast<long>(expected.size()) + 2;
        long const asked = static_cast<long>(mf_pick(static_cast<unsigned int>(2 * limit + 1))) - limit;
        mf_note(asked == 0 ? REFUSED_COUNT : REMOVE_RUN, side, item, asked);
        long count = asked;
        if (asked == 0)
            return mf_refuses(ICErrno::_E_::Parameter, [&] { side.m_list.mf_removeItems(mf_get(item), count); });

        auto const place = std::find(expected.begin(), expected.end(), item);
        auto const there = static_cast<long>(asked > 0 ? expected.end() - place : place - expected.begin() + 1);
        long const taken = std::min(std::labs(asked), there);
        long const reported = std::min(std::labs(asked), there + 1);
        auto const first = asked > 0 ? place : place - (taken - 1);
        NUMBERS const run(first, first + taken);
        bool const isRight = mf_isRun(side.m_list.mf_removeItems(mf_get(item), count), run);
        for (int const number : run) {
            mf_expectAlone(number);
            f_letAlone(mf_get(number));
        }
        return isRight && count == (asked > 0 ? reported : -reported);
    }

    // Whether these items are linked to each other, between the answer's links.
    bool mf_isRun(ICLinkedListItem const & answer, NUMBERS const & run)
    {
        bool isRight = answer.m_pNext == &mf_get(run.front()) && answer.m_pPrevious == &mf_get(run.back());
        for (std::size_t index = 1; index < run.size(); ++index)
            isRight = isRight && mf_get(run[index - 1]).m_pNext == &mf_get(run[index]) &&
                      mf_get(run[index]).m_pPrevious == &mf_get(run[index - 1]);
        return isRight;
    }

    // Also a list to itself, which only an empty one allows.
    bool mf_move()
    {
        SIDE & source = mf_pickSide();
        SIDE & target = mf_pickSide();
        bool const isAllowed = target.m_expected.empty();
        mf_note(isAllowed ? MOVE_ROOT : REFUSED_MOVE, source, static_cast<int>(&target - m_sides.data()));
        auto const move = [&] { ICLinkedList::mf_moveRoot(source.m_list, target.m_list); };
        if (!isAllowed) return mf_refuses(ICErrno::_E_::Parameter, move);
        move();
        NUMBERS const moved = source.m_expected;
        for (int const item : moved) {
            mf_expectAlone(item);
            mf_expectIn(target, target.m_expected.end(), item);
        }
        return true;
    }

    // The items keep their links.
    bool mf_clear()
    {
        SIDE & side = mf_pickSide();
        mf_note(CLEAR, side);
        LINKS const before = mf_links();
        side.m_list.mf_clearList(0);
        LINKS const after = mf_links();
        bool const isRight = std::equal(before.begin() + ROOT_LINKS, before.end(), after.begin() + ROOT_LINKS);
        for (int const item : std::exchange(side.m_expected, {}))
            mf_release(item);
        return isRight;
    }

    bool mf_delete()
    {
        SIDE & side = mf_pickSide();
        mf_note(CLEAR_DELETING, side);
        NUMBERS const items = std::exchange(side.m_expected, {});
        for (int const item : items)
            static_cast<void>(m_items[static_cast<unsigned int>(item)].release());
        m_ended.clear();
        side.m_list.mf_clearList(1);
        for (int const item : items) {
            mf_renew(static_cast<unsigned int>(item));
            mf_release(item);
        }
        return m_ended == items;
    }

    bool mf_copy()
    {
        SIDE & side = mf_pickSide();
        mf_note(COPY, side);
        ICLinkedListItem const & root = side.m_list.m_root;
        ICLinkedList const copy(side.m_list);
        ICLinkedList assigned;
        assigned = side.m_list;
        return copy.m_root.m_pNext == root.m_pNext && copy.m_root.m_pPrevious == root.m_pPrevious &&
               assigned.m_root.m_pNext == root.m_pNext && assigned.m_root.m_pPrevious == root.m_pPrevious;
    }

    bool mf_refuseRoot()
    {
        SIDE & side = mf_pickSide();
        mf_note(REFUSED_ROOT, side);
        ICLinkedList & list = side.m_list;
        switch (mf_pick(3)) {
        case 0: return mf_refuses(ICErrno::_E_::Range, [&] { list.mf_removeItem(list.m_root); });
        case 1: return mf_refuses(ICErrno::_E_::Range, [&] { list.mf_replaceItem(list.m_root, mf_get(0)); });
        default:
            long count = static_cast<long>(mf_pick(5)) + 1;
            return mf_refuses(ICErrno::_E_::Range, [&] { list.mf_removeItems(list.m_root, count); });
        }
    }

    // One link of an item, or one that should lead to it, is at a wrong place.
    bool mf_refuseDamaged()
    {
        int const number = mf_pickItem(false);
        if (number == ITEMS) return true;
        ICLinkedListItem & item = mf_get(number);
        bool const isOwn = mf_pick(2) != 0;
        bool const isNext = mf_pick(2) != 0;
        mf_note(isOwn ? REFUSED_NULL_LINK : REFUSED_NEIGHBOUR, m_sides[mf_homeOf(number)], number, isNext);
        ICLinkedListItem *& own = isNext ? item.m_pNext : item.m_pPrevious;
        ICLinkedListItem *& neighbours = isNext ? item.m_pPrevious->m_pNext : item.m_pNext->m_pPrevious;
        ICLinkedListItem *& link = isOwn ? own : neighbours;
        ICLinkedListItem * const wrong = isOwn || mf_pick(2) ? nullptr : &mf_get((number + 1) % int{ITEMS});
        ICLinkedListItem * const right = std::exchange(link, wrong);
        bool const isRefused = mf_refuses(isOwn ? ICErrno::_E_::DataCorrupted : ICErrno::_E_::ItemNotFound,
                                          [&] { mf_pickSide().m_list.mf_removeItem(item); });
        link = right;
        return isRefused;
    }

    std::mt19937 m_random{20240131}; // the same sequences in every run
    std::array<SIDE, LISTS> m_sides;
    NUMBERS m_ended; // the items that mf_clearList has ended
    std::array<std::unique_ptr<ICMortalItem>, ITEMS> m_items;
    std::array<unsigned int, ITEMS> m_homes{}; // in which list it stands, or ALONE
    std::vector<STEP> m_steps;
    std::array<int, KINDS> m_taken{};
};

} // namespace

TEST(ICLinkedListRandom, AMillionSequences_KeepEveryLink)
{
    // Under the page-guard heap every item that is deleted takes its time.
    int const sequences = f_isPageGuardHeapInstalled() ? SEQUENCES / 10 : SEQUENCES;
    ICListModel model;
    for (int sequence = 0; sequence < sequences; ++sequence)
        ASSERT_TRUE(model.mf_run()) << "sequence " << sequence << ':' << model.mf_describe();
    EXPECT_THAT(model.mf_getTaken(), Each(Gt(sequences / 100))) << "each kind of step, and often";
}
