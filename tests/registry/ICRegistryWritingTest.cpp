// Writing of single values.
#include "tests/registry/RegistryTest.h"

using namespace std::string_view_literals;

namespace
{

using ICRegistryWriting = ICRegistryFixture;

} // namespace

TEST_F(ICRegistryWriting, Number_IsADword)
{
    ICRegistry::mf_setValue(L"Number", 0x80000001ul, m_path, HKLM);
    auto const stored = m_sandbox.mf_read(KEY, L"Number");
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(ulong{REG_DWORD}, stored->m_type);
    EXPECT_EQ("\1\0\0\x80"sv, stored->m_bytes);
}

// A plain number literal is an int and so a boolean; it must be written as 10000ul to be kept.
TEST_F(ICRegistryWriting, Boolean_IsADwordOf0Or1)
{
    for (int value : {0, 1, -1, 10000}) {
        ICRegistry::mf_setValue(L"Flag", value, m_path, HKLM);
        auto const stored = m_sandbox.mf_read(KEY, L"Flag");
        ASSERT_TRUE(stored.has_value());
        EXPECT_EQ(ulong{REG_DWORD}, stored->m_type);
        EXPECT_EQ(value != 0 ? "\1\0\0\0"sv : "\0\0\0\0"sv, stored->m_bytes);
    }
}

TEST_F(ICRegistryWriting, FileSize_IsAQword)
{
    ICRegistry::mf_setValue(L"Size", ICFileSize(0x55667788, 0x91223344), m_path, HKLM);
    auto const stored = m_sandbox.mf_read(KEY, L"Size");
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(ulong{REG_QWORD}, stored->m_type);
    EXPECT_EQ("\x88\x77\x66\x55\x44\x33\x22\x91"sv, stored->m_bytes);
}

TEST_F(ICRegistryWriting, FileTime_IsAPlainString)
{
    ICRegistry::mf_setValue(L"Time", ICFileTime(L"2024-02-29 23:59:58", L' '), m_path, HKLM);
    EXPECT_EQ(L"2024-02-29 23:59:58\0"sv, mf_read(L"Time", REG_SZ));
}

TEST_F(ICRegistryWriting, FileTimeThatIsNoDate_StoresItsSubstituteText)
{
    ICRegistry::mf_setValue(L"Time", ICFileTime(0xFFFFFFFF, 0xFFFFFFFF), m_path, HKLM);
    EXPECT_EQ(L"FILETIME ERROR\0"sv, mf_read(L"Time", REG_SZ));
}

TEST_F(ICRegistryWriting, String_OfEitherKindWithItsTerminator)
{
    ICRegistry::mf_setValue(L"Plain", L"%a% \u5B57", m_path, 0, HKLM);
    ICRegistry::mf_setValue(L"Expandable", L"%a% \u5B57", m_path, 2, HKLM);
    ICRegistry::mf_setValue(L"Empty", L"", m_path, 0, HKLM);
    EXPECT_EQ(L"%a% \u5B57\0"sv, mf_read(L"Plain", REG_SZ));
    EXPECT_EQ(L"%a% \u5B57\0"sv, mf_read(L"Expandable", REG_EXPAND_SZ));
    EXPECT_EQ(L"\0"sv, mf_read(L"Empty", REG_SZ));
}

TEST_F(ICRegistryWriting, String_LongerThanCanBeRead_IsStored)
{
    ICRegistry::mf_setValue(L"Text", f_xs(100000).c_str(), m_path, 0, HKLM);
    EXPECT_EQ(f_terminated(f_xs(100000)), mf_read(L"Text", REG_SZ));
}

TEST_F(ICRegistryWriting, AnotherType_IsReplaced)
{
    m_sandbox.mf_writeNumber(KEY, L"Value", 5);
    ICRegistry::mf_setValue(L"Value", L"text", m_path, 0, HKLM);
    EXPECT_EQ(L"text\0"sv, mf_read(L"Value", REG_SZ));
}

TEST_F(ICRegistryWriting, DefaultValueAndUnusualNames)
{
    std::wstring const longest(16383, L'n');
    for (std::wstring const & name : {std::wstring(), std::wstring(L"a\\b"), std::wstring(L"\u0416\u5B57"), longest}) {
        ICRegistry::mf_setValue(name.c_str(), 5ul, m_path, HKLM);
        ulong value = 0;
        ICRegistry::mf_getValue(name.c_str(), value, m_path, HKLM);
        EXPECT_EQ(5u, value);
    }
}

TEST_F(ICRegistryWriting, NameThatIsTooLong_Fails)
{
    f_silentAndLogging([&] {
        std::wstring const tooLong(16384, L'n');
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_PARAMETER),
                  f_failureOf([&] { ICRegistry::mf_setValue(tooLong.c_str(), 5ul, m_path, HKLM); }));
    });
}

TEST_F(ICRegistryWriting, CreatesAllMissingKeysWithTheRightToSetOnly)
{
    ICKeyAccount const account;
    CString const path = m_path + L"\\a\\b\\c";
    ICRegistry::mf_setValue(L"Number", 5ul, path, HKLM);
    EXPECT_TRUE(m_sandbox.mf_read(L"Key\\a\\b\\c", L"Number").has_value());
    ASSERT_EQ(1u, account.m_calls.size());
    EXPECT_EQ(path.GetString(), account.m_calls[0].m_path);
    EXPECT_EQ(REGSAM{KEY_SET_VALUE}, account.m_calls[0].m_access);
    EXPECT_TRUE(account.m_calls[0].m_creates);
}

TEST_F(ICRegistryWriting, WhatWasWritten_IsReadAgain)
{
    f_silentAndLogging([&] {
        ICFileTime const time(L"1601-01-01 00:00:01", L' ');
        ICRegistry::mf_setValue(L"Time", time, m_path, HKLM);
        ICRegistry::mf_setValue(L"Size", ICFileSize(-2), m_path, HKLM);
        ICRegistry::mf_setValue(L"Text", f_xs(511).c_str(), m_path, 1, HKLM);
        ICFileTime readTime;
        ICFileSize readSize;
        CString readText;
        ICRegistry::mf_getValue(L"Time", readTime, m_path, HKLM);
        ICRegistry::mf_getValue(L"Size", readSize, m_path, HKLM);
        ICRegistry::mf_getValue(L"Text", readText, m_path, HKLM);
        EXPECT_EQ(time, readTime);
        EXPECT_EQ(ICFileSize(-2), readSize);
        EXPECT_EQ(f_xs(511), readText.GetString());
    });
}

// --- Failures of the platform while writing -------------------------------------------------------------------------

namespace
{

class ICRegistryWritingFailure : public ICRegistryFixture
{
protected:
    void mf_expectFromEach(OUTCOME const & failure)
    {
        ICTestList const list{L"a"};
        std::pair<char const *, std::function<void()>> const operations[] = {
            {"number", [&] { ICRegistry::mf_setValue(L"Number", 5ul, m_path, HKLM); }},
            {"boolean", [&] { ICRegistry::mf_setValue(L"Flag", 1, m_path, HKLM); }},
            {"time", [&] { ICRegistry::mf_setValue(L"Time", ICFileTime(1), m_path, HKLM); }},
            {"size", [&] { ICRegistry::mf_setValue(L"Size", ICFileSize(1), m_path, HKLM); }},
            {"string", [&] { ICRegistry::mf_setValue(L"Text", L"text", m_path, 0, HKLM); }},
            {"list", [&] { ICRegistry::mf_setValues(L"List", list, m_path, HKLM); }}};
        for (auto const & [name, act] : operations) {
            SCOPED_TRACE(name);
            EXPECT_EQ(failure, f_failureOf(act));
        }
    }
};

} // namespace

TEST_F(ICRegistryWritingFailure, Create_IsThrown)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICImportFault const denied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
        mf_expectFromEach(f_registryFailure(ERROR_ACCESS_DENIED));
    });
}

TEST_F(ICRegistryWritingFailure, Set_IsThrownAfterTheKeyWasClosed)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
        mf_expectFromEach(f_registryFailure(ERROR_ACCESS_DENIED));
        EXPECT_EQ(6u, account.m_calls.size());
    });
}

TEST_F(ICRegistryWritingFailure, Close_IsThrownWhenItIsTheOnlyOneAndTheValueIsStored)
{
    f_silentAndLogging([&] {
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        mf_expectFromEach(f_registryFailure(ERROR_INVALID_HANDLE));
    });
    EXPECT_EQ(L"text\0"sv, mf_read(L"Text", REG_SZ));
}

TEST_F(ICRegistryWritingFailure, CloseAfterSet_KeepsTheFirst)
{
    ICKeyAccount account;
    account.m_closeCode = ERROR_INVALID_HANDLE;
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    mf_expectFromEach(f_registryFailure(ERROR_ACCESS_DENIED));
}
