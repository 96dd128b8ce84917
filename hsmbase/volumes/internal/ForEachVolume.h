#pragma once

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/volumes/ICVolume.h"

// Does a step with each volume of an array. One that fails leaves an error line, with the arguments id path, indent,
// failure, indent; the next one follows.
template<class STEP>
void f_forEachVolume(CArray<ICVolume *, ICVolume *> const & volumes, wchar_t const * function,
                     ICTraceFormat<CString, wchar_t const *, CString, wchar_t const *> const & format, STEP && step)
{
    for (INT_PTR index = 0; index < volumes.GetCount(); ++index) {
        ICVolume * const volume = volumes[index];
        if (volume == nullptr) continue;
        try {
            step(*volume);
        }
        catch (ICErrno & failure) {
            wchar_t const * const indent = ICLog::TAB;
            ICTrace(function).mf_error(format, volume->mf_getIdPath(), indent, failure.mf_toString(), indent);
        }
    }
}
