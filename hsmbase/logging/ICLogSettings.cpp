#include "hsmbase/logging/ICLog.h"

#include <cstdio>

#include "hsmbase/context/ICString.h"
#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/logging/internal/ICLogLocks.h"
#include "hsmbase/logging/internal/ICLogUpdate.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/system/ICProcessInfo.h"

static constexpr unsigned int RESOURCE_READING_FAILED = 3886;
static constexpr unsigned int RESOURCE_WRITING_FAILED = 3887;

// A percent sign as an argument of a trace line.
static constexpr int PERCENT_SIGN = 37;

// ------------------------------------------------------------------------------------------------------- log slots

ulong ICLog::mf_implAdjustLogSlots(ulong slots)
{
    return slots | ICLogData::LEVEL_E.mf_getLogLevel() | ICLogData::LEVEL_S.mf_getLogLevel();
}

ulong ICLog::mf_implStringToLevel(CString const & flags)
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_implStringToLevel";
    static ICLogData const * const levels[] = {
        &ICLogData::LEVEL_S, &ICLogData::LEVEL_E, &ICLogData::LEVEL_W, &ICLogData::LEVEL_I, &ICLogData::LEVEL_T,
        &ICLogData::LEVEL_D, &ICLogData::LEVEL_X, &ICLogData::LEVEL_F, &ICLogData::LEVEL_K, &ICLogData::LEVEL_C,
        &ICLogData::LEVEL_L, &ICLogData::LEVEL_U, &ICLogData::LEVEL_G};

    CString rest = flags;
    rest.MakeUpper();
    ulong slots = 0;
    for (ICLogData const * const level : levels)
        if (rest.Remove(static_cast<wchar_t>(level->mf_getFlagChar())) > 0) slots |= level->mf_getLogLevel();
    if (rest.IsEmpty()) return slots;

    ICErrnoData data(ICErrno::_E_::Logging);
    ICErrnoData::mf_setMessage(data, L"KVR27069E", 6468, 6469, 6470, 6471, ICProcessInfo::mf_getName().GetString());
    throw ICTrace(_sFunction_).mf_failed(data, L"Log flag(s) '%s' are not supported", rest);
}

// A log that has no levels yet can't trace: what fails goes to the standard error stream.
static void f_tellRegistryFailure(unsigned int resource, ICErrno const & failure)
{
    CString const reason = failure.mf_toString();
    std::fputws(ICString(resource, L"LogLevel", reason.GetString()), stderr);
}

void ICLog::mf_implRegisterLogSlots(int write)
{
    if (m_pThis == nullptr) {
        mf_implBeep();
        throw ICErrno(ICErrno::_E_::Logging);
    }
    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    if (write) {
        try {
            ICRegistry::mf_setValue(L"LogLevel", m_ulLogSlots, root, HKEY_LOCAL_MACHINE);
        }
        catch (ICErrno & failure) {
            f_tellRegistryFailure(RESOURCE_WRITING_FAILED, failure);
        }
        return;
    }
    try {
        ICRegistry::mf_getOrSetValue(L"LogLevel", m_ulLogSlots, root, HKEY_LOCAL_MACHINE);
    }
    catch (ICErrno & failure) {
        f_tellRegistryFailure(RESOURCE_READING_FAILED, failure);
        m_ulLogSlots = ICLogData::LEVEL_DEFAULT.mf_getLogLevel();
    }
    m_ulLogSlots = mf_implAdjustLogSlots(m_ulLogSlots);
}

void ICLog::mf_setLogLevel(ulong slots)
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_setLogLevel";

    ICLog * const log = mf_implFindReady(L"ICLog::mf_setLogLevel: Logging not initialized");
    if (log == nullptr) return;
    ICLogLocks const locks(*log);
    log->m_ulLogSlots = mf_implAdjustLogSlots(slots);
    ICTrace(_sFunction_).mf_info(L"Log level changed, log slots = 0x%8.8x", log->m_ulLogSlots);
}

void ICLog::mf_setLogLevel(CString const & flags)
{
    mf_setLogLevel(mf_implStringToLevel(flags));
}

// ------------------------------------------------------------------------------------------------- single settings

void ICLog::mf_implRegisterFileSize(int write)
{
    ICLogBase::mf_implRegisterFileSize(L"LogFileSize", L"LogFilePercent", MIN_KBYTES, MAX_KBYTES, MIN_PERCENT,
                                       MAX_PERCENT, write);
}

void ICLog::mf_setMaxFileSize(ICFileSize const & kBytes, ulong percent)
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_setMaxFileSize";

    // Deliberate: the operation's older name.
    ICLog * const log = mf_implFindReady(L"ICLog::mf_setFileSize: Logging not initialized");
    if (log == nullptr) return;
    ICLogLocks const locks(*log);
    log->mf_implSetFileSize(kBytes, percent);
    log->mf_implRegisterFileSize(1);
    ICTrace(_sFunction_)
        .mf_info(L"Log file settings written, max file size = %I64d bytes, file percent = %lu%c", log->m_nMaxFileSize,
                 log->m_ulFilePercent, PERCENT_SIGN);
}

void ICLog::mf_setCodepage(int ucs2)
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_setCodepage";

    ICLog * const log = mf_implFindReady(L"ICLog::mf_setCodepage: Logging not initialized");
    if (log == nullptr) return;
    ICLogLocks const locks(*log);
    log->m_bUcs2 = ucs2;
    try {
        log->mf_implRegisterCodepage(L"LogFileUcs2", 0, 1);
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_).mf_error(L"Failure registring codepage: %s", failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_info(L"Log file codepage changed, UCS-2=%s", mf_implGetTruthName(log->m_bUcs2));
}

void ICLog::mf_flush()
{
    ICLog const * const log = mf_implFindReady(L"ICLog::mf_flush: Logging not initialized");
    if (log == nullptr) return;
    ICSectionLock const lock(log->ICLogBase::m_csLock);
    ::SetLastError(0);
    if (!::FlushFileBuffers(log->m_hFile))
        log->mf_implWriteSystemError(L"ICLog::mf_flush: FAILURE FLUSHING LOG FILE (%lu)");
}

// ---------------------------------------------------------------------------------------------------- all settings

static wchar_t const sUpdate[] = L"ICLog::mf_updateParameters";

void ICLog::mf_updateParameters()
{
    ICLog * const log = mf_implFindReady(L"ICLog::mf_updateParameters: Logging not initialized");
    if (log == nullptr) return;
    ICErrnoData outcome;
    {
        ICLogLocks const locks(*log);
        log->mf_implUpdate(outcome);
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

// Lines go out by the old settings of the file until it is opened anew: the steps answer new ones.
void ICLog::mf_implUpdate(ICErrnoData & outcome)
{
    mf_implUpdateSlots(outcome);
    int const wrap = mf_implUpdateWrap(outcome);
    mf_implUpdateFileSize(outcome);
    int const isMoved = mf_implUpdateLocation(outcome);
    int const ucs2 = mf_implUpdateEncoding(outcome);
    if (isMoved || wrap != m_bWrap || ucs2 != m_bUcs2) mf_implRestart(wrap, ucs2, outcome);
}

void ICLog::mf_implUpdateSlots(ICErrnoData & outcome)
{
    try {
        ulong const old = m_ulLogSlots;
        mf_implRegisterLogSlots(0);
        ICTrace const trace(sUpdate);
        if (m_ulLogSlots != old)
            trace.mf_info(L"Updated log slots, 0x%8.8x -> 0x%8.8x", old, m_ulLogSlots);
        else
            trace.mf_trace(L"Log slots not changed, 0x%8.8x", old);
    }
    catch (ICErrno & failure) {
        ICTrace(sUpdate).mf_collect(outcome, failure, L"Failure updating log file slots: %s", failure.mf_toString());
    }
}

int ICLog::mf_implUpdateWrap(ICErrnoData & outcome)
{
    // Deliberate: a failure has the words of the next step.
    return f_updateSwitch(sUpdate, m_bWrap, &mf_implGetTruthName, outcome,
                          {L"Log file wrapping is changing, %s -> %s", L"Log wrapping not changed, %s",
                           L"Failure updating log file size / percent: %s"},
                          [this] { mf_implRegisterFileWrap(L"LogFileWrap", 1, 0); });
}

void ICLog::mf_implUpdateFileSize(ICErrnoData & outcome)
{
    f_updateFileSize(sUpdate, m_nMaxFileSize, m_ulFilePercent, outcome,
                     {L"Updated max log file size/percent, %I64d bytes/%lu%c -> %I64d bytes/%lu%c",
                      L"Log max file size/percent not changed, %I64d bytes/%lu%c"},
                     [this] { mf_implRegisterFileSize(0); });
}

// Deliberate: the file keeps its name, also the time that it was stamped with.
int ICLog::mf_implUpdateLocation(ICErrnoData & outcome)
{
    try {
        CString const old = m_sPath;
        CString const path = mf_implResolvePath(ICPath::mf_getFilePart(old), L"LogFileDir", L"logs");
        ICTrace const trace(sUpdate);
        if (path.Compare(old) == 0) {
            trace.mf_trace(L"Log file location '%s' not changed", old);
            return 0;
        }
        trace.mf_info(L"Log file location is changing from '%s'\r\n%sto '%s'", old, TAB, path);
        mf_implSetPath(path);
        return 1;
    }
    catch (ICErrno & failure) {
        ICTrace(sUpdate).mf_collect(outcome, failure, L"Failure updating log file location: %s", failure.mf_toString());
        return 0;
    }
}

int ICLog::mf_implUpdateEncoding(ICErrnoData & outcome)
{
    return f_updateSwitch(sUpdate, m_bUcs2, &mf_implGetEncodingName, outcome,
                          {L"Log file encoding is changing: '%s' -> '%s'", L"Log file encoding has not changed: '%s'",
                           L"Failure updating encoding: %s"},
                          [this] { mf_implRegisterCodepage(L"LogFileUcs2", 0, 0); });
}

void ICLog::mf_implRestart(int wrap, int ucs2, ICErrnoData & outcome)
{
    ICTrace(sUpdate).mf_info(L"Log file location, wrapping, or encoding has changed, re-starting logging...");
    try {
        mf_implStop();
        if (wrap != m_bWrap) mf_implSetPath(mf_implResolveLogPath(wrap));
        m_bWrap = wrap;
        m_bUcs2 = ucs2;
        mf_implStart();
    }
    catch (ICErrno & failure) {
        ICTrace(sUpdate).mf_collect(outcome, failure, L"Failure re-starting logging: %s", failure.mf_toString());
    }
    // Deliberate: said after a failure too.
    ICTrace(sUpdate).mf_info(L"Log file location, wrapping, or encoding has changed, logging was re-started");
}
