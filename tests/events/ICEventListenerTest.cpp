#include <gtest/gtest.h>

#include "tests/events/EventsTest.h"

namespace
{
constexpr ICEVENT_ID ALL(0xFFFFFFFFFFFFFFFF);
}

TEST(ICEventListener, Default_WantsAllEvents)
{
    ICTestListener const listener(L"");
    EXPECT_EQ(ALL, listener.mf_getEventMask());
    for (int bit = 0; bit < 64; ++bit)
        EXPECT_TRUE(listener.mf_isListener(ICEVENT_ID(std::uint64_t{1} << bit))) << bit;
}

TEST(ICEventListener, Mask_IsSetAndAddedTo)
{
    ICTestListener listener(L"", ICEvent::MISC_SID);
    EXPECT_EQ(ICEvent::MISC_SID, listener.mf_getEventMask());
    listener.mf_addEventMask(ICEvent::MISC_LOG | ICEvent::MISC_SID);
    EXPECT_EQ(ICEvent::MISC_LOG | ICEvent::MISC_SID, listener.mf_getEventMask());
    listener.mf_setEventMask(ICEvent::SOURCE_FILE);
    EXPECT_EQ(ICEvent::SOURCE_FILE, listener.mf_getEventMask());
}

TEST(ICEventListener, IsListener_OfAnyCommonBit)
{
    ICTestListener const listener(L"", ICEvent::MISC_SID | ICEvent::CONTROLLER_QUERY);
    EXPECT_EQ(1, listener.mf_isListener(ICEvent::MISC_SID));
    EXPECT_EQ(1, listener.mf_isListener(ICEvent::MISC_SID | ICEvent::MISC_LOG));
    EXPECT_EQ(1, listener.mf_isListener(ICEvent::CONTROLLER_QUERY));
    EXPECT_EQ(0, listener.mf_isListener(ICEvent::MISC_LOG));
    EXPECT_EQ(0, listener.mf_isListener(ICEVENT_ID()));
}

TEST(ICEventListener, Copies_TakeTheMask)
{
    ICTestListener const listener(L"", ICEvent::MISC_SID);
    ICTestListener const copy = f_copyOf(listener);
    EXPECT_EQ(ICEvent::MISC_SID, copy.mf_getEventMask());
    ICTestListener assigned(L"");
    assigned = listener;
    EXPECT_EQ(ICEvent::MISC_SID, assigned.mf_getEventMask());
}

TEST(ICEventListener, Comparison_IsThatOfTheObjects)
{
    ICTestListener const listener(L"");
    ICTestListener const copy = f_copyOf(listener);
    EXPECT_TRUE(listener == listener);
    EXPECT_FALSE(listener != listener);
    EXPECT_FALSE(listener == copy);
    EXPECT_TRUE(listener != copy);
}

TEST(ICEventListener, MasksOfManyThreads_AddUp)
{
    ICTestListener listener(L"", ICEVENT_ID());
    f_onManyThreads<8>([&](int first) {
        for (int bit = first; bit < 64; bit += 8)
            listener.mf_addEventMask(ICEVENT_ID(std::uint64_t{1} << bit));
    });
    EXPECT_EQ(ALL, listener.mf_getEventMask());
}
