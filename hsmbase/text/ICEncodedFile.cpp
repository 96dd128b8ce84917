#include "hsmbase/text/ICEncodedFile.h"

#include <ctime>

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"

static CString f_backupDirectory(CString const & path)
{
    return ICPath::mf_appendComponent(ICPath::mf_getLocationPart(path), L"backup");
}

// With the tag E, D\name.ext gives D\backup\name-E.ext.
static CString f_backupPath(CString const & path, CString const & tag)
{
    CString const file = ICPath::mf_getFilePart(path);
    int const dot = file.ReverseFind(L'.');
    int const stem = dot < 0 ? file.GetLength() : dot;
    return ICPath::mf_appendFile(f_backupDirectory(path), file.Left(stem) + L'-' + tag + file.Mid(stem));
}

int ICEncodedFile::mf_implIsEncodingSupported(ICEncoding const & encoding)
{
    return encoding == ICEncoding::ASCII || encoding == ICEncoding::UCS2_LE;
}

CString ICEncodedFile::mf_implGetBackupPath(CString const & path, ICEncoding const & encoding)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_implGetBackupPath";

    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"No path name");
    try {
        return f_backupPath(path, encoding.mf_toString());
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Could not evaluate passive log file name: %s", failure.mf_toString());
    }
}

CString ICEncodedFile::mf_implGetBackupPath2(CString const & path, ICEncoding const & encoding)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_implGetBackupPath2";

    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"No path name");
    try {
        CTime const now(::_time64(nullptr));
        return f_backupPath(path, encoding.mf_toString() + L'-' + now.Format(L"%Y%m%d-%H%M%S"));
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Could not evaluate passive log file name (2): %s", failure.mf_toString());
    }
}

ICEncoding ICEncodedFile::mf_getEncoding(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_getEncoding";

    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"_rPath is empty");
    if (!ICPath::mf_exists(path) || ICPath::mf_getSize(path) < 1) return ICEncoding::NONE;

    ICEncoding const encoding = ICEncoding::mf_getFileEncoding(path);
    if (!mf_implIsEncodingSupported(encoding))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::NotSupported,
                       L"Unexpected encoding in file '%s':\r\n%s'%s'. ASCII or UCS-2LE are supported", path, ICLog::TAB,
                       encoding.mf_toString());
    return encoding;
}

int ICEncodedFile::mf_updateFileEncoding(CString const & path, ICEncoding const & target)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_updateFileEncoding";

    ICEncoding current;
    try {
        current = mf_getEncoding(path);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting encoding of file '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
    if (current == target) {
        ICTrace(_sFunction_)
            .mf_trace(L"Encoding '%s' has not changed for\r\n%s'%s'", current.mf_toString(), ICLog::TAB, path);
        return 0;
    }
    try {
        mf_exchangeFileEncoding(path, current, target);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure,
                       L"Failure updating encoded file '%s':\r\n%s%s\r\n"
                       L"%sCurrent encoding: %s, target encoding: %s",
                       path, ICLog::TAB, failure.mf_toString(), ICLog::TAB, current.mf_toString(),
                       target.mf_toString());
    }
    return 1;
}

void ICEncodedFile::mf_exchangeFileEncoding(CString const & path, ICEncoding const & current, ICEncoding const & target)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_exchangeFileEncoding";

    mf_implCheckExchange(path, current, target);
    CString const targetBackup = mf_implGetBackupPath(path, target);
    int const exists = ICPath::mf_exists(path);
    int const backupExists = ICPath::mf_exists(targetBackup);

    if (exists && ICPath::mf_getSize(path) == 0) {
        mf_implDeleteEmptyFile(path);
    } else if (exists) {
        // Where the other file is, its directory is.
        if (!backupExists) mf_implCreateBackupDirectory(path);
        mf_implMoveAside(path, current);
    } else if (current != ICEncoding::NONE) {
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::FileNotFound, L"Encoded file '%s' not found", path);
    }
    if (backupExists) mf_implMoveBack(path, targetBackup);
}

void ICEncodedFile::mf_implCheckExchange(CString const & path, ICEncoding const & current, ICEncoding const & target)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_exchangeFileEncoding";

    if (path.IsEmpty()) throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"_rPath is empty");
    if (current == target)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Current encoding and target encoding are the same (%s)",
                       current.mf_toString());
    if (current != ICEncoding::NONE && !mf_implIsEncodingSupported(current))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Current encoding '%s' not supported", current.mf_toString());
    if (!mf_implIsEncodingSupported(target))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Parameter, L"Target encoding '%s' not supported", target.mf_toString());
}

// There is no history worth keeping.
void ICEncodedFile::mf_implDeleteEmptyFile(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_exchangeFileEncoding";

    ICTrace(_sFunction_).mf_debug(L"Deleting 0-byte file '%s'...", path);
    try {
        ICPath::mf_rm(path, 0);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure deleting current 0-byte file '%s':\r\n%s%s", path, ICLog::TAB,
                       failure.mf_toString());
    }
}

void ICEncodedFile::mf_implCreateBackupDirectory(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_exchangeFileEncoding";

    CString const directory = f_backupDirectory(path);
    if (ICPath::mf_exists(directory)) return;
    try {
        ICPath::mf_mkdirs(directory);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure creating backup directory '%s':\r\n%s%s", directory, ICLog::TAB,
                       failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_trace(L"Created backup directory '%s'", directory);
}

void ICEncodedFile::mf_implMoveAside(CString const & path, ICEncoding const & current)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_exchangeFileEncoding";

    CString backup = mf_implGetBackupPath(path, current);
    if (ICPath::mf_exists(backup)) {
        CString const unique = mf_implGetBackupPath2(path, current);
        ICTrace(_sFunction_)
            .mf_warning(L"Backup path '%s' already exists.\r\n%sUsing unique backup path '%s' ...", backup, ICLog::TAB,
                        unique);
        backup = unique;
    }
    try {
        ICPath::mf_move(path, backup, 0);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure moving current file '%s'\r\n%sto backup position '%s':\r\n%s%s", path,
                       ICLog::TAB, backup, ICLog::TAB, failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_trace(L"Moved current file '%s'\r\n%sto backup position '%s'", path, ICLog::TAB, backup);
}

void ICEncodedFile::mf_implMoveBack(CString const & path, CString const & backup)
{
    static wchar_t const _sFunction_[] = L"ICEncodedFile::mf_exchangeFileEncoding";

    try {
        ICPath::mf_move(backup, path, 0);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure moving file '%s'\r\n%sfrom backup position '%s':\r\n%s%s", path, ICLog::TAB,
                       backup, ICLog::TAB, failure.mf_toString());
    }
    ICTrace(_sFunction_).mf_trace(L"Moved file '%s'\r\n%sfrom backup position '%s'", path, ICLog::TAB, backup);
}
