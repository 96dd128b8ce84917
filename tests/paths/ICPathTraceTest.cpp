// The lines of path texts, attributes and directories, as a log shows them.
#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/LoggedPlace.h"

using testing::AllOf;
using testing::Contains;
using testing::IsEmpty;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// The answers for what isn't there.
constexpr ulong MISSING[] = {ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND, ERROR_BAD_NETPATH, ERROR_INVALID_NAME};

// Nothing is there, and nothing gets there.
constexpr wchar_t NONE[] = L"Q:\\none";

class ICPathTrace : public testing::Test
{
protected:
    testing::Matcher<ICTracedAction const &> mf_isRefused(std::string const & function, std::string const & text) const
    {
        return f_fails(ICErrno::_E_::Parameter, 'E', "ICPath::" + function, text);
    }

    // One call of the platform fails.
    template<class ACTION>
    void mf_expectFailing(char const * import, ulong error, ACTION action, ICErrnoValue const & constant,
                          std::string const & function, std::string const & text,
                          ICCalls const & calls = ICCalls::mf_all()) const
    {
        SCOPED_TRACE(function + ": " + text);
        ICImportFault const fault(import, error, calls);
        EXPECT_THAT(m_process.mf_run(action), f_failsShowing(constant, error, "ICPath::" + function, text));
    }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
};

} // namespace

TEST_F(ICPathTrace, AppendFile_WithDelimiter_TellsBothParts)
{
    EXPECT_THAT(m_process.mf_run([] { ICPath::mf_appendFile(L"D:\\a", L"\\b"); }),
                mf_isRefused("mf_appendFile", "File or directory parameter starts with path delimiter '\\':\n"
                                              "Directory='D:\\a', file='\\b'"));
}

TEST_F(ICPathTrace, FilePart_OfNoFile_IsAnErrorLineOnly)
{
    EXPECT_THAT(m_process.mf_trace([] { ICPath::mf_getFilePart(L""); }),
                Contains(f_isRecord('E', "ICPath::mf_getFilePart", "Empty file path")));
    EXPECT_THAT(
        m_process.mf_trace([] { ICPath::mf_getFileBaseName(L"D:\\a\\"); }),
        Contains(f_isRecord('E', "ICPath::mf_getFilePart", "Parameter 'D:\\a\\' is not a file path but a directory")));
}

TEST_F(ICPathTrace, Attributes_OfNoPath_AreRefusedAloud)
{
    for (int const traceFailure : {0, 1})
        EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_getAttributes(L"", traceFailure); }),
                    mf_isRefused("mf_getAttributes", "Path parameter is empty string"));
}

TEST_F(ICPathTrace, Attributes_ThatCannotBeRead)
{
    std::string const text = "Failure getting file attributes for file 'Q:\\none':\n";
    auto const get = [] { ICPath::mf_getAttributes(NONE, 1); };
    mf_expectFailing("GetFileAttributesW", DENIED, get, ICErrno::_E_::FileAccess, "mf_getAttributes", text);
    for (ulong const missing : MISSING)
        mf_expectFailing("GetFileAttributesW", missing, get, ICErrno::_E_::FileNotFound, "mf_getAttributes", text);
    std::string const question = "Failure getting attributes for path 'Q:\\none':\n";
    mf_expectFailing(
        "GetFileAttributesW", DENIED, [] { ICPath::mf_isDirectory(NONE); }, ICErrno::_E_::FileAccess, "mf_isDirectory",
        question);
    mf_expectFailing(
        "GetFileAttributesW", DENIED, [] { ICPath::mf_isFile(NONE); }, ICErrno::_E_::FileAccess, "mf_isFile", question);
    mf_expectFailing(
        "GetFileAttributesW", DENIED, [] { ICPath::mf_isReadonly(NONE); }, ICErrno::_E_::FileAccess, "mf_isReadonly",
        question);
}

TEST_F(ICPathTrace, Attributes_AskedQuietly_LeaveNoLine)
{
    for (ulong const error : {MISSING[0], DENIED}) {
        ICImportFault const fault("GetFileAttributesW", error);
        auto const outcome = m_process.mf_run([] { ICPath::mf_getAttributes(NONE, 0); });
        EXPECT_TRUE(outcome.m_failure);
        EXPECT_THAT(outcome.m_records, IsEmpty());
    }
}

TEST_F(ICPathTrace, Attributes_ThatCannotBeSet)
{
    std::string const text = "Failure setting file attributes for file\n'Q:\\none':\n";
    auto const set = [] { ICPath::mf_setAttributes(NONE, 0); };
    mf_expectFailing("SetFileAttributesW", ERROR_BAD_NETPATH, set, ICErrno::_E_::FileAccess, "mf_setAttributes", text);
    mf_expectFailing("SetFileAttributesW", ERROR_PATH_NOT_FOUND, set, ICErrno::_E_::FileNotFound, "mf_setAttributes",
                     text);
}

TEST_F(ICPathTrace, W32Attributes_OfAFileThatDoesNotOpen_AreAWarning)
{
    auto const get = [] { ICPath::mf_getSize(NONE); };
    auto const warns = [](ICErrnoValue const & constant, ulong error) {
        return AllOf(
            f_fails(constant, error, 'W', "ICPath::mf_getW32FileAttributes::2",
                    f_logged("Failure opening file 'Q:\\none':\n", constant, error)),
            f_failsShowing(constant, error, "ICPath::mf_getSize", "Failure querying file size for 'Q:\\none':\n"));
    };
    {
        ICImportFault const missing("CreateFileW", ERROR_FILE_NOT_FOUND);
        EXPECT_THAT(m_process.mf_run(get), warns(ICErrno::_E_::FileNotFound, ERROR_FILE_NOT_FOUND));
    }
    ICImportFault const held("CreateFileW", ERROR_SHARING_VIOLATION);
    EXPECT_THAT(m_process.mf_run(get), warns(ICErrno::_E_::FileOpen, ERROR_SHARING_VIOLATION));
}

TEST_F(ICPathTrace, W32Attributes_ThatCannotBeRead)
{
    CString const path = m_directory.mf_makeFile(L"f").c_str();
    auto const get = [&] {
        WIN32_FILE_ATTRIBUTE_DATA data;
        ICPath::mf_getW32FileAttributes(path, data);
    };
    mf_expectFailing("GetFileInformationByHandle", DENIED, get, ICErrno::_E_::FileAccess, "mf_getW32FileAttributes::1",
                     "Failure getting file information by handle:\n");
    mf_expectFailing("GetFileInformationByHandle", DENIED, get, ICErrno::_E_::FileAccess, "mf_getW32FileAttributes::2",
                     f_at("Failure getting w32 attributes for file '@':\n", path));
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_THAT(m_process.mf_run(get),
                f_failsShowing(ICErrno::_E_::FileClose, ERROR_IO_DEVICE, "ICPath::mf_getW32FileAttributes::2",
                               f_at("Failure closing file '@':\n", path)));
}

TEST_F(ICPathTrace, Mkdir_Refused)
{
    mf_expectFailing(
        "CreateDirectoryW", DENIED, [] { ICPath::mf_mkdir(NONE); }, ICErrno::_E_::FileOpen, "mf_mkdir",
        "Failure creating directory 'Q:\\none':\n");
}

TEST_F(ICPathTrace, Mkdirs_TellsWhatWasMade)
{
    CString const path = (m_directory / L"a\\b").c_str();
    EXPECT_THAT(m_process.mf_trace([&] { ICPath::mf_mkdirs(path); }),
                Contains(f_isRecord('T', "ICPath::mf_mkdirs", f_at("Created path='@'", path))));
    EXPECT_THAT(m_process.mf_trace([&] { ICPath::mf_mkdirs(path); }),
                Contains(f_isRecord('W', "ICPath::mf_mkdirs", f_at("Path '@' already exists", path))));
}

TEST_F(ICPathTrace, Mkdirs_Refused_TellsTheWholePath)
{
    CString const path = (m_directory / L"a\\b").c_str();
    mf_expectFailing(
        "CreateDirectoryW", DENIED, [&] { ICPath::mf_mkdirs(path); }, ICErrno::_E_::FileOpen, "mf_mkdirs",
        f_at("Failure creating path '@':\n", path), ICCalls::mf_only(2));
}

TEST_F(ICPathTrace, Mkdirs_LongElement_IsShown)
{
    std::string const element(256, 'x');
    CString const path = CString(L"Z:\\a\\") + CString(L'x', 256) + L"\\b";
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_mkdirs(path); }),
                mf_isRefused("mf_mkdirs", f_at("While creating dirs:\n@\nthe element path '" + element +
                                                   "' of 256 chars is too long\nmax length: 255",
                                               path)));
}

TEST_F(ICPathTrace, Mkdirs_NoMemory_TellsTheBytes)
{
    CString const path = (m_directory / L"a").c_str();
    ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([&] { ICPath::mf_mkdirs(path); }),
                f_fails(ICErrno::_E_::Memory, 'E', "ICPath::mf_mkdirs",
                        "Failure allocating " + std::to_string(2 * path.GetLength() + 2) + " bytes of memory"));
}
