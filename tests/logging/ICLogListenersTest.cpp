// What listeners of the trace log are told, what they may do, and in which language a trace call leaves its thread.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <thread>

#include "hsmbase/events/ICLogEvent.h"
#include "tests/events/EventsTest.h"
#include "tests/logging/ICTestLog.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICTracedProcess.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr wchar_t TAG[] = L"Test::f_write";

void f_write(ICLogData const & level, wchar_t const * text)
{
    ICLog::mf_writeMessage(level, TAG, L"%s", text);
}
void f_write(ICLogData const & level, char const * text)
{
    ICLog::mf_writeMessage(level, "Test::f_write", "%s", text);
}
void f_vaWrite(ICLogData const * level, ...)
{
    va_list arguments;
    va_start(arguments, level);
    ICLog::mf_vaWriteMessage(*level, TAG, L"%s", arguments);
    va_end(arguments);
}

// "K: text" for a line of the trace, "K" for one that wasn't selected.
std::string f_show(ICEvent const & event)
{
    auto const & line = dynamic_cast<ICLogEvent const &>(event);
    std::string const letter(1, line.mf_getLogLevel().mf_getFlagChar());
    if (line.mf_getMessage().IsEmpty()) return letter;
    auto const record = f_parseRecord(line.mf_getMessage().GetString());
    return record && record->m_level == letter[0] ? letter + ": " + record->m_text : "no record";
}

// Is registered while it lives, keeps what it is told, and then does what the test says.
class ICKeeper : public ICTestListener
{
public:
    explicit ICKeeper(ACT act = {})
        : ICTestListener(L"keeper", ICEvent::MISC_LOG, [this, act](ICEvent const & event) {
              m_told.push_back(f_show(event));
              if (act) act(event);
          })
    {
        ICLog::mf_registerLogListener(this);
    }
    ICKeeper(ICKeeper const &) = delete;
    ICKeeper & operator=(ICKeeper const &) = delete;
    ~ICKeeper() override
    {
        if (m_isRegistered) mf_remove();
    }

    void mf_remove()
    {
        m_isRegistered = false;
        ICLog::mf_removeLogListener(this);
    }

    std::vector<std::string> m_told; // under the broadcaster's lock

private:
    bool m_isRegistered = true;
};

// A thread of the library's.
template<class WORK>
std::jthread f_startWorker(WORK work)
{
    return std::jthread([work] {
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, 1);
        work();
        ICThreadContext::mf_delete();
    });
}

} // namespace

// -------------------------------------------------------------------------------------------------- what they are told

TEST(ICLogListeners, EveryCall_IsToldWhetherItIsSelectedOrNot)
{
    ICTracedProcess const process;
    ICLog::mf_setLogLevel(L"K");
    ICKeeper const keeper;
    auto const records = process.mf_trace([] {
        f_write(ICLogData::LEVEL_K, L"wide");
        f_write(ICLogData::LEVEL_K, "8-bit");
        f_vaWrite(&ICLogData::LEVEL_K, L"list");
        f_write(ICLogData::LEVEL_T, L"not selected");
        f_write(ICLogData::LEVEL_D, "not selected");
        f_vaWrite(&ICLogData::LEVEL_W, L"not selected");
        f_write(ICLogData::LEVEL_E, L"a\r\nb");
    });
    EXPECT_THAT(keeper.m_told, ElementsAre("K: wide", "K: 8-bit", "K: list", "T", "D", "W", "E: a\nb"));
    EXPECT_EQ(4u, records.size());
}

// A line that isn't selected doesn't tell what an earlier one left in the buffer.
TEST(ICLogListeners, UnselectedLine_HasNoTextInEitherWidth)
{
    ICTracedProcess const process;
    ICLog::mf_setLogLevel(L"K");
    ICKeeper const keeper;
    for (ICLogData const * const level : {&ICLogData::LEVEL_K, &ICLogData::LEVEL_T}) {
        f_write(*level, L"wide");
        f_write(*level, "8-bit");
    }
    EXPECT_THAT(keeper.m_told, ElementsAre("K: wide", "K: 8-bit", "T", "T"));
}

TEST(ICLogListeners, LogWithoutLevels_TellsEachCallWithoutText)
{
    ICStartedProcess const process;
    ICLog::mf_openLog(CString(L"off.log"), ICLogData::LEVEL_OFF.mf_getLogLevel());
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    {
        ICKeeper const keeper;
        f_write(ICLogData::LEVEL_S, L"x");
        f_write(ICLogData::LEVEL_K, "x");
        EXPECT_THAT(keeper.m_told, ElementsAre("S", "K"));
    }
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    ICLog::mf_closeLog();
}

TEST(ICLogListeners, CanceledThread_TellsItsErrorsByLevelU)
{
    ICTracedProcess const process;
    ICKeeper keeper;
    f_startWorker([&keeper] {
        ICThreadContext::mf_setCanceled(1);
        keeper.m_told.clear();
        f_write(ICLogData::LEVEL_E, L"error");
        f_write(ICLogData::LEVEL_S, "severe");
        f_write(ICLogData::LEVEL_W, L"warning");
    }).join();
    keeper.m_told.resize(3);
    EXPECT_THAT(keeper.m_told, ElementsAre("U: error", "U: severe", "W: warning"));
    EXPECT_THAT(process.mf_read(), Contains(f_isRecord('U', "Test::f_write", "error")));
}

TEST(ICLogListeners, RecordThatCannotBeWritten_IsToldAllTheSame)
{
    ICTracedProcess const process;
    ICKeeper const keeper;
    {
        ICImportFault const full("WriteFile", ERROR_DISK_FULL);
        f_write(ICLogData::LEVEL_K, L"wide");
        f_write(ICLogData::LEVEL_K, "8-bit");
    }
    EXPECT_THAT(keeper.m_told, ElementsAre("K: wide", "K: 8-bit"));
    EXPECT_THAT(process.mf_read(), Not(Contains(f_isRecord('K', "Test::f_write", testing::_))));
}

// ---------------------------------------------------------------------------------------------------- what they may do

TEST(ICLogListeners, ListenerThatFails_KeepsNobodyFromTheLine)
{
    ICTracedProcess const process;
    ICKeeper const failing([](ICEvent const &) { throw ICErrno(ICErrno::_E_::FileOpen); });
    ICKeeper const second;
    auto const records = process.mf_trace([] {
        f_write(ICLogData::LEVEL_K, L"wide");
        f_write(ICLogData::LEVEL_K, "8-bit");
    });
    EXPECT_THAT(failing.m_told, ElementsAre("K: wide", "K: 8-bit"));
    EXPECT_THAT(second.m_told, ElementsAre("K: wide", "K: 8-bit"));
    // A line about a failed line could fail in turn: there is none.
    EXPECT_EQ(2u, records.size());
}

TEST(ICLogListeners, ForeignException_ReachesWhoTracedAndLeavesTheLocks)
{
    ICTracedProcess const process;
    {
        ICKeeper const failing([](ICEvent const &) { throw std::runtime_error("foreign"); });
        EXPECT_THROW(f_write(ICLogData::LEVEL_K, L"first"), std::runtime_error);
        EXPECT_THROW(f_write(ICLogData::LEVEL_T, "second"), std::runtime_error);
    }
    f_startWorker([] { f_write(ICLogData::LEVEL_K, L"third"); }).join();
    EXPECT_THAT(process.mf_read(), Contains(f_isRecord('K', "Test::f_write", "first")));
    EXPECT_THAT(process.mf_read(), Contains(f_isRecord('K', "Test::f_write", "third")));
}

TEST(ICLogListeners, ListenerThatLogs_LeavesItsRecordBehindTheOneItWasToldOf)
{
    ICTracedProcess const process;
    bool isInside = false;
    ICKeeper const keeper([&isInside](ICEvent const &) {
        if (std::exchange(isInside, true)) return;
        f_write(ICLogData::LEVEL_K, "from inside");
        isInside = false;
    });
    auto const records = process.mf_trace([] { f_write(ICLogData::LEVEL_K, "outside"); });
    EXPECT_THAT(keeper.m_told, ElementsAre("K: outside", "K: from inside"));
    EXPECT_THAT(records, ElementsAre(f_isRecord('K', "Test::f_write", "outside"),
                                     f_isRecord('K', "Test::f_write", "from inside")));
}

TEST(ICLogListeners, ListenerRegisteredFromInside_GetsTheSameLine)
{
    ICTracedProcess const process;
    std::unique_ptr<ICKeeper> late;
    ICKeeper const keeper([&late](ICEvent const &) {
        if (!late) late = std::make_unique<ICKeeper>();
    });
    f_write(ICLogData::LEVEL_K, L"one");
    f_write(ICLogData::LEVEL_K, L"two");
    EXPECT_THAT(late->m_told, ElementsAre("K: one", "K: two"));
    EXPECT_THAT(keeper.m_told, ElementsAre("K: one", "K: two"));
}

// Deliberate: the listeners behind one that goes move up, and the next misses the line.
TEST(ICLogListeners, ListenerThatRemovesItself_CostsTheNextOneTheLine)
{
    ICTracedProcess const process;
    ICKeeper * self = nullptr;
    ICKeeper once([&self](ICEvent const &) { self->mf_remove(); });
    self = &once;
    ICKeeper const second;
    ICKeeper const third;
    f_write(ICLogData::LEVEL_K, L"one");
    f_write(ICLogData::LEVEL_K, L"two");
    EXPECT_THAT(once.m_told, ElementsAre("K: one"));
    EXPECT_THAT(second.m_told, ElementsAre("K: two"));
    EXPECT_THAT(third.m_told, ElementsAre("K: one", "K: two"));
}

TEST(ICLogListeners, ListenerRegisteredTwice_IsToldTwice)
{
    ICTracedProcess const process;
    ICKeeper const keeper;
    ICLog::mf_registerLogListener(&keeper);
    f_write(ICLogData::LEVEL_K, L"one");
    EXPECT_THAT(keeper.m_told, ElementsAre("K: one", "K: one"));
    ICLog::mf_removeLogListener(&keeper);
    f_write(ICLogData::LEVEL_K, L"two");
    EXPECT_THAT(keeper.m_told, ElementsAre("K: one", "K: one", "K: two"));
}

TEST(ICLogListeners, ListenerThatIsGone_IsToldNothing)
{
    ICTracedProcess const process;
    ICKeeper keeper;
    keeper.mf_remove();
    f_write(ICLogData::LEVEL_K, L"one");
    EXPECT_THAT(keeper.m_told, IsEmpty());
}

namespace
{
// Meets the test at the next write of the library, on whatever thread.
class ICNextWrite
{
public:
    void mf_expect() { m_isExpected = true; }
    bool mf_wait() { return m_isDone.mf_arrive(); }

private:
    std::atomic<bool> m_isExpected = false;
    ICMeetingPoint m_isDone{2};
    ICImportPatch const m_patch{IC_IMPORT(WriteFile), [this](auto... call) {
                                    BOOL const isDone = ::WriteFile(call...);
                                    if (m_isExpected.exchange(false)) m_isDone.mf_arrive();
                                    return isDone;
                                }};
};
} // namespace

// While one listener dwells on a line, another thread's record gets into the file.
TEST(ICLogListeners, SlowListener_HoldsUpNoRecordOfOtherThreads)
{
    ICTracedProcess const process;
    ulong const slowThread = ::GetCurrentThreadId();
    ICMeetingPoint isReady(2);
    ICMeetingPoint isInside(2);
    ICNextWrite write;
    bool wasWrittenMeanwhile = false;
    ICKeeper const slow([&](ICEvent const &) {
        if (::GetCurrentThreadId() != slowThread) return;
        isInside.mf_arrive();
        wasWrittenMeanwhile = write.mf_wait();
    });
    auto const other = f_startWorker([&] {
        isReady.mf_arrive();
        isInside.mf_arrive();
        write.mf_expect();
        f_write(ICLogData::LEVEL_K, L"other");
    });
    // What the other thread traces while it starts is over.
    ASSERT_TRUE(isReady.mf_arrive());
    f_write(ICLogData::LEVEL_K, L"slow");
    EXPECT_TRUE(wasWrittenMeanwhile);
}

// ----------------------------------------------------------------------------------------------- a delivery that fails

namespace
{
class ICLogWithoutDelivery : public ICLog
{
public:
    using ICLog::ICLog;

    void mf_fireEvent(ICEvent const &) override { throw ICErrno(ICErrno::_E_::Internal); }
};
} // namespace

TEST(ICLogListeners, FailureOfTheDeliveryItself_IsLeftInTheFileAsHalfAText)
{
    ICStartedProcess const process;
    ICTemporaryDirectory const directory;
    process.mf_getRegistry().mf_writeText(L"", L"LogFileDir", directory.mf_getPath());
    ICLog::m_pThis = new ICLogWithoutDelivery(L"app.log", ICLogData::LEVEL_K.mf_getLogLevel());
    ICLog::m_pThis->mf_implStart();
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    {
        ICKeeper const keeper;
        EXPECT_NO_THROW(f_write(ICLogData::LEVEL_K, L"x"));
        EXPECT_THAT(keeper.m_told, IsEmpty());
    }
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    ICLog::mf_closeLog();

    CString const reason = ICErrno(ICErrno::_E_::Internal).mf_toString();
    CString const text = L"ICLog::mf_implWriteMessage: FAILURE SENDING LOG EVENT\r\n    " + reason;
    EXPECT_TRUE(f_readFile(directory / L"app.log").ends_with("\r\n K: x\r\n" + f_halfOf(text.GetString())));
}

// --------------------------------------------------------------------------------------------------------- no deadlock

namespace
{

constexpr int ROUNDS = 400;
constexpr int THREADS = 5;

// Logs from inside, in each thread by itself.
class ICLoggingListener : public ICTestListener
{
public:
    ICLoggingListener()
        : ICTestListener(L"logging", ICEvent::MISC_LOG, [](ICEvent const &) {
              static thread_local bool isInside = false;
              if (std::exchange(isInside, true)) return;
              f_write(ICLogData::LEVEL_K, L"from inside");
              isInside = false;
          })
    {}
};

template<class STEP>
std::jthread f_startRounds(ICMeetingPoint & start, STEP step)
{
    return f_startWorker([&start, step] {
        start.mf_arrive();
        for (int round = 0; round < ROUNDS; ++round)
            step(round);
    });
}

} // namespace

// What traces under the log's lock holds the broadcaster's lock already, and took it first: else it would wait for one
// that a listener holds who waits for the log.
TEST(ICLogListeners, LineUnderTheLogsLock_ComesFromWhoHoldsTheBroadcastersLock)
{
    ICTracedProcess const process;
    CRITICAL_SECTION const & logLock = ICLog::m_pThis->ICLogBase::m_csLock;
    int linesUnderLock = 0;
    int wrong = 0;
    ICKeeper const keeper([&](ICEvent const & event) {
        if (logLock.OwningThread != ::ULongToHandle(::GetCurrentThreadId())) return;
        ++linesUnderLock;
        // Once for the delivery, and once before.
        wrong += event.mf_getBroadcaster()->m_csLock.RecursionCount < 2;
    });
    f_write(ICLogData::LEVEL_K, L"x");
    EXPECT_EQ(0, linesUnderLock);
    for (auto const operation : {+[] { ICLog::mf_updateParameters(); }, +[] { ICLog::mf_setLogLevel(L"K"); },
                                 +[] { ICLog::mf_setMaxFileSize(60, 50); }, +[] { ICLog::mf_setCodepage(1); }}) {
        linesUnderLock = 0;
        operation();
        EXPECT_LT(0, linesUnderLock);
    }
    EXPECT_EQ(0, wrong);
}

// Whoever waits for ever is ended by the parent's time limit.
IC_CHILD(listeners_and_settings)
{
    ICTracedProcess const process;
    ICLoggingListener const listener;
    ICLoggingListener const guest;
    ICLog::mf_registerLogListener(&listener);
    ICMeetingPoint start(THREADS);
    {
        std::jthread const threads[THREADS] = {
            f_startRounds(start, [](int) { f_write(ICLogData::LEVEL_K, L"wide"); }),
            f_startRounds(start, [](int) { f_write(ICLogData::LEVEL_E, "8-bit"); }),
            f_startRounds(start, [](int) { ICLog::mf_updateParameters(); }),
            f_startRounds(start,
                          [&process](int round) {
                              process.mf_getRegistry().mf_writeNumber(L"", L"LogFileSize", round % 2 ? 50 : 51);
                              ICLog::mf_setLogLevel(round % 2 ? L"KITWDC" : L"K");
                              ICLog::mf_setMaxFileSize(50, 60);
                              ICLog::mf_toSingletonString(L"");
                          }),
            f_startRounds(start,
                          [&guest](int) {
                              ICLog::mf_registerLogListener(&guest);
                              ICLog::mf_removeLogListener(&guest);
                              ICLog::mf_flush();
                              ICLog::mf_hasLogLevel(ICLogData::LEVEL_T);
                          }),
        };
    }
    ICLog::mf_removeLogListener(&listener);
    return 0;
}

TEST(ICLogListeners, LoggingListenersAndSettingsOfOtherThreads_NeverWaitForEachOther)
{
    ICChildProcess child("listeners_and_settings");
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

// ------------------------------------------------------------------------------------------------------------ language

namespace
{

// Whether the call leaves a thread that speaks the logging language in that of the user.
template<class CALL>
testing::AssertionResult f_endsInUserLanguage(CALL call)
{
    ICThreadContext::mf_setLoggingLanguage();
    if (ICThreadContext::mf_getCurrentLanguageHandle() == ICLanguage::mf_getUserLanguageHandle())
        return testing::AssertionFailure() << "both languages are the same";
    try {
        call();
    }
    catch (std::runtime_error &) {
        // Who threw was a listener; the language counts all the same.
    }
    bool const isUsers = ICThreadContext::mf_getCurrentLanguageHandle() == ICLanguage::mf_getUserLanguageHandle();
    ICThreadContext::mf_setUserLanguage();
    return isUsers ? testing::AssertionSuccess() : testing::AssertionFailure() << "still the logging language";
}

// The calls in both widths return the thread to the user's language; the one with a list leaves that to its caller.
void f_checkLanguages(ICLogData const & level)
{
    EXPECT_TRUE(f_endsInUserLanguage([&level] { f_write(level, L"wide"); }));
    EXPECT_TRUE(f_endsInUserLanguage([&level] { f_write(level, "8-bit"); }));
    EXPECT_FALSE(f_endsInUserLanguage([&level] { f_vaWrite(&level, L"list"); }));
}

} // namespace

TEST(ICLogLanguage, AfterACall_IsTheUsersWhetherItIsSelectedOrNot)
{
    ICTracedProcess const process(L"German");
    ICLog::mf_setLogLevel(L"K");
    f_checkLanguages(ICLogData::LEVEL_K);
    f_checkLanguages(ICLogData::LEVEL_T);
    ICKeeper const keeper;
    f_checkLanguages(ICLogData::LEVEL_K);
}

TEST(ICLogLanguage, AfterACallWhoseRecordCannotBeWritten_IsTheUsers)
{
    ICTracedProcess const process(L"German");
    ICImportFault const full("WriteFile", ERROR_DISK_FULL);
    f_checkLanguages(ICLogData::LEVEL_K);
}

TEST(ICLogLanguage, AfterACallWhoseListenerThrows_IsTheUsers)
{
    ICTracedProcess const process(L"German");
    {
        ICKeeper const failing([](ICEvent const &) { throw ICErrno(ICErrno::_E_::FileOpen); });
        f_checkLanguages(ICLogData::LEVEL_K);
    }
    ICKeeper const foreign([](ICEvent const &) { throw std::runtime_error("foreign"); });
    f_checkLanguages(ICLogData::LEVEL_K);
}

TEST(ICLogLanguage, WithoutALog_IsTheUsers)
{
    ICStartedProcess const process(L"German");
    ICTemporaryDirectory const directory;
    process.mf_getRegistry().mf_writeText(L"", L"LogFileDir", directory.mf_getPath());
    f_checkLanguages(ICLogData::LEVEL_K);
    ICLog::mf_openLog(L"app.log");
    // Open, but not to be written to before the status says so.
    f_checkLanguages(ICLogData::LEVEL_K);
    ICLog::mf_closeLog();
    f_checkLanguages(ICLogData::LEVEL_K);
}
