#include "programs/hsmscan/ICDirectoryScan.h"

#include "hsmbase/failure/internal/ICHandle.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "languages/ResourceIds.h"
#include "programs/hsmscan/ICScanTotals.h"

namespace
{
struct SEARCH_HANDLE
{
    using TYPE = HANDLE;
    static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
    static int mf_close(TYPE handle) { return ::FindClose(handle); }
};
using ICSearchHandle = ICHandle<SEARCH_HANDLE>;

// With a drive or a share in front, as the long form of a path needs it.
CString f_absolutePath(CString const & path)
{
    static wchar_t const _sFunction_[] = L"f_absolutePath";
    CString absolute;
    ::SetLastError(0);
    ulong const capacity = ::GetFullPathNameW(path, 0, nullptr, nullptr);
    ulong length = 0;
    if (capacity != 0) {
        length = ::GetFullPathNameW(path, capacity, absolute.GetBuffer(static_cast<int>(capacity)), nullptr);
        absolute.ReleaseBuffer(length < capacity ? static_cast<int>(length) : 0);
    }
    if (length == 0) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::Path);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting full path of '%s':\r\n%s%s", path, ICLog::TAB, failure.mf_toString());
    }
    return absolute;
}

bool f_isDotName(wchar_t const * name)
{
    return name[0] == L'.' && (name[1] == L'\0' || (name[1] == L'.' && name[2] == L'\0'));
}
} // namespace

void ICDirectoryScan::mf_scan(CString const & path)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryScan::mf_scan";
    try {
        CString const directory = f_absolutePath(ICLongPath::mf_removeLongPathUNCPrefix(path));
        if (!(ICPath::mf_getAttributes(directory, 1) & FILE_ATTRIBUTE_DIRECTORY))
            throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Path, L"'%s' is no directory", path);
        m_waiting.push_back(ICPath::mf_normalizeDirectory(directory));
    }
    catch (ICErrno & failure) {
        ICErrnoData data = failure.mf_getErrnoData();
        ICErrnoData::mf_setMessage(data, L"KVR29002E", IDS_KVR29002_TEXT, IDS_KVR29002_EXPLANATION,
                                   IDS_KVR29002_SYSTEM_ACTION, IDS_KVR29002_USER_RESPONSE, path.GetString());
        mf_implReport(data);
        return;
    }
    m_totals.mf_addRoot();
    while (!m_waiting.empty()) {
        CString const directory = m_waiting.back();
        m_waiting.pop_back();
        mf_implReadDirectory(directory);
    }
}

void ICDirectoryScan::mf_implReadDirectory(CString const & directory)
{
    try {
        mf_implReadEntries(directory);
    }
    catch (ICErrno & failure) {
        m_totals.mf_addUnreadable();
        ICErrnoData data = failure.mf_getErrnoData();
        ICErrnoData::mf_setMessage(data, L"KVR29001E", IDS_KVR29001_TEXT, IDS_KVR29001_EXPLANATION,
                                   IDS_KVR29001_SYSTEM_ACTION, IDS_KVR29001_USER_RESPONSE, directory.GetString());
        mf_implReport(data);
    }
}

void ICDirectoryScan::mf_implReadEntries(CString const & directory)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryScan::mf_implReadEntries";
    WIN32_FIND_DATAW entry;
    ::SetLastError(0);
    ICSearchHandle const search(::FindFirstFileExW(ICLongPath::mf_addLongPathUNCPrefix(directory + L"*"),
                                                   FindExInfoBasic, &entry, FindExSearchNameMatch, nullptr,
                                                   FIND_FIRST_EX_LARGE_FETCH));
    if (!search.mf_isOpen()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        // The root of a volume has no "." and ".." and may hold nothing at all.
        if (failure.mf_getErrnoData().mf_getOriginatorErrno() == ERROR_FILE_NOT_FOUND) return;
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure opening directory '%s':\r\n%s%s", directory, ICLog::TAB,
                       failure.mf_toString());
    }
    for (int isFound = 1; isFound;) {
        mf_implAddEntry(entry, directory);
        ::SetLastError(0);
        isFound = ::FindNextFileW(search.mf_get(), &entry);
    }
    if (::GetLastError() != ERROR_NO_MORE_FILES) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure reading directory '%s':\r\n%s%s", directory, ICLog::TAB,
                       failure.mf_toString());
    }
}

void ICDirectoryScan::mf_implAddEntry(WIN32_FIND_DATAW const & entry, CString const & directory)
{
    if (f_isDotName(entry.cFileName)) return;
    m_totals.mf_add(entry, directory);
    constexpr ulong LINKED = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((entry.dwFileAttributes & LINKED) == FILE_ATTRIBUTE_DIRECTORY)
        m_waiting.push_back(directory + entry.cFileName + L"\\");
}

void ICDirectoryScan::mf_implReport(ICErrnoData const & data)
{
    m_worst.mf_update(data);
    m_report(ICErrno(data));
}
