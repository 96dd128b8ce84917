#include "hsmbase/logging/ICLog.h"

#include "hsmbase/context/ICThreadContext.h"

constinit wchar_t const ICLog::TAB[5] = L"    ";
constinit char const ICLog::TABA[5] = "    ";

// There is no log object yet, so messages are dropped without a word; what remains is the language bracket, which a
// trace call closes whatever happened.

void ICLog::mf_writeMessage(ICLogData const &, wchar_t const *, wchar_t const *, ...)
{
    ICThreadContext::mf_setUserLanguage();
}

void ICLog::mf_writeMessage(ICLogData const &, char const *, char const *, ...)
{
    ICThreadContext::mf_setUserLanguage();
}

void ICLog::mf_vaWriteMessage(ICLogData const &, wchar_t const *, wchar_t const *, va_list) {}

int ICLog::mf_isReady()
{
    return 0;
}

int ICLog::mf_hasLogLevel(ICLogData const &)
{
    return 0;
}
