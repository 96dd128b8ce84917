#include <bit>
#include <memory>
#include <set>

#include <gmock/gmock.h>

#include "languages/ResourceIds.h"
#include "tests/languages/MessageText.h"

using testing::IsEmpty;

namespace
{

struct RESOURCE_ID
{
    unsigned number;
    wchar_t const * name;
    wchar_t const * inserts;
};

RESOURCE_ID const RESOURCE_IDS[] = {
#include "ResourceIdList.inc"
};

// English stands first and is what the others are compared with.
wchar_t const * const LANGUAGES[] = {
#include "LanguageList.inc"
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

// Texts that may be the same in two languages. Every other text that equals the English one was not translated.
std::set<unsigned> const SAME_IN_LANGUAGES = {
    IDS_ERRNO_OK,
    IDS_SEVERITY_INFORMATION,
    IDS_TIME_COLONS,
    IDS_TIME_COMMAS,
    IDS_TIME_DOTS,
    IDS_TIME_COLONS_AM_PM,
    IDS_HSMSCAN_LANGUAGE_SYNTAX,
    IDS_HSMSCAN_HELP_SYNTAX,
    IDS_HSMSCAN_VERSION_SYNTAX,
    IDS_HSMSCAN_VOLUMES_SYNTAX,
    IDS_HSMSCAN_SYSTEM_SYNTAX,
    IDS_HSMSCAN_QUIET_SYNTAX,
    IDS_HSMSCAN_TOTAL_OFFLINE,
    IDS_HSMSCAN_TOTAL_SYSTEM,
    IDS_HSMSCAN_LARGEST_LINE,
    IDS_HSMSCAN_HEADING_VOLUME,
    IDS_HSMSCAN_EXPLAIN_SERVER,
};

std::wstring f_libraryName(std::wstring const & code)
{
    return L"tnwlang" + code + L".dll";
}

// A language library, loaded for its texts or as code.
class LanguageLibrary
{
public:
    explicit LanguageLibrary(std::wstring const & code, DWORD flags = LOAD_LIBRARY_AS_DATAFILE)
        : m_handle(::LoadLibraryExW(f_libraryName(code).c_str(), NULL, flags))
    {}
    LanguageLibrary(LanguageLibrary const &) = delete;
    LanguageLibrary & operator=(LanguageLibrary const &) = delete;
    ~LanguageLibrary()
    {
        if (m_handle != NULL) ::FreeLibrary(m_handle);
    }

    HMODULE mf_getHandle() const { return m_handle; }

    // Empty when there is none.
    std::wstring mf_getText(unsigned id) const
    {
        wchar_t const * text = NULL;
        int const length = ::LoadStringW(m_handle, id, reinterpret_cast<wchar_t *>(&text), 0);
        return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
    }

    std::set<unsigned> mf_getIds() const
    {
        std::set<unsigned> ids;
        for (unsigned id = 1; id <= 0xFFFF; ++id) {
            if (!mf_getText(id).empty()) ids.insert(id);
        }
        return ids;
    }

private:
    HMODULE m_handle;
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

// What is wrong with a translation, compared with the English text.
std::vector<std::wstring> f_faultsOfTranslation(RESOURCE_ID const & id, MessageText const & english,
                                                MessageText const & translation)
{
    std::vector<std::wstring> faults;
    if (english.mf_getInserts() != translation.mf_getInserts()) faults.emplace_back(L"other inserts than in English");
    bool const same = english.mf_getText() == translation.mf_getText();
    if (same && !SAME_IN_LANGUAGES.contains(id.number)) faults.emplace_back(L"not translated");
    return faults;
}

// Columns that a console needs: the wide characters of East Asia take two.
std::size_t f_columnsOf(std::wstring const & text)
{
    auto const wide = std::count_if(text.begin(), text.end(), [](wchar_t letter) { return letter >= 0x1100; });
    return text.length() + static_cast<std::size_t>(wide);
}

} // namespace

class LanguageTexts : public testing::TestWithParam<wchar_t const *>
{
protected:
    LanguageTexts() : m_library(GetParam()), m_english(LANGUAGES[0]) {}

    void SetUp() override
    {
        ASSERT_NE(m_library.mf_getHandle(), nullptr);
        ASSERT_NE(m_english.mf_getHandle(), nullptr);
    }

    LanguageLibrary const m_library;
    LanguageLibrary const m_english;
};

INSTANTIATE_TEST_SUITE_P(Languages, LanguageTexts, testing::ValuesIn(LANGUAGES), [](auto const & code) {
    std::wstring const wide = code.param;
    return std::string(wide.begin(), wide.end());
});

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
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        SCOPED_TRACE(testing::PrintToString(id.name));
        EXPECT_THAT(f_faultsOf(id, MessageText(m_library.mf_getText(id.number))), IsEmpty());
    }
}

TEST_P(LanguageTexts, EveryText_IsATranslationOfTheEnglishOne)
{
    if (GetParam() == LANGUAGES[0]) return;
    for (RESOURCE_ID const & id : RESOURCE_IDS) {
        SCOPED_TRACE(testing::PrintToString(id.name));
        MessageText const english(m_english.mf_getText(id.number));
        MessageText const translation(m_library.mf_getText(id.number));
        EXPECT_THAT(f_faultsOfTranslation(id, english, translation), IsEmpty());
    }
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

TEST(Languages, AllLibraries_LoadTogether)
{
    std::vector<std::unique_ptr<LanguageLibrary>> libraries;
    std::set<HMODULE> handles;
    for (wchar_t const * code : LANGUAGES) {
        libraries.push_back(std::make_unique<LanguageLibrary>(code, 0));
        handles.insert(libraries.back()->mf_getHandle());
    }

    EXPECT_EQ(handles.size(), std::size(LANGUAGES));
    EXPECT_EQ(handles.count(NULL), 0u);
    EXPECT_NE(libraries[0]->mf_getText(IDS_LANGUAGE_GERMAN), libraries[1]->mf_getText(IDS_LANGUAGE_GERMAN));
}

TEST(Languages, Letters_ArriveAsWritten)
{
    LanguageLibrary const german(L"deu");

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
    RESOURCE_ID const id = {IDS_ORIGINATOR, L"", L""};
    RESOURCE_ID const same = {IDS_ERRNO_OK, L"", L""};
    MessageText const english(L"%1 (%2!lu!)");

    EXPECT_THAT(f_faultsOfTranslation(id, english, MessageText(L"%2!lu! (%1)")), IsEmpty());
    EXPECT_THAT(f_faultsOfTranslation(id, english, MessageText(L"%2!lx! (%1)")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(id, english, MessageText(L"(%1)")), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(id, english, english), testing::SizeIs(1));
    EXPECT_THAT(f_faultsOfTranslation(same, MessageText(L"OK"), MessageText(L"OK")), IsEmpty());
}
