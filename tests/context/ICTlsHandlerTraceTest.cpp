#include "hsmbase/context/ICTlsHandler.h"

#include "tests/context/UntilTheTrace.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;

namespace
{
constexpr ulong NO_SLOT = 0xFFFFFFFF;

class ICTlsHandlerTrace : public testing::Test
{
protected:
    // What the action leaves where the process has no slot.
    template<class ACTION>
    ICTracedAction mf_runWithoutSlot(ACTION action) const
    {
        return m_process.mf_run([&action] {
            UntilTheTrace const without(ICTlsHandler::m_dwIndexContext, NO_SLOT);
            action();
        });
    }

    static std::string mf_namingSlot(char const * text)
    {
        return text + std::to_string(ICTlsHandler::m_dwIndexContext) + ":\n";
    }

    ICTracedProcess const m_process{L"German"};
};

// The first call on this thread alone: the trace line finds the slot again.
ICCalls f_firstCall()
{
    return ICCalls::mf_only(1).mf_onThisThread();
}
} // namespace

TEST_F(ICTlsHandlerTrace, InitializeTwice_IsAnError)
{
    EXPECT_THAT(
        m_process.mf_run([] { ICTlsHandler::mf_initialize(); }),
        f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICTlsHandler::mf_initialize", "TLS slot already initialized"));
}

TEST_F(ICTlsHandlerTrace, NoSlotLeft_ShowsTheFailedSlotAsSystemError)
{
    ICImportFault const full("TlsAlloc", ICAnswer::mf_error(ERROR_NO_SYSTEM_RESOURCES, NO_SLOT));
    EXPECT_THAT(mf_runWithoutSlot([] { ICTlsHandler::mf_initialize(); }),
                f_failsShowing(ICErrno::_E_::System, NO_SLOT, "ICTlsHandler::mf_initialize",
                               "Failure allocating TLS (thread local storage): "));
}

TEST_F(ICTlsHandlerTrace, TerminateWithoutSlot_Warns)
{
    EXPECT_THAT(mf_runWithoutSlot([] { ICTlsHandler::mf_terminate(); }).m_records,
                ElementsAre(f_isRecord('W', "ICTlsHandler::mf_terminate", "TLS slot was not initialized")));
}

TEST_F(ICTlsHandlerTrace, WithoutSlot_StoringAndFindingAreErrors)
{
    char const text[] = "TLS handler not initialized";
    EXPECT_THAT(mf_runWithoutSlot([] { ICTlsHandler::mf_setContextData(nullptr); }),
                f_fails(ICErrno::_E_::Initialization, 'E', "ICTlsHandler::mf_setContextData", text));
    EXPECT_THAT(mf_runWithoutSlot([] { ICTlsHandler::mf_getContextData(); }),
                f_fails(ICErrno::_E_::Initialization, 'E', "ICTlsHandler::mf_getContextData", text));
}

TEST_F(ICTlsHandlerTrace, SlotThatCannotBeRead_IsAnErrorOfStoringAndFinding)
{
    struct
    {
        char const * tag;
        void (*action)();
    } const operations[] = {
        {"ICTlsHandler::mf_setContextData", [] { ICTlsHandler::mf_setContextData(nullptr); }},
        {"ICTlsHandler::mf_getContextData", [] { ICTlsHandler::mf_getContextData(); }},
    };
    for (auto const & operation : operations) {
        SCOPED_TRACE(operation.tag);
        ICImportFault const refused("TlsGetValue", ERROR_INVALID_PARAMETER, f_firstCall());
        auto const outcome = m_process.mf_run(operation.action);
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, operation.tag,
                                            mf_namingSlot("Failure getting TLS thread context data for TLS index=")));
    }
}

TEST_F(ICTlsHandlerTrace, SecondContextOfAThread_IsAWarning)
{
    EXPECT_THAT(m_process.mf_run([this] { ICTlsHandler::mf_setContextData(this); }),
                f_fails(ICErrno::_W_::AlreadyInitialized, 'W', "ICTlsHandler::mf_setContextData",
                        "Thread context data already initialized"));
}

TEST_F(ICTlsHandlerTrace, SlotThatCannotBeWritten_IsAnError)
{
    ICImportFault const refused("TlsSetValue", ERROR_INVALID_PARAMETER, f_firstCall());
    EXPECT_THAT(m_process.mf_run([] { ICTlsHandler::mf_setContextData(nullptr); }),
                f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, "ICTlsHandler::mf_setContextData",
                               mf_namingSlot("Failure setting TLS thread context data for TLS index=")));
}
