#pragma once

#include <functional>

#include "hsmbase/Types.h"

// While the object lives, Ctrl+C and Ctrl+Break do this instead of ending the program. One object at a time.
class ICInterrupt
{
public:
    // `action` runs on a thread of the system's, which has no context: it must not log.
    explicit ICInterrupt(std::function<void()> action);

    // The action doesn't run any more.
    ~ICInterrupt();
    ICInterrupt(ICInterrupt const &) = delete;
    ICInterrupt & operator=(ICInterrupt const &) = delete;

private:
    static BOOL WINAPI mf_implHandle(DWORD event);

    static SRWLOCK m_lock;
    static ICInterrupt * m_pThis;

    std::function<void()> const m_action;
};
