#pragma once

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/volumes/ICVolume.h"

// Holds the mutex of a volume while the object lives.
//
//     ICVolumeLock lock(*this);          // throws _E_::Synchronization
//     ...
//     lock.mf_release();                 // the same
//
// The destructor is the safety net for exceptions: a failure to release is left in the trace.
class ICVolumeLock
{
public:
    explicit ICVolumeLock(ICVolume const & volume) : m_volume(volume) { m_volume.mf_implLock(); }
    ICVolumeLock(ICVolumeLock const &) = delete;
    ICVolumeLock & operator=(ICVolumeLock const &) = delete;

    ~ICVolumeLock()
    {
        ICErrnoData outcome;
        if (m_isHeld) mf_release(outcome);
    }

    void mf_release()
    {
        m_isHeld = false;
        m_volume.mf_implUnlock();
    }

    // The same, keeping a failure unless there is one already.
    void mf_release(ICErrnoData & outcome)
    {
        m_isHeld = false;
        m_volume.mf_implUnlock(outcome);
    }

private:
    ICVolume const & m_volume;
    bool m_isHeld = true;
};
