#include "hsmbase/events/ICSeverityEvent.h"

ICSeverityEvent::ICSeverityEvent(ICEVENT_ID id, ICEventBroadcaster const * broadcaster, CString const & message)
    : ICEvent(id, broadcaster, message)
{}
