#include "programs/hsmscan/ICInterrupt.h"

#include "programs/hsmscan/ICExclusiveLock.h"

SRWLOCK ICInterrupt::m_lock = SRWLOCK_INIT;
ICInterrupt * ICInterrupt::m_pThis = nullptr;

ICInterrupt::ICInterrupt(std::function<void()> action) : m_action(std::move(action))
{
    {
        ICExclusiveLock const lock(m_lock);
        m_pThis = this;
    }
    ::SetConsoleCtrlHandler(&mf_implHandle, TRUE);
}

ICInterrupt::~ICInterrupt()
{
    ::SetConsoleCtrlHandler(&mf_implHandle, FALSE);
    ICExclusiveLock const lock(m_lock);
    m_pThis = nullptr;
}

BOOL WINAPI ICInterrupt::mf_implHandle(DWORD event)
{
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    ICExclusiveLock const lock(m_lock);
    if (m_pThis == nullptr) return FALSE;
    m_pThis->m_action();
    return TRUE;
}
