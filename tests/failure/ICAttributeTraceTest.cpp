#include <cstdlib>

#include "hsmbase/failure/ICAttribute.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"

namespace
{
class ICAttributeTrace : public testing::Test
{
protected:
    ICAttributeTrace()
    {
        m_attributes.Add(&m_first);
        m_attributes.Add(&m_second);
    }

    ICTracedProcess const m_process{L"German"};
    ICAttribute m_first{L"b", L""};
    ICAttribute m_second{L"a", L""};
    ICArray<ICAttribute *, ICAttribute *> m_attributes;
};
} // namespace

TEST_F(ICAttributeTrace, TextThatIsNoBoolean_IsAnError)
{
    EXPECT_THAT(
        m_process.mf_run([] { ICAttribute::mf_StringToBOOL(L"TRUE"); }),
        f_fails(ICErrno::_E_::Conversion, 'E', "ICAttribute::mf_StringToBOOL", "Value 'TRUE' is not of type BOOL"));
}

TEST_F(ICAttributeTrace, SortWithoutMemory_TellsSizesAndForwards)
{
    ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    auto const outcome = m_process.mf_run([&] { ICAttribute::mf_sortByKey(m_attributes, 1); });
    EXPECT_THAT(outcome,
                f_fails(ICErrno::_E_::Memory, 'E', "ICArray::mf_sort", "No memory for 2 array entries (16 bytes)"));
    EXPECT_THAT(outcome,
                f_failsShowing(ICErrno::_E_::Memory, "ICAttribute::mf_sortByKey", "Failure sorting attribute array: "));
}

TEST_F(ICAttributeTrace, SortWithForeignException_IsUnexpected)
{
    ICImportPatch const foreign(IC_IMPORT(qsort),
                                [](void *, std::size_t, std::size_t, int (*)(void const *, void const *)) { throw 5; });
    EXPECT_THAT(
        m_process.mf_run([&] { ICAttribute::mf_sortByKey(m_attributes, 1); }),
        f_fails(ICErrno::_E_::Unexpected, 'E', "ICAttribute::mf_sortByKey", "Exception sorting attribute array"));
}
