// What the commands do to the switch: states, event, reason, copies.
#include "tests/threads/CancelTest.h"

#include "tests/support/ICImportFault.h"
#include "tests/threads/ICRawStorage.h"

#include <cstring>

using testing::ElementsAre;

namespace
{

using COMMAND = void (*)(ICCancelSwitch &);

void f_cancel(ICCancelSwitch & cancelSwitch)
{
    cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
}

COMMAND const PAUSE = [](ICCancelSwitch & cancelSwitch) { cancelSwitch.mf_pause(); };
COMMAND const RESUME = [](ICCancelSwitch & cancelSwitch) { cancelSwitch.mf_resume(); };
COMMAND const RESET = [](ICCancelSwitch & cancelSwitch) { cancelSwitch.mf_reset(); };

// A command to a switch in a state, with its event signalled or not. Unless told otherwise, it works.
struct TRANSITION
{
    char const * m_name;
    COMMAND m_command;
    long m_before;
    bool m_isSignalledBefore;
    long m_after;
    bool m_isSignalledAfter;
    bool m_fails = false;
};

TRANSITION const TRANSITIONS[] = {
    {"pause, running", PAUSE, 0, true, 1, false},
    {"pause, paused", PAUSE, 1, true, 1, false},
    {"pause, cancelled", PAUSE, 2, true, 2, true},
    {"pause, unknown", PAUSE, 5, true, 5, true, true},
    {"pause, unknown below", PAUSE, -1, true, -1, true, true},
    {"resume, running", RESUME, 0, false, 0, false},
    {"resume, paused", RESUME, 1, false, 0, true},
    {"resume, cancelled", RESUME, 2, false, 2, false},
    {"resume, unknown", RESUME, 5, false, 5, false, true},
    {"cancel, running", f_cancel, 0, false, 2, false},
    {"cancel, paused", f_cancel, 1, false, 2, true},
    {"cancel, cancelled", f_cancel, 2, false, 2, false},
    {"cancel, unknown", f_cancel, 5, false, 5, false, true},
    {"reset, running", RESET, 0, false, 0, true},
    {"reset, paused", RESET, 1, false, 0, true},
    {"reset, cancelled", RESET, 2, false, 0, true},
    {"reset, unknown", RESET, 5, false, 0, true},
};

// Of switches that share an event, one alone may be destroyed.
using ICCopiedSwitch = ICRawStorage<ICCancelSwitch>;

bool f_hasSameBytes(CRITICAL_SECTION const & one, CRITICAL_SECTION const & other)
{
    return std::memcmp(&one, &other, sizeof(one)) == 0;
}

ICErrnoData f_reason(wchar_t const * text)
{
    ICErrnoData reason(ICErrno::_E_::FileOpen);
    reason.mf_setMessageText(text, 1);
    return reason;
}

} // namespace

TEST(ICCancelSwitch, New_IsRunning)
{
    ICCancelSwitch const cancelSwitch;
    EXPECT_EQ(0, cancelSwitch.m_state);
    EXPECT_EQ(0, cancelSwitch.mf_isPaused());
    EXPECT_EQ(0, cancelSwitch.mf_isCanceled());
    EXPECT_EQ(1, cancelSwitch.mf_doesLogCancelation());
    EXPECT_FALSE(cancelSwitch.mf_getErrnoData().mf_isSet());
    // A manual reset: looking doesn't take the signal away.
    EXPECT_TRUE(f_isSignalled(cancelSwitch));
    EXPECT_TRUE(f_isSignalled(cancelSwitch));
}

TEST(ICCancelSwitch, Commands_AnyState_ChangeStateAndEvent)
{
    for (TRANSITION const & transition : TRANSITIONS) {
        SCOPED_TRACE(transition.m_name);
        ICCancelSwitch cancelSwitch;
        cancelSwitch.m_state = transition.m_before;
        if (!transition.m_isSignalledBefore) ::ResetEvent(cancelSwitch.m_hWaitEvent);
        if (transition.m_fails)
            EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transition.m_command(cancelSwitch); }));
        else
            transition.m_command(cancelSwitch);
        EXPECT_EQ(transition.m_after, cancelSwitch.m_state);
        EXPECT_EQ(transition.m_isSignalledAfter, f_isSignalled(cancelSwitch));
        EXPECT_EQ(transition.m_after == 1, cancelSwitch.mf_isPaused());
        EXPECT_EQ(transition.m_after == 2, cancelSwitch.mf_isCanceled());
    }
}

TEST(ICCancelSwitch, Resume_NoPause_DoesNothing)
{
    ICCancelSwitch cancelSwitch;
    ICImportFault const refused("SetEvent", ERROR_INVALID_HANDLE);
    cancelSwitch.mf_resume();
    EXPECT_EQ(0u, refused.mf_getCalls());
    EXPECT_EQ(0, cancelSwitch.m_state);
}

TEST(ICCancelSwitch, Cancel_Running_TouchesNoEvent)
{
    ICCancelSwitch cancelSwitch;
    ICImportFault const refused("SetEvent", ERROR_INVALID_HANDLE);
    f_cancel(cancelSwitch);
    EXPECT_EQ(0u, refused.mf_getCalls());
    EXPECT_TRUE(cancelSwitch.mf_isCanceled());
}

TEST(ICCancelSwitch, Cancel_KeepsTheReason)
{
    ICCancelSwitch cancelSwitch;
    cancelSwitch.mf_cancel(f_reason(L"why"));
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), cancelSwitch.mf_getErrnoData().mf_getNumber());
    EXPECT_STREQ(L"why", cancelSwitch.mf_getErrnoData().mf_getMessageText());
}

TEST(ICCancelSwitch, Cancel_Twice_FirstReasonStands)
{
    ICCancelSwitch cancelSwitch;
    cancelSwitch.mf_pause();
    cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
    cancelSwitch.mf_cancel(ICErrno::_S_::Unspecific);
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), cancelSwitch.mf_getErrnoData().mf_getNumber());
}

// The debt of a line in the administrator's log goes with the record: to the switch, and to the first who asks.
TEST(ICCancelSwitch, Reason_AdminLogFlag_MovesOn)
{
    ICCancelSwitch cancelSwitch;
    ICErrnoData reason(ICErrno::_E_::FileOpen);
    reason.mf_setAdminLogFlag(1);
    cancelSwitch.mf_cancel(reason);
    EXPECT_FALSE(reason.mf_isAdminLogFlagSet());
    ICErrnoData first = cancelSwitch.mf_getErrnoData();
    EXPECT_TRUE(first.mf_isAdminLogFlagSet());
    EXPECT_FALSE(cancelSwitch.mf_getErrnoData().mf_isAdminLogFlagSet());
    first.mf_setAdminLogFlag(0);
}

TEST(ICCancelSwitch, Cancel_ReasonIsThereAheadOfTheState_EventBehindIt)
{
    ICCancelSwitch cancelSwitch;
    cancelSwitch.mf_pause();
    std::vector<std::string> steps;
    auto const note = [&](char const * step) {
        steps.push_back(step + std::string(cancelSwitch.m_errnoData.mf_isSet() ? ", reason" : "") +
                        (cancelSwitch.mf_isCanceled() ? ", cancelled" : ""));
    };
    ICImportPatch const enter(IC_IMPORT(EnterCriticalSection), [&](CRITICAL_SECTION * lock) {
        if (lock == &cancelSwitch.m_csErrnoData) note("lock");
        ::EnterCriticalSection(lock);
    });
    ICImportPatch const leave(IC_IMPORT(LeaveCriticalSection), [&](CRITICAL_SECTION * lock) {
        if (lock == &cancelSwitch.m_csErrnoData) note("unlock");
        ::LeaveCriticalSection(lock);
    });
    ICImportPatch const set(IC_IMPORT(SetEvent), [&](HANDLE event) {
        note("event");
        return ::SetEvent(event);
    });
    cancelSwitch.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_THAT(steps, ElementsAre("lock", "unlock, reason", "event, reason, cancelled"));
}

TEST(ICCancelSwitch, EventOperations_FindTheNewState)
{
    struct STEP
    {
        COMMAND m_command;
        long m_before;
        long m_after;
    };
    for (STEP const & step : {STEP{PAUSE, 0, 1}, STEP{RESUME, 1, 0}, STEP{f_cancel, 1, 2}, STEP{RESET, 2, 0}}) {
        ICCancelSwitch cancelSwitch;
        cancelSwitch.m_state = step.m_before;
        std::vector<long> found;
        auto const note = [&](HANDLE) {
            found.push_back(long{cancelSwitch.m_state});
            return TRUE;
        };
        ICImportPatch const set(IC_IMPORT(SetEvent), [&](HANDLE event) { return note(event); });
        ICImportPatch const reset(IC_IMPORT(ResetEvent), [&](HANDLE event) { return note(event); });
        step.m_command(cancelSwitch);
        EXPECT_THAT(found, ElementsAre(step.m_after));
    }
}

TEST(ICCancelSwitch, Reset_KeepsTheReason)
{
    ICCancelSwitch cancelSwitch;
    cancelSwitch.mf_cancel(f_reason(L"why"));
    cancelSwitch.mf_reset();
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), cancelSwitch.mf_getErrnoData().mf_getNumber());
    EXPECT_STREQ(L"why", cancelSwitch.mf_getErrnoData().mf_getMessageText());
}

TEST(ICCancelSwitch, Reset_EarlierReasonShowsThroughALaterOne)
{
    ICCancelSwitch cancelSwitch;
    cancelSwitch.mf_cancel(f_reason(L"why"));
    cancelSwitch.mf_reset();
    cancelSwitch.mf_cancel(ICErrno::_E_::FileClose);
    EXPECT_EQ(ICErrno::_E_::FileClose.mf_getNumber(), cancelSwitch.mf_getErrnoData().mf_getNumber());
    EXPECT_STREQ(L"why", cancelSwitch.mf_getErrnoData().mf_getMessageText());
}

// Nobody calls it up to now.
TEST(ICCancelSwitch, ResetErrnoData_DeclaresTheReasonGone)
{
    ICCancelSwitch cancelSwitch;
    cancelSwitch.mf_cancel(f_reason(L"why"));
    cancelSwitch.mf_implResetErrnoData();
    EXPECT_FALSE(cancelSwitch.mf_getErrnoData().mf_isSet());
    EXPECT_STREQ(L"why", cancelSwitch.mf_getErrnoData().mf_getMessageText());
    EXPECT_TRUE(cancelSwitch.mf_isCanceled());
}

TEST(ICCancelSwitch, LogCancelation_IsWhatWasSet)
{
    ICCancelSwitch cancelSwitch;
    for (int const log : {0, 7, 1}) {
        cancelSwitch.mf_setLogCancelation(log);
        EXPECT_EQ(log, cancelSwitch.mf_doesLogCancelation());
    }
}

TEST(ICCancelSwitch, Copy_IsMemberByMember)
{
    ICCancelSwitch original;
    original.mf_setLogCancelation(0);
    original.mf_cancel(ICErrno::_E_::FileOpen);
    ICCopiedSwitch storage;
    ICCancelSwitch & copy = storage.mf_make(original);
    EXPECT_EQ(original.m_hWaitEvent, copy.m_hWaitEvent);
    EXPECT_TRUE(copy.mf_isCanceled());
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), copy.m_errnoData.mf_getNumber());
    EXPECT_TRUE(f_hasSameBytes(original.m_csErrnoData, copy.m_csErrnoData));
    EXPECT_EQ(0, copy.mf_doesLogCancelation());
}

TEST(ICCancelSwitch, Assignment_IsMemberByMember)
{
    ICCancelSwitch one;
    ICCancelSwitch other;
    other.mf_setLogCancelation(0);
    other.mf_cancel(ICErrno::_E_::FileOpen);
    ICCopiedSwitch storage;
    ICCancelSwitch & copy = storage.mf_make(one);
    copy = other;
    EXPECT_EQ(other.m_hWaitEvent, copy.m_hWaitEvent);
    EXPECT_TRUE(copy.mf_isCanceled());
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), copy.m_errnoData.mf_getNumber());
    EXPECT_TRUE(f_hasSameBytes(other.m_csErrnoData, copy.m_csErrnoData));
    EXPECT_EQ(0, copy.mf_doesLogCancelation());
}

TEST(ICCancelSwitch, Copy_SharesTheEventAndNotTheState)
{
    ICCancelSwitch original;
    ICCopiedSwitch storage;
    ICCancelSwitch & copy = storage.mf_make(original);
    copy.mf_pause();
    EXPECT_FALSE(original.mf_isPaused());
    EXPECT_FALSE(f_isSignalled(original));
    original.mf_cancel(ICErrno::_E_::FileOpen);
    EXPECT_TRUE(copy.mf_isPaused());
    copy.mf_resume();
    EXPECT_TRUE(original.mf_isCanceled());
    EXPECT_TRUE(f_isSignalled(original));
}
