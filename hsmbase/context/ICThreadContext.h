#pragma once

#include "hsmbase/Types.h"

class ICStatus;

// What the library knows of a thread: its kind, its number, a state counter, a cancel flag, and the language in which
// texts are made on it at this moment.
//
//     ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, number);   // the first thing a thread does
//     ...
//     ICThreadContext::mf_delete();
//
// All operations are static and act on the calling thread's own context. A thread without one may always ask
// mf_isInitialized and toggle languages (which does nothing then); all else throws Unexpected, after a trace line.
//
// The language bracket: mf_setLoggingLanguage stands ahead of every trace call, and the end of ICLog::mf_writeMessage
// returns the thread to the user's language. Nobody else does: code that sets the logging language and then doesn't
// trace leaves the thread in it.
//
// Threads: any; no locks.
class HSMBASE_EXPORT ICThreadContext
{
public:
    // Kinds of threads. A context has exactly one of them; they are compared for equality.
    static ulong const TYPE_MAIN = 0x00000001;
    static ulong const TYPE_TIMER = 0x00000002;
    static ulong const TYPE_POLLING = 0x00000004;
    static ulong const TYPE_WORKER = 0x00000008;
    static ulong const TYPE_CONTROLLER = 0x00000010;
    static ulong const TYPE_PROCESS_IO = 0x00000100;
    static ulong const TYPE_DRIVER_RECALL = 0x00010000;
    static ulong const TYPE_DRIVER_LOGGING = 0x00020000;
    static ulong const TYPE_DRIVER_QUOTA = 0x00040000;
    static ulong const TYPE_GC_QUOTA = 0x00100000;
    static ulong const TYPE_TERMINATOR = 0x01000000;
    static ulong const TYPE_FS_SCAN = 0x10000000;
    static ulong const TYPE_BACKUP = 0x20000000;
    static ulong const TYPE_MIGRATION = 0x40000000;

    static ulong const STATE_GLOBAL = 1;
    static ulong const STATE_ITEM = 2;

    // Copies all fields, the borrowed handles included.
    ICThreadContext(ICThreadContext const &) = default;
    ICThreadContext & operator=(ICThreadContext const &) = delete;

    // Attaches a new context to the calling thread: the user's language in force, state counter 0, not cancelled.
    // `index` is the number of the thread within its group. ICLanguage and the slot of ICTlsHandler must be up.
    // Throws the warning AlreadyInitialized when the thread has a context, which stays; Memory; and what ICLanguage and
    // the slot throw.
    static void mf_create(ulong type, ulong index);

    // Removes the calling thread's context; without one it does nothing. If the slot cannot be cleared, the context
    // stays and System is thrown.
    static void mf_delete();

    // Whether the calling thread has a context. Throws Initialization without a slot, System when the platform refuses.
    static int mf_isInitialized();

    static ulong mf_getType();
    static ulong mf_getIndex();

    // STATE_GLOBAL adds 1 to the state counter, STATE_ITEM takes 1 away: a balance and no stack, so a pair of calls
    // returns it to where it was. Throws Internal for any other value; the counter stays then.
    static void mf_setState(ulong state);

    // STATE_ITEM while the counter is negative, else STATE_GLOBAL.
    static ulong mf_getState();

    // Names for the trace; "<UNEXPECTED-THREAD-TYPE>" and "<UNEXPECTED-THREAD-STATE>" for unknown values. No context is
    // needed.
    static CString mf_getTypeString(ulong type);
    static CString mf_getStateString(ulong state);

    // These two do nothing where ICStatus::mf_canToggleLanguages says no; they never throw.
    static void mf_setUserLanguage();
    static void mf_setLoggingLanguage();

    // Id and library of the language in force; the library is borrowed from ICLanguage. It is NULL while the user's
    // language is in force and its library could not be had.
    static unsigned short mf_getCurrentLanguageId();
    static HINSTANCE mf_getCurrentLanguageHandle();

    // A main thread cannot be cancelled: the call leaves a trace line and changes nothing.
    static void mf_setCanceled(int canceled);
    static int mf_isCanceled();

    // The context in one line, in the language in force.
    static CString mf_toString();

private:
    friend class ICStatus;

    ICThreadContext(ulong type, ulong index);
    virtual ~ICThreadContext();

    static ICThreadContext * mf_implFindThreadContext();
    static ICThreadContext * mf_implFindInitialized();
    static ICThreadContext * mf_implGetThreadContext();
    static ICThreadContext * mf_implForward(wchar_t const * function, ICThreadContext * (*lookup)());
    static CString mf_implGetStateString(long counter);

    static CString const m_sTypeMain;
    static CString const m_sTypeTimer;
    static CString const m_sTypePolling;
    static CString const m_sTypeWorker;
    static CString const m_sTypeController;
    static CString const m_sTypeProcessIO;
    static CString const m_sTypeDriverRecall;
    static CString const m_sTypeDriverLogging;
    static CString const m_sTypeDriverQuota;
    static CString const m_sTypeGcQuota;
    static CString const m_sTypeTerminator;
    static CString const m_sTypeFSScan;
    static CString const m_sTypeBackup;
    static CString const m_sTypeMigration;
    static CString const m_sStateGlobal;
    static CString const m_sStateItem;

    ulong m_type;
    ulong m_index;
    long m_stateCounter; // not negative: global operation; negative: item operation; changed atomically
    int m_canceled;
    unsigned short m_userLanguageId;
    unsigned short m_loggingLanguageId;
    unsigned short m_currentLanguageId;
    HINSTANCE m_userLanguageHandle; // the handles are borrowed from ICLanguage
    HINSTANCE m_loggingLanguageHandle;
    HINSTANCE m_currentLanguageHandle;
};
