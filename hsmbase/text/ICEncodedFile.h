#pragma once

#include "hsmbase/text/ICEncoding.h"

// Changes the encoding of a text file without converting anything: the file in the old encoding is moved aside, and one
// of the wanted encoding that was moved aside earlier comes back. So each encoding keeps its own history.
//
//     ICEncodedFile::mf_updateFileEncoding(L"D:\\logs\\trace.log", ICEncoding::UCS2_LE);
//     // An ASCII file stands in D:\logs\backup\trace-ASCII.log now. A later call with ASCII brings it home, and moves
//     // the other to D:\logs\backup\trace-UCS2_LE.log.
//
// Supported are ASCII and UCS2_LE. Where the name in the backup directory is taken already, the local time is put in:
// trace-ASCII-20240131-235959.log.
//
// A failure leaves the earlier steps in place: the file may stand in the backup directory by then and be missing at
// home. A later call finds that and brings the wanted file back. Failures of the steps are those of ICPath::mf_mkdirs,
// mf_getSize, mf_rm and mf_move.
//
// Threads: no lock. The caller keeps others away and has the file closed.
class HSMBASE_EXPORT ICEncodedFile
{
public:
    // NONE if there is no such file or nothing in it. Throws _E_::Parameter for an empty path, _E_::NotSupported for an
    // encoding other than ASCII and UCS2_LE, and what ICEncoding::mf_getFileEncoding throws.
    static ICEncoding mf_getEncoding(CString const & path);

    // `current` is what the file has now, NONE if there is none. An empty file is deleted and not moved aside.
    // Throws _E_::Parameter for an empty path, equal encodings and encodings that are not supported, and
    // _E_::FileNotFound for a missing file that is said to have an encoding.
    static void mf_exchangeFileEncoding(CString const & path, ICEncoding const & current, ICEncoding const & target);

    // Answers 0 if the file has the encoding already, else 1, also where nothing was there to be done: a missing file
    // has no encoding and so not the wanted one.
    static int mf_updateFileEncoding(CString const & path, ICEncoding const & target);

private:
    static int mf_implIsEncodingSupported(ICEncoding const & encoding);

    // D\backup\name-ENCODING.ext, and the same with the local time.
    static CString mf_implGetBackupPath(CString const & path, ICEncoding const & encoding);
    static CString mf_implGetBackupPath2(CString const & path, ICEncoding const & encoding);

    static void mf_implCheckExchange(CString const & path, ICEncoding const & current, ICEncoding const & target);
    static void mf_implDeleteEmptyFile(CString const & path);
    static void mf_implCreateBackupDirectory(CString const & path);
    static void mf_implMoveAside(CString const & path, ICEncoding const & current);
    static void mf_implMoveBack(CString const & path, CString const & backup);
};
