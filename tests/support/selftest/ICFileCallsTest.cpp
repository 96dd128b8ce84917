#include "tests/support/ICFileCalls.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/selftest/Victim.h"

#include <gmock/gmock.h>

#include <sstream>

using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

ICFileCall f_opening(ulong access, ulong flags)
{
    return {"CreateFileW", L"D:\\x", {access, FILE_SHARE_READ, OPEN_EXISTING, flags}};
}

} // namespace

TEST(ICFileCalls, EachCallIsNoted_AndGoesOn)
{
    ICTemporaryFile const file("bytes", L"f", FILE_ATTRIBUTE_HIDDEN);
    std::wstring const & path = file.mf_getPath();
    ICFileCalls calls({VICTIM});

    EXPECT_TRUE(f_victimAttributes(path.c_str()) & FILE_ATTRIBUTE_HIDDEN);
    HANDLE const opened =
        f_victimOpen(path.c_str(), FILE_READ_ATTRIBUTES, 0, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT);
    EXPECT_NE(INVALID_HANDLE_VALUE, opened);
    ::CloseHandle(opened);

    EXPECT_THAT(calls.mf_get(), ElementsAre(ICFileCall{"GetFileAttributesW", path, {}},
                                            ICFileCall{"CreateFileW", path, {0x80, 0, 3, 0x200000}}));
    calls.mf_clear();
    EXPECT_THAT(calls.mf_get(), IsEmpty());
}

TEST(ICFileCalls, OtherModules_AreNotNoted)
{
    ICFileCalls const calls({VICTIM});
    ::GetFileAttributesW(L"C:\\");
    EXPECT_THAT(calls.mf_get(), IsEmpty());
}

TEST(ICFileCalls, SeveralModules_TheProgramToo)
{
    ICFileCalls const calls({VICTIM, nullptr});
    ::GetFileAttributesW(L"C:\\");
    f_victimAttributes(L"D:\\");
    EXPECT_THAT(calls.mf_get(), ElementsAre(ICFileCall{"GetFileAttributesW", L"C:\\", {}},
                                            ICFileCall{"GetFileAttributesW", L"D:\\", {}}));
}

TEST(ICFileCalls, EndsWithTheObject)
{
    ulong const attributes = f_victimAttributes(L"C:\\");
    {
        ICFileCalls const first({VICTIM, nullptr});
    }
    ICFileCalls const calls({VICTIM});
    EXPECT_EQ(attributes, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(1u, calls.mf_get().size());
}

TEST(ICFileCalls, FaultThatIsThereAlready_IsReached)
{
    ICImportFault const denied("GetFileAttributesW", ERROR_ACCESS_DENIED, ICCalls::mf_all(), VICTIM);
    ICFileCalls const calls({VICTIM});
    EXPECT_EQ(INVALID_FILE_ATTRIBUTES, f_victimAttributes(L"C:\\"));
    EXPECT_EQ(ulong{ERROR_ACCESS_DENIED}, ::GetLastError());
    EXPECT_EQ(1u, calls.mf_get().size());
}

TEST(ICFileCalls, LastError_IsThatOfTheCaller)
{
    ulong seen = 0;
    ICImportPatch const silent(
        IC_IMPORT(GetFileAttributesW),
        [&](wchar_t const *) -> DWORD {
            seen = ::GetLastError();
            return 0;
        },
        VICTIM);
    ICFileCalls const calls({VICTIM});
    ::SetLastError(4711);
    f_victimAttributes(L"C:\\");
    EXPECT_EQ(4711u, seen);
}

TEST(ICFileCalls, Below_TakesAnyFormOfThePath)
{
    ICFileCalls const calls({VICTIM});
    wchar_t const * const below[] = {L"Q:\\none", L"\\\\?\\q:\\NONE", L"Q:\\none\\", L"\\\\?\\Q:\\none\\a\\b"};
    for (wchar_t const * const path : below)
        f_victimAttributes(path);
    for (wchar_t const * const path : {L"Q:\\", L"Q:\\nonesuch", L"C:\\", L""})
        f_victimAttributes(path);
    EXPECT_EQ(std::size(below), calls.mf_getBelow(L"Q:\\none").size());
    EXPECT_EQ(std::size(below), calls.mf_getBelow(L"\\\\?\\Q:\\none\\").size());

    f_victimAttributes(L"\\\\?\\UNC\\none\\such\\a");
    EXPECT_EQ(1u, calls.mf_getBelow(L"\\\\none\\such").size());
}

TEST(ICFileCalls, OpeningData_CouldRecall)
{
    constexpr ulong accesses[] = {GENERIC_READ, GENERIC_WRITE, FILE_READ_DATA, FILE_READ_ATTRIBUTES | GENERIC_ALL};
    for (ulong const access : accesses) {
        SCOPED_TRACE(access);
        EXPECT_TRUE(f_couldRecall(f_opening(access, FILE_FLAG_BACKUP_SEMANTICS)));
        EXPECT_FALSE(f_couldRecall(f_opening(access, FILE_FLAG_OPEN_NO_RECALL)));
        EXPECT_FALSE(f_couldRecall(f_opening(access, FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS)));
    }
    for (ulong const access : {ulong{0}, ulong{FILE_READ_ATTRIBUTES | SYNCHRONIZE}, ulong{FILE_WRITE_ATTRIBUTES}})
        EXPECT_FALSE(f_couldRecall(f_opening(access, 0)));
}

TEST(ICFileCalls, LooksAtEntries_DoNotRecall_AndUnknownOpeningsCould)
{
    for (char const * const function : {"GetFileAttributesW", "FindFirstFileExW", "GetCompressedFileSizeW"})
        EXPECT_FALSE(f_couldRecall({function, L"D:\\x", {}}));
    for (char const * const function : {"fopen", "LoadLibraryW"})
        EXPECT_TRUE(f_couldRecall({function, L"D:\\x", {}}));
}

TEST(ICFileCalls, Unknown_NamesWhatIsNeitherNotedNorHarmless)
{
    EXPECT_THAT(ICFileCalls({VICTIM}).mf_getUnknown(), IsEmpty());
    // By which the framework deletes files.
    EXPECT_THAT(ICFileCalls({nullptr}).mf_getUnknown(), testing::Contains("remove"));
}

TEST(ICFileCalls, PrintsReadably)
{
    std::ostringstream out;
    out << f_opening(0x80, 0x300000);
    EXPECT_EQ("CreateFileW \"D:\\x\" 0x80 0x1 0x3 0x300000", out.str());
}
