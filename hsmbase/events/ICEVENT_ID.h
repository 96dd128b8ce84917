#pragma once

#include <cstdint>

#include "hsmbase/Export.h"

// What kind of event something is: one bit of 64 for a kind, several for a mask. Passed by value.
//
//     ICEVENT_ID const interest = ICEvent::RECALL_START | ICEvent::RECALL_PROCESSED;
//     if (interest & event.mf_getId()) ...
//
// The kinds stand in ICEvent.
//
// Threads: a plain value; the constants are read-only and usable before any code has run.
class HSMBASE_EXPORT ICEVENT_ID
{
public:
    // No kind: nobody is interested in such an event, and such a mask in none.
    constexpr ICEVENT_ID() = default;
    constexpr explicit ICEVENT_ID(std::uint64_t bits) : m_bits(bits) {}

    constexpr std::uint64_t mf_getBits() const { return m_bits; }

    constexpr ICEVENT_ID operator|(ICEVENT_ID other) const { return ICEVENT_ID(m_bits | other.m_bits); }
    constexpr ICEVENT_ID operator&(ICEVENT_ID other) const { return ICEVENT_ID(m_bits & other.m_bits); }
    constexpr bool operator==(ICEVENT_ID const &) const = default;

    // Whether any bit is set.
    constexpr explicit operator bool() const { return m_bits != 0; }

private:
    std::uint64_t m_bits = 0;
};
