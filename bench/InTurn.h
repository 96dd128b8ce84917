#pragma once

#include <catch2/catch.hpp>

#include <chrono>
#include <string>
#include <vector>

// For work of a second and more, of which 200 samples would take too long: "ours" and "peer" in turn, so that both meet
// the same machine. The reporter sees them as any other benchmark.
template<class OURS, class PEER>
void f_measureInTurn(int rounds, OURS && ours, PEER && peer)
{
    using NANOSECONDS = std::chrono::duration<double, std::nano>;
    struct SIDE
    {
        char const * name;
        std::vector<NANOSECONDS> samples;
    };
    SIDE sides[] = {{"peer", {}}, {"ours", {}}};
    auto const measure = [](SIDE & side, auto & work) {
        auto const start = std::chrono::steady_clock::now();
        work();
        side.samples.push_back(std::chrono::steady_clock::now() - start);
    };
    peer();
    ours();
    for (int round = 0; round < rounds; ++round) {
        measure(sides[0], peer);
        measure(sides[1], ours);
    }
    for (SIDE const & side : sides) {
        Catch::BenchmarkStats<> stats{};
        stats.info.name = side.name;
        stats.samples = side.samples;
        Catch::getResultCapture().benchmarkEnded(stats);
    }
}
