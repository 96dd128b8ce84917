#include <algorithm>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"

// From the configured language to the loaded libraries, and back.

namespace
{
constexpr ulong PATH_LENGTH = 260;
constexpr wchar_t LANGUAGE_VALUE[] = L"Language";
constexpr wchar_t DIRECTORY_VALUE[] = L"LanguageDir";

// The one function that a language library exports. Its decorated name holds its signature.
constexpr char VERSION_FUNCTION_NAME[] = "?GetLanguageVersion@@YA?BKXZ";
using VERSION_FUNCTION = ulong (*)();
} // namespace

// A role that English has beside that of the user's language.
struct ICLanguage::ENGLISH_ROLE
{
    HINSTANCE ICLanguage::*handle;
    ICTraceFormat<unsigned short, CString, wchar_t const *, CString> notLoaded;
    ICTraceFormat<unsigned short> notObtained;
};

struct ICLanguage::RELEASE
{
    HINSTANCE ICLanguage::*handle;
    ICTraceFormat<CString> notReleased;
};

void ICLanguage::mf_implInitialize()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implInitialize";

    ICErrnoData outcome;
    mf_implLoadEnglish(outcome);
    if (!outcome.mf_isSet()) mf_implChooseUserLanguage(outcome);
    if (!outcome.mf_isSet()) mf_implLoadUserLanguage(outcome);
    if (!outcome.mf_isSet()) return;

    try {
        mf_implTerminate();
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure cleaning up language singleton: %s\r\n%sContinuing...", failure.mf_toString(),
                      ICLog::TAB);
    }
    throw ICErrno(outcome);
}

void ICLanguage::mf_implLoadEnglish(ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implInitialize";
    static constexpr ENGLISH_ROLE ROLES[] = {
        {&ICLanguage::m_fallbackLanguageHandle,
         L"Failure loading fallback library handle for language %hu (%s):\r\n%s%s",
         L"Could not obtain fallback language handle, language = %hu"},
        {&ICLanguage::m_loggingLanguageHandle, L"Failure loading logging library handle for language %hu (%s):\r\n%s%s",
         L"Could not obtain logging language handle, language = %hu"},
    };

    wchar_t const * const indent = ICLog::TAB;
    for (ENGLISH_ROLE const & role : ROLES) {
        try {
            this->*role.handle = mf_implAcquireHandle(ENGLISH_ID);
        }
        catch (ICErrno & failure) {
            ICTrace(_sFunction_)
                .mf_collect(outcome, failure, role.notLoaded, ENGLISH_ID, mf_getLanguageName(ENGLISH_ID, 0), indent,
                            failure.mf_toString());
            return;
        }
        if (this->*role.handle == nullptr) {
            ICTrace(_sFunction_).mf_collect(outcome, ICErrno::_E_::Resource, role.notObtained, ENGLISH_ID);
            return;
        }
    }
}

void ICLanguage::mf_implChooseUserLanguage(ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implInitialize";

    try {
        m_userLanguageId = mf_implReadUserLanguage();
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure reading user language configuration: %s\r\n%sDefaulting to language %hu (%s) ...",
                      failure.mf_toString(), ICLog::TAB, ENGLISH_ID, mf_getLanguageName(ENGLISH_ID, 0));
        m_userLanguageId = ENGLISH_ID;
    }

    try {
        if (mf_isLanguageInstalled(m_userLanguageId)) return;
        ICTrace(_sFunction_)
            .mf_error(L"Configured user language %hu (%s) is not installed.\r\n"
                      L"%sDefaulting to default language %hu (%s) ...",
                      m_userLanguageId, mf_getLanguageName(m_userLanguageId, 0), ICLog::TAB, ENGLISH_ID,
                      mf_getLanguageName(ENGLISH_ID, 0));
        m_userLanguageId = ENGLISH_ID;
    }
    catch (ICErrno & failure) {
        // The check has left its line. What is loaded by now must not stay behind, so this is collected.
        outcome = failure.mf_getErrnoData();
    }
}

void ICLanguage::mf_implLoadUserLanguage(ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implInitialize";

    try {
        m_userLanguageHandle = mf_implAcquireHandle(m_userLanguageId);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure loading handle for user language %hu (%s):\r\n%s%s",
                        m_userLanguageId, mf_getLanguageName(m_userLanguageId, 0), ICLog::TAB, failure.mf_toString());
        return;
    }
    if (m_userLanguageHandle == nullptr) {
        // Deliberate: the system goes on, and only texts in the logging language can be had.
        ICTrace(_sFunction_).mf_warning(L"Could not obtain user language handle for language %hu", m_userLanguageId);
        return;
    }
    CString const name = mf_getLanguageName(m_userLanguageId, 1);
    ICTrace(_sFunction_).mf_info(L"Running with user language %hu (%s)", m_userLanguageId, name);
}

void ICLanguage::mf_implTerminate()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implTerminate";
    static constexpr RELEASE RELEASES[] = {
        {&ICLanguage::m_userLanguageHandle, L"Failure releasing user language handle: %s"},
        {&ICLanguage::m_loggingLanguageHandle, L"Failure releasing logging language handle: %s"},
        {&ICLanguage::m_fallbackLanguageHandle, L"Failure releasing fallback language handle: %s"},
    };

    ICErrnoData outcome;
    for (RELEASE const & release : RELEASES) {
        try {
            if (this->*release.handle != nullptr) mf_implReleaseHandle(this->*release.handle);
        }
        catch (ICErrno & failure) {
            ICTrace(_sFunction_).mf_collect(outcome, failure, release.notReleased, failure.mf_toString());
        }
        this->*release.handle = nullptr;
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

HINSTANCE ICLanguage::mf_implAcquireHandle(unsigned short id) const
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implAcquireHandle";

    wchar_t path[PATH_LENGTH];
    int found = 0;
    try {
        found = mf_implGetLibraryPath(id, path, PATH_LENGTH);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting language library name for id=%hu: %s", id, failure.mf_toString());
    }
    if (!found) {
        ICTrace(_sFunction_).mf_error(L"Could not get library for language %hu", id);
        return nullptr;
    }

    ::SetLastError(0);
    HINSTANCE const library = ::LoadLibraryW(path);
    if (library == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::DllOpen);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure loading language library '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }

    // Deliberate: a library that is refused from here on stays loaded, up to the end of the process.
    ::SetLastError(0);
    FARPROC const function = ::GetProcAddress(library, VERSION_FUNCTION_NAME);
    if (function == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::DllFunction);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting function address, library='%s',\r\n%sfunction='%s':\r\n%s%s", path,
                       ICLog::TAB, CString(VERSION_FUNCTION_NAME), ICLog::TAB, failure.mf_toString());
    }
    ulong const version = reinterpret_cast<VERSION_FUNCTION>(reinterpret_cast<void (*)()>(function))();
    if (version == LIBRARY_VERSION) return library;
    ICTrace(_sFunction_)
        .mf_error(L"Wrong library version, found %lu, needed %lu\r\n%sLanguage: %hu, library: '%s'", version,
                  LIBRARY_VERSION, ICLog::TAB, id, path);
    return nullptr;
}

void ICLanguage::mf_implReleaseHandle(HINSTANCE handle)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implReleaseHandle";

    ::SetLastError(0);
    if (!::FreeLibrary(handle)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Resource);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure releasing library handle: %s", failure.mf_toString());
    }
}

int ICLanguage::mf_implGetLibraryPath(unsigned short id, wchar_t * buffer, ulong length)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implGetLibraryPath";

    if ((buffer == nullptr) || (length == 0)) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"( NULL == _pszBuffer ) || ( 0 == _ulBufferLength )");
    }
    std::fill_n(buffer, length, L'\0');
    wchar_t const * library = nullptr;
    try {
        library = mf_getLibraryName(id);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting language library name for id=%hu: %s", id, failure.mf_toString());
    }

    CString const path = mf_implComposeLibraryPath(library);
    int exists = 0;
    try {
        exists = ICPath::mf_exists(path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure checking library existence for '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
    if (!exists) {
        ICTrace(_sFunction_).mf_warning(L"Language resource library '%s' not found", path);
        return 0;
    }
    if (static_cast<ulong>(path.GetLength()) >= length) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::BufferTooSmall, L"Library path '%s' too long for buffer (%lu chars)", path,
                       length);
    }
    std::copy_n(path.GetString(), path.GetLength(), buffer);
    return 1;
}

CString ICLanguage::mf_implComposeLibraryPath(wchar_t const * library)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implGetLibraryPath";

    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    CString directory;
    int exists = 0;
    try {
        exists = ICRegistry::mf_exists(DIRECTORY_VALUE, root, HKEY_LOCAL_MACHINE);
        if (exists) ICRegistry::mf_getValue(DIRECTORY_VALUE, directory, root, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure reading language path for key='%s' from registry:\r\n%s%s", DIRECTORY_VALUE,
                       ICLog::TAB, failure.mf_toString());
    }
    if (exists) return ICPath::mf_appendFile(directory, library);

    ICTrace(_sFunction_)
        .mf_warning(L"Library path for user language not found in registry\r\n%s%s\\%s. Using current directory ...",
                    ICLog::TAB, root, DIRECTORY_VALUE);
    return CString(L".\\") + library;
}

int ICLanguage::mf_isLanguageInstalled(unsigned short id)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_isLanguageInstalled";

    wchar_t path[PATH_LENGTH];
    try {
        return mf_implGetLibraryPath(id, path, PATH_LENGTH) && ICPath::mf_exists(path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure checking library availability, language: %hu:\r\n%s%s", id, ICLog::TAB,
                       failure.mf_toString());
    }
}

unsigned short ICLanguage::mf_implReadUserLanguage()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implReadUserLanguage";

    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    try {
        CString name = mf_getLanguageName(ENGLISH_ID, 0);
        ICRegistry::mf_getOrSetValue(LANGUAGE_VALUE, name, root, 0, HKEY_LOCAL_MACHINE);
        return mf_getLanguageId(name.GetString());
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying for language selection: %s", failure.mf_toString());
    }
}

void ICLanguage::mf_implWriteUserLanguage(unsigned short id)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implWriteUserLanguage";

    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    CString const name = mf_getLanguageName(id, 0);
    try {
        ICRegistry::mf_setValue(LANGUAGE_VALUE, name, root, 0, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        // Deliberate: the words of reading.
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying for language selection: %s", failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_info(L"Language changed in registry, new language: %hu (%s)", id, name);
}

void ICLanguage::mf_configureLanguage(unsigned short id)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_configureLanguage";

    try {
        mf_implWriteUserLanguage(id);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure changing language persistently to %hu:\r\n%s%s", id, ICLog::TAB,
                       failure.mf_toString());
    }
}

unsigned short ICLanguage::mf_getConfiguredLanguageId()
{
    // Deliberate: the tag is not the operation's own name.
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_configureLanguageId";

    try {
        return mf_implReadUserLanguage();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying configured language:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
}
