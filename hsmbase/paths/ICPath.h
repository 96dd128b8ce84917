#pragma once

#include "hsmbase/paths/ICFileSize.h"

// Names files and directories anywhere the client can reach them.
//
// The static operations work on path texts:
//
//     CString const file = ICPath::mf_appendFile(directory, L"report.txt");
//     if (ICPath::mf_exists(file)) ...
//
// The only delimiter is the backslash; a slash is an ordinary character. Forms of a path, with an example:
//
//     NTFS          D:\data\x.txt
//     UNC           \\HOST\D$\data\x.txt
//     driver        Volume{...}\data\x.txt
//     shadow copy   \\?\GLOBALROOT\Device\HarddiskVolumeShadowCopy7\data\x.txt
//
// Operations on files take paths of any length: they add the long prefix themselves (see ICLongPath).
//
// Threads: the static operations keep no state.
class HSMBASE_EXPORT ICPath
{
public:
    // The form of a path text, by its first characters alone.
    static int mf_isNTFSPathName(CString const & path);
    static int mf_isUNCPathName(CString const & path);
    static int mf_isDriverPathName(CString const & path);
    static int mf_isShadowCopyPathName(CString const & path);

    // Any of the four.
    static int mf_isAbsolutePathName(CString const & path);

    // With a backslash at its end. `directory` must not be empty.
    static CString mf_normalizeDirectory(CString const & directory);

    // The two with one backslash at the joint; if one is empty, the other.
    static CString mf_appendComponent(CString const & path, CString const & component);

    // The same for a file; an empty one answers `directory`. Throws _E_::Parameter for a file that begins with a
    // backslash.
    static CString mf_appendFile(CString const & directory, CString const & file);

    // What stands behind the last backslash; the whole text if it has none. Empty, with a trace line, for a text that is
    // empty or ends in a backslash.
    static CString mf_getFilePart(CString const & path);

    // What stands before the file part, the backslash included; empty if there is no backslash.
    static CString mf_getLocationPart(CString const & path);

    // The file part up to its last dot; a dot at its start doesn't count.
    static CString mf_getFileBaseName(CString const & path);

    // The platform's FILE_ATTRIBUTE_ bits. Throws _E_::Parameter for an empty path, _E_::FileNotFound where the system
    // says that there is no such path, and _E_::FileAccess for all else, the last two with the system error. With
    // `traceFailure` 0 a failure of the system leaves no trace line: for callers who expect it.
    static ulong mf_getAttributes(CString const & path, int traceFailure);

    // Sets exactly these attributes. Throws _E_::FileNotFound for the system errors 2 and 3 alone, which are fewer than
    // with mf_getAttributes, else _E_::FileAccess, both with the system error.
    static void mf_setAttributes(CString const & path, ulong attributes);

    // The bit of attributes that were got before, not a truth value.
    static int mf_isDirectory(ulong attributes);
    static int mf_isReadonly(ulong attributes);

    // The same by asking; throws what mf_getAttributes throws.
    static int mf_isDirectory(CString const & path);

    // Attributes, times and size. Throws _E_::FileAccess with the system error.
    static void mf_getW32FileAttributes(void * const file, _WIN32_FILE_ATTRIBUTE_DATA & data);

    // The same by path, without recalling a file whose data is offline and without following a reparse point.
    // Throws besides _E_::FileNotFound where the system says that there is no such file, _E_::FileOpen, also for a
    // directory, and _E_::FileClose, all with the system error.
    static void mf_getW32FileAttributes(CString const & path, _WIN32_FILE_ATTRIBUTE_DATA & data);

    // The logical size in bytes, also of a file whose data is offline. Throws what mf_getW32FileAttributes throws.
    static ICFileSize mf_getSize(CString const & path);

    // Whether there is such a file or directory. Never throws: what can't be looked at counts as not there, with a
    // warning in the trace.
    static int mf_exists(CString const & path);

    // Moves a file or directory within its volume and answers 1. Where `target` is a directory, the source goes into it
    // under its own name. What has the target's name already is deleted with `force`; without, _E_::FileExists is thrown.
    // Throws _E_::Parameter for an empty source, and _E_::FileMove with the system error, in which case what `force` has
    // deleted is gone: a file moved onto itself is lost that way.
    static int mf_move(CString const & source, CString const & target, int force);

    // Deletes a file and answers 1; `force` takes off the read-only attribute first and puts the attributes back if the
    // deletion fails. Throws _E_::FileAccess with the system error.
    static int mf_rm(CString const & path, int force);

    // Makes one directory; one that is there already is a failure. Throws _E_::FileOpen with the system error.
    static void mf_mkdir(CString const & path);

    // Makes the directory and those on the way there, as far as they are missing; none, with a warning in the trace, if
    // the path is there, whatever it is. The server and share of a UNC path are not made.
    // Throws _E_::Parameter, with nothing made, if a name in the path has more than 255 characters, _E_::Memory, and what
    // mf_mkdir throws, in which case the directories that were made stay.
    static void mf_mkdirs(CString const & path);

    // Without backslash at its end, unless it is a root. Throws _E_::Path with the system error, _E_::Memory, and
    // _E_::BufferTooSmall if another thread changed to a longer one meanwhile.
    static CString mf_getCurrentDirectory();

private:
    static void mf_implClearTarget(CString const & source, CString const & target, int force);
    static void mf_implRecoverAttributes(CString const & path, ulong attributes);
};
