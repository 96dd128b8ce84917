#include <stdexcept>

#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr wchar_t FUNCTION[] = L"ICThing::mf_do";
constexpr char TAG[] = "ICThing::mf_do";

[[noreturn]] void f_fail()
{
    throw ICErrno(ICErrno::_E_::CRC, 23ul);
}

int f_failedCall()
{
    ::SetLastError(ERROR_IO_DEVICE);
    return 0;
}

// Counts its closings, the first of which fails.
struct FAKE_OWNER
{
    int mf_close()
    {
        if (++m_closes > 1) return 1;
        ::SetLastError(ERROR_INVALID_HANDLE);
        return 0;
    }
    int m_closes = 0;
};

// The user's language is not that of the log.
class ICFirstFailureTrace : public testing::Test
{
protected:
    ICTracedProcess const m_process{L"German"};
};

} // namespace

TEST(ICFirstFailure, NothingFailed_NothingIsThrown)
{
    ICFirstFailure outcome(FUNCTION);
    FAKE_OWNER owner{1};
    int steps = 0;
    EXPECT_TRUE(outcome.mf_run([&] { ++steps; }));
    EXPECT_TRUE(outcome.mf_run([&] { ++steps; }, L"%s"));
    EXPECT_TRUE(outcome.mf_call([&] { return ++steps; }, ICErrno::_E_::Parameter, L"%s"));
    EXPECT_TRUE(outcome.mf_close(owner, ICErrno::_E_::FileClose, L"%s"));

    EXPECT_EQ(3, steps);
    EXPECT_EQ(2, owner.m_closes);
    EXPECT_FALSE(outcome.mf_isSet());
    EXPECT_NO_THROW(outcome.mf_throw());
}

TEST(ICFirstFailure, FirstFailureIsThrown_AfterAllSteps)
{
    ICFirstFailure outcome(FUNCTION);
    FAKE_OWNER owner;
    EXPECT_FALSE(outcome.mf_run(&f_fail));
    EXPECT_TRUE(outcome.mf_isSet());
    EXPECT_FALSE(outcome.mf_call(&f_failedCall, ICErrno::_E_::Parameter, L"%s"));
    EXPECT_FALSE(outcome.mf_close(owner, ICErrno::_E_::FileClose, L"%s"));

    EXPECT_EQ(1, owner.m_closes);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::CRC, [&] { outcome.mf_throw(); }, 23));
}

TEST(ICFirstFailure, LaterFailureAlone_IsThrown)
{
    ICFirstFailure outcome(FUNCTION);
    FAKE_OWNER owner;
    outcome.mf_run([] {});
    outcome.mf_close(owner, ICErrno::_E_::FileClose, L"%s");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileClose, [&] { outcome.mf_throw(); }, ERROR_INVALID_HANDLE));
}

TEST(ICFirstFailure, PlatformsFailure_KeepsNoStaleNumber)
{
    ICFirstFailure outcome(FUNCTION);
    ::SetLastError(ERROR_IO_DEVICE);
    outcome.mf_call([] { return 0; }, ICErrno::_E_::Parameter, L"%s");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Parameter, [&] { outcome.mf_throw(); }, 0));
}

TEST(ICFirstFailure, ForeignException_IsKeptLikeAFailure)
{
    ICFirstFailure first(FUNCTION);
    EXPECT_FALSE(first.mf_run([] { throw std::length_error("foreign"); }, L"%s"));
    EXPECT_TRUE(first.mf_isSet());
    first.mf_run(&f_fail);
    EXPECT_THROW(first.mf_throw(), std::length_error);

    ICFirstFailure second(FUNCTION);
    second.mf_run(&f_fail);
    second.mf_run([] { throw std::length_error("foreign"); });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::CRC, [&] { second.mf_throw(); }, 23));
}

TEST_F(ICFirstFailureTrace, EachFailureLeavesItsLine_InTheLoggingLanguage)
{
    CString const path = L"D:\\x";
    auto const act = [&] {
        ICFirstFailure outcome(FUNCTION);
        FAKE_OWNER owner;
        outcome.mf_run(&f_fail, L"Failure of '%s':\r\n%s", path);
        outcome.mf_call(&f_failedCall, ICErrno::_E_::Parameter, L"%d calls: %s", 1);
        outcome.mf_close(owner, ICErrno::_E_::FileClose, L"Closing: %s");
        outcome.mf_throw();
    };
    auto const result = m_process.mf_run(act);
    auto const line = [](std::string const & text, ICErrnoValue const & constant, ulong error) {
        return f_isRecord('E', TAG, f_logged(text, constant, error));
    };
    EXPECT_THAT(result.m_records, ElementsAre(line("Failure of 'D:\\x':\n", ICErrno::_E_::CRC, 23),
                                              line("1 calls: ", ICErrno::_E_::Parameter, ERROR_IO_DEVICE),
                                              line("Closing: ", ICErrno::_E_::FileClose, ERROR_INVALID_HANDLE)));
}

TEST_F(ICFirstFailureTrace, StepWithoutText_LeavesNoLine)
{
    auto const result = m_process.mf_run([] {
        ICFirstFailure outcome(FUNCTION);
        outcome.mf_run(&f_fail);
        outcome.mf_run([] { throw std::length_error("foreign"); }, L"Not for this: %s");
        outcome.mf_throw();
    });
    EXPECT_THAT(result.m_records, IsEmpty());
    EXPECT_EQ(23u, result.m_originatorErrno);
}
