// The lines of path texts, as a log shows them.
#include "hsmbase/paths/ICPath.h"
#include "tests/support/LoggedPlace.h"

using testing::ElementsAre;

namespace
{

// The one line of an operation that only answers less than was asked for.
struct LINE
{
    wchar_t const * m_path;
    CString (*m_operation)(CString const &);
    char const * m_function;
    char const * m_text;
};

LINE const LINES[] = {
    {L"abc", &ICPath::mf_removeComponent, "ICPath::mf_removeComponent",
     "Path parameter 'abc' has no path component to remove"},
    {L"D:\\", &ICPath::mf_removeComponent, "ICPath::mf_removeComponent",
     "Path parameter 'D:\\' has no path component to remove"},
    {L"\\\\?\\a", &ICPath::mf_getRelativePath, "ICController::mf_getRelativePath",
     "Path parameter '\\\\?\\a' is not a UNC path nor a WIN path"},
    {L"", &ICPath::mf_getRelativePath, "ICController::mf_getRelativePath",
     "Path parameter '' is not a UNC path nor a WIN path"},
};

} // namespace

TEST(ICPathTextTrace, Answers_ThatAreLessThanAskedFor)
{
    ICTracedProcess const process;
    for (LINE const & line : LINES) {
        SCOPED_TRACE(line.m_text);
        EXPECT_THAT(process.mf_trace([&] { line.m_operation(line.m_path); }),
                    ElementsAre(f_isRecord('E', line.m_function, line.m_text)));
    }
}

TEST(ICPathTextTrace, Answers_ThatLeaveNoLine)
{
    ICTracedProcess const process;
    EXPECT_THAT(process.mf_trace([] {
        ICPath::mf_removeComponent(L"");
        ICPath::mf_removeComponent(L"\\\\");
        ICPath::mf_getLocationPart(L"x");
        ICPath::mf_getFileTypeName(L"x");
        ICPath::mf_appendComponent(L"", L"");
        ICPath::mf_isRootDirectory(L"C:\\");
    }),
                testing::IsEmpty());
}

TEST(ICPathTextTrace, RelativePath_WithoutDelimiters)
{
    ICTracedProcess const process;
    std::string const tag = "ICController::mf_getRelativePath";
    EXPECT_THAT(process.mf_run([] { ICPath::mf_getRelativePath(L"\\\\HOST"); }),
                f_fails(ICErrno::_E_::Path, 'E', tag, "Could not find delimiter 1 '\\' in UNC path '\\\\HOST'"));
    EXPECT_THAT(process.mf_run([] { ICPath::mf_getRelativePath(L"\\\\?\\UNC\\HOST\\share"); }),
                f_fails(ICErrno::_E_::Path, 'E', tag, "Could not find delimiter '\\' in UNC path '\\\\HOST\\share'"));
}

TEST(ICPathTextTrace, RootDirectory_ThatIsNone)
{
    ICTracedProcess const process;
    std::string const tag = "ICPath::mf_isRootDirectory";
    EXPECT_THAT(process.mf_run([] { ICPath::mf_isRootDirectory(L"C:"); }),
                f_fails(ICErrno::_E_::Parameter, 'E', tag, "Directory name too short: 'C:'"));
    EXPECT_THAT(process.mf_run([] { ICPath::mf_isRootDirectory(L"abc"); }),
                f_fails(ICErrno::_E_::Path, 'E', tag, "Directory 'abc' is no NTFS, UNC, driver, or shadow copy path"));
}
