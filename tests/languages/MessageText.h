#pragma once

#include <algorithm>
#include <cstdio>
#include <cwchar>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "hsmbase/Types.h"

// MessageText takes a text with the inserts of FormatMessage apart and says what is wrong with it. The checks of all
// language libraries stand on it.
//
//     MessageText text(L"%1, error code %2!lu!: %3");
//     text.mf_getInserts();   // {1, "s"}, {2, "lu"}, {3, "s"}
//     text.mf_getFaults();    // empty
//
// Stricter than the platform: each percent sign is one half of %% or begins an insert, and an insert has one of the
// formats that our calls can serve.
class MessageText
{
public:
    // What an argument must be for an insert.
    enum class KIND
    {
        TEXT,
        UNSIGNED,
        SIGNED,
        CHARACTER
    };

    // A stretch of plain text (number 0), or an insert with its format.
    struct PIECE
    {
        unsigned number;
        std::wstring text;
    };

    using INSERTS = std::map<unsigned, std::wstring>;
    using KINDS = std::map<unsigned, KIND>;

    // A resource text is read into a buffer of this length with its terminator.
    static std::size_t const MAX_LENGTH = 4095;

    explicit MessageText(std::wstring text) : m_text(std::move(text))
    {
        for (std::size_t at = 0; at < m_text.length();) {
            at = m_text[at] == L'%' ? mf_implReadPercent(at + 1) : mf_implReadPlain(at);
        }
        mf_implCheckWhole();
    }

    std::wstring const & mf_getText() const { return m_text; }
    std::vector<PIECE> const & mf_getPieces() const { return m_pieces; }
    INSERTS const & mf_getInserts() const { return m_inserts; }
    std::vector<std::wstring> const & mf_getFaults() const { return m_faults; }

    KINDS mf_getKinds() const
    {
        KINDS kinds;
        for (auto const & [number, format] : m_inserts) {
            kinds[number] = mf_kindOf(format).value_or(KIND::TEXT);
        }
        return kinds;
    }

    // The white space at the beginning, and at the end.
    std::wstring mf_getLeading() const { return m_text.substr(0, m_text.find_first_not_of(WHITE)); }
    std::wstring mf_getTrailing() const { return m_text.substr(m_text.find_last_not_of(WHITE) + 1); }

    // An argument that fits the kind and is different for each number. Texts live as long as the program.
    static DWORD_PTR mf_argumentFor(unsigned number, KIND kind)
    {
        static std::map<unsigned, std::wstring> texts;
        switch (kind) {
        case KIND::UNSIGNED: return 900u + number; // Three digits, as wide as the blocks allow for.
        case KIND::SIGNED: return static_cast<DWORD_PTR>(-1000 - static_cast<long long>(number));
        case KIND::CHARACTER: return L'%';
        case KIND::TEXT: break;
        }
        std::wstring & text = texts[number];
        text = L"<" + std::to_wstring(number) + L">";
        return reinterpret_cast<DWORD_PTR>(text.c_str());
    }

    // The text with arguments from mf_argumentFor, made without FormatMessage.
    std::wstring mf_render() const
    {
        std::wstring result;
        for (PIECE const & piece : m_pieces) {
            result += piece.number == 0 ? piece.text : mf_implRenderInsert(piece);
        }
        return result;
    }

    // The same, made by the platform. Empty when it refuses the text.
    std::wstring mf_formatByPlatform() const
    {
        DWORD_PTR arguments[100] = {};
        for (auto const & [number, kind] : mf_getKinds()) {
            arguments[number - 1] = mf_argumentFor(number, kind);
        }
        std::vector<wchar_t> buffer(8192);
        DWORD const length =
            ::FormatMessageW(FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY, m_text.c_str(), 0, 0,
                             buffer.data(), static_cast<DWORD>(buffer.size()), reinterpret_cast<va_list *>(arguments));
        return std::wstring(buffer.data(), length);
    }

private:
    static constexpr wchar_t const * WHITE = L" \t\r\n\x00A0\x3000";

    static std::optional<KIND> mf_kindOf(std::wstring const & format)
    {
        std::size_t const conversion = format.find_first_not_of(L"-+ #0123456789.");
        if (conversion == format.npos) return std::nullopt;
        std::wstring const letters = format.substr(conversion);
        if (letters == L"s") return KIND::TEXT;
        if (letters == L"lu" || letters == L"lx" || letters == L"lX") return KIND::UNSIGNED;
        if (letters == L"ld") return KIND::SIGNED;
        if (letters == L"c") return KIND::CHARACTER;
        return std::nullopt;
    }

    static bool mf_isDigit(wchar_t letter) { return letter >= L'0' && letter <= L'9'; }

    std::size_t mf_implReadPlain(std::size_t at)
    {
        std::size_t const end = std::min(m_text.find(L'%', at), m_text.length());
        m_pieces.push_back({0, m_text.substr(at, end - at)});
        return end;
    }

    // Reads what stands behind a percent sign and answers where to go on.
    std::size_t mf_implReadPercent(std::size_t at)
    {
        if (at < m_text.length() && m_text[at] == L'%') {
            m_pieces.push_back({0, L"%"});
            return at + 1;
        }
        unsigned number = 0;
        std::size_t end = at;
        // The platform reads two digits at most.
        for (; end < m_text.length() && end < at + 2 && mf_isDigit(m_text[end]); ++end) {
            number = number * 10 + static_cast<unsigned>(m_text[end] - L'0');
        }
        if (number == 0) {
            m_faults.emplace_back(L"bare percent sign at " + std::to_wstring(at - 1));
            return end;
        }
        return mf_implReadFormat(number, end);
    }

    std::size_t mf_implReadFormat(unsigned number, std::size_t at)
    {
        std::wstring format = L"s";
        if (at < m_text.length() && m_text[at] == L'!') {
            std::size_t const end = m_text.find(L'!', at + 1);
            if (end == m_text.npos) {
                m_faults.emplace_back(L"format without end at " + std::to_wstring(at));
                return m_text.length();
            }
            format = m_text.substr(at + 1, end - at - 1);
            at = end + 1;
        }
        if (!mf_kindOf(format)) m_faults.emplace_back(L"unknown format '" + format + L"'");
        auto const [known, isNew] = m_inserts.emplace(number, format);
        if (!isNew && known->second != format) m_faults.emplace_back(L"two formats for one insert");
        m_pieces.push_back({number, format});
        return at;
    }

    void mf_implCheckWhole()
    {
        if (m_text.empty()) m_faults.emplace_back(L"empty text");
        if (m_text.length() > MAX_LENGTH) m_faults.emplace_back(L"text too long");
        std::wstring rest = m_text;
        for (std::size_t at = rest.find(L"\r\n"); at != rest.npos; at = rest.find(L"\r\n", at)) {
            rest.erase(at, 2);
        }
        // U+FFFD and the controls from U+0080 on come out when a script was read in a wrong encoding.
        bool const odd = std::any_of(rest.begin(), rest.end(), [](wchar_t letter) {
            return letter < 0x20 || (letter >= 0x7F && letter < 0xA0) || letter == 0xFFFD;
        });
        if (odd) m_faults.emplace_back(L"control character");
    }

    static std::wstring mf_implRenderInsert(PIECE const & piece)
    {
        DWORD_PTR const argument = mf_argumentFor(piece.number, mf_kindOf(piece.text).value_or(KIND::TEXT));
        wchar_t buffer[200];
        ::_snwprintf_s(buffer, std::size(buffer), _TRUNCATE, (L"%" + piece.text).c_str(), argument);
        return buffer;
    }

    std::wstring const m_text;
    std::vector<PIECE> m_pieces;
    INSERTS m_inserts;
    std::vector<std::wstring> m_faults;
};
