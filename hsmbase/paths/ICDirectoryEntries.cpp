#include "hsmbase/paths/ICDirectoryEntries.h"

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFindHandle.h"

static bool f_isDotName(wchar_t const * name)
{
    return name[0] == L'.' && (name[1] == L'\0' || (name[1] == L'.' && name[2] == L'\0'));
}

ICDirectoryEntries::ICDirectoryEntries(CString const & directory) : m_directory(directory)
{
    static wchar_t const _sFunction_[] = L"ICDirectoryEntries::ICDirectoryEntries";

    CString const globber = ICLongPath::mf_addLongPathUNCPrefix(ICPath::mf_appendComponent(directory, L"*"));
    ::SetLastError(0);
    m_search = ::FindFirstFileExW(globber, FindExInfoBasic, &m_entry, FindExSearchNameMatch, nullptr,
                                  FIND_FIRST_EX_LARGE_FETCH);
    m_isAhead = m_search != FIND_HANDLE::mf_none();
    if (m_isAhead) return;
    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess);
    // The root of a volume has no "." and ".." and may hold nothing at all.
    if (failure.mf_getErrnoData().mf_getOriginatorErrno() == ERROR_FILE_NOT_FOUND) return;
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Failure opening directory '%s':\r\n%s%s", directory, ICLog::TAB, failure.mf_toString());
}

ICDirectoryEntries::~ICDirectoryEntries()
{
    ICFindHandle const closing(m_search);
}

int ICDirectoryEntries::mf_next()
{
    while (mf_implNext())
        if (!f_isDotName(m_entry.cFileName)) return 1;
    return 0;
}

int ICDirectoryEntries::mf_implNext()
{
    static wchar_t const _sFunction_[] = L"ICDirectoryEntries::mf_next";

    if (m_isAhead) {
        m_isAhead = 0;
        return 1;
    }
    if (m_search == FIND_HANDLE::mf_none()) return 0;
    ::SetLastError(0);
    if (::FindNextFileW(m_search, &m_entry)) return 1;
    ulong const systemError = ::GetLastError();
    if (systemError == ERROR_NO_MORE_FILES) return 0;
    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileAccess, systemError);
    throw ICTrace(_sFunction_)
        .mf_failed(failure, L"Failure reading directory '%s':\r\n%s%s", m_directory, ICLog::TAB, failure.mf_toString());
}
