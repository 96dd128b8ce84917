#include "tests/support/ICTraceReader.h"

#include "tests/support/ICFiles.h"
#include "tests/support/Platform.h"

#include <ostream>
#include <string_view>

namespace
{

constexpr std::string_view UCS2_MARK = "\xff\xfe";
constexpr std::size_t PREFIX_LENGTH = 57;
constexpr std::wstring_view TIME_FORMAT = L"00-00-00 00:00:00.000";
constexpr std::wstring_view LINE_END = L"\r\n";

std::wstring f_fromNarrow(std::string_view bytes)
{
    int const length = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');
    int const count = ::MultiByteToWideChar(CP_ACP, 0, bytes.data(), length, text.data(), length);
    text.resize(static_cast<std::size_t>(count));
    return text;
}

std::wstring f_fromUcs2(std::string_view bytes)
{
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    bytes.copy(reinterpret_cast<char *>(text.data()), text.size() * sizeof(wchar_t));
    return text;
}

std::string f_utf8(std::wstring_view text)
{
    int const length = static_cast<int>(text.size());
    std::string bytes(4 * text.size(), '\0');
    int const count = ::WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(),
                                            static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

// The line up to its end, which is taken off with it. Nothing if there is no line end.
std::optional<std::wstring_view> f_takeLine(std::wstring_view & text)
{
    std::size_t const end = text.find(LINE_END);
    if (end == text.npos) return std::nullopt;
    std::wstring_view const line = text.substr(0, end);
    text.remove_prefix(end + LINE_END.size());
    return line;
}

bool f_isTime(std::wstring_view text)
{
    if (text.size() != TIME_FORMAT.size()) return false;
    for (std::size_t index = 0; index < text.size(); ++index) {
        bool const isDigit = text[index] >= L'0' && text[index] <= L'9';
        if (TIME_FORMAT[index] == L'0' ? !isDigit : text[index] != TIME_FORMAT[index]) return false;
    }
    return true;
}

std::wstring_view f_trimmed(std::wstring_view text)
{
    std::size_t const last = text.find_last_not_of(L' ');
    return text.substr(0, last + 1);
}

// "PROGRAM (0A3C:0F10) Class::function", both numbers of four digits or more.
bool f_parsePrefix(std::wstring_view prefix, ICTraceRecord & record)
{
    std::size_t const colon = prefix.find(L':');
    std::size_t const open = prefix.rfind(L" (", colon);
    std::size_t const close = prefix.find(L") ", colon);
    if (colon == prefix.npos || open == prefix.npos || close == prefix.npos) return false;
    if (colon < open + 6 || close < colon + 5) return false;
    record.m_process = f_utf8(prefix.substr(0, close + 1));
    record.m_tag = f_utf8(prefix.substr(close + 2));
    return true;
}

} // namespace

std::ostream & operator<<(std::ostream & out, ICTraceRecord const & record)
{
    return out << record.m_level << ' ' << record.m_tag << ": " << record.m_text;
}

std::wstring f_readLogText(std::wstring const & path, std::size_t from)
{
    std::string const bytes = f_readFile(path);
    bool const isUcs2 = bytes.starts_with(UCS2_MARK);
    std::size_t const begin = isUcs2 ? std::max(from, UCS2_MARK.size()) : from;
    std::string_view const rest = std::string_view(bytes).substr(std::min(begin, bytes.size()));
    return isUcs2 ? f_fromUcs2(rest) : f_fromNarrow(rest);
}

std::vector<std::wstring> f_splitRecords(std::wstring const & text)
{
    std::vector<std::wstring> records;
    std::size_t start = 0;
    for (std::size_t end = text.find(LINE_END); start < text.size(); end = text.find(LINE_END, end)) {
        end = end == text.npos ? text.size() : end + LINE_END.size();
        if (end < text.size() && text[end] == L' ') continue;
        records.push_back(text.substr(start, end - start));
        start = end;
    }
    return records;
}

std::optional<ICTraceRecord> f_parseRecord(std::wstring const & text)
{
    ICTraceRecord record;
    std::wstring_view rest = text;
    auto const head = f_takeLine(rest);
    if (!head || head->size() != PREFIX_LENGTH + 1 + TIME_FORMAT.size()) return std::nullopt;
    std::wstring_view const time = head->substr(PREFIX_LENGTH + 1);
    if (!f_isTime(time) || !f_parsePrefix(f_trimmed(head->substr(0, PREFIX_LENGTH)), record)) return std::nullopt;
    record.m_time = f_utf8(time);

    auto line = f_takeLine(rest);
    if (!line || line->size() < 4 || line->front() != L' ' || line->substr(2, 2) != L": ") return std::nullopt;
    record.m_level = static_cast<char>((*line)[1]);
    record.m_text = f_utf8(line->substr(4));
    while ((line = f_takeLine(rest)))
        record.m_text += "\n" + f_utf8(line->substr(std::min(line->find_first_not_of(L' '), line->size())));
    return rest.empty() ? std::optional(record) : std::nullopt;
}

std::vector<ICTraceRecord> f_readTrace(std::wstring const & path, std::size_t from)
{
    std::vector<ICTraceRecord> records;
    for (std::wstring const & text : f_splitRecords(f_readLogText(path, from)))
        if (auto const record = f_parseRecord(text)) records.push_back(*record);
    return records;
}
