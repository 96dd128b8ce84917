#include "programs/hsmscan/ICConsole.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "hsmbase/context/ICLanguage.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"

using testing::ElementsAre;

namespace
{

// The program's streams are a console of this width; what is written to it is kept.
class ICConsoleTest : public testing::Test
{
protected:
    ~ICConsoleTest() override { ICConsole::mf_showStatus(CString()); }

    int m_width = 80; // 0: the console doesn't tell
    std::vector<std::wstring> m_written;

private:
    ICStartedProcess const m_process;
    ICImportPatch const m_mode{"GetConsoleMode", [](HANDLE, DWORD *) -> BOOL { return TRUE; }, nullptr};
    ICImportPatch const m_info{IC_IMPORT(GetConsoleScreenBufferInfo),
                               [this](HANDLE, CONSOLE_SCREEN_BUFFER_INFO * console) -> BOOL {
                                   console->dwSize.X = static_cast<SHORT>(m_width);
                                   return m_width > 0;
                               },
                               nullptr};
    ICImportPatch const m_write{IC_IMPORT(WriteConsoleW),
                                [this](HANDLE, void const * text, DWORD length, DWORD * written, void *) -> BOOL {
                                    m_written.emplace_back(static_cast<wchar_t const *>(text), length);
                                    *written = length;
                                    return TRUE;
                                },
                                nullptr};
};

class ICConsoleDoubleWidthTest : public ICConsoleTest
{
protected:
    ICConsoleDoubleWidthTest() { ICLanguage::m_pThis->m_userLanguageId = 1041; }
};

std::wstring f_blanks(std::size_t count)
{
    return std::wstring(count, L' ');
}

} // namespace

TEST_F(ICConsoleTest, Status_IsOverwrittenWhole)
{
    ICConsole::mf_showStatus(L"10 files");
    ICConsole::mf_showStatus(L"1 file");
    ICConsole::mf_showStatus(L"2 files");
    ICConsole::mf_showStatus(CString());
    EXPECT_THAT(m_written, ElementsAre(L"\r10 files", L"\r1 file  ", L"\r2 files", L"\r       \r"));
}

TEST_F(ICConsoleTest, StatusThatIsNone_WritesNothing)
{
    ICConsole::mf_showStatus(CString());
    EXPECT_THAT(m_written, testing::IsEmpty());
}

TEST_F(ICConsoleTest, Line_StandsAboveTheStatus)
{
    ICConsole::mf_printLine(L"first");
    ICConsole::mf_showStatus(L"10 files");
    ICConsole::mf_printError(L"second");
    EXPECT_THAT(m_written,
                ElementsAre(L"first\r\n", L"\r10 files", L"\r" + f_blanks(8) + L"\r", L"second\r\n", L"10 files"));
}

// Writing to the last column may begin the next line.
TEST_F(ICConsoleTest, StatusWiderThanTheConsole_IsCut)
{
    m_width = 11;
    ICConsole::mf_showStatus(L"0123456789");
    ICConsole::mf_showStatus(L"0123456789a");
    ICConsole::mf_printLine(L"line");
    EXPECT_THAT(m_written, ElementsAre(L"\r0123456789", L"\r0123456...", L"\r" + f_blanks(10) + L"\r", L"line\r\n",
                                       L"0123456..."));
}

TEST_F(ICConsoleTest, ConsoleThatDoesNotTellItsWidth_HasAnOrdinaryOne)
{
    std::wstring const text(100, L'x');
    for (int const width : {0, 1, 3}) {
        m_width = width;
        ICConsole::mf_showStatus(text.c_str());
    }
    EXPECT_THAT(m_written, testing::Each(L"\r" + text.substr(0, 76) + L"..."));
}

TEST_F(ICConsoleDoubleWidthTest, Status_IsOverwrittenByColumns)
{
    ICConsole::mf_showStatus(L"10 ファイル");
    ICConsole::mf_showStatus(L"ファイル");
    ICConsole::mf_showStatus(L"abcdefghij");
    ICConsole::mf_showStatus(L"日本");
    ICConsole::mf_printLine(L"語");
    EXPECT_THAT(m_written, ElementsAre(L"\r10 ファイル", L"\rファイル   ", L"\rabcdefghij", L"\r日本      ",
                                       L"\r    \r", L"語\r\n", L"日本"));
}

TEST_F(ICConsoleDoubleWidthTest, StatusWiderThanTheConsole_IsCutByColumns)
{
    m_width = 10;
    ICConsole::mf_showStatus(L"ファイル");
    ICConsole::mf_showStatus(L"ファイル10");
    EXPECT_THAT(m_written, ElementsAre(L"\rファイル", L"\rファイ..."));
}
