#pragma once

#ifndef _MSC_VER

#include <array>
#include <bit>
#include <cstdint>

// The place of a virtual operation in its class's table of them: 0 is the first. A destructor takes two.
//
//     EXPECT_EQ(3, f_slotOf(&IFCancelSwitch::mf_isPaused));
//
template<class OPERATION>
int f_slotOf(OPERATION operation)
{
    // A pointer to a virtual operation is its offset in the table plus 1.
    auto const parts = std::bit_cast<std::array<std::intptr_t, 2>>(operation);
    return parts[0] % 2 == 1 ? static_cast<int>(parts[0] / std::intptr_t{sizeof(void *)}) : -1;
}

#endif
