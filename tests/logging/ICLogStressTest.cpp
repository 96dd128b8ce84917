// Nothing is lost or torn: many threads write while all settings change.
#include <algorithm>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "tests/logging/NumberedRecords.h"
#include "tests/support/ICMeetingPoint.h"

namespace
{

constexpr int WRITERS = 16;
constexpr long long KBYTE = 1024;
constexpr ulong SMALLEST = 50; // kBytes
// Of a numbered message with its head, in a file of UCS-2.
constexpr long long LONGEST_RECORD = 1400;

struct SETTINGS
{
    ulong kBytes = 10000;
    ulong ucs2 = 0;
    ulong wrap = 1;
    ulong percent = 66;
};

struct LOG_FILE
{
    std::wstring path;
    long long size;
    std::vector<NUMBERED_RECORD> records;
};

// Runs `work` with the number of each writer on a thread of its own, all at a time.
template<class WORK>
void f_onWriterThreads(WORK work)
{
    ICMeetingPoint start(WRITERS);
    std::vector<std::jthread> threads;
    for (int writer = 0; writer < WRITERS; ++writer)
        threads.emplace_back([&work, &start, writer] {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, static_cast<ulong>(writer));
            start.mf_arrive();
            work(writer);
            ICThreadContext::mf_delete();
        });
}

void f_writeAll(int messages)
{
    f_onWriterThreads([messages](int writer) {
        for (int number = 0; number < messages; ++number)
            f_writeNumbered(ICLogData::LEVEL_K, writer, number);
    });
}

// A log with settings of the test's choice, which counts its records.
class ICLogStress : public testing::Test
{
protected:
    ~ICLogStress() override
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
        ICLog::mf_closeLog();
    }

    void mf_set(wchar_t const * name, ulong number) const
    {
        ICRegistry::mf_setValue(name, number, ICRegistry::mf_getRegistryRoot(CString()), HKEY_LOCAL_MACHINE);
    }
    void mf_setDirectory(std::wstring const & relative) const
    {
        ICRegistry::mf_setValue(L"LogFileDir", (m_directory / relative).c_str(),
                                ICRegistry::mf_getRegistryRoot(CString()), 0, HKEY_LOCAL_MACHINE);
    }

    void mf_open(SETTINGS const & settings) const
    {
        mf_set(L"LogFileSize", settings.kBytes);
        mf_set(L"LogFileUcs2", settings.ucs2);
        mf_set(L"LogFileWrap", settings.wrap);
        mf_set(L"LogFilePercent", settings.percent);
        mf_setDirectory(L"one");
        ICLog::mf_openLog(L"app.log", ICLogData::LEVEL_FULL.mf_getLogLevel());
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    }

    // All that is left, read as records; each must be whole, which the start of a file is too, then.
    std::vector<LOG_FILE> mf_readFiles() const
    {
        std::vector<LOG_FILE> files;
        for (auto const & entry : std::filesystem::recursive_directory_iterator(m_directory.mf_getPath())) {
            if (!entry.is_regular_file()) continue;
            std::wstring const path = entry.path().wstring();
            files.push_back({path, static_cast<long long>(entry.file_size()), f_readNumbered(path)});
            for (NUMBERED_RECORD const & record : files.back().records)
                EXPECT_TRUE(record.isWhole) << entry.path().string() << "\n" << record.text;
        }
        std::sort(files.begin(), files.end(), [](auto & left, auto & right) { return left.path < right.path; });
        return files;
    }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    ICSequenceClock const m_clock;
};

// A file goes on with the next record, unless the log was elsewhere meanwhile, which it says.
void f_checkOrder(LOG_FILE const & file)
{
    for (std::size_t index = 1; index < file.records.size(); ++index) {
        NUMBERED_RECORD const & before = file.records[index - 1];
        NUMBERED_RECORD const & record = file.records[index];
        bool const isBack = record.sequence > before.sequence && before.mf_ends("re-starting logging...") &&
                            record.mf_ends("logging was re-started");
        EXPECT_TRUE(isBack || record.sequence == before.sequence + 1) << before.text << "\n" << record.text;
    }
}

using ORDERED = std::map<int, NUMBERED_RECORD>;

// The records of all files in the order of the log.
ORDERED f_order(std::vector<LOG_FILE> const & files)
{
    ORDERED ordered;
    for (LOG_FILE const & file : files) {
        f_checkOrder(file);
        for (NUMBERED_RECORD const & record : file.records)
            EXPECT_TRUE(ordered.emplace(record.sequence, record).second) << "twice: " << record.text;
    }
    return ordered;
}

// Each writer's messages have the numbers 0 to `messages` - 1, as far as no record before them is missing.
void f_checkWriters(ORDERED const & ordered, int messages)
{
    constexpr int ANY = -1;
    std::vector<int> next(WRITERS, 0);
    int expected = 0;
    for (auto const & [sequence, record] : ordered) {
        if (sequence != expected) std::fill(next.begin(), next.end(), ANY);
        expected = sequence + 1;
        if (record.writer < 0 || record.writer >= WRITERS) continue;
        int & number = next[static_cast<std::size_t>(record.writer)];
        EXPECT_TRUE(number == ANY || number == record.number) << "instead of " << number << ": " << record.text;
        number = record.number + 1;
    }
    for (int const number : next)
        EXPECT_TRUE(number == ANY || number == messages) << number;
}

void f_checkComplete(std::vector<LOG_FILE> const & files, int records, int messages)
{
    ORDERED const ordered = f_order(files);
    EXPECT_EQ(static_cast<std::size_t>(records), ordered.size());
    EXPECT_EQ(records - 1, ordered.rbegin()->first);
    f_checkWriters(ordered, messages);
}

// What a cut took stood at the start of its file: some file begins with a later record.
void f_checkMissing(std::vector<LOG_FILE> const & files, ORDERED const & ordered, int records)
{
    int lastStart = 0;
    for (LOG_FILE const & file : files)
        if (!file.records.empty()) lastStart = std::max(lastStart, file.records.front().sequence);
    for (int sequence = lastStart; sequence < records; ++sequence)
        EXPECT_TRUE(ordered.contains(sequence)) << sequence;
}

// Answers a time that goes on by a second each time it is asked, or stands still.
class ICSecondsClock
{
public:
    explicit ICSecondsClock(int step) : m_step(step) {}

private:
    int const m_step;
    long long m_time = 133'500'000'000'000'000;
    ICImportPatch const m_patch{IC_IMPORT(GetSystemTimeAsFileTime), [this](FILETIME * now) {
                                    m_time += 10'000'000ll * m_step;
                                    *now = {static_cast<DWORD>(m_time), static_cast<DWORD>(m_time >> 32)};
                                }};
};

} // namespace

TEST_F(ICLogStress, NoCut_EveryRecordIsThereOnce)
{
    constexpr int MESSAGES = 200;
    mf_open({});
    f_writeAll(MESSAGES);
    auto const files = mf_readFiles();
    ASSERT_EQ(1u, files.size());
    f_checkComplete(files, m_clock.mf_getNext(), MESSAGES);
}

TEST_F(ICLogStress, NoCutInUcs2_EveryRecordIsThereOnce)
{
    constexpr int MESSAGES = 200;
    mf_open({.ucs2 = 1});
    f_writeAll(MESSAGES);
    auto const files = mf_readFiles();
    ASSERT_EQ(1u, files.size());
    EXPECT_TRUE(f_readFile(files[0].path).starts_with("\xff\xfe"));
    f_checkComplete(files, m_clock.mf_getNext(), MESSAGES);
}

// --------------------------------------------------------------------------------------------------- full files stay

TEST_F(ICLogStress, StampedFiles_HoldEveryRecordOnceAndNonePassesTheMaximum)
{
    constexpr int MESSAGES = 100;
    constexpr long long MAXIMUM = SMALLEST * KBYTE;
    ICSecondsClock const everySecondANewFile(1);
    mf_open({.kBytes = SMALLEST, .ucs2 = 1, .wrap = 0});
    f_writeAll(MESSAGES);
    auto const files = mf_readFiles();
    EXPECT_LT(10u, files.size());
    for (LOG_FILE const & file : files) {
        EXPECT_GE(MAXIMUM, file.size);
        // By their names the files stand in the order of time.
        EXPECT_TRUE(&file == &files.back() || file.size > MAXIMUM - LONGEST_RECORD) << file.size;
    }
    f_checkComplete(files, m_clock.mf_getNext(), MESSAGES);
}

TEST_F(ICLogStress, StampedFilesOfOneSecond_AreOneThatPassesTheMaximum)
{
    constexpr int MESSAGES = 20;
    ICSecondsClock const alwaysTheSameSecond(0);
    mf_open({.kBytes = SMALLEST, .wrap = 0});
    f_writeAll(MESSAGES);
    auto const files = mf_readFiles();
    ASSERT_EQ(1u, files.size());
    EXPECT_LT(SMALLEST * KBYTE, files[0].size);
    f_checkComplete(files, m_clock.mf_getNext(), MESSAGES);
}

// ---------------------------------------------------------------------------------------------------- cuts in place

namespace
{
// One file, within its size, with the last records and each writer's last messages.
void f_checkTail(std::vector<LOG_FILE> const & files, int records, int messages)
{
    ASSERT_EQ(1u, files.size());
    EXPECT_GE(SMALLEST * KBYTE, files[0].size);
    EXPECT_LE(SMALLEST * KBYTE * 60 / 100, files[0].size);
    ORDERED const ordered = f_order(files);
    EXPECT_LT(0, ordered.begin()->first) << "nothing was cut";
    EXPECT_EQ(records - 1, ordered.rbegin()->first);
    EXPECT_EQ(static_cast<std::size_t>(records - ordered.begin()->first), ordered.size());
    f_checkWriters(ordered, messages);
}
} // namespace

TEST_F(ICLogStress, CutInPlace_LeavesTheLastRecordsWithoutAGap)
{
    constexpr int MESSAGES = 400;
    mf_open({.kBytes = SMALLEST, .percent = 60});
    f_writeAll(MESSAGES);
    f_checkTail(mf_readFiles(), m_clock.mf_getNext(), MESSAGES);
}

TEST_F(ICLogStress, CutInPlaceOfUcs2_LeavesTheLastRecordsWithoutAGap)
{
    constexpr int MESSAGES = 400;
    mf_open({.kBytes = SMALLEST, .ucs2 = 1, .percent = 60});
    f_writeAll(MESSAGES);
    auto const files = mf_readFiles();
    EXPECT_TRUE(f_readFile(files[0].path).starts_with("\xff\xfe"));
    f_checkTail(files, m_clock.mf_getNext(), MESSAGES);
}

// ------------------------------------------------------------------------------------------------- changing settings

namespace
{

constexpr int ROUNDS = 50;
constexpr int MESSAGES_PER_ROUND = 5;

// Settings that change from round to round. Levels that the test depends on stay selected: K of the messages that are
// counted, I of the marks where the log leaves a file.
class ICChangingSettings
{
public:
    using SET = std::function<void(wchar_t const *, ulong)>;

    ICChangingSettings(SET set, std::vector<ulong> sizes) : m_set(std::move(set)), m_sizes(std::move(sizes)) {}

    void mf_change()
    {
        ulong const always = ICLogData::LEVEL_K.mf_getLogLevel() | ICLogData::LEVEL_I.mf_getLogLevel();
        m_set(L"LogLevel", always | mf_pick({0, ICLogData::LEVEL_T.mf_getLogLevel(), 0x71711113}));
        m_set(L"LogFilePercent", mf_pick({10, 33, 66, 80}));
        m_set(L"LogFileSize", mf_pick(m_sizes));
        ulong const wrap = mf_pick({0, 1, 1});
        // A change of encoding without wrapping goes on in the same file by design, which then nobody can read.
        if (m_wrap || wrap) m_set(L"LogFileUcs2", mf_pick({0, 1}));
        m_set(L"LogFileWrap", m_wrap = wrap);
    }

    ulong mf_pick(std::vector<ulong> const & values) { return values[m_random() % values.size()]; }

private:
    SET const m_set;
    std::vector<ulong> const m_sizes;
    ulong m_wrap = 1;
    std::mt19937 m_random;
};

} // namespace

class ICLogChangingStress : public ICLogStress
{
protected:
    // Each round the settings change once while each writer writes some messages, by turns of two levels: one that
    // stays selected, and one that comes and goes, whose messages count as those of another writer.
    void mf_run(std::vector<ulong> const & sizes)
    {
        ICSecondsClock const everySecondANewFile(1);
        mf_open({.kBytes = sizes[0]});
        ICMeetingPoint round(WRITERS + 1);
        std::jthread const changing([&] { mf_changeAll(sizes, round); });
        f_onWriterThreads([&](int writer) {
            for (int number = 0; number < ROUNDS * MESSAGES_PER_ROUND; ++number) {
                if (number % MESSAGES_PER_ROUND == 0) round.mf_arrive();
                f_writeNumbered(ICLogData::LEVEL_K, writer, number);
                f_writeNumbered(ICLogData::LEVEL_T, writer + WRITERS, number);
            }
        });
    }

private:
    void mf_changeAll(std::vector<ulong> const & sizes, ICMeetingPoint & round)
    {
        ICThreadContext::mf_create(ICThreadContext::TYPE_CONTROLLER, 0);
        ICChangingSettings settings([this](auto name, ulong number) { mf_set(name, number); }, sizes);
        for (int count = 0; count < ROUNDS; ++count) {
            round.mf_arrive();
            settings.mf_change();
            mf_setDirectory(settings.mf_pick({0, 1}) ? L"one" : L"two\\deep");
            ICLog::mf_updateParameters();
            if (count % 5 == 0) ICLog::mf_flush();
            if (count % 5 == 1) ICLog::mf_setLogLevel(L"KIWT");
            if (count % 5 == 2) ICLog::mf_setMaxFileSize(sizes[0], 50);
        }
        ICThreadContext::mf_delete();
    }
};

// The settings have brought about files of every kind.
static void f_checkVariety(std::vector<LOG_FILE> const & files)
{
    for (wchar_t const * const part : {L"\\one\\app.log", L"\\one\\app-2", L"\\one\\backup\\app-",
                                       L"\\two\\deep\\app.log", L"\\two\\deep\\app-2", L"\\two\\deep\\backup\\app-"})
        EXPECT_TRUE(std::any_of(files.begin(), files.end(), [part](LOG_FILE const & file) {
            return file.path.find(part) != std::wstring::npos;
        })) << CString(part).GetString();
}

TEST_F(ICLogChangingStress, WithoutCuts_EveryRecordIsThereOnce)
{
    mf_run({10000, 20000});
    auto const files = mf_readFiles();
    f_checkVariety(files);
    f_checkComplete(files, m_clock.mf_getNext(), ROUNDS * MESSAGES_PER_ROUND);
}

TEST_F(ICLogChangingStress, WithCuts_WhatTheyKeepIsThereOnceAndInOrder)
{
    mf_run({50, 60, 77});
    auto const files = mf_readFiles();
    f_checkVariety(files);
    for (LOG_FILE const & file : files)
        EXPECT_GE(77 * KBYTE, file.size);
    ORDERED const ordered = f_order(files);
    EXPECT_GT(static_cast<std::size_t>(m_clock.mf_getNext()), ordered.size()) << "nothing was cut";
    f_checkMissing(files, ordered, m_clock.mf_getNext());
    f_checkWriters(ordered, ROUNDS * MESSAGES_PER_ROUND);
}
