#include "programs/hsmscan/ICScanQueue.h"

#include "programs/hsmscan/ICExclusiveLock.h"

ICScanQueue::~ICScanQueue()
{
    m_directories.mf_clearList(1);
    m_mountPoints.mf_clearList(1);
}

void ICScanQueue::mf_add(std::unique_ptr<ICScanPlace> directory)
{
    ICExclusiveLock const lock(m_lock);
    m_directories.mf_insertHead(*directory.release());
    ::WakeAllConditionVariable(&m_hasChanged);
}

std::unique_ptr<ICScanPlace> ICScanQueue::mf_take()
{
    ICExclusiveLock const lock(m_lock);
    while (!m_isStopped && m_directories.mf_isEmpty() && m_taken > 0)
        ::SleepConditionVariableSRW(&m_hasChanged, &m_lock, INFINITE, 0);
    if (m_isStopped || m_directories.mf_isEmpty()) return nullptr;
    ++m_taken;
    return std::unique_ptr<ICScanPlace>(static_cast<ICScanPlace *>(m_directories.mf_removeTail()));
}

void ICScanQueue::mf_finish(ICLinkedList & directories, ICLinkedList & mountPoints)
{
    ICExclusiveLock const lock(m_lock);
    mf_implMove(directories, m_directories);
    mf_implMove(mountPoints, m_mountPoints);
    --m_taken;
    ::WakeAllConditionVariable(&m_hasChanged); // They go on when the lock is free.
    if (m_taken == 0 && m_directories.mf_isEmpty() && !m_mountPoints.mf_isEmpty())
        m_enter(m_mountPoints, m_directories);
}

void ICScanQueue::mf_stop()
{
    ICExclusiveLock const lock(m_lock);
    m_isStopped = true;
    ::WakeAllConditionVariable(&m_hasChanged);
}

void ICScanQueue::mf_implMove(ICLinkedList & source, ICLinkedList & target)
{
    while (ICLinkedListItem * const item = source.mf_removeHead())
        target.mf_insertTail(*item);
}
