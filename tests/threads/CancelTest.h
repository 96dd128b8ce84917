#pragma once

#include <exception>
#include <thread>
#include <vector>

#include "hsmbase/threads/ICCancelObject.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"

// What the tests of cancellation share.

// Does `action` on a thread with a worker's context; what it throws comes out here.
template<class ACTION>
void f_onWorker(ACTION action)
{
    std::exception_ptr failure;
    std::jthread([&] {
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, 1);
        try {
            action();
        }
        catch (...) {
            failure = std::current_exception();
        }
        ICThreadContext::mf_delete();
    }).join();
    if (failure) std::rethrow_exception(failure);
}

inline bool f_isSignalled(ICCancelSwitch const & cancelSwitch)
{
    return ::WaitForSingleObject(cancelSwitch.m_hWaitEvent, 0) == WAIT_OBJECT_0;
}

// Work that polls a switch of its own.
struct ICSwitchedWork
{
    ICSwitchedWork() { m_work.mf_installCancelSwitch(&m_switch); }

    ICCancelSwitch m_switch;
    ICCancelObject m_work;
};

// How a poll ended on a worker, and whether its thread counts as cancelled.
struct ICPollOutcome
{
    ulong m_failure = 0;
    int m_isCanceled = 0;

    bool operator==(ICPollOutcome const &) const = default;
};

inline ICPollOutcome const RETURNED{};
inline ICPollOutcome const CANCELED{static_cast<ulong>(ICErrno::_W_::UserCanceled.mf_getNumber()), 1};

// On a thread that has a context.
inline ICPollOutcome f_poll(ICCancelObject & work)
{
    ICPollOutcome outcome;
    try {
        work.mf_tryCancel();
    }
    catch (ICErrno & failure) {
        outcome.m_failure = static_cast<ulong>(failure.mf_getNumber());
    }
    outcome.m_isCanceled = ICThreadContext::mf_isCanceled();
    return outcome;
}

// Threads that poll a paused switch, each once. The object is built when all of them have reached their wait, and found
// an event that holds them there.
class ICWaitingPollers
{
public:
    explicit ICWaitingPollers(ICSwitchedWork & work, int count = 1)
        : m_arrived(count + 1), m_outcomes(static_cast<std::size_t>(count))
    {
        for (ICPollOutcome & outcome : m_outcomes)
            m_threads.emplace_back([&work, &outcome] { f_onWorker([&] { outcome = f_poll(work.m_work); }); });
        EXPECT_TRUE(m_arrived.mf_arrive());
    }

    // Waits for the threads to end.
    std::vector<ICPollOutcome> const & mf_join()
    {
        m_threads.clear();
        return m_outcomes;
    }

private:
    ICMeetingPoint m_arrived;
    ICImportPatch const m_wait{IC_IMPORT(WaitForSingleObject), [this](HANDLE event, DWORD milliseconds) {
                                   EXPECT_EQ(INFINITE, milliseconds);
                                   EXPECT_EQ(DWORD{WAIT_TIMEOUT}, ::WaitForSingleObject(event, 0));
                                   m_arrived.mf_arrive();
                                   return ::WaitForSingleObject(event, milliseconds);
                               }};
    std::vector<ICPollOutcome> m_outcomes;
    std::vector<std::jthread> m_threads;
};
