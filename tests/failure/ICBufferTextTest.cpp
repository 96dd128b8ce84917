// Hexadecimal texts and dumps.
#include <gmock/gmock.h>

#include <numeric>

#include "tests/failure/BufferBytes.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

using testing::ElementsAre;

namespace
{

// The bytes 0, 1, 2 ...
BYTES f_counted(std::size_t size)
{
    BYTES bytes(size);
    std::iota(bytes.begin(), bytes.end(), static_cast<unsigned char>(0));
    return bytes;
}

// What the text gives in a buffer of three bytes that held others.
BYTES f_scanned(wchar_t const * text)
{
    BYTES bytes(3, 0xEE);
    ulong const count = ICBuffer::mf_fromHexString(text, bytes.data(), 3);
    EXPECT_EQ(BYTES(3 - count), BYTES(bytes.begin() + static_cast<int>(count), bytes.end()));
    bytes.resize(count);
    return bytes;
}

} // namespace

TEST(ICBuffer, ToHexString_ReplacesTheText)
{
    CString text(L"before");
    BYTES const bytes{0x00, 0x0A, 0x41, 0x9F, 0xFF};

    EXPECT_EQ(5u, ICBuffer::mf_toHexString(bytes.data(), 5, text));
    EXPECT_STREQ(L"000A419FFF", text);
}

TEST(ICBuffer, ToHexStringOfSizeZero_EmptiesTheText)
{
    CString text(L"before");

    EXPECT_EQ(0u, ICBuffer::mf_toHexString("x", 0, text));
    EXPECT_STREQ(L"", text);
}

TEST(ICBuffer, ToHexStringOfNull_KeepsTheText)
{
    CString text(L"before");

    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICBuffer::mf_toHexString(nullptr, 0, text); }));
    EXPECT_STREQ(L"before", text);
}

// What is no number at all is the byte 0, without a failure; the rest is how scanf reads a field of two characters.
TEST(ICBuffer, FromHexString_ReadsPairs)
{
    struct CASE
    {
        wchar_t const * text;
        BYTES expected;
    };
    CASE const cases[] = {{L"", {}},
                          {L"4142", {0x41, 0x42}},
                          {L"fFaB09", {0xFF, 0xAB, 0x09}},
                          {L"000000", {0, 0, 0}},
                          {L"7", {7}},
                          {L"41F", {0x41, 0x0F}},
                          {L"4142F", {0x41, 0x42, 0x0F}},
                          {L"zz41", {0, 0x41}},
                          {L"4g41", {4, 0x41}},
                          {L"g4", {0}},
                          {L"0x41", {0, 0x41}},
                          {L"410X", {0x41, 0}},
                          {L"x0", {0}},
                          {L"  41", {0, 0x41}},
                          {L" 41 ", {4, 1}},
                          {L"-1+2", {0xFF, 2}},
                          {L"+-%%", {0, 0}},
                          {L"\u00E4\u20AC\xD83D\xDE00", {0, 0}}};
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testing::PrintToString(testCase.text));
        EXPECT_EQ(testCase.expected, f_scanned(testCase.text));
    }
}

// Run-times differ in what they leave behind where they scanned nothing.
TEST(ICBuffer, FromHexString_TakesOnlyWhatCountsAsScanned)
{
    for (int const count : {0, -1}) {
        SCOPED_TRACE(count);
        ICImportPatch const scan("swscanf_s", [count](wchar_t const *, wchar_t const *, unsigned int * value) {
            *value = 0xEE;
            return count;
        });
        EXPECT_THAT(f_scanned(L"0x41"), ElementsAre(0, 0));
    }
}

TEST(ICBuffer, FromHexString_ReadsPastNullCharacters)
{
    BYTES bytes(3, 0xEE);

    EXPECT_EQ(3u, ICBuffer::mf_fromHexString(CString(L"\0"
                                                     L"14\0"
                                                     L"42",
                                                     6),
                                             bytes.data(), 3));

    EXPECT_THAT(bytes, ElementsAre(0, 4, 0x42));
}

TEST(ICBuffer, FromHexString_ZeroesTheWholeBuffer)
{
    BYTES bytes(4, 0xEE);

    EXPECT_EQ(1u, ICBuffer::mf_fromHexString(L"41", bytes.data(), 3));

    EXPECT_THAT(bytes, ElementsAre(0x41, 0, 0, 0xEE));
}

TEST(ICBuffer, FromHexStringIntoTooFewBytes_FailsAndWritesNothing)
{
    struct CASE
    {
        wchar_t const * text;
        ulong size;
    };
    CASE const cases[] = {{L"4142", 1}, {L"414", 1}, {L"4", 0}, {L"41", 0}, {L"41424344", 3}, {L"4142434", 3}};
    for (CASE const & testCase : cases) {
        SCOPED_TRACE(testing::PrintToString(testCase.text));
        BYTES bytes(4, 0xEE);
        EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall,
                             [&] { ICBuffer::mf_fromHexString(testCase.text, bytes.data(), testCase.size); }));
        EXPECT_EQ(BYTES(4, 0xEE), bytes);
    }
}

TEST(ICBuffer, FromHexStringIntoNull_Fails)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICBuffer::mf_fromHexString(L"", nullptr, 0); }));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICBuffer::mf_fromHexString(L"41", nullptr, 1); }));
}

TEST(ICBuffer, HexString_GivesAllBytesBack)
{
    BYTES const bytes = f_counted(256);
    BYTES back(256, 0xEE);
    CString text;

    ICBuffer::mf_toHexString(bytes.data(), 256, text);

    EXPECT_EQ(256u, ICBuffer::mf_fromHexString(text, back.data(), 256));
    EXPECT_EQ(bytes, back);
}

TEST(ICBuffer, DumpOfNothing_SaysSo)
{
    EXPECT_STREQ(L"> (empty buffer)", ICBuffer::mf_dump(nullptr, 0, L"> "));
    EXPECT_STREQ(L"(empty buffer)", ICBuffer::mf_dump("x", 0, L""));
}

TEST(ICBuffer, DumpOfFullLine_HasNoLineEnd)
{
    EXPECT_STREQ(L"> 00000000  30313233 34353637 38394142 43444546  0123456789ABCDEF",
                 ICBuffer::mf_dump("0123456789ABCDEF", 16, L"> "));
}

TEST(ICBuffer, DumpOfShortLine_IsPaddedToTheSameWidth)
{
    struct CASE
    {
        ulong size;
        wchar_t const * expected;
    };
    CASE const cases[] = {{1, L"00000000  30                                   0               "},
                          {4, L"00000000  30313233                             0123            "},
                          {5, L"00000000  30313233 34                          01234           "},
                          {12, L"00000000  30313233 34353637 38394142           0123456789AB    "},
                          {15, L"00000000  30313233 34353637 38394142 434445    0123456789ABCDE "}};
    for (CASE const & testCase : cases) {
        CString const line = ICBuffer::mf_dump("0123456789ABCDEF", testCase.size, L"");
        EXPECT_STREQ(testCase.expected, line);
        EXPECT_EQ(63, line.GetLength());
    }
}

// Each offset but the first is that of the last byte of the line before: so do dumps of this system read.
TEST(ICBuffer, DumpOfManyLines_IsOneLowFromTheSecondOn)
{
    EXPECT_STREQ(L"__00000000  41414141 41414141 41414141 41414141  AAAAAAAAAAAAAAAA\r\n"
                 L"__0000000F  42                                   B               ",
                 ICBuffer::mf_dump("AAAAAAAAAAAAAAAAB", 17, L"__"));

    BYTES const bytes(16 * 17 + 1);
    CString const text = ICBuffer::mf_dump(bytes.data(), static_cast<ulong>(bytes.size()), L"");
    for (int line = 1; line <= 17; ++line) {
        CString offset;
        offset.Format(L"\r\n%08X  00", 16 * line - 1);
        EXPECT_EQ(65 * line - 2, text.Find(offset)) << line;
    }
    EXPECT_EQ(65 * 17 + 63, text.GetLength());
}

TEST(ICBuffer, Dump_ShowsThePrintableAndBlanks)
{
    BYTES const bytes = f_counted(256);

    for (ulong from = 0; from < 256; from += 16) {
        CString const line = ICBuffer::mf_dump(bytes.data() + from, 16, L"");
        for (ulong column = 0; column < 16; ++column) {
            ulong const byte = from + column;
            wchar_t const expected = byte >= 0x20 && byte <= 0x7E ? static_cast<wchar_t>(byte) : L' ';
            EXPECT_EQ(expected, line[static_cast<int>(47 + column)]) << byte;
        }
    }
}

TEST(ICBuffer, ToString_IsTheDump)
{
    ICBuffer const buffer("AAAAAAAAAAAAAAAAB", 17, 0);

    EXPECT_STREQ(ICBuffer::mf_dump(buffer.mf_getData(), 17, L"  "), buffer.mf_toString(L"  "));
    EXPECT_STREQ(L"  (empty buffer)", ICBuffer().mf_toString(L"  "));
}
