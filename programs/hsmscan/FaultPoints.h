#pragma once

#include "hsmbase/context/ICDebug.h"
#include "hsmbase/failure/ICErrnoData.h"

// Where a tester can make a scan fail, by the registry and while it runs: see docs/configuration.md.
//
//     f_throwAt(OPEN_DIRECTORY);
//
struct FAULT_POINT
{
    ulong m_originator;
    ulong m_action;
};

inline constexpr FAULT_POINT OPEN_DIRECTORY = {ICErrnoData::SYSTEM, 0x800};
inline constexpr FAULT_POINT WRITE_LIST = {ICErrnoData::HSM_INTERNAL, 0x001};
inline constexpr FAULT_POINT MOVE_LIST = {ICErrnoData::SYSTEM, 0x010};

inline void f_throwAt(FAULT_POINT const & point)
{
    ICDebug::mf_throwErrno(point.m_originator, point.m_action);
}
