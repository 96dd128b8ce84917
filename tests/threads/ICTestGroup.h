#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/threads/ICThreads.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICTracedProcess.h"

// What the tests of groups share.

// How long is waited for what happens at once: only a test that would hang needs it.
constexpr ulong TEST_LIMIT = 30'000;

// One thread waits for another; each wait takes one signal.
class ICSignal
{
public:
    ICSignal() : m_event(::CreateEventW(nullptr, FALSE, FALSE, nullptr)) {}
    ICSignal(ICSignal const &) = delete;
    ICSignal & operator=(ICSignal const &) = delete;
    ~ICSignal() { ::CloseHandle(m_event); }

    void mf_give() { ::SetEvent(m_event); }
    bool mf_await() { return ::WaitForSingleObject(m_event, TEST_LIMIT) == WAIT_OBJECT_0; }

private:
    HANDLE const m_event;
};

inline bool f_isSignalled(HANDLE handle, ulong timeout = 0)
{
    return ::WaitForSingleObject(handle, timeout) == WAIT_OBJECT_0;
}

// A group that does what the test says. A pass lasts until mf_stop when nothing else is said, and what's not said for
// start and stop is what every group does.
//
//     ICTestGroup group(2);
//     group.m_onStop = [](int index) { if (index == 1) throw ICErrno(ICErrno::_E_::Parameter); };
//     group.mf_up();
//     EXPECT_EQ(ICErrno::_E_::Parameter.mf_getNumber(), group.mf_down());
//
// What a group leaves behind is taken away when it ends, but for the threads' contexts, which are excused. Threads that
// a failed test has left running are ended.
class ICTestGroup : public ICThreads
{
public:
    using ACTION = std::function<void(int index)>;

    explicit ICTestGroup(int count, ulong type = ICThreadContext::TYPE_WORKER) : ICThreads(L"G", type, count) {}
    ICTestGroup(ICTestGroup const &) = delete;
    ICTestGroup & operator=(ICTestGroup const &) = delete;

    ~ICTestGroup() override
    {
        ::SetEvent(m_hShutdown);
        for (int index = 0; index < mf_getThreadCount(); ++index) {
            if (m_phThreads[index] != nullptr) mf_implClose(index);
            delete m_ppThreads[index];
        }
        ICLeakAccount::mf_excuse("a thread of a group leaves its context", 0, mf_getThreadCount());
    }

    void mf_up()
    {
        mf_start();
        mf_startWait();
    }

    // Answers the number of the result.
    ulong mf_down()
    {
        mf_stop();
        return mf_join();
    }
    ulong mf_join() { return mf_stopWait(TEST_LIMIT).mf_getNumber(); }

    // The end of the thread itself, of which the group needn't know.
    bool mf_awaitEnd(int index) const { return f_isSignalled(m_phThreads[index], TEST_LIMIT); }

    ulong mf_getExitCode(int index) const
    {
        ulong code = 0;
        ::GetExitCodeThread(m_phThreads[index], &code);
        return code;
    }

    std::vector<int> mf_getStates() const
    {
        std::vector<int> states;
        for (int index = 0; index < mf_getThreadCount(); ++index)
            states.push_back(mf_getState(index));
        return states;
    }

    void mf_setState(int index, int state) { m_ppThreads[index]->mf_setState(state); }

    void mf_waitForStop() const { ::WaitForSingleObject(m_hShutdown, TEST_LIMIT); }

    ACTION m_onStart;
    ACTION m_execute;
    ACTION m_onStop;

private:
    void mf_implExecuteOnStart(int index) override
    {
        m_onStart ? m_onStart(index) : ICThreads::mf_implExecuteOnStart(index);
    }
    void mf_implExecute(int index) override { m_execute ? m_execute(index) : mf_waitForStop(); }
    void mf_implExecuteOnStop(int index) override
    {
        m_onStop ? m_onStop(index) : ICThreads::mf_implExecuteOnStop(index);
    }

    void mf_implClose(int index)
    {
        if (!f_isSignalled(m_phThreads[index])) {
            ADD_FAILURE() << "thread " << index << " was left running";
            m_ppThreads[index]->mf_setShutdownState(1);
            mf_awaitEnd(index);
        }
        EXPECT_TRUE(::CloseHandle(m_phThreads[index])) << "the handle of thread " << index << " has gone";
    }
};

// The records of one tag.
inline std::vector<ICTraceRecord> f_recordsOf(std::string const & tag, std::vector<ICTraceRecord> const & records)
{
    std::vector<ICTraceRecord> found;
    for (ICTraceRecord const & record : records)
        if (record.m_tag == tag) found.push_back(record);
    return found;
}

class ICThreadsTest : public testing::Test
{
protected:
    ICTracedProcess const m_process;
};
