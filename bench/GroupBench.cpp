#include <catch2/catch.hpp>

#include <array>
#include <stdexcept>

#include "bench/InTurn.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/threads/ICThreads.h"

// This source reaches private parts: a pass waits for the group's own event, as the peer's threads do, and the handles
// and records that a group leaves behind are taken away, as the peer's are. The threads' contexts stay, on both sides.

namespace
{

constexpr int COUNT = 16;

class IdleGroup : public ICThreads
{
public:
    IdleGroup() : ICThreads(L"Idle", ICThreadContext::TYPE_WORKER, COUNT) {}
    IdleGroup(IdleGroup const &) = delete;
    IdleGroup & operator=(IdleGroup const &) = delete;

    ~IdleGroup() override
    {
        for (int index = 0; index < COUNT; ++index) {
            ::CloseHandle(m_phThreads[index]);
            delete m_ppThreads[index];
        }
    }

private:
    void mf_implExecute(int) override { ::WaitForSingleObject(m_hShutdown, INFINITE); }
};

void f_runGroup()
{
    IdleGroup group;
    group.mf_start();
    group.mf_startWait();
    group.mf_stop();
    if (group.mf_stopWait(INFINITE).mf_isInfo() == 0) throw std::runtime_error("a thread of the benchmark failed");
}

struct BARE_GROUP
{
    HANDLE const running = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE const stop = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    long volatile runCount = 0;
    long volatile nextIndex = 0;
};

unsigned long __stdcall f_runBare(void * parameter)
{
    BARE_GROUP & group = *static_cast<BARE_GROUP *>(parameter);
    auto const index = static_cast<ulong>(::InterlockedIncrement(&group.nextIndex) - 1);
    ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, index);
    if (::InterlockedIncrement(&group.runCount) == COUNT) ::SetEvent(group.running);
    ::WaitForSingleObject(group.stop, INFINITE);
    return 0;
}

void f_runBareGroup()
{
    BARE_GROUP group;
    std::array<HANDLE, COUNT> threads{};
    for (HANDLE & thread : threads)
        thread = ::CreateThread(nullptr, 0, &f_runBare, &group, 0, nullptr);
    ::WaitForSingleObject(group.running, INFINITE);
    ::SetEvent(group.stop);
    ::WaitForMultipleObjects(COUNT, threads.data(), TRUE, INFINITE);
    for (HANDLE const thread : threads) {
        DWORD code = 1;
        ::GetExitCodeThread(thread, &code);
        if (code != 0) throw std::runtime_error("a thread of the benchmark failed");
        ::CloseHandle(thread);
    }
    ::CloseHandle(group.running);
    ::CloseHandle(group.stop);
}

} // namespace

TEST_CASE("start and stop a group of 16 threads", "[thread][group][goal:1.2]")
{
    f_measureInTurn(200, &f_runGroup, &f_runBareGroup);
}
