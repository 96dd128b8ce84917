// The cut in place that keeps a log file within its size.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/logging/ICTestLog.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTemporaryDirectory.h"

using testing::HasSubstr;
using testing::StartsWith;

namespace
{

std::string const MARK = "\xff\xfe";
std::string const LF = "\n";

std::string f_widen(std::string const & text)
{
    std::string wide;
    for (char const unit : text)
        wide.append({unit, '\0'});
    return wide;
}

// So many characters that are no line feed and no blank, all different from their neighbours.
std::string f_text(std::size_t length)
{
    std::string text;
    while (text.size() < length)
        text += static_cast<char>('A' + text.size() % 23);
    return text;
}

// Lines of ten bytes.
std::string f_records(int count)
{
    std::string text;
    for (int index = 0; index < count; ++index)
        text += static_cast<char>('0' + index % 10) + f_text(8) + LF;
    return text;
}

// What stands in the file, what it may hold, and what is to be written.
struct CUT
{
    std::string bytes;
    long long maximum = 100;
    ulong percent = 50;
    ulong bytesToWrite = 1;
    int ucs2 = 0;
};

struct OUTCOME
{
    int result;
    std::string bytes;
    long long position; // where the next write goes
};

// A log that is open, whatever stands in its file.
class ICCutLog : private ICTemporaryFile, public ICTestLog
{
public:
    explicit ICCutLog(CUT const & cut = {}) : ICTestLog(ICTemporaryFile::mf_getPath())
    {
        mf_implOpenFile();
        mf_fill(cut);
    }

    void mf_fill(CUT const & cut)
    {
        m_nMaxFileSize = cut.maximum;
        m_ulFilePercent = cut.percent;
        m_bUcs2 = cut.ucs2;
        ::SetFilePointerEx(m_hFile, {}, nullptr, FILE_BEGIN);
        ::SetEndOfFile(m_hFile);
        EXPECT_TRUE(mf_implWriteBytes(cut.bytes.data(), static_cast<ulong>(cut.bytes.size())));
        ::SetFilePointerEx(m_hFile, {}, nullptr, FILE_BEGIN);
    }

    std::string mf_getBytes() const { return f_readFile(ICTemporaryFile::mf_getPath()); }
};

struct CASE
{
    char const * name;
    CUT cut;
    std::string expected;
};

void f_check(ICCutLog & log, CASE const & test)
{
    SCOPED_TRACE(test.name);
    log.mf_fill(test.cut);
    EXPECT_EQ(1, log.mf_implTruncateFile(test.cut.bytesToWrite));
    EXPECT_EQ(static_cast<long long>(test.expected.size()), log.mf_getPosition());
    EXPECT_EQ(test.expected, log.mf_getBytes());
}

void f_check(CASE const & test)
{
    ICCutLog log;
    f_check(log, test);
}

} // namespace

// ------------------------------------------------------------------------------------------------- whether it is cut

TEST(ICLogBaseCut, FileWithinItsSize_IsNotTouched)
{
    std::string const full = f_records(10);
    CASE const cases[] = {
        {"empty", {"", 100, 50, 0}, ""},
        {"no limit", {full, 0, 50, 1000}, full},
        {"exactly full, nothing to write", {full, 100, 50, 0}, full},
        {"exactly full with what is to write", {full, 101, 50, 1}, full},
        {"smaller than what a cut keeps, and too small for the write", {f_records(8), 100, 90, 1000}, f_records(8)},
        {"as large as what a cut keeps", {f_records(9), 100, 90, 1000}, f_records(9)},
        {"larger than 32 bits", {full, 0x200000000, 50, 0xffffffff}, full},
    };
    for (CASE const & test : cases)
        f_check(test);
}

TEST(ICLogBaseCut, OneByteTooMany_KeepsAtLeastThePercentage)
{
    // 50 bytes stay and what belongs to the record that they cut through.
    f_check({"one byte", {f_records(10), 100, 50, 1}, f_records(10).substr(40)});
}

TEST(ICLogBaseCut, Percentage_IsTakenOfWholeHundreds)
{
    std::string const bytes = f_text(10000);
    for (long long const maximum : {1000, 1001, 1099})
        f_check({"660 and a span", {bytes, maximum, 66}, bytes.substr(10000 - 660 - 4096)});
    f_check({"of less than 100 nothing", {f_text(90), 90, 66}, f_text(90)});
}

// ---------------------------------------------------------------------------------------- where the last record begins

// Of 200 bytes 50 stay, so records are looked for in the first 150.
TEST(ICLogBaseCut, Search_TakesTheLastRecordStartOfTheSpan)
{
    auto const lines = [](std::initializer_list<std::size_t> lineFeeds, char behind = 'x') {
        std::string bytes = f_text(200);
        for (std::size_t const at : lineFeeds)
            bytes.replace(at, 2, {'\n', behind});
        return bytes;
    };
    struct
    {
        char const * name;
        std::string bytes;
        std::size_t start;
    } const cases[] = {
        {"the last place that is looked at", lines({148}), 149},
        {"behind that", lines({149}), 0},
        {"of two the later", lines({20, 100}), 101},
        {"behind that, with another before", lines({20, 149}), 21},
        {"the first place", lines({1}), 2},
        {"the start of the span counts without a look behind", lines({0}), 1},
        {"also ahead of a blank", lines({0}, ' '), 1},
        {"two line feeds", lines({30, 31}), 32},
        {"lines that go on", lines({20, 30, 148}, ' '), 0},
        {"nothing", lines({}), 0},
        {"other line ends", "a\r" + lines({}), 0},
    };
    for (auto const & test : cases) {
        std::string const bytes = test.bytes.substr(0, 200);
        f_check({test.name, {bytes}, bytes.substr(test.start)});
    }
}

TEST(ICLogBaseCut, Search_NeverStartsWithALineThatGoesOn)
{
    std::string const bytes = f_text(20) + "\nrecord\r\n goes on\r\n     and on\r\n " + f_text(60);
    f_check({"goes on", {bytes}, bytes.substr(21)});
}

TEST(ICLogBaseCut, Search_LooksAt4096BytesAheadOfWhatStays)
{
    std::string const text = f_text(9000);
    auto const lineFeedAt = [&](std::size_t at) { return text.substr(0, at) + LF + text.substr(at + 1); };
    std::size_t const start = 9000 - 50 - 4096;
    f_check({"ahead of the span", {lineFeedAt(start - 1)}, text.substr(start)});
    f_check({"first byte of the span", {lineFeedAt(start)}, text.substr(start + 1)});
    f_check({"in the span", {lineFeedAt(start + 4094)}, text.substr(start + 4095)});
    f_check({"last byte of the span", {lineFeedAt(start + 4095)}, lineFeedAt(start + 4095).substr(start)});
}

TEST(ICLogBaseCut, SmallestSpans)
{
    std::string const text = f_text(90);
    f_check({"one byte", {"x" + text, 100, 90, 100}, "x" + text});
    f_check({"one line feed", {LF + text, 100, 90, 100}, text});
    f_check({"two bytes", {"xy" + text, 100, 90, 100}, "xy" + text});
    f_check({"two bytes, line feed second", {"x\n" + text, 100, 90, 100}, "x\n" + text});
    f_check({"three bytes, line feed second", {"x\ny" + text, 100, 90, 100}, "y" + text});
}

TEST(ICLogBaseCut, LongTail_IsCopiedInManyPieces)
{
    std::string const bytes = f_records(5000);
    // Records begin at tens: the last one that begins in the span, which ends at 50000 - 33000.
    f_check({"spans of 4096", {bytes, 50000, 66}, bytes.substr(50000 - 33000 - 10)});
    // A span of one byte: each byte is moved alone.
    f_check({"spans of 1", {LF + f_text(900), 1000, 90, 1000}, f_text(900)});
}

// --------------------------------------------------------------------------------------------------------------- UCS-2

TEST(ICLogBaseCut, Ucs2_BeginsWithTheMark)
{
    std::string const bytes = MARK + f_widen(f_records(10));
    // Of 202 bytes 50 stay: the span has 152, and the last record that begins in it begins at byte 142.
    f_check({"cut", {bytes, 100, 50, 2, 1}, MARK + bytes.substr(142)});
}

TEST(ICLogBaseCut, Ucs2_KeepsWholeCharacters)
{
    std::string const bytes = MARK + f_widen(f_text(5000));
    std::string const expected = MARK + bytes.substr(bytes.size() - 50 - 4096);
    f_check({"even", {bytes, 100, 50, 2, 1}, expected});
    f_check({"odd", {bytes, 100, 51, 2, 1}, expected});
}

TEST(ICLogBaseCut, Ucs2_SearchGoesByCharacters)
{
    // 200 bytes, of which 50 stay: 75 characters are looked at.
    auto const with = [](std::size_t at, wchar_t first, wchar_t second) {
        std::string bytes = MARK + f_widen(f_text(99));
        wchar_t const characters[] = {first, second};
        return bytes.replace(2 * at, 4, reinterpret_cast<char const *>(characters), 4);
    };
    struct
    {
        char const * name;
        std::string bytes;
        std::size_t start; // in bytes
    } const cases[] = {
        {"line feed", with(30, L'\n', L'x'), 62},
        {"ahead of a blank", with(30, L'\n', L' '), 2},
        {"a character that begins like a line feed", with(30, L'\x10a', L'x'), 2},
        {"a character that ends like one", with(30, L'\xa01', L'x'), 2},
        {"ahead of what begins like a blank", with(30, L'\n', L'\x120'), 62},
        {"last pair", with(73, L'\n', L'x'), 148},
        // What follows lies behind the buffer, and counts as a blank.
        {"last character", with(74, L'\n', L'x'), 2},
    };
    for (auto const & test : cases)
        f_check({test.name, {test.bytes, 100, 50, 2, 1}, MARK + test.bytes.substr(test.start)});
}

// To read at 0 while the mark moves all by two bytes, the file would grow without end.
TEST(ICLogBaseCut, Ucs2_NoRecordStartInAFileWithinOneSpan_StaysAsItIs)
{
    std::string const bytes = MARK + f_widen(f_text(99));
    f_check({"with a mark", {bytes, 100, 50, 2, 1}, bytes});
    f_check({"without, its first character is lost",
             {f_widen(f_text(100)), 100, 50, 2, 1},
             MARK + f_widen(f_text(100).substr(1))});
    f_check({"smallest span", {MARK + f_widen(f_text(45)), 100, 90, 20, 1}, MARK + f_widen(f_text(45))});
}

TEST(ICLogBaseCut, Ucs2_ExactMaximum)
{
    std::string const bytes = MARK + f_widen(f_text(49));
    f_check({"0 bytes", {bytes, 100, 50, 0, 1}, bytes});
    f_check({"empty span", {bytes, 101, 100, 2, 1}, bytes});
}

// ------------------------------------------------------------------------------------------------------------ any file

namespace
{

// The same in other words: by texts of whole units instead of a walk through a buffer.
std::string f_model(CUT const & cut)
{
    std::string const & bytes = cut.bytes;
    auto const size = static_cast<long long>(bytes.size());
    if (cut.maximum == 0 || size + cut.bytesToWrite <= cut.maximum) return bytes;
    long long keep = cut.maximum / 100 * cut.percent;
    if (cut.ucs2) keep = keep / 2 * 2;
    if (keep >= size) return bytes;

    std::size_t const unit = cut.ucs2 ? 2 : 1;
    std::size_t const end = static_cast<std::size_t>(size - keep);
    std::size_t const begin = end > 4096 ? end - 4096 : 0;
    std::u16string span;
    for (std::size_t at = begin; at + unit <= end; at += unit)
        span += static_cast<char16_t>(static_cast<unsigned char>(bytes[at]) |
                                      (cut.ucs2 ? static_cast<unsigned char>(bytes[at + 1]) << 8 : 0));
    std::size_t start = !span.empty() && span[0] == u'\n';
    for (std::size_t at = 2; at < span.size(); ++at)
        if (span[at - 1] == u'\n' && span[at] != u' ') start = at;
    std::size_t const from = begin + start * unit;
    return cut.ucs2 ? MARK + bytes.substr(std::min(std::max(from, unit), bytes.size())) : bytes.substr(from);
}

class ICRandomCuts
{
public:
    CUT mf_make()
    {
        CUT cut;
        cut.ucs2 = mf_below(2);
        cut.maximum = mf_below(4) == 0 ? mf_below(9000) : mf_below(400);
        cut.percent = 10 + static_cast<ulong>(mf_below(81));
        cut.bytesToWrite = static_cast<ulong>(mf_below(3));
        int units = static_cast<int>(cut.maximum) + mf_below(mf_below(4) == 0 ? 6000 : 60) - 20;
        if (cut.ucs2) units /= 2;
        // Few or many line ends and blanks; also such as lie across two bytes.
        int const rarity = 2 + mf_below(40);
        std::string const characters = "\n \r\n";
        for (; units > 0; --units) {
            cut.bytes += mf_below(rarity) < 1 ? characters[static_cast<std::size_t>(mf_below(4))] : 'x';
            if (cut.ucs2) cut.bytes += mf_below(30) == 0 ? '\n' : '\0';
        }
        return cut;
    }

private:
    int mf_below(int end) { return static_cast<int>(m_random() % static_cast<unsigned>(end)); }

    std::mt19937 m_random{20240131};
};

} // namespace

TEST(ICLogBaseCut, AnyFile_EqualsASimpleModel)
{
    ICRandomCuts cuts;
    ICCutLog log;
    int changed = 0;
    for (int round = 0; round < 400 && !testing::Test::HasFailure(); ++round) {
        CUT const cut = cuts.mf_make();
        SCOPED_TRACE(testing::Message() << "round " << round << ", size " << cut.bytes.size() << ", maximum "
                                        << cut.maximum << ", percent " << cut.percent << ", UCS-2 " << cut.ucs2);
        std::string const expected = f_model(cut);
        changed += expected != cut.bytes;
        f_check(log, {"random", cut, expected});
    }
    EXPECT_GT(changed, 100);
}

TEST(ICLogBaseCut, AllocatesNothing)
{
    for (int const ucs2 : {0, 1}) {
        ICCutLog const log({f_records(2000), 10000, 66, 1, ucs2});
        ICImportFault const malloced("malloc");
        ICImportFault const allocated("_Znwy");
        EXPECT_EQ(1, log.mf_implTruncateFile(1));
        EXPECT_EQ(0u, malloced.mf_getCalls() + allocated.mf_getCalls());
    }
}

TEST(ICLogBaseCut, FileStaysOpen_AndGoesOnAtItsEnd)
{
    ICCutLog const log({f_records(10)});
    HANDLE const file = log.m_hFile;
    ASSERT_EQ(1, log.mf_implTruncateFile(10));
    ASSERT_TRUE(log.mf_implWriteBytes("next line\n", 10));
    EXPECT_EQ(file, log.m_hFile);
    EXPECT_EQ(f_records(10).substr(40) + "next line\n", log.mf_getBytes());
}

// ------------------------------------------------------------------------------------------------------------ failures

namespace
{

struct FAILURE
{
    char const * import;
    ulong call; // of this import, within the cut
    int ucs2;
    wchar_t const * text; // behind the prefix
};

FAILURE const FAILURES[] = {
    {"SetFilePointerEx", 1, 0, L"(1.1): FAILURE GETTING FILE SIZE (31)"},
    {"SetFilePointerEx", 2, 0, L"(1.2): FAILURE SETTING FILE POINTER (31)"},
    {"ReadFile", 1, 0, L"(1.3): FAILURE READING SEARCH BUFFER (31)"},
    {"SetFilePointerEx", 3, 1, L"(1.4): FAILURE REWINDING FILE POINTER (31)"},
    {"SetFilePointerEx", 3, 0, L"(1.6): FAILURE POSITIONING FILE POINTER (31)"},
    {"SetFilePointerEx", 4, 1, L"(1.6): FAILURE POSITIONING FILE POINTER (31)"},
    {"SetFilePointerEx", 5, 0, L"(1.6): FAILURE POSITIONING FILE POINTER (31)"},
    {"ReadFile", 2, 0, L"(1.7): FAILURE READING FROM LOG FILE (31)"},
    {"ReadFile", 3, 0, L"(1.7): FAILURE READING FROM LOG FILE (31)"},
    {"SetFilePointerEx", 4, 0, L"(1.8): FAILURE POSITIONING FILE POINTER (31)"},
    {"SetFilePointerEx", 5, 1, L"(1.8): FAILURE POSITIONING FILE POINTER (31)"},
    {"WriteFile", 1, 0, L"(1.9): FAILURE WRITING TO LOG FILE (31)"},
    {"WriteFile", 2, 1, L"(1.9): FAILURE WRITING TO LOG FILE (31)"},
    {"SetFilePointerEx", 8, 0, L"(1.A): FAILURE POSITIONING FILE POINTER (31)"},
    {"SetEndOfFile", 1, 0, L"(1.B): FAILURE POSITIONING FILE POINTER TO EOF (31)"},
};

// The record to begin with starts at 40, and the tail is copied in two chunks.
CUT f_cutToFail(int ucs2)
{
    return {ucs2 ? MARK + f_widen(f_records(5)) : f_records(10), 100, 50, 1, ucs2};
}

std::string f_textInFile(wchar_t const * text)
{
    return f_halfOf(std::wstring(L"ICLogBase::mf_implTruncateFile") + text);
}

} // namespace

class ICLogBaseCutFailure : public testing::TestWithParam<FAILURE>
{};

TEST_P(ICLogBaseCutFailure, IsToldInTheFile)
{
    FAILURE const & failure = GetParam();
    ICCutLog const log(f_cutToFail(failure.ucs2));
    ICImportFault const fault(failure.import, ERROR_GEN_FAILURE, ICCalls::mf_only(failure.call));
    EXPECT_EQ(0, log.mf_implTruncateFile(1));
    EXPECT_EQ(1u, fault.mf_getAnswered());
    EXPECT_THAT(log.mf_getBytes(), HasSubstr(f_textInFile(failure.text)));
}

INSTANTIATE_TEST_SUITE_P(Marks, ICLogBaseCutFailure, testing::ValuesIn(FAILURES), [](auto const & test) {
    std::wstring const mark(test.param.text + 3, 1);
    return std::string(mark.begin(), mark.end()) + "_" + test.param.import + std::to_string(test.param.call);
});

TEST(ICLogBaseCut, FailureInTheMiddle_LeavesTheFilePartlyOverwritten)
{
    ICCutLog const log(f_cutToFail(0));
    ICImportFault const fault("SetEndOfFile", ERROR_DISK_FULL);
    EXPECT_EQ(0, log.mf_implTruncateFile(1));
    std::string const told = f_textInFile(L"(1.B): FAILURE POSITIONING FILE POINTER TO EOF (112)");
    EXPECT_EQ(f_records(10).substr(40) + told, log.mf_getBytes());
}

TEST(ICLogBaseCut, ShortReadOfTheSpan_IsAFailure)
{
    ICCutLog const log(f_cutToFail(0));
    ICImportPatch const shortRead(IC_IMPORT(ReadFile),
                                  [](HANDLE file, void * bytes, DWORD, DWORD * count, auto * other) {
                                      return ::ReadFile(file, bytes, 3, count, other);
                                  });
    EXPECT_EQ(0, log.mf_implTruncateFile(1));
    EXPECT_THAT(log.mf_getBytes(), HasSubstr(f_textInFile(L"(1.3): FAILURE READING SEARCH BUFFER (0)")));
}

TEST(ICLogBaseCut, ShortWriteOfAChunk_IsAFailure)
{
    ICCutLog const log(f_cutToFail(0));
    int calls = 0;
    ICImportPatch const shortWrite(IC_IMPORT(WriteFile),
                                   [&](HANDLE file, void const * bytes, DWORD size, DWORD * count, auto * other) {
                                       return ::WriteFile(file, bytes, ++calls == 1 ? 7 : size, count, other);
                                   });
    EXPECT_EQ(0, log.mf_implTruncateFile(1));
    std::string const told = f_records(10).substr(40, 7) + f_textInFile(L"(1.9): FAILURE WRITING TO LOG FILE (0)");
    EXPECT_THAT(log.mf_getBytes(), StartsWith(told));
}

// The tail is read in chunks of the span, and the last is what is left.
TEST(ICLogBaseCut, ShortReadOfAChunk_GoesOn)
{
    ICCutLog const log(f_cutToFail(0));
    int calls = 0;
    ICImportPatch const shortRead(IC_IMPORT(ReadFile),
                                  [&](HANDLE file, void * bytes, DWORD size, DWORD * count, auto * other) {
                                      return ::ReadFile(file, bytes, ++calls == 1 ? size : 7, count, other);
                                  });
    EXPECT_EQ(1, log.mf_implTruncateFile(1));
    EXPECT_EQ(f_records(10).substr(40), log.mf_getBytes());
}

TEST(ICLogBaseCut, MarkThatCannotBeWritten_IsToldWithTheFailure)
{
    ICCutLog const log(f_cutToFail(1));
    std::wstring told;
    int calls = 0;
    ICImportPatch const full(IC_IMPORT(WriteFile),
                             [&](HANDLE file, void const * bytes, DWORD size, DWORD * count, auto * other) -> BOOL {
                                 if (++calls > 1) {
                                     // The text itself is longer than what is written of it.
                                     told.assign(static_cast<wchar_t const *>(bytes), size);
                                     return ::WriteFile(file, bytes, size, count, other);
                                 }
                                 ::SetLastError(ERROR_DISK_FULL);
                                 return FALSE;
                             });
    EXPECT_EQ(0, log.mf_implTruncateFile(1));
    EXPECT_EQ(2, calls);
    std::wstring const mark = L"ICLogBase::mf_implTruncateFile(1.5): FAILURE WRITING BYTE-ORDER-MARK: ";
    EXPECT_EQ(mark, told.substr(0, mark.size()));
    EXPECT_GT(told.size(), mark.size());
    EXPECT_THAT(log.mf_getBytes(), StartsWith(f_halfOf(told)));
}

TEST(ICLogBaseCut, FailureWithoutAFile_IsToldNowhere)
{
    ICTestLog const log;
    ICImportFault const writes("WriteFile");
    EXPECT_EQ(0, log.mf_implTruncateFile(1));
    EXPECT_EQ(0u, writes.mf_getCalls());
}
