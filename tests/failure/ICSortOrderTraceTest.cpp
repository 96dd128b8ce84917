#include "hsmbase/failure/ICSortOrder.h"
#include "tests/support/LoggedFailure.h"

using testing::IsEmpty;

TEST(ICSortOrderTrace, ToggleOfNone_FailsWithoutALine)
{
    ICTracedProcess const process;
    auto const outcome = process.mf_run([] { ICSortOrder().mf_toggle(); });
    EXPECT_EQ(static_cast<ulong>(ICErrno::_E_::Initialization.mf_getNumber()), outcome.m_failure);
    EXPECT_THAT(outcome.m_records, IsEmpty());
}
