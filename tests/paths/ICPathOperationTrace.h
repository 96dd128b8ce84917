#pragma once

#include "hsmbase/paths/ICPath.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedPlace.h"

// What the tests of the lines of file operations share: a trace, and a directory to work in, for which "@" stands in
// texts.
class ICPathOperationTrace : public testing::Test
{
protected:
    CString mf_getDirectory() const { return m_directory.mf_getPath().c_str(); }
    CString mf_in(wchar_t const * name) const { return (m_directory / name).c_str(); }
    std::string mf_at(std::string const & text) const { return f_at(text, mf_getDirectory()); }

    testing::Matcher<std::vector<ICTraceRecord> const &> mf_hasLine(char level, std::string const & tag,
                                                                    std::string const & text) const
    {
        return testing::Contains(f_isRecord(level, tag, mf_at(text)));
    }

    // The action threw the constant, and an error line shows it.
    testing::Matcher<ICTracedAction const &> mf_isFailing(ICErrnoValue const & constant, ulong error,
                                                          std::string const & tag, std::string const & text) const
    {
        return f_failsShowing(constant, error, tag, mf_at(text));
    }

    // Some calls of the platform fail.
    template<class ACTION>
    void mf_expectFailing(char const * import, ulong error, ICCalls const & calls, ACTION action,
                          ICErrnoValue const & constant, std::string const & tag, std::string const & text) const
    {
        SCOPED_TRACE(tag + ": " + text);
        ICImportFault const fault(import, error, calls);
        EXPECT_THAT(m_process.mf_run(action), mf_isFailing(constant, error, tag, text));
    }

    ICTracedProcess const m_process;
    ICTemporaryDirectory const m_directory;
};
