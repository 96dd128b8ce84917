#include "tests/support/PlatformFailure.h"

#include <afxtempl.h>

#include <gtest/gtest.h>

#include <type_traits>
#include <vector>

using NUMBERS = CArray<int, int>;
using TEXTS = CArray<CString>;

static_assert(!std::is_copy_constructible_v<NUMBERS> && !std::is_copy_assignable_v<NUMBERS>);
static_assert(std::has_virtual_destructor_v<NUMBERS> && std::is_base_of_v<CObject, NUMBERS>);

template<class ARRAY>
static auto f_list(ARRAY const & array)
{
    using TYPE = std::remove_cvref_t<decltype(array[0])>;
    return std::vector<TYPE>(array.GetData(), array.GetData() + array.GetSize());
}

static void f_fill(NUMBERS & numbers, int count)
{
    for (int i = 0; i < count; ++i) {
        numbers.Add(i);
    }
}

namespace
{
// Counts its objects, can be told to fail, and starts as 7.
struct COUNTED
{
    COUNTED()
    {
        if (failAt != 0 && --failAt == 0) {
            throw 1;
        }
        ++alive;
    }
    COUNTED(COUNTED const & other) : value(other.value) { ++alive; }
    COUNTED & operator=(COUNTED const &) = default;
    ~COUNTED() { --alive; }

    int value = 7;
    static inline int alive = 0;
    static inline int failAt = 0;
};
} // namespace

TEST(CArray, New_IsEmptyWithoutMemory)
{
    NUMBERS const numbers;
    EXPECT_EQ(0, numbers.GetSize());
    EXPECT_EQ(0, numbers.GetCount());
    EXPECT_EQ(-1, numbers.GetUpperBound());
    EXPECT_TRUE(numbers.IsEmpty());
    EXPECT_EQ(nullptr, numbers.GetData());
}

TEST(CArray, Add_AnswersTheIndex)
{
    TEXTS texts;
    EXPECT_EQ(0, texts.Add(L"a"));
    EXPECT_EQ(1, texts.Add(CString(L"b")));
    EXPECT_EQ(2, texts.GetSize());
    EXPECT_EQ(1, texts.GetUpperBound());
    EXPECT_FALSE(texts.IsEmpty());
    EXPECT_EQ((std::vector<CString>{L"a", L"b"}), f_list(texts));
}

TEST(CArray, Access_ReadsAndWrites)
{
    NUMBERS numbers;
    f_fill(numbers, 3);
    numbers.SetAt(0, 10);
    numbers[1] = 11;
    numbers.ElementAt(2) = 12;
    numbers.GetData()[2] += 1;
    NUMBERS const & constant = numbers;
    EXPECT_EQ(10, constant.GetAt(0));
    EXPECT_EQ(11, constant[1]);
    EXPECT_EQ(13, constant.ElementAt(2));
    EXPECT_EQ(&numbers[0], constant.GetData());
}

TEST(CArray, OutOfRange_ThrowsInvalidArgument)
{
    NUMBERS numbers;
    f_fill(numbers, 3);
    NUMBERS const & constant = numbers;
    for (INT_PTR const index : {INT_PTR(-1), INT_PTR(3), INT_PTR(4), INTPTR_MIN, INTPTR_MAX}) {
        SCOPED_TRACE(index);
        EXPECT_THROW(numbers[index], CInvalidArgException *);
        EXPECT_THROW(constant[index], CInvalidArgException *);
        EXPECT_THROW(numbers.GetAt(index), CInvalidArgException *);
        EXPECT_THROW(constant.GetAt(index), CInvalidArgException *);
        EXPECT_THROW(numbers.ElementAt(index), CInvalidArgException *);
        EXPECT_THROW(numbers.SetAt(index, 1), CInvalidArgException *);
    }
    EXPECT_THROW(NUMBERS()[0], CInvalidArgException *);
    EXPECT_THROW(NUMBERS()[-1], CInvalidArgException *);
    EXPECT_EQ((std::vector<int>{0, 1, 2}), f_list(numbers));
}

TEST(CArray, BadSizes_ThrowAndChangeNothing)
{
    NUMBERS numbers;
    f_fill(numbers, 3);
    EXPECT_THROW(numbers.SetSize(-1), CInvalidArgException *);
    EXPECT_THROW(numbers.SetAtGrow(-1, 1), CInvalidArgException *);
    EXPECT_THROW(numbers.InsertAt(-1, 1), CInvalidArgException *);
    EXPECT_THROW(numbers.InsertAt(0, 1, 0), CInvalidArgException *);
    EXPECT_THROW(numbers.InsertAt(0, 1, -1), CInvalidArgException *);
    EXPECT_THROW(numbers.InsertAt(0, nullptr), CInvalidArgException *);
    EXPECT_THROW(numbers.InsertAt(0, &numbers), CInvalidArgException *);
    EXPECT_THROW(numbers.RemoveAt(-1), CInvalidArgException *);
    EXPECT_THROW(numbers.RemoveAt(3), CInvalidArgException *);
    EXPECT_THROW(numbers.RemoveAt(0, -1), CInvalidArgException *);
    EXPECT_THROW(numbers.RemoveAt(1, 3), CInvalidArgException *);
    EXPECT_THROW(numbers.RemoveAt(1, INTPTR_MAX), CInvalidArgException *);
    EXPECT_THROW(numbers.Append(numbers), CInvalidArgException *);
    EXPECT_EQ((std::vector<int>{0, 1, 2}), f_list(numbers));
}

TEST(CArray, TooLargeForMemory_ThrowsMemoryExceptionAndChangesNothing)
{
    NUMBERS numbers;
    f_fill(numbers, 3);
    INT_PTR volatile const huge = INTPTR_MAX; // volatile, or the compiler follows it into what is never reached
    EXPECT_THROW(numbers.SetSize(INTPTR_MAX), CMemoryException *);
    EXPECT_THROW(numbers.SetSize(INTPTR_MAX / 4), CMemoryException *);
    EXPECT_THROW(numbers.SetAtGrow(INTPTR_MAX, 1), CMemoryException *);
    EXPECT_THROW(numbers.InsertAt(0, 1, huge), CMemoryException *);
    EXPECT_THROW(numbers.InsertAt(huge, 1), CMemoryException *);
    EXPECT_EQ((std::vector<int>{0, 1, 2}), f_list(numbers));
}

TEST(CArray, SetSize_MakesZerosAndDefaults)
{
    NUMBERS numbers;
    numbers.Add(5);
    numbers.SetSize(3);
    EXPECT_EQ((std::vector<int>{5, 0, 0}), f_list(numbers));
    CArray<CString *, CString *> pointers;
    pointers.SetSize(2);
    EXPECT_EQ(nullptr, pointers[1]);
    CArray<COUNTED> objects;
    objects.SetSize(2);
    EXPECT_EQ(7, objects[1].value);
}

TEST(CArray, Growth_WithoutStep_IsAnEighthWithinBounds)
{
    struct ROW
    {
        INT_PTR size;
        INT_PTR grown;
    } const rows[] = {{1, 1 + 4}, {32, 32 + 4}, {40, 40 + 5}, {800, 900}, {8192, 8192 + 1024}, {80000, 80000 + 1024}};
    for (ROW const & row : rows) {
        SCOPED_TRACE(row.size);
        NUMBERS numbers;
        numbers.SetSize(row.size);
        EXPECT_EQ(row.size, numbers.m_capacity);
        numbers.Add(1);
        EXPECT_EQ(row.grown, numbers.m_capacity);
    }
}

TEST(CArray, Growth_WithStep_TakesTheStep)
{
    NUMBERS numbers;
    numbers.SetSize(0, 10);
    numbers.Add(1);
    EXPECT_EQ(10, numbers.m_capacity);
    numbers.SetSize(11);
    EXPECT_EQ(20, numbers.m_capacity);
    numbers.SetSize(100, -1);
    EXPECT_EQ(100, numbers.m_capacity);
    numbers.SetSize(101, 50);
    EXPECT_EQ(150, numbers.m_capacity);
}

TEST(CArray, Shrinking_KeepsMemoryUntilAsked)
{
    TEXTS texts;
    texts.SetSize(100);
    texts[1] = L"kept";
    texts.SetSize(2);
    EXPECT_EQ(100, texts.m_capacity);
    texts.FreeExtra();
    EXPECT_EQ(2, texts.m_capacity);
    EXPECT_STREQ(L"kept", texts[1]);
    texts.RemoveAt(0, 2);
    EXPECT_NE(nullptr, texts.GetData());
    texts.FreeExtra();
    EXPECT_EQ(nullptr, texts.GetData());
    texts.FreeExtra();
    texts.Add(L"again");
    texts.RemoveAll();
    EXPECT_TRUE(texts.IsEmpty());
    EXPECT_EQ(nullptr, texts.GetData());
}

TEST(CArray, Elements_AreMadeAndDestroyedOnce)
{
    {
        CArray<COUNTED> objects;
        objects.SetSize(10);
        EXPECT_EQ(10, COUNTED::alive);
        objects.SetSize(4);
        EXPECT_EQ(4, COUNTED::alive);
        objects.InsertAt(1, COUNTED(), 3);
        EXPECT_EQ(7, COUNTED::alive);
        objects.RemoveAt(0, 2);
        EXPECT_EQ(5, COUNTED::alive);
        objects.SetAtGrow(9, COUNTED());
        EXPECT_EQ(10, COUNTED::alive);
        objects.RemoveAll();
        EXPECT_EQ(0, COUNTED::alive);
        objects.Add(COUNTED());
    }
    EXPECT_EQ(0, COUNTED::alive);
}

TEST(CArray, FailingConstructor_LeavesTheArrayAsItWas)
{
    CArray<COUNTED> objects;
    objects.SetSize(3);
    objects[2].value = 8;
    COUNTED const element;
    COUNTED::failAt = 2;
    EXPECT_THROW(objects.SetSize(10), int);
    EXPECT_EQ(3, objects.GetSize());
    COUNTED::failAt = 2;
    EXPECT_THROW(objects.InsertAt(1, element, 3), int);
    EXPECT_EQ(3, objects.GetSize());
    EXPECT_EQ(8, objects[2].value);
    EXPECT_EQ(4, COUNTED::alive);
}

TEST(CArray, SetAtGrow_FillsTheGap)
{
    TEXTS texts;
    texts.SetAtGrow(2, L"c");
    texts.SetAtGrow(0, L"a");
    EXPECT_EQ((std::vector<CString>{L"a", L"", L"c"}), f_list(texts));
}

TEST(CArray, InsertAt_ShiftsOrFills)
{
    NUMBERS numbers;
    numbers.InsertAt(2, 9);
    EXPECT_EQ((std::vector<int>{0, 0, 9}), f_list(numbers));
    numbers.InsertAt(0, 1, 2);
    EXPECT_EQ((std::vector<int>{1, 1, 0, 0, 9}), f_list(numbers));
    numbers.InsertAt(5, 4);
    EXPECT_EQ((std::vector<int>{1, 1, 0, 0, 9, 4}), f_list(numbers));
    NUMBERS more;
    f_fill(more, 3);
    numbers.InsertAt(1, &more);
    EXPECT_EQ((std::vector<int>{1, 0, 1, 2, 1, 0, 0, 9, 4}), f_list(numbers));
    NUMBERS none;
    numbers.InsertAt(1, &none);
    numbers.RemoveAt(3, 6);
    numbers.InsertAt(4, &more);
    EXPECT_EQ((std::vector<int>{1, 0, 1, 0, 0, 1, 2}), f_list(numbers));
}

TEST(CArray, RemoveAt_ClosesTheGap)
{
    NUMBERS numbers;
    f_fill(numbers, 6);
    numbers.RemoveAt(0);
    numbers.RemoveAt(4);
    numbers.RemoveAt(1, 2);
    EXPECT_EQ((std::vector<int>{1, 4}), f_list(numbers));
    numbers.RemoveAt(1, 0);
    numbers.RemoveAt(2, 0);
    EXPECT_EQ((std::vector<int>{1, 4}), f_list(numbers));
}

TEST(CArray, AppendAndCopy_TakeAllElements)
{
    TEXTS source;
    source.Add(L"a");
    source.Add(L"b");
    TEXTS target;
    target.Add(L"old");
    EXPECT_EQ(1, target.Append(source));
    EXPECT_EQ((std::vector<CString>{L"old", L"a", L"b"}), f_list(target));
    EXPECT_EQ(3, target.Append(TEXTS()));
    target.Copy(source);
    EXPECT_EQ((std::vector<CString>{L"a", L"b"}), f_list(target));
    target.Copy(target);
    EXPECT_EQ(2, target.GetSize());
    target[0] = L"changed";
    EXPECT_STREQ(L"a", source[0]);
}

TEST(CArray, OwnElements_CanBeAddedAndInserted)
{
    TEXTS texts;
    texts.Add(L"a");
    texts.Add(L"b");
    for (int i = 0; i < 20; ++i) {
        texts.Add(texts[0]);
    }
    EXPECT_STREQ(L"a", texts[21]);
    texts.SetAtGrow(100, texts[1]);
    EXPECT_STREQ(L"b", texts[100]);
    texts.InsertAt(0, texts[1], 200);
    EXPECT_STREQ(L"b", texts[199]);
    texts.InsertAt(300, texts[200], 2);
    EXPECT_STREQ(L"a", texts[301]);
    texts.InsertAt(0, texts[0]);
    EXPECT_STREQ(L"b", texts[0]);
}

TEST(CArray, ArgumentTypes_OfAllUsualForms)
{
    CArray<CString, CString &> byReference;
    CString text(L"reference");
    byReference.Add(text);
    CArray<CString, wchar_t const *> byPointer;
    byPointer.Add(L"pointer");
    CArray<CString *, CString *> pointers;
    pointers.Add(&text);
    EXPECT_STREQ(L"reference", byReference[0]);
    EXPECT_STREQ(L"pointer", byPointer[0]);
    EXPECT_EQ(&text, pointers[0]);
}

TEST(CArray, ManyElements_StayWhole)
{
    TEXTS texts;
    for (int i = 0; i < 20000; ++i) {
        CString text;
        text.Format(L"%d", i);
        texts.Add(text);
    }
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(i, _wtoi(texts[i]));
    }
}
