#pragma once

#include <memory>
#include <vector>

#include "hsmbase/threads/ICThreads.h"
#include "programs/hsmscan/ICScanTotals.h"

class ICScanFailures;
class ICScanQueue;
class ICVisitedFiles;
struct ICScanCounts;
struct ICScanPlace;

// The threads of a scan: each takes a directory from the queue, reads it, and adds what it found there. They end by
// themselves when all is read, and by the cancel switch.
//
// A directory that can't be read is a failure that the scan reports; the thread goes on.
class ICScanWorkers : public ICThreads
{
public:
    // What the threads work on together.
    struct SHARED
    {
        ICScanQueue & m_queue;
        ICVisitedFiles & m_visited;
        ICScanFailures & m_failures;
        ICScanCounts & m_counts;
    };

    // `rules` are those by which each thread counts. Throws what ICThreads throws.
    ICScanWorkers(int threads, SHARED const & shared, ICScanTotals const & rules);
    ~ICScanWorkers() override;

    // Starts the threads and waits for their end. Answers the first outcome of the worst severity: the warning
    // UserCanceled for a scan that was canceled. Throws what starting and waiting throw; no thread works then.
    ICErrnoNumber mf_run();

    // Adds what all threads have found. To be called behind mf_run.
    void mf_collect(ICScanTotals & totals) const;

private:
    struct WORKER;

    void mf_implExecuteOnStart(int index) override;
    void mf_implExecute(int index) override;

    void mf_implRead(ICScanPlace & place, WORKER & worker);
    void mf_implLookAhead(ICScanPlace const & place, WORKER & worker);
    static void mf_implAddDirectory(WIN32_FIND_DATAW const & entry, ICScanPlace const & place, WORKER & worker);
    void mf_implPublish(WORKER & worker) const;
    void mf_implJoin(int threads);

    SHARED const m_shared;
    std::vector<std::unique_ptr<WORKER>> m_workers;
    SRWLOCK m_lock = SRWLOCK_INIT; // of the number below
    CONDITION_VARIABLE m_hasStarted = CONDITION_VARIABLE_INIT;
    int m_started = 0; // threads that have begun
};
