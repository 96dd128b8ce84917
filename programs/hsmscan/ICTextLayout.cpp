#include "programs/hsmscan/ICTextLayout.h"

#include <algorithm>
#include <string_view>

#include "hsmbase/context/ICFormatter.h"
#include "hsmbase/context/ICLanguage.h"

namespace
{

using TEXT_VIEW = std::wstring_view;

constexpr TEXT_VIEW BLANKS = L" \r\n";

// What can't end a line.
constexpr TEXT_VIEW OPENING = L"([{（［｛〔〈《「『【〘〖〝｟￥＄￡";

// What can't begin a line: marks that close, and between words.
constexpr TEXT_VIEW CLOSING = L")]}!,.:;?%）］｝〕〉》」』】〙〗〟｠、。，．：；？！・％";

// What can't begin a line either, but isn't the end of anything: small kana, sound and iteration marks.
constexpr TEXT_VIEW ADDED = L"ぁぃぅぇぉっゃゅょゎゕゖァィゥェォッャュョヮヵヶーゝゞヽヾ々〻゛゜〜～";

bool f_isOneOf(wchar_t character, TEXT_VIEW characters)
{
    return characters.find(character) != TEXT_VIEW::npos;
}

// By the rule of the columns, whatever the character looks like.
bool f_isWide(wchar_t character)
{
    return character > 127;
}

bool f_isHangul(wchar_t character)
{
    return (character >= 0x1100 && character <= 0x11FF) || (character >= 0x3130 && character <= 0x318F) ||
           (character >= 0xAC00 && character <= 0xD7A3);
}

TEXT_VIEW f_view(CString const & text)
{
    return {text.GetString(), static_cast<std::size_t>(text.GetLength())};
}

void f_append(CString & text, TEXT_VIEW part)
{
    text.Append(part.data(), static_cast<int>(part.size()));
}

bool f_isDoubleWidth()
{
    return ICLanguage::mf_printsDoubleWidthChars(ICLanguage::mf_getUserLanguageId()) != 0;
}

int f_doubleWidth(TEXT_VIEW text)
{
    return static_cast<int>(text.size()) + static_cast<int>(std::ranges::count_if(text, &f_isWide));
}

// Whether a line may end between two characters of a word; `inHangul`: also within a word of Hangul.
bool f_isBreak(wchar_t before, wchar_t behind, bool inHangul)
{
    if (IS_LOW_SURROGATE(behind) || f_isOneOf(behind, CLOSING) || f_isOneOf(behind, ADDED)) return false;
    if (!f_isWide(before) || f_isOneOf(before, OPENING)) return false;
    if (f_isOneOf(before, CLOSING)) return true;
    return f_isWide(behind) && (inHangul || !f_isHangul(before) || !f_isHangul(behind));
}

// The beginning of a word that no line end may divide.
TEXT_VIEW f_cutPiece(TEXT_VIEW & word, bool inHangul)
{
    std::size_t end = 1;
    while (end < word.size() && !f_isBreak(word[end - 1], word[end], inHangul))
        ++end;
    TEXT_VIEW const piece = word.substr(0, end);
    word.remove_prefix(end);
    return piece;
}

// Lines of columns that fill up piece by piece.
class COLUMN_LINES
{
public:
    COLUMN_LINES(CString const & firstPrefix, CString const & nextPrefix, int width)
        : m_nextPrefix(nextPrefix), m_text(firstPrefix), m_room(width - f_doubleWidth(f_view(nextPrefix))),
          m_width(width), m_used(f_doubleWidth(f_view(firstPrefix)))
    {}

    void mf_addWord(TEXT_VIEW word)
    {
        for (bool isFirst = true; !word.empty(); isFirst = false) {
            TEXT_VIEW const piece = f_cutPiece(word, false);
            int const blank = isFirst && !m_isFresh ? 1 : 0;
            if (f_doubleWidth(piece) <= m_room)
                mf_implAdd(piece, blank);
            else
                mf_implAddLong(piece, blank);
        }
    }

    CString mf_getText() { return m_text.TrimRight(); }

private:
    // More than a line holds.
    void mf_implAddLong(TEXT_VIEW piece, int blank)
    {
        while (!piece.empty()) {
            mf_implAdd(f_cutPiece(piece, true), blank);
            blank = 0;
        }
    }

    void mf_implAdd(TEXT_VIEW piece, int blank)
    {
        int const needed = f_doubleWidth(piece);
        if (!m_isFresh && m_used + blank + needed > m_width) {
            m_text += L"\r\n" + m_nextPrefix;
            m_used = m_width - m_room;
            blank = 0;
        }
        m_text += CString(L' ', blank);
        f_append(m_text, piece);
        m_used += blank + needed;
        m_isFresh = false;
    }

    CString const & m_nextPrefix;
    CString m_text;
    int const m_room; // of a line behind its prefix
    int const m_width;
    int m_used;            // of the last line
    bool m_isFresh = true; // nothing but a prefix stands there
};

} // namespace

int ICTextLayout::mf_getWidth(CString const & text)
{
    return f_isDoubleWidth() ? f_doubleWidth(f_view(text)) : text.GetLength();
}

CString ICTextLayout::mf_pad(CString const & text, int width)
{
    return text + CString(L' ', std::max(0, width - mf_getWidth(text)));
}

CString ICTextLayout::mf_cut(CString const & text, int width)
{
    static constexpr TEXT_VIEW mark = L"...";
    if (mf_getWidth(text) <= width) return text;

    bool const isDoubleWidth = f_isDoubleWidth();
    int const room = width - static_cast<int>(mark.size());
    int length = 0;
    for (int used = 0; length < text.GetLength(); ++length) {
        used += isDoubleWidth && f_isWide(text[length]) ? 2 : 1;
        if (used > room) break;
    }
    if (length > 0 && IS_HIGH_SURROGATE(text[length - 1])) --length;
    CString cut = text.Left(length);
    f_append(cut, mark);
    return cut;
}

CString ICTextLayout::mf_wrap(CString const & text, CString const & firstPrefix, CString const & nextPrefix, int width)
{
    if (!f_isDoubleWidth())
        return ICFormatter::mf_formatLines(text, firstPrefix, nextPrefix, static_cast<ulong>(width), 0);

    COLUMN_LINES lines(firstPrefix, nextPrefix, width);
    TEXT_VIEW rest = f_view(text);
    for (std::size_t begin = 0; (begin = rest.find_first_not_of(BLANKS)) != TEXT_VIEW::npos;) {
        rest.remove_prefix(begin);
        TEXT_VIEW const word = rest.substr(0, rest.find_first_of(BLANKS));
        lines.mf_addWord(word);
        rest.remove_prefix(word.size());
    }
    return lines.mf_getText();
}
