#include <gtest/gtest.h>

#include "hsmbase/failure/internal/ICHandle.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "tests/support/ICStartedProcess.h"

namespace
{

wchar_t const sFunction[] = L"ICTraceTest";

// Notes the language in which an argument of a trace line is made.
unsigned short sLanguageOfArgument;

CString f_noteLanguage()
{
    sLanguageOfArgument = ICThreadContext::mf_getCurrentLanguageId();
    return L"noted";
}

struct COUNTED_HANDLE
{
    using TYPE = int;
    static int mf_none() { return 0; }
    static int mf_close(int)
    {
        ++sCloses;
        ::SetLastError(77);
        return sAnswer;
    }
    static inline int sCloses;
    static inline int sAnswer;
};

using ICCountedHandle = ICHandle<COUNTED_HANDLE>;

} // namespace

// The language is switched before the arguments are made, and is the user's again behind each kind of trace call.
class ICTraceInGerman : public testing::Test
{
protected:
    void SetUp() override { sLanguageOfArgument = 0; }

    void TearDown() override
    {
        EXPECT_EQ(1033, sLanguageOfArgument);
        EXPECT_EQ(1031, ICThreadContext::mf_getCurrentLanguageId());
    }

    ICStartedProcess const m_process{L"German"};
};

TEST_F(ICTraceInGerman, Error_MakesItsArgumentsInTheLoggingLanguage)
{
    ICTrace(sFunction).mf_error(L"%s", f_noteLanguage());
}

TEST_F(ICTraceInGerman, WarningInfoTraceDebug_Likewise)
{
    ICTrace(sFunction).mf_warning(L"%s", f_noteLanguage());
    ICTrace(sFunction).mf_info(L"%lu %s", 1ul, f_noteLanguage());
    ICTrace(sFunction).mf_trace(L"%s %c", f_noteLanguage(), L'x');
    ICTrace(sFunction).mf_debug(L"%I64d %s", 5ll, f_noteLanguage());
}

TEST_F(ICTraceInGerman, Failed_Likewise)
{
    ICErrno const failure = ICTrace(sFunction).mf_failed(ICErrno::_E_::CRC, L"%s", f_noteLanguage());
    EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::CRC));
}

TEST_F(ICTraceInGerman, FailedAt_Likewise)
{
    ICErrno const failure =
        ICTrace(sFunction).mf_failedAt(ICLogData::LEVEL_W, ICErrno::_W_::Timeout, L"%s", f_noteLanguage());
    EXPECT_TRUE(failure.mf_isErrno(ICErrno::_W_::Timeout));
}

TEST_F(ICTraceInGerman, Collect_Likewise)
{
    ICErrnoData outcome;
    ICTrace(sFunction).mf_collect(outcome, ICErrno::_E_::CRC, L"%s", f_noteLanguage());
    EXPECT_EQ(ICErrno::_E_::CRC.mf_getNumber(), outcome.mf_getNumber());
}

TEST(ICTrace, Collect_KeepsTheFirstFailure)
{
    ICErrnoData outcome;
    ICTrace(sFunction).mf_collect(outcome, ICErrno(ICErrno::_W_::Timeout, 5), L"first");
    ICTrace(sFunction).mf_collect(outcome, ICErrno::_S_::Internal, L"second");
    EXPECT_EQ(ICErrno::_W_::Timeout.mf_getNumber(), outcome.mf_getNumber());
    EXPECT_EQ(5u, outcome.mf_getOriginatorErrno());
}

TEST(ICTrace, Failed_CarriesTheCauseAndMovesItsFlag)
{
    ICErrnoData cause(ICErrno::_E_::FileOpen);
    cause.mf_setOriginator(ICErrnoData::BACKUP, 9, L"tape");
    cause.mf_setAdminLogFlag(1);
    ICErrno const failure = ICTrace(sFunction).mf_failed(cause, L"%s", L"text");
    EXPECT_EQ(9u, failure.mf_getErrnoData().mf_getOriginatorErrno());
    EXPECT_TRUE(failure.mf_getErrnoData().mf_isAdminLogFlagSet());
    EXPECT_FALSE(cause.mf_isAdminLogFlagSet());
}

TEST(ICTrace, SystemFailure_ReadsTheLastErrorFirst)
{
    ICStartedProcess const process;
    ::SetLastError(ERROR_SHARING_VIOLATION);
    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileOpen);
    EXPECT_EQ(ulong(ERROR_SHARING_VIOLATION), failure.mf_getErrnoData().mf_getOriginatorErrno());
    ICErrno const given = f_systemFailure(ICErrno::_E_::Registry, ERROR_KEY_DELETED);
    EXPECT_EQ(ulong(ERROR_KEY_DELETED), given.mf_getErrnoData().mf_getOriginatorErrno());
}

TEST(ICTrace, OnAThreadWithoutContext_DoesNothingAndThrowsNothing)
{
    EXPECT_NO_THROW(ICTrace(sFunction).mf_error(L"%s %lu", CString(L"text"), 5ul));
    EXPECT_NO_THROW(ICLog::mf_writeMessage(ICLogData::LEVEL_E, L"wide", L"%s", L"text"));
    EXPECT_NO_THROW(ICLog::mf_writeMessage(ICLogData::LEVEL_E, "narrow", "%s", "text"));
    EXPECT_EQ(0, ICLog::mf_isReady());
    EXPECT_EQ(0, ICLog::mf_hasLogLevel(ICLogData::LEVEL_E));
}

TEST(ICLog, Tab_IsFourBlanks)
{
    EXPECT_STREQ(L"    ", ICLog::TAB);
    EXPECT_STREQ("    ", ICLog::TABA);
}

TEST(ICHandle, Destructor_ClosesAndKeepsTheLastError)
{
    COUNTED_HANDLE::sCloses = 0;
    ::SetLastError(5);
    {
        ICCountedHandle const open(3);
        EXPECT_TRUE(open.mf_isOpen());
        ICCountedHandle const none;
        EXPECT_FALSE(none.mf_isOpen());
    }
    EXPECT_EQ(1, COUNTED_HANDLE::sCloses);
    EXPECT_EQ(5u, ::GetLastError());
}

TEST(ICHandle, Close_AnswersTheKindsAnswerAndClosesOnce)
{
    COUNTED_HANDLE::sCloses = 0;
    COUNTED_HANDLE::sAnswer = 12;
    {
        ICCountedHandle handle;
        *handle.mf_receive() = 8;
        EXPECT_EQ(8, handle.mf_get());
        EXPECT_EQ(12, handle.mf_close());
        EXPECT_FALSE(handle.mf_isOpen());
    }
    EXPECT_EQ(1, COUNTED_HANDLE::sCloses);
}
