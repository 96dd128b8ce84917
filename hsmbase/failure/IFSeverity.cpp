#include "hsmbase/failure/IFSeverity.h"

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/failure/ICSeverity.h"

wchar_t IFSeverity::mf_getSeverityChar() const
{
    if (mf_isInfo()) return L'I';
    if (mf_isWarning()) return L'W';
    if (mf_isError()) return L'E';
    if (mf_isSevere()) return L'S';
    return L'?';
}

int IFSeverity::mf_isGreen() const
{
    return mf_isInfo();
}
int IFSeverity::mf_isYellow() const
{
    return mf_isWarning();
}
int IFSeverity::mf_isRed() const
{
    return mf_isError() || mf_isSevere();
}

int IFSeverity::mf_isHigherSeverity(IFSeverity const & other) const
{
    if (mf_isInfo()) return !other.mf_isInfo();
    if (mf_isWarning()) return other.mf_isError() || other.mf_isSevere();
    if (mf_isError()) return other.mf_isSevere() != 0;
    return 0;
}

int IFSeverity::mf_isLowerSeverity(IFSeverity const & other) const
{
    if (mf_isSevere()) return !other.mf_isSevere();
    if (mf_isError()) return other.mf_isWarning() || other.mf_isInfo();
    if (mf_isWarning()) return other.mf_isInfo() != 0;
    return 0;
}

int IFSeverity::mf_isInfo(wchar_t severity)
{
    return severity == L'I';
}
int IFSeverity::mf_isWarning(wchar_t severity)
{
    return severity == L'W';
}
int IFSeverity::mf_isError(wchar_t severity)
{
    return severity == L'E';
}
int IFSeverity::mf_isSevere(wchar_t severity)
{
    return severity == L'S';
}

ICSeverity const & IFSeverity::mf_getSeverity(IFSeverity const & severity)
{
    return mf_getSeverity(severity.mf_getSeverityChar());
}

ICSeverity const & IFSeverity::mf_getSeverity(wchar_t severity)
{
    switch (severity) {
    case L'I': return ICSeverity::Info;
    case L'W': return ICSeverity::Warning;
    case L'E': return ICSeverity::Error;
    case L'S': return ICSeverity::Severe;
    default:
        // Deliberate: no trace line. The trace asks for severities itself.
        throw ICErrno(ICErrno::_E_::Unexpected);
    }
}

CString IFSeverity::mf_toString(IFSeverity const & severity)
{
    switch (severity.mf_getSeverityChar()) {
    case L'I': return ICString(3501u);
    case L'W': return ICString(3505u);
    case L'E': return ICString(3498u);
    case L'S': return ICString(3502u);
    default: return ICString(3504u);
    }
}
