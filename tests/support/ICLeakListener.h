#pragma once

#include "tests/support/ICLeakAccount.h"

#include <gtest/gtest.h>

#include <optional>

// Holds every test to a leak account, from before its fixture is built until after it is destroyed. Installed by
// main(); tests say nothing.
//
// First runs fill one-time caches: of the platform, of the run-time library, of the test framework. So a test that ends
// with more than it began is run again, and fails only if each of RUNS runs leaves something behind. A leak does, a
// cache does not. Tests must therefore be repeatable. A test that has failed or skipped is not judged: its messages
// stay in the heap.
class ICLeakListener : public testing::EmptyTestEventListener
{
public:
    static constexpr int RUNS = 3;

    // Last in the list of listeners: nearest to the test. The framework owns it from then on.
    static void mf_install();

    void OnTestStart(testing::TestInfo const & test) override;
    void OnTestEnd(testing::TestInfo const & test) override;

private:
    void mf_implOpen();
    bool mf_implIsBalanced(testing::TestInfo const & test);
    static void mf_implRunAgain(testing::TestInfo const & test);

    std::optional<ICLeakAccount> m_account;
};
