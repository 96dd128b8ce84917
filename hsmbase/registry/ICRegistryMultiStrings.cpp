// Lists of strings.
#include <cwchar>
#include <limits>
#include <new>

#include "hsmbase/registry/internal/ICOwnedStrings.h"
#include "hsmbase/registry/internal/ICRegistryVisit.h"

namespace
{

// Part of the format: a list with all its terminators.
constexpr ulong LIST_CHARS = 4096;

// Gives each string of a list to `each`, up to the first empty one or the end of the buffer.
template<class EACH>
void f_forEachString(wchar_t const * strings, std::size_t capacity, EACH each)
{
    for (std::size_t at = 0; at < capacity;) {
        std::size_t const length = ::wcsnlen(strings + at, capacity - at);
        if (length == 0) return;
        each(strings + at, static_cast<int>(length));
        at += length + 1;
    }
}

} // namespace

void ICRegistry::mf_getValues(CString const & name, ICArray<CString *, CString *> & result, CString const & path,
                              HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getValues";
    if (!result.IsEmpty())
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Result list is not empty");

    wchar_t strings[LIST_CHARS];
    mf_implGetValueData(name, REG_MULTI_SZ, strings, sizeof strings, path, key);
    ICOwnedStrings added(result);
    f_forEachString(strings, LIST_CHARS,
                    [&](wchar_t const * text, int length) { added.mf_add(std::make_unique<CString>(text, length)); });
    added.mf_keep();
}

void ICRegistry::mf_setValues(CString const & name, ICArray<CString *, CString *> const & values, CString const & path,
                              HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_setValues";
    wchar_t strings[LIST_CHARS];
    ulong used = 0;
    try {
        used = mf_createMultSzFromArray(values, strings, LIST_CHARS);
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(failure, L"Failure converting strings array to multi-sz string: %s",
                       f_registryTraceText(failure));
    }
    CString const keyPath = f_resolveRegistryPath(path);
    f_writeRegistryValue(_sFunction_, name, REG_MULTI_SZ, strings, used * sizeof(wchar_t), keyPath, key);
    ICRegistryTrace(_sFunction_)
        .mf_debug(L"Registry key '%s\\%s\\%s'\r\n%sset to multi-string value (%d line(s))",
                  mf_getSectionKeyString(key, 1), keyPath, name, ICLog::TAB, static_cast<int>(values.GetCount()));
}

int ICRegistry::mf_getOrSetValues(CString const & name, ICArray<CString *, CString *> & values, CString const & path,
                                  HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getOrSetValues";
    if (!mf_exists(name, path, key)) {
        try {
            mf_setValues(name, values, path, key);
        }
        catch (ICErrno & failure) {
            // Deliberate: thrown, whatever the line says.
            throw ICRegistryTrace(_sFunction_)
                .mf_failed(failure, L"Failure setting registry key '%s':\r\n%s%s\r\n%sReturning empty string array",
                           name, ICLog::TAB, f_registryTraceText(failure), ICLog::TAB);
        }
        ICRegistryTrace(_sFunction_).mf_debug(L"Registry key '%s' set", name);
        return 1;
    }

    ICArray<CString *, CString *> stored;
    ICOwnedStrings const owner(stored);
    try {
        mf_getValues(name, stored, path, key);
    }
    catch (ICErrno & failure) {
        // Deliberate, as above.
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting registry key '%s':\r\n%s%s\r\n%sReturning empty string array", name,
                       ICLog::TAB, f_registryTraceText(failure), ICLog::TAB);
    }
    // Deliberate: the defaults fix how many strings there are.
    if (stored.GetCount() != values.GetCount())
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Unexpected, L"Number of string values does not match (default: %d, registry: %d)",
                       static_cast<int>(values.GetCount()), static_cast<int>(stored.GetCount()));
    for (INT_PTR index = 0; index < stored.GetCount(); ++index)
        if (values[index] != nullptr) *values[index] = *stored[index];
    return 0;
}

void ICRegistry::mf_createArrayFromMultSz(wchar_t const * strings, ICArray<CString *, CString *> & result)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_createArrayFromMultSz";
    if (strings == nullptr)
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pszStrings");
    if (!result.IsEmpty())
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Result array is not empty");

    ICOwnedStrings made(result);
    try {
        f_forEachString(strings, std::numeric_limits<std::size_t>::max(), [&](wchar_t const * text, int length) {
            std::unique_ptr<CString> string(new (std::nothrow) CString(text, length));
            if (string == nullptr)
                throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory to allocate string");
            made.mf_add(std::move(string));
        });
    }
    catch (ICErrno &) {
        throw;
    }
    // The one handler for everything: texts come from anywhere, and whatever goes wrong with them means bad data.
    catch (...) {
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"Exception parsing multi-string array");
    }
    made.mf_keep();
}

ulong ICRegistry::mf_createMultSzFromArray(ICArray<CString *, CString *> const & values, wchar_t * buffer,
                                           ulong bufferChars)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_createMultSzFromArray";
    if (buffer == nullptr)
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pszStrings");

    // The terminators are there from now on: each string leaves one behind it, and the last one follows.
    ::memset(buffer, 0, bufferChars * sizeof(wchar_t));
    ulong used = 0;
    for (int index = 0; index < values.GetCount(); ++index) {
        CString const * const string = values[index];
        if (string == nullptr) {
            ICRegistryTrace(_sFunction_).mf_warning(L"Input string with index=%d is NULL, omitted", index);
            continue;
        }
        ulong const length = static_cast<ulong>(string->GetLength());
        ulong const required = used + length + 2;
        // Deliberate: one character more than need be, since lists that fill the buffer count as too long.
        if (required >= bufferChars) {
            ::memset(buffer, 0, bufferChars * sizeof(wchar_t));
            throw ICRegistryTrace(_sFunction_)
                .mf_failed(
                    ICErrno::_E_::BufferTooSmall,
                    L"Target strings buffer too small: %lu chars\r\n%s%lu chars required at string with index=%d",
                    bufferChars, ICLog::TAB, required, index);
        }
        ::memcpy(buffer + used, string->GetString(), length * sizeof(wchar_t));
        used += length + 1;
    }
    return used + 1;
}
