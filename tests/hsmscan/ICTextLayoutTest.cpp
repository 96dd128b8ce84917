#include "programs/hsmscan/ICTextLayout.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "hsmbase/context/ICFormatter.h"
#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{

class ICTextLayoutTest : public testing::Test
{
protected:
    static void mf_expectLines(CString const & text, int width, CString const & lines)
    {
        EXPECT_STREQ(lines, ICTextLayout::mf_wrap(text, CString(), CString(), width));
    }

    ICStartedProcess const m_process;
};

class ICTextLayoutDoubleWidthTest : public ICTextLayoutTest
{
protected:
    ICTextLayoutDoubleWidthTest() { ICLanguage::m_pThis->m_userLanguageId = 1041; }
};

} // namespace

TEST_F(ICTextLayoutTest, Width_IsThatOfTheCharacters)
{
    EXPECT_EQ(0, ICTextLayout::mf_getWidth(L""));
    EXPECT_EQ(5, ICTextLayout::mf_getWidth(L"Größe"));
    EXPECT_EQ(2, ICTextLayout::mf_getWidth(L"日本"));
}

TEST_F(ICTextLayoutTest, Pad_FillsUpToTheWidth)
{
    EXPECT_STREQ(L"Größe  ", ICTextLayout::mf_pad(L"Größe", 7));
    EXPECT_STREQ(L"Größe", ICTextLayout::mf_pad(L"Größe", 5));
    EXPECT_STREQ(L"Größe", ICTextLayout::mf_pad(L"Größe", -1));
}

TEST_F(ICTextLayoutTest, Cut_MarksWhatIsNotWhole)
{
    EXPECT_STREQ(L"1,234 files", ICTextLayout::mf_cut(L"1,234 files", 11));
    EXPECT_STREQ(L"1,234 f...", ICTextLayout::mf_cut(L"1,234 files", 10));
    EXPECT_STREQ(L"...", ICTextLayout::mf_cut(L"1,234 files", 3));
    EXPECT_STREQ(L"", ICTextLayout::mf_cut(L"", 3));
}

TEST_F(ICTextLayoutTest, Wrap_IsThatOfTheLibrary)
{
    CString const text = L"Größe des  ältesten\r\nVerzeichnisses, 日本語の長い名前 an-einem-Stück-das-zu-lang-ist";
    for (int width = 1; width <= 80; ++width)
        ASSERT_STREQ(ICFormatter::mf_formatLines(text, L"> ", L"  ", static_cast<ulong>(width), 0),
                     ICTextLayout::mf_wrap(text, L"> ", L"  ", width));
    EXPECT_STREQ(ICFormatter::mf_formatLines(text, L"> ", L"  ", 79, 0), ICTextLayout::mf_wrap(text, L"> ", L"  "));
}

TEST_F(ICTextLayoutDoubleWidthTest, Width_CountsTwoColumnsForAllAbove127)
{
    EXPECT_EQ(0, ICTextLayout::mf_getWidth(L""));
    EXPECT_EQ(7, ICTextLayout::mf_getWidth(L"日本語!"));
    EXPECT_EQ(1, ICTextLayout::mf_getWidth(L"\x7F"));
    EXPECT_EQ(2, ICTextLayout::mf_getWidth(L"\x80"));
}

TEST_F(ICTextLayoutDoubleWidthTest, Pad_FillsUpToTheWidth)
{
    EXPECT_STREQ(L"日本 ", ICTextLayout::mf_pad(L"日本", 5));
    EXPECT_STREQ(L"日本", ICTextLayout::mf_pad(L"日本", 4));
    EXPECT_STREQ(L"日本", ICTextLayout::mf_pad(L"日本", 3));
}

TEST_F(ICTextLayoutDoubleWidthTest, Cut_KeepsCharactersWhole)
{
    EXPECT_STREQ(L"日本語日本", ICTextLayout::mf_cut(L"日本語日本", 10));
    EXPECT_STREQ(L"日本語...", ICTextLayout::mf_cut(L"日本語日本", 9));
    EXPECT_STREQ(L"日本...", ICTextLayout::mf_cut(L"日本語日本", 8));
    EXPECT_STREQ(L"日...", ICTextLayout::mf_cut(L"日\U00020000日本", 8)) << "one half of a pair would fit";
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_EndsALineBetweenWideCharacters)
{
    mf_expectLines(L"日本語日本語", 12, L"日本語日本語");
    mf_expectLines(L"日本語日本語", 11, L"日本語日本\r\n語");
    mf_expectLines(L"日本語日本語", 4, L"日本\r\n語日\r\n本語");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_CountsThePrefixes)
{
    EXPECT_STREQ(L"一 日本\r\n  語日\r\n  本語", ICTextLayout::mf_wrap(L"日本語日本語", L"一 ", L"  ", 7));
    EXPECT_STREQ(L"一", ICTextLayout::mf_wrap(L"", L"一 ", L"  ", 7));
    EXPECT_STREQ(L"一", ICTextLayout::mf_wrap(L" \r\n ", L"一 ", L"  ", 7));
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_LeavesNarrowWordsWhole)
{
    mf_expectLines(L"one two three", 7, L"one two\r\nthree");
    mf_expectLines(L"one two three", 6, L"one\r\ntwo\r\nthree");
    mf_expectLines(L"日本 --min-size 日本", 12, L"日本\r\n--min-size\r\n日本");
    mf_expectLines(L"日本SIZE語日", 8, L"日\r\n本SIZE語\r\n日");
    mf_expectLines(L"a-word-too-long 日", 4, L"a-word-too-long\r\n日");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_JoinsWithOneBlankWhereTheTextHasOne)
{
    mf_expectLines(L"  日  本\r\n語日", 79, L"日 本 語日");
    mf_expectLines(L"日本 語日", 5, L"日本\r\n語日");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_BeginsNoLineWithWhatClosesOrIsAdded)
{
    for (wchar_t const * const mark : {L"。", L"、", L"，", L"）", L"」", L"』", L"】", L"：", L"；", L"？", L"！",
                                       L"・", L"ー", L"ッ", L"っ", L"ゃ", L"ョ", L"々", L"％"}) {
        SCOPED_TRACE(testing::PrintToString(mark));
        mf_expectLines(CString(L"日本") + mark + L"語", 4, CString(L"日\r\n本") + mark + L"\r\n語");
    }
    mf_expectLines(L"日本。」語", 6, L"日\r\n本。」\r\n語");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_EndsNoLineWithWhatOpens)
{
    for (wchar_t const * const mark : {L"（", L"「", L"『", L"【", L"《", L"［"}) {
        SCOPED_TRACE(testing::PrintToString(mark));
        mf_expectLines(CString(L"日") + mark + L"本語", 4, CString(L"日\r\n") + mark + L"本\r\n語");
    }
    mf_expectLines(L"日（「本語", 7, L"日\r\n（「本\r\n語");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_EndsALineBehindAClosingMarkThoughTheNextIsNarrow)
{
    mf_expectLines(L"S、E、W", 3, L"S、\r\nE、\r\nW");
    mf_expectLines(L"（日）SIZE", 6, L"（日）\r\nSIZE");
    mf_expectLines(L"（日）.", 6, L"（日）.");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_BreaksHangulBetweenWords)
{
    mf_expectLines(L"파일 시스템", 9, L"파일\r\n시스템");
    mf_expectLines(L"파일 시스템을 지원", 11, L"파일\r\n시스템을\r\n지원");
    mf_expectLines(L"파일 시스템", 11, L"파일 시스템");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_BreaksHangulWithinAWordThatNoLineHolds)
{
    mf_expectLines(L"시스템을", 6, L"시스템\r\n을");
    mf_expectLines(L"파일 시스템을.", 6, L"파일\r\n시스템\r\n을.");
}

TEST_F(ICTextLayoutDoubleWidthTest, Wrap_LeavesSurrogatePairsWhole)
{
    mf_expectLines(L"日\U00020000日", 4, L"日\r\n\U00020000\r\n日");
}

// Whatever the text, nothing is lost, and only what can't be broken leaves the width.
TEST_F(ICTextLayoutDoubleWidthTest, Wrap_LosesNothingAtAnyWidth)
{
    CString const text = L"指定した「ディレクトリ」を検索し、移行する価値のあるファイル（SIZE バイト以上）を数えます。"
                         L"接尾辞 K、M、G は 1,024、1,048,576、1,073,741,824 倍です。";
    CString const none;
    for (int width = 20; width <= 120; ++width) {
        CString const lines = ICTextLayout::mf_wrap(text, none, none, width);
        int position = 0;
        for (CString line = lines.Tokenize(L"\r\n", position); position >= 0; line = lines.Tokenize(L"\r\n", position))
            EXPECT_LE(ICTextLayout::mf_getWidth(line), width) << testing::PrintToString(line.GetString());
        CString joined = lines;
        joined.Remove(L'\r');
        joined.Remove(L'\n');
        joined.Remove(L' ');
        CString expected = text;
        expected.Remove(L' ');
        EXPECT_STREQ(expected, joined);
    }
}

TEST(ICTextLayoutTraceTest, WithoutLanguages_Throws)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICTextLayout::mf_getWidth(L"a"); }));
}
