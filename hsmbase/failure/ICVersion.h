#pragma once

#include "hsmbase/Types.h"

// Version numbers as people write them ("8.1.0.2") and as one decimal number (81002).
//
// Deliberate: the two directions are not inverse. The fourth part weighs 1 on the way out and 10 on the way in, so
// 81002 is written "8.1.0.2", which reads as 81020. Stored numbers depend on both.
//
// Threads: any; there is no state.
class HSMBASE_EXPORT ICVersion
{
public:
    // The digits a, b, c and a rest of two digits: 81002 gives "8.1.0.2".
    static CString mf_VersionNumberToVersionString(ulong version);

    // The parts between the dots with the weights 10000, 1000, 100, 10, 1; further parts count nothing. A part that is
    // no number counts 0, and so does an empty text.
    static ulong mf_VersionStringToVersionNumber(CString const & version);
};
