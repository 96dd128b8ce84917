// Single values with a default.
#include "tests/registry/RegistryTest.h"

using namespace std::string_view_literals;

namespace
{

// One kind of value: a default, another value, and how they are stored.
template<class VALUE>
struct KIND
{
    VALUE m_default;
    VALUE m_other;
};

int f_getOrSet(CString const & name, CString & value, CString const & path)
{
    return ICRegistry::mf_getOrSetValue(name, value, path, 0, HKLM);
}
template<class VALUE>
int f_getOrSet(CString const & name, VALUE & value, CString const & path)
{
    return ICRegistry::mf_getOrSetValue(name, value, path, HKLM);
}

template<class TEST>
void f_forEachKind(TEST test)
{
    test(KIND<ulong>{7, 8});
    test(KIND<int>{1, 0});
    test(KIND<ICFileSize>{7, 1ll << 40});
    test(KIND<ICFileTime>{ICFileTime(L"2024-02-29 23:59:58", L' '), ICFileTime(L"1999-12-31 00:00:00", L' ')});
    test(KIND<CString>{L"default", L"other"});
}

class ICRegistryDefaults : public ICRegistryFixture
{
protected:
    // Calls on a value of each kind fail inside and answer the default.
    void mf_expectDefaultFromEach()
    {
        f_forEachKind([&](auto const & kind) {
            auto value = kind.m_default;
            EXPECT_EQ(0, f_getOrSet(L"Value", value, m_path));
            EXPECT_TRUE(value == kind.m_default);
        });
    }
};

} // namespace

TEST_F(ICRegistryDefaults, Absent_IsCreatedOnceWithAllItsKeys)
{
    f_silentAndLogging([&] {
        f_forEachKind([&](auto const & kind) {
            CString const path = m_path + L"\\a\\b";
            auto value = kind.m_default;
            EXPECT_EQ(1, f_getOrSet(L"Value", value, path));
            EXPECT_TRUE(value == kind.m_default);
            value = kind.m_other;
            EXPECT_EQ(0, f_getOrSet(L"Value", value, path));
            EXPECT_TRUE(value == kind.m_default);
            EXPECT_EQ(1, ICRegistry::mf_deleteValue(L"Value", path, HKLM));
        });
    });
}

TEST_F(ICRegistryDefaults, StoredForms)
{
    ulong number = 0x12345678;
    int flag = -5;
    ICFileSize size(1);
    ICFileTime time(L"2024-02-29 23:59:58", L' ');
    CString text(L"%a%");
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Number", number, m_path, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Flag", flag, m_path, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Size", size, m_path, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Time", time, m_path, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Plain", text, m_path, 0, HKLM));
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Expandable", text, m_path, 1, HKLM));
    EXPECT_EQ(L"\x5678\x1234"sv, mf_read(L"Number", REG_DWORD));
    EXPECT_EQ(L"\1\0"sv, mf_read(L"Flag", REG_DWORD));
    EXPECT_EQ(L"\1\0\0\0"sv, mf_read(L"Size", REG_QWORD));
    EXPECT_EQ(L"2024-02-29 23:59:58\0"sv, mf_read(L"Time", REG_SZ));
    EXPECT_EQ(L"%a%\0"sv, mf_read(L"Plain", REG_SZ));
    EXPECT_EQ(L"%a%\0"sv, mf_read(L"Expandable", REG_EXPAND_SZ));
}

TEST_F(ICRegistryDefaults, Boolean_IsNormalisedBothWays)
{
    int flag = 10000;
    EXPECT_EQ(1, ICRegistry::mf_getOrSetValue(L"Flag", flag, m_path, HKLM));
    EXPECT_EQ(1, flag);
    m_sandbox.mf_writeNumber(KEY, L"Flag", 77);
    flag = 0;
    EXPECT_EQ(0, ICRegistry::mf_getOrSetValue(L"Flag", flag, m_path, HKLM));
    EXPECT_EQ(1, flag);
}

TEST_F(ICRegistryDefaults, AnotherType_AnswersTheDefaultAndStaysStored)
{
    mf_write(L"Value", REG_MULTI_SZ, L"a\0\0"sv);
    f_silentAndLogging([&] { mf_expectDefaultFromEach(); });
    EXPECT_EQ(L"a\0\0"sv, mf_read(L"Value", REG_MULTI_SZ));
}

TEST_F(ICRegistryDefaults, NumberOfTextType_AnswersTheDefaultAndStaysStored)
{
    m_sandbox.mf_writeText(KEY, L"Value", L"a");
    ulong value = 7;
    EXPECT_EQ(0, ICRegistry::mf_getOrSetValue(L"Value", value, m_path, HKLM));
    EXPECT_EQ(7u, value);
    EXPECT_EQ(L"a\0"sv, mf_read(L"Value", REG_SZ));
}

TEST_F(ICRegistryDefaults, TextThatIsTooLong_AnswersTheDefault)
{
    m_sandbox.mf_writeText(KEY, L"Value", std::wstring(512, L'x'));
    CString value(L"default");
    EXPECT_EQ(0, ICRegistry::mf_getOrSetValue(L"Value", value, m_path, 0, HKLM));
    EXPECT_STREQ(L"default", value.GetString());
}

TEST_F(ICRegistryDefaults, TextThatIsNoTime_AnswersTheDefault)
{
    m_sandbox.mf_writeText(KEY, L"Value", L"no time");
    ICFileTime value(7);
    EXPECT_EQ(0, ICRegistry::mf_getOrSetValue(L"Value", value, m_path, HKLM));
    EXPECT_EQ(ICFileTime(7), value);
}

TEST_F(ICRegistryDefaults, FailedWrite_AnswersTheDefault)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
        mf_expectDefaultFromEach();
        EXPECT_EQ(5u, denied.mf_getCalls());
    });
}

TEST_F(ICRegistryDefaults, FailedRead_AnswersTheDefault)
{
    m_sandbox.mf_writeNumber(KEY, L"Value", 8);
    f_silentAndLogging([&] {
        f_forEachKind([&](auto const & kind) {
            ICKeyAccount const account;
            // The first query asks whether the value exists.
            ICImportFault const denied("RegQueryValueExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
            auto value = kind.m_default;
            EXPECT_EQ(0, f_getOrSet(L"Value", value, m_path));
            EXPECT_TRUE(value == kind.m_default);
            EXPECT_EQ(1u, denied.mf_getAnswered());
        });
    });
}

TEST_F(ICRegistryDefaults, FailedQuestionForExistence_IsThrown)
{
    f_silentAndLogging([&] {
        ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
        f_forEachKind([&](auto const & kind) {
            auto value = kind.m_default;
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED),
                      f_failureOf([&] { f_getOrSet(L"Value", value, m_path); }));
            EXPECT_TRUE(value == kind.m_default);
        });
    });
}
