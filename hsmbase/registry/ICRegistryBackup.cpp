#include "hsmbase/registry/ICRegistryBackup.h"

#include <algorithm>
#include <cstring>

#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/registry/internal/ICOwnedStrings.h"
#include "hsmbase/text/ICEncoding.h"

namespace
{

constexpr wchar_t HEADER[] = L"Windows Registry Editor Version 5.00";
constexpr wchar_t LINE_ENDS[] = L"\r\n";
constexpr ulong MARK_BYTES = 2;

CString f_sectionOf(HKEY key)
{
    return ICRegistry::mf_getSectionKeyString(key, 1);
}

// Whether there is no name, which leaves a line and is no failure.
bool f_isMissing(ICArray<CString *, CString *> const & names, INT_PTR index)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_implBackupPath";

    if (names[index] != nullptr) return false;
    ICTrace(_sFunction_).mf_error(L"String with index=%d is NULL", static_cast<int>(index));
    return true;
}

void f_store(CString const & text, ICBuffer & target)
{
    unsigned char mark[MARK_BYTES];
    ICEncoding::mf_getByteOrderMark(ICEncoding::UCS2_LE, mark);
    ulong const bytes = static_cast<ulong>(text.GetLength()) * sizeof(wchar_t);
    auto * const data = static_cast<unsigned char *>(target.mf_create(MARK_BYTES + bytes));
    std::memcpy(data, mark, MARK_BYTES);
    std::memcpy(data + MARK_BYTES, text.GetString(), bytes);
}

// The characters behind the mark. They are copied as bytes, for a view may lie at an odd address.
CString f_load(ICBuffer const & source)
{
    ulong const bytes = source.mf_getSize() - MARK_BYTES;
    CString text;
    std::memcpy(text.GetBufferSetLength(static_cast<int>(bytes / sizeof(wchar_t))),
                static_cast<unsigned char const *>(source.mf_getData()) + MARK_BYTES, bytes);
    return text;
}

void f_deleteOutput(ICBuffer & target)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_backup";

    try {
        if (target.mf_isInitialized()) target.mf_delete();
    }
    catch (ICErrno & failure) {
        // The failure that the buffer is deleted for is the one to tell of.
        ICTrace(_sFunction_).mf_error(L"Failure deleting output buffer:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
}

void f_checkEncoding(ICBuffer const & source)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_restore";

    ICEncoding encoding;
    try {
        encoding = ICEncoding::mf_getEncoding(static_cast<unsigned char const *>(source.mf_getData()));
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure analyzing buffer encoding:\r\n%s%s", ICLog::TAB, failure.mf_toString());
    }
    if (encoding != ICEncoding::UCS2_LE)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::DataCorrupted, L"Buffer encoding is not UCS-2LE");
}

// Whether the line begins and ends so. It has two characters at least.
bool f_isBetween(CString const & line, wchar_t first, wchar_t last)
{
    return line[0] == first && line[line.GetLength() - 1] == last;
}

} // namespace

// Where the values of a text go.
struct ICRegistryBackup::SECTION
{
    HKEY m_key = nullptr;
    CString m_path;
};

CString ICRegistryBackup::mf_implEscapeString(CString const & text)
{
    CString escaped = text;
    escaped.Replace(L"\\", L"\\\\");
    return escaped;
}

CString ICRegistryBackup::mf_implRevertString(CString const & text)
{
    CString reverted = text;
    reverted.Replace(L"\\\\", L"\\");
    return reverted;
}

int ICRegistryBackup::mf_backup(ICBuffer & target, CString const & path, HKEY const key, int skipDotKeys)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_backup";

    if (target.mf_isInitialized())
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::AlreadyInitialized, L"Backup data buffer is already initialized");
    if (!ICRegistry::mf_PathExists(path, key))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::FileNotFound, L"Registry backup root '%s\\%s' does not exist", f_sectionOf(key),
                       path);
    CString text = CString(HEADER) + L"\r\n\r\n";
    try {
        mf_implBackupPath(text, path, key, skipDotKeys);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure backing up registry path\r\n%sPath='%s'\r\n%s%s", ICLog::TAB, path,
                       ICLog::TAB, failure.mf_toString());
    }
    try {
        f_store(text, target);
    }
    catch (ICErrno & failure) {
        ICErrno const pending = ICTrace(_sFunction_)
                                    .mf_failed(failure, L"Failure copying data from string to buffer:\r\n%s%s",
                                               ICLog::TAB, failure.mf_toString());
        f_deleteOutput(target);
        throw pending;
    }
    ICTrace(_sFunction_)
        .mf_trace(L"Successfully wrote backup '%s\\%s' to buffer (%lu bytes)", f_sectionOf(key), path,
                  target.mf_getSize());
    return 1;
}

int ICRegistryBackup::mf_implBackupPath(CString & text, CString const & path, HKEY const key, int skipDotKeys)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_implBackupPath";

    if (skipDotKeys != 0) {
        CString const name = ICPath::mf_getFilePart(path);
        if (name.IsEmpty())
            throw ICTrace(_sFunction_)
                .mf_failed(ICErrno::_E_::Internal, L"Could not separate file from path '%s'", path);
        if (name[0] == L'.') return 0;
    }
    mf_implBackupValues(text, path, key);
    try {
        ICOwnedStrings::ARRAY names;
        ICOwnedStrings const owner(names);
        ICRegistry::mf_getSubKeys(path, names, key);
        mf_implAppendSubKeys(text, names, path, key, skipDotKeys);
    }
    catch (ICErrno & failure) {
        // The colon stands behind the line's end.
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure recursing into registry path\r\n%spath='%s\\%s'\r\n:%s%s", ICLog::TAB,
                       f_sectionOf(key), path, ICLog::TAB, failure.mf_toString());
    }
    return 1;
}

void ICRegistryBackup::mf_implBackupValues(CString & text, CString const & path, HKEY const key)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_implBackupPath";

    ICOwnedStrings::ARRAY names;
    ICOwnedStrings const owner(names);
    try {
        ICRegistry::mf_getSubValues(path, names, key);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure querying values of '%s\\%s':\r\n%s%s", f_sectionOf(key), path, ICLog::TAB,
                       failure.mf_toString());
    }
    if (names.IsEmpty()) return;
    try {
        text.AppendFormat(L"[%s\\%s]\r\n", ICRegistry::mf_getSectionKeyString(key, 0).GetString(), path.GetString());
        mf_implAppendValues(text, names, path, key);
        text += L"\r\n";
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure appending registry values\r\n%spath='%s\\%s':\r\n%s%s", ICLog::TAB,
                       f_sectionOf(key), path, ICLog::TAB, failure.mf_toString());
    }
}

void ICRegistryBackup::mf_implAppendValues(CString & text, ICArray<CString *, CString *> const & names,
                                           CString const & path, HKEY const key)
{
    for (INT_PTR index = 0; index < names.GetCount(); ++index) {
        if (f_isMissing(names, index)) continue;
        CString const & name = *names[index];
        CString value;
        ICRegistry::mf_getValue(name, value, path, key);
        // Deliberate: the name and the value's double quotes stand as they are.
        text.AppendFormat(L"\"%s\"=\"%s\"\r\n", name.GetString(), mf_implEscapeString(value).GetString());
    }
}

void ICRegistryBackup::mf_implAppendSubKeys(CString & text, ICArray<CString *, CString *> const & names,
                                            CString const & path, HKEY const key, int skipDotKeys)
{
    for (INT_PTR index = 0; index < names.GetCount(); ++index)
        if (!f_isMissing(names, index))
            mf_implBackupPath(text, ICPath::mf_appendComponent(path, *names[index]), key, skipDotKeys);
}

int ICRegistryBackup::mf_restore(ICBuffer const & source)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_restore";

    if (!source.mf_isInitialized() || source.mf_getSize() < MARK_BYTES)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Initialization, L"Backup data buffer is not initialized");
    if (source.mf_getSize() % sizeof(wchar_t) != 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"Data length must be multiple of 2 (UCS-2LE encoded)");
    f_checkEncoding(source);

    CString const text = f_load(source);
    int position = 0;
    CString line = text.Tokenize(LINE_ENDS, position);
    if (line != HEADER)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"Header identifier '%s' is not equal 1st line:\r\n%sline='%s'",
                       HEADER, ICLog::TAB, line);
    SECTION section;
    // A text may hold NUL characters, and between two of them lies an empty line: the position tells the end.
    for (line = text.Tokenize(LINE_ENDS, position); position >= 0; line = text.Tokenize(LINE_ENDS, position))
        mf_implApplyLine(line, section);
    ICTrace(_sFunction_)
        .mf_trace(L"Successfully restored registry backup from buffer (%lu bytes)", source.mf_getSize());
    return 1;
}

void ICRegistryBackup::mf_implApplyLine(CString const & line, SECTION & section)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_restore";

    if (line.GetLength() < 2)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"Token '%s' is shorter than 2 characters", line);
    if (f_isBetween(line, L'[', L']'))
        mf_implOpenSection(line, section);
    else if (f_isBetween(line, L'"', L'"'))
        mf_implWriteValue(line, section);
    else
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::DataCorrupted, L"Cannot analyze token line '%s'", line);
}

void ICRegistryBackup::mf_implOpenSection(CString const & line, SECTION & section)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_restore";

    int const delimiter = line.Find(L'\\');
    if (delimiter < 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"No delimiter found in directory token '%s'", line);
    // Deliberate: an unknown root is no failure. It gives a null key, and the first value written there fails.
    section.m_key = ICRegistry::mf_getSectionKeyFromString(line.Mid(1, delimiter - 1));
    section.m_path = line.Mid(delimiter + 1, line.GetLength() - delimiter - 2);
}

void ICRegistryBackup::mf_implWriteValue(CString const & line, SECTION const & section)
{
    static wchar_t const _sFunction_[] = L"ICRegistryBackup::mf_restore";

    // Deliberate: the first equal sign divides, also where it belongs to the name.
    int const sign = line.Find(L'=');
    if (sign < 0)
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"No equal sign found in key/value token line '%s'", line);
    // The line begins and ends in a quote, so there is a character on either side of the sign.
    if (line[sign - 1] != L'"' || line[sign + 1] != L'"')
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::DataCorrupted, L"Cannot find string delimiters in token line '%s'", line);
    // Deliberate: one quote may be both the first and the one before the sign, or both the one behind it and the last.
    // What lies between them is then empty.
    CString const name = line.Mid(1, std::max(sign - 2, 0));
    CString const value = mf_implRevertString(line.Mid(sign + 2, std::max(line.GetLength() - sign - 3, 0)));
    try {
        ICRegistry::mf_setValue(name, value, section.m_path, 0, section.m_key);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure writing registry key='%s\\%s\\%s', value='%s':\r\n%s%s",
                       f_sectionOf(section.m_key), section.m_path, name, value, ICLog::TAB, failure.mf_toString());
    }
}
