#define CATCH_CONFIG_RUNNER
#include <catch2/catch.hpp>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "bench/BenchFrame.h"
#include "bench/BenchRegistry.h"

// One line a test case: the medians of its two benchmarks, "ours" and "peer", their ratio, and the goal that stands in
// the tag [goal:1.05]. Further benchmarks of a case are shown with their ratio to the peer.
class RatioReporter : public Catch::StreamingReporterBase<RatioReporter>
{
public:
    using StreamingReporterBase::StreamingReporterBase;

    static std::string getDescription() { return "medians and ratios"; }
    static std::set<Catch::Verbosity> getSupportedVerbosities() { return {Catch::Verbosity::Normal}; }

    void testRunStarting(Catch::TestRunInfo const & info) override
    {
        StreamingReporterBase::testRunStarting(info);
        mf_line("work", "ours ns", "peer ns", "ratio", "goal");
    }

    void testCaseStarting(Catch::TestCaseInfo const & info) override
    {
        StreamingReporterBase::testCaseStarting(info);
        m_medians.clear();
        m_order.clear();
        m_goal = "-";
        for (std::string const & tag : info.tags)
            if (tag.rfind("goal:", 0) == 0) m_goal = tag.substr(5);
    }

    void assertionStarting(Catch::AssertionInfo const &) override {}

    bool assertionEnded(Catch::AssertionStats const & stats) override
    {
        if (!stats.assertionResult.isOk())
            stream << "FAILED: " << currentTestCaseInfo->name << ": " << stats.assertionResult.getExpandedExpression()
                   << stats.assertionResult.getMessage() << '\n';
        return true;
    }

    void benchmarkEnded(Catch::BenchmarkStats<> const & stats) override
    {
        std::vector<double> samples;
        for (auto const & sample : stats.samples)
            samples.push_back(sample.count());
        auto const middle = samples.begin() + std::ptrdiff_t(samples.size() / 2);
        std::nth_element(samples.begin(), middle, samples.end());
        m_medians[stats.info.name] = *middle;
        m_order.push_back(stats.info.name);
    }

    void testCaseEnded(Catch::TestCaseStats const & stats) override
    {
        double const peer = m_medians.count("peer") ? m_medians["peer"] : 0;
        for (std::string const & name : m_order) {
            if (name == "peer") continue;
            std::string const work = currentTestCaseInfo->name + (name == "ours" ? "" : ", " + name);
            mf_line(work, mf_number(m_medians[name], 1), mf_number(peer, 1), mf_number(m_medians[name] / peer, 2),
                    m_goal);
        }
        StreamingReporterBase::testCaseEnded(stats);
    }

private:
    static std::string mf_number(double value, int digits)
    {
        char text[32];
        std::snprintf(text, sizeof(text), "%.*f", digits, value);
        return text;
    }

    void mf_line(std::string const & work, std::string const & ours, std::string const & peer,
                 std::string const & ratio, std::string const & goal)
    {
        char text[256];
        std::snprintf(text, sizeof(text), "%-58s %12s %12s %7s %6s", work.c_str(), ours.c_str(), peer.c_str(),
                      ratio.c_str(), goal.c_str());
        stream << text << std::endl;
    }

    std::map<std::string, double> m_medians;
    std::vector<std::string> m_order;
    std::string m_goal;
};

CATCH_REGISTER_REPORTER("ratio", RatioReporter)

int main(int argc, char * argv[])
{
    BenchRegistry const registry;
    ICProgramFrame const frame(f_benchFrame());
    Catch::Session session;
    session.configData().reporterName = "ratio";
    session.configData().benchmarkSamples = 200;
    session.configData().benchmarkNoAnalysis = true;
    int const answer = session.applyCommandLine(argc, argv);
    return answer != 0 ? answer : session.run();
}
