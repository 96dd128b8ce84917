// Single values with a default, which is stored where there is none yet.
#include <utility>

#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/registry/internal/ICRegistryTrace.h"

namespace
{

// How a value stands in the lines.
ulong f_shown(ulong value)
{
    return value;
}
CString f_shown(CString const & value)
{
    return value;
}
CString f_shown(ICFileTime const & value)
{
    return value.mf_toString(L' ');
}
CString f_shown(ICFileSize const & value)
{
    return value.mf_toString();
}

template<class TYPE>
struct TEXTS
{
    using SHOWN = decltype(f_shown(std::declval<TYPE>()));
    using FAILURE = ICTraceFormat<CString, wchar_t const *, CString, wchar_t const *, SHOWN>;

    ICTraceFormat<CString, SHOWN> wasSet;
    FAILURE setFailed;
    FAILURE getFailed;
};

// The one shape of all the forms: `write` stores the default. Whether the value exists is asked outside of the handler,
// since that failure is the caller's.
template<class TYPE, class WRITE>
int f_getOrSetValue(wchar_t const * function, CString const & name, TYPE & value, CString const & path, HKEY key,
                    WRITE write, TEXTS<TYPE> const & texts)
{
    TYPE const defaultValue = value;
    auto const shown = f_shown(defaultValue);
    int const exists = ICRegistry::mf_exists(name, path, key);
    try {
        if (exists) {
            ICRegistry::mf_getValue(name, value, path, key);
            return 0;
        }
        write();
        ICRegistryTrace(function).mf_debug(texts.wasSet, name, shown);
        return 1;
    }
    catch (ICErrno & failure) {
        // Swallowed: the neutral answer is the default.
        wchar_t const * const tab = ICLog::TAB;
        ICRegistryTrace(function).mf_error(exists ? texts.getFailed : texts.setFailed, name, tab,
                                           f_registryTraceText(failure), tab, shown);
        value = defaultValue;
        return 0;
    }
}

} // namespace

int ICRegistry::mf_getOrSetValue(CString const & name, ulong & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getOrSetValue::1";
    return f_getOrSetValue(_sFunction_, name, value, path, key, [&] { mf_setValue(name, value, path, key); },
                           {L"Registry key '%s' set to 0x%8.8x",
                            L"Failure setting registry key '%s':\r\n%s%s\r\n%sReturning default (0x%8.8x)",
                            L"Failure getting registry key '%s':\r\n%s%s\r\n%sReturning default (0x%8.8x)"});
}

int ICRegistry::mf_getOrSetValue(CString const & name, int & value, CString const & path, HKEY const key)
{
    ulong number = value != 0;
    int const wasSet = mf_getOrSetValue(name, number, path, key);
    value = number != 0;
    return wasSet;
}

int ICRegistry::mf_getOrSetValue(CString const & name, ICFileTime & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getOrSetValue::3";
    return f_getOrSetValue(_sFunction_, name, value, path, key, [&] { mf_setValue(name, value, path, key); },
                           {L"Registry key '%s' set to %s",
                            L"Failure setting registry key '%s':\r\n%s%s\r\n%sReturning default (%s)",
                            L"Failure getting registry key '%s':\r\n%s%s\r\n%sReturning default (%s)"});
}

int ICRegistry::mf_getOrSetValue(CString const & name, ICFileSize & value, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getOrSetValue::4";
    return f_getOrSetValue(_sFunction_, name, value, path, key, [&] { mf_setValue(name, value, path, key); },
                           {L"Registry key '%s' set to %s",
                            L"Failure setting registry key '%s':\r\n%s%s\r\n%sReturning default (%s)",
                            L"Failure getting registry key '%s':\r\n%s%s\r\n%sReturning default (%s)"});
}

int ICRegistry::mf_getOrSetValue(CString const & name, CString & value, CString const & path, int expandable,
                                 HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_getOrSetValue::5";
    return f_getOrSetValue(
        _sFunction_, name, value, path, key, [&] { mf_setValue(name, value, path, expandable, key); },
        {L"Registry key '%s' set to '%s'", L"Failure setting registry key '%s':\r\n%s%s\r\n%sReturning default ('%s')",
         L"Failure getting registry key '%s':\r\n%s%s\r\n%sReturning default ('%s')"});
}
