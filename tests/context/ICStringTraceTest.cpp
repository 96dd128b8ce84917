#include "hsmbase/context/ICString.h"

#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{
constexpr unsigned int LABEL = 4060;
constexpr ulong USER = ICLanguage::USER_LANGUAGE;

class ICStringTrace : public testing::Test
{
protected:
    ICTracedProcess const m_process{L"German"};
};

std::vector<ICTraceRecord> f_recordsOfMissingText(ICTracedProcess const & process, ulong calls)
{
    ICCalls missing = ICCalls::mf_from(1);
    missing.m_last = calls;
    ICImportFault const fault("LoadStringW", ERROR_RESOURCE_NAME_NOT_FOUND, missing);
    return process.mf_trace([] { ICString text(LABEL); });
}

auto f_isRecordOfMissingText(char level, char const * language, char const * length)
{
    return f_isRecord(level, "ICString::mf_implLoadString",
                      std::string("Failure loading ") + language +
                          " language string resource, id=4060\nbuffer-length=" + length + ", Windows error code=1814");
}

CString f_vaFormat(ulong language, ulong id, ...)
{
    va_list arguments;
    va_start(arguments, id);
    CString const text = ICString::mf_vaFormatLanguage(language, id, &arguments);
    va_end(arguments);
    return text;
}
} // namespace

TEST_F(ICStringTrace, NoMemory_IsAnErrorOfBothConstructors)
{
    struct
    {
        char const * tag;
        void (*action)();
    } const constructors[] = {{"ICString::ICString::1", [] { ICString text(LABEL); }},
                              {"ICString::ICString::2", [] { ICString text(L"a"); }}};
    for (auto const & constructor : constructors) {
        SCOPED_TRACE(constructor.tag);
        ICImportFault const noMemory("calloc", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
        EXPECT_THAT(m_process.mf_run(constructor.action),
                    f_fails(ICErrno::_E_::Memory, 'E', constructor.tag, "No memory to allocate buffer (8192 bytes)"));
    }
}

TEST_F(ICStringTrace, NullFormat_IsAnError)
{
    EXPECT_THAT(m_process.mf_run([] { ICString text(static_cast<wchar_t const *>(nullptr)); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICString::ICString::2", "NULL == _pszFormat"));
}

TEST_F(ICStringTrace, TextTooLongForTheBuffer_IsTwoErrorLines)
{
    CString const tooLong(L'x', 8192);
    EXPECT_THAT(m_process.mf_trace([&tooLong] { ICString text(L"<%s>", tooLong.GetString()); }),
                ElementsAre(f_isRecord('E', "ICString::ICString::2", "Failure formatting string: -1"),
                            f_isRecord('E', "ICString::ICString::2",
                                       "Failure formatting string with format=<%s>, continuing...")));
}

TEST_F(ICStringTrace, TextOnAThreadThatMayNotSpeak_LeavesNoLine)
{
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
    auto const records = m_process.mf_trace([] { ICString text(LABEL); });
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
    EXPECT_THAT(records, IsEmpty());
}

// Inserting the arguments.

TEST_F(ICStringTrace, InsertingFails_IsTracedByEachFunction)
{
    ICErrno const failure(ICErrno::_E_::System, ERROR_NOT_ENOUGH_MEMORY);
    ICImportFault const refused("FormatMessageW", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_only(1));
    auto const records = m_process.mf_trace([] { ICString text(LABEL); });
    EXPECT_THAT(
        records,
        ElementsAre(f_isRecord('E', "ICString::mf_implFormatString",
                               "Failure formatting string with id=4060\n"
                               "buffer-length=8191, Windows error code=8"),
                    f_isRecord('E', "ICString::ICString::1",
                               f_logged("Failure formatting string with id=4060, buffer-length=8192:\n", failure)),
                    f_isRecord('E', "ICString::ICString::1",
                               "Failure formatting string with resource-id=4060, continuing...")));
}

TEST_F(ICStringTrace, InsertingFails_InAChosenLanguage_AnswersAnEmptyString)
{
    struct
    {
        char const * tag;
        CString (*format)();
        char const * length;
    } const operations[] = {
        {"ICString::mf_formatLanguage", [] { return ICString::mf_formatLanguage(USER, LABEL); }, "8190"},
        {"ICString::mf_vaFormatLanguage", [] { return f_vaFormat(USER, LABEL); }, "8191"},
    };
    ICErrno const failure(ICErrno::_E_::System, ERROR_NOT_ENOUGH_MEMORY);
    for (auto const & operation : operations) {
        SCOPED_TRACE(operation.tag);
        ICImportFault const refused("FormatMessageW", ERROR_NOT_ENOUGH_MEMORY, ICCalls::mf_only(1));
        auto const records = m_process.mf_trace(operation.format);
        EXPECT_THAT(records,
                    ElementsAre(f_isRecord('E', "ICString::mf_implFormatString",
                                           std::string("Failure formatting string with id=4060\nbuffer-length=") +
                                               operation.length + ", Windows error code=8"),
                                f_isRecord('E', operation.tag,
                                           f_logged("Failure formatting string with id=4060: ", failure) +
                                               "\nReturning empty string ...")));
    }
}

TEST_F(ICStringTrace, WithoutArgumentsOrBuffer_IsAnError)
{
    va_list arguments = {};
    wchar_t buffer[10];
    struct
    {
        va_list * arguments;
        wchar_t * buffer;
        ulong length;
    } const cases[] = {{nullptr, buffer, 10}, {&arguments, nullptr, 10}, {&arguments, buffer, 0}};
    for (auto const & given : cases)
        EXPECT_THAT(m_process.mf_run([&given] {
            ICString::mf_implFormatString(USER, LABEL, given.arguments, given.buffer, given.length);
        }),
                    f_fails(ICErrno::_E_::Parameter, 'E', "ICString::mf_implFormatString",
                            "( NULL == _pArguments ) || ( NULL == _pszBuffer ) || ( 0 == _ulBufferLength )"));
}

// Loading the text.

TEST_F(ICStringTrace, MissingInTheUsersLanguage_IsDebuggingOnly)
{
    EXPECT_THAT(f_recordsOfMissingText(m_process, 1), ElementsAre(f_isRecordOfMissingText('D', "current", "4095")));
}

TEST_F(ICStringTrace, MissingInTheFallbackLanguageToo_IsTwoErrorLines)
{
    EXPECT_THAT(f_recordsOfMissingText(m_process, 2),
                ElementsAre(f_isRecordOfMissingText('D', "current", "4095"),
                            f_isRecordOfMissingText('E', "fallback", "4096"),
                            f_isRecord('E', "ICString::mf_implFormatString",
                                       "Failure loading string with id=4060, buffer-length=4096")));
}

TEST(ICStringTraceInEnglish, MissingText_IsLookedForOnce)
{
    ICTracedProcess const process;
    EXPECT_THAT(f_recordsOfMissingText(process, 2),
                ElementsAre(f_isRecordOfMissingText('D', "current", "4095"),
                            f_isRecord('E', "ICString::mf_implFormatString",
                                       "Failure loading string with id=4060, buffer-length=4096")));
}

TEST_F(ICStringTrace, UnknownLanguage_IsAnErrorAndTheFallbackSpeaks)
{
    EXPECT_THAT(
        m_process.mf_trace([] { ICString::mf_formatLanguage(4, LABEL); }),
        ElementsAre(f_isRecord('E', "ICLanguage::mf_getLanguageHandle", "Unknown language type 4"),
                    f_isRecord('E', "ICString::mf_implLoadString", "Failure getting language library handle, type=4")));
}

TEST_F(ICStringTrace, NoLanguages_IsAnErrorOfLanguageAndFallback)
{
    auto const records = m_process.mf_trace([] {
        ICLanguage * const instance = std::exchange(ICLanguage::m_pThis, nullptr);
        ICString::mf_formatLanguage(USER, LABEL);
        ICLanguage::m_pThis = instance;
    });
    EXPECT_THAT(records, Contains(f_isRecord('E', "ICString::mf_implLoadString",
                                             "Failure getting language library handle, type=1")));
    EXPECT_THAT(records, Contains(f_isRecord('E', "ICString::mf_implLoadString",
                                             "Failure querying for language library fallback handle")));
}
