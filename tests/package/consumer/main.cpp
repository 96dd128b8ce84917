#include "frame/ICProgramFrame.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICPath.h"
#include <cstdio>

static wchar_t const REGISTRY_ROOT[] = L"Software\\hsmbase consumer";

static void f_say(wchar_t const * what, CString const & text)
{
    std::printf("%ls: %ls\n", what, text.GetString());
}

static void f_useLibrary()
{
    ICProgramFrame const frame(REGISTRY_ROOT, L"German");
    CString const directory = ICPath::mf_appendComponent(L"C:", L"windows");
    f_say(L"path", directory);
    try {
        throw ICErrno(ICErrno::_W_::FileTooSmall);
    }
    catch (ICErrno const & failure) {
        f_say(L"own failure", failure.mf_getString());
    }
    ICPath::mf_getAttributes(ICPath::mf_appendFile(directory, L"no such file"), 1);
}

// The registry root is this program's own, and nothing of it stays behind.
int wmain()
{
    int result = 1;
    try {
        f_useLibrary();
    }
    catch (ICErrno const & failure) {
        f_say(L"failure of the library", failure.mf_getString());
        result = failure.mf_isErrno(ICErrno::_E_::FileNotFound) ? 0 : 1;
    }
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, REGISTRY_ROOT);
    return result;
}
