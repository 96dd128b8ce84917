#include "hsmbase/failure/ICErrno.h"

#include "hsmbase/failure/internal/ICTrace.h"

ICErrno::ICErrno(ICErrnoValue const & value) : m_data(value) {}

ICErrno::ICErrno(ICErrnoData const & data) : m_data(data) {}

ICErrno::ICErrno(ICErrnoData const & data, ulong systemError) : m_data(data)
{
    m_data.mf_setOriginator(ICErrnoData::SYSTEM, systemError, mf_implFormatSystemMessage(systemError));
}

ICErrno::ICErrno(ICErrnoData const & data, int originatorId, ulong originatorErrno, CString const & originatorMessage)
    : m_data(data)
{
    m_data.mf_setOriginator(originatorId, originatorErrno, originatorMessage);
}

ICErrno::ICErrno(ICErrno const & other) = default;
ICErrno::~ICErrno() = default;

ICErrno & ICErrno::operator=(ICErrno const & other)
{
    m_data = other.m_data;
    return *this;
}

ICErrnoData const & ICErrno::mf_getErrnoData() const
{
    return m_data;
}
int ICErrno::mf_getNumber() const
{
    return static_cast<int>(m_data.mf_getNumber());
}
CString ICErrno::mf_getString() const
{
    return m_data.mf_getString();
}
int ICErrno::mf_hasMessage() const
{
    return m_data.mf_hasMessageText();
}
int ICErrno::mf_isErrno(ICErrnoData const & other) const
{
    return m_data.mf_getNumber() == other.mf_getNumber();
}

int ICErrno::mf_isError() const
{
    return m_data.mf_isError();
}
int ICErrno::mf_isWarning() const
{
    return m_data.mf_isWarning();
}
int ICErrno::mf_isSevere() const
{
    return m_data.mf_isSevere();
}
int ICErrno::mf_isGreen() const
{
    return m_data.mf_isGreen();
}
int ICErrno::mf_isYellow() const
{
    return m_data.mf_isYellow();
}
int ICErrno::mf_isRed() const
{
    return m_data.mf_isRed();
}

void ICErrno::mf_setKVRNumber(CString const & number)
{
    m_data.mf_setKVRNumber(number, 0);
}
void ICErrno::mf_setMessageText(CString const & text)
{
    m_data.mf_setMessageText(text, 0);
}
void ICErrno::mf_setExplanation(CString const & text)
{
    m_data.mf_setExplanation(text, 0);
}
void ICErrno::mf_setSystemAction(CString const & text)
{
    m_data.mf_setSystemAction(text, 0);
}
void ICErrno::mf_setUserResponse(CString const & text)
{
    m_data.mf_setUserResponse(text, 0);
}

CString ICErrno::mf_getSystemMessage(ulong systemError)
{
    CString message;
    message.Format(L"%luL (%s)", systemError, mf_implFormatSystemMessage(systemError).GetString());
    return message;
}

// Texts with inserts fail here, since nobody knows their arguments: they get the substitute.
CString ICErrno::mf_implFormatSystemMessage(ulong systemError)
{
    static wchar_t const _sFunction_[] = L"ICErrno::mf_implFormatSystemMessage";
    static wchar_t const noText[] = L"<no error string available>";
    constexpr ulong LENGTH = 256;
    wchar_t buffer[LENGTH] = {};
    ::SetLastError(0);
    if (!::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, systemError, 0, buffer, LENGTH - 1, nullptr)) {
        ulong const reason = ::GetLastError();
        wchar_t reasonText[LENGTH] = {};
        bool const isReasonKnown =
            ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, reason, 0, reasonText, LENGTH - 1, nullptr) != 0;
        wchar_t const * const shown = isReasonKnown ? reasonText : noText;
        ICTrace(_sFunction_)
            .mf_warning(L"Failure querying system error string for %lu (0x%8.8x):\r\n%s%lu (0x%8.8x) %s", systemError,
                        systemError, ICLog::TAB, reason, reason, shown);
        return noText;
    }
    CString text(buffer);
    text.TrimRight();
    return text;
}
