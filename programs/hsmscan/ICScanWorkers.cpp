#include "programs/hsmscan/ICScanWorkers.h"

#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/system/internal/ICKernelHandle.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/FaultPoints.h"
#include "programs/hsmscan/ICExclusiveLock.h"
#include "programs/hsmscan/ICScanCounts.h"
#include "programs/hsmscan/ICScanFailures.h"
#include "programs/hsmscan/ICScanQueue.h"

// What one thread works with.
struct ICScanWorkers::WORKER
{
    explicit WORKER(ICScanTotals const & rules)
        : m_totals(ICScanTotals::mf_makeEmpty(rules)), m_published(ICScanTotals::mf_makeEmpty(rules))
    {}
    WORKER(WORKER const &) = delete;
    WORKER & operator=(WORKER const &) = delete;

    ~WORKER()
    {
        m_directories.mf_clearList(1);
        m_mountPoints.mf_clearList(1);
    }

    ICKernelHandle m_thread;
    ICScanTotals m_totals;
    ICScanTotals m_published; // the part that the counts of all threads hold already

    // Of the directory that is being read.
    ICLinkedList m_directories; // found in it; owned
    ICLinkedList m_mountPoints;
    CArray<ULONG64, ULONG64> m_ids; // of the entries that were read ahead
    std::vector<bool> m_isFirst;    // for each of them: whether nobody has met it before
    std::size_t m_at = 0;           // the one that comes next
};

ICScanWorkers::ICScanWorkers(int threads, SHARED const & shared, ICScanTotals const & rules)
    : ICThreads(L"Scan", ICThreadContext::TYPE_FS_SCAN, threads), m_shared(shared)
{
    for (int index = 0; index < threads; ++index)
        m_workers.push_back(std::make_unique<WORKER>(rules));
}

ICScanWorkers::~ICScanWorkers() = default;

ICErrnoNumber ICScanWorkers::mf_run()
{
    int threads = 0;
    try {
        mf_start();
        threads = mf_getThreadCount();
        mf_startWait();
        return mf_stopWait(INFINITE);
    }
    catch (ICErrno &) {
        // The thread that could not be made counts as begun; those ahead of it run, and work for nobody.
        if (threads == 0)
            while (threads + 1 < mf_getThreadCount() && mf_getState(threads + 1) >= 0)
                ++threads;
        m_shared.m_queue.mf_stop();
        mf_implJoin(threads);
        throw;
    }
}

// Waits for the end of so many threads. The group can't be asked, since it waits for all of its threads or none.
void ICScanWorkers::mf_implJoin(int threads)
{
    {
        ICExclusiveLock const lock(m_lock);
        while (m_started < threads)
            ::SleepConditionVariableSRW(&m_hasStarted, &m_lock, INFINITE, 0);
    }
    for (auto const & worker : m_workers)
        if (worker->m_thread.mf_isOpen()) ::WaitForSingleObject(worker->m_thread.mf_get(), INFINITE);
}

void ICScanWorkers::mf_collect(ICScanTotals & totals) const
{
    for (auto const & worker : m_workers)
        totals.mf_add(worker->m_totals);
}

void ICScanWorkers::mf_implExecuteOnStart(int index)
{
    static wchar_t const _sFunction_[] = L"ICScanWorkers::mf_implExecuteOnStart";

    HANDLE & thread = *m_workers[static_cast<std::size_t>(index)]->m_thread.mf_receive();
    ::SetLastError(0);
    thread = ::OpenThread(SYNCHRONIZE, FALSE, ::GetCurrentThreadId());
    ulong const systemError = ::GetLastError();
    {
        ICExclusiveLock const lock(m_lock);
        ++m_started;
        ::WakeAllConditionVariable(&m_hasStarted);
    }
    if (thread == nullptr) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System, systemError);
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure opening the thread: %s", failure.mf_toString());
    }
}

void ICScanWorkers::mf_implExecute(int index)
{
    std::unique_ptr<ICScanPlace> const place = m_shared.m_queue.mf_take();
    if (place == nullptr) {
        mf_tryCancel();
        mf_stop();
        return;
    }
    WORKER & worker = *m_workers[static_cast<std::size_t>(index)];
    try {
        mf_implRead(*place, worker);
    }
    catch (ICErrno & failure) {
        if (failure.mf_isErrno(ICErrno::_W_::UserCanceled)) {
            m_shared.m_queue.mf_stop(); // or the others would wait for what this thread has taken
            throw;
        }
        worker.m_totals.mf_addUnreadable();
        m_shared.m_failures.mf_report(failure, L"KVR29001E", IDS_KVR29001_TEXT, place->m_directory);
    }
    mf_implPublish(worker);
    m_shared.m_queue.mf_finish(worker.m_directories, worker.m_mountPoints);
}

void ICScanWorkers::mf_implRead(ICScanPlace & place, WORKER & worker)
{
    worker.m_isFirst.clear();
    worker.m_at = 0;
    f_throwAt(OPEN_DIRECTORY);
    if (place.m_entries == nullptr) place.m_entries = std::make_unique<ICDirectoryEntries>(place.m_directory);
    ICDirectoryEntries & entries = *place.m_entries;
    while (entries.mf_next()) {
        if (worker.m_at == worker.m_isFirst.size()) mf_implLookAhead(place, worker);
        WIN32_FIND_DATAW const & entry = entries.mf_getEntry();
        ICFileNumber const number = {place.m_volume.m_number, worker.m_ids[static_cast<INT_PTR>(worker.m_at)]};
        if (worker.m_isFirst[worker.m_at++]) {
            worker.m_totals.mf_add(entry, place.m_directory, place.m_volume.m_clusterSize, number);
            if (ICPath::mf_isDirectory(entry.dwFileAttributes)) mf_implAddDirectory(entry, place, worker);
        } else {
            worker.m_totals.mf_addName(entry, place.m_directory, place.m_volume.m_clusterSize, number);
        }
    }
}

// A safe point. Entries come many at a time, and so they are looked up.
void ICScanWorkers::mf_implLookAhead(ICScanPlace const & place, WORKER & worker)
{
    mf_tryCancel();
    mf_implPublish(worker);
    place.m_entries->mf_getFileIdsAhead(worker.m_ids);
    for (INT_PTR index = 0; index < worker.m_ids.GetCount(); ++index)
        worker.m_ids[index] &= place.m_volume.m_fileIdMask;
    m_shared.m_visited.mf_visit(place.m_volume.m_number, worker.m_ids, worker.m_isFirst);
    worker.m_at = 0;
}

// A link is not entered. One to a directory has the same tag as a mount point, but no volume id.
void ICScanWorkers::mf_implAddDirectory(WIN32_FIND_DATAW const & entry, ICScanPlace const & place, WORKER & worker)
{
    bool const isLink = entry.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT;
    if (isLink && entry.dwReserved0 != IO_REPARSE_TAG_MOUNT_POINT) return;
    (isLink ? worker.m_mountPoints : worker.m_directories)
        .mf_insertTail(*new ICScanPlace(place.m_directory + entry.cFileName + L"\\", place.m_volume, place.m_origin));
}

void ICScanWorkers::mf_implPublish(WORKER & worker) const
{
    auto const publish = [&worker](std::atomic<long long> & count, long long ICScanTotals::*total) {
        count.fetch_add(worker.m_totals.*total - worker.m_published.*total, std::memory_order_relaxed);
        worker.m_published.*total = worker.m_totals.*total;
    };
    publish(m_shared.m_counts.m_files, &ICScanTotals::m_files);
    publish(m_shared.m_counts.m_directories, &ICScanTotals::m_directories);
    publish(m_shared.m_counts.m_bytes, &ICScanTotals::m_bytes);
}
