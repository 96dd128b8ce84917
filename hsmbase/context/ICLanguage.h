#pragma once

#include "hsmbase/Types.h"

class ICErrnoData;

// The languages of the system, and the three language libraries that a process keeps loaded: that of the user, that of
// the trace log (always English) and the one that serves when a text is missing (English too).
//
//     unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
//     for (unsigned short const * id = ICLanguage::mf_getInstalledLanguageIds(ids); *id != 0; ++id)
//         wprintf(L"%s\n", ICLanguage::mf_getLanguageName(*id, 1).GetString());
//     ICLanguage::mf_configureLanguage(1031);                    // German, from the next start on
//
// A language id is the platform's. The list of fourteen is closed. The English name of the user's language stands in
// the registry value "Language", the directory of the libraries in "LanguageDir", both below the registry root in
// HKEY_LOCAL_MACHINE. Which language is in force on a thread is held in the thread's context.
//
// Operations marked (*) need the singleton: without it they write a trace line and throw ICErrno::_E_::Initialization.
//
// Threads: ids and handles are set by the constructor and only read afterwards; no lock. Creating and deleting belong
// to the start and the end of the process.
class HSMBASE_EXPORT ICLanguage
{
public:
    // What a language selector says.
    static ulong const USER_LANGUAGE = 1;
    static ulong const LOGGING_LANGUAGE = 2;
    static ulong const FALLBACK_LANGUAGE = 3;
    static ulong const CURRENT_LANGUAGE = 0x10000; // that of the calling thread, from its context

    // The language of the trace log and of the fallback, and the default of the user.
    static unsigned short const ENGLISH_ID = 1033;

    // Room for all ids and the closing 0.
    static ulong const MAX_LANGUAGE_IDS = 15;

    // The version that a language library must have, exactly.
    static ulong const LIBRARY_VERSION = 81002;

    ICLanguage(ICLanguage const &) = delete;
    ICLanguage & operator=(ICLanguage const &) = delete;

    // Loads the three libraries; needs ICRegistry. A user's language that is unknown or not installed becomes English.
    // A library of the user's language with a wrong version leaves that handle NULL, and the system goes on.
    // Throws AlreadyInitialized, Memory; Resource, DllOpen, DllFunction and failures of the registry when a library
    // that must be there is not. No instance is left behind then.
    static void mf_createInstance();

    // Releases the libraries. Failures end in the trace; without an instance only a warning is written.
    static void mf_deleteInstance();

    // The id of the language that the selector names (*). Throws Language for an unknown selector, and what
    // ICThreadContext throws for CURRENT_LANGUAGE on a thread without a context.
    static unsigned short mf_getLanguageId(ulong selector);
    static unsigned short mf_getUserLanguageId();    // (*)
    static unsigned short mf_getLoggingLanguageId(); // (*)
    static unsigned short mf_getFallbackLanguageId();

    // The loaded library that the selector names (*), failures as above. It belongs to the singleton. That of the
    // user's language may be NULL.
    static HINSTANCE mf_getLanguageHandle(ulong selector);
    static HINSTANCE mf_getUserLanguageHandle();     // (*)
    static HINSTANCE mf_getLoggingLanguageHandle();  // (*)
    static HINSTANCE mf_getFallbackLanguageHandle(); // (*)

    // The id of an English language name, compared exactly. Throws Parameter for NULL or nothing, Unknown for a name
    // that is not in the list.
    static unsigned short mf_getLanguageId(wchar_t const * name);

    // The English name, or with `localized` the name in the calling thread's current language; "<UNKNOWN>" for an id
    // that is not in the list.
    static CString mf_getLanguageName(unsigned short id, int localized);

    // The file name of the language's library; "<UNKNOWN>" for an id that is not in the list.
    static wchar_t const * mf_getLibraryName(unsigned short id);

    // Whether the id is in the list (*).
    static int mf_isLanguageDefined(unsigned short id);

    // Whether the library's file is there; its version is not looked at. Throws failures of the registry.
    static int mf_isLanguageInstalled(unsigned short id);

    // Whether the texts can't be kept in the system's 8-bit code pages (*). Throws Internal for an unknown id.
    static int mf_requiresUCS2(unsigned short id);

    // Whether characters take two columns in a console; 0 for an unknown id.
    static int mf_printsDoubleWidthChars(unsigned short id);

    // Fill the caller's array of MAX_LANGUAGE_IDS in the order of the English names, close it with a 0 and return it.
    static unsigned short const * mf_getAllLanguageIds(unsigned short * ids);
    static unsigned short const * mf_getInstalledLanguageIds(unsigned short * ids);

    // The user's language of the next start; the running language stays. The id is not checked. Both throw failures of
    // the registry; the second, when the registry has an unknown name, Unknown or Parameter.
    static void mf_configureLanguage(unsigned short id);
    static unsigned short mf_getConfiguredLanguageId();

private:
    ICLanguage();
    virtual ~ICLanguage();

    // Collects: takes down what is up and throws the first failure.
    void mf_implInitialize();

    // Releases all three handles, whatever happens, and throws the first failure.
    void mf_implTerminate();

    // The loaded library, or NULL when its file is missing or its version wrong. Throws DllOpen, DllFunction and what
    // mf_implGetLibraryPath throws. A library that is refused after loading stays loaded.
    HINSTANCE mf_implAcquireHandle(unsigned short id) const;

    // Throws Resource.
    void mf_implReleaseHandle(HINSTANCE handle);

    // Answers whether the file is there; the path of `length` characters at most is filled in only then. Throws
    // Parameter, BufferTooSmall and failures of the registry.
    static int mf_implGetLibraryPath(unsigned short id, wchar_t * buffer, ulong length);
    static CString mf_implComposeLibraryPath(wchar_t const * library);

    static unsigned short mf_implReadUserLanguage();
    static void mf_implWriteUserLanguage(unsigned short id);
    static unsigned short mf_implGetCurrentLanguageId();
    static HINSTANCE mf_implGetCurrentLanguageHandle();

    struct ENGLISH_ROLE;
    struct RELEASE;
    void mf_implLoadEnglish(ICErrnoData & outcome);
    void mf_implChooseUserLanguage(ICErrnoData & outcome);
    void mf_implLoadUserLanguage(ICErrnoData & outcome);

    static ICLanguage const & mf_implGetInstance(wchar_t const * function);

    static ICLanguage * m_pThis;

    unsigned short m_userLanguageId; // 0 until initialised
    unsigned short m_loggingLanguageId;

    // Owned. Logging and fallback are two loads of the same file.
    HINSTANCE m_userLanguageHandle; // NULL when the library has a wrong version
    HINSTANCE m_loggingLanguageHandle;
    HINSTANCE m_fallbackLanguageHandle;
};
