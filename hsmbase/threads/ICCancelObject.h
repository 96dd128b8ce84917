#pragma once

#include "hsmbase/threads/ICCancelSwitch.h"
#include "hsmbase/threads/IFCancelObject.h"

// The base of work that can be paused and cancelled: it knows the switch, and asks it.
//
//     for (...) {
//         mf_tryCancel();        // a safe point: nothing is half done here
//         ...
//     }
//
// Threads: any may ask. The switch isn't owned and outlives the object.
class HSMBASE_EXPORT ICCancelObject : public IFCancelObject
{
public:
    ICCancelObject() = default;
    ICCancelObject(ICCancelObject const &) = default;
    ICCancelObject & operator=(ICCancelObject const &) = default;
    ~ICCancelObject() override {}

    // Once and for all: there is no way to take it out. Throws _E_::Parameter for NULL, _E_::AlreadyInitialized for a
    // second switch.
    void mf_installCancelSwitch(ICCancelSwitch * cancelSwitch) override;

    // The safe point: returns at once while the switch is running and where there is none; waits in a pause; throws
    // _W_::UserCanceled, with the thread marked as cancelled, once the switch is. A thread without context gets
    // _E_::Unexpected instead of _W_::UserCanceled. A failing wait is _E_::Synchronization; a pause that follows another
    // one at once may be _E_::Internal.
    virtual void mf_tryCancel()
    {
        ICCancelSwitch const * const cancelSwitch = m_pCancelSwitch;
        if (cancelSwitch != nullptr) cancelSwitch->mf_implTryCancel();
    }

protected:
    // Gives the switch on to work that belongs to this, so that one switch governs all of it. With `force` it replaces
    // the target's. Throws _E_::Initialization without an own switch, _E_::AlreadyInitialized where the target has one.
    virtual void mf_implPropagateCancelSwitch(ICCancelObject & target, int force);

private:
    void mf_implStore(ICCancelSwitch * cancelSwitch);

    // A raw value, since copies are those of bytes.
    ICCancelSwitch * volatile m_pCancelSwitch = nullptr; // not owned, written by atomic exchange
};
