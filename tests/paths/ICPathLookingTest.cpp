// Looking at a file, and restoring what is known of it, never recalls its data: how each operation reaches for files.
#include <gmock/gmock.h>

#include <functional>

#include "hsmbase/failure/ICBuffer.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICDirectoryEntries.h"
#include "hsmbase/paths/ICPath.h"
#include "tests/paths/ICFailingFindClose.h"
#include "tests/support/ICFailingClose.h"
#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/system/PrivilegeState.h"

using testing::Each;
using testing::IsEmpty;
using testing::IsSubsetOf;

namespace
{

struct OPERATION
{
    char const * m_name;
    std::function<void(CString const &)> m_run;

    // All its calls for the file: function and numbers.
    std::vector<std::pair<char const *, std::vector<ulong>>> m_calls;
};

// A descriptor without an audit list, of which the platform sees no more than this.
constexpr SECURITY_DESCRIPTOR_RELATIVE DESCRIPTOR = {SECURITY_DESCRIPTOR_REVISION, 0, SE_SELF_RELATIVE, 0, 0, 0, 0};

FILETIME sTime;
WIN32_FILE_ATTRIBUTE_DATA const DATA = {FILE_ATTRIBUTE_READONLY, {5, 30000000}, {6, 30000000}, {7, 30000000}, 0, 0};

// Of CreateFileW: access, share, disposition, flags.
OPERATION const OPERATIONS[] = {
    {"mf_getAttributes", [](CString const & path) { ICPath::mf_getAttributes(path, 1); }, {{"GetFileAttributesW", {}}}},
    {"mf_setAttributes",
     [](CString const & path) { ICPath::mf_setAttributes(path, 6); },
     {{"SetFileAttributesW", {6}}}},
    {"mf_addAttributes",
     [](CString const & path) { ICPath::mf_addAttributes(path, 1); },
     {{"GetFileAttributesW", {}}, {"SetFileAttributesW", {0x23}}}},
    {"mf_removeAttributes",
     [](CString const & path) { ICPath::mf_removeAttributes(path, 2); },
     {{"GetFileAttributesW", {}}, {"SetFileAttributesW", {0x20}}}},
    {"mf_getAttributesString", [](CString const & path) { ICPath::mf_getAttributesString(0x1021, path); }, {}},
    {"mf_isDirectory", [](CString const & path) { ICPath::mf_isDirectory(path); }, {{"GetFileAttributesW", {}}}},
    {"mf_getW32FileAttributes",
     [](CString const & path) {
         WIN32_FILE_ATTRIBUTE_DATA data;
         ICPath::mf_getW32FileAttributes(path, data);
     },
     {{"CreateFileW", {0x80, 1, 3, 0x300000}}}},
    {"mf_setW32FileAttributes",
     [](CString const & path) { ICPath::mf_setW32FileAttributes(path, DATA); },
     {{"CreateFileW", {0x100, 0, 3, 0x2200000}}, {"SetFileAttributesW", {1}}}},
    {"mf_getW32FindData",
     [](CString const & path) {
         WIN32_FIND_DATAW data;
         ICPath::mf_getW32FindData(path, data);
     },
     {{"FindFirstFileExW", {FindExInfoStandard, FindExSearchNameMatch, 0}}}},
    {"mf_getTimes",
     [](CString const & path) { ICPath::mf_getTimes(path, sTime, sTime, sTime); },
     {{"CreateFileW", {0x80, 0, 3, 0x200080}}}},
    {"mf_setTimes",
     [](CString const & path) {
         ICPath::mf_setTimes(path, DATA.ftCreationTime, DATA.ftLastAccessTime, DATA.ftLastWriteTime);
     },
     {{"CreateFileW", {0x100, 0, 3, 0x2200000}}}},
    {"mf_getSize", [](CString const & path) { ICPath::mf_getSize(path); }, {{"CreateFileW", {0x80, 1, 3, 0x300000}}}},
    {"mf_getCompressedSize",
     [](CString const & path) { ICPath::mf_getCompressedSize(path); },
     {{"GetCompressedFileSizeW", {}}}},
    {"mf_setSecurityDescriptor",
     [](CString const & path) { ICPath::mf_setSecurityDescriptor(path, ICBuffer(&DESCRIPTOR, sizeof DESCRIPTOR, 0)); },
     {{"SetFileSecurityW", {7}}}}};

// What may fail, but for what ends in a leak.
constexpr char const * FAILING[] = {"CreateFileW",        "GetFileInformationByHandle", "GetFileTime",
                                    "SetFileTime",        "FindFirstFileExW",           "GetFileAttributesW",
                                    "SetFileAttributesW", "SetFileSecurityW",           "GetSecurityDescriptorControl"};

std::vector<ICFileCall> f_expected(OPERATION const & operation, std::wstring const & path)
{
    std::vector<ICFileCall> calls;
    for (auto const & [function, numbers] : operation.m_calls)
        calls.push_back({function, path, numbers});
    return calls;
}

// With the numbers of openings alone: what is set depends on what could be read.
std::vector<ICFileCall> f_openings(std::vector<ICFileCall> calls)
{
    for (ICFileCall & call : calls)
        if (call.m_function != "CreateFileW") call.m_numbers.clear();
    return calls;
}

void f_run(OPERATION const & operation, std::wstring const & path)
{
    try {
        operation.m_run(path.c_str());
    }
    catch (ICErrno &) {
        // Here it matters only what was called.
    }
}

void f_expectNothingElse(std::wstring const & path)
{
    ICFileCalls calls;
    for (OPERATION const & operation : OPERATIONS) {
        SCOPED_TRACE(operation.m_name);
        calls.mf_clear();
        f_run(operation, path);
        EXPECT_THAT(f_openings(calls.mf_get()), IsSubsetOf(f_openings(f_expected(operation, f_longPath(path)))));
    }
}

} // namespace

TEST(ICPathLooking, EachOperation_ReachesForItsFileInOneWay)
{
    ICOwnTokenEnds const tokenEnds;
    ICFileCalls calls;
    for (OPERATION const & operation : OPERATIONS) {
        SCOPED_TRACE(operation.m_name);
        ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_HIDDEN);
        calls.mf_clear();
        f_run(operation, file.mf_getPath());
        EXPECT_EQ(f_expected(operation, f_longPath(file.mf_getPath())), calls.mf_get());
        EXPECT_THAT(calls.mf_get(), Each(testing::ResultOf(&f_couldRecall, false)));
    }
}

// Its entries, and the files behind them, are not reached for at all.
TEST(ICPathLooking, DirectoryEntries_OpenTheDirectoryAlone)
{
    ICStartedProcess const process;
    ICTemporaryDirectory const directory;
    directory.mf_makeFile(L"a", "bytes");
    directory.mf_makeDirectory(L"sub");
    ICFileCalls const calls;
    ICDirectoryEntries entries(directory.mf_getPath().c_str());
    while (entries.mf_next()) {}
    ICFileCall const opened = {"CreateFileW", f_longPath(directory.mf_getPath()) + L"\\", {1, 7, 3, 0x2100000}};
    EXPECT_THAT(calls.mf_get(), testing::ElementsAre(opened));
    EXPECT_FALSE(f_couldRecall(opened));
}

// No second try, nothing looked up for the trace line.
TEST(ICPathLooking, FailedOperation_ReachesForNothingElse)
{
    ICOwnTokenEnds const tokenEnds;
    for (char const * const function : FAILING) {
        SCOPED_TRACE(function);
        ICImportFault const fault(function, ERROR_ACCESS_DENIED);
        f_expectNothingElse(L"Q:\\none");
    }
}

TEST(ICPathLooking, FailedClose_ReachesForNothingElse)
{
    ICOwnTokenEnds const tokenEnds;
    ICTemporaryFile const file("bytes");
    ICFailingClose const failing(ERROR_IO_DEVICE);
    ICFailingFindClose const failingToo(ERROR_IO_DEVICE);
    f_expectNothingElse(file.mf_getPath());
    EXPECT_EQ(1u, failingToo.mf_getCalls());
}

TEST(ICPathLooking, ByHandle_ReachesForNoPath)
{
    ICFileCalls const calls;
    FILETIME time = {};
    WIN32_FILE_ATTRIBUTE_DATA data = {};
    EXPECT_THROW(ICPath::mf_getTimes(INVALID_HANDLE_VALUE, time, time, time), ICErrno);
    EXPECT_THROW(ICPath::mf_setTimes(INVALID_HANDLE_VALUE, time, time, time), ICErrno);
    EXPECT_THROW(ICPath::mf_getW32FileAttributes(INVALID_HANDLE_VALUE, data), ICErrno);
    EXPECT_THAT(calls.mf_get(), IsEmpty());
}

// Else the tests above would be blind for it.
TEST(ICPathLooking, LibraryHasNoOtherWayToAFile)
{
    EXPECT_THAT(ICFileCalls().mf_getUnknown(), IsEmpty());
}
