#pragma once

#include "hsmbase/Types.h"

// A sort direction: none, ascending or descending.
//
//     ICSortOrder order = ICSortOrder::ASCENDING;
//     if (sameColumnClicked) order.mf_toggle();
//
// Threads: a plain value; the constants are read-only and usable before any code has run.
class HSMBASE_EXPORT ICSortOrder
{
public:
    static ICSortOrder const NONE;
    static ICSortOrder const ASCENDING;
    static ICSortOrder const DESCENDING;

    // None.
    constexpr ICSortOrder() = default;
    constexpr ICSortOrder(ICSortOrder const &) = default;
    ICSortOrder & operator=(ICSortOrder const &) = default;

    int operator==(ICSortOrder const & other) const;

    int mf_isAscending() const;
    int mf_isDescending() const;

    // Whether there is a direction.
    int mf_isSet() const;

    // Turns the direction round. With none there is nothing to turn: throws _E_::Initialization, without a trace line.
    ICSortOrder const & mf_toggle();

    // "none", "ascending" or "descending".
    CString mf_toString() const;

private:
    enum ORDER : ulong
    {
        ORDER_NONE = 0,
        ORDER_ASCENDING = 1,
        ORDER_DESCENDING = 2
    };

    constexpr explicit ICSortOrder(ORDER order) : m_order(order) {}

    ulong m_order = ORDER_NONE;
};
