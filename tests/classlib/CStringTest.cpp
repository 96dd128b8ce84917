#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/PlatformFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <map>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

static_assert(sizeof(CString) == sizeof(void *));
static_assert(std::is_nothrow_move_constructible_v<CString>);
static_assert(std::is_same_v<CString::XCHAR, wchar_t>);
static_assert(!std::is_convertible_v<wchar_t, CString>);
static_assert(std::is_convertible_v<wchar_t const *, CString>);

static constinit CString s_beforeAnyCode;

static bool f_isShared(CString const & one, CString const & other)
{
    return one.GetString() == other.GetString();
}

static CString f_stars(int length)
{
    return CString(L'*', length);
}

// ---- making and reading

TEST(CString, Static_NeedsNoRunTime)
{
    EXPECT_TRUE(s_beforeAnyCode.IsEmpty());
    EXPECT_STREQ(L"", s_beforeAnyCode);
}

TEST(CString, Default_IsEmptyAndOwnsNothing)
{
    CString const text;
    EXPECT_EQ(0, text.GetLength());
    EXPECT_EQ(0, text.GetAllocLength());
    EXPECT_EQ(L'\0', *text.GetString());
    EXPECT_TRUE(f_isShared(text, CString(L"")));
}

TEST(CString, Constructors_TakeTheirSources)
{
    unsigned char const bytes[] = {'b', 'y', 't', 'e', 's', 0};
    struct ROW
    {
        CString made;
        wchar_t const * expected;
    } const rows[] = {
        {CString(L"wide"), L"wide"},
        {CString("narrow"), L"narrow"},
        {CString(bytes), L"bytes"},
        {CString(static_cast<wchar_t const *>(nullptr)), L""},
        {CString(static_cast<char const *>(nullptr)), L""},
        {CString(static_cast<wchar_t const *>(nullptr), 0), L""},
        {CString(static_cast<char const *>(nullptr), 0), L""},
        {CString(L"prefix only", 6), L"prefix"},
        {CString("prefix only", 6), L"prefix"},
        {CString(L'x'), L"x"},
        {CString('x'), L"x"},
        {CString(L'x', 3), L"xxx"},
        {CString('x', 3), L"xxx"},
        {CString(L'x', 0), L""},
        {CString(L'x', -1), L""},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(testing::PrintToString(row.made));
        EXPECT_STREQ(row.expected, row.made);
        EXPECT_EQ(static_cast<int>(wcslen(row.expected)), row.made.GetLength());
    }
}

TEST(CString, Constructors_OfALength_KeepNullCharacters)
{
    CString const wide(L"a\0b", 3);
    CString const narrow("a\0b", 3);
    EXPECT_EQ(3, wide.GetLength());
    EXPECT_EQ(L'b', wide[2]);
    EXPECT_EQ(3, narrow.GetLength());
    EXPECT_EQ(L'b', narrow[2]);
}

TEST(CString, Constructors_OfABadLength_FailWithInvalidArgument)
{
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CString(L"text", -1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CString("text", -1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CString(static_cast<wchar_t const *>(nullptr), 1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CString(static_cast<char const *>(nullptr), 1); }));
}

TEST(CString, NarrowText_GoesThroughTheThreadsCodePage)
{
    char const all[] = "\x80\xA9\xE4\xFC";
    wchar_t expected[5] = {};
    ASSERT_EQ(4, ::MultiByteToWideChar(CP_THREAD_ACP, 0, all, 4, expected, 4));
    CString assigned(L"before");
    assigned = all;
    CString appended;
    appended += all;
    EXPECT_STREQ(expected, CString(all));
    EXPECT_STREQ(expected, assigned);
    EXPECT_STREQ(expected, appended);
    EXPECT_EQ(expected[3], CString(all[3]).GetAt(0));
}

TEST(CString, GetAt_AllowsTheTerminatorOnly)
{
    CString const text(L"abc");
    EXPECT_EQ(L'a', text.GetAt(0));
    EXPECT_EQ(L'c', text[2]);
    EXPECT_EQ(L'\0', text.GetAt(3));
    EXPECT_EQ(L'\0', text[3]);
    EXPECT_EQ(L'\0', CString().GetAt(0));
    for (int const index : {-1, 4, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.GetAt(index); }));
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text[index]; }));
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { CString().GetAt(index); }));
    }
}

TEST(CString, SetAt_RefusesTheTerminator)
{
    CString text(L"abc");
    text.SetAt(2, L'C');
    EXPECT_STREQ(L"abC", text);
    for (int const index : {-1, 3, INT_MIN, INT_MAX}) {
        SCOPED_TRACE(index);
        EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.SetAt(index, L'x'); }));
    }
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([] { CString().SetAt(0, L'x'); }));
    EXPECT_STREQ(L"abC", text);
}

// ---- sharing

TEST(CString, Copy_SharesUntilOneWrites)
{
    CString const original(L"shared text");
    CString copy(original);
    CString assigned;
    assigned = copy;
    EXPECT_TRUE(f_isShared(original, copy));
    EXPECT_TRUE(f_isShared(original, assigned));
    copy.SetAt(0, L'S');
    EXPECT_FALSE(f_isShared(original, copy));
    EXPECT_STREQ(L"Shared text", copy);
    EXPECT_STREQ(L"shared text", original);
    EXPECT_TRUE(f_isShared(original, assigned));
}

TEST(CString, EveryChange_LeavesOtherCopiesAlone)
{
    using CHANGE = void (*)(CString &);
    CHANGE const changes[] = {
        [](CString & text) { text.SetAt(1, L'x'); },
        [](CString & text) { text.Empty(); },
        [](CString & text) { text.Truncate(2); },
        [](CString & text) { text.Append(L"x"); },
        [](CString & text) { text.AppendChar(L'x'); },
        [](CString & text) { text.GetBuffer()[0] = L'x'; },
        [](CString & text) { text.GetBuffer(2)[0] = L'x'; },
        [](CString & text) { text.GetBuffer(200)[0] = L'x'; },
        [](CString & text) { text.GetBufferSetLength(3)[0] = L'x'; },
        [](CString & text) { text.LockBuffer()[0] = L'x'; },
        [](CString & text) { text.Preallocate(100); },
        [](CString & text) { text.FreeExtra(); },
        [](CString & text) { text.MakeUpper(); },
        [](CString & text) { text.MakeLower(); },
        [](CString & text) { text.MakeReverse(); },
        [](CString & text) { text.Replace(L'b', L'x'); },
        [](CString & text) { text.Replace(L"b", L"xyz"); },
        [](CString & text) { text.Remove(L'b'); },
        [](CString & text) { text.Insert(0, L'x'); },
        [](CString & text) { text.Insert(2, L"xyz"); },
        [](CString & text) { text.Delete(0); },
        [](CString & text) { text.Trim(); },
        [](CString & text) { text.TrimLeft(L" a"); },
        [](CString & text) { text.Format(L"%d", 1); },
        [](CString & text) { text.AppendFormat(L"%d", 1); },
        [](CString & text) { text.FormatMessage(L"x"); },
        [](CString & text) { text = L"x"; },
        [](CString & text) { text = "x"; },
        [](CString & text) { text = L'x'; },
    };
    for (CHANGE const change : changes) {
        SCOPED_TRACE(&change - changes);
        CString const original(L" aBbc ");
        CString copy(original);
        change(copy);
        EXPECT_STREQ(L" aBbc ", original);
        EXPECT_EQ(6, original.GetLength());
    }
}

TEST(CString, Move_TakesTheBuffer)
{
    CString source(L"moved");
    wchar_t const * const buffer = source.GetString();
    CString target(std::move(source));
    EXPECT_EQ(buffer, target.GetString());
    EXPECT_STREQ(L"", source);
    CString assigned(L"old");
    assigned = std::move(target);
    EXPECT_EQ(buffer, assigned.GetString());
    EXPECT_STREQ(L"", target);
    CString & self = assigned;
    assigned = std::move(self);
    EXPECT_STREQ(L"moved", assigned);
}

TEST(CString, References_ReturnToOne)
{
    CString const original(L"counted");
    {
        std::vector<CString> const copies(100, original);
        EXPECT_EQ(101, original.mf_implData()->mf_references());
    }
    EXPECT_EQ(1, original.mf_implData()->mf_references());
}

TEST(CString, EmptyStringOfAnotherModule_IsNeitherKeptNorFreed)
{
    CStringNil foreign{{CStringData::NIL, 0, 0, 0}, {}};
    CString empty;
    {
        CString text;
        text.m_text = foreign.text;
        CString const copy(text);
        EXPECT_EQ(g_classlibNil.text, copy.GetString());
        empty = text;
        EXPECT_EQ(g_classlibNil.text, empty.GetString());
        text.ReleaseBuffer();
        text.Append(L"x");
        EXPECT_STREQ(L"x", text);
        text.Empty();
        text.m_text = foreign.text;
    }
    EXPECT_EQ(CStringData::NIL, foreign.data.references);
    EXPECT_EQ(0, foreign.data.length);
}

// Runs `work` in as many threads, which begin together.
template<class WORK>
static void f_runTogether(int count, WORK const & work)
{
    // Strings that leak in a loop leave thousands behind.
    ICLeakAccount::mf_excuse("locks of the run-time get their semaphores when threads first meet at them", 4, 8);
    ICMeetingPoint start(count);
    std::vector<std::thread> threads;
    for (int seed = 0; seed < count; ++seed) {
        threads.emplace_back([&, seed] {
            start.mf_arrive();
            work(seed);
        });
    }
    for (std::thread & thread : threads) {
        thread.join();
    }
}

TEST(CString, CopiedByThreads_CountsEveryCopy)
{
    CString const original(L"counted by threads");
    f_runTogether(4, [&](int) {
        for (int i = 0; i < 500000; ++i) {
            CString const copy(original);
            CString const other(copy);
        }
    });
    EXPECT_EQ(1, original.mf_implData()->mf_references());
}

TEST(CString, SharedByThreads_KeepsItsTextAndCount)
{
    CString const original(L"shared by threads");
    std::atomic<int> wrong = 0;
    auto const work = [&](int seed) {
        for (int i = 0; i < 10000; ++i) {
            CString copy(original);
            CString other = copy;
            if ((i + seed) % 3 == 0) {
                copy.AppendChar(L'!');
            }
            if ((i + seed) % 5 == 0) {
                other.SetAt(0, L'S');
            }
            if ((i + seed) % 7 == 0) {
                copy = other;
            }
            wrong += other.GetLength() != 17 || other[16] != L's' || copy[1] != L'h';
        }
    };
    f_runTogether(8, work);
    EXPECT_EQ(0, wrong.load());
    EXPECT_STREQ(L"shared by threads", original);
    EXPECT_EQ(1, original.mf_implData()->mf_references());
}

TEST(CString, LastCopiesInThreads_FreeOnceOnly)
{
    for (int round = 0; round < 200; ++round) {
        CString * const first = new CString(L"dropped by whoever comes last");
        CString * const second = new CString(*first);
        std::thread writer([first] {
            first->AppendChar(L'!');
            delete first;
        });
        second->AppendChar(L'?');
        EXPECT_STREQ(L"dropped by whoever comes last?", *second);
        delete second;
        writer.join();
    }
}

// ---- assigning and appending, also parts of the string itself

TEST(CString, Assign_TakesAllKinds)
{
    unsigned char const bytes[] = {'b', 0};
    CString text;
    text = L"wide";
    EXPECT_STREQ(L"wide", text);
    text = "narrow";
    EXPECT_STREQ(L"narrow", text);
    text = bytes;
    EXPECT_STREQ(L"b", text);
    text = L'w';
    EXPECT_STREQ(L"w", text);
    text = 'n';
    EXPECT_STREQ(L"n", text);
    text = static_cast<wchar_t const *>(nullptr);
    EXPECT_STREQ(L"", text);
    text = CString(L"x") = CString(L"temporary");
    EXPECT_STREQ(L"temporary", text);
}

TEST(CString, SetString_ChecksItsArguments)
{
    CString text(L"kept");
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.SetString(L"x", -1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.SetString(nullptr, 1); }));
    EXPECT_STREQ(L"kept", text);
    text.SetString(L"cut here", 3);
    EXPECT_STREQ(L"cut", text);
    text.SetString(nullptr, 0);
    EXPECT_STREQ(L"", text);
    text.SetString(L"again");
    text.SetString(nullptr);
    EXPECT_STREQ(L"", text);
}

TEST(CString, OwnText_CanBeAssignedAndAppended)
{
    struct ROW
    {
        void (*change)(CString & text);
        wchar_t const * expected;
    } const rows[] = {
        {[](CString & text) {
             CString & self = text;
             text = self;
         },
         L"abcdef"},
        {[](CString & text) { text = text.GetString(); }, L"abcdef"},
        {[](CString & text) { text = text.GetString() + 2; }, L"cdef"},
        {[](CString & text) { text.SetString(text.GetString() + 1, 3); }, L"bcd"},
        {[](CString & text) { text.SetString(text.GetString() + 6); }, L""},
        {[](CString & text) { text += text; }, L"abcdefabcdef"},
        {[](CString & text) { text += text.GetString(); }, L"abcdefabcdef"},
        {[](CString & text) { text.Append(text.GetString() + 1); }, L"abcdefbcdef"},
        {[](CString & text) { text.Append(text.GetString() + 6); }, L"abcdef"},
        {[](CString & text) { text += text[0]; }, L"abcdefa"},
        {[](CString & text) { text.Insert(2, text); }, L"ababcdefcdef"},
        {[](CString & text) { text.Insert(0, text.GetString() + 4); }, L"efabcdef"},
        {[](CString & text) { text.Replace(text.GetString() + 4, text); }, L"abcdabcdef"},
        {[](CString & text) { text.Format(L"<%s>", text.GetString()); }, L"<abcdef>"},
        {[](CString & text) { text.AppendFormat(L"<%s>", text.GetString()); }, L"abcdef<abcdef>"},
        {[](CString & text) { text.FormatMessage(L"<%1>", text.GetString()); }, L"<abcdef>"},
        {[](CString & text) { text.Trim(text.GetString() + 5); }, L"abcde"},
        {[](CString & text) { text = text.Left(2) + text; }, L"ababcdef"},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(&row - rows);
        CString alone(L"abcdef");
        row.change(alone);
        EXPECT_STREQ(row.expected, alone);
        CString const other(L"abcdef");
        CString sharing(other);
        row.change(sharing);
        EXPECT_STREQ(row.expected, sharing);
        EXPECT_STREQ(L"abcdef", other);
    }
}

TEST(CString, OwnLongText_SurvivesBeingMoved)
{
    CString text(f_stars(1000));
    for (int i = 0; i < 5; ++i) {
        text += text;
    }
    EXPECT_EQ(f_stars(32000), text);
    text.Format(L"%s%s", text.GetString(), text.GetString());
    EXPECT_EQ(f_stars(64000), text);
    text.AppendFormat(L"%s", text.GetString());
    EXPECT_EQ(f_stars(128000), text);
}

TEST(CString, Append_TakesAllKinds)
{
    CString text;
    text += L"wide ";
    text += "narrow ";
    text += L'w';
    text += 'n';
    text += static_cast<unsigned char>('u');
    text += CString(L" text");
    text.Append(L" of which 6", 6);
    text.Append(L"ignored", 0);
    text.Append(nullptr);
    text.AppendChar(L'!');
    EXPECT_STREQ(L"wide narrow wnu text of wh!", text);
}

TEST(CString, Append_OfALength_KeepsNullCharacters)
{
    CString text(L"a");
    text.Append(L"\0b", 2);
    text.AppendChar(L'\0');
    text += CString(L"\0c", 2);
    ASSERT_EQ(6, text.GetLength());
    EXPECT_EQ(0, std::wmemcmp(L"a\0b\0\0c", text, 7));
}

TEST(CString, Append_BadArguments_FailAndChangeNothing)
{
    CString text(L"kept");
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.Append(L"x", -1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.Append(nullptr, 1); }));
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { text.Append(L"x", INT_MAX); }));
    EXPECT_STREQ(L"kept", text);
}

TEST(CString, Append_GrowsByAHalf)
{
    CString text;
    int moves = 0;
    for (int i = 0; i < 20000; ++i) {
        int const before = text.GetAllocLength();
        text.AppendChar(L'x');
        int const after = text.GetAllocLength();
        if (after == before) {
            continue;
        }
        ++moves;
        EXPECT_GE(after, before + before / 2);
        EXPECT_LE(after, before + before / 2 + 8);
    }
    EXPECT_EQ(20000, text.GetLength());
    EXPECT_LT(moves, 30);
}

TEST(CString, TooLongForMemory_FailsWithOutOfMemory)
{
    CString text(L"kept");
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { text.Preallocate(INT_MAX); }));
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { text.GetBuffer(INT_MAX - 8); }));
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] {
                  CString copy(text);
                  copy.GetBuffer(INT_MAX);
              }));
    EXPECT_STREQ(L"kept", text);
}

// ---- the buffer

TEST(CString, GetBuffer_KeepsTheTextAndMakesRoom)
{
    CString text(L"abc");
    wchar_t * const buffer = text.GetBuffer(100);
    EXPECT_STREQ(L"abc", buffer);
    EXPECT_GE(text.GetAllocLength(), 100);
    wcscpy_s(buffer, 101, L"written by others");
    text.ReleaseBuffer();
    EXPECT_STREQ(L"written by others", text);
    EXPECT_EQ(17, text.GetLength());
}

TEST(CString, GetBuffer_OfAnEmptyString_IsWritable)
{
    CString text;
    text.GetBuffer()[0] = L'\0';
    text.ReleaseBuffer();
    EXPECT_STREQ(L"", text);
    text.GetBuffer(0)[0] = L'\0';
    EXPECT_STREQ(L"", CString());
}

TEST(CString, GetBuffer_OfLessThanTheText_LosesNothing)
{
    CString const original(L"abcdef");
    CString copy(original);
    EXPECT_STREQ(L"abcdef", copy.GetBuffer(1));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { copy.GetBuffer(-1); }));
    EXPECT_STREQ(L"abcdef", copy);
}

TEST(CString, ReleaseBuffer_SetsTheLength)
{
    CString text(L"abcdef");
    text.GetBuffer();
    text.ReleaseBuffer(2);
    EXPECT_STREQ(L"ab", text);
    text.GetBuffer();
    text.ReleaseBufferSetLength(0);
    EXPECT_TRUE(text.IsEmpty());
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.ReleaseBuffer(text.GetAllocLength() + 1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.ReleaseBuffer(-2); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.ReleaseBufferSetLength(-1); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { CString().ReleaseBuffer(1); }));
}

TEST(CString, ReleaseBuffer_WithoutTerminator_StopsAtTheBuffersEnd)
{
    CString text;
    wchar_t * const buffer = text.GetBuffer(20);
    int const room = text.GetAllocLength();
    std::fill_n(buffer, room + 1, L'x');
    text.ReleaseBuffer();
    EXPECT_EQ(CString(L'x', room), text);
}

TEST(CString, GetBufferSetLength_SetsTerminator)
{
    CString text(L"abcdef");
    wchar_t * const buffer = text.GetBufferSetLength(3);
    EXPECT_STREQ(L"abc", buffer);
    std::fill_n(text.GetBufferSetLength(300), 300, L'z');
    EXPECT_EQ(CString(L'z', 300), text);
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.GetBufferSetLength(-1); }));
}

TEST(CString, LockBuffer_KeepsTheAddressAndTheCopiesApart)
{
    CString text(L"locked");
    CString const before(text);
    wchar_t * const buffer = text.LockBuffer();
    CString const copy(text);
    EXPECT_FALSE(f_isShared(text, copy));
    EXPECT_FALSE(f_isShared(text, before));
    text = L"short";
    EXPECT_EQ(buffer, text.GetString());
    text = copy;
    EXPECT_EQ(buffer, text.GetString());
    text = CString(L"moved");
    EXPECT_EQ(buffer, text.GetString());
    text.Empty();
    EXPECT_EQ(buffer, text.GetString());
    text.UnlockBuffer();
    EXPECT_TRUE(f_isShared(text, CString(text)));
    EXPECT_STREQ(L"locked", copy);
}

TEST(CString, LockBuffer_SurvivesGrowth)
{
    CString text(L"locked");
    text.LockBuffer();
    text.SetString(f_stars(500));
    EXPECT_FALSE(f_isShared(text, CString(text)));
    text += f_stars(500);
    EXPECT_FALSE(f_isShared(text, CString(text)));
    text.UnlockBuffer();
    text.UnlockBuffer();
    EXPECT_EQ(f_stars(1000), text);
    EXPECT_TRUE(f_isShared(text, CString(text)));
}

TEST(CString, FreeExtra_GivesBackAndKeepsTheText)
{
    CString text(L"abc");
    text.Preallocate(1000);
    EXPECT_GE(text.GetAllocLength(), 1000);
    CString const sharing(text);
    text.FreeExtra();
    EXPECT_TRUE(f_isShared(text, sharing));
    text.AppendChar(L'd');
    text.Preallocate(1000);
    text.FreeExtra();
    EXPECT_LT(text.GetAllocLength(), 16);
    EXPECT_STREQ(L"abcd", text);
    CString().FreeExtra();
}

TEST(CString, Truncate_OnlyShortens)
{
    CString text(L"abcdef");
    text.Truncate(10);
    EXPECT_STREQ(L"abcdef", text);
    text.Truncate(2);
    EXPECT_STREQ(L"ab", text);
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.Truncate(-1); }));
}

TEST(CString, StringLength_OfNull_IsZero)
{
    EXPECT_EQ(0, CString::StringLength(nullptr));
    EXPECT_EQ(0, CString::StringLength(L""));
    EXPECT_EQ(3, CString::StringLength(L"abc"));
}

// ---- joining and comparing

TEST(CString, Plus_JoinsAllKinds)
{
    CString const a(L"a");
    wchar_t const * const wide = L"w";
    char const * const narrow = "n";
    EXPECT_STREQ(L"aa", a + a);
    EXPECT_STREQ(L"aw", a + wide);
    EXPECT_STREQ(L"wa", wide + a);
    EXPECT_STREQ(L"an", a + narrow);
    EXPECT_STREQ(L"na", narrow + a);
    EXPECT_STREQ(L"ax", a + L'x');
    EXPECT_STREQ(L"xa", L'x' + a);
    EXPECT_STREQ(L"ay", a + 'y');
    EXPECT_STREQ(L"ya", 'y' + a);
    EXPECT_STREQ(L"a", a + static_cast<wchar_t const *>(nullptr));
    EXPECT_STREQ(L"a", a);
    EXPECT_TRUE((CString() + CString()).IsEmpty());
}

TEST(CString, Plus_OnATemporary_DoesNotTouchSharers)
{
    CString const a(L"a");
    auto const copyOf = [](CString const & text) { return text; };
    EXPECT_STREQ(L"aa", copyOf(a) + a);
    EXPECT_STREQ(L"aw", copyOf(a) + L"w");
    EXPECT_STREQ(L"an", copyOf(a) + "n");
    EXPECT_STREQ(L"ax", copyOf(a) + L'x');
    EXPECT_STREQ(L"ay", copyOf(a) + 'y');
    EXPECT_STREQ(L"waan", L"w" + copyOf(a) + a + "n");
    EXPECT_STREQ(L"a", a);
}

template<class LEFT, class RIGHT>
static void f_expectOrder(LEFT const & smaller, RIGHT const & greater)
{
    EXPECT_TRUE(smaller < greater && greater > smaller);
    EXPECT_TRUE(smaller <= greater && greater >= smaller);
    EXPECT_TRUE(smaller != greater && greater != smaller);
    EXPECT_FALSE(smaller > greater || greater < smaller);
    EXPECT_FALSE(smaller >= greater || greater <= smaller);
    EXPECT_FALSE(smaller == greater || greater == smaller);
}

template<class LEFT, class RIGHT>
static void f_expectEqual(LEFT const & left, RIGHT const & right)
{
    EXPECT_TRUE(left == right && right == left);
    EXPECT_TRUE(left <= right && right >= left);
    EXPECT_FALSE(left != right || right != left);
    EXPECT_FALSE(left < right || right > left);
}

TEST(CString, Operators_CompareBothWaysWithAllKinds)
{
    f_expectOrder(CString(L"a"), CString(L"b"));
    f_expectOrder(CString(L"a"), static_cast<wchar_t const *>(L"b"));
    f_expectOrder(static_cast<wchar_t const *>(L"a"), CString(L"b"));
    f_expectOrder(CString(L"a"), static_cast<char const *>("b"));
    f_expectOrder(static_cast<char const *>("a"), CString(L"b"));
    f_expectOrder(CString(), CString(L"a"));
    f_expectOrder(CString(L"B"), CString(L"a"));
    f_expectEqual(CString(L"a"), CString(L"a"));
    f_expectEqual(CString(L"a"), static_cast<wchar_t const *>(L"a"));
    f_expectEqual(CString(L"a"), static_cast<char const *>("a"));
    f_expectEqual(CString(), static_cast<wchar_t const *>(L""));
}

TEST(CString, Operators_CompareWithLiteralsAndCharacters)
{
    CString const text(L"a");
    EXPECT_TRUE(text == L"a" && L"a" == text && text == "a" && "a" == text);
    EXPECT_TRUE(text != L"b" && L"b" != text && text != "b" && "b" != text);
    EXPECT_TRUE(text < L"b" && L"b" > text && text < "b" && "b" > text);
    EXPECT_TRUE(text == L'a' && L'a' == text && text == 'a' && 'a' == text);
    EXPECT_TRUE(text != L'b' && L'b' != text && text != 'b' && 'b' != text);
    EXPECT_TRUE(CString(L"ab") != L'a' && CString() != L'a');
}

TEST(CString, Compare_TellsCaseAndOrder)
{
    CString const text(L"Straße");
    EXPECT_EQ(0, text.Compare(L"Straße"));
    EXPECT_EQ(0, text.Compare(text));
    EXPECT_LT(text.Compare(L"straße"), 0);
    EXPECT_GT(text.Compare(L"Stra"), 0);
    EXPECT_EQ(0, CString(L"PATH").CompareNoCase(L"path"));
    EXPECT_LT(CString(L"PATH").CompareNoCase(L"path2"), 0);
    EXPECT_EQ(0, CString(L"same").Collate(L"same"));
    EXPECT_NE(0, CString(L"same").Collate(L"other"));
    EXPECT_EQ(0, CString(L"SAME").CollateNoCase(L"same"));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.Compare(nullptr); }));
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { text.CompareNoCase(nullptr); }));
}

TEST(CString, InContainers_IsOrderedByText)
{
    std::map<CString, int> const map = {{L"b", 2}, {L"a", 1}, {L"c", 3}};
    EXPECT_EQ(1, map.begin()->second);
    EXPECT_EQ(2, map.at(L"b"));
    std::vector<CString> texts = {L"z", L"x", L"y"};
    std::sort(texts.begin(), texts.end());
    EXPECT_EQ((std::vector<CString>{L"x", L"y", L"z"}), texts);
}

namespace
{
// Like the classes of the library that hand out their text by conversion.
struct CONVERTIBLE
{
    wchar_t text[2] = {L'c', L'\0'};
    operator wchar_t *() { return text; }
};
} // namespace

TEST(CString, ObjectsThatConvertToText_AreTakenEverywhere)
{
    CString text = CString(CONVERTIBLE());
    EXPECT_STREQ(L"c", text);
    text = CONVERTIBLE();
    text += CONVERTIBLE();
    text.Append(CONVERTIBLE());
    EXPECT_STREQ(L"cccd", text + CString(L"d"));
    EXPECT_STREQ(L"ccc-c", text + L"-" + CONVERTIBLE());
    EXPECT_TRUE(CString(L"c") == CONVERTIBLE());
    EXPECT_STREQ(L"c", true ? CString(CONVERTIBLE()) : CString());
}
