#pragma once

#include "hsmbase/Types.h"

// The start-up and shutdown of a program that links hsmbase.
//
//     int wmain()
//     {
//         try {
//             ICProgramFrame const frame(L"Software\\Example");
//             ...                       // registry, languages and the main thread's context are up
//         }
//         catch (ICErrno & failure) {
//             ...                       // a start-up failure, or one of the program's own
//         }
//     }
//
// What comes up, in this order: the registry below the root given, the thread slot, the languages, the context of the
// calling thread as the main thread. When the object ends, all goes down in reverse order.
//
// A program has one frame, on its main thread, and brings it up once per process: the thread slot doesn't come up a
// second time. Other threads attach their own context after the frame is up and remove it before the frame ends.
class ICProgramFrame
{
public:
    // `registryRoot` is a path below HKEY_LOCAL_MACHINE, where the whole configuration lies.
    //
    // The language libraries are looked for where the value "LanguageDir" below the root says. A program that finds no
    // English library there registers its own directory, so that a fresh or a moved installation comes up by itself.
    //
    // A step that fails takes down what is up and its failure is thrown: AlreadyInitialized for a second frame,
    // Registry, DllOpen, DllFunction, Resource for languages that cannot be had, System.
    explicit ICProgramFrame(CString const & registryRoot);

    // The same, with another user language: `language` is an English language name, as "German", and is stored as the
    // configured language, for this and later runs. One that is not installed leaves the configuration as it is, to be
    // told by ICLanguage::mf_getUserLanguageId. An unknown name throws Unknown.
    ICProgramFrame(CString const & registryRoot, CString const & language);

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
    static void mf_implFindLanguageLibraries();
    void mf_implConfigureLanguage() const;

    static STEP const STEPS[];

    CString const m_registryRoot;
    CString const m_language; // empty: as configured
    ulong m_stepsUp = 0;
};
