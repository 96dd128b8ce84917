#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/LoggedFailure.h"
#include "tests/support/Thrown.h"
#include "tests/threads/ICTestGroup.h"

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Not;
using testing::SizeIs;

namespace
{

using ICThreadsStart = ICThreadsTest;

} // namespace

TEST_F(ICThreadsStart, StartAndStop_OneThread_TracesItsLife)
{
    ICTestGroup group(1);
    ulong result = 0;
    auto const records = m_process.mf_trace([&] {
        group.mf_up();
        result = group.mf_down();
    });
    EXPECT_EQ(0x01000000u, result);
    EXPECT_THAT(
        f_recordsOf("f_ICThread", records),
        ElementsAre(
            f_isRecord('T', "f_ICThread", "G: Thread no. 0 started and initialized\nCurrent thread run count: 1"),
            f_isRecord('T', "f_ICThread", "G: All 1 thread(s) running, signaling running-event"),
            f_isRecord('D', "f_ICThread", "G: Shutdown signaled, exiting worker loop of thread no. 0 ..."),
            f_isRecord('T', "f_ICThread", "G: Exiting thread no. 0 ...")));
}
