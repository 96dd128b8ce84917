// The lines of process facts, as a log shows them.
#include "hsmbase/system/ICProcessInfo.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedFailure.h"
#include "tests/system/ICProcessList.h"
#include "tests/system/PrivilegeState.h"

using testing::AllOf;
using testing::Contains;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Nothing has been found out yet.
class ICProcessInfoTrace : public testing::Test
{
protected:
    void SetUp() override
    {
        ICProcessInfo::m_sName.Empty();
        ICProcessInfo::m_sUserName.Empty();
        ICProcessInfo::m_ulKernelId = 0;
    }
    void TearDown() override { ICProcessInfo::m_ulKernelId = 0; }

    static testing::Matcher<ICTracedAction const &> mf_isDenied(std::string const & function, std::string const & text)
    {
        return f_failsShowing(ICErrno::_E_::System, DENIED, "ICProcessInfo::" + function, text);
    }

    // A line beside the failure that is thrown, showing a failure of its own.
    static testing::Matcher<ICTracedAction const &> mf_shows(std::string const & function, std::string const & text,
                                                             ICErrno const & shown)
    {
        return testing::Field(&ICTracedAction::m_records,
                              Contains(f_isRecord('E', "ICProcessInfo::" + function, f_logged(text, shown))));
    }

    ICTracedAction mf_findKernel() const
    {
        return m_process.mf_run([] { ICProcessInfo::mf_getKernelId(); });
    }
    ICTracedAction mf_nameImage() const
    {
        return m_process.mf_run([] { ICProcessInfo::mf_getImageName(::GetCurrentProcessId()); });
    }

    ICTracedProcess const m_process;
    ICOwnTokenEnds const m_end;
    std::string const m_id = std::to_string(::GetCurrentProcessId());
};

constexpr char FIND_KERNEL[] = "mf_implGetKernelId";
constexpr char NAME_IMAGE[] = "mf_getName::2";

} // namespace

TEST_F(ICProcessInfoTrace, NoInstance_IsToldUnderEachName)
{
    ICProcessInfo * const instance = std::exchange(ICProcessInfo::m_pThis, nullptr);
    auto const fails = [](std::string const & function) {
        return f_fails(ICErrno::_E_::Initialization, 'E', "ICProcessInfo::" + function,
                       "No process info singleton instance");
    };
    EXPECT_THAT(m_process.mf_run([] { ICProcessInfo::mf_getName(); }), fails("mf_getName"));
    EXPECT_THAT(m_process.mf_run([] { ICProcessInfo::mf_getUserName(); }), fails("mf_getUserName"));
    EXPECT_THAT(mf_findKernel(), fails("mf_getKernelId"));
    ICProcessInfo::m_pThis = instance;
}

TEST_F(ICProcessInfoTrace, NamesThatCannotBeHad)
{
    ICImportFault const noName("GetModuleFileNameW", DENIED);
    EXPECT_THAT(m_process.mf_run([] { ICProcessInfo::mf_getName(); }),
                AllOf(mf_isDenied("mf_implGetName", "Failure getting process name: "),
                      mf_isDenied("mf_getName", "Failure querying this process name: ")));
    ICImportFault const noUser("GetUserNameW", DENIED);
    EXPECT_THAT(
        m_process.mf_run([] { ICProcessInfo::mf_getUserName(); }),
        AllOf(f_fails(ICErrno::_E_::System, DENIED, 'E', "ICProcessInfo::mf_implGetUserName",
                      f_logged("Failure querying current process user name:\n", ICErrno::_E_::System, DENIED) + "\n"),
              mf_isDenied("mf_getUserName", "Failure querying process user name: ")));
}

TEST_F(ICProcessInfoTrace, DirectoryThatCannotBeHad)
{
    auto const get = [] { ICProcessInfo::mf_getDirectory(); };
    {
        ICImportFault const refused("GetCurrentDirectoryW", DENIED);
        EXPECT_THAT(m_process.mf_run(get),
                    mf_isDenied("mf_getDirectory", "Failure requesting current process directory: "));
    }
    ICImportFault const tooLong("GetCurrentDirectoryW", ICAnswer::mf_value(300));
    EXPECT_THAT(m_process.mf_run(get),
                f_fails(ICErrno::_E_::BufferTooSmall, 'E', "ICProcessInfo::mf_getDirectory",
                        "Buffer too small to keep current directory (259 chars, 300 chars needed)"));
}

TEST_F(ICProcessInfoTrace, Kernel_IsAnInformation)
{
    ICProcessList const list({{0, L"[System Process]"}, {4, L"System"}});
    ICTracedAction const outcome = mf_findKernel();
    EXPECT_FALSE(outcome.m_failure);
    EXPECT_THAT(outcome.m_records,
                Contains(f_isRecord('I', "ICProcessInfo::mf_implGetKernelId", "Windows kernel process id: 4")));
}

TEST_F(ICProcessInfoTrace, Kernel_NotInTheList)
{
    ICProcessList const list({{4, L"system"}});
    EXPECT_THAT(mf_findKernel(), AllOf(f_fails(ICErrno::_E_::ProcessNotFound, 'E', "ICProcessInfo::mf_implGetKernelId",
                                               "System kernel process id not found (searched name: 'System')"),
                                       f_failsShowing(ICErrno::_E_::ProcessNotFound, "ICProcessInfo::mf_getKernelId",
                                                      "Failure calculating kernel process id: ")));
}

TEST_F(ICProcessInfoTrace, Kernel_SnapshotThatCannotBeHadOrClosed)
{
    {
        ICImportFault const refused("CreateToolhelp32Snapshot", DENIED);
        EXPECT_THAT(mf_findKernel(), mf_shows(FIND_KERNEL, "Failure creating process snapshot list: ",
                                              ICErrno(ICErrno::_E_::System, DENIED)));
    }
    ICProcessList const list({{4, L"System"}});
    ICFailingClose const failing(DENIED);
    EXPECT_THAT(mf_findKernel(), f_failsShowing(ICErrno::_E_::CloseHandle, DENIED, "ICProcessInfo::mf_implGetKernelId",
                                                "Failure closing process snapshot handle: "));
}

TEST_F(ICProcessInfoTrace, Kernel_ListThatBreaksOff_TellsWhere)
{
    {
        ICProcessList const list({}, DENIED);
        EXPECT_THAT(mf_findKernel(), mf_shows(FIND_KERNEL, "Failure (1) enumerating process snapshot list: ",
                                              ICErrno(ICErrno::_E_::System, DENIED)));
    }
    ICProcessList const list({{0, L"Idle"}}, DENIED);
    EXPECT_THAT(mf_findKernel(), mf_shows(FIND_KERNEL, "Failure (2) enumerating process snapshot list: ",
                                          ICErrno(ICErrno::_E_::System, DENIED)));
}

TEST_F(ICProcessInfoTrace, Kernel_EntryWithoutImageName_TellsWhere)
{
    auto const noName = [](std::string const & where) {
        ICErrno const shown(ICErrno::_E_::ItemNotFound);
        return AllOf(
            testing::Field(
                &ICTracedAction::m_records,
                Contains(f_isRecord('E', "ICProcessInfo::mf_implGetProcessExeFile",
                                    "Process exe-file name is not included in the process entry structure"))),
            mf_shows("mf_implIsKernelProcess", "Failure extracting exe-file name from process entry structure:\n",
                     shown),
            mf_shows(FIND_KERNEL, "Failure (" + where + ") investigating kernel process entry structure: ", shown));
    };
    {
        ICProcessList const list({{4, L"System", 563}});
        EXPECT_THAT(mf_findKernel(), noName("1"));
    }
    ICProcessList const list({{0, L"Idle"}, {4, L"System", 563}});
    EXPECT_THAT(mf_findKernel(), noName("2"));
}

TEST_F(ICProcessInfoTrace, EntryWithoutId_IsRefused)
{
    PROCESSENTRY32W entry = {};
    EXPECT_THAT(m_process.mf_run([&] { ICProcessInfo::mf_implGetProcessId(entry); }),
                f_fails(ICErrno::_E_::ItemNotFound, 'E', "ICProcessInfo::mf_implGetProcessId",
                        "Process id is not included in the process entry structure"));
}

TEST_F(ICProcessInfoTrace, Image_IsADebugLine)
{
    EXPECT_THAT(mf_nameImage().m_records,
                Contains(f_isRecord('D', "ICProcessInfo::mf_getName::2",
                                    "Process image name for id=" + m_id + ": 'system_tests.exe'")));
}

TEST_F(ICProcessInfoTrace, Image_OfAProcessThatCannotBeAsked)
{
    {
        ICImportFault const refused("OpenProcess", DENIED);
        EXPECT_THAT(mf_nameImage(), mf_isDenied(NAME_IMAGE, "Failure opening process with id=" + m_id + ":\n"));
    }
    ICImportFault const refused("K32GetModuleBaseNameW", DENIED);
    EXPECT_THAT(mf_nameImage(), mf_isDenied(NAME_IMAGE, "Failure querying image name for process " + m_id + ":\n"));
}

TEST_F(ICProcessInfoTrace, Image_ProcessThatCannotBeClosed_IsAnErrorLineOnly)
{
    ICFailingClose const failing(DENIED);
    ICTracedAction const outcome = mf_nameImage();
    EXPECT_FALSE(outcome.m_failure);
    EXPECT_THAT(outcome, mf_shows(NAME_IMAGE, "Failure closing handle for process " + m_id + ": ",
                                  ICErrno(ICErrno::_E_::System, DENIED)));
}

TEST_F(ICProcessInfoTrace, Image_PrivilegeThatCannotBeHadOrReleased_IsAnErrorLineOnly)
{
    ICImportFault const refused("AdjustTokenPrivileges", DENIED);
    ICTracedAction const outcome = mf_nameImage();
    std::string const shown = f_logged("", ICErrno::_E_::Security, DENIED);
    EXPECT_FALSE(outcome.m_failure);
    EXPECT_THAT(outcome.m_records, AllOf(Contains(f_isRecord('E', "ICProcessInfo::mf_getName::2",
                                                             "Failure requesting debug privileges: " + shown +
                                                                 "\nTrying without privilege ...")),
                                         Contains(f_isRecord('E', "ICProcessInfo::mf_getName::2",
                                                             "Failure releasing debug privileges: " + shown + "\n"))));
}

TEST_F(ICProcessInfoTrace, AdministratorsThatCannotBeAskedFor)
{
    auto const ask = [] { ICProcessInfo::mf_isAdministrator(); };
    {
        ICImportFault const refused("AllocateAndInitializeSid", DENIED);
        EXPECT_THAT(m_process.mf_run(ask), mf_isDenied("mf_isAdministrator", "Failure creating administrative SID:\n"));
    }
    ICImportFault const refused("CheckTokenMembership", DENIED);
    EXPECT_THAT(m_process.mf_run(ask),
                mf_isDenied("mf_isAdministrator", "Failure checking administrative token membership:\n"));
}
