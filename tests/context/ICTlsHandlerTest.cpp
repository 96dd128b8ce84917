#include "hsmbase/context/ICTlsHandler.h"

#include <cstdio>
#include <thread>

#include <gtest/gtest.h>

#include "tests/context/ThreadSlot.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

namespace
{
constexpr ulong NO_SLOT = NoThreadSlot::NO_SLOT;
int const g_first = 1;
int const g_second = 2;

// The first call on this thread alone: what a failure logs on its way must find the slot again.
ICCalls f_firstCall()
{
    return ICCalls::mf_only(1).mf_onThisThread();
}
} // namespace

TEST(ICTlsHandler, HasNoInstances)
{
    static_assert(!std::is_default_constructible_v<ICTlsHandler>);
    static_assert(std::is_same_v<decltype(ICTlsHandler::m_dwIndexContext), ulong>);
    EXPECT_EQ(NO_SLOT, ICTlsHandler::m_dwIndexContext);
}

TEST(ICTlsHandler, Initialize_AllocatesASlot)
{
    NoThreadSlot const none;
    ICTlsHandler::mf_initialize();
    ASSERT_NE(NO_SLOT, ICTlsHandler::m_dwIndexContext);
    EXPECT_EQ(nullptr, ICTlsHandler::mf_getContextData());
}

TEST(ICTlsHandler, Initialize_Twice_Throws)
{
    FreshThreadSlot const fresh;
    ulong const slot = ICTlsHandler::m_dwIndexContext;
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICTlsHandler::mf_initialize(); }));
    EXPECT_EQ(slot, ICTlsHandler::m_dwIndexContext);
}

TEST(ICTlsHandler, Initialize_AfterTerminate_Throws)
{
    FreshThreadSlot const fresh;
    ICTlsHandler::mf_terminate();
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICTlsHandler::mf_initialize(); }));
}

TEST(ICTlsHandler, Initialize_NoSlotLeft_ShowsTheFailedSlotAsSystemError)
{
    NoThreadSlot const none;
    ICImportFault const full("TlsAlloc", ICAnswer::mf_error(ERROR_NO_SYSTEM_RESOURCES, TLS_OUT_OF_INDEXES));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICTlsHandler::mf_initialize(); }, NO_SLOT));
    EXPECT_EQ(NO_SLOT, ICTlsHandler::m_dwIndexContext);
    EXPECT_EQ(1u, full.mf_getCalls());
}

IC_CHILD(startWithoutFreeSlot)
{
    while (::TlsAlloc() != TLS_OUT_OF_INDEXES) {}
    testing::AssertionResult const result = f_throws(
        ICErrno::_E_::System, [] { ICTlsHandler::mf_initialize(); }, 0xFFFFFFFF);
    if (!result) std::fprintf(stderr, "%s\n", result.message());
    return result ? 0 : 1;
}

TEST(ICTlsHandler, Initialize_ProcessHasUsedAllSlots_Throws)
{
    ICChildProcess child("startWithoutFreeSlot");
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

IC_CHILD(startTwice)
{
    ICTlsHandler::mf_initialize();
    ICTlsHandler::mf_terminate();
    testing::AssertionResult const result =
        f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICTlsHandler::mf_initialize(); });
    if (!result) std::fprintf(stderr, "%s\n", result.message());
    return result ? 0 : 1;
}

TEST(ICTlsHandler, AProcessComesUpOnce)
{
    ICChildProcess child("startTwice");
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

TEST(ICTlsHandler, Terminate_WithoutSlot_FreesNothing)
{
    NoThreadSlot const none;
    ICImportFault const frees("TlsFree");
    EXPECT_NO_THROW(ICTlsHandler::mf_terminate());
    EXPECT_EQ(0u, frees.mf_getCalls());
}

TEST(ICTlsHandler, Terminate_FreesTheSlotAndKeepsItsNumber)
{
    FreshThreadSlot const fresh;
    ulong const slot = ICTlsHandler::m_dwIndexContext;
    ulong freed = NO_SLOT;
    ICImportPatch const free(IC_IMPORT(TlsFree), [&freed](DWORD index) {
        freed = index;
        return TRUE;
    });
    ICTlsHandler::mf_terminate();
    EXPECT_EQ(slot, freed);
    EXPECT_EQ(slot, ICTlsHandler::m_dwIndexContext);
}

TEST(ICTlsHandler, Terminate_PlatformRefuses_PassesSilently)
{
    FreshThreadSlot const fresh;
    ICImportFault const refused("TlsFree", ERROR_INVALID_PARAMETER);
    EXPECT_NO_THROW(ICTlsHandler::mf_terminate());
    EXPECT_EQ(1u, refused.mf_getAnswered());
}

TEST(ICTlsHandler, WithoutSlot_NothingIsStoredOrFound)
{
    NoThreadSlot const none;
    ICImportFault const reads("TlsGetValue");
    ICImportFault const writes("TlsSetValue");
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICTlsHandler::mf_getContextData(); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICTlsHandler::mf_setContextData(&g_first); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICTlsHandler::mf_setContextData(nullptr); }));
    EXPECT_EQ(0u, reads.mf_getCalls() + writes.mf_getCalls());
}

TEST(ICTlsHandler, SetContextData_IsFoundOnThisThreadOnly)
{
    FreshThreadSlot const fresh;
    ICTlsHandler::mf_setContextData(&g_first);
    EXPECT_EQ(&g_first, ICTlsHandler::mf_getContextData());
    void const * elsewhere = &g_second;
    std::thread([&elsewhere] { elsewhere = ICTlsHandler::mf_getContextData(); }).join();
    EXPECT_EQ(nullptr, elsewhere);
}

TEST(ICTlsHandler, SetContextData_SecondPointer_ThrowsWarningAndKeepsTheFirst)
{
    FreshThreadSlot const fresh;
    ICTlsHandler::mf_setContextData(&g_first);
    EXPECT_TRUE(f_throws(ICErrno::_W_::AlreadyInitialized, [] { ICTlsHandler::mf_setContextData(&g_second); }));
    EXPECT_TRUE(f_throws(ICErrno::_W_::AlreadyInitialized, [] { ICTlsHandler::mf_setContextData(&g_first); }));
    EXPECT_EQ(&g_first, ICTlsHandler::mf_getContextData());
}

TEST(ICTlsHandler, SetContextData_NullMayAlwaysBeStored)
{
    FreshThreadSlot const fresh;
    EXPECT_NO_THROW(ICTlsHandler::mf_setContextData(nullptr));
    ICTlsHandler::mf_setContextData(&g_first);
    EXPECT_NO_THROW(ICTlsHandler::mf_setContextData(nullptr));
    EXPECT_EQ(nullptr, ICTlsHandler::mf_getContextData());
    EXPECT_NO_THROW(ICTlsHandler::mf_setContextData(&g_second));
    EXPECT_EQ(&g_second, ICTlsHandler::mf_getContextData());
}

TEST(ICTlsHandler, SetContextData_LookFails_KeepsSystemNumberAndStoresNothing)
{
    FreshThreadSlot const fresh;
    ICImportFault const look("TlsGetValue", ERROR_INVALID_PARAMETER, f_firstCall());
    ICImportFault const writes("TlsSetValue");
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICTlsHandler::mf_setContextData(&g_first); }, ERROR_INVALID_PARAMETER));
    EXPECT_EQ(0u, writes.mf_getCalls());
    EXPECT_EQ(nullptr, ICTlsHandler::mf_getContextData());
}

TEST(ICTlsHandler, SetContextData_StoreFails_KeepsSystemNumberAndTheOldPointer)
{
    FreshThreadSlot const fresh;
    ICTlsHandler::mf_setContextData(&g_first);
    ICImportFault const refused("TlsSetValue", ERROR_NOT_ENOUGH_MEMORY);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICTlsHandler::mf_setContextData(nullptr); }, ERROR_NOT_ENOUGH_MEMORY));
    EXPECT_EQ(&g_first, ICTlsHandler::mf_getContextData());
}

TEST(ICTlsHandler, GetContextData_LookFails_KeepsSystemNumber)
{
    FreshThreadSlot const fresh;
    ICImportFault const look("TlsGetValue", ERROR_INVALID_HANDLE, f_firstCall());
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICTlsHandler::mf_getContextData(); }, ERROR_INVALID_HANDLE));
    EXPECT_EQ(nullptr, ICTlsHandler::mf_getContextData());
}

// A function that doesn't set the last error on success, as older systems have it.
TEST(ICTlsHandler, GetContextData_StaleLastError_IsNoFailure)
{
    FreshThreadSlot const fresh;
    ICImportFault const look("TlsGetValue", ICAnswer::mf_value(nullptr));
    ::SetLastError(ERROR_ACCESS_DENIED);
    void const * found = &g_first;
    EXPECT_NO_THROW(found = ICTlsHandler::mf_getContextData());
    EXPECT_EQ(nullptr, found);
}

TEST(ICTlsHandler, GetContextData_LosesTheLastError)
{
    FreshThreadSlot const fresh;
    ICTlsHandler::mf_setContextData(&g_first);
    ::SetLastError(ERROR_ACCESS_DENIED);
    ICTlsHandler::mf_getContextData();
    EXPECT_EQ(0u, ::GetLastError());
}
