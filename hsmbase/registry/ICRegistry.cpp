#include "hsmbase/registry/ICRegistry.h"

#include <new>

#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/internal/ICRegistryTrace.h"
#include "hsmbase/system/ICProcessInfo.h"

namespace
{

// Deliberate: without an instance this text serves as the path, and a write really makes a key of this name.
wchar_t const NOT_INITIALIZED[] = L"<Instance not initialized>";

struct SECTION
{
    HKEY key;
    wchar_t const * shortName;
    wchar_t const * longName;
};

SECTION const SECTIONS[] = {{HKEY_LOCAL_MACHINE, L"HKLM", L"HKEY_LOCAL_MACHINE"},
                            {HKEY_CURRENT_USER, L"HKCU", L"HKEY_CURRENT_USER"}};

} // namespace

ICRegistry * ICRegistry::m_pThis = nullptr;

ICRegistry::ICRegistry(CString const & root) : m_root(root), m_isLoggingOn(0) {}

void ICRegistry::mf_createInstance(CString const & root)
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_createInstance";
    if (m_pThis != nullptr)
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Registry singleton already initialized");
    try {
        m_pThis = new (std::nothrow) ICRegistry(root);
    }
    catch (ICErrno & failure) {
        throw ICRegistryTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating registry singleton: %s", f_registryTraceText(failure));
    }
    if (m_pThis == nullptr)
        throw ICRegistryTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory for registry singleton");
}

void ICRegistry::mf_deleteInstance()
{
    static wchar_t const _sFunction_[] = L"ICRegistry::mf_deleteInstance";
    if (m_pThis == nullptr) {
        ICRegistryTrace(_sFunction_).mf_warning(L"No registry singleton instance");
        return;
    }
    ICRegistry const * const instance = m_pThis;
    m_pThis = nullptr;
    delete instance;
}

void ICRegistry::mf_activateLogging(int)
{
    if (m_pThis != nullptr) m_pThis->m_isLoggingOn = 1;
}

int ICRegistry::mf_implIsLoggingOn()
{
    return m_pThis != nullptr && m_pThis->m_isLoggingOn != 0;
}

CString const ICRegistry::mf_getRegistryRoot(CString const & sub)
{
    if (m_pThis == nullptr) return NOT_INITIALIZED;
    return sub.IsEmpty() ? m_pThis->m_root : ICPath::mf_appendComponent(m_pThis->m_root, sub);
}

CString const ICRegistry::mf_getRegistryPath(CString const & sub)
{
    if (m_pThis == nullptr) return NOT_INITIALIZED;
    CString process = ICProcessInfo::mf_getName();
    CString path = m_pThis->m_root + L"\\" + process.MakeLower();
    if (!sub.IsEmpty()) path += L"\\" + sub;
    return path;
}

HKEY ICRegistry::mf_getSectionKeyFromString(CString const & section)
{
    for (SECTION const & known : SECTIONS)
        if (section == known.shortName || section == known.longName) return known.key;
    return nullptr;
}

CString const ICRegistry::mf_getSectionKeyString(HKEY const key, int shortForm)
{
    for (SECTION const & known : SECTIONS)
        if (key == known.key) return shortForm != 0 ? known.shortName : known.longName;
    CString unexpected;
    unexpected.Format(L"<Unexpected key=0x%p>", static_cast<void *>(key));
    return unexpected;
}
