#pragma once

#include "hsmbase/Types.h"

class ICProgramFrame;
class ICThreadContext;

// The keeper of the one thread-local slot, in which each thread has its ICThreadContext.
//
//     ICTlsHandler::mf_initialize();                    // the program's start-up, once
//     ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 0);
//     ...
//     ICThreadContext::mf_delete();
//     ICTlsHandler::mf_terminate();
//
// All of it is private: the start-up code of the program brings the slot up and down, ICThreadContext uses it.
//
// Every successful look into the slot sets the thread's last error to 0, and so does every trace call, which looks into
// it. Whoever needs the last error reads it before the trace line.
//
// Threads: any may use the slot. Initialisation and termination belong to the start-up and the end of the process, on
// one thread; the slot's number is read without a lock.
class HSMBASE_EXPORT ICTlsHandler
{
private:
    friend class ICProgramFrame;
    friend class ICThreadContext;

    ICTlsHandler() = delete;

    // Allocates the slot.
    // Throws AlreadyInitialized when the process has, or ever had, a slot; System when there is none to be had, with
    // the number 0xFFFFFFFF for the system's error.
    static void mf_initialize();

    // Frees the slot. Its number is kept, so a process comes up once in its life. Without a slot: a warning in the
    // trace.
    static void mf_terminate();

    // Stores the calling thread's pointer. NULL may always be stored, anything else only where nothing is stored.
    // Throws Initialization without a slot, the warning AlreadyInitialized for a second pointer, System when the
    // platform refuses; what was stored stays.
    static void mf_setContextData(void const * data);

    // The calling thread's pointer; NULL where none was stored.
    // Throws Initialization without a slot, System when the platform refuses.
    static void * mf_getContextData();

    static void * mf_implGetValue(wchar_t const * function);

    static ulong m_dwIndexContext; // 0xFFFFFFFF: no slot was allocated yet
};
