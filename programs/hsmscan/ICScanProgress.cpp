#include "programs/hsmscan/ICScanProgress.h"

#include "hsmbase/context/ICString.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/text/ICNumberFormatter.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICScanCounts.h"

static CString f_show(long long number)
{
    return ICNumberFormatter::mf_formatNumber(ICFileSize(number));
}

ICScanProgress::ICScanProgress(ICScanCounts const & counts, SHOW show, ulong period)
    : ICTimerThread(L"Progress", ICThreadContext::TYPE_TIMER), m_counts(counts), m_show(show),
      m_start(::GetTickCount64())
{
    try {
        mf_start(period, 1, INFINITE);
    }
    catch (ICErrno &) {
        // A scan without a status is better than none.
    }
}

ICScanProgress::~ICScanProgress()
{
    try {
        if (mf_isRunning()) mf_stop();
    }
    catch (ICErrno &) {
        // It has left its trace.
    }
    m_show(CString());
}

CString ICScanProgress::mf_format(ICScanCounts const & counts, ULONG64 milliseconds)
{
    constexpr ULONG64 SECOND = 1000;
    ULONG64 const seconds = milliseconds / SECOND;
    long long const files = counts.m_files;
    long long const rate = milliseconds > 0 ? files * 1000 / static_cast<long long>(milliseconds) : 0;
    CString elapsed;
    elapsed.Format(L"%llu:%02llu:%02llu", seconds / 3600, seconds / 60 % 60, seconds % 60);
    CString const shown[] = {f_show(files), f_show(counts.m_directories), f_show(counts.m_bytes), f_show(rate)};
    return ICString(IDS_HSMSCAN_PROGRESS, shown[0].GetString(), shown[1].GetString(), shown[2].GetString(),
                    shown[3].GetString(), elapsed.GetString());
}

void ICScanProgress::mf_implExecuteTimer()
{
    m_show(mf_format(m_counts, ::GetTickCount64() - m_start));
}
