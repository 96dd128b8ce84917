#include "hsmbase/logging/ICLogBase.h"

#include <atomic>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/text/ICEncodedFile.h"

static constexpr unsigned int RESOURCE_ON = 4471;
static constexpr unsigned int RESOURCE_OFF = 3522;

// The lock is held for one write, which is over before a waiting thread had fallen asleep: four threads that do nothing
// but trace are half as fast without.
static constexpr ulong SPIN_COUNT = 2000;

ICLogBase::ICLogBase()
    : m_hFile(INVALID_HANDLE_VALUE), m_bWrap(1), m_nMaxFileSize(0), m_ulFilePercent(0), m_bUcs2(0), m_bStarted(0)
{
    ::InitializeCriticalSectionAndSpinCount(&m_csLock, SPIN_COUNT);
}

ICLogBase::~ICLogBase()
{
    ::DeleteCriticalSection(&m_csLock);
}

void ICLogBase::mf_implLock() const
{
    ::EnterCriticalSection(&m_csLock);
}
void ICLogBase::mf_implUnlock() const
{
    ::LeaveCriticalSection(&m_csLock);
}

void ICLogBase::mf_implBeep() {}

CString const & ICLogBase::mf_implGetPath() const
{
    return m_sPath;
}
void ICLogBase::mf_implSetPath(CString const & path)
{
    m_sPath = path;
}

int ICLogBase::mf_implIsFileOpen() const
{
    return std::atomic_ref(const_cast<HANDLE &>(m_hFile)).load(std::memory_order_acquire) != INVALID_HANDLE_VALUE;
}

// The one place that changes the handle, since mf_implIsFileOpen reads it without the lock.
void ICLogBase::mf_implSetFile(HANDLE file)
{
    std::atomic_ref(m_hFile).store(file, std::memory_order_release);
}

void ICLogBase::mf_implStart()
{
    if (m_bWrap) mf_implInstallEncoding();
    bool const isNew = !ICPath::mf_exists(m_sPath) || ICPath::mf_getSize(m_sPath).mf_getValue() == 0;
    mf_implOpenFile();
    if (isNew && m_bUcs2) mf_implMarkFile();
    m_bStarted = 1;
}

void ICLogBase::mf_implInstallEncoding() const
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implStart";

    try {
        ICEncodedFile::mf_updateFileEncoding(m_sPath, m_bUcs2 ? ICEncoding::UCS2_LE : ICEncoding::ASCII);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure installing file encoding (%s): %s", mf_implGetEncodingName(m_bUcs2),
                       failure.mf_toString());
    }
}

void ICLogBase::mf_implOpenFile()
{
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    CString const path = ICLongPath::mf_addLongPathUNCPrefix(m_sPath);
    ::SetLastError(0);
    HANDLE const file = ::CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, &inheritable, OPEN_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Logging);
        // Without a trace line: this is the log that can't be opened.
        ICErrnoData data = failure.mf_getErrnoData();
        ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 6329, 6330, 6331, m_sPath.GetString());
        throw ICErrno(data);
    }
    mf_implSetFile(file);
}

// A file that can't be marked isn't left open: a log with an open file counts as ready.
void ICLogBase::mf_implMarkFile()
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implStart";

    try {
        ICEncoding::mf_writeByteOrderMark(m_hFile, ICEncoding::UCS2_LE);
    }
    catch (ICErrno & failure) {
        ICErrno const thrown = ICTrace(_sFunction_)
                                   .mf_failed(failure, L"Failure writing byte-order mark to log file '%s':\r\n%s%s",
                                              m_sPath, ICLog::TAB, failure.mf_toString());
        ICLogBase::mf_implStop();
        throw thrown;
    }
}

void ICLogBase::mf_implStop()
{
    if (m_hFile != nullptr && m_hFile != INVALID_HANDLE_VALUE) ::CloseHandle(m_hFile);
    mf_implSetFile(INVALID_HANDLE_VALUE);
    m_bStarted = 0;
}

void ICLogBase::mf_implWriteError(CString const & text) const
{
    if (!mf_implIsFileOpen()) return;
    // Deliberate: characters are counted and bytes are written.
    DWORD written = 0;
    ::WriteFile(m_hFile, text.GetString(), static_cast<ulong>(text.GetLength()), &written, nullptr);
}

void ICLogBase::mf_implWriteError(ICLogBase const * log, CString const & text)
{
    if (log != nullptr) log->mf_implWriteError(text);
}

int ICLogBase::mf_implWriteSystemError(wchar_t const * format) const
{
    ulong const systemError = ::GetLastError();
    CString text;
    text.Format(format, systemError);
    mf_implWriteError(text);
    return 0;
}

int ICLogBase::mf_implWriteBytes(void const * bytes, ulong count) const
{
    DWORD written = 0;
    ::SetLastError(0);
    return ::WriteFile(m_hFile, bytes, count, &written, nullptr) && written == count;
}

CString ICLogBase::mf_implCreateStampedFileName(CString const & fileName)
{
    static wchar_t const _sFunction_[] = L"ICLogBase::mf_implCreateStampedFileName";

    FILETIME now;
    SYSTEMTIME utc;
    ::GetSystemTimeAsFileTime(&now);
    ::SetLastError(0);
    if (!::FileTimeToSystemTime(&now, &utc)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Conversion);
        ICTrace(_sFunction_).mf_error(L"Failure converting FILETIME to SYSTEMTIME: %s", failure.mf_toString());
        return L"FILETIME-ERROR";
    }
    int const dot = fileName.ReverseFind(L'.');
    int const base = dot < 0 ? fileName.GetLength() : dot;
    CString stamped;
    stamped.Format(L"%s-%4.4u%2.2u%2.2u-%2.2u%2.2u%2.2u%s", fileName.Left(base).GetString(), utc.wYear, utc.wMonth,
                   utc.wDay, utc.wHour, utc.wMinute, utc.wSecond, fileName.Mid(base).GetString());
    return stamped;
}

wchar_t const * ICLogBase::mf_implGetEncodingName(int ucs2)
{
    return ucs2 ? L"UCS-2" : L"ASCII";
}
wchar_t const * ICLogBase::mf_implGetTruthName(int truth)
{
    return truth ? L"TRUE" : L"FALSE";
}

CString ICLogBase::mf_implGetSwitchText(int isOn)
{
    return ICString(isOn ? RESOURCE_ON : RESOURCE_OFF);
}
