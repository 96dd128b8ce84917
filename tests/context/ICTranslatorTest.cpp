#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "hsmbase/context/ICTranslator.h"
#include "hsmbase/failure/ICErrno.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/Thrown.h"

namespace
{
// A translator for the code page given, up while the object lives.
class Translator
{
public:
    explicit Translator(wchar_t const * codePage = L"1252")
    {
        ICImportPatch const system(IC_IMPORT(GetLocaleInfoW),
                                   [codePage](LCID locale, LCTYPE type, LPWSTR buffer, int size) -> int {
                                       EXPECT_EQ(LCID{LOCALE_SYSTEM_DEFAULT}, locale);
                                       EXPECT_EQ(LCTYPE{LOCALE_IDEFAULTANSICODEPAGE}, type);
                                       EXPECT_EQ(15, size);
                                       ::wcscpy(buffer, codePage);
                                       return static_cast<int>(::wcslen(codePage)) + 1;
                                   });
        ICTranslator::mf_createInstance();
    }
    Translator(Translator const &) = delete;
    Translator & operator=(Translator const &) = delete;
    ~Translator() { ICTranslator::mf_deleteInstance(); }
};

CString f_convert(std::string const & text)
{
    CString result = L"before";
    ICTranslator::mf_convertAscii(text.data(), static_cast<ulong>(text.size()), result);
    return result;
}
} // namespace

TEST(ICTranslator, CodePage_IsThatOfTheSystem)
{
    ICTranslator::mf_createInstance();
    CPINFOEXW info = {};
    EXPECT_TRUE(::GetCPInfoExW(ICTranslator::m_pThis->m_codePage, 0, &info));
    EXPECT_EQ(::GetACP(), ICTranslator::m_pThis->m_codePage);
    ICTranslator::mf_deleteInstance();
    EXPECT_EQ(nullptr, ICTranslator::m_pThis);
}

TEST(ICTranslator, Create_SystemRefuses_ThrowsSystemAndLeavesNoInstance)
{
    ICImportFault const refused("GetLocaleInfoW", ERROR_INVALID_PARAMETER);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::System, [] { ICTranslator::mf_createInstance(); }, ERROR_INVALID_PARAMETER));
    EXPECT_EQ(nullptr, ICTranslator::m_pThis);
}

TEST(ICTranslator, Create_NoMemory_ThrowsMemory)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { ICTranslator::mf_createInstance(); }));
    EXPECT_EQ(nullptr, ICTranslator::m_pThis);
}

TEST(ICTranslator, CreateTwice_ThrowsAndKeepsTheFirst)
{
    Translator const translator;
    ICTranslator const * const first = ICTranslator::m_pThis;
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { ICTranslator::mf_createInstance(); }));
    EXPECT_EQ(first, ICTranslator::m_pThis);
}

TEST(ICTranslator, DeleteWithoutInstance_IsHarmless)
{
    ICTranslator::mf_deleteInstance();
    EXPECT_EQ(nullptr, ICTranslator::m_pThis);
}

TEST(ICTranslator, Convert_WithoutInstance_ThrowsInitialization)
{
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { f_convert("text"); }));
}

TEST(ICTranslator, Convert_NullText_ThrowsParameter)
{
    Translator const translator;
    CString result = L"before";
    for (ulong const length : {0ul, 5ul})
        EXPECT_TRUE(f_throws(ICErrno::_E_::Parameter, [&] { ICTranslator::mf_convertAscii(nullptr, length, result); }));
    EXPECT_STREQ(L"before", result);
}

TEST(ICTranslator, Convert_UsesTheCodePage)
{
    {
        Translator const western(L"1252");
        EXPECT_STREQ(L"größer €", f_convert("gr\xf6\xdf"
                                            "er \x80"));
    }
    Translator const japanese(L"932");
    EXPECT_STREQ(L"あい", f_convert("\x82\xa0\x82\xa2"));
}

TEST(ICTranslator, Convert_EmptyText_EmptiesTheResult)
{
    Translator const translator;
    EXPECT_STREQ(L"", f_convert(""));
}

TEST(ICTranslator, Convert_TakesTheLengthGivenUpToTheFirstNul)
{
    Translator const translator;
    CString result;
    ICTranslator::mf_convertAscii("abcdef", 3, result);
    EXPECT_STREQ(L"abc", result);
    EXPECT_STREQ(L"ab", f_convert(std::string("ab\0cd", 5)));
    EXPECT_EQ(0, f_convert(std::string("\0cd", 3)).GetLength());
}

TEST(ICTranslator, Convert_2047Characters_Succeed)
{
    Translator const translator;
    EXPECT_STREQ(CString(L'x', 2047), f_convert(std::string(2047, 'x')));
}

TEST(ICTranslator, Convert_2048Characters_ThrowConversionAndLeaveTheResult)
{
    Translator const translator;
    CString result = L"before";
    std::string const text(2048, 'x');
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [&] { ICTranslator::mf_convertAscii(text.data(), 2048, result); },
        ERROR_INSUFFICIENT_BUFFER));
    EXPECT_STREQ(L"before", result);
}

TEST(ICTranslator, Convert_LengthBeyondTheSignedRange_IsNoTerminatedText)
{
    Translator const translator;
    int passed = 0;
    ICImportPatch const recorder(IC_IMPORT(MultiByteToWideChar),
                                 [&](UINT, DWORD, LPCCH, int bytes, LPWSTR, int) -> int {
                                     passed = bytes;
                                     ::SetLastError(ERROR_INSUFFICIENT_BUFFER);
                                     return 0;
                                 });
    CString result;
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [&] { ICTranslator::mf_convertAscii("abc", 0xffffffff, result); },
        ERROR_INSUFFICIENT_BUFFER));
    EXPECT_EQ(INT_MAX, passed);
}

TEST(ICTranslator, Convert_Refused_ThrowsConversionWithTheSystemsNumber)
{
    Translator const translator;
    ICImportFault const refused("MultiByteToWideChar", ERROR_NO_UNICODE_TRANSLATION);
    EXPECT_TRUE(f_throws(
        ICErrno::_E_::Conversion, [] { f_convert("text"); }, ERROR_NO_UNICODE_TRANSLATION));
}
