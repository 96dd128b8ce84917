#include "programs/hsmscan/ICConsole.h"

#include <memory>

void ICConsole::mf_printLine(CString const & text)
{
    mf_implWrite(STD_OUTPUT_HANDLE, text + L"\r\n");
}

void ICConsole::mf_printError(CString const & text)
{
    mf_implWrite(STD_ERROR_HANDLE, text + L"\r\n");
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
