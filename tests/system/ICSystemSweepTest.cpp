// Each platform call of each operation fails once: nothing is left open or switched on, and nothing half is kept.
#include "hsmbase/system/ICSystem.h"

#include <gtest/gtest.h>

#include <lmcons.h>

#include <lmapibuf.h>
#include <lmuse.h>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/system/internal/ICIPAddress.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICImportSweep.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/system/PrivilegeState.h"

namespace
{

bool f_isAnyPrivilegeOn()
{
    for (wchar_t const * const name : {L"SeDebugPrivilege", L"SeRestorePrivilege", L"SeSecurityPrivilege"})
        if (f_hasPrivilege(name).value_or(false)) return true;
    return false;
}

class ICSystemSweep : public testing::Test
{
protected:
    ~ICSystemSweep() override { mf_forget(); }

    static void mf_forget()
    {
        ICSystem::m_sHostName.Empty();
        ICSystem::m_sSystemRoot.Empty();
        ICSystem::m_sSystemDrive.Empty();
        for (INT_PTR index = 0; index < ICSystem::m_aHostAddresses.GetCount(); ++index)
            delete ICSystem::m_aHostAddresses[index];
        ICSystem::m_aHostAddresses.RemoveAll();
    }

    struct KEPT
    {
        INT_PTR m_addresses;
        CString m_texts[3];
    };
    static KEPT mf_kept()
    {
        return {ICSystem::m_aHostAddresses.GetCount(),
                {ICSystem::m_sHostName, ICSystem::m_sSystemRoot, ICSystem::m_sSystemDrive}};
    }

    // What is kept is nothing, or what is kept where nothing fails.
    static std::string mf_compareKept(KEPT const & expected)
    {
        KEPT const kept = mf_kept();
        std::string wrong;
        if (kept.m_addresses != 0 && kept.m_addresses != expected.m_addresses) wrong += "some addresses are kept; ";
        for (int text = 0; text < 3; ++text)
            if (!kept.m_texts[text].IsEmpty() && kept.m_texts[text] != expected.m_texts[text])
                wrong += "a wrong text is kept; ";
        return wrong;
    }

    std::size_t mf_sweep(std::string const & name, std::function<void()> action) const
    {
        ICImportSweep sweep(name, action);
        KEPT expected = {};
        sweep.m_prepare = [] { mf_forget(); };
        sweep.m_check = [&](ICSweepRun const & run) {
            if (run.m_import.empty()) expected = mf_kept();
            // What can't be switched off stays on.
            bool const mayStayOn = run.m_call > run.m_calls / 2;
            return mf_compareKept(expected) + (f_isAnyPrivilegeOn() && !mayStayOn ? "a privilege stays on; " : "");
        };
        sweep.m_settle = [] {
            ::RevertToSelf();
            mf_forget();
        };
        return sweep.mf_run();
    }

    // Switches on and off, as whoever needs a privilege does.
    template<class SWITCH>
    static void mf_bracket(SWITCH const & adjust)
    {
        try {
            adjust(1);
        }
        catch (ICErrno &) {
            adjust(0);
            throw;
        }
        adjust(0);
    }

    ICStartedProcess const m_process;
};

} // namespace

TEST_F(ICSystemSweep, AnyCallForAPrivilegeThatFails_LeavesItOff)
{
    EXPECT_LT(5u, mf_sweep("mf_adjustDebugAccess", [] { mf_bracket(&ICSystem::mf_adjustDebugAccess); }));
    EXPECT_LT(10u, mf_sweep("mf_adjustSecurityAccess", [] { mf_bracket(&ICSystem::mf_adjustSecurityAccess); }));
}

TEST_F(ICSystemSweep, AnyCallForAFactThatFails_KeepsNothingHalf)
{
    std::size_t failed = mf_sweep("mf_getHostName", [] { ICSystem::mf_getHostName(); });
    failed += mf_sweep("mf_getHostAddresses", [] { ICSystem::mf_getHostAddresses(); });
    failed += mf_sweep("mf_isLocalServer", [] { ICSystem::mf_isLocalServer(L"10.9.8.7"); });
    failed += mf_sweep("mf_getSystemRoot", [] { ICSystem::mf_getSystemRoot(); });
    failed += mf_sweep("mf_getSystemDrive", [] { ICSystem::mf_getSystemDrive(); });
    failed += mf_sweep("mf_getEnvironmentVariable", [] { ICSystem::mf_getEnvironmentVariable(L"PATH"); });
    failed += mf_sweep("mf_getDefaultAnsiCodepage", [] { ICSystem::mf_getDefaultAnsiCodepage(); });
    failed += mf_sweep("mf_getSystemVersionString", [] { ICSystem::mf_getSystemVersionString(); });
    failed += mf_sweep("mf_isAtLeastW2008", [] { ICSystem::mf_isAtLeastW2008(1); });
    failed += mf_sweep("mf_toString", [] { ICSystem::mf_toString(L"  "); });
    EXPECT_LT(20u, failed);
}

TEST_F(ICSystemSweep, AnyCallForAShareThatFails_FreesWhatTheNetworkGave)
{
    std::wstring share = L"\\\\srv\\share";
    USE_INFO_0 use = {};
    use.ui0_remote = share.data();
    long given = 0;
    ICImportPatch const ask(IC_IMPORT(NetUseGetInfo), [&](wchar_t *, wchar_t *, DWORD, BYTE ** buffer) -> DWORD {
        *buffer = reinterpret_cast<BYTE *>(&use);
        ++given;
        return NO_ERROR;
    });
    ICImportPatch const free(IC_IMPORT(NetApiBufferFree), [&](void * buffer) -> DWORD {
        if (buffer == &use) --given;
        return NO_ERROR;
    });
    EXPECT_LT(1u, mf_sweep("mf_getServerShareName", [] { ICSystem::mf_getServerShareName(L"N:"); }));
    EXPECT_EQ(0, given);
}
