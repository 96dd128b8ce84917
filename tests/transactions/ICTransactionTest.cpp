#include <array>
#include <bit>
#include <new>
#include <stdexcept>

#include "tests/support/ICImportFault.h"
#include "tests/support/PlatformFailure.h"
#include "tests/support/Thrown.h"
#include "tests/transactions/TransactionTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr ulong NONE = ICTransactionStep::STATE_NONE;
constexpr ulong STARTED = ICTransactionStep::STATE_STARTED;
constexpr ulong COMPLETED = ICTransactionStep::STATE_COMPLETED;
constexpr ulong SKIPPED = ICTransactionStep::STATE_SKIPPED;
constexpr ulong UNDONE = ICTransactionStep::STATE_ROLLBACK;

ulong f_resultOf(ICTransaction const & transaction, INT_PTR index)
{
    return transaction.m_steps[index]->mf_getResult().mf_getNumber();
}

// An error that owes a line to the administrator's log, and says everything.
void f_fill(ICErrnoData & data, wchar_t const * text)
{
    data.mf_setMessageText(text, 1);
    data.mf_setOriginator(ICErrnoData::SYSTEM, 5, text);
    data.mf_setAdminLogFlag(1);
}
} // namespace

// Construction and shape.

TEST(ICTransaction, New_IsNeitherActiveNorAborted)
{
    ICTestTransaction const transaction;
    EXPECT_EQ(7u, transaction.m_id);
    EXPECT_EQ(ICTransaction::STATE_NONE, transaction.m_state);
    EXPECT_EQ(-1, transaction.m_current);
    EXPECT_EQ(0, transaction.m_abortReason.mf_isSet());
    EXPECT_FALSE(transaction.mf_isActive());
    EXPECT_FALSE(transaction.mf_isAborted());
}

TEST(ICTransaction, Description_IsEmptyAtFirst)
{
    class ICBare : public ICTransaction
    {
    public:
        ICBare() : ICTransaction(0) {}
        void mf_executeTransaction() override {}
        void mf_implRollbackStep(ulong) override {}
    };
    ICBare bare;
    EXPECT_STREQ(L"", bare.mf_getDescription());
    bare.mf_implSetDescription(L"first");
    bare.mf_startTransaction();
    bare.mf_implSetDescription(L"second");
    EXPECT_STREQ(L"second", bare.mf_getDescription());
}

TEST(ICTransaction, States_HaveTheirNumbers)
{
    EXPECT_THAT((std::array{ICTransaction::STATE_NONE, ICTransaction::STATE_TRANSACTION, ICTransaction::STATE_COMPLETED,
                            ICTransaction::STATE_ABORTED, ICTransaction::STATE_ROLLBACK}),
                ElementsAre(0, 1, 2, 3, 4));
    EXPECT_THAT((std::array{NONE, STARTED, COMPLETED, SKIPPED, UNDONE}), ElementsAre(0, 1, 2, 3, 4));
}

// Programs that were built apart from the library call by the slot.
TEST(ICTransaction, VirtualOperations_HaveTheirSlots)
{
    using SLOT = void (*)(ICTransaction *, ulong);
    alignas(ICTestTransaction) std::array<std::byte, sizeof(ICTestTransaction)> memory;
    auto & transaction = *new (memory.data()) ICTestTransaction({1, 2});
    SLOT const * const slots = *std::bit_cast<SLOT const * const *>(memory.data());

    slots[0](&transaction, 0);
    EXPECT_EQ(1, transaction.m_executions);
    slots[1](&transaction, 0x1234);
    EXPECT_THAT(transaction.m_undone, ElementsAre(0x1234));
    // Gives back steps, texts and lists, without which the leak account would be wrong; the memory itself stays.
    slots[2](&transaction, 0);
}

TEST(ICTransactionStep, Destructor_IsTheOneVirtualOperation)
{
    struct ICStep : public ICTransactionStep
    {
        explicit ICStep(int & ended) : ICTransactionStep(1, L"counted"), m_ended(ended) {}
        ~ICStep() override { ++m_ended; }
        int & m_ended;
    };
    int ended = 0;
    {
        ICTestTransaction transaction;
        transaction.m_steps.Add(new ICStep(ended));
        EXPECT_EQ(0, ended);
    }
    EXPECT_EQ(1, ended) << "the transaction deletes its steps by their destructor";
}

TEST(ICTransactionStep, New_IsUntouched)
{
    ICTransactionStep const step(0xab, L"100% done");
    EXPECT_EQ(0xabu, step.mf_getId());
    EXPECT_STREQ(L"100% done", step.mf_getDescription());
    EXPECT_EQ(NONE, step.mf_getState());
    EXPECT_FALSE(step.mf_getResult().mf_isSet());
}

TEST(ICTransactionStep, String_ShowsIdentifierAndDescription)
{
    EXPECT_STREQ(L"id=0x000000ab (100% %s)", ICTransactionStep(0xab, L"100% %s").mf_toString());
    EXPECT_STREQ(L"id=0xffffffff ()", ICTransactionStep(0xffffffff, L"").mf_toString());
}

// Declaring steps.

TEST(ICTransaction, AddStep_AfterTheStart_Fails)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { transaction.mf_implAddTransactionStep(2, L""); }));
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { transaction.mf_implAddTransactionStep(2, L""); }));
    EXPECT_EQ(1, transaction.m_steps.GetCount());
}

TEST(ICTransaction, AddStep_AfterAReset_GoesBehindTheOthers)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    transaction.mf_resetTransaction();
    transaction.mf_implAddTransactionStep(2, L"");
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_pass(2);
    transaction.mf_completeTransaction();
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(COMPLETED, COMPLETED));
}

TEST(ICTransaction, EqualIdentifiers_AreNotRefused)
{
    ICTestTransaction transaction({1, 1});
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    EXPECT_EQ(ICTransaction::STATE_COMPLETED, transaction.m_state);
}

// Of the list of steps, whose memory is the class library's affair.
TEST(ICTransaction, AddStep_WithoutMemoryForTheList_LosesNothing)
{
    ICTestTransaction transaction;
    {
        // Compilers may know that the first memory of the list is none that grows.
        ICImportFault const noFirst("malloc", ICAnswer::mf_value(nullptr));
        ICImportFault const noMore("realloc", ICAnswer::mf_value(nullptr));
        EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { transaction.mf_implAddTransactionStep(1, L"one"); }));
        EXPECT_EQ(1u, noFirst.mf_getAnswered() + noMore.mf_getAnswered());
    }
    EXPECT_EQ(0, transaction.m_steps.GetCount());
    transaction.mf_implAddTransactionStep(1, L"one");
    EXPECT_EQ(1, transaction.m_steps.GetCount());
}

// The order of steps.

TEST(ICTransaction, Run_PassesAllStatesInOrder)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    EXPECT_TRUE(transaction.mf_isActive());
    transaction.mf_implStartTransactionStep(1);
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(STARTED, NONE));
    transaction.mf_implCompleteTransactionStep(1, ICErrno::_I_::Ok);
    transaction.mf_implSkipTransactionStep(2);
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(COMPLETED, SKIPPED));
    transaction.mf_completeTransaction();
    EXPECT_FALSE(transaction.mf_isActive());
    EXPECT_EQ(ICTransaction::STATE_COMPLETED, transaction.m_state);
    EXPECT_THAT(transaction.m_undone, IsEmpty());
}

TEST(ICTransaction, Start_Twice_Fails)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_startTransaction(); }));
    EXPECT_EQ(0, transaction.m_current);
    EXPECT_TRUE(transaction.mf_isActive());
}

TEST(ICTransaction, StartStep_OfALaterStep_FailsAndLeavesTheOrder)
{
    ICTestTransaction transaction({1, 2, 3});
    transaction.mf_startTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(2); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implSkipTransactionStep(3); }));
    EXPECT_EQ(-1, transaction.m_current);
    transaction.mf_pass(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(3); }));
    EXPECT_EQ(0, transaction.m_current);
    transaction.mf_pass(2);
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(COMPLETED, COMPLETED, NONE));
}

TEST(ICTransaction, StartStep_WhileTheCurrentOneIsInProgress_Fails)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(2); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implSkipTransactionStep(2); }));
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(STARTED, NONE));
    EXPECT_TRUE(transaction.mf_isActive());
}

TEST(ICTransaction, StartStep_BehindTheLastOne_Fails)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(1); }));
    transaction.mf_completeTransaction();
}

TEST(ICTransaction, StartStep_OfATransactionThatIsNotRunning_Fails)
{
    ICTestTransaction transaction({1});
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(1); }));
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(1); }));
}

TEST(ICTransaction, CompleteStep_ByAnotherIdentifier_FailsAndTheStepGoesOn)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    EXPECT_TRUE(
        f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implCompleteTransactionStep(2, ICErrno::_I_::Ok); }));
    EXPECT_FALSE(transaction.m_steps[0]->mf_getResult().mf_isSet());
    transaction.mf_implCompleteTransactionStep(1, ICErrno::_I_::Ok);
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(COMPLETED, NONE));
}

TEST(ICTransaction, CompleteStep_ThatIsNotInProgress_IsATransactionFailure)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_implSkipTransactionStep(1);
    EXPECT_TRUE(
        f_throws(ICErrno::_E_::Transaction, [&] { transaction.mf_implCompleteTransactionStep(1, ICErrno::_I_::Ok); }));
    transaction.mf_pass(2);
    EXPECT_TRUE(
        f_throws(ICErrno::_E_::Transaction, [&] { transaction.mf_implCompleteTransactionStep(2, ICErrno::_I_::Ok); }));
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(SKIPPED, COMPLETED));
}

// Results.

TEST(ICTransaction, CompleteStep_WithAFailure_KeepsItAndAbortsNothing)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    ICErrno const failure(ICErrno::_E_::FileWrite, ERROR_DISK_FULL);
    transaction.mf_implCompleteTransactionStep(1, failure.mf_getErrnoData());
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(COMPLETED, NONE));
    EXPECT_EQ(ICErrno::_E_::FileWrite.mf_getNumber(), f_resultOf(transaction, 0));
    EXPECT_EQ(ulong{ERROR_DISK_FULL}, transaction.m_steps[0]->mf_getResult().mf_getOriginatorErrno());
    EXPECT_TRUE(transaction.mf_isActive());
    transaction.mf_pass(2);
    transaction.mf_completeTransaction();
}

TEST(ICTransaction, CompleteStep_WithoutFailure_KeepsOk)
{
    ICTestTransaction transaction({1, 2, 3, 4});
    transaction.mf_startTransaction();
    ICErrnoData okWithWords(ICErrno::_I_::Ok);
    okWithWords.mf_setMessageText(L"words", 1);
    INT_PTR index = 0;
    for (ICErrnoData const & result : {ICErrnoData(), ICErrnoData(ICErrno::_I_::Ok), okWithWords}) {
        ulong const id = static_cast<ulong>(index) + 1;
        transaction.mf_implStartTransactionStep(id);
        transaction.mf_implCompleteTransactionStep(id, result);
        EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), f_resultOf(transaction, index));
        EXPECT_FALSE(transaction.m_steps[index]->mf_getResult().mf_hasMessageText());
        ++index;
    }
    // Other information is kept.
    transaction.mf_implStartTransactionStep(4);
    transaction.mf_implCompleteTransactionStep(4, ICErrnoData(ICErrnoValue(0x01000000, 0)));
    EXPECT_EQ(0x01000000u, f_resultOf(transaction, 3));
}

// The record keeps its creation time; a copy would have the time of the copy.
TEST(ICTransaction, CompleteStep_TakesTheResultOverAsItIs)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    ICErrnoData result(ICErrno::_E_::FileWrite);
    f_fill(result, L"words");
    result.m_creationTime = {1, 2};
    transaction.mf_implCompleteTransactionStep(1, result);
    ICErrnoData & kept = transaction.m_steps[0]->m_result;
    EXPECT_EQ(1u, kept.mf_getCreationTime().dwLowDateTime);
    EXPECT_EQ(2u, kept.mf_getCreationTime().dwHighDateTime);
    EXPECT_STREQ(L"words", kept.mf_getMessageText());
    EXPECT_FALSE(result.mf_isAdminLogFlagSet()) << "the step owes the line now";
    EXPECT_TRUE(kept.mf_isAdminLogFlagSet());
    kept.mf_setAdminLogFlag(0);
}

// Completing the transaction.

TEST(ICTransaction, Complete_WithTheLastStepSkipped_Succeeds)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_implSkipTransactionStep(2);
    transaction.mf_completeTransaction();
    EXPECT_EQ(ICTransaction::STATE_COMPLETED, transaction.m_state);
}

TEST(ICTransaction, Complete_BeforeTheLastStep_IsATransactionFailure)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Transaction, [&] { transaction.mf_completeTransaction(); }));
    transaction.mf_pass(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Transaction, [&] { transaction.mf_completeTransaction(); }));
    transaction.mf_implStartTransactionStep(2);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Transaction, [&] { transaction.mf_completeTransaction(); }));
    EXPECT_TRUE(transaction.mf_isActive());
    transaction.mf_implCompleteTransactionStep(2, ICErrno::_I_::Ok);
    transaction.mf_completeTransaction();
}

TEST(ICTransaction, Complete_OfATransactionThatIsNotRunning_Fails)
{
    ICTestTransaction transaction({1});
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_completeTransaction(); }));
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_completeTransaction(); }));
}

// Deliberate: the index is -1 on both sides, and the array refuses that one.
TEST(ICTransaction, Complete_WithoutSteps_EndsInTheClassLibrarysInvalidArgument)
{
    ICTestTransaction transaction;
    transaction.mf_startTransaction();
    EXPECT_EQ(E_INVALIDARG, f_platformFailure([&] { transaction.mf_completeTransaction(); }));
    EXPECT_TRUE(transaction.mf_isActive());
    transaction.mf_abortTransaction(ICErrno::_E_::FileWrite);
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, IsEmpty());
}

// Abort.

TEST(ICTransaction, Abort_BeforeTheStart_ChangesNothingAndRollbackDoesNothing)
{
    ICTestTransaction transaction({1});
    ICErrnoData reason(ICErrno::_E_::FileWrite);
    reason.mf_setAdminLogFlag(1);
    transaction.mf_abortTransaction(reason);
    EXPECT_TRUE(reason.mf_isAdminLogFlagSet()) << "nobody has taken it over";
    reason.mf_setAdminLogFlag(0);
    EXPECT_FALSE(transaction.mf_isAborted());
    EXPECT_FALSE(transaction.m_abortReason.mf_isSet());
    transaction.mf_rollbackTransaction();
    EXPECT_EQ(ICTransaction::STATE_NONE, transaction.m_state);
    EXPECT_THAT(transaction.m_undone, IsEmpty());
    transaction.mf_startTransaction();
}

TEST(ICTransaction, Abort_KeepsTheReason)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    ICErrnoData reason(ICErrno::_E_::FileWrite);
    f_fill(reason, L"words");
    reason.m_creationTime = {1, 2};
    transaction.mf_abortTransaction(reason);
    EXPECT_TRUE(transaction.mf_isAborted());
    EXPECT_FALSE(transaction.mf_isActive());
    EXPECT_EQ(ICErrno::_E_::FileWrite.mf_getNumber(), transaction.m_abortReason.mf_getNumber());
    EXPECT_EQ(1u, transaction.m_abortReason.mf_getCreationTime().dwLowDateTime);
    EXPECT_STREQ(L"words", transaction.m_abortReason.mf_getMessageText());
    EXPECT_FALSE(reason.mf_isAdminLogFlagSet()) << "the transaction owes the line now";
    EXPECT_TRUE(transaction.m_abortReason.mf_isAdminLogFlagSet());
    transaction.m_abortReason.mf_setAdminLogFlag(0);
}

TEST(ICTransaction, Abort_Twice_FailsAndTheFirstReasonStands)
{
    ICTestTransaction transaction({1});
    transaction.mf_abortIn({1});
    ICErrnoData second(ICErrno::_E_::FileRead);
    second.mf_setAdminLogFlag(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_abortTransaction(second); }));
    EXPECT_TRUE(second.mf_isAdminLogFlagSet());
    second.mf_setAdminLogFlag(0);
    EXPECT_EQ(ICErrno::_E_::FileWrite.mf_getNumber(), transaction.m_abortReason.mf_getNumber());
}

TEST(ICTransaction, Abort_OfACompletedTransaction_Fails)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_abortTransaction(ICErrno::_E_::FileWrite); }));
    EXPECT_EQ(ICTransaction::STATE_COMPLETED, transaction.m_state);
}

TEST(ICTransaction, AfterAnOrderFault_TheOwnerCanStillAbort)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(2); }));
    transaction.mf_abortTransaction(ICErrno::_E_::Internal);
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, ElementsAre(1));
}

TEST(ICTransaction, StepsOfAnAbortedTransaction_AreQuietlyPassedOver)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_abortIn({1});
    ICErrnoData result(ICErrno::_E_::FileWrite);
    result.mf_setAdminLogFlag(1);
    for (ulong const id : {1ul, 2ul, 99ul}) {
        transaction.mf_implStartTransactionStep(id);
        transaction.mf_implSkipTransactionStep(id);
        transaction.mf_implCompleteTransactionStep(id, result);
    }
    EXPECT_TRUE(result.mf_isAdminLogFlagSet());
    result.mf_setAdminLogFlag(0);
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(STARTED, NONE));
    EXPECT_EQ(0, transaction.m_current);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_completeTransaction(); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_startTransaction(); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [&] { transaction.mf_implAddTransactionStep(3, L""); }));
}

// Rollback.

TEST(ICTransaction, Rollback_UndoesFromTheLastStepReachedToTheFirst)
{
    ICTestTransaction transaction({1, 2, 3, 4, 5});
    transaction.mf_abortIn({1, 2, 3});
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, ElementsAre(3, 2, 1));
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(UNDONE, UNDONE, UNDONE, NONE, NONE));
    EXPECT_TRUE(transaction.mf_isAborted());
    EXPECT_EQ(2, transaction.m_current);
}

TEST(ICTransaction, Rollback_BeforeTheFirstStep_UndoesNone)
{
    ICTestTransaction transaction({1});
    transaction.mf_abortIn({});
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, IsEmpty());
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(NONE));
}

TEST(ICTransaction, Rollback_AsksForSkippedStepsToo)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_startTransaction();
    transaction.mf_implSkipTransactionStep(1);
    transaction.mf_pass(2);
    transaction.mf_abortTransaction(ICErrno::_E_::FileWrite);
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, ElementsAre(2, 1));
}

TEST(ICTransaction, Rollback_WhereOneUndoFails_GoesOnAndAnotherOneUndoesThatAlone)
{
    ICTestTransaction transaction({1, 2, 3});
    transaction.mf_abortIn({1, 2, 3});
    transaction.m_failing = {2};
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, ElementsAre(3, 2, 1));
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(UNDONE, COMPLETED, UNDONE));
    transaction.m_undone.clear();
    transaction.mf_rollbackTransaction();
    transaction.m_failing.clear();
    transaction.mf_rollbackTransaction();
    transaction.mf_rollbackTransaction();
    EXPECT_THAT(transaction.m_undone, ElementsAre(2, 2));
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(UNDONE, UNDONE, UNDONE));
}

TEST(ICTransaction, Rollback_OfATransactionThatIsNotAborted_Fails)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_rollbackTransaction(); }));
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_rollbackTransaction(); }));
    EXPECT_THAT(transaction.m_undone, IsEmpty());
}

TEST(ICTransaction, Rollback_WhereAnUndoEndsInAnythingElse_LetsItPass)
{
    struct ICBroken : public ICTestTransaction
    {
        using ICTestTransaction::ICTestTransaction;
        void mf_implRollbackStep(ulong id) override
        {
            if (id == 2) throw std::runtime_error("no failure of the library");
            ICTestTransaction::mf_implRollbackStep(id);
        }
    };
    ICBroken transaction({1, 2, 3});
    transaction.mf_abortIn({1, 2, 3});
    EXPECT_THROW(transaction.mf_rollbackTransaction(), std::runtime_error);
    EXPECT_THAT(transaction.m_undone, ElementsAre(3));
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(COMPLETED, COMPLETED, UNDONE));
    EXPECT_TRUE(transaction.mf_isAborted());
}

// Reset.

TEST(ICTransaction, Reset_LetsTheSameStepsRunAgainFromTheFirst)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_abortIn({1, 2});
    transaction.mf_rollbackTransaction();
    transaction.mf_resetTransaction();
    EXPECT_EQ(ICTransaction::STATE_NONE, transaction.m_state);
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(NONE, NONE));
    transaction.mf_startTransaction();
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { transaction.mf_implStartTransactionStep(2); }));
    transaction.mf_pass(1);
    transaction.mf_pass(2);
    transaction.mf_completeTransaction();
}

TEST(ICTransaction, Reset_WorksFromEveryState)
{
    ICTestTransaction transaction({1});
    auto const reset = [&] {
        transaction.mf_resetTransaction();
        EXPECT_EQ(ICTransaction::STATE_NONE, transaction.m_state);
        EXPECT_EQ(-1, transaction.m_current);
        EXPECT_THAT(transaction.mf_getStates(), ElementsAre(NONE));
    };
    reset();
    transaction.mf_startTransaction();
    reset();
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    reset();
    transaction.mf_startTransaction();
    transaction.mf_pass(1);
    transaction.mf_completeTransaction();
    reset();
    transaction.mf_abortIn({1});
    reset();
}

TEST(ICTransaction, Reset_LeavesTheResults)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    transaction.mf_implStartTransactionStep(1);
    transaction.mf_implCompleteTransactionStep(1, ICErrno::_E_::FileWrite);
    transaction.mf_resetTransaction();
    EXPECT_EQ(ICErrno::_E_::FileWrite.mf_getNumber(), f_resultOf(transaction, 0));
}

// Deliberate: records merge, so what a result doesn't say stays from the run before.
TEST(ICTransaction, Results_OfSeveralRuns_Merge)
{
    ICTestTransaction transaction({1});
    ICErrno const failure(ICErrno::_E_::FileWrite, ERROR_DISK_FULL);
    for (ICErrnoData const * const result : {&failure.mf_getErrnoData(), &std::as_const(transaction).m_abortReason}) {
        transaction.mf_startTransaction();
        transaction.mf_implStartTransactionStep(1);
        transaction.mf_implCompleteTransactionStep(1, *result);
        transaction.mf_resetTransaction();
    }
    EXPECT_EQ(ICErrno::_I_::Ok.mf_getNumber(), f_resultOf(transaction, 0));
    EXPECT_EQ(ulong{ERROR_DISK_FULL}, transaction.m_steps[0]->mf_getResult().mf_getOriginatorErrno());
}

// Deliberate: a reset record loses its number, not its words nor its debt, and the next reason merges.
TEST(ICTransaction, Reasons_OfSeveralRuns_Merge)
{
    ICTestTransaction transaction({1});
    transaction.mf_startTransaction();
    ICErrnoData first(ICErrno::_E_::FileWrite);
    f_fill(first, L"first");
    first.mf_setExplanation(L"why", 1);
    transaction.mf_abortTransaction(first);
    transaction.mf_resetTransaction();
    EXPECT_FALSE(transaction.m_abortReason.mf_isSet());
    EXPECT_STREQ(L"first", transaction.m_abortReason.mf_getMessageText());
    EXPECT_TRUE(transaction.m_abortReason.mf_isAdminLogFlagSet());

    transaction.mf_startTransaction();
    ICErrnoData second(ICErrno::_E_::FileRead);
    second.mf_setMessageText(L"second", 1);
    transaction.mf_abortTransaction(second);
    EXPECT_EQ(ICErrno::_E_::FileRead.mf_getNumber(), transaction.m_abortReason.mf_getNumber());
    EXPECT_STREQ(L"second", transaction.m_abortReason.mf_getMessageText());
    EXPECT_STREQ(L"why", transaction.m_abortReason.mf_getExplanation());
    EXPECT_EQ(5u, transaction.m_abortReason.mf_getOriginatorErrno());
    transaction.m_abortReason.mf_setAdminLogFlag(0);
}

// Copies.

// Deliberate: the steps are shared, so that only one of the two may be destroyed.
TEST(ICTransaction, Copy_HasTheSameSteps)
{
    ICTestTransaction transaction({1, 2});
    transaction.mf_abortIn({1});
    transaction.m_abortReason.mf_setAdminLogFlag(1);
    ICTestTransaction copy(transaction);
    EXPECT_EQ(7u, copy.m_id);
    EXPECT_STREQ(L"test", copy.mf_getDescription());
    EXPECT_TRUE(copy.mf_isAborted());
    EXPECT_EQ(ICErrno::_E_::FileWrite.mf_getNumber(), copy.m_abortReason.mf_getNumber());
    EXPECT_TRUE(copy.m_abortReason.mf_isAdminLogFlagSet()) << "the debt moves with the record";
    EXPECT_FALSE(transaction.m_abortReason.mf_isAdminLogFlagSet());
    copy.m_abortReason.mf_setAdminLogFlag(0);
    EXPECT_EQ(0, copy.m_current);
    ASSERT_EQ(2, copy.m_steps.GetCount());
    EXPECT_EQ(transaction.m_steps[0], copy.m_steps[0]);
    EXPECT_EQ(transaction.m_steps[1], copy.m_steps[1]);
    copy.mf_rollbackTransaction();
    EXPECT_THAT(transaction.mf_getStates(), ElementsAre(UNDONE, NONE));
    copy.m_steps.RemoveAll();
}
