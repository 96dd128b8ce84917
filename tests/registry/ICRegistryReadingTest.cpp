// Reading of single values.
#include "tests/registry/RegistryTest.h"

using namespace std::string_view_literals;

namespace
{

using ICRegistryReading = ICRegistryFixture;

} // namespace

TEST_F(ICRegistryReading, Number_IsTheStoredDword)
{
    for (ulong stored : {0ul, 1ul, 0x80000000ul, 0xFFFFFFFFul}) {
        m_sandbox.mf_writeNumber(KEY, L"Number", stored);
        ulong value = 99;
        ICRegistry::mf_getValue(L"Number", value, m_path, HKLM);
        EXPECT_EQ(stored, value);
    }
}

TEST_F(ICRegistryReading, Boolean_IsNormalised)
{
    for (ulong stored : {0ul, 1ul, 2ul, 0xFFFFFFFFul}) {
        m_sandbox.mf_writeNumber(KEY, L"Flag", stored);
        int value = 99;
        ICRegistry::mf_getValue(L"Flag", value, m_path, HKLM);
        EXPECT_EQ(stored != 0, value);
    }
}

TEST_F(ICRegistryReading, FileSize_IsTheStoredQword)
{
    mf_writeBytes(L"Size", REG_QWORD, "\x88\x77\x66\x55\x44\x33\x22\x91"sv);
    ICFileSize value;
    ICRegistry::mf_getValue(L"Size", value, m_path, HKLM);
    EXPECT_EQ(0x55667788u, value.mf_getLow());
    EXPECT_EQ(0x91223344u, value.mf_getHigh());
}

TEST_F(ICRegistryReading, FileTime_IsParsedFromText)
{
    mf_write(L"Time", REG_SZ, L"2024-02-29 23:59:58\0"sv);
    ICFileTime value;
    ICRegistry::mf_getValue(L"Time", value, m_path, HKLM);
    EXPECT_STREQ(L"2024-02-29 23:59:58", value.mf_toString(L' ').GetString());
}

TEST_F(ICRegistryReading, FileTime_OfOtherText_FailsAsItsParsing)
{
    struct
    {
        wchar_t const * text;
        ICErrnoValue const & failure;
    } const cases[] = {{L"", ICErrno::_E_::Parameter},
                       {L"2024-02-29T23:59:58", ICErrno::_E_::Parameter},
                       {L"2024-13-01 00:00:00", ICErrno::_E_::Conversion},
                       {L"FILETIME ERROR", ICErrno::_E_::Conversion}};
    f_silentAndLogging([&] {
        for (auto const & one : cases) {
            m_sandbox.mf_writeText(KEY, L"Time", one.text);
            ICFileTime value(1);
            EXPECT_EQ(f_ownFailure(one.failure),
                      f_failureOf([&] { ICRegistry::mf_getValue(L"Time", value, m_path, HKLM); }));
            EXPECT_EQ(ICFileTime(), value);
        }
    });
}

TEST_F(ICRegistryReading, String_OfEitherKind)
{
    for (ulong type : {ulong{REG_SZ}, ulong{REG_EXPAND_SZ}}) {
        mf_write(L"Text", type, L"\u05E9\u5B57 a\u00E4\xD83D\xDE00\0"sv);
        CString value(L"before");
        ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
        EXPECT_STREQ(L"\u05E9\u5B57 a\u00E4\xD83D\xDE00", value.GetString());
    }
}

TEST_F(ICRegistryReading, String_Empty)
{
    for (std::wstring_view stored : {L""sv, L"\0"sv, L"\0hidden\0"sv}) {
        mf_write(L"Text", REG_SZ, stored);
        CString value(L"before");
        ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
        EXPECT_STREQ(L"", value.GetString());
    }
}

TEST_F(ICRegistryReading, String_OfUpTo511Characters_IsRead)
{
    for (std::wstring const & stored : {f_terminated(f_xs(510)), f_terminated(f_xs(511)), f_xs(511)}) {
        mf_write(L"Text", REG_SZ, stored);
        CString value;
        ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
        EXPECT_EQ(f_xs(std::min<std::size_t>(511, stored.find(L'\0'))), value.GetString());
    }
}

TEST_F(ICRegistryReading, String_Of512CharactersOrMore_Fails)
{
    f_silentAndLogging([&] {
        for (ulong type : {ulong{REG_SZ}, ulong{REG_EXPAND_SZ}})
            for (std::wstring const & stored : {f_terminated(f_xs(512)), f_xs(512), f_xs(513), f_xs(5000)}) {
                mf_write(L"Text", type, stored);
                CString value(L"before");
                EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
                          f_failureOf([&] { ICRegistry::mf_getValue(L"Text", value, m_path, HKLM); }));
                EXPECT_STREQ(L"", value.GetString());
            }
    });
}

TEST_F(ICRegistryReading, String_Unterminated_EndsWhereItsBytesEnd)
{
    mf_write(L"Text", REG_SZ, L"abc"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"abc", value.GetString());
}

TEST_F(ICRegistryReading, String_OfAnOddNumberOfBytes_IsFilledUpWithZero)
{
    mf_writeBytes(L"Text", REG_SZ, "a\0b\0c"sv);
    CString value;
    ICRegistry::mf_getValue(L"Text", value, m_path, HKLM);
    EXPECT_STREQ(L"abc", value.GetString());
}

TEST_F(ICRegistryReading, NumberOfFewerBytes_IsFilledUpWithZero)
{
    mf_writeBytes(L"Number", REG_DWORD, "\x34\x12"sv);
    mf_writeBytes(L"Nothing", REG_DWORD, ""sv);
    mf_writeBytes(L"Size", REG_QWORD, "\x34\x12\x01"sv);
    ulong number = 0;
    ICFileSize size;
    ICRegistry::mf_getValue(L"Number", number, m_path, HKLM);
    ICRegistry::mf_getValue(L"Size", size, m_path, HKLM);
    EXPECT_EQ(0x1234u, number);
    EXPECT_EQ(0x11234, size.mf_getValue());
    ICRegistry::mf_getValue(L"Nothing", number, m_path, HKLM);
    EXPECT_EQ(0u, number);
}

TEST_F(ICRegistryReading, NumberOfMoreBytes_Fails)
{
    mf_writeBytes(L"Number", REG_DWORD, "12345"sv);
    mf_writeBytes(L"Size", REG_QWORD, "123456789"sv);
    ulong number = 1;
    ICFileSize size(1);
    EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
              f_failureOf([&] { ICRegistry::mf_getValue(L"Number", number, m_path, HKLM); }));
    EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
              f_failureOf([&] { ICRegistry::mf_getValue(L"Size", size, m_path, HKLM); }));
    EXPECT_EQ(0u, number);
    EXPECT_EQ(0, size.mf_getValue());
}

// An expandable text that does not fit leaves type and size behind; expanding it would run over four bytes.
TEST_F(ICRegistryReading, NumberOfALongExpandableText_FailsWithoutExpanding)
{
    mf_write(L"Number", REG_EXPAND_SZ, L"%SystemRoot%%SystemRoot%\0"sv);
    ICImportFault const expansions("ExpandEnvironmentStringsW");
    ulong number = 1;
    EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
              f_failureOf([&] { ICRegistry::mf_getValue(L"Number", number, m_path, HKLM); }));
    EXPECT_EQ(0u, number);
    EXPECT_EQ(0u, expansions.mf_getCalls());
}

TEST_F(ICRegistryReading, AnotherTypeThatFits_IsUnexpectedAndLeavesTheOutputCleared)
{
    mf_write(L"Text", REG_SZ, L"a\0"sv);
    mf_write(L"Expandable", REG_EXPAND_SZ, L"%\0"sv);
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    mf_write(L"List", REG_MULTI_SZ, L"a\0\0"sv);
    ICImportFault const expansions("ExpandEnvironmentStringsW");
    f_silentAndLogging([&] {
        ulong number = 1;
        int flag = 1;
        ICFileSize size(1);
        ICFileTime time(1);
        CString text(L"before");
        OUTCOME const unexpected = f_ownFailure(ICErrno::_E_::Unexpected);
        auto const reading = [&](wchar_t const * name, auto & value) {
            return f_failureOf([&] { ICRegistry::mf_getValue(name, value, m_path, HKLM); });
        };
        EXPECT_EQ(unexpected, reading(L"Text", number));
        EXPECT_EQ(unexpected, reading(L"Expandable", number));
        EXPECT_EQ(unexpected, reading(L"Text", flag));
        EXPECT_EQ(unexpected, reading(L"Number", size));
        EXPECT_EQ(unexpected, reading(L"Number", time));
        EXPECT_EQ(unexpected, reading(L"Number", text));
        EXPECT_EQ(unexpected, reading(L"List", text));
        EXPECT_EQ(0u, number);
        EXPECT_EQ(0, flag);
        EXPECT_EQ(ICFileSize(), size);
        EXPECT_EQ(ICFileTime(), time);
        EXPECT_STREQ(L"", text.GetString());
    });
    EXPECT_EQ(0u, expansions.mf_getCalls());
}

TEST_F(ICRegistryReading, PlainStringWhereAnExpandableOneIsExpected_IsRead)
{
    mf_write(L"Text", REG_SZ, L"%SystemRoot%\0"sv);
    wchar_t text[512];
    ICRegistry::mf_implGetValueData(L"Text", REG_EXPAND_SZ, text, sizeof text, m_path, HKLM);
    EXPECT_STREQ(L"%SystemRoot%", text);
}

TEST_F(ICRegistryReading, RawData_ZeroesTheWholeBufferFirst)
{
    char data[16];
    ::memset(data, 'x', sizeof data);
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), f_failureOf([&] {
                  ICRegistry::mf_implGetValueData(L"None", REG_DWORD, data, sizeof data, L"No\\Such\\Key", HKLM);
              }));
    EXPECT_EQ(std::string(16, '\0'), std::string(data, 16));
}

TEST_F(ICRegistryReading, DefaultValue_HasAnEmptyName)
{
    ulong value = 0;
    m_sandbox.mf_makeKey(KEY);
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND),
              f_failureOf([&] { ICRegistry::mf_getValue(L"", value, m_path, HKLM); }));
    m_sandbox.mf_writeNumber(KEY, L"", 5);
    ICRegistry::mf_getValue(L"", value, m_path, HKLM);
    EXPECT_EQ(5u, value);
}

TEST_F(ICRegistryReading, AbsentKeyOrValue_FailsWithTheSystemsNumber)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        CString value(L"before");
        EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND),
                  f_failureOf([&] { ICRegistry::mf_getValue(L"None", value, m_path, HKLM); }));
        EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND),
                  f_failureOf([&] { ICRegistry::mf_getValue(L"None", value, m_path + L"\\Sub", HKLM); }));
        EXPECT_STREQ(L"", value.GetString());
    });
}

TEST_F(ICRegistryReading, OpensTheKeyForQueriesOnly)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    ICKeyAccount const account;
    ulong value = 0;
    ICRegistry::mf_getValue(L"Number", value, m_path, HKLM);
    ASSERT_EQ(1u, account.m_calls.size());
    EXPECT_EQ(m_path.GetString(), account.m_calls[0].m_path);
    EXPECT_EQ(REGSAM{KEY_QUERY_VALUE}, account.m_calls[0].m_access);
    EXPECT_FALSE(account.m_calls[0].m_creates);
}

// --- Failures of the platform while reading -------------------------------------------------------------------------

namespace
{

class ICRegistryReadingFailure : public ICRegistryFixture
{
protected:
    ICRegistryReadingFailure()
    {
        m_sandbox.mf_writeNumber(KEY, L"Number", 5);
        mf_writeBytes(L"Size", REG_QWORD, "12345678"sv);
        mf_write(L"Time", REG_SZ, L"2024-02-29 23:59:58\0"sv);
        mf_write(L"Text", REG_SZ, L"text\0"sv);
    }

    // Reads a value of each kind, expects the failure, and that nothing was read.
    void mf_expectFromEach(OUTCOME const & failure)
    {
        mf_expect(failure, L"Number", 1ul);
        mf_expect(failure, L"Number", 1);
        mf_expect(failure, L"Size", ICFileSize(1));
        mf_expect(failure, L"Time", ICFileTime(1));
        mf_expect(failure, L"Text", CString(L"before"));
    }

private:
    template<class VALUE>
    void mf_expect(OUTCOME const & failure, wchar_t const * name, VALUE value)
    {
        SCOPED_TRACE(testing::Message() << name);
        EXPECT_EQ(failure, f_failureOf([&] { ICRegistry::mf_getValue(name, value, m_path, HKLM); }));
        EXPECT_TRUE(value == VALUE());
    }
};

} // namespace

TEST_F(ICRegistryReadingFailure, Open_IsThrown)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
        mf_expectFromEach(f_registryFailure(ERROR_ACCESS_DENIED));
    });
}

TEST_F(ICRegistryReadingFailure, Query_IsThrownAfterTheKeyWasClosed)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICImportFault const denied("RegQueryValueExW", ERROR_ACCESS_DENIED);
        mf_expectFromEach(f_registryFailure(ERROR_ACCESS_DENIED));
        EXPECT_EQ(5u, account.m_calls.size());
    });
}

TEST_F(ICRegistryReadingFailure, Close_IsThrownWhenItIsTheOnlyOne)
{
    f_silentAndLogging([&] {
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        mf_expectFromEach(f_registryFailure(ERROR_INVALID_HANDLE));
    });
}

TEST_F(ICRegistryReadingFailure, CloseAfterQuery_KeepsTheFirst)
{
    ICKeyAccount account;
    account.m_closeCode = ERROR_INVALID_HANDLE;
    ICImportFault const denied("RegQueryValueExW", ERROR_ACCESS_DENIED);
    mf_expectFromEach(f_registryFailure(ERROR_ACCESS_DENIED));
}

TEST_F(ICRegistryReadingFailure, CloseAfterAnotherType_KeepsTheFirst)
{
    ICKeyAccount account;
    account.m_closeCode = ERROR_INVALID_HANDLE;
    CString text;
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unexpected),
              f_failureOf([&] { ICRegistry::mf_getValue(L"Number", text, m_path, HKLM); }));
}
