#pragma once

#include <vector>

#include "hsmbase/failure/ICErrnoNumber.h"

// What the numbers in logs and messages mean: of a numbered message its four texts, of an error number its constant.
// Needs languages, and neither logs nor volumes.
class ICMessageReport
{
public:
    // The numbers in their order; see ICMessageCatalog for their forms. Those that are unknown are told on the standard
    // error stream, and then the answer is an error.
    static ICErrnoNumber mf_print(std::vector<CString> const & numbers);
};
