#pragma once

#include <cstdarg>

#include "hsmbase/events/ICEventBroadcaster.h"
#include "hsmbase/logging/ICLogBase.h"
#include "hsmbase/logging/ICLogData.h"

class ICErrnoData;
class ICLogLocks;
class ICProgramFrame;
template<class CHAR>
class ICLogLine;

// The trace log of the process: one trace call for everybody.
//
//     static wchar_t const _sFunction_[] = L"ICExample::mf_work";
//     ICThreadContext::mf_setLoggingLanguage();
//     ICLog::mf_writeMessage(ICLogData::LEVEL_W, _sFunction_, L"Entry '%s' skipped:\r\n%s%s", name, ICLog::TAB, reason);
//
// The first call turns the thread to the logging language, so that texts made for the message come out in it;
// mf_writeMessage ends by returning the thread to the user's language, whatever happened.
//
// A message becomes a record of two or more lines, in local time. Only the first line of a record begins with no blank:
//
//     HSMSCAN (0A3C:0F10) ICExample::mf_work                    24-01-31 23:59:59.123
//      W: Entry 'a.txt' skipped:
//         Access denied.
//
// A call is always safe: before the log is open, after it is closed, from any thread. It never throws because logging
// isn't available. Arguments have the character width of the format: %s takes wide text in a wide format, 8-bit text in
// an 8-bit one. A percent sign in a text is passed as %c with 37. A message that is too long for a record is cut.
// Deliberate: one that becomes too long only because its many lines are indented throws BufferTooSmall out of the call,
// and the thread keeps the log's lock.
//
// Which messages are written the log slots say, a set of levels. Listeners are told of every message, written or not.
// On a cancelled thread errors and severe messages go by LEVEL_U.
//
// Settings are values below the root of ICRegistry in HKEY_LOCAL_MACHINE, created when absent:
//
//     LogLevel        log slots; E and S are always added
//     LogFileSize     maximum size in kBytes, 50 to 4294967295
//     LogFilePercent  percentage of the maximum that a cut in place keeps, 10 to 90
//     LogFileUcs2     0: 8-bit text in the thread's code page; else UCS-2
//     LogFileWrap     0: a full file is left and a new one begun, with the time in its name; else it is cut in place
//     LogFileDir      directory of the file; if absent, "logs" below the installation directory (value Path)
//
// Threads: any. Opening and closing belong to start-up and shutdown.
//
// Locks: that of the broadcaster, then that of the log file. Writers take only the second, and tell the listeners when
// they have released it. What traces under it as a rule, such as an update of the settings, takes both, so that a
// listener may call back into the log. A listener that logs must stop its own recursion.
class HSMBASE_EXPORT ICLog : public ICLogBase, private ICEventBroadcaster
{
public:
    // Four blanks: the indent of the further lines of a message.
    static wchar_t const TAB[5];
    static char const TABA[5];

    ICLog(ICLog const &) = delete;
    ICLog & operator=(ICLog const &) = delete;

    // `function` is the caller's qualified name, the tag of the record.
    static void mf_writeMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format, ...);
    static void mf_writeMessage(ICLogData const & level, char const * function, char const * format, ...);

    // The same with a started argument list. Doesn't return the thread to the user's language: its caller does.
    static void mf_vaWriteMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format,
                                  va_list arguments);

    // Whether a log is there to take messages. One that was opened with LEVEL_OFF is, although it has no file.
    static int mf_isReady();

    // Whether a message of this level would be selected; for callers with expensive arguments. LEVEL_U for cancelled
    // threads plays no part.
    static int mf_hasLogLevel(ICLogData const & level);

    // Selects levels for this run only; E and S are added. As letters, such as L"SEWI" in any order and case.
    // The second throws Logging, complete with message, for characters that are no level, a blank among them.
    static void mf_setLogLevel(ulong slots);
    static void mf_setLogLevel(CString const & flags);

    // Sets both, and stores them in the registry as they are given; the log then goes on with what the limits leave.
    static void mf_setMaxFileSize(ICFileSize const & kBytes, ulong percent);

    // Sets the encoding and stores it. Deliberate: the open file goes on with lines of the other width until it is next
    // opened.
    static void mf_setCodepage(int ucs2);

    // Takes all settings from the registry, as an administrator may have changed them, and opens the file anew if its
    // place, its encoding or its wrapping is another. All steps run; the first failure is thrown behind the locks.
    static void mf_updateParameters();

    // Brings to the disk what the system keeps in its buffers.
    static void mf_flush();

    // Listeners get an ICLogEvent for every message. They aren't owned. Throw Parameter for NULL, Logging without a
    // log, and what ICEventBroadcaster throws.
    static void mf_registerLogListener(ICEventListener const * listener);
    static void mf_removeLogListener(ICEventListener const * listener);

    // The full path of the file. Throws Initialization without a log.
    static CString const & mf_getFileName();

    // mf_toString of the log. Throws Initialization without a log.
    static CString mf_toSingletonString(CString const & prefix);

    // Path, slots, size and percentage; two lines, each beginning with `prefix`.
    CString mf_toString(CString const & prefix) const override;

private:
    friend class ICAdminLog;
    friend class ICLogLocks;
    friend class ICProgramFrame;

    // With slots: they are taken as they are, without E and S, and stored. LEVEL_OFF opens no file.
    // Throw Logging for a second log and for a file that can't be opened, BufferTooSmall for a process name of more
    // than 31 characters, Registry. When the file can't be opened there is a log that is not ready, for good.
    static void mf_openLog(wchar_t const * fileName);
    static void mf_openLog(char const * fileName);
    static void mf_openLog(CString const & fileName, ulong slots);
    static void mf_openLog(CString const & fileName, CString const & flags);

    // A log that is not ready stays.
    static void mf_closeLog();

    // Keeps a record that owes a line to the administrator's log and ends under one of the locks here, which that log's
    // lock must not follow. Answers 0 and keeps nothing for a thread that holds neither.
    static int mf_implDefer(ICErrnoData const & data);

    // Ends the records that were kept, unless the thread still holds a lock.
    static void mf_implEndDeferred();

    ICLog(CString const & fileName, ulong slots);
    ~ICLog() override;

    static void mf_implCreate(CString const & fileName, ulong slots);
    static void mf_implTellSlots(wchar_t const * function);
    static ICLog & mf_implRequireInstance();
    static ICLog & mf_implCheckListener(wchar_t const * function, ICEventListener const * listener);
    static ICLog * mf_implFindReady(wchar_t const * note);
    static int mf_implHoldsLock();

    void mf_implStart() override;
    void mf_implStop() override;
    int mf_implTruncateFile(ulong bytesToWrite) const override;

    int mf_implIsReady() const;
    void mf_implSetProcessName();
    void mf_implRegisterLogSlots(int write);
    void mf_implRegisterFileSize(int write);
    static ulong mf_implAdjustLogSlots(ulong slots);
    static ulong mf_implStringToLevel(CString const & flags);
    CString mf_implResolveLogPath(int wrap) const;

    // The two write paths. Both answer 1, and 0 if the record didn't get into the file.
    int mf_implWriteMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format,
                            va_list arguments) const;
    int mf_implWriteMessage(ICLogData const & level, char const * function, char const * format,
                            va_list arguments) const;
    template<class CHAR>
    int mf_implWrite(ICLogData const & given, CHAR const * function, CHAR const * format, va_list arguments) const;
    template<class CHAR>
    void mf_implRender(ICLogLine<CHAR> & line, ICLogData const & level, CHAR const * function, CHAR const * format,
                       va_list arguments) const;
    template<class LINE>
    int mf_implWriteLine(ICLogData const & level, LINE & line) const;
    void mf_implFire(ICLogData const & level, CString const & text) const;
    int mf_implBeginNewFile();
    [[noreturn]] static void mf_implEndProcess();

    // Make each further line of a record begin with a blank; answer by how many characters the text grew. `length` is
    // that of the text, `capacity` that of the buffer, both in characters. Throw BufferTooSmall, with the text partly
    // done.
    long mf_implFixBlanks(char * buffer, ulong length, ulong capacity) const;
    long mf_implFixBlanks(wchar_t * buffer, ulong length, ulong capacity) const;

    void mf_implUpdate(ICErrnoData & outcome);
    void mf_implUpdateSlots(ICErrnoData & outcome);
    int mf_implUpdateWrap(ICErrnoData & outcome);
    void mf_implUpdateFileSize(ICErrnoData & outcome);
    int mf_implUpdateLocation(ICErrnoData & outcome);
    int mf_implUpdateEncoding(ICErrnoData & outcome);
    void mf_implRestart(int wrap, int ucs2, ICErrnoData & outcome);

    static ICLog * m_pThis; // NULL: no log
    static char const m_szPurgeStringA[9];
    static wchar_t const m_szPurgeStringW[9];

    ulong m_ulProcessId;
    char m_szProcessNameA[32]; // in capitals, in the thread's code page
    wchar_t m_szProcessNameW[32];
    ulong m_ulLogSlots;
    CString m_sFileName; // without directory and stamp
};
