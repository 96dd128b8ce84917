// Whether values and keys are there, and the removal of values.
#include "hsmbase/registry/internal/ICRegistryVisit.h"

int ICRegistry::mf_exists(CString const & name, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_exists";
    ICRegistryVisit visit(_sFunction_, key, f_resolveRegistryPath(path));
    LSTATUS const opened = visit.mf_open(KEY_QUERY_VALUE);
    if (f_isAbsentInRegistry(opened)) return 0;

    int exists = 0;
    // Deliberate: a value that cannot be queried, for whatever reason, counts as absent.
    if (visit.mf_check(opened, name, L"Failure opening registry key '%s\\%s\\%s':\r\n%s%s"))
        exists = ::RegQueryValueExW(visit.mf_getKey(), name, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
    visit.mf_close(name, L"Failure closing registry key '%s\\%s\\%s':\r\n%s%s. Ignored");
    visit.mf_throwFirstFailure();
    return exists;
}

int ICRegistry::mf_PathExists(CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_PathExists";
    ICRegistryVisit visit(_sFunction_, key, path);
    LSTATUS const opened = visit.mf_open(KEY_QUERY_VALUE);
    if (f_isAbsentInRegistry(opened)) return 0;

    visit.mf_check(opened, L"Failure opening registry path '%s\\%s':\r\n%s%s");
    visit.mf_close(L"Failure closing registry path '%s\\%s':\r\n%s%s. Ignored");
    visit.mf_throwFirstFailure();
    return 1;
}

int ICRegistry::mf_deleteValue(CString const & name, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_deleteValue";
    ICRegistryVisit visit(_sFunction_, key, f_resolveRegistryPath(path));
    CString const section = visit.mf_getSection();
    CString const & keyPath = visit.mf_getPath();

    int deleted = 0;
    LSTATUS const opened = visit.mf_open(KEY_SET_VALUE);
    if (f_isAbsentInRegistry(opened)) {
        ICRegistryTrace(_sFunction_).mf_debug(L"Registry key '%s\\%s' not found", section, keyPath);
    } else if (visit.mf_check(opened, L"Failure opening registry key '%s\\%s'\r\n%s%s")) {
        LSTATUS const code = ::RegDeleteValueW(visit.mf_getKey(), name);
        if (f_isAbsentInRegistry(code))
            ICRegistryTrace(_sFunction_).mf_debug(L"Registry value '%s\\%s\\%s' not found.", section, keyPath, name);
        else
            deleted = visit.mf_check(code, name, L"Failure deleting registry value '%s\\%s\\%s':\r\n%s%s");
    }
    visit.mf_close(L"Failure closing registry key '%s\\%s':\r\n%s%s. Ignored.");

    // Deliberate: the summary is written whatever happened, and the "$s" is printed as it stands; the name is surplus.
    if (deleted)
        ICRegistryTrace(_sFunction_)
            .mf_trace(TRACE_UNCHECKED{L"Successfully deleted registry value '%s\\%s\\$s'"}, section, keyPath, name);
    else
        ICRegistryTrace(_sFunction_).mf_warning(L"Registry value '%s\\%s\\%s' not deleted", section, keyPath, name);
    visit.mf_throwFirstFailure();
    return deleted;
}
