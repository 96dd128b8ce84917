#include <gtest/gtest.h>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICStartedProcess.h"

namespace
{

// What the system says, by itself.
CString f_systemText(ulong code)
{
    wchar_t buffer[256] = {};
    ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 0, buffer, 255, nullptr);
    CString text(buffer);
    text.TrimRight();
    return text;
}

ICErrnoData f_fullRecord()
{
    ICErrnoData data(ICErrno::_E_::Logging);
    data.m_creationTime = {0, 0};
    data.mf_setOriginator(ICErrnoData::TARNWELL, 17, L"server  is down");
    data.mf_setKVRNumber(L"KVR27469E", 1);
    data.mf_setMessageText(L"The log file app.log cannot be opened.", 1);
    data.mf_setExplanation(L"Another program holds the file.", 1);
    data.mf_setSystemAction(L"The program goes on without a log.", 1);
    data.mf_setUserResponse(L"Close the other program and start again.", 1);
    return data;
}

// Rendering stamps nothing: the record's own time is shown, here the platform's epoch.
constexpr wchar_t TIME[] = L"01-01-01 00:00:00.000";

CString f_bar(wchar_t fill)
{
    return CString(fill, 78);
}

} // namespace

TEST(ICErrno, FromAConstant_CarriesItsRecord)
{
    ICErrno const failure(ICErrno::_W_::Timeout);
    EXPECT_EQ(0x02000034, failure.mf_getNumber());
    EXPECT_TRUE(failure.mf_isErrno(ICErrno::_W_::Timeout));
    EXPECT_FALSE(failure.mf_isErrno(ICErrno::_E_::CRC));
    EXPECT_FALSE(failure.mf_hasMessage());
    EXPECT_TRUE(failure.mf_isWarning() && failure.mf_isYellow());
    EXPECT_FALSE(failure.mf_isError() || failure.mf_isSevere() || failure.mf_isGreen() || failure.mf_isRed());
    EXPECT_STREQ(L"<resource-id=2144 not loaded>", failure.mf_getString());
}

TEST(ICErrno, IsErrno_ComparesTheNumbersOnly)
{
    ICErrno const failure(ICErrno::_E_::FileOpen);
    EXPECT_TRUE(failure.mf_isErrno(ICErrnoValue(0x0300002c, 1)));
}

TEST(ICErrno, SystemFailure_HasTheSystemAsOriginator)
{
    ICErrno const failure(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED);
    ICErrnoData const & data = failure.mf_getErrnoData();
    EXPECT_EQ(ICErrnoData::SYSTEM, data.mf_getOriginatorId());
    EXPECT_EQ(ulong(ERROR_ACCESS_DENIED), data.mf_getOriginatorErrno());
    EXPECT_STREQ(f_systemText(ERROR_ACCESS_DENIED), data.mf_getOriginatorMessage());
    EXPECT_EQ(ICErrno::_E_::FileOpen.mf_getNumber(), data.mf_getNumber());
}

TEST(ICErrno, OtherOriginator_IsTakenAsGiven)
{
    ICErrno const failure(ICErrno::_E_::Tarnwell, ICErrnoData::TARNWELL, 17, L"no session");
    EXPECT_EQ(ICErrnoData::TARNWELL, failure.mf_getErrnoData().mf_getOriginatorId());
    EXPECT_EQ(17u, failure.mf_getErrnoData().mf_getOriginatorErrno());
    EXPECT_STREQ(L"no session", failure.mf_getErrnoData().mf_getOriginatorMessage());
}

TEST(ICErrno, AssignmentAndCopy_MergeTheRecords)
{
    ICErrno failure(ICErrno::_E_::FileOpen, ERROR_ACCESS_DENIED);
    failure = ICErrno(ICErrno::_W_::Timeout);
    EXPECT_TRUE(failure.mf_isErrno(ICErrno::_W_::Timeout));
    EXPECT_EQ(ulong(ERROR_ACCESS_DENIED), failure.mf_getErrnoData().mf_getOriginatorErrno());
    ICErrno const copy(failure);
    EXPECT_EQ(ulong(ERROR_ACCESS_DENIED), copy.mf_getErrnoData().mf_getOriginatorErrno());
}

TEST(ICErrno, ThrownInTheLibrary_IsCaughtInTheProgram)
{
    try {
        ICErrnoData data;
        IFSeverity::mf_getSeverity(data);
        FAIL() << "no failure";
    }
    catch (ICErrno & failure) {
        EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::Unexpected));
    }
}

TEST(ICErrno, SystemMessage_ShowsCodeAndText)
{
    CString expected;
    expected.Format(L"5L (%s)", f_systemText(5).GetString());
    EXPECT_STREQ(expected, ICErrno::mf_getSystemMessage(5));
    EXPECT_FALSE(f_systemText(5).IsEmpty());
}

TEST(ICErrno, SystemMessageOfAnUnknownCode_IsTheSubstitute)
{
    EXPECT_STREQ(L"987654321L (<no error string available>)", ICErrno::mf_getSystemMessage(987654321));
}

// The text of 193 has an insert, and nobody knows its argument.
TEST(ICErrno, SystemMessageWithAnInsert_IsTheSubstitute)
{
    EXPECT_STREQ(L"193L (<no error string available>)", ICErrno::mf_getSystemMessage(193));
}

TEST(ICErrno, SystemMessageThatCannotBeFormatted_AsksForTheReasonOnce)
{
    ICImportFault const fault("FormatMessageW", ERROR_MR_MID_NOT_FOUND);
    EXPECT_STREQ(L"5L (<no error string available>)", ICErrno::mf_getSystemMessage(5));
    EXPECT_EQ(2u, fault.mf_getCalls());
}

TEST(ICErrno, OriginatorNames_AreThoseOfTheTable)
{
    wchar_t const * const names[] = {L"System",       L"Rexbury",          L"Loopback",        L"Tarnwell",
                                     L"Morwick",      L"MessagePlus/Open", L"Xerces",          L"HSM driver",
                                     L"HSM internal", L"Backup",           L"User interaction"};
    for (ulong id = 0; id < std::size(names); ++id)
        EXPECT_STREQ(names[id], ICErrno::mf_implGetOriginatorName(id));
    EXPECT_STREQ(L"<INVALID ORIGINATOR ID>", ICErrno::mf_implGetOriginatorName(11));
    EXPECT_STREQ(L"<INVALID ORIGINATOR ID>", ICErrno::mf_implGetOriginatorName(0xffffffff));
}

TEST(ICErrno, ToString_ShowsTheOriginatorWhenThereIsOne)
{
    EXPECT_STREQ(L"0x03000010 (E: <resource-id=2020 not loaded>)", ICErrno(ICErrno::_E_::CRC).mf_toString());
    ICErrno const failure(ICErrno::_E_::CRC, ICErrnoData::BACKUP, 3, L"tape");
    EXPECT_STREQ(L"    Errno-value:    0x03000010 (E: <resource-id=2020 not loaded>)\r\n"
                 L"    Originator:     Backup, error code 3L (0x00000003L): tape",
                 failure.mf_toString());
}

TEST(ICErrno, LogRendering_OfABareRecord)
{
    EXPECT_STREQ(L"> Errno-value:    0x03000010 (E: <resource-id=2020 not loaded>)\r\n"
                 L"> Originator:     <No originator information>",
                 ICErrno(ICErrno::_E_::CRC).mf_toLogMessage(L"> "));
}

TEST(ICErrno, LogRendering_OfAFullRecord)
{
    EXPECT_STREQ(L"* Errno-value:    0x03000045 (E: <resource-id=2086 not loaded>)\r\n"
                 L"* Originator:     Tarnwell, error code 17L (0x00000011L): server  is down\r\n"
                 L"* Message-number: KVR27469E\r\n"
                 L"* Message-text:   The log file app.log cannot be opened.\r\n"
                 L"* Explanation:    Another program holds the file.\r\n"
                 L"* System action:  The program goes on without a log.\r\n"
                 L"* User response:  Close the other program and start again.",
                 ICErrno::mf_toLogMessage(f_fullRecord(), L"* "));
}

TEST(ICErrno, LogRendering_OfTheSystemsOwnClient_HasNeitherCodeNorText)
{
    ICErrno const failure(ICErrno::_E_::CRC, ICErrnoData::HSM_INTERNAL, 3, L"hidden");
    EXPECT_STREQ(L"Errno-value:    0x03000010 (E: <resource-id=2020 not loaded>)\r\nOriginator:     HSM internal",
                 failure.mf_toLogMessage(L""));
}

TEST(ICErrno, LogRendering_OfAnUnknownOriginator_DoesNotFail)
{
    ICErrno const failure(ICErrno::_E_::CRC, 99, 3, L"who");
    EXPECT_STREQ(L"Errno-value:    0x03000010 (E: <resource-id=2020 not loaded>)\r\n"
                 L"Originator:     <INVALID ORIGINATOR ID>, error code 3L (0x00000003L): who",
                 failure.mf_toLogMessage(L""));
}

TEST(ICErrno, EmptyNumber_ShowsThePlaceholderInAllRenderings)
{
    ICErrnoData data(ICErrno::_I_::Ok);
    data.mf_setKVRNumber(L"", 1);
    data.mf_setMessageText(L"done", 1);
    data.mf_setExplanation(L"x", 1);
    EXPECT_NE(-1, ICErrno::mf_toLogMessage(data, L"").Find(L"Message-number: KVR?????T"));
    EXPECT_NE(-1, ICErrno::mf_toConsoleMessage(data, L"").Find(L"KVR?????T: done"));
    EXPECT_NE(-1, ICErrno::mf_toGuiMessage(data, L"").Find(L"KVR?????T: done"));
    data.mf_setValue(ICErrno::_W_::Timeout);
    EXPECT_NE(-1, ICErrno::mf_toConsoleMessage(data, L"").Find(L"KVR?????E: done"));
}

// Deliberate: without a number the log has no such line and users see another placeholder.
TEST(ICErrno, MissingNumber_DiffersBetweenLogAndUsers)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    data.mf_setMessageText(L"bad", 1);
    data.mf_setExplanation(L"x", 1);
    EXPECT_EQ(-1, ICErrno::mf_toLogMessage(data, L"").Find(L"Message-number"));
    EXPECT_NE(-1, ICErrno::mf_toConsoleMessage(data, L"").Find(L"KVR?????X: bad"));
    EXPECT_NE(-1, ICErrno::mf_toGuiMessage(data, L"").Find(L"KVR?????X: bad"));
}

TEST(ICErrno, ConsoleRendering_OfABareRecord_IsTheHead)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    data.m_creationTime = {0, 0};
    CString const expected = L"\r\n> " + f_bar(L'=') + L"\r\n> " + TIME +
                             L"  0x03000010 (E: <resource-id=2020 not loaded>)\r\n> " + f_bar(L'=') + L"\r\n";
    EXPECT_STREQ(expected, ICErrno::mf_toConsoleMessage(data, L"> "));
}

TEST(ICErrno, ConsoleRendering_OfAFullRecord)
{
    ICStartedProcess const process;
    CString const text = ICErrno(ICErrno::_E_::Logging).mf_getString();
    CString const expected = L"\r\n" + f_bar(L'=') + L"\r\n" + TIME + L"  0x03000045 (E: " + text + L")\r\n" +
                             f_bar(L'=') + L"\r\n" + L"KVR27469E: The log file app.log cannot be opened.\r\n" +
                             f_bar(L'-') + L"\r\n";
    CString const rendered = ICErrno::mf_toConsoleMessage(f_fullRecord(), L"");
    EXPECT_STREQ(expected, rendered.Left(expected.GetLength()));

    CString const rest = rendered.Mid(expected.GetLength());
    int position = 0;
    CString const originator = rest.Tokenize(L"\r\n", position);
    EXPECT_EQ(0, originator.Find(ICString(4060u)));
    EXPECT_NE(-1, originator.Find(L"Tarnwell"));
    EXPECT_NE(-1, originator.Find(L"server is down")) << "wrapping joins words with one blank";
    EXPECT_STREQ(f_bar(L'-'), rest.Tokenize(L"\r\n", position));
    int column = 0;
    for (wchar_t const * const detail : {L"Another program", L"The program goes on", L"Close the other"}) {
        CString const line = rest.Tokenize(L"\r\n", position);
        int const at = line.Find(detail);
        EXPECT_GT(at, 0);
        EXPECT_TRUE(column == 0 || column == at) << "the texts stand in one column";
        column = at;
    }
    EXPECT_STREQ(f_bar(L'-'), rest.Tokenize(L"\r\n", position));
    EXPECT_EQ(originator.Find(L"Tarnwell"), column);
}

TEST(ICErrno, ConsoleRendering_WrapsAtSeventyNineWithAHangingIndent)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    CString words;
    for (int word = 0; word < 60; ++word)
        words.AppendFormat(L"word%d ", word);
    data.mf_setExplanation(words, 1);
    CString const rendered = ICErrno::mf_toConsoleMessage(data, L"| ");
    int position = 0;
    int lines = 0;
    for (CString line = rendered.Tokenize(L"\r\n", position); position != -1;
         line = rendered.Tokenize(L"\r\n", position), ++lines) {
        EXPECT_EQ(0, line.Find(L"| "));
        bool const isBar = line.Find(f_bar(line[2])) == 2;
        EXPECT_LE(line.GetLength(), isBar || lines < 3 ? 80 : 79);
    }
    EXPECT_GT(lines, 8);
}

TEST(ICErrno, ConsoleRendering_OfTheSystemsOwnClient_ShowsTheNameOnly)
{
    ICErrno const failure(ICErrno::_E_::CRC, ICErrnoData::HSM_INTERNAL, 3, L"hidden");
    CString const rendered = failure.mf_toConsoleMessage(L"");
    EXPECT_NE(-1, rendered.Find(L"HSM internal"));
    EXPECT_EQ(-1, rendered.Find(L"hidden"));
}

TEST(ICErrno, GuiRendering_OfABareRecord_IsTheHead)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    data.m_creationTime = {0, 0};
    EXPECT_STREQ(CString(L"> ") + TIME + L"  0x03000010 (E: <resource-id=2020 not loaded>)\r\n\r\n",
                 ICErrno::mf_toGuiMessage(data, L"> "));
}

TEST(ICErrno, GuiRendering_OfABareMessage_GoesWithoutItsNumber)
{
    ICErrnoData data(ICErrno::_E_::CRC);
    data.mf_setKVRNumber(L"KVR00001E", 1);
    data.mf_setMessageText(L"two\r\nlines", 1);
    CString const rendered = ICErrno::mf_toGuiMessage(data, L"");
    EXPECT_STREQ(L"two lines", rendered.Mid(rendered.Find(L"\r\n\r\n") + 4));
}

TEST(ICErrno, GuiRendering_OfAnExplanationAlone_ShowsTheOtherTwoAsMissing)
{
    ICStartedProcess const process;
    ICErrnoData data(ICErrno::_E_::CRC);
    data.mf_setExplanation(L"because", 1);
    CString const rendered = ICErrno::mf_toGuiMessage(data, L"* ");
    CString const expected = L"\r\n\r\n\r\n\r\n* " + CString(ICString(3511u, L"", L"")) + L"because\r\n\r\n* " +
                             CString(ICString(4422u, L"", L"")) + L"N/A\r\n\r\n* " +
                             CString(ICString(4522u, L"", L"")) + L"N/A";
    EXPECT_STREQ(expected, rendered.Mid(rendered.Find(L"\r\n")));
}

TEST(ICErrno, GuiRendering_OfAFullRecord)
{
    ICStartedProcess const process;
    CString const rendered = ICErrno::mf_toGuiMessage(f_fullRecord(), L"");
    CString const originator = L"\r\n\r\n" + CString(ICString(4060u)) +
                               CString(ICString(4057u, L"Tarnwell", 17ul, L"server is down")) + L"\r\n\r\n";
    CString const message = L"\r\n\r\nKVR27469E: The log file app.log cannot be opened.";
    int const at = rendered.Find(message);
    EXPECT_GT(at, 0);
    EXPECT_EQ(at + message.GetLength(), rendered.Find(originator));
    EXPECT_STREQ(L"Close the other program and start again.", rendered.Right(40));
    EXPECT_EQ(-1, rendered.Find(L"N/A"));
}

TEST(ICErrno, NoOriginatorText_StaysInTheLanguageOfItsFirstCaller)
{
    // The text is made once per process: ask for it here, whoever was first.
    ICErrnoData data(ICErrno::_E_::CRC);
    data.mf_setOriginatorId(ICErrnoData::BACKUP);
    wchar_t const * const first = data.mf_getOriginatorMessage();
    CString const text = first;
    ICStartedProcess const german(L"German");
    EXPECT_EQ(first, data.mf_getOriginatorMessage());
    EXPECT_STREQ(text, data.mf_getOriginatorMessage());
}
