// The image names of processes, and the privilege that is lent for asking.
#include <gtest/gtest.h>

#include <string>

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"
#include "tests/system/PrivilegeState.h"

#include <psapi.h>

namespace
{

wchar_t const IMAGE[] = L"system_tests.exe";
constexpr ulong NO_PROCESS = 0xFFFFFFF0;

class ICImageName : public testing::Test
{
protected:
    static testing::AssertionResult mf_fails(ulong processId, ulong systemError)
    {
        return f_throws(
            ICErrno::_E_::System, [processId] { ICProcessInfo::mf_getImageName(processId); }, systemError);
    }
    static CString mf_own() { return ICProcessInfo::mf_getImageName(::GetCurrentProcessId()); }

    ICOwnTokenEnds const m_end;
};

// The order of "enable" and "disable", as the platform sees it.
struct ICAdjustments
{
    std::string m_attributes;
    ICImportPatch const m_adjust{IC_IMPORT(AdjustTokenPrivileges),
                                 [this](HANDLE token, BOOL all, TOKEN_PRIVILEGES * asked, DWORD size,
                                        TOKEN_PRIVILEGES * before, DWORD * needed) {
                                     m_attributes += std::to_string(asked->Privileges[0].Attributes);
                                     return ::AdjustTokenPrivileges(token, all, asked, size, before, needed);
                                 }};
};

// An event that two processes know by name.
class ICSharedEvent
{
public:
    explicit ICSharedEvent(std::wstring const & name)
        : m_event(::CreateEventW(nullptr, TRUE, FALSE, (L"hsmbase-tests-" + name).c_str()))
    {}
    ICSharedEvent(ICSharedEvent const &) = delete;
    ICSharedEvent & operator=(ICSharedEvent const &) = delete;
    ~ICSharedEvent() { ::CloseHandle(m_event); }

    void mf_set() const { ::SetEvent(m_event); }
    bool mf_wait() const { return ::WaitForSingleObject(m_event, 30'000) == WAIT_OBJECT_0; }

private:
    HANDLE const m_event;
};

} // namespace

// Runs until the test is done with it.
IC_CHILD(beNamed)
{
    ICSharedEvent(arguments[0] + L"-ready").mf_set();
    return ICSharedEvent(arguments[0] + L"-done").mf_wait() ? 0 : 1;
}

TEST_F(ICImageName, OfThisProcess)
{
    EXPECT_STREQ(IMAGE, mf_own());
}

TEST_F(ICImageName, OfAnotherProcess)
{
    std::wstring const name = std::to_wstring(::GetCurrentProcessId());
    ICSharedEvent const ready(name + L"-ready");
    ICSharedEvent const done(name + L"-done");
    ICChildProcess child("beNamed", {name});

    ASSERT_TRUE(ready.mf_wait());
    EXPECT_STREQ(IMAGE, ICProcessInfo::mf_getImageName(child.mf_getId()));
    done.mf_set();
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

TEST_F(ICImageName, HasThePrivilegeWhileItOpensTheProcessAndNotAfterwards)
{
    std::optional<bool> meanwhile;
    ICImportPatch const open(IC_IMPORT(OpenProcess), [&](DWORD access, BOOL inherit, DWORD id) {
        meanwhile = f_hasDebugPrivilege();
        return ::OpenProcess(access, inherit, id);
    });

    EXPECT_STREQ(IMAGE, mf_own());
    EXPECT_EQ(true, meanwhile);
    EXPECT_EQ(false, f_hasDebugPrivilege());
}

TEST_F(ICImageName, ProcessIsOpenedWithAllRightsAndAskedForItsOwnName)
{
    ulong rights = 0;
    ulong length = 0;
    ICImportPatch const open(IC_IMPORT(OpenProcess), [&](DWORD access, BOOL inherit, DWORD id) {
        rights = inherit || id != 1234 ? 0 : access;
        return ::OpenProcess(access, FALSE, ::GetCurrentProcessId());
    });
    ICImportPatch const name(IC_IMPORT(K32GetModuleBaseNameW), [&](HANDLE, HMODULE module, wchar_t * text, DWORD size) {
        length = module == nullptr ? size : 0;
        std::wmemset(text, L'x', size); // the platform leaves a text that was cut without its end
        return size;
    });

    EXPECT_EQ(259, ICProcessInfo::mf_getImageName(1234).GetLength());
    EXPECT_EQ(0x1FFFFFu, rights);
    EXPECT_EQ(259u, length);
}

TEST_F(ICImageName, UnknownProcess_FailsAndReleasesThePrivilege)
{
    ICAdjustments const adjustments;
    ICImportFault const closed("CloseHandle");

    EXPECT_TRUE(mf_fails(NO_PROCESS, ERROR_INVALID_PARAMETER));
    EXPECT_EQ("20", adjustments.m_attributes);
    EXPECT_EQ(false, f_hasDebugPrivilege());
    EXPECT_EQ(2u, closed.mf_getCalls()) << "the token, twice";
}

TEST_F(ICImageName, NamelessProcess_FailsAndReleasesEverything)
{
    ICAdjustments const adjustments;
    ICImportFault const refused("K32GetModuleBaseNameW", ERROR_PARTIAL_COPY);
    ICImportFault const closed("CloseHandle");

    EXPECT_TRUE(mf_fails(::GetCurrentProcessId(), ERROR_PARTIAL_COPY));
    EXPECT_EQ("20", adjustments.m_attributes);
    EXPECT_EQ(3u, closed.mf_getCalls());
}

TEST_F(ICImageName, PrivilegeThatCannotBeHad_StopsNothing)
{
    ICImportFault const refused("OpenThreadToken", ERROR_ACCESS_DENIED);

    EXPECT_STREQ(IMAGE, mf_own());
    EXPECT_EQ(2u, refused.mf_getCalls()) << "it is released all the same";
    EXPECT_TRUE(mf_fails(NO_PROCESS, ERROR_INVALID_PARAMETER));
}

TEST_F(ICImageName, PrivilegeThatCannotBeReleased_IsNoFailure)
{
    {
        ICImportFault const refused("AdjustTokenPrivileges", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
        EXPECT_STREQ(IMAGE, mf_own());
        EXPECT_EQ(1u, refused.mf_getAnswered());
    }
    ICImportFault const refused("AdjustTokenPrivileges", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    EXPECT_TRUE(mf_fails(NO_PROCESS, ERROR_INVALID_PARAMETER));
    EXPECT_EQ(1u, refused.mf_getAnswered());
}

TEST_F(ICImageName, ProcessThatCannotBeClosed_IsNoFailure)
{
    ICFailingClose const close(ERROR_INVALID_HANDLE);
    EXPECT_STREQ(IMAGE, mf_own());
    EXPECT_EQ(3u, close.mf_getCalls());
}

TEST_F(ICImageName, ProcessThatCannotBeClosed_LeavesTheFirstFailure)
{
    ICFailingClose const close(ERROR_INVALID_HANDLE);
    ICImportFault const refused("K32GetModuleBaseNameW", ERROR_PARTIAL_COPY);
    EXPECT_TRUE(mf_fails(::GetCurrentProcessId(), ERROR_PARTIAL_COPY));
}

TEST_F(ICImageName, ForeignException_ReleasesThePrivilegeAndTheProcess)
{
    struct FOREIGN
    {};
    ICImportPatch const name("K32GetModuleBaseNameW",
                             [](HANDLE, HMODULE, wchar_t *, DWORD) -> DWORD { throw FOREIGN(); });
    EXPECT_THROW(mf_own(), FOREIGN);
    EXPECT_EQ(false, f_hasDebugPrivilege());
}
