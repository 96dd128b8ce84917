#pragma once

#include "tests/support/internal/ICLeakSnapshot.h"

#include <string>

// An account of what the process holds: open handles, busy heap blocks (of every heap, the run-time library's included)
// and threads. It is opened by the constructor and compared with the present state on demand.
//
//     ICLeakAccount account;
//     f_doSomethingForTheSecondTime();
//     EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
//
// Every test is held to such an account without a line of its own (see ICLeakListener). What legitimately stays behind
// each time it runs is said in the test:
//
//     ICLeakAccount::mf_excuse("the library keeps its thread slot", 1, 2);
//
// Only growth counts: what ended meanwhile may be a worker of the platform. One-time caches of the platform and of the
// run-time library count as growth, so an account of one's own is opened after a first round.
//
// Threads: an object belongs to one thread. Other threads must be at rest while it is opened and compared.
class ICLeakAccount
{
public:
    ICLeakAccount() : m_before(ICLeakSnapshot::mf_take()) {}

    // Looks anew each time.
    bool mf_isBalanced();

    // What has come in addition, as of the last look: handles with their types, blocks with their first bytes.
    std::string mf_describe() const;

    // Growth as of the last look; negative if there is less than before.
    long mf_getHandles() const { return mf_implGrowth(m_before.m_handles, m_after.m_handles); }
    long mf_getBlocks() const { return mf_implGrowth(m_before.m_blocks, m_after.m_blocks); }
    long mf_getThreads() const { return mf_implGrowth(m_before.m_threads, m_after.m_threads); }

    // Lets the running test end with so much more. The reason is for the reader.
    static void mf_excuse(char const * reason, long handles, long blocks, long threads = 0);

private:
    friend class ICLeakListener;

    struct EXCUSES
    {
        long m_handles;
        long m_blocks;
        long m_threads;
    };

    static long mf_implGrowth(ICLeakItems const & before, ICLeakItems const & after);
    bool mf_implIsWithin(EXCUSES const & excuses) const;

    static EXCUSES s_excuses; // Of the running test.

    ICLeakSnapshot m_before;
    ICLeakSnapshot m_after;
};
