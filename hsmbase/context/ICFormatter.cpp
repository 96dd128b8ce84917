#include "hsmbase/context/ICFormatter.h"

#include <algorithm>
#include <cwctype>
#include <string_view>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICThreadContext.h"

static constexpr unsigned short FRENCH = 1036;
static constexpr unsigned short LANGUAGES_WITHOUT_FINAL_CHAR[] = {1041, 2052, 1028};

static bool f_isBlank(wchar_t character)
{
    return character == L' ';
}

static bool f_isLineEnd(wchar_t character)
{
    return character == L'\r' || character == L'\n';
}

static bool f_isBreak(wchar_t character)
{
    return f_isBlank(character) || f_isLineEnd(character);
}

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
template<bool (*IS_SEPARATOR)(wchar_t)>
static bool f_cutToken(std::wstring_view & rest, std::wstring_view & token)
{
    auto const begin = std::find_if_not(rest.begin(), rest.end(), IS_SEPARATOR);
    auto const end = std::find_if(begin, rest.end(), IS_SEPARATOR);
    token = std::wstring_view(begin, end);
    rest = std::wstring_view(end, rest.end());
    return !token.empty();
}

// The tokens of the text, each gone through `adjust`, with one blank between them.
template<bool (*IS_SEPARATOR)(wchar_t), class ADJUST>
static CString f_joinTokens(CString const & text, ADJUST adjust)
{
    CString result;
    result.Preallocate(text.GetLength());
    std::wstring_view rest = f_view(text);
    std::wstring_view token;
    for (bool isFirst = true; f_cutToken<IS_SEPARATOR>(rest, token); isFirst = false) {
        if (!isFirst) result.AppendChar(L' ');
        f_append(result, adjust(token));
    }
    return result;
}

// Puts half of what the last line, from `lineStart` on, lacks to `width` in front of it, up to `limit` blanks.
static void f_centerLine(CString & text, int lineStart, ulong width, ulong limit)
{
    ulong const length = static_cast<ulong>(text.GetLength() - lineStart);
    if (length >= width) return;
    text.Insert(lineStart, CString(L' ', static_cast<int>(std::min((width - length) / 2, limit))));
}

CString ICFormatter::mf_formatLine(CString const & text)
{
    CString const collapsed = f_joinTokens<f_isBlank>(text, [](std::wstring_view word) { return word; });
    return f_joinTokens<f_isLineEnd>(collapsed, f_trimRight).TrimRight();
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
    if (f_cutToken<f_isBreak>(rest, word)) f_append(result, word);
    while (f_cutToken<f_isBreak>(rest, word)) {
        // The blank that joins is not counted, so that a line can have exactly `width` characters.
        if (static_cast<std::size_t>(result.GetLength() - lineStart) + word.size() < width) {
            result.AppendChar(L' ');
        } else {
            if (centered != 0) f_centerLine(result, lineStart, width, blanksAtHand);
            result.Append(L"\r\n", 2);
            lineStart = result.GetLength();
            result.Append(nextPrefix);
        }
        f_append(result, word);
    }
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
