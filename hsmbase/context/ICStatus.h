#pragma once

#include "hsmbase/Types.h"

class ICProgramFrame;
class ICThreadContext;

// Which facilities of the process are up: a set of bits, and three questions that are asked before a facility is used.
//
// During start-up and shutdown the facilities need each other in a circle: a trace line needs a language, a language
// needs a thread context, and a failure of either needs a trace line. The questions break the circle; they never fail.
//
//     if (ICStatus::mf_canToggleLanguages()) ...    // texts can be loaded on this thread
//
// The start-up code of the program sets the bits; the library itself only asks. What it needs of the order:
// ICTlsHandler::mf_initialize before STATUS_MAIN_THREAD; ICLanguage::mf_createInstance before the first
// ICThreadContext::mf_create, and that before STATUS_MAIN_THREAD; the log open before STATUS_LOGGING.
//
// Threads: any may ask, also while statics are built or destroyed. The lock covers the reading and the writing of the
// bits alone and is never held while another facility is called.
class HSMBASE_EXPORT ICStatus
{
public:
    // Four of them have an effect in the library: RESOURCES, MAIN_THREAD, LOGGING and EVENT_LOGGING. The others are for
    // display and for programs.
    static ulong const STATUS_NONE = 0x00000000;
    static ulong const STATUS_CONFIGURATION = 0x00000001;
    static ulong const STATUS_RESOURCES = 0x00000002;   // language libraries
    static ulong const STATUS_MAIN_THREAD = 0x00000004; // context of the main thread
    static ulong const STATUS_TRANSLATOR = 0x00000008;
    static ulong const STATUS_NUMBER_FORMATTER = 0x00000010;
    static ulong const STATUS_DEBUGGING = 0x00000020;
    static ulong const STATUS_LOGGING = 0x00000100;       // trace log
    static ulong const STATUS_EVENT_LOGGING = 0x00000200; // system event log
    static ulong const STATUS_INSTALLATION = 0x00002000;
    static ulong const STATUS_STORAGE = 0x00010000;
    static ulong const STATUS_DOMAIN_CONTROLLER = 0x00020000;
    static ulong const STATUS_GENERAL_THREADS = 0x00040000;
    static ulong const STATUS_MAIN_DATABASE = 0x00080000;
    static ulong const STATUS_CLUSTER_STORAGE = 0x00100000;
    static ulong const STATUS_CLUSTER = 0x00200000;
    static ulong const STATUS_BACKEND = 0x00400000;
    static ulong const STATUS_VOLUME_MAPPINGS = 0x00800000;

    // An object of one's own, with no bit set; the process's status is not touched by it.
    ICStatus();

    // Copies take the bits, never the lock.
    ICStatus(ICStatus const & other);
    ICStatus & operator=(ICStatus const & other);
    virtual ~ICStatus();

    // Whether texts are available and the calling thread has a context that holds its language. A failure to find that
    // out counts as no.
    static int mf_canToggleLanguages();

    // Whether the trace log is up and the calling thread may toggle languages: a thread without a context never traces.
    static int mf_canWriteToLogFile();

    // Whether the system event log is up; this one needs no thread context.
    static int mf_canWriteToEventLog();

    // "STATUS_LOGGING" for STATUS_LOGGING.
    // Throws Unknown for several bits at once and for a bit without a name.
    static CString mf_getStatusItemString(ulong bit);

private:
    friend class ICProgramFrame;
    friend class ICThreadContext;

    enum LOCK_STATE
    {
        LOCK_UNARMED
    };
    constexpr explicit ICStatus(LOCK_STATE) : m_status(STATUS_NONE), m_lock() {}

    // Adds or removes the bits. With STATUS_LOGGING among them, a banner goes to the trace.
    static void mf_setStatus(ulong bits, int on);

    static ICStatus & mf_implGetInstance();
    static ICThreadContext * mf_implGetToggleableContext(ulong furtherBits);
    int mf_implArmLock();

    ulong mf_implGetStatus() const;
    int mf_implHasStatus(ulong bits) const;
    void mf_implSetStatus(ulong bits, int on);

    static ICStatus m_instance;

    ulong m_status;
    mutable CRITICAL_SECTION m_lock;
};
