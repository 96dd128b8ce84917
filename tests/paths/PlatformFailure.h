#pragma once

#include "hsmbase/Types.h"

// The code of the class library's failure that the action ends in; S_OK for none.
//
//     EXPECT_EQ(E_FAIL, f_platformFailure([] { ICTime::mf_mapDateStringToCTime(L"2024-13-01"); }));
//
template<class ACTION>
SCODE f_platformFailure(ACTION action)
{
    try {
        action();
    }
    catch (COleException * failure) {
        SCODE const code = failure->m_sc;
        failure->Delete();
        return code;
    }
    return S_OK;
}
