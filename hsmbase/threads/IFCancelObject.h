#pragma once

#include "hsmbase/Types.h"

class ICCancelSwitch;

// Work that a switch can pause and cancel. See ICCancelObject.
class HSMBASE_EXPORT IFCancelObject
{
public:
    virtual void mf_installCancelSwitch(ICCancelSwitch * cancelSwitch) = 0;
    virtual ~IFCancelObject() {}
};
