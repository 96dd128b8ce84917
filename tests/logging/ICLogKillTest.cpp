// A process with many writers is killed at any moment, also within a cut: the file stays readable, and a new start goes
// on with it.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <random>
#include <thread>
#include <tuple>

#include "tests/logging/NumberedRecords.h"
#include "tests/support/ICChildProcess.h"

namespace
{

constexpr int WRITERS = 4;
constexpr int ENDLESS = 100'000;
constexpr ulong KILLED = 77;
constexpr int NOWHERE = -2;

// What a child tells of the last record that it has surely written.
constexpr char TOLD[] = "written %d";

[[noreturn]] void f_kill(int written)
{
    std::printf(TOLD, written);
    std::fflush(stdout);
    ::TerminateProcess(::GetCurrentProcess(), KILLED);
    std::abort();
}

// Follows the log's calls, which run under its lock, and ends the process ahead of one of those that make up a cut.
class ICKillInCut
{
public:
    ICKillInCut(ICSequenceClock const & clock, int call) : m_clock(clock), m_callsLeft(call) {}

    int mf_getWritten() const { return m_written; }

private:
    // A record is written behind the end of the file; a cut begins and goes on with positions from its start.
    BOOL mf_seek(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER * position, DWORD method)
    {
        m_isCutting = method == FILE_BEGIN;
        mf_count();
        return ::SetFilePointerEx(file, distance, position, method);
    }
    BOOL mf_write(HANDLE file, void const * bytes, DWORD count, DWORD * written, OVERLAPPED * overlapped)
    {
        mf_count();
        BOOL const isDone = ::WriteFile(file, bytes, count, written, overlapped);
        if (!m_isCutting) m_written = m_clock.mf_getNext() - 1;
        return isDone;
    }
    BOOL mf_end(HANDLE file)
    {
        mf_count();
        m_isCutting = false;
        return ::SetEndOfFile(file);
    }
    void mf_count()
    {
        if (m_isCutting && --m_callsLeft == 0) f_kill(m_written);
    }

    ICSequenceClock const & m_clock;
    int m_callsLeft;
    bool m_isCutting = false;
    std::atomic<int> m_written = -1;
    ICImportPatch const m_seeks{IC_IMPORT(SetFilePointerEx), [this](auto... call) { return mf_seek(call...); }};
    ICImportPatch const m_writes{IC_IMPORT(WriteFile), [this](auto... call) { return mf_write(call...); }};
    ICImportPatch const m_ends{IC_IMPORT(SetEndOfFile), [this](HANDLE file) { return mf_end(file); }};
};

void f_openLog(std::wstring const & fileName)
{
    ICLog::mf_openLog(CString(fileName.c_str()), ICLogData::LEVEL_K.mf_getLogLevel());
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
}

} // namespace

// Arguments: registry root, file name, call within cuts or message of the first writer at which the process ends; the
// other number is 0. The root is the parent's, which outlives the kill.
IC_CHILD(killed_writers)
{
    ICRegistry::mf_createInstance(arguments[0].c_str());
    ICTlsHandler::mf_initialize();
    ICLanguage::mf_createInstance();
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES | ICStatus::STATUS_MAIN_THREAD, 1);
    ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 0);
    ICSequenceClock const clock;
    ICKillInCut const kill(clock, std::stoi(arguments[2]));
    int const lastMessage = std::stoi(arguments[3]);
    f_openLog(arguments[1]);
    std::vector<std::jthread> writers;
    for (int writer = 0; writer < WRITERS; ++writer)
        writers.emplace_back([&, writer] {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, static_cast<ulong>(writer));
            for (int number = 0; number < ENDLESS; ++number) {
                f_writeNumbered(ICLogData::LEVEL_K, writer, number);
                if (writer == 0 && number + 1 == lastMessage) f_kill(kill.mf_getWritten());
            }
        });
    return 0;
}

namespace
{

// At how many places a whole record isn't followed by the next one.
int f_countSeams(std::vector<NUMBERED_RECORD> const & records)
{
    int seams = 0;
    std::optional<int> expected;
    for (NUMBERED_RECORD const & record : records) {
        if (!record.isWhole) {
            expected = NOWHERE;
            continue;
        }
        seams += expected && record.sequence != *expected;
        expected = record.sequence + 1;
    }
    return seams + (expected == NOWHERE);
}

// What stands between whole records. A record that is torn within its head may leave two such pieces: its start up to a
// line end, and the rest of an older one that happens to begin with no blank.
long long f_countPieces(std::vector<NUMBERED_RECORD> const & records)
{
    return std::count_if(records.begin(), records.end(),
                         [](NUMBERED_RECORD const & record) { return !record.isWhole; });
}

std::string f_show(std::vector<NUMBERED_RECORD> const & records)
{
    std::string text;
    for (NUMBERED_RECORD const & record : records)
        text += record.isWhole ? std::to_string(record.sequence) + " " : "<" + record.text + "> ";
    return text;
}

class ICLogKill : public testing::Test
{
protected:
    static constexpr int NEW_START = 50'000'000; // number of its first record

    void mf_setEncoding(ulong ucs2) const
    {
        mf_getRegistry().mf_writeNumber(L"", L"LogFileUcs2", ucs2);
        mf_getRegistry().mf_writeNumber(L"", L"LogFileSize", 50);
        mf_getRegistry().mf_writeText(L"", L"LogFileDir", m_directory.mf_getPath());
        m_isUcs2 = ucs2 != 0;
    }

    struct MOMENT
    {
        int callInCuts;
        int message;
    };

    // How many kills have left a seam.
    int mf_getSeams() const { return m_seams; }

    // Kills so many children that work at a time, each with a file of its own.
    void mf_killAt(std::vector<MOMENT> const & moments) const
    {
        std::vector<std::unique_ptr<ICChildProcess>> children;
        for (MOMENT const & moment : moments)
            children.push_back(std::make_unique<ICChildProcess>(
                "killed_writers",
                ICChildProcess::ARGUMENTS{mf_getRegistry().mf_getPath(), f_nameOf(moment),
                                          std::to_wstring(moment.callInCuts), std::to_wstring(moment.message)}));
        for (std::size_t index = 0; index < children.size(); ++index) {
            SCOPED_TRACE(CString(f_nameOf(moments[index]).c_str()).GetString());
            ASSERT_EQ(KILLED, children[index]->mf_getExitCode()) << children[index]->mf_getErrors();
            int written = -2;
            ASSERT_EQ(1, std::sscanf(children[index]->mf_getOutput().c_str(), TOLD, &written));
            mf_checkFile(f_nameOf(moments[index]), written, moments[index].callInCuts > 0);
            mf_checkNewStart(f_nameOf(moments[index]));
        }
    }

private:
    static std::wstring f_nameOf(MOMENT const & moment)
    {
        return std::to_wstring(moment.callInCuts) + L"-" + std::to_wstring(moment.message) + L".log";
    }

    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }

    // Whole records without a gap, up to the last that was written; at one place there may be records again and at most
    // one that is torn.
    void mf_checkFile(std::wstring const & name, int written, bool isInCut) const
    {
        EXPECT_EQ(m_isUcs2, f_readFile(m_directory / name).starts_with("\xff\xfe"));
        auto const records = f_readNumbered(m_directory / name);
        ASSERT_FALSE(records.empty());
        EXPECT_TRUE(records.front().isWhole) << records.front().text;
        EXPECT_GE(2, f_countPieces(records)) << f_show(records);
        EXPECT_GE(1, f_countSeams(records)) << f_show(records);
        m_seams += f_countSeams(records);
        // Without a cut of this moment, another writer may have come further.
        if (isInCut)
            EXPECT_EQ(written, records.back().sequence) << f_show(records);
        else
            EXPECT_LE(written, records.back().sequence) << f_show(records);
    }

    void mf_checkNewStart(std::wstring const & name) const
    {
        constexpr int MESSAGES = 3;
        ICSequenceClock const clock(NEW_START);
        f_openLog(name);
        for (int number = 0; number < MESSAGES; ++number)
            f_writeNumbered(ICLogData::LEVEL_K, WRITERS, number);
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
        ICLog::mf_closeLog();

        EXPECT_FALSE(f_isThere(m_directory / L"backup")) << "taken for a file of another encoding";
        auto records = f_readNumbered(m_directory / name);
        ASSERT_LT(static_cast<std::size_t>(MESSAGES), records.size()) << "nothing is left of the old records";
        EXPECT_TRUE(records.front().isWhole) << records.front().text;
        for (int number = MESSAGES; number-- > 0; records.pop_back()) {
            EXPECT_TRUE(records.back().isWhole) << records.back().text;
            EXPECT_EQ(NEW_START + number, records.back().sequence);
            EXPECT_EQ(number, records.back().number);
        }
        EXPECT_GE(2, f_countPieces(records)) << f_show(records);
        EXPECT_GE(1, f_countSeams(records)) << f_show(records);
    }

    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
    mutable bool m_isUcs2 = false;
    mutable int m_seams = 0;
};

} // namespace

namespace
{

constexpr int KILLS = 25; // of each kind, for each encoding
constexpr int AT_A_TIME = 5;

} // namespace

// Encoding, and the first of the kills that the test makes.
class ICLogKillIn : public ICLogKill, public testing::WithParamInterface<std::tuple<ulong, int>>
{
protected:
    ICLogKillIn() { mf_setEncoding(std::get<0>(GetParam())); }

    template<class CHOOSE>
    void mf_killSome(CHOOSE choose)
    {
        std::vector<MOMENT> moments;
        int const first = std::get<1>(GetParam());
        for (int index = first; index < first + AT_A_TIME; ++index)
            moments.push_back(choose(index));
        mf_killAt(moments);
    }
};

INSTANTIATE_TEST_SUITE_P(EightBitAndUcs2, ICLogKillIn,
                         testing::Combine(testing::Values(0ul, 1ul), testing::Range(0, KILLS, AT_A_TIME)));

// A cut has some thirty calls, three of them for each piece that it moves; the kills meet those of the first two cuts.
TEST_P(ICLogKillIn, MiddleOfACut_LeavesOneSeamAndANewStartGoesOn)
{
    mf_killSome([](int index) { return MOMENT{1 + 3 * index - index % 2, 0}; });
    // All but those ahead of the first piece.
    EXPECT_LE(AT_A_TIME / 2, mf_getSeams());
}

TEST_P(ICLogKillIn, AnyMoment_LeavesWhatWasWrittenAndANewStartGoesOn)
{
    std::mt19937 random(std::get<0>(GetParam()) + 2);
    mf_killSome([&random](int index) { return MOMENT{0, 1 + index * 10 + static_cast<int>(random() % 10)}; });
}
