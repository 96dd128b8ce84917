#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/logging/ICAdminLog.h"
#include "hsmbase/logging/internal/ICLogUpdate.h"
#include "hsmbase/paths/ICPath.h"

// A percent sign as an argument of a trace line.
static constexpr int PERCENT_SIGN = 37;

void ICAdminLog::mf_implRegisterFileSize(int write)
{
    ICLogBase::mf_implRegisterFileSize(L"AdminLogFileSize", L"AdminLogFilePercent", MIN_KBYTES, MAX_KBYTES, MIN_PERCENT,
                                       MAX_PERCENT, write);
}

// The log, if it is ready. Else NULL, and `note` goes where the log can still leave it.
ICAdminLog * ICAdminLog::mf_implFindReady(wchar_t const * note)
{
    if (mf_isReady()) return m_pThis;
    mf_implWriteError(m_pThis, note);
    return nullptr;
}

void ICAdminLog::mf_setMaxFileSize(ICFileSize const & kBytes, ulong percent)
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_setMaxFileSize";

    // Deliberate: the operation's older name.
    ICAdminLog * const log = mf_implFindReady(L"ICAdminLog::mf_setFileSize: Logging not initialized");
    if (log == nullptr) return;
    ICSectionLock const lock(log->m_csLock);
    log->mf_implSetFileSize(kBytes, percent);
    log->mf_implRegisterFileSize(1);
    ICTrace(_sFunction_)
        .mf_info(L"Log file settings changed, max file size = %I64d bytes, file percent = %lu%c", log->m_nMaxFileSize,
                 log->m_ulFilePercent, PERCENT_SIGN);
}

void ICAdminLog::mf_setCodepage(int ucs2)
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_setCodepage";

    ICAdminLog * const log = mf_implFindReady(L"ICAdminLog::mf_setCodepage: Logging not initialized");
    if (log == nullptr) return;
    ICSectionLock const lock(log->m_csLock);
    log->m_bUcs2 = ucs2;
    try {
        log->mf_implRegisterCodepage(L"AdminLogFileUcs2", 0, 1);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_).mf_error(L"Failure registring codepage: %s", failure.mf_toString());
    }
    ICTrace(_sFunction_)
        .mf_info(L"Administrative log file codepage changed, UCS-2=%s", mf_implGetTruthName(log->m_bUcs2));
}

void ICAdminLog::mf_flush()
{
    ICAdminLog const * const log = mf_implFindReady(L"ICAdminLog::mf_flush: Logging not initialized");
    if (log == nullptr) return;
    ICSectionLock const lock(log->m_csLock);
    ::SetLastError(0);
    if (!::FlushFileBuffers(log->m_hFile))
        log->mf_implWriteSystemError(L"ICAdminLog::mf_flush: FAILURE FLUSHING LOG FILE (%lu)");
}

// ---------------------------------------------------------------------------------------------------- all settings

static wchar_t const sUpdate[] = L"ICAdminLog::mf_updateParameters";

void ICAdminLog::mf_updateParameters()
{
    ICAdminLog * const log = mf_implFindReady(L"ICAdminLog::mf_updateParameters: Logging not initialized");
    if (log == nullptr) return;
    ICErrnoData outcome;
    {
        ICSectionLock const lock(log->m_csLock);
        log->mf_implUpdate(outcome);
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

void ICAdminLog::mf_implUpdate(ICErrnoData & outcome)
{
    mf_implUpdateFileSize(outcome);
    int const isMoved = mf_implUpdateLocation(outcome);
    int const isEncodingChanged = mf_implUpdateEncoding(outcome);
    if (isMoved || isEncodingChanged) mf_implRestart(outcome);
}

void ICAdminLog::mf_implUpdateFileSize(ICErrnoData & outcome)
{
    f_updateFileSize(sUpdate, m_nMaxFileSize, m_ulFilePercent, outcome,
                     {L"Updated admin log max file size/percent, %I64d bytes/%lu%c -> %I64d bytes/%lu%c",
                      L"Admin log max file size/percent not changed, %I64d bytes/%lu%c"},
                     [this] { mf_implRegisterFileSize(0); });
}

// Deliberate: by the trace log's value.
int ICAdminLog::mf_implUpdateLocation(ICErrnoData & outcome)
{
    try {
        CString const old = m_sPath;
        CString const path = mf_implResolvePath(ICPath::mf_getFilePart(old), L"LogFileDir", L"logs");
        ICTrace const trace(sUpdate);
        if (path.Compare(old) == 0) {
            trace.mf_trace(L"Admin log file location '%s' not changed", old);
            return 0;
        }
        mf_implSetPath(path);
        trace.mf_info(L"Admin log file location is changing from '%s'\r\n%sto '%s'", old, ICLog::TAB, path);
        return 1;
    }
    catch (ICErrno & failure) {
        ICTrace(sUpdate).mf_collect(outcome, failure, L"Failure updating admin log file location: %s",
                                    failure.mf_toString());
        return 0;
    }
}

// Deliberate: in force at once, ahead of the restart, unlike with the trace log.
int ICAdminLog::mf_implUpdateEncoding(ICErrnoData & outcome)
{
    try {
        int const old = m_bUcs2;
        mf_implRegisterCodepage(L"AdminLogFileUcs2", 0, 0);
        ICTrace const trace(sUpdate);
        if (m_bUcs2 == old) {
            trace.mf_trace(L"Admin log file encoding has not changed: '%s'", mf_implGetEncodingName(old));
            return 0;
        }
        trace.mf_info(L"Admin log file encoding is changing: '%s' -> '%s'", mf_implGetEncodingName(old),
                      mf_implGetEncodingName(m_bUcs2));
        return 1;
    }
    catch (ICErrno & failure) {
        // Deliberate: the words of the size.
        ICTrace(sUpdate).mf_collect(outcome, failure, L"Failure updating admin log file size / percent: %s",
                                    failure.mf_toString());
        return 0;
    }
}

void ICAdminLog::mf_implRestart(ICErrnoData & outcome)
{
    ICTrace(sUpdate).mf_info(L"Admin log file location or encoding has changed, re-starting logging ...");
    try {
        mf_implStop();
        mf_implStart();
    }
    catch (ICErrno & failure) {
        ICTrace(sUpdate).mf_collect(outcome, failure, L"Failure re-starting logging: %s", failure.mf_toString());
    }
    ICTrace(sUpdate).mf_info(L"Admin log file location or encoding has changed, logging was re-started");
}
