#include "programs/hsmscan/ICConsole.h"

#include <algorithm>
#include <memory>

#include "programs/hsmscan/ICExclusiveLock.h"

SRWLOCK ICConsole::m_lock = SRWLOCK_INIT;
CString ICConsole::m_status;

// From the beginning of the line, and over all that stands there.
static CString f_overwrite(CString const & before, CString const & text)
{
    return L"\r" + text + CString(L' ', std::max(0, before.GetLength() - text.GetLength()));
}

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
    mf_implWrite(STD_ERROR_HANDLE, f_overwrite(m_status, text) + (text.IsEmpty() ? L"\r" : L""));
    m_status = text;
}

void ICConsole::mf_implPrint(ulong stream, CString const & text)
{
    ICExclusiveLock const lock(m_lock);
    if (!m_status.IsEmpty()) mf_implWrite(STD_ERROR_HANDLE, f_overwrite(m_status, CString()) + L"\r");
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
    // A UTF-16 unit takes at most three bytes in UTF-8.
    int const capacity = text.GetLength() * 3;
    auto const bytes = std::make_unique<char[]>(static_cast<std::size_t>(capacity));
    int const length =
        ::WideCharToMultiByte(CP_UTF8, 0, text.GetString(), text.GetLength(), bytes.get(), capacity, nullptr, nullptr);
    ::WriteFile(handle, bytes.get(), static_cast<ulong>(length), &written, nullptr);
}
