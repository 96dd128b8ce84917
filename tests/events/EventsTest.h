#pragma once

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "hsmbase/events/ICEvent.h"
#include "hsmbase/events/ICEventBroadcaster.h"
#include "hsmbase/events/ICEventListener.h"

// What the tests of events share.

template<class TYPE>
TYPE f_copyOf(TYPE const & original)
{
    return original;
}

// Calls `work` with 0 to COUNT - 1, each on a thread of its own.
template<std::size_t COUNT, class WORK>
void f_onManyThreads(WORK work)
{
    std::array<std::jthread, COUNT> threads;
    for (std::size_t index = 0; index < COUNT; ++index)
        threads[index] = std::jthread([&work, index] { work(static_cast<int>(index)); });
}

class ICTestBroadcaster : public ICEventBroadcaster
{
public:
    CString mf_toString(CString const & prefix) const override { return prefix + L"test"; }

    void mf_fire(ICEVENT_ID id) { mf_fireEvent(ICEvent(id, this, L"")); }
};

// Whether no other thread holds the lock, seen from a thread of its own.
inline bool f_isLockFree(ICTestBroadcaster const & broadcaster)
{
    int isFree = 0;
    std::jthread([&] {
        isFree = ::TryEnterCriticalSection(&broadcaster.m_csLock);
        if (isFree) ::LeaveCriticalSection(&broadcaster.m_csLock);
    }).join();
    return isFree != 0;
}

// A listener that does what the test says, and keeps account of when it was asked for its name.
class ICTestListener : public ICEventListener
{
public:
    using ACT = std::function<void(ICEvent const &)>;

    explicit ICTestListener(wchar_t const * name, ACT act = {}) : m_name(name), m_act(std::move(act)) {}
    ICTestListener(wchar_t const * name, ICEVENT_ID mask, ACT act = {})
        : ICEventListener(mask), m_name(name), m_act(std::move(act))
    {}

    void mf_handleEvent(ICEvent const & event) override
    {
        if (m_act) m_act(event);
    }

    CString mf_getName() const override
    {
        ++m_timesNamed;
        if (m_onName) m_onName();
        return m_name;
    }

    std::function<void()> m_onName;
    mutable int m_timesNamed = 0;

private:
    CString m_name;
    ACT m_act;
};
