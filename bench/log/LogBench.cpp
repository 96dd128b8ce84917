#include <catch2/catch.hpp>

#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <thread>
#include <vector>

#include "bench/BenchFrame.h"
#include "bench/BenchRegistry.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/logging/ICLog.h"
#include "hsmbase/logging/internal/ICLogLine.h"

// Every writer is synchronous: the record has reached the operating system when the call returns.

namespace
{

constexpr wchar_t FUNCTION[] = L"ICVolumeScan::mf_readEntry";
constexpr wchar_t FORMAT[] = L"Entry '%s' of %lu bytes skipped";
constexpr wchar_t NAME[] = L"report-2024.docx";

// A directory of its own, removed with the files of the benchmarks when the program ends.
class ICBenchDirectory
{
public:
    ICBenchDirectory()
    {
        wchar_t path[MAX_PATH + 1] = {};
        ::GetTempPathW(MAX_PATH, path);
        m_path = CString(path) + L"hsmbase-bench\\";
        ::CreateDirectoryW(m_path, nullptr);
    }
    ICBenchDirectory(ICBenchDirectory const &) = delete;
    ICBenchDirectory & operator=(ICBenchDirectory const &) = delete;
    ~ICBenchDirectory()
    {
        for (wchar_t const * const name : {L"trace.log", L"bare.log", L"peer.log"})
            ::DeleteFileW(m_path + name);
        ::RemoveDirectoryW(m_path);
    }

    CString m_path;
};

ICBenchDirectory & f_directory()
{
    static ICBenchDirectory directory;
    return directory;
}

// Seek to the end, and write: what each record costs at least.
class ICBareFile
{
public:
    ICBareFile()
        : m_file(::CreateFileW(f_directory().m_path + L"bare.log", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ,
                               nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL | FILE_FLAG_SEQUENTIAL_SCAN, nullptr))
    {}
    ICBareFile(ICBareFile const &) = delete;
    ICBareFile & operator=(ICBareFile const &) = delete;
    ~ICBareFile() { ::CloseHandle(m_file); }

    void mf_append(std::string_view record)
    {
        LARGE_INTEGER const none = {};
        LARGE_INTEGER end = {};
        DWORD written = 0;
        ::SetFilePointerEx(m_file, none, &end, FILE_END);
        ::WriteFile(m_file, record.data(), static_cast<DWORD>(record.size()), &written, nullptr);
    }

    HANDLE const m_file;
};

std::shared_ptr<spdlog::logger> f_peer()
{
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>(
        std::wstring((f_directory().m_path + L"peer.log").GetString()), true);
    auto logger = std::make_shared<spdlog::logger>("BENCH_LOG", sink);
    // The head of a record with its fields.
    logger->set_pattern("%n (%P:%t) ICVolumeScan::mf_readEntry %y-%m-%d %H:%M:%S.%e%n %L: %v");
    logger->flush_on(spdlog::level::trace);
    return logger;
}

// A record as the log writes it.
std::string f_record()
{
    return "BENCH_LOG (0020:0024) ICVolumeScan::mf_readEntry          24-01-31 23:59:59.123\r\n"
           " W: Entry 'report-2024.docx' of 123456 bytes skipped\r\n";
}

void f_trace(ICLogData const & level)
{
    ICThreadContext::mf_setLoggingLanguage();
    ICLog::mf_writeMessage(level, FUNCTION, FORMAT, NAME, 123456ul);
}

void f_tracePeer(spdlog::logger & logger)
{
    logger.warn("Entry '{}' of {} bytes skipped", "report-2024.docx", 123456);
}

constexpr int THREADS = 4;
constexpr int RECORDS = 500;

template<class ACTION>
void f_onThreads(ACTION action)
{
    std::vector<std::thread> threads;
    for (int index = 0; index < THREADS; ++index)
        threads.emplace_back([&action, index] {
            ICThreadContext::mf_create(ICThreadContext::TYPE_WORKER, static_cast<ulong>(index));
            for (int record = 0; record < RECORDS; ++record)
                action();
            ICThreadContext::mf_delete();
        });
    for (std::thread & thread : threads)
        thread.join();
}

} // namespace

ICProgramFrame::OPTIONS f_benchFrame()
{
    return {.m_registryRoot = BenchRegistry::ROOT, .m_logDirectory = f_directory().m_path, .m_traceLog = L"trace.log"};
}

TEST_CASE("trace record, one thread, against bare seek and write", "[log][goal:1.25]")
{
    ICLog::mf_setMaxFileSize(4'000'000, 66);
    ICBareFile bare;
    std::string const record = f_record();
    BENCHMARK("ours")
    {
        f_trace(ICLogData::LEVEL_W);
    };
    BENCHMARK("8-bit call")
    {
        ICThreadContext::mf_setLoggingLanguage();
        ICLog::mf_writeMessage(ICLogData::LEVEL_W, "ICVolumeScan::mf_readEntry", "Entry '%s' of %lu bytes skipped",
                               "report-2024.docx", 123456ul);
    };
    BENCHMARK("peer")
    {
        bare.mf_append(record);
    };
}

TEST_CASE("trace record, one thread, against spdlog", "[log][goal:0.95]")
{
    auto const peer = f_peer();
    BENCHMARK("ours")
    {
        f_trace(ICLogData::LEVEL_W);
    };
    BENCHMARK("peer")
    {
        f_tracePeer(*peer);
    };
}

TEST_CASE("trace records, four threads, against spdlog", "[log][goal:1.5]")
{
    auto const peer = f_peer();
    BENCHMARK("ours")
    {
        f_onThreads([] { f_trace(ICLogData::LEVEL_W); });
    };
    BENCHMARK("peer")
    {
        f_onThreads([&peer] { f_tracePeer(*peer); });
    };
}

TEST_CASE("trace call at an unselected level", "[log][goal:3.5]")
{
    CRITICAL_SECTION section;
    ::InitializeCriticalSection(&section);
    BENCHMARK("ours")
    {
        f_trace(ICLogData::LEVEL_D);
    };
    BENCHMARK("peer")
    {
        ::EnterCriticalSection(&section);
        ::LeaveCriticalSection(&section);
    };
    ::DeleteCriticalSection(&section);
}

TEST_CASE("head of a record", "[log][goal:0.5]")
{
    static ICLogLine<wchar_t> line;
    static wchar_t text[8192];
    BENCHMARK("ours")
    {
        line.mf_putHead(L"BENCH_LOG", 0x20, FUNCTION, 'W');
        return line.mf_getLength();
    };
    BENCHMARK("peer")
    {
        SYSTEMTIME now;
        ::GetLocalTime(&now);
        wchar_t prefix[256];
        ::_snwprintf_s(prefix, 256, _TRUNCATE, L"%s (%4.4X:%4.4X) %s", L"BENCH_LOG", 0x20u, ::GetCurrentThreadId(),
                       FUNCTION);
        return ::_snwprintf_s(text, 8192, _TRUNCATE, L"%-57.57s %2.2d-%2.2d-%2.2d %2.2d:%2.2d:%2.2d.%3.3d\r\n %c: ",
                              prefix, now.wYear % 100, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond,
                              now.wMilliseconds, L'W');
    };
}

// ------------------------------------------------------------------------------------------------------------- cut

namespace
{

constexpr long long MAX_BYTES = 10240000;
constexpr long long KEPT_BYTES = MAX_BYTES / 100 * 66;
constexpr ulong CHUNK = 4096;
constexpr ulong RECORD_BYTES = 8000;

// As many lines as make a cut due, once each round.
void f_fillLog()
{
    static std::wstring const text(RECORD_BYTES - 87, L'x');
    for (long long size = KEPT_BYTES + CHUNK; size <= MAX_BYTES; size += RECORD_BYTES)
        ICLog::mf_writeMessage(ICLogData::LEVEL_W, FUNCTION, L"%s", text.c_str());
}

void f_copyDown(HANDLE file)
{
    static char buffer[CHUNK];
    LARGE_INTEGER from = {.QuadPart = MAX_BYTES - KEPT_BYTES - CHUNK};
    LARGE_INTEGER to = {};
    DWORD count = 0;
    for (;;) {
        ::SetFilePointerEx(file, from, nullptr, FILE_BEGIN);
        if (!::ReadFile(file, buffer, CHUNK, &count, nullptr) || count == 0) break;
        from.QuadPart += count;
        ::SetFilePointerEx(file, to, nullptr, FILE_BEGIN);
        ::WriteFile(file, buffer, count, &count, nullptr);
        to.QuadPart += count;
    }
    ::SetFilePointerEx(file, to, nullptr, FILE_BEGIN);
    ::SetEndOfFile(file);
}

} // namespace

// With the records that fill the file again, since a cut file can't be cut at once.
TEST_CASE("fill and cut of a 10 MB log to 66 percent", "[log][goal:1.1]")
{
    ICLog::mf_setMaxFileSize(10000, 66);
    ICBareFile bare;
    std::string const record(RECORD_BYTES, 'x');
    bare.mf_append(std::string(KEPT_BYTES + CHUNK, 'x'));
    BENCHMARK("ours")
    {
        f_fillLog();
    };
    BENCHMARK("peer")
    {
        for (long long size = KEPT_BYTES + CHUNK; size <= MAX_BYTES; size += RECORD_BYTES)
            bare.mf_append(record);
        f_copyDown(bare.m_file);
    };
}
