#pragma once

#include "hsmbase/failure/ICArray.h"

class ICFileSize;
class ICFileTime;

// The one door to the system's configuration. A process has one root below which the system keeps its values; every
// operation is static, names a value, its path and the root key, opens the key, does one thing and closes the key.
//
//     ICRegistry::mf_createInstance(L"SOFTWARE\\HSM");
//
//     CString const root = ICRegistry::mf_getRegistryRoot(L"");
//     ulong days = 30;                                                        // the default
//     ICRegistry::mf_getOrSetValue(L"DaysToKeep", days, root, HKEY_LOCAL_MACHINE);
//     ICRegistry::mf_setValue(L"Retries", 5ul, L"", HKEY_LOCAL_MACHINE);      // 5 would be the boolean form
//
// Paths are relative to the key. An empty path stands for the subtree of this program, mf_getRegistryPath(L""); any
// other is taken verbatim. An empty name is the key's default value.
//
//     in the interface    stored as
//     ulong               REG_DWORD
//     int, a boolean      REG_DWORD, 0 or 1
//     CString             REG_SZ or REG_EXPAND_SZ; reading takes either and expands the latter
//     ICFileTime          REG_SZ, "2024-01-31 12:00:00", UTC
//     ICFileSize          REG_QWORD
//     array of CString *  REG_MULTI_SZ; the array's strings belong to the caller
//
// A string to read has at most 511 characters, a list 4096 with all terminators: longer values can be stored by others
// and fail when read. Reading an expandable string gives the expanded text only where that is shorter than the stored
// one; else the stored text.
//
// A failure of the platform is ICErrno::_E_::Registry with the system's error number. The first failure of an operation
// is the one thrown, after the key was closed; a close that fails alone is thrown too.
//
// The logs take their settings from here, so the class is silent until the open log calls mf_activateLogging.
//
// Threads: any may call at the same time, there is no lock. Reading, changing and writing back (mf_getOrSetValue,
// mf_appendToValues, mf_removeFromValues) is not atomic: of two at once, one change can be lost. The instance is made
// and deleted while there is one thread.
class HSMBASE_EXPORT ICRegistry
{
public:
    ICRegistry(ICRegistry const & other) = default;
    ICRegistry & operator=(ICRegistry const & other) = default;

    // `root` is kept verbatim. Throws AlreadyInitialized for a second instance, Memory.
    static void mf_createInstance(CString const & root);

    // Without an instance nothing happens.
    static void mf_deleteInstance();

    // From here on failures and changes leave trace lines. The argument plays no part: there is no way back.
    static void mf_activateLogging(int);

    // The root, and `sub` below it unless that is empty. "<Instance not initialized>" before mf_createInstance; used as
    // a path, this text is a key like any other.
    static CString const mf_getRegistryRoot(CString const & sub);

    // The subtree of this program: the root, the name of the process in lower case, and `sub` unless that is empty.
    // Without an instance as mf_getRegistryRoot.
    static CString const mf_getRegistryPath(CString const & sub);

    // "HKLM", "HKEY_LOCAL_MACHINE", "HKCU", "HKEY_CURRENT_USER", in capitals; NULL for anything else.
    static HKEY mf_getSectionKeyFromString(CString const & section);

    // The way back. Other keys than these two give a text that shows the handle.
    static CString const mf_getSectionKeyString(HKEY const key, int shortForm);

    // Reading. The output is 0 or empty after a failure. Throw Registry also where there is no such value, Unexpected
    // for a value of another type. The ICFileTime form throws what the parsing of the stored text throws.
    static void mf_getValue(CString const & name, ulong & value, CString const & path, HKEY const key);
    static void mf_getValue(CString const & name, int & value, CString const & path, HKEY const key);
    static void mf_getValue(CString const & name, ICFileTime & value, CString const & path, HKEY const key);
    static void mf_getValue(CString const & name, ICFileSize & value, CString const & path, HKEY const key);
    static void mf_getValue(CString const & name, CString & value, CString const & path, HKEY const key);

    // Writing. Missing keys are created. Throw Registry.
    static void mf_setValue(CString const & name, ulong value, CString const & path, HKEY const key);
    static void mf_setValue(CString const & name, int value, CString const & path, HKEY const key);
    static void mf_setValue(CString const & name, ICFileTime const & value, CString const & path, HKEY const key);
    static void mf_setValue(CString const & name, ICFileSize const & value, CString const & path, HKEY const key);
    static void mf_setValue(CString const & name, CString const & value, CString const & path, int expandable,
                            HKEY const key);

    // Reading with a default, which `value` holds. 1: the value was absent and this call stored the default. 0: it was
    // there and was read, or reading or writing failed and `value` holds the default again; the stored value stays as
    // it is. Throw Registry only where it cannot be told whether the value exists.
    static int mf_getOrSetValue(CString const & name, ulong & value, CString const & path, HKEY const key);
    static int mf_getOrSetValue(CString const & name, int & value, CString const & path, HKEY const key);
    static int mf_getOrSetValue(CString const & name, ICFileTime & value, CString const & path, HKEY const key);
    static int mf_getOrSetValue(CString const & name, ICFileSize & value, CString const & path, HKEY const key);
    static int mf_getOrSetValue(CString const & name, CString & value, CString const & path, int expandable,
                                HKEY const key);

    // Reads a list into an empty array, to which new strings are added. The list ends at its first empty string, which
    // hides what others may have stored behind it. Throws Parameter for an array that is not empty, Registry,
    // Unexpected for a value of another type; the array is then empty.
    static void mf_getValues(CString const & name, ICArray<CString *, CString *> & result, CString const & path,
                             HKEY const key);

    // Writes a list; NULL entries are left out. Throws BufferTooSmall for a list that is too long, before the registry
    // is touched, and Registry.
    static void mf_setValues(CString const & name, ICArray<CString *, CString *> const & values, CString const & path,
                             HKEY const key);

    // Reading with defaults, which `values` holds. 1: the value was absent and this call stored the defaults. 0: it was
    // there, and the strings of the array were assigned the stored texts. The defaults fix the length: a stored list of
    // another length throws Unexpected. Unlike the forms for single values, all failures are thrown; the array's
    // strings then are as before.
    static int mf_getOrSetValues(CString const & name, ICArray<CString *, CString *> & values, CString const & path,
                                 HKEY const key);

    // Adds `value` at the end of the list, which is made if it is absent; duplicates are not looked for. Answers 1.
    static int mf_appendToValues(CString const & name, CString const & value, CString const & path, HKEY const key);

    // Removes the first entry that equals `value`. 1 if there was one, else 0, also for an absent list. The list stays
    // when its last entry goes.
    static int mf_removeFromValues(CString const & name, CString const & value, CString const & path, HKEY const key,
                                   int caseSensitive);

    // The strings of a REG_MULTI_SZ text, which must end in an empty one, as new strings in an array that must be
    // empty. Throws Parameter, Memory, and DataCorrupted for any exception on the way; the array is then empty.
    static void mf_createArrayFromMultSz(wchar_t const * strings, ICArray<CString *, CString *> & result);

    // The way back, into `buffer` of `bufferChars` characters, which is zeroed first; NULL entries are left out.
    // Answers the number of characters used, all terminators included: 1 for no strings. Throws Parameter for a NULL
    // buffer, and BufferTooSmall, with a zeroed buffer, where not at least one character stays to spare.
    static ulong mf_createMultSzFromArray(ICArray<CString *, CString *> const & values, wchar_t * buffer,
                                          ulong bufferChars);

    // Whether there is such a value, and may be queried. An absent key is no failure; a key that cannot be opened for
    // another reason throws Registry.
    static int mf_exists(CString const & name, CString const & path, HKEY const key);

    // The same for a key. An empty path is the root key itself.
    static int mf_PathExists(CString const & path, HKEY const key);

    // Creates the key `name` below `path`, with all levels that are missing; one that exists is no failure. Throws
    // Parameter for an empty name, Registry.
    static void mf_create(CString const & name, CString const & path, HKEY const key);

    // Deletes the key `name` below `path`: 1 if it was there and is gone, 0 if there was none. Throws Parameter for an
    // empty name, which the platform would take as the parent itself; Registry, also for a key that has subkeys.
    static int mf_delete(CString const & name, CString const & path, HKEY const key);

    // Copies all values of the key `source` into the key `target`, which is made if it is missing, byte by byte and
    // without subkeys; answers their number. Both paths are verbatim. A value that the target has is overwritten;
    // `noCheck` saves the trace line that tells so. Throws Registry, also for a value of more than 1024 bytes, and
    // Internal; values that were copied by then stay.
    static ulong mf_copyValues(CString const & source, CString const & target, int noCheck, HKEY const key);

    // The names of subkeys and of values, as new strings in an array that must be empty; a key's default value has an
    // empty name. The path is verbatim: an empty one is the root key itself. A key that doesn't exist is a failure.
    // Throws Parameter for an array that isn't empty; Registry, also for a name of 256 characters and more: what was
    // found by then is in the array.
    static void mf_getSubKeys(CString const & path, ICArray<CString *, CString *> & result, HKEY const key);
    static void mf_getSubValues(CString const & path, ICArray<CString *, CString *> & result, HKEY const key);

    // Their numbers. The path is verbatim. Throw Registry.
    static ulong mf_getSubKeyCount(CString const & path, HKEY const key);
    static ulong mf_getSubValueCount(CString const & path, HKEY const key);

    // 1 if the value was there and is gone, 0 if there was none. Throws Registry.
    static int mf_deleteValue(CString const & name, CString const & path, HKEY const key);

private:
    friend struct REGISTRY_TRACE_GATE;

    explicit ICRegistry(CString const & root);
    ~ICRegistry() = default;

    static int mf_implIsLoggingOn();

    // Reads the raw value into a buffer, which is zeroed first. Strings in it are terminated.
    static void mf_implGetValueData(CString const & name, ulong expectedType, void * data, ulong dataBytes,
                                    CString const & path, HKEY const key);

    static ICRegistry * m_pThis;

    CString m_root;
    int m_isLoggingOn;
};
