// The lines of system directories and new names, as a log shows them.
#include "tests/paths/ICPathOperationTrace.h"
#include "tests/support/ICImportPatch.h"

namespace
{

class ICPathNamesTrace : public ICPathOperationTrace
{
protected:
    static void mf_askCurrent() { ICPath::mf_getCurrentDirectory(); }
    static void mf_askTemporary() { ICPath::mf_getTempDirectory(); }
    static void mf_askTempPath() { ICPath::mf_getTempPath(L"hsm"); }

    // A step that asks the system for a directory fails.
    void mf_expectPath(char const * import, ulong call, void (*ask)(), std::string const & tag,
                       std::string const & text) const
    {
        mf_expectFailing(import, ERROR_ACCESS_DENIED, ICCalls::mf_only(call), ask, ICErrno::_E_::Path, "ICPath::" + tag,
                         text);
    }

    void mf_expectNoMemory(ulong allocation, void (*ask)(), std::string const & tag, std::string const & text) const
    {
        ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(allocation));
        EXPECT_THAT(m_process.mf_run(ask), f_fails(ICErrno::_E_::Memory, 'E', "ICPath::" + tag, text));
    }
};

} // namespace

TEST_F(ICPathNamesTrace, Directories_Refused_TellTheStep)
{
    mf_expectPath("GetCurrentDirectoryW", 1, &mf_askCurrent, "mf_getCurrentDirectory",
                  "Failure retrieving buffer size from GetCurrentDirectory\nerror: ");
    mf_expectPath("GetCurrentDirectoryW", 2, &mf_askCurrent, "mf_getCurrentDirectory",
                  "Windows GetCurrentDirectory() failed with error: ");
    mf_expectPath("GetTempPathW", 1, &mf_askTemporary, "mf_getTempDirectory",
                  "Failure while retrieving buffer size from Windows GetTempPath():\n");
    mf_expectPath("GetTempPathW", 2, &mf_askTemporary, "mf_getTempDirectory",
                  "Windows GetTempPath() failed with error: ");
}

TEST_F(ICPathNamesTrace, Directories_WithoutRoom_TellTheCharacters)
{
    auto const answer = [](DWORD length, LPWSTR) -> DWORD { return length == 0 ? 10 : 12; };
    ICImportPatch const current(IC_IMPORT(GetCurrentDirectoryW), answer);
    ICImportPatch const temporary(IC_IMPORT(GetTempPathW), answer);
    EXPECT_THAT(m_process.mf_run(&mf_askCurrent),
                f_fails(ICErrno::_E_::BufferTooSmall, 'E', "ICPath::mf_getCurrentDirectory",
                        "Buffer too small (10 chars, 12 chars) to hold current directory name"));
    EXPECT_THAT(m_process.mf_run(&mf_askTemporary),
                f_fails(ICErrno::_E_::BufferTooSmall, 'E', "ICPath::mf_getTempDirectory",
                        "Buffer too small to hold temp directory name (10 chars)\n12 chars required instead"));
    mf_expectNoMemory(1, &mf_askCurrent, "mf_getCurrentDirectory",
                      "Failure allocating memory for buffer of current directory name\nTCHARs to allocate: 10");
    mf_expectNoMemory(1, &mf_askTemporary, "mf_getTempDirectory",
                      "Failure allocating memory for buffer of temp directory name\nTCHARs to allocate: 10");
}

TEST_F(ICPathNamesTrace, TempPath_Refused_TellsTheStep)
{
    mf_expectPath("GetTempPathW", 1, &mf_askTempPath, "mf_getTempPath", "Failure retrieving temp directory\n");
    mf_expectPath("GetTempFileNameW", 1, &mf_askTempPath, "mf_getTempPath",
                  "Windows GetTempFileName() failed with error: ");
    ulong const characters = 4 + static_cast<ulong>(ICPath::mf_getTempDirectory().GetLength()) + 3 + 263;
    mf_expectNoMemory(2, &mf_askTempPath, "mf_getTempPath",
                      "Failure allocating " + std::to_string(2 * characters) + " bytes of memory");
}

TEST_F(ICPathNamesTrace, NewNames_AreTold)
{
    CString path;
    auto const aside = m_process.mf_trace([&] { path = ICPath::mf_getAsideTempPath(L"D:\\a\\b.txt"); });
    EXPECT_THAT(aside, testing::ElementsAre(f_isRecord('D', "ICPath::mf_getAsideTempPath",
                                                       f_at("Temporary aside file path name: '@'", path))));
    EXPECT_THAT(m_process.mf_trace([] { ICPath::mf_createNextFileName(L"a-41.log"); }),
                testing::ElementsAre(f_isRecord('D', "ICPath::mf_createNextFileName",
                                                "Created next file name: 'a-41.log' -> 'a-42.log'")));
}

TEST_F(ICPathNamesTrace, NextFileName_WithoutDot_IsAWarning)
{
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_createNextFileName(L"a-41"); }),
                f_fails(ICErrno::_E_::Parameter, 'W', "ICPath::mf_createNextFileName",
                        "No dot '.' found in file name 'a-41', cannot build next file name"));
}
