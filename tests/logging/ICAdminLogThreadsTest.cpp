// Records that end on many threads, and under the locks of the trace log.
#include <atomic>
#include <map>
#include <thread>
#include <vector>

#include "hsmbase/events/ICEvent.h"
#include "hsmbase/events/ICEventListener.h"
#include "hsmbase/logging/internal/ICLogLocks.h"
#include "tests/logging/ICAdminLogFixture.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICMeetingPoint.h"

namespace
{

constexpr int ROUNDS = 40;

// All at a time, each on a thread with a context of its own.
template<class WORK>
void f_onThreads(int count, WORK work)
{
    ICMeetingPoint start(count);
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < count; ++thread)
        threads.emplace_back([&work, &start, thread] {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, static_cast<ulong>(thread));
            start.mf_arrive();
            work(thread);
            ICThreadContext::mf_delete();
        });
}

class ICAdminLogThreads : public ICAdminLogFixture
{
protected:
    ICAdminLogThreads()
    {
        ICLeakAccount::mf_excuse("locks of the run-time get their semaphores when threads first meet at them", 4, 8);
    }

    // How often each text stands in the file; heads are cut off.
    std::map<std::string, int> mf_countTexts() const
    {
        std::map<std::string, int> counts;
        std::string const bytes = mf_getBytes();
        for (std::size_t start = 0, end; (end = bytes.find("\r\n", start)) != bytes.npos; start = end + 2) {
            std::string const line = bytes.substr(start, end - start);
            EXPECT_EQ(19u, line.find(" KVR1E ")) << line;
            ++counts[line.substr(line.find(" KVR1E ") + 7)];
        }
        EXPECT_TRUE(bytes.empty() || bytes.ends_with("\r\n"));
        return counts;
    }

    // For a thread that traces nothing of its own any more.
    static void mf_traceALine() { ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"C::mf_x", L"line"); }
};

// Ends a record in each event, or throws it. Tells how large the administrator's file is behind that.
class ICEndingListener : public ICEventListener
{
public:
    explicit ICEndingListener(ICAdminLogFixture const & fixture, bool throws = false)
        : ICEventListener(ICEvent::MISC_LOG), m_fixture(fixture), m_throws(throws)
    {
        ICLog::mf_registerLogListener(this);
    }
    ICEndingListener(ICEndingListener const &) = delete;
    ICEndingListener & operator=(ICEndingListener const &) = delete;
    ~ICEndingListener() override { ICLog::mf_removeLogListener(this); }

    void mf_handleEvent(ICEvent const &) override
    {
        ++m_events;
        if (m_throws) throw ICErrno(f_owed(L"listener"));
        {
            f_owed(L"listener");
        }
        if (m_looks) m_bytesInside = m_fixture.mf_getBytes().size();
    }
    CString mf_getName() const override { return L"ending"; }

    std::atomic<int> m_events = 0;
    bool m_looks = false;
    std::size_t m_bytesInside = 0;

private:
    ICAdminLogFixture const & m_fixture;
    bool const m_throws;
};

} // namespace

TEST_F(ICAdminLogThreads, RecordsOfManyThreads_AreWrittenOnceEach)
{
    constexpr int THREADS = 8;
    mf_open();
    f_onThreads(THREADS, [](int thread) {
        for (int round = 0; round < ROUNDS; ++round) {
            ICErrnoData kept;
            try {
                throw ICErrno(f_owed(std::to_wstring(thread * 1000 + round).c_str()));
            }
            catch (ICErrno & failure) {
                kept = failure.mf_getErrnoData();
            }
        }
    });
    auto const counts = mf_countTexts();
    EXPECT_EQ(std::size_t(THREADS * ROUNDS), counts.size());
    for (auto const & [text, count] : counts)
        EXPECT_EQ(1, count) << text;
}

TEST_F(ICAdminLogThreads, RecordsOfAThread_StandInTheirOrder)
{
    mf_open();
    f_onThreads(2, [](int thread) {
        for (int round = 100; round < 100 + ROUNDS; ++round) {
            f_owed(std::to_wstring(thread * 1000 + round).c_str());
        }
    });
    std::string const bytes = mf_getBytes();
    for (int thread = 0; thread < 2; ++thread)
        for (int round = 100, last = 0; round < 100 + ROUNDS; ++round) {
            auto const at = bytes.find(" KVR1E " + std::to_string(thread * 1000 + round) + "\r\n");
            ASSERT_NE(bytes.npos, at);
            EXPECT_LE(last, static_cast<int>(at));
            last = static_cast<int>(at);
        }
}

// ------------------------------------------------------------------------------------ under the locks of the trace log

TEST_F(ICAdminLogThreads, RecordThatEndsUnderBothLocks_IsWrittenBehindThem)
{
    mf_open();
    {
        ICLogLocks const outer(*ICLog::m_pThis);
        {
            ICLogLocks const inner(*ICLog::m_pThis);
            {
                f_owed(L"text");
            }
        }
        mf_traceALine();
        EXPECT_EQ("", mf_getBytes());
    }
    EXPECT_EQ((std::map<std::string, int>{{"text", 1}}), mf_countTexts());
}

TEST_F(ICAdminLogThreads, RecordThatEndsUnderOneLock_IsWrittenByTheNextTraceCall)
{
    mf_open();
    ICLog & log = *ICLog::m_pThis;
    // Only this cast reaches a private base.
    ICEventBroadcaster & broadcaster = (ICEventBroadcaster &)log;
    for (CRITICAL_SECTION * const lock : {&log.ICLogBase::m_csLock, &broadcaster.m_csLock}) {
        std::size_t const before = mf_getBytes().size();
        ::EnterCriticalSection(lock);
        {
            f_owed(L"text");
        }
        mf_traceALine();
        EXPECT_EQ(before, mf_getBytes().size());
        ::LeaveCriticalSection(lock);
        mf_traceALine();
        EXPECT_LT(before, mf_getBytes().size());
    }
    EXPECT_EQ((std::map<std::string, int>{{"text", 2}}), mf_countTexts());
}

TEST_F(ICAdminLogThreads, RecordThatEndsInAListener_IsWrittenWhenTheTraceCallEnds)
{
    mf_open();
    {
        ICEndingListener listener(*this);
        listener.m_looks = true;
        std::size_t const before = mf_getBytes().size();
        mf_traceALine();
        EXPECT_EQ(before, listener.m_bytesInside);
        EXPECT_GT(listener.m_events, 0);
        EXPECT_EQ((std::map<std::string, int>{{"listener", listener.m_events}}), mf_countTexts());
    }
}

TEST_F(ICAdminLogThreads, RecordThatAListenerThrows_IsWrittenOnce)
{
    mf_open();
    {
        ICEndingListener const listener(*this, true);
        mf_traceALine();
        EXPECT_GT(listener.m_events, 0);
        EXPECT_EQ((std::map<std::string, int>{{"listener", listener.m_events}}), mf_countTexts());
    }
}

TEST_F(ICAdminLogThreads, RecordWhoseListenerFires_WhileAnotherRecordFails)
{
    mf_open();
    ICEndingListener const listener(*this);
    // The failure is traced under this log's lock: the listener's record is written within the failed write.
    ICImportFault const full("WriteFile", ERROR_DISK_FULL, ICCalls::mf_only(1));
    ICErrnoData failed = f_owed(L"failed");
    ICAdminLog::mf_writeMessage(failed);
    EXPECT_TRUE(failed.mf_isAdminLogFlagSet());
    failed.mf_setAdminLogFlag(0);
    EXPECT_EQ((std::map<std::string, int>{{"listener", listener.m_events}}), mf_countTexts());
}

// One thread's lock order must not be the other's turned around: this log's lock, then those of the trace log.
TEST_F(ICAdminLogThreads, RecordsEverywhere_DoNotDeadlock)
{
    mf_open();
    ICEndingListener listener(*this);
    auto const work = [](int) {
        for (int round = 0; round < ROUNDS; ++round) {
            {
                f_owed(L"own");
            }
            mf_traceALine();
            ICAdminLog::mf_setCodepage(0);
            ICLog::mf_setLogLevel(ICLogData::LEVEL_FULL.mf_getLogLevel());
        }
    };
    f_onThreads(2, work);
    mf_traceALine();
    int const fired = listener.m_events;
    EXPECT_GE(fired, 6 * ROUNDS);
    EXPECT_EQ((std::map<std::string, int>{{"listener", fired}, {"own", 2 * ROUNDS}}), mf_countTexts());
}
