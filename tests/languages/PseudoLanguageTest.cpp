#include "tests/languages/PseudoLanguage.h"

#include <regex>

#include <gtest/gtest.h>

#include "tests/languages/LanguageLists.h"
#include "tests/languages/MessageText.h"

namespace
{

class PseudoLanguage : public testing::Test
{
protected:
    // What of a text is translated: neither inserts nor options nor numbers of messages.
    static std::wstring mf_words(std::wstring const & text)
    {
        MessageText const parts(text);
        std::wstring words;
        for (MessageText::PIECE const & piece : parts.mf_getPieces())
            if (piece.number == 0)
                words += std::regex_replace(piece.text, std::wregex(L"--[a-z-]+|KVR[0-9]+[A-Z]"), L"");
        return words;
    }

    // Whether blanks behind a label make up for its length.
    static bool mf_hasColumn(std::wstring const & text) { return text.find(L":  ") != std::wstring::npos; }

    LanguageLibrary const m_pseudo{PSEUDO_LANGUAGE};
    LanguageLibrary const m_english{L"enu"};
};

} // namespace

TEST_F(PseudoLanguage, EveryLetterThatHasAnAccentedForm_HasIt)
{
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        std::wstring const words = mf_words(m_pseudo.mf_getText(id.number));
        EXPECT_FALSE(f_hasOneOf(words, PLAIN_LETTERS)) << testing::PrintToString(words);
        EXPECT_EQ(f_hasOneOf(mf_words(m_english.mf_getText(id.number)), PLAIN_LETTERS),
                  f_hasOneOf(words, PSEUDO_LETTERS))
            << testing::PrintToString(words);
    }
}

TEST_F(PseudoLanguage, EveryTextWithAVowel_IsLongerUnlessItFillsAColumn)
{
    std::size_t length = 0;
    std::size_t englishLength = 0;
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        std::wstring const text = m_pseudo.mf_getText(id.number);
        std::wstring const english = m_english.mf_getText(id.number);
        SCOPED_TRACE(testing::PrintToString(text));
        if (mf_hasColumn(english))
            EXPECT_GE(text.length(), english.length());
        else if (f_hasOneOf(mf_words(english), L"aeiouAEIOU"))
            EXPECT_GT(text.length(), english.length());
        else
            EXPECT_EQ(text.length(), english.length());
        length += text.length();
        englishLength += english.length();
    }
    EXPECT_GT(length, englishLength * 125 / 100);
    EXPECT_LT(length, englishLength * 140 / 100);
}

TEST_F(PseudoLanguage, Texts_AreStillReadable)
{
    EXPECT_EQ(m_pseudo.mf_getText(IDS_HSMSCAN_HELP_HINT), L"Théé çöömmààñð hßmßçààñ --help lïïßtß théé ööþtïïööñß.");
    EXPECT_EQ(m_pseudo.mf_getText(IDS_HOST_ADDRESS), L"\r\n%1ÅÅððrééßß %2!3lu!:          %3 (0x%4!8.8lx!)");
    EXPECT_EQ(m_pseudo.mf_getText(IDS_LABEL_EXPLANATION), L"%1ÉÉxþlààñààtïïööñ:%2 ");
}
