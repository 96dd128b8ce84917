// The lines of removing directories, and of checks ahead, as a log shows them.
#include <exception>

#include "tests/paths/ICPathOperationTrace.h"
#include "tests/support/ICImportPatch.h"

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Nothing is there, and nothing gets there.
constexpr wchar_t NONE[] = L"Q:\\none";

class ICPathDirectoriesTrace : public ICPathOperationTrace
{
protected:
    void mf_removeTree() const { ICPath::mf_rmdirs(mf_in(L"a")); }

    // A step of removing the tree "a" fails.
    void mf_expectTree(char const * import, ulong call, ICErrnoValue const & constant, std::string const & text) const
    {
        mf_expectFailing(
            import, DENIED, ICCalls::mf_only(call), [&] { mf_removeTree(); }, constant, "ICPath::mf_rmdirs", text);
    }

    // The check whether something is there throws none of our failures by itself, so the memory for its warning has to.
    void mf_expectFailingCheck(void (*action)(), std::string const & tag, std::string const & text) const
    {
        ICImportFault const denied("GetFileAttributesW", DENIED);
        bool isDue = true;
        ICImportPatch const memory("realloc", [&](void * block, std::size_t size) -> void * {
            if (isDue && std::current_exception()) {
                isDue = false;
                throw ICErrno(ICErrno::_E_::Memory);
            }
            return ::realloc(block, size);
        });
        EXPECT_THAT(m_process.mf_run(action), f_failsShowing(ICErrno::_E_::Memory, tag, text));
    }
};

} // namespace

TEST_F(ICPathDirectoriesTrace, CheckThatFails_IsTold)
{
    mf_expectFailingCheck([] { ICPath::mf_mkdir(NONE); }, "ICPath::mf_mkdir",
                          "Failure checking existence of 'Q:\\none'\n");
    mf_expectFailingCheck([] { ICPath::mf_rmdir(NONE); }, "ICPath::mf_rmdir",
                          "Failure checking whether 'Q:\\none' exists\n");
}

TEST_F(ICPathDirectoriesTrace, Rmdir_WhatIsNotThere_IsAWarning)
{
    EXPECT_THAT(m_process.mf_trace([] { ICPath::mf_rmdir(NONE); }),
                testing::ElementsAre(f_isRecord('W', "ICPath::mf_rmdir", "Path 'Q:\\none' does not exist")));
}

TEST_F(ICPathDirectoriesTrace, Rmdir_Refused)
{
    mf_expectFailing(
        "RemoveDirectoryW", DENIED, ICCalls::mf_all(), [&] { ICPath::mf_rmdir(mf_getDirectory()); },
        ICErrno::_E_::FileOpen, "ICPath::mf_rmdir", "Failure deleting directory '@':\n");
}

TEST_F(ICPathDirectoriesTrace, Rmdirs_TellsTheStep)
{
    m_directory.mf_makeFile(L"a\\f");
    mf_expectTree("GetFileAttributesW", 1, ICErrno::_E_::FileAccess, "Error checking whether '@\\a' is a directory\n");
    mf_expectTree("GetFileAttributesW", 2, ICErrno::_E_::FileAccess, "Failure listing contents of directory '@\\a'\n");
    mf_expectTree("GetFileAttributesW", 3, ICErrno::_E_::FileAccess,
                  "Failure checking whether '@\\a\\f' is a directory\n");
    mf_expectTree("GetFileAttributesW", 4, ICErrno::_E_::FileAccess, "Failure checking whether '@\\a\\f' is a file\n");
    mf_expectTree("DeleteFileW", 1, ICErrno::_E_::FileAccess, "Failure removing file '@\\a\\f'\n");
    mf_expectTree("RemoveDirectoryW", 1, ICErrno::_E_::FileOpen, "Failure removing directory '@\\a'\n");
}

TEST_F(ICPathDirectoriesTrace, Rmdirs_FailureBelow_TellsBothPaths)
{
    m_directory.mf_makeDirectory(L"a\\b");
    mf_expectTree("RemoveDirectoryW", 1, ICErrno::_E_::FileOpen,
                  "Failure in recursive call to mf_rmdirs\nroot path: '@\\a'\nsub path: '@\\a\\b'\n");
}

TEST_F(ICPathDirectoriesTrace, Rmdirs_OfAFile_IsRefused)
{
    m_directory.mf_makeFile(L"a");
    EXPECT_THAT(m_process.mf_run([&] { mf_removeTree(); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICPath::mf_rmdirs", mf_at("The path '@\\a' is not a directory")));
}

TEST_F(ICPathDirectoriesTrace, Rmdirs_TellsEachEntry)
{
    m_directory.mf_makeFile(L"a\\f");
    auto const records = m_process.mf_trace([&] { mf_removeTree(); });
    for (char const * name : {".", "..", "f"})
        EXPECT_THAT(records, mf_hasLine('D', "ICPath::mf_rmdirs", "aList[i] = '" + std::string(name) + "'"));
}
