#pragma once

#include "hsmbase/Types.h"

class ICErrno;

// The start-up and shutdown of a program that links hsmbase.
//
//     int wmain()
//     {
//         try {
//             ICProgramFrame const frame({.m_registryRoot = L"Software\\Example", .m_traceLog = L"example.log"});
//             ...                       // all that the options name is up
//         }
//         catch (ICErrno & failure) {
//             ...                       // a start-up failure, or one of the program's own
//         }
//     }
//
// What comes up, in this order: the registry below the root given, the thread slot, the languages, the context of the
// calling thread as the main thread, the trace log, the administrator's log, the system's event log, the translator,
// the formats of numbers, dates and times, fault injection where its key exists, the facts about this machine that are
// found out once, the volumes. When the object ends, all goes down in reverse order.
//
// A program has one frame, on its main thread, and brings it up once per process: the thread slot doesn't come up a
// second time, and the administrator's log keeps its file until the process ends. Other threads attach their own
// context after the frame is up and remove it before the frame ends; nobody may trace while it ends.
class ICProgramFrame
{
public:
    struct OPTIONS
    {
        // Below HKEY_LOCAL_MACHINE, where the whole configuration lies.
        CString m_registryRoot = {};

        // English name of the user's language, as "German", which becomes the configured one for this and later runs.
        // Empty: as configured. One that is not installed leaves the configuration as it is, to be told by
        // ICLanguage::mf_getUserLanguageId. An unknown name throws Unknown.
        CString m_language = {};

        // Directory of both logs, for this and later runs. Empty: as configured; if nothing is configured, the
        // directory "logs" in the installation directory (value "Path"), or beside the program. It is made if it is
        // missing.
        CString m_logDirectory = {};

        // File names of the logs, without directory. Empty: no such log.
        CString m_traceLog = {};
        CString m_adminLog = {};

        // The program's name in the system's event log. Empty: nothing is reported there.
        CString m_eventSource = {};

        // Whether ICStorage looks for this machine's volumes; without it no path counts as local.
        bool m_storage = false;

        // Told why a step failed, while what came up before it is still up: behind the languages, the text is a user's.
        void (*m_tellFailure)(ICErrno const & failure) = nullptr;
    };

    // The language libraries are looked for where the value "LanguageDir" below the root says. A program that finds no
    // English library there registers its own directory, so that a fresh or a moved installation comes up by itself.
    //
    // A step that fails takes down what is up and its failure is thrown: AlreadyInitialized for a second frame,
    // Registry, DllOpen, DllFunction, Resource for languages that cannot be had, System, Logging for a log whose file
    // cannot be opened and for an event source, FileOpen for a log directory that cannot be made, Initialization for
    // volumes that cannot be looked for and for a machine without one that can be managed.
    explicit ICProgramFrame(OPTIONS const & options);

    // Without logs.
    explicit ICProgramFrame(CString const & registryRoot, CString const & language = CString());

    // Never throws: a step that can't be taken down leaves its trace, and the rest goes on.
    ~ICProgramFrame();

    ICProgramFrame(ICProgramFrame const &) = delete;
    ICProgramFrame & operator=(ICProgramFrame const &) = delete;

private:
    // One step of the start-up with its way back.
    struct STEP
    {
        void (ICProgramFrame::*mf_start)();
        void (ICProgramFrame::*mf_stop)();
    };

    void mf_implStart();
    void mf_implStop();

    void mf_implStartRegistry();
    void mf_implStopRegistry();
    void mf_implStartThreadSlot();
    void mf_implStopThreadSlot();
    void mf_implStartLanguages();
    void mf_implStopLanguages();
    void mf_implStartMainThread();
    void mf_implStopMainThread();
    void mf_implStartTraceLog();
    void mf_implStopTraceLog();
    void mf_implStartAdminLog();
    void mf_implStopAdminLog();
    void mf_implStartEventLog();
    void mf_implStopEventLog();
    void mf_implStartTranslator();
    void mf_implStopTranslator();
    void mf_implStartNumberFormatter();
    void mf_implStopNumberFormatter();
    void mf_implStartDebugging();
    void mf_implStopDebugging();
    void mf_implStartMachineFacts();
    void mf_implStopMachineFacts() {}
    void mf_implStartStorage();
    void mf_implStopStorage();
    static void mf_implFindLanguageLibraries();
    void mf_implConfigureLanguage() const;
    void mf_implConfigureLogDirectory() const;
    CString mf_implFindLogDirectory() const;
    static CString mf_implGetProgramDirectory();

    static STEP const STEPS[];

    OPTIONS const m_options;
    ulong m_stepsUp = 0;
};
