#include <gtest/gtest.h>

#include "hsmbase/failure/ICSortOrder.h"
#include "tests/support/Thrown.h"

TEST(ICSortOrder, Default_IsNone)
{
    EXPECT_TRUE(ICSortOrder() == ICSortOrder::NONE);
    EXPECT_FALSE(ICSortOrder().mf_isSet());
}

TEST(ICSortOrder, Constants_HoldTheirStoredValues)
{
    EXPECT_EQ(0u, ICSortOrder::NONE.m_order);
    EXPECT_EQ(1u, ICSortOrder::ASCENDING.m_order);
    EXPECT_EQ(2u, ICSortOrder::DESCENDING.m_order);
    EXPECT_EQ(4u, sizeof(ICSortOrder));
}

TEST(ICSortOrder, Direction_IsAscendingOrDescending)
{
    EXPECT_TRUE(ICSortOrder::ASCENDING.mf_isAscending());
    EXPECT_FALSE(ICSortOrder::ASCENDING.mf_isDescending());
    EXPECT_TRUE(ICSortOrder::ASCENDING.mf_isSet());
    EXPECT_FALSE(ICSortOrder::DESCENDING.mf_isAscending());
    EXPECT_TRUE(ICSortOrder::DESCENDING.mf_isDescending());
    EXPECT_TRUE(ICSortOrder::DESCENDING.mf_isSet());
    EXPECT_FALSE(ICSortOrder::ASCENDING == ICSortOrder::DESCENDING);
}

TEST(ICSortOrder, Toggle_TurnsRoundAndAnswersItself)
{
    ICSortOrder order = ICSortOrder::ASCENDING;

    EXPECT_EQ(&order, &order.mf_toggle());
    EXPECT_TRUE(order.mf_isDescending());
    order.mf_toggle();
    EXPECT_TRUE(order.mf_isAscending());
}

TEST(ICSortOrder, Toggle_None_Fails)
{
    ICSortOrder order = ICSortOrder::NONE;

    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [&] { order.mf_toggle(); }));
    EXPECT_TRUE(order == ICSortOrder::NONE);
}

TEST(ICSortOrder, ToString_NamesTheOrder)
{
    EXPECT_STREQ(L"none", ICSortOrder::NONE.mf_toString());
    EXPECT_STREQ(L"ascending", ICSortOrder::ASCENDING.mf_toString());
    EXPECT_STREQ(L"descending", ICSortOrder::DESCENDING.mf_toString());
}

TEST(ICSortOrder, OverwrittenField_IsNoOrder)
{
    ICSortOrder order;
    order.m_order = 3;

    EXPECT_STREQ(L"<unexpected>", order.mf_toString());
    EXPECT_FALSE(order.mf_isSet());
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [&] { order.mf_toggle(); }));
}
