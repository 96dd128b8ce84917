#include "hsmbase/logging/ICLog.h"

#include <atomic>
#include <cstdlib>
#include <vector>

#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/events/ICEvent.h"
#include "hsmbase/events/ICLogEvent.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/logging/ICAdminLog.h"
#include "hsmbase/logging/internal/ICLogLine.h"

namespace
{

constexpr unsigned int RESOURCE_NOT_READY = 3884;

// An event that waits for the lock to be released.
struct PENDING_EVENT
{
    ICLogData const * level;
    CString text;
};

// What all writers share, under the lock of the log's file.
struct WRITERS
{
    // How many writes of this thread are under way: a cut or a new file may fail, which traces, which writes.
    ulong depth = 0;

    // By whether another write is under way, whose line must not be lost.
    ICLogLine<wchar_t> wideLines[2];
    ICLogLine<char> narrowLines[2];

    // Of the writes within another.
    std::vector<PENDING_EVENT> events;
};
WRITERS g_writers;

template<class CHAR>
ICLogLine<CHAR> & f_line();
template<>
ICLogLine<wchar_t> & f_line()
{
    return g_writers.wideLines[g_writers.depth > 0];
}
template<>
ICLogLine<char> & f_line()
{
    return g_writers.narrowLines[g_writers.depth > 0];
}

// The texts of a write path, by whether the file is UCS-2.
struct WRITE_FAILURES
{
    wchar_t const * check;
    wchar_t const * write;
};

constexpr WRITE_FAILURES NARROW_FAILURES[] = {
    {L"ICLog::mf_implWriteMessage(1.3): FAILURE CHECKING/TRUNCATING LOG FILE (%lu)",
     L"ICLog::mf_implWriteMessage(1.4): FAILURE WRITING TO LOG FILE (%lu)"},
    {L"ICLog::mf_implWriteMessage(1.1): FAILURE CHECKING/TRUNCATING LOG FILE (%lu)",
     L"ICLog::mf_implWriteMessage(1.2): FAILURE WRITING TO LOG FILE (%lu)"},
};
constexpr WRITE_FAILURES WIDE_FAILURES[] = {
    {L"ICLog::mf_implWriteMessage(2.3): FAILURE CHECKING/TRUNCATING LOG FILE (%lu)",
     L"ICLog::mf_implWriteMessage(2.4): FAILURE WRITING TO LOG FILE (%lu)"},
    {L"ICLog::mf_implWriteMessage(2.1): FAILURE CHECKING/TRUNCATING LOG FILE (%lu)",
     L"ICLog::mf_implWriteMessage(2.2): FAILURE WRITING TO LOG FILE (%lu)"},
};

// A trace call ends in the user's language, also when it throws.
class ICUserLanguage
{
public:
    ICUserLanguage() = default;
    ICUserLanguage(ICUserLanguage const &) = delete;
    ICUserLanguage & operator=(ICUserLanguage const &) = delete;
    ~ICUserLanguage() { ICThreadContext::mf_setUserLanguage(); }
};

// Failures that come from a cancellation aren't recorded as errors.
ICLogData const & f_levelOnThisThread(ICLogData const & level)
{
    if (!level.mf_isError() && !level.mf_isSevere()) return level;
    return ICThreadContext::mf_isCanceled() ? ICLogData::LEVEL_U : level;
}

} // namespace

// ---------------------------------------------------------------------------------------------------------- calls

void ICLog::mf_writeMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format, ...)
{
    ICUserLanguage const language;
    ICLog const * const log = mf_implFindReady(L"ICLog::mf_writeMessage: Logging not initialized");
    if (log == nullptr) return;
    va_list arguments;
    va_start(arguments, format);
    log->mf_implWriteMessage(level, function, format, arguments);
    va_end(arguments);
}

void ICLog::mf_writeMessage(ICLogData const & level, char const * function, char const * format, ...)
{
    ICUserLanguage const language;
    ICLog const * const log = mf_implFindReady(L"ICLog::mf_writeMessage: Logging not initialized");
    if (log == nullptr) return;
    va_list arguments;
    va_start(arguments, format);
    log->mf_implWriteMessage(level, function, format, arguments);
    va_end(arguments);
}

void ICLog::mf_vaWriteMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format,
                              va_list arguments)
{
    ICLog const * const log = mf_implFindReady(L"ICLog::mf_vawriteMessage: Logging not initialized");
    if (log == nullptr) return;
    log->mf_implWriteMessage(level, function, format, arguments);
}

int ICLog::mf_implWriteMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format,
                               va_list arguments) const
{
    return mf_implWrite(level, function, format, arguments);
}

int ICLog::mf_implWriteMessage(ICLogData const & level, char const * function, char const * format,
                               va_list arguments) const
{
    return mf_implWrite(level, function, format, arguments);
}

// ------------------------------------------------------------------------------------------------------ write path

template<class CHAR>
int ICLog::mf_implWrite(ICLogData const & given, CHAR const * function, CHAR const * format, va_list arguments) const
{
    int const canWrite = ICStatus::mf_canWriteToLogFile();
    if (!canWrite) return canWrite;
    if (!mf_implIsReady()) mf_implEndProcess();
    ICLogData const & level = f_levelOnThisThread(given);
    int result = 1;

    // Deliberate: no guard. Of the failures of mf_implFixBlanks, who traces gets the exception and keeps the lock.
    mf_implLock();
    ICLogLine<CHAR> & line = f_line<CHAR>();
    if (level & m_ulLogSlots) {
        mf_implRender(line, level, function, format, arguments);
        ++g_writers.depth;
        result = mf_implWriteLine(level, line);
        --g_writers.depth;
    } else {
        line.mf_clear();
        if (level.mf_isError() || level.mf_isSevere()) mf_implBeep();
    }
    ulong const length = line.mf_getLength();
    if (g_writers.depth > 0) {
        // Listeners may wait for the lock; they are told when the write around this one has released it.
        g_writers.events.push_back({&level, CString(line.mf_getText(), static_cast<int>(length))});
        mf_implUnlock();
        return result;
    }
    std::vector<PENDING_EVENT> earlier;
    earlier.swap(g_writers.events);
    mf_implUnlock();

    for (PENDING_EVENT const & event : earlier)
        mf_implFire(*event.level, event.text);
    // An empty list may be skipped; a listener that is being registered meanwhile comes too late for this line.
    // Deliberate: the text is taken behind the lock, so a fast second writer may have replaced it, within this length.
    if (!m_listeners.IsEmpty()) mf_implFire(level, CString(line.mf_getText(), static_cast<int>(length)));
    mf_implEndDeferred();
    return result;
}

template<class CHAR>
void ICLog::mf_implRender(ICLogLine<CHAR> & line, ICLogData const & level, CHAR const * function, CHAR const * format,
                          va_list arguments) const
{
    if constexpr (ICLogLine<CHAR>::IS_WIDE)
        line.mf_putHead(m_szProcessNameW, m_ulProcessId, function, level.mf_getFlagChar());
    else
        line.mf_putHead(m_szProcessNameA, m_ulProcessId, function, level.mf_getFlagChar());
    line.mf_putText(format, arguments);
    line.mf_grow(mf_implFixBlanks(line.mf_getText(), line.mf_getLength(), line.CAPACITY));
}

// Answers 0, and has told it, if the line didn't get into the file.
template<class LINE>
int ICLog::mf_implWriteLine(ICLogData const & level, LINE & line) const
{
    WRITE_FAILURES const & failures = (LINE::IS_WIDE ? WIDE_FAILURES : NARROW_FAILURES)[m_bUcs2 != 0];
    auto const bytes = line.mf_getBytes(m_bUcs2);
    if (!mf_implTruncateFile(bytes.count)) return mf_implWriteSystemError(failures.check);
    if (!mf_implWriteBytes(bytes.start, bytes.count)) return mf_implWriteSystemError(failures.write);
    if (level.mf_getLogLevel() != ICLogData::LEVEL_F.mf_getLogLevel()) return 1;
    ::SetLastError(0);
    if (!::FlushFileBuffers(m_hFile))
        return mf_implWriteSystemError(L"ICLog::mf_implWriteMessage: FAILURE FLUSHING LOG FILE (%lu)");
    return 1;
}

void ICLog::mf_implFire(ICLogData const & level, CString const & text) const
{
    // To tell listeners changes nothing that a trace call could see.
    auto * const broadcaster = const_cast<ICLog *>(this);
    try {
        broadcaster->mf_fireEvent(ICLogEvent(broadcaster, level, text));
    }
    catch (ICErrno & failure) {
        mf_implWriteError(CString(L"ICLog::mf_implWriteMessage: FAILURE SENDING LOG EVENT\r\n") + TAB +
                          failure.mf_toString());
    }
}

// The log was closed between a trace call's first look and here: who closes it must see to it that nobody traces.
void ICLog::mf_implEndProcess()
{
    mf_implBeep();
    std::fputws(ICString(RESOURCE_NOT_READY), stderr);
    std::exit(static_cast<int>(ICErrno::_E_::Logging.mf_getNumber()));
}

int ICLog::mf_implTruncateFile(ulong bytesToWrite) const
{
    if (m_bWrap) return ICLogBase::mf_implTruncateFile(bytesToWrite);

    long long size = 0;
    if (!mf_implSeekEnd(size))
        return mf_implWriteSystemError(L"ICLog::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (%lu)");
    if (m_nMaxFileSize == 0 || size + bytesToWrite <= m_nMaxFileSize) return 1;
    // To write is const for everybody but the log itself, which may have to go on in another file.
    if (!const_cast<ICLog *>(this)->mf_implBeginNewFile()) return 0;
    // A second new file within a second is the first one again.
    if (!mf_implSeekEnd(size))
        return mf_implWriteSystemError(L"ICLog::mf_implTruncateFile(1.1): FAILURE GETTING FILE SIZE (%lu)");
    return 1;
}

int ICLog::mf_implBeginNewFile()
{
    static wchar_t const _sFunction_[] = L"ICLog::mf_implTruncateFile";

    try {
        mf_implStop();
        mf_implSetPath(mf_implResolveLogPath(0));
        mf_implStart();
        return 1;
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_).mf_error(L"Failure re-starting logging: %s", failure.mf_toString());
        CString text;
        text.Format(L"ICLog::mf_implTruncateFile(1.2): RESTARTING LOG FILE (%s)", failure.mf_toString().GetString());
        mf_implWriteError(text);
        return 0;
    }
}

// ---------------------------------------------------------------------------------------------------- line starts

namespace
{

constexpr ulong INDENT = 5;
constexpr ulong PURGED = 8;
constexpr ulong SURPLUS = 4;

// The first character behind the next line end, or NULL.
template<class CHAR>
CHAR * f_nextLine(CHAR * text)
{
    for (; *text != 0; ++text)
        if (text[0] == '\r' && text[1] == '\n') return text + 2;
    return nullptr;
}

template<class CHAR>
long f_fixBlanks(CHAR * const buffer, ulong length, ulong capacity, CHAR const * purge)
{
    using TRAITS = std::char_traits<CHAR>;
    CHAR * end = buffer + length;
    for (CHAR * line = f_nextLine(buffer); line != nullptr && *line != 0; line = f_nextLine(line)) {
        std::size_t const rest = static_cast<std::size_t>(end - line) + 1;
        if (*line != ' ') {
            if (static_cast<std::size_t>(line - buffer) + INDENT + rest > capacity)
                throw ICErrno(ICErrno::_E_::BufferTooSmall);
            TRAITS::move(line + INDENT, line, rest);
            TRAITS::assign(line, INDENT, CHAR(' '));
            end += INDENT;
        }
        // Deliberate: the ninth character plays no part, the tenth decides.
        else if (rest > PURGED && TRAITS::compare(line, purge, PURGED) == 0 &&
                 !(rest > PURGED + 1 && line[PURGED + 1] == ' ')) {
            // To the left there is always room.
            TRAITS::move(line, line + SURPLUS, rest - SURPLUS);
            end -= SURPLUS;
        }
    }
    return static_cast<long>(end - buffer) - static_cast<long>(length);
}

} // namespace

long ICLog::mf_implFixBlanks(char * const buffer, ulong length, ulong capacity) const
{
    return f_fixBlanks(buffer, length, capacity, m_szPurgeStringA);
}

long ICLog::mf_implFixBlanks(wchar_t * const buffer, ulong length, ulong capacity) const
{
    return f_fixBlanks(buffer, length, capacity, m_szPurgeStringW);
}
