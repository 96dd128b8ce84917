#include <gmock/gmock.h>

#include <vector>

#include "hsmbase/failure/ICAttribute.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{

// Attributes with these keys, and an array of pointers to them in this order.
class KEYS
{
public:
    explicit KEYS(std::vector<wchar_t const *> const & keys)
    {
        for (wchar_t const * key : keys)
            m_attributes.emplace_back(key, L"");
        for (ICAttribute & attribute : m_attributes)
            m_array.Add(&attribute);
    }

    std::vector<std::wstring> mf_get() const
    {
        std::vector<std::wstring> keys;
        for (INT_PTR index = 0; index < m_array.GetCount(); ++index)
            keys.emplace_back(m_array[index]->mf_getKey());
        return keys;
    }

    ICArray<ICAttribute *, ICAttribute *> m_array;

private:
    std::vector<ICAttribute> m_attributes;
};

} // namespace

TEST(ICAttribute, FromText_KeepsBoth)
{
    ICAttribute const attribute(L"key", L"value");

    EXPECT_STREQ(L"key", attribute.mf_getKey());
    EXPECT_STREQ(L"value", attribute.mf_getValue());
}

TEST(ICAttribute, FromBool_KeepsItsText)
{
    EXPECT_STREQ(L"true", ICAttribute(L"k", ICBool::IC_TRUE).mf_getValue());
    EXPECT_STREQ(L"false", ICAttribute(L"k", ICBool::IC_FALSE).mf_getValue());
}

TEST(ICAttribute, FromUndefinedBool_IsNotSetAndNoBoolean)
{
    ICAttribute const attribute(L"k", ICBool());

    EXPECT_STREQ(L"not set", attribute.mf_getValue());
    EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { attribute.mf_getValueBOOL(); }));
}

TEST(ICAttribute, FromNumber_LargeOneLooksNegativeAndReadsBack)
{
    ICAttribute const attribute(L"k", 4294967295ul);

    EXPECT_STREQ(L"5", ICAttribute(L"k", 5).mf_getValue());
    EXPECT_STREQ(L"-1", attribute.mf_getValue());
    EXPECT_EQ(4294967295ul, attribute.mf_getValueULONG());
}

TEST(ICAttribute, Copy_AndAssignment_TakeKeyAndValue)
{
    ICAttribute const source(L"key", L"value");
    ICAttribute const copy(source);
    ICAttribute assigned(L"a", L"b");

    EXPECT_EQ(&assigned, &(assigned = source));

    EXPECT_STREQ(L"key -> value", copy.mf_toString());
    EXPECT_STREQ(L"key -> value", assigned.mf_toString());
}

TEST(ICAttribute, MakeUpper_FoldsKeyAndValue)
{
    ICAttribute attribute(L"Key", L"vAlue1");

    attribute.mf_makeUpper();

    EXPECT_STREQ(L"KEY -> VALUE1", attribute.mf_toString());
}

TEST(ICAttribute, BoolToString_OnlyOneIsTrue)
{
    EXPECT_STREQ(L"true", ICAttribute::mf_BOOLToString(1));
    for (int const value : {0, 2, -1})
        EXPECT_STREQ(L"false", ICAttribute::mf_BOOLToString(value));
}

TEST(ICAttribute, StringToBool_TakesTwoWordsInThisCaseOnly)
{
    EXPECT_EQ(1, ICAttribute::mf_StringToBOOL(L"true"));
    EXPECT_EQ(0, ICAttribute::mf_StringToBOOL(L"false"));
    EXPECT_EQ(1, ICAttribute(L"k", L"true").mf_getValueBOOL());
    for (wchar_t const * text : {L"TRUE", L"False", L"", L"1", L"true "}) {
        SCOPED_TRACE(testing::PrintToString(text));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Conversion, [&] { ICAttribute::mf_StringToBOOL(text); }));
    }
}

TEST(ICAttribute, StringToNumber_ReadsTheDigitsAtTheStart)
{
    EXPECT_EQ(42u, ICAttribute::mf_StringToULONG(L"42"));
    EXPECT_EQ(42u, ICAttribute::mf_StringToULONG(L"  42 files"));
    EXPECT_EQ(4294967295ul, ICAttribute::mf_StringToULONG(L"4294967295"));
    EXPECT_EQ(0u, ICAttribute::mf_StringToULONG(L"files"));
    EXPECT_EQ(0u, ICAttribute::mf_StringToULONG(L""));
    EXPECT_EQ(7u, ICAttribute(L"k", L"7").mf_getValueULONG());
}

TEST(ICAttribute, NumberToString_IsUnsigned)
{
    EXPECT_STREQ(L"0", ICAttribute::mf_ULONGToString(0));
    EXPECT_STREQ(L"4294967295", ICAttribute::mf_ULONGToString(4294967295ul));
}

TEST(ICAttribute, SortByKey_IsCaseSensitiveInBothDirections)
{
    KEYS keys({L"b", L"a", L"C", L"", L"ab"});

    ICAttribute::mf_sortByKey(keys.m_array, 1);
    EXPECT_THAT(keys.mf_get(), ElementsAre(L"", L"C", L"a", L"ab", L"b"));

    ICAttribute::mf_sortByKey(keys.m_array, 0);
    EXPECT_THAT(keys.mf_get(), ElementsAre(L"b", L"ab", L"a", L"C", L""));
}

TEST(ICAttribute, SortByKey_NoMemory_IsForwarded)
{
    KEYS keys({L"b", L"a"});
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));

    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [&] { ICAttribute::mf_sortByKey(keys.m_array, 1); }));
    EXPECT_THAT(keys.mf_get(), ElementsAre(L"b", L"a"));
}

TEST(ICAttribute, SortByKey_ForeignException_BecomesUnexpected)
{
    KEYS keys({L"b", L"a"});
    ICImportPatch const foreign(IC_IMPORT(qsort),
                                [](void *, std::size_t, std::size_t, int (*)(void const *, void const *)) { throw 5; });

    EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { ICAttribute::mf_sortByKey(keys.m_array, 1); }));
    EXPECT_THAT(keys.mf_get(), ElementsAre(L"b", L"a"));
}
