#pragma once

#include "hsmbase/failure/ICArray.h"
#include "hsmbase/failure/ICBool.h"
#include "hsmbase/paths/ICFileSize.h"

class ICBuffer;

// Names a file or a directory anywhere the client can reach it. A path is split once into server, volume, directory and
// file; every form of the same object is composed from these parts on request:
//
//     ICPath const path(L"D:\\data\\x.txt", 1);
//     path.mf_getUNCPath();                              // "\\HOST\D$\data\x.txt"
//     if (path.mf_isLocal()) path.mf_getDriverPath();    // "Volume{...}\data\x.txt"
//
// The static operations work on path texts, files and directories:
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
// Operations on files take paths of any length, but for mf_copy: they add the long prefix themselves (see ICLongPath).
// They never recall a file by looking at it: what they open, they open as the reparse point itself.
//
// "With the system error" means that the failure carries the platform's error number. Where nothing else is said, a
// file or handle that was opened is closed again after a failure, and what was written or made by then stays.
//
// Threads: a value belongs to one thread at a time, even for questions, which keep two answers. The static operations
// keep no state.
class HSMBASE_EXPORT ICPath
{
public:
    ICPath();

    // Parses `text`, which names a file unless `isFile` is 0. Throws _E_::Initialization, with the cause in the trace.
    ICPath(CString const & text, int isFile);

    // See mf_initialize.
    ICPath(CString const & server, CString const & volume, CString const & directory, CString const & file);

    // The parts alone: the copy finds out anew whether it is local and whether it is a shadow copy.
    ICPath(ICPath const & other);

    // The parts alone: what this path knew of being local or a shadow copy, it goes on answering.
    ICPath & operator=(ICPath const & other);
    virtual ~ICPath();

    // As "srv='HOST' vol='D:' dir='\data\' file='x.txt'".
    virtual CString mf_toString() const;

    // Parses `text`, in any form but the driver's, with or without long prefix. Server and volume become upper case. A
    // path on a mapped drive gets server and share of the drive.
    //
    // Throws _E_::Parameter for an empty text, a UNC path without a backslash behind its server, a file path without
    // file and a RAM disk (shadow copies have its drive type), _E_::NotSupported for a relative path and any other
    // drive that is neither fixed nor remote, and what ICVolume::mf_getVolumeRoot, ICSystem::mf_getHostName and
    // ICSystem::mf_getServerShareName throw. Parts that were stored by then stay.
    void mf_initialize(CString const & text, int isFile);

    // Takes the parts, server and volume in upper case, the directory with a backslash at its end unless it is empty.
    void mf_initialize(CString const & server, CString const & volume, CString const & directory, CString const & file);

    // Back to an empty path. Whether it is a shadow copy stays as it was known.
    void mf_reset();

    // Without backslashes.
    CString const & mf_getServerPart() const;

    // "D:", the name of a share, or the root of a shadow copy without backslash at its end.
    CString const & mf_getVolumePart() const;

    // Below the volume, the root being a single backslash. Once parsed it ends in a backslash, and begins with one
    // unless the text had none behind the drive.
    CString const & mf_getDirectoryPart() const;

    // Empty for a directory.
    CString const & mf_getFilePart() const;

    // Take the text as it is, but for the backslash that a directory gets at its end. `directory` must not be empty.
    void mf_setServerPart(CString const & server);
    void mf_setVolumePart(CString const & volume);
    void mf_setDirectoryPart(CString const & directory);
    void mf_setFilePart(CString const & file);

    // Whether any part is set.
    int mf_isInitialized() const;
    int mf_isDirectory() const;
    int mf_isFile() const;

    // Whether the path lies on a local volume that may be managed; a share of this machine doesn't. Parsing finds it
    // out but for UNC paths, else the first question does; it is not asked again when parts change. Throws what
    // ICSystem::mf_isLocalServer throws, after which the answer is 0.
    int mf_isLocal() const;

    // Found out and kept like mf_isLocal.
    int mf_isShadowCopy() const;

    // Whether the object is there; see the static one. Throws what mf_isLocal throws.
    int mf_exists() const;

    // The form that fits: NTFS for a local path, shadow copy for a local shadow copy, else UNC. Throw, like the NTFS
    // and the driver form, what mf_isLocal throws.
    CString mf_getPath() const;
    CString mf_getDirectory() const;

    // For a path that is not local the UNC form, with a warning in the trace.
    CString mf_getNTFSPath() const;
    CString mf_getNTFSDirectory() const;

    // For a shadow copy the shadow copy form.
    CString mf_getUNCPath() const;
    CString mf_getUNCDirectory() const;

    // By the id of the volume; cannot be parsed again. Throw what ICVolume::mf_getIdPath throws.
    CString mf_getDriverPath() const;
    CString mf_getDriverDirectory() const;

    // Volume and directory, whatever the path is.
    CString mf_getShadowCopyPath() const;
    CString mf_getShadowCopyDirectory() const;

    // By server, volume, directory and file, in this order: below 0, 0 or above 0.
    int mf_compare(ICPath const & other) const;
    int mf_compareNoCase(ICPath const & other) const;
    int operator==(ICPath const & other) const;
    int operator!=(ICPath const & other) const;
    int operator<(ICPath const & other) const;
    int operator>(ICPath const & other) const;

    // Puts the other's directory behind this one's and takes its file, if it has one. Throws _E_::Internal if this path
    // has a file already.
    void mf_appendComponent(ICPath const & other);

    static int mf_compare(CString const & first, CString const & second, int caseSensitive);

    // The form of a path text, by its first characters alone.
    static int mf_isNTFSPathName(CString const & path);
    static int mf_isUNCPathName(CString const & path);
    static int mf_isDriverPathName(CString const & path);
    static int mf_isShadowCopyPathName(CString const & path);

    // Any of the four.
    static int mf_isAbsolutePathName(CString const & path);

    // Whether the text is the root of a volume: "D:\", "\\HOST\D$\", "Volume{...}\" or that of a shadow copy. Of UNC
    // paths it knows only whether four characters follow the server. Throws _E_::Parameter for fewer than three
    // characters and _E_::Path for a text of no form.
    static int mf_isRootDirectory(CString const & directory);

    // Whether any name in the path has more than 255 characters.
    static int mf_isTooLongName(CString const & path);

    // Whether `child` is `parent` or lies below it, by the texts, without regard to case. None may be empty.
    static int mf_isSubDirectory(CString const & parent, CString const & child);

    // By the type of the drive; shadow copies are local. Throw _E_::NotSupported for any other drive that is neither
    // fixed nor remote, and what ICVolume::mf_getVolumeRoot throws.
    static int mf_isLocal(CString const & path);
    static int mf_isRemote(CString const & path);

    // With a backslash at its end. `directory` must not be empty.
    static CString mf_normalizeDirectory(CString const & directory);

    // The two with one backslash at the joint; if one is empty, the other.
    static CString mf_appendComponent(CString const & path, CString const & component);

    // The same with a backslash at the end. Not both may be empty.
    static CString mf_appendDirectory(CString const & path, CString const & directory);

    // The same for a file; an empty one answers `directory`. Throws _E_::Parameter for a file that begins with a
    // backslash.
    static CString mf_appendFile(CString const & directory, CString const & file);

    // Without the last name, with a backslash at the end; empty, with a trace line, if there is no other.
    static CString mf_removeComponent(CString const & path);

    // What stands behind the last backslash; the whole text if it has none. Empty, with a trace line, for a text that
    // is empty or ends in a backslash.
    static CString mf_getFilePart(CString const & path);

    // What stands before the file part, the backslash included; empty if there is no backslash.
    static CString mf_getLocationPart(CString const & path);

    // The file part up to its last dot; a dot at its start doesn't count.
    static CString mf_getFileBaseName(CString const & path);

    // What stands behind the last dot of the whole text, a directory's too, in lower case; empty without dot.
    static CString mf_getFileTypeName(CString const & path);

    // By the current directory; that itself for an empty text. Throws _E_::System and _E_::BufferTooSmall, both with
    // the system error, the second without it if the directory became longer meanwhile, and _E_::Memory.
    static CString mf_getAbsolutePath(CString const & path);

    // What stands behind drive or server and share, without a backslash ahead; `path`, with a trace line, if it has
    // neither. Throws _E_::Path for a UNC path without a backslash behind its share.
    static CString mf_getRelativePath(CString const & path);

    // The platform's FILE_ATTRIBUTE_ bits. Throws _E_::Parameter for an empty path, _E_::FileNotFound where the system
    // says that there is no such path, and _E_::FileAccess for all else, the last two with the system error. With
    // `traceFailure` 0 a failure of the system leaves no trace line: for callers who expect it.
    static ulong mf_getAttributes(CString const & path, int traceFailure);

    // Sets exactly these attributes. Throws _E_::FileNotFound for the system errors 2 and 3 alone, which are fewer than
    // with mf_getAttributes, else _E_::FileAccess, both with the system error.
    static void mf_setAttributes(CString const & path, ulong attributes);

    // Set or clear these bits alone. Throw _E_::FileAccess with the system error. Attributes that can't be read count
    // as none for mf_removeAttributes.
    static void mf_addAttributes(CString const & path, ulong attributes);
    static void mf_removeAttributes(CString const & path, ulong attributes);

    // As "READONLY, OFFLINE" with ", " as separator. Bits without a name are left out.
    static CString mf_getAttributesString(ulong attributes, CString const & separator);

    // Of attributes that were got before. The first and the last answer the bit, not a truth value.
    static int mf_isDirectory(ulong attributes);
    static int mf_isFile(ulong attributes);
    static int mf_isReadonly(ulong attributes);

    // The same by asking; throw what mf_getAttributes throws.
    static int mf_isDirectory(CString const & path);
    static int mf_isFile(CString const & path);
    static int mf_isReadonly(CString const & path);

    // Attributes, times and size. Throws _E_::FileAccess with the system error.
    static void mf_getW32FileAttributes(void * const file, _WIN32_FILE_ATTRIBUTE_DATA & data);

    // The same by path, without recalling a file whose data is offline and without following a reparse point.
    // Throws besides _E_::FileNotFound where the system says that there is no such file, _E_::FileOpen, also for a
    // directory, and _E_::FileClose, all with the system error.
    static void mf_getW32FileAttributes(CString const & path, _WIN32_FILE_ATTRIBUTE_DATA & data);

    // Sets times, then attributes; the attributes stay if the times fail. Throws what mf_setTimes and mf_setAttributes
    // throw.
    static void mf_setW32FileAttributes(CString const & path, _WIN32_FILE_ATTRIBUTE_DATA const & data);

    // The same for this path, in its NTFS form. Throws besides what mf_isLocal throws.
    void mf_applyW32FileAttributes(_WIN32_FILE_ATTRIBUTE_DATA const & data) const;

    // The entry of one file or directory in its directory; backslashes at the end of the path don't count. Throws
    // _E_::Parameter for an empty path, _E_::FileNotFound where the system says that there is no such file, else
    // _E_::FileAccess, and _E_::System if the search can't be closed, the last three with the system error. `data` is 0
    // if nothing was found.
    static void mf_getW32FindData(CString const & path, _WIN32_FIND_DATAW & data);

    // Throws _E_::FileAccess with the system error.
    static void mf_getTimes(void * const file, _FILETIME & creation, _FILETIME & lastAccess, _FILETIME & lastWrite);

    // Throws besides _E_::FileOpen, also for a directory, and _E_::FileClose, with the system error. After a failure
    // the times are 0.
    static void mf_getTimes(CString const & path, _FILETIME & creation, _FILETIME & lastAccess, _FILETIME & lastWrite);

    // Throws _E_::FileAccess with the system error.
    static void mf_setTimes(void * const file, _FILETIME const & creation, _FILETIME const & lastAccess,
                            _FILETIME const & lastWrite);

    // The same for a file or directory, with the thread's privileges to debug and to restore enabled meanwhile. Throws
    // besides _E_::FileOpen and _E_::FileClose, with the system error, and what ICSystem::mf_adjustDebugAccess and
    // ICSystem::mf_adjustSecurityAccess throw.
    static void mf_setTimes(CString const & path, _FILETIME const & creation, _FILETIME const & lastAccess,
                            _FILETIME const & lastWrite);

    // The logical size in bytes, also of a file whose data is offline. Throws what mf_getW32FileAttributes throws.
    static ICFileSize mf_getSize(CString const & path);

    // What the file takes on the disk, in bytes. Throws _E_::FileAccess with the system error.
    static ICFileSize mf_getCompressedSize(CString const & path);

    // Sets owner, group and access list, and the audit list if the descriptor has one, with the thread's privileges for
    // it enabled meanwhile. `descriptor` holds a self-relative one of the platform. Throws _E_::Parameter for an empty
    // path and an unset buffer, _E_::Security with the system error, and what ICSystem::mf_adjustSecurityAccess throws.
    static void mf_setSecurityDescriptor(CString const & path, ICBuffer const & descriptor);

    // The same for this path, in its NTFS form, but an unset buffer is _E_::Initialization. Throws besides what
    // mf_isLocal throws.
    void mf_applySecurityDescriptor(ICBuffer const & descriptor) const;

    // Copy what follows the positions of the handles to the end of the source, 64 KiB at a time, and answer the number
    // of bytes. Handles that are passed stay open. Opened files are open for this operation alone; without `force` the
    // target must not exist, with it an existing one is replaced. Paths are limited to the platform's 260 characters.
    //
    // Throw _E_::Memory, _E_::FileRead and _E_::FileWrite with the system error, _E_::FileOpen, without system error
    // for the source and with it for the target, which must not be a directory either, and _E_::FileExists with it. A
    // file that can't be closed only leaves a line in the trace.
    static ICFileSize mf_copy(void * const source, void * const target);
    static ICFileSize mf_copy(CString const & source, void * const target);

    // Always fails with _E_::FileRead, once the target is made: callers know it as such.
    static ICFileSize mf_copy(void * const source, CString const & target, int force);
    static ICFileSize mf_copy(CString const & source, CString const & target, int force);

    // Copies behind the end of the target and answers the target's new end. Throws _E_::FileSeek with the system error,
    // and what mf_copy throws.
    static ICFileSize mf_append(void * const source, void * const target);

    // Whether there is such a file or directory. Never throws: what can't be looked at counts as not there, with a
    // warning in the trace.
    static int mf_exists(CString const & path);

    // Moves a file or directory within its volume and answers 1. Where `target` is a directory, the source goes into it
    // under its own name. What has the target's name already is deleted with `force`; without, _E_::FileExists is
    // thrown. Throws _E_::Parameter for an empty source, and _E_::FileMove with the system error, in which case what
    // `force` has deleted is gone: a file moved onto itself is lost that way.
    static int mf_move(CString const & source, CString const & target, int force);

    // Deletes a file and answers 1; `force` takes off the read-only attribute first and puts the attributes back if the
    // deletion fails. Throws _E_::FileAccess with the system error.
    static int mf_rm(CString const & path, int force);

    // Deletes the files of a directory that match a pattern such as "*.tmp", and leaves directories alone. Answers 0 if
    // any file could not be deleted. Throws _E_::OpenHandle if nothing matches, and _E_::FileSystem, after the whole
    // walk, if the directory could not be read; both with the system error.
    static int mf_rm(CString const & directory, CString const & pattern, int force);

    // Makes one directory; one that is there already is a failure. Throws _E_::FileOpen with the system error.
    static void mf_mkdir(CString const & path);

    // Makes the directory and those on the way there, as far as they are missing; none, with a warning in the trace, if
    // the path is there, whatever it is. The server and share of a UNC path are not made.
    // Throws _E_::Parameter, with nothing made, if a name in the path has more than 255 characters, _E_::Memory, and
    // what mf_mkdir throws, in which case the directories that were made stay.
    static void mf_mkdirs(CString const & path);

    // Removes an empty directory; one that is not there only leaves a warning. Throws _E_::FileOpen with the system
    // error.
    static void mf_rmdir(CString const & path);

    // Removes a directory with all that is in it, read-only files too. A link to a directory counts as one: what it
    // leads to is removed. Throws _E_::Internal for a path that is no directory, and what mf_isDirectory,
    // mf_listContent, mf_rm and mf_rmdir throw; what was removed by then is gone.
    static void mf_rmdirs(CString const & path);

    // Appends the names in a directory, "." and ".." too where the system has them, in its order. Throws _E_::Internal
    // for a path that is no directory, what mf_isDirectory throws, and _E_::FileSystem or _E_::System, both with the
    // system error, after which `names` is empty.
    static void mf_listContent(CString const & directory, ICArray<CString, CString &> & names);

    // Sort texts in place, with and without regard to case. Throw _E_::Memory, which leaves the array as it was, and
    // _E_::Unexpected if the class library finds no memory, which leaves it empty.
    static void mf_sort(ICArray<CString *, CString *> & names);
    static void mf_sortNoCase(ICArray<CString *, CString *> & names);

    // Loads a file of less than 4 GiB. The caller frees `buffer`, which is never NULL, with free. `size` must be less
    // than 1 GiB as it comes, else _E_::FileSizeExceeded is thrown and both stay; after all other failures both are 0.
    // Throws what mf_getSize throws, _E_::FileSizeExceeded for a larger file too, _E_::Memory, and _E_::FileAccess,
    // _E_::FileRead and _E_::FileClose with the system error.
    static void mf_FileToBuffer(CString const & path, void *& buffer, ICFileSize & size);

    // Writes to the handle's position; without `data`, makes the file sparse, of that size and without content. Size 0
    // cuts the file at its position. Throws _E_::Parameter for an invalid handle, _E_::FileSizeExceeded for data of
    // 1 GiB or more, or less than none, and _E_::FileAccess and _E_::FileWrite with the system error.
    static void mf_BufferToFile(void * const file, void const * data, ICFileSize const & size);

    // The same to the beginning of a file, which is made if it is missing, as are its directories; a longer one keeps
    // the rest unless `size` is 0. Throws besides _E_::FileOpen and _E_::FileClose with the system error, and what
    // mf_mkdirs throws.
    static void mf_BufferToFile(CString const & path, void const * data, ICFileSize const & size);

    // Without backslash at its end, unless it is a root. Throws _E_::Path with the system error, _E_::Memory, and
    // _E_::BufferTooSmall if another thread changed to a longer one meanwhile.
    static CString mf_getCurrentDirectory();

    // With a backslash at its end. Throws as mf_getCurrentDirectory.
    static CString mf_getTempDirectory();

    // Makes an empty file of a name that is new in the temporary directory and begins with the first three characters
    // of `prefix`. Throws what mf_getTempDirectory throws, _E_::Memory, and _E_::Path with the system error.
    static CString mf_getTempPath(CString const & prefix);

    // A name beside the file, by the present time; nothing is made, and two calls may answer the same.
    static CString mf_getAsideTempPath(CString const & path);

    // "a.log", "a-00.log", "a-01.log" and so on; behind "a-99.log" comes "a-100.log" and then "a-100-00.log". Throws
    // _E_::Parameter for a name without dot, and lets the class library refuse one that has nothing ahead of the dot,
    // or one or two digits alone.
    static CString mf_createNextFileName(CString const & name);

    // The path to which a link leads; the path itself for one that is none. What it leads to is opened for that. Throws
    // _E_::FileOpen, _E_::FileSystem and _E_::FileClose with the system error, and _E_::Memory.
    static CString mf_SymlinkToDirectory(CString const & path);

private:
    int mf_implIsDriveLetterVolume() const;
    static void mf_implClearTarget(CString const & source, CString const & target, int force);
    static void mf_implRecoverAttributes(CString const & path, ulong attributes);

    void mf_implInitFromPath(CString const & text, int isFile);
    void mf_implInitLocalServerAndVolume(CString const & root);
    void mf_implInitRemoteServerAndVolume(CString const & root);
    void mf_implInitShadowCopyServerAndVolume(CString const & root);
    void mf_implInitFromUNCPath(CString const & text, int isFile);
    void mf_implInitDirectoryAndFile(CString const & text, int start, int isFile);
    static wchar_t const * mf_implGetDriveTypeString(unsigned int driveType);

    static void * mf_implOpenSourceFile(CString const & path);
    static void * mf_implOpenTargetFile(CString const & path, int force);
    static void mf_implCloseFile(void * const file);

    CString m_szServer;
    CString m_szVolume;
    CString m_szDirectory;
    CString m_szFile;
    mutable ICBool m_isLocal;
    mutable ICBool m_isShadowCopy;
};
