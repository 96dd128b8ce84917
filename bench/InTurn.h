#pragma once

#include <catch2/catch.hpp>

#include <chrono>
#include <string>
#include <vector>

using NANOSECONDS = std::chrono::duration<double, std::nano>;

template<class WORK>
NANOSECONDS f_timeOf(WORK && work)
{
    auto const start = std::chrono::steady_clock::now();
    work();
    return std::chrono::steady_clock::now() - start;
}

// Samples of "ours" and "peer" in turn, so that both meet the same machine. Each answers the time that it took. The
// reporter sees them as any other benchmark.
template<class OURS, class PEER>
void f_sampleInTurn(int rounds, OURS && ours, PEER && peer)
{
    struct SIDE
    {
        char const * name;
        std::vector<NANOSECONDS> samples;
    };
    SIDE sides[] = {{"peer", {}}, {"ours", {}}};
    peer();
    ours();
    for (int round = 0; round < rounds; ++round) {
        sides[0].samples.push_back(peer());
        sides[1].samples.push_back(ours());
    }
    for (SIDE const & side : sides) {
        Catch::BenchmarkStats<> stats{};
        stats.info.name = side.name;
        stats.samples = side.samples;
        Catch::getResultCapture().benchmarkEnded(stats);
    }
}

// For work of a second and more, of which 200 samples would take too long, and for work in which other processes have a
// hand.
template<class OURS, class PEER>
void f_measureInTurn(int rounds, OURS && ours, PEER && peer)
{
    f_sampleInTurn(
        rounds, [&] { return f_timeOf(ours); }, [&] { return f_timeOf(peer); });
}
