#include "tests/support/ICLeakListener.h"

#include <memory>

void ICLeakListener::mf_install()
{
    testing::UnitTest::GetInstance()->listeners().Append(new ICLeakListener);
}

void ICLeakListener::OnTestStart(testing::TestInfo const &)
{
    mf_implOpen();
}

void ICLeakListener::OnTestEnd(testing::TestInfo const & test)
{
    for (int run = 1; test.result()->Passed() && !mf_implIsBalanced(test); ++run) {
        if (run == RUNS) {
            ADD_FAILURE() << "each of " << RUNS << " runs leaves something behind; the last one:\n"
                          << m_account->mf_describe();
            break;
        }
        mf_implOpen();
        mf_implRunAgain(test);
    }
    m_account.reset();
}

void ICLeakListener::mf_implOpen()
{
    ICLeakAccount::s_excuses = {};
    m_account.emplace();
}

bool ICLeakListener::mf_implIsBalanced(testing::TestInfo const & test)
{
    // What SUCCEED() has put down lies in the heap too; nobody reads it.
    const_cast<testing::TestResult *>(test.result())->ClearTestPartResults();
    return m_account->mf_isBalanced() || m_account->mf_implIsWithin(ICLeakAccount::s_excuses);
}

void ICLeakListener::mf_implRunAgain(testing::TestInfo const & test)
{
    std::unique_ptr<testing::Test> const again(test.factory_->CreateTest());
    again->Run();
}
