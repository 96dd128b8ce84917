#include "hsmbase/system/ICProcessInfo.h"

#include <new>

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"

// The constructor of a static of another file may ask for the name before the statics of this file are initialised. It
// gets a proper answer, because nothing that it needs is initialised at run time: m_pThis and m_isCreated start as 0, and
// m_sName refers to storage that is there from the beginning. Whoever comes first, that caller or the initialiser of
// m_pThis, makes the instance and the cached texts in mf_implGetInstance. No lock is needed there: the initialiser runs
// while the library is being loaded, on one thread, and makes sure that every later caller finds the work done.
//
// The cached texts are never destroyed, so that references to them outlive all other statics.
template<class TYPE>
union UNBUILT {
    constexpr UNBUILT() : nothing() {}
    constexpr ~UNBUILT() {}

    char nothing;
    TYPE value;
};

static constinit UNBUILT<CString> g_name;

constinit CString & ICProcessInfo::m_sName = g_name.value;
constinit int ICProcessInfo::m_isCreated = 0;
ICProcessInfo * ICProcessInfo::m_pThis = mf_implGetInstance();

ICProcessInfo * ICProcessInfo::mf_implGetInstance()
{
    if (!m_isCreated) {
        m_isCreated = 1;
        ::new (&g_name.value) CString;
        m_pThis = new (std::nothrow) ICProcessInfo;
    }
    return m_pThis;
}

ICProcessInfo::ICProcessInfo()
{
    ::InitializeCriticalSection(&m_csName);
    ::InitializeCriticalSection(&m_csKernelId);
    ::InitializeCriticalSection(&m_csUserName);
}

ICProcessInfo::~ICProcessInfo()
{
    ::DeleteCriticalSection(&m_csUserName);
    ::DeleteCriticalSection(&m_csKernelId);
    ::DeleteCriticalSection(&m_csName);
}

CString const & ICProcessInfo::mf_getName()
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_getName";

    ICProcessInfo * const instance = mf_implGetInstance();
    if (instance == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Initialization, L"No process info singleton instance");

    ICErrnoData outcome;
    {
        ICSectionLock const lock(instance->m_csName);
        try {
            if (m_sName.IsEmpty()) mf_implGetName(m_sName);
        }
        catch (ICErrno & failure) {
            ICTrace(_sFunction_)
                .mf_collect(outcome, failure, L"Failure querying this process name: %s", failure.mf_toString());
        }
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    return m_sName;
}

void ICProcessInfo::mf_implGetName(CString & name)
{
    static wchar_t const _sFunction_[] = L"ICProcessInfo::mf_implGetName";

    wchar_t path[260] = {};
    ::SetLastError(0);
    if (::GetModuleFileNameW(nullptr, path, 259) == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure getting process name: %s", failure.mf_toString());
    }
    name = ICPath::mf_getFileBaseName(path);
}
