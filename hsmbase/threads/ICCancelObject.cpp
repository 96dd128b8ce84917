#include "hsmbase/threads/ICCancelObject.h"

#include "hsmbase/failure/internal/ICTrace.h"

void ICCancelObject::mf_installCancelSwitch(ICCancelSwitch * cancelSwitch)
{
    static wchar_t const _sFunction_[] = L"ICCancelObject::mf_installCancelSwitch";

    if (cancelSwitch == nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Resetting cancel switch to NULL is not allowed");
    if (m_pCancelSwitch != nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::AlreadyInitialized, L"Cancel switch is already set");
    mf_implStore(cancelSwitch);
}

void ICCancelObject::mf_implPropagateCancelSwitch(ICCancelObject & target, int force)
{
    static wchar_t const _sFunction_[] = L"ICCancelObject::mf_implPropagateCancelSwitch";

    ICCancelSwitch * const cancelSwitch = m_pCancelSwitch;
    if (cancelSwitch == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Initialization, L"No cancel switch to propagate");
    // Deliberate: "cancle". Log readers know the line by it.
    if (!force && target.m_pCancelSwitch != nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Target cancle switch is already initialized");
    target.mf_implStore(cancelSwitch);
}

void ICCancelObject::mf_implStore(ICCancelSwitch * cancelSwitch)
{
    ::InterlockedExchangePointer(reinterpret_cast<void * volatile *>(&m_pCancelSwitch), cancelSwitch);
}
