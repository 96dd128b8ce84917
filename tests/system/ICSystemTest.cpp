#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "hsmbase/system/ICSystem.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"
#include "tests/system/PrivilegeState.h"

namespace
{

class ICSystemPrivilege : public testing::Test
{
protected:
    ICOwnTokenEnds const m_end;
};

void f_enable()
{
    ICSystem::mf_adjustDebugAccess(1);
}

testing::AssertionResult f_securityFailure(ulong systemError)
{
    return f_throws(ICErrno::_E_::Security, &f_enable, systemError);
}

} // namespace

TEST_F(ICSystemPrivilege, DebugAccess_IsABracketAroundWork)
{
    ICSystem::mf_adjustDebugAccess(1);
    EXPECT_EQ(true, f_hasDebugPrivilege());
    ICSystem::mf_adjustDebugAccess(0);
    EXPECT_EQ(false, f_hasDebugPrivilege());
}

TEST_F(ICSystemPrivilege, SecurityAccess_IsABracketOfTwoPrivileges)
{
    for (int const enable : {1, 0}) {
        ICSystem::mf_adjustSecurityAccess(enable);
        EXPECT_EQ(enable != 0, f_hasPrivilege(L"SeRestorePrivilege"));
        EXPECT_EQ(enable != 0, f_hasPrivilege(L"SeSecurityPrivilege"));
    }
}

TEST_F(ICSystemPrivilege, SecurityAccess_BeginsWithTheRightToRestore)
{
    std::wstring looked;
    ICImportPatch const look(IC_IMPORT(LookupPrivilegeValueW),
                             [&](wchar_t const * system, wchar_t const * name, LUID * id) {
                                 looked += std::wstring(name) + L" ";
                                 return ::LookupPrivilegeValueW(system, name, id);
                             });
    ICSystem::mf_adjustSecurityAccess(1);
    EXPECT_EQ(L"SeRestorePrivilege SeSecurityPrivilege ", looked);
}

TEST_F(ICSystemPrivilege, SecurityAccess_FirstRightRefused_LeavesTheSecondAlone)
{
    ICImportFault const refused("AdjustTokenPrivileges", ERROR_ACCESS_DENIED, ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Security, [] { ICSystem::mf_adjustSecurityAccess(1); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(1u, refused.mf_getCalls());
}

TEST_F(ICSystemPrivilege, SecurityAccess_SecondRightRefused_LeavesTheFirstEnabled)
{
    ICImportFault const refused("AdjustTokenPrivileges", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Security, [] { ICSystem::mf_adjustSecurityAccess(1); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(true, f_hasPrivilege(L"SeRestorePrivilege"));
    EXPECT_EQ(false, f_hasPrivilege(L"SeSecurityPrivilege"));
}

TEST_F(ICSystemPrivilege, AnyNumberButZero_Enables)
{
    ICSystem::mf_adjustDebugAccess(-7);
    EXPECT_EQ(true, f_hasDebugPrivilege());
}

TEST_F(ICSystemPrivilege, ThreadWithoutToken_GetsOneAndKeepsIt)
{
    ICImportFault const opened("OpenThreadToken");
    ICImportFault const impersonated("ImpersonateSelf");

    ICSystem::mf_adjustDebugAccess(0);
    EXPECT_EQ(2u, opened.mf_getCalls());
    EXPECT_EQ(1u, impersonated.mf_getCalls());
    EXPECT_TRUE(f_hasDebugPrivilege().has_value());

    f_enable();
    EXPECT_EQ(3u, opened.mf_getCalls()) << "the second call finds the token";
    EXPECT_EQ(1u, impersonated.mf_getCalls());
}

TEST_F(ICSystemPrivilege, OtherThreads_GetNothingOfIt)
{
    f_enable();
    std::thread([] { EXPECT_FALSE(f_hasDebugPrivilege().has_value()); }).join();
}

TEST_F(ICSystemPrivilege, Token_IsAskedForWithTheRightsNeeded)
{
    ulong rights = 0;
    int asSelf = -1;
    int level = -1;
    ICImportPatch const open(IC_IMPORT(OpenThreadToken),
                             [&](HANDLE thread, DWORD access, BOOL openAsSelf, HANDLE * token) {
                                 rights = access;
                                 asSelf = openAsSelf;
                                 return ::OpenThreadToken(thread, access, openAsSelf, token);
                             });
    ICImportPatch const impersonate(IC_IMPORT(ImpersonateSelf), [&](SECURITY_IMPERSONATION_LEVEL asked) {
        level = asked;
        return ::ImpersonateSelf(asked);
    });

    f_enable();
    EXPECT_EQ(0x28u, rights);
    EXPECT_EQ(0, asSelf);
    EXPECT_EQ(2, level);
}

TEST_F(ICSystemPrivilege, Adjustment_ConcernsTheOnePrivilege)
{
    std::wstring looked;
    std::string attributes;
    ICImportPatch const look(IC_IMPORT(LookupPrivilegeValueW),
                             [&](wchar_t const * system, wchar_t const * name, LUID * id) {
                                 looked += system == nullptr ? name : L"on another system";
                                 *id = {11, 12};
                                 return TRUE;
                             });
    ICImportPatch const adjust(IC_IMPORT(AdjustTokenPrivileges), [&](HANDLE, BOOL all, TOKEN_PRIVILEGES * asked, DWORD,
                                                                     TOKEN_PRIVILEGES *, DWORD *) {
        LUID_AND_ATTRIBUTES const & entry = asked->Privileges[0];
        EXPECT_TRUE(!all && asked->PrivilegeCount == 1 && entry.Luid.LowPart == 11 && entry.Luid.HighPart == 12);
        attributes += std::to_string(entry.Attributes);
        return TRUE;
    });

    ICSystem::mf_adjustDebugAccess(1);
    ICSystem::mf_adjustDebugAccess(0);
    EXPECT_EQ(L"SeDebugPrivilegeSeDebugPrivilege", looked);
    EXPECT_EQ("20", attributes);
}

TEST_F(ICSystemPrivilege, AccountWithoutThePrivilege_IsNoFailure)
{
    ICImportPatch const notHeld("AdjustTokenPrivileges",
                                [](HANDLE, BOOL, TOKEN_PRIVILEGES *, DWORD, TOKEN_PRIVILEGES *, DWORD *) -> BOOL {
                                    ::SetLastError(ERROR_NOT_ALL_ASSIGNED);
                                    return TRUE;
                                });
    EXPECT_NO_THROW(f_enable());
}

TEST_F(ICSystemPrivilege, NoName_Fails)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICSystem::mf_implAdjustPrivilege(nullptr, 1); }));
    EXPECT_FALSE(f_hasDebugPrivilege().has_value());
}

TEST_F(ICSystemPrivilege, UnknownName_FailsAndClosesTheToken)
{
    ICImportFault const closed("CloseHandle");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Security, [] { ICSystem::mf_implAdjustPrivilege(L"SeNothingPrivilege", 1); },
        ERROR_NO_SUCH_PRIVILEGE));
    EXPECT_EQ(1u, closed.mf_getCalls());
}

TEST_F(ICSystemPrivilege, TokenRefused_IsNoReasonToImpersonate)
{
    ICImportFault const refused("OpenThreadToken", ERROR_ACCESS_DENIED);
    ICImportFault const impersonated("ImpersonateSelf");
    ICImportFault const closed("CloseHandle");

    EXPECT_TRUE(f_securityFailure(ERROR_ACCESS_DENIED));
    EXPECT_EQ(1u, refused.mf_getCalls());
    EXPECT_EQ(0u, impersonated.mf_getCalls() + closed.mf_getCalls());
}

// Deliberate: both failures carry the code of the missing token.
TEST_F(ICSystemPrivilege, ImpersonationRefused_CarriesTheCodeOfTheMissingToken)
{
    ICImportFault const refused("ImpersonateSelf", ERROR_ACCESS_DENIED);
    ICImportFault const opened("OpenThreadToken");

    EXPECT_TRUE(f_securityFailure(ERROR_NO_TOKEN));
    EXPECT_EQ(1u, opened.mf_getCalls());
}

TEST_F(ICSystemPrivilege, SecondRefusalOfTheToken_CarriesTheCodeOfTheMissingToken)
{
    ICImportFault const refused("OpenThreadToken", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));

    EXPECT_TRUE(f_securityFailure(ERROR_NO_TOKEN));
    EXPECT_EQ(1u, refused.mf_getAnswered());
}

TEST_F(ICSystemPrivilege, RefusedAdjustment_FailsAndClosesTheToken)
{
    for (char const * refusing : {"LookupPrivilegeValueW", "AdjustTokenPrivileges"}) {
        SCOPED_TRACE(refusing);
        ICImportFault const refused(refusing, ERROR_ACCESS_DENIED);
        ICImportFault const closed("CloseHandle");

        EXPECT_TRUE(f_securityFailure(ERROR_ACCESS_DENIED));
        EXPECT_EQ(1u, closed.mf_getCalls());
    }
}

TEST_F(ICSystemPrivilege, TokenThatCannotBeClosed_IsNoFailure)
{
    ICFailingClose const close(ERROR_INVALID_HANDLE);
    EXPECT_NO_THROW(f_enable());
    EXPECT_EQ(1u, close.mf_getCalls());
}

TEST_F(ICSystemPrivilege, TokenThatCannotBeClosed_LeavesTheFirstFailure)
{
    ICFailingClose const close(ERROR_INVALID_HANDLE);
    ICImportFault const refused("AdjustTokenPrivileges", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_securityFailure(ERROR_ACCESS_DENIED));
    EXPECT_EQ(1u, close.mf_getCalls());
}
