#include "hsmbase/threads/ICCancelObject.h"

#include "tests/support/Thrown.h"

TEST(ICCancelObject, Poll_NoSwitch_NeverThrows)
{
    ICCancelObject work;
    for (int poll = 0; poll < 3; ++poll)
        work.mf_tryCancel();
}
