#include "hsmbase/logging/ICAdminLog.h"

#include <cstdio>
#include <iterator>

#include "hsmbase/context/ICString.h"
#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/logging/internal/ThreadCodePage.h"

static constexpr unsigned int RESOURCE_ADMIN_LOG = 3016;

// The line while it is rendered and written, shared by all threads under the log's lock.
static wchar_t g_line[4096];
static char g_bytes[std::size(g_line) * CODE_PAGE_BYTES];

constinit ICAdminLog * ICAdminLog::m_pThis = nullptr;

ICAdminLog::ICAdminLog(CString const & fileName)
{
    m_nMaxFileSize = DEFAULT_KBYTES * 1024LL;
    m_ulFilePercent = DEFAULT_PERCENT;
    mf_implRegisterFileSize(0);
    mf_implRegisterCodepage(L"AdminLogFileUcs2", 0, 0);
    mf_implSetPath(mf_implResolvePath(fileName, L"AdminLogFileDir", L"logs"));
}

// Deliberate: the file stays open.
ICAdminLog::~ICAdminLog() = default;

void ICAdminLog::mf_openLog(CString const & fileName)
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_openLog";

    if (m_pThis != nullptr)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Administartive log file '%s' already initialized", fileName);
    m_pThis = new ICAdminLog(fileName);
    m_pThis->mf_implStart();
}

void ICAdminLog::mf_closeLog()
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_closeLog";

    if (m_pThis == nullptr) {
        ICTrace(_sFunction_).mf_error(L"Administartive log file not initialized");
        return;
    }
    delete m_pThis;
    m_pThis = nullptr;
}

int ICAdminLog::mf_isReady()
{
    return m_pThis != nullptr && m_pThis->mf_implIsReady();
}

int ICAdminLog::mf_implIsReady() const
{
    if (mf_implIsFileOpen()) return 1;
    ICSectionLock const lock(m_csLock);
    return m_bStarted;
}

CString const & ICAdminLog::mf_getFileName()
{
    if (m_pThis == nullptr) {
        mf_implBeep();
        throw ICErrno(ICErrno::_E_::Initialization);
    }
    return m_pThis->mf_implGetPath();
}

CString ICAdminLog::mf_toString(CString const & prefix) const
{
    ICSectionLock const lock(m_csLock);
    CString const text = ICString(RESOURCE_ADMIN_LOG, m_sPath.GetString(), mf_implGetSwitchText(m_bUcs2).GetString());
    return prefix + text;
}

// --------------------------------------------------------------------------------------------------------- writing

void ICAdminLog::mf_writeMessage(ICErrnoData const & data)
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_writeMessage";

    if (!mf_isReady() || ICLog::mf_implDefer(data)) return;
    try {
        m_pThis->mf_implWriteMessage(data);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure writing administrative log message: %s\r\n%sErrno: %s", failure.mf_toString(),
                       ICLog::TAB, data.mf_toString());
    }
}

void ICAdminLog::mf_implPrepareMessageText(ICErrnoData const & data, CString & text) const
{
    text.Empty();
    if (!data.mf_hasMessageText()) return;
    bool isInRun = false;
    for (wchar_t const * at = data.mf_getMessageText(); *at != 0; ++at) {
        bool const isBlank = *at == L' ' || *at == L'\r' || *at == L'\n';
        if (!isBlank) text += *at;
        if (isBlank && !isInRun) text += L' ';
        isInRun = isBlank;
    }
}

int ICAdminLog::mf_implWriteMessage(ICErrnoData const & data) const
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_implWriteMessage";

    if (!mf_implIsReady()) {
        mf_implBeep();
        ICTrace(_sFunction_).mf_error(L"Administrative log not ready");
        return 0;
    }
    SYSTEMTIME now;
    ::GetLocalTime(&now);
    CString text;
    mf_implPrepareMessageText(data, text);

    ICSectionLock const lock(m_csLock);
    mf_implWriteLine(data, mf_implRenderLine(data, now, text));
    return 1;
}

// Into the shared line; answers its characters. What is too long is cut ahead of the line end.
ulong ICAdminLog::mf_implRenderLine(ICErrnoData const & data, SYSTEMTIME const & now, CString const & text)
{
    constexpr std::size_t ROOM = std::size(g_line) - 1;
    wchar_t const * const number = data.mf_hasKVRNumber() ? data.mf_getKVRNumber() : L"";
    int const length = ::_snwprintf(g_line, ROOM, L"%2.2d/%2.2d/%4.4d %2.2d:%2.2d:%2.2d %s %s\r\n", now.wMonth,
                                    now.wDay, now.wYear, now.wHour, now.wMinute, now.wSecond, number, text.GetString());
    if (length >= 0) return static_cast<ulong>(length);
    g_line[ROOM - 2] = L'\r';
    g_line[ROOM - 1] = L'\n';
    return ROOM;
}

void ICAdminLog::mf_implWriteLine(ICErrnoData const & data, ulong length) const
{
    static wchar_t const _sFunction_[] = L"ICAdminLog::mf_implWriteMessage";

    void const * bytes = g_line;
    ulong count = length * static_cast<ulong>(sizeof(wchar_t));
    if (!m_bUcs2) {
        bytes = g_bytes;
        count = f_toThreadCodePage(g_line, length, g_bytes);
    }
    if (!mf_implTruncateFile(count)) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure checking/truncating administrative log file\r\n%sErrno: %s", ICLog::TAB,
                      data.mf_toString());
        return;
    }
    if (!mf_implWriteBytes(bytes, count)) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileWrite);
        ICTrace(_sFunction_)
            .mf_error(L"Failure writing administrative log message: %s\r\n%sErrno: %s", failure.mf_toString(),
                      ICLog::TAB, data.mf_toString());
        return;
    }
    // Paid, whoever holds the record.
    const_cast<ICErrnoData &>(data).mf_setAdminLogFlag(0);
}
