#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <vector>

#include "hsmbase/failure/ICErrno.h"
#include "tests/events/EventsTest.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{

using JOURNAL = std::vector<std::wstring>;

// A broadcaster, and listeners a, b, c that enter their names in a journal before they act.
class ICEventBroadcasterTest : public testing::Test
{
protected:
    ICTestListener::ACT mf_entering(wchar_t const * name, ICTestListener::ACT const & act = {})
    {
        return [this, name, act](ICEvent const & event) {
            m_journal.emplace_back(name);
            if (act) act(event);
        };
    }

    void mf_register(std::initializer_list<ICEventListener const *> listeners)
    {
        for (ICEventListener const * listener : listeners)
            m_broadcaster.mf_registerEventListener(listener);
    }

    // What one event leads to.
    JOURNAL mf_fire(ICEVENT_ID id = ICEvent::MISC_GENERIC)
    {
        m_journal.clear();
        m_broadcaster.mf_fire(id);
        return m_journal;
    }

    JOURNAL m_journal;
    ICTestBroadcaster m_broadcaster;
    ICTestListener m_a{L"a", mf_entering(L"a")};
    ICTestListener m_b{L"b", mf_entering(L"b")};
    ICTestListener m_c{L"c", mf_entering(L"c")};
};

[[noreturn]] void f_fail(ICEvent const &)
{
    throw ICErrno(ICErrno::_E_::FileOpen);
}

// Reports which texts a trace line asks for, and in which language.
class ICWatchedEvent : public ICEvent
{
public:
    using ICEvent::ICEvent;

    CString mf_toString(CString const & prefix) const override
    {
        m_prefixes.emplace_back(prefix.GetString());
        m_language = ICStatus::mf_canToggleLanguages() ? ICThreadContext::mf_getCurrentLanguageId() : 0;
        return prefix;
    }

    mutable JOURNAL m_prefixes;
    mutable int m_language = 0;
};

} // namespace

TEST_F(ICEventBroadcasterTest, Fresh_HasNoListeners)
{
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEVENT_ID(0xFFFFFFFFFFFFFFFF)));
    EXPECT_EQ(JOURNAL(), mf_fire());
}

TEST_F(ICEventBroadcasterTest, Register_Null_ThrowsParameter)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { m_broadcaster.mf_registerEventListener(nullptr); }));
    EXPECT_EQ(0, m_broadcaster.m_listeners.GetCount());
    EXPECT_TRUE(f_isLockFree(m_broadcaster));
}

TEST_F(ICEventBroadcasterTest, Fire_DeliversTheEventItselfInTheOrderOfRegistration)
{
    ICEvent const * delivered = nullptr;
    ICTestListener listener(L"last", [&](ICEvent const & event) { delivered = &event; });
    mf_register({&m_b, &m_a, &m_c, &listener});
    ICEvent const event(ICEvent::MISC_GENERIC, &m_broadcaster, L"message");
    m_broadcaster.mf_fireEvent(event);
    EXPECT_EQ(JOURNAL({L"b", L"a", L"c"}), m_journal);
    EXPECT_EQ(&event, delivered);
}

TEST_F(ICEventBroadcasterTest, Fire_DefaultListener_ReceivesAllEvents)
{
    mf_register({&m_a});
    for (int bit = 0; bit < 64; ++bit) {
        ICEVENT_ID const id(std::uint64_t{1} << bit);
        EXPECT_EQ(1, m_broadcaster.mf_hasListeners(id)) << bit;
        EXPECT_EQ(JOURNAL({L"a"}), mf_fire(id)) << bit;
    }
}

TEST_F(ICEventBroadcasterTest, Fire_OnlyToWhomTheMaskSays)
{
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    m_b.mf_setEventMask(ICEvent::SOURCE_DIRECTORY | ICEvent::SOURCE_FILE);
    m_c.mf_setEventMask(ICEVENT_ID());
    mf_register({&m_a, &m_b, &m_c});
    EXPECT_EQ(JOURNAL({L"a", L"b"}), mf_fire(ICEvent::SOURCE_FILE));
    EXPECT_EQ(JOURNAL({L"b"}), mf_fire(ICEvent::SOURCE_DIRECTORY));
    EXPECT_EQ(JOURNAL({L"a", L"b"}), mf_fire(ICEvent::SOURCE_FILE | ICEvent::MISC_SID));
    EXPECT_EQ(JOURNAL(), mf_fire(ICEvent::MISC_SID));
    EXPECT_EQ(JOURNAL(), mf_fire(ICEVENT_ID()));
}

TEST_F(ICEventBroadcasterTest, HasListeners_ForAnyMaskOfThem)
{
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    m_b.mf_setEventMask(ICEvent::MISC_SID);
    mf_register({&m_a, &m_b});
    EXPECT_EQ(1, m_broadcaster.mf_hasListeners(ICEvent::SOURCE_FILE));
    EXPECT_EQ(1, m_broadcaster.mf_hasListeners(ICEvent::MISC_SID | ICEvent::MISC_LOG));
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEvent::MISC_LOG));
}

TEST_F(ICEventBroadcasterTest, HasListeners_TakesNoLock)
{
    ICImportFault const locking("EnterCriticalSection");
    m_broadcaster.mf_hasListeners(ICEvent::MISC_LOG);
    EXPECT_EQ(0u, locking.mf_getCalls());
    m_broadcaster.mf_fire(ICEvent::MISC_LOG);
    EXPECT_EQ(1u, locking.mf_getCalls());
}

TEST_F(ICEventBroadcasterTest, Remove_KeepsTheOthersInOrder)
{
    mf_register({&m_a, &m_b, &m_c});
    m_broadcaster.mf_removeEventListener(&m_b);
    EXPECT_EQ(JOURNAL({L"a", L"c"}), mf_fire());
}

TEST_F(ICEventBroadcasterTest, Remove_RebuildsTheMask)
{
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    m_b.mf_setEventMask(ICEvent::MISC_SID);
    mf_register({&m_a, &m_b});
    m_broadcaster.mf_removeEventListener(&m_a);
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEvent::SOURCE_FILE));
    EXPECT_EQ(1, m_broadcaster.mf_hasListeners(ICEvent::MISC_SID));
    m_broadcaster.mf_removeEventListener(&m_b);
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEvent::MISC_SID));
}

TEST_F(ICEventBroadcasterTest, RegisteredTwice_ReceivesEachEventTwice)
{
    mf_register({&m_a, &m_b, &m_a});
    EXPECT_EQ(JOURNAL({L"a", L"b", L"a"}), mf_fire());
}

TEST_F(ICEventBroadcasterTest, RegisteredTwice_RemoveTakesTheLastEntry)
{
    mf_register({&m_a, &m_b, &m_a, &m_c});
    m_broadcaster.mf_removeEventListener(&m_a);
    EXPECT_EQ(JOURNAL({L"a", L"b", L"c"}), mf_fire());
    m_broadcaster.mf_removeEventListener(&m_a);
    EXPECT_EQ(JOURNAL({L"b", L"c"}), mf_fire());
}

// Deliberate: the entry that stays is served, but a sender that asks beforehand is told that nobody listens.
TEST_F(ICEventBroadcasterTest, RegisteredTwice_RemoveLosesTheMaskOfTheEntryThatStays)
{
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    mf_register({&m_a, &m_a});
    m_broadcaster.mf_removeEventListener(&m_a);
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEvent::SOURCE_FILE));
    EXPECT_EQ(JOURNAL({L"a"}), mf_fire(ICEvent::SOURCE_FILE));
}

TEST_F(ICEventBroadcasterTest, Remove_NotRegistered_ThrowsInternalWithTheLockFree)
{
    bool wasLockFree = false;
    m_b.m_onName = [&] { wasLockFree = f_isLockFree(m_broadcaster); };
    mf_register({&m_a});
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { m_broadcaster.mf_removeEventListener(&m_b); }));
    EXPECT_EQ(1, m_b.m_timesNamed);
    EXPECT_TRUE(wasLockFree) << "the trace line is written behind the lock";
    EXPECT_TRUE(f_isLockFree(m_broadcaster));
    EXPECT_EQ(JOURNAL({L"a"}), mf_fire());
}

TEST_F(ICEventBroadcasterTest, Remove_NotRegistered_RebuildsTheMaskFromAll)
{
    mf_register({&m_a, &m_b});
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    m_b.mf_setEventMask(ICEvent::MISC_SID);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { m_broadcaster.mf_removeEventListener(&m_c); }));
    EXPECT_EQ(ICEvent::SOURCE_FILE | ICEvent::MISC_SID, m_broadcaster.m_combinedMask.load());
}

TEST_F(ICEventBroadcasterTest, Remove_FromAnEmptyList_ThrowsInternal)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { m_broadcaster.mf_removeEventListener(&m_a); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [&] { m_broadcaster.mf_removeEventListener(nullptr); }));
}

// Deliberate: hasListeners goes by what was known at registration, up to the next removal; deliveries don't.
TEST_F(ICEventBroadcasterTest, MaskChangedLater_DeliveriesFollowAtOnce)
{
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    mf_register({&m_a, &m_b});
    m_broadcaster.mf_removeEventListener(&m_b);
    m_a.mf_setEventMask(ICEvent::MISC_SID);
    EXPECT_EQ(1, m_broadcaster.mf_hasListeners(ICEvent::SOURCE_FILE));
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEvent::MISC_SID));
    EXPECT_EQ(JOURNAL(), mf_fire(ICEvent::SOURCE_FILE));
    EXPECT_EQ(JOURNAL({L"a"}), mf_fire(ICEvent::MISC_SID));
    mf_register({&m_b});
    m_broadcaster.mf_removeEventListener(&m_b);
    EXPECT_EQ(0, m_broadcaster.mf_hasListeners(ICEvent::SOURCE_FILE));
    EXPECT_EQ(1, m_broadcaster.mf_hasListeners(ICEvent::MISC_SID));
}

TEST_F(ICEventBroadcasterTest, FailingListener_KeepsNobodyFromTheEvent)
{
    for (ICEVENT_ID id : {ICEvent::MISC_GENERIC, ICEvent::MISC_LOG}) {
        ICTestListener const failing(L"failing", mf_entering(L"failing", f_fail));
        mf_register({&m_a, &failing, &m_b});
        EXPECT_EQ(JOURNAL({L"a", L"failing", L"b"}), mf_fire(id));
        EXPECT_TRUE(f_isLockFree(m_broadcaster));
        for (ICTestListener const * listener : {&std::as_const(m_a), &failing, &std::as_const(m_b)})
            m_broadcaster.mf_removeEventListener(listener);
    }
}

TEST_F(ICEventBroadcasterTest, OtherExceptions_ReachTheSenderWithTheLockFree)
{
    ICTestListener const failing(L"failing", [](ICEvent const &) { throw std::runtime_error("mine"); });
    mf_register({&m_a, &failing, &m_b});
    EXPECT_THROW(mf_fire(), std::runtime_error);
    EXPECT_EQ(JOURNAL({L"a"}), m_journal);
    EXPECT_TRUE(f_isLockFree(m_broadcaster));
}

TEST_F(ICEventBroadcasterTest, Trace_AsksForTextsInTheLoggingLanguage)
{
    ICStartedProcess const process(L"German");
    unsigned short nameLanguage = 0;
    unsigned short handlerLanguage = 0;
    ICTestListener listener(L"failing", [&](ICEvent const & event) {
        handlerLanguage = ICThreadContext::mf_getCurrentLanguageId();
        f_fail(event);
    });
    listener.m_onName = [&] { nameLanguage = ICThreadContext::mf_getCurrentLanguageId(); };
    mf_register({&listener});
    ICWatchedEvent const event(ICEvent::MISC_GENERIC, nullptr, L"");
    m_broadcaster.mf_fireEvent(event);
    EXPECT_EQ(JOURNAL({L"    "}), event.m_prefixes);
    EXPECT_EQ(1033, event.m_language);
    EXPECT_EQ(1033, nameLanguage);
    EXPECT_EQ(1031, handlerLanguage);
    EXPECT_EQ(1031, ICThreadContext::mf_getCurrentLanguageId());
}

TEST_F(ICEventBroadcasterTest, Trace_OnceForEachListenerThatIsServed)
{
    m_b.mf_setEventMask(ICEvent::SOURCE_FILE);
    mf_register({&m_a, &m_b, &m_c});
    ICWatchedEvent const event(ICEvent::MISC_GENERIC, nullptr, L"");
    m_broadcaster.mf_fireEvent(event);
    EXPECT_EQ(JOURNAL({L"    ", L"    "}), event.m_prefixes);
    EXPECT_EQ(1, m_a.m_timesNamed);
    EXPECT_EQ(0, m_b.m_timesNamed);
    EXPECT_EQ(1, m_c.m_timesNamed);
}

// Deliberate: a trace line about the trace's own event would be the first of an endless chain.
TEST_F(ICEventBroadcasterTest, Trace_NoneForTheTracesOwnEvent)
{
    ICTestListener const failing(L"failing", f_fail);
    mf_register({&failing, &m_a});
    ICWatchedEvent const event(ICEvent::MISC_LOG, nullptr, L"");
    m_broadcaster.mf_fireEvent(event);
    EXPECT_EQ(JOURNAL({L"a"}), m_journal);
    EXPECT_EQ(JOURNAL(), event.m_prefixes);
    EXPECT_EQ(0, failing.m_timesNamed);
}

TEST_F(ICEventBroadcasterTest, FailureMarkedForTheAdministrator_EndsWithTheLockFree)
{
    ICTestListener const failing(L"failing", [](ICEvent const &) {
        ICErrnoData data(ICErrno::_E_::FileOpen);
        data.mf_setAdminLogFlag(1);
        throw ICErrno(data);
    });
    mf_register({&failing, &failing});
    // A marked record keeps the last error while it is written, and nothing else here asks for it.
    std::vector<bool> isLockFree;
    {
        ICImportPatch const writing(IC_IMPORT(GetLastError), [&] {
            isLockFree.push_back(f_isLockFree(m_broadcaster));
            return DWORD{0};
        });
        m_broadcaster.mf_fire(ICEvent::MISC_LOG);
    }
    EXPECT_EQ(std::vector<bool>({true, true}), isLockFree);
}

TEST_F(ICEventBroadcasterTest, FromInside_RegisteredListenerReceivesTheSameEvent)
{
    ICTestListener const adding(L"adding", mf_entering(L"adding", [this](ICEvent const &) { mf_register({&m_c}); }));
    mf_register({&adding, &m_a});
    EXPECT_EQ(JOURNAL({L"adding", L"a", L"c"}), mf_fire());
}

// Deliberate: what stands behind a removed entry moves up, and the delivery passes it over.
TEST_F(ICEventBroadcasterTest, FromInside_ListenerThatRemovesItself_SkipsTheNext)
{
    ICTestListener leaving(L"leaving", [&](ICEvent const &) { m_broadcaster.mf_removeEventListener(&leaving); });
    mf_register({&m_a, &leaving, &m_b, &m_c});
    EXPECT_EQ(JOURNAL({L"a", L"c"}), mf_fire());
    EXPECT_EQ(JOURNAL({L"a", L"b", L"c"}), mf_fire());
}

TEST_F(ICEventBroadcasterTest, FromInside_RemovalOfALaterListener_KeepsTheEventFromIt)
{
    ICTestListener const removing(L"removing", [this](ICEvent const &) { m_broadcaster.mf_removeEventListener(&m_b); });
    mf_register({&removing, &m_a, &m_b, &m_c});
    EXPECT_EQ(JOURNAL({L"a", L"c"}), mf_fire());
}

TEST_F(ICEventBroadcasterTest, FromInside_RemovalOfAll_EndsTheDelivery)
{
    ICTestListener removing(L"removing", mf_entering(L"removing", [&](ICEvent const &) {
                                for (ICEventListener const * listener : {&m_a, &removing, &m_b})
                                    m_broadcaster.mf_removeEventListener(listener);
                            }));
    mf_register({&m_a, &removing, &m_b});
    EXPECT_EQ(JOURNAL({L"a", L"removing"}), mf_fire());
    EXPECT_EQ(JOURNAL(), mf_fire());
}

TEST_F(ICEventBroadcasterTest, FromInside_RemovalThatFails_IsAFailureOfTheListener)
{
    ICTestListener const removing(L"removing", [this](ICEvent const &) { m_broadcaster.mf_removeEventListener(&m_c); });
    mf_register({&removing, &m_a});
    EXPECT_EQ(JOURNAL({L"a"}), mf_fire());
    EXPECT_TRUE(f_isLockFree(m_broadcaster));
}

TEST_F(ICEventBroadcasterTest, FromInside_AnotherEventIsDeliveredFirst)
{
    ICTestListener const firing(L"firing", ICEvent::SOURCE_FILE, mf_entering(L"firing", [this](ICEvent const &) {
                                    m_broadcaster.mf_fire(ICEvent::SOURCE_DIRECTORY);
                                }));
    m_a.mf_setEventMask(ICEvent::SOURCE_DIRECTORY);
    mf_register({&firing, &m_a, &m_b});
    EXPECT_EQ(JOURNAL({L"firing", L"a", L"b", L"b"}), mf_fire(ICEvent::SOURCE_FILE));
}

TEST_F(ICEventBroadcasterTest, FromInside_ListenerThatEndsItselfMayStillFail)
{
    std::unique_ptr<ICTestListener> passing;
    passing = std::make_unique<ICTestListener>(L"passing", [&](ICEvent const & event) {
        // The function's own state goes with the listener.
        ICTestBroadcaster & broadcaster = m_broadcaster;
        std::unique_ptr<ICTestListener> const ending = std::move(passing);
        broadcaster.mf_removeEventListener(ending.get());
        f_fail(event);
    });
    mf_register({passing.get(), &m_a, &m_b});
    EXPECT_EQ(JOURNAL({L"b"}), mf_fire());
}

TEST_F(ICEventBroadcasterTest, Listeners_RunUnderTheLock)
{
    bool wasLockFree = true;
    ICTestListener const listener(L"", [&](ICEvent const &) { wasLockFree = f_isLockFree(m_broadcaster); });
    mf_register({&listener});
    mf_fire();
    EXPECT_FALSE(wasLockFree);
}

TEST_F(ICEventBroadcasterTest, Copy_HasTheSameListenersAndALockOfItsOwn)
{
    m_a.mf_setEventMask(ICEvent::SOURCE_FILE);
    mf_register({&m_a, &m_b});
    ICTestBroadcaster copy(m_broadcaster);
    m_broadcaster.mf_removeEventListener(&m_b);
    EXPECT_EQ(1, copy.mf_hasListeners(ICEvent::MISC_SID));
    copy.mf_fire(ICEvent::SOURCE_FILE);
    EXPECT_EQ(JOURNAL({L"a", L"b"}), m_journal);

    ::EnterCriticalSection(&m_broadcaster.m_csLock);
    EXPECT_TRUE(f_isLockFree(copy));
    ::LeaveCriticalSection(&m_broadcaster.m_csLock);
}

TEST_F(ICEventBroadcasterTest, End_DoesNotTellTheListeners)
{
    {
        ICTestBroadcaster broadcaster;
        broadcaster.mf_registerEventListener(&m_a);
    }
    EXPECT_EQ(JOURNAL(), m_journal);
    EXPECT_EQ(0, m_a.m_timesNamed);
}
