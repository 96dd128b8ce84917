#include "hsmbase/context/ICTranslator.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <new>

#include "hsmbase/failure/internal/ICTrace.h"

ICTranslator * ICTranslator::m_pThis = nullptr;

ICTranslator::ICTranslator() : m_codePage(0)
{
    static wchar_t const _sFunction_[] = L"ICTranslator::ICTranslator";

    int const length = 15;
    wchar_t number[length] = {};
    ::SetLastError(0);
    if (::GetLocaleInfoW(LOCALE_SYSTEM_DEFAULT, LOCALE_IDEFAULTANSICODEPAGE, number, length) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting Windows default ANSI codepage: %s", failure.mf_toString());
    }
    m_codePage = static_cast<unsigned int>(::_wtoi(number));
    ulong const codePage = m_codePage;
    ICTrace(_sFunction_).mf_debug(L"Computed Windows default ANSI codepage: '%lu'", codePage);
}

ICTranslator::~ICTranslator() = default;

void ICTranslator::mf_createInstance()
{
    static wchar_t const _sFunction_[] = L"ICTranslator::mf_createInstance";

    if (m_pThis != nullptr) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Singleton instance is already initialized");
    }
    try {
        m_pThis = new (std::nothrow) ICTranslator();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure creating tranlator: %s", failure.mf_toString());
    }
    if (m_pThis == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory to create translator instance");
}

void ICTranslator::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICTranslator::mf_deleteInstance";

    if (m_pThis == nullptr) {
        ICTrace(_sFunction_).mf_warning(L"No translator singleton instance");
        return;
    }
    delete m_pThis;
    m_pThis = nullptr;
}

void ICTranslator::mf_convertAscii(char const * text, ulong length, CString & result)
{
    static wchar_t const _sFunction_[] = L"ICTranslator::mf_convertAscii";

    if (m_pThis == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Initialization, L"No translator singleton instance");
    m_pThis->mf_implConvertAscii(text, length, result);
}

void ICTranslator::mf_implConvertAscii(char const * text, ulong length, CString & result) const
{
    static wchar_t const _sFunction_[] = L"ICTranslator::mf_implConvertAscii";

    if (text == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pszAscii");
    if (length == 0) {
        result.Empty();
        return;
    }

    int const capacity = 2048;
    wchar_t buffer[capacity] = {};
    // A length that turned negative would mean "up to the terminator".
    int const bytes = static_cast<int>(std::min<ulong>(length, INT_MAX));
    ::SetLastError(0);
    if (::MultiByteToWideChar(m_codePage, 0, text, bytes, buffer, capacity - 1) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure converting DBCS string, %lu bytes: %s", length, failure.mf_toString());
    }
    result = buffer;
}
