// The operations of CString that are too long to stand in the class. Included by atlstr.h only.
#pragma once

#include "../atlstr.h"

#include <iterator>
#include <memory>

inline CString CString::mf_implJoin(PCXSTR left, int leftLength, PCXSTR right, int rightLength)
{
    if (leftLength > MAXIMUM_LENGTH - rightLength) AfxThrowMemoryException();
    CString result;
    if (leftLength + rightLength != 0) {
        PXSTR const buffer = result.GetBufferSetLength(leftLength + rightLength);
        CopyChars(buffer, left, leftLength);
        CopyChars(buffer + leftLength, right, rightLength);
    }
    return result;
}

inline CString & CString::mf_implSetNarrow(PCYSTR text, int length)
{
    if (length < 0 || (text == nullptr && length != 0)) AtlThrow(E_INVALIDARG);
    int const needed = length == 0 ? 0 : ::MultiByteToWideChar(CP_THREAD_ACP, 0, text, length, nullptr, 0);
    if (needed <= 0) {
        Empty();
        return *this;
    }
    PXSTR const buffer = GetBuffer(needed);
    ReleaseBufferSetLength(::MultiByteToWideChar(CP_THREAD_ACP, 0, text, length, buffer, needed));
    return *this;
}

inline void CString::mf_implFill(XCHAR character, int repeat)
{
    if (repeat > 0) {
        std::fill_n(GetBufferSetLength(repeat), repeat, character);
    }
}

inline CString CString::Mid(int first, int count) const
{
    int const length = GetLength();
    first = std::clamp(first, 0, length);
    count = std::clamp(count, 0, length - first);
    return count == length ? *this : CString(GetString() + first, count);
}

inline CString CString::SpanIncluding(PCXSTR characters) const
{
    return Left(static_cast<int>(std::wcsspn(GetString(), mf_implChecked(characters))));
}

inline CString CString::SpanExcluding(PCXSTR characters) const
{
    return Left(static_cast<int>(std::wcscspn(GetString(), mf_implChecked(characters))));
}

inline CString CString::Tokenize(PCXSTR separators, int & start) const
{
    if (start < 0) AtlThrow(E_INVALIDARG);
    PCXSTR const set = separators == nullptr ? L"" : separators;
    if (start < GetLength()) {
        int const first = start + static_cast<int>(std::wcsspn(GetString() + start, set));
        if (first < GetLength()) {
            int const count = static_cast<int>(std::wcscspn(GetString() + first, set));
            start = first + count + 1;
            return Mid(first, count);
        }
    }
    start = -1;
    return CString();
}

inline int CString::Find(XCHAR character, int start) const
{
    return start < 0 || start >= GetLength() ? -1 : mf_implIndex(std::wcschr(GetString() + start, character));
}

inline int CString::Find(PCXSTR text, int start) const
{
    if (text == nullptr || start < 0 || start > GetLength()) return -1;
    // An empty text is found at once. Not every wcsstr knows that of an empty place to look in.
    return text[0] == L'\0' ? start : mf_implIndex(std::wcsstr(GetString() + start, text));
}

inline int CString::FindOneOf(PCXSTR characters) const
{
    return mf_implIndex(std::wcspbrk(GetString(), mf_implChecked(characters)));
}

inline int CString::ReverseFind(XCHAR character) const
{
    return mf_implIndex(std::wcsrchr(GetString(), character));
}

inline CString & CString::MakeUpper()
{
    int const length = GetLength();
    ::_wcsupr_s(GetBuffer(length), static_cast<std::size_t>(length) + 1);
    return *this;
}

inline CString & CString::MakeLower()
{
    int const length = GetLength();
    ::_wcslwr_s(GetBuffer(length), static_cast<std::size_t>(length) + 1);
    return *this;
}

inline CString & CString::MakeReverse()
{
    PXSTR const buffer = GetBuffer();
    std::reverse(buffer, buffer + GetLength());
    return *this;
}

inline int CString::Replace(XCHAR oldCharacter, XCHAR newCharacter)
{
    PCXSTR const text = GetString();
    int const count = static_cast<int>(std::count(text, text + GetLength(), oldCharacter));
    if (count != 0 && oldCharacter != newCharacter) {
        PXSTR const buffer = GetBuffer();
        std::replace(buffer, buffer + GetLength(), oldCharacter, newCharacter);
    }
    return oldCharacter == newCharacter ? 0 : count;
}

inline int CString::Replace(PCXSTR oldText, PCXSTR newText)
{
    std::wstring_view const text(GetString(), static_cast<std::size_t>(GetLength()));
    std::wstring_view const old(oldText == nullptr ? L"" : oldText);
    int const newLength = StringLength(newText);
    if (old.empty()) return 0;
    int count = 0;
    for (std::size_t at = text.find(old); at != text.npos; at = text.find(old, at + old.size())) {
        ++count;
    }
    if (count == 0) return 0;
    long long const change = (static_cast<long long>(newLength) - static_cast<long long>(old.size())) * count;
    if (GetLength() + change > MAXIMUM_LENGTH) AfxThrowMemoryException();
    CString result;
    result.Preallocate(static_cast<int>(GetLength() + change));
    std::size_t from = 0;
    for (std::size_t at = text.find(old); at != text.npos; at = text.find(old, from)) {
        result.Append(text.data() + from, static_cast<int>(at - from));
        result.Append(newText, newLength);
        from = at + old.size();
    }
    result.Append(text.data() + from, static_cast<int>(text.size() - from));
    *this = std::move(result);
    return count;
}

inline int CString::Remove(XCHAR character)
{
    if (std::find(GetString(), GetString() + GetLength(), character) == GetString() + GetLength()) {
        return 0;
    }
    PXSTR const buffer = GetBuffer();
    PXSTR const end = std::remove(buffer, buffer + GetLength(), character);
    int const removed = GetLength() - static_cast<int>(end - buffer);
    ReleaseBufferSetLength(GetLength() - removed);
    return removed;
}

inline int CString::mf_implInsert(int index, PCXSTR text, int length)
{
    if (length == 0) return GetLength();
    if (mf_implOffset(text) <= static_cast<std::size_t>(GetLength())) {
        CString const copy(text, length);
        return mf_implInsert(index, copy, length);
    }
    int const before = GetLength();
    if (length > MAXIMUM_LENGTH - before) AfxThrowMemoryException();
    index = std::clamp(index, 0, before);
    PXSTR const place = GetBuffer(before + length) + index;
    CopyCharsOverlapped(place + length, place, before - index);
    CopyChars(place, text, length);
    ReleaseBufferSetLength(before + length);
    return before + length;
}

inline int CString::Delete(int index, int count)
{
    int const length = GetLength();
    index = std::clamp(index, 0, length);
    count = std::clamp(count, 0, length - index);
    if (count > 0) {
        PXSTR const place = GetBuffer() + index;
        CopyCharsOverlapped(place, place + count, length - index - count);
        ReleaseBufferSetLength(length - count);
    }
    return GetLength();
}

template<class TEST>
CString & CString::mf_implTrimLeft(TEST goes)
{
    PCXSTR const text = GetString();
    PCXSTR const first = std::find_if_not(text, text + GetLength(), goes);
    Delete(0, static_cast<int>(first - text));
    return *this;
}

template<class TEST>
CString & CString::mf_implTrimRight(TEST goes)
{
    int length = GetLength();
    while (length > 0 && goes(GetString()[length - 1])) {
        --length;
    }
    Truncate(length);
    return *this;
}

inline CString & CString::TrimLeft(XCHAR character)
{
    return mf_implTrimLeft([character](XCHAR other) { return other == character; });
}

inline CString & CString::TrimRight(XCHAR character)
{
    return mf_implTrimRight([character](XCHAR other) { return other == character; });
}

inline CString & CString::TrimLeft(PCXSTR characters)
{
    std::wstring_view const set(characters == nullptr ? L"" : characters);
    return mf_implTrimLeft([set](XCHAR other) { return set.find(other) != set.npos; });
}

inline CString & CString::TrimRight(PCXSTR characters)
{
    std::wstring_view const set(characters == nullptr ? L"" : characters);
    return mf_implTrimRight([set](XCHAR other) { return set.find(other) != set.npos; });
}

inline CString CString::mf_implFormatLong(PCXSTR format, va_list arguments)
{
    va_list counted;
    va_copy(counted, arguments);
    int const length = ::_vscwprintf(format, counted);
    va_end(counted);
    ATLENSURE_THROW(length >= 0, E_INVALIDARG);
    CString result;
    // An unknown conversion is counted in silence and refused only here.
    int const written =
        ::vswprintf_s(result.GetBuffer(length), static_cast<std::size_t>(length) + 1, format, arguments);
    ATLENSURE_THROW(written == length, E_INVALIDARG);
    result.ReleaseBufferSetLength(length);
    return result;
}

// Most formatted texts are short: they are written once, to the stack. Longer ones are measured once and written once.
// Either way all arguments are read before the string changes.
inline CString::SHORT_TEXT::SHORT_TEXT(PCXSTR format, va_list arguments)
{
    va_list copied;
    va_copy(copied, arguments);
    length = ::_vsnwprintf_s(text, std::size(text), _TRUNCATE, mf_implChecked(format), copied);
    va_end(copied);
}

inline void CString::FormatV(PCXSTR format, va_list arguments)
{
    SHORT_TEXT const result(format, arguments);
    if (result.length >= 0) {
        SetString(result.text, result.length);
    } else {
        *this = mf_implFormatLong(format, arguments);
    }
}

inline void CString::AppendFormatV(PCXSTR format, va_list arguments)
{
    SHORT_TEXT const result(format, arguments);
    if (result.length >= 0) {
        Append(result.text, result.length);
    } else {
        Append(mf_implFormatLong(format, arguments));
    }
}

inline void CString::Format(PCXSTR format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    FormatV(format, arguments);
    va_end(arguments);
}

inline void CString::AppendFormat(PCXSTR format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    AppendFormatV(format, arguments);
    va_end(arguments);
}

inline void CString::FormatMessageW(PCXSTR format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    FormatMessageV(format, &arguments);
    va_end(arguments);
}

inline void CString::FormatMessageV(PCXSTR format, va_list * arguments)
{
    wchar_t * message = nullptr;
    DWORD const length =
        ::FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ALLOCATE_BUFFER, mf_implChecked(format), 0, 0,
                         reinterpret_cast<wchar_t *>(&message), 0, arguments);
    std::unique_ptr<wchar_t, decltype(&::LocalFree)> const owner(message, &::LocalFree);
    SetString(message, static_cast<int>(length));
}

inline BOOL CString::LoadStringW(HINSTANCE module, UINT id)
{
    // With a size of 0 the answer is the place of the text inside the module.
    wchar_t const * text = nullptr;
    int const length = ::LoadStringW(module, id, reinterpret_cast<wchar_t *>(&text), 0);
    if (length <= 0) return FALSE;
    SetString(text, length);
    return TRUE;
}

inline BOOL CString::GetEnvironmentVariableW(PCXSTR name)
{
    CString value;
    DWORD size = ::GetEnvironmentVariableW(name, nullptr, 0);
    BOOL const found = size != 0;
    // The variable may grow between two looks at it.
    for (DWORD length = size; found && length >= size;) {
        size = length + 1;
        length = ::GetEnvironmentVariableW(name, value.GetBuffer(static_cast<int>(size)), size);
        value.ReleaseBufferSetLength(static_cast<int>(std::min(length, size)));
    }
    *this = std::move(value);
    return found;
}
