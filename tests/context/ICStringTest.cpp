#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/context/ICLanguageDirectory.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"

namespace
{
// 4060 is a label without inserts; 4057 has the inserts %1, %2!lu! and %3. No library has 59999.
constexpr unsigned int LABEL = 4060;
constexpr unsigned int ORIGINATOR = 4057;
constexpr unsigned int MISSING = 59999;

// Only in the fixture with few texts: "%1", "%1 und %2!5.5lu!", "50%% größer".
constexpr unsigned int BARE_INSERT = 30001;
constexpr unsigned int NUMBER_INSERT = 30002;
constexpr unsigned int PERCENT = 30003;

CString f_text(unsigned int id)
{
    return ICString(id);
}

CString f_rawText(HINSTANCE library, unsigned int id)
{
    wchar_t buffer[4096] = {};
    ::LoadStringW(library, id, buffer, 4096);
    return buffer;
}

CString f_vaFormat(ulong language, ulong id, ...)
{
    va_list arguments;
    va_start(arguments, id);
    CString const text = ICString::mf_vaFormatLanguage(language, id, &arguments);
    va_end(arguments);
    return text;
}

// German is configured, and its library lacks nearly all texts.
class ICStringInGerman : public testing::Test
{
protected:
    explicit ICStringInGerman(wchar_t const * library = ICLanguageDirectory::FEW_TEXTS) : m_languages(L"German")
    {
        m_languages.mf_place(ICLanguageDirectory::ENGLISH, L"tnwlangenu.dll");
        m_languages.mf_place(library, L"tnwlangdeu.dll");
        m_started.emplace();
    }

    ICLanguageDirectory m_languages;
    std::optional<ICStartedLanguages> m_started;
};

class ICStringWithoutUserLibrary : public ICStringInGerman
{
protected:
    ICStringWithoutUserLibrary() : ICStringInGerman(ICLanguageDirectory::OLD_VERSION) {}
};
} // namespace

// The object.

TEST(ICString, Object_IsOneBufferBehindOneVirtualOperation)
{
    EXPECT_EQ(2 * sizeof(void *), sizeof(ICString));
    EXPECT_STREQ(L"", ICString::EMPTY);
}

TEST(ICString, Copy_SharesTheBuffer)
{
    // Deliberate: the copy is never destroyed, since it would free the buffer a second time.
    ICString const original(L"%d", 42);
    alignas(ICString) std::byte room[sizeof(ICString)];
    ICString * const copy = new (room) ICString(original);
    EXPECT_EQ(original.m_pszBuffer, copy->m_pszBuffer);
    EXPECT_STREQ(L"42", *copy);
}

TEST(ICString, Conversions_GiveTheBufferAndACopyOfIt)
{
    ICString text(L"text");
    EXPECT_EQ(text.m_pszBuffer, static_cast<wchar_t *>(text));
    CString const copied = text;
    static_cast<wchar_t *>(text)[0] = L'n';
    EXPECT_STREQ(L"text", copied);
    EXPECT_STREQ(L"next", text);
}

TEST(ICString, Buffer_Has8192ZeroedCharactersAndIsFreedOnce)
{
    std::vector<std::size_t> sizes;
    ICImportPatch const allocations("calloc", [&](std::size_t count, std::size_t size) {
        sizes.push_back(count * size);
        return ::calloc(count, size);
    });
    std::vector<void *> freed;
    ICImportPatch const frees("free", [&](void * block) {
        freed.push_back(block);
        ::free(block);
    });
    void * buffer = nullptr;
    {
        ICString const text(L"abc");
        buffer = text.m_pszBuffer;
        EXPECT_EQ(8192 - 3, std::count(text.m_pszBuffer, text.m_pszBuffer + 8192, L'\0'));
    }
    EXPECT_EQ(std::vector<std::size_t>{16384}, sizes);
    EXPECT_EQ(1, std::count(freed.begin(), freed.end(), buffer));
}

// printf formats.

TEST(ICString, Format_TakesWideTextAndNumbers)
{
    EXPECT_STREQ(L"a=1, b=0x0000002a, c=%", CString(ICString(L"%s=%d, b=0x%8.8x, c=%%", L"a", 1, 42)));
    EXPECT_STREQ(L"", CString(ICString(L"")));
}

TEST(ICString, Format_Null_ThrowsParameter)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [] { ICString text(static_cast<wchar_t const *>(nullptr)); }));
}

TEST(ICString, Format_8191Characters_Fit)
{
    CString const longest(L'x', 8191);
    EXPECT_STREQ(longest, CString(ICString(L"%s", longest.GetString())));
}

TEST(ICString, Format_8192Characters_GiveThePlaceholder)
{
    CString const tooLong(L'x', 8192);
    EXPECT_STREQ(L"<string '%s' not formatted>", CString(ICString(L"%s", tooLong.GetString())));
}

TEST(ICString, Format_ThatIsItselfTooLong_IsCutInThePlaceholder)
{
    CString const format(L'x', 9000);
    CString const text = ICString(format.GetString());
    EXPECT_EQ(8191, text.GetLength());
    EXPECT_STREQ(L"<string '" + CString(L'x', 8191 - 9), text);
}

TEST(ICString, Format_Refused_GivesThePlaceholder)
{
    ICImportFault const refused("_vsnwprintf_s", ICAnswer::mf_value(-1), ICCalls::mf_only(1));
    EXPECT_STREQ(L"<string 'count: %d' not formatted>", CString(ICString(L"count: %d", 1)));
    EXPECT_EQ(1u, refused.mf_getAnswered());
}

TEST(ICString, NoMemory_ThrowsMemory)
{
    for (bool const isResource : {true, false}) {
        SCOPED_TRACE(isResource);
        ICImportFault const noMemory("calloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
        EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [isResource] {
            if (isResource)
                ICString text(LABEL);
            else
                ICString text(L"text");
        }));
    }
}

// Texts of resources.

TEST(ICString, Resource_ProcessNotStarted_IsNotLoaded)
{
    ICImportFault const loads("LoadStringW");
    EXPECT_STREQ(L"<resource-id=4060 not loaded>", f_text(LABEL));
    EXPECT_STREQ(L"<resource-id=4294967295 not loaded>", f_text(0xffffffff));
    EXPECT_EQ(0u, loads.mf_getCalls());
}

TEST(ICString, Resource_OnAThreadWithoutContext_IsNotLoaded)
{
    ICStartedProcess const process;
    std::thread([] { EXPECT_STREQ(L"<resource-id=4060 not loaded>", f_text(LABEL)); }).join();
    EXPECT_STREQ(f_rawText(ICLanguage::mf_getUserLanguageHandle(), LABEL), f_text(LABEL));
}

TEST(ICString, Resource_FollowsTheLanguageOfTheThread)
{
    ICStartedProcess const process(L"German");
    CString const english = f_rawText(ICLanguage::mf_getLanguageHandle(ICLanguage::LOGGING_LANGUAGE), 3498);
    CString const german = f_rawText(ICLanguage::mf_getLanguageHandle(ICLanguage::USER_LANGUAGE), 3498);
    EXPECT_STRNE(english, german);
    EXPECT_STREQ(german, f_text(3498));
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_STREQ(english, f_text(3498));
    ICThreadContext::mf_setUserLanguage();
    EXPECT_STREQ(german, f_text(3498));
}

TEST_F(ICStringInGerman, Resource_TakesTheInsertsOfMessages)
{
    EXPECT_STREQ(L"fixture: System, 5, text", CString(ICString(ORIGINATOR, L"System", 5ul, L"text")));
    EXPECT_STREQ(L"eins und 00042", CString(ICString(NUMBER_INSERT, L"eins", 42ul)));
    EXPECT_STREQ(L"50% größer", f_text(PERCENT));
}

TEST_F(ICStringInGerman, Resource_MissingInTheUsersLanguage_ComesFromTheFallback)
{
    ICImportFault const loads("LoadStringW");
    CString const english = f_rawText(ICLanguage::mf_getFallbackLanguageHandle(), 3498);
    EXPECT_STREQ(english, f_text(3498));
    EXPECT_EQ(2u, loads.mf_getCalls());
    EXPECT_STREQ(L"fixture label", f_text(LABEL));
    EXPECT_EQ(3u, loads.mf_getCalls());
}

TEST_F(ICStringInGerman, Resource_MissingInBoth_GivesAPlaceholderAndNoFailure)
{
    ICImportFault const loads("LoadStringW");
    EXPECT_STREQ(L"<failure loading resource-id=59999>", f_text(MISSING));
    EXPECT_EQ(2u, loads.mf_getCalls());
}

TEST(ICString, Resource_MissingInTheFallbackItself_IsLookedUpOnce)
{
    ICStartedProcess const process;
    ICImportFault const loads("LoadStringW");
    EXPECT_STREQ(L"<failure loading resource-id=59999>", f_text(MISSING));
    EXPECT_EQ(1u, loads.mf_getCalls());
}

TEST_F(ICStringInGerman, Resource_OfUpTo8190Characters_Fits)
{
    CString const longest(L'x', 8190);
    EXPECT_STREQ(longest, CString(ICString(BARE_INSERT, longest.GetString())));
}

TEST_F(ICStringInGerman, Resource_Of8191Characters_IsNotShownWhole)
{
    // The platform may leave the beginning in the buffer; then that is shown, else the placeholder.
    CString const tooLong(L'x', 8191);
    CString const text = ICString(BARE_INSERT, tooLong.GetString());
    if (text != L"<resource-id=30001 not formatted>") {
        EXPECT_LT(text.GetLength(), 8191);
        EXPECT_EQ(text.GetLength(), ICString::mf_count(text, L'x'));
    }
}

TEST_F(ICStringWithoutUserLibrary, Resource_HasNoTextAndNoFallback)
{
    EXPECT_STREQ(L"<resource-id=4060 not formatted>", f_text(LABEL));
    EXPECT_STREQ(L"<resource-id=59999 not formatted>", f_text(MISSING));
    EXPECT_STREQ(L"", ICString::mf_formatLanguage(ICLanguage::USER_LANGUAGE, LABEL));
}

TEST_F(ICStringWithoutUserLibrary, Resource_InTheLoggingLanguage_HasText)
{
    CString const english = f_rawText(ICLanguage::mf_getLoggingLanguageHandle(), LABEL);
    ICThreadContext::mf_setLoggingLanguage();
    EXPECT_STREQ(english, f_text(LABEL));
    EXPECT_STREQ(english, ICString::mf_formatLanguage(ICLanguage::LOGGING_LANGUAGE, LABEL));
}

TEST(ICString, Resource_FormattingRefused_GivesThePlaceholder)
{
    ICStartedProcess const process;
    ICImportFault const refused("FormatMessageW", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1));
    EXPECT_STREQ(L"<resource-id=4060 not formatted>", f_text(LABEL));
    EXPECT_EQ(1u, refused.mf_getAnswered());
}

TEST(ICString, Resource_FormattingBreaksOff_ShowsWhatIsThere)
{
    ICStartedProcess const process;
    int calls = 0;
    ICImportPatch const breaksOff("FormatMessageW",
                                  [&](DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer,
                                      DWORD size, va_list * arguments) -> DWORD {
                                      if (calls++ > 0)
                                          return ::FormatMessageW(flags, source, message, language, buffer, size,
                                                                  arguments);
                                      ::wcscpy(buffer, L"100");
                                      ::SetLastError(ERROR_INVALID_PARAMETER);
                                      return 0;
                                  });
    EXPECT_STREQ(L"100", f_text(LABEL));
    calls = 0;
    EXPECT_STREQ(L"", ICString::mf_formatLanguage(ICLanguage::USER_LANGUAGE, LABEL));
}

// A chosen language.

TEST(ICString, FormatLanguage_EachSelector_SpeaksItsLanguage)
{
    ICStartedProcess const process(L"German");
    for (ulong const selector : {1ul, 2ul, 3ul, 0x10000ul}) {
        SCOPED_TRACE(selector);
        CString const expected = f_rawText(ICLanguage::mf_getLanguageHandle(selector), 3498);
        EXPECT_STREQ(expected, ICString::mf_formatLanguage(selector, 3498));
        EXPECT_STREQ(expected, f_vaFormat(selector, 3498));
    }
}

TEST_F(ICStringInGerman, FormatLanguage_TakesInserts)
{
    EXPECT_STREQ(L"a und 00007", ICString::mf_formatLanguage(1, NUMBER_INSERT, L"a", 7ul));
    EXPECT_STREQ(L"a und 00007", f_vaFormat(1, NUMBER_INSERT, L"a", 7ul));
}

TEST_F(ICStringInGerman, FormatLanguage_IsOneCharacterShorterThanItsSister)
{
    CString const text8189(L'x', 8189);
    CString const text8190(L'x', 8190);
    CString const text8191(L'x', 8191);
    EXPECT_STREQ(text8189, ICString::mf_formatLanguage(1, BARE_INSERT, text8189.GetString()));
    EXPECT_STREQ(L"", ICString::mf_formatLanguage(1, BARE_INSERT, text8190.GetString()));
    EXPECT_STREQ(text8190, f_vaFormat(1, BARE_INSERT, text8190.GetString()));
    EXPECT_STREQ(L"", f_vaFormat(1, BARE_INSERT, text8191.GetString()));
}

TEST(ICString, FormatLanguage_MissingId_GivesThePlaceholder)
{
    ICStartedProcess const process;
    EXPECT_STREQ(L"<failure loading resource-id=59999>", ICString::mf_formatLanguage(1, MISSING));
    EXPECT_STREQ(L"<failure loading resource-id=59999>", f_vaFormat(1, MISSING));
}

TEST(ICString, FormatLanguage_FormattingRefused_IsEmpty)
{
    ICStartedProcess const process;
    for (auto const format :
         {+[] { return ICString::mf_formatLanguage(1, LABEL); }, +[] { return f_vaFormat(1, LABEL); }}) {
        ICImportFault const refused("FormatMessageW", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1));
        EXPECT_STREQ(L"", format());
    }
}

TEST(ICString, FormatLanguage_WithoutArgumentList_IsEmpty)
{
    ICStartedProcess const process;
    EXPECT_STREQ(L"", ICString::mf_vaFormatLanguage(1, LABEL, nullptr));
}

TEST(ICString, FormatLanguage_UnknownSelector_SpeaksTheFallback)
{
    ICStartedProcess const process(L"German");
    CString const english = f_rawText(ICLanguage::mf_getFallbackLanguageHandle(), 3498);
    EXPECT_STREQ(english, ICString::mf_formatLanguage(99, 3498));
}

TEST(ICString, FormatLanguage_CurrentLanguageOfAThreadWithoutContext_SpeaksTheFallback)
{
    ICStartedProcess const process(L"German");
    CString const english = f_rawText(ICLanguage::mf_getFallbackLanguageHandle(), 3498);
    std::thread([&] { EXPECT_STREQ(english, ICString::mf_formatLanguage(0x10000, 3498)); }).join();
}

TEST(ICString, FormatLanguage_WithoutLanguages_GivesThePlaceholder)
{
    EXPECT_STREQ(L"<failure loading resource-id=4060>", ICString::mf_formatLanguage(1, LABEL));
}

// The steps behind them.

TEST(ICString, LoadString_LengthsDifferBetweenLanguageAndFallback)
{
    ICStartedProcess const process(L"German");
    std::vector<int> lengths;
    ICImportPatch const nothing(IC_IMPORT(LoadStringW), [&](HINSTANCE, UINT, LPWSTR, int length) -> int {
        lengths.push_back(length);
        return 0;
    });
    f_text(LABEL);
    EXPECT_EQ((std::vector<int>{4095, 4096}), lengths);
}

TEST(ICString, LoadString_BothRefused_ThrowsTheFirstSystemError)
{
    ICStartedProcess const process(L"German");
    ulong calls = 0;
    ICImportPatch const refused(IC_IMPORT(LoadStringW), [&](HINSTANCE, UINT, LPWSTR, int) -> int {
        ::SetLastError(1000 + ++calls);
        return 0;
    });
    wchar_t buffer[100] = {};
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { ICString::mf_implLoadString(1, LABEL, buffer, 100); }, 1001));
    EXPECT_EQ(2u, calls);
}

TEST(ICString, LoadString_LanguageRefused_ComesFromTheFallback)
{
    ICStartedProcess const process(L"German");
    CString const english = f_rawText(ICLanguage::mf_getFallbackLanguageHandle(), 3498);
    ICImportFault const refused("LoadStringW", ERROR_RESOURCE_LANG_NOT_FOUND, ICCalls::mf_only(1));
    EXPECT_STREQ(english, f_text(3498));
}

TEST(ICString, LoadString_UnknownSelectorAndNoFallbackText_ThrowsTheFirstFailure)
{
    ICStartedProcess const process;
    wchar_t buffer[100] = {};
    EXPECT_TRUE(f_throws(ICErrno::_E_::Language, [&] { ICString::mf_implLoadString(99, MISSING, buffer, 100); }));
}

TEST(ICString, LoadString_WithoutLanguages_ThrowsTheFirstFailure)
{
    wchar_t buffer[100] = {};
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [&] { ICString::mf_implLoadString(1, LABEL, buffer, 100); }));
}

TEST(ICString, FormatString_LimitsAreOneBelowTheLengthsGiven)
{
    ICStartedProcess const process;
    std::vector<DWORD> limits;
    ICImportPatch const recorder("FormatMessageW",
                                 [&](DWORD flags, LPCVOID source, DWORD message, DWORD language, LPWSTR buffer,
                                     DWORD size, va_list * arguments) -> DWORD {
                                     EXPECT_EQ(DWORD{FORMAT_MESSAGE_FROM_STRING}, flags);
                                     EXPECT_EQ(0u, message);
                                     EXPECT_EQ(0u, language);
                                     limits.push_back(size);
                                     return ::FormatMessageW(flags, source, message, language, buffer, size, arguments);
                                 });
    f_text(LABEL);
    ICString::mf_formatLanguage(1, LABEL);
    f_vaFormat(1, LABEL);
    EXPECT_EQ((std::vector<DWORD>{8191, 8190, 8191}), limits);
}

TEST(ICString, FormatString_WithoutArgumentsOrBuffer_ThrowsParameter)
{
    wchar_t buffer[10] = {};
    char stack[64] = {};
    va_list arguments = stack;
    auto const fails = [](va_list * list, wchar_t * target, ulong length) {
        return f_throws(ICErrno::_E_::Parameter,
                        [=] { ICString::mf_implFormatString(1, LABEL, list, target, length); });
    };
    EXPECT_TRUE(fails(nullptr, buffer, 10));
    EXPECT_TRUE(fails(&arguments, nullptr, 10));
    EXPECT_TRUE(fails(&arguments, buffer, 0));
}

TEST(ICString, FormatString_Refused_ThrowsSystem)
{
    ICStartedProcess const process;
    ICImportFault const refused("FormatMessageW", ERROR_INVALID_PARAMETER, ICCalls::mf_only(1));
    wchar_t buffer[100] = {};
    char stack[64] = {};
    va_list arguments = stack;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [&] { ICString::mf_implFormatString(1, LABEL, &arguments, buffer, 100); },
        ERROR_INVALID_PARAMETER));
}

// Operations on texts.

TEST(ICString, AppendList_PutsSeparatorsBetweenItems)
{
    CString list;
    ICString::mf_appendList(list, L"a", L", ");
    EXPECT_STREQ(L"a", list);
    ICString::mf_appendList(list, L"b", L", ");
    ICString::mf_appendList(list, L"", L", ");
    EXPECT_STREQ(L"a, b, ", list);
}

TEST(ICString, Count_CountsACharacter)
{
    EXPECT_EQ(3, ICString::mf_count(L"banana", L'a'));
    EXPECT_EQ(0, ICString::mf_count(L"banana", L'x'));
    EXPECT_EQ(0, ICString::mf_count(L"", L'a'));
    EXPECT_EQ(0, ICString::mf_count(L"banana", L'\0'));
}

TEST(ICString, IsAlphaAndIsDigit_AskEveryCharacter)
{
    struct CASE
    {
        wchar_t const * text;
        int isAlpha;
        int isDigit;
    };
    for (CASE const & one : {CASE{L"", 1, 1}, CASE{L"abcXYZ", 1, 0}, CASE{L"0123456789", 0, 1}, CASE{L"a1", 0, 0},
                             CASE{L"1 2", 0, 0}, CASE{L"-1", 0, 0}, CASE{L"größer", 1, 0}}) {
        SCOPED_TRACE(testing::PrintToString(one.text));
        EXPECT_EQ(one.isAlpha, ICString::mf_isAlpha(one.text));
        EXPECT_EQ(one.isDigit, ICString::mf_isDigit(one.text));
    }
}

TEST(ICStringAscii, ToBuffer_ShortText_IsFollowedByZeros)
{
    char buffer[8];
    std::fill_n(buffer, 8, 'x');
    EXPECT_EQ(buffer, ICString::mf_toAsciiBuffer(L"abc", buffer, 8));
    EXPECT_EQ(std::string("abc\0\0\0\0\0", 8), std::string(buffer, 8));
}

TEST(ICStringAscii, ToBuffer_TextThatFillsTheBuffer_HasNoTerminator)
{
    char buffer[6];
    for (wchar_t const * text : {L"abcd", L"abcdefgh"}) {
        std::fill_n(buffer, 6, 'x');
        ICString::mf_toAsciiBuffer(text, buffer, 4);
        EXPECT_EQ("abcdxx", std::string(buffer, 6));
    }
}

TEST(ICStringAscii, ToBuffer_EmptyText_IsAllZerosWithoutAConversion)
{
    ICImportFault const conversions("WideCharToMultiByte");
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(buffer, ICString::mf_toAsciiBuffer(L"", buffer, 4));
    EXPECT_EQ(std::string(4, '\0'), std::string(buffer, 4));
    EXPECT_EQ(0u, conversions.mf_getCalls());
    EXPECT_EQ(nullptr, ICString::mf_toAsciiBuffer(L"abc", nullptr, 0));
}

TEST(ICStringAscii, ToBuffer_DoubleByteText_IsCutToTheNumberOfWideCharacters)
{
    ICImportPatch const japanese(IC_IMPORT(WideCharToMultiByte),
                                 [](UINT codePage, DWORD flags, LPCWCH text, int length, LPSTR target, int size,
                                    LPCCH fallback, LPBOOL used) -> int {
                                     EXPECT_EQ(UINT{CP_THREAD_ACP}, codePage);
                                     return ::WideCharToMultiByte(932, flags, text, length, target, size, fallback,
                                                                  used);
                                 });
    char buffer[8] = {};
    ICString::mf_toAsciiBuffer(L"あい", buffer, 8);
    EXPECT_EQ(std::string("\x82\xa0\0\0\0\0\0\0", 8), std::string(buffer, 8));
}

TEST(ICStringAscii, ToBuffer_ConversionOrMemoryRefused_IsAllZeros)
{
    for (char const * name : {"WideCharToMultiByte", "calloc"}) {
        SCOPED_TRACE(name);
        ICImportFault const refused(name, ICAnswer::mf_value(0), ICCalls::mf_only(1));
        char buffer[4] = {'x', 'x', 'x', 'x'};
        EXPECT_EQ(buffer, ICString::mf_toAsciiBuffer(L"abc", buffer, 4));
        EXPECT_EQ(std::string(4, '\0'), std::string(buffer, 4));
        EXPECT_EQ(1u, refused.mf_getAnswered());
    }
}

TEST(ICStringAscii, FromBuffer_TakesTheLengthGiven)
{
    CString result = L"before";
    EXPECT_EQ(&result, &ICString::mf_fromAsciiBuffer("abcdef", 4, result));
    EXPECT_STREQ(L"abcd", result);
    ICString::mf_fromAsciiBuffer("abcdef", 0, result);
    EXPECT_STREQ(L"", result);
}

TEST(ICStringAscii, FromBuffer_FirstByteZero_EmptiesTheResultWhateverTheLength)
{
    for (ulong const length : {0ul, 1ul, 4ul, 0xfffffffful}) {
        CString result = L"before";
        ICString::mf_fromAsciiBuffer("\0bcd", length, result);
        EXPECT_TRUE(result.IsEmpty());
    }
}
