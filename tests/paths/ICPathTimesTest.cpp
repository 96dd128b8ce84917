// The times of files, and times and attributes together.
#include <gmock/gmock.h>

#include <algorithm>
#include <stdexcept>

#include "hsmbase/paths/ICFileTime.h"
#include "hsmbase/paths/ICPath.h"
#include "tests/paths/PrivilegedSteps.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

using testing::ElementsAreArray;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr ulong BROKEN = ERROR_IO_DEVICE;

// Full seconds, since not every file system keeps more.
FILETIME const CREATION = ICFileTime(L"2001-02-03 04:05:06", L' ').mf_getFileTime();
FILETIME const LAST_ACCESS = ICFileTime(L"2011-12-13 14:15:16", L' ').mf_getFileTime();
FILETIME const LAST_WRITE = ICFileTime(L"2021-12-23 22:23:24", L' ').mf_getFileTime();

// With values of which none is left where times are set to 0.
struct TIMES
{
    FILETIME m_creation = {1, 2};
    FILETIME m_lastAccess = {3, 4};
    FILETIME m_lastWrite = {5, 6};
};

ICFileTime f_valueOf(FILETIME const & time)
{
    return time;
}

void f_get(std::wstring const & path, TIMES & times)
{
    ICPath::mf_getTimes(CString(path.c_str()), times.m_creation, times.m_lastAccess, times.m_lastWrite);
}

void f_set(std::wstring const & path)
{
    ICPath::mf_setTimes(CString(path.c_str()), CREATION, LAST_ACCESS, LAST_WRITE);
}

// By the platform.
TIMES f_timesOf(std::wstring const & path)
{
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    ::GetFileAttributesExW(path.c_str(), GetFileExInfoStandard, &data);
    return {data.ftCreationTime, data.ftLastAccessTime, data.ftLastWriteTime};
}

bool f_areRestored(std::wstring const & path)
{
    TIMES const times = f_timesOf(path);
    // Not every system sets the creation time.
    return f_valueOf(times.m_lastAccess) == LAST_ACCESS && f_valueOf(times.m_lastWrite) == LAST_WRITE;
}

class ICPathTimes : public testing::Test
{
protected:
    void mf_get() { f_get(m_file.mf_getPath(), m_times); }
    void mf_set() { f_set(m_file.mf_getPath()); }

    void mf_expectZeroTimes()
    {
        for (FILETIME const & time : {m_times.m_creation, m_times.m_lastAccess, m_times.m_lastWrite})
            EXPECT_TRUE(f_valueOf(time) == ICFileTime());
        m_times = TIMES();
    }

    // Everything that mf_setTimes does.
    std::vector<std::string> const m_wholeWay = {"+SeDebugPrivilege",   "+SeRestorePrivilege", "+SeSecurityPrivilege",
                                                 "CreateFileW",         "SetFileTime",         "-SeDebugPrivilege",
                                                 "-SeRestorePrivilege", "-SeSecurityPrivilege"};

    std::vector<std::string> mf_wholeWayWithout(std::vector<std::string> const & missing) const
    {
        std::vector<std::string> steps = m_wholeWay;
        std::erase_if(steps, [&](std::string const & step) { return std::ranges::count(missing, step) > 0; });
        return steps;
    }

    ICTemporaryFile const m_file{"bytes"};
    TIMES m_times;
    ICPrivilegedSteps m_steps;
};

} // namespace

TEST_F(ICPathTimes, AreThoseThatWereSet)
{
    mf_set();
    mf_get();
    TIMES const seen = f_timesOf(m_file.mf_getPath());
    EXPECT_TRUE(f_valueOf(m_times.m_creation) == seen.m_creation);
    EXPECT_TRUE(f_valueOf(m_times.m_lastAccess) == LAST_ACCESS);
    EXPECT_TRUE(f_valueOf(m_times.m_lastWrite) == LAST_WRITE);
}

TEST_F(ICPathTimes, GoThroughThePlatformInTheirOrder)
{
    auto const isInOrder = [](FILETIME const & creation, FILETIME const & access, FILETIME const & write) {
        return f_valueOf(creation) == CREATION && f_valueOf(access) == LAST_ACCESS && f_valueOf(write) == LAST_WRITE;
    };
    ICImportPatch const get(IC_IMPORT(GetFileTime),
                            [](HANDLE, FILETIME * creation, FILETIME * access, FILETIME * write) {
                                *creation = CREATION, *access = LAST_ACCESS, *write = LAST_WRITE;
                                return TRUE;
                            });
    bool isSetInOrder = false;
    ICImportPatch const set(IC_IMPORT(SetFileTime), [&](HANDLE, auto * creation, auto * access, auto * write) {
        isSetInOrder = isInOrder(*creation, *access, *write);
        return TRUE;
    });
    mf_get();
    EXPECT_TRUE(isInOrder(m_times.m_creation, m_times.m_lastAccess, m_times.m_lastWrite));
    mf_set();
    EXPECT_TRUE(isSetInOrder);
}

TEST_F(ICPathTimes, OfAFileInUse_AreNoMatter)
{
    HANDLE const user = ::CreateFileW(m_file.mf_getPath().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_NO_THROW(mf_get());
    EXPECT_NO_THROW(mf_set());
    ::CloseHandle(user);
    EXPECT_TRUE(f_areRestored(m_file.mf_getPath()));
}

// Deliberate: the times of a directory can be set but not got.
TEST_F(ICPathTimes, OfADirectory_CanOnlyBeSet)
{
    ICTemporaryDirectory const directory;
    f_set(directory.mf_getPath());
    EXPECT_TRUE(f_areRestored(directory.mf_getPath()));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { f_get(directory.mf_getPath(), m_times); }, DENIED));
}

TEST_F(ICPathTimes, Get_FailureByHandle_LeavesTheTimes)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess,
        [&] {
            ICPath::mf_getTimes(INVALID_HANDLE_VALUE, m_times.m_creation, m_times.m_lastAccess, m_times.m_lastWrite);
        },
        ERROR_INVALID_HANDLE));
    EXPECT_TRUE(f_valueOf(m_times.m_creation) == ICFileTime(1, 2));
    EXPECT_TRUE(f_valueOf(m_times.m_lastWrite) == ICFileTime(5, 6));
}

// Deliberate: a file that isn't there is one that can't be opened.
TEST_F(ICPathTimes, Get_NotOpened_LeavesZeroTimes)
{
    ICImportFault const closes("CloseHandle");
    for (ulong const error :
         {ulong{ERROR_FILE_NOT_FOUND}, ulong{ERROR_PATH_NOT_FOUND}, ulong{ERROR_INVALID_NAME}, DENIED}) {
        SCOPED_TRACE(error);
        ICImportFault const fault("CreateFileW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [&] { mf_get(); }, error));
        mf_expectZeroTimes();
    }
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST_F(ICPathTimes, Get_Refused_LeavesZeroTimes_AfterTheClose)
{
    ICImportFault const closes("CloseHandle");
    ICImportFault const fault("GetFileTime", BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_get(); }, BROKEN));
    mf_expectZeroTimes();
    EXPECT_EQ(1u, closes.mf_getCalls());
}

TEST_F(ICPathTimes, Get_FailedClose_LeavesZeroTimes_AndCountsOnlyAlone)
{
    ICFailingClose const failing(BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileClose, [&] { mf_get(); }, BROKEN));
    mf_expectZeroTimes();

    ICImportFault const first("GetFileTime", DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_get(); }, DENIED));
    EXPECT_EQ(2u, failing.mf_getCalls());
}

TEST_F(ICPathTimes, Set_HasItsPrivilegesMeanwhile)
{
    std::vector<bool> enabled;
    auto const note = [&] {
        for (wchar_t const * const name : {L"SeDebugPrivilege", L"SeRestorePrivilege", L"SeSecurityPrivilege"})
            enabled.push_back(f_hasPrivilege(name).value_or(false));
    };
    ICImportPatch const open(IC_IMPORT(CreateFileW), [&](auto path, auto... others) {
        note();
        return ::CreateFileW(path, others...);
    });
    ICImportPatch const set(IC_IMPORT(SetFileTime), [&](auto... arguments) {
        note();
        return ::SetFileTime(arguments...);
    });
    mf_set();
    EXPECT_EQ(std::vector<bool>(6, true), enabled);
    EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
}

TEST_F(ICPathTimes, Set_GoesStepByStep)
{
    mf_set();
    EXPECT_THAT(m_steps.mf_get(), ElementsAreArray(m_wholeWay));
}

TEST_F(ICPathTimes, Set_FailureByHandle_KeepsSystemNumber)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [] { ICPath::mf_setTimes(INVALID_HANDLE_VALUE, CREATION, LAST_ACCESS, LAST_WRITE); },
        ERROR_INVALID_HANDLE));
    EXPECT_TRUE(m_steps.mf_get() == std::vector<std::string>{"SetFileTime"}) << "no privileges by handle";
}

TEST_F(ICPathTimes, Set_NotOpened_SwitchesThePrivilegesOff)
{
    for (ulong const error : {ulong{ERROR_FILE_NOT_FOUND}, ulong{ERROR_SHARING_VIOLATION}, DENIED}) {
        SCOPED_TRACE(error);
        m_steps.mf_clear();
        ICImportFault const fault("CreateFileW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileOpen, [&] { mf_set(); }, error));
        EXPECT_EQ(6u, m_steps.mf_get().size());
        EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
    }
}

TEST_F(ICPathTimes, Set_Refused_IsThrownAfterAllElse)
{
    ICImportFault const closes("CloseHandle");
    ICImportFault const fault("SetFileTime", BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_set(); }, BROKEN));
    // The file and the token of each switch.
    EXPECT_EQ(7u, closes.mf_getCalls());
    EXPECT_EQ(7u, m_steps.mf_get().size());
    EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
}

TEST_F(ICPathTimes, Set_FailedClose_CountsOnlyAlone)
{
    ICFailingClose const failing(BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileClose, [&] { mf_set(); }, BROKEN));
    EXPECT_THAT(m_steps.mf_get(), ElementsAreArray(m_wholeWay));
    EXPECT_TRUE(f_areRestored(m_file.mf_getPath()));

    ICImportFault const first("SetFileTime", DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_set(); }, DENIED));
}

TEST_F(ICPathTimes, Set_SwitchThatFails_IsThrown_AndTheOthersAreTried)
{
    struct CASE
    {
        ulong number; // of the switch that fails
        bool isSet;   // whether the file has the times all the same
        std::vector<std::string> steps;
    };
    CASE const cases[] = {
        {1, false, {"-SeDebugPrivilege", "-SeRestorePrivilege", "-SeSecurityPrivilege"}},
        {2, false, {"+SeDebugPrivilege", "-SeDebugPrivilege", "-SeRestorePrivilege", "-SeSecurityPrivilege"}},
        {3,
         false,
         {"+SeDebugPrivilege", "+SeRestorePrivilege", "-SeDebugPrivilege", "-SeRestorePrivilege",
          "-SeSecurityPrivilege"}},
        {4, true, mf_wholeWayWithout({"-SeDebugPrivilege"})},
        // The second of the two rights is left alone if the first can't be switched.
        {5, true, mf_wholeWayWithout({"-SeRestorePrivilege", "-SeSecurityPrivilege"})},
        {6, true, mf_wholeWayWithout({"-SeSecurityPrivilege"})}};

    for (char const * const function : {"OpenThreadToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges"})
        for (CASE const & testCase : cases) {
            SCOPED_TRACE(function + std::string(" ") + std::to_string(testCase.number));
            ICTemporaryFile const file;
            m_steps.mf_clear();
            ICImportFault const fault(function, BROKEN, ICCalls::mf_only(testCase.number));
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::Security, [&] { f_set(file.mf_getPath()); }, BROKEN));
            EXPECT_EQ(testCase.steps, m_steps.mf_get());
            EXPECT_EQ(testCase.isSet, f_areRestored(file.mf_getPath()));
        }
}

TEST_F(ICPathTimes, Set_OfSeveralFailures_TheFirstIsThrown)
{
    {
        ICImportFault const later("AdjustTokenPrivileges", DENIED);
        ICImportFault const first("AdjustTokenPrivileges", BROKEN, ICCalls::mf_only(1));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Security, [&] { mf_set(); }, BROKEN));
    }
    ICImportFault const later("AdjustTokenPrivileges", DENIED, ICCalls::mf_from(4));
    ICImportFault const first("SetFileTime", BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { mf_set(); }, BROKEN));
}

TEST_F(ICPathTimes, Set_ForeignException_SwitchesThePrivilegesOff)
{
    ICImportFault const closes("CloseHandle");
    ICImportPatch const foreign(IC_IMPORT(SetFileTime), [](auto...) -> BOOL { throw std::length_error("foreign"); });
    EXPECT_THROW(mf_set(), std::length_error);
    EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
    EXPECT_EQ(7u, closes.mf_getCalls());
}

namespace
{

WIN32_FILE_ATTRIBUTE_DATA const DATA = {
    FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN, CREATION, LAST_ACCESS, LAST_WRITE, 0, 0};

void f_restore(std::wstring const & path)
{
    ICPath::mf_setW32FileAttributes(CString(path.c_str()), DATA);
}

} // namespace

TEST_F(ICPathTimes, WithAttributes_OfAReadonlyFile_AreRestored)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_READONLY);
    f_restore(file.mf_getPath());
    EXPECT_TRUE(f_areRestored(file.mf_getPath()));
    ulong const both = FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_HIDDEN;
    EXPECT_EQ(both, ::GetFileAttributesW(file.mf_getPath().c_str()) & both);
}

TEST_F(ICPathTimes, WithAttributes_TimesComeFirst)
{
    ICImportPatch const attributes(IC_IMPORT(SetFileAttributesW), [&](LPCWSTR path, DWORD given) {
        EXPECT_TRUE(f_areRestored(path));
        EXPECT_EQ(DATA.dwFileAttributes, given);
        return ::SetFileAttributesW(path, given);
    });
    f_restore(m_file.mf_getPath());
    EXPECT_THAT(m_steps.mf_get(), ElementsAreArray(m_wholeWay));
}

TEST_F(ICPathTimes, WithAttributes_FailedTimes_LeaveTheAttributes)
{
    ICImportFault const attributes("SetFileAttributesW");
    ICImportFault const fault("SetFileTime", BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_restore(m_file.mf_getPath()); }, BROKEN));
    EXPECT_EQ(0u, attributes.mf_getCalls());
}

TEST_F(ICPathTimes, WithAttributes_FailedAttributes_LeaveTheTimesSet)
{
    ICImportFault const fault("SetFileAttributesW", DENIED);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_restore(m_file.mf_getPath()); }, DENIED));
    EXPECT_TRUE(f_areRestored(m_file.mf_getPath()));
}

TEST_F(ICPathTimes, WithAttributes_FileThatVanishesBetween_IsMissing)
{
    ICImportPatch const set(IC_IMPORT(SetFileAttributesW), [](LPCWSTR path, DWORD attributes) {
        ::DeleteFileW(path);
        return ::SetFileAttributesW(path, attributes);
    });
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileNotFound, [&] { f_restore(m_file.mf_getPath()); }, ERROR_FILE_NOT_FOUND));
}
