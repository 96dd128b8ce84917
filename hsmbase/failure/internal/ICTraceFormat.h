#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "hsmbase/Types.h"

// What an argument of a trace line is, and what a conversion asks for. OTHER never fits.
enum class TRACE_ARGUMENT
{
    TEXT,
    TEXT8,
    NUMBER32,
    NUMBER64,
    POINTER,
    OTHER
};

template<class ARG>
consteval TRACE_ARGUMENT f_traceArgumentOf()
{
    using TYPE = std::decay_t<ARG>;
    if (std::is_same_v<TYPE, CString> || std::is_same_v<TYPE, wchar_t *> || std::is_same_v<TYPE, wchar_t const *>)
        return TRACE_ARGUMENT::TEXT;
    if (std::is_same_v<TYPE, char *> || std::is_same_v<TYPE, char const *>) return TRACE_ARGUMENT::TEXT8;
    if (std::is_integral_v<TYPE>) return sizeof(TYPE) <= 4 ? TRACE_ARGUMENT::NUMBER32 : TRACE_ARGUMENT::NUMBER64;
    if (std::is_pointer_v<TYPE>) return TRACE_ARGUMENT::POINTER;
    return TRACE_ARGUMENT::OTHER;
}

// `conversion` begins behind flags, width and precision: "lu", "I64d", "s".
consteval TRACE_ARGUMENT f_traceArgumentAskedBy(std::wstring_view conversion)
{
    auto const asksFor = [&conversion](std::wstring_view letters) {
        return !conversion.empty() && letters.find(conversion.front()) != letters.npos;
    };
    if (asksFor(L"s")) return TRACE_ARGUMENT::TEXT;
    if (asksFor(L"S")) return TRACE_ARGUMENT::TEXT8;
    if (asksFor(L"p")) return TRACE_ARGUMENT::POINTER;
    if (asksFor(L"cdiuxX")) return TRACE_ARGUMENT::NUMBER32;
    bool const is64Bit = conversion.starts_with(L"I64");
    if (!is64Bit && !asksFor(L"lh")) return TRACE_ARGUMENT::OTHER;
    conversion.remove_prefix(is64Bit ? 3 : 1);
    if (!asksFor(L"diuxX")) return TRACE_ARGUMENT::OTHER;
    return is64Bit ? TRACE_ARGUMENT::NUMBER64 : TRACE_ARGUMENT::NUMBER32;
}

// The format of a trace line, checked against its arguments while compiling. Only literals are accepted: where a text
// must be chosen, choose the statement.
//
// The names of the three functions below are the compiler's message when a check fails; they are never called.
inline void f_traceFormatAsksForMoreArguments() {}
inline void f_traceArgumentDoesNotFitItsConversion() {}
inline void f_traceFormatLeavesAnArgumentUnused() {}

// For the one text whose surplus argument is meant.
struct TRACE_UNCHECKED
{
    wchar_t const * format;
};

template<class... ARGS>
class ICTraceFormat
{
public:
    consteval ICTraceFormat(TRACE_UNCHECKED unchecked) : m_format(unchecked.format) {}

    template<std::size_t SIZE>
    consteval ICTraceFormat(wchar_t const (&format)[SIZE]) : m_format(format)
    {
        TRACE_ARGUMENT const given[] = {f_traceArgumentOf<ARGS>()..., TRACE_ARGUMENT::OTHER};
        std::wstring_view rest(format, SIZE - 1);
        std::size_t used = 0;
        for (auto at = rest.find(L'%'); at != rest.npos; at = rest.find(L'%')) {
            rest.remove_prefix(at + 1);
            rest.remove_prefix(std::min(rest.find_first_not_of(L"-+ #0123456789."), rest.size()));
            if (used == sizeof...(ARGS)) {
                f_traceFormatAsksForMoreArguments();
                return;
            }
            TRACE_ARGUMENT const asked = f_traceArgumentAskedBy(rest);
            if (asked == TRACE_ARGUMENT::OTHER || asked != given[used]) f_traceArgumentDoesNotFitItsConversion();
            ++used;
        }
        if (used != sizeof...(ARGS)) f_traceFormatLeavesAnArgumentUnused();
    }

    constexpr wchar_t const * mf_get() const { return m_format; }

private:
    wchar_t const * m_format;
};
