#include "hsmbase/failure/ICErrnoData.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/logging/ICAdminLog.h"

namespace
{

constexpr ulong USER_LANGUAGE = 1;
constexpr unsigned int RESOURCE_NO_ORIGINATOR_TEXT = 4018;

// Deliberate: the number of ReparsePoint with the text of Unspecific. Log readers know it by both.
constexpr ICErrnoValue sUnspecificValue(0x0300005d, 2155);

FILETIME f_localTime()
{
    FILETIME systemTime;
    FILETIME localTime = {};
    ::GetSystemTimeAsFileTime(&systemTime);
    ::FileTimeToLocalFileTime(&systemTime, &localTime);
    return localTime;
}

wchar_t const * f_textOrNotAvailable(wchar_t const * text)
{
    return text != nullptr ? text : L"N/A";
}

} // namespace

ICErrnoData::ICErrnoData() : ICErrnoValue(0, 0)
{
    mf_implInitialize();
}

ICErrnoData::ICErrnoData(ICErrnoValue const & value) : ICErrnoValue(value)
{
    mf_implInitialize();
    m_creationTime = f_localTime();
}

ICErrnoData::ICErrnoData(ICErrnoData const & other) : ICErrnoValue(0, 0)
{
    mf_implInitialize();
    *this = other;
    m_creationTime = f_localTime();
}

ICErrnoData::~ICErrnoData()
{
    static wchar_t const _sFunction_[] = L"ICErrnoData::~ICErrnoData";
    if (m_adminLogFlag) {
        ulong const lastError = ::GetLastError();
        try {
            ICAdminLog::mf_writeMessage(*this);
        }
        catch (...) {
            // The record ends here, so there is nobody left to tell but the trace.
            ICTrace(_sFunction_)
                .mf_error(L"Failure writing errno data to admin log.\r\n%serrno: %s", ICLog::TAB, mf_toString());
        }
        ::SetLastError(lastError);
    }
    std::free(m_pszOriginatorMessage);
    std::free(m_pszKVRNumber);
    std::free(m_pszMessageText);
    std::free(m_pszExplanation);
    std::free(m_pszSystemAction);
    std::free(m_pszUserResponse);
}

void ICErrnoData::mf_implInitialize()
{
    m_creationTime = {};
    m_originatorId = NO_ORIGINATOR;
    m_originatorErrno = 0xffffffff;
    m_pszOriginatorMessage = nullptr;
    m_pszKVRNumber = nullptr;
    m_pszMessageText = nullptr;
    m_pszExplanation = nullptr;
    m_pszSystemAction = nullptr;
    m_pszUserResponse = nullptr;
    m_adminLogFlag = 0;
}

void ICErrnoData::operator=(ICErrnoData const & other)
{
    // Assigning to itself would lose the flag.
    if (this == &other) return;
    m_number = other.m_number;
    m_resourceId = other.m_resourceId;
    m_creationTime = other.m_creationTime;
    if (other.mf_hasOriginator())
        mf_setOriginator(other.m_originatorId, other.m_originatorErrno, other.m_pszOriginatorMessage);
    if (other.mf_hasKVRNumber()) mf_implReplaceString(m_pszKVRNumber, other.m_pszKVRNumber);
    if (other.mf_hasMessageText()) mf_implReplaceString(m_pszMessageText, other.m_pszMessageText);
    if (other.mf_hasExplanation()) mf_implReplaceString(m_pszExplanation, other.m_pszExplanation);
    if (other.mf_hasSystemAction()) mf_implReplaceString(m_pszSystemAction, other.m_pszSystemAction);
    if (other.mf_hasUserResponse()) mf_implReplaceString(m_pszUserResponse, other.m_pszUserResponse);
    if (other.m_adminLogFlag) {
        m_adminLogFlag = 1;
        other.m_adminLogFlag = 0;
    }
}

// Deliberate: by the merge rule this clears number, resource id and creation time only. Collecting functions use it to
// declare a failure recovered.
void ICErrnoData::mf_reset()
{
    *this = ICErrnoData();
}

void ICErrnoData::mf_setValue(ICErrnoValue const & value)
{
    m_number = value.mf_getNumber();
    m_resourceId = value.mf_getResourceId();
}

int ICErrnoData::mf_update(ICErrnoData const & other)
{
    if (!other.mf_isSet()) return 0;
    if (mf_isSet() && !mf_isHigherSeverity(other)) return 0;
    *this = other;
    return 1;
}

FILETIME const & ICErrnoData::mf_getCreationTime() const
{
    return m_creationTime;
}
int ICErrnoData::mf_getOriginatorId() const
{
    return m_originatorId;
}
ulong ICErrnoData::mf_getOriginatorErrno() const
{
    return m_originatorErrno;
}

wchar_t const * ICErrnoData::mf_getOriginatorMessage() const
{
    if (mf_hasOriginatorMessage()) return m_pszOriginatorMessage;
    // Deliberate: the text stays in the language of the first caller.
    static ICString sNoOriginatorText(RESOURCE_NO_ORIGINATOR_TEXT);
    return sNoOriginatorText;
}

wchar_t const * ICErrnoData::mf_getKVRNumber() const
{
    if (m_pszKVRNumber != nullptr && *m_pszKVRNumber == L'\0') return mf_isInfo() ? L"KVR?????T" : L"KVR?????E";
    return f_textOrNotAvailable(m_pszKVRNumber);
}

wchar_t const * ICErrnoData::mf_getMessageText() const
{
    return f_textOrNotAvailable(m_pszMessageText);
}
wchar_t const * ICErrnoData::mf_getExplanation() const
{
    return f_textOrNotAvailable(m_pszExplanation);
}
wchar_t const * ICErrnoData::mf_getSystemAction() const
{
    return f_textOrNotAvailable(m_pszSystemAction);
}
wchar_t const * ICErrnoData::mf_getUserResponse() const
{
    return f_textOrNotAvailable(m_pszUserResponse);
}

CString ICErrnoData::mf_getErrorText() const
{
    if (mf_hasOriginator() && mf_hasOriginatorMessage() && m_originatorId != HSM_INTERNAL)
        return m_pszOriginatorMessage;
    return mf_getString();
}

int ICErrnoData::mf_isAdminLogFlagSet() const
{
    return m_adminLogFlag;
}

int ICErrnoData::mf_hasKVRNumber() const
{
    return m_pszKVRNumber != nullptr;
}
int ICErrnoData::mf_hasMessageText() const
{
    return m_pszMessageText != nullptr;
}
int ICErrnoData::mf_hasExplanation() const
{
    return m_pszExplanation != nullptr;
}
int ICErrnoData::mf_hasSystemAction() const
{
    return m_pszSystemAction != nullptr;
}
int ICErrnoData::mf_hasUserResponse() const
{
    return m_pszUserResponse != nullptr;
}
int ICErrnoData::mf_hasOriginator() const
{
    return m_originatorId != NO_ORIGINATOR;
}

int ICErrnoData::mf_hasOriginatorMessage() const
{
    return m_pszOriginatorMessage != nullptr && *m_pszOriginatorMessage != L'\0';
}

void ICErrnoData::mf_implSetString(wchar_t *& target, wchar_t const * source, int overwrite)
{
    if (target == nullptr || overwrite) mf_implReplaceString(target, source);
}

void ICErrnoData::mf_setKVRNumber(wchar_t const * number, int overwrite)
{
    mf_implSetString(m_pszKVRNumber, number, overwrite);
}

void ICErrnoData::mf_setMessageText(wchar_t const * text, int overwrite)
{
    mf_implSetString(m_pszMessageText, text, overwrite);
}

void ICErrnoData::mf_setExplanation(wchar_t const * text, int overwrite)
{
    mf_implSetString(m_pszExplanation, text, overwrite);
}

void ICErrnoData::mf_setSystemAction(wchar_t const * text, int overwrite)
{
    mf_implSetString(m_pszSystemAction, text, overwrite);
}

void ICErrnoData::mf_setUserResponse(wchar_t const * text, int overwrite)
{
    mf_implSetString(m_pszUserResponse, text, overwrite);
}

void ICErrnoData::mf_setOriginator(int id, ulong number, wchar_t const * message)
{
    m_originatorId = id;
    m_originatorErrno = number;
    mf_implReplaceString(m_pszOriginatorMessage, message);
}

void ICErrnoData::mf_setOriginatorId(int id)
{
    m_originatorId = id;
}
void ICErrnoData::mf_setOriginatorErrno(ulong number)
{
    m_originatorErrno = number;
}
void ICErrnoData::mf_setOriginatorMessage(wchar_t const * message)
{
    mf_implReplaceString(m_pszOriginatorMessage, message);
}
void ICErrnoData::mf_setAdminLogFlag(int flag)
{
    m_adminLogFlag = flag;
}

// Answers 1 if a string was replaced, else 0.
int ICErrnoData::mf_implReplaceString(wchar_t *& target, wchar_t const * source) const
{
    static wchar_t const _sFunction_[] = L"ICErrnoData::mf_implReplaceString";
    wchar_t * const old = target;
    target = nullptr;
    if (source != nullptr) {
        std::size_t const bytes = (std::wcslen(source) + 1) * sizeof(wchar_t);
        target = static_cast<wchar_t *>(std::malloc(bytes));
        if (target != nullptr) {
            std::memcpy(target, source, bytes);
        } else {
            // Deliberate: the number printed is that of the bytes.
            ICTrace(_sFunction_).mf_error(L"Failure allocating array of %d wchars", static_cast<int>(bytes));
        }
    }
    // Only now: the source may be the string itself.
    std::free(old);
    return old != nullptr;
}

void ICErrnoData::mf_setMessage(ICErrnoData & data, wchar_t const * const kvrNumber, unsigned int messageId,
                                unsigned int explanationId, unsigned int systemActionId, unsigned int userResponseId,
                                ...)
{
    static wchar_t const _sFunction_[] = L"ICErrnoData::mf_setMessage";
    if (kvrNumber == nullptr) {
        ICTrace(_sFunction_).mf_warning(L"NULL == _pszKVRNumber, cannot set user message");
        return;
    }
    if (!data.mf_isSet()) {
        ICTrace(_sFunction_)
            .mf_warning(
                L"Errno value not set, defaulting to 'Unspecific error'.\r\n%sThis needs to be fixed in the code!",
                ICLog::TAB);
        data = ICErrnoData(sUnspecificValue);
    }
    data.mf_setKVRNumber(kvrNumber, 1);
    va_list arguments;
    va_start(arguments, userResponseId);
    data.mf_setMessageText(ICString::mf_vaFormatLanguage(USER_LANGUAGE, messageId, &arguments), 1);
    va_end(arguments);
    data.mf_setExplanation(ICString::mf_formatLanguage(USER_LANGUAGE, explanationId), 1);
    data.mf_setSystemAction(ICString::mf_formatLanguage(USER_LANGUAGE, systemActionId), 1);
    data.mf_setUserResponse(ICString::mf_formatLanguage(USER_LANGUAGE, userResponseId), 1);
    data.m_adminLogFlag = 1;
}
