#include "programs/hsmscan/ICScanOptions.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cwchar>
#include <iterator>
#include <optional>

#include "hsmbase/context/ICString.h"
#include "languages/ResourceIds.h"

namespace
{
// A whole decimal number, from the first to the last character.
std::optional<long long> f_number(wchar_t const * text, wchar_t const * end, long long maximum)
{
    if (text == end) return std::nullopt;
    long long number = 0;
    for (; text != end; ++text) {
        if (*text < L'0' || *text > L'9') return std::nullopt;
        if (number > (maximum - (*text - L'0')) / 10) return std::nullopt;
        number = number * 10 + (*text - L'0');
    }
    return number;
}

std::optional<ulong> f_count(wchar_t const * text)
{
    auto const number = f_number(text, text + std::wcslen(text), ULONG_MAX);
    return number ? std::optional(static_cast<ulong>(*number)) : std::nullopt;
}

// A number of bytes, with the suffix K, M or G for its multiples.
std::optional<long long> f_size(wchar_t const * text)
{
    static wchar_t const suffixes[] = L"KMG";
    wchar_t const * end = text + std::wcslen(text);
    int shift = 0;
    if (end != text) {
        wchar_t const * const suffix = std::wcschr(suffixes, std::towupper(end[-1]));
        if (suffix != nullptr) {
            shift = 10 * static_cast<int>(suffix - suffixes + 1);
            --end;
        }
    }
    auto const number = f_number(text, end, LLONG_MAX >> shift);
    return number ? std::optional(*number << shift) : std::nullopt;
}
} // namespace

ICScanOptions::ICScanOptions(int count, wchar_t const * const * arguments)
{
    bool isOptionExpected = true;
    for (int at = 0; at < count; ++at) {
        wchar_t const * const argument = arguments[at];
        if (isOptionExpected && std::wcscmp(argument, L"--") == 0) {
            isOptionExpected = false;
        } else if (isOptionExpected && argument[0] == L'-') {
            bool isValueUsed = false;
            mf_implRead(argument, at + 1 < count ? arguments[at + 1] : nullptr, isValueUsed);
            at += isValueUsed;
        } else {
            m_paths.emplace_back(argument);
        }
    }
    if (mf_isValid() && m_paths.empty() && !m_isHelpWanted && !m_isVersionWanted)
        mf_implComplain(IDS_HSMSCAN_NO_PATH, L"", L"");
}

void ICScanOptions::mf_implRead(wchar_t const * option, wchar_t const * value, bool & isValueUsed)
{
    CString const name = option;
    auto const store = [&](auto & target, auto const & parsed) {
        if (parsed)
            target = *parsed;
        else
            mf_implComplain(IDS_HSMSCAN_VALUE_INVALID, option, value);
    };

    if (name == L"--help") {
        m_isHelpWanted = true;
        return;
    }
    if (name == L"--version") {
        m_isVersionWanted = true;
        return;
    }
    struct TEXT_OPTION
    {
        wchar_t const * name;
        CString ICScanOptions::*text;
    };
    static constexpr TEXT_OPTION TEXT_OPTIONS[] = {
        {L"--language", &ICScanOptions::m_language},
        {L"--root", &ICScanOptions::m_registryRoot},
        {L"--log-dir", &ICScanOptions::m_logDirectory},
        {L"--log-level", &ICScanOptions::m_logLevel},
    };
    auto const * const text = std::find_if(std::begin(TEXT_OPTIONS), std::end(TEXT_OPTIONS),
                                           [&name](TEXT_OPTION const & entry) { return name == entry.name; });
    bool const isText = text != std::end(TEXT_OPTIONS);
    bool const isSize = name == L"--min-size" || name == L"--log-size";
    if (!isText && !isSize && name != L"--min-age" && name != L"--largest") {
        mf_implComplain(IDS_HSMSCAN_UNKNOWN_OPTION, option, L"");
        return;
    }
    if (value == nullptr) {
        mf_implComplain(IDS_HSMSCAN_VALUE_MISSING, option, L"");
        return;
    }
    isValueUsed = true;
    if (isText) store(this->*text->text, *value != L'\0' ? std::optional(CString(value)) : std::nullopt);
    if (isSize) store(name == L"--min-size" ? m_minSize : m_logSize, f_size(value));
    if (name == L"--min-age") store(m_minAge, f_count(value));
    if (name == L"--largest") store(m_largest, f_count(value));
}

void ICScanOptions::mf_implComplain(unsigned int resourceId, wchar_t const * option, wchar_t const * value)
{
    if (!mf_isValid()) return;
    m_problem = resourceId;
    m_problemOption = option;
    m_problemValue = value;
}

CString ICScanOptions::mf_getProblem() const
{
    return ICString(m_problem, m_problemOption.GetString(), m_problemValue.GetString());
}
