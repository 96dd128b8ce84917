#pragma once

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "hsmbase/Types.h"

// The most characters that a name in a path may have.
inline constexpr int MAXIMUM_ELEMENT = 255;

// Good for as long as the text isn't changed.
inline std::wstring_view f_viewOf(CString const & text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

inline CString f_textOf(std::wstring_view text)
{
    return CString(text.data(), static_cast<int>(text.size()));
}

// For a platform call to write into: terminated and filled with zeros, or NULL if there is no memory.
inline std::unique_ptr<wchar_t[]> f_newText(std::size_t characters)
{
    return std::unique_ptr<wchar_t[]>(new (std::nothrow) wchar_t[characters]());
}

// The pieces in a row, in one allocation. `room` more characters can be appended without another one.
inline CString f_join(std::initializer_list<std::wstring_view> pieces, int room = 0)
{
    std::size_t length = 0;
    for (std::wstring_view const piece : pieces)
        length += piece.size();
    if (length > static_cast<std::size_t>(std::numeric_limits<int>::max() - room)) AfxThrowMemoryException();

    CString text;
    wchar_t * end = text.GetBuffer(static_cast<int>(length) + room);
    for (std::wstring_view const piece : pieces)
        end = std::copy(piece.begin(), piece.end(), end);
    text.ReleaseBufferSetLength(static_cast<int>(length));
    return text;
}

// The first name in the path that is too long; empty if none is.
inline std::wstring_view f_tooLongElement(std::wstring_view path)
{
    for (;;) {
        std::size_t const length = std::min(path.find(L'\\'), path.size());
        if (length > MAXIMUM_ELEMENT) return path.substr(0, length);
        if (length == path.size()) return {};
        path.remove_prefix(length + 1);
    }
}
