#pragma once

#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICTlsHandler.h"

// The library without thread slot and with no status bit, as at the start of a process; what was before comes back when
// the object ends. A slot that the test allocates is freed then.
class NoThreadSlot
{
public:
    static constexpr ulong NO_SLOT = 0xFFFFFFFF;

    NoThreadSlot() : m_slot(ICTlsHandler::m_dwIndexContext), m_status(ICStatus::mf_implGetInstance())
    {
        // The bits go first: with them and without a slot every trace call would recurse.
        ICStatus::mf_implGetInstance() = ICStatus();
        ICTlsHandler::m_dwIndexContext = NO_SLOT;
    }
    NoThreadSlot(NoThreadSlot const &) = delete;
    NoThreadSlot & operator=(NoThreadSlot const &) = delete;

    ~NoThreadSlot()
    {
        ICStatus::mf_implGetInstance() = ICStatus();
        if (ICTlsHandler::m_dwIndexContext != NO_SLOT) ::TlsFree(ICTlsHandler::m_dwIndexContext);
        ICTlsHandler::m_dwIndexContext = m_slot;
        ICStatus::mf_implGetInstance() = m_status;
    }

private:
    ulong const m_slot;
    ICStatus const m_status;
};

// The same with a fresh slot.
class FreshThreadSlot : public NoThreadSlot
{
public:
    FreshThreadSlot() { ICTlsHandler::mf_initialize(); }
};
