#pragma once

#include "tests/support/Platform.h"

#include <functional>
#include <string>
#include <vector>

class ICErrno;

// One run of a swept scenario: which call failed, by which error, and how the scenario ended.
struct ICSweepRun
{
    enum END
    {
        RETURNED,
        FAILED, // by an ICErrno
        OTHER   // by anything else
    };

    std::string m_import; // Empty: no call fails on purpose.
    ulong m_call = 0;
    ulong m_calls = 0; // of the import, where nothing fails
    ulong m_error = 0;
    END m_end = RETURNED;
};

// Runs a scenario once undisturbed, then once for each call that it makes of the platform and each error that tells
// anything there, with exactly this call failing that way:
//
//     ICImportSweep sweep("mf_rm", [&] { ICPath::mf_rm(file, 0); });
//     sweep.m_prepare = [&] { f_writeFile(file, "text"); };
//     sweep.m_check = [&](ICSweepRun const & run) {
//         return f_isThere(file) == (run.m_end == ICSweepRun::RETURNED) ? "the file is " : "";
//     };
//     sweep.mf_run();
//
// After each run: the scenario returned or threw an ICErrno, every handle and search that hsmbase.dll opened is closed
// once and by its own call, m_check finds nothing wrong, and in the end no handle, heap block or thread is left. What
// is wrong fails the test, with the call and the error named.
//
// Calls that close or release do their work before they fail, as the platform's own do.
//
// Threads: all calls must come from the thread that sweeps. One sweep at a time.
class ICImportSweep
{
public:
    template<class ACTION, class FAILURE = ICErrno>
    ICImportSweep(std::string name, ACTION action)
        : m_name(std::move(name)), m_action([action = std::move(action)] {
              try {
                  action();
                  return ICSweepRun::RETURNED;
              }
              catch (FAILURE &) {
                  return ICSweepRun::FAILED;
              }
              catch (...) {
                  return ICSweepRun::OTHER;
              }
          })
    {}

    // Ahead of each run, and after it, whatever came of it: nothing fails meanwhile.
    std::function<void()> m_prepare = [] {};
    std::function<void()> m_settle = [] {};

    // Between the run and m_settle, also for the undisturbed run: what is wrong, or an empty text.
    std::function<std::string(ICSweepRun const &)> m_check = [](ICSweepRun const &) { return std::string(); };

    // Answers how many calls failed, one a run; at least one, or the test fails.
    std::size_t mf_run();

private:
    std::vector<ICSweepRun> mf_implFindCalls();
    std::string mf_implRun(ICSweepRun & run, class ICOpenedHandles & handles);
    void mf_implFail(ICSweepRun & run);
    std::string mf_implFindLeak(ICSweepRun & run, class ICOpenedHandles & handles);

    // Whether nothing is wrong.
    bool mf_implTell(ICSweepRun const & run, std::string const & wrong) const;

    std::string const m_name;
    std::function<ICSweepRun::END()> const m_action;
};
