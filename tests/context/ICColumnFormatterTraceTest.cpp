#include "hsmbase/context/ICColumnFormatter.h"

#include "tests/support/LoggedFailure.h"

TEST(ICColumnFormatterTrace, NothingLeavesALine)
{
    ICTracedProcess const process;
    auto const records = process.mf_trace([] {
        ICColumnFormatter columns(L": ", L"  ", 0);
        columns.mf_addString(L"label", L"value", L"");
        columns.mf_addHex32(L"other", 42, L" bytes");
        columns.mf_getString();
    });
    EXPECT_THAT(records, testing::IsEmpty());
}
