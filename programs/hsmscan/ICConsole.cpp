#include "programs/hsmscan/ICConsole.h"

#include <algorithm>

#include "programs/Utf8.h"
#include "programs/hsmscan/ICExclusiveLock.h"
#include "programs/hsmscan/ICTextLayout.h"

SRWLOCK ICConsole::m_lock = SRWLOCK_INIT;
CString ICConsole::m_status;
int ICConsole::m_statusWidth = 0;

void ICConsole::mf_printLine(CString const & text)
{
    mf_implPrint(STD_OUTPUT_HANDLE, text);
}

void ICConsole::mf_printError(CString const & text)
{
    mf_implPrint(STD_ERROR_HANDLE, text);
}

bool ICConsole::mf_canShowStatus()
{
    ulong mode = 0;
    return ::GetConsoleMode(::GetStdHandle(STD_ERROR_HANDLE), &mode);
}

void ICConsole::mf_showStatus(CString const & text)
{
    ICExclusiveLock const lock(m_lock);
    if (text.IsEmpty() && m_status.IsEmpty()) return;
    // A status of two lines would leave the first behind each time.
    m_status = ICTextLayout::mf_cut(text, mf_implGetStatusWidth());
    int const width = ICTextLayout::mf_getWidth(m_status);
    CString const rest(L' ', std::max(0, m_statusWidth - width));
    mf_implWrite(STD_ERROR_HANDLE, L"\r" + m_status + rest + (text.IsEmpty() ? L"\r" : L""));
    m_statusWidth = width;
}

void ICConsole::mf_implPrint(ulong stream, CString const & text)
{
    ICExclusiveLock const lock(m_lock);
    if (!m_status.IsEmpty()) mf_implWrite(STD_ERROR_HANDLE, L"\r" + CString(L' ', m_statusWidth) + L"\r");
    mf_implWrite(stream, text + L"\r\n");
    if (!m_status.IsEmpty()) mf_implWrite(STD_ERROR_HANDLE, m_status);
}

// The run-time's own streams stop at the first character that the code page of a pipe cannot show.
void ICConsole::mf_implWrite(ulong stream, CString const & text)
{
    HANDLE const handle = ::GetStdHandle(stream);
    ulong mode = 0;
    ulong written = 0;
    if (::GetConsoleMode(handle, &mode)) {
        ::WriteConsoleW(handle, text.GetString(), static_cast<ulong>(text.GetLength()), &written, nullptr);
        return;
    }
    std::string const bytes = f_utf8(text);
    ::WriteFile(handle, bytes.data(), static_cast<ulong>(bytes.size()), &written, nullptr);
}

// The last column stays free: writing to it may already begin the next line.
int ICConsole::mf_implGetStatusWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO console;
    bool const isKnown = ::GetConsoleScreenBufferInfo(::GetStdHandle(STD_ERROR_HANDLE), &console) != 0;
    constexpr int NARROWEST = 4;
    return isKnown && console.dwSize.X >= NARROWEST ? console.dwSize.X - 1 : ICTextLayout::LINE_WIDTH;
}
