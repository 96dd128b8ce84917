#include "programs/catalog/ICCatalogTexts.h"

#include <gmock/gmock.h>

#include "hsmbase/failure/ICErrno.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"

namespace
{

// A library that has one text, with the id 1.
class ICCatalogTextsTest : public testing::Test
{
protected:
    CString mf_get(wchar_t const * text, wchar_t const * first = L"", wchar_t const * second = L"")
    {
        m_text = text;
        return m_texts.mf_get(1, first, second);
    }

    std::wstring m_text;
    ICImportPatch const m_library{
        IC_IMPORT(LoadStringW),
        [this](HINSTANCE, UINT id, LPWSTR buffer, int length) {
            return id == 1 ? ::swprintf_s(buffer, static_cast<std::size_t>(length), L"%s", m_text.c_str()) : 0;
        },
        nullptr};
    ICCatalogTexts const m_texts{nullptr};
};

// Why a text cannot be had.
template<class ACTION>
std::wstring f_reason(ACTION const & action)
{
    try {
        action();
    }
    catch (ICErrno & failure) {
        EXPECT_TRUE(failure.mf_isErrno(ICErrno::_E_::Resource));
        return failure.mf_getErrnoData().mf_getOriginatorMessage();
    }
    return L"none";
}

} // namespace

TEST_F(ICCatalogTextsTest, PlainText_StaysAsItIs)
{
    for (wchar_t const * const text : {L"a", L"Größe: '日本', 5.", L"the option --explain-message + 1 #2 (x) a!"})
        EXPECT_STREQ(text, mf_get(text));
}

TEST_F(ICCatalogTextsTest, CharactersOfMarkdown_AreEscaped)
{
    EXPECT_STREQ(L"a\\*b\\*", mf_get(L"a*b*"));
    EXPECT_STREQ(L"\\[x\\](y) \\`c\\` \\~\\~ D:\\\\d \\| e", mf_get(L"[x](y) `c` ~~ D:\\d | e"));
    EXPECT_STREQ(L"&lt;b&gt; &amp;amp;", mf_get(L"<b> &amp;"));
}

TEST_F(ICCatalogTextsTest, CharactersOfListsAndHeadings_AreEscapedAtTheBeginning)
{
    EXPECT_STREQ(L"\\# 1", mf_get(L"# 1"));
    EXPECT_STREQ(L"\\- a - b", mf_get(L"- a - b"));
    EXPECT_STREQ(L"\\+ a", mf_get(L"+ a"));
}

TEST_F(ICCatalogTextsTest, Underscore_IsEscapedUnlessWithinAWord)
{
    EXPECT_STREQ(L"elérési_út", mf_get(L"elérési_út"));
    EXPECT_STREQ(L"\\_a\\_", mf_get(L"_a_"));
    EXPECT_STREQ(L"a \\_b\\_ c\\_\\_d", mf_get(L"a _b_ c__d"));
}

TEST_F(ICCatalogTextsTest, Inserts_AreNotEscaped)
{
    EXPECT_STREQ(L"**a\\*:** b", mf_get(L"%1a*:%2 b", L"**", L"**"));
    EXPECT_STREQ(L"&lt;x&gt; &lt; y", mf_get(L"%1 < y", L"&lt;x&gt;"));
    EXPECT_STREQ(L"50 % of\r\nit", mf_get(L"50 %% of\r\nit"));
}

TEST_F(ICCatalogTextsTest, LongestText_ComesWhole)
{
    std::wstring const longest(4095, L'x');
    EXPECT_STREQ(longest.c_str(), mf_get(longest.c_str()));
}

TEST_F(ICCatalogTextsTest, MissingText_IsRefused)
{
    EXPECT_EQ(L"Text 2 is missing.", f_reason([this] { m_texts.mf_get(2); }));
}

TEST_F(ICCatalogTextsTest, TextThatCannotBeFormatted_IsRefused)
{
    ICImportFault const refused("FormatMessageW", ERROR_INVALID_PARAMETER, ICCalls::mf_all(), nullptr);
    EXPECT_EQ(L"Text 1 cannot be formatted.", f_reason([this] { mf_get(L"a"); }));
}
