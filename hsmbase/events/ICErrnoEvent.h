#pragma once

#include "hsmbase/events/ICSeverityEvent.h"
#include "hsmbase/failure/ICErrnoData.h"

// An outcome, with its failure record.
//
//     catch (ICErrno & failure) {
//         mf_fireEvent(ICErrnoEvent(ICEvent::MISC_RESULT, this, failure.mf_getErrnoData(), path));
//         throw;
//     }
//
// Telling of a failure doesn't deal with it: the line that a record owes the administrator's log stays owed by the
// record that the event was made from, and the event never writes one.
//
// Threads: as ICEvent.
class HSMBASE_EXPORT ICErrnoEvent : public ICSeverityEvent
{
public:
    // Copies the record. One without a number becomes ICErrno::_I_::Ok in the copy.
    ICErrnoEvent(ICEVENT_ID id, ICEventBroadcaster const * broadcaster, ICErrnoData const & data,
                 CString const & message);
    ICErrnoEvent(ICErrnoEvent const &) = default;
    ICErrnoEvent & operator=(ICErrnoEvent const &) = default;
    ~ICErrnoEvent() override = default;

    // The answers of the record.
    int mf_isInfo() const override;
    int mf_isWarning() const override;
    int mf_isError() const override;
    int mf_isSevere() const override;
    using IFSeverity::mf_isError;
    using IFSeverity::mf_isInfo;
    using IFSeverity::mf_isSevere;
    using IFSeverity::mf_isWarning;

    // The event's line, and on a second one the record.
    CString mf_toString(CString const & prefix) const override;

    ICErrnoData const & mf_getErrnoData() const;

private:
    ICErrnoData m_errnoData; // its administrator's flag is never set
};
