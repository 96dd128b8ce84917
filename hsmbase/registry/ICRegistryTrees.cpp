// Creating and deleting keys, and copying all values of one.
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/internal/ICOwnedStrings.h"
#include "hsmbase/registry/internal/ICRegistryVisit.h"

namespace
{

// A longer value ends a copy with a failure.
constexpr ulong VALUE_BYTES = 1024;

// Byte by byte. Throws the first failure, which has left its line.
void f_copyValue(wchar_t const * function, ICRegistryVisit const & source, ICRegistryVisit & target,
                 CString const & name)
{
    BYTE value[VALUE_BYTES + sizeof(wchar_t)] = {};
    ulong type = REG_NONE;
    ulong bytes = VALUE_BYTES;
    LSTATUS const queried = ::RegQueryValueExW(source.mf_getKey(), name, nullptr, &type, value, &bytes);
    if (queried != ERROR_SUCCESS) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Registry, static_cast<ulong>(queried));
        throw ICRegistryTrace(function).mf_failedAt(
            ICLogData::LEVEL_W, failure, L"Failure querying registry key '%s\\%s\\%s':\r\n%s%s", source.mf_getSection(),
            source.mf_getPath(), name, ICLog::TAB, f_registryTraceText(failure));
    }
    // Stored texts need not be terminated. The platform would complete one from what stands behind it, were that a NUL,
    // and the copy would be longer than the value.
    ::memset(value + bytes, 0xFF, sizeof(wchar_t));
    LSTATUS const set = ::RegSetValueExW(target.mf_getKey(), name, 0, type, value, bytes);
    target.mf_check(set, name, L"Failure setting registry key '%s\\%s\\%s':\r\n%s%s");
    target.mf_throwFirstFailure();
}

// Every value of the list; answers their number. Throws the first failure, which has left its line.
ulong f_copyListed(wchar_t const * function, ICOwnedStrings::ARRAY const & names, ICRegistryVisit const & source,
                   ICRegistryVisit & target, HKEY key, int noCheck)
{
    CString const section = source.mf_getSection();
    for (int index = 0; index < names.GetCount(); ++index) {
        CString const * const name = names[index];
        if (name == nullptr)
            throw ICRegistryTrace(function).mf_failed(ICErrno::_E_::Internal, L"Source key with index=%d is NULL",
                                                      index);
        // Deliberate: only for the line; the value is overwritten in any case. An empty path is looked for in this
        // program's subtree, though the root key itself is the target.
        if (noCheck == 0 && ICRegistry::mf_exists(*name, target.mf_getPath(), key))
            ICRegistryTrace(function).mf_trace(L"Target registry value '%s//%s' exists and will be overwritten",
                                               target.mf_getPath(), *name);
        f_copyValue(function, source, target, *name);
        ICRegistryTrace(function).mf_trace(L"Copied '%s\\%s\\%s'\r\n%s -> '%s\\%s\\%s'", section, source.mf_getPath(),
                                           *name, ICLog::TAB, section, target.mf_getPath(), *name);
    }
    return static_cast<ulong>(names.GetCount());
}

} // namespace

void ICRegistry::mf_create(CString const & name, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_create";
    if (name.IsEmpty())
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Registry key to create is empty");

    ICRegistryVisit visit(_sFunction_, key, ICPath::mf_appendComponent(f_resolveRegistryPath(path), name));
    if (visit.mf_check(visit.mf_create(), L"Failure creating registry key '%s\\%s':\r\n%s%s")) {
        if (visit.mf_isNew())
            ICRegistryTrace(_sFunction_)
                .mf_debug(L"Registry key '%s\\%s' created", visit.mf_getSection(), visit.mf_getPath());
        else
            ICRegistryTrace(_sFunction_)
                .mf_debug(L"Registry key '%s\\%s' already exists", visit.mf_getSection(), visit.mf_getPath());
    }
    visit.mf_close(L"Failure closing registry key '%s\\%s':\r\n%s%s. Ignored");
    visit.mf_throwFirstFailure();
}

int ICRegistry::mf_delete(CString const & name, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_delete";
    // The platform takes an empty name as the parent itself.
    if (name.IsEmpty())
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Registry key to delete is empty");

    ICRegistryVisit visit(_sFunction_, key, f_resolveRegistryPath(path));
    CString const section = visit.mf_getSection();
    CString const & parent = visit.mf_getPath();

    int deleted = 0;
    LSTATUS const opened = visit.mf_open(KEY_SET_VALUE);
    if (f_isAbsentInRegistry(opened)) {
        ICRegistryTrace(_sFunction_).mf_debug(L"Registry parent key '%s\\%s' not found", section, parent);
    } else if (visit.mf_check(opened, name, L"Failure opening registry key '%s\\%s\\%s':\r\n%s%s")) {
        LSTATUS const code = ::RegDeleteKeyW(visit.mf_getKey(), name);
        if (f_isAbsentInRegistry(code))
            ICRegistryTrace(_sFunction_).mf_debug(L"Registry key '%s\\%s\\%s' not found", section, parent, name);
        else
            deleted = visit.mf_check(code, name, L"Failure deleting registry key '%s\\%s\\%s':\r\n%s%s");
    }
    visit.mf_close(name, L"Failure closing registry key '%s\\%s\\%s':\r\n%s%s. Ignored");

    // Deliberate: the summary is written whatever happened, so a missing key has two lines, and any other failure is
    // summed up as "not found".
    if (deleted)
        ICRegistryTrace(_sFunction_).mf_trace(L"Successfully deleted registry key '%s\\%s\\%s'", section, parent, name);
    else
        ICRegistryTrace(_sFunction_).mf_warning(L"Registry key '%s\\%s\\%s' not found", section, parent, name);
    visit.mf_throwFirstFailure();
    return deleted;
}

ulong ICRegistry::mf_copyValues(CString const & source, CString const & target, int noCheck, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_copyValues";
    ICArray<CString *, CString *> names;
    ICOwnedStrings const owner(names);
    try {
        mf_getSubValues(source, names, key);
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying keys of directory '%s':\r\n%s%s", source, ICLog::TAB,
                       f_registryTraceText(failure));
    }
    if (names.IsEmpty()) {
        ICRegistryTrace(_sFunction_)
            .mf_trace(L"No registry keys to copy from '\\%s\\%s\\'", mf_getSectionKeyString(key, 1), source);
        return 0;
    }

    ulong copied = 0;
    ICRegistryVisit from(_sFunction_, key, source);
    ICRegistryVisit to(_sFunction_, key, target);
    if (from.mf_check(from.mf_open(KEY_QUERY_VALUE), L"Failure opening source registry path '%s\\%s\\':\r\n%s%s") &&
        to.mf_check(to.mf_create(), L"Failure creating/opening target registry path '%s\\%s\\':\r\n%s%s")) {
        try {
            copied = f_copyListed(_sFunction_, names, from, to, key, noCheck);
        }
        catch (ICErrno & failure) {
            to.mf_getOutcome() = failure.mf_getErrnoData();
        }
    }
    to.mf_close(L"Failure closing target registry path '%s\\%s\\':\r\n%s%s. Ignored.");
    from.mf_close(L"Failure closing source registry path '%s\\%s\\':\r\n%s%s. Ignored.");
    // The first failure: the source's own is either that of its opening, which leaves the target alone, or the last.
    to.mf_throwFirstFailure();
    from.mf_throwFirstFailure();
    return copied;
}
