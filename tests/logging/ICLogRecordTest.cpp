#include "tests/support/ICTracedProcess.h"

#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

// How a record looks, in both widths.

namespace
{

std::wstring f_hexadecimal(ulong number)
{
    wchar_t text[9];
    ::swprintf_s(text, 9, L"%4.4X", number);
    return text;
}

auto f_clock(SYSTEMTIME const & time)
{
    return [time](SYSTEMTIME * now) { *now = time; };
}

// A process whose log is 8-bit or UCS-2, as the parameter says.
class ICLogRecords : public testing::TestWithParam<int>
{
protected:
    ICLogRecords()
    {
        ICLog::m_pThis->mf_implStop();
        ::DeleteFileW(m_process.mf_getLogFile().c_str());
        ICLog::m_pThis->m_bUcs2 = GetParam();
        ICLog::m_pThis->mf_implStart();
        ::wcscpy_s(ICLog::m_pThis->m_szProcessNameW, 32, L"APP");
        ::strcpy_s(ICLog::m_pThis->m_szProcessNameA, 32, "APP");
    }

    std::wstring mf_read() const { return f_readLogText(m_process.mf_getLogFile()); }
    std::wstring mf_prefix(std::wstring const & function) const
    {
        std::wstring prefix = L"APP (" + f_hexadecimal(::GetCurrentProcessId()) + L":" +
                              f_hexadecimal(::GetCurrentThreadId()) + L") " + function;
        prefix.resize(57, L' ');
        return prefix;
    }

    ICTracedProcess const m_process;
};

INSTANTIATE_TEST_SUITE_P(BothEncodings, ICLogRecords, testing::Values(0, 1));

constexpr SYSTEMTIME NEW_YEAR_S_EVE = {2024, 1, 3, 31, 23, 59, 59, 7};

} // namespace

TEST_P(ICLogRecords, Record_HasPrefixTimeLevelAndText)
{
    ICImportPatch const clock(IC_IMPORT(GetLocalTime), f_clock(NEW_YEAR_S_EVE));
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"ICLog::mf_setLogLevel", L"slots = 0x%8.8x", 0x113ul);
    EXPECT_EQ(mf_prefix(L"ICLog::mf_setLogLevel") + L" 24-01-31 23:59:59.007\r\n I: slots = 0x00000113\r\n", mf_read());
}

TEST_P(ICLogRecords, EightBitRecord_IsTheSameText)
{
    ICImportPatch const clock(IC_IMPORT(GetLocalTime), f_clock(NEW_YEAR_S_EVE));
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, "ICLog::mf_setLogLevel", "slots = 0x%8.8x %s", 0x113ul, "on");
    EXPECT_EQ(mf_prefix(L"ICLog::mf_setLogLevel") + L" 24-01-31 23:59:59.007\r\n I: slots = 0x00000113 on\r\n",
              mf_read());
}

TEST_P(ICLogRecords, StartedArgumentList_IsTheSameText)
{
    auto const write = [](wchar_t const * format, ...) {
        va_list arguments;
        va_start(arguments, format);
        ICLog::mf_vaWriteMessage(ICLogData::LEVEL_K, L"F", format, arguments);
        va_end(arguments);
    };
    write(L"%s %d", L"a", 5);
    EXPECT_TRUE(mf_read().ends_with(L"\r\n K: a 5\r\n"));
}

TEST_P(ICLogRecords, LongFunction_IsCutAndTheDateKeepsItsColumn)
{
    std::wstring const function(100, L'f');
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, function.c_str(), L"x");
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, std::string(100, 'f').c_str(), "x");
    std::wstring const text = mf_read();
    EXPECT_EQ(mf_prefix(function) + L' ', text.substr(0, 58));
    auto const records = f_splitRecords(text);
    ASSERT_EQ(2u, records.size());
    EXPECT_EQ(records[0].substr(0, 58), records[1].substr(0, 58));
    for (auto const & record : records)
        EXPECT_EQ(58u + 21, record.find(L"\r\n"));
}

TEST_P(ICLogRecords, NoFunction_LeavesThePrefixShort)
{
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, static_cast<wchar_t const *>(nullptr), L"x");
    EXPECT_EQ(mf_prefix(L""), mf_read().substr(0, 57));
}

TEST_P(ICLogRecords, LargeNumbersOfProcessAndThread_KeepTheirDigits)
{
    ICLog::m_pThis->m_ulProcessId = 0xabcdef01;
    ICImportPatch const thread(IC_IMPORT(GetCurrentThreadId), [] { return DWORD{0x12345}; });
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"x");
    EXPECT_EQ(L"APP (ABCDEF01:12345) F ", mf_read().substr(0, 23));
}

TEST_P(ICLogRecords, EveryLevel_HasItsLetter)
{
    ICLogData const * const levels[] = {
        &ICLogData::LEVEL_S, &ICLogData::LEVEL_E, &ICLogData::LEVEL_W, &ICLogData::LEVEL_I, &ICLogData::LEVEL_T,
        &ICLogData::LEVEL_D, &ICLogData::LEVEL_X, &ICLogData::LEVEL_F, &ICLogData::LEVEL_K, &ICLogData::LEVEL_C,
        &ICLogData::LEVEL_L, &ICLogData::LEVEL_U, &ICLogData::LEVEL_G};
    for (ICLogData const * const level : levels)
        ICLog::mf_writeMessage(*level, L"F", L"x");
    std::string letters;
    for (ICTraceRecord const & record : m_process.mf_read())
        letters += record.m_level;
    EXPECT_EQ("SEWITDXFKCLUG", letters);
}

TEST_P(ICLogRecords, FurtherLines_BeginWithABlank)
{
    struct CASE
    {
        wchar_t const * message;
        wchar_t const * lines;
    };
    CASE const cases[] = {
        {L"a\r\nb", L"a\r\n     b\r\n"},
        {L"a\r\nb\r\nc", L"a\r\n     b\r\n     c\r\n"},
        {L"a\r\n    b", L"a\r\n    b\r\n"},             // as ICLog::TAB leaves it
        {L"a\r\n b", L"a\r\n b\r\n"},                   //
        {L"a\r\n        b", L"a\r\n    b\r\n"},         // eight blanks lose four
        {L"a\r\n        bc", L"a\r\n    bc\r\n"},       //
        {L"a\r\n        b c", L"a\r\n        b c\r\n"}, // Deliberate: the tenth character is a blank
        {L"a\r\n         b", L"a\r\n     b\r\n"},       // nine blanks: the tenth is none
        {L"a\r\n          b", L"a\r\n          b\r\n"}, // ten
        {L"a\r\n        ", L"a\r\n    \r\n"},           // nothing behind the blanks
        {L"a\r\n\r\nb", L"a\r\n     \r\n     b\r\n"},   // an empty line
        {L"\r\n", L"\r\n     \r\n"},                    //
        {L"a\nb\rc", L"a\nb\rc\r\n"},                   // these are no line ends
        {L"a\t\x01z", L"a\t\x01z\r\n"},                 // control characters stay
    };
    for (CASE const & testCase : cases) {
        std::size_t const before = mf_read().size();
        ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"%s", testCase.message);
        EXPECT_EQ(std::wstring(L" I: ") + testCase.lines, mf_read().substr(before + 58 + 21 + 2))
            << testing::PrintToString(std::wstring(testCase.message));
    }
}

TEST_P(ICLogRecords, OverlongMessage_IsCutAndKeepsItsLineEnd)
{
    std::wstring const text(20000, L'x');
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"%s", text.c_str());
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, "F", "%s", std::string(20000, 'y').c_str());
    auto const records = f_splitRecords(mf_read());
    ASSERT_EQ(2u, records.size());
    for (std::wstring const & record : records) {
        EXPECT_EQ(8191u, record.size());
        EXPECT_TRUE(record.ends_with(L"\r\n"));
        EXPECT_TRUE(f_parseRecord(record));
    }
}

TEST_P(ICLogRecords, LongestMessageThatFits_IsWhole)
{
    std::wstring const text(8191 - 85 - 2, L'x');
    for (std::wstring const & message : {text, text + L'x'}) {
        std::size_t const before = mf_read().size();
        ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"%s", message.c_str());
        EXPECT_EQ(text + L"\r\n", mf_read().substr(before + 85));
    }
}

// What an earlier record left in the shared buffer never shows.
TEST_P(ICLogRecords, TextThatCannotBeRendered_LeavesNothingOfOthers)
{
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, "F", "%s", std::string(300, 'z').c_str());
    std::size_t const before = mf_read().size();
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, "F", "a%S", L"\x4e00");
    EXPECT_EQ(std::wstring::npos, mf_read().find(L'z', before));
    EXPECT_TRUE(mf_read().ends_with(L"\r\n"));
}

TEST_P(ICLogRecords, TextBeyondTheCodePage_KeepsItsLength)
{
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"[\x4e00\x20ac\xe4]");
    std::wstring const kept = GetParam() ? L"[\x4e00\x20ac\xe4]\r\n" : L"[?\x20ac\xe4]\r\n";
    EXPECT_EQ(kept, mf_read().substr(85));
}

TEST_P(ICLogRecords, EightBitText_IsOfTheThreadsCodePage)
{
    ICLog::mf_writeMessage(ICLogData::LEVEL_I, "F", "[\x80\xe4]");
    EXPECT_EQ(L"[\x20ac\xe4]\r\n", mf_read().substr(85));
}

// ------------------------------------------------------------------------------------------- too many blanks to add

namespace
{
// A message that fits until its many lines are indented.
std::wstring f_manyLines()
{
    std::wstring text;
    for (int line = 0; line < 2000; ++line)
        text += L"a\r\n";
    return text;
}
} // namespace

IC_CHILD(log_too_many_lines)
{
    ICTracedProcess const process(L"German");
    ICThreadContext::mf_setLoggingLanguage();
    ulong failure = 0;
    try {
        ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"%s", f_manyLines().c_str());
    }
    catch (ICErrno & thrown) {
        failure = thrown.mf_getErrnoData().mf_getNumber();
    }
    if (failure != ICErrno::_E_::BufferTooSmall.mf_getNumber()) return 1;
    if (ICThreadContext::mf_getCurrentLanguageId() != ICLanguage::mf_getUserLanguageId()) return 2;
    // Deliberate: this thread keeps the lock, and may go on.
    if (ICLog::m_pThis->ICLogBase::m_csLock.RecursionCount != 1) return 3;
    if (((ICEventBroadcaster const &)*ICLog::m_pThis).m_csLock.RecursionCount != 0) return 4;
    auto const records = process.mf_trace([] { ICLog::mf_writeMessage(ICLogData::LEVEL_I, L"F", L"next"); });
    if (records.size() != 1 || records[0].m_text != "next") return 5;
    ICLog::m_pThis->mf_implUnlock();
    return 0;
}

TEST(ICLogRecordChild, LinesThatOverflowWhenIndented_AreThrownWithTheLockHeld)
{
    ICChildProcess child("log_too_many_lines");
    EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getErrors();
}

TEST(ICLogFixBlanks, Answer_IsTheGrowth)
{
    ICTracedProcess const process;
    ICLog const & log = *ICLog::m_pThis;
    char narrow[32] = "h\r\na\r\n        b\r\n";
    EXPECT_EQ(1, log.mf_implFixBlanks(narrow, 17, 32));
    EXPECT_STREQ("h\r\n     a\r\n    b\r\n", narrow);
    wchar_t wide[32] = L"h\r\na\r\n        b\r\n";
    EXPECT_EQ(1, log.mf_implFixBlanks(wide, 17, 32));
    EXPECT_STREQ(L"h\r\n     a\r\n    b\r\n", wide);
}

TEST(ICLogFixBlanks, Room_CountsTheTerminator)
{
    ICTracedProcess const process;
    ICLog const & log = *ICLog::m_pThis;
    char fits[12] = "h\r\na\r\n";
    EXPECT_EQ(5, log.mf_implFixBlanks(fits, 6, 12));
    char tooSmall[12] = "h\r\na\r\n";
    EXPECT_TRUE(f_throws(ICErrno::_E_::BufferTooSmall, [&] { log.mf_implFixBlanks(tooSmall, 6, 11); }));
}

TEST(ICLogFixBlanks, TextWithoutLineEnd_IsLeftAlone)
{
    ICTracedProcess const process;
    char text[4] = "abc";
    EXPECT_EQ(0, ICLog::m_pThis->mf_implFixBlanks(text, 3, 4));
    EXPECT_STREQ("abc", text);
}
