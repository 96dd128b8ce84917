#include <array>
#include <random>

#include "tests/support/PlatformFailure.h"
#include "tests/transactions/TransactionTest.h"

// Sequences of operations in any order, sensible or not, beside a plain model of the rules.

namespace
{
constexpr int MOST_STEPS = 4;
constexpr ulong MOST_IDS = 3; // so that some steps have the same

constexpr ulong NOTHING = 0;
constexpr ulong INVALID_ARGUMENT = static_cast<ulong>(E_INVALIDARG); // the class library's exception
ulong const ALREADY_INITIALIZED = ICErrno::_E_::AlreadyInitialized.mf_getNumber();
ulong const INTERNAL = ICErrno::_E_::Internal.mf_getNumber();
ulong const TRANSACTION = ICErrno::_E_::Transaction.mf_getNumber();
ulong const OK = ICErrno::_I_::Ok.mf_getNumber();

struct OPERATION
{
    enum KIND
    {
        ADD,
        START,
        START_STEP,
        COMPLETE_STEP,
        SKIP_STEP,
        COMPLETE,
        ABORT,
        ROLLBACK,
        RESET,
        KINDS
    };

    KIND kind;
    ulong id;           // of the step; with ROLLBACK a bit for each identifier whose undo fails
    ICErrnoValue value; // the result or the reason
};

// What can be seen of a transaction.
struct PICTURE
{
    struct STEP
    {
        ulong id;
        ulong state;
        ulong result;
        bool operator==(STEP const &) const = default;
    };

    ulong state = 0;
    int current = -1;
    ulong reason = 0;
    int count = 0;
    std::array<STEP, MOST_STEPS> steps = {};
    ulong undone = 0; // the identifiers as digits, in order
    bool operator==(PICTURE const &) const = default;

    friend std::ostream & operator<<(std::ostream & out, PICTURE const & picture)
    {
        out << "state " << picture.state << ", current " << picture.current << ", reason " << std::hex << picture.reason
            << ", undone " << picture.undone << std::dec;
        for (int index = 0; index < picture.count; ++index)
            out << ", [" << picture.steps[static_cast<std::size_t>(index)].id << ": "
                << picture.steps[static_cast<std::size_t>(index)].state << ", "
                << picture.steps[static_cast<std::size_t>(index)].result << "]";
        return out;
    }
};

class ICModel
{
public:
    // Answers what is thrown.
    ulong mf_do(OPERATION const & operation)
    {
        switch (operation.kind) {
        case OPERATION::ADD: return mf_add(operation.id);
        case OPERATION::START: return mf_start();
        case OPERATION::START_STEP: return mf_next(operation.id, 1);
        case OPERATION::COMPLETE_STEP: return mf_completeStep(operation.id, operation.value.mf_getNumber());
        case OPERATION::SKIP_STEP: return mf_next(operation.id, 3);
        case OPERATION::COMPLETE: return mf_complete();
        case OPERATION::ABORT: return mf_abort(operation.value.mf_getNumber());
        case OPERATION::ROLLBACK: return mf_rollback(operation.id);
        default: return mf_reset();
        }
    }

    PICTURE m_now;

private:
    PICTURE::STEP & mf_at(int index) { return m_now.steps[static_cast<std::size_t>(index)]; }
    bool mf_isDone(int index) { return mf_at(index).state == 2 || mf_at(index).state == 3; }

    ulong mf_add(ulong id)
    {
        if (m_now.state != 0) return ALREADY_INITIALIZED;
        mf_at(m_now.count++) = {id, 0, 0};
        return NOTHING;
    }

    ulong mf_start()
    {
        if (m_now.state != 0) return INTERNAL;
        m_now.state = 1;
        return NOTHING;
    }

    ulong mf_next(ulong id, ulong newState)
    {
        if (m_now.state == 3) return NOTHING;
        if (m_now.state != 1) return INTERNAL;
        if (m_now.current >= 0 && !mf_isDone(m_now.current)) return INTERNAL;
        if (m_now.current + 1 == m_now.count || mf_at(m_now.current + 1).id != id) return INTERNAL;
        mf_at(++m_now.current).state = newState;
        return NOTHING;
    }

    ulong mf_completeStep(ulong id, ulong result)
    {
        if (m_now.state == 3) return NOTHING;
        if (m_now.state != 1 || m_now.current < 0 || mf_at(m_now.current).id != id) return INTERNAL;
        if (mf_at(m_now.current).state != 1) return TRANSACTION;
        mf_at(m_now.current).state = 2;
        mf_at(m_now.current).result = result != 0 ? result : OK;
        return NOTHING;
    }

    ulong mf_complete()
    {
        if (m_now.state != 1) return INTERNAL;
        if (m_now.count == 0) return INVALID_ARGUMENT;
        if (m_now.current + 1 != m_now.count || !mf_isDone(m_now.current)) return TRANSACTION;
        m_now.state = 2;
        return NOTHING;
    }

    ulong mf_abort(ulong reason)
    {
        if (m_now.state == 0) return NOTHING;
        if (m_now.state != 1) return INTERNAL;
        m_now.state = 3;
        m_now.reason = reason;
        return NOTHING;
    }

    ulong mf_rollback(ulong failing)
    {
        if (m_now.state == 0) return NOTHING;
        if (m_now.state != 3) return INTERNAL;
        for (int index = m_now.current; index >= 0; --index) {
            if (mf_at(index).state == 4) continue;
            m_now.undone = 16 * m_now.undone + mf_at(index).id;
            if ((failing >> mf_at(index).id & 1) == 0) mf_at(index).state = 4;
        }
        return NOTHING;
    }

    ulong mf_reset()
    {
        for (PICTURE::STEP & step : m_now.steps)
            step.state = 0;
        m_now.state = 0;
        m_now.current = -1;
        m_now.reason = 0;
        return NOTHING;
    }
};

class ICRandomTransaction : public ICTransaction
{
public:
    ICRandomTransaction() : ICTransaction(1) {}
    void mf_executeTransaction() override {}

    void mf_implRollbackStep(ulong id) override
    {
        m_undone = 16 * m_undone + id;
        if ((m_failing >> id & 1) != 0) throw ICErrno(ICErrno::_E_::FileAccess);
    }

    void mf_do(OPERATION const & operation)
    {
        switch (operation.kind) {
        case OPERATION::ADD: return mf_implAddTransactionStep(operation.id, CString());
        case OPERATION::START: return mf_startTransaction();
        case OPERATION::START_STEP: return mf_implStartTransactionStep(operation.id);
        case OPERATION::COMPLETE_STEP: return mf_implCompleteTransactionStep(operation.id, operation.value);
        case OPERATION::SKIP_STEP: return mf_implSkipTransactionStep(operation.id);
        case OPERATION::COMPLETE: return mf_completeTransaction();
        case OPERATION::ABORT: return mf_abortTransaction(operation.value);
        case OPERATION::ROLLBACK: m_failing = operation.id; return mf_rollbackTransaction();
        default: return mf_resetTransaction();
        }
    }

    PICTURE mf_getPicture() const
    {
        PICTURE picture = {m_state, m_current, m_abortReason.mf_getNumber(), static_cast<int>(m_steps.GetCount()),
                           {},      m_undone};
        for (int index = 0; index < picture.count; ++index) {
            ICTransactionStep const & step = *m_steps[index];
            picture.steps[static_cast<std::size_t>(index)] = {step.mf_getId(), step.mf_getState(),
                                                              step.mf_getResult().mf_getNumber()};
        }
        return picture;
    }

private:
    ulong m_failing = 0;
    ulong m_undone = 0;
};

ulong f_thrownBy(ICRandomTransaction & transaction, OPERATION const & operation)
{
    try {
        return static_cast<ulong>(f_platformFailure([&] { transaction.mf_do(operation); }));
    }
    catch (ICErrno & failure) {
        return static_cast<ulong>(failure.mf_getNumber());
    }
}

// Mostly what a run does next, or else anything at all.
class ICChooser
{
public:
    explicit ICChooser(ulong seed) : m_random(seed) {}

    OPERATION mf_choose(PICTURE const & now)
    {
        OPERATION operation = {static_cast<OPERATION::KIND>(mf_upTo(OPERATION::KINDS)), 1 + mf_upTo(MOST_IDS),
                               mf_upTo(2) != 0 ? ICErrnoValue(0, 0) : ICErrno::_E_::FileWrite};
        if (mf_upTo(6) != 0) mf_makeSensible(operation, now);
        if (operation.kind == OPERATION::ROLLBACK) operation.id = mf_upTo(2) != 0 ? 0 : mf_upTo(16);
        if (operation.kind == OPERATION::ADD && now.count == MOST_STEPS) operation.kind = OPERATION::START;
        return operation;
    }

private:
    ulong mf_upTo(ulong limit) { return static_cast<ulong>(m_random()) % limit; }

    void mf_makeSensible(OPERATION & operation, PICTURE const & now)
    {
        if (now.state == 0) {
            operation.kind = mf_upTo(3) != 0 ? OPERATION::ADD : OPERATION::START;
        } else if (now.state == 1) {
            bool const isBusy = now.current >= 0 && now.steps[static_cast<std::size_t>(now.current)].state == 1;
            int const index = isBusy ? now.current : now.current + 1;
            operation.kind = mf_upTo(8) == 0      ? OPERATION::ABORT
                             : isBusy             ? OPERATION::COMPLETE_STEP
                             : index == now.count ? OPERATION::COMPLETE
                             : mf_upTo(4) != 0    ? OPERATION::START_STEP
                                                  : OPERATION::SKIP_STEP;
            if (index < now.count) operation.id = now.steps[static_cast<std::size_t>(index)].id;
        } else {
            operation.kind = mf_upTo(8) == 0                     ? OPERATION::ABORT
                             : now.state == 3 && mf_upTo(3) != 0 ? OPERATION::ROLLBACK
                                                                 : OPERATION::RESET;
        }
    }

    std::mt19937 m_random;
};
} // namespace

class ICTransactionRandom : public testing::TestWithParam<ulong>
{};

// A million sequences in all.
TEST_P(ICTransactionRandom, AnySequenceOfOperations_GoesByTheRules)
{
    constexpr int SEQUENCES = 250000;
    ICChooser chooser(GetParam());
    int seen[OPERATION::KINDS][2] = {};
    for (int sequence = 0; sequence < SEQUENCES; ++sequence) {
        ICRandomTransaction transaction;
        ICModel model;
        // Most are short, as mistakes are; some go through several runs.
        int const length = sequence % 32 == 0 ? 40 : 1 + sequence % 6;
        for (int done = 0; done < length; ++done) {
            OPERATION const operation = chooser.mf_choose(model.m_now);
            ulong const expected = model.mf_do(operation);
            ASSERT_EQ(expected, f_thrownBy(transaction, operation))
                << "sequence " << sequence << ", operation " << done << " is of kind " << operation.kind;
            ASSERT_EQ(model.m_now, transaction.mf_getPicture())
                << "sequence " << sequence << ", operation " << done << " is of kind " << operation.kind;
            ++seen[operation.kind][expected != NOTHING];
        }
    }
    for (int kind = 0; kind < OPERATION::KINDS; ++kind) {
        EXPECT_GT(seen[kind][0], SEQUENCES / 100) << "operations of kind " << kind << " that succeeded";
        EXPECT_EQ(kind != OPERATION::RESET, seen[kind][1] > SEQUENCES / 100) << "kind " << kind << " that failed";
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ICTransactionRandom, testing::Values(1ul, 2ul, 3ul, 4ul));
