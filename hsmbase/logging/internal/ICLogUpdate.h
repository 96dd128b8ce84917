#pragma once

#include <utility>

#include "hsmbase/failure/internal/ICTrace.h"

// Steps that the logs share when they take their settings from the registry while they are open. Each says what has
// changed, or that nothing has; the first failure of all steps is kept.

struct FILE_SIZE_TEXTS
{
    ICTraceFormat<long long, ulong, int, long long, ulong, int> changed;
    ICTraceFormat<long long, ulong, int> unchanged;
};

// `read` takes maximum and percentage from the registry.
template<class READ>
void f_updateFileSize(wchar_t const * function, long long const & size, ulong const & percent, ICErrnoData & outcome,
                      FILE_SIZE_TEXTS const & texts, READ read)
{
    constexpr int PERCENT_SIGN = 37;
    try {
        long long const oldSize = size;
        ulong const oldPercent = percent;
        read();
        ICTrace const trace(function);
        if (size != oldSize || percent != oldPercent)
            trace.mf_info(texts.changed, oldSize, oldPercent, PERCENT_SIGN, size, percent, PERCENT_SIGN);
        else
            trace.mf_trace(texts.unchanged, oldSize, oldPercent, PERCENT_SIGN);
    }
    catch (ICErrno & failure) {
        ICTrace(function).mf_collect(outcome, failure, L"Failure updating log file size / percent: %s",
                                     failure.mf_toString());
    }
}

struct SWITCH_TEXTS
{
    ICTraceFormat<wchar_t const *, wchar_t const *> changed;
    ICTraceFormat<wchar_t const *> unchanged;
    ICTraceFormat<CString> failed;
};

// `read` takes the field from the registry. Answers the new setting; the old one stays in force.
template<class READ>
int f_updateSwitch(wchar_t const * function, int & field, wchar_t const * (*nameOf)(int), ICErrnoData & outcome,
                   SWITCH_TEXTS const & texts, READ read)
{
    int const old = field;
    try {
        read();
        int const now = std::exchange(field, old);
        ICTrace const trace(function);
        if (now != old)
            trace.mf_info(texts.changed, nameOf(old), nameOf(now));
        else
            trace.mf_trace(texts.unchanged, nameOf(old));
        return now;
    }
    catch (ICErrno & failure) {
        field = old;
        ICTrace(function).mf_collect(outcome, failure, texts.failed, failure.mf_toString());
        return old;
    }
}
