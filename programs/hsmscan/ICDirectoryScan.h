#pragma once

#include <memory>
#include <vector>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/threads/ICCancelSwitch.h"
#include "programs/hsmscan/ICScanCounts.h"
#include "programs/hsmscan/ICScanFailures.h"
#include "programs/hsmscan/ICScanQueue.h"
#include "programs/hsmscan/ICVisitedFiles.h"

class ICScanTotals;

// Walks directories and all below them, on a number of threads. No file is opened, and no link is entered: looking must
// not bring data back, and what lies behind a link is counted where it is. A volume that is mounted at a directory is
// entered, once in all: not where it is among the paths given, and not from within itself.
//
// What is reached more than once, such as a directory below two of the paths, or a file by two of its names, counts
// once where the file system numbers its files. The result is the same whatever the number of threads.
class ICDirectoryScan
{
public:
    // Who is told, one thing at a time: of each path ahead of the walk, of failures as they happen, from any thread.
    struct LISTENER
    {
        void (*m_started)(CString const & path);
        void (*m_failed)(ICErrno const & failure); // the walk goes on behind it
    };

    // `threads` is 1 to 64.
    ICDirectoryScan(ICScanTotals & totals, LISTENER const & listener, int threads = 1);
    ICDirectoryScan(ICDirectoryScan const &) = delete;
    ICDirectoryScan & operator=(ICDirectoryScan const &) = delete;

    // Directories, which may be relative to the current one, drives such as "D:", and id paths of volumes. One that
    // names no directory is reported; what was walked by then is left out. To be called once.
    // Throws what ICThreads throws for threads that can't be had.
    void mf_scan(std::vector<CString> const & paths);

    // Ends the walk soon; the totals then hold what was found until then, and the worst outcome is at least the warning
    // UserCanceled. From any thread, also one without context, as that of a console's control handler.
    void mf_cancel();

    // The switch that mf_cancel uses, for further work that ends with this.
    ICCancelSwitch & mf_getCancelSwitch() { return m_cancelSwitch; }

    // Of all failures that were reported; 0x01000000 if there was none.
    ICErrnoNumber const & mf_getWorst() const { return m_failures.mf_getWorst(); }

    // To be looked at from any thread.
    ICScanCounts const & mf_getCounts() const { return m_counts; }

private:
    // What is known of the place of a directory.
    struct PLACE
    {
        ICScanVolume & m_volume;
        bool m_isWhole; // the directory is the volume's root
    };

    static CString mf_implFindDirectory(CString const & path);
    PLACE mf_implFindPlace(CString const & directory);
    ICScanVolume & mf_implFindVolume(wchar_t const * key);
    void mf_implReserveVolume(CString const & path);
    void mf_implAddRoot(CString const & path);
    void mf_implEnterVolumes(ICLinkedList & mountPoints, ICLinkedList & directories);
    bool mf_implIsToBeEntered(PLACE const & target, ICScanPlace const & mountPoint) const;
    std::unique_ptr<ICScanPlace> mf_implOpen(CString const & directory, ICScanVolume const & volume,
                                             ICScanVolume const & origin);

    ICScanTotals & m_totals;
    LISTENER const m_listener;
    int const m_threads;
    ICCancelSwitch m_cancelSwitch;
    ICScanFailures m_failures;
    ICScanCounts m_counts;
    ICVisitedFiles m_visited;
    std::vector<std::unique_ptr<ICScanVolume>> m_volumes;
    std::vector<ICScanVolume const *> m_reserved; // that are given as a whole
    std::vector<ICScanVolume const *> m_entered;  // that were walked from their root
    ICScanQueue m_queue;
};
