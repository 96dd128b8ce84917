#pragma once

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/volumes/ICStorage.h"

// Holds the mutex of the storage while the object lives, or that and those of all its volumes.
//
//     ICStorageLock lock(*this);         // throws _E_::Synchronization
//     ...
//     lock.mf_release();                 // the same
//
// The destructor is the safety net for exceptions: a failure to release is left in the trace.
class ICStorageLock
{
public:
    enum SCOPE
    {
        STORAGE,
        STORAGE_AND_VOLUMES
    };

    explicit ICStorageLock(ICStorage const & storage, SCOPE scope = STORAGE) : m_storage(storage), m_scope(scope)
    {
        scope == STORAGE ? m_storage.mf_implLockStorage() : m_storage.mf_implLockVolumes();
    }
    ICStorageLock(ICStorageLock const &) = delete;
    ICStorageLock & operator=(ICStorageLock const &) = delete;

    ~ICStorageLock()
    {
        try {
            if (m_isHeld) mf_release();
        }
        catch (ICErrno &) {
            // The failure that ends the bracket goes on.
        }
    }

    void mf_release()
    {
        m_isHeld = false;
        m_scope == STORAGE ? m_storage.mf_implUnlockStorage() : m_storage.mf_implUnlockVolumes();
    }

private:
    ICStorage const & m_storage;
    SCOPE const m_scope;
    bool m_isHeld = true;
};
