// Every line of fault injection, as a log shows it.
#include "hsmbase/context/ICDebug.h"

#include "tests/context/DebugTest.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/LoggedPlace.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr ulong TARNWELL = ICErrnoData::TARNWELL;
std::string const RAISE = "ICDebug::mf_implThrowErrno";

class ICDebugTrace : public testing::Test
{
protected:
    ~ICDebugTrace() override { ICDebug::mf_deleteInstance(); }

    void mf_switchOn() const
    {
        m_machine.mf_makeKey(L"Debug");
        ASSERT_EQ(1, ICDebug::mf_createInstance());
    }

    ICTracedProcess const m_process{L"German"};
    ICRegistrySandbox const & m_machine = m_process.mf_getRegistry();
};

} // namespace

TEST_F(ICDebugTrace, Create_WithKey_TellsSo)
{
    m_machine.mf_makeKey(L"Debug");
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_EQ(1, ICDebug::mf_createInstance()); }),
                ElementsAre(f_isRecord('T', "ICDebug::mf_createInstance", "Created debug singleton")));
}

TEST_F(ICDebugTrace, Create_WithoutKey_TellsThatTheFeatureIsOff)
{
    EXPECT_THAT(m_process.mf_trace([] { EXPECT_EQ(0, ICDebug::mf_createInstance()); }),
                ElementsAre(f_isRecord('T', "ICDebug::mf_createInstance",
                                       "Debug registry does not exist, debug exception feature disabled")));
}

TEST_F(ICDebugTrace, CreateTwice_IsAnError)
{
    mf_switchOn();
    EXPECT_THAT(m_process.mf_run([] { ICDebug::mf_createInstance(); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICDebug::mf_createInstance",
                        "Debug singleton already initialized"));
}

// Deliberate: the failure is passed on in spite of the words, whose spelling is meant too.
TEST_F(ICDebugTrace, Create_KeyCannotBeAskedFor_IsAnErrorThatClaimsToGoOn)
{
    ICImportFault const denied("RegOpenKeyExW", DENIED);
    ICTracedAction const outcome = m_process.mf_run([] { ICDebug::mf_createInstance(); });
    std::string const text =
        f_logged(f_at("Failure querying for existence of registry root '@\\Debug':\n", m_machine.mf_getPath().c_str()),
                 ICErrno::_E_::Registry, DENIED);
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::Registry, DENIED, 'E', "ICDebug::mf_createInstance",
                                 text + "\nExcpetion debugging will be disabled..."));
}

TEST_F(ICDebugTrace, Create_NoMemory_IsAnError)
{
    m_machine.mf_makeKey(L"Debug");
    ICImportFault const refused("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    EXPECT_THAT(
        m_process.mf_run([] { ICDebug::mf_createInstance(); }),
        f_fails(ICErrno::_E_::Memory, 'E', "ICDebug::mf_createInstance", "No memory for debug singleton instance"));
}

TEST_F(ICDebugTrace, Delete_TellsSoOnce)
{
    mf_switchOn();
    EXPECT_THAT(m_process.mf_trace([] { ICDebug::mf_deleteInstance(); }),
                ElementsAre(f_isRecord('T', "ICDebug::mf_deleteInstance", "Deleted debug singleton")));
    EXPECT_THAT(m_process.mf_trace([] { ICDebug::mf_deleteInstance(); }), IsEmpty());
}

TEST_F(ICDebugTrace, Throw_EachRow_WarnsWithTheWholeMask)
{
    mf_switchOn();
    for (DEBUG_ROW const & row : DEBUG_ROWS) {
        m_machine.mf_writeNumber(L"Debug", row.m_valueName, row.m_action | 0x10000);
        ICErrno const raised(ICErrno::_E_::Debug, static_cast<int>(row.m_originator), 0, f_debugMessage(row));
        CString text;
        text.Format(L"Debug action key %s=0x%8.8x was set, raising exception:\r\n", row.m_valueName,
                    row.m_action | 0x10000);
        EXPECT_THAT(m_process.mf_run([&] { ICDebug::mf_throwErrno(row.m_originator, row.m_action); }),
                    f_fails(ICErrno::_E_::Debug, 0, 'W', RAISE, f_logged(f_logged("", text), raised)));
    }
}

TEST_F(ICDebugTrace, Throw_LetsPass_LeavesNoLine)
{
    mf_switchOn();
    m_machine.mf_writeNumber(L"Debug", L"Tarnwell", 6);
    EXPECT_THAT(m_process.mf_trace([] {
        ICDebug::mf_throwErrno(TARNWELL, 1);
        ICDebug::mf_throwErrno(0, 1);
    }),
                IsEmpty());
}

TEST_F(ICDebugTrace, Throw_EachStepOfReadingRefused_IsAnErrorThatIsIgnored)
{
    mf_switchOn();
    m_machine.mf_writeNumber(L"Debug", L"Tarnwell", 1);
    struct STEP
    {
        char const * m_import;
        ulong m_call;
    };
    for (STEP const & step : {STEP{"RegOpenKeyExW", 1}, STEP{"RegOpenKeyExW", 2}, STEP{"RegQueryValueExW", 2},
                              STEP{"RegCloseKey", 1}, STEP{"RegCloseKey", 2}}) {
        SCOPED_TRACE(std::string(step.m_import) + " " + std::to_string(step.m_call));
        ICImportFault const denied(step.m_import, DENIED, ICCalls::mf_only(step.m_call));
        std::string const text =
            f_logged("Failure getting registry value for key 'Tarnwell': ", ICErrno(ICErrno::_E_::Registry, DENIED));
        EXPECT_THAT(m_process.mf_trace([] { ICDebug::mf_throwErrno(TARNWELL, 1); }),
                    Contains(f_isRecord('E', RAISE, text + "\nIgnored ...")));
        if (std::string(step.m_import) == "RegCloseKey") ICLeakAccount::mf_excuse("the key was never closed", 2, 0);
    }
}

TEST_F(ICDebugTrace, Throw_ValueOfAnotherType_IsAnErrorThatIsIgnored)
{
    mf_switchOn();
    m_machine.mf_writeText(L"Debug", L"USR", L"1");
    std::string const text =
        f_logged("Failure getting registry value for key 'USR': ", ICErrno(ICErrno::_E_::Unexpected));
    EXPECT_THAT(m_process.mf_trace([] { ICDebug::mf_throwErrno(ICErrnoData::USER_INTERACTION, 1); }),
                Contains(f_isRecord('E', RAISE, text + "\nIgnored ...")));
}
