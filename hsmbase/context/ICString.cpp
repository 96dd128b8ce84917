#include "hsmbase/context/ICString.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <memory>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
// The one size of all texts, in characters; and that of a resource before inserting.
constexpr ulong TEXT_LENGTH = 8192;
constexpr ulong TEMPLATE_LENGTH = 4096;

// The most bytes that one UTF-16 unit can become in any ANSI code page.
constexpr std::size_t MAX_BYTES_OF_UNIT = 4;

struct FREE
{
    void operator()(void * buffer) const { ::free(buffer); }
};
using ICTextBuffer = std::unique_ptr<wchar_t, FREE>;

ICTextBuffer f_allocateBuffer(wchar_t const * function)
{
    ICTextBuffer buffer(static_cast<wchar_t *>(::calloc(TEXT_LENGTH, sizeof(wchar_t))));
    if (buffer == nullptr) {
        // Deliberate: the number printed is that of the characters.
        throw ICTrace(function).mf_failed(ICErrno::_E_::Memory, L"No memory to allocate buffer (%lu bytes)",
                                          TEXT_LENGTH);
    }
    return buffer;
}

wchar_t emptyText[] = L"";
} // namespace

constinit wchar_t * ICString::EMPTY = emptyText;

ICString::ICString(unsigned int resourceId, ...) : m_pszBuffer(nullptr)
{
    static wchar_t const _sFunction_[] = L"ICString::ICString::1";

    ICTextBuffer buffer = f_allocateBuffer(_sFunction_);
    ulong const id = resourceId;
    if (!ICStatus::mf_canToggleLanguages()) {
        ::swprintf_s(buffer.get(), TEXT_LENGTH, L"<resource-id=%lu not loaded>", id);
        m_pszBuffer = buffer.release();
        return;
    }

    va_list arguments;
    va_start(arguments, resourceId);
    try {
        mf_implFormatString(ICLanguage::CURRENT_LANGUAGE, resourceId, &arguments, buffer.get(), TEXT_LENGTH);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure formatting string with id=%lu, buffer-length=%lu:\r\n%s", id, TEXT_LENGTH,
                      failure.mf_toString());
        // What inserting has produced before it failed is shown rather than the placeholder.
        if (*buffer == L'\0') ::swprintf_s(buffer.get(), TEXT_LENGTH, L"<resource-id=%lu not formatted>", id);
        ICTrace(_sFunction_).mf_error(L"Failure formatting string with resource-id=%lu, continuing...", id);
    }
    va_end(arguments);
    m_pszBuffer = buffer.release();
}

ICString::ICString(wchar_t const * format, ...) : m_pszBuffer(nullptr)
{
    static wchar_t const _sFunction_[] = L"ICString::ICString::2";

    if (format == nullptr) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pszFormat");
    ICTextBuffer buffer = f_allocateBuffer(_sFunction_);

    // As vswprintf_s would do it, but a text that is too long never reaches the run-time's invalid-parameter handler,
    // which may end the program.
    va_list arguments;
    va_start(arguments, format);
    int const length = ::_vsnwprintf_s(buffer.get(), TEXT_LENGTH, _TRUNCATE, format, arguments);
    va_end(arguments);

    if (length < 0) {
        ICTrace(_sFunction_).mf_error(L"Failure formatting string: %d", length);
        ::_snwprintf_s(buffer.get(), TEXT_LENGTH, _TRUNCATE, L"<string '%s' not formatted>", format);
        ICTrace(_sFunction_).mf_error(L"Failure formatting string with format=%s, continuing...", format);
    }
    m_pszBuffer = buffer.release();
}

ICString::~ICString()
{
    ::free(m_pszBuffer);
}

ICString::operator wchar_t *()
{
    return m_pszBuffer;
}

ICString::operator CString() const
{
    return CString(m_pszBuffer);
}

CString ICString::mf_formatLanguage(ulong language, ulong resourceId, ...)
{
    static wchar_t const _sFunction_[] = L"ICString::mf_formatLanguage";

    va_list arguments;
    va_start(arguments, resourceId);
    // Deliberate: one character less than in mf_vaFormatLanguage.
    CString const text = mf_implFormatLanguage(_sFunction_, language, resourceId, &arguments, TEXT_LENGTH - 1);
    va_end(arguments);
    return text;
}

CString ICString::mf_vaFormatLanguage(ulong language, ulong resourceId, va_list * arguments)
{
    static wchar_t const _sFunction_[] = L"ICString::mf_vaFormatLanguage";

    return mf_implFormatLanguage(_sFunction_, language, resourceId, arguments, TEXT_LENGTH);
}

CString ICString::mf_implFormatLanguage(wchar_t const * function, ulong language, ulong resourceId, va_list * arguments,
                                        ulong bufferLength)
{
    wchar_t buffer[TEXT_LENGTH] = {};
    try {
        mf_implFormatString(language, resourceId, arguments, buffer, bufferLength);
    }
    catch (ICErrno & failure) {
        ICTrace(function).mf_error(L"Failure formatting string with id=%lu: %s\r\n%sReturning empty string ...",
                                   resourceId, failure.mf_toString(), ICLog::TAB);
        *buffer = L'\0';
    }
    return CString(buffer);
}

void ICString::mf_implFormatString(ulong language, unsigned int resourceId, va_list * arguments, wchar_t * buffer,
                                   ulong bufferLength)
{
    static wchar_t const _sFunction_[] = L"ICString::mf_implFormatString";

    if ((arguments == nullptr) || (buffer == nullptr) || (bufferLength == 0)) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter,
                       L"( NULL == _pArguments ) || ( NULL == _pszBuffer ) || ( 0 == _ulBufferLength )");
    }

    ulong const id = resourceId;
    wchar_t text[TEMPLATE_LENGTH] = {};
    try {
        mf_implLoadString(language, resourceId, text, TEMPLATE_LENGTH);
    }
    catch (ICErrno &) {
        ICTrace(_sFunction_).mf_error(L"Failure loading string with id=%lu, buffer-length=%lu", id, TEMPLATE_LENGTH);
        // The caller sees the placeholder and no failure.
        ::_snwprintf_s(buffer, bufferLength, _TRUNCATE, L"<failure loading resource-id=%lu>", id);
        return;
    }

    ulong const limit = bufferLength - 1;
    ::SetLastError(0);
    if (::FormatMessageW(FORMAT_MESSAGE_FROM_STRING, text, 0, 0, buffer, limit, arguments) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure formatting string with id=%lu\r\n%sbuffer-length=%lu, Windows error code=%lu",
                       id, ICLog::TAB, limit, failure.mf_getErrnoData().mf_getOriginatorErrno());
    }
}

void ICString::mf_implLoadString(ulong language, unsigned int resourceId, wchar_t * buffer, ulong bufferLength)
{
    static wchar_t const _sFunction_[] = L"ICString::mf_implLoadString";

    ICErrnoData outcome;
    HINSTANCE library = nullptr;
    try {
        library = ICLanguage::mf_getLanguageHandle(language);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure getting language library handle, type=%lu", language);
    }

    int const limit = static_cast<int>(bufferLength - 1);
    ::SetLastError(0);
    if ((library != nullptr) && (::LoadStringW(library, resourceId, buffer, limit) == 0)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        outcome = failure.mf_getErrnoData();
        // A text that is missing in a translation is routine, so this is no error line.
        ICTrace(_sFunction_)
            .mf_debug(L"Failure loading current language string resource, id=%u\r\n%sbuffer-length=%lu, "
                      L"Windows error code=%lu",
                      resourceId, ICLog::TAB, static_cast<ulong>(limit), outcome.mf_getOriginatorErrno());
    }

    // Deliberate: a language without a library is no failure here, so the fallback isn't asked and the text is empty.
    if (!outcome.mf_isSet()) return;
    mf_implLoadFallbackString(outcome, library, resourceId, buffer, bufferLength);
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

void ICString::mf_implLoadFallbackString(ICErrnoData & outcome, HINSTANCE failedLibrary, unsigned int resourceId,
                                         wchar_t * buffer, ulong bufferLength)
{
    static wchar_t const _sFunction_[] = L"ICString::mf_implLoadString";

    HINSTANCE fallback = nullptr;
    try {
        fallback = ICLanguage::mf_getFallbackLanguageHandle();
    }
    catch (ICErrno &) {
        ICTrace(_sFunction_).mf_error(L"Failure querying for language library fallback handle");
        return;
    }
    if ((failedLibrary != nullptr) && (failedLibrary == fallback)) return;

    // Deliberate: the full length, one character more than the first attempt had.
    ::SetLastError(0);
    if (::LoadStringW(fallback, resourceId, buffer, static_cast<int>(bufferLength)) != 0) {
        outcome.mf_reset();
        return;
    }
    ulong const systemError = ::GetLastError();
    ulong const id = resourceId;
    ICTrace(_sFunction_)
        .mf_error(L"Failure loading fallback language string resource, id=%lu\r\n%sbuffer-length=%lu, "
                  L"Windows error code=%lu",
                  id, ICLog::TAB, bufferLength, systemError);
}

void ICString::mf_appendList(CString & list, CString const & item, CString const & separator)
{
    if (!list.IsEmpty()) list += separator;
    list += item;
}

int ICString::mf_count(CString const & text, wchar_t character)
{
    wchar_t const * const begin = text;
    return static_cast<int>(std::count(begin, begin + text.GetLength(), character));
}

int ICString::mf_isAlpha(CString const & text)
{
    wchar_t const * const begin = text;
    return std::all_of(begin, begin + text.GetLength(), [](wchar_t character) { return ::iswalpha(character) != 0; });
}

int ICString::mf_isDigit(CString const & text)
{
    wchar_t const * const begin = text;
    return std::all_of(begin, begin + text.GetLength(), [](wchar_t character) { return ::iswdigit(character) != 0; });
}

char const * ICString::mf_toAsciiBuffer(CString const & text, char * buffer, ulong size)
{
    std::fill_n(buffer, size, '\0');
    if (text.IsEmpty()) return buffer;

    int const length = text.GetLength();
    std::size_t const capacity = static_cast<std::size_t>(length) * MAX_BYTES_OF_UNIT;
    std::unique_ptr<char, FREE> const bytes(static_cast<char *>(::calloc(capacity, 1)));
    if (bytes == nullptr) return buffer;
    int const limit = static_cast<int>(std::min<std::size_t>(capacity, INT_MAX));
    if (::WideCharToMultiByte(CP_THREAD_ACP, 0, text, length, bytes.get(), limit, nullptr, nullptr) == 0) return buffer;

    // Deliberate: the count is that of the wide text, whatever the number of bytes that it has become.
    std::copy_n(bytes.get(), std::min(size, static_cast<ulong>(length)), buffer);
    return buffer;
}

CString const & ICString::mf_fromAsciiBuffer(char const * buffer, ulong length, CString & result)
{
    if (*buffer == '\0')
        result.Empty();
    else
        result = CString(buffer, static_cast<int>(length));
    return result;
}
