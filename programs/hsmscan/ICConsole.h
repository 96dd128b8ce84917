#pragma once

#include "hsmbase/Types.h"

// Where hsmscan writes: characters to a console, UTF-8 to a file or a pipe. A failed write is no failure of the scan.
//
// Threads: any; one text at a time.
class ICConsole
{
public:
    // The text and a line end.
    static void mf_printLine(CString const & text);
    static void mf_printError(CString const & text);

    // Whether somebody sees a status.
    static bool mf_canShowStatus();

    // One line on the console that stays below all else until it is replaced. An empty text takes it away. What the
    // console's line can't hold is cut off. Throws Initialization as long as the languages aren't up.
    static void mf_showStatus(CString const & text);

private:
    static void mf_implPrint(ulong stream, CString const & text);
    static void mf_implWrite(ulong stream, CString const & text);
    static int mf_implGetStatusWidth();

    static SRWLOCK m_lock;
    static CString m_status;
    static int m_statusWidth; // columns
};
