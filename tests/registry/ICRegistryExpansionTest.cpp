// Expandable strings.
#include "tests/registry/RegistryTest.h"

using namespace std::string_view_literals;

namespace
{

using ICRegistryExpansion = ICRegistryFixture;

class ICVariable
{
public:
    ICVariable(wchar_t const * name, std::wstring const & value) : m_name(name)
    {
        ::SetEnvironmentVariableW(name, value.c_str());
    }
    ICVariable(ICVariable const &) = delete;
    ICVariable & operator=(ICVariable const &) = delete;
    ~ICVariable() { ::SetEnvironmentVariableW(m_name, nullptr); }

private:
    wchar_t const * const m_name;
};

} // namespace

TEST_F(ICRegistryExpansion, ShorterThanStored_TakesEffect)
{
    ICVariable const variable(L"HSM_TEST_VARIABLE", L"ab");
    mf_write(L"Text", REG_EXPAND_SZ, L"<%HSM_TEST_VARIABLE%>\0"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"<ab>", value.GetString());
}

TEST_F(ICRegistryExpansion, JustShorterThanStored_IsNotCut)
{
    ICVariable const variable(L"HSM_TEST", std::wstring(9, L'a'));
    mf_write(L"Text", REG_EXPAND_SZ, L"%HSM_TEST%\0"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"aaaaaaaaa", value.GetString());
}

// Deliberate: the stored size decides, not the buffer's.
TEST_F(ICRegistryExpansion, AsLongAsStoredOrLonger_LeavesTheStoredText)
{
    mf_write(L"Text", REG_EXPAND_SZ, L"%HSM_TEST%\0"sv);
    f_silentAndLogging([&] {
        for (std::size_t length : {10u, 11u, 100u, 400u, 600u}) {
            ICVariable const variable(L"HSM_TEST", std::wstring(length, L'a'));
            CString value;
            ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
            EXPECT_STREQ(L"%HSM_TEST%", value.GetString());
        }
    });
}

TEST_F(ICRegistryExpansion, UndefinedVariable_LeavesTheStoredText)
{
    mf_write(L"Text", REG_EXPAND_SZ, L"%HSM_UNDEFINED%\\a\0"sv);
    f_silentAndLogging([&] {
        CString value;
        ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
        EXPECT_STREQ(L"%HSM_UNDEFINED%\\a", value.GetString());
    });
}

TEST_F(ICRegistryExpansion, BytesBehindTheTerminator_CountAsStored)
{
    ICVariable const variable(L"HSM_TEST", std::wstring(12, L'a'));
    mf_write(L"Text", REG_EXPAND_SZ, L"%HSM_TEST%\0hidden\0"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"aaaaaaaaaaaa", value.GetString());
}

TEST_F(ICRegistryExpansion, UnterminatedText_IsExpandedToo)
{
    ICVariable const variable(L"HSM_TEST", L"ab");
    mf_write(L"Text", REG_EXPAND_SZ, L"%HSM_TEST%"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"ab", value.GetString());
}

TEST_F(ICRegistryExpansion, OfMoreThan510Characters_LeavesTheStoredText)
{
    std::wstring const stored = L"%HSM_TEST%" + f_xs(501);
    mf_write(L"Text", REG_EXPAND_SZ, f_terminated(stored));
    for (std::size_t length : {8u, 9u}) {
        // 509 and 510 characters without the terminator, for which there is no room in the latter case.
        ICVariable const variable(L"HSM_TEST", std::wstring(length, L'a'));
        CString value;
        ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
        EXPECT_EQ(length == 8 ? std::wstring(8, L'a') + f_xs(501) : stored, value.GetString());
    }
}

TEST_F(ICRegistryExpansion, PlainString_StaysAsItIs)
{
    mf_write(L"Text", REG_SZ, L"%SystemRoot%%SystemRoot%\0"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"%SystemRoot%%SystemRoot%", value.GetString());
}

// Deliberate: the system number is 0, whatever the last error is.
TEST_F(ICRegistryExpansion, Failure_HasNoSystemNumber)
{
    mf_write(L"Text", REG_EXPAND_SZ, L"%SystemRoot%\0"sv);
    f_silentAndLogging([&] {
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        ICImportFault const failing("ExpandEnvironmentStringsW", ERROR_NOT_ENOUGH_MEMORY);
        CString value(L"before");
        EXPECT_EQ(f_registryFailure(0), f_failureOf([&] { ICRegistry::mf_getValue(L"Text", value, m_path, HKLM); }));
        EXPECT_STREQ(L"", value.GetString());
    });
}

TEST_F(ICRegistryExpansion, IsAskedFor510Characters)
{
    mf_write(L"Text", REG_EXPAND_SZ, L"%SystemRoot%\0"sv);
    ulong asked = 0;
    ICImportPatch const patch(IC_IMPORT(ExpandEnvironmentStringsW), [&](LPCWSTR source, LPWSTR target, DWORD size) {
        EXPECT_STREQ(L"%SystemRoot%", source);
        asked = size;
        return ::ExpandEnvironmentStringsW(source, target, size);
    });
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_EQ(510u, asked);
}
