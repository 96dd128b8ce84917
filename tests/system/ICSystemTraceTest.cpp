// The lines of switching privileges, as a log shows them.
#include "hsmbase/system/ICSystem.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"
#include "tests/system/PrivilegeState.h"

using testing::AllOf;
using testing::Contains;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

class ICSystemTrace : public testing::Test
{
protected:
    // One call of the platform is refused, which ends in the failure `error`.
    void mf_expectRefused(char const * import, ICCalls const & calls, ulong error, std::string const & text) const
    {
        SCOPED_TRACE(text);
        ICOwnTokenEnds const end;
        ICImportFault const refused(import, DENIED, calls);
        EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_adjustDebugAccess(1); }),
                    AllOf(f_failsShowing(ICErrno::_E_::Security, error, "ICSystem::mf_implAdjustPrivilege", text),
                          f_failsShowing(ICErrno::_E_::Security, error, "ICSystem::mf_adjustDebugAccess",
                                         "Failure enabling debug privileges for current thread:\n")));
    }

    ICTracedProcess const m_process;
    ICOwnTokenEnds const m_end;
};

} // namespace

TEST_F(ICSystemTrace, EachRefusedCall)
{
    mf_expectRefused("OpenThreadToken", ICCalls::mf_only(1), DENIED, "Failure getting security token (1): ");
    mf_expectRefused("ImpersonateSelf", ICCalls::mf_all(), ERROR_NO_TOKEN, "Failure creating security token: ");
    mf_expectRefused("OpenThreadToken", ICCalls::mf_only(2), ERROR_NO_TOKEN, "Failure getting security token (2): ");
    mf_expectRefused("LookupPrivilegeValueW", ICCalls::mf_all(), DENIED,
                     "Failure getting local unique privilege identifier: ");
    mf_expectRefused("AdjustTokenPrivileges", ICCalls::mf_all(), DENIED,
                     "Failure adjusting privilege 'SeDebugPrivilege':\n");
}

TEST_F(ICSystemTrace, RefusedDisabling_SaysSo)
{
    ICImportFault const refused("AdjustTokenPrivileges", DENIED);
    EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_adjustDebugAccess(0); }),
                f_failsShowing(ICErrno::_E_::Security, DENIED, "ICSystem::mf_adjustDebugAccess",
                               "Failure disabling debug privileges for current thread:\n"));
}

TEST_F(ICSystemTrace, RefusedSecurityAccess_SaysSo)
{
    ICImportFault const refused("AdjustTokenPrivileges", DENIED);
    auto const isRefused = [](std::string const & text) {
        return f_failsShowing(ICErrno::_E_::Security, DENIED, "ICSystem::mf_adjustSecurityAccess", text);
    };
    EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_adjustSecurityAccess(1); }),
                AllOf(isRefused("Failure enabling security privileges for current thread:\n"),
                      f_failsShowing(ICErrno::_E_::Security, DENIED, "ICSystem::mf_implAdjustPrivilege",
                                     "Failure adjusting privilege 'SeRestorePrivilege':\n")));
    EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_adjustSecurityAccess(0); }),
                isRefused("Failure disabling security privileges for current thread:\n"));
}

TEST_F(ICSystemTrace, NoName_IsRefused)
{
    EXPECT_THAT(m_process.mf_run([] { ICSystem::mf_implAdjustPrivilege(nullptr, 1); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICSystem::mf_implAdjustPrivilege", "NULL == _pszPrivilageName"));
}

TEST_F(ICSystemTrace, TokenThatCannotBeClosed_IsAnErrorLineOnly)
{
    ICFailingClose const close(ERROR_INVALID_HANDLE);
    EXPECT_THAT(
        m_process.mf_trace([] { ICSystem::mf_adjustDebugAccess(1); }),
        Contains(f_isRecord('E', "ICSystem::mf_implAdjustPrivilege",
                            f_logged("Failure closing token handle: ", ICErrno::_E_::Security, ERROR_INVALID_HANDLE))));
}
