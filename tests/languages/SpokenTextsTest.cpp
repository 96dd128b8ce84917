#include <optional>

#include <gmock/gmock.h>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/languages/LanguageLists.h"
#include "tests/languages/MessageText.h"
#include "tests/support/ICFiles.h"

// The texts of each language as programs get them, on the way from the registry to ICString.

class SpokenTexts : public testing::TestWithParam<LANGUAGE>
{
protected:
    void SetUp() override
    {
        m_directory.mf_place(ICLanguageDirectory::ENGLISH, ICLanguageDirectory::ENGLISH);
        std::wstring const library = f_libraryName(GetParam().code);
        if (library != ICLanguageDirectory::ENGLISH) m_directory.mf_place(library.c_str(), library);
        m_languages.emplace();
        ASSERT_EQ(f_idOf(GetParam()), ICLanguage::mf_getUserLanguageId());
        ASSERT_NE(nullptr, ICLanguage::mf_getUserLanguageHandle());
    }

    // As a program that has the arguments in a list.
    static std::wstring mf_format(RESOURCE_ID const & id, MessageText const & text)
    {
        DWORD_PTR arguments[100] = {};
        for (auto const & [number, kind] : text.mf_getKinds()) {
            arguments[number - 1] = MessageText::mf_argumentFor(number, kind);
        }
        auto * list = reinterpret_cast<char *>(arguments);
        return ICString::mf_vaFormatLanguage(ICLanguage::CURRENT_LANGUAGE, id.number, &list).GetString();
    }

    ICLanguageDirectory const m_directory{
        ICLanguage::mf_getLanguageName(f_idOf(GetParam()), 0).GetString()}; // what the registry says
    std::optional<ICStartedLanguages> m_languages;
};

INSTANTIATE_TEST_SUITE_P(Languages, SpokenTexts, testing::ValuesIn(LANGUAGES), [](auto const & language) {
    std::wstring const wide = language.param.code;
    return std::string(wide.begin(), wide.end());
});

TEST_P(SpokenTexts, EveryId_IsReadAndFormattedWithItsArguments)
{
    LanguageLibrary const library(GetParam().code);
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        SCOPED_TRACE(testing::PrintToString(id.name));
        MessageText const text(library.mf_getText(id.number));
        std::wstring const spoken = mf_format(id, text);
        EXPECT_EQ(text.mf_render(), spoken);
        EXPECT_THAT(spoken, testing::Not(testing::HasSubstr(L"resource-id")));
        if (text.mf_getInserts().empty()) {
            EXPECT_EQ(spoken, ICString(id.number).operator CString().GetString());
        }
    }
}

TEST_P(SpokenTexts, MissingId_IsTold)
{
    RESOURCE_ID const missing = {1, L"", L""};
    EXPECT_EQ(L"<failure loading resource-id=1>", mf_format(missing, MessageText(L"")));
}

namespace
{

// 2026-01-31 12:00:00.
constexpr FILETIME MOMENT = {0x201a6000, 0x01dc92a9};

std::string f_inUtf8(std::wstring const & text)
{
    std::string bytes(text.length() * 3, '\0');
    int const length = ::WideCharToMultiByte(CP_UTF8, 0, text.c_str(), static_cast<int>(text.length()), bytes.data(),
                                             static_cast<int>(bytes.length()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(length));
    std::erase(bytes, '\r');
    return bytes;
}

// A failure with all that one can have.
std::string f_renderings()
{
    ICErrnoData failure(ICErrno::_E_::FileOpen);
    failure.mf_setOriginator(0, ERROR_ACCESS_DENIED, L"Access denied.");
    ICErrnoData::mf_setMessage(failure, L"KVR27469E", IDS_KVR27469_TEXT, IDS_KVR27469_EXPLANATION,
                               IDS_KVR27469_SYSTEM_ACTION, IDS_KVR27469_USER_RESPONSE, L"D:\\logs\\hsmscan.log");
    failure.mf_setAdminLogFlag(0); // No line in a log, which isn't there.
    failure.m_creationTime = MOMENT;
    CString const console = ICErrno::mf_toConsoleMessage(failure, CString());
    CString const dialog = ICErrno::mf_toGuiMessage(failure, CString());
    return f_inUtf8(L"--- console" + std::wstring(console) + L"\n--- dialog\n" + std::wstring(dialog) + L"\n");
}

} // namespace

// The files are there to be read by people who know the language. With HSMBASE_ACCEPT_RENDERINGS set, the test writes
// them anew.
TEST_P(SpokenTexts, Renderings_AreThoseThatWereReviewed)
{
    std::wstring const file = f_inSources(L"tests/languages/renderings/" + std::wstring(GetParam().name) + L".txt");
    std::string const actual = f_renderings();
    if (::GetEnvironmentVariableW(L"HSMBASE_ACCEPT_RENDERINGS", nullptr, 0) > 0) f_writeFile(file, actual);

    EXPECT_EQ(f_readFile(file), actual)
        << "If this is as it should be: HSMBASE_ACCEPT_RENDERINGS=1 ./dev test languages";
}
