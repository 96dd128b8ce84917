#pragma once

#include <cstdarg>

#include "hsmbase/logging/ICLogData.h"

// The trace log of the process: one trace call for everybody.
//
//     static wchar_t const _sFunction_[] = L"ICExample::mf_work";
//     ICThreadContext::mf_setLoggingLanguage();
//     ICLog::mf_writeMessage(ICLogData::LEVEL_W, _sFunction_, L"Entry '%s' skipped:\r\n%s%s", name, ICLog::TAB, reason);
//
// The first call turns the thread to the logging language, so that texts made for the message come out in it;
// mf_writeMessage ends by returning the thread to the user's language, whatever happened.
//
// A call is always safe: before the log is open, after it is closed, from any thread. It never throws because logging
// isn't available. Arguments have the character width of the format: %s takes wide text in a wide format, 8-bit text in
// an 8-bit one. A percent sign in a text is passed as %c with 37.
class HSMBASE_EXPORT ICLog
{
public:
    // Four blanks: the indent of the further lines of a message.
    static wchar_t const TAB[5];
    static char const TABA[5];

    // `function` is the caller's qualified name, the tag of the line.
    static void mf_writeMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format, ...);
    static void mf_writeMessage(ICLogData const & level, char const * function, char const * format, ...);

    // The same with a started argument list. Doesn't return the thread to the user's language: its caller does.
    static void mf_vaWriteMessage(ICLogData const & level, wchar_t const * function, wchar_t const * format,
                                  va_list arguments);

    // Whether a log is there to take messages.
    static int mf_isReady();

    // Whether a message of this level would be selected; for callers with expensive arguments.
    static int mf_hasLogLevel(ICLogData const & level);
};
