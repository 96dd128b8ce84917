// The sweep catches what an operation does wrong when a call fails. It is tested here because it sweeps the library.
#include "tests/support/ICImportSweep.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"

namespace
{

class ICImportSweepTest : public testing::Test
{
protected:
    // What the sweep complains of, one text a run.
    static std::vector<std::string> mf_complaintsOf(ICImportSweep & sweep)
    {
        testing::TestPartResultArray found;
        {
            testing::ScopedFakeTestPartResultReporter const reporter(
                testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &found);
            sweep.mf_run();
        }
        std::vector<std::string> complaints;
        for (int index = 0; index < found.size(); ++index)
            complaints.push_back(found.GetTestPartResult(index).message());
        return complaints;
    }

    // The same for an action; all complaints must have this text.
    static std::size_t mf_countComplaints(std::function<void()> action, std::string const & text)
    {
        ICImportSweep sweep("seeded", action);
        std::vector<std::string> const complaints = mf_complaintsOf(sweep);
        for (std::string const & complaint : complaints)
            EXPECT_NE(std::string::npos, complaint.find(text)) << complaint;
        return complaints.size();
    }

    void mf_look() const { ICPath::mf_getAttributes(m_path, 1); }

    ICStartedProcess const m_process;
    ICTemporaryFile const m_file{"text"};
    CString const m_path{m_file.mf_getPath().c_str()};
};

// Those of GetFileAttributesW.
constexpr std::size_t ERRORS_OF_LOOKING = 5;

} // namespace

TEST_F(ICImportSweepTest, SoundOperation_IsLeftInPeace)
{
    EXPECT_EQ(0u, mf_countComplaints([&] { mf_look(); }, ""));
    ICImportSweep sweep("sound", [&] { mf_look(); });
    EXPECT_EQ(ERRORS_OF_LOOKING, sweep.mf_run());
}

TEST_F(ICImportSweepTest, HandleThatStaysOpen_IsFound)
{
    HANDLE left = nullptr;
    auto const leak = [&] {
        HANDLE const file = left = ICPath::mf_implOpenSourceFile(m_path);
        mf_look();
        ICPath::mf_implCloseFile(file);
        left = nullptr;
    };
    ICImportSweep sweep("seeded", leak);
    sweep.m_settle = [&] {
        if (left) ::CloseHandle(left);
        left = nullptr;
    };
    std::vector<std::string> const complaints = mf_complaintsOf(sweep);
    ASSERT_EQ(ERRORS_OF_LOOKING, complaints.size());
    EXPECT_NE(std::string::npos, complaints[0].find("call 1 of 1 of GetFileAttributesW failing by 5: left open: a "
                                                    "handle of CreateFileW"));
}

TEST_F(ICImportSweepTest, HandleThatIsClosedTwice_OrAsASearch_IsFound)
{
    auto const close = [&] {
        HANDLE const file = ICPath::mf_implOpenSourceFile(m_path);
        ICPath::mf_implCloseFile(file);
        ICPath::mf_implCloseFile(file);
    };
    EXPECT_NE(0u, mf_countComplaints(close, "CloseHandle of what is not open"));
}

TEST_F(ICImportSweepTest, MemoryThatStays_IsFound)
{
    std::vector<int *> left;
    left.reserve(1000);
    auto const leak = [&] {
        left.push_back(new int[100]);
        mf_look();
        delete[] left.back();
        left.pop_back();
    };
    EXPECT_EQ(ERRORS_OF_LOOKING, mf_countComplaints(leak, "left behind: 0 handles, 1 heap blocks, 0 threads"));
    for (int const * const block : left)
        delete[] block;
}

TEST_F(ICImportSweepTest, ForeignException_IsFound)
{
    auto const translate = [&] {
        try {
            mf_look();
        }
        catch (ICErrno &) {
            throw 1;
        }
    };
    EXPECT_EQ(ERRORS_OF_LOOKING, mf_countComplaints(translate, "left by a foreign exception"));
}

TEST_F(ICImportSweepTest, WhatTheCheckFinds_IsTold)
{
    ICImportSweep sweep("seeded", [&] { mf_look(); });
    sweep.m_check = [](ICSweepRun const & run) { return run.m_end == ICSweepRun::FAILED ? "a lock stays" : ""; };
    std::vector<std::string> const complaints = mf_complaintsOf(sweep);
    ASSERT_EQ(ERRORS_OF_LOOKING, complaints.size());
    EXPECT_NE(std::string::npos, complaints[0].find("a lock stays"));
}

TEST_F(ICImportSweepTest, OperationWithoutAnyCall_OrWithoutTheSameCalls_IsFound)
{
    EXPECT_EQ(1u, mf_countComplaints([] {}, "reaches no call that could fail"));
    int looks = 0;
    auto const lookOnce = [&] {
        if (looks++ == 0) mf_look();
    };
    EXPECT_EQ(ERRORS_OF_LOOKING, mf_countComplaints(lookOnce, "the call was not reached"));
}
