#include "hsmbase/logging/ICLog.h"

#include <iterator>
#include <utility>

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/logging/internal/ICLogLocks.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/system/ICProcessInfo.h"

constinit wchar_t const ICLog::TAB[5] = L"    ";
constinit char const ICLog::TABA[5] = "    ";
constinit char const ICLog::m_szPurgeStringA[9] = "        ";
constinit wchar_t const ICLog::m_szPurgeStringW[9] = L"        ";
constinit ICLog * ICLog::m_pThis = nullptr;

ICLog::ICLog(CString const & fileName, ulong slots)
    : m_ulProcessId(ICProcessInfo::mf_getId()), m_szProcessNameA(), m_szProcessNameW(), m_ulLogSlots(slots),
      m_sFileName(fileName)
{
    mf_implSetProcessName();
    m_nMaxFileSize = DEFAULT_KBYTES * 1024LL;
    m_ulFilePercent = DEFAULT_PERCENT;
    mf_implRegisterFileSize(0);
    mf_implRegisterCodepage(L"LogFileUcs2", 0, 0);
    ICRegistry::mf_getOrSetValue(L"LogFileWrap", m_bWrap, ICRegistry::mf_getRegistryRoot(CString()),
                                 HKEY_LOCAL_MACHINE);
    mf_implSetPath(mf_implResolveLogPath(m_bWrap));
}

ICLog::~ICLog() = default;

void ICLog::mf_implSetProcessName()
{
    CString name = ICProcessInfo::mf_getName();
    if (name.GetLength() >= static_cast<int>(std::size(m_szProcessNameW))) throw ICErrno(ICErrno::_E_::BufferTooSmall);
    name.MakeUpper();
    ::wcscpy_s(m_szProcessNameW, std::size(m_szProcessNameW), name);
    // The last byte stays the terminator, also where a code page takes several bytes a character.
    ::WideCharToMultiByte(CP_THREAD_ACP, 0, name, -1, m_szProcessNameA,
                          static_cast<int>(std::size(m_szProcessNameA)) - 1, nullptr, nullptr);
}

CString ICLog::mf_implResolveLogPath(int wrap) const
{
    return mf_implResolvePath(wrap ? m_sFileName : mf_implCreateStampedFileName(m_sFileName), L"LogFileDir", L"logs");
}

// -------------------------------------------------------------------------------------------- opening and closing

void ICLog::mf_openLog(wchar_t const * const fileName)
{
    mf_implCreate(fileName, ICLogData::LEVEL_DEFAULT.mf_getLogLevel());
    m_pThis->mf_implRegisterLogSlots(0);
    ICRegistry::mf_activateLogging(1);
    mf_implTellSlots(L"ICLog::mf_openLog::1");
}

void ICLog::mf_openLog(char const * const fileName)
{
    mf_openLog(CString(fileName).GetString());
}

void ICLog::mf_openLog(CString const & fileName, ulong slots)
{
    mf_implCreate(fileName, slots);
    m_pThis->mf_implRegisterLogSlots(1);
    ICRegistry::mf_activateLogging(1);
    mf_implTellSlots(L"ICLog::mf_openLog::2");
}

void ICLog::mf_openLog(CString const & fileName, CString const & flags)
{
    mf_openLog(fileName, mf_implStringToLevel(flags));
}

// What is traced while the object is built is dropped, since there is no log yet.
void ICLog::mf_implCreate(CString const & fileName, ulong slots)
{
    if (m_pThis != nullptr) {
        mf_implBeep();
        throw ICErrno(ICErrno::_E_::Logging);
    }
    m_pThis = new ICLog(fileName, slots);
    m_pThis->mf_implStart();
}

void ICLog::mf_implTellSlots(wchar_t const * function)
{
    ICTrace(function).mf_info(L"Log slots = 0x%8.8x, Log max file size = %I64d bytes, Log file percent = %lu%c",
                              m_pThis->m_ulLogSlots, m_pThis->m_nMaxFileSize, m_pThis->m_ulFilePercent, 37);
}

void ICLog::mf_closeLog()
{
    ICLog * const log = mf_implFindReady(L"ICLog::mf_closeLog: Logging not initialized");
    if (log == nullptr) return;
    log->mf_implStop();
    delete log;
    m_pThis = nullptr;
}

void ICLog::mf_implStart()
{
    if (m_ulLogSlots != ICLogData::LEVEL_OFF.mf_getLogLevel()) ICLogBase::mf_implStart();
    m_bStarted = 1;
}

void ICLog::mf_implStop()
{
    if (m_ulLogSlots != ICLogData::LEVEL_OFF.mf_getLogLevel()) ICLogBase::mf_implStop();
    m_bStarted = 0;
}

// --------------------------------------------------------------------------------------------------------- queries

int ICLog::mf_isReady()
{
    return m_pThis != nullptr && m_pThis->mf_implIsReady();
}

int ICLog::mf_implIsReady() const
{
    // Without the lock: this stands on the way of each trace line.
    if (mf_implIsFileOpen()) return 1;
    ICSectionLock const lock(ICLogBase::m_csLock);
    return m_ulLogSlots == ICLogData::LEVEL_OFF.mf_getLogLevel() || m_bStarted;
}

// The log, if it is ready. Else NULL, and `note` goes where the log can still leave it.
ICLog * ICLog::mf_implFindReady(wchar_t const * note)
{
    if (m_pThis == nullptr) return nullptr;
    if (m_pThis->mf_implIsReady()) return m_pThis;
    m_pThis->mf_implWriteError(note);
    return nullptr;
}

int ICLog::mf_hasLogLevel(ICLogData const & level)
{
    ICLog const * const log = mf_implFindReady(L"ICLog::mf_hasLogLevel: Logging not initialized");
    if (log == nullptr) return 0;
    ICSectionLock const lock(log->ICLogBase::m_csLock);
    return (level & log->m_ulLogSlots) != 0;
}

ICLog & ICLog::mf_implRequireInstance()
{
    if (m_pThis == nullptr) {
        mf_implBeep();
        throw ICErrno(ICErrno::_E_::Initialization);
    }
    return *m_pThis;
}

CString const & ICLog::mf_getFileName()
{
    return mf_implRequireInstance().mf_implGetPath();
}

CString ICLog::mf_toSingletonString(CString const & prefix)
{
    return mf_implRequireInstance().mf_toString(prefix);
}

// The remark on a number that is one of the limits.
static wchar_t const * f_remark(ulong number, ulong standard, ulong minimum, ulong maximum)
{
    if (number == standard) return L" (default)";
    if (number == minimum) return L" (minimum)";
    return number == maximum ? L" (maximum)" : L"";
}

CString ICLog::mf_toString(CString const & prefix) const
{
    ICLogLocks const locks(*this);
    ulong const kBytes = static_cast<ulong>(m_nMaxFileSize / 1024);
    // Deliberate: the largest size has no remark. No size is 0, which stands in for it.
    CString text;
    text.Format(L"%sLogfile '%s',\r\n%sLog level: 0x%8.8x, File size: %lu kBytes%s / %2.2lu%c%s, UCS-2: %s",
                prefix.GetString(), m_sPath.GetString(), prefix.GetString(), m_ulLogSlots, kBytes,
                f_remark(kBytes, DEFAULT_KBYTES, MIN_KBYTES, 0), m_ulFilePercent, 37,
                f_remark(m_ulFilePercent, DEFAULT_PERCENT, MIN_PERCENT, MAX_PERCENT),
                mf_implGetSwitchText(m_bUcs2).GetString());
    return text;
}

// ------------------------------------------------------------------------------------------------------- listeners

ICLog & ICLog::mf_implCheckListener(wchar_t const * function, ICEventListener const * listener)
{
    if (listener == nullptr) throw ICTrace(function).mf_failed(ICErrno::_E_::Parameter, L"NULL == _pEventListener");
    if (m_pThis == nullptr) {
        mf_implBeep();
        throw ICErrno(ICErrno::_E_::Logging);
    }
    return *m_pThis;
}

void ICLog::mf_registerLogListener(ICEventListener const * listener)
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_registerLogListener";

    mf_implCheckListener(_sFunction_, listener).mf_registerEventListener(listener);
}

void ICLog::mf_removeLogListener(ICEventListener const * listener)
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_removeLogListener";

    mf_implCheckListener(_sFunction_, listener).mf_removeEventListener(listener);
}
