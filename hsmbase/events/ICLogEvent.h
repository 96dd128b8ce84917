#pragma once

#include "hsmbase/events/ICSeverityEvent.h"

class ICLogData;

// A line of the trace log: always of kind MISC_LOG. The message is the record as it was written, empty when the level
// isn't selected.
//
//     void ICErrorCounter::mf_handleEvent(ICEvent const & event)
//     {
//         auto const * const line = dynamic_cast<ICLogEvent const *>(&event);
//         if (line != nullptr && line->mf_isRed()) ++m_count;
//     }
//
// Threads: as ICEvent.
class HSMBASE_EXPORT ICLogEvent : public ICSeverityEvent
{
public:
    // The level isn't copied and must outlive the event; the constants of ICLogData do.
    ICLogEvent(ICEventBroadcaster const * broadcaster, ICLogData const & level, CString const & message);
    ICLogEvent(ICLogEvent const &) = default;
    ICLogEvent & operator=(ICLogEvent const &) = default;
    ~ICLogEvent() override = default;

    // The answers of the level.
    int mf_isInfo() const override;
    int mf_isWarning() const override;
    int mf_isError() const override;
    int mf_isSevere() const override;
    using IFSeverity::mf_isError;
    using IFSeverity::mf_isInfo;
    using IFSeverity::mf_isSevere;
    using IFSeverity::mf_isWarning;

    // With an empty prefix the level stands at the end: " log-level=0x00000001 (E)".
    CString mf_toString(CString const & prefix) const override;

    ICLogData const & mf_getLogLevel() const;

private:
    ICLogData const * m_pLogData; // not owned
};
