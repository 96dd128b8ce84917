#pragma once

#include "hsmbase/failure/ICErrnoData.h"
#include "hsmbase/transactions/ICTransactionStep.h"

// Work in steps that runs to its end in the order declared, or is undone step by step. The base keeps the books and the
// order; a derived class declares its steps, tells of the start and the end of each while it does the work, and knows
// how to undo one.
//
//     class ICReplacement : public ICTransaction
//     {
//     public:
//         ICReplacement() : ICTransaction(1)
//         {
//             mf_implSetDescription(L"replacement");
//             mf_implAddTransactionStep(STEP_WRITE, L"write");
//             mf_implAddTransactionStep(STEP_MOVE, L"move");
//         }
//         void mf_executeTransaction() override
//         {
//             mf_startTransaction();
//             mf_implStartTransactionStep(STEP_WRITE);
//             ...
//             mf_implCompleteTransactionStep(STEP_WRITE, ICErrno::_I_::Ok);
//             ...
//             mf_completeTransaction();
//         }
//
//     protected:
//         void mf_implRollbackStep(ulong id) override;
//     };
//
// On failure: mf_abortTransaction and, if wanted, mf_rollbackTransaction. mf_resetTransaction makes the object ready for
// another run.
//
// Order faults throw _E_::Internal, those in closing a step or the transaction _E_::Transaction. They change neither the
// transaction's state nor its place, so it can still be aborted.
//
// Threads: one drives a transaction; no lock.
class HSMBASE_EXPORT ICTransaction
{
public:
    // The whole of the work; what it is and what it throws is the derived class's affair.
    virtual void mf_executeTransaction() = 0;

protected:
    // Undoes the step with this identifier: also one that was skipped, and the one in progress when the transaction was
    // aborted. A failure is logged, and the step counts as not undone.
    virtual void mf_implRollbackStep(ulong id) = 0;

    explicit ICTransaction(ulong id);

    // Shares the steps with its source, so only one of the two may be destroyed.
    ICTransaction(ICTransaction const & other);
    ICTransaction & operator=(ICTransaction const &) = delete;

    virtual ~ICTransaction();

public:
    // From the first step on. Throws _E_::Internal for one that was started and not reset.
    void mf_startTransaction();

    // To be called behind the last step. Throws _E_::Internal where the transaction isn't running, _E_::Transaction
    // where a step is still to come or to be completed. One without steps can't be completed: the class library's
    // invalid argument exception leaves then.
    void mf_completeTransaction();

    // Ends the run; `reason` is kept. Before the start it does nothing. Throws _E_::Internal for one that is completed
    // or aborted.
    void mf_abortTransaction(ICErrnoData const & reason);

    // Undoes the steps of an aborted run, the last first. Steps that fail are passed over and stay to be undone by
    // another call. Before the start it does nothing. Throws _E_::Internal for one that isn't aborted.
    void mf_rollbackTransaction();

    // Ready for another run, from any state. Steps stay declared and keep their results.
    void mf_resetTransaction();

    int mf_isActive() const { return m_state == STATE_TRANSACTION; }
    int mf_isAborted() const { return m_state == STATE_ABORTED; }
    CString const & mf_getDescription() const { return m_sDescription; }

protected:
    void mf_implSetDescription(CString const & description);

    // Declares the next step; identifiers aren't compared with each other. Throws _E_::AlreadyInitialized once the
    // transaction was started, _E_::Memory. Where the list of steps can't grow, the class library's memory exception
    // leaves.
    void mf_implAddTransactionStep(ulong id, CString const & description);

    // The next step begins, or is left out. On an aborted transaction they do nothing. Throw _E_::Internal where the
    // transaction isn't running, the step before isn't done, no step is left, or the next one has another identifier.
    void mf_implStartTransactionStep(ulong id);
    void mf_implSkipTransactionStep(ulong id);

    // The step in progress is done, with this result; a failure as result aborts nothing. On an aborted transaction it
    // does nothing. Throws _E_::Internal where the transaction isn't running, no step was begun or the one in progress
    // has another identifier; _E_::Transaction where it was not started.
    void mf_implCompleteTransactionStep(ulong id, ICErrnoData const & result);

private:
    static ulong const STATE_NONE = 0;
    static ulong const STATE_TRANSACTION = 1;
    static ulong const STATE_COMPLETED = 2;
    static ulong const STATE_ABORTED = 3;
    static ulong const STATE_ROLLBACK = 4; // never entered

    ICTransactionStep * mf_implGetNextStep(ulong id);

    ulong m_id;
    CString m_sDescription;
    ulong m_state;
    ICErrnoData m_abortReason;
    CArray<ICTransactionStep *, ICTransactionStep *> m_steps; // owned
    int m_current;                                            // -1: ahead of the first step
};
