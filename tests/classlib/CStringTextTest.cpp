#include "tests/support/PlatformFailure.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

// ---- parts

TEST(CStringText, LeftRightMid_CutTheCountToTheText)
{
    CString const text(L"abcdef");
    struct ROW
    {
        CString part;
        wchar_t const * expected;
    } const rows[] = {
        {text.Left(0), L""},         {text.Left(2), L"ab"},      {text.Left(6), L"abcdef"},
        {text.Left(7), L"abcdef"},   {text.Left(-1), L""},       {text.Right(0), L""},
        {text.Right(2), L"ef"},      {text.Right(7), L"abcdef"}, {text.Right(-1), L""},
        {text.Right(INT_MIN), L""},  {text.Mid(0), L"abcdef"},   {text.Mid(2), L"cdef"},
        {text.Mid(6), L""},          {text.Mid(7), L""},         {text.Mid(-3), L"abcdef"},
        {text.Mid(1, 2), L"bc"},     {text.Mid(4, 9), L"ef"},    {text.Mid(2, INT_MAX), L"cdef"},
        {text.Mid(INT_MAX, 1), L""}, {text.Mid(2, -1), L""},     {text.Mid(-5, 2), L"ab"},
        {CString().Left(3), L""},    {CString().Right(3), L""},  {CString().Mid(0, 3), L""},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_STREQ(row.expected, row.part);
    }
    EXPECT_EQ(text.GetString(), text.Left(6).GetString()) << "the whole text is shared";
    EXPECT_EQ(text.GetString(), text.Mid(0).GetString());
}

TEST(CStringText, Span_TakesTheBeginning)
{
    CString const text(L"aabbc");
    EXPECT_STREQ(L"aabb", text.SpanIncluding(L"ba"));
    EXPECT_STREQ(L"", text.SpanIncluding(L"x"));
    EXPECT_STREQ(L"", text.SpanIncluding(L""));
    EXPECT_STREQ(L"aabbc", text.SpanIncluding(L"abc"));
    EXPECT_STREQ(L"aa", text.SpanExcluding(L"bc"));
    EXPECT_STREQ(L"aabbc", text.SpanExcluding(L"x"));
    EXPECT_STREQ(L"aabbc", text.SpanExcluding(L""));
    EXPECT_STREQ(L"", text.SpanExcluding(L"a"));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.SpanIncluding(nullptr); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.SpanExcluding(nullptr); }));
}

TEST(CStringText, Tokenize_GivesThePartsInTurn)
{
    struct ROW
    {
        wchar_t const * text;
        wchar_t const * separators;
        std::vector<CString> parts;
    } const rows[] = {
        {L"%First Second#Third", L"% #", {L"First", L"Second", L"Third"}},
        {L"one", L",", {L"one"}},
        {L",,one,,two,,", L",", {L"one", L"two"}},
        {L"", L",", {}},
        {L",,,", L",", {}},
        {L"a,b", L"", {L"a,b"}},
        {L"a,b", nullptr, {L"a,b"}},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(testing::PrintToString(CString(row.text)));
        CString const text(row.text);
        std::vector<CString> parts;
        int start = 0;
        for (CString part = text.Tokenize(row.separators, start); start != -1;
             part = text.Tokenize(row.separators, start)) {
            parts.push_back(part);
        }
        EXPECT_EQ(row.parts, parts);
    }
}

TEST(CStringText, Tokenize_MovesTheStartBehindTheSeparator)
{
    CString const text(L" ab cd");
    int start = 0;
    EXPECT_STREQ(L"ab", text.Tokenize(L" ", start));
    EXPECT_EQ(4, start);
    EXPECT_STREQ(L"cd", text.Tokenize(L" ", start));
    EXPECT_EQ(7, start);
    EXPECT_STREQ(L"", text.Tokenize(L" ", start));
    EXPECT_EQ(-1, start);
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.Tokenize(L" ", start); }));
}

// ---- searching

TEST(CStringText, Find_AnswersTheIndexOrMinusOne)
{
    CString const text(L"abcabc");
    struct ROW
    {
        int found;
        int expected;
    } const rows[] = {
        {text.Find(L'a'), 0},        {text.Find(L'c'), 2},         {text.Find(L'x'), -1},
        {text.Find(L'a', 1), 3},     {text.Find(L'a', 4), -1},     {text.Find(L'a', 6), -1},
        {text.Find(L'a', -1), -1},   {text.Find(L'a', 99), -1},    {text.Find(L"bc"), 1},
        {text.Find(L"bc", 2), 4},    {text.Find(L"bcd"), -1},      {text.Find(L""), 0},
        {text.Find(L"", 6), 6},      {text.Find(L"", 7), -1},      {text.Find(L"a", -1), -1},
        {text.Find(nullptr), -1},    {CString().Find(L'a'), -1},   {CString().Find(L""), 0},
        {text.ReverseFind(L'a'), 3}, {text.ReverseFind(L'x'), -1}, {CString().ReverseFind(L'a'), -1},
        {text.FindOneOf(L"cb"), 1},  {text.FindOneOf(L"xyz"), -1}, {text.FindOneOf(L""), -1},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_EQ(row.expected, row.found);
    }
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.FindOneOf(nullptr); }));
}

// ---- changing

TEST(CStringText, MakeUpperLowerReverse_ChangeInPlace)
{
    CString text(L"aBc1");
    EXPECT_EQ(&text, &text.MakeUpper());
    EXPECT_STREQ(L"ABC1", text);
    EXPECT_STREQ(L"abc1", text.MakeLower());
    EXPECT_STREQ(L"1cba", text.MakeReverse());
    EXPECT_STREQ(L"", CString().MakeUpper());
    EXPECT_STREQ(L"", CString().MakeLower());
    EXPECT_STREQ(L"", CString().MakeReverse());
}

TEST(CStringText, Replace_OfCharacters_Counts)
{
    CString text(L"a.b.c");
    EXPECT_EQ(2, text.Replace(L'.', L'/'));
    EXPECT_STREQ(L"a/b/c", text);
    EXPECT_EQ(0, text.Replace(L'x', L'y'));
    EXPECT_EQ(0, text.Replace(L'/', L'/'));
    EXPECT_STREQ(L"a/b/c", text);
}

TEST(CStringText, Replace_WithoutAMatch_KeepsSharing)
{
    CString const original(L"abc");
    CString copy(original);
    copy.Replace(L'x', L'y');
    copy.Replace(L"x", L"y");
    copy.Remove(L'x');
    copy.TrimLeft();
    copy.TrimRight();
    copy.Delete(0, 0);
    EXPECT_EQ(original.GetString(), copy.GetString());
}

TEST(CStringText, Replace_OfTexts_CountsAndResizes)
{
    struct ROW
    {
        wchar_t const * text;
        wchar_t const * from;
        wchar_t const * to;
        int count;
        wchar_t const * expected;
    } const rows[] = {
        {L"a--b--c", L"--", L"+", 2, L"a+b+c"}, {L"a-b-c", L"-", L"==", 2, L"a==b==c"},
        {L"aaaa", L"aa", L"a", 2, L"aa"},       {L"aaa", L"aa", L"b", 1, L"ba"},
        {L"abab", L"ab", L"", 2, L""},          {L"abab", L"ab", nullptr, 2, L""},
        {L"abc", L"", L"x", 0, L"abc"},         {L"abc", nullptr, L"x", 0, L"abc"},
        {L"abc", L"abcd", L"x", 0, L"abc"},     {L"", L"a", L"x", 0, L""},
        {L"abc", L"abc", L"abc", 1, L"abc"},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(&row - rows);
        CString text(row.text);
        EXPECT_EQ(row.count, text.Replace(row.from, row.to));
        EXPECT_STREQ(row.expected, text);
        EXPECT_EQ(static_cast<int>(wcslen(row.expected)), text.GetLength());
    }
}

TEST(CStringText, Replace_SeesBehindNullCharacters)
{
    CString text(L"a-\0a-", 5);
    EXPECT_EQ(2, text.Replace(L"a-", L"b"));
    ASSERT_EQ(3, text.GetLength());
    EXPECT_EQ(0, std::wmemcmp(L"b\0b", text, 4));
    EXPECT_EQ(1, text.Replace(L'\0', L'0'));
    EXPECT_STREQ(L"b0b", text);
}

TEST(CStringText, Remove_TakesAllOfACharacter)
{
    CString text(L"xaxxbx");
    EXPECT_EQ(4, text.Remove(L'x'));
    EXPECT_STREQ(L"ab", text);
    EXPECT_EQ(0, text.Remove(L'x'));
    EXPECT_EQ(0, text.Remove(L'A'));
    EXPECT_EQ(0, CString().Remove(L'a'));
}

TEST(CStringText, Insert_PutsTheIndexIntoTheText)
{
    CString text(L"bd");
    EXPECT_EQ(3, text.Insert(1, L'c'));
    EXPECT_EQ(4, text.Insert(-5, L'a'));
    EXPECT_EQ(6, text.Insert(99, L"ef"));
    EXPECT_STREQ(L"abcdef", text);
    EXPECT_EQ(6, text.Insert(2, L""));
    EXPECT_EQ(6, text.Insert(2, nullptr));
    EXPECT_STREQ(L"abcdef", text);
    CString empty;
    EXPECT_EQ(1, empty.Insert(0, L'x'));
    EXPECT_STREQ(L"x", empty);
}

TEST(CStringText, Delete_CutsTheCountToTheText)
{
    CString text(L"abcdef");
    EXPECT_EQ(5, text.Delete(0));
    EXPECT_STREQ(L"bcdef", text);
    EXPECT_EQ(3, text.Delete(1, 2));
    EXPECT_STREQ(L"bef", text);
    EXPECT_EQ(3, text.Delete(3));
    EXPECT_EQ(3, text.Delete(1, 0));
    EXPECT_EQ(3, text.Delete(1, -1));
    EXPECT_EQ(2, text.Delete(-1, 1));
    EXPECT_EQ(1, text.Delete(1, INT_MAX));
    EXPECT_STREQ(L"e", text);
    EXPECT_EQ(0, CString().Delete(0));
}

TEST(CStringText, Trim_TakesWhiteSpaceCharactersAndSets)
{
    struct ROW
    {
        CString trimmed;
        wchar_t const * expected;
    } const rows[] = {
        {CString(L" \t\r\n a b \v\f ").Trim(), L"a b"},
        {CString(L" a ").TrimLeft(), L"a "},
        {CString(L" a ").TrimRight(), L" a"},
        {CString(L"   ").Trim(), L""},
        {CString().Trim(), L""},
        {CString(L"xxaxx").Trim(L'x'), L"a"},
        {CString(L"xxaxx").TrimLeft(L'x'), L"axx"},
        {CString(L"xxaxx").TrimRight(L'x'), L"xxa"},
        {CString(L"xxx").Trim(L'x'), L""},
        {CString(L"xyaxy").Trim(L"yx"), L"a"},
        {CString(L"xyaxy").TrimLeft(L"yx"), L"axy"},
        {CString(L"xyaxy").TrimRight(L"yx"), L"xya"},
        {CString(L" a ").Trim(L""), L" a "},
        {CString(L" a ").Trim(nullptr), L" a "},
        {CString(L"\"quoted\"").Trim(L'"'), L"quoted"},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(&row - rows);
        EXPECT_STREQ(row.expected, row.trimmed);
        EXPECT_EQ(static_cast<int>(wcslen(row.expected)), row.trimmed.GetLength());
    }
}

TEST(CStringText, Trim_AnswersTheStringItself)
{
    CString text(L" a ");
    EXPECT_EQ(&text, &text.Trim());
    EXPECT_EQ(&text, &text.TrimLeft(L'a'));
    EXPECT_EQ(&text, &text.TrimRight(L"b"));
}

// ---- formatting

TEST(CStringText, Format_TakesWideText)
{
    CString text(L"before");
    text.Format(L"%s|%S|%hs|%ls|%c|%d|%08lx|%I64d|%%", L"wide", "narrow", "narrow", L"wide", L'c', -1, 0xABCul,
                0x100000000ll);
    EXPECT_STREQ(L"wide|narrow|narrow|wide|c|-1|00000abc|4294967296|%", text);
}

TEST(CStringText, Format_WithoutText_IsEmpty)
{
    CString text(L"before");
    text.Format(L"");
    EXPECT_STREQ(L"", text);
    text.Format(L"%s", L"");
    EXPECT_STREQ(L"", text);
    text.AppendFormat(L"");
    EXPECT_STREQ(L"", text);
}

TEST(CStringText, Format_OfEveryLength_IsWhole)
{
    for (int const length : {1, 7, 8, 254, 255, 256, 257, 4095, 8191, 100000}) {
        SCOPED_TRACE(length);
        CString const source(L'x', length);
        CString text;
        text.Format(L"%s", source.GetString());
        EXPECT_EQ(source, text);
        EXPECT_EQ(length, text.GetLength());
        text.AppendFormat(L"%s%d", source.GetString(), 7);
        EXPECT_EQ(source + source + L'7', text);
    }
}

TEST(CStringText, Format_ReadsTheArgumentsOnceMoreForLongTexts)
{
    CString const filler(L'-', 300);
    CString text;
    text.Format(L"%d %s %d %.1f %s", 1, filler.GetString(), 2, 2.5, L"end");
    EXPECT_EQ(L"1 " + filler + L" 2 2.5 end", text);
}

TEST(CStringText, AppendFormat_KeepsWhatIsThere)
{
    CString text(L"a=");
    text.AppendFormat(L"%d", 1);
    text.AppendFormat(L", %s", L"b");
    EXPECT_STREQ(L"a=1, b", text);
}

TEST(CStringText, Format_Refused_FailsAndChangesNothing)
{
    CString text(L"kept");
    wchar_t const * const none = nullptr;
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.Format(none); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.AppendFormat(none); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.FormatMessage(none); }));
    EXPECT_STREQ(L"kept", text);
}

static void f_formatV(CString & text, void (CString::*operation)(wchar_t const *, va_list), wchar_t const * format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    (text.*operation)(format, arguments);
    va_end(arguments);
}

TEST(CStringText, FormatV_TakesArgumentLists)
{
    CString text;
    f_formatV(text, &CString::FormatV, L"%s %d", L"a", 1);
    EXPECT_STREQ(L"a 1", text);
    f_formatV(text, &CString::AppendFormatV, L" %s", L"b");
    EXPECT_STREQ(L"a 1 b", text);
}

TEST(CStringText, FormatMessage_FillsNumberedInserts)
{
    CString text(L"before");
    text.FormatMessage(L"%2 then %1!lu! and %%", 42ul, L"second");
    EXPECT_STREQ(L"second then 42 and %", text);
    CString const longText(L'x', 5000);
    text.FormatMessage(L"%1%1", longText.GetString());
    EXPECT_EQ(longText + longText, text);
    text.FormatMessage(L"");
    EXPECT_STREQ(L"", text);
}

// ---- resources and environment

TEST(CStringText, LoadString_FromAModule)
{
    HMODULE const module = ::LoadLibraryW(L"shell32.dll");
    ASSERT_NE(nullptr, module);
    wchar_t expected[512] = {};
    UINT id = 0;
    while (id < 0x10000 && ::LoadStringW(module, id, expected, 512) == 0) {
        ++id;
    }
    CString text(L"kept");
    EXPECT_FALSE(text.LoadString(module, 0xFFFF));
    EXPECT_FALSE(text.LoadString(0xFFFF));
    EXPECT_STREQ(L"kept", text);
    EXPECT_TRUE(text.LoadString(module, id));
    EXPECT_STREQ(expected, text);
    ::FreeLibrary(module);
}

TEST(CStringText, GetEnvironmentVariable_ReadsAnyLength)
{
    CString const name(L"HSMBASE_CLASSLIB_TEST");
    CString const value(L'v', 3000);
    ASSERT_TRUE(::SetEnvironmentVariableW(name, value));
    CString text(L"before");
    EXPECT_TRUE(text.GetEnvironmentVariable(name));
    EXPECT_EQ(value, text);
    ASSERT_TRUE(::SetEnvironmentVariableW(name, nullptr));
    EXPECT_FALSE(text.GetEnvironmentVariable(name));
    EXPECT_STREQ(L"", text);
    text = name;
    EXPECT_FALSE(text.GetEnvironmentVariable(text));
    EXPECT_STREQ(L"", text);
}

// ---- the exceptions

TEST(ClassLibraryExceptions, AtlThrow_OutOfMemory_IsTheMemoryException)
{
    EXPECT_THROW(AtlThrow(E_OUTOFMEMORY), CMemoryException *);
    EXPECT_EQ(E_ACCESSDENIED, f_platformFailure([] { AtlThrow(E_ACCESSDENIED); }));
    EXPECT_EQ(E_FAIL, f_platformFailure([] { ATLENSURE(false); }));
    EXPECT_EQ(S_OK, f_platformFailure([] { ATLENSURE(true); }));
    EXPECT_THROW(ENSURE(false), CInvalidArgException *);
}

TEST(ClassLibraryExceptions, AllAreCaughtAsCException)
{
    for (auto const & raise : {AfxThrowMemoryException, AfxThrowInvalidArgException, +[] { AtlThrow(E_FAIL); }}) {
        bool caught = false;
        try {
            raise();
        }
        catch (CException * failure) {
            caught = true;
            failure->Delete();
        }
        EXPECT_TRUE(caught);
    }
}

TEST(ClassLibraryExceptions, GetErrorMessage_IsTheSystemsText)
{
    wchar_t expected[200] = {};
    DWORD const flags = FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    ::FormatMessageW(flags, nullptr, static_cast<DWORD>(E_INVALIDARG), 0, expected, 200, nullptr);
    wchar_t text[200] = L"before";
    UINT help = 1;
    BOOL const found = CInvalidArgException().GetErrorMessage(text, 200, &help);
    EXPECT_EQ(expected[0] != L'\0', found != FALSE);
    EXPECT_STREQ(expected, text);
    EXPECT_EQ(0u, help);
    EXPECT_FALSE(COleException(E_FAIL).GetErrorMessage(nullptr, 0));
}
