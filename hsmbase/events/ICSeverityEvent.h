#pragma once

#include "hsmbase/events/ICEvent.h"
#include "hsmbase/failure/IFSeverity.h"

// An event that has a severity: the common base of ICLogEvent and ICErrnoEvent, which answer the four questions.
//
// Threads: as ICEvent.
class HSMBASE_EXPORT ICSeverityEvent : public IFSeverity, public ICEvent
{
public:
    ICSeverityEvent(ICEVENT_ID id, ICEventBroadcaster const * broadcaster, CString const & message);
    ICSeverityEvent(ICSeverityEvent const &) = default;
    ICSeverityEvent & operator=(ICSeverityEvent const &) = default;
    ~ICSeverityEvent() override = default;

    // Both bases have the name. The word of the severity is IFSeverity::mf_toString(event).
    using ICEvent::mf_toString;
};
