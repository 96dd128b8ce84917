#pragma once

#include <atomic>

#include "hsmbase/Types.h"
#include "hsmbase/events/ICEVENT_ID.h"

class ICEvent;

// Somebody who wants to be told of events. A mask says of which.
//
//     class ICProgress : public ICEventListener
//     {
//     public:
//         ICProgress() : ICEventListener(ICEvent::MISC_PROGRESS) {}
//         void mf_handleEvent(ICEvent const & event) override { mf_show(event.mf_getMessage()); }
//         CString mf_getName() const override { return L"progress"; }
//     };
//
// A listener must be removed from its broadcasters before it ends.
//
// Threads: events arrive on the threads of their senders, from one broadcaster one at a time. The mask may be changed
// on any thread.
class HSMBASE_EXPORT ICEventListener
{
public:
    // Wants all events.
    ICEventListener();
    explicit ICEventListener(ICEVENT_ID mask);

    // Copies take the mask, not the registrations.
    ICEventListener(ICEventListener const & other);
    ICEventListener & operator=(ICEventListener const & other);
    virtual ~ICEventListener() = default;

    // Runs under the lock of the broadcaster, which delays its other senders. May register and remove listeners, this
    // one included, and may fire events. The event ends with the delivery. An ICErrno is logged by the broadcaster and
    // keeps no other listener from its event; anything else passes through to the sender.
    virtual void mf_handleEvent(ICEvent const & event) = 0;

    // What trace lines call the listener. Must not throw.
    virtual CString mf_getName() const = 0;

    // Deliveries follow a change at once; ICEventBroadcaster::mf_hasListeners sees it at the next removal only.
    void mf_setEventMask(ICEVENT_ID mask);
    void mf_addEventMask(ICEVENT_ID mask);
    ICEVENT_ID mf_getEventMask() const;

    // Whether the mask and `id` have a bit in common.
    int mf_isListener(ICEVENT_ID id) const;

    // Whether it is the same object; the masks play no part.
    int operator==(ICEventListener const & other) const;
    int operator!=(ICEventListener const & other) const;

private:
    std::atomic<ICEVENT_ID> m_eventMask;
};
