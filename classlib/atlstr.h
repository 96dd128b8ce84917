// CString: the text type of all interfaces. It stands in for the class library's CStringT<wchar_t> and means the same:
// UTF-16 text, shared on copying, copied on writing, one pointer in size, converted to and from plain pointers.
//
//     CString line(L"  key = value ");
//     int start = 0;
//     CString const key = line.Tokenize(L"=", start).Trim();
//     line.Format(L"%s has %d characters", key.GetString(), key.GetLength());
//
// Wide formats have the platform's meaning: %s takes wide text. Pass GetString() there: an object in the variable part
// of a call is not converted by compilers other than the platform's.
//
// An index out of range, a NULL format and a format that the run-time refuses fail with E_INVALIDARG through AtlThrow.
// Counts in Left, Mid, Right, Insert and Delete are cut to the text instead. Searching treats the text as ending at its
// first null character. 8-bit text is converted with the thread's ANSI code page (CP_THREAD_ACP).
//
// Threads: as CSimpleString. No locks.
// Left out: CStringA and the code page conversions to 8 bits, BSTR, the forms that take a resource id as format.
#pragma once

#include "atlsimpstr.h"

#include <compare>
#include <cstdarg>
#include <cwctype>
#include <string_view>

class CString : public CSimpleString
{
public:
    constexpr CString() noexcept = default;
    CString(CString const & other) = default;
    CString(CString && other) noexcept = default;
    CString(CSimpleString const & other) : CSimpleString(other) {}
    CString(PCXSTR text) : CSimpleString(text) {}
    CString(PCXSTR text, int length) : CSimpleString(text, length) {}
    CString(PCYSTR text) : CString(text, mf_implNarrowLength(text)) {}
    CString(PCYSTR text, int length) { mf_implSetNarrow(text, length); }
    explicit CString(unsigned char const * text) : CString(reinterpret_cast<PCYSTR>(text)) {}
    explicit CString(XCHAR character, int repeat = 1) { mf_implFill(character, repeat); }
    explicit CString(YCHAR character, int repeat = 1) { mf_implFill(CString(&character, 1).GetAt(0), repeat); }
    ~CString() = default;

    CString & operator=(CString const & other) = default;
    CString & operator=(CString && other) = default;
    CString & operator=(CSimpleString const & other) { return mf_implThis(CSimpleString::operator=(other)); }
    CString & operator=(PCXSTR text) { return mf_implThis(CSimpleString::operator=(text)); }
    CString & operator=(PCYSTR text) { return mf_implSetNarrow(text, mf_implNarrowLength(text)); }
    CString & operator=(unsigned char const * text) { return *this = reinterpret_cast<PCYSTR>(text); }
    CString & operator=(XCHAR character) { return *this = CString(character); }
    CString & operator=(YCHAR character) { return *this = CString(character); }

    CString & operator+=(CSimpleString const & other) { return mf_implThis(CSimpleString::operator+=(other)); }
    CString & operator+=(PCXSTR text) { return mf_implThis(CSimpleString::operator+=(text)); }
    CString & operator+=(XCHAR character) { return mf_implThis(CSimpleString::operator+=(character)); }
    CString & operator+=(PCYSTR text) { return *this += CString(text); }
    CString & operator+=(YCHAR character) { return *this += CString(character); }
    CString & operator+=(unsigned char character) { return *this += static_cast<YCHAR>(character); }

    // Comparing: negative, 0, positive. Collate goes by the run-time's locale, the others by code units.
    int Compare(PCXSTR other) const
    {
        return mf_implIsText(other) ? 0 : std::wcscmp(GetString(), mf_implChecked(other));
    }
    int CompareNoCase(PCXSTR other) const { return ::_wcsicmp(GetString(), mf_implChecked(other)); }
    int Collate(PCXSTR other) const { return std::wcscoll(GetString(), mf_implChecked(other)); }
    int CollateNoCase(PCXSTR other) const { return ::_wcsicoll(GetString(), mf_implChecked(other)); }

    // Parts. Mid, Left and Right cut what they are asked for to the text; Span... take the longest beginning that
    // consists of (or has none of) the characters of the set.
    CString Mid(int first) const { return Mid(first, GetLength()); }
    CString Mid(int first, int count) const;
    CString Left(int count) const { return Mid(0, count); }
    CString Right(int count) const { return Mid(GetLength() - std::clamp(count, 0, GetLength())); }
    CString SpanIncluding(PCXSTR characters) const;
    CString SpanExcluding(PCXSTR characters) const;

    // The part between separators, from `start` on, which moves behind the separator that ended the part. When there
    // are no more parts the result is empty and `start` is -1. A negative `start` fails with E_INVALIDARG.
    CString Tokenize(PCXSTR separators, int & start) const;

    // Searching: the index found or -1, also for a `start` outside of the text.
    int Find(XCHAR character, int start = 0) const;
    int Find(PCXSTR text, int start = 0) const;
    int FindOneOf(PCXSTR characters) const;
    int ReverseFind(XCHAR character) const;

    CString & MakeUpper();
    CString & MakeLower();
    CString & MakeReverse();

    // Changing. Replace and Remove answer how many were changed, Insert and Delete the new length.
    int Replace(XCHAR oldCharacter, XCHAR newCharacter);
    int Replace(PCXSTR oldText, PCXSTR newText);
    int Remove(XCHAR character);
    int Insert(int index, XCHAR character) { return mf_implInsert(index, &character, 1); }
    int Insert(int index, PCXSTR text) { return mf_implInsert(index, text, StringLength(text)); }
    int Delete(int index, int count = 1);

    // Trimming: white space, one character, or all characters of a set.
    CString & TrimLeft() { return mf_implTrimLeft(mf_implIsSpace); }
    CString & TrimLeft(XCHAR character);
    CString & TrimLeft(PCXSTR characters);
    CString & TrimRight() { return mf_implTrimRight(mf_implIsSpace); }
    CString & TrimRight(XCHAR character);
    CString & TrimRight(PCXSTR characters);
    CString & Trim() { return TrimRight().TrimLeft(); }
    CString & Trim(XCHAR character) { return TrimRight(character).TrimLeft(character); }
    CString & Trim(PCXSTR characters) { return TrimRight(characters).TrimLeft(characters); }

    // Formatting, of any length. Arguments may point into the string itself.
    void Format(PCXSTR format, ...);
    void FormatV(PCXSTR format, va_list arguments);
    void AppendFormat(PCXSTR format, ...);
    void AppendFormatV(PCXSTR format, va_list arguments);

    // Formatting with numbered inserts (%1, %2!lu!). A message that the system cannot format leaves an empty string.
    void FormatMessageW(PCXSTR format, ...);
    void FormatMessageV(PCXSTR format, va_list * arguments);

    // Loads a string resource of a module, or of the program. FALSE, and the text unchanged, when there is none.
    BOOL LoadStringW(HINSTANCE module, UINT id);
    BOOL LoadStringW(UINT id) { return LoadStringW(::GetModuleHandleW(nullptr), id); }

    // The value of an environment variable. FALSE, and an empty text, when there is none.
    BOOL GetEnvironmentVariableW(PCXSTR name);

    friend CString operator+(CString const & left, CString const & right)
    {
        return mf_implJoin(left, left.GetLength(), right, right.GetLength());
    }
    friend CString operator+(CString const & left, PCXSTR right)
    {
        return mf_implJoin(left, left.GetLength(), right, StringLength(right));
    }
    friend CString operator+(PCXSTR left, CString const & right)
    {
        return mf_implJoin(left, StringLength(left), right, right.GetLength());
    }
    friend CString operator+(CString const & left, XCHAR right)
    {
        return mf_implJoin(left, left.GetLength(), &right, 1);
    }
    friend CString operator+(XCHAR left, CString const & right)
    {
        return mf_implJoin(&left, 1, right, right.GetLength());
    }
    friend CString operator+(CString const & left, PCYSTR right) { return left + CString(right); }
    friend CString operator+(PCYSTR left, CString const & right) { return CString(left) + right; }
    friend CString operator+(CString const & left, YCHAR right) { return left + CString(right); }
    friend CString operator+(YCHAR left, CString const & right) { return CString(left) + right; }

    // A chain of additions extends the first sum instead of copying it each time.
    friend CString operator+(CString && left, CString const & right) { return std::move(left += right); }
    friend CString operator+(CString && left, PCXSTR right) { return std::move(left += right); }
    friend CString operator+(CString && left, XCHAR right) { return std::move(left += right); }
    friend CString operator+(CString && left, PCYSTR right) { return std::move(left += right); }
    friend CString operator+(CString && left, YCHAR right) { return std::move(left += right); }

    friend bool operator==(CString const & left, CString const & right) { return left.Compare(right) == 0; }
    friend bool operator==(CString const & left, PCXSTR right) { return left.Compare(right) == 0; }
    friend bool operator==(CString const & left, PCYSTR right) { return left == CString(right); }
    friend bool operator==(CString const & left, XCHAR right) { return left.GetLength() == 1 && left[0] == right; }
    friend bool operator==(CString const & left, YCHAR right) { return left == CString(right); }
    friend std::strong_ordering operator<=>(CString const & left, CString const & right)
    {
        return left.Compare(right) <=> 0;
    }
    friend std::strong_ordering operator<=>(CString const & left, PCXSTR right) { return left.Compare(right) <=> 0; }
    friend std::strong_ordering operator<=>(CString const & left, PCYSTR right) { return left <=> CString(right); }

private:
    // A formatted text that fits the stack; of any other the length is -1.
    struct SHORT_TEXT
    {
        SHORT_TEXT(PCXSTR format, va_list arguments);
        wchar_t text[256];
        int length;
    };

    CString & mf_implThis(CSimpleString &) { return *this; }
    bool mf_implIsText(PCXSTR other) const { return other == GetString(); }
    static bool mf_implIsSpace(XCHAR character) { return std::iswspace(character) != 0; }
    static int mf_implNarrowLength(PCYSTR text) { return text == nullptr ? 0 : static_cast<int>(std::strlen(text)); }

    // The C functions below take no NULL.
    static PCXSTR mf_implChecked(PCXSTR text)
    {
        if (text == nullptr) AtlThrow(E_INVALIDARG);
        return text;
    }

    static CString mf_implJoin(PCXSTR left, int leftLength, PCXSTR right, int rightLength);
    static CString mf_implFormatLong(PCXSTR format, va_list arguments);
    int mf_implIndex(PCXSTR found) const { return found == nullptr ? -1 : static_cast<int>(found - GetString()); }
    CString & mf_implSetNarrow(PCYSTR text, int length);
    void mf_implFill(XCHAR character, int repeat);
    int mf_implInsert(int index, PCXSTR text, int length);
    template<class TEST>
    CString & mf_implTrimLeft(TEST goes);
    template<class TEST>
    CString & mf_implTrimRight(TEST goes);
};

static_assert(sizeof(CString) == sizeof(void *));

using CStringW = CString;
using CAtlString = CString;
using CAtlStringW = CString;

#include "internal/StringOperations.h"
