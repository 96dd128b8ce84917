#include "hsmbase/context/ICFormatter.h"

#include <algorithm>
#include <cwctype>
#include <string_view>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICThreadContext.h"

static constexpr unsigned short FRENCH = 1036;
static constexpr unsigned short LANGUAGES_WITHOUT_FINAL_CHAR[] = {1041, 2052, 1028};

// Separators are types, so that the compiler sees through them in the loops over characters.
struct BLANK
{
    bool operator()(wchar_t character) const { return character == L' '; }
};

struct LINE_END
{
    bool operator()(wchar_t character) const { return character == L'\r' || character == L'\n'; }
};

struct BLANK_OR_LINE_END
{
    // One comparison is enough for nearly all characters.
    bool operator()(wchar_t character) const
    {
        return character <= L' ' && (BLANK()(character) || LINE_END()(character));
    }
};

// Texts are walked in place: a string object a word would cost several times what the words cost.
static std::wstring_view f_view(CString const & text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

static void f_append(CString & text, std::wstring_view part)
{
    text.Append(part.data(), static_cast<int>(part.size()));
}

static std::wstring_view f_trimRight(std::wstring_view text)
{
    while (!text.empty() && std::iswspace(text.back()))
        text.remove_suffix(1);
    return text;
}

// Cuts the next token off the front of `rest`; separators in a row count as one. Answers whether there was a token.
template<class SEPARATOR>
static bool f_cutToken(std::wstring_view & rest, std::wstring_view & token)
{
    auto const begin = std::find_if_not(rest.begin(), rest.end(), SEPARATOR());
    auto const end = std::find_if(begin, rest.end(), SEPARATOR());
    token = std::wstring_view(begin, end);
    rest = std::wstring_view(end, rest.end());
    return !token.empty();
}

// The tokens of the text, each gone through `adjust`, with one blank between them.
template<class SEPARATOR, class ADJUST>
static CString f_joinTokens(CString const & text, ADJUST adjust)
{
    CString result;
    result.Preallocate(text.GetLength());
    std::wstring_view rest = f_view(text);
    std::wstring_view token;
    for (bool isFirst = true; f_cutToken<SEPARATOR>(rest, token); isFirst = false) {
        if (!isFirst) result.AppendChar(L' ');
        f_append(result, adjust(token));
    }
    return result;
}

// Puts blanks in front of the line that begins at `lineStart`: half of what it lacks to `width`, up to `limit`.
static void f_centerLine(CString & text, int lineStart, ulong width, ulong limit)
{
    ulong const length = static_cast<ulong>(text.GetLength() - lineStart);
    if (length >= width) return;
    text.Insert(lineStart, CString(L' ', static_cast<int>(std::min((width - length) / 2, limit))));
}

// Adds a word, with a blank in front, to those that wait for being appended to the text. Words that stand in their
// source as they will in the text wait together, so that most of a line is copied at once.
static void f_addWord(CString & text, std::wstring_view & waiting, std::wstring_view word)
{
    wchar_t const * const end = waiting.data() + waiting.size();
    if (word.data() == end + 1 && *end == L' ') {
        waiting = std::wstring_view(waiting.data(), waiting.size() + 1 + word.size());
    } else {
        f_append(text, waiting);
        text.AppendChar(L' ');
        waiting = word;
    }
}

CString ICFormatter::mf_formatLine(CString const & text)
{
    CString const collapsed = f_joinTokens<BLANK>(text, [](std::wstring_view word) { return word; });
    return f_joinTokens<LINE_END>(collapsed, f_trimRight).TrimRight();
}

CString ICFormatter::mf_formatLines(CString const & text, CString const & firstPrefix, CString const & nextPrefix,
                                    ulong width, int centered)
{
    // Deliberate: the blanks for centring are those of the first call in the process.
    static ulong const blanksAtHand = width;

    CString result;
    result.Preallocate(firstPrefix.GetLength() + text.GetLength() + text.GetLength() / 4);
    result.Append(firstPrefix);
    int lineStart = 0;
    std::wstring_view rest = f_view(text);
    std::wstring_view word;
    std::wstring_view waiting;
    if (f_cutToken<BLANK_OR_LINE_END>(rest, word)) waiting = word;
    while (f_cutToken<BLANK_OR_LINE_END>(rest, word)) {
        std::size_t const length = static_cast<std::size_t>(result.GetLength() - lineStart) + waiting.size();
        // The blank that joins is not counted, so that a line can have exactly `width` characters.
        if (length + word.size() < width) {
            f_addWord(result, waiting, word);
            continue;
        }
        f_append(result, waiting);
        if (centered != 0) f_centerLine(result, lineStart, width, blanksAtHand);
        result.Append(L"\r\n", 2);
        lineStart = result.GetLength();
        result.Append(nextPrefix);
        waiting = word;
    }
    f_append(result, waiting);
    if (centered != 0) f_centerLine(result, lineStart, width, blanksAtHand);
    return result.TrimRight();
}

CString ICFormatter::mf_formatHeaderLine(CString const & text, ulong width, wchar_t fill)
{
    CString const title = L" " + CString(text).Trim() + L" ";
    ulong const length = static_cast<ulong>(title.GetLength());
    ulong const space = width > length ? width - length : 0;
    return CString(fill, static_cast<int>(space / 2)) + title + CString(fill, static_cast<int>(space - space / 2));
}

CString ICFormatter::mf_appendFinalChar(CString const & text, CString const & finalChar)
{
    if (text.IsEmpty() || finalChar.IsEmpty()) return text;
    unsigned short const language = ICThreadContext::mf_getCurrentLanguageId();
    if (std::ranges::find(LANGUAGES_WITHOUT_FINAL_CHAR, language) != std::end(LANGUAGES_WITHOUT_FINAL_CHAR))
        return text;

    wchar_t const last = text[text.GetLength() - 1];
    if (CString(L"!.:;?").Find(last) >= 0 || finalChar == CString(last)) return text;
    return text + finalChar;
}

CString ICFormatter::mf_concatinate(ICArray<CString *, CString *> const & items, CString const & separator)
{
    CString result;
    for (INT_PTR index = 0; index < items.GetCount(); ++index) {
        if (items[index] == nullptr) continue;
        result += *items[index];
        if (index < items.GetUpperBound()) result += separator;
    }
    return result;
}

CString const & ICFormatter::mf_appendColon(CString & text)
{
    text += ICLanguage::mf_getUserLanguageId() == FRENCH ? L" :" : L":";
    return text;
}
