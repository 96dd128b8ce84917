#include <catch2/catch.hpp>

#include <boost/intrusive/list.hpp>

#include <algorithm>
#include <array>
#include <numeric>
#include <random>

#include "bench/InTurn.h"
#include "hsmbase/containers/ICLinkedList.h"

namespace
{

constexpr std::size_t ITEMS = 500; // with their list in the nearest cache
constexpr int REPETITIONS = 100;
constexpr int ROUNDS = 300;

class OUR_LIST
{
public:
    struct ITEM : ICLinkedListItem
    {
        long long m_payload = 0;
    };

    void mf_clear() { m_list.mf_clearList(0); }
    void mf_insert(ITEM & item) { m_list.mf_insertTail(item); }
    void mf_remove(ITEM & item) { m_list.mf_removeItem(item); }

private:
    ICLinkedList m_list;
};

template<boost::intrusive::link_mode_type MODE>
class PEER_LIST
{
    using HOOK = boost::intrusive::list_base_hook<boost::intrusive::link_mode<MODE>>;

public:
    struct ITEM : HOOK
    {
        virtual ~ITEM() = default; // as ours, for the same size
        long long m_payload = 0;
    };

    void mf_clear() { m_list.clear(); }
    void mf_insert(ITEM & item) { m_list.push_back(item); }
    void mf_remove(ITEM & item) { m_list.erase(m_list.s_iterator_to(item)); }

private:
    boost::intrusive::list<ITEM, boost::intrusive::constant_time_size<false>> m_list;
};

using NORMAL_LINK = PEER_LIST<boost::intrusive::normal_link>;
using SAFE_LINK = PEER_LIST<boost::intrusive::safe_link>;

static_assert(sizeof(OUR_LIST::ITEM) == sizeof(NORMAL_LINK::ITEM) && sizeof(OUR_LIST::ITEM) == sizeof(SAFE_LINK::ITEM));

// Items are removed in another order than they stand in, the same for every list.
std::array<std::size_t, ITEMS> f_shuffled()
{
    std::array<std::size_t, ITEMS> order{};
    std::iota(order.begin(), order.end(), 0u);
    std::shuffle(order.begin(), order.end(), std::mt19937(20240131));
    return order;
}

template<class LIST>
class FILLED_LIST
{
public:
    // The time of one operation.
    NANOSECONDS mf_timeInsertion()
    {
        return mf_timeOf([this] { m_list.mf_clear(); }, [this] { mf_insertAll(); });
    }

    NANOSECONDS mf_timeRemoval()
    {
        m_list.mf_clear();
        return mf_timeOf([this] { mf_insertAll(); }, [this] { mf_removeAll(); });
    }

private:
    // One pass is too short for the clock, but many together aren't.
    template<class PREPARE, class WORK>
    static NANOSECONDS mf_timeOf(PREPARE prepare, WORK work)
    {
        NANOSECONDS total{};
        for (int repetition = 0; repetition < REPETITIONS; ++repetition) {
            prepare();
            total += f_timeOf(work);
        }
        return total / (ITEMS * REPETITIONS);
    }

    void mf_insertAll()
    {
        for (auto & item : m_items)
            m_list.mf_insert(item);
    }

    void mf_removeAll()
    {
        for (std::size_t const index : m_order)
            m_list.mf_remove(m_items[index]);
    }

    std::array<std::size_t, ITEMS> const m_order = f_shuffled();
    std::array<typename LIST::ITEM, ITEMS> m_items;
    LIST m_list;
};

template<class PEER>
void f_measureInsertion()
{
    FILLED_LIST<OUR_LIST> ours;
    FILLED_LIST<PEER> peer;
    f_sampleInTurn(
        ROUNDS, [&] { return ours.mf_timeInsertion(); }, [&] { return peer.mf_timeInsertion(); });
}

template<class PEER>
void f_measureRemoval()
{
    FILLED_LIST<OUR_LIST> ours;
    FILLED_LIST<PEER> peer;
    f_sampleInTurn(
        ROUNDS, [&] { return ours.mf_timeRemoval(); }, [&] { return peer.mf_timeRemoval(); });
}

} // namespace

TEST_CASE("list insert, peer with normal_link", "[containers][goal:1.3]")
{
    f_measureInsertion<NORMAL_LINK>();
}

TEST_CASE("list insert, peer with safe_link", "[containers][goal:1.3]")
{
    f_measureInsertion<SAFE_LINK>();
}

TEST_CASE("list checked remove, peer with safe_link", "[containers][goal:1.3]")
{
    f_measureRemoval<SAFE_LINK>();
}

TEST_CASE("list checked remove, peer with normal_link", "[containers][goal:1.3]")
{
    f_measureRemoval<NORMAL_LINK>();
}
