#pragma once

#include "hsmbase/failure/internal/ICTrace.h"
#include "hsmbase/registry/ICRegistry.h"

// The trace lines of the registry. They are held back until ICRegistry::mf_activateLogging, since the log reads its own
// settings through that class: until then a line neither touches the log nor turns the thread's language.
struct REGISTRY_TRACE_GATE
{
    static int mf_isOpen() { return ICRegistry::mf_implIsLoggingOn(); }
};

using ICRegistryTrace = ICTraceBracket<REGISTRY_TRACE_GATE>;

// The failure's text for a trace line. Rendering asks for texts of the language libraries, so it waits for the gate
// too.
inline CString f_registryTraceText(ICErrno const & failure)
{
    return REGISTRY_TRACE_GATE::mf_isOpen() ? failure.mf_toString() : CString();
}
