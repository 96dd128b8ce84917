// Where links lead.
#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICUnixHost.h"
#include "tests/support/LoggedPlace.h"
#include "tests/support/PlatformFailure.h"

using testing::ElementsAre;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr char TAG[] = "ICPath::mf_SymlinkToDirectory";

// Texts have "@" for the link.
class ICPathLinks : public testing::Test
{
protected:
    ICTracedAction mf_follow() const
    {
        return m_process.mf_run([this] { ICPath::mf_SymlinkToDirectory(m_link); });
    }

    testing::Matcher<ICTracedAction const &> mf_isFailing(ICErrnoValue const & constant, ulong error,
                                                          std::string const & text) const
    {
        return f_failsShowing(constant, error, TAG, f_at(text, m_link));
    }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    CString const m_link = m_directory.mf_makeDirectory(L"link").c_str();
};

// Answers with a name whatever the file is, and keeps how much room it was given.
class ICPretendedName
{
public:
    // `longer` is what the second call has to tell.
    explicit ICPretendedName(std::wstring const & name, std::wstring const & longer)
        : m_patch(IC_IMPORT(GetFinalPathNameByHandleW),
                  [this, name, longer](HANDLE, wchar_t * buffer, DWORD room, DWORD flags) -> DWORD {
                      EXPECT_EQ(0u, flags);
                      EXPECT_EQ(room == 0, buffer == nullptr);
                      m_rooms.push_back(room);
                      std::wstring const & told = room == 0 ? name : longer;
                      DWORD const length = static_cast<DWORD>(told.size());
                      if (length >= room) return length + 1;
                      told.copy(buffer, length);
                      buffer[length] = L'\0';
                      return length;
                  })
    {}
    explicit ICPretendedName(std::wstring const & name) : ICPretendedName(name, name) {}

    std::vector<ulong> m_rooms;

private:
    ICImportPatch const m_patch;
};

} // namespace

TEST_F(ICPathLinks, Link_LeadsToItsDirectory)
{
    if (!f_isUnixHost()) GTEST_SKIP() << "links are made by the host";
    std::wstring const target = m_directory.mf_makeDirectory(L"target");
    std::wstring const link = m_directory / L"to";
    ASSERT_TRUE(f_runOnHost(L"ln -s " + f_hostPath(target) + L" " + f_hostPath(link)));
    CString told;
    EXPECT_THAT(
        m_process.mf_trace([&] { told = ICPath::mf_SymlinkToDirectory(link.c_str()); }),
        ElementsAre(f_isRecord(
            'T', TAG, f_logged("Path name of symbolic link '", link.c_str()) + f_logged("':\n", target.c_str()))));
    EXPECT_EQ(CString(target.c_str()), told);
}

TEST_F(ICPathLinks, WhatIsNoLink_LeadsToItself)
{
    std::wstring const file = m_directory.mf_makeFile(L"link\\f");
    EXPECT_EQ(m_link, ICPath::mf_SymlinkToDirectory(m_link));
    EXPECT_EQ(CString(file.c_str()), ICPath::mf_SymlinkToDirectory(file.c_str()));
}

TEST_F(ICPathLinks, OpensWhatItLeadsTo_AndClosesIt)
{
    ICFileCalls const calls;
    ICImportFault const closes("CloseHandle");
    ICPath::mf_SymlinkToDirectory(m_link);
    EXPECT_THAT(calls.mf_get(),
                ElementsAre(ICFileCall{"CreateFileW", f_longPath(m_link.GetString()), {0x80000000, 1, 3, 0x2000000}}));
    EXPECT_EQ(1u, closes.mf_getCalls());
}

TEST_F(ICPathLinks, Answer_HasNoLongPrefix_AndAnyLength)
{
    std::wstring const distant(1000, L'x');
    ICPretendedName const onServer(L"\\\\?\\UNC\\host\\share\\" + distant);
    EXPECT_EQ(CString((L"\\\\host\\share\\" + distant).c_str()), ICPath::mf_SymlinkToDirectory(m_link));
    EXPECT_THAT(onServer.m_rooms, ElementsAre(0, 1000 + 19 + 2));
    ICPretendedName const onVolume(L"\\\\?\\Volume{x}\\d");
    EXPECT_STREQ(L"Volume{x}\\d", ICPath::mf_SymlinkToDirectory(m_link));
}

// One character longer still has room.
TEST_F(ICPathLinks, NameThatGrowsMeanwhile_IsAFailureWithoutNumber)
{
    {
        ICPretendedName const grown(L"\\\\?\\D:\\a", L"\\\\?\\D:\\ab");
        EXPECT_STREQ(L"D:\\ab", ICPath::mf_SymlinkToDirectory(m_link));
    }
    ICPretendedName const grown(L"\\\\?\\D:\\a", L"\\\\?\\D:\\abc");
    ICImportFault const closes("CloseHandle");
    EXPECT_THAT(mf_follow(),
                mf_isFailing(ICErrno::_E_::FileSystem, 0, "Failure getting final path name of symbolic link: '@'\n"));
    EXPECT_EQ(1u, closes.mf_getCalls());
}

TEST_F(ICPathLinks, LinkThatDoesNotOpen)
{
    CString const missing = (m_directory / L"missing").c_str();
    EXPECT_THAT(
        m_process.mf_run([&] { ICPath::mf_SymlinkToDirectory(missing); }),
        f_failsShowing(ICErrno::_E_::FileOpen, ERROR_FILE_NOT_FOUND, TAG, f_at("CreateFile '@' failed:\n", missing)));
    ICImportFault const fault("CreateFileW", DENIED);
    ICImportFault const closes("CloseHandle");
    EXPECT_THAT(mf_follow(), mf_isFailing(ICErrno::_E_::FileOpen, DENIED, "CreateFile '@' failed:\n"));
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST_F(ICPathLinks, NameThatCannotBeTold_ClosesTheLink)
{
    ICImportFault const closes("CloseHandle");
    {
        ICImportFault const fault("GetFinalPathNameByHandleW", ERROR_PATH_NOT_FOUND);
        EXPECT_THAT(mf_follow(), mf_isFailing(ICErrno::_E_::FileSystem, ERROR_PATH_NOT_FOUND,
                                              "Failure determining memory required by GetFinalPathNameByHandle,\n"
                                              "Symbolic link: '@', result=0\n"));
        EXPECT_EQ(1u, closes.mf_getCalls());
    }
    ICImportFault const fault("GetFinalPathNameByHandleW", DENIED, ICCalls::mf_only(2));
    EXPECT_THAT(mf_follow(), mf_isFailing(ICErrno::_E_::FileSystem, DENIED,
                                          "Failure getting final path name of symbolic link: '@'\n"));
    EXPECT_EQ(2u, closes.mf_getCalls());
}

TEST_F(ICPathLinks, NoMemory_ClosesTheLink)
{
    ICPretendedName const name(L"\\\\?\\D:\\a");
    ICImportFault const closes("CloseHandle");
    ICImportFault const noMemory("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(mf_follow(),
                f_fails(ICErrno::_E_::Memory, 'E', TAG,
                        f_at("No memory to allocate 20 bytes for path buffer,\nSymbolic link: '@'", m_link)));
    EXPECT_EQ(1u, closes.mf_getCalls());
}

TEST_F(ICPathLinks, FailedClose_IsThrown_UnlessTheNameFailed)
{
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_THAT(mf_follow(), mf_isFailing(ICErrno::_E_::FileClose, ERROR_IO_DEVICE, "CloseHandle '@' failed:\n"));
    ICImportFault const fault("GetFinalPathNameByHandleW", DENIED);
    ICTracedAction const outcome = mf_follow();
    EXPECT_EQ(ICErrno::_E_::FileSystem.mf_getNumber(), static_cast<int>(outcome.m_failure.value_or(0)));
    EXPECT_EQ(2u, outcome.m_records.size());
    EXPECT_EQ(2u, failing.mf_getCalls());
}
