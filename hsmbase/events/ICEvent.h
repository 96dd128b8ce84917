#pragma once

#include "hsmbase/Types.h"
#include "hsmbase/events/ICEVENT_ID.h"

class ICEventBroadcaster;

// Something that has happened, told to listeners through an ICEventBroadcaster. Programs derive events that carry more.
//
//     if (mf_hasListeners(ICEvent::RECALL_START)) mf_fireEvent(ICEvent(ICEvent::RECALL_START, this, path));
//
// An event lives on the stack of its sender for the length of one delivery: listeners copy what they keep.
//
// The library itself fires MISC_LOG alone, by the trace log; the other kinds belong to programs.
//
// Threads: an event belongs to the thread that sends it.
class HSMBASE_EXPORT ICEvent
{
public:
#define ICEVENT_KIND(name, id) static ICEVENT_ID const name;
#include "hsmbase/events/ICEventIds.def"

    // The broadcaster isn't owned and may be NULL.
    ICEvent(ICEVENT_ID id, ICEventBroadcaster const * broadcaster, CString const & message);
    ICEvent(ICEvent const &) = default;
    ICEvent & operator=(ICEvent const &) = default;
    virtual ~ICEvent() = default;

    // A line for people in the thread's current language: `prefix`, kinds, id and message. Never fails for want of a
    // text: see ICString for the placeholders.
    virtual CString mf_toString(CString const & prefix) const;

    ICEVENT_ID mf_getId() const;
    ICEventBroadcaster const * mf_getBroadcaster() const;
    CString const & mf_getMessage() const;
    void mf_setMessage(CString const & message);

    // The names of the set bits from the lowest up, with commas and no blanks between them: "MISC_LOG,MISC_SID". A bit
    // without a name stands as "UNKNOWN EVENT ID: 0x0000000000000100". Empty for no bit.
    static CString mf_getTypeString(ICEVENT_ID id);

private:
    static CString mf_implGetTypeString(ICEVENT_ID id);

    ICEVENT_ID m_id;
    ICEventBroadcaster const * m_pBroadcaster;
    CString m_sMessage;
};
