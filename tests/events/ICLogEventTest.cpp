#include <gtest/gtest.h>

#include <type_traits>

#include "hsmbase/events/ICLogEvent.h"
#include "hsmbase/logging/ICLogData.h"
#include "tests/events/EventsTest.h"
#include "tests/support/ICStartedProcess.h"

TEST(ICSeverityEvent, LeavesTheSeverityToThoseWhoDerive)
{
    EXPECT_TRUE(std::is_abstract_v<ICSeverityEvent>);
    EXPECT_TRUE((std::is_base_of_v<IFSeverity, ICSeverityEvent> && std::is_base_of_v<ICEvent, ICSeverityEvent>));
}

TEST(ICSeverityEvent, HasItsSeverityInFront)
{
    ICLogEvent const event(nullptr, ICLogData::LEVEL_E, L"");
    EXPECT_EQ(static_cast<void const *>(&event), static_cast<IFSeverity const *>(&event));
    EXPECT_LT(static_cast<void const *>(&event), static_cast<ICEvent const *>(&event));
}

TEST(ICLogEvent, IsAlwaysOfTheKindOfTheLog)
{
    ICLogEvent const event(nullptr, ICLogData::LEVEL_W, L"line");
    EXPECT_EQ(ICEvent::MISC_LOG, event.mf_getId());
    EXPECT_EQ(nullptr, event.mf_getBroadcaster());
    EXPECT_STREQ(L"line", event.mf_getMessage());
}

TEST(ICLogEvent, Level_IsReferredToAndNotCopied)
{
    ICLogEvent const event(nullptr, ICLogData::LEVEL_W, L"");
    ICLogEvent const copy = f_copyOf(event);
    EXPECT_EQ(&ICLogData::LEVEL_W, &event.mf_getLogLevel());
    EXPECT_EQ(&ICLogData::LEVEL_W, &copy.mf_getLogLevel());
}

TEST(ICLogEvent, Severities_AreTheAnswersOfTheLevel)
{
    for (ICLogData const * level : {&ICLogData::LEVEL_I, &ICLogData::LEVEL_W, &ICLogData::LEVEL_E, &ICLogData::LEVEL_S,
                                    &ICLogData::LEVEL_T, &ICLogData::LEVEL_DEFAULT}) {
        SCOPED_TRACE(level->mf_getLogLevel());
        ICLogEvent const event(nullptr, *level, L"");
        EXPECT_EQ(level->mf_isInfo(), event.mf_isInfo());
        EXPECT_EQ(level->mf_isWarning(), event.mf_isWarning());
        EXPECT_EQ(level->mf_isError(), event.mf_isError());
        EXPECT_EQ(level->mf_isSevere(), event.mf_isSevere());
    }
}

TEST(ICLogEvent, SeverityOperations_ApplyToIt)
{
    ICLogEvent const event(nullptr, ICLogData::LEVEL_E, L"");
    EXPECT_EQ(L'E', event.mf_getSeverityChar());
    EXPECT_TRUE(event.mf_isRed());
    EXPECT_TRUE(event.mf_isHigherSeverity(ICLogEvent(nullptr, ICLogData::LEVEL_S, L"")));
    EXPECT_TRUE(ICLogEvent::mf_isError(L'E'));
    EXPECT_STREQ(L"<resource-id=3498 not loaded>", IFSeverity::mf_toString(event));
}

TEST(ICLogEvent, ToString_WithoutPrefix_AddsTheLevel)
{
    ICStartedProcess const process;
    ICLogEvent const event(nullptr, ICLogData::LEVEL_E, L"line");
    EXPECT_STREQ(L"Event: MISC_LOG, id: 0x0000020000000000, message: line log-level=0x00000001 (E)",
                 event.mf_toString(L""));
}

// Deliberate: only the line without prefix carries the level.
TEST(ICLogEvent, ToString_WithPrefix_AddsNothing)
{
    ICStartedProcess const process;
    ICLogEvent const event(nullptr, ICLogData::LEVEL_E, L"line");
    EXPECT_STREQ(L"    Event: MISC_LOG, id: 0x0000020000000000, message: line", event.mf_toString(L"    "));
}
