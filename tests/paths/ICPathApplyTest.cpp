// Attributes, times and security of the object that a path names.
#include "hsmbase/failure/ICBuffer.h"
#include "tests/paths/PathModelTest.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"
#include "tests/system/PrivilegeState.h"

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr SECURITY_DESCRIPTOR_RELATIVE DESCRIPTOR = {SECURITY_DESCRIPTOR_REVISION, 0, SE_SELF_RELATIVE, 0, 0, 0, 0};
constexpr FILETIME TIME = {6, 30000000};
WIN32_FILE_ATTRIBUTE_DATA const DATA = {FILE_ATTRIBUTE_HIDDEN, TIME, TIME, TIME, 0, 0};

// The machine's volume C is the real drive on which the test's file lies.
class ICPathApply : public PathModelTest
{
protected:
    ICPathApply() { m_machine.mf_add(3, L"C"); }

    void mf_applyData() const { mf_getPath().mf_applyW32FileAttributes(DATA); }
    void mf_applyDescriptor() const { mf_getPath().mf_applySecurityDescriptor(mf_getDescriptor()); }

    ICPath mf_getPath() const { return ICPath(m_file.mf_getPath().c_str(), 1); }
    ICBuffer mf_getDescriptor() const { return ICBuffer(&DESCRIPTOR, sizeof DESCRIPTOR, 1); }

    // The failure's line, "@" being the file, stands last.
    void mf_expectFailing(char const * import, ICErrnoValue const & constant, char const * tag, char const * text,
                          void (ICPathApply::*apply)() const) const
    {
        ICImportFault const fault(import, DENIED);
        ICTracedAction const result = m_process.mf_run([&] { (this->*apply)(); });
        EXPECT_EQ(DENIED, result.m_originatorErrno);
        ASSERT_THAT(result.m_records, Not(IsEmpty()));
        EXPECT_THAT(result.m_records.back(),
                    f_isRecord('E', tag, f_logged(f_at(text, m_file.mf_getPath().c_str()), constant, DENIED)));
    }

    ICOwnTokenEnds const m_tokenEnds;
    ICTemporaryFile const m_file{"bytes"};
};

} // namespace

TEST_F(ICPathApply, FileAttributes_AreSetInTheNTFSForm)
{
    ICFileCalls const calls;
    mf_applyData();
    std::wstring const path = f_longPath(m_file.mf_getPath());
    EXPECT_THAT(calls.mf_getBelow(m_file.mf_getPath()),
                ElementsAre(ICFileCall{"CreateFileW", path, {0x100, 0, 3, 0x2200000}},
                            ICFileCall{"SetFileAttributesW", path, {FILE_ATTRIBUTE_HIDDEN}}));
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    ::GetFileAttributesExW(m_file.mf_getPath().c_str(), GetFileExInfoStandard, &data);
    EXPECT_EQ(TIME.dwHighDateTime, data.ftLastWriteTime.dwHighDateTime);
    EXPECT_TRUE(data.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN);
}

TEST_F(ICPathApply, FileAttributes_Refused_TellTheFile)
{
    // Deliberate: not the operation's own name.
    mf_expectFailing("SetFileTime", ICErrno::_E_::FileAccess, "ICPath::mf_applyW32Attribute",
                     "Failure setting file attributes/times for file '@':\n", &ICPathApply::mf_applyData);
    mf_expectFailing("SetFileAttributesW", ICErrno::_E_::FileAccess, "ICPath::mf_applyW32Attribute",
                     "Failure setting file attributes/times for file '@':\n", &ICPathApply::mf_applyData);
}

TEST_F(ICPathApply, SecurityDescriptor_IsSetInTheNTFSForm)
{
    ICImportPatch const set(IC_IMPORT(SetFileSecurityW), [](auto...) { return TRUE; });
    ICFileCalls const calls;
    mf_applyDescriptor();
    EXPECT_THAT(calls.mf_getBelow(m_file.mf_getPath()),
                ElementsAre(ICFileCall{"SetFileSecurityW", f_longPath(m_file.mf_getPath()), {7}}));
}

TEST_F(ICPathApply, SecurityDescriptor_Refused_TellsTheFile)
{
    mf_expectFailing("SetFileSecurityW", ICErrno::_E_::Security, "ICPath::mf_applySecurityDescriptor",
                     "Failure setting security descriptor for '@':\n", &ICPathApply::mf_applyDescriptor);
}

TEST_F(ICPathApply, SecurityDescriptor_WithoutBytes_IsRefusedByAnotherName)
{
    EXPECT_THAT(m_process.mf_run([&] { mf_getPath().mf_applySecurityDescriptor(ICBuffer()); }),
                f_fails(ICErrno::_E_::Initialization, 'E', "ICPath::mf_applySecurityDescriptor",
                        "Security descriptor buffer not initialized"));
}

// A path of another machine has no NTFS form.
TEST_F(ICPathApply, RemotePath_IsReachedByItsShare)
{
    ICImportFault const noFile("CreateFileW", ERROR_BAD_NETPATH);
    ICImportFault const noSecurity("SetFileSecurityW", ERROR_BAD_NETPATH);
    ICFileCalls const calls;
    ICPath const path(L"\\\\srv\\share\\x", 1);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileOpen, [&] { path.mf_applyW32FileAttributes(DATA); }, ERROR_BAD_NETPATH));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Security, [&] { path.mf_applySecurityDescriptor(mf_getDescriptor()); }, ERROR_BAD_NETPATH));
    EXPECT_EQ(2u, calls.mf_getBelow(L"\\\\SRV\\SHARE\\x").size());
}

TEST_F(ICPathApply, PathWithoutServer_FailsAheadOfAnyStep)
{
    ICPath path;
    path.mf_initialize(CString(), CString(L"D:"), CString(L"\\a\\"), CString(L"f"));
    ICFileCalls const calls;
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { path.mf_applyW32FileAttributes(DATA); }));
    path.mf_reset();
    path.mf_initialize(CString(), CString(L"D:"), CString(L"\\a\\"), CString(L"f"));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { path.mf_applySecurityDescriptor(mf_getDescriptor()); }));
    EXPECT_THAT(calls.mf_getBelow(L"D:\\a"), IsEmpty());
}
