#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "hsmbase/threads/ICTimerThread.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICTestGroup.h"

// What the tests of timers share.

constexpr ulong PERIODICALLY = 0xFFFFFFFF;

// Longer than any test.
constexpr ulong AN_HOUR = 3'600'000;

// A timer whose action does what the test says, beside counting. What it leaves behind is taken away when it ends, but
// for its thread's context, which is excused.
//
//     ICTestTimer timer([] { throw ICErrno(ICErrno::_E_::Parameter); });
//     timer.mf_start(0, 1, PERIODICALLY);
//     timer.mf_awaitExecution();
//     timer.mf_stop();
//
class ICTestTimer : public ICTimerThread
{
public:
    explicit ICTestTimer(std::function<void()> action = {})
        : ICTimerThread(L"T", ICThreadContext::TYPE_TIMER), m_action(std::move(action))
    {}
    ICTestTimer(ICTestTimer const &) = delete;
    ICTestTimer & operator=(ICTestTimer const &) = delete;

    ~ICTestTimer() override
    {
        if (HANDLE const thread = m_phThreads[0]) {
            if (!f_isSignalled(thread)) {
                ADD_FAILURE() << "the timer was left running";
                mf_stop();
            }
            EXPECT_TRUE(::CloseHandle(thread));
            ICLeakAccount::mf_excuse("a thread of a group leaves its context", 0, 1);
        }
        delete m_ppThreads[0];
    }

    // Until so many have begun.
    bool mf_awaitExecution(int number = 1)
    {
        while (m_executions < number)
            if (!m_executed.mf_await()) return false;
        return true;
    }

    // The end of the thread itself, without mf_stop.
    bool mf_awaitEnd() const { return f_isSignalled(m_phThreads[0], TEST_LIMIT); }

    // So that it sleeps next.
    void mf_beSleepy() { m_immediate = 0; }

    std::atomic<int> m_executions = 0;

private:
    void mf_implExecuteTimer() override
    {
        ++m_executions;
        m_executed.mf_give();
        if (m_action) m_action();
    }

    ICSignal m_executed;
    std::function<void()> const m_action;
};

// Has a hand in the sleeps of a timer: notes their periods, and answers them by `answer`. Read behind the thread's end.
class ICSleeps
{
public:
    using ANSWER = std::function<ulong(HANDLE wakeUp, ulong period)>;

    // Answers each sleep as if the period were over at once.
    static ulong mf_isOver(HANDLE, ulong) { return WAIT_TIMEOUT; }

    // Lets the platform sleep.
    static ulong mf_sleep(HANDLE wakeUp, ulong period) { return ::WaitForSingleObject(wakeUp, period); }

    explicit ICSleeps(ICTestTimer const & timer, ANSWER answer = &mf_sleep)
        : m_timer(timer), m_answer(std::move(answer))
    {}
    ICSleeps(ICSleeps const &) = delete;
    ICSleeps & operator=(ICSleeps const &) = delete;

    std::vector<ulong> const & mf_getPeriods() const { return m_periods; }

    // Until so many have begun.
    bool mf_awaitSleep(int number = 1)
    {
        while (m_begun < number)
            if (!m_sleeping.mf_await()) return false;
        return true;
    }

private:
    ulong mf_implAnswer(HANDLE handle, ulong period)
    {
        if (handle != m_timer.m_hWakeUp) return ::WaitForSingleObject(handle, period);
        m_periods.push_back(period);
        ++m_begun;
        m_sleeping.mf_give();
        return m_answer(handle, period);
    }

    ICTestTimer const & m_timer;
    ANSWER const m_answer;
    std::vector<ulong> m_periods;
    std::atomic<int> m_begun = 0;
    ICSignal m_sleeping;
    ICImportPatch const m_patch{IC_IMPORT(WaitForSingleObject),
                                [this](HANDLE handle, ulong period) { return mf_implAnswer(handle, period); }};
};
