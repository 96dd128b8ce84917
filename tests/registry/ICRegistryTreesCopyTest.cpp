// Copying the values of one key into another.
#include "hsmbase/registry/internal/ICRegistryKey.h"
#include "tests/registry/RegistryTest.h"
#include "tests/support/PlatformFailure.h"

#include <gmock/gmock.h>

#include <map>

using namespace std::string_literals;
using testing::Contains;
using testing::ElementsAre;
using testing::Key;
using testing::Pair;

namespace
{

using STORED = std::pair<ulong, std::string>;
using VALUES = std::map<std::wstring, STORED>;

constexpr wchar_t TARGET[] = L"Target";

class ICRegistryCopying : public ICRegistryFixture
{
protected:
    // All values of a key, read past the library.
    VALUES mf_readAll(std::wstring const & key) const
    {
        ICRegistryKey opened;
        VALUES values;
        if (::RegOpenKeyExW(HKLM, (m_sandbox / key).c_str(), 0, KEY_READ, opened.mf_receive()) != ERROR_SUCCESS)
            return values;
        std::wstring name(20000, L'\0');
        DWORD length = 20000;
        for (DWORD index = 0; ::RegEnumValueW(opened.mf_get(), index, name.data(), &length, nullptr, nullptr, nullptr,
                                              nullptr) == ERROR_SUCCESS;
             ++index, length = 20000) {
            auto const value = m_sandbox.mf_read(key, name.substr(0, length));
            if (value) values[name.substr(0, length)] = {value->m_type, value->m_bytes};
        }
        return values;
    }

    // A, B and C, which both kinds of store list in this order.
    void mf_writeThree()
    {
        for (wchar_t const * name : {L"A", L"B", L"C"})
            m_sandbox.mf_writeText(KEY, name, L"text");
    }

    ulong mf_copy(int noCheck = 1) const { return ICRegistry::mf_copyValues(m_path, m_target, noCheck, HKLM); }
    OUTCOME mf_failureOfCopy(int noCheck = 1) const
    {
        return f_failureOf([&] { mf_copy(noCheck); });
    }

    CString const m_target = (m_sandbox / TARGET).c_str();
};

} // namespace

TEST_F(ICRegistryCopying, ValuesOfAllTypes_ByteByByte)
{
    struct
    {
        wchar_t const * m_name;
        ulong m_type;
        std::string m_bytes;
    } const values[] = {
        {L"", REG_SZ, "d\0\0\0"s},
        {L"None", REG_NONE, "\1\2\3"s},
        {L"Text", REG_SZ, "a\0b\0\0\0"s},
        {L"Empty text", REG_SZ, ""s},
        {L"Unterminated", REG_SZ, "a\0b\0"s},
        {L"Odd", REG_SZ, "a\0b\0c"s},
        {L"Text with more behind", REG_SZ, "a\0\0\0b\0\0\0"s},
        {L"Expandable", REG_EXPAND_SZ, "%\0S\0y\0s\0t\0e\0m\0R\0o\0o\0t\0%\0\0\0"s},
        {L"Binary", REG_BINARY, "\0\xFF\r\n\0"s},
        {L"Number", REG_DWORD, "\1\2\3\4"s},
        {L"Short number", REG_DWORD, "\1"s},
        {L"Big endian", REG_DWORD_BIG_ENDIAN, "\1\2\3\4"s},
        {L"Link", REG_LINK, "a\0b\0"s},
        {L"List", REG_MULTI_SZ, "a\0\0\0b\0\0\0\0\0"s},
        {L"Unterminated list", REG_MULTI_SZ, "a\0\0\0b\0"s},
        {L"Resources", REG_RESOURCE_LIST, "\1\2"s},
        {L"Size", REG_QWORD, "\1\2\3\4\5\6\7\x8"s},
        {L"Strange", 4711, "\1\2\3"s},
        {L"Name \\ with \u5B57 = \"", REG_SZ, "a\0\0\0"s},
    };
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ::RegDeleteTreeW(HKLM, m_target);
        for (auto const & value : values)
            mf_writeBytes(value.m_name, value.m_type, value.m_bytes);
        EXPECT_EQ(std::size(values), mf_copy());
        VALUES const copies = mf_readAll(TARGET);
        EXPECT_EQ(std::size(values), copies.size());
        for (auto const & value : values)
            EXPECT_THAT(copies, Contains(Pair(value.m_name, STORED(value.m_type, value.m_bytes))));
        EXPECT_EQ(mf_readAll(KEY), copies);
    });
}

TEST_F(ICRegistryCopying, ValueOf1024Bytes_IsTheLongest)
{
    mf_writeBytes(L"Binary", REG_BINARY, std::string(1024, 'x'));
    mf_write(L"Text", REG_SZ, f_terminated(f_xs(511)));
    mf_write(L"Unterminated", REG_SZ, f_xs(512));
    mf_write(L"List", REG_MULTI_SZ, f_xs(512));
    EXPECT_EQ(4u, mf_copy());
    EXPECT_EQ(mf_readAll(KEY), mf_readAll(TARGET));
}

TEST_F(ICRegistryCopying, ValueOf1025Bytes_EndsTheCopyAndThoseAheadStay)
{
    mf_writeThree();
    mf_writeBytes(L"B", REG_BINARY, std::string(1025, 'x'));
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA), mf_failureOfCopy());
        EXPECT_THAT(mf_readAll(TARGET), ElementsAre(Key(L"A")));
    });
}

TEST_F(ICRegistryCopying, KeyWithoutValues_AnswersZeroAndMakesNoTarget)
{
    m_sandbox.mf_writeNumber(L"Key\\Sub", L"Number", 5);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(0u, mf_copy(0));
        EXPECT_EQ(1u, account.m_calls.size());
        EXPECT_FALSE(m_sandbox.mf_hasKey(TARGET));
    });
}

TEST_F(ICRegistryCopying, Subkeys_AreNotCopied)
{
    m_sandbox.mf_writeNumber(L"Key\\Sub", L"Number", 5);
    mf_writeThree();
    EXPECT_EQ(3u, mf_copy());
    EXPECT_FALSE(m_sandbox.mf_hasKey(L"Target\\Sub"));
}

TEST_F(ICRegistryCopying, Target_IsMadeWithAllMissingLevels)
{
    mf_writeThree();
    EXPECT_EQ(3u, ICRegistry::mf_copyValues(m_path, m_target + L"\\a\\b", 1, HKLM));
    EXPECT_EQ(mf_readAll(KEY), mf_readAll(L"Target\\a\\b"));
}

TEST_F(ICRegistryCopying, ValuesOfTheTarget_AreOverwrittenOrStay)
{
    mf_writeThree();
    for (int const noCheck : {0, 1}) {
        m_sandbox.mf_writeNumber(TARGET, L"A", 5);
        m_sandbox.mf_writeNumber(TARGET, L"Other", 5);
        EXPECT_EQ(3u, mf_copy(noCheck));
        VALUES expected = mf_readAll(KEY);
        expected[L"Other"] = {REG_DWORD, "\5\0\0\0"s};
        EXPECT_EQ(expected, mf_readAll(TARGET)) << noCheck;
    }
}

TEST_F(ICRegistryCopying, NoCheck_SavesTheLookForEachValue)
{
    mf_writeThree();
    auto const countLooks = [&](int noCheck) {
        ICImportFault const queries("RegQueryValueExW");
        mf_copy(noCheck);
        return queries.mf_getCalls();
    };
    EXPECT_EQ(6u, countLooks(0));
    EXPECT_EQ(3u, countLooks(1));
    EXPECT_EQ(3u, countLooks(7));
}

TEST_F(ICRegistryCopying, KeyIntoItself_StaysAsItIs)
{
    mf_writeThree();
    VALUES const before = mf_readAll(KEY);
    EXPECT_EQ(3u, ICRegistry::mf_copyValues(m_path, m_path, 0, HKLM));
    EXPECT_EQ(before, mf_readAll(KEY));
}

TEST_F(ICRegistryCopying, AbsentSource_IsThrownAndMakesNoTarget)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), mf_failureOfCopy());
        EXPECT_FALSE(m_sandbox.mf_hasKey(TARGET));
    });
}

TEST_F(ICRegistryCopying, LongNames)
{
    mf_writeThree();
    m_sandbox.mf_writeText(KEY, f_xs(255), L"long");
    EXPECT_EQ(4u, mf_copy());
    EXPECT_EQ(mf_readAll(KEY), mf_readAll(TARGET));

    m_sandbox.mf_writeText(L"Key", f_xs(256), L"longer");
    ::RegDeleteTreeW(HKLM, m_target);
    EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA), mf_failureOfCopy());
    EXPECT_FALSE(m_sandbox.mf_hasKey(TARGET));
}

TEST_F(ICRegistryCopying, EmptyPaths_AreTheRootKeyItself)
{
    m_sandbox.mf_writeText(L"", L"Root", L"text");
    ICRegistryKey root;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegOpenKeyExW(HKLM, m_sandbox.mf_getPath().c_str(), 0, KEY_ALL_ACCESS, root.mf_receive()));
    EXPECT_EQ(1u, ICRegistry::mf_copyValues(L"", TARGET, 0, root.mf_get()));
    EXPECT_EQ(L"text", m_sandbox.mf_readText(TARGET, L"Root"));

    mf_writeThree();
    EXPECT_EQ(3u, ICRegistry::mf_copyValues(KEY, L"", 1, root.mf_get()));
    EXPECT_EQ(L"text", m_sandbox.mf_readText(L"", L"C"));
}

// The look at the target is mf_exists, for which an empty path means something else. It decides about a line only.
TEST_F(ICRegistryCopying, EmptyTarget_IsLookedForInThisProgramsSubtree)
{
    m_sandbox.mf_writeText(KEY, L"A", L"text");
    ICRegistryKey root;
    ASSERT_EQ(ERROR_SUCCESS,
              ::RegOpenKeyExW(HKLM, m_sandbox.mf_getPath().c_str(), 0, KEY_ALL_ACCESS, root.mf_receive()));
    ICKeyAccount const account;
    EXPECT_EQ(1u, ICRegistry::mf_copyValues(KEY, L"", 0, root.mf_get()));
    TEXT_LIST opened;
    for (auto const & call : account.m_calls)
        opened.push_back(call.m_path);
    EXPECT_THAT(opened, ElementsAre(KEY, KEY, L"", ICRegistry::mf_getRegistryPath(L"").GetString()));
    EXPECT_EQ(L"text", m_sandbox.mf_readText(L"", L"A"));
}

TEST_F(ICRegistryCopying, OpensEachKeyOnceForWhatItNeeds)
{
    mf_writeThree();
    ICKeyAccount const account;
    mf_copy();
    ASSERT_EQ(3u, account.m_calls.size());
    EXPECT_EQ(REGSAM{KEY_READ}, account.m_calls[0].m_access);
    EXPECT_EQ(REGSAM{KEY_QUERY_VALUE}, account.m_calls[1].m_access);
    EXPECT_EQ(m_path.GetString(), account.m_calls[1].m_path);
    EXPECT_FALSE(account.m_calls[1].m_creates);
    EXPECT_EQ(REGSAM{KEY_SET_VALUE}, account.m_calls[2].m_access);
    EXPECT_EQ(m_target.GetString(), account.m_calls[2].m_path);
    EXPECT_TRUE(account.m_calls[2].m_creates);
}

TEST_F(ICRegistryCopying, RefusedSourceOrTarget_CopiesNothing)
{
    mf_writeThree();
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        for (ulong const opening : {1u, 2u}) {
            ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(opening));
            ICImportFault const created("RegCreateKeyExW");
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), mf_failureOfCopy());
            EXPECT_EQ(0u, created.mf_getCalls());
        }
        ICImportFault const denied("RegCreateKeyExW", ERROR_ACCESS_DENIED);
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), mf_failureOfCopy());
        EXPECT_FALSE(m_sandbox.mf_hasKey(TARGET));
    });
}

TEST_F(ICRegistryCopying, RefusedValue_EndsTheCopyAndThoseAheadStay)
{
    mf_writeThree();
    for (char const * import : {"RegQueryValueExW", "RegSetValueExW"}) {
        f_silentAndLogging([&] {
            ::RegDeleteTreeW(HKLM, m_target);
            ICKeyAccount const account;
            ICImportFault const denied(import, ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), mf_failureOfCopy()) << import;
            EXPECT_EQ(2u, denied.mf_getCalls());
            EXPECT_THAT(mf_readAll(TARGET), ElementsAre(Key(L"A"))) << import;
        });
    }
}

TEST_F(ICRegistryCopying, LookThatFails_EndsTheCopyAndThoseAheadStay)
{
    mf_writeThree();
    f_silentAndLogging([&] {
        ::RegDeleteTreeW(HKLM, m_target);
        ICKeyAccount const account;
        ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(4));
        EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), mf_failureOfCopy(0));
        EXPECT_THAT(mf_readAll(TARGET), ElementsAre(Key(L"A")));
    });
}

TEST_F(ICRegistryCopying, ValueThatGoesMeanwhile_EndsTheCopyAndThoseAheadStay)
{
    f_silentAndLogging([&] {
        mf_writeThree();
        ICKeyAccount const account;
        ICImportPatch const vanishes(IC_IMPORT(RegSetValueExW),
                                     [&](HKEY key, LPCWSTR name, DWORD, DWORD type, BYTE const * data, DWORD bytes) {
                                         ::RegDeleteKeyValueW(HKLM, m_path, L"B");
                                         return ::RegSetValueExW(key, name, 0, type, data, bytes);
                                     });
        EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), mf_failureOfCopy());
        EXPECT_THAT(mf_readAll(TARGET), ElementsAre(Key(L"A")));
    });
}

TEST_F(ICRegistryCopying, TargetThatGoesMeanwhile_IsThrown)
{
    mf_writeThree();
    ICKeyAccount const account;
    ICImportPatch const vanishes(IC_IMPORT(RegSetValueExW),
                                 [&](HKEY key, LPCWSTR name, DWORD, DWORD type, BYTE const * data, DWORD bytes) {
                                     ::RegDeleteTreeW(HKLM, m_target);
                                     return ::RegSetValueExW(key, name, 0, type, data, bytes);
                                 });
    EXPECT_EQ(f_registryFailure(ERROR_KEY_DELETED), mf_failureOfCopy());
}

// The first closing is that of the list; then come target and source.
TEST_F(ICRegistryCopying, FailedClose_IsThrownWhenItIsTheOnlyFailure)
{
    mf_writeThree();
    f_silentAndLogging([&] {
        for (ulong const closing : {1u, 2u, 3u}) {
            ICKeyAccount account;
            account.m_closeCodes[closing] = ERROR_INVALID_HANDLE;
            EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), mf_failureOfCopy()) << closing;
            EXPECT_EQ(closing == 1 ? 1u : 3u, account.m_closings);
        }
        EXPECT_EQ(mf_readAll(KEY), mf_readAll(TARGET));
    });
}

TEST_F(ICRegistryCopying, OfManyFailures_TheFirstIsThrown)
{
    mf_writeThree();
    f_silentAndLogging([&] {
        auto const failClosings = [](ICKeyAccount & account) {
            account.m_closeCodes = {{2, ERROR_NOT_READY}, {3, ERROR_INVALID_HANDLE}};
        };
        {
            ICKeyAccount account;
            failClosings(account);
            EXPECT_EQ(f_registryFailure(ERROR_NOT_READY), mf_failureOfCopy());
        }
        for (char const * import : {"RegCreateKeyExW", "RegQueryValueExW", "RegSetValueExW"}) {
            ICKeyAccount account;
            failClosings(account);
            ICImportFault const denied(import, ERROR_ACCESS_DENIED);
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), mf_failureOfCopy()) << import;
        }
    });
}

TEST_F(ICRegistryCopying, WithoutMemory_NothingStays)
{
    // More than an array takes before it grows for the second time.
    for (int index = 0; index < 20; ++index)
        m_sandbox.mf_writeNumber(KEY, std::to_wstring(index), 5);
    ICKeyAccount const account;
    ICImportFault const noGrowth("realloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(2));
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { mf_copy(); }));
    EXPECT_FALSE(m_sandbox.mf_hasKey(TARGET));
}
