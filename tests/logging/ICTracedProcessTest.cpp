#include "tests/support/ICTracedProcess.h"

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"

using testing::_;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(ICTracedProcess, OpensWithTheStartBanner)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_read(), Contains(f_isRecord('I', "ICStatus::mf_setStatus", StartsWith("**** Logging"))));
}

TEST(ICTracedProcess, TellsFailureAndRecord)
{
    ICTracedProcess const process;
    ICImportFault const denied("GetFileAttributesW", ERROR_ACCESS_DENIED);
    EXPECT_THAT(process.mf_run([] { ICPath::mf_getAttributes(L"Z:\\none", 1); }),
                f_fails(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED, 'E', "ICPath::mf_getAttributes",
                        StartsWith("Failure getting file attributes for file 'Z:\\none':\n")));
}

TEST(ICTracedProcess, TellsOnlyWhatTheActionLeft)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_trace([] {}), IsEmpty());
    auto const records =
        process.mf_trace([] { ICLog::mf_writeMessage(ICLogData::LEVEL_K, L"C::mf_x", L"a\r\n    b \x20ac"); });
    EXPECT_THAT(records, ElementsAre(f_isRecord('K', "C::mf_x", "a\nb \xe2\x82\xac")));
    EXPECT_THAT(records, Not(Contains(f_isRecord('W', "C::mf_x", _))));
    EXPECT_THAT(records, Not(Contains(f_isRecord('K', "C::mf_y", _))));
    EXPECT_THAT(records, Not(Contains(f_isRecord('K', "C::mf_x", "a"))));
}
