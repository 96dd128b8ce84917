#include "hsmbase/context/ICThreadContext.h"

#include <thread>

#include "tests/context/UntilTheTrace.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr char NOT_FOUND[] = "Failure getting thread context data: ";

struct OPERATION
{
    std::string tag;
    void (*action)();
};

// All that need the calling thread's context.
OPERATION const OPERATIONS[] = {
    {"ICThreadContext::mf_getType", [] { ICThreadContext::mf_getType(); }},
    {"ICThreadContext::mf_getIndex", [] { ICThreadContext::mf_getIndex(); }},
    {"ICThreadContext::mf_setState", [] { ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM); }},
    {"ICThreadContext::mf_getState", [] { ICThreadContext::mf_getState(); }},
    {"ICThreadContext::mf_getCurrentLanguageId", [] { ICThreadContext::mf_getCurrentLanguageId(); }},
    {"ICThreadContext::mf_getCurrentLanguageHandle", [] { ICThreadContext::mf_getCurrentLanguageHandle(); }},
    {"ICThreadContext::mf_setCanceled", [] { ICThreadContext::mf_setCanceled(1); }},
    {"ICThreadContext::mf_isCanceled", [] { ICThreadContext::mf_isCanceled(); }},
    {"ICThreadContext::mf_toString", [] { ICThreadContext::mf_toString(); }},
};

// The first call on this thread alone: the trace line finds the context again.
ICCalls f_firstCall()
{
    return ICCalls::mf_only(1).mf_onThisThread();
}

class ICThreadContextTrace : public testing::Test
{
protected:
    ICTracedProcess const m_process{L"German"};
};
} // namespace

TEST_F(ICThreadContextTrace, LookFails_IsTraced)
{
    for (OPERATION const & operation : OPERATIONS) {
        SCOPED_TRACE(operation.tag);
        ICImportFault const refused("TlsGetValue", ERROR_INVALID_PARAMETER, f_firstCall());
        auto const outcome = m_process.mf_run(operation.action);
        for (std::string const & tag : {std::string("ICThreadContext::mf_implGetThreadContext"), operation.tag})
            EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, tag, NOT_FOUND));
    }
}

TEST_F(ICThreadContextTrace, NoContextIsFound_IsOneLine)
{
    for (OPERATION const & operation : OPERATIONS) {
        SCOPED_TRACE(operation.tag);
        ICImportFault const empty("TlsGetValue", ICAnswer::mf_value(nullptr), f_firstCall());
        auto const outcome = m_process.mf_run(operation.action);
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Unexpected, operation.tag, NOT_FOUND));
        EXPECT_EQ(1u, outcome.m_records.size());
    }
}

TEST_F(ICThreadContextTrace, ThreadWithoutContext_LeavesNoLine)
{
    auto const records = m_process.mf_trace([] {
        std::thread([] {
            ICThreadContext::mf_isInitialized();
            for (OPERATION const & operation : OPERATIONS)
                EXPECT_THROW(operation.action(), ICErrno);
        }).join();
    });
    EXPECT_THAT(records, IsEmpty());
}

TEST_F(ICThreadContextTrace, IsInitializedAndDelete_LookFails_IsTraced)
{
    OPERATION const operations[] = {{"ICThreadContext::mf_isInitialized", [] { ICThreadContext::mf_isInitialized(); }},
                                    {"ICThreadContext::mf_delete", [] { ICThreadContext::mf_delete(); }}};
    for (OPERATION const & operation : operations) {
        SCOPED_TRACE(operation.tag);
        ICImportFault const refused("TlsGetValue", ERROR_INVALID_PARAMETER, f_firstCall());
        auto const outcome = m_process.mf_run(operation.action);
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, operation.tag, NOT_FOUND));
    }
}

TEST_F(ICThreadContextTrace, Create_TracesTheContextInTheLoggingLanguage)
{
    std::string text;
    auto const records = m_process.mf_trace([&text] {
        std::thread([&text] {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, 7);
            ICThreadContext::mf_setLoggingLanguage();
            text = f_logged("Thread context data attached:\n", ICThreadContext::mf_toString());
            ICThreadContext::mf_delete();
        }).join();
    });
    EXPECT_THAT(records, ElementsAre(f_isRecord('T', "ICThreadContext::mf_create", text)));
}

TEST_F(ICThreadContextTrace, Create_Twice_IsAnErrorOnTheWarning)
{
    EXPECT_THAT(m_process.mf_run([] { ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 1); }),
                f_failsShowing(ICErrno::_W_::AlreadyInitialized, "ICThreadContext::mf_create",
                               "Failure setting thread context data: "));
}

TEST_F(ICThreadContextTrace, Create_NoMemory_IsAnError)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(
        m_process.mf_run([] { ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 1); }),
        f_fails(ICErrno::_E_::Memory, 'E', "ICThreadContext::mf_create", "No memory for thread context allocation"));
}

TEST_F(ICThreadContextTrace, Create_NoLanguages_IsAnErrorOfConstructorAndCreation)
{
    auto const outcome = m_process.mf_run([] {
        UntilTheTrace const without(ICLanguage::m_pThis, nullptr);
        ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 1);
    });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Initialization, "ICThreadContext::ICThreadContext",
                                        "Failure getting language handle(s): "));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Initialization, "ICThreadContext::mf_create",
                                        "Failure creating thread context: "));
}

TEST_F(ICThreadContextTrace, Delete_SlotCannotBeCleared_IsAnError)
{
    ICImportFault const refused("TlsSetValue", ERROR_INVALID_PARAMETER, f_firstCall());
    EXPECT_THAT(m_process.mf_run([] { ICThreadContext::mf_delete(); }),
                f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, "ICThreadContext::mf_delete",
                               "Failure cleaning thread context data: "));
}

TEST_F(ICThreadContextTrace, SetState_TracesTheCounterAndWhatItMeans)
{
    auto const records = m_process.mf_trace([] {
        for (ulong const state : {ICThreadContext::STATE_ITEM, ICThreadContext::STATE_GLOBAL})
            ICThreadContext::mf_setState(state);
    });
    EXPECT_THAT(records, ElementsAre(f_isRecord('T', "ICThreadContext::mf_setState",
                                                "Thread state counter decremented to -1 (STATE_ITEM)"),
                                     f_isRecord('T', "ICThreadContext::mf_setState",
                                                "Thread state counter incremented to 0 (STATE_GLOBAL)")));
}

TEST_F(ICThreadContextTrace, SetState_Unknown_FailsAtTheLevelOfTraces)
{
    EXPECT_THAT(m_process.mf_run([] { ICThreadContext::mf_setState(3); }),
                f_fails(ICErrno::_E_::Internal, 'T', "ICThreadContext::mf_setState",
                        "Unknown Thread state: 3 (<UNEXPECTED-THREAD-STATE>)"));
}

TEST_F(ICThreadContextTrace, SetCanceled_MainThread_IsNotPossible)
{
    EXPECT_THAT(
        m_process.mf_trace([] { ICThreadContext::mf_setCanceled(1); }),
        Contains(f_isRecord('T', "ICThreadContext::mf_setCanceled", "Main thread, thread cancelation not possible")));
}
