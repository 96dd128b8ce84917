#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;

namespace
{
constexpr char REFUSED_4711[] = "Failure querying system error string for 4711 (0x00001267):\n5 (0x00000005) ";

// What asking for a system text leaves while these calls for it are refused.
std::vector<ICTraceRecord> f_askFor4711(ICTracedProcess const & process, ICCalls calls)
{
    ICImportFault const refused("FormatMessageW", ERROR_ACCESS_DENIED, calls);
    return process.mf_trace([] { ICErrno::mf_getSystemMessage(4711); });
}
} // namespace

TEST(ICErrnoTrace, SystemErrorWithoutText_WarnsWithTheReasonAndItsLineEnd)
{
    ICTracedProcess const process;
    CString const reason = ICErrno::mf_implFormatSystemMessage(ERROR_ACCESS_DENIED) + L"\r\n";
    EXPECT_THAT(f_askFor4711(process, ICCalls::mf_only(1)),
                ElementsAre(f_isRecord('W', "ICErrno::mf_implFormatSystemMessage", f_logged(REFUSED_4711, reason))));
}

TEST(ICErrnoTrace, SystemErrorWhoseReasonHasNoTextEither_WarnsWithTheSubstitute)
{
    ICTracedProcess const process;
    EXPECT_THAT(f_askFor4711(process, ICCalls::mf_all()),
                ElementsAre(f_isRecord('W', "ICErrno::mf_implFormatSystemMessage",
                                       f_logged(REFUSED_4711, L"<no error string available>"))));
}
