// The names of a key's subkeys and values, and their numbers.
#include "hsmbase/registry/internal/ICOwnedStrings.h"
#include "hsmbase/registry/internal/ICRegistryVisit.h"

namespace
{

// The buffer for a name, and the length that the platform is told, which counts the terminator: a longer name ends the
// listing with a failure.
constexpr std::size_t NAME_BYTES = 514;
constexpr ulong NAME_CHARS = 256;

using NAMES = ICOwnedStrings::ARRAY;
using ENUMERATE = LSTATUS (*)(HKEY key, ulong index, wchar_t * name, ulong * length);

LSTATUS f_enumerateKey(HKEY key, ulong index, wchar_t * name, ulong * length)
{
    return ::RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
}

LSTATUS f_enumerateValue(HKEY key, ulong index, wchar_t * name, ulong * length)
{
    return ::RegEnumValueW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
}

// The one shape of all looks at a key: `look` gets the open key and answers the platform's error number.
template<class LOOK>
void f_lookAtKey(wchar_t const * function, CString const & path, HKEY key, ICRegistryVisit::PATH_TEXT lookFailed,
                 LOOK look)
{
    ICRegistryVisit visit(function, key, path);
    if (visit.mf_check(visit.mf_open(KEY_READ), L"Failure opening registry path '%s\\%s\\':\r\n%s%s"))
        visit.mf_check(look(visit.mf_getKey()), lookFailed);
    visit.mf_close(L"Failure closing registry path '%s\\%s':\r\n%s%s. Ignored.");
    visit.mf_throwFirstFailure();
}

// Names found ahead of a failure stay in the array.
LSTATUS f_addNames(HKEY key, NAMES & result, ENUMERATE enumerate)
{
    ICOwnedStrings added(result);
    LSTATUS code = ERROR_SUCCESS;
    for (ulong index = 0; code == ERROR_SUCCESS; ++index) {
        wchar_t name[NAME_BYTES / sizeof(wchar_t)] = {};
        ulong length = NAME_CHARS;
        code = enumerate(key, index, name, &length);
        if (code == ERROR_SUCCESS) added.mf_add(std::make_unique<CString>(name));
    }
    added.mf_keep();
    return code == ERROR_NO_MORE_ITEMS ? ERROR_SUCCESS : code;
}

void f_listNames(wchar_t const * function, CString const & path, NAMES & result, HKEY key, ENUMERATE enumerate,
                 ICRegistryVisit::PATH_TEXT enumerationFailed)
{
    if (!result.IsEmpty())
        throw ICRegistryTrace(function).mf_failed(ICErrno::_E_::Parameter, L"Result array not empty");
    f_lookAtKey(function, path, key, enumerationFailed,
                [&](HKEY opened) { return f_addNames(opened, result, enumerate); });
}

struct COUNTS
{
    ulong subKeys = 0;
    ulong values = 0;
};

// Deliberate: the text speaks of subkeys also where values are counted.
COUNTS f_count(wchar_t const * function, CString const & path, HKEY key)
{
    COUNTS counts;
    f_lookAtKey(function, path, key, L"Failure enumerating subkeys of path '%s\\%s\\':\r\n%s%s", [&](HKEY opened) {
        return ::RegQueryInfoKeyW(opened, nullptr, nullptr, nullptr, &counts.subKeys, nullptr, nullptr, &counts.values,
                                  nullptr, nullptr, nullptr, nullptr);
    });
    return counts;
}

} // namespace

void ICRegistry::mf_getSubKeys(CString const & path, ICArray<CString *, CString *> & result, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getSubKeys";
    f_listNames(_sFunction_, path, result, key, &f_enumerateKey,
                L"Failure enumerating subkeys of path '%s\\%s\\':\r\n%s%s");
}

void ICRegistry::mf_getSubValues(CString const & path, ICArray<CString *, CString *> & result, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getSubValues";
    f_listNames(_sFunction_, path, result, key, &f_enumerateValue,
                L"Failure enumerating subvalues of path '%s\\%s\\':\r\n%s%s");
}

ulong ICRegistry::mf_getSubKeyCount(CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getSubKeyCount";
    return f_count(_sFunction_, path, key).subKeys;
}

ulong ICRegistry::mf_getSubValueCount(CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getSubValueCount";
    return f_count(_sFunction_, path, key).values;
}
