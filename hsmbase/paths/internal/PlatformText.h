#pragma once

#include "hsmbase/paths/internal/PathTexts.h"

// A text of the platform whose length only the platform knows: it is asked without room for the length, terminator
// included, and again with room. The last error is cleared ahead of both.
//
//     ask(ulong length, wchar_t * buffer)      what the platform answers: 0 for a failure, else the length
//     noLength()                               the failures to throw: of the first call,
//     noMemory(ulong length)                   of the memory for so many characters,
//     notCopied()                              of the second call,
//     tooLong(ulong length, ulong copied)      and of a text that has become too long for its memory meanwhile
//
template<class ASK, class NO_LENGTH, class NO_MEMORY, class NOT_COPIED, class TOO_LONG>
CString f_platformText(ASK const & ask, NO_LENGTH const & noLength, NO_MEMORY const & noMemory,
                       NOT_COPIED const & notCopied, TOO_LONG const & tooLong)
{
    ::SetLastError(0);
    ulong const length = ask(0, nullptr);
    if (length == 0) throw noLength();
    std::unique_ptr<wchar_t[]> const buffer = f_newText(length);
    if (!buffer) throw noMemory(length);
    ::SetLastError(0);
    ulong const copied = ask(length, buffer.get());
    if (copied == 0) throw notCopied();
    if (copied >= length) throw tooLong(length, copied);
    return CString(buffer.get(), static_cast<int>(copied));
}
