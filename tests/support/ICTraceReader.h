#pragma once

#include <gmock/gmock.h>

#include <iosfwd>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What a trace log says, record by record.
//
//     EXPECT_THAT(f_readTrace(path), Contains(f_isRecord('W', "ICPath::mf_exists", HasSubstr("not there"))));
//
// Texts are UTF-8. A message's lines are separated by "\n" and stand without their indents.
struct ICTraceRecord
{
    std::string m_process; // "PROGRAM (0A3C:0F10)"
    std::string m_tag;     // as far as the record shows it, see f_isRecord
    std::string m_time;    // "24-01-31 23:59:59.123"
    char m_level;
    std::string m_text;
};

std::ostream & operator<<(std::ostream & out, ICTraceRecord const & record);

// The text of a file, UCS-2 by its mark, else 8-bit in the process's code page. From a byte of the file on, where the
// text goes on as it began.
std::wstring f_readLogText(std::wstring const & path, std::size_t from = 0);

// Apart at each line that begins with no blank; line ends included. All records together are the text again.
std::vector<std::wstring> f_splitRecords(std::wstring const & text);

// Nothing for a text that isn't one whole record, with its head, its level and its line end.
std::optional<ICTraceRecord> f_parseRecord(std::wstring const & text);

// The whole records of a file.
std::vector<ICTraceRecord> f_readTrace(std::wstring const & path, std::size_t from = 0);

// Level, tag, and a text or a matcher for it. The head of a record holds the start of a long tag only; there, the start
// is compared.
MATCHER_P(ICTagMatcher, tag, "is the tag " + std::string(tag))
{
    constexpr std::size_t HEAD = 57;
    std::size_t const room = HEAD - std::min(HEAD, arg.m_process.size() + 1);
    return arg.m_tag == std::string(tag).substr(0, room);
}

template<class TEXT>
testing::Matcher<ICTraceRecord const &> f_isRecord(char level, std::string const & tag, TEXT const & text)
{
    return testing::AllOf(testing::Field("level", &ICTraceRecord::m_level, level), ICTagMatcher(tag),
                          testing::Field("text", &ICTraceRecord::m_text, text));
}
