#include "frame/ICProgramFrame.h"
#include "hsmbase/hsmbase.h"
#include <cstdio>

static wchar_t const REGISTRY_ROOT[] = L"Software\\hsmbase consumer";

static void f_say(wchar_t const * what, CString const & text)
{
    std::printf("%ls: %ls\n", what, text.GetString());
}

static int f_useLibrary()
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
    try {
        ICPath::mf_getAttributes(ICPath::mf_appendFile(directory, L"no such file"), 1);
        return 1;
    }
    catch (ICErrno const & failure) {
        f_say(L"failure of the library", failure.mf_getString());
        return failure.mf_isErrno(ICErrno::_E_::FileNotFound) ? 0 : 1;
    }
}

// The registry root is this program's own, and nothing of it stays behind.
int wmain()
{
    int result = 1;
    try {
        result = f_useLibrary();
    }
    catch (ICErrno const & failure) {
        f_say(L"no start", failure.mf_toString());
    }
    ::RegDeleteTreeW(HKEY_LOCAL_MACHINE, REGISTRY_ROOT);
    return result;
}
