#include <gtest/gtest.h>

#include <atomic>
#include <optional>
#include <thread>
#include <vector>

#include "hsmbase/context/ICDebug.h"
#include "tests/context/DebugTest.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{

class ICDebugTest : public testing::Test
{
protected:
    ~ICDebugTest() override { ICDebug::mf_deleteInstance(); }

    // The key is there, and the feature on.
    void mf_switchOn() const
    {
        m_machine.mf_makeKey(L"Debug");
        ASSERT_EQ(1, ICDebug::mf_createInstance());
    }

    void mf_set(wchar_t const * name, ulong mask) const { m_machine.mf_writeNumber(L"Debug", name, mask); }

    ICStartedProcess const m_process;
    ICRegistrySandbox const & m_machine = m_process.mf_getRegistry();
};

// The record that the point raised; nothing if it let pass.
std::optional<ICErrnoData> f_raised(ulong originator, ulong action)
{
    try {
        ICDebug::mf_throwErrno(originator, action);
    }
    catch (ICErrno & failure) {
        return failure.mf_getErrnoData();
    }
    return std::nullopt;
}

bool f_isRaised(ulong originator, ulong action)
{
    return f_raised(originator, action).has_value();
}

constexpr ulong TARNWELL = ICErrnoData::TARNWELL;

} // namespace

TEST_F(ICDebugTest, DebugRoot_IsBelowTheRegistryRoot)
{
    EXPECT_STREQ((m_machine / L"Debug").c_str(), ICDebug::mf_getDebugRoot());
}

TEST_F(ICDebugTest, WithoutKey_IsOffAndLetsPass)
{
    EXPECT_EQ(0, ICDebug::mf_createInstance());
    EXPECT_EQ(0, ICDebug::mf_isEnabled());
    EXPECT_EQ(nullptr, ICDebug::m_pThis);
    EXPECT_FALSE(f_isRaised(TARNWELL, 0xFFFFFFFF));
    EXPECT_FALSE(m_machine.mf_hasKey(L"Debug"));
}

TEST_F(ICDebugTest, KeyThatComesLater_HasNoEffectUntilTheNextStart)
{
    EXPECT_EQ(0, ICDebug::mf_createInstance());
    mf_set(L"Tarnwell", 1);
    EXPECT_EQ(0, ICDebug::mf_isEnabled());
    EXPECT_FALSE(f_isRaised(TARNWELL, 1));
    EXPECT_EQ(1, ICDebug::mf_createInstance());
    EXPECT_TRUE(f_isRaised(TARNWELL, 1));
}

TEST_F(ICDebugTest, WithKey_IsOn)
{
    mf_switchOn();
    EXPECT_EQ(1, ICDebug::mf_isEnabled());
    EXPECT_STREQ(ICDebug::mf_getDebugRoot(), ICDebug::m_pThis->m_sDebugRoot);
}

TEST_F(ICDebugTest, WithKeyWithoutValue_LetsPass)
{
    mf_switchOn();
    mf_set(L"Rexbury", 0xFFFFFFFF);
    mf_set(L"", 0xFFFFFFFF);
    for (ulong const originator : {0ul, 2ul, 3ul, 10ul, 11ul, 0xFFFFFFFFul})
        EXPECT_FALSE(f_isRaised(originator, 0xFFFFFFFF)) << originator;
}

TEST_F(ICDebugTest, WithoutRegistryRoot_IsOff)
{
    ICRegistry * const registry = std::exchange(ICRegistry::m_pThis, nullptr);
    EXPECT_EQ(0, ICDebug::mf_createInstance());
    ICRegistry::m_pThis = registry;
}

TEST_F(ICDebugTest, Delete_SwitchesOff)
{
    mf_switchOn();
    mf_set(L"Tarnwell", 1);
    EXPECT_TRUE(f_isRaised(TARNWELL, 1));
    ICDebug::mf_deleteInstance();
    EXPECT_EQ(0, ICDebug::mf_isEnabled());
    EXPECT_FALSE(f_isRaised(TARNWELL, 1));
    ICDebug::mf_deleteInstance();
    EXPECT_EQ(0, ICDebug::mf_isEnabled());
}

TEST_F(ICDebugTest, CreateTwice_ThrowsAndKeepsTheFirst)
{
    mf_switchOn();
    ICDebug const * const first = ICDebug::m_pThis;
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICDebug::mf_createInstance(); }));
    EXPECT_EQ(first, ICDebug::m_pThis);
}

TEST_F(ICDebugTest, Create_KeyCannotBeAskedFor_ThrowsAndIsOff)
{
    m_machine.mf_makeKey(L"Debug");
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Registry, [] { ICDebug::mf_createInstance(); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(0, ICDebug::mf_isEnabled());
}

TEST_F(ICDebugTest, Create_NoMemory_ThrowsAndIsOff)
{
    m_machine.mf_makeKey(L"Debug");
    ICImportFault const refused("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { ICDebug::mf_createInstance(); }));
    EXPECT_EQ(0, ICDebug::mf_isEnabled());
}

TEST_F(ICDebugTest, Throw_EachRow_RaisesWhatLooksLikeItsOriginator)
{
    mf_switchOn();
    for (DEBUG_ROW const & row : DEBUG_ROWS) {
        SCOPED_TRACE(f_debugMessage(row).GetString());
        EXPECT_STREQ(row.m_actionName, ICDebug::mf_getActionString(row.m_originator, row.m_action));
        mf_set(row.m_valueName, row.m_action);
        auto const raised = f_raised(row.m_originator, row.m_action);
        mf_set(row.m_valueName, ~row.m_action);
        EXPECT_FALSE(f_isRaised(row.m_originator, row.m_action));
        mf_set(row.m_valueName, 0);
        ASSERT_TRUE(raised);
        EXPECT_EQ(ICErrno::_E_::Debug.mf_getNumber(), raised->mf_getNumber());
        EXPECT_TRUE(ICErrno(*raised).mf_isError());
        EXPECT_EQ(static_cast<int>(row.m_originator), raised->mf_getOriginatorId());
        EXPECT_EQ(0u, raised->mf_getOriginatorErrno());
        EXPECT_STREQ(f_debugMessage(row), raised->mf_getOriginatorMessage());
        EXPECT_FALSE(raised->mf_hasMessageText());
        EXPECT_FALSE(raised->mf_isAdminLogFlagSet());
    }
}

// The id that stands for no originator.
TEST_F(ICDebugTest, Throw_OriginatorThatMeansNone_RaisesWithoutOriginator)
{
    mf_switchOn();
    mf_set(NO_VALUE_NAME, 1);
    auto const raised = f_raised(0xFFFFFFFF, 1);
    ASSERT_TRUE(raised);
    EXPECT_EQ(ICErrno::_E_::Debug.mf_getNumber(), raised->mf_getNumber());
    EXPECT_FALSE(raised->mf_hasOriginator());
}

// Deliberate: any bit that both have raises.
TEST_F(ICDebugTest, Throw_IsPerBit)
{
    mf_switchOn();
    mf_set(L"Tarnwell", 0x6);
    EXPECT_TRUE(f_isRaised(TARNWELL, 0x2));
    EXPECT_TRUE(f_isRaised(TARNWELL, 0x4));
    EXPECT_FALSE(f_isRaised(TARNWELL, 0x1));
    EXPECT_FALSE(f_isRaised(TARNWELL, 0x9));
    EXPECT_TRUE(f_isRaised(TARNWELL, 0x3));
    EXPECT_TRUE(f_isRaised(TARNWELL, 0xFFFFFFFF));
    EXPECT_FALSE(f_isRaised(TARNWELL, 0));
    mf_set(L"Tarnwell", 0x80000000);
    EXPECT_TRUE(f_isRaised(TARNWELL, 0x80000000));
    EXPECT_FALSE(f_isRaised(TARNWELL, 0x7FFFFFFF));
}

TEST_F(ICDebugTest, Throw_ReadsTheValueAnewAndFiresUntilItChanges)
{
    mf_switchOn();
    EXPECT_FALSE(f_isRaised(TARNWELL, 1));
    mf_set(L"Tarnwell", 1);
    for (int pass = 0; pass < 3; ++pass)
        EXPECT_TRUE(f_isRaised(TARNWELL, 1));
    mf_set(L"Tarnwell", 2);
    EXPECT_FALSE(f_isRaised(TARNWELL, 1));
    EXPECT_TRUE(f_isRaised(TARNWELL, 2));
    mf_set(L"Tarnwell", 0);
    EXPECT_FALSE(f_isRaised(TARNWELL, 2));
}

TEST_F(ICDebugTest, Throw_KeyThatGoesAway_LetsPass)
{
    mf_switchOn();
    mf_set(L"Tarnwell", 1);
    EXPECT_TRUE(f_isRaised(TARNWELL, 1));
    ASSERT_EQ(ERROR_SUCCESS, ::RegDeleteKeyW(HKEY_LOCAL_MACHINE, ICDebug::mf_getDebugRoot()));
    EXPECT_FALSE(f_isRaised(TARNWELL, 1));
    EXPECT_EQ(1, ICDebug::mf_isEnabled());
}

TEST_F(ICDebugTest, Throw_ValueThatCannotBeRead_LetsPass)
{
    mf_switchOn();
    mf_set(L"Tarnwell", 1);
    m_machine.mf_writeText(L"Debug", L"LB", L"1");
    EXPECT_FALSE(f_isRaised(2, 1));
    // The first asks whether it is there, the second reads.
    for (char const * import : {"RegOpenKeyExW", "RegQueryValueExW"}) {
        for (ulong const call : {1ul, 2ul}) {
            ICImportFault const denied(import, ERROR_ACCESS_DENIED, ICCalls::mf_only(call));
            EXPECT_FALSE(f_isRaised(TARNWELL, 1)) << import << call;
            EXPECT_EQ(1u, denied.mf_getAnswered());
        }
    }
    EXPECT_TRUE(f_isRaised(TARNWELL, 1));
}

TEST_F(ICDebugTest, LogRendering_ShowsTheImpersonatedOriginator)
{
    mf_switchOn();
    mf_set(L"Tarnwell", 4);
    auto const raised = f_raised(TARNWELL, 4);
    ASSERT_TRUE(raised);
    CString const shown = ICErrno::mf_toLogMessage(*raised, L"  ");
    EXPECT_NE(-1, shown.Find(L"  Originator:     Tarnwell, error code 0L (0x00000000L): Debug exception, impersonating "
                             L"originator with id=3 (Tarnwell), action id=4 (BACKUP_TNWC)"))
        << shown.GetString();
}

// Deliberate: the text of this originator is never shown.
TEST_F(ICDebugTest, LogRendering_OfTheSystemItself_ShowsOnlyItsName)
{
    mf_switchOn();
    mf_set(L"HSM", 1);
    auto const raised = f_raised(ICErrnoData::HSM_INTERNAL, 1);
    ASSERT_TRUE(raised);
    CString const shown = ICErrno::mf_toLogMessage(*raised, L"");
    EXPECT_STREQ(L"Originator:     HSM internal", shown.Mid(shown.Find(L"Originator")));
    EXPECT_EQ(-1, shown.Find(L"impersonating"));
}

TEST_F(ICDebugTest, ActionString_OfSeveralBitsOrNone_IsThePlaceholder)
{
    EXPECT_STREQ(L"BACKUP_TNWC", ICDebug::mf_getActionString(3, 4));
    EXPECT_STREQ(NO_ACTION_NAME, ICDebug::mf_getActionString(5, 1));
    EXPECT_STREQ(NO_ACTION_NAME, ICDebug::mf_getActionString(3, 3));
    EXPECT_STREQ(NO_ACTION_NAME, ICDebug::mf_getActionString(3, 0));
    EXPECT_STREQ(NO_ACTION_NAME, ICDebug::mf_getActionString(0xFFFFFFFF, 1));
}

TEST_F(ICDebugTest, Throw_WhenOff_AsksNothingOfThePlatform)
{
    char const * const names[] = {"RegOpenKeyExW", "RegQueryValueExW",   "TlsGetValue", "EnterCriticalSection",
                                  "GetLastError",  "SetLastError",       "malloc",      "realloc",
                                  "free",          "_ZnwyRKSt9nothrow_t"};
    std::vector<std::unique_ptr<ICImportFault>> counters;
    for (char const * name : names)
        counters.push_back(std::make_unique<ICImportFault>(name));
    ::SetLastError(4711);
    for (int pass = 0; pass < 1000; ++pass)
        ICDebug::mf_throwErrno(TARNWELL, 0xFFFFFFFF);
    EXPECT_EQ(4711u, ::GetLastError());
    for (std::size_t index = 0; index < counters.size(); ++index)
        EXPECT_EQ(0u, counters[index]->mf_getCalls()) << names[index];
}

TEST_F(ICDebugTest, Throw_ManyThreads_EachRaisesItsOwn)
{
    constexpr ulong THREADS = 6;
    mf_switchOn();
    for (ulong index = 0; index < THREADS; ++index)
        mf_set(DEBUG_ROWS[0].m_valueName, 0x15); // every second bit
    std::atomic<int> wrong = 0;
    ICMeetingPoint start(static_cast<int>(THREADS));
    {
        std::vector<std::jthread> threads;
        for (ulong index = 0; index < THREADS; ++index) {
            threads.emplace_back([&, index] {
                DEBUG_ROW const & row = DEBUG_ROWS[index];
                start.mf_arrive();
                for (int pass = 0; pass < 20; ++pass) {
                    auto const raised = f_raised(row.m_originator, row.m_action);
                    wrong += raised.has_value() != (index % 2 == 0);
                    wrong += raised && f_debugMessage(row) != raised->mf_getOriginatorMessage();
                }
            });
        }
    }
    EXPECT_EQ(0, wrong);
}
