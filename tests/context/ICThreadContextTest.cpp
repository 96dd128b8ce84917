#include "hsmbase/context/ICThreadContext.h"

#include <algorithm>
#include <climits>
#include <functional>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "hsmbase/context/ICString.h"
#include "tests/context/ContextHeap.h"
#include "tests/context/ThreadSlot.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{
constexpr unsigned short GERMAN = 1031;
constexpr unsigned short ENGLISH = 1033;
constexpr ulong INDEX = 7;

// The first call on this thread alone: what a failure logs on its way must find the slot again.
ICCalls f_firstCall()
{
    return ICCalls::mf_only(1).mf_onThisThread();
}
ICCalls f_countHere()
{
    return ICCalls::mf_none().mf_onThisThread();
}

// Started with German for the user; English is the logging language. Main has a context.
class ICThreadContextTest : public testing::Test
{
protected:
    // Runs `action` on a thread that has no context, which it may leave there.
    template<class ACTION>
    static void mf_onNewThread(ACTION action)
    {
        std::thread([&action] {
            action();
            ICThreadContext::mf_delete();
        }).join();
    }

    template<class ACTION>
    static void mf_onWorker(ACTION action)
    {
        mf_onNewThread([&action] {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX);
            action();
        });
    }

    ICStartedProcess const m_process{L"German"};
    ContextHeap const m_heap; // without main's context and the singletons, which were there before
};

void f_expectUserLanguage()
{
    EXPECT_EQ(GERMAN, ICThreadContext::mf_getCurrentLanguageId());
    EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), ICThreadContext::mf_getCurrentLanguageHandle());
}

void f_expectLoggingLanguage()
{
    EXPECT_EQ(ENGLISH, ICThreadContext::mf_getCurrentLanguageId());
    EXPECT_EQ(ICLanguage::mf_getLoggingLanguageHandle(), ICThreadContext::mf_getCurrentLanguageHandle());
}

// What needs a context.
struct OPERATION
{
    char const * name;
    void (*call)();
};
constexpr OPERATION OPERATIONS[] = {
    {"mf_getType", [] { ICThreadContext::mf_getType(); }},
    {"mf_getIndex", [] { ICThreadContext::mf_getIndex(); }},
    {"mf_setState", [] { ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM); }},
    {"mf_setState, unknown", [] { ICThreadContext::mf_setState(3); }},
    {"mf_getState", [] { ICThreadContext::mf_getState(); }},
    {"mf_getCurrentLanguageId", [] { ICThreadContext::mf_getCurrentLanguageId(); }},
    {"mf_getCurrentLanguageHandle", [] { ICThreadContext::mf_getCurrentLanguageHandle(); }},
    {"mf_setCanceled", [] { ICThreadContext::mf_setCanceled(1); }},
    {"mf_isCanceled", [] { ICThreadContext::mf_isCanceled(); }},
    {"mf_toString", [] { ICThreadContext::mf_toString(); }},
};

struct TYPE_NAME
{
    ulong constant;
    ulong value;
    CString const & member;
    wchar_t const * text;
};
TYPE_NAME const TYPES[] = {
    {ICThreadContext::TYPE_MAIN, 0x00000001, ICThreadContext::m_sTypeMain, L"main"},
    {ICThreadContext::TYPE_TIMER, 0x00000002, ICThreadContext::m_sTypeTimer, L"timer"},
    {ICThreadContext::TYPE_POLLING, 0x00000004, ICThreadContext::m_sTypePolling, L"polling"},
    {ICThreadContext::TYPE_WORKER, 0x00000008, ICThreadContext::m_sTypeWorker, L"general-worker"},
    {ICThreadContext::TYPE_CONTROLLER, 0x00000010, ICThreadContext::m_sTypeController, L"controller"},
    {ICThreadContext::TYPE_PROCESS_IO, 0x00000100, ICThreadContext::m_sTypeProcessIO, L"process-io"},
    {ICThreadContext::TYPE_DRIVER_RECALL, 0x00010000, ICThreadContext::m_sTypeDriverRecall, L"driver-recall"},
    {ICThreadContext::TYPE_DRIVER_LOGGING, 0x00020000, ICThreadContext::m_sTypeDriverLogging, L"driver-logging"},
    {ICThreadContext::TYPE_DRIVER_QUOTA, 0x00040000, ICThreadContext::m_sTypeDriverQuota, L"driver-quota"},
    {ICThreadContext::TYPE_GC_QUOTA, 0x00100000, ICThreadContext::m_sTypeGcQuota, L"gc-quota"},
    {ICThreadContext::TYPE_TERMINATOR, 0x01000000, ICThreadContext::m_sTypeTerminator, L"thread-terminator"},
    {ICThreadContext::TYPE_FS_SCAN, 0x10000000, ICThreadContext::m_sTypeFSScan, L"filesystem-scan"},
    {ICThreadContext::TYPE_BACKUP, 0x20000000, ICThreadContext::m_sTypeBackup, L"backup"},
    {ICThreadContext::TYPE_MIGRATION, 0x40000000, ICThreadContext::m_sTypeMigration, L"migration"},
};
} // namespace

TEST(ICThreadContext, GetTypeString_NamesEveryType)
{
    for (TYPE_NAME const & row : TYPES) {
        EXPECT_EQ(row.value, row.constant);
        EXPECT_STREQ(row.text, row.member);
        EXPECT_STREQ(row.text, ICThreadContext::mf_getTypeString(row.value));
    }
}

TEST(ICThreadContext, GetTypeString_Unknown_SaysSo)
{
    for (ulong const type : {0x0ul, 0x3ul, 0x80ul, 0x80000000ul, 0xFFFFFFFFul})
        EXPECT_STREQ(L"<UNEXPECTED-THREAD-TYPE>", ICThreadContext::mf_getTypeString(type));
}

TEST(ICThreadContext, GetStateString_NamesBothStates)
{
    EXPECT_EQ(1u, ICThreadContext::STATE_GLOBAL);
    EXPECT_EQ(2u, ICThreadContext::STATE_ITEM);
    EXPECT_STREQ(L"global operation", ICThreadContext::mf_getStateString(1));
    EXPECT_STREQ(L"item operation", ICThreadContext::mf_getStateString(2));
    EXPECT_STREQ(L"global operation", ICThreadContext::m_sStateGlobal);
    EXPECT_STREQ(L"item operation", ICThreadContext::m_sStateItem);
    for (ulong const state : {0ul, 3ul, 0xFFFFFFFFul})
        EXPECT_STREQ(L"<UNEXPECTED-THREAD-STATE>", ICThreadContext::mf_getStateString(state));
}

TEST(ICThreadContext, ImplGetStateString_ShowsTheCounterWithItsSign)
{
    EXPECT_STREQ(L"global operation+0", ICThreadContext::mf_implGetStateString(0));
    EXPECT_STREQ(L"global operation+1", ICThreadContext::mf_implGetStateString(1));
    EXPECT_STREQ(L"global operation+2147483647", ICThreadContext::mf_implGetStateString(LONG_MAX));
    EXPECT_STREQ(L"item operation-1", ICThreadContext::mf_implGetStateString(-1));
    EXPECT_STREQ(L"item operation-2147483648", ICThreadContext::mf_implGetStateString(LONG_MIN));
}

TEST(ICThreadContext, Create_WithoutLanguages_ThrowsAndLeavesNothing)
{
    FreshThreadSlot const fresh;
    ContextHeap const heap;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization,
                         [] { ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX); }));
    EXPECT_EQ(1u, heap.mf_getAllocated());
    EXPECT_EQ(0u, heap.mf_getLive());
    EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
}

TEST(ICThreadContext, WithoutSlot_AllThatLooksThrows)
{
    NoThreadSlot const none;
    for (OPERATION const & operation : OPERATIONS)
        EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, operation.call)) << operation.name;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICThreadContext::mf_isInitialized(); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICThreadContext::mf_delete(); }));
    EXPECT_NO_THROW(ICThreadContext::mf_setLoggingLanguage());
    EXPECT_NO_THROW(ICThreadContext::mf_setUserLanguage());
}

TEST_F(ICThreadContextTest, Create_StartsInTheUsersLanguageAndNotCancelled)
{
    mf_onNewThread([] {
        ICThreadContext::mf_create(ICThreadContext::TYPE_BACKUP, INDEX);
        EXPECT_EQ(1, ICThreadContext::mf_isInitialized());
        EXPECT_EQ(ICThreadContext::TYPE_BACKUP, ICThreadContext::mf_getType());
        EXPECT_EQ(INDEX, ICThreadContext::mf_getIndex());
        EXPECT_EQ(ICThreadContext::STATE_GLOBAL, ICThreadContext::mf_getState());
        EXPECT_EQ(0, ICThreadContext::mf_implGetThreadContext()->m_stateCounter);
        EXPECT_EQ(0, ICThreadContext::mf_isCanceled());
        f_expectUserLanguage();
    });
}

TEST_F(ICThreadContextTest, Create_RemembersBothLanguages)
{
    mf_onWorker([] {
        ICThreadContext const & context = *ICThreadContext::mf_implGetThreadContext();
        EXPECT_EQ(GERMAN, context.m_userLanguageId);
        EXPECT_EQ(ENGLISH, context.m_loggingLanguageId);
        EXPECT_EQ(ICLanguage::mf_getUserLanguageHandle(), context.m_userLanguageHandle);
        EXPECT_EQ(ICLanguage::mf_getLoggingLanguageHandle(), context.m_loggingLanguageHandle);
    });
}

TEST_F(ICThreadContextTest, Create_TracesInTheLoggingLanguage)
{
    mf_onNewThread([] {
        std::vector<HINSTANCE> used;
        ICImportPatch const load(IC_IMPORT(LoadStringW), [&used](HINSTANCE library, UINT id, LPWSTR text, int length) {
            used.push_back(library);
            return ::LoadStringW(library, id, text, length);
        });
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX);
        EXPECT_THAT(used, testing::ElementsAre(ICLanguage::mf_getLoggingLanguageHandle()));
        f_expectUserLanguage();
    });
}

TEST_F(ICThreadContextTest, Create_Twice_ThrowsWarningAndKeepsTheFirst)
{
    mf_onWorker([this] {
        ICThreadContext const * const first = ICThreadContext::mf_implGetThreadContext();
        EXPECT_TRUE(f_throws(ICErrno::_W_::AlreadyInitialized,
                             [] { ICThreadContext::mf_create(ICThreadContext::TYPE_TIMER, 1); }));
        EXPECT_EQ(first, ICThreadContext::mf_implGetThreadContext());
        EXPECT_EQ(ICThreadContext::TYPE_WORKER, ICThreadContext::mf_getType());
        EXPECT_EQ(2u, m_heap.mf_getAllocated());
        EXPECT_EQ(1u, m_heap.mf_getLive());
        f_expectUserLanguage();
    });
}

TEST_F(ICThreadContextTest, Create_NoMemory_Throws)
{
    mf_onNewThread([] {
        ICImportFault const full("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
        ICImportFault const writes("TlsSetValue");
        EXPECT_TRUE(
            f_throws(ICErrno::_E_::Memory, [] { ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX); }));
        EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
        EXPECT_EQ(0u, writes.mf_getCalls());
    });
}

TEST_F(ICThreadContextTest, Create_WithoutSlot_ThrowsAndLeavesNothing)
{
    NoThreadSlot const none;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization,
                         [] { ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX); }));
    EXPECT_EQ(1u, m_heap.mf_getAllocated());
    EXPECT_EQ(0u, m_heap.mf_getLive());
}

TEST_F(ICThreadContextTest, Create_SlotRefuses_KeepsSystemNumberAndLeavesNothing)
{
    for (char const * const call : {"TlsGetValue", "TlsSetValue"}) {
        SCOPED_TRACE(call);
        mf_onNewThread([call] {
            ICImportFault const refused(call, ERROR_NOT_ENOUGH_MEMORY, f_firstCall());
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::System, [] { ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX); },
                ERROR_NOT_ENOUGH_MEMORY));
            EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
        });
    }
    EXPECT_EQ(2u, m_heap.mf_getAllocated());
    EXPECT_EQ(0u, m_heap.mf_getLive());
}

TEST_F(ICThreadContextTest, Delete_LeavesNothing)
{
    mf_onNewThread([this] {
        ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, INDEX);
        EXPECT_EQ(1u, m_heap.mf_getLive());
        ICThreadContext::mf_delete();
        EXPECT_EQ(0u, m_heap.mf_getLive());
        EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
        EXPECT_NO_THROW(ICThreadContext::mf_create(ICThreadContext::TYPE_TIMER, 1));
        EXPECT_EQ(ICThreadContext::TYPE_TIMER, ICThreadContext::mf_getType());
    });
}

TEST_F(ICThreadContextTest, Delete_WithoutContext_Succeeds)
{
    mf_onNewThread([] {
        EXPECT_NO_THROW(ICThreadContext::mf_delete());
        EXPECT_NO_THROW(ICThreadContext::mf_delete());
    });
}

TEST_F(ICThreadContextTest, Delete_ClearsTheSlotFirst)
{
    mf_onWorker([this] {
        std::size_t liveWhenCleared = 0;
        ICImportPatch const store(IC_IMPORT(TlsSetValue), [&](DWORD slot, LPVOID value) {
            liveWhenCleared = m_heap.mf_getLive();
            return ::TlsSetValue(slot, value);
        });
        ICThreadContext::mf_delete();
        EXPECT_EQ(1u, liveWhenCleared);
        EXPECT_EQ(0u, m_heap.mf_getLive());
    });
}

TEST_F(ICThreadContextTest, Delete_SlotRefuses_KeepsSystemNumberAndTheContext)
{
    for (char const * const call : {"TlsGetValue", "TlsSetValue"}) {
        SCOPED_TRACE(call);
        mf_onWorker([call] {
            ICImportFault const refused(call, ERROR_INVALID_HANDLE, f_firstCall());
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::System, [] { ICThreadContext::mf_delete(); }, ERROR_INVALID_HANDLE));
            EXPECT_EQ(INDEX, ICThreadContext::mf_getIndex());
        });
    }
    EXPECT_EQ(0u, m_heap.mf_getLive());
}

TEST_F(ICThreadContextTest, Delete_ReleasesNoLanguage)
{
    mf_onWorker([] {
        ICImportFault const releases("FreeLibrary");
        ICThreadContext::mf_delete();
        EXPECT_EQ(0u, releases.mf_getCalls());
    });
}

TEST_F(ICThreadContextTest, WithoutContext_OperationsThrowUnexpected)
{
    mf_onNewThread([] {
        for (OPERATION const & operation : OPERATIONS)
            EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, operation.call)) << operation.name;
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [] { ICThreadContext::mf_implGetThreadContext(); }));
    });
}

TEST_F(ICThreadContextTest, WithoutContext_TheRestIsHarmless)
{
    mf_onNewThread([] {
        EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
        EXPECT_NO_THROW(ICThreadContext::mf_setLoggingLanguage());
        EXPECT_NO_THROW(ICThreadContext::mf_setUserLanguage());
        EXPECT_STREQ(L"main", ICThreadContext::mf_getTypeString(1));
        EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
    });
}

TEST_F(ICThreadContextTest, LookFailsOnce_OperationsKeepSystemNumber)
{
    std::vector<OPERATION> operations(std::begin(OPERATIONS), std::end(OPERATIONS));
    operations.push_back({"mf_isInitialized", [] { ICThreadContext::mf_isInitialized(); }});
    for (OPERATION const & operation : operations) {
        ICImportFault const look("TlsGetValue", ERROR_INVALID_HANDLE, f_firstCall());
        EXPECT_TRUE(f_throws(ICErrno::_E_::System, operation.call, ERROR_INVALID_HANDLE)) << operation.name;
        EXPECT_EQ(1u, look.mf_getAnswered());
    }
    EXPECT_EQ(0, ICThreadContext::mf_implGetThreadContext()->m_stateCounter);
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetLanguages_SwitchIdAndLibrary)
{
    ICThreadContext::mf_setLoggingLanguage();
    f_expectLoggingLanguage();
    ICThreadContext::mf_setLoggingLanguage();
    f_expectLoggingLanguage();
    ICThreadContext::mf_setUserLanguage();
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetLanguages_LeaveOtherThreadsAlone)
{
    mf_onWorker([] {
        ICThreadContext::mf_setLoggingLanguage();
        f_expectLoggingLanguage();
    });
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetLanguages_StatusSaysNo_TouchNothing)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
    ICImportFault const looks("TlsGetValue", ICAnswer::mf_code(0), f_countHere());
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_EQ(0u, looks.mf_getCalls());
    f_expectUserLanguage();
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
}

TEST_F(ICThreadContextTest, SetLanguages_LookFailsOnce_ChangeNothing)
{
    {
        ICImportFault const look("TlsGetValue", ERROR_INVALID_HANDLE, f_firstCall());
        EXPECT_NO_THROW(ICThreadContext::mf_setLoggingLanguage());
        EXPECT_EQ(1u, look.mf_getAnswered());
    }
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetLanguages_TakeOneLockAndOneLookAndNoMemory)
{
    ICImportFault const locks("EnterCriticalSection", ICAnswer::mf_code(0), f_countHere());
    ICImportFault const looks("TlsGetValue", ICAnswer::mf_code(0), f_countHere());
    ICImportFault const blocks("malloc", ICAnswer::mf_code(0), f_countHere());
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_EQ(1u, locks.mf_getCalls());
    EXPECT_EQ(1u, looks.mf_getCalls());
    ICThreadContext::mf_setUserLanguage();
    EXPECT_EQ(2u, locks.mf_getCalls());
    EXPECT_EQ(2u, looks.mf_getCalls());
    EXPECT_EQ(0u, blocks.mf_getCalls());
}

// Whoever needs the last error reads it before the trace call.
TEST_F(ICThreadContextTest, SetLanguages_LoseTheLastError)
{
    ::SetLastError(ERROR_ACCESS_DENIED);
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_EQ(0u, ::GetLastError());
    ::SetLastError(ERROR_ACCESS_DENIED);
    ICThreadContext::mf_setUserLanguage();
    EXPECT_EQ(0u, ::GetLastError());
}

TEST_F(ICThreadContextTest, ConfiguredLanguageChanges_NewContextsKeepTheOldOne)
{
    ICLanguage::mf_configureLanguage(ENGLISH);
    mf_onWorker([] { f_expectUserLanguage(); });
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetState_ItemFromZero_IsMinusOne)
{
    ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM);
    ICThreadContext const & context = *ICThreadContext::mf_implGetThreadContext();
    EXPECT_EQ(-1, context.m_stateCounter);
    EXPECT_EQ(ICThreadContext::STATE_ITEM, ICThreadContext::mf_getState());
    EXPECT_STREQ(L"item operation-1", ICThreadContext::mf_implGetStateString(context.m_stateCounter));
}

TEST_F(ICThreadContextTest, SetState_IsABalance)
{
    ICThreadContext const & context = *ICThreadContext::mf_implGetThreadContext();
    ICThreadContext::mf_setState(ICThreadContext::STATE_GLOBAL);
    ICThreadContext::mf_setState(ICThreadContext::STATE_GLOBAL);
    ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM);
    EXPECT_EQ(1, context.m_stateCounter);
    EXPECT_EQ(ICThreadContext::STATE_GLOBAL, ICThreadContext::mf_getState());
    ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM);
    EXPECT_EQ(0, context.m_stateCounter);
    EXPECT_EQ(ICThreadContext::STATE_GLOBAL, ICThreadContext::mf_getState());
}

TEST_F(ICThreadContextTest, SetState_Unknown_ThrowsInternalAndKeepsTheCounter)
{
    ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM);
    for (ulong const state : {0ul, 3ul, 0xFFFFFFFFul})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Internal, [state] { ICThreadContext::mf_setState(state); }));
    EXPECT_EQ(-1, ICThreadContext::mf_implGetThreadContext()->m_stateCounter);
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetCanceled_MainThread_IsNotPossible)
{
    ICThreadContext::mf_setCanceled(1);
    EXPECT_EQ(0, ICThreadContext::mf_isCanceled());
    f_expectUserLanguage();
}

TEST_F(ICThreadContextTest, SetCanceled_OtherThread_StoresTheFlag)
{
    mf_onWorker([] {
        ICThreadContext::mf_setCanceled(1);
        EXPECT_EQ(1, ICThreadContext::mf_isCanceled());
        ICThreadContext::mf_setCanceled(0);
        EXPECT_EQ(0, ICThreadContext::mf_isCanceled());
    });
    EXPECT_EQ(0, ICThreadContext::mf_isCanceled());
}

TEST_F(ICThreadContextTest, ToString_IsTheResourceInTheLanguageInForce)
{
    mf_onWorker([] {
        ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM);
        auto const expected = [](ulong language) {
            return ICString::mf_formatLanguage(language, 4446, 8ul, L"general-worker", INDEX, -1l, L"item operation-1");
        };
        CString const german = expected(ICLanguage::USER_LANGUAGE);
        CString const english = expected(ICLanguage::LOGGING_LANGUAGE);
        EXPECT_STRNE(german, english);
        EXPECT_STREQ(german, ICThreadContext::mf_toString());
        ICThreadContext::mf_setLoggingLanguage();
        EXPECT_STREQ(english, ICThreadContext::mf_toString());
    });
}

TEST_F(ICThreadContextTest, ToString_ShowsAllFive)
{
    mf_onNewThread([] {
        ICThreadContext::mf_create(0x0000ABCD, 123456);
        std::wstring const text = ICThreadContext::mf_toString().GetString();
        for (wchar_t const * part : {L"abcd", L"<UNEXPECTED-THREAD-TYPE>", L"123456", L" 0,", L"global operation+0"})
            EXPECT_NE(text.npos, text.find(part)) << part << " in " << text;
    });
}

TEST_F(ICThreadContextTest, ToString_LanguagesAreDown_GivesThePlaceholder)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
    EXPECT_STREQ(L"<resource-id=4446 not loaded>", ICThreadContext::mf_toString());
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
}

TEST_F(ICThreadContextTest, Copy_TakesAllFields)
{
    mf_onWorker([] {
        ICThreadContext::mf_setState(ICThreadContext::STATE_ITEM);
        ICThreadContext::mf_setCanceled(1);
        ICThreadContext::mf_setLoggingLanguage();
        ICThreadContext const & context = *ICThreadContext::mf_implGetThreadContext();
        ICThreadContext const copy(context);
        EXPECT_EQ(context.m_type, copy.m_type);
        EXPECT_EQ(context.m_index, copy.m_index);
        EXPECT_EQ(-1, copy.m_stateCounter);
        EXPECT_EQ(1, copy.m_canceled);
        EXPECT_EQ(context.m_userLanguageId, copy.m_userLanguageId);
        EXPECT_EQ(context.m_loggingLanguageId, copy.m_loggingLanguageId);
        EXPECT_EQ(context.m_loggingLanguageId, copy.m_currentLanguageId);
        EXPECT_EQ(context.m_userLanguageHandle, copy.m_userLanguageHandle);
        EXPECT_EQ(context.m_loggingLanguageHandle, copy.m_loggingLanguageHandle);
        EXPECT_EQ(context.m_loggingLanguageHandle, copy.m_currentLanguageHandle);
    });
}

TEST_F(ICThreadContextTest, FieldsStandInTheirOrder)
{
    static_assert(std::has_virtual_destructor_v<ICThreadContext>);
    ICThreadContext const & context = *ICThreadContext::mf_implGetThreadContext();
    void const * const fields[] = {
        &context.m_type,
        &context.m_index,
        &context.m_stateCounter,
        &context.m_canceled,
        &context.m_userLanguageId,
        &context.m_loggingLanguageId,
        &context.m_currentLanguageId,
        &context.m_userLanguageHandle,
        &context.m_loggingLanguageHandle,
        &context.m_currentLanguageHandle,
    };
    EXPECT_TRUE(std::is_sorted(std::begin(fields), std::end(fields), std::less<void const *>()));
}

// A thread's whole life: what the threads of a group do, many at a time.
static void f_liveOnce(ulong type, ulong index)
{
    ICThreadContext::mf_create(type, index);
    for (int round = 0; round < 20; ++round) {
        ICThreadContext::mf_setLoggingLanguage();
        f_expectLoggingLanguage();
        ICThreadContext::mf_setUserLanguage();
        f_expectUserLanguage();
        ICThreadContext::mf_setState(round % 2 ? ICThreadContext::STATE_GLOBAL : ICThreadContext::STATE_ITEM);
        EXPECT_EQ(round % 2 ? 0 : -1, ICThreadContext::mf_implGetThreadContext()->m_stateCounter);
    }
    ICThreadContext::mf_setCanceled(static_cast<int>(index));
    EXPECT_EQ(static_cast<int>(index), ICThreadContext::mf_isCanceled());
    EXPECT_EQ(type, ICThreadContext::mf_getType());
    EXPECT_EQ(index, ICThreadContext::mf_getIndex());
    ICThreadContext::mf_delete();
    EXPECT_EQ(0, ICThreadContext::mf_isInitialized());
}

TEST_F(ICThreadContextTest, ManyThreads_EachHasItsOwn)
{
    constexpr ulong THREADS = 32;
    constexpr int LIVES = 25;
    std::vector<std::thread> threads;
    for (ulong index = 0; index < THREADS; ++index) {
        threads.emplace_back([index] {
            ulong const type = TYPES[1 + index % (std::size(TYPES) - 1)].value;
            for (int life = 0; life < LIVES; ++life)
                f_liveOnce(type, index);
        });
    }
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(THREADS * LIVES, m_heap.mf_getAllocated());
    EXPECT_EQ(0u, m_heap.mf_getLive());
}
