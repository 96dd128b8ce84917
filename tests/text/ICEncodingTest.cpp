#include "hsmbase/text/ICEncoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/ICFailingClose.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/Thrown.h"

namespace
{

// A file opened by the test itself, as the library's callers have one.
class ICOpenFile
{
public:
    ICOpenFile(std::wstring const & path, ulong access, ulong share)
        : m_file(::CreateFileW(path.c_str(), access, share, nullptr, OPEN_EXISTING, 0, nullptr))
    {}
    ICOpenFile(ICOpenFile const &) = delete;
    ICOpenFile & operator=(ICOpenFile const &) = delete;
    ~ICOpenFile() { ::CloseHandle(m_file); }

    HANDLE mf_get() const { return m_file; }

private:
    HANDLE const m_file;
};

ICEncoding f_encodingOf(std::wstring const & path)
{
    return ICEncoding::mf_getFileEncoding(path.c_str());
}

ICEncoding const * const ALL[] = {&ICEncoding::NONE, &ICEncoding::UNKNOWN, &ICEncoding::ASCII, &ICEncoding::UCS2_LE,
                                  &ICEncoding::UCS2_BE};

// What can be told of two bytes.
struct BYTES
{
    unsigned char bytes[2];
    ICEncoding const & encoding;
};
BYTES const TOLD[] = {
    {{0xff, 0xfe}, ICEncoding::UCS2_LE}, {{0xfe, 0xff}, ICEncoding::UCS2_BE}, {{0x41, 0x00}, ICEncoding::UCS2_LE},
    {{0xfe, 0x00}, ICEncoding::UCS2_LE}, {{0xff, 0x00}, ICEncoding::UCS2_LE}, {{0x41, 0x42}, ICEncoding::ASCII},
    {{0xff, 0x41}, ICEncoding::ASCII},   {{0xfe, 0x41}, ICEncoding::ASCII},   {{0xff, 0xff}, ICEncoding::ASCII},
    {{0xfe, 0xfe}, ICEncoding::ASCII},   {{0xef, 0xbb}, ICEncoding::ASCII},
};

} // namespace

TEST(ICEncoding, Constants_HaveTheirNumbersAndNames)
{
    wchar_t const * const names[] = {L"NONE", L"UNKNOWN", L"ASCII", L"UCS2_LE", L"UCS2_BE"};
    for (int index = 0; index < 5; ++index) {
        EXPECT_EQ(index - 1, ALL[index]->m_encoding);
        EXPECT_STREQ(names[index], ALL[index]->mf_toString());
    }
    static_assert(sizeof(ICEncoding) == sizeof(int));
}

TEST(ICEncoding, OtherNumbers_HaveNoName)
{
    for (int const number : {-2, 5, 0x7fffffff, -0x7fffffff})
        EXPECT_STREQ(L"Unexpected-encoding", ICEncoding(number).mf_toString());
}

TEST(ICEncoding, Default_IsNone)
{
    EXPECT_TRUE(ICEncoding() == ICEncoding::NONE);
}

TEST(ICEncoding, Equality_IsThatOfTheNumber)
{
    for (ICEncoding const * left : ALL)
        for (ICEncoding const * right : ALL) {
            EXPECT_EQ(left == right, *left == *right);
            EXPECT_EQ(left != right, *left != *right);
        }
}

TEST(ICEncoding, CopyAndAssignment_TakeTheNumber)
{
    ICEncoding const copy(ICEncoding::UCS2_BE);
    ICEncoding assigned;
    ICEncoding const answer = (assigned = copy);

    EXPECT_TRUE(assigned == ICEncoding::UCS2_BE);
    EXPECT_TRUE(answer == ICEncoding::UCS2_BE);
    EXPECT_TRUE(copy == ICEncoding::UCS2_BE);
}

TEST(ICEncoding, GetEncoding_IsToldByTwoBytes)
{
    for (BYTES const & told : TOLD) {
        SCOPED_TRACE(testing::PrintToString(told.bytes));
        EXPECT_TRUE(ICEncoding::mf_getEncoding(told.bytes) == told.encoding);
    }
}

// The second pair looks like UCS2_BE without a mark: meant to fail like the first.
TEST(ICEncoding, GetEncoding_FirstByteZero_IsUnknown)
{
    unsigned char const cases[][2] = {{0x00, 0x00}, {0x00, 0x41}, {0x00, 0xff}};
    for (auto const & bytes : cases)
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [&] { ICEncoding::mf_getEncoding(bytes); }));
}

TEST(ICEncoding, IsByteOrderMark_ForExactlyTheTwo)
{
    std::vector<int> marks;
    for (int both = 0; both < 0x10000; ++both) {
        unsigned char const bytes[] = {static_cast<unsigned char>(both >> 8), static_cast<unsigned char>(both)};
        if (ICEncoding::mf_isByteOrderMark(bytes)) marks.push_back(both);
    }
    EXPECT_EQ((std::vector<int>{0xfeff, 0xfffe}), marks);
}

TEST(ICEncoding, GetByteOrderMark_OfUcs2_FillsTheTwoBytes)
{
    unsigned char bytes[] = {1, 2, 3};
    EXPECT_EQ(1, ICEncoding::mf_getByteOrderMark(ICEncoding::UCS2_LE, bytes));
    EXPECT_THAT(bytes, testing::ElementsAre(0xff, 0xfe, 3));
    EXPECT_EQ(1, ICEncoding::mf_getByteOrderMark(ICEncoding::UCS2_BE, bytes));
    EXPECT_THAT(bytes, testing::ElementsAre(0xfe, 0xff, 3));
}

TEST(ICEncoding, GetByteOrderMark_OfAscii_FillsNothing)
{
    unsigned char bytes[] = {1, 2};
    EXPECT_EQ(0, ICEncoding::mf_getByteOrderMark(ICEncoding::ASCII, bytes));
    EXPECT_THAT(bytes, testing::ElementsAre(1, 2));
}

TEST(ICEncoding, GetByteOrderMark_OfWhatCannotBeWritten_Fails)
{
    unsigned char bytes[] = {1, 2};
    for (ICEncoding const & encoding : {ICEncoding::NONE, ICEncoding::UNKNOWN, ICEncoding(5)})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected, [&] { ICEncoding::mf_getByteOrderMark(encoding, bytes); }));
    EXPECT_THAT(bytes, testing::ElementsAre(1, 2));
}

TEST(ICEncoding, GetFileEncoding_LooksAtTheFirstTwoBytesOnly)
{
    for (BYTES const & told : TOLD) {
        SCOPED_TRACE(testing::PrintToString(told.bytes));
        std::string bytes(told.bytes, told.bytes + 2);
        EXPECT_TRUE(f_encodingOf(ICTemporaryFile(bytes).mf_getPath()) == told.encoding);
        bytes.append(2, '\0');
        EXPECT_TRUE(f_encodingOf(ICTemporaryFile(bytes).mf_getPath()) == told.encoding);
    }
}

TEST(ICEncoding, GetFileEncoding_LessThanTwoBytes_IsUnknown)
{
    EXPECT_TRUE(f_encodingOf(ICTemporaryFile("").mf_getPath()) == ICEncoding::UNKNOWN);
    EXPECT_TRUE(f_encodingOf(ICTemporaryFile("\xff").mf_getPath()) == ICEncoding::UNKNOWN);
}

TEST(ICEncoding, GetFileEncoding_UnknownBytes_AreTheFailureOfTheirLooks)
{
    ICTemporaryFile const file(std::string(2, '\0'));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Unknown, [&] { f_encodingOf(file.mf_getPath()); }));
}

TEST(ICEncoding, GetFileEncoding_SharesWithWriters)
{
    ICTemporaryFile const file("text");
    ICOpenFile const writer(file.mf_getPath(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ);
    EXPECT_TRUE(f_encodingOf(file.mf_getPath()) == ICEncoding::ASCII);
}

TEST(ICEncoding, GetFileEncoding_FileOfSomebodyWhoSharesNothing_Fails)
{
    ICTemporaryFile const file("text");
    ICOpenFile const owner(file.mf_getPath(), GENERIC_READ, 0);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_encodingOf(file.mf_getPath()); }, ERROR_SHARING_VIOLATION));
}

TEST(ICEncoding, GetFileEncoding_OpensForReadingByTheLongForm)
{
    ICTemporaryFile const file("text");
    std::wstring opened;
    ulong access = 0, share = 0, disposition = 0, flags = 0;
    ICImportPatch const open(IC_IMPORT(CreateFileW), [&](LPCWSTR path, DWORD asked, DWORD shared, auto * security,
                                                         DWORD way, DWORD attributes, HANDLE model) {
        opened = path, access = asked, share = shared, disposition = way, flags = attributes;
        return ::CreateFileW(path, asked, shared, security, way, attributes, model);
    });

    EXPECT_TRUE(f_encodingOf(file.mf_getPath()) == ICEncoding::ASCII);
    EXPECT_EQ(f_longPath(file.mf_getPath()), opened);
    EXPECT_EQ(ulong{GENERIC_READ}, access);
    EXPECT_EQ(ulong{FILE_SHARE_READ | FILE_SHARE_WRITE}, share);
    EXPECT_EQ(ulong{OPEN_EXISTING}, disposition);
    EXPECT_EQ(ulong{FILE_ATTRIBUTE_NORMAL}, flags);
}

TEST(ICEncoding, GetFileEncoding_MissingFile_Fails)
{
    ICTemporaryDirectory const directory;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [&] { f_encodingOf(directory / L"missing"); }, ERROR_FILE_NOT_FOUND));
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [] { f_encodingOf(L""); }, ERROR_PATH_NOT_FOUND));
}

TEST(ICEncoding, GetFileEncoding_FailedOpen_IsNotClosed)
{
    ICImportFault const denied("CreateFileW", ERROR_ACCESS_DENIED);
    ICImportFault const reads("ReadFile");
    ICImportFault const closes("CloseHandle");

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileAccess, [] { f_encodingOf(L"D:\\x"); }, ERROR_ACCESS_DENIED));
    EXPECT_EQ(0u, reads.mf_getCalls());
    EXPECT_EQ(0u, closes.mf_getCalls());
}

TEST(ICEncoding, GetFileEncoding_FailedRead_IsThrownAfterTheClose)
{
    ICTemporaryFile const file("text");
    ICImportFault const closes("CloseHandle");
    for (ulong const error : {5ul, 33ul, 1117ul}) {
        ICImportFault const fault("ReadFile", error);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::FileRead, [&] { f_encodingOf(file.mf_getPath()); }, error));
    }
    EXPECT_EQ(3u, closes.mf_getCalls());
}

TEST(ICEncoding, GetFileEncoding_ReadThatFailsAtTheEnd_IsAShortFile)
{
    ICTemporaryFile const file("text");
    ICImportFault const end("ReadFile", ERROR_HANDLE_EOF);
    EXPECT_TRUE(f_encodingOf(file.mf_getPath()) == ICEncoding::UNKNOWN);
}

TEST(ICEncoding, GetFileEncoding_FailedClose_Fails)
{
    ICTemporaryFile const file("text");
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileClose, [&] { f_encodingOf(file.mf_getPath()); }, ERROR_IO_DEVICE));
    EXPECT_EQ(1u, failing.mf_getCalls());
}

TEST(ICEncoding, GetFileEncoding_FailedReadAndClose_KeepsTheFirst)
{
    ICTemporaryFile const file("text");
    ICImportFault const read("ReadFile", ERROR_LOCK_VIOLATION);
    ICFailingClose const failing(ERROR_IO_DEVICE);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileRead, [&] { f_encodingOf(file.mf_getPath()); }, ERROR_LOCK_VIOLATION));
    EXPECT_EQ(1u, failing.mf_getCalls());
}

TEST(ICEncoding, GetFileEncoding_EveryFailure_LeavesNothingOpen)
{
    ICTemporaryFile const file("text");
    auto const round = [&] {
        for (char const * call : {"CreateFileW", "ReadFile"}) {
            ICImportFault const fault(call, ERROR_IO_DEVICE);
            EXPECT_ANY_THROW(f_encodingOf(file.mf_getPath()));
        }
        ICFailingClose const failing(ERROR_IO_DEVICE);
        EXPECT_ANY_THROW(f_encodingOf(file.mf_getPath()));
    };
    round();
    ICLeakAccount account;
    round();
    EXPECT_TRUE(account.mf_isBalanced()) << account.mf_describe();
}

TEST(ICEncoding, WriteByteOrderMark_WritesAtTheCurrentPosition)
{
    ICTemporaryFile const file("0123456789");
    {
        ICOpenFile const open(file.mf_getPath(), GENERIC_WRITE, 0);
        ICEncoding::mf_writeByteOrderMark(open.mf_get(), ICEncoding::UCS2_LE);
        ::SetFilePointer(open.mf_get(), 5, nullptr, FILE_BEGIN);
        ICEncoding::mf_writeByteOrderMark(open.mf_get(), ICEncoding::UCS2_BE);
    }
    EXPECT_EQ("\xff\xfe"
              "234\xfe\xff"
              "789",
              f_readFile(file.mf_getPath()));
}

TEST(ICEncoding, WriteByteOrderMark_OfAscii_WritesNothing)
{
    ICImportFault const writes("WriteFile");
    ICEncoding::mf_writeByteOrderMark(INVALID_HANDLE_VALUE, ICEncoding::ASCII);
    EXPECT_EQ(0u, writes.mf_getCalls());
}

TEST(ICEncoding, WriteByteOrderMark_OfWhatCannotBeWritten_FailsAndWritesNothing)
{
    ICImportFault const writes("WriteFile");
    for (ICEncoding const & encoding : {ICEncoding::NONE, ICEncoding::UNKNOWN})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Unexpected,
                             [&] { ICEncoding::mf_writeByteOrderMark(INVALID_HANDLE_VALUE, encoding); }));
    EXPECT_EQ(0u, writes.mf_getCalls());
}

TEST(ICEncoding, WriteByteOrderMark_FailedWrite_KeepsSystemNumber)
{
    auto const write = [] { ICEncoding::mf_writeByteOrderMark(INVALID_HANDLE_VALUE, ICEncoding::UCS2_LE); };
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileWrite, write, ERROR_INVALID_HANDLE));

    ICImportFault const full("WriteFile", ERROR_DISK_FULL);
    EXPECT_TRUE(f_throws(ICErrno::_E_::FileWrite, write, ERROR_DISK_FULL));
}

TEST(ICEncoding, WriteByteOrderMark_WriteInPart_FailsWithoutSystemNumber)
{
    ICTemporaryFile const file;
    ICOpenFile const open(file.mf_getPath(), GENERIC_WRITE, 0);
    ICImportPatch const half(IC_IMPORT(WriteFile),
                             [](HANDLE handle, void const * bytes, DWORD, DWORD * count, auto * other) {
                                 return ::WriteFile(handle, bytes, 1, count, other);
                             });
    ::SetLastError(ERROR_FILE_NOT_FOUND);

    EXPECT_TRUE(f_throws(
        ICErrno::_E_::FileWrite, [&] { ICEncoding::mf_writeByteOrderMark(open.mf_get(), ICEncoding::UCS2_LE); }, 0));
}
