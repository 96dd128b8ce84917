// Lists of strings.
#include "tests/registry/RegistryTest.h"

#include <gmock/gmock.h>
#include <new>

using namespace std::string_view_literals;
using testing::ElementsAre;

namespace
{

using ICRegistryLists = ICRegistryFixture;

// The buffer of mf_createMultSzFromArray after the call.
std::wstring f_built(ICTestList const & list, std::size_t capacity, ulong & used)
{
    std::wstring buffer(capacity, L'?');
    used = ICRegistry::mf_createMultSzFromArray(list, buffer.data(), static_cast<ulong>(capacity));
    return buffer;
}

OUTCOME const TOO_SMALL = f_ownFailure(ICErrno::_E_::BufferTooSmall);
OUTCOME const PARAMETER = f_ownFailure(ICErrno::_E_::Parameter);

} // namespace

// --- Building -------------------------------------------------------------------------------------------------------

TEST(ICRegistryBuilding, Strings_AreTerminatedOneByOneAndTogether)
{
    ulong used = 0;
    EXPECT_EQ(L"a\0bc\0\0\0\0\0"sv, f_built({L"a", L"bc"}, 9, used));
    EXPECT_EQ(6u, used);
}

TEST(ICRegistryBuilding, NoStrings_IsOneTerminator)
{
    ulong used = 0;
    EXPECT_EQ(L"\0\0\0"sv, f_built({}, 3, used));
    EXPECT_EQ(1u, used);
    f_built({}, 0, used);
    EXPECT_EQ(1u, used);
}

TEST(ICRegistryBuilding, EmptyString_IsATerminatorOfItsOwn)
{
    ulong used = 0;
    EXPECT_EQ(L"a\0\0b\0\0\0"sv, f_built({L"a", L"", L"b"}, 7, used));
    EXPECT_EQ(6u, used);
}

TEST(ICRegistryBuilding, NullEntry_IsLeftOut)
{
    ICTestList list{L"a"};
    list.Add(nullptr);
    list.Add(new CString(L"b"));
    ulong used = 0;
    EXPECT_EQ(L"a\0b\0\0\0"sv, f_built(list, 6, used));
    EXPECT_EQ(5u, used);
}

TEST(ICRegistryBuilding, OnlyNullEntries_IsOneTerminator)
{
    ICTestList list;
    list.Add(nullptr);
    ulong used = 0;
    EXPECT_EQ(L"\0\0"sv, f_built(list, 2, used));
    EXPECT_EQ(1u, used);
}

TEST(ICRegistryBuilding, NullBuffer_Fails)
{
    EXPECT_EQ(PARAMETER, f_failureOf([] { ICRegistry::mf_createMultSzFromArray(ICTestList(), nullptr, 10); }));
}

// Deliberate: one character stays to spare.
TEST(ICRegistryBuilding, ExactlyFullBuffer_FailsAndIsZeroed)
{
    ICTestList const list{L"ab", L"cd"};
    std::wstring buffer(7, L'?');
    EXPECT_EQ(TOO_SMALL, f_failureOf([&] { ICRegistry::mf_createMultSzFromArray(list, buffer.data(), 7); }));
    EXPECT_EQ(std::wstring(7, L'\0'), buffer);
    ulong used = 0;
    EXPECT_EQ(L"ab\0cd\0\0\0"sv, f_built(list, 8, used));
    EXPECT_EQ(7u, used);
}

TEST(ICRegistryBuilding, BufferOfNoCharacters_FailsUntouched)
{
    wchar_t guard = L'?';
    EXPECT_EQ(TOO_SMALL, f_failureOf([&] { ICRegistry::mf_createMultSzFromArray(ICTestList{L""}, &guard, 0); }));
    EXPECT_EQ(L'?', guard);
}

// --- Parsing --------------------------------------------------------------------------------------------------------

TEST(ICRegistryParsing, Strings_EndAtTheEmptyOne)
{
    ICTestList list;
    ICRegistry::mf_createArrayFromMultSz(L"a\0\u5B57c\0\0hidden\0", list);
    EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a", L"\u5B57c"));
}

TEST(ICRegistryParsing, EmptyText_IsNoString)
{
    ICTestList list;
    ICRegistry::mf_createArrayFromMultSz(L"", list);
    EXPECT_TRUE(list.IsEmpty());
}

TEST(ICRegistryParsing, WrongArguments_Fail)
{
    ICTestList empty;
    EXPECT_EQ(PARAMETER, f_failureOf([&] { ICRegistry::mf_createArrayFromMultSz(nullptr, empty); }));
    ICTestList full{L"a"};
    EXPECT_EQ(PARAMETER, f_failureOf([&] { ICRegistry::mf_createArrayFromMultSz(L"b\0", full); }));
    EXPECT_THAT(full.mf_getTexts(), ElementsAre(L"a"));
}

TEST(ICRegistryParsing, NoMemoryForTheSecondString_FailsAndFreesTheFirst)
{
    ICTestList list;
    int calls = 0;
    ICImportPatch const noMemory("_ZnwyRKSt9nothrow_t", [&](std::size_t size, std::nothrow_t const &) -> void * {
        return ++calls == 2 ? nullptr : ::operator new(size, std::nothrow);
    });
    int freed = 0;
    ICImportPatch const frees("_ZdlPvy", [&](void * block, std::size_t) -> void {
        freed += block != nullptr;
        ::operator delete(block);
    });
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::Memory),
              f_failureOf([&] { ICRegistry::mf_createArrayFromMultSz(L"a\0b\0c\0", list); }));
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(2, calls);
    EXPECT_EQ(1, freed);
}

TEST(ICRegistryParsing, AnyOtherException_IsCorruptedData)
{
    ICTestList list;
    // The array cannot grow, which is a failure of the class library and not of ours.
    ICImportFault const noGrowth("realloc", ICAnswer::mf_value(nullptr));
    EXPECT_EQ(f_ownFailure(ICErrno::_E_::DataCorrupted),
              f_failureOf([&] { ICRegistry::mf_createArrayFromMultSz(L"a\0b\0", list); }));
    EXPECT_EQ(1u, noGrowth.mf_getCalls());
    EXPECT_TRUE(list.IsEmpty());
}

TEST(ICRegistryParsing, WhatWasBuilt_IsParsedAgain)
{
    ulong used = 0;
    std::wstring const built = f_built({L"a", L"\u0416", L"c d"}, 100, used);
    ICTestList list;
    ICRegistry::mf_createArrayFromMultSz(built.c_str(), list);
    EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a", L"\u0416", L"c d"));
}

// --- Reading --------------------------------------------------------------------------------------------------------

TEST_F(ICRegistryLists, Read_EndsAtAnEmptyString)
{
    std::pair<std::wstring_view, TEXT_LIST> const cases[] = {
        {L"a\0bc\0\0"sv, {L"a", L"bc"}}, {L"a\0\0bc\0\0"sv, {L"a"}}, {L"\0a\0\0"sv, {}}, {L"\0"sv, {}}, {L""sv, {}},
        {L"a\0bc"sv, {L"a", L"bc"}},
    };
    for (auto const & [stored, texts] : cases) {
        mf_write(L"List", REG_MULTI_SZ, stored);
        ICTestList list;
        ICRegistry::mf_getValues(L"List", list, m_path, HKLM);
        EXPECT_EQ(texts, list.mf_getTexts());
    }
}

TEST_F(ICRegistryLists, Read_UpToTheBuffersEnd)
{
    for (std::wstring const & stored : {f_xs(4095) + L'\0', f_xs(4096)}) {
        mf_write(L"List", REG_MULTI_SZ, stored);
        ICTestList list;
        EXPECT_EQ(NO_FAILURE, f_failureOf([&] { ICRegistry::mf_getValues(L"List", list, m_path, HKLM); }));
        EXPECT_THAT(list.mf_getTexts(), ElementsAre(f_xs(stored.find_last_of(L'x') + 1)));
    }
}

TEST_F(ICRegistryLists, Read_BeyondTheBuffer_Fails)
{
    f_silentAndLogging([&] {
        mf_write(L"List", REG_MULTI_SZ, f_xs(4097));
        ICTestList list;
        EXPECT_EQ(f_registryFailure(ERROR_MORE_DATA),
                  f_failureOf([&] { ICRegistry::mf_getValues(L"List", list, m_path, HKLM); }));
        EXPECT_TRUE(list.IsEmpty());
    });
}

TEST_F(ICRegistryLists, Read_IntoAListThatIsNotEmpty_Fails)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICTestList list{L"before"};
        EXPECT_EQ(PARAMETER, f_failureOf([&] { ICRegistry::mf_getValues(L"List", list, m_path, HKLM); }));
        EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"before"));
        EXPECT_TRUE(account.m_calls.empty());
    });
}

TEST_F(ICRegistryLists, Read_OfAnotherType_IsUnexpected)
{
    for (ulong type : {ulong{REG_SZ}, ulong{REG_EXPAND_SZ}, ulong{REG_BINARY}}) {
        mf_write(L"List", type, L"a\0\0"sv);
        ICTestList list;
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unexpected),
                  f_failureOf([&] { ICRegistry::mf_getValues(L"List", list, m_path, HKLM); }));
        EXPECT_TRUE(list.IsEmpty());
    }
}

TEST_F(ICRegistryLists, Read_FailedSteps)
{
    mf_write(L"List", REG_MULTI_SZ, L"a\0\0"sv);
    f_silentAndLogging([&] {
        ICTestList list;
        auto const reading = [&] { ICRegistry::mf_getValues(L"List", list, m_path, HKLM); };
        ICKeyAccount account;
        for (char const * import : {"RegOpenKeyExW", "RegQueryValueExW"}) {
            ICImportFault const denied(import, ERROR_ACCESS_DENIED);
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), f_failureOf(reading));
        }
        account.m_closeCode = ERROR_INVALID_HANDLE;
        EXPECT_EQ(f_registryFailure(ERROR_INVALID_HANDLE), f_failureOf(reading));
        EXPECT_TRUE(list.IsEmpty());
    });
}

// --- Writing --------------------------------------------------------------------------------------------------------

TEST_F(ICRegistryLists, Write_StoresAllTerminators)
{
    f_silentAndLogging([&] {
        ICRegistry::mf_setValues(L"List", ICTestList{L"a", L"\u5B57c"}, m_path, HKLM);
        EXPECT_EQ(L"a\0\u5B57c\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
    });
}

TEST_F(ICRegistryLists, Write_OfAnEmptyList_StoresTwoBytesAndIsReadAsEmpty)
{
    ICRegistry::mf_setValues(L"List", ICTestList(), m_path, HKLM);
    EXPECT_EQ(L"\0"sv, mf_read(L"List", REG_MULTI_SZ));
    ICTestList list;
    ICRegistry::mf_getValues(L"List", list, m_path, HKLM);
    EXPECT_TRUE(list.IsEmpty());
}

TEST_F(ICRegistryLists, Write_OfAnEmbeddedEmptyString_HidesWhatFollows)
{
    ICRegistry::mf_setValues(L"List", ICTestList{L"a", L"", L"b"}, m_path, HKLM);
    EXPECT_EQ(L"a\0\0b\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
    ICTestList list;
    ICRegistry::mf_getValues(L"List", list, m_path, HKLM);
    EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a"));
}

TEST_F(ICRegistryLists, Write_HasRoomFor4093Characters)
{
    ICRegistry::mf_setValues(L"List", ICTestList{f_xs(4093).c_str()}, m_path, HKLM);
    ICTestList list;
    ICRegistry::mf_getValues(L"List", list, m_path, HKLM);
    EXPECT_THAT(list.mf_getTexts(), ElementsAre(f_xs(4093)));
}

TEST_F(ICRegistryLists, Write_OfMore_FailsBeforeTheRegistryIsTouched)
{
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        ICTestList const list{L"first", f_xs(4093 - 6 + 1).c_str()};
        EXPECT_EQ(TOO_SMALL, f_failureOf([&] { ICRegistry::mf_setValues(L"List", list, m_path, HKLM); }));
        EXPECT_TRUE(account.m_calls.empty());
    });
}

// --- Defaults -------------------------------------------------------------------------------------------------------

TEST_F(ICRegistryLists, Defaults_AbsentIsCreatedOnce)
{
    f_silentAndLogging([&] {
        ICTestList list{L"a", L"b"};
        EXPECT_EQ(1, ICRegistry::mf_getOrSetValues(L"List", list, m_path, HKLM));
        EXPECT_EQ(L"a\0b\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
        EXPECT_EQ(0, ICRegistry::mf_getOrSetValues(L"List", list, m_path, HKLM));
        EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a", L"b"));
        ICRegistry::mf_deleteValue(L"List", m_path, HKLM);
    });
}

TEST_F(ICRegistryLists, Defaults_PresentIsAssignedIntoTheSameObjects)
{
    mf_write(L"List", REG_MULTI_SZ, L"x\0y\0\0"sv);
    ICTestList list{L"a", L"b"};
    CString const * const first = list[0];
    CString const * const second = list[1];
    EXPECT_EQ(0, ICRegistry::mf_getOrSetValues(L"List", list, m_path, HKLM));
    EXPECT_EQ(first, list[0]);
    EXPECT_EQ(second, list[1]);
    EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"x", L"y"));
}

TEST_F(ICRegistryLists, Defaults_NullEntryIsPassedOver)
{
    mf_write(L"List", REG_MULTI_SZ, L"x\0y\0\0"sv);
    ICTestList list;
    list.Add(nullptr);
    list.Add(new CString(L"b"));
    EXPECT_EQ(0, ICRegistry::mf_getOrSetValues(L"List", list, m_path, HKLM));
    EXPECT_EQ(nullptr, list[0]);
    EXPECT_STREQ(L"y", list[1]->GetString());
}

// Deliberate: the defaults fix the length.
TEST_F(ICRegistryLists, Defaults_OfAnotherLength_AreUnexpected)
{
    f_silentAndLogging([&] {
        for (std::wstring_view stored : {L"\0"sv, L"x\0\0"sv, L"x\0y\0z\0\0"sv}) {
            mf_write(L"List", REG_MULTI_SZ, stored);
            ICTestList list{L"a", L"b"};
            EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unexpected),
                      f_failureOf([&] { ICRegistry::mf_getOrSetValues(L"List", list, m_path, HKLM); }));
            EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a", L"b"));
            EXPECT_EQ(stored, mf_read(L"List", REG_MULTI_SZ));
        }
    });
}

// Deliberate: thrown, unlike the forms for single values.
TEST_F(ICRegistryLists, Defaults_FailedSteps)
{
    f_silentAndLogging([&] {
        ICTestList list{L"a"};
        auto const call = [&] { ICRegistry::mf_getOrSetValues(L"List", list, m_path, HKLM); };
        ICKeyAccount const account;
        for (char const * import : {"RegOpenKeyExW", "RegCreateKeyExW", "RegSetValueExW"}) {
            ICImportFault const denied(import, ERROR_ACCESS_DENIED);
            EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), f_failureOf(call)) << import;
        }
        m_sandbox.mf_writeNumber(KEY, L"List", 5);
        EXPECT_EQ(f_ownFailure(ICErrno::_E_::Unexpected), f_failureOf(call));
        EXPECT_THAT(list.mf_getTexts(), ElementsAre(L"a"));
        ICRegistry::mf_deleteValue(L"List", m_path, HKLM);
    });
}

// --- Adding and removing --------------------------------------------------------------------------------------------

TEST_F(ICRegistryLists, Append_ToAnAbsentListMakesItWithItsKey)
{
    f_silentAndLogging([&] {
        EXPECT_EQ(1, ICRegistry::mf_appendToValues(L"List", L"a", m_path, HKLM));
        EXPECT_EQ(1, ICRegistry::mf_appendToValues(L"List", L"b", m_path, HKLM));
        EXPECT_EQ(1, ICRegistry::mf_appendToValues(L"List", L"a", m_path, HKLM));
        EXPECT_EQ(L"a\0b\0a\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
        ICRegistry::mf_deleteValue(L"List", m_path, HKLM);
    });
}

TEST_F(ICRegistryLists, Remove_TheFirstOfTwoEqualEntries)
{
    f_silentAndLogging([&] {
        mf_write(L"List", REG_MULTI_SZ, L"x\0a\0y\0a\0\0"sv);
        EXPECT_EQ(1, ICRegistry::mf_removeFromValues(L"List", L"a", m_path, HKLM, 1));
        EXPECT_EQ(L"x\0y\0a\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
    });
}

TEST_F(ICRegistryLists, Remove_MindsTheCaseWhenAskedTo)
{
    mf_write(L"List", REG_MULTI_SZ, L"ABC\0abc\0\0"sv);
    EXPECT_EQ(1, ICRegistry::mf_removeFromValues(L"List", L"abc", m_path, HKLM, 1));
    EXPECT_EQ(L"ABC\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
    EXPECT_EQ(0, ICRegistry::mf_removeFromValues(L"List", L"abc", m_path, HKLM, 1));
    EXPECT_EQ(1, ICRegistry::mf_removeFromValues(L"List", L"abc", m_path, HKLM, 0));
}

TEST_F(ICRegistryLists, Remove_TheLastEntry_LeavesAnEmptyList)
{
    mf_write(L"List", REG_MULTI_SZ, L"a\0\0"sv);
    EXPECT_EQ(1, ICRegistry::mf_removeFromValues(L"List", L"a", m_path, HKLM, 1));
    EXPECT_EQ(L"\0"sv, mf_read(L"List", REG_MULTI_SZ));
}

TEST_F(ICRegistryLists, Remove_WhatIsNotThere_AnswersZeroAndWritesNothing)
{
    f_silentAndLogging([&] {
        ICImportFault const writes("RegSetValueExW");
        EXPECT_EQ(0, ICRegistry::mf_removeFromValues(L"None", L"a", m_path + L"\\Sub", HKLM, 1));
        mf_write(L"List", REG_MULTI_SZ, L"b\0\0"sv);
        EXPECT_EQ(0, ICRegistry::mf_removeFromValues(L"List", L"a", m_path, HKLM, 0));
        EXPECT_EQ(0u, writes.mf_getCalls());
    });
}

TEST_F(ICRegistryLists, Change_FailedSteps)
{
    std::function<void()> const changes[] = {[&] { ICRegistry::mf_appendToValues(L"List", L"b", m_path, HKLM); },
                                             [&] { ICRegistry::mf_removeFromValues(L"List", L"a", m_path, HKLM, 1); }};
    std::tuple<char const *, ICCalls> const steps[] = {{"RegOpenKeyExW", ICCalls::mf_all()},
                                                       {"RegOpenKeyExW", ICCalls::mf_only(2)},
                                                       {"RegQueryValueExW", ICCalls::mf_only(2)},
                                                       {"RegCreateKeyExW", ICCalls::mf_all()},
                                                       {"RegSetValueExW", ICCalls::mf_all()}};
    mf_write(L"List", REG_MULTI_SZ, L"a\0\0"sv);
    f_silentAndLogging([&] {
        ICKeyAccount const account;
        for (auto const & change : changes)
            for (auto const & [import, calls] : steps) {
                ICImportFault const denied(import, ERROR_ACCESS_DENIED, calls);
                EXPECT_EQ(f_registryFailure(ERROR_ACCESS_DENIED), f_failureOf(change)) << import;
            }
    });
    EXPECT_EQ(L"a\0\0"sv, mf_read(L"List", REG_MULTI_SZ));
}

TEST_F(ICRegistryLists, Append_BeyondTheCapacity_FailsAndKeepsTheList)
{
    std::wstring const stored = f_xs(4093) + L'\0' + L'\0';
    mf_write(L"List", REG_MULTI_SZ, stored);
    EXPECT_EQ(TOO_SMALL, f_failureOf([&] { ICRegistry::mf_appendToValues(L"List", L"b", m_path, HKLM); }));
    EXPECT_EQ(stored, mf_read(L"List", REG_MULTI_SZ));
}
