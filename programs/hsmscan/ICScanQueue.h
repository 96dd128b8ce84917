#pragma once

#include <functional>
#include <memory>

#include "hsmbase/containers/ICLinkedList.h"
#include "hsmbase/paths/ICDirectoryEntries.h"

// A volume that a scan has come to.
struct ICScanVolume
{
    CString m_key; // the id path of a local one, the root of a share; empty where neither can be asked
    bool m_isLocal = false;
    ulong m_number = 0;           // within the scan
    ulong m_clusterSize = 1;      // bytes
    ULONG64 m_fileIdMask = ~0ULL; // the part of a file's id that tells it from all others
};

// A directory that was found and not yet read, or one at which a volume is mounted.
struct ICScanPlace : public ICLinkedListItem
{
    ICScanPlace(CString const & directory, ICScanVolume const & volume, ICScanVolume const & origin)
        : m_directory(directory), m_volume(volume), m_origin(origin)
    {}

    CString const m_directory; // with a backslash at its end
    ICScanVolume const & m_volume;
    ICScanVolume const & m_origin;                 // that of the path from which the scan came here
    std::unique_ptr<ICDirectoryEntries> m_entries; // NULL: not opened yet
};

// The directories that wait for the threads of a scan, the last found first, so that few wait at a time.
//
// Mount points wait apart until all else is read. Then they are looked at together: where a volume is mounted more than
// once, the same one of its mount points is entered whatever thread came upon which first.
//
// Threads: any.
class ICScanQueue
{
public:
    // Moves from the mount points to the directories what is to be entered. It runs on the thread that read the last
    // directory, while all others wait.
    using ENTER = std::function<void(ICLinkedList & mountPoints, ICLinkedList & directories)>;

    explicit ICScanQueue(ENTER enter) : m_enter(std::move(enter)) {}
    ~ICScanQueue();
    ICScanQueue(ICScanQueue const &) = delete;
    ICScanQueue & operator=(ICScanQueue const &) = delete;

    // From the path that was given first, if all are added ahead of the threads.
    void mf_add(std::unique_ptr<ICScanPlace> directory);

    // A directory to be read; waits while there may be one. NULL: all are read, or the queue was stopped.
    std::unique_ptr<ICScanPlace> mf_take();

    // To be called for each that was taken, with all that was found in it; takes it over.
    void mf_finish(ICLinkedList & directories, ICLinkedList & mountPoints);

    // Nobody gets any more, and nobody waits.
    void mf_stop();

private:
    static void mf_implMove(ICLinkedList & source, ICLinkedList & target);

    ENTER const m_enter;
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_hasChanged = CONDITION_VARIABLE_INIT;
    ICLinkedList m_directories; // owned
    ICLinkedList m_mountPoints; // owned
    int m_taken = 0;            // and not finished
    bool m_isStopped = false;
};
