#include <catch2/catch.hpp>

#include <string>
#include <vector>

#include "hsmbase/context/ICFormatter.h"

TEST_CASE("wrap a text to width", "[text][goal:2]")
{
    // A text as an administrator reads it, four lines of a console long for each round.
    static wchar_t const * const vocabulary[] = {
        L"The", L"volume", L"holds", L"stub",   L"files",   L"whose", L"content", L"has", L"been",  L"moved", L"to",
        L"the", L"back",   L"end;",  L"recall", L"happens", L"on",    L"demand",  L"and", L"needs", L"space."};
    std::vector<std::wstring> words;
    CString text;
    for (int round = 0; round < 20; ++round)
        for (wchar_t const * const word : vocabulary) {
            words.emplace_back(word);
            text.Append(word);
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
