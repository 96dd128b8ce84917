// The lines of attributes, entries, times and security, as a log shows them.
#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/paths/ICPath.h"
#include "tests/paths/ICFailingFindClose.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedPlace.h"
#include "tests/system/PrivilegeState.h"

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;
constexpr ulong BROKEN = ERROR_IO_DEVICE;
constexpr SECURITY_DESCRIPTOR_RELATIVE DESCRIPTOR = {SECURITY_DESCRIPTOR_REVISION, 0, SE_SELF_RELATIVE, 0, 0, 0, 0};

// The user's language is not that of the log.
class ICPathChangesTrace : public testing::Test
{
protected:
    // An error line with the text, "@" being the file, that shows the failure.
    testing::Matcher<ICTraceRecord const &> mf_isLine(std::string const & function, std::string const & text,
                                                      ICErrnoValue const & constant, ulong error) const
    {
        return f_isRecord('E', "ICPath::" + function, f_logged(f_at(text, m_path), constant, error));
    }

    // One call of the platform fails, from which the lines follow.
    template<class ACTION>
    ICTracedAction mf_runFailing(char const * import, ulong error, ACTION action,
                                 ICCalls const & calls = ICCalls::mf_all()) const
    {
        ICImportFault const fault(import, error, calls);
        return m_process.mf_run(action);
    }

    static testing::Matcher<ICTracedAction const &>
    mf_hasRecords(testing::Matcher<std::vector<ICTraceRecord> const &> const & records)
    {
        return testing::Field("records", &ICTracedAction::m_records, records);
    }

    void mf_getTimes() const
    {
        FILETIME time;
        ICPath::mf_getTimes(m_path, time, time, time);
    }
    void mf_setTimes() const { ICPath::mf_setTimes(m_path, TIME, TIME, TIME); }
    void mf_restore() const { ICPath::mf_setW32FileAttributes(m_path, {1, TIME, TIME, TIME, 0, 0}); }
    void mf_secure() const { ICPath::mf_setSecurityDescriptor(m_path, ICBuffer(&DESCRIPTOR, sizeof DESCRIPTOR, 0)); }

    static constexpr FILETIME TIME = {6, 30000000};
    ICOwnTokenEnds const m_tokenEnds;
    ICTracedProcess const m_process{L"German"};
    ICTemporaryDirectory const m_directory;
    CString const m_path = m_directory.mf_makeFile(L"f").c_str();
};

} // namespace

TEST_F(ICPathChangesTrace, AddAttributes_Refused)
{
    auto const add = [&] { ICPath::mf_addAttributes(m_path, 0x1021); };
    EXPECT_THAT(mf_runFailing("GetFileAttributesW", DENIED, add),
                f_failsShowing(ICErrno::_E_::FileAccess, DENIED, "ICPath::mf_addAttributes",
                               f_at("Failure getting file attributes for '@': ", m_path)));
    std::string const text = f_at("Failure setting file attributes for '@': ", m_path);
    EXPECT_THAT(
        mf_runFailing("SetFileAttributesW", DENIED, add),
        f_fails(ICErrno::_E_::FileAccess, DENIED, 'E', "ICPath::mf_addAttributes",
                f_logged(text, ICErrno::_E_::FileAccess, DENIED) + "\nIgnored, attribute(s) 0x00001021 not set"));
}

TEST_F(ICPathChangesTrace, RemoveAttributes_OfAMissingFile_TellsBothSteps)
{
    CString const path = m_path + L"-none";
    std::string const failed = f_logged(f_at("Failure getting file attributes for '@': ", path),
                                        ICErrno::_E_::FileAccess, ERROR_FILE_NOT_FOUND);
    ICTracedAction const result = m_process.mf_run([&] { ICPath::mf_removeAttributes(path, FILE_ATTRIBUTE_HIDDEN); });
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, result.m_originatorErrno);
    EXPECT_THAT(result.m_records,
                ElementsAre(f_isRecord('E', "ICPath::mf_removeAttributes",
                                       failed + "\nIgnored, assuming no attributes (0x00000000)"),
                            f_isRecord('E', "ICPath::mf_removeAttributes",
                                       failed + "\nIgnored, FILE_ATTRIBUTE_SPARSE_FILE and FILE_ATTRIBUTE_OFFLINE "
                                                "not set")));
}

TEST_F(ICPathChangesTrace, RemoveAttributes_ThatCannotBeReadOnly_IsNoFailure)
{
    ICTracedAction const result = mf_runFailing("GetFileAttributesW", DENIED,
                                                [&] { ICPath::mf_removeAttributes(m_path, FILE_ATTRIBUTE_HIDDEN); });
    EXPECT_FALSE(result.m_failure);
    EXPECT_EQ(1u, result.m_records.size());
}

TEST_F(ICPathChangesTrace, FindData_OfNoPath_IsRefused)
{
    WIN32_FIND_DATAW data;
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_getW32FindData(L"", data); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_getW32FindData", "Empty path"));
}

TEST_F(ICPathChangesTrace, FindData_ThatIsNotFound_IsAWarning)
{
    WIN32_FIND_DATAW data;
    auto const find = [&] { ICPath::mf_getW32FindData(m_path, data); };
    auto const warns = [&](ICErrnoValue const & constant, ulong error) {
        return f_fails(constant, error, 'W', "ICPath::mf_getW32FindData",
                       f_logged(f_at("Failure searching file '@':\n", m_path), constant, error));
    };
    EXPECT_THAT(mf_runFailing("FindFirstFileExW", DENIED, find), warns(ICErrno::_E_::FileAccess, DENIED));
    EXPECT_THAT(mf_runFailing("FindFirstFileExW", ERROR_INVALID_NAME, find),
                warns(ICErrno::_E_::FileNotFound, ERROR_INVALID_NAME));
}

TEST_F(ICPathChangesTrace, FindData_ThatDoesNotClose_NamesTheGlobber)
{
    ICFailingFindClose const failing(BROKEN);
    WIN32_FIND_DATAW data;
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_getW32FindData(m_path, data); }),
                f_failsShowing(ICErrno::_E_::System, BROKEN, "ICPath::mf_getW32FindData",
                               f_at("Failure closing FindFile handle for globber '@':\n", m_path)));
}

TEST_F(ICPathChangesTrace, CompressedSize_Refused)
{
    EXPECT_THAT(mf_runFailing("GetCompressedFileSizeW", DENIED, [&] { ICPath::mf_getCompressedSize(m_path); }),
                f_failsShowing(ICErrno::_E_::FileAccess, DENIED, "ICPath::mf_getCompressedSize",
                               f_at("Failure querying compressed file size for file '@':\n", m_path)));
}

TEST_F(ICPathChangesTrace, GetTimes_EachStepThatFails)
{
    auto const get = [&] { mf_getTimes(); };
    auto const line = [&](std::string const & text, ICErrnoValue const & constant, ulong error) {
        return mf_isLine("mf_getTimes::2", text, constant, error);
    };
    EXPECT_THAT(mf_runFailing("CreateFileW", DENIED, get),
                mf_hasRecords(ElementsAre(line("CreateFile '@' failed:\n", ICErrno::_E_::FileOpen, DENIED))));

    ICFailingClose const failing(BROKEN);
    EXPECT_THAT(m_process.mf_run(get),
                mf_hasRecords(ElementsAre(line("CloseHandle '@' failed:\n", ICErrno::_E_::FileClose, BROKEN))));
    EXPECT_THAT(
        mf_runFailing("GetFileTime", DENIED, get),
        mf_hasRecords(ElementsAre(mf_isLine("mf_getTimes::1", "GetFileTime failed: ", ICErrno::_E_::FileAccess, DENIED),
                                  line("Failure getting file times for '@':\n", ICErrno::_E_::FileAccess, DENIED),
                                  line("CloseHandle '@' failed:\n", ICErrno::_E_::FileClose, BROKEN))));
}

TEST_F(ICPathChangesTrace, SetTimes_EachStepThatFails)
{
    auto const set = [&] { mf_setTimes(); };
    auto const line = [&](std::string const & text, ICErrnoValue const & constant, ulong error) {
        return mf_isLine("mf_setTimes::2", text, constant, error);
    };
    EXPECT_THAT(mf_runFailing("CreateFileW", DENIED, set),
                mf_hasRecords(ElementsAre(line("CreateFile '@' failed:\n", ICErrno::_E_::FileOpen, DENIED))));
    EXPECT_THAT(mf_runFailing("SetFileTime", DENIED, set),
                mf_hasRecords(
                    ElementsAre(mf_isLine("mf_setTimes::1", "SetFileTime failed:\n", ICErrno::_E_::FileAccess, DENIED),
                                line("Failure setting file times for '@':\n", ICErrno::_E_::FileAccess, DENIED))));
    ICFailingClose const failing(BROKEN);
    EXPECT_THAT(m_process.mf_run(set),
                mf_hasRecords(Contains(line("CloseHandle '@' failed:\n", ICErrno::_E_::FileClose, BROKEN))));
}

// The privileges leave their own lines.
TEST_F(ICPathChangesTrace, SetTimes_WithoutPrivileges_AddsNoLine)
{
    auto const set = [&] { mf_setTimes(); };
    ICTracedAction const result = mf_runFailing("AdjustTokenPrivileges", DENIED, set, ICCalls::mf_only(1));
    EXPECT_EQ(DENIED, result.m_originatorErrno);
    EXPECT_THAT(result.m_records, Not(IsEmpty()));
    for (ICTraceRecord const & record : result.m_records)
        EXPECT_EQ(0u, record.m_tag.find("ICSystem::")) << record;
}

TEST_F(ICPathChangesTrace, SetW32FileAttributes_TellsTheFile_BehindTheStep)
{
    auto const restore = [&] { mf_restore(); };
    std::string const text = "Failure setting file attributes/times for file '@':\n";
    for (char const * const import : {"SetFileTime", "SetFileAttributesW"}) {
        ICTracedAction const result = mf_runFailing(import, DENIED, restore);
        EXPECT_EQ(DENIED, result.m_originatorErrno);
        ASSERT_FALSE(result.m_records.empty());
        EXPECT_THAT(result.m_records.back(),
                    mf_isLine("mf_setW32FileAttributes", text, ICErrno::_E_::FileAccess, DENIED));
    }
    EXPECT_THAT(mf_runFailing("SetFileAttributesW", ERROR_PATH_NOT_FOUND, restore),
                f_failsShowing(ICErrno::_E_::FileNotFound, ERROR_PATH_NOT_FOUND, "ICPath::mf_setW32FileAttributes",
                               f_at(text, m_path)));
}

TEST_F(ICPathChangesTrace, SecurityDescriptor_WithoutPathOrBytes_IsRefused)
{
    auto const isRefused = [](char const * text) {
        return f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_setSecurityDescriptor", text);
    };
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_setSecurityDescriptor(L"", ICBuffer()); }),
                isRefused("Path is empty"));
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_setSecurityDescriptor(m_path, ICBuffer()); }),
                isRefused("Security descriptor not initialized"));
}

TEST_F(ICPathChangesTrace, SecurityDescriptor_Refused)
{
    EXPECT_THAT(mf_runFailing("SetFileSecurityW", DENIED, [&] { mf_secure(); }),
                AllOf(f_failsShowing(ICErrno::_E_::Security, DENIED, "ICPath::mf_setSecurityDescriptor",
                                     f_at("Failure committing security descriptor to file '@':\n", m_path)),
                      mf_hasRecords(testing::SizeIs(1))));
}

// Deliberate: an indent without a line break ahead.
TEST_F(ICPathChangesTrace, SecurityDescriptor_WithoutPrivileges)
{
    ICImportPatch const set(IC_IMPORT(SetFileSecurityW), [](auto...) { return TRUE; });
    auto const secure = [&] { mf_secure(); };
    auto const shows = [&](char const * text) {
        return f_failsShowing(ICErrno::_E_::Security, DENIED, "ICPath::mf_setSecurityDescriptor",
                              f_at(text, m_path) + "    ");
    };
    EXPECT_THAT(mf_runFailing("AdjustTokenPrivileges", DENIED, secure, ICCalls::mf_only(1)),
                shows("Failure enabling security privileges for '@':"));
    EXPECT_THAT(mf_runFailing("AdjustTokenPrivileges", DENIED, secure, ICCalls::mf_only(3)),
                shows("Failure disabling security privileges for '@':"));
}

TEST_F(ICPathChangesTrace, SecurityDescriptor_OfUnknownParts_IsSetAllTheSame)
{
    ICImportPatch const set(IC_IMPORT(SetFileSecurityW), [](auto...) { return TRUE; });
    ICTracedAction const result =
        mf_runFailing("GetSecurityDescriptorControl", ERROR_INVALID_SECURITY_DESCR, [&] { mf_secure(); });
    EXPECT_FALSE(result.m_failure);
    std::string const text = f_logged("Failure extracting control information from security descriptor:\n",
                                      ICErrno::_E_::Security, ERROR_INVALID_SECURITY_DESCR);
    EXPECT_THAT(result.m_records,
                ElementsAre(f_isRecord('E', "ICPath::mf_setSecurityDescriptor",
                                       text + f_at("\nConcerned file: '@', assuming security shall be set", m_path))));
}
