#pragma once

#include "hsmbase/threads/ICTimerThread.h"

struct ICScanCounts;

// Shows how far a scan has come, from time to time while the object lives.
//
//     ICScanProgress const progress(scan.mf_getCounts(), &ICConsole::mf_showStatus);
//
class ICScanProgress : public ICTimerThread
{
public:
    using SHOW = void (*)(CString const & status);

    // `show` is called on a thread of its own, at last with an empty text. A thread that can't be had leaves its trace
    // and shows nothing.
    ICScanProgress(ICScanCounts const & counts, SHOW show, ulong period = 250);
    ~ICScanProgress() override;

    // "1,234 files, 56 directories, 7,890 bytes, 617 files/s, 0:00:02".
    static CString mf_format(ICScanCounts const & counts, ULONG64 milliseconds);

private:
    void mf_implExecuteTimer() override;

    ICScanCounts const & m_counts;
    SHOW const m_show;
    ULONG64 const m_start; // milliseconds, of the system's clock
};
