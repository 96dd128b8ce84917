#include <catch2/catch.hpp>

#include <string>
#include <vector>

#include "hsmbase/context/ICFormatter.h"

TEST_CASE("wrap a text to width", "[text][goal:2]")
{
    std::vector<std::wstring> words;
    CString text;
    for (int at = 0; at < 400; ++at) {
        words.emplace_back(L"recall migrate volume stub a" + (at % 7 == 0 ? 0 : (at % 4) * 7), std::size_t(2 + at % 7));
        text.Append(words.back().c_str());
        text.AppendChar(L' ');
    }
    CString const prefix = L"    ";
    BENCHMARK("ours")
    {
        return ICFormatter::mf_formatLines(text, prefix, prefix, 79, 0).GetLength();
    };
    BENCHMARK("peer")
    {
        std::wstring result;
        result.reserve(std::size_t(text.GetLength()) * 2);
        for (std::wstring const & word : words) {
            result.append(word);
            result.push_back(L' ');
        }
        return result.size();
    };
}
