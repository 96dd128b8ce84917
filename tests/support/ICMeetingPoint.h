#pragma once

#include "tests/support/Platform.h"

// Where threads wait for each other: so many that arrive go on together, again and again. Unlike std::latch and
// std::barrier it leaves no handle behind, which a test would have to account for, and misses no wake-up: those of
// GCC 12 look at the value before they take the lock under which they sleep, and a program stood still of it.
//
//     ICMeetingPoint start(2);
//     std::jthread other([&start] { start.mf_arrive(); ... });
//     start.mf_arrive();
//
class ICMeetingPoint
{
public:
    explicit ICMeetingPoint(int threads) : m_threads(threads) {}
    ICMeetingPoint(ICMeetingPoint const &) = delete;
    ICMeetingPoint & operator=(ICMeetingPoint const &) = delete;

    // Waits for the others. False after a time that only a test that would hang needs.
    bool mf_arrive()
    {
        constexpr DWORD LIMIT = 30'000;
        bool isMet = true;
        ::AcquireSRWLockExclusive(&m_lock);
        int const meeting = m_meeting;
        if (++m_arrived == m_threads) {
            m_arrived = 0;
            ++m_meeting;
            ::WakeAllConditionVariable(&m_isMet);
        }
        while (isMet && meeting == m_meeting)
            isMet = ::SleepConditionVariableSRW(&m_isMet, &m_lock, LIMIT, 0) != 0;
        ::ReleaseSRWLockExclusive(&m_lock);
        return isMet;
    }

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_isMet = CONDITION_VARIABLE_INIT;
    int const m_threads;
    int m_arrived = 0;
    int m_meeting = 0;
};
