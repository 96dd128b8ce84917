// Where the choices come from, and where they go.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICImportPatch.h"
#include "tests/support/ICStartedProcess.h"
#include "tests/support/Thrown.h"
#include "tests/text/NumberFormatterTest.h"

using FORMATTER = ICNumberFormatter;

namespace
{

// Started, without the singleton.
class ICNumberFormatterSettings : public testing::Test
{
protected:
    ~ICNumberFormatterSettings() override
    {
        if (FORMATTER::m_pThis != nullptr) FORMATTER::mf_deleteInstance();
    }

    std::optional<ulong> mf_stored(wchar_t const * name) const { return f_machineChoice(m_machine, name); }

    void mf_createAgain()
    {
        FORMATTER::mf_deleteInstance();
        FORMATTER::mf_createInstance();
    }

    ICStartedProcess const m_process;
    ICRegistrySandbox const & m_machine = m_process.mf_getRegistry();
    ICUserSettings const m_user{m_machine};
};

} // namespace

TEST_F(ICNumberFormatterSettings, Create_NothingStored_StoresZeros)
{
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES) {
        EXPECT_EQ(0u, choice.m_get());
        EXPECT_EQ(0u, mf_stored(choice.m_valueName));
    }
}

TEST_F(ICNumberFormatterSettings, Create_ReadsEachChoiceInOrder)
{
    std::vector<std::wstring> names;
    ICImportPatch const recorder(IC_IMPORT(RegQueryValueExW), [&](HKEY key, LPCWSTR name, LPDWORD reserved,
                                                                  LPDWORD type, LPBYTE data, LPDWORD size) {
        if (std::find(names.begin(), names.end(), name) == names.end()) names.emplace_back(name);
        return ::RegQueryValueExW(key, name, reserved, type, data, size);
    });
    FORMATTER::mf_createInstance();
    EXPECT_EQ((std::vector<std::wstring>{L"NumFmt", L"DateFmt", L"TimeFmt"}), names);
}

TEST_F(ICNumberFormatterSettings, Create_ReadsWhatIsStored)
{
    m_machine.mf_writeNumber(L"", L"NumFmt", 3);
    m_machine.mf_writeNumber(L"", L"DateFmt", 5);
    m_machine.mf_writeNumber(L"", L"TimeFmt", 2);
    FORMATTER::mf_createInstance();
    EXPECT_EQ(3u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    EXPECT_EQ(5u, FORMATTER::mf_getConfiguredDateFormatIndex());
    EXPECT_EQ(2u, FORMATTER::mf_getConfiguredTimeFormatIndex());
}

TEST_F(ICNumberFormatterSettings, Create_HighestIndexes_AreTaken)
{
    for (CHOICE const & choice : CHOICES)
        m_machine.mf_writeNumber(L"", choice.m_valueName, choice.m_maxIndex);
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES)
        EXPECT_EQ(choice.m_maxIndex, choice.m_get());
}

TEST_F(ICNumberFormatterSettings, Create_IndexBeyondTheTable_IsZeroAndStaysStored)
{
    for (ulong const beyond : {1ul, 2ul, 0x80000000ul}) {
        for (CHOICE const & choice : CHOICES)
            m_machine.mf_writeNumber(L"", choice.m_valueName, choice.m_maxIndex + beyond);
        FORMATTER::mf_createInstance();
        for (CHOICE const & choice : CHOICES) {
            EXPECT_EQ(0u, choice.m_get());
            EXPECT_EQ(choice.m_maxIndex + beyond, mf_stored(choice.m_valueName));
        }
        FORMATTER::mf_deleteInstance();
    }
}

TEST_F(ICNumberFormatterSettings, Create_ValueOfAnotherType_IsZeroAndStays)
{
    m_machine.mf_writeText(L"", L"NumFmt", L"3");
    FORMATTER::mf_createInstance();
    EXPECT_EQ(0u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    EXPECT_EQ(L"3", m_machine.mf_readText(L"", L"NumFmt"));
}

TEST_F(ICNumberFormatterSettings, Create_UsersValues_MoveToTheMachine)
{
    for (CHOICE const & choice : CHOICES)
        m_user.mf_write(choice.m_valueName, choice.m_maxIndex - 1);
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES) {
        EXPECT_EQ(choice.m_maxIndex - 1, choice.m_get());
        EXPECT_EQ(choice.m_maxIndex - 1, mf_stored(choice.m_valueName));
        EXPECT_FALSE(m_user.mf_has(choice.m_valueName));
    }
}

TEST_F(ICNumberFormatterSettings, Create_UsersValue_ReplacesThatOfTheMachineOnce)
{
    m_machine.mf_writeNumber(L"", L"DateFmt", 1);
    m_machine.mf_writeNumber(L"", L"TimeFmt", 1);
    m_user.mf_write(L"DateFmt", 4);
    FORMATTER::mf_createInstance();
    EXPECT_EQ(4u, FORMATTER::mf_getConfiguredDateFormatIndex());
    EXPECT_EQ(4u, mf_stored(L"DateFmt"));
    EXPECT_EQ(1u, FORMATTER::mf_getConfiguredTimeFormatIndex());

    FORMATTER::mf_configureDateFormat(3);
    mf_createAgain();
    EXPECT_EQ(3u, FORMATTER::mf_getConfiguredDateFormatIndex());
}

TEST_F(ICNumberFormatterSettings, Create_UsersValueBeyondTheTable_MovesAndIsZero)
{
    m_user.mf_write(L"DateFmt", 9);
    FORMATTER::mf_createInstance();
    EXPECT_EQ(0u, FORMATTER::mf_getConfiguredDateFormatIndex());
    EXPECT_EQ(9u, mf_stored(L"DateFmt"));
    EXPECT_FALSE(m_user.mf_has(L"DateFmt"));
}

TEST_F(ICNumberFormatterSettings, Create_UsersValueOfAnotherType_IsZeroAndNothingMoves)
{
    m_user.mf_write(L"DateFmt", REG_SZ, L"4", 4);
    m_machine.mf_writeNumber(L"", L"DateFmt", 1);
    FORMATTER::mf_createInstance();
    EXPECT_EQ(0u, FORMATTER::mf_getConfiguredDateFormatIndex());
    EXPECT_EQ(1u, mf_stored(L"DateFmt"));
    EXPECT_TRUE(m_user.mf_has(L"DateFmt"));
}

TEST_F(ICNumberFormatterSettings, Create_UsersValueCannotBeRead_IsZeroAndNothingMoves)
{
    m_user.mf_write(L"NumFmt", 4);
    // The first asks whether it is there, the second reads.
    ICImportFault const denied("RegQueryValueExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(2));
    FORMATTER::mf_createInstance();
    EXPECT_EQ(0u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    EXPECT_EQ(std::nullopt, mf_stored(L"NumFmt"));
    EXPECT_TRUE(m_user.mf_has(L"NumFmt"));
    EXPECT_EQ(0u, mf_stored(L"DateFmt"));
}

TEST_F(ICNumberFormatterSettings, Create_UsersValueCannotBeWritten_IsUsedAndStays)
{
    m_user.mf_write(L"NumFmt", 4);
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED, ICCalls::mf_only(1));
    FORMATTER::mf_createInstance();
    EXPECT_EQ(4u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    EXPECT_EQ(std::nullopt, mf_stored(L"NumFmt"));
    EXPECT_TRUE(m_user.mf_has(L"NumFmt"));
}

TEST_F(ICNumberFormatterSettings, Create_UsersValueCannotBeDeleted_IsUsedAndStays)
{
    m_user.mf_write(L"NumFmt", 4);
    ICImportFault const denied("RegDeleteValueW", ERROR_ACCESS_DENIED);
    FORMATTER::mf_createInstance();
    EXPECT_EQ(4u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    EXPECT_EQ(4u, mf_stored(L"NumFmt"));
    EXPECT_TRUE(m_user.mf_has(L"NumFmt"));
}

TEST_F(ICNumberFormatterSettings, Create_UsersValueBeyondTheTableCannotBeWritten_IsZero)
{
    m_user.mf_write(L"TimeFmt", 5);
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    FORMATTER::mf_createInstance();
    EXPECT_EQ(0u, FORMATTER::mf_getConfiguredTimeFormatIndex());
}

TEST_F(ICNumberFormatterSettings, Create_RegistryOutOfReach_StandsOnZeros)
{
    ICImportFault const denied("RegOpenKeyExW", ERROR_ACCESS_DENIED);
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES)
        EXPECT_EQ(0u, choice.m_get());
}

TEST_F(ICNumberFormatterSettings, Create_DefaultsCannotBeStored_StandsOnZeros)
{
    ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES) {
        EXPECT_EQ(0u, choice.m_get());
        EXPECT_EQ(std::nullopt, mf_stored(choice.m_valueName));
    }
}

TEST_F(ICNumberFormatterSettings, CreateTwice_ThrowsAndKeepsTheFirst)
{
    FORMATTER::mf_createInstance();
    FORMATTER const * const first = FORMATTER::m_pThis;
    EXPECT_TRUE(f_throws(ICErrno::_E_::AlreadyInitialized, [] { FORMATTER::mf_createInstance(); }));
    EXPECT_EQ(first, FORMATTER::m_pThis);
}

TEST_F(ICNumberFormatterSettings, Create_NoMemory_ThrowsAndLeavesNoInstance)
{
    ICImportFault const refused("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_TRUE(f_throws(ICErrno::_E_::Memory, [] { FORMATTER::mf_createInstance(); }));
    EXPECT_EQ(nullptr, FORMATTER::m_pThis);
}

TEST_F(ICNumberFormatterSettings, Delete_EndsTheInstanceAndThrowsTheSecondTime)
{
    FORMATTER::mf_createInstance();
    FORMATTER::mf_deleteInstance();
    EXPECT_EQ(nullptr, FORMATTER::m_pThis);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, [] { FORMATTER::mf_deleteInstance(); }));
}

TEST_F(ICNumberFormatterSettings, Configure_EveryIndex_IsStoredAndInForceAtOnceAndAfterARestart)
{
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES) {
        for (ulong index = 0; index <= choice.m_maxIndex; ++index) {
            choice.m_configure(index);
            EXPECT_EQ(index, choice.m_get());
            EXPECT_EQ(index, mf_stored(choice.m_valueName));
            mf_createAgain();
            EXPECT_EQ(index, choice.m_get());
        }
    }
}

TEST_F(ICNumberFormatterSettings, Configure_LeavesTheOtherChoices)
{
    FORMATTER::mf_createInstance();
    FORMATTER::mf_configureNumberFormat(1);
    FORMATTER::mf_configureDateFormat(2);
    FORMATTER::mf_configureTimeFormat(3);
    EXPECT_EQ(1u, FORMATTER::mf_getConfiguredNumberFormatIndex());
    EXPECT_EQ(2u, FORMATTER::mf_getConfiguredDateFormatIndex());
    EXPECT_EQ(3u, FORMATTER::mf_getConfiguredTimeFormatIndex());
}

TEST_F(ICNumberFormatterSettings, Configure_BeyondTheTable_ThrowsRangeAndChangesNothing)
{
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES) {
        choice.m_configure(1);
        for (ulong const index : {choice.m_maxIndex + 1, ULONG_MAX}) {
            EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [&] { choice.m_configure(index); }));
            EXPECT_EQ(1u, choice.m_get());
            EXPECT_EQ(1u, mf_stored(choice.m_valueName));
        }
    }
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [] { FORMATTER::mf_configureDateFormat(8); }));
    FORMATTER::mf_configureTimeFormat(4);
    EXPECT_TRUE(f_throws(ICErrno::_E_::Range, [] { FORMATTER::mf_configureTimeFormat(5); }));
}

TEST_F(ICNumberFormatterSettings, Configure_CannotBeStored_ThrowsRegistryAndChangesNothing)
{
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES) {
        choice.m_configure(1);
        ICImportFault const denied("RegSetValueExW", ERROR_ACCESS_DENIED);
        EXPECT_TRUE(f_throws(
            ICErrno::_E_::Registry, [&] { choice.m_configure(2); }, ERROR_ACCESS_DENIED));
        EXPECT_EQ(1u, choice.m_get());
        EXPECT_EQ(1u, mf_stored(choice.m_valueName));
    }
}

TEST_F(ICNumberFormatterSettings, WithoutInstance_EverythingButTablesThrowsInitialization)
{
    ICFileTime const time;
    LARGE_INTEGER const large = {};
    std::function<void()> const actions[] = {
        [] { FORMATTER::mf_deleteInstance(); },
        [] { FORMATTER::mf_formatNumber(1); },
        [] { FORMATTER::mf_formatNumber(1ul); },
        [] { FORMATTER::mf_formatNumber(1.0); },
        [&] { FORMATTER::mf_formatNumber(large); },
        [] { FORMATTER::mf_formatNumber(ICFileSize(1)); },
        [] { FORMATTER::mf_formatDate(&AFTERNOON); },
        [&] { FORMATTER::mf_formatDate(time); },
        [] { FORMATTER::mf_formatTime(&AFTERNOON); },
        [&] { FORMATTER::mf_formatTime(time); },
        [] { FORMATTER::mf_formatDateTime(&AFTERNOON, L""); },
        [&] { FORMATTER::mf_formatDateTime(time, L""); },
        [] { FORMATTER::mf_getConfiguredNumberFormat(0); },
        [] { FORMATTER::mf_getConfiguredNumberFormatIndex(); },
        [] { FORMATTER::mf_configureNumberFormat(0); },
        [] { FORMATTER::mf_getConfiguredDateFormat(); },
        [] { FORMATTER::mf_getConfiguredDateFormatIndex(); },
        [] { FORMATTER::mf_configureDateFormat(0); },
        [] { FORMATTER::mf_getConfiguredTimeFormat(); },
        [] { FORMATTER::mf_getConfiguredTimeFormatIndex(); },
        [] { FORMATTER::mf_configureTimeFormat(0); },
    };
    for (auto const & action : actions)
        EXPECT_TRUE(f_throws(ICErrno::_E_::Initialization, action)) << "action " << &action - actions;
    EXPECT_EQ(std::nullopt, mf_stored(L"NumFmt"));
}
