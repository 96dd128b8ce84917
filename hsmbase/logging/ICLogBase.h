#pragma once

#include <optional>

#include "hsmbase/paths/ICFileSize.h"

// What the two log files of a process have in common: the file, its lock, the settings in the registry, and the cut in
// place that keeps a file within its size. ICLog and ICAdminLog are its children; nobody else has use for it.
//
// A record begins at a line start whose first character isn't a blank; all further lines of a record begin with one.
// That is what a cut looks for, so that what remains begins with a whole record.
//
// Settings lie below the root of ICRegistry in HKEY_LOCAL_MACHINE. A value that is absent is created. The size counts
// kBytes there and bytes in the object.
//
// A log can't report its own failures through itself: they go to its file as bare texts (mf_implWriteError), without
// record head and line end, and the program goes on. Only mf_implStart throws.
//
// Lock: m_csLock, recursive, for all fields. Whoever calls holds it, since what runs under it traces in turn.
class HSMBASE_EXPORT ICLogBase
{
protected:
    // No file; wrapping. Size and percent come from the child.
    ICLogBase();

    // Member by member, the lock and the file handle too: not for use.
    ICLogBase(ICLogBase const &) = default;
    ICLogBase & operator=(ICLogBase const &) = default;

    // Leaves an open file open: closing is mf_implStop's.
    virtual ~ICLogBase();

    void mf_implLock() const;
    void mf_implUnlock() const;

    // Opens the file, in the encoding wanted, after putting one of another encoding aside if the file wraps. The
    // position is not set: each write must go through mf_implTruncateFile, which seeks to the end.
    // Throws Logging, complete with message and marked for the administrator, when the file can't be opened, and what
    // ICEncodedFile and ICEncoding throw. The log isn't started then, and no file is open.
    virtual void mf_implStart();

    // Closes the file. A log that isn't started stays so.
    virtual void mf_implStop();

    // The full path of the file.
    virtual CString const & mf_implGetPath() const;

    // Seeks to the end and, if `bytesToWrite` more would pass the maximum, cuts the file in place before: its last
    // records stay, some m_ulFilePercent of the maximum. Answers 1 if the write may go on and 0 after a failure, which
    // is told in the file; the file is then as the failure left it. Allocates nothing.
    virtual int mf_implTruncateFile(ulong bytesToWrite) const;

    // What the log is; its first line begins with `prefix`.
    virtual CString mf_toString(CString const & prefix) const = 0;

    void mf_implSetPath(CString const & path);

    // kBytes, and a percentage above the 32 bits that a platform formats: what doesn't fit is the most that does.
    void mf_implSetFileSize(ICFileSize const & kBytes, ulong percent);

    // Brings size and percent between the limits, with a warning for each correction.
    void mf_implCorrectFileSize(ulong minKBytes, ulong maxKBytes, ulong minPercent, ulong maxPercent);

    // The full path of the log file: in the directory that the value names, which is made if it is missing. Without
    // that value, in `defaultSubdir` of the installation directory (value "Path"), which is registered and not made.
    // Without either, in `defaultSubdir` of the current directory if that is there, else in the current directory.
    // Throws Unexpected for values of another type, Registry, and what ICPath::mf_getCurrentDirectory throws.
    CString mf_implResolvePath(CString const & fileName, CString const & dirValueName,
                               CString const & defaultSubdir) const;

    // Exchange a setting with the registry: `write` stores the field, else the field takes the stored value. A registry
    // that fails never stops a log; there is an error in the trace. The second and third, when reading, then take
    // `defaultValue`; they create an absent value as 0, whatever the default.
    void mf_implRegisterFileSize(CString const & sizeValueName, CString const & percentValueName, ulong minKBytes,
                                 ulong maxKBytes, ulong minPercent, ulong maxPercent, int write);
    void mf_implRegisterFileWrap(CString const & valueName, int defaultValue, int write);
    void mf_implRegisterCodepage(CString const & valueName, int defaultValue, int write);

    // The last resort of a log that can't log through itself: one write of the text where the file stands. Nothing
    // without an open file.
    // Deliberate: as many bytes as the text has characters, which are the first half of it, and no line end.
    void mf_implWriteError(CString const & text) const;
    static void mf_implWriteError(ICLogBase const * log, CString const & text); // nothing for NULL

    // "app-20240131-235959.log" for "app.log": the current UTC time. "FILETIME-ERROR" if the system can't tell it.
    static CString mf_implCreateStampedFileName(CString const & fileName);

    // Deliberate: does nothing. All places that would sound an alarm call it.
    static void mf_implBeep();

    // Whether a file is open. Takes no lock, and needs none: it stands on the way of each trace line.
    int mf_implIsFileOpen() const;

    // One write of all bytes at the current position. Answers 0 if it fails or is short; the system error stays.
    int mf_implWriteBytes(void const * bytes, ulong count) const;

    // Seeks to the end of the file; its size in bytes.
    int mf_implSeekEnd(long long & size) const;

    // mf_implWriteError with a format that takes the thread's last error; answers 0.
    int mf_implWriteSystemError(wchar_t const * format) const;

    // "UCS-2" or "ASCII"; "TRUE" or "FALSE".
    static wchar_t const * mf_implGetEncodingName(int ucs2);
    static wchar_t const * mf_implGetTruthName(int truth);

    // "on" or "off", in the thread's language.
    static CString mf_implGetSwitchText(int isOn);

    // Limits of both logs.
    static constexpr ulong DEFAULT_KBYTES = 10000;
    static constexpr ulong MIN_KBYTES = 50;
    static constexpr ulong MAX_KBYTES = 0xffffffff;
    static constexpr ulong DEFAULT_PERCENT = 66;
    static constexpr ulong MIN_PERCENT = 10;
    static constexpr ulong MAX_PERCENT = 90;

    mutable CRITICAL_SECTION m_csLock;
    CString m_sPath;
    HANDLE m_hFile;           // INVALID_HANDLE_VALUE: no file. Owned while started.
    int m_bWrap;              // 1: a full file is cut in place; 0: a new file is begun
    long long m_nMaxFileSize; // bytes; 0: no limit
    ulong m_ulFilePercent;    // of the maximum, kept by a cut
    int m_bUcs2;              // 1: UCS-2 little endian; 0: 8-bit in the thread's code page
    int m_bStarted;

private:
    std::optional<CString> mf_implMakePath(CString const & directory, CString const & fileName) const;
    void mf_implStoreDirectory(CString const & valueName, CString const & directory) const;

    void mf_implInstallEncoding() const;
    void mf_implOpenFile();
    void mf_implMarkFile();
    void mf_implSetFile(HANDLE file);

    int mf_implCut(long long size) const;
    int mf_implMarkStart() const;
    int mf_implMoveDown(long long from, long long to, unsigned char * buffer, ulong span) const;
    int mf_implEndFileAt(long long size) const;
};
