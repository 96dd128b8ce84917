// The lines of walks over a directory and of sorting, as a log shows them.
#include <stdexcept>

#include "tests/paths/ICFailingFindClose.h"
#include "tests/paths/ICPathOperationTrace.h"

using testing::AllOf;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

class ICPathListingTrace : public ICPathOperationTrace
{
protected:
    void mf_list(CString const & directory) const
    {
        ICArray<CString, CString &> names;
        ICPath::mf_listContent(directory, names);
    }
    void mf_listAll() const { mf_list(mf_getDirectory()); }
    void mf_removeMatches() const { ICPath::mf_rm(mf_getDirectory(), L"*.tmp", 0); }

    // A step of a listing fails.
    void mf_expectListing(char const * import, ulong call, ICErrnoValue const & constant,
                          std::string const & text) const
    {
        mf_expectFailing(
            import, DENIED, ICCalls::mf_only(call), [&] { mf_listAll(); }, constant, "ICUNCPath::mf_listContent", text);
    }
};

// Two texts, and an array of them.
struct TWO_TEXTS
{
    TWO_TEXTS()
    {
        array.Add(&b);
        array.Add(&a);
    }
    CString b{L"b"};
    CString a{L"a"};
    ICArray<CString *, CString *> array;
};

} // namespace

TEST_F(ICPathListingTrace, ListContent_TellsTheStep_UnderAnotherName)
{
    mf_expectListing("GetFileAttributesW", 1, ICErrno::_E_::FileAccess, "Error checking whether '@' is a directory\n");
    mf_expectListing("FindFirstFileW", 1, ICErrno::_E_::FileSystem,
                     "Failure searching files/directories with globber '@\\*':\n");
    mf_expectListing("FindNextFileW", 2, ICErrno::_E_::FileSystem,
                     "Failure searching directories/files with globber '@\\*':\n");
    ICFailingFindClose const failing(DENIED);
    EXPECT_THAT(m_process.mf_run([&] { mf_listAll(); }),
                mf_isFailing(ICErrno::_E_::System, DENIED, "ICUNCPath::mf_listContent",
                             "Failure closing FindFile handle for globber '@\\*':\n"));
}

TEST_F(ICPathListingTrace, ListContent_OfAFile_IsRefused)
{
    CString const file = m_directory.mf_makeFile(L"f").c_str();
    EXPECT_THAT(m_process.mf_run([&] { mf_list(file); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICUNCPath::mf_listContent",
                        mf_at("Path '@\\f' not a directory: unable to list content")));
}

TEST_F(ICPathListingTrace, ListContent_LaterFailure_LeavesItsLineToo)
{
    ICFailingFindClose const failing(ERROR_IO_DEVICE);
    ICImportFault const fault("FindNextFileW", DENIED);
    auto const outcome = m_process.mf_run([&] { mf_listAll(); });
    EXPECT_THAT(outcome, mf_isFailing(ICErrno::_E_::FileSystem, DENIED, "ICUNCPath::mf_listContent",
                                      "Failure searching directories/files with globber '@\\*':\n"));
    EXPECT_THAT(outcome.m_records, mf_hasLine('E', "ICUNCPath::mf_listContent",
                                              f_logged("Failure closing FindFile handle for globber '@\\*':\n",
                                                       ICErrno::_E_::System, ERROR_IO_DEVICE)));
}

TEST_F(ICPathListingTrace, RmPattern_NoMatch_TellsThePattern)
{
    EXPECT_THAT(m_process.mf_run([&] { mf_removeMatches(); }),
                mf_isFailing(ICErrno::_E_::OpenHandle, ERROR_FILE_NOT_FOUND, "ICPath::mf_rm::2",
                             "Failure getting first file of '@\\*.tmp':\n"));
}

TEST_F(ICPathListingTrace, RmPattern_TellsWhatWasDeleted)
{
    m_directory.mf_makeFile(L"a.tmp");
    m_directory.mf_makeFile(L"b.tmp");
    ICImportFault const denied("DeleteFileW", DENIED, ICCalls::mf_only(1));
    EXPECT_THAT(
        m_process.mf_trace([&] { mf_removeMatches(); }),
        AllOf(mf_hasLine('E', "ICPath::mf_rm::2",
                         f_logged("Failure removing file @\\a.tmp:\n", ICErrno::_E_::FileAccess, DENIED) +
                             "\nContinuing ..."),
              mf_hasLine('T', "ICPath::mf_rm::2", "Deleted 1 file(s) (1 failed), directory\\pattern:\n@\\*.tmp")));
}

TEST_F(ICPathListingTrace, RmPattern_SearchThatFails_TellsEachFailure)
{
    m_directory.mf_makeFile(L"a.tmp");
    ICImportFault const fault("FindNextFileW", DENIED, ICCalls::mf_only(1));
    ICImportFault const second("FindNextFileW", ERROR_IO_DEVICE, ICCalls::mf_only(2));
    auto const outcome = m_process.mf_run([&] { mf_removeMatches(); });
    for (ulong const error : {DENIED, ulong{ERROR_IO_DEVICE}})
        EXPECT_THAT(outcome.m_records,
                    mf_hasLine('E', "ICPath::mf_rm::2",
                               f_logged("Failure getting next file of '@\\*.tmp':\n", ICErrno::_E_::FileSystem, error) +
                                   "\nContinuing ..."));
    EXPECT_EQ(outcome.m_failure, ICErrno::_E_::FileSystem.mf_getNumber());
    EXPECT_THAT(outcome.m_records,
                mf_hasLine('T', "ICPath::mf_rm::2", "Deleted 1 file(s) (2 failed), directory\\pattern:\n@\\*.tmp"));
}

TEST_F(ICPathListingTrace, RmPattern_SearchThatDoesNotClose_IsAnErrorLineOnly)
{
    auto const tells = [&](ulong error) {
        return mf_hasLine('E', "ICPath::mf_rm::2",
                          f_logged("Failure closing find handle of '@\\*.tmp':\n", ICErrno::_E_::System, error));
    };
    m_directory.mf_makeFile(L"a.tmp");
    {
        ICFailingFindClose const failing(ERROR_IO_DEVICE);
        EXPECT_THAT(m_process.mf_trace([&] { mf_removeMatches(); }), tells(ERROR_IO_DEVICE));
    }
    // The end of the search has left its own error.
    m_directory.mf_makeFile(L"a.tmp");
    ICImportPatch const silent(IC_IMPORT(FindClose), [](HANDLE search) {
        ::FindClose(search);
        return FALSE;
    });
    EXPECT_THAT(m_process.mf_trace([&] { mf_removeMatches(); }), tells(0));
}

TEST_F(ICPathListingTrace, Sort_TellsTheFailure)
{
    TWO_TEXTS texts;
    auto const sortWithoutMemory = [&] {
        ICImportFault const noMemory("malloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
        ICPath::mf_sort(texts.array);
    };
    EXPECT_THAT(
        m_process.mf_run(sortWithoutMemory),
        AllOf(f_fails(ICErrno::_E_::Memory, 'E', "ICArray::mf_sort", "No memory for 2 array entries (16 bytes)"),
              f_failsShowing(ICErrno::_E_::Memory, "ICPath::mf_sort", "Failure sorting file-entry array: ")));
    ICImportPatch const compare(IC_IMPORT(_wcsicmp),
                                [](wchar_t const *, wchar_t const *) -> int { throw std::length_error("foreign"); });
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_sortNoCase(texts.array); }),
                f_fails(ICErrno::_E_::Unexpected, 'E', "ICPath::mf_sortNoCase", "Exception sorting file-entry array"));
}
