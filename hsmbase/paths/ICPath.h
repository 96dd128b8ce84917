#pragma once

#include "hsmbase/Types.h"

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

    // The file part up to its last dot; a dot at its start doesn't count.
    static CString mf_getFileBaseName(CString const & path);

    // The platform's FILE_ATTRIBUTE_ bits. Throws _E_::Parameter for an empty path, _E_::FileNotFound where the system
    // says that there is no such path, and _E_::FileAccess for all else, the last two with the system error. With
    // `traceFailure` 0 a failure of the system leaves no trace line: for callers who expect it.
    static ulong mf_getAttributes(CString const & path, int traceFailure);

    // Whether there is such a file or directory. Never throws: what can't be looked at counts as not there, with a
    // warning in the trace.
    static int mf_exists(CString const & path);
};
