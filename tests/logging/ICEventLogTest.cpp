#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hsmbase/context/ICStatus.h"
#include "hsmbase/logging/ICEventLog.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{

wchar_t const SOURCE[] = L"HSM service";

// Event logging is up, and whatever instance a test makes ends with it.
class ICEventLogging : public testing::Test
{
protected:
    void SetUp() override { ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 1); }
    void TearDown() override
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 0);
        if (ICEventLog::m_pThis != nullptr) ICEventLog::mf_deleteInstance();
    }
};

void f_report()
{
    ICEventLog::mf_logEvent(EVENTLOG_WARNING_TYPE, 7, L"text");
}

// What the platform is told while the object lives, as one line an event.
struct ICReportedEvents
{
    std::mutex m_lock;
    std::vector<std::wstring> m_lines;
    ICImportPatch const m_report{
        IC_IMPORT(ReportEventW), [this](HANDLE source, WORD type, WORD category, DWORD id, PSID user, WORD count,
                                        DWORD bytes, wchar_t const ** strings, void * data) {
            std::wstring line = std::to_wstring(type) + L" " + std::to_wstring(category) + L" " + std::to_wstring(id);
            for (int number = 0; number < count; ++number)
                line += std::wstring(L"|") + strings[number];
            EXPECT_EQ(ICEventLog::m_pThis->m_hEventSource, source);
            EXPECT_TRUE(user == nullptr && bytes == 0 && data == nullptr);
            std::lock_guard const guard(m_lock);
            m_lines.push_back(line);
            return TRUE;
        }};
};

} // namespace

TEST_F(ICEventLogging, Source_IsRegisteredOnThisMachineAndGivenBack)
{
    HANDLE registered = nullptr;
    HANDLE given = nullptr;
    ICImportPatch const start(IC_IMPORT(RegisterEventSourceW), [&](wchar_t const * machine, wchar_t const * name) {
        EXPECT_EQ(nullptr, machine);
        EXPECT_STREQ(SOURCE, name);
        return registered = ::RegisterEventSourceW(machine, name);
    });
    ICImportPatch const end(IC_IMPORT(DeregisterEventSource), [&](HANDLE source) {
        given = source;
        return ::DeregisterEventSource(source);
    });

    ICEventLog::mf_createInstance(SOURCE);
    EXPECT_EQ(registered, ICEventLog::m_pThis->m_hEventSource);
    ICEventLog::mf_deleteInstance();
    EXPECT_EQ(registered, given);
    EXPECT_EQ(nullptr, ICEventLog::m_pThis);
}

TEST_F(ICEventLogging, RealEventLog_TakesEvents)
{
    ICEventLog::mf_createInstance(SOURCE);
    EXPECT_NO_THROW(f_report());
    EXPECT_NO_THROW(ICEventLog::mf_logEvent(EVENTLOG_INFORMATION_TYPE, 8, L""));
}

TEST_F(ICEventLogging, SecondInstance_IsRefusedAndTheFirstStays)
{
    ICEventLog::mf_createInstance(SOURCE);
    ICEventLog const * const first = ICEventLog::m_pThis;
    ICImportFault const registered("RegisterEventSourceW");

    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICEventLog::mf_createInstance(L"other"); }));
    EXPECT_EQ(first, ICEventLog::m_pThis);
    EXPECT_STREQ(SOURCE, first->m_sSourceName);
    EXPECT_EQ(0u, registered.mf_getCalls());
}

TEST_F(ICEventLogging, RefusedSource_LeavesNoInstance)
{
    ICImportFault const refused("RegisterEventSourceW", ERROR_ACCESS_DENIED, ICCalls::mf_only(1));
    ICImportFault const given("DeregisterEventSource");
    auto const create = [] { ICEventLog::mf_createInstance(SOURCE); };

    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, create, ERROR_ACCESS_DENIED));
    EXPECT_EQ(nullptr, ICEventLog::m_pThis);
    EXPECT_EQ(0u, given.mf_getCalls());
    EXPECT_NO_THROW(create());
}

TEST_F(ICEventLogging, DeletionWithoutInstance_DoesNothing)
{
    ICImportFault const given("DeregisterEventSource");
    EXPECT_NO_THROW(ICEventLog::mf_deleteInstance());
    EXPECT_EQ(0u, given.mf_getCalls());
}

TEST_F(ICEventLogging, SourceThatCannotBeGivenBack_IsNoFailure)
{
    ICEventLog::mf_createInstance(SOURCE);
    ICImportPatch const refused(IC_IMPORT(DeregisterEventSource), [](HANDLE source) -> BOOL {
        ::DeregisterEventSource(source);
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    });

    EXPECT_NO_THROW(ICEventLog::mf_deleteInstance());
    EXPECT_EQ(nullptr, ICEventLog::m_pThis);
}

TEST_F(ICEventLogging, Deletion_KeepsTheLastError)
{
    ICEventLog::mf_createInstance(SOURCE);
    ICImportPatch const refused(IC_IMPORT(DeregisterEventSource), [](HANDLE source) -> BOOL {
        ::DeregisterEventSource(source);
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    });
    delete std::exchange(ICEventLog::m_pThis, (::SetLastError(1234), nullptr));
    EXPECT_EQ(1234u, ::GetLastError());
}

TEST_F(ICEventLogging, SourceNeverRegistered_IsNotGivenBack)
{
    ICEventLog::mf_createInstance(SOURCE);
    HANDLE const source = std::exchange(ICEventLog::m_pThis->m_hEventSource, INVALID_HANDLE_VALUE);
    ICImportFault const given("DeregisterEventSource");

    ICEventLog::mf_deleteInstance();
    EXPECT_EQ(0u, given.mf_getCalls());
    ::DeregisterEventSource(source);
}

TEST_F(ICEventLogging, Event_HasTheSourcesNameAndTheText)
{
    ICEventLog::mf_createInstance(SOURCE);
    ICReportedEvents const events;
    ICEventLog::mf_logEvent(EVENTLOG_ERROR_TYPE, 0xC0000007, L"Volume D: is full");

    EXPECT_EQ(std::vector<std::wstring>{L"1 0 3221225479|HSM service|Volume D: is full"}, events.m_lines);
}

TEST_F(ICEventLogging, EventWithoutText_HasTheSourcesNameAlone)
{
    ICEventLog::mf_createInstance(SOURCE);
    ICReportedEvents const events;
    ICEventLog::mf_logEvent(EVENTLOG_INFORMATION_TYPE, 5, L"");

    EXPECT_EQ(std::vector<std::wstring>{L"4 0 5|HSM service"}, events.m_lines);
}

TEST_F(ICEventLogging, EventBeforeTheInstance_Fails)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, &f_report));
}

TEST_F(ICEventLogging, EventWhileTheStatusRefuses_IsDroppedQuietly)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 0);
    ICImportFault const reported("ReportEventW");

    EXPECT_NO_THROW(f_report()) << "without an instance";
    ICEventLog::mf_createInstance(SOURCE);
    EXPECT_NO_THROW(f_report());
    EXPECT_EQ(0u, reported.mf_getCalls());
}

TEST_F(ICEventLogging, NoHandle_ReportsNothing)
{
    ICEventLog::mf_createInstance(SOURCE);
    HANDLE const source = std::exchange(ICEventLog::m_pThis->m_hEventSource, nullptr);
    ICImportFault const reported("ReportEventW");

    EXPECT_NO_THROW(f_report());
    EXPECT_EQ(0u, reported.mf_getCalls());
    ICEventLog::m_pThis->m_hEventSource = source;
}

TEST_F(ICEventLogging, RefusedEvent_Fails)
{
    ICEventLog::mf_createInstance(SOURCE);
    ICImportFault const refused("ReportEventW", ERROR_LOG_FILE_FULL);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Logging, &f_report, ERROR_LOG_FILE_FULL));
}

TEST_F(ICEventLogging, ThreadWithoutContext_ReportsAsOthersDo)
{
    ICStartedProcess const process;
    ICEventLog::mf_createInstance(SOURCE);
    ICReportedEvents const events;
    std::thread([] {
        EXPECT_FALSE(ICStatus::mf_canToggleLanguages());
        f_report();
    }).join();
    EXPECT_EQ(1u, events.m_lines.size());
}

TEST_F(ICEventLogging, EventsOfManyThreads_ArriveWhole)
{
    ICLeakAccount::mf_excuse("locks get their events when threads first meet at them", 4, 0);
    ICEventLog::mf_createInstance(SOURCE);
    ICReportedEvents const events;
    std::vector<std::thread> threads;
    for (ulong id = 0; id < 8; ++id)
        threads.emplace_back([id] {
            for (int round = 0; round < 50; ++round)
                ICEventLog::mf_logEvent(EVENTLOG_ERROR_TYPE, id, std::to_wstring(id).c_str());
        });
    for (std::thread & thread : threads)
        thread.join();

    std::multiset<std::wstring> const lines(events.m_lines.begin(), events.m_lines.end());
    for (ulong id = 0; id < 8; ++id)
        EXPECT_EQ(50u, lines.count(L"1 0 " + std::to_wstring(id) + L"|HSM service|" + std::to_wstring(id)));
}
