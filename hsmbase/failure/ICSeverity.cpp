#include "hsmbase/failure/ICSeverity.h"

namespace
{

constexpr ulong INFO = 1;
constexpr ulong WARNING = 2;
constexpr ulong ERRONEOUS = 3;
constexpr ulong SEVERE = 4;

} // namespace

constexpr ICSeverity ICSeverity::Info(INFO);
constexpr ICSeverity ICSeverity::Warning(WARNING);
constexpr ICSeverity ICSeverity::Error(ERRONEOUS);
constexpr ICSeverity ICSeverity::Severe(SEVERE);

ICSeverity::ICSeverity(IFSeverity const & severity)
{
    if (severity.mf_isInfo())
        m_level = INFO;
    else if (severity.mf_isWarning())
        m_level = WARNING;
    else if (severity.mf_isError())
        m_level = ERRONEOUS;
    else if (severity.mf_isSevere())
        m_level = SEVERE;
}

int ICSeverity::mf_isInfo() const
{
    return m_level == INFO;
}
int ICSeverity::mf_isWarning() const
{
    return m_level == WARNING;
}
int ICSeverity::mf_isError() const
{
    return m_level == ERRONEOUS;
}
int ICSeverity::mf_isSevere() const
{
    return m_level == SEVERE;
}

int ICSeverity::mf_isSet() const
{
    return m_level != 0;
}
void ICSeverity::mf_reset()
{
    m_level = 0;
}
void ICSeverity::mf_set(ulong level)
{
    m_level = level;
}

// Deliberate: only 'S' takes effect. Callers rely on the other letters leaving the value not set.
void ICSeverity::mf_set(wchar_t severity)
{
    m_level = mf_isSevere(severity) ? SEVERE : 0;
}
