#pragma once

#include <atomic>

#include "hsmbase/Types.h"
#include "hsmbase/events/ICEVENT_ID.h"

class ICEvent;
class ICEventListener;

// Delivers events to those who want them: on the sender's thread, in the order of registration, one event at a time.
// Senders derive from it.
//
//     class ICMigrator : public ICEventBroadcaster { ... };
//
//     migrator.mf_registerEventListener(&progress);
//     ...                                              // migrator: mf_fireEvent(ICEvent(MIGRATION_START, this, path));
//     migrator.mf_removeEventListener(&progress);      // before the listener ends
//
// Listeners aren't owned. One may be registered twice and then gets each event twice.
//
// Threads: any may register, remove and fire.
//
// Lock: one, recursive, held for the whole of a delivery, so a listener may fire, register and remove from inside. It
// comes before the lock of the trace log, since each delivery leaves a trace line. The trace log's own broadcaster is
// also entered by lines that are traced under the log's lock; it fires MISC_LOG alone, whose delivery never traces, but
// a listener that logs would. Hence whatever traces under the log's lock takes that broadcaster's lock first.
class HSMBASE_EXPORT ICEventBroadcaster
{
public:
    ICEventBroadcaster();

    // The copy has the same listeners, and a lock of its own.
    ICEventBroadcaster(ICEventBroadcaster const & other);
    ICEventBroadcaster & operator=(ICEventBroadcaster const &) = delete;

    // The listeners aren't told.
    virtual ~ICEventBroadcaster();

    // Throws _E_::Parameter for NULL.
    virtual void mf_registerEventListener(ICEventListener const * listener);

    // Of a listener that is registered twice, the later entry goes. From inside a delivery, the listeners behind the
    // removed one move up, and one of them misses the event.
    // Throws _E_::Internal when it isn't registered.
    virtual void mf_removeEventListener(ICEventListener const * listener);

    // Whether it is worth the while to build an event of this kind; takes no lock. The answer goes by the masks that
    // the listeners had when they were registered, or at the last removal if that was later; after the removal of one
    // of two entries of a listener, the other doesn't count.
    virtual int mf_hasListeners(ICEVENT_ID id) const;

    // Delivers to each listener whose mask has a bit of the event's id. Listeners that fail are logged and passed over;
    // with MISC_LOG, which is the trace's own, there is no line. Only exceptions other than ICErrno reach the caller.
    virtual void mf_fireEvent(ICEvent const & event);

    // What the broadcaster is, each line beginning with `prefix`.
    virtual CString mf_toString(CString const & prefix) const = 0;

protected:
    mutable CRITICAL_SECTION m_csLock;
    CArray<ICEventListener *, ICEventListener *> m_listeners; // not owned, in the order of delivery
    std::atomic<ICEVENT_ID> m_combinedMask;                   // written under the lock

private:
    int mf_implRemove(ICEventListener const * listener);
};
