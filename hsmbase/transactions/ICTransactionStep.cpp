#include "hsmbase/transactions/ICTransactionStep.h"

// The values stand in the class; these are their places in memory, for trace lines, which take references.
ulong const ICTransactionStep::STATE_NONE;
ulong const ICTransactionStep::STATE_STARTED;
ulong const ICTransactionStep::STATE_COMPLETED;
ulong const ICTransactionStep::STATE_SKIPPED;
ulong const ICTransactionStep::STATE_ROLLBACK;

ICTransactionStep::ICTransactionStep(ulong id, CString const & description)
    : m_id(id), m_sDescription(description), m_state(STATE_NONE)
{}

CString ICTransactionStep::mf_toString() const
{
    CString text;
    text.Format(L"id=0x%8.8x (%s)", m_id, m_sDescription.GetString());
    return text;
}
