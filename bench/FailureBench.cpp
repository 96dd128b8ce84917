#include <catch2/catch.hpp>

#include <string>
#include <system_error>

#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/failure/internal/ICTrace.h"

// A platform call fails, the failure goes up through a number of functions of which each adds its line and throws on.

namespace
{

constexpr ulong CODE = ERROR_ACCESS_DENIED;

[[gnu::noinline]] void f_failOurs(int frames)
{
    if (frames == 1) throw ICErrno(ICErrno::_E_::FileOpen, CODE);
    try {
        f_failOurs(frames - 1);
    }
    catch (ICErrno & failure) {
        throw ICErrno(failure);
    }
}

// The peer carries the same text, fetched in the same way, in the standard's own exception.
std::string f_systemText(ulong code)
{
    char buffer[256];
    ulong length = ::FormatMessageA(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, code, 0, buffer, 255, nullptr);
    while (length > 0 && std::isspace(static_cast<unsigned char>(buffer[length - 1])))
        --length;
    return std::string(buffer, length);
}

[[gnu::noinline]] void f_failPeer(int frames)
{
    if (frames == 1) throw std::system_error(static_cast<int>(CODE), std::system_category(), f_systemText(CODE));
    try {
        f_failPeer(frames - 1);
    }
    catch (std::system_error & failure) {
        throw std::system_error(failure);
    }
}

ulong f_catchOurs(int frames)
{
    try {
        f_failOurs(frames);
    }
    catch (ICErrno & failure) {
        return failure.mf_getErrnoData().mf_getOriginatorErrno();
    }
    return 0;
}

ulong f_catchPeer(int frames)
{
    try {
        f_failPeer(frames);
    }
    catch (std::system_error & failure) {
        return static_cast<ulong>(failure.code().value());
    }
    return 0;
}

} // namespace

TEST_CASE("raise and catch a system failure, 1 frame", "[failure][goal:1.1]")
{
    BENCHMARK("ours")
    {
        return f_catchOurs(1);
    };
    BENCHMARK("peer")
    {
        return f_catchPeer(1);
    };
}

TEST_CASE("raise and catch a system failure, 8 frames", "[failure][goal:1.1]")
{
    BENCHMARK("ours")
    {
        return f_catchOurs(8);
    };
    BENCHMARK("peer")
    {
        return f_catchPeer(8);
    };
}
