// The names of subkeys and values, and their numbers.
#include "hsmbase/registry/internal/ICRegistryKey.h"
#include "tests/registry/RegistryTest.h"
#include "tests/support/PlatformFailure.h"

#include <gmock/gmock.h>

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace
{

TEXT_LIST f_subKeys(CString const & path, HKEY key = HKLM)
{
    ICTestList list;
    ICRegistry::mf_getSubKeys(path, list, key);
    return list.mf_getTexts();
}

TEXT_LIST f_subValues(CString const & path, HKEY key = HKLM)
{
    ICTestList list;
    ICRegistry::mf_getSubValues(path, list, key);
    return list.mf_getTexts();
}

// What the platform lists at its root, by other calls than the library's.
TEXT_LIST f_rootKeys()
{
    TEXT_LIST names;
    wchar_t name[300];
    for (DWORD index = 0; ::RegEnumKeyW(HKLM, index, name, 300) == ERROR_SUCCESS; ++index)
        names.emplace_back(name);
    return names;
}

class ICRegistryListing : public ICRegistryFixture
{
protected:
    // The four operations, each with the call that does its work.
    struct LOOK
    {
        char const * m_import;
        std::function<void()> m_act;
    };

    CString m_asked = m_path;
    std::vector<LOOK> const m_looks = {
        {"RegEnumKeyExW", [this] { f_subKeys(m_asked); }},
        {"RegEnumValueW", [this] { f_subValues(m_asked); }},
        {"RegQueryInfoKeyW", [this] { ICRegistry::mf_getSubKeyCount(m_asked, HKLM); }},
        {"RegQueryInfoKeyW", [this] { ICRegistry::mf_getSubValueCount(m_asked, HKLM); }},
    };

    void mf_expectFailure(LOOK const & look, ulong code) const
    {
        EXPECT_EQ(f_registryFailure(code), f_failureOf(look.m_act)) << look.m_import;
    }
};

} // namespace

TEST_F(ICRegistryListing, SubKeys_AreThoseOfTheKeyItself)
{
    for (wchar_t const * name : {L"Key\\One\\Deeper", L"Key\\Two", L"Key\\.three \u5B57", L"KeyBeside"})
        m_sandbox.mf_makeKey(name);
    m_sandbox.mf_writeNumber(KEY, L"Value", 5);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_THAT(f_subKeys(m_path), UnorderedElementsAre(L"One", L"Two", L".three \u5B57"));
        EXPECT_EQ(3u, ICRegistry::mf_getSubKeyCount(m_path, HKLM));
    });
}

TEST_F(ICRegistryListing, SubValues_OfAnyTypeAndSize)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    m_sandbox.mf_writeText(KEY, L"A text \u5B57", L"text");
    mf_writeBytes(L"Big", REG_BINARY, std::string(100000, 'x'));
    mf_writeBytes(L"Strange", 4711, "");
    m_sandbox.mf_writeNumber(L"Key\\Sub", L"Other", 5);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        EXPECT_THAT(f_subValues(m_path), UnorderedElementsAre(L"Number", L"A text \u5B57", L"Big", L"Strange"));
        EXPECT_EQ(4u, ICRegistry::mf_getSubValueCount(m_path, HKLM));
    });
}

TEST_F(ICRegistryListing, DefaultValue_HasAnEmptyName)
{
    m_sandbox.mf_writeText(KEY, L"", L"default");
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    EXPECT_THAT(f_subValues(m_path), UnorderedElementsAre(L"", L"Number"));
    EXPECT_EQ(2u, ICRegistry::mf_getSubValueCount(m_path, HKLM));
}

TEST_F(ICRegistryListing, EmptyKey_HasNothing)
{
    m_sandbox.mf_makeKey(KEY);
    EXPECT_THAT(f_subKeys(m_path), IsEmpty());
    EXPECT_THAT(f_subValues(m_path), IsEmpty());
    EXPECT_EQ(0u, ICRegistry::mf_getSubKeyCount(m_path, HKLM));
    EXPECT_EQ(0u, ICRegistry::mf_getSubValueCount(m_path, HKLM));
}

TEST_F(ICRegistryListing, ManyEntries_AreAllFoundOnce)
{
    TEXT_LIST names;
    for (int index = 0; index < 300; ++index) {
        names.push_back(L"Name" + std::to_wstring(index));
        m_sandbox.mf_writeNumber(KEY, names.back(), 5);
        m_sandbox.mf_makeKey(std::wstring(KEY) + L"\\" + names.back());
    }
    EXPECT_THAT(f_subKeys(m_path), testing::UnorderedElementsAreArray(names));
    EXPECT_THAT(f_subValues(m_path), testing::UnorderedElementsAreArray(names));
    EXPECT_EQ(300u, ICRegistry::mf_getSubKeyCount(m_path, HKLM));
    EXPECT_EQ(300u, ICRegistry::mf_getSubValueCount(m_path, HKLM));
}

TEST_F(ICRegistryListing, AbsentKey_IsThrown)
{
    m_sandbox.mf_makeKey(KEY);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        for (wchar_t const * below : {L"\\None", L"\\None\\None"}) {
            m_asked = m_path + below;
            for (LOOK const & look : m_looks)
                mf_expectFailure(look, ERROR_FILE_NOT_FOUND);
        }
    });
}

TEST_F(ICRegistryListing, ArrayThatIsNotEmpty_IsRefusedBeforeTheRegistryIsTouched)
{
    m_sandbox.mf_makeKey(KEY);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICTestList list{L"a"};
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Parameter),
                  f_failureOf([&] { ICRegistry::mf_getSubKeys(m_path, list, HKLM); }));
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Parameter),
                  f_failureOf([&] { ICRegistry::mf_getSubValues(m_path, list, HKLM); }));
        EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a"));
        EXPECT_TRUE(account.m_calls.empty());
    });
}

TEST_F(ICRegistryListing, EmptyPath_IsTheRootKeyItself)
{
    EXPECT_EQ(f_rootKeys(), f_subKeys(L""));
    EXPECT_EQ(f_rootKeys().size(), ICRegistry::mf_getSubKeyCount(L"", HKLM));
    EXPECT_EQ(f_subValues(L"").size(), ICRegistry::mf_getSubValueCount(L"", HKLM));
    EXPECT_FALSE(m_sandbox.mf_hasKey(L"registry_tests"));

    m_sandbox.mf_writeNumber(L"", L"Number", 5);
    m_sandbox.mf_makeKey(KEY);
    ICRegistryKey root;
    ASSERT_EQ(ERROR_SUCCESS, ::RegOpenKeyExW(HKLM, m_sandbox.mf_getPath().c_str(), 0, KEY_READ, root.mf_receive()));
    EXPECT_THAT(f_subKeys(L"", root.mf_get()), ElementsAre(KEY));
    EXPECT_THAT(f_subValues(L"", root.mf_get()), ElementsAre(L"Number"));
}

TEST_F(ICRegistryListing, OpensForReadingOnceAndCloses)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    ICKeyAccount const account;
    for (LOOK const & look : m_looks)
        look.m_act();
    ASSERT_EQ(m_looks.size(), account.m_calls.size());
    for (auto const & call : account.m_calls) {
        EXPECT_EQ(m_path.GetString(), call.m_path);
        EXPECT_EQ(REGSAM{KEY_READ}, call.m_access);
        EXPECT_FALSE(call.m_creates);
    }
}

TEST_F(ICRegistryListing, ValueNameOf256Characters_EndsTheListing)
{
    m_sandbox.mf_writeNumber(KEY, f_xs(255), 5);
    EXPECT_THAT(f_subValues(m_path), ElementsAre(f_xs(255)));
    for (std::size_t const length : {256u, 257u, 16383u}) {
        m_sandbox.mf_writeNumber(KEY, L"y" + f_xs(length - 1), 5);
        EXPECT_EQ(2u, ICRegistry::mf_getSubValueCount(m_path, HKLM));
        f_silentAndLogging([&] {
            ICKeyAccount const account;
            ICTestList found;
            EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
                      f_failureOf([&] { ICRegistry::mf_getSubValues(m_path, found, HKLM); }))
                << length;
            EXPECT_THAT(found.mf_getTexts(), ElementsAre(f_xs(255))) << length;
        });
        EXPECT_EQ(1, ICRegistry::mf_deleteValue((L"y" + f_xs(length - 1)).c_str(), m_path, HKLM));
    }
}

TEST_F(ICRegistryListing, KeyNameOf256Characters_EndsTheListing)
{
    m_sandbox.mf_makeKey(std::wstring(KEY) + L"\\" + f_xs(255));
    EXPECT_THAT(f_subKeys(m_path), ElementsAre(f_xs(255)));
    // No such key can be made everywhere.
    ICImportPatch const longer(
        IC_IMPORT(RegEnumKeyExW),
        [](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD, LPWSTR, LPDWORD, PFILETIME) -> LSTATUS {
            if (index == 1) return *length > 256 ? ERROR_SUCCESS : ERROR_MORE_DATA;
            return ::RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
        });
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICTestList found;
        EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
                  f_failureOf([&] { ICRegistry::mf_getSubKeys(m_path, found, HKLM); }));
        EXPECT_THAT(found.mf_getTexts(), ElementsAre(f_xs(255)));
    });
}

// Each name is asked for anew, with the whole buffer, which is larger than what the platform is told.
TEST_F(ICRegistryListing, EachNameGetsAZeroedBuffer)
{
    std::vector<ulong> lengths;
    std::vector<bool> areZero;
    auto const note = [&](wchar_t const * name, ulong const * length) {
        lengths.push_back(*length);
        areZero.push_back(std::all_of(name, name + 257, [](wchar_t character) { return character == 0; }));
    };
    ICImportPatch const keys(IC_IMPORT(RegEnumKeyExW), [&](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD,
                                                           LPWSTR, LPDWORD, PFILETIME) {
        note(name, length);
        return ::RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    ICImportPatch const values(IC_IMPORT(RegEnumValueW), [&](HKEY key, DWORD index, LPWSTR name, LPDWORD length,
                                                             LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
        note(name, length);
        return ::RegEnumValueW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    for (wchar_t const * name : {L"Long name", L"Short"}) {
        m_sandbox.mf_writeNumber(KEY, name, 5);
        m_sandbox.mf_makeKey(std::wstring(KEY) + L"\\" + name);
    }
    f_subKeys(m_path);
    f_subValues(m_path);
    EXPECT_EQ(std::vector<ulong>(6, 256), lengths);
    EXPECT_THAT(areZero, Each(true));
}

TEST_F(ICRegistryListing, FailedStep_IsThrown)
{
    m_sandbox.mf_makeKey(KEY);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        for (LOOK const & look : m_looks) {
            for (char const * import : {"RegOpenKeyExW", look.m_import}) {
                ICImportFault const denied(import, ERROR_ACCESS_DENIED);
                mf_expectFailure(look, ERROR_ACCESS_DENIED);
            }
        }
    });
}

TEST_F(ICRegistryListing, FailedClose_IsThrownWhenItIsTheOnlyFailure)
{
    m_sandbox.mf_writeNumber(KEY, L"Number", 5);
    f_silentAndLogging([&] {
        ICKeyAccount account;
        account.m_closeCode = ERROR_INVALID_HANDLE;
        for (LOOK const & look : m_looks) {
            mf_expectFailure(look, ERROR_INVALID_HANDLE);
            ICImportFault const denied(look.m_import, ERROR_ACCESS_DENIED);
            mf_expectFailure(look, ERROR_ACCESS_DENIED);
        }
    });
}

TEST_F(ICRegistryListing, NamesFoundAheadOfAFailure_StayInTheArray)
{
    for (wchar_t const * name : {L"A", L"B", L"C"}) {
        m_sandbox.mf_writeNumber(KEY, name, 5);
        m_sandbox.mf_makeKey(std::wstring(KEY) + L"\\" + name);
    }
    ICKeyAccount account;
    ICTestList keys;
    ICTestList values;
    {
        ICImportFault const noKey("RegEnumKeyExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(3));
        ICImportFault const noValue("RegEnumValueW", ERROR_ACCESS_DENIED, ICCalls::mf_only(3));
        EXPECT_TRUE(f_failureOf([&] { ICRegistry::mf_getSubKeys(m_path, keys, HKLM); }));
        EXPECT_TRUE(f_failureOf([&] { ICRegistry::mf_getSubValues(m_path, values, HKLM); }));
    }
    EXPECT_THAT(keys.mf_getTexts(), ElementsAre(L"A", L"B"));
    EXPECT_THAT(values.mf_getTexts(), ElementsAre(L"A", L"B"));

    account.m_closeCode = ERROR_INVALID_HANDLE;
    ICTestList all;
    EXPECT_TRUE(f_failureOf([&] { ICRegistry::mf_getSubKeys(m_path, all, HKLM); }));
    EXPECT_THAT(all.mf_getTexts(), ElementsAre(L"A", L"B", L"C"));
}

TEST_F(ICRegistryListing, WithoutMemory_NothingStays)
{
    // More than an array takes before it grows for the second time.
    for (int index = 0; index < 20; ++index)
        m_sandbox.mf_writeNumber(KEY, std::to_wstring(index), 5);
    ICKeyAccount const account;
    ICTestList list;
    ICImportFault const noGrowth("realloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(2));
    EXPECT_EQ(E_OUTOFMEMORY, f_platformFailure([&] { ICRegistry::mf_getSubValues(m_path, list, HKLM); }));
    EXPECT_TRUE(list.IsEmpty());
}

// Listing goes by index, so what stands behind a name that goes is passed over; nothing guards against it.
TEST_F(ICRegistryListing, NamesThatGoMeanwhile_MakeOthersMissButNoFailure)
{
    for (wchar_t const * name : {L"A", L"B", L"C"})
        m_sandbox.mf_makeKey(std::wstring(KEY) + L"\\" + name);
    ICKeyAccount const account;
    ICImportPatch const vanishes(IC_IMPORT(RegEnumKeyExW), [&](HKEY key, DWORD index, LPWSTR name, LPDWORD length,
                                                               LPDWORD, LPWSTR, LPDWORD, PFILETIME) {
        if (index == 1) ::RegDeleteKeyW(HKLM, m_path + L"\\A");
        return ::RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    EXPECT_THAT(f_subKeys(m_path), ElementsAre(L"A", L"C"));
}

TEST_F(ICRegistryListing, KeyThatGoesMeanwhile_IsThrown)
{
    ICKeyAccount const account;
    auto const vanishes = [&](ulong index) {
        if (index == 1) ::RegDeleteTreeW(HKLM, m_path);
    };
    ICImportPatch const keys(IC_IMPORT(RegEnumKeyExW), [&](HKEY key, DWORD index, LPWSTR name, LPDWORD length, LPDWORD,
                                                           LPWSTR, LPDWORD, PFILETIME) {
        vanishes(index);
        return ::RegEnumKeyExW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    ICImportPatch const values(IC_IMPORT(RegEnumValueW), [&](HKEY key, DWORD index, LPWSTR name, LPDWORD length,
                                                             LPDWORD, LPDWORD, LPBYTE, LPDWORD) {
        vanishes(index);
        return ::RegEnumValueW(key, index, name, length, nullptr, nullptr, nullptr, nullptr);
    });
    for (auto const list : {&ICRegistry::mf_getSubKeys, &ICRegistry::mf_getSubValues}) {
        m_sandbox.mf_makeKey(L"Key\\A");
        m_sandbox.mf_makeKey(L"Key\\B");
        m_sandbox.mf_writeNumber(KEY, L"A", 5);
        m_sandbox.mf_writeNumber(KEY, L"B", 5);
        ICTestList found;
        EXPECT_EQ(f_registryFailure(ERROR_KEY_DELETED), f_failureOf([&] { list(m_path, found, HKLM); }));
        EXPECT_THAT(found.mf_getTexts(), ElementsAre(L"A"));
    }
}
