// Whether the calling thread acts as an administrator.
#include <gtest/gtest.h>

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"
#include "tests/system/PrivilegeState.h"

namespace
{

// S-1-5-32-544
struct ADMINISTRATORS
{
    BYTE m_bytes[SECURITY_MAX_SID_SIZE];
    ADMINISTRATORS()
    {
        DWORD size = sizeof(m_bytes);
        ::CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, m_bytes, &size);
    }
};

// A token in which the group of administrators is there only to deny, as that of an administrator who is not elevated.
// The calling thread acts with it while the object lives.
class ICWithoutAdministrators
{
public:
    ICWithoutAdministrators()
    {
        ADMINISTRATORS group;
        SID_AND_ATTRIBUTES disabled = {group.m_bytes, 0};
        HANDLE own = nullptr;
        HANDLE restricted = nullptr;
        HANDLE acting = nullptr;
        ::OpenProcessToken(::GetCurrentProcess(), TOKEN_ALL_ACCESS, &own);
        ::CreateRestrictedToken(own, 0, 1, &disabled, 0, nullptr, 0, nullptr, &restricted);
        ::DuplicateToken(restricted, SecurityImpersonation, &acting);
        m_isActing = ::SetThreadToken(nullptr, acting);
        for (HANDLE token : {own, restricted, acting})
            ::CloseHandle(token);
    }

    BOOL m_isActing;

private:
    ICOwnTokenEnds const m_end;
};

testing::AssertionResult f_administratorFailure(ulong systemError)
{
    return f_throws(
        ICErrno::_E_::System, [] { ICProcessInfo::mf_isAdministrator(); }, systemError);
}

} // namespace

TEST(ICAdministrator, RealToken_AnswersAsThePlatform)
{
    ADMINISTRATORS group;
    BOOL expected = 2;
    ASSERT_TRUE(::CheckTokenMembership(nullptr, group.m_bytes, &expected));
    EXPECT_EQ(expected, ICProcessInfo::mf_isAdministrator());
}

TEST(ICAdministrator, GroupThatIsDisabled_AnswersZero)
{
    ICWithoutAdministrators const acting;
    ASSERT_TRUE(acting.m_isActing);
    EXPECT_EQ(0, ICProcessInfo::mf_isAdministrator());
}

TEST(ICAdministrator, LocalGroupIsLookedForInTheThreadsToken)
{
    ADMINISTRATORS group;
    BOOL answer = TRUE;
    ICImportPatch const check(IC_IMPORT(CheckTokenMembership), [&](HANDLE token, PSID id, BOOL * isMember) {
        EXPECT_EQ(nullptr, token);
        EXPECT_TRUE(::EqualSid(id, group.m_bytes));
        *isMember = answer;
        return TRUE;
    });
    ICImportFault const freed("FreeSid");

    EXPECT_EQ(1, ICProcessInfo::mf_isAdministrator());
    answer = FALSE;
    EXPECT_EQ(0, ICProcessInfo::mf_isAdministrator());
    EXPECT_EQ(2u, freed.mf_getCalls());
}

TEST(ICAdministrator, NoGroup_Fails)
{
    ICImportFault const refused("AllocateAndInitializeSid", ERROR_NOT_ENOUGH_MEMORY);
    ICImportFault const checked("CheckTokenMembership");
    ICImportFault const freed("FreeSid");

    EXPECT_TRUE(f_administratorFailure(ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(0u, checked.mf_getCalls() + freed.mf_getCalls());
}

TEST(ICAdministrator, NoAnswer_FailsAndFreesTheGroup)
{
    ICImportFault const refused("CheckTokenMembership", ERROR_ACCESS_DENIED);
    ICImportFault const freed("FreeSid");

    EXPECT_TRUE(f_administratorFailure(ERROR_ACCESS_DENIED));
    EXPECT_EQ(1u, freed.mf_getCalls());
}
