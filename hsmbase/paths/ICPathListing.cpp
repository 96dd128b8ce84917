// Walks over a directory: its names, the files that match a pattern, and names in order.
#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/paths/ICLongPath.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/paths/internal/ICFindHandle.h"
#include "hsmbase/paths/internal/ICFirstFailure.h"
#include "hsmbase/paths/internal/PathStep.h"

void ICPath::mf_listContent(CString const & directory, ICArray<CString, CString &> & names)
{
    // Deliberate: the lines name another class; those who read logs know them by it.
    static wchar_t const _sFunction_[] = L"ICUNCPath::mf_listContent";

    if (!f_step(
            _sFunction_, [&] { return mf_isDirectory(directory); },
            L"Error checking whether '%s' is a directory\r\n%s%s", directory, ICLog::TAB))
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Path '%s' not a directory: unable to list content", directory);

    CString const globber = mf_appendComponent(directory, L"*");
    CString const longGlobber = ICLongPath::mf_addLongPathUNCPrefix(globber);
    WIN32_FIND_DATAW entry = {};
    ICFindHandle search;
    auto const findFirst = [&] {
        *search.mf_receive() = ::FindFirstFileW(longGlobber, &entry);
        return search.mf_isOpen();
    };
    auto const findOthers = [&] {
        do {
            CString name(entry.cFileName);
            names.Add(name);
            ::SetLastError(0);
        } while (::FindNextFileW(search.mf_get(), &entry));
        return ::GetLastError() == ERROR_NO_MORE_FILES;
    };

    ICFirstFailure outcome(_sFunction_);
    if (outcome.mf_call(findFirst, ICErrno::_E_::FileSystem,
                        L"Failure searching files/directories with globber '%s':\r\n%s%s", globber, ICLog::TAB)) {
        outcome.mf_call(findOthers, ICErrno::_E_::FileSystem,
                        L"Failure searching directories/files with globber '%s':\r\n%s%s", globber, ICLog::TAB);
        outcome.mf_close(search, ICErrno::_E_::System, L"Failure closing FindFile handle for globber '%s':\r\n%s%s",
                         globber, ICLog::TAB);
    }
    if (outcome.mf_isSet()) names.RemoveAll();
    outcome.mf_throw();
}

// Deletes one file of a search by pattern. Answers whether it is gone: the search goes on in any case.
static bool f_removeMatch(CString const & directory, wchar_t const * name, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rm::2";

    try {
        ICPath::mf_rm(ICPath::mf_appendComponent(directory, name), force);
        return true;
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_error(L"Failure removing file %s\\%s:\r\n%s\r\n%sContinuing ...", directory, name,
                      failure.mf_toString(), ICLog::TAB);
        return false;
    }
}

// Deliberate: a search that fails goes on with the entry that it holds, until the system says that there are no more.
static bool f_findNextMatch(ICFindHandle const & search, CString const & globber, WIN32_FIND_DATAW & entry,
                            ICErrnoData & outcome)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rm::2";

    // A failed call may leave anything in what it was given, and this is what gets deleted.
    WIN32_FIND_DATAW next = {};
    ::SetLastError(0);
    if (::FindNextFileW(search.mf_get(), &next)) {
        entry = next;
        return true;
    }
    ICErrno const failure = f_systemFailure(ICErrno::_E_::FileSystem);
    if (failure.mf_getErrnoData().mf_getOriginatorErrno() == ERROR_NO_MORE_FILES) return false;
    ICTrace(_sFunction_)
        .mf_collect(outcome, failure, L"Failure getting next file of '%s':\r\n%s\r\n%sContinuing ...", globber,
                    failure.mf_toString(), ICLog::TAB);
    return true;
}

int ICPath::mf_rm(CString const & directory, CString const & pattern, int force)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_rm::2";

    CString const globber = mf_appendComponent(directory, pattern);
    CString const longGlobber = ICLongPath::mf_addLongPathUNCPrefix(globber);
    WIN32_FIND_DATAW entry = {};
    ::SetLastError(0);
    ICFindHandle search(::FindFirstFileW(longGlobber, &entry));
    if (!search.mf_isOpen()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::OpenHandle);
        throw ICTrace(_sFunction_)
            .mf_failed(failure, L"Failure getting first file of '%s':\r\n%s", globber, failure.mf_toString());
    }

    ICErrnoData outcome;
    ulong deleted = 0;
    ulong failed = 0;
    do {
        if (mf_isDirectory(entry.dwFileAttributes)) continue;
        ++(f_removeMatch(directory, entry.cFileName, force) ? deleted : failed);
    } while (f_findNextMatch(search, globber, entry, outcome));
    ICTrace(_sFunction_)
        .mf_trace(L"Deleted %lu file(s) (%lu failed), directory\\pattern:\r\n%s%s\\%s", deleted, failed, ICLog::TAB,
                  directory, pattern);
    ::SetLastError(0);
    if (!search.mf_close()) {
        ICErrno const failure = f_systemFailure(ICErrno::_E_::System);
        // The answer is about the files.
        ICTrace(_sFunction_).mf_error(L"Failure closing find handle of '%s':\r\n%s", globber, failure.mf_toString());
    }
    if (outcome.mf_isSet()) throw ICErrno(outcome);
    return failed == 0;
}

template<int CASE_SENSITIVE>
static int f_compareNames(void const * left, void const * right)
{
    return ICPath::mf_compare(**static_cast<CString * const *>(left), **static_cast<CString * const *>(right),
                              CASE_SENSITIVE);
}

static void f_sort(wchar_t const * function, ICArray<CString *, CString *> & names,
                   int (*compare)(void const *, void const *))
{
    try {
        names.mf_sort(compare);
    }
    catch (ICErrno & failure) {
        throw ICTrace(function).mf_failed(failure, L"Failure sorting file-entry array: %s", failure.mf_toString());
    }
    catch (...) {
        throw ICTrace(function).mf_failed(ICErrno::_E_::Unexpected, L"Exception sorting file-entry array");
    }
}

void ICPath::mf_sort(ICArray<CString *, CString *> & names)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_sort";

    f_sort(_sFunction_, names, &f_compareNames<1>);
}

void ICPath::mf_sortNoCase(ICArray<CString *, CString *> & names)
{
    static wchar_t const _sFunction_[] = L"ICPath::mf_sortNoCase";

    f_sort(_sFunction_, names, &f_compareNames<0>);
}
