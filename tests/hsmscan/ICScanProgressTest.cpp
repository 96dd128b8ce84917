#include "programs/hsmscan/ICScanProgress.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/text/ICNumberFormatter.h"
#include "programs/hsmscan/ICScanCounts.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICStartedProcess.h"

namespace
{
ICMeetingPoint * sShown = nullptr;
std::vector<CString> sTexts;

void f_show(CString const & status)
{
    sTexts.push_back(status);
    if (!status.IsEmpty() && sTexts.size() == 1) sShown->mf_arrive();
}

class ICScanProgressTest : public testing::Test
{
protected:
    void SetUp() override
    {
        sShown = &m_shown;
        ICNumberFormatter::mf_createInstance();
        ICLeakAccount::mf_excuse("the timer's thread handle and record stay", 1, 4);
    }
    void TearDown() override
    {
        ICNumberFormatter::mf_deleteInstance();
        sTexts = {};
    }

    ICStartedProcess const m_process;
    ICMeetingPoint m_shown{2};
    ICScanCounts m_counts;
};
} // namespace

TEST_F(ICScanProgressTest, Line_TellsCountsRateAndTime)
{
    m_counts.m_files = 1234;
    m_counts.m_directories = 56;
    m_counts.m_bytes = 7890;
    EXPECT_EQ(CString(L"1,234 files, 56 directories, 7,890 bytes, 617 files/s, 0:00:02"),
              ICScanProgress::mf_format(m_counts, 2000));
    EXPECT_EQ(CString(L"1,234 files, 56 directories, 7,890 bytes, 0 files/s, 1:02:03"),
              ICScanProgress::mf_format(m_counts, 3'723'999));
    EXPECT_EQ(CString(L"1,234 files, 56 directories, 7,890 bytes, 0 files/s, 0:00:00"),
              ICScanProgress::mf_format(m_counts, 0));
}

TEST_F(ICScanProgressTest, Status_IsShownWhileTheObjectLivesAndTakenAway)
{
    m_counts.m_files = 77;
    {
        ICScanProgress const progress(m_counts, &f_show, 0);
        EXPECT_TRUE(m_shown.mf_arrive());
    }
    ASSERT_GE(sTexts.size(), 2u);
    EXPECT_EQ(0, sTexts.front().Find(L"77 files, 0 directories, 0 bytes, "));
    EXPECT_TRUE(sTexts.back().IsEmpty());
}

TEST_F(ICScanProgressTest, ThreadThatCannotBeHad_ShowsNothing)
{
    ICImportFault const refused("CreateThread", ERROR_NOT_ENOUGH_MEMORY);
    {
        ICScanProgress const progress(m_counts, &f_show, 0);
    }
    EXPECT_THAT(sTexts, testing::ElementsAre(CString()));
}
