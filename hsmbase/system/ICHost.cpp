#include "hsmbase/system/ICHost.h"

#include <cwchar>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/registry/ICRegistry.h"

namespace
{
constexpr int MAXIMUM_PORT = 65535;

int f_toPort(wchar_t const * text)
{
    return std::wcstol(text, nullptr, 10);
}

// By code, since the platform's classes of characters hold letters of all languages.
bool f_isNameCharacter(wchar_t character)
{
    return (character >= L'a' && character <= L'z') || (character >= L'A' && character <= L'Z') ||
           (character >= L'0' && character <= L'9') || character == L'-' || character == L'.';
}

bool f_isInnerCharacter(wchar_t character)
{
    return character == L'-' || character == L'.';
}

// Whether an administrator has switched the checks off; never throws.
bool f_isValidationDisabled(wchar_t const * function, CString const & name)
{
    CString const path = ICRegistry::mf_getRegistryRoot(CString());
    CString const value(L"DisableHostNameValidation");
    try {
        if (!ICRegistry::mf_exists(value, path, HKEY_LOCAL_MACHINE)) return false;
        ulong number = 0;
        ICRegistry::mf_getValue(value, number, path, HKEY_LOCAL_MACHINE);
        if (number == 0) return false;
        ICTrace(function).mf_warning(L"Registry key '%s\\%s' was manually activated,\r\n"
                                     L"%sskipping host name validation for name='%s'",
                                     path, value, ICLog::TAB, name);
        return true;
    }
    catch (ICErrno & failure) {
        // The neutral answer: names are checked, as they are without the value.
        ICTrace(function).mf_error(L"Failure checking host name validation,%sregistry key '%s\\%s':\r\n%s%s\r\n"
                                   L"%sIgnoring error and continuing with validation...",
                                   ICLog::TAB, path, value, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
        return false;
    }
}
} // namespace

int const ICHost::PORT_NONE;
int const ICHost::PORT_DEFAULT;

ICHost::ICHost() : m_nPort(PORT_NONE) {}

ICHost::ICHost(CString const & nameAndPort) : m_nPort(PORT_NONE)
{
    mf_splitNameAndPort(nameAndPort, m_sName, m_nPort);
}

ICHost::ICHost(CString const & name, int port) : m_sName(name), m_nPort(port) {}

ICHost::ICHost(CString const & name, CString const & port) : m_sName(name), m_nPort(f_toPort(port)) {}

ICHost const & ICHost::operator=(ICHost const & other)
{
    m_sName = other.m_sName;
    m_nPort = other.m_nPort;
    return *this;
}

int ICHost::operator==(ICHost const & other) const
{
    return m_nPort == other.m_nPort && m_sName.CompareNoCase(other.m_sName) == 0;
}

int ICHost::operator!=(ICHost const & other) const
{
    return !(*this == other);
}

CString const & ICHost::mf_getName() const
{
    return m_sName;
}

void ICHost::mf_setName(CString const & name)
{
    m_sName = name;
}

int ICHost::mf_getPort() const
{
    return m_nPort;
}

void ICHost::mf_setPort(CString const & port)
{
    m_nPort = f_toPort(port);
}

CString ICHost::mf_getPortString() const
{
    CString text;
    if (mf_hasPort()) text.Format(L"%d", m_nPort);
    return text;
}

int ICHost::mf_hasPort() const
{
    return m_nPort != PORT_NONE && m_nPort != PORT_DEFAULT;
}

int ICHost::mf_isEmpty() const
{
    return m_sName.IsEmpty();
}

CString ICHost::mf_toString() const
{
    if (mf_isEmpty() || !mf_hasPort()) return m_sName;
    return m_sName + L':' + mf_getPortString();
}

void ICHost::mf_splitNameAndPort(CString const & text, CString & name, int & port)
{
    int const colon = text.Find(L':');
    port = colon < 0 ? PORT_DEFAULT : f_toPort(text.GetString() + colon + 1);
    // Last, since the text may be the name that is written to.
    name = colon < 0 ? text : text.Left(colon);
}

int ICHost::mf_isValidName(CString const & name)
{
    static wchar_t const _sFunction_[] = L"ICHost::mf_isValidName";

    if (f_isValidationDisabled(_sFunction_, name)) return 1;
    if (name.IsEmpty()) return 0;
    for (int index = 0; index < name.GetLength(); ++index) {
        if (!f_isNameCharacter(name[index])) return 0;
    }
    return !f_isInnerCharacter(name[0]) && !f_isInnerCharacter(name[name.GetLength() - 1]);
}

int ICHost::mf_isValidPort(int port)
{
    return port >= 1 && port <= MAXIMUM_PORT;
}
