#include <gtest/gtest.h>

#include <atomic>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICStartedProcess.h"

// Many threads build, copy, merge, throw and render failures, while others attach and delete their contexts.

namespace
{
constexpr int THREADS = 32;
constexpr int ROUNDS = 150;
wchar_t const sFunction[] = L"FailureStressTest";

// The texts that every thread must see, made on one thread beforehand.
struct EXPECTED
{
    CString const fileOpen = ICErrno::_E_::FileOpen.mf_toString();
    CString const timeout = ICErrno::_W_::Timeout.mf_toString();
    CString const explanation = ICString::mf_formatLanguage(1, 6329);
};

[[noreturn]] void f_throwThrough(int frames, ICErrnoData const & data)
{
    if (frames == 0) throw ICTrace(sFunction).mf_failed(data, L"Failure at the bottom: %s", data.mf_toString());
    try {
        f_throwThrough(frames - 1, data);
    }
    catch (ICErrno & failure) {
        throw ICTrace(sFunction).mf_failed(failure, L"Failure in frame %d: %s", frames, failure.mf_toString());
    }
}

bool f_mergeRight(std::mt19937 & random)
{
    ICErrnoData worst;
    ICErrnoData const warning(ICErrno::_W_::Timeout);
    ICErrnoData error(ICErrno::_E_::FileOpen);
    error.mf_setOriginator(ICErrnoData::BACKUP, random() % 1000, L"tape");
    ulong const number = error.mf_getOriginatorErrno();
    for (int step = 0; step < 6; ++step)
        worst.mf_update(random() % 2 ? warning : error);
    worst.mf_update(error);
    ICErrnoData const copy(worst);
    return copy.mf_getNumber() == error.mf_getNumber() && copy.mf_getOriginatorErrno() == number &&
           std::wcscmp(copy.mf_getOriginatorMessage(), L"tape") == 0;
}

bool f_rendersRight(EXPECTED const & expected, std::mt19937 & random)
{
    ICErrnoData data(ICErrno::_E_::FileOpen);
    data.mf_setOriginator(ICErrnoData::TARNWELL, random(), L"no session");
    ICErrnoData::mf_setMessage(data, L"KVR27469E", 6328, 6329, 6330, 6331, L"app.log");
    try {
        f_throwThrough(1 + int(random() % 8), data);
    }
    catch (ICErrno & failure) {
        ICErrnoData const & caught = failure.mf_getErrnoData();
        bool const isRight = caught.mf_isAdminLogFlagSet() && !data.mf_isAdminLogFlagSet() &&
                             expected.explanation == caught.mf_getExplanation() &&
                             failure.mf_toConsoleMessage(L"").Find(expected.fileOpen) > 0 &&
                             failure.mf_toGuiMessage(L"").Find(expected.fileOpen) > 0 &&
                             failure.mf_toLogMessage(L"").Find(L"no session") > 0;
        return isRight && expected.timeout == ICErrnoData(ICErrno::_W_::Timeout).mf_toString();
    }
}

void f_work(ulong index, EXPECTED const & expected, std::atomic<int> & mistakes)
{
    std::mt19937 random(index);
    for (int round = 0; round < ROUNDS; ++round) {
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, index);
        if (!f_mergeRight(random) || !f_rendersRight(expected, random)) ++mistakes;
        if (ICThreadContext::mf_getIndex() != index) ++mistakes;
        if (ICThreadContext::mf_getCurrentLanguageId() != 1031) ++mistakes;
        ICThreadContext::mf_delete();
        // Without a context the same work gives placeholders and no crash.
        ICErrno const bare(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED);
        if (bare.mf_toString().Find(L"<resource-id=2054 not loaded>") < 0) ++mistakes;
    }
}

void f_runThreads(EXPECTED const & expected, std::atomic<int> & mistakes)
{
    std::vector<std::thread> threads;
    for (ulong index = 0; index < THREADS; ++index)
        threads.emplace_back(f_work, index, std::cref(expected), std::ref(mistakes));
    for (std::thread & thread : threads)
        thread.join();
}
} // namespace

TEST(FailureStress, ManyThreads_SeeRightTextsAndLeakNothing)
{
    ICStartedProcess const process(L"German");
    EXPECTED const expected;
    std::atomic<int> mistakes = 0;
    // What is made once, by the run-time library or by a lock at which threads first meet, may come in any round, but
    // not in each.
    bool isBalanced = false;
    std::string description;
    for (int round = 0; round < 4 && !isBalanced; ++round) {
        ICLeakAccount account;
        f_runThreads(expected, mistakes);
        isBalanced = account.mf_isBalanced();
        description = account.mf_describe();
    }
    EXPECT_TRUE(isBalanced) << description;
    EXPECT_EQ(0, mistakes);
}
