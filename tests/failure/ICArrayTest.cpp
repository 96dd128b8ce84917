#include <gmock/gmock.h>

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "hsmbase/failure/ICArray.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

// An array of values is whole without the sort, which is for pointers.
template class ICArray<CString, CString>;
template class ICArray<CString *, CString *>;

namespace
{

using ICTexts = ICArray<CString *, CString *>;

int f_compare(void const * left, void const * right)
{
    return (*static_cast<CString * const *>(left))->Compare(**static_cast<CString * const *>(right));
}

int f_mustNotBeCalled(void const *, void const *)
{
    ADD_FAILURE() << "There is nothing to compare.";
    return 0;
}

std::vector<std::wstring> f_texts(ICTexts const & array)
{
    std::vector<std::wstring> texts;
    for (INT_PTR index = 0; index < array.GetCount(); ++index)
        texts.emplace_back(*array[index]);
    return texts;
}

} // namespace

TEST(ICArray, Sort_OrdersThePointersAndKeepsThem)
{
    CString b(L"b"), a(L"a"), c(L"c");
    ICTexts array;
    for (CString * text : {&b, &c, &a})
        array.Add(text);

    array.mf_sort(f_compare);

    EXPECT_THAT(f_texts(array), ElementsAre(L"a", L"b", L"c"));
    EXPECT_EQ(&a, array[0]);
}

TEST(ICArray, Sort_ManyElements_AllStay)
{
    std::deque<CString> texts;
    ICTexts array;
    for (ulong number = 0; number < 1000; ++number) {
        texts.emplace_back().Format(L"%lu", number * 7919 % 1000);
        array.Add(&texts.back());
    }
    std::vector<std::wstring> expected = f_texts(array);
    std::sort(expected.begin(), expected.end());

    array.mf_sort(f_compare);

    EXPECT_EQ(expected, f_texts(array));
}

TEST(ICArray, Sort_FewerThanTwo_AreLeftAlone)
{
    CString text(L"a");
    ICTexts array;
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr));

    array.mf_sort(f_mustNotBeCalled);
    EXPECT_EQ(0, array.GetCount());

    array.Add(&text);
    array.mf_sort(f_mustNotBeCalled);
    EXPECT_EQ(1, array.GetCount());
    EXPECT_EQ(&text, array[0]);
    EXPECT_EQ(0u, noMemory.mf_getCalls());
}

TEST(ICArray, Sort_WithoutCompare_FailsForAnySize)
{
    CString b(L"b"), a(L"a");
    ICTexts array;
    for (CString * next : {static_cast<CString *>(nullptr), &b, &a}) {
        if (next != nullptr) array.Add(next);
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { array.mf_sort(nullptr); }));
    }
    EXPECT_THAT(f_texts(array), ElementsAre(L"b", L"a"));
}

TEST(ICArray, Sort_NoMemory_FailsAndLeavesTheElements)
{
    CString b(L"b"), a(L"a");
    ICTexts array;
    array.Add(&b);
    array.Add(&a);
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));

    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [&] { array.mf_sort(f_compare); }));
    EXPECT_THAT(f_texts(array), ElementsAre(L"b", L"a"));
}

TEST(ICArray, Index_OutOfRange_IsRefusedByTheClassLibrary)
{
    ICArray<CString, CString> array;
    array.Add(L"only");

    EXPECT_STREQ(L"only", array[0]);
    EXPECT_THROW(array.GetAt(1), CInvalidArgException *);
    EXPECT_THROW(array.GetAt(-1), CInvalidArgException *);
}
