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

// As many threads as a group can have.
constexpr long long MAX_THREADS = 64;

std::optional<int> f_threads(wchar_t const * text)
{
    auto const number = f_number(text, text + std::wcslen(text), MAX_THREADS);
    return number && *number > 0 ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

int f_processors()
{
    SYSTEM_INFO facts;
    ::GetSystemInfo(&facts);
    return static_cast<int>(std::clamp<long long>(facts.dwNumberOfProcessors, 1, MAX_THREADS));
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

std::optional<CString> f_text(wchar_t const * text)
{
    return *text != L'\0' ? std::optional(CString(text)) : std::nullopt;
}

template<class VALUE>
bool f_store(VALUE & target, std::optional<VALUE> const & parsed)
{
    if (parsed) target = *parsed;
    return parsed.has_value();
}

struct OPTION
{
    wchar_t const * name;
    bool needsValue;
    bool (*take)(ICScanOptions & options, wchar_t const * value); // false: the value is none
};

template<bool ICScanOptions::*WANTED>
bool f_want(ICScanOptions & options, wchar_t const *)
{
    return options.*WANTED = true;
}

template<auto MEMBER, auto PARSE>
bool f_take(ICScanOptions & options, wchar_t const * value)
{
    return f_store(options.*MEMBER, PARSE(value));
}

template<auto MEMBER>
bool f_collect(ICScanOptions & options, wchar_t const * value)
{
    (options.*MEMBER).emplace_back(value);
    return *value != L'\0';
}

constexpr OPTION OPTIONS[] = {
    {L"--min-size", true, &f_take<&ICScanOptions::m_minSize, &f_size>},
    {L"--min-age", true, &f_take<&ICScanOptions::m_minAge, &f_count>},
    {L"--largest", true, &f_take<&ICScanOptions::m_largest, &f_count>},
    {L"--threads", true, &f_take<&ICScanOptions::m_threads, &f_threads>},
    {L"--list", true, &f_take<&ICScanOptions::m_list, &f_text>},
    {L"--quiet", false, &f_want<&ICScanOptions::m_isQuiet>},
    {L"--language", true, &f_take<&ICScanOptions::m_language, &f_text>},
    {L"--root", true, &f_take<&ICScanOptions::m_registryRoot, &f_text>},
    {L"--log-level", true, &f_take<&ICScanOptions::m_logLevel, &f_text>},
    {L"--log-dir", true, &f_take<&ICScanOptions::m_logDirectory, &f_text>},
    {L"--log-size", true, &f_take<&ICScanOptions::m_logSize, &f_size>},
    {L"--volumes", false, &f_want<&ICScanOptions::m_areVolumesWanted>},
    {L"--system", false, &f_want<&ICScanOptions::m_isSystemWanted>},
    {L"--explain", true, &f_collect<&ICScanOptions::m_explained>},
    {L"--explain-message", true, &f_collect<&ICScanOptions::m_explainedMessages>},
    {L"--backup-settings", true, &f_take<&ICScanOptions::m_settingsBackup, &f_text>},
    {L"--restore-settings", true, &f_take<&ICScanOptions::m_settingsRestore, &f_text>},
    {L"--help", false, &f_want<&ICScanOptions::m_isHelpWanted>},
    {L"--version", false, &f_want<&ICScanOptions::m_isVersionWanted>},
};
} // namespace

ICScanOptions::ICScanOptions(int count, wchar_t const * const * arguments) : m_threads(f_processors())
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
    if (mf_isValid() && !mf_implHasTask()) mf_implComplain(IDS_HSMSCAN_NO_PATH, L"", L"");
}

bool ICScanOptions::mf_implHasTask() const
{
    return m_isHelpWanted || m_isVersionWanted || m_isSystemWanted || m_areVolumesWanted || !m_explained.empty() ||
           !m_explainedMessages.empty() || !m_settingsBackup.IsEmpty() || !m_settingsRestore.IsEmpty() ||
           !m_paths.empty();
}

void ICScanOptions::mf_implRead(wchar_t const * option, wchar_t const * value, bool & isValueUsed)
{
    auto const * const known = std::find_if(std::begin(OPTIONS), std::end(OPTIONS), [option](OPTION const & entry) {
        return std::wcscmp(option, entry.name) == 0;
    });
    if (known == std::end(OPTIONS))
        mf_implComplain(IDS_HSMSCAN_UNKNOWN_OPTION, option, L"");
    else if (known->needsValue && value == nullptr)
        mf_implComplain(IDS_HSMSCAN_VALUE_MISSING, option, L"");
    else if (!known->take(*this, value))
        mf_implComplain(IDS_HSMSCAN_VALUE_INVALID, option, value);
    isValueUsed = known != std::end(OPTIONS) && known->needsValue && value != nullptr;
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
