#pragma once

#include "hsmbase/failure/ICErrnoNumber.h"

// An error number with the string resource that names the failure. The error constants of ICErrno are of this class.
//
// Threads: a plain value; the constants are read-only and usable before any code has run.
class HSMBASE_EXPORT ICErrnoValue : public ICErrnoNumber
{
public:
    // The default number and no resource.
    constexpr ICErrnoValue() = default;
    constexpr ICErrnoValue(int number, unsigned int resourceId)
        : ICErrnoNumber(static_cast<ulong>(number)), m_resourceId(resourceId)
    {}
    constexpr ICErrnoValue(ICErrnoValue const &) = default;
    constexpr ~ICErrnoValue() override {}
    ICErrnoValue & operator=(ICErrnoValue const &) = default;

    // Sets number and resource id to 0.
    void mf_reset() override;

    // "0x0300002c (E: <text>)": number, severity character and mf_getString.
    CString mf_toString() const override;

    unsigned int mf_getResourceId() const;

    // The text of the resource in the thread's current language; a placeholder of ICString where it cannot be had.
    CString mf_getString() const;

protected:
    unsigned int m_resourceId = 0;
};
