#include "hsmbase/context/ICDebug.h"

#include <algorithm>
#include <new>
#include <span>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/registry/ICRegistry.h"

namespace
{

struct ACTION
{
    ulong bit;
    wchar_t const * name;
};

struct ORIGINATOR
{
    wchar_t const * valueName;
    std::span<ACTION const> actions;
};

constexpr ACTION SYSTEM_ACTIONS[] = {
    {0x001, L"COMPLETER_OPEN_TEMP_FILE"},  {0x002, L"COMPLETER_OPENED_TEMP_FILE"},
    {0x004, L"COMPLETER_CLOSE_TEMP_FILE"}, {0x008, L"COMPLETER_CLOSED_TEMP_FILE"},
    {0x010, L"COMPLETER_MOVE_TEMP_FILE"},  {0x020, L"COMPLETER_MOVED_TEMP_FILE"},
    {0x040, L"FILE_ENTRY_MODIFIED"},       {0x080, L"MOVE_DELETE_STUB"},
    {0x100, L"TAR_VALIDATE_MAGIC"},        {0x200, L"TAR_OPEN_ADSTREAM"},
    {0x400, L"TAR_OPENED_ADSTREAM"},
};

// The first two of it are all that other servers have.
constexpr ACTION SERVER_ACTIONS[] = {
    {0x001, L"SEND_CONTENT_DATA"}, {0x002, L"RETRIEVE_CONTENT_DATA"}, {0x004, L"BACKUP_TNWC"},
    {0x008, L"CHECK_VERSION"},     {0x010, L"QUERY_OBJECT"},          {0x020, L"UPDATE_OBJECT"},
    {0x040, L"RENAME_OBJECT"},     {0x080, L"END_TRANSACTION"},
};
constexpr std::span<ACTION const> CONTENT_ACTIONS = std::span(SERVER_ACTIONS).first(2);

constexpr ACTION DRIVER_ACTIONS[] = {{0x100, L"CREATE_STUB_FILE"}};
constexpr ACTION INTERNAL_ACTIONS[] = {{0x001, L"BACKUP_MIGRATION_LIST"}};

// By the ids of ICErrnoData::ORIGINATOR.
constexpr ORIGINATOR ORIGINATORS[] = {
    {L"SYS", SYSTEM_ACTIONS},
    {L"Rexbury", CONTENT_ACTIONS},
    {L"LB", CONTENT_ACTIONS},
    {L"Tarnwell", SERVER_ACTIONS},
    {L"Morwick8", CONTENT_ACTIONS},
    {L"MPO", {}},
    {L"XML", {}},
    {L"DRV", DRIVER_ACTIONS},
    {L"HSM", INTERNAL_ACTIONS},
    {L"BACKUP", {}},
    {L"USR", {}},
};

constexpr ORIGINATOR UNKNOWN_ORIGINATOR = {L"<INVALID ORIGINATOR ID>", {}};

ORIGINATOR const & f_originator(ulong id)
{
    return id < std::size(ORIGINATORS) ? ORIGINATORS[id] : UNKNOWN_ORIGINATOR;
}

int f_isKeyThere(wchar_t const * function, CString const & root)
{
    try {
        return ICRegistry::mf_PathExists(root, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        // Deliberate: the failure goes on in spite of the line's words, whose spelling is meant too.
        throw ICTrace(function).mf_failed(failure,
                                          L"Failure querying for existence of registry root '%s':\r\n%s%s\r\n"
                                          L"%sExcpetion debugging will be disabled...",
                                          root, ICLog::TAB, failure.mf_toString(), ICLog::TAB);
    }
}

} // namespace

ICDebug * ICDebug::m_pThis = nullptr;

ICDebug::ICDebug() : m_sDebugRoot(mf_getDebugRoot()) {}

ICDebug::~ICDebug() = default;

int ICDebug::mf_createInstance()
{
    static wchar_t const _sFunction_[] = L"ICDebug::mf_createInstance";

    if (m_pThis != nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"Debug singleton already initialized");
    if (!f_isKeyThere(_sFunction_, mf_getDebugRoot())) {
        ICTrace(_sFunction_).mf_trace(L"Debug registry does not exist, debug exception feature disabled");
        return 0;
    }
    try {
        m_pThis = new (std::nothrow) ICDebug();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure creating debug singleton: %s", failure.mf_toString());
    }
    if (m_pThis == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory for debug singleton instance");
    ICTrace(_sFunction_).mf_trace(L"Created debug singleton");
    return 1;
}

void ICDebug::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICDebug::mf_deleteInstance";

    if (m_pThis == nullptr) return;
    try {
        delete m_pThis;
    }
    catch (ICErrno & failure) {
        // Not to be seen as long as the destructor has nothing to fail with.
        ICTrace(_sFunction_).mf_error(L"Failure deleting debug singleton: %s", failure.mf_toString());
    }
    m_pThis = nullptr;
    ICTrace(_sFunction_).mf_trace(L"Deleted debug singleton");
}

CString ICDebug::mf_getDebugRoot()
{
    return ICRegistry::mf_getRegistryRoot(L"Debug");
}

CString ICDebug::mf_getActionString(ulong originatorId, ulong action)
{
    std::span<ACTION const> const actions = f_originator(originatorId).actions;
    auto const known = std::find_if(actions.begin(), actions.end(),
                                    [action](ACTION const & candidate) { return candidate.bit == action; });
    // Deliberate: the text names a function that there isn't.
    if (known == actions.end()) return L"<Pls add action and/or debug action to ICDebug::mf_getAction()>";
    return known->name;
}

void ICDebug::mf_implThrowErrno(ulong originatorId, ulong action) const
{
    static wchar_t const _sFunction_[] = L"ICDebug::mf_implThrowErrno";

    wchar_t const * const valueName = f_originator(originatorId).valueName;
    ulong mask = 0;
    try {
        if (ICRegistry::mf_exists(valueName, m_sDebugRoot, HKEY_LOCAL_MACHINE))
            ICRegistry::mf_getValue(valueName, mask, m_sDebugRoot, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        // What can't be read switches nothing on.
        ICTrace(_sFunction_)
            .mf_error(L"Failure getting registry value for key '%s': %s\r\n%sIgnored ...", valueName,
                      failure.mf_toString(), ICLog::TAB);
    }
    // Any bit that both have raises.
    if ((mask & action) == 0) return;

    CString message;
    message.Format(L"Debug exception, impersonating originator with id=%lu (%s), action id=%lu (%s)", originatorId,
                   valueName, action, mf_getActionString(originatorId, action).GetString());
    ICErrnoData data(ICErrno::_E_::Debug);
    data.mf_setOriginator(static_cast<int>(originatorId), 0, message);
    ICTrace(_sFunction_)
        .mf_warning(L"Debug action key %s=0x%8.8x was set, raising exception:\r\n%s", valueName, mask,
                    ICErrno::mf_toLogMessage(data, L"    "));
    throw ICErrno(data);
}
