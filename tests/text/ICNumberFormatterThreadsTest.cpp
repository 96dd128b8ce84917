// Threads that format while another one changes the choices.
#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "tests/support/ICMeetingPoint.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/text/NumberFormatterTest.h"

using FORMATTER = ICNumberFormatter;

namespace
{

constexpr int READERS = 4;
constexpr int CHANGES = 100;

using TEXTS = std::set<std::wstring>;

// All forms that the same thing may have.
TEXTS f_numberTexts()
{
    TEXTS texts;
    for (NUMBER_ROW const & row : NUMBER_ROWS)
        texts.insert(f_platformNumber(L"1234567", f_ownRecord(row, 1)).m_text);
    return texts;
}
TEXTS f_dateTexts()
{
    TEXTS texts;
    for (wchar_t const * format : DATE_ROWS)
        texts.insert(f_platformDate(AFTERNOON, format).m_text);
    return texts;
}
TEXTS f_timeTexts()
{
    TEXTS texts;
    for (wchar_t const * format : TIME_ROWS)
        texts.insert(f_platformTime(AFTERNOON, format).m_text);
    return texts;
}

// Counts the texts that no format gives.
struct READER
{
    TEXTS const m_numbers = f_numberTexts();
    TEXTS const m_dates = f_dateTexts();
    TEXTS const m_times = f_timeTexts();
    std::atomic<int> m_wrong = 0;
    std::atomic<int> m_rounds = 0;

    void mf_read()
    {
        m_wrong += !m_numbers.contains(FORMATTER::mf_formatNumber(1234567).GetString());
        m_wrong += !m_dates.contains(FORMATTER::mf_formatDate(&AFTERNOON).GetString());
        m_wrong += !m_times.contains(FORMATTER::mf_formatTime(&AFTERNOON).GetString());
        ++m_rounds;
    }
};

} // namespace

TEST(ICNumberFormatterThreads, FormatsWhileChoicesChange_AreAlwaysWhole)
{
    ICStartedProcess const process;
    FORMATTER::mf_createInstance();
    READER reader;
    std::atomic<bool> isOver = false;
    ICMeetingPoint start(READERS + 1);
    {
        std::vector<std::jthread> threads;
        for (int index = 0; index < READERS; ++index) {
            threads.emplace_back([&] {
                start.mf_arrive();
                do
                    reader.mf_read();
                while (!isOver);
            });
        }
        start.mf_arrive();
        for (ulong change = 0; change < CHANGES; ++change) {
            FORMATTER::mf_configureNumberFormat(change % NO_NUMBER_FORMAT);
            FORMATTER::mf_configureDateFormat(change % std::size(DATE_ROWS));
            FORMATTER::mf_configureTimeFormat(change % std::size(TIME_ROWS));
        }
        isOver = true;
    }
    EXPECT_EQ(0, reader.m_wrong);
    EXPECT_GE(reader.m_rounds, READERS);
    EXPECT_EQ((CHANGES - 1) % NO_NUMBER_FORMAT, FORMATTER::mf_getConfiguredNumberFormatIndex());
    FORMATTER::mf_deleteInstance();
}

TEST(ICNumberFormatterThreads, ChangeOfAnotherThread_IsInForceAtTheNextCall)
{
    ICStartedProcess const process;
    FORMATTER::mf_createInstance();
    for (ulong index = 0; index < std::size(NUMBER_ROWS); ++index) {
        std::jthread([&] { FORMATTER::mf_configureNumberFormat(index); }).join();
        EXPECT_EQ(f_platformNumber(L"1234567", f_ownRecord(NUMBER_ROWS[index], 1)).m_text,
                  FORMATTER::mf_formatNumber(1234567).GetString());
    }
    FORMATTER::mf_deleteInstance();
}
