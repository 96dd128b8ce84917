#pragma once

#include "hsmbase/Types.h"

// The prefixes by which the platform accepts paths of more than 260 characters:
//
//     D:\data        <->  \\?\D:\data
//     \\host\share   <->  \\?\UNC\host\share
//     Volume{..}\    <->  \\?\Volume{..}\            and so on
//
// Threads: any; there is no state.
class HSMBASE_EXPORT ICLongPath
{
public:
    // A text that is empty, has the prefix already or is no absolute path is answered unchanged.
    static CString mf_addLongPathUNCPrefix(CString const & path);

    // A text without the prefix is answered unchanged, and so is the form of a shadow copy, which can't do without it.
    static CString mf_removeLongPathUNCPrefix(CString const & path);
};
