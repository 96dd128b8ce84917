// What only the system can tell about a path text.
#include <gmock/gmock.h>

#include <string>

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICSimulatedMachine.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/Thrown.h"

using testing::Contains;
using testing::IsEmpty;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// A simulated machine whose drive D is of any type.
class ICPathSystem : public testing::Test
{
protected:
    ICTracedProcess const m_process;
    ICSimulatedMachine m_machine;
    ICSimulatedVolume & m_volume = m_machine.mf_add(1, L"D");
};

char const * const REFUSED_DRIVES[] = {
    "0' (DRIVE_UNKNOWN)", "1' (DRIVE_NO_ROOT_DIR)", "2' (DRIVE_REMOVABLE)", nullptr, nullptr, "5' (DRIVE_CDROM)"};

// The answers of the call that is to find a full path: first without, then with a buffer.
auto f_answersOf(ulong length, ulong copied)
{
    return [length, copied](wchar_t const *, DWORD size, wchar_t *, wchar_t **) -> DWORD {
        return size == 0 ? length : copied;
    };
}

} // namespace

TEST_F(ICPathSystem, Local_FixedDrivesAndShadowCopies)
{
    for (unsigned int const driveType : {3u, 6u}) {
        m_volume.m_driveType = driveType;
        EXPECT_EQ(1, ICPath::mf_isLocal(CString(L"D:\\a")));
        EXPECT_EQ(0, ICPath::mf_isRemote(L"D:\\a"));
    }
}

TEST_F(ICPathSystem, Local_RemoteDrives)
{
    m_volume.m_driveType = DRIVE_REMOTE;
    EXPECT_EQ(0, ICPath::mf_isLocal(CString(L"D:\\a")));
    EXPECT_EQ(1, ICPath::mf_isRemote(L"D:\\a"));
}

TEST_F(ICPathSystem, Local_AsksForTheTypeOfTheRoot)
{
    m_volume.mf_mount(L"archive\\", m_machine.mf_add(2));
    std::wstring asked;
    ICImportPatch const type(IC_IMPORT(GetDriveTypeW), [&](wchar_t const * root) -> UINT {
        EXPECT_EQ(0u, ::GetLastError());
        asked = root;
        return DRIVE_FIXED;
    });
    ICPath::mf_isLocal(CString(L"D:\\archive\\f"));
    EXPECT_EQ(L"D:\\archive\\", asked);
}

TEST_F(ICPathSystem, Local_OtherDrives_AreRefused)
{
    for (unsigned int driveType = 0; driveType < std::size(REFUSED_DRIVES); ++driveType) {
        if (REFUSED_DRIVES[driveType] == nullptr) continue;
        m_volume.m_driveType = driveType;
        std::string const text =
            std::string("Drive type '") + REFUSED_DRIVES[driveType] + " of path='D:\\a' not supported";
        for (auto const question :
             {+[] { ICPath::mf_isLocal(CString(L"D:\\a")); }, +[] { ICPath::mf_isRemote(L"D:\\a"); }})
            EXPECT_THAT(m_process.mf_run(question),
                        f_fails(ICErrno::_E_::NotSupported, 'E', "ICPath::mf_isLocal", text));
    }
}

TEST_F(ICPathSystem, Local_UnknownDriveType_HasNoName)
{
    m_volume.m_driveType = 7;
    ICTracedAction const outcome = m_process.mf_run([] { ICPath::mf_isLocal(CString(L"D:\\a")); });
    EXPECT_THAT(outcome, f_fails(ICErrno::_E_::NotSupported, 'E', "ICPath::mf_isLocal",
                                 "Drive type '7' (DRIVE_??"
                                 "?) of path='D:\\a' not supported"));
    EXPECT_THAT(outcome.m_records, Contains(f_isRecord('E', "ICPath::mf_implGetDriveTypeString",
                                                       testing::StartsWith("Drive type string for 7 not found"))));
}

TEST_F(ICPathSystem, Local_NoRoot_IsThePlatformsFailure)
{
    m_volume.m_errors["GetVolumePathNameW"] = DENIED;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Path, [] { ICPath::mf_isLocal(CString(L"D:\\a")); }, DENIED));
}

TEST_F(ICPathSystem, DriveTypeNames_AreThoseOfThePlatform)
{
    wchar_t const * const names[] = {L"DRIVE_UNKNOWN", L"DRIVE_NO_ROOT_DIR", L"DRIVE_REMOVABLE", L"DRIVE_FIXED",
                                     L"DRIVE_REMOTE",  L"DRIVE_CDROM",       L"DRIVE_RAMDISK"};
    for (unsigned int driveType = 0; driveType < std::size(names); ++driveType)
        EXPECT_THAT(
            m_process.mf_trace([&] { EXPECT_STREQ(names[driveType], ICPath::mf_implGetDriveTypeString(driveType)); }),
            IsEmpty());
}

TEST_F(ICPathSystem, AbsolutePath_IsByTheCurrentDirectory)
{
    CString const current = ICPath::mf_getCurrentDirectory();
    EXPECT_STREQ(ICPath::mf_appendFile(current, L"f.txt"), ICPath::mf_getAbsolutePath(L"f.txt"));
    EXPECT_STREQ(current, ICPath::mf_getAbsolutePath(L"."));
    EXPECT_STREQ(current, ICPath::mf_getAbsolutePath(L""));
    EXPECT_STREQ(L"C:\\b", ICPath::mf_getAbsolutePath(L"C:\\a\\..\\b"));
}

TEST_F(ICPathSystem, AbsolutePath_OfAnyLength)
{
    CString path = L"C:";
    for (int i = 0; i < 20; ++i)
        path += L"\\" + CString(L'n', 200);
    EXPECT_STREQ(path, ICPath::mf_getAbsolutePath(path));
}

TEST_F(ICPathSystem, AbsolutePath_LengthThatCannotBeAsked)
{
    ICImportFault const refused("GetFullPathNameW", DENIED, ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_getAbsolutePath(L"f"); }),
                f_failsShowing(ICErrno::_E_::System, DENIED, "ICPath::mf_getAbsolutePath",
                               "Failure querying length of buffer for full path name of file 'f'\n"));
    EXPECT_EQ(1u, refused.mf_getCalls());
}

TEST_F(ICPathSystem, AbsolutePath_ThatCannotBeAsked)
{
    ICImportFault const refused("GetFullPathNameW", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_getAbsolutePath(L""); }),
                f_failsShowing(ICErrno::_E_::BufferTooSmall, DENIED, "ICPath::mf_getAbsolutePath",
                               "Failure querying full path name of file '.':\n"));
}

TEST_F(ICPathSystem, AbsolutePath_StaleError_IsNotTaken)
{
    for (ulong const length : {0ul, 10ul}) {
        ICImportPatch const silent(IC_IMPORT(GetFullPathNameW), f_answersOf(length, 0));
        ::SetLastError(DENIED);
        EXPECT_TRUE(f_throws(
            length == 0 ? ICErrno::_E_::System : ICErrno::_E_::BufferTooSmall, [] { ICPath::mf_getAbsolutePath(L"f"); },
            0));
    }
}

TEST_F(ICPathSystem, AbsolutePath_ThatGrewMeanwhile)
{
    for (ulong const copied : {10ul, 12ul}) {
        ICImportPatch const grown(IC_IMPORT(GetFullPathNameW), f_answersOf(10, copied));
        EXPECT_THAT(m_process.mf_run([] { ICPath::mf_getAbsolutePath(L"f"); }),
                    f_fails(ICErrno::_E_::BufferTooSmall, 'E', "ICPath::mf_getAbsolutePath",
                            "Buffer too small (10 chars, " + std::to_string(copied) +
                                " chars) to hold full path name of file\n'f'"));
    }
}

TEST_F(ICPathSystem, AbsolutePath_WithoutMemory)
{
    ICImportPatch const length(IC_IMPORT(GetFullPathNameW), f_answersOf(10, 9));
    ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_getAbsolutePath(L"f"); }),
                f_fails(ICErrno::_E_::Memory, 'E', "ICPath::mf_getAbsolutePath",
                        "Failure allocating full path name buffer of file 'f':\nbuffer length: 10"));
}
