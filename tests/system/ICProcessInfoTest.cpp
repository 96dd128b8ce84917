#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICMeetingPoint.h"
#include "tests/support/Thrown.h"
#include "tests/system/ICProcessList.h"

namespace
{

wchar_t const PROGRAM[] = L"system_tests";

void f_forget()
{
    ICProcessInfo::m_sName.Empty();
    ICProcessInfo::m_sUserName.Empty();
    ICProcessInfo::m_ulKernelId = 0;
}

std::wstring f_realUserName()
{
    wchar_t name[257] = {};
    DWORD size = 257;
    ::GetUserNameW(name, &size);
    return name;
}

// A fact that is found out once, the platform call that it takes, and what becomes of that call's failure.
struct KEPT_FACT
{
    char const * m_name;
    std::wstring (*m_ask)();
    void const * (*m_address)();
    char const * m_import;
    ICErrnoValue const & m_failure;
};

KEPT_FACT const FACTS[] = {
    {"Name", [] { return std::wstring(ICProcessInfo::mf_getName()); },
     []() -> void const * { return &ICProcessInfo::mf_getName(); }, "GetModuleFileNameW", ICErrno::_E_::System},
    {"UserName", [] { return std::wstring(ICProcessInfo::mf_getUserName()); },
     []() -> void const * { return &ICProcessInfo::mf_getUserName(); }, "GetUserNameW", ICErrno::_E_::System},
    {"KernelId", [] { return std::to_wstring(ICProcessInfo::mf_getKernelId()); },
     []() -> void const * { return nullptr; }, "CreateToolhelp32Snapshot", ICErrno::_E_::ProcessNotFound},
};

// Each test begins as the first caller of the process does.
class ICProcessFact : public testing::TestWithParam<KEPT_FACT>
{
protected:
    void SetUp() override { f_forget(); }
    void TearDown() override { f_forget(); }

    static testing::AssertionResult mf_fails()
    {
        return f_throws(
            GetParam().m_failure, [] { GetParam().m_ask(); }, ERROR_ACCESS_DENIED);
    }

    std::wstring mf_expected() const
    {
        std::string const fact = GetParam().m_name;
        return fact == "Name" ? PROGRAM : fact == "UserName" ? f_realUserName() : L"4";
    }

    ICProcessList m_list{{{4, L"System"}}};
};

constexpr int CALLERS = 16;

// As many threads as that, at the same moment.
template<class ACTION>
void f_together(ACTION action)
{
    ICLeakAccount::mf_excuse("locks get their events when threads first meet at them", 4, 0);
    ICMeetingPoint start(CALLERS);
    std::vector<std::thread> callers(CALLERS);
    for (std::thread & caller : callers)
        caller = std::thread([&] {
            start.mf_arrive();
            action();
        });
    for (std::thread & caller : callers)
        caller.join();
}

class ICProcessFacts : public testing::Test
{
protected:
    void SetUp() override { f_forget(); }
    void TearDown() override { f_forget(); }
};

INSTANTIATE_TEST_SUITE_P(Kept, ICProcessFact, testing::ValuesIn(FACTS),
                         [](auto const & fact) { return fact.param.m_name; });

} // namespace

TEST_P(ICProcessFact, IsFoundOutOnce)
{
    ICImportFault const counter(GetParam().m_import);

    EXPECT_EQ(mf_expected(), GetParam().m_ask());
    EXPECT_EQ(mf_expected(), GetParam().m_ask());
    EXPECT_EQ(GetParam().m_address(), GetParam().m_address());
    EXPECT_EQ(1u, counter.mf_getCalls());
}

TEST_P(ICProcessFact, Failure_KeepsSystemNumberAndTheNextCallTriesAgain)
{
    {
        ICImportFault const refused(GetParam().m_import, ERROR_ACCESS_DENIED);
        EXPECT_TRUE(mf_fails());
        EXPECT_TRUE(mf_fails());
        EXPECT_EQ(2u, refused.mf_getAnswered());
    }
    EXPECT_EQ(mf_expected(), GetParam().m_ask());
}

TEST_P(ICProcessFact, Failure_LeavesTheLock)
{
    ICImportFault const refused(GetParam().m_import, ERROR_ACCESS_DENIED, ICCalls::mf_only(1));

    EXPECT_TRUE(mf_fails());
    std::thread([this] { EXPECT_EQ(mf_expected(), GetParam().m_ask()); }).join();
}

TEST_P(ICProcessFact, ManyFirstCallers_FindItOutOnce)
{
    ICImportFault const counter(GetParam().m_import);
    std::wstring const expected = mf_expected();
    std::atomic<int> right = 0;
    f_together([&] { right += GetParam().m_ask() == expected; });

    EXPECT_EQ(CALLERS, right);
    EXPECT_EQ(1u, counter.mf_getCalls());
}

TEST_P(ICProcessFact, ManyFirstCallersAfterAFailure_FindItOutOnce)
{
    ICImportFault const refused(GetParam().m_import, ERROR_ACCESS_DENIED, ICCalls::mf_only(1));
    std::atomic<int> failed = 0;
    f_together([&] { failed += static_cast<bool>(mf_fails()); });

    EXPECT_EQ(1, failed);
    EXPECT_EQ(2u, refused.mf_getCalls());
}

TEST_P(ICProcessFact, WithoutInstance_Fails)
{
    ICProcessInfo * const instance = ICProcessInfo::m_pThis;
    ICProcessInfo::m_pThis = nullptr;

    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { GetParam().m_ask(); }));
    EXPECT_EQ(nullptr, ICProcessInfo::m_pThis);

    ICProcessInfo::m_pThis = instance;
}

TEST_F(ICProcessFacts, Name_AskedWithABufferOf259Characters)
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

TEST_F(ICProcessFacts, Name_CutPathIsStillTerminated)
{
    ICImportPatch const system(IC_IMPORT(GetModuleFileNameW), [](HMODULE, wchar_t * path, DWORD size) -> DWORD {
        std::wmemset(path, L'x', size);
        return size;
    });

    EXPECT_EQ(259, ICProcessInfo::mf_getName().GetLength());
}

TEST_F(ICProcessFacts, UserName_HasRoomForAsManyCharactersAsThePlatformIsTold)
{
    ulong told = 0;
    ICImportPatch const system(IC_IMPORT(GetUserNameW), [&](wchar_t * name, DWORD * size) {
        told = *size;
        std::wmemset(name, L'x', *size - 1);
        name[*size - 1] = L'\0';
        return TRUE;
    });

    EXPECT_EQ(511, ICProcessInfo::mf_getUserName().GetLength());
    EXPECT_EQ(512u, told);
}

TEST_F(ICProcessFacts, Id_IsThatOfThisProcess)
{
    EXPECT_EQ(::GetCurrentProcessId(), ICProcessInfo::mf_getId());
}

TEST(ICProcessDirectory, IsTheCurrentOne)
{
    wchar_t expected[MAX_PATH] = {};
    ::GetCurrentDirectoryW(MAX_PATH, expected);
    EXPECT_STREQ(expected, ICProcessInfo::mf_getDirectory());
}

TEST(ICProcessDirectory, IsNotKept)
{
    ICImportFault const counter("GetCurrentDirectoryW");
    ICProcessInfo::mf_getDirectory();
    ICProcessInfo::mf_getDirectory();
    EXPECT_EQ(2u, counter.mf_getCalls());
}

TEST(ICProcessDirectory, NoRoom_FailsOnlyAbove259)
{
    ulong needed = 259;
    ulong told = 0;
    ICImportPatch const system(IC_IMPORT(GetCurrentDirectoryW), [&](DWORD size, wchar_t * directory) {
        told = size;
        std::wcscpy(directory, L"D:\\");
        return needed;
    });

    EXPECT_STREQ(L"D:\\", ICProcessInfo::mf_getDirectory());
    EXPECT_EQ(259u, told);
    needed = 260;
    EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall, [] { ICProcessInfo::mf_getDirectory(); }));
}

TEST(ICProcessDirectory, Failure_KeepsSystemNumber)
{
    ICImportFault const refused("GetCurrentDirectoryW", ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICProcessInfo::mf_getDirectory(); }, ERROR_ACCESS_DENIED));
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
    std::memset(static_cast<void *>(&ICProcessInfo::m_sUserName), 0, sizeof(CString));
}

} // namespace

IC_CHILD(askBeforeStaticInitialisation)
{
    f_unbuild();
    CString const & name = ICProcessInfo::mf_getName();
    ICProcessInfo * const made = ICProcessInfo::m_pThis;
    ICProcessInfo * const initialised = ICProcessInfo::mf_implGetInstance(); // as the initialiser of m_pThis does
    bool const isRight = name == PROGRAM && ICProcessInfo::mf_getUserName() == f_realUserName().c_str();
    return made != nullptr && made == initialised && isRight && ICProcessInfo::mf_getName() == PROGRAM ? 0 : 1;
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
