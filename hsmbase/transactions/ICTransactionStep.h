#pragma once

#include "hsmbase/failure/ICErrnoData.h"

// One step of an ICTransaction, which owns it and keeps its books.
//
// Threads: that which drives the transaction.
class HSMBASE_EXPORT ICTransactionStep
{
    friend class ICTransaction;

public:
    ICTransactionStep(ulong id, CString const & description);
    virtual ~ICTransactionStep() {}

    ulong mf_getId() const { return m_id; }
    CString const & mf_getDescription() const { return m_sDescription; }
    ulong mf_getState() const { return m_state; }

    // The outcome that was told when the step was completed; it outlives a reset of the transaction.
    ICErrnoData const & mf_getResult() const { return m_result; }

    // For the trace: "id=0x00000001 (description)".
    CString mf_toString() const;

private:
    static ulong const STATE_NONE = 0;
    static ulong const STATE_STARTED = 1;
    static ulong const STATE_COMPLETED = 2;
    static ulong const STATE_SKIPPED = 3;
    static ulong const STATE_ROLLBACK = 4;

    ulong m_id;
    CString m_sDescription;
    ulong m_state;
    ICErrnoData m_result;
};
