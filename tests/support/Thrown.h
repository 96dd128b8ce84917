#pragma once

#include <optional>

#include <gtest/gtest.h>

#include "hsmbase/failure/ICErrno.h"

// Whether `action` throws the constant: with `systemError`, as the platform's failure of that number; else without any
// originator.
//
//     EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [] { ICThreadContext::mf_getType(); }));
//
template<class ACTION>
testing::AssertionResult f_throws(ICErrnoValue const & expected, ACTION action, std::optional<ulong> systemError = {})
{
    try {
        action();
    }
    catch (ICErrno & failure) {
        ICErrnoData const & data = failure.mf_getErrnoData();
        int const originator = systemError ? ICErrnoData::SYSTEM : ICErrnoData::NO_ORIGINATOR;
        if (data.mf_getNumber() == expected.mf_getNumber() && data.mf_getOriginatorId() == originator &&
            (!systemError || data.mf_getOriginatorErrno() == *systemError))
            return testing::AssertionSuccess();
        return testing::AssertionFailure()
               << "threw number " << std::hex << data.mf_getNumber() << std::dec << ", originator "
               << data.mf_getOriginatorId() << ", its error " << data.mf_getOriginatorErrno();
    }
    return testing::AssertionFailure() << "threw nothing";
}
