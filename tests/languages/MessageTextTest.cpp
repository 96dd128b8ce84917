#include <gmock/gmock.h>

#include "tests/languages/MessageText.h"

using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

namespace
{

struct BAD_TEXT
{
    wchar_t const * text;
    wchar_t const * fault;
};

} // namespace

TEST(MessageText, Inserts_AreFoundWithTheirFormats)
{
    MessageText const text(L"%1, error code %2!lu!: %3 (%12!8.8lx!) %%");

    EXPECT_THAT(text.mf_getFaults(), IsEmpty());
    EXPECT_THAT(text.mf_getInserts(),
                UnorderedElementsAre(Pair(1, L"s"), Pair(2, L"lu"), Pair(3, L"s"), Pair(12, L"8.8lx")));
}

TEST(MessageText, Kinds_FollowTheConversionNotTheWidth)
{
    using KIND = MessageText::KIND;
    MessageText const text(L"%1 %2!-3lu! %3!08lX! %4!ld! %5!c! %6!20s!");

    EXPECT_THAT(text.mf_getKinds(),
                UnorderedElementsAre(Pair(1, KIND::TEXT), Pair(2, KIND::UNSIGNED), Pair(3, KIND::UNSIGNED),
                                     Pair(4, KIND::SIGNED), Pair(5, KIND::CHARACTER), Pair(6, KIND::TEXT)));
}

TEST(MessageText, BadTexts_EachGivesItsFault)
{
    std::wstring const longText(MessageText::MAX_LENGTH + 1, L'x');
    BAD_TEXT const badTexts[] = {
        {L"", L"empty text"},
        {longText.c_str(), L"text too long"},
        {L"100%", L"bare percent sign at 3"},
        {L"100% of %1", L"bare percent sign at 3"},
        {L"%0", L"bare percent sign at 0"},
        {L"%%%", L"bare percent sign at 2"},
        {L"line%nline", L"bare percent sign at 4"},
        {L"see %1! It is %2!lu!", L"unknown format ' It is %2'"},
        {L"see %1!lu", L"format without end at 6"},
        {L"%1!d!", L"unknown format 'd'"},
        {L"%1!*lu!", L"unknown format '*lu'"},
        {L"%1!!", L"unknown format ''"},
        {L"%1!lu! and %1", L"two formats for one insert"},
        {L"one\ntwo", L"control character"},
        {L"one\ttwo", L"control character"},
        {L"one\r\r\ntwo", L"control character"},
        {L"Gr\x00C3\x0084nze", L"control character"},
        {L"Gr\xFFFDnze", L"control character"},
    };
    for (BAD_TEXT const & bad : badTexts) {
        SCOPED_TRACE(bad.fault);
        EXPECT_THAT(MessageText(bad.text).mf_getFaults(), testing::Contains(std::wstring(bad.fault)));
    }
}

TEST(MessageText, GoodTexts_GiveNoFault)
{
    std::wstring const longest(MessageText::MAX_LENGTH, L'x');
    for (wchar_t const * text : {L"OK", L"100 %%", L"a\r\nb", L"%1%2", L"Gr\x00FC\x00DFt", longest.c_str()}) {
        EXPECT_THAT(MessageText(text).mf_getFaults(), IsEmpty());
    }
}

TEST(MessageText, WhiteSpaceAtTheEnds_IsTold)
{
    MessageText const text(L"\r\n Label: ");

    EXPECT_EQ(text.mf_getLeading(), L"\r\n ");
    EXPECT_EQ(text.mf_getTrailing(), L" ");
    EXPECT_EQ(MessageText(L"Label:\xA0").mf_getTrailing(), L"\xA0");
    EXPECT_EQ(MessageText(L"Label").mf_getLeading(), L"");
    EXPECT_EQ(MessageText(L"Label").mf_getTrailing(), L"");
}

TEST(MessageText, Rendering_AgreesWithThePlatform)
{
    MessageText const text(L"%2!lu! %1 0x%3!8.8lx! %4!ld! 50%5!c! 100 %%\r\n%6!6s!|");

    EXPECT_EQ(text.mf_render(), L"902 <1> 0x00000387 -1004 50% 100 %\r\n   <6>|");
    EXPECT_EQ(text.mf_formatByPlatform(), text.mf_render());
}
