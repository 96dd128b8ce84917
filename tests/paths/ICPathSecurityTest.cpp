// Security descriptors of files.
#include <gmock/gmock.h>

#include <aclapi.h>
#include <sddl.h>

#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/paths/ICPath.h"
#include "tests/paths/PrivilegedSteps.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr ulong BROKEN = ERROR_IO_DEVICE;

// The text form of a part of a file's own descriptor.
std::wstring f_descriptorOf(std::wstring const & path, SECURITY_INFORMATION parts)
{
    std::vector<unsigned char> bytes(4096);
    ulong size = 0;
    ::GetFileSecurityW(path.c_str(), parts, bytes.data(), static_cast<ulong>(bytes.size()), &size);
    wchar_t * text = nullptr;
    ::ConvertSecurityDescriptorToStringSecurityDescriptorW(bytes.data(), SDDL_REVISION_1, parts, &text, nullptr);
    std::wstring const answer = text ? text : L"";
    ::LocalFree(text);
    return answer;
}

ICBuffer f_descriptorFrom(std::wstring const & text)
{
    void * descriptor = nullptr;
    ulong size = 0;
    ::ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &descriptor, &size);
    ICBuffer const buffer(descriptor, size, 1);
    ::LocalFree(descriptor);
    return buffer;
}

class ICPathSecurity : public testing::Test
{
protected:
    void mf_set(ICBuffer const & descriptor) const
    {
        ICPath::mf_setSecurityDescriptor(CString(m_file.mf_getPath().c_str()), descriptor);
    }
    void mf_set() const { mf_set(m_plain); }

    std::wstring mf_getAccess() const { return f_descriptorOf(m_file.mf_getPath(), DACL_SECURITY_INFORMATION); }

    ICTemporaryFile const m_file{"bytes"};
    std::wstring const m_owner =
        f_descriptorOf(m_file.mf_getPath(), OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION);
    ICBuffer const m_plain = f_descriptorFrom(m_owner + L"D:(A;;FR;;;WD)");
    ICBuffer const m_audited = f_descriptorFrom(m_owner + L"D:(A;;FR;;;WD)S:(AU;SAFA;FA;;;WD)");
    ICPrivilegedSteps m_steps;
};

} // namespace

TEST_F(ICPathSecurity, AccessList_IsThatOfTheDescriptor)
{
    ICTemporaryFile const other("bytes");
    std::wstring const before = mf_getAccess();
    mf_set();
    EXPECT_NE(before, mf_getAccess());

    std::wstring const all = f_descriptorOf(
        other.mf_getPath(), OWNER_SECURITY_INFORMATION | GROUP_SECURITY_INFORMATION | DACL_SECURITY_INFORMATION);
    mf_set(f_descriptorFrom(all));
    EXPECT_EQ(before, mf_getAccess());
}

TEST_F(ICPathSecurity, AuditList_IsSetIfThereIsOne_OrIfNobodyKnows)
{
    ulong asked = 0;
    bool isOn = false;
    void * given = nullptr;
    ICImportPatch const set(IC_IMPORT(SetFileSecurityW),
                            [&](LPCWSTR, SECURITY_INFORMATION parts, PSECURITY_DESCRIPTOR descriptor) {
                                asked = parts, given = descriptor;
                                isOn = f_hasPrivilege(L"SeSecurityPrivilege").value_or(false) &&
                                       f_hasPrivilege(L"SeRestorePrivilege").value_or(false);
                                return TRUE;
                            });
    auto const expectAsked = [&](ulong expected, ICBuffer const & descriptor) {
        isOn = false;
        mf_set(descriptor);
        EXPECT_EQ(expected, asked);
        EXPECT_EQ(descriptor.mf_getData(), given);
        EXPECT_TRUE(isOn);
        EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
    };
    expectAsked(7, m_plain);
    expectAsked(15, m_audited);
    ICImportFault const unknown("GetSecurityDescriptorControl", ERROR_INVALID_SECURITY_DESCR);
    expectAsked(15, m_plain);
}

TEST_F(ICPathSecurity, GoesStepByStep)
{
    mf_set();
    EXPECT_THAT(m_steps.mf_get(), ElementsAre("+SeRestorePrivilege", "+SeSecurityPrivilege", "SetFileSecurityW",
                                              "-SeRestorePrivilege", "-SeSecurityPrivilege"));
}

TEST_F(ICPathSecurity, NothingGiven_IsRefused_WithoutAnyStep)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICPath::mf_setSecurityDescriptor(CString(), m_plain); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { mf_set(ICBuffer()); }));
    EXPECT_TRUE(m_steps.mf_get().empty());
}

TEST_F(ICPathSecurity, Refused_SwitchesThePrivilegesOff)
{
    std::wstring const before = mf_getAccess();
    for (ulong const error : {DENIED, ulong{ERROR_FILE_NOT_FOUND}, ulong{ERROR_INVALID_SECURITY_DESCR}}) {
        SCOPED_TRACE(error);
        m_steps.mf_clear();
        ICImportFault const fault("SetFileSecurityW", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Security, [&] { mf_set(); }, error));
        EXPECT_THAT(m_steps.mf_get(), ElementsAre("+SeRestorePrivilege", "+SeSecurityPrivilege", "-SeRestorePrivilege",
                                                  "-SeSecurityPrivilege"));
        EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
    }
    EXPECT_EQ(before, mf_getAccess());
}

TEST_F(ICPathSecurity, MissingFile_KeepsSystemNumber)
{
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Security,
        [&] { ICPath::mf_setSecurityDescriptor(CString(m_file.mf_getPath().c_str()) + L"-none", m_plain); },
        ERROR_FILE_NOT_FOUND));
}

TEST_F(ICPathSecurity, SwitchThatFails_IsThrown)
{
    struct CASE
    {
        ulong number; // of the switch that fails
        std::vector<std::string> steps;
    };
    CASE const cases[] = {
        {1, {"-SeRestorePrivilege", "-SeSecurityPrivilege"}},
        {2, {"+SeRestorePrivilege", "-SeRestorePrivilege", "-SeSecurityPrivilege"}},
        // The second of the two rights is left alone if the first can't be switched.
        {3, {"+SeRestorePrivilege", "+SeSecurityPrivilege", "SetFileSecurityW"}},
        {4, {"+SeRestorePrivilege", "+SeSecurityPrivilege", "SetFileSecurityW", "-SeRestorePrivilege"}}};

    for (char const * const function : {"OpenThreadToken", "LookupPrivilegeValueW", "AdjustTokenPrivileges"})
        for (CASE const & testCase : cases) {
            SCOPED_TRACE(function + std::string(" ") + std::to_string(testCase.number));
            m_steps.mf_clear();
            ICImportFault const fault(function, BROKEN, ICCalls::mf_only(testCase.number));
            EXPECT_TRUE(f_throws(
                ICErrno::_E_::Security, [&] { mf_set(); }, BROKEN));
            EXPECT_EQ(testCase.steps, m_steps.mf_get());
        }
}

TEST_F(ICPathSecurity, OfSeveralFailures_TheFirstIsThrown)
{
    {
        ICImportFault const later("AdjustTokenPrivileges", DENIED);
        ICImportFault const first("AdjustTokenPrivileges", BROKEN, ICCalls::mf_only(1));
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Security, [&] { mf_set(); }, BROKEN));
    }
    ICImportFault const later("AdjustTokenPrivileges", DENIED, ICCalls::mf_from(3));
    ICImportFault const first("SetFileSecurityW", BROKEN);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Security, [&] { mf_set(); }, BROKEN));
}

TEST_F(ICPathSecurity, TokensThatDoNotClose_AreNoFailure)
{
    ICFailingClose const failing(BROKEN);
    EXPECT_NO_THROW(mf_set());
    EXPECT_EQ(4u, failing.mf_getCalls());
}

TEST_F(ICPathSecurity, ForeignException_SwitchesThePrivilegesOff)
{
    ICImportPatch const foreign(IC_IMPORT(SetFileSecurityW),
                                [](auto...) -> BOOL { throw std::length_error("foreign"); });
    EXPECT_THROW(mf_set(), std::length_error);
    EXPECT_TRUE(ICPrivilegedSteps::mf_areAllOff());
}
