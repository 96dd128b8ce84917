#pragma once

#include "hsmbase/Types.h"

// Where hsmscan writes: characters to a console, UTF-8 to a file or a pipe. A failed write is no failure of the scan.
class ICConsole
{
public:
    // The text and a line end.
    static void mf_printLine(CString const & text);
    static void mf_printError(CString const & text);

private:
    static void mf_implWrite(ulong stream, CString const & text);
};
