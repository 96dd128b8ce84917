#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/selftest/Callee.h"
#include "tests/support/selftest/Victim.h"

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <stdexcept>
#include <thread>
#include <vector>

TEST(ICImportFault, PlainCode_FailsAsTheFunctionDoes)
{
    ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_all(), VICTIM);
    ::SetLastError(0);
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(ERROR_ACCESS_DENIED, static_cast<long>(::GetLastError()));
}

TEST(ICImportFault, PlainCode_HandleFunctionAnswersTheInvalidHandle)
{
    ICImportFault const fault("CreateFileW", ERROR_SHARING_VIOLATION, ICCalls::mf_all(), VICTIM);
    EXPECT_EQ(INVALID_HANDLE_VALUE, f_victimOpen(L"C:\\x", GENERIC_READ, 0, OPEN_EXISTING, 0));
    EXPECT_EQ(ERROR_SHARING_VIOLATION, static_cast<long>(::GetLastError()));
}

TEST(ICImportFault, PlainCode_RegistryFunctionReturnsTheCode)
{
    ICImportFault const fault("RegOpenKeyExW", ERROR_ACCESS_DENIED, ICCalls::mf_all(), VICTIM);
    ::SetLastError(99);
    HKEY key = nullptr;
    EXPECT_EQ(ERROR_ACCESS_DENIED, f_victimOpenKey(L"Software", &key));
    EXPECT_EQ(99u, ::GetLastError());
}

TEST(ICImportFault, Only_FailsThatCallAlone)
{
    ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2), VICTIM);
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(3u, fault.mf_getCalls());
    EXPECT_EQ(1u, fault.mf_getAnswered());
}

TEST(ICImportFault, From_FailsThatCallAndAllLater)
{
    ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_from(2), VICTIM);
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
}

TEST(ICImportFault, Counter_CountsAndPassesThrough)
{
    ICImportFault const counter("GetFileAttributesW", VICTIM);
    EXPECT_EQ(::GetFileAttributesW(L"C:\\"), f_victimAttributes(L"C:\\"));
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\none"));
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, static_cast<long>(::GetLastError())) << "the function's own error";
    EXPECT_EQ(2u, counter.mf_getCalls());
    EXPECT_EQ(0u, counter.mf_getAnswered());
}

TEST(ICImportFault, WrongSuccess_LeavesTheLastError)
{
    ICImportFault const fault("TlsGetValue", ICAnswer::mf_value(&fault), ICCalls::mf_all(), VICTIM);
    ::SetLastError(99);
    EXPECT_EQ(&fault, f_victimTlsValue(0));
    EXPECT_EQ(99u, ::GetLastError());
}

TEST(ICImportFault, Through_KeepsTheLastErrorAsItWas)
{
    ICImportFault const counter("malloc", VICTIM);
    ::SetLastError(99);
    void * const block = f_victimAllocate(1);
    EXPECT_EQ(99u, ::GetLastError());
    ::free(block);
}

TEST(ICImportFault, NoMemory_ByTheNullPointer)
{
    ICImportFault const fault("malloc", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_all(), VICTIM);
    EXPECT_EQ(nullptr, f_victimAllocate(10));
}

TEST(ICImportFault, TenMixedArguments_ReachTheFunctionUntouched)
{
    double const expected = f_victimMixed();
    ICImportFault const counter("f_calleeMixed", VICTIM);
    EXPECT_EQ(expected, f_victimMixed());
    EXPECT_EQ(1u, counter.mf_getCalls());
    EXPECT_EQ(f_calleeMixed(1, 2.0, 3, 4.0, 5, 6, 7.0, 8, 9, 10.0), expected);
}

TEST(ICImportFault, ExceptionOfTheFunction_PassesThrough)
{
    ICImportPatch const thrower(
        "_Znay", [](std::size_t) -> void * { throw std::bad_alloc(); }, VICTIM);
    ICImportFault const counter("_Znay", VICTIM);
    EXPECT_THROW(f_victimNew(10), std::bad_alloc);
    EXPECT_EQ(1u, counter.mf_getCalls());
}

TEST(ICImportFault, ThisThreadOnly_LeavesOthersAlone)
{
    ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_all().mf_onThisThread(), VICTIM);
    ulong elsewhere = INVALID_FILE_ATTRIBUTES;
    std::thread([&] { elsewhere = f_victimAttributes(L"C:\\"); }).join();
    EXPECT_NE(INVALID_FILE_ATTRIBUTES, elsewhere);
    EXPECT_EQ(0u, fault.mf_getCalls());
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(1u, fault.mf_getCalls());
}

TEST(ICImportFault, ManyThreads_CountsEachCall)
{
    ICImportFault const fault("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_all(), VICTIM);
    std::vector<std::thread> threads;
    for (int index = 0; index < 8; ++index) {
        threads.emplace_back([] {
            for (int call = 0; call < 500; ++call)
                f_victimAttributes(L"C:\\");
        });
    }
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(4000u, fault.mf_getCalls());
    EXPECT_EQ(4000u, fault.mf_getAnswered());
}

TEST(ICImportFault, NameNotImported_ThrowsAndCostsNoThunk)
{
    for (int index = 0; index < 1000; ++index)
        EXPECT_THROW(ICImportFault("Nothing", VICTIM), std::runtime_error);
}

TEST(ICImportFault, ManyAtATime_AreIndependent)
{
    std::vector<std::unique_ptr<ICImportFault>> faults;
    for (ulong index = 0; index < 50; ++index)
        faults.push_back(std::make_unique<ICImportFault>("GetFileAttributesW", VICTIM));
    f_victimAttributes(L"C:\\");
    for (auto const & fault : faults)
        EXPECT_EQ(1u, fault->mf_getCalls());
    while (!faults.empty())
        faults.pop_back();
}

TEST(ICAnswer, FailureOf_FollowsTheFunctionsOwnWay)
{
    struct ROW
    {
        char const * m_name;
        ULONG64 m_value;
        bool m_setsLastError;
    };
    constexpr ULONG64 INVALID = ~0ull;
    ROW const rows[] = {
        {"RegQueryValueExW", 5, false},
        {"RegisterEventSourceW", 0, true},
        {"NetUseGetInfo", 5, false},
        {"WNetGetConnectionW", 5, false},
        {"FindFirstFileExW", INVALID, true},
        {"FindFirstVolumeW", INVALID, true},
        {"CreateFileMappingW", 0, true},
        {"GetFileAttributesExW", 0, true},
        {"SetFilePointerEx", 0, true},
        {"SetFilePointer", 0xFFFFFFFF, true},
        {"GetFileSizeEx", 0, true},
        {"WaitForSingleObject", 0xFFFFFFFF, true},
        {"GetCompressedFileSizeW", 0xFFFFFFFF, true},
        {"TlsSetValue", 0, true},
    };
    for (ROW const & row : rows) {
        SCOPED_TRACE(row.m_name);
        ICAnswer const answer = ICAnswer::mf_failureOf(row.m_name, 5);
        EXPECT_EQ(row.m_value, answer.m_value);
        EXPECT_EQ(row.m_setsLastError, answer.m_setsLastError);
    }
}
