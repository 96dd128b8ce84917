// Reading and writing of single values.
#include <cwchar>

#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/registry/internal/ICRegistryVisit.h"

namespace
{

// Part of the format: a text with its terminator, and what an expansion may produce.
constexpr ulong TEXT_CHARS = 512;
constexpr ulong EXPANSION_CHARS = 510;

bool f_isTextType(ulong type)
{
    return type == REG_SZ || type == REG_EXPAND_SZ;
}

bool f_isTerminated(void const * text, ulong bytes)
{
    std::size_t const capacity = bytes / sizeof(wchar_t);
    return ::wcsnlen(static_cast<wchar_t const *>(text), capacity) < capacity;
}

// Deliberate: only an expansion that is shorter than the stored text takes effect, however large the text's buffer is.
// Values written with that in mind exist, so a longer expansion leaves the references in the text.
void f_expand(wchar_t const * function, ICRegistryVisit & visit, CString const & name, wchar_t * text,
              ulong storedBytes)
{
    wchar_t expanded[TEXT_CHARS] = {};
    ulong const count = ::ExpandEnvironmentStringsW(text, expanded, EXPANSION_CHARS);
    if (count == 0)
        // Deliberate: the system's last error isn't asked for.
        visit.mf_fail(ERROR_SUCCESS, name, L"Failure exanding registry key '%s\\%s\\%s':\r\n%s%s");
    else if (count <= EXPANSION_CHARS && 2 * count < storedBytes)
        ::wcsncpy_s(text, storedBytes / sizeof(wchar_t), expanded, storedBytes / sizeof(wchar_t) - 1);
    else
        ICRegistryTrace(function).mf_error(L"Buffer too small to expand environment string(s) (%lu bytes)", count);
}

} // namespace

void ICRegistry::mf_implGetValueData(CString const & name, ulong expectedType, void * data, ulong dataBytes,
                                     CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_implGetValueData";
    ::memset(data, 0, dataBytes);
    ICRegistryVisit visit(_sFunction_, key, f_resolveRegistryPath(path));
    if (!visit.mf_check(visit.mf_open(KEY_QUERY_VALUE), L"Failure opening registry path '%s\\%s\\':\r\n%s%s"))
        visit.mf_throwFirstFailure();

    ulong type = REG_NONE;
    ulong bytes = dataBytes;
    LSTATUS queried = ::RegQueryValueExW(visit.mf_getKey(), name, nullptr, &type, static_cast<BYTE *>(data), &bytes);
    bool const isText = f_isTextType(expectedType) && f_isTextType(type);
    // Stored texts need not be terminated; one that fills the buffer to its end has no room for its terminator.
    if (queried == ERROR_SUCCESS && isText && !f_isTerminated(data, dataBytes)) queried = ERROR_MORE_DATA;

    // A failed query may well have set type and size, so nothing but success may go on to the type and the expansion.
    if (visit.mf_check(queried, name, L"Failure querying registry key '%s\\%s\\%s':\r\n%s%s")) {
        if (!isText && type != expectedType)
            ICRegistryTrace(_sFunction_)
                .mf_collect(visit.mf_getOutcome(), ICErrno::_E_::Unexpected,
                            L"Unexpected key type: Found %lu, expected %lu", type, expectedType);
        else if (type == REG_EXPAND_SZ)
            f_expand(_sFunction_, visit, name, static_cast<wchar_t *>(data), bytes);
    }
    visit.mf_close(L"Failure closing registry path '%s\\%s\\':\r\n%s%s. Ignored.");
    visit.mf_throwFirstFailure();
}

void ICRegistry::mf_getValue(CString const & name, ulong & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getValue::1";
    value = 0;
    try {
        ulong stored;
        mf_implGetValueData(name, REG_DWORD, &stored, sizeof stored, path, key);
        value = stored;
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_).mf_failed(failure, L"Failure reading '%s' (ULONG) from registry", name);
    }
}

void ICRegistry::mf_getValue(CString const & name, int & value, CString const & path, HKEY const key)
{
    value = 0;
    ulong number;
    mf_getValue(name, number, path, key);
    value = number != 0;
}

void ICRegistry::mf_getValue(CString const & name, ICFileTime & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getValue::3";
    value = ICFileTime();
    CString text;
    mf_getValue(name, text, path, key);
    try {
        value = ICFileTime(text, L' ');
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(failure, L"Failure converting string '%s' to ICFileTime object:\r\n%s%s", text, ICLog::TAB,
                       f_registryTraceText(failure));
    }
}

void ICRegistry::mf_getValue(CString const & name, ICFileSize & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getValue::4";
    value = ICFileSize();
    try {
        long long stored;
        mf_implGetValueData(name, REG_QWORD, &stored, sizeof stored, path, key);
        value = ICFileSize(stored);
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_).mf_failed(failure, L"Failure reading '%s' (QWORD) from registry", name);
    }
}

void ICRegistry::mf_getValue(CString const & name, CString & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getValue::5";
    value.Empty();
    try {
        wchar_t stored[TEXT_CHARS];
        mf_implGetValueData(name, REG_SZ, stored, sizeof stored, path, key);
        value = stored;
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_).mf_failed(failure, L"Failure reading '%s' (string) from registry", name);
    }
}

void ICRegistry::mf_setValue(CString const & name, ulong value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_setValue::1";
    CString const keyPath = f_resolveRegistryPath(path);
    f_writeRegistryValue(_sFunction_, name, REG_DWORD, &value, sizeof value, keyPath, key);
    ICRegistryTrace(_sFunction_)
        .mf_debug(L"Registry key '%s\\%s\\%s'\r\n%sset to 0x%8.8x", mf_getSectionKeyString(key, 1), keyPath, name,
                  ICLog::TAB, value);
}

void ICRegistry::mf_setValue(CString const & name, int value, CString const & path, HKEY const key)
{
    mf_setValue(name, value != 0 ? 1ul : 0ul, path, key);
}

void ICRegistry::mf_setValue(CString const & name, ICFileTime const & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_setValue::3";
    CString text;
    try {
        text = value.mf_toString(L' ');
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(failure, L"Failure converting ICFileTime object to a string:\r\n%s%s", ICLog::TAB,
                       f_registryTraceText(failure));
    }
    mf_setValue(name, text, path, 0, key);
}

void ICRegistry::mf_setValue(CString const & name, ICFileSize const & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_setValue::4";
    CString const keyPath = f_resolveRegistryPath(path);
    long long const number = value.mf_getValue();
    f_writeRegistryValue(_sFunction_, name, REG_QWORD, &number, sizeof number, keyPath, key);
    ICRegistryTrace(_sFunction_)
        .mf_debug(L"Registry key '%s\\%s\\%s'\r\n%sset to %s", mf_getSectionKeyString(key, 1), keyPath, name,
                  ICLog::TAB, value.mf_toString());
}

void ICRegistry::mf_setValue(CString const & name, CString const & value, CString const & path, int expandable,
                             HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_setValue::5";
    CString const keyPath = f_resolveRegistryPath(path);
    ulong const bytes = (static_cast<ulong>(value.GetLength()) + 1) * sizeof(wchar_t);
    f_writeRegistryValue(_sFunction_, name, expandable != 0 ? REG_EXPAND_SZ : REG_SZ, value.GetString(), bytes, keyPath,
                         key);
    ICRegistryTrace(_sFunction_)
        .mf_debug(L"Registry key '%s\\%s\\%s'\r\n%sset to '%s'", mf_getSectionKeyString(key, 1), keyPath, name,
                  ICLog::TAB, value);
}
