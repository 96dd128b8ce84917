#include <algorithm>
#include <bit>
#include <cwctype>
#include <memory>
#include <regex>
#include <set>

#include <gmock/gmock.h>

#include "hsmbase/context/ICLanguage.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/languages/ConsoleColumns.h"
#include "tests/languages/LanguageLists.h"
#include "tests/languages/MessageText.h"

using testing::IsEmpty;

namespace
{

// What GLOSSARY.md lists is English, with nothing to look for; what the tables of the languages list has the words.
struct GLOSSARY_ROW
{
    std::wstring language;
    std::wstring terms;
    std::wstring words;
};

GLOSSARY_ROW const GLOSSARY[] = {
#include "GlossaryList.inc"
};

// The text of each error constant.
#define ICERRNO_I(name, id, text) text,
#define ICERRNO_W(name, id, text) text,
#define ICERRNO_E(name, id, text) text,
#define ICERRNO_S(name, id, text) text,
unsigned const ERROR_CONSTANTS[] = {
#include "hsmbase/failure/ICErrnoConstants.def"
};

unsigned long const LIBRARY_VERSION = 81002;
char const VERSION_FUNCTION[] = "?GetLanguageVersion@@YA?BKXZ";

// Texts that begin or end in white space, since they are joined to others as they are.
struct ENDS
{
    unsigned id;
    wchar_t const * leading;
    wchar_t const * trailing;
};

ENDS const JOINED_TEXTS[] = {
    {IDS_LABEL_EXPLANATION, L"", L" "},       {IDS_LABEL_ORIGINATOR, L"", L" "},
    {IDS_LABEL_SYSTEM_ACTION, L"", L" "},     {IDS_LABEL_USER_RESPONSE, L"", L" "},
    {IDS_MOUNT_POINT, L"\r\n", L""},          {IDS_NO_MOUNT_POINTS, L"\r\n", L""},
    {IDS_HOST_ADDRESS, L"\r\n", L""},         {IDS_LOG_NOT_READY, L"", L"\r\n"},
    {IDS_REGISTRY_READ_FAILED, L"", L"\r\n"}, {IDS_REGISTRY_WRITE_FAILED, L"", L"\r\n"},
};

std::set<unsigned> f_expectedIds()
{
    std::set<unsigned> ids;
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        ids.insert(id.number);
    }
    return ids;
}

// What is wrong with the text of one id, seen for itself.
std::vector<std::wstring> f_faultsOf(RESOURCE_ID const & id, MessageText const & text)
{
    std::vector<std::wstring> faults = text.mf_getFaults();
    if (text.mf_getKinds() != MessageText(id.inserts).mf_getKinds())
        faults.emplace_back(L"other inserts than the header's");
    ENDS ends = {id.number, L"", L""};
    for (ENDS const & joined : JOINED_TEXTS) {
        if (joined.id == id.number) ends = joined;
    }
    if (text.mf_getLeading() != ends.leading) faults.emplace_back(L"white space at the beginning");
    if (text.mf_getTrailing() != ends.trailing) faults.emplace_back(L"white space at the end");
    if (text.mf_formatByPlatform() != text.mf_render())
        faults.emplace_back(L"not formatted by the platform as expected");
    return faults;
}

// Whether a text has words that could be translated: more than inserts, and options such as --help.
bool f_hasWords(MessageText const & text)
{
    std::wstring words;
    for (MessageText::PIECE const & piece : text.mf_getPieces()) {
        if (piece.number == 0) words += std::regex_replace(piece.text, std::wregex(L"--[a-z-]+"), L"");
    }
    return std::any_of(words.begin(), words.end(), [](wchar_t letter) { return std::iswalpha(letter) != 0; });
}

// What is wrong with a translation, compared with the English text.
std::vector<std::wstring> f_faultsOfTranslation(MessageText const & english, MessageText const & translation,
                                                bool isAsInEnglish)
{
    std::vector<std::wstring> faults;
    if (english.mf_getInserts() != translation.mf_getInserts()) faults.emplace_back(L"other inserts than in English");
    bool const isSame = english.mf_getText() == translation.mf_getText();
    if (isSame && !isAsInEnglish && f_hasWords(english)) faults.emplace_back(L"not translated");
    if (!isSame && isAsInEnglish) faults.emplace_back(L"not as in English");
    return faults;
}

std::wstring f_lowerCase(std::wstring text)
{
    ::CharLowerW(text.data());
    return text;
}

// What stands between the commas, in lower case, without blanks around.
std::vector<std::wstring> f_split(std::wstring const & list)
{
    std::vector<std::wstring> words;
    for (std::size_t begin = 0, end = 0; end != list.npos; begin = end + 1) {
        end = list.find(L',', begin);
        std::wstring word = list.substr(begin, end == list.npos ? end : end - begin);
        word.erase(word.find_last_not_of(L' ') + 1);
        word.erase(0, word.find_first_not_of(L' '));
        if (!word.empty()) words.push_back(f_lowerCase(word));
    }
    return words;
}

// Whether `text`, in lower case, has the term as a word of its own. Options are no words.
bool f_isWordOf(std::wstring const & text, std::wstring const & term)
{
    auto const isInner = [](wchar_t letter) { return (letter >= L'a' && letter <= L'z') || letter == L'-'; };
    for (std::size_t at = text.find(term); at != text.npos; at = text.find(term, at + 1)) {
        std::size_t const end = at + term.length();
        if ((at == 0 || !isInner(text[at - 1])) && (end == text.length() || !isInner(text[end]))) return true;
    }
    return false;
}

bool f_hasTerm(std::wstring const & text, std::wstring const & terms)
{
    std::wstring const lower = f_lowerCase(text);
    std::vector<std::wstring> const all = f_split(terms);
    return std::any_of(all.begin(), all.end(), [&lower](std::wstring const & term) { return f_isWordOf(lower, term); });
}

bool f_hasWord(std::wstring const & text, std::wstring const & words)
{
    std::wstring const lower = f_lowerCase(text);
    std::vector<std::wstring> const all = f_split(words);
    return all.empty() || std::any_of(all.begin(), all.end(),
                                      [&lower](std::wstring const & word) { return lower.find(word) != lower.npos; });
}

std::vector<GLOSSARY_ROW> f_glossaryOf(std::wstring const & language)
{
    std::vector<GLOSSARY_ROW> rows;
    std::copy_if(std::begin(GLOSSARY), std::end(GLOSSARY), std::back_inserter(rows),
                 [&language](GLOSSARY_ROW const & row) { return row.language == language; });
    return rows;
}

std::vector<std::wstring> f_termsOf(std::vector<GLOSSARY_ROW> const & rows)
{
    std::vector<std::wstring> terms;
    for (GLOSSARY_ROW const & row : rows) {
        terms.push_back(row.terms);
    }
    return terms;
}

bool f_requiresUCS2(unsigned short id)
{
    ICLanguageDirectory const directory;
    directory.mf_place(ICLanguageDirectory::ENGLISH, ICLanguageDirectory::ENGLISH);
    ICLanguage::mf_createInstance();
    return ICLanguage::mf_requiresUCS2(id) != 0;
}

// One of the 8-bit code pages that a language has on Windows: that of its windows or that of its consoles.
unsigned f_codePageOf(unsigned short id, LCTYPE kind)
{
    wchar_t number[16] = {};
    ::GetLocaleInfoW(MAKELCID(id, SORT_DEFAULT), kind, number, static_cast<int>(std::size(number)));
    return static_cast<unsigned>(std::wcstoul(number, nullptr, 10));
}

bool f_isPrintable(std::wstring const & text, unsigned codePage)
{
    char bytes[MessageText::MAX_LENGTH];
    BOOL isReplaced = FALSE;
    int const length =
        ::WideCharToMultiByte(codePage, WC_NO_BEST_FIT_CHARS, text.c_str(), static_cast<int>(text.length()), bytes,
                              static_cast<int>(std::size(bytes)), nullptr, &isReplaced);
    return length > 0 && !isReplaced;
}

} // namespace

class LanguageTexts : public testing::TestWithParam<LANGUAGE>
{
protected:
    LanguageTexts() : m_library(GetParam()), m_english(L"enu"), m_id(f_idOf(GetParam())) {}

    void SetUp() override
    {
        ASSERT_NE(m_library.mf_getHandle(), nullptr);
        ASSERT_NE(m_english.mf_getHandle(), nullptr);
        ASSERT_NE(m_id, 0);
    }

    bool mf_isEnglish() const { return m_id == ICLanguage::ENGLISH_ID; }

    // What `find` finds wrong with each text.
    template<class FIND>
    void mf_expectNoFault(FIND find) const
    {
        for (RESOURCE_ID const & id : RESOURCE_IDS) {
            MessageText const text(m_library.mf_getText(id.number));
            EXPECT_THAT(find(id, text), IsEmpty())
                << testing::PrintToString(id.name) << " " << testing::PrintToString(text.mf_getText());
        }
    }

    MessageText mf_inEnglish(RESOURCE_ID const & id) const { return MessageText(m_english.mf_getText(id.number)); }

    LanguageLibrary const m_library;
    LanguageLibrary const m_english;
    unsigned short const m_id;
};

// The pseudo-language has no glossary.
class LanguageWords : public LanguageTexts
{};

std::string f_codeOf(testing::TestParamInfo<LANGUAGE> const & language)
{
    std::wstring const wide = language.param.code;
    return std::string(wide.begin(), wide.end());
}

INSTANTIATE_TEST_SUITE_P(Languages, LanguageTexts, testing::ValuesIn(LANGUAGES), &f_codeOf);
INSTANTIATE_TEST_SUITE_P(Languages, LanguageWords, testing::ValuesIn(LANGUAGES), &f_codeOf);
INSTANTIATE_TEST_SUITE_P(PseudoLanguage, LanguageTexts, testing::Values(PSEUDO_LANGUAGE), &f_codeOf);

TEST_P(LanguageTexts, VersionFunction_AnswersTheVersion)
{
    LanguageLibrary const library(GetParam(), 0);
    ASSERT_NE(library.mf_getHandle(), nullptr);

    FARPROC const function = ::GetProcAddress(library.mf_getHandle(), VERSION_FUNCTION);

    ASSERT_NE(function, nullptr);
    EXPECT_EQ(std::bit_cast<unsigned long (*)()>(function)(), LIBRARY_VERSION);
}

TEST_P(LanguageTexts, VersionResource_AgreesWithTheVersion)
{
    auto * const resource = ::FindResourceW(m_library.mf_getHandle(), MAKEINTRESOURCEW(1), RT_VERSION);
    ASSERT_NE(resource, nullptr);
    auto const * const bytes =
        static_cast<char const *>(::LockResource(::LoadResource(m_library.mf_getHandle(), resource)));
    std::size_t const headSize = 40; // Lengths, type and the key VS_VERSION_INFO, up to a 4-byte boundary.
    auto const * const info = reinterpret_cast<VS_FIXEDFILEINFO const *>(bytes + headSize);

    ASSERT_EQ(info->dwSignature, static_cast<DWORD>(VS_FFI_SIGNATURE));
    EXPECT_EQ(HIWORD(info->dwFileVersionMS) * 10000ul + LOWORD(info->dwFileVersionMS) * 1000ul +
                  HIWORD(info->dwFileVersionLS),
              LIBRARY_VERSION);
}

TEST_P(LanguageTexts, Library_HoldsExactlyTheIdsOfTheHeader)
{
    EXPECT_EQ(m_library.mf_getIds(), f_expectedIds());
}

TEST_P(LanguageTexts, EveryText_IsWithoutFault)
{
    mf_expectNoFault(f_faultsOf);
}

TEST_P(LanguageTexts, EveryText_IsATranslationOfTheEnglishOne)
{
    if (mf_isEnglish()) return;
    mf_expectNoFault([this](RESOURCE_ID const & id, MessageText const & text) {
        return f_faultsOfTranslation(mf_inEnglish(id), text, GetParam().asInEnglish.contains(id.number));
    });
}

TEST_P(LanguageWords, EveryText_HasTheWordsOfTheGlossary)
{
    std::vector<GLOSSARY_ROW> const glossary = f_glossaryOf(GetParam().name);
    EXPECT_EQ(f_termsOf(glossary), f_termsOf(f_glossaryOf(L"english")));
    if (mf_isEnglish()) return;
    mf_expectNoFault([this, &glossary](RESOURCE_ID const & id, MessageText const & text) {
        std::vector<std::wstring> faults;
        for (GLOSSARY_ROW const & row : glossary) {
            if (f_hasTerm(mf_inEnglish(id).mf_getText(), row.terms) && !f_hasWord(text.mf_getText(), row.words))
                faults.push_back(L"no word for " + row.terms + L": " + row.words);
        }
        return faults;
    });
}

TEST_P(LanguageTexts, Texts_StandUnderTheIdOfTheLanguage)
{
    std::set<WORD> ids;
    auto const collect = [](HMODULE, wchar_t const *, wchar_t const *, WORD id, LONG_PTR found) -> BOOL {
        reinterpret_cast<std::set<WORD> *>(found)->insert(id);
        return TRUE;
    };
    for (wchar_t const * const type : {RT_STRING, RT_VERSION}) {
        wchar_t const * const block = MAKEINTRESOURCEW(type == RT_VERSION ? 1 : IDS_ERRNO_OK / 16 + 1);
        ::EnumResourceLanguagesW(m_library.mf_getHandle(), type, block, collect, reinterpret_cast<LONG_PTR>(&ids));
    }

    EXPECT_EQ(ids, std::set<WORD>{m_id});
}

// Both that of windows and that of consoles. Where the language requires UCS-2 there is nothing to hold it to.
TEST_P(LanguageTexts, EveryText_IsPrintableInTheCodePagesOfTheLanguage)
{
    if (f_requiresUCS2(m_id)) return;
    for (LCTYPE const kind : {LCTYPE{LOCALE_IDEFAULTANSICODEPAGE}, LCTYPE{LOCALE_IDEFAULTCODEPAGE}}) {
        unsigned const codePage = f_codePageOf(m_id, kind);
        ASSERT_NE(codePage, 0u);
        mf_expectNoFault([codePage](RESOURCE_ID const &, MessageText const & text) {
            return f_isPrintable(text.mf_getText(), codePage) ? std::wstring() : std::to_wstring(codePage);
        });
    }
}

// Otherwise columns would depend on the font. In the other languages every character takes one.
TEST_P(LanguageTexts, EveryCharacter_HasOneWidthOrTheOther)
{
    if (!ICLanguage::mf_printsDoubleWidthChars(m_id)) return;
    mf_expectNoFault([](RESOURCE_ID const &, MessageText const & text) {
        std::wstring odd;
        std::copy_if(text.mf_getText().begin(), text.mf_getText().end(), std::back_inserter(odd),
                     [](wchar_t letter) { return letter > 0x7E && !f_isWide(letter); });
        return odd;
    });
}

// With a blank that keeps the mark on the line of its word.
TEST_P(LanguageTexts, FrenchMarks_StandBehindANoBreakSpace)
{
    if (m_id != MAKELANGID(LANG_FRENCH, SUBLANG_FRENCH)) return;
    std::wregex const wrong(L"[^\x00A0][:;!?]([ \r]|$)");
    mf_expectNoFault([&wrong](RESOURCE_ID const &, MessageText const & text) {
        std::vector<std::wstring> faults;
        for (MessageText::PIECE const & piece : text.mf_getPieces()) {
            if (piece.number == 0 && std::regex_search(piece.text, wrong)) faults.push_back(piece.text);
        }
        return faults;
    });
}

// The second line of a mount point comes from the library with 24 blanks, so values stand there too.
TEST_P(LanguageTexts, Blocks_HaveTheirValuesInColumn24)
{
    for (int const id : {IDS_VOLUME, IDS_MACHINE, IDS_MOUNT_POINT, IDS_NO_MOUNT_POINTS, IDS_HOST_ADDRESS}) {
        std::wstring const text = MessageText(m_library.mf_getText(static_cast<unsigned>(id))).mf_render();
        std::wstring const block = text.substr(text.find_first_not_of(L"\r\n"));
        for (std::size_t begin = 0, end = 0; end != block.npos; begin = end + 2) {
            end = block.find(L"\r\n", begin);
            std::wstring const line = block.substr(begin, end == block.npos ? end : end - begin);
            std::size_t const label = line.find(L'>') + 1; // Behind the prefix.
            std::size_t const value = line.find_first_not_of(L' ', line.find(L':') + 1);
            EXPECT_EQ(f_columnsOf(line.substr(label, value - label)), 24u) << testing::PrintToString(line);
        }
    }
}

TEST(Languages, List_IsThatOfThePrograms)
{
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    ICLanguage::mf_getAllLanguageIds(ids);
    std::vector<std::wstring> libraries, names;
    for (LANGUAGE const & language : LANGUAGES) {
        libraries.push_back(f_libraryName(language.code));
        names.emplace_back(language.name);
    }

    ASSERT_EQ(libraries.size(), std::size(ids) - 1);
    for (std::size_t at = 0; at < libraries.size(); ++at) {
        EXPECT_EQ(ICLanguage::mf_getLibraryName(ids[at]), libraries[at]);
        std::wstring const name = f_lowerCase(ICLanguage::mf_getLanguageName(ids[at], 0).GetString());
        EXPECT_EQ(std::regex_replace(name, std::wregex(L" "), L"-"), names[at]);
    }
}

TEST(Languages, AllLibraries_LoadTogether)
{
    std::vector<std::unique_ptr<LanguageLibrary>> libraries;
    std::set<HMODULE> handles;
    std::set<std::wstring> texts;
    for (LANGUAGE const & language : LANGUAGES) {
        libraries.push_back(std::make_unique<LanguageLibrary>(language, 0));
        handles.insert(libraries.back()->mf_getHandle());
        texts.insert(libraries.back()->mf_getText(IDS_HSMSCAN_PURPOSE));
    }

    EXPECT_EQ(handles.size(), std::size(LANGUAGES));
    EXPECT_EQ(handles.count(NULL), 0u);
    EXPECT_EQ(texts.size(), std::size(LANGUAGES));
}

TEST(Languages, Letters_ArriveAsWritten)
{
    LanguageLibrary const german(L"deu");
    LanguageLibrary const japanese(L"jpn");
    LanguageLibrary const russian(L"rus");

    EXPECT_EQ(japanese.mf_getText(IDS_LANGUAGE_JAPANESE), L"\x65E5\x672C\x8A9E");
    EXPECT_EQ(russian.mf_getText(IDS_HSMSCAN_YES), L"\x0414\x0430");
    EXPECT_EQ(german.mf_getText(IDS_LANGUAGE_FRENCH), L"Franz\x00F6sisch");
    EXPECT_EQ(german.mf_getText(IDS_HSMSCAN_MIN_SIZE_SYNTAX), L"--min-size GR\x00D6SSE");
}

TEST(Languages, ResourceIds_AreUnique)
{
    EXPECT_EQ(f_expectedIds().size(), std::size(RESOURCE_IDS));
}

TEST(Languages, ErrorTexts_AreThoseOfTheErrorConstants)
{
    std::set<unsigned> errorTexts;
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        if (std::wstring(id.name).starts_with(L"IDS_ERRNO_")) errorTexts.insert(id.number);
    }

    EXPECT_EQ(errorTexts, std::set<unsigned>(std::begin(ERROR_CONSTANTS), std::end(ERROR_CONSTANTS)));
}

TEST(Languages, FaultyText_IsFound)
{
    RESOURCE_ID const id = {IDS_ORIGINATOR, L"", L"%1 name, %2!lu! code, %3 message"};
    RESOURCE_ID const label = {IDS_LABEL_ORIGINATOR, L"", L""};

    EXPECT_THAT(f_faultsOf(id, MessageText(L"%1 (%2!3lu!): %3")), IsEmpty());
    EXPECT_THAT(f_faultsOf(id, MessageText(L"%1 (%2): %3")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOf(id, MessageText(L"%1 (%2!ld!): %3")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOf(id, MessageText(L"%1 (%2!lu!)")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOf(id, MessageText(L" %1 (%2!lu!): %3")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOf(id, MessageText(L"%1 (%2!lu!): %3 ")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOf(id, MessageText(L"%1 (%2!lu!): %3 100%")), testing::Not(IsEmpty()));
    EXPECT_THAT(f_faultsOf(label, MessageText(L"Originator: ")), IsEmpty());
    EXPECT_THAT(f_faultsOf(label, MessageText(L"Originator:")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOf(label, MessageText(L"")), testing::Not(IsEmpty()));
}

TEST(Languages, FaultyTranslation_IsFound)
{
    MessageText const english(L"%1 (%2!lu!) of --list");
    MessageText const ok(L"OK");

    EXPECT_THAT(f_faultsOfTranslation(english, MessageText(L"%2!lu! (%1) --list"), false), IsEmpty());
    EXPECT_THAT(f_faultsOfTranslation(english, MessageText(L"%2!lx! (%1)"), false), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(english, MessageText(L"(%1)"), false), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(english, english, false), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(ok, ok, true), IsEmpty());
    EXPECT_THAT(f_faultsOfTranslation(ok, MessageText(L"Ok"), true), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(MessageText(L"--list %1"), MessageText(L"--list %1"), false), IsEmpty());
}

TEST(Languages, MissingWord_IsFound)
{
    EXPECT_TRUE(f_hasTerm(L"A Stub File of many", L"stub, stub file"));
    EXPECT_TRUE(f_hasTerm(L"'%1' volumes", L"volume, volumes"));
    EXPECT_FALSE(f_hasTerm(L"volumes of --volume", L"volume"));
    EXPECT_TRUE(f_hasWord(L"Die Stubdatei", L"stub, Rest"));
    EXPECT_TRUE(f_hasWord(L"Restdatei", L"stub, Rest"));
    EXPECT_FALSE(f_hasWord(L"Die Datei", L"stub, Rest"));
    EXPECT_TRUE(f_hasWord(L"Die Datei", L""));
}

TEST(Languages, UnprintableCharacter_IsFound)
{
    EXPECT_TRUE(f_isPrintable(L"\x00F6\x00DF", 850));
    EXPECT_FALSE(f_isPrintable(L"\x201E\x00F6\x00DF\x201C", 850));
    EXPECT_TRUE(f_isPrintable(L"\x201E\x00F6\x00DF\x201C", 1252));
    EXPECT_FALSE(f_isPrintable(L"\x0159", 1252));
    EXPECT_EQ(f_columnsOf(L"a\x30AB\xAC00\xFF1A."), 8u);
}
