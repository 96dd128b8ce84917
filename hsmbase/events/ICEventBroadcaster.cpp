#include "hsmbase/events/ICEventBroadcaster.h"

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/events/ICEvent.h"
#include "hsmbase/events/ICEventListener.h"
#include "hsmbase/failure/internal/ICTrace.h"

ICEventBroadcaster::ICEventBroadcaster() : m_combinedMask(ICEVENT_ID())
{
    ::InitializeCriticalSection(&m_csLock);
}

ICEventBroadcaster::ICEventBroadcaster(ICEventBroadcaster const & other) : ICEventBroadcaster()
{
    ICSectionLock const lock(other.m_csLock);
    m_listeners.Copy(other.m_listeners);
    m_combinedMask = other.m_combinedMask.load();
}

ICEventBroadcaster::~ICEventBroadcaster()
{
    ::DeleteCriticalSection(&m_csLock);
}

void ICEventBroadcaster::mf_registerEventListener(ICEventListener const * listener)
{
    static wchar_t const _sFunction_[] = L"ICEventBroadcaster::mf_registerEventListener";

    if (listener == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pEventListener");

    ICSectionLock const lock(m_csLock);
    m_combinedMask = m_combinedMask.load() | listener->mf_getEventMask();
    // To be told of an event changes a listener; to be registered does not.
    m_listeners.Add(const_cast<ICEventListener *>(listener));
}

void ICEventBroadcaster::mf_removeEventListener(ICEventListener const * listener)
{
    static wchar_t const _sFunction_[] = L"ICEventBroadcaster::mf_removeEventListener";

    if (mf_implRemove(listener)) return;
    // Only now that the lock is free: with the trace log as broadcaster, the line fires here again.
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::Internal, L"Internal: Event-listener %s not found.",
                   listener != nullptr ? listener->mf_getName() : CString());
}

// Whether there was an entry to remove. The mask is rebuilt in any case.
int ICEventBroadcaster::mf_implRemove(ICEventListener const * listener)
{
    ICSectionLock const lock(m_csLock);
    ICEVENT_ID mask;
    INT_PTR position = -1;
    for (INT_PTR index = 0; index < m_listeners.GetCount(); ++index) {
        // Deliberate: the entry that stays of a listener that is registered twice adds nothing to the mask.
        if (m_listeners[index] == listener)
            position = index;
        else
            mask = mask | m_listeners[index]->mf_getEventMask();
    }
    // Stored once, since mf_hasListeners reads without the lock and must not see a half-built mask.
    m_combinedMask = mask;
    if (position < 0) return 0;
    m_listeners.RemoveAt(position);
    return 1;
}

int ICEventBroadcaster::mf_hasListeners(ICEVENT_ID id) const
{
    return static_cast<bool>(m_combinedMask.load() & id);
}

void ICEventBroadcaster::mf_fireEvent(ICEvent const & event)
{
    static wchar_t const _sFunction_[] = L"ICEventBroadcaster::mf_fireEvent";

    // A record that is marked for the administrator takes that log's lock when it ends, and whoever holds that lock
    // traces, which fires. So marked records of failed listeners end behind the lock.
    CArray<ICErrnoData> marked;
    ICSectionLock const lock(m_csLock);
    // A trace line fires MISC_LOG itself: one about MISC_LOG would be the first of an endless chain.
    bool const isTraced = event.mf_getId() != ICEvent::MISC_LOG;
    // Listeners come and go from inside the delivery, so the count is asked for each time.
    for (INT_PTR index = 0; index < m_listeners.GetCount(); ++index) {
        ICEventListener & listener = *m_listeners[index];
        if (!listener.mf_isListener(event.mf_getId())) continue;
        // Both lines have the same words, and a listener that removes itself may be gone when it has failed.
        CString text;
        CString name;
        if (isTraced) {
            ICTrace const trace(_sFunction_);
            text = event.mf_toString(ICLog::TAB);
            name = listener.mf_getName();
            trace.mf_write(ICLogData::LEVEL_C, L"Sending\r\n%s\r\n%sto %s", text, ICLog::TAB, name);
        }
        try {
            listener.mf_handleEvent(event);
        }
        catch (ICErrno & failure) {
            if (isTraced)
                ICTrace(_sFunction_)
                    .mf_error(L"Failure sending\r\n%s\r\n%sto event listener '%s':\r\n%s%s\r\n"
                              L"%sIgnored, continuing with next event listener...",
                              text, ICLog::TAB, name, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
            if (failure.mf_getErrnoData().mf_isAdminLogFlagSet()) marked.Add(failure.mf_getErrnoData());
        }
    }
}
