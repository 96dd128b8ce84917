#pragma once

#include "hsmbase/failure/internal/ICTrace.h"

// One step of an operation, whose answer is that of the step. Its failure leaves a line and goes on; the last "%s" of
// the text takes the failure, in the logging language, the arguments fill the others.
//
//     f_step(_sFunction_, [&] { mf_rm(file, 1); }, L"Failure removing file '%s'\r\n%s%s", file, ICLog::TAB);
//
template<class STEP, class... ARGS>
auto f_step(wchar_t const * function, STEP const & step, ICTraceFormat<std::type_identity_t<ARGS>..., CString> format,
            ARGS const &... args)
{
    try {
        return step();
    }
    catch (ICErrno & failure) {
        throw ICTrace(function).mf_failed(failure, format, args..., failure.mf_toString());
    }
}
