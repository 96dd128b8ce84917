// Every line of the formatter, as a log shows it.
#include "hsmbase/paths/ICFileSize.h"
#include "hsmbase/paths/ICFileTime.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICLeakAccount.h"
#include "tests/support/LoggedPlace.h"
#include "tests/text/NumberFormatterTest.h"

using FORMATTER = ICNumberFormatter;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

namespace
{

constexpr ulong DENIED = ERROR_ACCESS_DENIED;

// Started, without the singleton.
class ICNumberFormatterTrace : public testing::Test
{
protected:
    ~ICNumberFormatterTrace() override
    {
        if (FORMATTER::m_pThis != nullptr) FORMATTER::mf_deleteInstance();
    }

    // Creates the singleton, which throws nothing, and answers its lines.
    std::vector<ICTraceRecord> mf_create() const
    {
        return m_process.mf_trace([] { FORMATTER::mf_createInstance(); });
    }

    ICTracedProcess const m_process{L"German"};
    ICUserSettings const m_user{m_process.mf_getRegistry()};
};

std::string const LOAD = "ICNumberFormatter::mf_implLoadFormat";
std::string const NOT_LOADED = "Could not initialize localized format from registry, falling back to default.\n";

testing::Matcher<ICTraceRecord const &> f_isNotLoaded(ICErrno const & failure)
{
    return f_isRecord('E', LOAD, f_logged(NOT_LOADED, failure));
}

testing::Matcher<ICTraceRecord const &> f_isMoved()
{
    return f_isRecord('T', LOAD, HasSubstr("Moved"));
}

} // namespace

TEST_F(ICNumberFormatterTrace, CreateTwice_IsAnError)
{
    FORMATTER::mf_createInstance();
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_createInstance(); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICNumberFormatter::mf_createInstance",
                        "Number formatter singleton already initialized"));
}

TEST_F(ICNumberFormatterTrace, Create_NoMemory_IsAnError)
{
    ICImportFault const refused("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_createInstance(); }),
                f_fails(ICErrno::_E_::Memory, 'E', "ICNumberFormatter::mf_createInstance",
                        "No memory to create number formatter singleton"));
}

// Deliberate: where the choice itself is asked for or changed, the line ends in a full stop; elsewhere it doesn't.
TEST_F(ICNumberFormatterTrace, WithoutInstance_EachOperationHasItsLine)
{
    struct CASE
    {
        char const * m_tag;
        std::function<void()> m_action;
    };
    ICFileTime const time;
    LARGE_INTEGER const large = {};
    CASE const formatting[] = {
        {"mf_deleteInstance", [] { FORMATTER::mf_deleteInstance(); }},
        {"mf_formatNumber::1", [] { FORMATTER::mf_formatNumber(1); }},
        {"mf_formatNumber::2", [] { FORMATTER::mf_formatNumber(1ul); }},
        {"mf_formatNumber::3", [] { FORMATTER::mf_formatNumber(1.0); }},
        {"mf_formatNumber::4", [&] { FORMATTER::mf_formatNumber(large); }},
        {"mf_formatNumber::5", [] { FORMATTER::mf_formatNumber(ICFileSize(1)); }},
        {"mf_formatDate::1", [] { FORMATTER::mf_formatDate(&AFTERNOON); }},
        {"mf_formatDate::2", [&] { FORMATTER::mf_formatDate(time); }},
        {"mf_formatTime::1", [] { FORMATTER::mf_formatTime(&AFTERNOON); }},
        {"mf_formatTime::2", [&] { FORMATTER::mf_formatTime(time); }},
        {"mf_formatDateTime::1", [] { FORMATTER::mf_formatDateTime(&AFTERNOON, L""); }},
        {"mf_formatDateTime::2", [&] { FORMATTER::mf_formatDateTime(time, L""); }},
    };
    CASE const choosing[] = {
        {"mf_getConfiguredNumberFormat", [] { FORMATTER::mf_getConfiguredNumberFormat(0); }},
        {"mf_getConfiguredNumberFormatIndex", [] { FORMATTER::mf_getConfiguredNumberFormatIndex(); }},
        {"mf_configureNumberFormat", [] { FORMATTER::mf_configureNumberFormat(0); }},
        {"mf_getConfiguredDateFormat", [] { FORMATTER::mf_getConfiguredDateFormat(); }},
        {"mf_getConfiguredDateFormatIndex", [] { FORMATTER::mf_getConfiguredDateFormatIndex(); }},
        {"mf_configureDateFormat", [] { FORMATTER::mf_configureDateFormat(0); }},
        {"mf_getConfiguredTimeFormat", [] { FORMATTER::mf_getConfiguredTimeFormat(); }},
        {"mf_getConfiguredTimeFormatIndex", [] { FORMATTER::mf_getConfiguredTimeFormatIndex(); }},
        {"mf_configureTimeFormat", [] { FORMATTER::mf_configureTimeFormat(0); }},
    };
    auto const isNotInitialized = [](char const * tag, char const * text) {
        return f_fails(ICErrno::_E_::Initialization, 'E', std::string("ICNumberFormatter::") + tag, text);
    };
    for (CASE const & each : formatting)
        EXPECT_THAT(m_process.mf_run(each.m_action),
                    isNotInitialized(each.m_tag, "Number formatter singleton not initialized"));
    for (CASE const & each : choosing)
        EXPECT_THAT(m_process.mf_run(each.m_action),
                    isNotInitialized(each.m_tag, "Number formatter singleton not initialized."));
}

TEST_F(ICNumberFormatterTrace, Create_IndexBeyondTheTable_WarnsForEachChoice)
{
    m_process.mf_getRegistry().mf_writeNumber(L"", L"NumFmt", 7);
    m_process.mf_getRegistry().mf_writeNumber(L"", L"DateFmt", 9);
    m_process.mf_getRegistry().mf_writeNumber(L"", L"TimeFmt", ULONG_MAX);
    auto const isWarning = [](std::string const & name, std::string const & maxIndex) {
        return f_isRecord('W', LOAD,
                          "The value for '" + name + "' exceeds the valid range from 0 to '" + maxIndex +
                              "'\nReturning '0'.");
    };
    EXPECT_THAT(mf_create(), AllOf(Contains(isWarning("NumFmt", "6")), Contains(isWarning("DateFmt", "7")),
                                   Contains(isWarning("TimeFmt", "4"))));
}

TEST_F(ICNumberFormatterTrace, Create_HighestIndexes_LeaveNoLine)
{
    for (CHOICE const & choice : CHOICES)
        m_process.mf_getRegistry().mf_writeNumber(L"", choice.m_valueName, choice.m_maxIndex);
    EXPECT_THAT(mf_create(), Not(Contains(testing::Field(&ICTraceRecord::m_tag, HasSubstr("ICNumberFormatter")))));
}

// Deliberate: no blank stands before the paths.
TEST_F(ICNumberFormatterTrace, Create_UsersValue_TellsOfItsMove)
{
    m_user.mf_write(L"DateFmt", 4);
    std::string const moved =
        f_at("Moved registry value 'DateFmt'\nfrom@\\tnwgui\nto@", m_process.mf_getRegistry().mf_getPath().c_str());
    auto const records = mf_create();
    EXPECT_THAT(records, Contains(f_isRecord('T', LOAD, moved)));
    EXPECT_THAT(records, Contains(f_isMoved()).Times(1));
    EXPECT_THAT(records, Not(Contains(f_isRecord('E', LOAD, HasSubstr("Could not")))));
}

TEST_F(ICNumberFormatterTrace, Create_UsersValueGoneBeforeItsDeletion_TellsOfNoMove)
{
    m_user.mf_write(L"DateFmt", 4);
    ICImportFault const gone("RegDeleteValueW", ERROR_FILE_NOT_FOUND);
    auto const records = mf_create();
    EXPECT_EQ(4u, FORMATTER::mf_getConfiguredDateFormatIndex());
    EXPECT_THAT(records, Not(Contains(f_isMoved())));
    EXPECT_THAT(records, Not(Contains(f_isRecord('E', LOAD, HasSubstr("Could not")))));
}

TEST_F(ICNumberFormatterTrace, Create_EachStepOfTheMoveRefused_IsAnError)
{
    struct STEP
    {
        char const * m_import;
        ulong m_call;
    };
    // Whether it is there is asked by opening, then it is read, written and deleted.
    for (STEP const & step :
         {STEP{"RegOpenKeyExW", 1}, STEP{"RegOpenKeyExW", 2}, STEP{"RegQueryValueExW", 2}, STEP{"RegCreateKeyExW", 1},
          STEP{"RegSetValueExW", 1}, STEP{"RegDeleteValueW", 1}, STEP{"RegCloseKey", 1}}) {
        SCOPED_TRACE(std::string(step.m_import) + " " + std::to_string(step.m_call));
        m_user.mf_write(L"NumFmt", 4);
        std::vector<ICTraceRecord> records;
        {
            ICImportFault const denied(step.m_import, DENIED, ICCalls::mf_only(step.m_call));
            records = mf_create();
            EXPECT_EQ(1u, denied.mf_getAnswered());
        }
        EXPECT_THAT(records, Contains(f_isNotLoaded(ICErrno(ICErrno::_E_::Registry, DENIED))).Times(1));
        EXPECT_THAT(records, Not(Contains(f_isMoved())));
        FORMATTER::mf_deleteInstance();
        if (std::string(step.m_import) == "RegCloseKey") ICLeakAccount::mf_excuse("the key was never closed", 1, 0);
    }
}

TEST_F(ICNumberFormatterTrace, Create_UsersValueOfAnotherType_IsAnError)
{
    m_user.mf_write(L"NumFmt", REG_SZ, L"4", 4);
    EXPECT_THAT(mf_create(), Contains(f_isNotLoaded(ICErrno(ICErrno::_E_::Unexpected))));
}

TEST_F(ICNumberFormatterTrace, Configure_BeyondTheTable_IsAnErrorWithTheIndex)
{
    FORMATTER::mf_createInstance();
    for (CHOICE const & choice : CHOICES)
        EXPECT_THAT(m_process.mf_run([&] { choice.m_configure(4000000000ul); }),
                    f_fails(ICErrno::_E_::Range, 'E', choice.m_configureTag,
                            std::string("Invalid ") + choice.m_kind + " format index 4000000000 specified."));
}

TEST_F(ICNumberFormatterTrace, Configure_CannotBeStored_IsAnErrorWithTheName)
{
    FORMATTER::mf_createInstance();
    ICImportFault const denied("RegSetValueExW", DENIED);
    for (CHOICE const & choice : CHOICES)
        EXPECT_THAT(
            m_process.mf_run([&] { choice.m_configure(1); }),
            f_failsShowing(ICErrno::_E_::Registry, DENIED, "ICNumberFormatter::mf_implStoreFormat",
                           f_logged("Could not store format index for '", CString(choice.m_valueName)) + "'.\n"));
}

// Deliberate: the format of a time is refused with the words for dates.
TEST_F(ICNumberFormatterTrace, DisplayText_BeyondTheTable_IsAnErrorThatNamesDates)
{
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_getDateFormatStringByIndex(8); }),
                f_fails(ICErrno::_E_::Range, 'E', "ICNumberFormatter::mf_getDateFormatStringByIndex",
                        "Invalid date format index 8 specified."));
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_getTimeFormatStringByIndex(5); }),
                f_fails(ICErrno::_E_::Range, 'E', "ICNumberFormatter::mf_getTimeFormatStringByIndex",
                        "Invalid date format index 5 specified."));
}

TEST_F(ICNumberFormatterTrace, NumberFormatByIndex_BeyondTheTable_IsAnErrorThatShowsTheFailure)
{
    std::string const text = "Invalid number format requested. No number format with index 7\n";
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_getNumberFormatByIndex(7, 1); }),
                f_failsShowing(ICErrno::_E_::Range, "ICNumberFormatter::mf_getNumberFormatByIndex", text));
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_getNumberFormatStringByIndex(7, 0); }),
                f_failsShowing(ICErrno::_E_::Range, "ICNumberFormatter::mf_getNumberFormatStringByIndex", text));
}

TEST_F(ICNumberFormatterTrace, Format_EitherCallRefused_IsAnErrorThatShowsWhatWasToBeFormatted)
{
    struct CASE
    {
        char const * m_import;
        char const * m_tag;
        char const * m_shown;
        void (*m_action)();
    };
    CASE const cases[] = {
        {"GetNumberFormatW", "mf_implFormatNumber", "-5", [] { FORMATTER::mf_formatNumber(-5); }},
        {"GetNumberFormatW", "mf_implFormatNumber", "0.500000", [] { FORMATTER::mf_formatNumber(0.5); }},
        {"GetDateFormatW", "mf_implFormatDate", "2024-01-31 13:05:09", [] { FORMATTER::mf_formatDate(&AFTERNOON); }},
        {"GetTimeFormatW", "mf_implFormatTime", "2024-01-31 13:05:09", [] { FORMATTER::mf_formatTime(&AFTERNOON); }},
        {"GetTimeFormatW", "mf_implFormatTime", "2024-01-31 13:05:09",
         [] { FORMATTER::mf_formatDateTime(&AFTERNOON, L""); }},
    };
    FORMATTER::mf_createInstance();
    for (CASE const & each : cases) {
        std::string const tag = std::string("ICNumberFormatter::") + each.m_tag;
        std::string const shown = std::string(each.m_shown) + "':\n";
        ICImportFault const noSize(each.m_import, DENIED);
        EXPECT_THAT(m_process.mf_run(each.m_action),
                    f_failsShowing(ICErrno::_E_::System, DENIED, tag,
                                   "Could not calculate buffersize required to format '" + shown));
    }
    for (CASE const & each : cases) {
        std::string const tag = std::string("ICNumberFormatter::") + each.m_tag;
        std::string const shown = std::string(each.m_shown) + "':\n";
        ICImportFault const noText(each.m_import, DENIED, ICCalls::mf_only(2));
        EXPECT_THAT(m_process.mf_run(each.m_action),
                    f_failsShowing(ICErrno::_E_::System, DENIED, tag, "Could not format number buffer '" + shown));
    }
}

TEST_F(ICNumberFormatterTrace, Format_NoMemory_IsAnErrorThatNamesNumbers)
{
    FORMATTER::mf_createInstance();
    auto const isNoMemory = [](char const * tag) {
        return f_fails(ICErrno::_E_::Memory, 'E', std::string("ICNumberFormatter::") + tag,
                       "No memory for number buffer");
    };
    ICImportFault const refused("_ZnayRKSt9nothrow_t", ICAnswer::mf_value(nullptr));
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_formatNumber(1); }), isNoMemory("mf_implFormatNumber"));
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_formatDate(&AFTERNOON); }), isNoMemory("mf_implFormatDate"));
    EXPECT_THAT(m_process.mf_run([] { FORMATTER::mf_formatTime(&AFTERNOON); }), isNoMemory("mf_implFormatTime"));
}

TEST_F(ICNumberFormatterTrace, Format_NullTime_IsAnError)
{
    FORMATTER::mf_createInstance();
    SYSTEMTIME const * const none = nullptr;
    auto const isNull = [](char const * tag) {
        return f_fails(ICErrno::_E_::Parameter, 'E', std::string("ICNumberFormatter::") + tag, "_pSystemTime == NULL");
    };
    EXPECT_THAT(m_process.mf_run([&] { FORMATTER::mf_formatDate(none); }), isNull("mf_implFormatDate"));
    EXPECT_THAT(m_process.mf_run([&] { FORMATTER::mf_formatTime(none); }), isNull("mf_implFormatTime"));
    EXPECT_THAT(m_process.mf_run([&] { FORMATTER::mf_formatDateTime(none, L""); }), isNull("mf_implFormatDate"));
}

TEST_F(ICNumberFormatterTrace, Format_FileTimeBeyondTheCalendar_IsAnErrorOfEachForm)
{
    FORMATTER::mf_createInstance();
    ICFileTime const none(0, 0x80000000);
    auto const isNone = [](char const * tag) {
        return f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, std::string("ICNumberFormatter::") + tag,
                              "Failure converting FILETIME to SYSTEMTIME: ");
    };
    EXPECT_THAT(m_process.mf_run([&] { FORMATTER::mf_formatDate(none); }), isNone("mf_formatDate::2"));
    EXPECT_THAT(m_process.mf_run([&] { FORMATTER::mf_formatTime(none); }), isNone("mf_formatTime::2"));
    EXPECT_THAT(m_process.mf_run([&] { FORMATTER::mf_formatDateTime(none, L""); }), isNone("mf_formatDateTime::2"));
}

TEST_F(ICNumberFormatterTrace, Format_LeavesNoLine)
{
    FORMATTER::mf_createInstance();
    EXPECT_THAT(m_process.mf_trace([] {
        FORMATTER::mf_formatNumber(1);
        FORMATTER::mf_formatDateTime(&AFTERNOON, L" ");
        FORMATTER::mf_getAllDateFormats();
        FORMATTER::mf_getConfiguredTimeFormat();
    }),
                testing::IsEmpty());
}
