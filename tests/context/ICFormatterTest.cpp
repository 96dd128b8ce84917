#include <gtest/gtest.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

#include "hsmbase/context/ICFormatter.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{

CString f_lines(wchar_t const * text, ulong width, wchar_t const * first = L"", wchar_t const * next = L"")
{
    return ICFormatter::mf_formatLines(text, first, next, width, 0);
}

// Another language for this thread, or for the user, of which there is no library here.
void f_speak(unsigned short language)
{
    ICThreadContext::mf_implGetThreadContext()->m_currentLanguageId = language;
}

void f_setUserLanguage(unsigned short language)
{
    ICLanguage::m_pThis->m_userLanguageId = language;
}

CString f_colon(wchar_t const * text)
{
    CString result(text);
    EXPECT_EQ(&result, &ICFormatter::mf_appendColon(result));
    return result;
}

CString f_concatinate(std::initializer_list<wchar_t const *> texts)
{
    std::vector<CString> items(texts.begin(), texts.end());
    ICArray<CString *, CString *> array;
    for (CString & item : items)
        array.Add(item == L"NULL" ? nullptr : &item);
    return ICFormatter::mf_concatinate(array, L", ");
}

} // namespace

TEST(ICFormatter, FormatLine_MakesOneLine)
{
    struct CASE
    {
        wchar_t const * text;
        wchar_t const * expected;
    };
    CASE const cases[] = {{L"", L""},
                          {L"   ", L""},
                          {L"\r\n", L""},
                          {L"a   b\r\nc", L"a b c"},
                          {L"  a b  ", L"a b"},
                          {L"a\nb\rc\n\n\nd", L"a b c d"},
                          {L"a\t\r\nb\t", L"a b"},
                          {L"a\tb", L"a\tb"},
                          {L"\r\na", L"a"}};
    for (CASE const & testCase : cases)
        EXPECT_STREQ(testCase.expected, ICFormatter::mf_formatLine(testCase.text));
}

// Only the right side of a line is trimmed, and a line of nothing but blanks stays as an empty one.
TEST(ICFormatter, FormatLine_BlanksBehindALineBreak_AddToTheOneThatJoins)
{
    EXPECT_STREQ(L"a  b", ICFormatter::mf_formatLine(L"a \r\n b"));
    EXPECT_STREQ(L"a  b", ICFormatter::mf_formatLine(L"a\r\n \r\nb"));
}

TEST(ICFormatter, FormatLines_BreaksBetweenWords)
{
    EXPECT_STREQ(L"one two\r\nthree four", f_lines(L"one two three four", 10));
    EXPECT_STREQ(L"one\r\ntwo\r\nthree", f_lines(L"one two three", 5));
    EXPECT_STREQ(L"one two three", f_lines(L"one two three", 1000));
    EXPECT_STREQ(L"one two three", f_lines(L"one two three", 0xFFFFFFFF));
}

TEST(ICFormatter, FormatLines_LineBreaksOfTheText_AreNotKept)
{
    EXPECT_STREQ(L"one two three", f_lines(L"  one\r\n\r\ntwo \n three \r\n", 79));
}

TEST(ICFormatter, FormatLines_LineCanHaveExactlyTheWidth)
{
    EXPECT_STREQ(L"aaaa bbbbb", f_lines(L"aaaa bbbbb", 10));
    EXPECT_STREQ(L"aa bb cccc\r\nd", f_lines(L"aa bb cccc d", 10));
}

TEST(ICFormatter, FormatLines_WordOfTheRemainingWidth_OpensANewLine)
{
    EXPECT_STREQ(L"aaaa\r\nbbbbbb", f_lines(L"aaaa bbbbbb", 10));
}

TEST(ICFormatter, FormatLines_LongWord_StandsAloneUnbroken)
{
    EXPECT_STREQ(L"a\r\nbbbbbbbbbbbb\r\nc", f_lines(L"a bbbbbbbbbbbb c", 5));
    EXPECT_STREQ(L"a\r\nb\r\nc", f_lines(L"a b c", 0));
}

TEST(ICFormatter, FormatLines_PrefixesCount)
{
    EXPECT_STREQ(L"Error: one\r\n  two\r\n  three", f_lines(L"one two three", 10, L"Error: ", L"  "));
    EXPECT_STREQ(L"1: a b\r\n-> c d", f_lines(L"a b c d", 6, L"1: ", L"-> "));
}

TEST(ICFormatter, FormatLines_EmptyText_IsTheFirstPrefixTrimmed)
{
    EXPECT_STREQ(L"Error:", f_lines(L"", 79, L"Error:  ", L"  "));
    EXPECT_STREQ(L"Error:", f_lines(L" \r\n", 79, L"Error:  ", L"  "));
    EXPECT_STREQ(L"", f_lines(L"", 79));
}

TEST(ICFormatter, FormatLines_IsTrimmedAtTheRight)
{
    EXPECT_STREQ(L"a", f_lines(L"a\t", 79));
}

TEST(ICFormatter, FormatLines_LongText_KeepsAllWords)
{
    CString text, expected;
    for (int number = 0; number < 5000; ++number) {
        text.AppendFormat(L"%05d ", number);
        expected.AppendFormat(L"%s%05d", number == 0 ? L"" : number % 2 == 0 ? L"\r\n----" : L" ", number);
    }

    EXPECT_STREQ(expected, f_lines(text, 15, L"", L"----"));
}

// The blanks are those of the first call in the process, so each of these has a process of its own.
IC_CHILD(center)
{
    ::_setmode(::_fileno(stdout), _O_BINARY);
    CString result;
    for (std::wstring const & width : arguments)
        result = ICFormatter::mf_formatLines(L"aa bbbb cc", L"", L"", std::stoul(width), 1);
    std::printf("%S", result.GetString());
    return 0;
}

TEST(ICFormatter, FormatLinesCentered_PutsHalfOfTheRestInFront)
{
    EXPECT_EQ(" aa bbbb\r\n   cc", ICChildProcess("center", {L"9"}).mf_getOutput());
    EXPECT_EQ(" aa bbbb\r\n   cc", ICChildProcess("center", {L"80", L"9"}).mf_getOutput());
}

TEST(ICFormatter, FormatLinesCentered_LineOfTheWidthOrLonger_GetsNoBlanks)
{
    EXPECT_EQ("aa\r\nbbbb\r\ncc", ICChildProcess("center", {L"3"}).mf_getOutput());
}

TEST(ICFormatter, FormatLinesCentered_LaterLargerWidth_GetsTheBlanksOfTheFirstCall)
{
    EXPECT_EQ("     aa bbbb cc", ICChildProcess("center", {L"5", L"80"}).mf_getOutput());
}

TEST(ICFormatter, FormatHeaderLine_CentersBetweenFill)
{
    EXPECT_STREQ(L"--- x ----", ICFormatter::mf_formatHeaderLine(L"x", 10, L'-'));
    EXPECT_STREQ(L"=== xy ===", ICFormatter::mf_formatHeaderLine(L"  xy\t", 10, L'='));
    EXPECT_STREQ(L"----  ----", ICFormatter::mf_formatHeaderLine(L"", 10, L'-'));
    EXPECT_STREQ(L" x ", ICFormatter::mf_formatHeaderLine(L"x", 3, L'-'));
}

TEST(ICFormatter, FormatHeaderLine_TooLongText_GetsNoFill)
{
    EXPECT_STREQ(L" long text ", ICFormatter::mf_formatHeaderLine(L"long text", 5, L'-'));
}

TEST(ICFormatter, AppendFinalChar_EndsASentence)
{
    ICStartedProcess const process;

    EXPECT_STREQ(L"Done.", ICFormatter::mf_appendFinalChar(L"Done", L"."));
    EXPECT_STREQ(L"Done ...", ICFormatter::mf_appendFinalChar(L"Done", L" ..."));
}

TEST(ICFormatter, AppendFinalChar_SentenceThatIsEnded_Stays)
{
    ICStartedProcess const process;

    for (wchar_t const * text : {L"Done!", L"Done.", L"Done:", L"Done;", L"Done?"})
        EXPECT_STREQ(text, ICFormatter::mf_appendFinalChar(text, L"."));
    EXPECT_STREQ(L"a-", ICFormatter::mf_appendFinalChar(L"a-", L"-"));
    EXPECT_STREQ(L"a---", ICFormatter::mf_appendFinalChar(L"a-", L"--"));
}

TEST(ICFormatter, AppendFinalChar_NothingToAppendOrToEnd_NeedsNoContext)
{
    EXPECT_STREQ(L"", ICFormatter::mf_appendFinalChar(L"", L"."));
    EXPECT_STREQ(L"Done", ICFormatter::mf_appendFinalChar(L"Done", L""));
}

TEST(ICFormatter, AppendFinalChar_LanguagesWithoutFinalCharacter_AddNothing)
{
    ICStartedProcess const process;

    for (unsigned short const language : std::initializer_list<unsigned short>{1041, 2052, 1028}) {
        f_speak(language);
        EXPECT_STREQ(L"Done", ICFormatter::mf_appendFinalChar(L"Done", L"."));
    }
    f_speak(1042);
    EXPECT_STREQ(L"Done.", ICFormatter::mf_appendFinalChar(L"Done", L"."));
}

TEST(ICFormatter, AppendFinalChar_ThreadWithoutContext_Fails)
{
    ICStartedProcess const process;
    ICThreadContext::mf_delete();

    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [] { ICFormatter::mf_appendFinalChar(L"Done", L"."); }));

    ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 0);
}

TEST(ICFormatter, Concatinate_PutsTheSeparatorBetween)
{
    EXPECT_STREQ(L"", f_concatinate({}));
    EXPECT_STREQ(L"a", f_concatinate({L"a"}));
    EXPECT_STREQ(L"a, b, c", f_concatinate({L"a", L"b", L"c"}));
    EXPECT_STREQ(L"a, , c", f_concatinate({L"a", L"", L"c"}));
}

TEST(ICFormatter, Concatinate_NullEntries_AreSkipped)
{
    EXPECT_STREQ(L"b, d", f_concatinate({L"NULL", L"b", L"NULL", L"d"}));
    EXPECT_STREQ(L"", f_concatinate({L"NULL"}));
}

TEST(ICFormatter, Concatinate_NullAtTheEnd_LeavesTheSeparator)
{
    EXPECT_STREQ(L"a, b, ", f_concatinate({L"a", L"b", L"NULL"}));
}

TEST(ICFormatter, AppendColon_IsSetApartInFrenchOnly)
{
    ICStartedProcess const process(L"German");

    EXPECT_STREQ(L"Datei:", f_colon(L"Datei"));
    f_setUserLanguage(1036);
    EXPECT_STREQ(L"Fichier :", f_colon(L"Fichier"));
}

TEST(ICFormatter, AppendColon_GoesByTheUsersLanguageNotTheThreads)
{
    ICStartedProcess const process;
    f_speak(1036);

    EXPECT_STREQ(L"File:", f_colon(L"File"));
}

TEST(ICFormatter, AppendColon_WithoutLanguages_Fails)
{
    CString text(L"File");

    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [&] { ICFormatter::mf_appendColon(text); }));
    EXPECT_STREQ(L"File", text);
}
