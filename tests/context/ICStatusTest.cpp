#include "hsmbase/context/ICStatus.h"

#include <cstdio>
#include <optional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "hsmbase/context/ICThreadContext.h"
#include "tests/context/ThreadSlot.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{
constexpr ulong TOGGLE_BITS = ICStatus::STATUS_RESOURCES | ICStatus::STATUS_MAIN_THREAD;

template<class ACTION>
void f_onThread(ACTION action)
{
    std::thread(action).join();
}

ulong f_status()
{
    return ICStatus::mf_implGetInstance().mf_implGetStatus();
}

bool f_isFree(ICStatus const & status)
{
    bool isFree = false;
    f_onThread([&] {
        isFree = ::TryEnterCriticalSection(&status.m_lock);
        if (isFree) ::LeaveCriticalSection(&status.m_lock);
    });
    return isFree;
}

// Asked while the statics of this program are built, whatever their order.
struct EARLY_CALLER
{
    int answers =
        ICStatus::mf_canToggleLanguages() + ICStatus::mf_canWriteToLogFile() + ICStatus::mf_canWriteToEventLog();
} const g_early;

// A started process: this thread has the context of its main thread.
class ICStatusStarted : public testing::Test
{
protected:
    ICStartedProcess const m_process;
};

struct STATUS_NAME
{
    ulong bit;
    wchar_t const * name;
};
constexpr STATUS_NAME NAMES[] = {
    {0x00000000, L"STATUS_NONE"},
    {0x00000001, L"STATUS_CONFIGURATION"},
    {0x00000002, L"STATUS_RESOURCES"},
    {0x00000004, L"STATUS_MAIN_THREAD"},
    {0x00000008, L"STATUS_TRANSLATOR"},
    {0x00000010, L"STATUS_NUMBER_FORMATTER"},
    {0x00000020, L"STATUS_DEBUGGING"},
    {0x00000100, L"STATUS_LOGGING"},
    {0x00000200, L"STATUS_EVENT_LOGGING"},
    {0x00002000, L"STATUS_INSTALLATION"},
    {0x00010000, L"STATUS_STORAGE"},
    {0x00020000, L"STATUS_DOMAIN_CONTROLLER"},
    {0x00040000, L"STATUS_GENERAL_THREADS"},
    {0x00080000, L"STATUS_MAIN_DATABASE"},
    {0x00100000, L"STATUS_CLUSTER_STORAGE"},
    {0x00200000, L"STATUS_CLUSTER"},
    {0x00400000, L"STATUS_BACKEND"},
    {0x00800000, L"STATUS_VOLUME_MAPPINGS"},
};
} // namespace

TEST(ICStatus, GetStatusItemString_NamesEveryBit)
{
    for (STATUS_NAME const & row : NAMES)
        EXPECT_STREQ(row.name, ICStatus::mf_getStatusItemString(row.bit));
}

TEST(ICStatus, GetStatusItemString_KnowsNoOtherBit)
{
    ulong known = 0;
    for (STATUS_NAME const & row : NAMES)
        known |= row.bit;
    for (ulong bit = 1; bit != 0; bit <<= 1) {
        SCOPED_TRACE(bit);
        if (bit & known) continue;
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [bit] { ICStatus::mf_getStatusItemString(bit); }));
    }
}

TEST(ICStatus, GetStatusItemString_SeveralBits_Throws)
{
    for (ulong const bits : {0x3ul, 0x300ul, 0xFFFFFFFFul})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [bits] { ICStatus::mf_getStatusItemString(bits); }));
}

TEST(ICStatus, Constants_AreThoseBits)
{
    EXPECT_EQ(0x002u, ICStatus::STATUS_RESOURCES);
    EXPECT_EQ(0x004u, ICStatus::STATUS_MAIN_THREAD);
    EXPECT_EQ(0x100u, ICStatus::STATUS_LOGGING);
    EXPECT_EQ(0x200u, ICStatus::STATUS_EVENT_LOGGING);
    EXPECT_EQ(0x00800000u, ICStatus::STATUS_VOLUME_MAPPINGS);
}

TEST(ICStatus, FieldsStandInTheirOrder)
{
    static_assert(std::has_virtual_destructor_v<ICStatus>);
    ICStatus const status;
    EXPECT_LT(static_cast<void const *>(&status.m_status), static_cast<void const *>(&status.m_lock));
}

TEST(ICStatus, OwnObject_AddsAndRemovesBits)
{
    ICStatus status;
    EXPECT_EQ(0u, status.mf_implGetStatus());
    status.mf_implSetStatus(0x106, 1);
    status.mf_implSetStatus(0x001, 7);
    EXPECT_EQ(0x107u, status.mf_implGetStatus());
    status.mf_implSetStatus(0x102, 0);
    EXPECT_EQ(0x005u, status.mf_implGetStatus());
    EXPECT_EQ(0u, f_status());
}

TEST(ICStatus, HasStatus_AsksForAllBits)
{
    ICStatus status;
    status.mf_implSetStatus(0x6, 1);
    EXPECT_TRUE(status.mf_implHasStatus(0x6));
    EXPECT_TRUE(status.mf_implHasStatus(0x2));
    EXPECT_TRUE(status.mf_implHasStatus(0));
    EXPECT_FALSE(status.mf_implHasStatus(0xE));
    EXPECT_FALSE(status.mf_implHasStatus(0x8));
}

TEST(ICStatus, Copy_TakesTheBitsAndALockOfItsOwn)
{
    ICStatus original;
    original.mf_implSetStatus(0x42, 1);
    ICStatus const copy(original);
    ::EnterCriticalSection(&original.m_lock);
    EXPECT_FALSE(f_isFree(original));
    EXPECT_TRUE(f_isFree(copy));
    ::LeaveCriticalSection(&original.m_lock);
    EXPECT_EQ(0x42u, copy.mf_implGetStatus());
}

TEST(ICStatus, Assignment_TakesTheBitsAndLeavesTheLocks)
{
    ICStatus original;
    original.mf_implSetStatus(0x42, 1);
    ICStatus target;
    target.mf_implSetStatus(0x1, 1);
    target = original;
    EXPECT_EQ(0x42u, target.mf_implGetStatus());
    target = *&target;
    EXPECT_EQ(0x42u, target.mf_implGetStatus());
    EXPECT_TRUE(f_isFree(target));
    EXPECT_TRUE(f_isFree(original));
}

TEST(ICStatus, OwnObject_DeletesItsLock)
{
    ICImportFault const deletions("DeleteCriticalSection");
    {
        ICStatus const status;
        ICStatus const copy(status);
    }
    EXPECT_EQ(2u, deletions.mf_getCalls());
}

TEST(ICStatus, Statics_MayAskBeforeAnythingIsUp)
{
    EXPECT_EQ(0, g_early.answers);
}

TEST(ICStatus, StatusNone_AllAnswersAreNo)
{
    FreshThreadSlot const fresh;
    EXPECT_EQ(0u, f_status());
    EXPECT_EQ(0, ICStatus::mf_canToggleLanguages());
    EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile());
    EXPECT_EQ(0, ICStatus::mf_canWriteToEventLog());
}

TEST(ICStatus, CanToggleLanguages_NeedsBothBits)
{
    FreshThreadSlot const fresh;
    ICImportFault const reads("TlsGetValue");
    for (ulong const bit : {ICStatus::STATUS_RESOURCES, ICStatus::STATUS_MAIN_THREAD, ~TOGGLE_BITS & ~0x100ul}) {
        SCOPED_TRACE(bit);
        ICStatus::mf_setStatus(bit, 1);
        EXPECT_EQ(0, ICStatus::mf_canToggleLanguages());
        EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile());
        ICStatus::mf_setStatus(bit, 0);
    }
    EXPECT_EQ(0u, reads.mf_getCalls());
}

TEST(ICStatus, ThreadWithoutContext_MayWriteEventsAndNothingElse)
{
    FreshThreadSlot const fresh;
    ICStatus::mf_setStatus(TOGGLE_BITS | 0x300, 1);
    EXPECT_EQ(0, ICStatus::mf_canToggleLanguages());
    EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile());
    EXPECT_EQ(1, ICStatus::mf_canWriteToEventLog());
}

TEST(ICStatus, SetStatus_LoggingWithOthers_SetsAndClearsThemAll)
{
    FreshThreadSlot const fresh;
    ICStatus::mf_setStatus(0x300, 1);
    EXPECT_EQ(0x300u, f_status());
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    EXPECT_EQ(0x200u, f_status());
    ICStatus::mf_setStatus(0xFFFFFFFF, 0);
    EXPECT_EQ(0u, f_status());
}

TEST_F(ICStatusStarted, ThreadWithContext_MayToggle)
{
    EXPECT_EQ(1, ICStatus::mf_canToggleLanguages());
    EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile());
    f_onThread([] { EXPECT_EQ(0, ICStatus::mf_canToggleLanguages()); });
}

TEST_F(ICStatusStarted, CanWriteToLogFile_NeedsTheBitAndAContext)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    EXPECT_EQ(1, ICStatus::mf_canWriteToLogFile());
    f_onThread([] { EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile()); });
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
    EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile());
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    EXPECT_EQ(0, ICStatus::mf_canWriteToLogFile());
}

TEST_F(ICStatusStarted, SetStatus_Banners_ReturnTheThreadToTheUsersLanguage)
{
    for (int const on : {1, 0}) {
        ICThreadContext::mf_setLoggingLanguage();
        ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, on);
        EXPECT_EQ(ICLanguage::mf_getLoggingLanguageHandle(), ICThreadContext::mf_getCurrentLanguageHandle());
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, on);
        EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), ICThreadContext::mf_getCurrentLanguageHandle());
    }
}

TEST_F(ICStatusStarted, Questions_TakeOneLockAndOneLookAndNoMemory)
{
    ICStatus::mf_setStatus(0x300, 1);
    ICCalls const counted = ICCalls::mf_none().mf_onThisThread();
    ICImportFault const locks("EnterCriticalSection", ICAnswer::mf_code(0), counted);
    ICImportFault const looks("TlsGetValue", ICAnswer::mf_code(0), counted);
    ICImportFault const blocks("malloc", ICAnswer::mf_code(0), counted);
    EXPECT_EQ(1, ICStatus::mf_canToggleLanguages());
    EXPECT_EQ(1u, locks.mf_getCalls());
    EXPECT_EQ(1u, looks.mf_getCalls());
    EXPECT_EQ(1, ICStatus::mf_canWriteToLogFile());
    EXPECT_EQ(2u, locks.mf_getCalls());
    EXPECT_EQ(2u, looks.mf_getCalls());
    EXPECT_EQ(1, ICStatus::mf_canWriteToEventLog());
    EXPECT_EQ(3u, locks.mf_getCalls());
    EXPECT_EQ(2u, looks.mf_getCalls());
    EXPECT_EQ(0u, blocks.mf_getCalls());
    ICStatus::mf_setStatus(0x300, 0);
}

TEST_F(ICStatusStarted, LookFails_CountsAsNo)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    for (auto const question : {&ICStatus::mf_canToggleLanguages, &ICStatus::mf_canWriteToLogFile}) {
        ICImportFault const look("TlsGetValue", ERROR_INVALID_HANDLE, ICCalls::mf_only(1).mf_onThisThread());
        int answer = 1;
        EXPECT_NO_THROW(answer = question());
        EXPECT_EQ(0, answer);
        EXPECT_EQ(1u, look.mf_getAnswered());
        EXPECT_EQ(1, question());
    }
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
}

TEST_F(ICStatusStarted, NoLockIsHeldWhileTheContextIsLookedUp)
{
    std::optional<bool> wasFree;
    ICImportPatch const look(IC_IMPORT(TlsGetValue), [&](DWORD slot) {
        if (!wasFree) wasFree = f_isFree(ICStatus::mf_implGetInstance());
        return ::TlsGetValue(slot);
    });
    EXPECT_EQ(1, ICStatus::mf_canToggleLanguages());
    EXPECT_EQ(true, wasFree);
}

TEST(ICStatus, ManyThreads_EachKeepsItsBit)
{
    NoThreadSlot const none;
    std::vector<std::thread> threads;
    for (ulong number = 0; number < 16; ++number) {
        threads.emplace_back([bit = 0x10000ul << number] {
            for (int round = 0; round < 2000; ++round) {
                ICStatus::mf_setStatus(bit, 1);
                EXPECT_EQ(bit, f_status() & bit);
                if (round != 1999) ICStatus::mf_setStatus(bit, 0);
            }
        });
    }
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(0xFFFF0000u, f_status());
}

// Another file's static that ends when the library's own statics are gone: the lock must still be there.
IC_CHILD(askAfterTheEnd)
{
    ICImportFault const deletions("DeleteCriticalSection");
    ICStatus & instance = ICStatus::mf_implGetInstance();
    instance.~ICStatus();
    if (deletions.mf_getCalls() != 0) return 1;
    ::EnterCriticalSection(&instance.m_lock);
    bool const isHeld = !f_isFree(instance);
    ::LeaveCriticalSection(&instance.m_lock);
    return isHeld && !ICStatus::mf_canToggleLanguages() && !ICStatus::mf_canWriteToEventLog() ? 0 : 2;
}

TEST(ICStatus, ProcessEnds_KeepsItsLock)
{
    EXPECT_EQ(0u, ICChildProcess("askAfterTheEnd").mf_getExitCode());
}

// Deliberate: the start-up must allocate the slot before it announces the main thread. How a process ends whose stack
// is used up differs between systems; it never comes to answer.
IC_CHILD(announceWithoutSlot)
{
    ICStatus::mf_setStatus(TOGGLE_BITS, 1);
    std::puts("asked");
    std::fflush(stdout);
    ICStatus::mf_canToggleLanguages();
    std::puts("answered");
    return 0;
}

TEST(ICStatus, BitsWithoutSlot_RecurseWithoutBound)
{
    ICChildProcess child("announceWithoutSlot");
    EXPECT_THAT(child.mf_getOutput(), testing::StartsWith("asked"));
    EXPECT_THAT(child.mf_getOutput(), testing::Not(testing::HasSubstr("answered")));
}
