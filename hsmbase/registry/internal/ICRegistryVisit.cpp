#include "hsmbase/registry/internal/ICRegistryVisit.h"

ICRegistryVisit::ICRegistryVisit(wchar_t const * function, HKEY root, CString const & path)
    : m_function(function), m_root(root), m_path(path)
{}

LSTATUS ICRegistryVisit::mf_open(REGSAM access)
{
    // What a failed call leaves in the variable is not documented, so the owner gets it only after success.
    HKEY opened = nullptr;
    LSTATUS const code = ::RegOpenKeyExW(m_root, m_path, 0, access, &opened);
    if (code == ERROR_SUCCESS) *m_key.mf_receive() = opened;
    return code;
}

LSTATUS ICRegistryVisit::mf_create()
{
    HKEY opened = nullptr;
    LSTATUS const code =
        ::RegCreateKeyExW(m_root, m_path, 0, nullptr, 0, KEY_SET_VALUE, nullptr, &opened, &m_disposition);
    if (code == ERROR_SUCCESS) *m_key.mf_receive() = opened;
    return code;
}

// Always answers false, the answer of a check that failed.
template<class TEXT, class... NAME>
bool ICRegistryVisit::mf_implFail(LSTATUS code, TEXT text, NAME const &... name)
{
    ICErrno const failure = f_systemFailure(ICErrno::_E_::Registry, static_cast<ulong>(code));
    wchar_t const * const tab = ICLog::TAB;
    ICRegistryTrace(m_function)
        .mf_collect(m_outcome, failure, text, mf_getSection(), m_path, name..., tab, f_registryTraceText(failure));
    return false;
}

bool ICRegistryVisit::mf_check(LSTATUS code, PATH_TEXT text)
{
    return code == ERROR_SUCCESS || mf_implFail(code, text);
}

bool ICRegistryVisit::mf_check(LSTATUS code, CString const & name, VALUE_TEXT text)
{
    return code == ERROR_SUCCESS || mf_implFail(code, text, name);
}

void ICRegistryVisit::mf_fail(LSTATUS code, CString const & name, VALUE_TEXT text)
{
    mf_implFail(code, text, name);
}

void ICRegistryVisit::mf_close(PATH_TEXT text)
{
    if (m_key.mf_isOpen()) mf_check(m_key.mf_close(), text);
}

void ICRegistryVisit::mf_close(CString const & name, VALUE_TEXT text)
{
    if (m_key.mf_isOpen()) mf_check(m_key.mf_close(), name, text);
}

void ICRegistryVisit::mf_throwFirstFailure() const
{
    if (m_outcome.mf_isSet()) throw ICErrno(m_outcome);
}

CString f_resolveRegistryPath(CString const & path)
{
    return path.IsEmpty() ? CString(ICRegistry::mf_getRegistryPath(CString())) : path;
}

void f_writeRegistryValue(wchar_t const * function, CString const & name, ulong type, void const * data, ulong bytes,
                          CString const & path, HKEY key)
{
    ICRegistryVisit visit(function, key, path);
    if (visit.mf_check(visit.mf_create(), name, L"Failure creating registry key '%s\\%s\\%s':\r\n%s%s")) {
        LSTATUS const code = ::RegSetValueExW(visit.mf_getKey(), name, 0, type, static_cast<BYTE const *>(data), bytes);
        visit.mf_check(code, name, L"Failure setting registry key '%s\\%s\\%s':\r\n%s%s");
    }
    visit.mf_close(name, L"Failure closing registry key '%s\\%s\\%s':\r\n%s%s. Ignored");
    visit.mf_throwFirstFailure();
}
