#pragma once

#include "hsmbase/logging/ICLogBase.h"

class ICErrnoData;

// The log that an administrator reads: one line for each failure record that was marked for it.
//
//     01/31/2024 23:59:59 KVR27469E The log file 'D:\logs\trace.log' cannot be opened.
//
// Nobody writes to it by text: a record whose message was set (ICErrnoData::mf_setMessage) writes its line when its
// last holder ends, and owes nothing from then on. Failures of that go to the trace log.
//
// The file is always cut in place, see ICLogBase. Settings are values below the root of ICRegistry in
// HKEY_LOCAL_MACHINE, created when absent:
//
//     AdminLogFileSize     maximum size in kBytes, 50 to 4294967295
//     AdminLogFilePercent  percentage of the maximum that a cut keeps, 10 to 90
//     AdminLogFileUcs2     0: 8-bit text in the thread's code page; else UCS-2
//     AdminLogFileDir      directory of the file; if absent, "logs" below the installation directory (value Path)
//
// Threads: any. Opening and closing belong to start-up and shutdown.
//
// Lock: that of the file. It comes before the locks of the trace log, since what runs under it traces. Records that end
// under one of those write their line when it is released.
class HSMBASE_EXPORT ICAdminLog : public ICLogBase
{
public:
    ICAdminLog(ICAdminLog const &) = delete;
    ICAdminLog & operator=(ICAdminLog const &) = delete;

    // Throws AlreadyInitialized, Logging (complete with message) when the file can't be opened, and Registry. After the
    // second there is a log that is not ready.
    static void mf_openLog(CString const & fileName);

    // Deliberate: the file stays open until the process ends, so this process can't open it again.
    static void mf_closeLog();

    static int mf_isReady();

    // As the operations of ICLog of these names, with this log's values in the registry.
    // Deliberate: mf_updateParameters looks for the directory in "LogFileDir", the trace log's value, which the file
    // then follows.
    static void mf_setMaxFileSize(ICFileSize const & kBytes, ulong percent);
    static void mf_setCodepage(int ucs2);
    static void mf_updateParameters();
    static void mf_flush();

    // Writes the record's line and takes off its mark. Without an open log the record keeps its mark, as it does when
    // the write fails, which leaves an error in the trace.
    static void mf_writeMessage(ICErrnoData const & data);

    // The full path of the file. Throws Initialization without a log.
    static CString const & mf_getFileName();

    // `prefix`, path and encoding.
    CString mf_toString(CString const & prefix) const override;

private:
    explicit ICAdminLog(CString const & fileName);
    ~ICAdminLog() override;

    static ICAdminLog * mf_implFindReady(wchar_t const * note);
    int mf_implIsReady() const;
    void mf_implRegisterFileSize(int write);

    // The message on one line: each run of blanks and line ends becomes one blank, also at its ends.
    void mf_implPrepareMessageText(ICErrnoData const & data, CString & text) const;

    // Answers 0 if the log is not ready, else 1, also after a failure.
    int mf_implWriteMessage(ICErrnoData const & data) const;
    void mf_implWriteLine(ICErrnoData const & data, ulong length) const;
    static ulong mf_implRenderLine(ICErrnoData const & data, SYSTEMTIME const & now, CString const & text);

    void mf_implUpdate(ICErrnoData & outcome);
    void mf_implUpdateFileSize(ICErrnoData & outcome);
    int mf_implUpdateLocation(ICErrnoData & outcome);
    int mf_implUpdateEncoding(ICErrnoData & outcome);
    void mf_implRestart(ICErrnoData & outcome);

    static ICAdminLog * m_pThis; // NULL: no log
};
