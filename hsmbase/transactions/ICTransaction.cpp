#include "hsmbase/transactions/ICTransaction.h"

#include <memory>
#include <new>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/internal/PathStep.h"

// The values stand in the class; these are their places in memory, for trace lines, which take references.
ulong const ICTransaction::STATE_NONE;
ulong const ICTransaction::STATE_TRANSACTION;
ulong const ICTransaction::STATE_COMPLETED;
ulong const ICTransaction::STATE_ABORTED;
ulong const ICTransaction::STATE_ROLLBACK;

ICTransaction::ICTransaction(ulong id) : m_id(id), m_state(STATE_NONE), m_current(-1) {}

ICTransaction::ICTransaction(ICTransaction const & other)
    : m_id(other.m_id), m_sDescription(other.m_sDescription), m_state(other.m_state),
      m_abortReason(other.m_abortReason), m_current(other.m_current)
{
    m_steps.Copy(other.m_steps);
}

ICTransaction::~ICTransaction()
{
    for (INT_PTR index = 0; index < m_steps.GetCount(); ++index)
        delete m_steps[index];
    m_steps.RemoveAll();
}

void ICTransaction::mf_implSetDescription(CString const & description)
{
    m_sDescription = description;
}

void ICTransaction::mf_implAddTransactionStep(ulong id, CString const & description)
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_implAddTransactionStep";

    if (m_state != STATE_NONE)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Transaction state already set, state=%lu", m_state);
    std::unique_ptr<ICTransactionStep> step(new (std::nothrow) ICTransactionStep(id, description));
    if (!step) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Memory, L"No memory for transaction step");
    int const index = static_cast<int>(m_steps.Add(step.get()));
    ICTransactionStep const & added = *step.release();
    ICTrace(_sFunction_).mf_debug(L"Added transaction step %d: %s", index, added.mf_toString());
}

void ICTransaction::mf_startTransaction()
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_startTransaction";

    if (m_state != STATE_NONE)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Transaction state is not STATE_NONE, state=%lu", m_state);
    m_state = STATE_TRANSACTION;
    m_current = -1;
    ICTrace(_sFunction_).mf_debug(L"Transaction '%s' started", m_sDescription);
}

// The guard of the order.
ICTransactionStep * ICTransaction::mf_implGetNextStep(ulong id)
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_implGetNextStep";

    if (m_state != STATE_TRANSACTION)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Transaction state is not STATE_TRANSACTION, state=%lu", m_state);
    if (m_current >= 0) {
        ICTransactionStep const & current = *m_steps[m_current];
        if (current.m_state != ICTransactionStep::STATE_COMPLETED &&
            current.m_state != ICTransactionStep::STATE_SKIPPED)
            throw ICTrace(_sFunction_)
                .mf_failedAt(ICLogData::LEVEL_W, ICErrno::_E_::Internal,
                             L"State %d of current transaction step %s is not 'STATE_COMPLETED' (%d)", current.m_state,
                             current.mf_toString(), ICTransactionStep::STATE_COMPLETED);
    }
    int const index = m_current + 1;
    if (index >= m_steps.GetCount())
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Next transaction step with index=%d has not been defined", index);
    ICTransactionStep * const next = m_steps[index];
    if (next->m_id != id)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Next transaction step has id=0x%8.8x, expected id=0x%8.8x", next->m_id,
                       id);
    m_current = index;
    return next;
}

void ICTransaction::mf_implStartTransactionStep(ulong id)
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_implStartTransactionStep";

    if (m_state == STATE_ABORTED) {
        // No failure: work may go on for a while after it was aborted.
        ICTrace(_sFunction_)
            .mf_debug(L"Transaction '%s' already aborted\r\n%sSkipping starting step start with id=0x%8.8x",
                      m_sDescription, ICLog::TAB, id);
        return;
    }
    ICTransactionStep & step = *f_step(
        _sFunction_, [&] { return mf_implGetNextStep(id); }, L"Failure continuing with next step: %s");
    step.m_state = ICTransactionStep::STATE_STARTED;
    ICTrace(_sFunction_).mf_debug(L"Transaction step %s started", step.mf_toString());
}

void ICTransaction::mf_implSkipTransactionStep(ulong id)
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_implSkipTransactionStep";

    if (m_state == STATE_ABORTED) {
        ICTrace(_sFunction_)
            .mf_debug(L"Transaction '%s' already aborted\r\n%sSkipping step start with id=0x%8.8x", m_sDescription,
                      ICLog::TAB, id);
        return;
    }
    ICTransactionStep & step = *f_step(
        _sFunction_, [&] { return mf_implGetNextStep(id); }, L"Failure continuing with next step: %s");
    step.m_state = ICTransactionStep::STATE_SKIPPED;
    ICTrace(_sFunction_).mf_debug(L"Transaction step %s skipped", step.mf_toString());
}

void ICTransaction::mf_implCompleteTransactionStep(ulong id, ICErrnoData const & result)
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_implCompleteTransactionStep";

    if (m_state == STATE_ABORTED) {
        ICTrace(_sFunction_)
            .mf_debug(L"Transaction '%s' already aborted\r\n%sSkipping step completion with id=0x%8.8x", m_sDescription,
                      ICLog::TAB, id);
        return;
    }
    if (m_state != STATE_TRANSACTION)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Unexpected transaction state %lu at step index=%d, id=0x%8.8x",
                       m_state, m_current, id);
    if (m_current < 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Current transaction step has index=%d (first step was not started)",
                       m_current);
    ICTransactionStep & step = *m_steps[m_current];
    if (step.m_id != id)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Current transaction step is id=0x%8.8x, index=%d, expected id=0x%8.8x",
                       step.m_id, m_current, id);
    if (step.m_state != ICTransactionStep::STATE_STARTED)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Transaction, L"Transaction step %s has not been started", step.mf_toString());

    // Both merge: what a result doesn't say stays from the run before.
    if (result.mf_isSet() && result.mf_getNumber() != ICErrno::_I_::Ok.mf_getNumber())
        step.m_result = result;
    else
        step.m_result = ICErrnoData(ICErrno::_I_::Ok);
    step.m_state = ICTransactionStep::STATE_COMPLETED;
    ICTrace(_sFunction_)
        .mf_debug(L"Transaction step %s completed, errno=%s", step.mf_toString(), step.m_result.mf_toString());
}

void ICTransaction::mf_completeTransaction()
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_completeTransaction";

    if (m_state != STATE_TRANSACTION)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Transaction state is not STATE_TRANSACTION, state=%lu", m_state);
    int const last = static_cast<int>(m_steps.GetUpperBound());
    if (m_current != last)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Transaction, L"Transaction step with index=%d is not last step with index=%d",
                       m_current, last);
    // Deliberate: without steps the index is -1, which the array refuses.
    ICTransactionStep const & step = *m_steps[m_current];
    if (step.m_state != ICTransactionStep::STATE_COMPLETED && step.m_state != ICTransactionStep::STATE_SKIPPED)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Transaction,
                       L"State of current transaction step '%s' is %lu, but should be\r\n"
                       L"%sSTATE_COMPLETED (%lu) or STATE_SKIPPED (%lu)",
                       step.mf_toString(), step.m_state, ICLog::TAB, ICTransactionStep::STATE_COMPLETED,
                       ICTransactionStep::STATE_SKIPPED);
    m_state = STATE_COMPLETED;
    ICTrace(_sFunction_).mf_trace(L"Transaction '%s' completed", m_sDescription);
}

void ICTransaction::mf_abortTransaction(ICErrnoData const & reason)
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_abortTransaction";

    if (m_state == STATE_NONE) {
        ICTrace(_sFunction_).mf_trace(L"Transaction was not yet started, no transaction abortion possible");
        return;
    }
    if (m_state != STATE_TRANSACTION)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Transaction state is not STATE_TRANSACTION, state=%lu", m_state);
    m_state = STATE_ABORTED;
    m_abortReason = reason;
    ICTransactionStep const * const step = m_current >= 0 ? m_steps[m_current] : nullptr;
    ICTrace(_sFunction_)
        .mf_trace(L"Transaction '%s' aborted, reason:\r\n%s%s\r\n%sLast step: index=%d, %s, state=%lu", m_sDescription,
                  ICLog::TAB, reason.mf_toString(), ICLog::TAB, m_current,
                  step != nullptr ? step->mf_toString() : CString(L"id=BEFORE FIRST STEP"),
                  step != nullptr ? step->m_state : 0);
}

void ICTransaction::mf_rollbackTransaction()
{
    static wchar_t const _sFunction_[] = L"ICTransaction::mf_rollbackTransaction";

    if (m_state == STATE_NONE) {
        ICTrace(_sFunction_).mf_trace(L"Transaction was not yet started, no transaction rollback possible");
        return;
    }
    if (m_state != STATE_ABORTED)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Transaction state is not STATE_ABORTED, state=%lu", m_state);
    for (int index = m_current; index >= 0; --index) {
        ICTransactionStep & step = *m_steps[index];
        try {
            if (step.m_state != ICTransactionStep::STATE_ROLLBACK) mf_implRollbackStep(step.m_id);
        }
        catch (ICErrno & failure) {
            // The steps before it are to be undone all the same.
            ICTrace(_sFunction_)
                .mf_error(L"Failure rolling back transaction step %s:\r\n%s%s", step.mf_toString(), ICLog::TAB,
                          failure.mf_toString());
            continue;
        }
        // Deliberate: one that an earlier call has undone has its line again.
        step.m_state = ICTransactionStep::STATE_ROLLBACK;
        ICTrace(_sFunction_).mf_debug(L"Rolled-back step %s", step.mf_toString());
    }
    // Deliberate: also where a step has failed. Only the line of each step tells.
    ICTrace(_sFunction_).mf_info(L"Successfully rolled-back transaction '%s'", m_sDescription);
}

void ICTransaction::mf_resetTransaction()
{
    for (INT_PTR index = 0; index < m_steps.GetCount(); ++index)
        m_steps[index]->m_state = ICTransactionStep::STATE_NONE;
    m_current = -1;
    // Deliberate: what the reason said in words stays, and shows through the next one.
    m_abortReason.mf_reset();
    m_state = STATE_NONE;
}
