#include "hsmbase/context/ICFormatter.h"

#include "tests/support/LoggedFailure.h"

TEST(ICFormatterTrace, NothingLeavesALine)
{
    ICTracedProcess const process;
    auto const records = process.mf_trace([] {
        CString label = L"Label";
        ICFormatter::mf_formatLine(L"a  b\r\n c");
        ICFormatter::mf_formatLines(L"a b c", L"- ", L"  ", 4, 1);
        ICFormatter::mf_formatHeaderLine(L"x", 10, L'-');
        ICFormatter::mf_appendFinalChar(L"a", L".");
        ICFormatter::mf_concatinate(ICArray<CString *, CString *>(), L", ");
        ICFormatter::mf_appendColon(label);
    });
    EXPECT_THAT(records, testing::IsEmpty());
}
