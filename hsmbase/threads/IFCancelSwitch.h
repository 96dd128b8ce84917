#pragma once

#include "hsmbase/failure/ICErrnoData.h"

// What a controller does with work on other threads. See ICCancelSwitch.
class HSMBASE_EXPORT IFCancelSwitch
{
public:
    virtual void mf_pause() = 0;
    virtual void mf_resume() = 0;
    virtual void mf_cancel(ICErrnoData const & reason) = 0;
    virtual int mf_isPaused() const = 0;
    virtual int mf_isCanceled() const = 0;
    virtual ~IFCancelSwitch() {}
};
