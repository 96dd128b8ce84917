#include "tests/support/ICTracedProcess.h"

#include "tests/support/ICImportPatch.h"

// The note that an operation leaves when it finds a log that is not ready. It goes into the log's file, and a log with
// a file is ready, so a note is seen only if the file is opened in the moment between: while the question for the state
// takes the lock.

namespace
{

// Opens a file for the log as soon as somebody takes the log's lock.
class ICLateFile
{
public:
    explicit ICLateFile(ICLogBase & log)
        : m_log(log), m_file(::CreateFileW((m_directory / L"notes").c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                           CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr)),
          m_lock(IC_IMPORT(EnterCriticalSection), [this](CRITICAL_SECTION * section) {
              ::EnterCriticalSection(section);
              if (section == &m_log.m_csLock) m_log.m_hFile = m_file;
          })
    {}

    ~ICLateFile()
    {
        m_log.m_hFile = INVALID_HANDLE_VALUE;
        ::CloseHandle(m_file);
    }

    // The text of which the file holds the first half, as bytes.
    std::string mf_read() const { return f_readFile(m_directory / L"notes"); }

private:
    ICLogBase & m_log;
    ICTemporaryDirectory const m_directory;
    HANDLE const m_file;
    ICImportPatch const m_lock;
};

std::string f_firstHalf(wchar_t const * text)
{
    return std::string(reinterpret_cast<char const *>(text), std::wcslen(text));
}

struct NOTE
{
    void (*action)();
    wchar_t const * text;
};

void f_expectNotes(ICLogBase & log, std::initializer_list<NOTE> notes)
{
    for (NOTE const & note : notes) {
        ICLateFile const file(log);
        note.action();
        EXPECT_EQ(f_firstHalf(note.text), file.mf_read()) << testing::PrintToString(note.text);
    }
}

} // namespace

TEST(LogNotes, TraceLog_NotesEachCallByItsName)
{
    ICTracedProcess const process;
    ICLog::m_pThis->mf_implStop();
    f_expectNotes(
        *ICLog::m_pThis,
        {{[] { ICLog::mf_writeMessage(ICLogData::LEVEL_E, L"F", L"x"); },
          L"ICLog::mf_writeMessage: Logging not initialized"},
         {[] { ICLog::mf_writeMessage(ICLogData::LEVEL_E, "F", "x"); },
          L"ICLog::mf_writeMessage: Logging not initialized"},
         {[] { ICLog::mf_vaWriteMessage(ICLogData::LEVEL_E, L"F", L"x", nullptr); },
          L"ICLog::mf_vawriteMessage: Logging not initialized"},
         {[] { ICLog::mf_hasLogLevel(ICLogData::LEVEL_E); }, L"ICLog::mf_hasLogLevel: Logging not initialized"},
         {[] { ICLog::mf_setLogLevel(1ul); }, L"ICLog::mf_setLogLevel: Logging not initialized"},
         {[] { ICLog::mf_setMaxFileSize(100, 50); }, L"ICLog::mf_setFileSize: Logging not initialized"},
         {[] { ICLog::mf_setCodepage(1); }, L"ICLog::mf_setCodepage: Logging not initialized"},
         {[] { ICLog::mf_updateParameters(); }, L"ICLog::mf_updateParameters: Logging not initialized"},
         {[] { ICLog::mf_flush(); }, L"ICLog::mf_flush: Logging not initialized"},
         {[] { ICLog::mf_closeLog(); }, L"ICLog::mf_closeLog: Logging not initialized"}});
    ICLog::m_pThis->mf_implStart();
}

TEST(LogNotes, AdministratorsLog_NotesEachCallByItsName)
{
    ICTracedProcess const process;
    process.mf_getRegistry().mf_writeText(L"", L"AdminLogFileDir", process.mf_getDirectory().mf_getPath());
    ICAdminLog::mf_openLog(L"admin.log");
    ICAdminLog::m_pThis->mf_implStop();
    f_expectNotes(
        *ICAdminLog::m_pThis,
        {{[] { ICAdminLog::mf_setMaxFileSize(100, 50); }, L"ICAdminLog::mf_setFileSize: Logging not initialized"},
         {[] { ICAdminLog::mf_setCodepage(1); }, L"ICAdminLog::mf_setCodepage: Logging not initialized"},
         {[] { ICAdminLog::mf_updateParameters(); }, L"ICAdminLog::mf_updateParameters: Logging not initialized"},
         {[] { ICAdminLog::mf_flush(); }, L"ICAdminLog::mf_flush: Logging not initialized"}});
    ICAdminLog::mf_closeLog();
}
