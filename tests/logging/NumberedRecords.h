#pragma once

#include <atomic>
#include <cstdio>
#include <string>
#include <vector>

#include "tests/support/ICImportPatch.h"
#include "tests/support/ICTracedProcess.h"

// Numbered messages of many threads, and how they are found again in a file.
//
//     ICSequenceClock const clock;
//     f_writeNumbered(ICLogData::LEVEL_K, writer, number);
//     ...
//     for (NUMBERED_RECORD const & record : f_readNumbered(path)) ...

// Gives each record the next number, as its time of day: who renders a record holds the log's lock, so the numbers are
// the order in which the log took the records, without a gap.
class ICSequenceClock
{
public:
    explicit ICSequenceClock(int first = 0) : m_next(first) {}

    // How many records there were, if the first had the number 0.
    int mf_getNext() const { return m_next; }

private:
    mutable std::atomic<int> m_next; // goes on in a clock that is const, too
    ICImportPatch const m_patch{
        IC_IMPORT(GetLocalTime), [this](SYSTEMTIME * now) {
            int const number = m_next++;
            auto const part = [number](int unit, int size) { return static_cast<WORD>(number / unit % size); };
            *now = {2024, 1, 0, 31, part(3'600'000, 24), part(60'000, 60), part(1'000, 60), part(1, 1'000)};
        }};
};

inline int f_sequenceOf(ICTraceRecord const & record)
{
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
    std::sscanf(record.m_time.c_str(), "24-01-31 %d:%d:%d.%d", &hour, &minute, &second, &millisecond);
    return ((hour * 60 + minute) * 60 + second) * 1'000 + millisecond;
}

// One to four lines of length and letters that seem random, the first with the numbers.
inline std::vector<std::string> f_numberedLines(int writer, int number)
{
    constexpr unsigned LONGEST = 130;
    unsigned random = static_cast<unsigned>(writer * 7919 + number) * 2654435761u;
    std::vector<std::string> lines = {"#" + std::to_string(writer) + ":" + std::to_string(number) + " "};
    lines.resize(1 + random % 7 / 2);
    for (std::string & line : lines) {
        random = random * 1664525 + 1013904223;
        line.append(1 + (random >> 16) % LONGEST, static_cast<char>('A' + (random >> 24) % 26));
        line += '.';
    }
    return lines;
}

inline std::string f_join(std::vector<std::string> const & lines, char const * separator)
{
    std::string text = lines.front();
    for (std::size_t index = 1; index < lines.size(); ++index)
        text += separator + lines[index];
    return text;
}

// 8-bit and wide formats take turns, and so do messages that indent their lines and messages that don't.
inline void f_writeNumbered(ICLogData const & level, int writer, int number)
{
    std::string const text = f_join(f_numberedLines(writer, number), number % 3 ? "\r\n    " : "\r\n");
    if ((writer + number) % 2)
        ICLog::mf_writeMessage(level, "Test::f_writeNumbered", "%s", text.c_str());
    else
        ICLog::mf_writeMessage(level, L"Test::f_writeNumbered", L"%s", std::wstring(text.begin(), text.end()).c_str());
}

struct NUMBERED_RECORD
{
    bool isWhole; // the record that was written, letter by letter
    int sequence;
    int writer; // -1: a record of the library
    int number;
    std::string text;

    // A record begins with a mark of the log in a file that it has just opened or is about to leave.
    bool mf_ends(char const * end) const { return writer < 0 && text.ends_with(end); }
};

inline NUMBERED_RECORD f_asNumbered(std::wstring const & text)
{
    NUMBERED_RECORD numbered = {false, -1, -1, -1, std::string(text.begin(), text.end())};
    auto const record = f_parseRecord(text);
    if (!record) return numbered;
    numbered.sequence = f_sequenceOf(*record);
    numbered.text = record->m_text;
    if (record->m_tag.starts_with("Test::f_write"))
        numbered.isWhole = std::sscanf(record->m_text.c_str(), "#%d:%d ", &numbered.writer, &numbered.number) == 2 &&
                           record->m_text == f_join(f_numberedLines(numbered.writer, numbered.number), "\n");
    else
        numbered.isWhole = record->m_text.find('#') == std::string::npos;
    return numbered;
}

inline std::vector<NUMBERED_RECORD> f_readNumbered(std::wstring const & path)
{
    std::vector<NUMBERED_RECORD> records;
    for (std::wstring const & text : f_splitRecords(f_readLogText(path)))
        records.push_back(f_asNumbered(text));
    return records;
}
