#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"
#include "tests/transactions/TransactionTest.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr char ADD[] = "ICTransaction::mf_implAddTransactionStep";
constexpr char START[] = "ICTransaction::mf_startTransaction";
constexpr char NEXT[] = "ICTransaction::mf_implGetNextStep";
constexpr char START_STEP[] = "ICTransaction::mf_implStartTransactionStep";
constexpr char SKIP_STEP[] = "ICTransaction::mf_implSkipTransactionStep";
constexpr char COMPLETE_STEP[] = "ICTransaction::mf_implCompleteTransactionStep";
constexpr char COMPLETE[] = "ICTransaction::mf_completeTransaction";
constexpr char ABORT[] = "ICTransaction::mf_abortTransaction";
constexpr char ROLLBACK[] = "ICTransaction::mf_rollbackTransaction";

// The user speaks German; the log shows the failures in English.
class ICTransactionTrace : public testing::Test
{
protected:
    void mf_completeAll()
    {
        m_transaction.mf_startTransaction();
        for (ulong const id : {1ul, 2ul, 3ul})
            m_transaction.mf_pass(id);
        m_transaction.mf_completeTransaction();
    }

    // Both operations that go on to the next step fail by this record of its guard, and show its failure.
    void mf_expectRefused(ulong id, char level, std::string const & text)
    {
        for (auto const & [tag, operation] : {std::pair{START_STEP, &ICTestTransaction::mf_implStartTransactionStep},
                                              std::pair{SKIP_STEP, &ICTestTransaction::mf_implSkipTransactionStep}}) {
            ICTracedAction const outcome = m_process.mf_run([&] { (m_transaction.*operation)(id); });
            EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Internal, tag, "Failure continuing with next step: "));
            EXPECT_THAT(outcome.m_records, ElementsAre(f_isRecord(level, NEXT, text), testing::_));
        }
    }

    ICTracedProcess const m_process{L"German"};
    ICTestTransaction m_transaction{1, 2, 3};
};
} // namespace

// Whole runs.

TEST_F(ICTransactionTrace, CompleteRun_TellsEachStep)
{
    EXPECT_THAT(m_process.mf_trace([] {
        ICTestTransaction transaction({0x10, 0xabcdef12});
        transaction.mf_implSetDescription(L"two steps");
        transaction.mf_startTransaction();
        transaction.mf_pass(0x10);
        transaction.mf_implSkipTransactionStep(0xabcdef12);
        transaction.mf_completeTransaction();
    }),
                ElementsAre(f_isRecord('D', ADD, "Added transaction step 0: id=0x00000010 (step 16)"),
                            f_isRecord('D', ADD, "Added transaction step 1: id=0xabcdef12 (step 2882400018)"),
                            f_isRecord('D', START, "Transaction 'two steps' started"),
                            f_isRecord('D', START_STEP, "Transaction step id=0x00000010 (step 16) started"),
                            f_isRecord('D', COMPLETE_STEP,
                                       f_logged("Transaction step id=0x00000010 (step 16) completed, errno=",
                                                ICErrno(ICErrno::_I_::Ok))),
                            f_isRecord('D', SKIP_STEP, "Transaction step id=0xabcdef12 (step 2882400018) skipped"),
                            f_isRecord('T', COMPLETE, "Transaction 'two steps' completed")));
}

TEST_F(ICTransactionTrace, AbortedRun_TellsWhatIsUndone)
{
    m_transaction.m_failing = {2};
    std::string const refused =
        f_logged("Failure rolling back transaction step id=0x00000002 (step 2):\n", ICErrno(ICErrno::_E_::FileAccess));
    EXPECT_THAT(
        m_process.mf_trace([this] {
            m_transaction.mf_startTransaction();
            m_transaction.mf_implSkipTransactionStep(1);
            m_transaction.mf_implSkipTransactionStep(2);
            m_transaction.mf_implStartTransactionStep(3);
            m_transaction.mf_abortTransaction(ICErrno::_E_::FileWrite);
            m_transaction.mf_rollbackTransaction();
        }),
        ElementsAre(f_isRecord('D', START, "Transaction 'test' started"),
                    f_isRecord('D', SKIP_STEP, "Transaction step id=0x00000001 (step 1) skipped"),
                    f_isRecord('D', SKIP_STEP, "Transaction step id=0x00000002 (step 2) skipped"),
                    f_isRecord('D', START_STEP, "Transaction step id=0x00000003 (step 3) started"),
                    f_isRecord('T', ABORT,
                               f_logged("Transaction 'test' aborted, reason:\n", ICErrno(ICErrno::_E_::FileWrite)) +
                                   "\nLast step: index=2, id=0x00000003 (step 3), state=1"),
                    f_isRecord('D', ROLLBACK, "Rolled-back step id=0x00000003 (step 3)"),
                    f_isRecord('E', ROLLBACK, refused),
                    f_isRecord('D', ROLLBACK, "Rolled-back step id=0x00000001 (step 1)"),
                    f_isRecord('I', ROLLBACK, "Successfully rolled-back transaction 'test'")));
}

// Deliberate: only the undo is passed over, not the line.
TEST_F(ICTransactionTrace, SecondRollback_TellsTheStepsThatWereUndoneBeforeAgain)
{
    m_transaction.mf_abortIn({1, 2, 3});
    m_transaction.m_failing = {2};
    m_transaction.mf_rollbackTransaction();
    m_transaction.m_failing.clear();
    EXPECT_THAT(m_process.mf_trace([this] { m_transaction.mf_rollbackTransaction(); }),
                ElementsAre(f_isRecord('D', ROLLBACK, "Rolled-back step id=0x00000003 (step 3)"),
                            f_isRecord('D', ROLLBACK, "Rolled-back step id=0x00000002 (step 2)"),
                            f_isRecord('D', ROLLBACK, "Rolled-back step id=0x00000001 (step 1)"),
                            f_isRecord('I', ROLLBACK, "Successfully rolled-back transaction 'test'")));
    EXPECT_THAT(m_transaction.m_undone, ElementsAre(3, 2, 1, 2));
}

TEST_F(ICTransactionTrace, AbortBeforeTheFirstStep_SaysSoAndTheClosingLineIsWritten)
{
    m_transaction.mf_startTransaction();
    EXPECT_THAT(
        m_process.mf_trace([this] {
            m_transaction.mf_abortTransaction(ICErrno::_W_::UserCanceled);
            m_transaction.mf_rollbackTransaction();
        }),
        ElementsAre(f_isRecord('T', ABORT,
                               f_logged("Transaction 'test' aborted, reason:\n", ICErrno(ICErrno::_W_::UserCanceled)) +
                                   "\nLast step: index=-1, id=BEFORE FIRST STEP, state=0"),
                    f_isRecord('I', ROLLBACK, "Successfully rolled-back transaction 'test'")));
}

// The record's own text, without originator; and the line is the same for one that owes a line to the administrator.
TEST_F(ICTransactionTrace, Abort_ShowsTheNumberAndTextOfTheReason)
{
    m_transaction.mf_startTransaction();
    ICErrno const failure(ICErrno::_E_::FileWrite, ERROR_DISK_FULL);
    ICErrnoData reason;
    reason = failure.mf_getErrnoData();
    reason.mf_setAdminLogFlag(1);
    EXPECT_THAT(
        m_process.mf_trace([&] { m_transaction.mf_abortTransaction(reason); }),
        ElementsAre(f_isRecord('T', ABORT,
                               f_logged("Transaction 'test' aborted, reason:\n", ICErrno(ICErrno::_E_::FileWrite)) +
                                   "\nLast step: index=-1, id=BEFORE FIRST STEP, state=0")));
    m_transaction.m_abortReason.mf_setAdminLogFlag(0);
}

TEST_F(ICTransactionTrace, CompleteStep_ShowsTheResultThatIsKept)
{
    m_transaction.mf_startTransaction();
    m_transaction.mf_implStartTransactionStep(1);
    EXPECT_THAT(
        m_process.mf_trace([this] { m_transaction.mf_implCompleteTransactionStep(1, ICErrno::_E_::FileWrite); }),
        ElementsAre(f_isRecord(
            'D', COMPLETE_STEP,
            f_logged("Transaction step id=0x00000001 (step 1) completed, errno=", ICErrno(ICErrno::_E_::FileWrite)))));
    m_transaction.mf_implStartTransactionStep(2);
    EXPECT_THAT(m_process.mf_trace([this] { m_transaction.mf_implCompleteTransactionStep(2, ICErrnoData()); }),
                ElementsAre(f_isRecord(
                    'D', COMPLETE_STEP,
                    f_logged("Transaction step id=0x00000002 (step 2) completed, errno=", ICErrno(ICErrno::_I_::Ok)))));
}

TEST_F(ICTransactionTrace, PercentSignsOfDescriptions_AreShownAsTheyAre)
{
    ICTestTransaction transaction;
    EXPECT_THAT(m_process.mf_trace([&] {
        transaction.mf_implSetDescription(L"100% %s %n");
        transaction.mf_implAddTransactionStep(1, L"50% %d %s");
        transaction.mf_startTransaction();
        transaction.mf_implStartTransactionStep(1);
    }),
                ElementsAre(f_isRecord('D', ADD, "Added transaction step 0: id=0x00000001 (50% %d %s)"),
                            f_isRecord('D', START, "Transaction '100% %s %n' started"),
                            f_isRecord('D', START_STEP, "Transaction step id=0x00000001 (50% %d %s) started")));
}

TEST_F(ICTransactionTrace, Reset_LeavesNoLine)
{
    m_transaction.mf_abortIn({1});
    EXPECT_THAT(m_process.mf_trace([this] { m_transaction.mf_resetTransaction(); }), IsEmpty());
}

// Nothing is done, and said so.

TEST_F(ICTransactionTrace, BeforeTheStart_AbortAndRollbackSayThatThereIsNothing)
{
    EXPECT_THAT(
        m_process.mf_trace([this] {
            m_transaction.mf_abortTransaction(ICErrno::_E_::FileWrite);
            m_transaction.mf_rollbackTransaction();
        }),
        ElementsAre(f_isRecord('T', ABORT, "Transaction was not yet started, no transaction abortion possible"),
                    f_isRecord('T', ROLLBACK, "Transaction was not yet started, no transaction rollback possible")));
}

TEST_F(ICTransactionTrace, StepsOfAnAbortedTransaction_SayThatTheyArePassedOver)
{
    m_transaction.mf_abortIn({1});
    EXPECT_THAT(
        m_process.mf_trace([this] {
            m_transaction.mf_implStartTransactionStep(2);
            m_transaction.mf_implSkipTransactionStep(2);
            m_transaction.mf_implCompleteTransactionStep(0x99, ICErrno::_I_::Ok);
        }),
        ElementsAre(
            f_isRecord('D', START_STEP,
                       "Transaction 'test' already aborted\nSkipping starting step start with id=0x00000002"),
            f_isRecord('D', SKIP_STEP, "Transaction 'test' already aborted\nSkipping step start with id=0x00000002"),
            f_isRecord('D', COMPLETE_STEP,
                       "Transaction 'test' already aborted\nSkipping step completion with id=0x00000099")));
}

// Failures.

TEST_F(ICTransactionTrace, AddStep_AfterTheStart_Fails)
{
    m_transaction.mf_startTransaction();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_implAddTransactionStep(4, L""); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', ADD, "Transaction state already set, state=1"));
}

TEST_F(ICTransactionTrace, AddStep_WithoutMemory_Fails)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    ICTracedAction const outcome = m_process.mf_run([this] { m_transaction.mf_implAddTransactionStep(4, L""); });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Memory, 'E', ADD, "No memory for transaction step"));
    EXPECT_EQ(1u, noMemory.mf_getAnswered());
    EXPECT_EQ(3, m_transaction.m_steps.GetCount());
}

TEST_F(ICTransactionTrace, Start_Twice_Fails)
{
    m_transaction.mf_startTransaction();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_startTransaction(); }),
                f_fails(ICErrno::_E_::Internal, 'E', START, "Transaction state is not STATE_NONE, state=1"));
}

TEST_F(ICTransactionTrace, NextStep_OfATransactionThatIsNotRunning_Fails)
{
    mf_expectRefused(1, 'E', "Transaction state is not STATE_TRANSACTION, state=0");
    mf_completeAll();
    mf_expectRefused(1, 'E', "Transaction state is not STATE_TRANSACTION, state=2");
}

TEST_F(ICTransactionTrace, NextStep_WhileOneIsInProgress_FailsWithAWarning)
{
    m_transaction.mf_startTransaction();
    m_transaction.mf_implStartTransactionStep(1);
    mf_expectRefused(2, 'W', "State 1 of current transaction step id=0x00000001 (step 1) is not 'STATE_COMPLETED' (2)");
}

TEST_F(ICTransactionTrace, NextStep_BehindTheLast_Fails)
{
    m_transaction.mf_startTransaction();
    for (ulong const id : {1ul, 2ul, 3ul})
        m_transaction.mf_pass(id);
    mf_expectRefused(4, 'E', "Next transaction step with index=3 has not been defined");
}

TEST_F(ICTransactionTrace, NextStep_WithAnotherIdentifier_Fails)
{
    m_transaction.mf_startTransaction();
    m_transaction.mf_pass(1);
    mf_expectRefused(0x33, 'E', "Next transaction step has id=0x00000002, expected id=0x00000033");
}

TEST_F(ICTransactionTrace, CompleteStep_OfATransactionThatIsNotRunning_Fails)
{
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_implCompleteTransactionStep(1, ICErrno::_I_::Ok); }),
                f_fails(ICErrno::_E_::Internal, 'E', COMPLETE_STEP,
                        "Unexpected transaction state 0 at step index=-1, id=0x00000001"));
    mf_completeAll();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_implCompleteTransactionStep(0x22, ICErrno::_I_::Ok); }),
                f_fails(ICErrno::_E_::Internal, 'E', COMPLETE_STEP,
                        "Unexpected transaction state 2 at step index=2, id=0x00000022"));
}

TEST_F(ICTransactionTrace, CompleteStep_BeforeTheFirst_Fails)
{
    m_transaction.mf_startTransaction();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_implCompleteTransactionStep(1, ICErrno::_I_::Ok); }),
                f_fails(ICErrno::_E_::Internal, 'E', COMPLETE_STEP,
                        "Current transaction step has index=-1 (first step was not started)"));
}

TEST_F(ICTransactionTrace, CompleteStep_WithAnotherIdentifier_Fails)
{
    m_transaction.mf_startTransaction();
    m_transaction.mf_pass(1);
    m_transaction.mf_implStartTransactionStep(2);
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_implCompleteTransactionStep(3, ICErrno::_I_::Ok); }),
                f_fails(ICErrno::_E_::Internal, 'E', COMPLETE_STEP,
                        "Current transaction step is id=0x00000002, index=1, expected id=0x00000003"));
}

TEST_F(ICTransactionTrace, CompleteStep_ThatIsNotInProgress_Fails)
{
    m_transaction.mf_startTransaction();
    m_transaction.mf_implSkipTransactionStep(1);
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_implCompleteTransactionStep(1, ICErrno::_I_::Ok); }),
                f_fails(ICErrno::_E_::Transaction, 'E', COMPLETE_STEP,
                        "Transaction step id=0x00000001 (step 1) has not been started"));
}

TEST_F(ICTransactionTrace, Complete_OfATransactionThatIsNotRunning_Fails)
{
    m_transaction.mf_abortIn({1});
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_completeTransaction(); }),
                f_fails(ICErrno::_E_::Internal, 'E', COMPLETE, "Transaction state is not STATE_TRANSACTION, state=3"));
}

TEST_F(ICTransactionTrace, Complete_BeforeTheLastStep_Fails)
{
    m_transaction.mf_startTransaction();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_completeTransaction(); }),
                f_fails(ICErrno::_E_::Transaction, 'E', COMPLETE,
                        "Transaction step with index=-1 is not last step with index=2"));
}

TEST_F(ICTransactionTrace, Complete_WhileTheLastStepIsInProgress_Fails)
{
    m_transaction.mf_startTransaction();
    m_transaction.mf_pass(1);
    m_transaction.mf_pass(2);
    m_transaction.mf_implStartTransactionStep(3);
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_completeTransaction(); }),
                f_fails(ICErrno::_E_::Transaction, 'E', COMPLETE,
                        "State of current transaction step 'id=0x00000003 (step 3)' is 1, but should be\n"
                        "STATE_COMPLETED (2) or STATE_SKIPPED (3)"));
}

TEST_F(ICTransactionTrace, Abort_Twice_Fails)
{
    m_transaction.mf_abortIn({1});
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_abortTransaction(ICErrno::_E_::FileWrite); }),
                f_fails(ICErrno::_E_::Internal, 'E', ABORT, "Transaction state is not STATE_TRANSACTION, state=3"));
}

TEST_F(ICTransactionTrace, Abort_OfACompletedTransaction_Fails)
{
    mf_completeAll();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_abortTransaction(ICErrno::_E_::FileWrite); }),
                f_fails(ICErrno::_E_::Internal, 'E', ABORT, "Transaction state is not STATE_TRANSACTION, state=2"));
}

TEST_F(ICTransactionTrace, Rollback_OfATransactionThatIsNotAborted_Fails)
{
    m_transaction.mf_startTransaction();
    EXPECT_THAT(m_process.mf_run([this] { m_transaction.mf_rollbackTransaction(); }),
                f_fails(ICErrno::_E_::Internal, 'E', ROLLBACK, "Transaction state is not STATE_ABORTED, state=1"));
}
