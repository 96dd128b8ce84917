#include "hsmbase/events/ICErrnoEvent.h"
#include "tests/events/EventsTest.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr char FIRE[] = "ICEventBroadcaster::mf_fireEvent";

[[noreturn]] void f_fail(ICEvent const &)
{
    throw ICErrno(ICErrno::_E_::FileOpen);
}

class ICEventBroadcasterTrace : public testing::Test
{
protected:
    // What delivering the event to these leaves.
    std::vector<ICTraceRecord> mf_deliver(ICEvent const & event,
                                          std::initializer_list<ICEventListener const *> listeners)
    {
        for (ICEventListener const * listener : listeners)
            m_broadcaster.mf_registerEventListener(listener);
        return m_process.mf_trace([&] { m_broadcaster.mf_fireEvent(event); });
    }

    // A text that ends with that of the event, in the logging language.
    static std::string mf_showing(char const * before, ICEvent const & event)
    {
        ICThreadContext::mf_setLoggingLanguage();
        std::string const shown = f_logged(before, event.mf_toString(ICLog::TAB));
        ICThreadContext::mf_setUserLanguage();
        return shown;
    }

    ICTracedProcess const m_process{L"German"};
    ICTestBroadcaster m_broadcaster;
    ICTestListener const m_listener{L"a listener"};
    ICTestListener const m_failing{L"a failing one", f_fail};
};
} // namespace

TEST_F(ICEventBroadcasterTrace, RegisterNull_IsAnError)
{
    EXPECT_THAT(m_process.mf_run([this] { m_broadcaster.mf_registerEventListener(nullptr); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICEventBroadcaster::mf_registerEventListener",
                        "NULL == _pEventListener"));
}

TEST_F(ICEventBroadcasterTrace, RemoveUnregistered_NamesTheListener)
{
    EXPECT_THAT(m_process.mf_run([this] { m_broadcaster.mf_removeEventListener(&m_listener); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICEventBroadcaster::mf_removeEventListener",
                        "Internal: Event-listener a listener not found."));
}

TEST_F(ICEventBroadcasterTrace, Fire_TellsEventAndListener)
{
    ICEvent const event(ICEvent::MISC_GENERIC, &m_broadcaster, L"message");
    EXPECT_THAT(mf_deliver(event, {&m_listener}),
                ElementsAre(f_isRecord('C', FIRE, mf_showing("Sending\n", event) + "\nto a listener")));
}

TEST_F(ICEventBroadcasterTrace, Fire_TellsTheFailureThatAnEventCarries)
{
    ICErrnoEvent const event(ICEvent::MISC_GENERIC, &m_broadcaster, ICErrnoData(ICErrno::_E_::FileRead), L"message");
    EXPECT_THAT(mf_showing("", event), testing::HasSubstr(f_logged("\nErrno: ", ICErrno(ICErrno::_E_::FileRead))));
    EXPECT_THAT(mf_deliver(event, {&m_listener}),
                ElementsAre(f_isRecord('C', FIRE, mf_showing("Sending\n", event) + "\nto a listener")));
}

TEST_F(ICEventBroadcasterTrace, ListenerFails_IsAnErrorAndTheNextOneIsServed)
{
    ICEvent const event(ICEvent::MISC_GENERIC, &m_broadcaster, L"message");
    std::string const failure = f_logged("\nto event listener 'a failing one':\n", ICErrno(ICErrno::_E_::FileOpen));
    EXPECT_THAT(mf_deliver(event, {&m_failing, &m_listener}),
                ElementsAre(f_isRecord('C', FIRE, mf_showing("Sending\n", event) + "\nto a failing one"),
                            f_isRecord('E', FIRE,
                                       mf_showing("Failure sending\n", event) + failure +
                                           "\nIgnored, continuing with next event listener..."),
                            f_isRecord('C', FIRE, mf_showing("Sending\n", event) + "\nto a listener")));
}

// Deliberate: a line about the log's own event would be the first of an endless chain.
TEST_F(ICEventBroadcasterTrace, TheLogsOwnEvent_LeavesNoLineEvenIfAListenerFails)
{
    ICEvent const event(ICEvent::MISC_LOG, &m_broadcaster, L"message");
    EXPECT_THAT(mf_deliver(event, {&m_failing, &m_listener}), IsEmpty());
}

TEST_F(ICEventBroadcasterTrace, ListenerOfTheLog_IsToldOfEachLineOnce)
{
    std::vector<std::wstring> heard;
    ICTestListener const ear(L"ear", ICEvent::MISC_LOG,
                             [&heard](ICEvent const & event) { heard.emplace_back(event.mf_getMessage()); });
    ICLog::mf_registerLogListener(&ear);
    mf_deliver(ICEvent(ICEvent::MISC_GENERIC, &m_broadcaster, L"message"), {&m_failing});
    ICLog::mf_removeLogListener(&ear);
    ASSERT_EQ(2u, heard.size());
    EXPECT_THAT(heard[0], testing::HasSubstr(L"Sending"));
    EXPECT_THAT(heard[1], testing::HasSubstr(L"Failure sending"));
}
