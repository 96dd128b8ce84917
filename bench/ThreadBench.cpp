#include <catch2/catch.hpp>

#include <atomic>
#include <stdexcept>

#include "hsmbase/threads/ICCancelObject.h"

namespace
{

// So many polls a sample: a single one is far below what the clock can see.
constexpr int POLLS = 10'000;

class WORK final : public ICCancelObject
{};

template<class POLL>
void f_pollMuch(POLL const & poll)
{
    for (int done = 0; done < POLLS; ++done)
        poll();
}

} // namespace

// In a class that is final the poll is inline; else there is a virtual call, or the compiler's guess at where it goes.
TEST_CASE("10,000 polls of a running cancel switch", "[thread][goal:2]")
{
    ICCancelSwitch cancelSwitch;
    WORK work;
    work.mf_installCancelSwitch(&cancelSwitch);
    ICCancelObject * volatile someWork = &work;
    std::atomic<long> state = 0;
    BENCHMARK("ours")
    {
        f_pollMuch([&] { work.mf_tryCancel(); });
    };
    BENCHMARK("peer")
    {
        f_pollMuch([&] {
            if (state.load() != 0) throw std::runtime_error("nobody cancels the peer");
        });
    };
    BENCHMARK("through the base")
    {
        f_pollMuch([polled = someWork] { polled->mf_tryCancel(); });
    };
}
