// The walk to the kernel process.
#include <gtest/gtest.h>

#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICUnixHost.h"
#include "tests/support/Thrown.h"
#include "tests/system/ICProcessList.h"

namespace
{

class ICKernelProcess : public testing::Test
{
protected:
    void SetUp() override { ICProcessInfo::m_ulKernelId = 0; }
    void TearDown() override { ICProcessInfo::m_ulKernelId = 0; }
};

testing::AssertionResult f_kernelFailure(ICErrnoValue const & expected, std::optional<ulong> systemError = {})
{
    return f_throws(
        expected, [] { ICProcessInfo::mf_getKernelId(); }, systemError);
}

PROCESSENTRY32W f_entryOfSize(ulong size)
{
    PROCESSENTRY32W entry = {};
    entry.dwSize = size;
    entry.th32ProcessID = 7;
    std::wcscpy(entry.szExeFile, L"System");
    return entry;
}

} // namespace

TEST_F(ICKernelProcess, IsThatNamedSystem)
{
    ICProcessList list({{0, L"[System Process]"}, {88, L"smss.exe"}, {4, L"System"}, {9, L"System"}});
    ICImportFault const closed("CloseHandle");

    EXPECT_EQ(4u, ICProcessInfo::mf_getKernelId());
    EXPECT_EQ("122", list.m_calls) << "and the walk ends there";
    EXPECT_EQ(1u, closed.mf_getCalls());
}

TEST_F(ICKernelProcess, MayBeTheFirst)
{
    ICProcessList list({{4, L"System"}});
    EXPECT_EQ(4u, ICProcessInfo::mf_getKernelId());
    EXPECT_EQ("1", list.m_calls);
}

TEST_F(ICKernelProcess, SimilarNames_AreNotAccepted)
{
    ICProcessList list({{1, L"system"}, {2, L"System32"}, {3, L"SYSTEM"}, {4, L"System "}, {5, L"Syste"}, {6, L""}});
    EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound));
    EXPECT_EQ(7u, list.m_asked.size());
}

TEST_F(ICKernelProcess, RealList_HasItUnlessTheHostHasNone)
{
    if (f_isUnixHost())
        EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound));
    else
        EXPECT_EQ(4u, ICProcessInfo::mf_getKernelId());
}

TEST_F(ICKernelProcess, Entries_AreHandedInZeroedWithTheirSize)
{
    ICProcessList list({{1, L"a.exe"}, {2, L"b.exe"}, {4, L"System"}});
    ICProcessInfo::mf_getKernelId();

    ASSERT_EQ(3u, list.m_asked.size());
    for (PROCESSENTRY32W const & entry : list.m_asked) {
        EXPECT_EQ(568u, entry.dwSize);
        EXPECT_EQ(0u, entry.th32ProcessID);
        EXPECT_STREQ(L"", entry.szExeFile);
    }
}

TEST_F(ICKernelProcess, Snapshot_IsOfAllProcesses)
{
    ICProcessList list({{4, L"System"}});
    ulong flags = 0;
    ulong process = 1;
    ICImportPatch const snapshot(IC_IMPORT(CreateToolhelp32Snapshot), [&](DWORD what, DWORD id) {
        flags = what;
        process = id;
        return ::CreateToolhelp32Snapshot(what, id);
    });

    ICProcessInfo::mf_getKernelId();
    EXPECT_EQ(2u, flags);
    EXPECT_EQ(0u, process);
}

// Deliberate: that there is no such process takes the place of what went wrong, but its originator stays.
TEST_F(ICKernelProcess, NoSnapshot_CountsAsNotFound)
{
    ICProcessList list({{4, L"System"}});
    ICImportFault const refused("CreateToolhelp32Snapshot", ERROR_ACCESS_DENIED);
    ICImportFault const closed("CloseHandle");

    EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound, ERROR_ACCESS_DENIED));
    EXPECT_EQ("", list.m_calls);
    EXPECT_EQ(0u, closed.mf_getCalls());
}

TEST_F(ICKernelProcess, RefusedEntry_CountsAsNotFound)
{
    std::vector<LISTED_PROCESS> const processes[] = {{}, {{1, L"a.exe"}}, {{1, L"a.exe"}, {2, L"b.exe"}}};
    for (std::vector<LISTED_PROCESS> const & before : processes) {
        SCOPED_TRACE(before.size());
        ICProcessList list(before, ERROR_ACCESS_DENIED);
        ICImportFault const closed("CloseHandle");

        EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound, ERROR_ACCESS_DENIED));
        EXPECT_EQ(before.size() + 1, list.m_calls.size()) << "nobody asks again";
        EXPECT_EQ(1u, closed.mf_getCalls());
    }
}

TEST_F(ICKernelProcess, EmptyList_CountsAsNotFound)
{
    ICProcessList list({});
    EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound));
    EXPECT_EQ("1", list.m_calls);
}

TEST_F(ICKernelProcess, EntryWithoutImageName_CountsAsNotFound)
{
    std::vector<LISTED_PROCESS> const processes[] = {{{4, L"System", 563}}, {{1, L"a.exe"}, {4, L"System", 563}}};
    for (std::vector<LISTED_PROCESS> const & listed : processes) {
        SCOPED_TRACE(listed.size());
        ICProcessList list(listed);
        ICImportFault const closed("CloseHandle");

        EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound));
        EXPECT_EQ(listed.size(), list.m_calls.size());
        EXPECT_EQ(1u, closed.mf_getCalls());
    }
}

TEST_F(ICKernelProcess, SnapshotThatCannotBeClosed_FailsAndKeepsNoId)
{
    {
        ICProcessList list({{4, L"System"}});
        ICFailingClose const close(ERROR_INVALID_HANDLE);
        EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::CloseHandle, ERROR_INVALID_HANDLE));
        EXPECT_EQ(1u, close.mf_getCalls());
    }
    ICProcessList list({{5, L"System"}});
    EXPECT_EQ(5u, ICProcessInfo::mf_getKernelId());
}

TEST_F(ICKernelProcess, SnapshotThatCannotBeClosed_IsTheOriginatorOnlyIfNothingElseFailed)
{
    ICFailingClose const close(ERROR_INVALID_HANDLE);
    {
        ICProcessList list({});
        EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound, ERROR_INVALID_HANDLE));
    }
    ICProcessList list({}, ERROR_ACCESS_DENIED);
    EXPECT_TRUE(f_kernelFailure(ICErrno::_E_::ProcessNotFound, ERROR_ACCESS_DENIED));
    EXPECT_EQ(2u, close.mf_getCalls());
}

TEST_F(ICKernelProcess, Entry_MustHoldTheFieldsAskedFor)
{
    EXPECT_EQ(7u, ICProcessInfo::mf_implGetProcessId(f_entryOfSize(12)));
    EXPECT_TRUE(f_throws(ICErrno::_E_::ItemNotFound, [] { ICProcessInfo::mf_implGetProcessId(f_entryOfSize(11)); }));

    PROCESSENTRY32W const entry = f_entryOfSize(564);
    EXPECT_EQ(entry.szExeFile, ICProcessInfo::mf_implGetProcessExeFile(entry));
    EXPECT_EQ(1, ICProcessInfo::mf_implIsKernelProcess(entry));
    EXPECT_TRUE(
        f_throws(ICErrno::_E_::ItemNotFound, [] { ICProcessInfo::mf_implGetProcessExeFile(f_entryOfSize(563)); }));
    EXPECT_TRUE(
        f_throws(ICErrno::_E_::ItemNotFound, [] { ICProcessInfo::mf_implIsKernelProcess(f_entryOfSize(563)); }));
}
