#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/context/Thrown.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"

namespace
{

wchar_t const PROGRAM[] = L"system_tests";

// The name is asked for anew, as by the first caller of the process.
class ICProcessName : public testing::Test
{
protected:
    void SetUp() override { ICProcessInfo::m_sName.Empty(); }
    void TearDown() override { ICProcessInfo::m_sName.Empty(); }
};

} // namespace

TEST_F(ICProcessName, IsTheProgramsFileWithoutDirectoryAndType)
{
    EXPECT_STREQ(PROGRAM, ICProcessInfo::mf_getName());
}

TEST_F(ICProcessName, IsFoundOutOnce)
{
    ICImportFault const counter("GetModuleFileNameW");

    CString const & first = ICProcessInfo::mf_getName();
    CString const & second = ICProcessInfo::mf_getName();

    EXPECT_EQ(&first, &second);
    EXPECT_EQ(1u, counter.mf_getCalls());
}

TEST_F(ICProcessName, AskedWithABufferOf259Characters)
{
    ULONG64 length = 0;
    ICImportPatch const system(IC_IMPORT(GetModuleFileNameW), [&](HMODULE module, wchar_t * path, DWORD size) -> DWORD {
        length = module == nullptr ? size : 0;
        std::wcscpy(path, L"D:\\a.b\\tool.v2.exe");
        return 18;
    });

    EXPECT_STREQ(L"tool.v2", ICProcessInfo::mf_getName());
    EXPECT_EQ(259u, length);
}

TEST_F(ICProcessName, CutPath_IsStillTerminated)
{
    ICImportPatch const system(IC_IMPORT(GetModuleFileNameW), [](HMODULE, wchar_t * path, DWORD size) -> DWORD {
        std::wmemset(path, L'x', size);
        return size;
    });

    EXPECT_EQ(259, ICProcessInfo::mf_getName().GetLength());
}

TEST_F(ICProcessName, Failure_KeepsSystemNumberAndTheNextCallTriesAgain)
{
    {
        ICImportFault const refused("GetModuleFileNameW", ERROR_ACCESS_DENIED);
        for (int attempt = 0; attempt < 2; ++attempt)
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::System, [] { ICProcessInfo::mf_getName(); }, ERROR_ACCESS_DENIED));
        EXPECT_EQ(2u, refused.mf_getAnswered());
    }
    EXPECT_STREQ(PROGRAM, ICProcessInfo::mf_getName());
}

TEST_F(ICProcessName, Failure_LeavesTheLock)
{
    ICImportFault const refused("GetModuleFileNameW", ERROR_ACCESS_DENIED, ICCalls::mf_only(1));

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICProcessInfo::mf_getName(); }, ERROR_ACCESS_DENIED));
    std::thread([] { EXPECT_STREQ(PROGRAM, ICProcessInfo::mf_getName()); }).join();
}

TEST_F(ICProcessName, ManyFirstCallers_FindItOutOnce)
{
    ICImportFault const counter("GetModuleFileNameW");
    std::atomic<int> right = 0;
    std::vector<std::thread> callers;
    for (int number = 0; number < 16; ++number)
        callers.emplace_back([&] { right += ICProcessInfo::mf_getName() == PROGRAM; });
    for (std::thread & caller : callers)
        caller.join();

    EXPECT_EQ(16, right);
    EXPECT_EQ(1u, counter.mf_getCalls());
}

TEST_F(ICProcessName, WithoutInstance_Fails)
{
    ICProcessInfo * const instance = ICProcessInfo::m_pThis;
    ICProcessInfo::m_pThis = nullptr;

    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { ICProcessInfo::mf_getName(); }));
    EXPECT_EQ(nullptr, ICProcessInfo::m_pThis);

    ICProcessInfo::m_pThis = instance;
}

TEST(ICProcessInfo, Instance_IsThereWithItsLocksInOrder)
{
    ICProcessInfo const * const instance = ICProcessInfo::m_pThis;

    ASSERT_NE(nullptr, instance);
    EXPECT_LT(static_cast<void const *>(&instance->m_csName), static_cast<void const *>(&instance->m_csKernelId));
    EXPECT_LT(static_cast<void const *>(&instance->m_csKernelId), static_cast<void const *>(&instance->m_csUserName));
}

namespace
{

// The statics as they are before any code of the library has run.
void f_unbuild()
{
    ICProcessInfo::m_pThis = nullptr;
    ICProcessInfo::m_isCreated = 0;
    std::memset(static_cast<void *>(&ICProcessInfo::m_sName), 0, sizeof(CString));
}

} // namespace

IC_CHILD(askBeforeStaticInitialisation)
{
    f_unbuild();
    CString const & name = ICProcessInfo::mf_getName();
    ICProcessInfo * const made = ICProcessInfo::m_pThis;
    ICProcessInfo * const initialised = ICProcessInfo::mf_implGetInstance(); // as the initialiser of m_pThis does
    return made != nullptr && made == initialised && name == PROGRAM && ICProcessInfo::mf_getName() == PROGRAM ? 0 : 1;
}

TEST(ICProcessInfo, CallBeforeStaticInitialisation_MakesTheOneInstance)
{
    ICChildProcess child("askBeforeStaticInitialisation");

    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

IC_CHILD(startWithoutMemory)
{
    f_unbuild();
    {
        ICImportPatch const noMemory("_ZnwyRKSt9nothrow_t",
                                     [](std::size_t, std::nothrow_t const &) -> void * { return nullptr; });
        ICProcessInfo::mf_implGetInstance();
    }
    // The failure is final, although there would be memory now.
    return f_throws(ICErrno::_E_::Initialization, [] { ICProcessInfo::mf_getName(); }) ? 0 : 1;
}

TEST(ICProcessInfo, NoMemoryForTheInstance_LeavesNone)
{
    ICChildProcess child("startWithoutMemory");

    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}
