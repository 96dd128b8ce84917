#pragma once

#include "hsmbase/threads/IFCancelSwitch.h"

// The control of work that runs on other threads: pauses it, lets it go on, cancels it. One thread commands, any number
// of working threads ask at points where they may stop: through the mf_tryCancel of their ICCancelObject.
//
//     ICCancelSwitch stop;
//     workers.mf_installCancelSwitch(&stop);
//     ...
//     stop.mf_cancel(ICErrno::_W_::UserCanceled);   // each worker throws _W_::UserCanceled at its next safe point
//
// A switch that is cancelled stays so until mf_reset. It outlives all that points to it; whoever made it owns it.
//
// A failed call of the platform is _E_::Synchronization with the system error; the state has changed by then.
//
// Threads: any. States change atomically and are read without a lock, so a working thread may see a change one pass
// late. The lock guards the reason alone; nothing else is taken under it.
class HSMBASE_EXPORT ICCancelSwitch : public IFCancelSwitch
{
public:
    // Running. Throws _E_::Synchronization.
    ICCancelSwitch();

    // Member by member: the copy shares the event with its source, and its state then goes its own way. Good for short
    // looks; only one of the two may be destroyed.
    ICCancelSwitch(ICCancelSwitch const &) = default;
    ICCancelSwitch & operator=(ICCancelSwitch const &) = default;

    // A failure to close the event is left in the trace.
    ~ICCancelSwitch() override;

    // Working threads wait at their next safe point. On a cancelled switch it leaves a warning and changes nothing.
    // A thread that asks while the switch is paused again right after it was resumed may get _E_::Internal.
    // Throws _E_::Synchronization, _E_::Internal.
    void mf_pause() override;

    // They go on; without a pause it does nothing. On a cancelled switch it leaves a warning and changes nothing.
    // Throws _E_::Synchronization, _E_::Internal.
    void mf_resume() override;

    // They leave, those that wait in a pause too. The first reason stands: further calls do nothing.
    // Throws _E_::Synchronization, _E_::Internal.
    void mf_cancel(ICErrnoData const & reason) override;

    int mf_isPaused() const override;
    int mf_isCanceled() const override;

    // Running again, from any state. The reason stays, and what a later one doesn't say shows through.
    // Throws _E_::Synchronization.
    void mf_reset();

    // The reason that was given to mf_cancel; not set before that.
    ICErrnoData mf_getErrnoData() const;

    // Whether a thread that leaves says so in the trace; it does by default.
    void mf_setLogCancelation(int log);
    int mf_doesLogCancelation() const;

private:
    friend class ICCancelObject;

    static long const STATE_PAUSE = 1; // 0: running
    static long const STATE_CANCEL = 2;

    // The poll. Returns at once while running, waits in a pause, throws _W_::UserCanceled once cancelled, after the
    // thread's context was marked. Throws _E_::Synchronization, _E_::Internal, _E_::Unexpected.
    void mf_implTryCancel() const
    {
        long const state = m_state;
        if (state != 0) mf_implPauseOrCancel(state);
    }
    void mf_implPauseOrCancel(long state) const;
    void mf_implSetErrnoData(ICErrnoData const & reason);
    void mf_implResetErrnoData();

    // Raw values, since the copy is one of bytes.
    HANDLE m_hWaitEvent;   // signalled but in a pause
    long volatile m_state; // written by atomic exchange
    ICErrnoData m_errnoData;
    mutable CRITICAL_SECTION m_csErrnoData;
    int m_logCancelation;
};
