#include <gtest/gtest.h>

#include <type_traits>

#include "hsmbase/events/ICEVENT_ID.h"

TEST(ICEVENT_ID, IsOneNumberOf64Bits)
{
    EXPECT_EQ(8u, sizeof(ICEVENT_ID));
    EXPECT_TRUE(std::is_trivially_copyable_v<ICEVENT_ID>);
    EXPECT_EQ(0u, ICEVENT_ID().mf_getBits());
    EXPECT_EQ(0x8000000000000001u, ICEVENT_ID(0x8000000000000001).mf_getBits());
}

TEST(ICEVENT_ID, NumbersDontBecomeIdsByThemselves)
{
    EXPECT_FALSE((std::is_convertible_v<int, ICEVENT_ID>));
    EXPECT_FALSE((std::is_convertible_v<ICEVENT_ID, std::uint64_t>));
}

TEST(ICEVENT_ID, Operators_WorkOnAllBits)
{
    constexpr ICEVENT_ID left(0xF0000000000000FF);
    constexpr ICEVENT_ID right(0x8000000100000081);
    EXPECT_EQ(0xF0000001000000FFu, (left | right).mf_getBits());
    EXPECT_EQ(0x8000000000000081u, (left & right).mf_getBits());
    EXPECT_TRUE(left == ICEVENT_ID(0xF0000000000000FF));
    EXPECT_TRUE(left != right);
}

TEST(ICEVENT_ID, IsTrueWithAnyBit)
{
    EXPECT_FALSE(ICEVENT_ID());
    for (int bit = 0; bit < 64; ++bit)
        EXPECT_TRUE(ICEVENT_ID(std::uint64_t{1} << bit)) << bit;
}
