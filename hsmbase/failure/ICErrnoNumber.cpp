#include "hsmbase/failure/ICErrnoNumber.h"

namespace
{

constexpr ulong CLASS_MASK = 0xff000000;
constexpr ulong CLASS_INFO = 0x01000000;
constexpr ulong CLASS_WARNING = 0x02000000;
constexpr ulong CLASS_ERROR = 0x03000000;
constexpr ulong CLASS_SEVERE = 0x04000000;

} // namespace

int ICErrnoNumber::mf_isInfo(ulong number)
{
    return (number & CLASS_MASK) == CLASS_INFO;
}
int ICErrnoNumber::mf_isWarning(ulong number)
{
    return (number & CLASS_MASK) == CLASS_WARNING;
}
int ICErrnoNumber::mf_isError(ulong number)
{
    return (number & CLASS_MASK) == CLASS_ERROR;
}
int ICErrnoNumber::mf_isSevere(ulong number)
{
    return (number & CLASS_MASK) == CLASS_SEVERE;
}

int ICErrnoNumber::mf_isInfo() const
{
    return mf_isInfo(m_number);
}
int ICErrnoNumber::mf_isWarning() const
{
    return mf_isWarning(m_number);
}
int ICErrnoNumber::mf_isError() const
{
    return mf_isError(m_number);
}
int ICErrnoNumber::mf_isSevere() const
{
    return mf_isSevere(m_number);
}

ulong ICErrnoNumber::mf_getNumber() const
{
    return m_number;
}
int ICErrnoNumber::mf_isSet() const
{
    return m_number != 0;
}
void ICErrnoNumber::mf_reset()
{
    m_number = 0;
}

void ICErrnoNumber::mf_update(ICErrnoNumber const & other)
{
    if (!other.mf_isSet()) return;
    if (!mf_isSet() || mf_isHigherSeverity(other)) m_number = other.m_number;
}

CString ICErrnoNumber::mf_toString() const
{
    CString text;
    text.Format(L"0x%8.8x (%c)", m_number, mf_getSeverityChar());
    return text;
}
