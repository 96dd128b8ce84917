#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICPath.h"
#include "programs/catalog/ICCatalog.h"
#include "programs/hsmscan/ICConsole.h"
#include "programs/hsmscan/ICFileTransaction.h"

// hsmcatalog DIRECTORY writes the catalogue of all messages and error numbers into the directory. It makes the pages
// from the language libraries beside it. It serves those who build hsmbase, so it speaks English and keeps no logs.

namespace
{

class ICPageFile : public ICFileTransaction
{
public:
    ICPageFile(CString const & directory, ICCatalog::PAGE const & page)
        : ICFileTransaction(ICPath::mf_appendFile(directory, page.name)), m_page(page)
    {}

private:
    void mf_implWriteContent() override { mf_implWriteBlock(m_page.text.data(), m_page.text.size()); }

    ICCatalog::PAGE const & m_page;
};

CString f_programDirectory()
{
    wchar_t program[MAX_PATH] = {};
    ulong const length = ::GetModuleFileNameW(nullptr, program, MAX_PATH - 1);
    CString const path(program, static_cast<int>(length));
    return path.Left(path.ReverseFind(L'\\') + 1);
}

void f_write(CString const & directory, ICCatalog::PAGE const & page)
{
    try {
        ICPageFile(directory, page).mf_executeTransaction();
    }
    catch (ICErrno & failure) {
        CString text;
        text.Format(L"The page '%s' cannot be written to '%s': %s", page.name.GetString(), directory.GetString(),
                    failure.mf_getErrnoData().mf_getOriginatorMessage());
        failure.mf_setMessageText(text);
        throw;
    }
}

int f_fail(wchar_t const * text)
{
    ICConsole::mf_printError(L"hsmcatalog: " + CString(text));
    return 2;
}

} // namespace

int wmain(int count, wchar_t ** arguments)
{
    if (count != 2 || *arguments[1] == L'\0') return f_fail(L"Usage: hsmcatalog DIRECTORY");
    try {
        // Nothing is written until every page is made.
        for (ICCatalog::PAGE const & page : ICCatalog::mf_makePages(f_programDirectory()))
            f_write(arguments[1], page);
        return 0;
    }
    catch (ICErrno & failure) {
        return f_fail(failure.mf_getErrnoData().mf_getMessageText());
    }
}
