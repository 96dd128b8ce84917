#pragma once

#include "hsmbase/Types.h"

// The event log of the platform, for the program that registered itself as a source of events there.
//
//     ICEventLog::mf_createInstance(L"HSM service");
//     ICEventLog::mf_logEvent(EVENTLOG_ERROR_TYPE, 0xC0000007, L"Volume D: is full");
//     ICEventLog::mf_deleteInstance();
//
// It knows nothing of the two log files. Types, ids and the texts that the platform shows for them are the program's.
//
// Threads: any may report events between mf_createInstance and mf_deleteInstance, which belong to start-up and
// shutdown. There is no lock.
class HSMBASE_EXPORT ICEventLog
{
public:
    ICEventLog(ICEventLog const &) = delete;
    ICEventLog & operator=(ICEventLog const &) = delete;

    // Registers the source. Throws AlreadyInitialized, Logging; there is then the instance that was there before.
    static void mf_createInstance(CString const & sourceName);

    // Without an instance there is a warning in the trace and nothing else. Never fails.
    static void mf_deleteInstance();

    // Reports an event with one or two insertion strings: the source's name, and `text` unless that is empty. Nothing
    // happens until ICStatus says that event logging is up. Throws Logging, and Internal without an instance.
    static void mf_logEvent(unsigned short type, ulong eventId, CString const & text);

private:
    explicit ICEventLog(CString const & sourceName);
    virtual ~ICEventLog();

    static ICEventLog * m_pThis; // NULL: not created

    HANDLE m_hEventSource; // INVALID_HANDLE_VALUE: not registered. Owned.
    CString m_sSourceName;
};
