#include <catch2/catch.hpp>

#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/logging/ICLog.h"

namespace
{

wchar_t const sFunction[] = L"TraceBench";

} // namespace

TEST_CASE("trace call before the log is open", "[trace][goal:3]")
{
    ulong const slot = ::TlsAlloc();
    BENCHMARK("ours")
    {
        ICThreadContext::mf_setLoggingLanguage();
        ICLog::mf_writeMessage(ICLogData::LEVEL_T, sFunction, L"%lu entries", 5ul);
    };
    BENCHMARK("peer")
    {
        ::SetLastError(0);
        return ::TlsGetValue(slot);
    };
    ::TlsFree(slot);
}
