#include "hsmbase/context/ICLanguage.h"

#include <new>

#include "hsmbase/failure/internal/ICTrace.h"

// The singleton, and the questions that need it. The list of languages stands in ICLanguageTable.cpp, the way from an
// id to a loaded library in ICLanguageLoad.cpp.

ICLanguage * ICLanguage::m_pThis = nullptr;

ICLanguage::ICLanguage()
    : m_userLanguageId(0), m_loggingLanguageId(ENGLISH_ID), m_userLanguageHandle(nullptr),
      m_loggingLanguageHandle(nullptr), m_fallbackLanguageHandle(nullptr)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::ICLanguage";

    try {
        mf_implInitialize();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure initializing language singleton: %s", failure.mf_toString());
    }
}

ICLanguage::~ICLanguage()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::~ICLanguage";

    ulong const lastError = ::GetLastError();
    try {
        mf_implTerminate();
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure deleting up language singleton: %s\r\n%sContinuing...", failure.mf_toString(),
                      ICLog::TAB);
    }
    ::SetLastError(lastError);
}

void ICLanguage::mf_createInstance()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_createInstance";

    if (m_pThis != nullptr) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Language singleton already initialized");
    }
    try {
        m_pThis = new (std::nothrow) ICLanguage();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating language singleton: %s", failure.mf_toString());
    }
    if (m_pThis == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory to create language object");
}

void ICLanguage::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_deleteInstance";

    if (m_pThis == nullptr) {
        ICTrace(_sFunction_).mf_warning(L"No language singleton instance");
        return;
    }
    try {
        delete m_pThis;
    }
    catch (ICErrno & failure) {
        // Not to be seen as long as the destructor keeps its failures to itself.
        ICTrace(_sFunction_).mf_error(L"Failure deleting language singleton: %s", failure.mf_toString());
    }
    m_pThis = nullptr;
}

ICLanguage const & ICLanguage::mf_implGetInstance(wchar_t const * function)
{
    if (m_pThis == nullptr)
        throw ICTrace(function).mf_failed(ICErrno::_E_::Initialization, L"Language singleton not initialized");
    return *m_pThis;
}

unsigned short ICLanguage::mf_getLanguageId(ulong selector)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLanguageId::1";

    ICLanguage const & instance = mf_implGetInstance(_sFunction_);
    switch (selector) {
    case USER_LANGUAGE: return instance.m_userLanguageId;
    case LOGGING_LANGUAGE: return instance.m_loggingLanguageId;
    case FALLBACK_LANGUAGE: return mf_getFallbackLanguageId();
    case CURRENT_LANGUAGE: return mf_implGetCurrentLanguageId();
    default: throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Language, L"Unknown language type %lu", selector);
    }
}

unsigned short ICLanguage::mf_getUserLanguageId()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getUserLanguageId";

    return mf_implGetInstance(_sFunction_).m_userLanguageId;
}

unsigned short ICLanguage::mf_getLoggingLanguageId()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLoggingLanguageId";

    return mf_implGetInstance(_sFunction_).m_loggingLanguageId;
}

unsigned short ICLanguage::mf_getFallbackLanguageId()
{
    return ENGLISH_ID;
}

HINSTANCE ICLanguage::mf_getLanguageHandle(ulong selector)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLanguageHandle";

    ICLanguage const & instance = mf_implGetInstance(_sFunction_);
    switch (selector) {
    case USER_LANGUAGE: return instance.m_userLanguageHandle;
    case LOGGING_LANGUAGE: return instance.m_loggingLanguageHandle;
    case FALLBACK_LANGUAGE: return instance.m_fallbackLanguageHandle;
    case CURRENT_LANGUAGE: return mf_implGetCurrentLanguageHandle();
    default: throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Language, L"Unknown language type %lu", selector);
    }
}

HINSTANCE ICLanguage::mf_getUserLanguageHandle()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getUserLanguageHandle";

    return mf_implGetInstance(_sFunction_).m_userLanguageHandle;
}

HINSTANCE ICLanguage::mf_getLoggingLanguageHandle()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLoggingLanguageHandle";

    return mf_implGetInstance(_sFunction_).m_loggingLanguageHandle;
}

HINSTANCE ICLanguage::mf_getFallbackLanguageHandle()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getFallbackLanguageHandle";

    return mf_implGetInstance(_sFunction_).m_fallbackLanguageHandle;
}

unsigned short ICLanguage::mf_implGetCurrentLanguageId()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implGetCurrentLanguageId";

    try {
        return ICThreadContext::mf_getCurrentLanguageId();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting current language id from thread context: %s", failure.mf_toString());
    }
}

HINSTANCE ICLanguage::mf_implGetCurrentLanguageHandle()
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_implGetCurrentLanguageHandle";

    try {
        return ICThreadContext::mf_getCurrentLanguageHandle();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting language library handle: %s", failure.mf_toString());
    }
}
