#include <gtest/gtest.h>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/failure/ICSeverity.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{

// The five kinds of receivers and others: information, warning, error, severe, none.
ICErrnoNumber const sNumbers[] = {ICErrnoNumber(0x01000001), ICErrnoNumber(0x02000001), ICErrnoNumber(0x03000001),
                                  ICErrnoNumber(0x04000001), ICErrnoNumber(0x05000001)};
constexpr wchar_t LETTERS[] = L"IWES?";

} // namespace

TEST(IFSeverity, SeverityChar_IsThatOfTheTable)
{
    for (int at = 0; at < 5; ++at)
        EXPECT_EQ(LETTERS[at], sNumbers[at].mf_getSeverityChar());
}

TEST(IFSeverity, CombinedSeverities_AnswerTheLowestFirst)
{
    EXPECT_EQ(L'I', ICLogData::LEVEL_DEFAULT.mf_getSeverityChar());
    EXPECT_EQ(L'W', ICLogData(0x13, '?').mf_getSeverityChar());
    EXPECT_EQ(L'E', ICLogData(0x03, '?').mf_getSeverityChar());
}

TEST(IFSeverity, Colours_FollowTheSeverity)
{
    int const green[] = {1, 0, 0, 0, 0};
    int const yellow[] = {0, 1, 0, 0, 0};
    int const red[] = {0, 0, 1, 1, 0};
    for (int at = 0; at < 5; ++at) {
        EXPECT_EQ(green[at], sNumbers[at].mf_isGreen());
        EXPECT_EQ(yellow[at], sNumbers[at].mf_isYellow());
        EXPECT_EQ(red[at], sNumbers[at].mf_isRed());
    }
}

TEST(IFSeverity, IsHigherSeverity_AsksTheReceiverFirst)
{
    // Rows: receiver; columns: other. An information receiver is outranked by an other without severity.
    int const expected[5][5] = {
        {0, 1, 1, 1, 1}, {0, 0, 1, 1, 0}, {0, 0, 0, 1, 0}, {0, 0, 0, 0, 0}, {0, 0, 0, 0, 0},
    };
    for (int receiver = 0; receiver < 5; ++receiver)
        for (int other = 0; other < 5; ++other)
            EXPECT_EQ(expected[receiver][other], sNumbers[receiver].mf_isHigherSeverity(sNumbers[other]))
                << receiver << ' ' << other;
}

TEST(IFSeverity, IsLowerSeverity_IsTheMirror)
{
    int const expected[5][5] = {
        {0, 0, 0, 0, 0}, {1, 0, 0, 0, 0}, {1, 1, 0, 0, 0}, {1, 1, 1, 0, 1}, {0, 0, 0, 0, 0},
    };
    for (int receiver = 0; receiver < 5; ++receiver)
        for (int other = 0; other < 5; ++other)
            EXPECT_EQ(expected[receiver][other], sNumbers[receiver].mf_isLowerSeverity(sNumbers[other]))
                << receiver << ' ' << other;
}

TEST(IFSeverity, StaticQueries_CompareWithTheLetter)
{
    EXPECT_TRUE(IFSeverity::mf_isInfo(L'I') && IFSeverity::mf_isWarning(L'W') && IFSeverity::mf_isError(L'E') &&
                IFSeverity::mf_isSevere(L'S'));
    EXPECT_FALSE(IFSeverity::mf_isInfo(L'i') || IFSeverity::mf_isWarning(L'E') || IFSeverity::mf_isError(L'?') ||
                 IFSeverity::mf_isSevere(L'\0'));
}

TEST(IFSeverity, GetSeverity_AnswersTheConstants)
{
    EXPECT_EQ(&ICSeverity::Info, &IFSeverity::mf_getSeverity(L'I'));
    EXPECT_EQ(&ICSeverity::Warning, &IFSeverity::mf_getSeverity(L'W'));
    EXPECT_EQ(&ICSeverity::Error, &IFSeverity::mf_getSeverity(L'E'));
    EXPECT_EQ(&ICSeverity::Severe, &IFSeverity::mf_getSeverity(L'S'));
    EXPECT_EQ(&ICSeverity::Error, &IFSeverity::mf_getSeverity(ICErrno::_E_::FileOpen));
}

TEST(IFSeverity, GetSeverity_OfNone_ThrowsUnexpected)
{
    for (wchar_t const letter : {L'?', L'x', L'\0'}) {
        try {
            IFSeverity::mf_getSeverity(letter);
            FAIL() << "no failure";
        }
        catch (ICErrno & failure) {
            EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::Unexpected));
            EXPECT_FALSE(failure.mf_getErrnoData().mf_hasOriginator());
        }
    }
    EXPECT_THROW(IFSeverity::mf_getSeverity(ICErrnoNumber(0)), ICErrno);
}

TEST(IFSeverity, ToString_AsksForTheWordOfTheSeverity)
{
    wchar_t const * const expected[] = {L"3501", L"3505", L"3498", L"3502", L"3504"};
    for (int at = 0; at < 5; ++at)
        EXPECT_STREQ(CString(L"<resource-id=") + expected[at] + L" not loaded>", IFSeverity::mf_toString(sNumbers[at]));
}

TEST(ICSeverity, Constants_AnswerTheirSeverity)
{
    EXPECT_TRUE(ICSeverity::Info.mf_isInfo() && ICSeverity::Warning.mf_isWarning() && ICSeverity::Error.mf_isError() &&
                ICSeverity::Severe.mf_isSevere());
    EXPECT_EQ(L'S', ICSeverity::Severe.mf_getSeverityChar());
}

TEST(ICSeverity, Levels_AreTakenAsTheyStand)
{
    EXPECT_FALSE(ICSeverity().mf_isSet());
    EXPECT_FALSE(ICSeverity(0ul).mf_isSet());
    ICSeverity severity(9ul);
    EXPECT_TRUE(severity.mf_isSet());
    EXPECT_EQ(L'?', severity.mf_getSeverityChar());
    severity.mf_set(2ul);
    EXPECT_TRUE(severity.mf_isWarning());
    severity.mf_reset();
    EXPECT_FALSE(severity.mf_isSet());
}

TEST(ICSeverity, FromAnotherSeverity_TakesTheFirstYes)
{
    EXPECT_TRUE(ICSeverity(ICErrno::_E_::FileOpen).mf_isError());
    EXPECT_TRUE(ICSeverity(ICLogData::LEVEL_DEFAULT).mf_isInfo());
    EXPECT_FALSE(ICSeverity(ICErrnoNumber(0)).mf_isSet());
}

// Deliberate: only 'S' takes effect.
TEST(ICSeverity, SetFromALetter_KnowsSevereOnly)
{
    ICSeverity severity;
    severity.mf_set(L'S');
    EXPECT_TRUE(severity.mf_isSevere());
    for (wchar_t const letter : {L'I', L'W', L'E', L'?', L's'}) {
        severity.mf_set(4ul);
        severity.mf_set(letter);
        EXPECT_FALSE(severity.mf_isSet()) << char(letter);
    }
}
