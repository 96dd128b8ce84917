#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <set>
#include <vector>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/transactions/ICTransaction.h"

// A transaction whose steps do nothing but to be counted: "step 1" has the identifier 1.
class ICTestTransaction : public ICTransaction
{
public:
    explicit ICTestTransaction(std::initializer_list<ulong> ids = {}) : ICTransaction(7)
    {
        mf_implSetDescription(L"test");
        for (ulong const id : ids) {
            CString description;
            description.Format(L"step %lu", id);
            mf_implAddTransactionStep(id, description);
        }
    }

    ICTestTransaction(ICTestTransaction const & other) = default;

    void mf_executeTransaction() override { ++m_executions; }

    void mf_implRollbackStep(ulong id) override
    {
        m_undone.push_back(id);
        if (m_failing.contains(id)) throw ICErrno(ICErrno::_E_::FileAccess);
    }

    // A step from its start to its end.
    void mf_pass(ulong id)
    {
        mf_implStartTransactionStep(id);
        mf_implCompleteTransactionStep(id, ICErrno::_I_::Ok);
    }

    // Aborted while the last one of these is in progress.
    void mf_abortIn(std::initializer_list<ulong> ids)
    {
        mf_startTransaction();
        for (ulong const id : ids) {
            mf_implStartTransactionStep(id);
            if (id != *(ids.end() - 1)) mf_implCompleteTransactionStep(id, ICErrno::_I_::Ok);
        }
        mf_abortTransaction(ICErrno::_E_::FileWrite);
    }

    std::vector<ulong> mf_getStates() const
    {
        std::vector<ulong> states;
        for (INT_PTR index = 0; index < m_steps.GetCount(); ++index)
            states.push_back(m_steps[index]->mf_getState());
        return states;
    }

    int m_executions = 0;
    std::set<ulong> m_failing;   // whose undo fails
    std::vector<ulong> m_undone; // in the order in which it was asked for
};
