#pragma once

#include "hsmbase/registry/internal/ICRegistryKey.h"
#include "hsmbase/registry/internal/ICRegistryTrace.h"

// One visit to one key: open it, do something, close it; the first failure wins and is thrown last.
//
//     ICRegistryVisit visit(_sFunction_, key, f_resolveRegistryPath(path));
//     if (visit.mf_check(visit.mf_open(KEY_SET_VALUE), L"Failure opening '%s\\%s':\r\n%s%s"))
//         visit.mf_check(::RegDeleteValueW(visit.mf_getKey(), name), name, L"Failure deleting '%s\\%s\\%s':\r\n%s%s");
//     visit.mf_close(L"Failure closing '%s\\%s':\r\n%s%s");
//     visit.mf_throwFirstFailure();
//
// The texts get the root key's short name, the path, the value's name where one is given, the indent and the failure.
// Only registry failures are for mf_check; others go through mf_getOutcome.
class ICRegistryVisit
{
public:
    using PATH_TEXT = ICTraceFormat<CString, CString, wchar_t const *, CString>;
    using VALUE_TEXT = ICTraceFormat<CString, CString, CString, wchar_t const *, CString>;

    // `function` tags the lines.
    ICRegistryVisit(wchar_t const * function, HKEY root, CString const & path);

    // These two answer the platform's error number and keep no failure: the caller says which codes are one.
    LSTATUS mf_open(REGSAM access);
    LSTATUS mf_create();

    // Whether mf_create made the key, rather than opened it.
    bool mf_isNew() const { return m_disposition == REG_CREATED_NEW_KEY; }

    // Codes other than 0 leave a line and are kept, unless there is a failure already. Whether the code is 0.
    bool mf_check(LSTATUS code, PATH_TEXT text);
    bool mf_check(LSTATUS code, CString const & name, VALUE_TEXT text);

    // The same without asking whether the code is 0.
    void mf_fail(LSTATUS code, CString const & name, VALUE_TEXT text);

    // Closes the key, if one is open.
    void mf_close(PATH_TEXT text);
    void mf_close(CString const & name, VALUE_TEXT text);

    void mf_throwFirstFailure() const;

    HKEY mf_getKey() const { return m_key.mf_get(); }
    ICErrnoData & mf_getOutcome() { return m_outcome; }

    // The words of a line: "HKLM", and the path as it was opened.
    CString mf_getSection() const { return ICRegistry::mf_getSectionKeyString(m_root, 1); }
    CString const & mf_getPath() const { return m_path; }

private:
    template<class TEXT, class... NAME>
    bool mf_implFail(LSTATUS code, TEXT text, NAME const &... name);

    wchar_t const * const m_function;
    HKEY const m_root;
    CString const m_path;
    ICRegistryKey m_key;
    ulong m_disposition = 0;
    ICErrnoData m_outcome;
};

// The path itself, or this program's subtree for an empty one.
CString f_resolveRegistryPath(CString const & path);

// Whether the code says that there is no such key or value, which most operations don't count as a failure.
inline bool f_isAbsentInRegistry(LSTATUS code)
{
    return code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND;
}

// Stores one value below a resolved path, creating missing keys. Throws Registry; `function` tags the lines.
void f_writeRegistryValue(wchar_t const * function, CString const & name, ulong type, void const * data, ulong bytes,
                          CString const & path, HKEY key);
