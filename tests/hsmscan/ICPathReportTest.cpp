#include "programs/hsmscan/ICPathReport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/text/ICNumberFormatter.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"

using testing::Each;
using testing::IsEmpty;
using testing::Not;
using testing::ResultOf;

namespace
{

class ICPathReportTest : public testing::Test
{
protected:
    void SetUp() override { ICNumberFormatter::mf_createInstance(); }
    void TearDown() override { ICNumberFormatter::mf_deleteInstance(); }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_file = m_directory.mf_makeFile(L"a.bin", "12345");
};

} // namespace

TEST_F(ICPathReportTest, Looking_RecallsNothing)
{
    ICFileCalls const calls;
    ICPathReport report(m_file.c_str());
    report.mf_print();
    EXPECT_TRUE(report.mf_getWorst().mf_isInfo());
    EXPECT_THAT(calls.mf_getBelow(m_directory.mf_getPath()), Not(IsEmpty()));
    EXPECT_THAT(calls.mf_getBelow(m_directory.mf_getPath()), Each(ResultOf(&f_couldRecall, false)));
    EXPECT_THAT(calls.mf_getUnknown(), IsEmpty());
}

TEST_F(ICPathReportTest, QuestionWithoutAnswer_IsTheWorst)
{
    ICImportFault const gone("GetCompressedFileSizeW", ERROR_ACCESS_DENIED);
    ICPathReport report(m_file.c_str());
    testing::internal::CaptureStderr();
    report.mf_print();
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(ICErrno::_E_::FileAccess.mf_getNumber(), report.mf_getWorst().mf_getNumber());
}
