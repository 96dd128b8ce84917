// The lines of asking for, moving and removing files, as a log shows them.
#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedPlace.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Texts have "@" for the directory.
class ICPathFilesTrace : public testing::Test
{
protected:
    std::string mf_at(std::string const & text) const { return f_at(text, m_directory.mf_getPath().c_str()); }

    testing::Matcher<ICTracedAction const &> mf_isFailing(ICErrnoValue const & constant, ulong error, char level,
                                                          std::string const & function, std::string const & text) const
    {
        return f_fails(constant, error, level, "ICPath::" + function, f_logged(mf_at(text), constant, error));
    }

    testing::Matcher<std::vector<ICTraceRecord> const &> mf_hasLine(char level, std::string const & function,
                                                                    std::string const & text) const
    {
        return Contains(f_isRecord(level, "ICPath::" + function, mf_at(text)));
    }

    void mf_move(wchar_t const * source, wchar_t const * target, int force) const
    {
        ICPath::mf_move((m_directory / source).c_str(), (m_directory / target).c_str(), force);
    }
    void mf_rm(int force) const { ICPath::mf_rm((m_directory / L"a").c_str(), force); }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    std::wstring const m_a = m_directory.mf_makeFile(L"a", "bytes");
};

} // namespace

TEST_F(ICPathFilesTrace, Exists_WithoutPath_Warns)
{
    EXPECT_THAT(m_process.mf_trace([] { ICPath::mf_exists(L""); }),
                mf_hasLine('W', "mf_exists", "Empty path argument"));
}

// A server that doesn't answer gives 53, which says that nothing is there; a share or a name that is unknown is a
// warning.
TEST_F(ICPathFilesTrace, Exists_WarnsOfWhatCannotBeLookedAt)
{
    auto const exists = [] { EXPECT_EQ(0, ICPath::mf_exists(L"\\\\host\\share\\x")); };
    for (ulong const missing : {2ul, 3ul, 53ul, 123ul}) {
        SCOPED_TRACE(missing);
        ICImportFault const fault("GetFileAttributesW", missing);
        EXPECT_THAT(m_process.mf_trace(exists), IsEmpty());
    }
    for (ulong const error : {DENIED, ulong{ERROR_NETNAME_DELETED}, 66ul, 67ul}) {
        SCOPED_TRACE(error);
        ICImportFault const fault("GetFileAttributesW", error);
        EXPECT_THAT(m_process.mf_trace(exists),
                    ElementsAre(f_isRecord('W', "ICPath::mf_exists",
                                           f_logged("Failure getting file attributes for file '\\\\host\\share\\x':\n",
                                                    ICErrno::_E_::FileAccess, error) +
                                               "\nAssuming path or file does not exist...")));
    }
}

TEST_F(ICPathFilesTrace, Move_WithoutSource_IsRefused)
{
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_move(L"", L"Z:\\b", 0); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::mf_move", "Source file is empty"));
}

TEST_F(ICPathFilesTrace, Move_TellsBothPlaces)
{
    m_directory.mf_makeDirectory(L"into");
    EXPECT_THAT(m_process.mf_trace([&] { mf_move(L"a", L"into", 0); }),
                mf_hasLine('D', "mf_move", "Moved '@\\a'\n-> '@\\into\\a'"));
}

TEST_F(ICPathFilesTrace, Move_OntoAFile_WarnsWithoutForce)
{
    m_directory.mf_makeFile(L"b");
    EXPECT_THAT(m_process.mf_run([&] { mf_move(L"a", L"b", 0); }),
                f_fails(ICErrno::_E_::FileExists, 'W', "ICPath::mf_move",
                        mf_at("Target file '@\\b' exists and has not been deleted (force inactive)")));
    EXPECT_THAT(m_process.mf_trace([&] { mf_move(L"a", L"b", 1); }),
                mf_hasLine('T', "mf_move", "Existing target file '@\\b' deleted (force active)"));
}

TEST_F(ICPathFilesTrace, Move_OntoAFileThatStays_TellsBothPlaces)
{
    m_directory.mf_makeFile(L"b");
    ICImportFault const denied("DeleteFileW", DENIED);
    EXPECT_THAT(m_process.mf_run([&] { mf_move(L"a", L"b", 1); }),
                mf_isFailing(ICErrno::_E_::FileAccess, DENIED, 'E', "mf_move",
                             "While moving file, failure removing old target file\n"
                             "file to move: '@\\a'\nold target file: '@\\b'\n"));
}

TEST_F(ICPathFilesTrace, Move_Refused_TellsBothPlacesBehindTheFailure)
{
    ICImportFault const held("MoveFileExW", ERROR_SHARING_VIOLATION);
    EXPECT_THAT(m_process.mf_run([&] { mf_move(L"a", L"b", 0); }),
                f_fails(ICErrno::_E_::FileMove, ERROR_SHARING_VIOLATION, 'E', "ICPath::mf_move",
                        f_logged("Failure moving file:\n", ICErrno::_E_::FileMove, ERROR_SHARING_VIOLATION) +
                            mf_at("\n'@\\a' -> '@\\b'")));
}

TEST_F(ICPathFilesTrace, Rm_TellsTheFile)
{
    EXPECT_THAT(m_process.mf_trace([&] { mf_rm(0); }), mf_hasLine('T', "mf_rm::1", "Successfully deleted file '@\\a'"));
}

TEST_F(ICPathFilesTrace, Rm_Refused_WarnsAndRecoversTheAttributes)
{
    ::SetFileAttributesW(m_a.c_str(), FILE_ATTRIBUTE_READONLY | FILE_ATTRIBUTE_ARCHIVE);
    ICImportFault const denied("DeleteFileW", DENIED);
    auto const outcome = m_process.mf_run([&] { mf_rm(1); });
    EXPECT_THAT(outcome,
                mf_isFailing(ICErrno::_E_::FileAccess, DENIED, 'W', "mf_rm::1", "Failure deleting file '@\\a':\n"));
    EXPECT_THAT(outcome.m_records, mf_hasLine('D', "mf_rm::1", "Recovered file attributes 0x00000021 for file '@\\a'"));
    ::SetFileAttributesW(m_a.c_str(), FILE_ATTRIBUTE_ARCHIVE);
}

TEST_F(ICPathFilesTrace, Rm_AttributesThatCannotBeCleared_AreAnErrorLineOnly)
{
    ICImportFault const denied("GetFileAttributesW", DENIED);
    EXPECT_THAT(m_process.mf_trace([&] { mf_rm(1); }),
                mf_hasLine('E', "mf_rm::1",
                           f_logged("Failure reading / clearing read-attributes for file '@\\a':\n",
                                    ICErrno::_E_::FileAccess, DENIED)));
}

TEST_F(ICPathFilesTrace, Rm_AttributesThatCannotBeRecovered_AreAnErrorLineOnly)
{
    ICImportFault const unread("GetFileAttributesW", ICAnswer::mf_value(0x21));
    ICImportFault const unset("SetFileAttributesW", DENIED);
    ICImportFault const held("DeleteFileW", ERROR_SHARING_VIOLATION);
    auto const outcome = m_process.mf_run([&] { mf_rm(1); });
    EXPECT_THAT(outcome, mf_isFailing(ICErrno::_E_::FileAccess, ERROR_SHARING_VIOLATION, 'W', "mf_rm::1",
                                      "Failure deleting file '@\\a':\n"));
    EXPECT_THAT(outcome.m_records, mf_hasLine('E', "mf_rm::1",
                                              f_logged("Failure recovering attributes 0x00000021 for file '@\\a':\n",
                                                       ICErrno::_E_::FileAccess, DENIED)));
}
