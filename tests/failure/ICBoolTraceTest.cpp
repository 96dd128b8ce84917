#include "hsmbase/failure/ICBool.h"
#include "tests/support/LoggedFailure.h"

using testing::IsEmpty;

TEST(ICBoolTrace, UndefinedReadAsATruthValue_FailsWithoutALine)
{
    ICTracedProcess const process;
    for (auto const & read : {+[] { return static_cast<int>(ICBool()); }, +[] { return ICBool() == 1; }}) {
        auto const outcome = process.mf_run(read);
        EXPECT_EQ(static_cast<ulong>(ICErrno::_E_::BoolNotSet.mf_getNumber()), outcome.m_failure);
        EXPECT_THAT(outcome.m_records, IsEmpty());
    }
}
