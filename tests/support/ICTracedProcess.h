#pragma once

#include <optional>

#include "hsmbase/logging/ICAdminLog.h"
#include "hsmbase/logging/ICLog.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/ICTemporaryDirectory.h"
#include "tests/support/ICTraceReader.h"

// What an action left: the records that it traced, and the failure that it threw.
struct ICTracedAction
{
    std::vector<ICTraceRecord> m_records;
    std::optional<ulong> m_failure; // number of the constant
    ulong m_originatorErrno = 0;

    friend std::ostream & operator<<(std::ostream & out, ICTracedAction const & action)
    {
        if (action.m_failure)
            out << "failure 0x" << std::hex << *action.m_failure << std::dec << " of " << action.m_originatorErrno;
        else
            out << "no failure";
        for (ICTraceRecord const & record : action.m_records)
            out << "\n    " << record;
        return out;
    }
};

// A started process whose trace log is open and takes every level, in UCS-2 so that all characters can be compared.
//
//     ICTracedProcess const process;
//     EXPECT_THAT(process.mf_trace([] { ICPath::mf_exists(L"Z:\\none"); }),
//                 Contains(f_isRecord('D', "ICPath::mf_exists", "File 'Z:\\none' not found")));
//
//     ICImportFault const denied("GetFileAttributesW", ERROR_ACCESS_DENIED);
//     EXPECT_THAT(process.mf_run([] { ICPath::mf_getAttributes(L"Z:\\x", 1); }),
//                 f_fails(ICErrno::_E_::FileAccess, ERROR_ACCESS_DENIED, 'E', "ICPath::mf_getAttributes",
//                         StartsWith("Failure getting file attributes for file 'Z:\\x':\n")));
//
// Patches that would hit the log itself (WriteFile, SetFilePointerEx, GetLocalTime) go by thread or by call.
// Like ICStartedProcess it can come up again and again, and needs test programs that reach private parts.
class ICTracedProcess
{
public:
    explicit ICTracedProcess(wchar_t const * language = L"English") : m_process(language)
    {
        mf_getRegistry().mf_writeText(L"", L"LogFileDir", m_directory.mf_getPath());
        mf_getRegistry().mf_writeNumber(L"", L"LogFileUcs2", 1);
        ICLog::mf_openLog(CString(L"trace.log"), ICLogData::LEVEL_FULL.mf_getLogLevel());
        // The head then has room for the longest tags.
        ::wcscpy_s(ICLog::m_pThis->m_szProcessNameW, 32, L"T");
        ::strcpy_s(ICLog::m_pThis->m_szProcessNameA, 32, "T");
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
    }

    ICTracedProcess(ICTracedProcess const &) = delete;
    ICTracedProcess & operator=(ICTracedProcess const &) = delete;

    ~ICTracedProcess()
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
        ICLog::mf_closeLog();
    }

    ICRegistrySandbox const & mf_getRegistry() const { return m_process.mf_getRegistry(); }
    ICTemporaryDirectory const & mf_getDirectory() const { return m_directory; }
    std::wstring mf_getLogFile() const { return ICLog::mf_getFileName().GetString(); }

    // All records of the file.
    std::vector<ICTraceRecord> mf_read() const { return f_readTrace(mf_getLogFile()); }

    // Those of an action that throws no ICErrno; anything else that it throws passes.
    template<class ACTION>
    std::vector<ICTraceRecord> mf_trace(ACTION && action) const
    {
        ICTracedAction const outcome = mf_run(std::forward<ACTION>(action));
        if (outcome.m_failure) ADD_FAILURE() << "unexpected failure: " << testing::PrintToString(outcome);
        return outcome.m_records;
    }

    template<class ACTION>
    ICTracedAction mf_run(ACTION && action) const
    {
        std::size_t const before = f_readFile(mf_getLogFile()).size();
        ICTracedAction outcome;
        try {
            action();
        }
        catch (ICErrno & failure) {
            outcome.m_failure = static_cast<ulong>(failure.mf_getNumber());
            outcome.m_originatorErrno = failure.mf_getErrnoData().mf_getOriginatorErrno();
        }
        outcome.m_records = f_readTrace(mf_getLogFile(), before);
        return outcome;
    }

private:
    ICStartedProcess const m_process;
    ICTemporaryDirectory const m_directory;
};

// The action threw the constant, and left a record of this level, tag and text (a text or a matcher). With a system
// error it is the originator's number.
template<class TEXT>
testing::Matcher<ICTracedAction const &> f_fails(ICErrnoValue const & constant, char level, std::string const & tag,
                                                 TEXT const & text)
{
    return testing::AllOf(
        testing::Field("failure", &ICTracedAction::m_failure, testing::Optional(constant.mf_getNumber())),
        testing::Field("records", &ICTracedAction::m_records, testing::Contains(f_isRecord(level, tag, text))));
}

template<class TEXT>
testing::Matcher<ICTracedAction const &> f_fails(ICErrnoValue const & constant, ulong systemError, char level,
                                                 std::string const & tag, TEXT const & text)
{
    return testing::AllOf(f_fails(constant, level, tag, text),
                          testing::Field("originator's number", &ICTracedAction::m_originatorErrno, systemError));
}
