#include "hsmbase/context/ICTranslator.h"

#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;

namespace
{
class ICTranslatorTrace : public testing::Test
{
protected:
    ~ICTranslatorTrace() override
    {
        if (ICTranslator::m_pThis != nullptr) ICTranslator::mf_deleteInstance();
    }

    ICTracedProcess const m_process{L"German"};
};

void f_convert(char const * text, ulong length)
{
    CString result;
    ICTranslator::mf_convertAscii(text, length, result);
}
} // namespace

TEST_F(ICTranslatorTrace, Create_TellsTheCodePage)
{
    EXPECT_THAT(
        m_process.mf_trace([] { ICTranslator::mf_createInstance(); }),
        ElementsAre(f_isRecord('D', "ICTranslator::ICTranslator",
                               "Computed Windows default ANSI codepage: '" + std::to_string(::GetACP()) + "'")));
}

TEST_F(ICTranslatorTrace, Create_SystemRefuses_IsAnErrorOfConstructorAndCreation)
{
    ICImportFault const refused("GetLocaleInfoW", ERROR_INVALID_PARAMETER);
    auto const outcome = m_process.mf_run([] { ICTranslator::mf_createInstance(); });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER, "ICTranslator::ICTranslator",
                                        "Failure getting Windows default ANSI codepage: "));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::System, ERROR_INVALID_PARAMETER,
                                        "ICTranslator::mf_createInstance", "Failure creating tranlator: "));
}

TEST_F(ICTranslatorTrace, Create_NoMemory_IsAnError)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(m_process.mf_run([] { ICTranslator::mf_createInstance(); }),
                f_fails(ICErrno::_E_::Memory, 'E', "ICTranslator::mf_createInstance",
                        "No memory to create translator instance"));
}

TEST_F(ICTranslatorTrace, Create_Twice_IsAnError)
{
    ICTranslator::mf_createInstance();
    EXPECT_THAT(m_process.mf_run([] { ICTranslator::mf_createInstance(); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICTranslator::mf_createInstance",
                        "Singleton instance is already initialized"));
}

TEST_F(ICTranslatorTrace, WithoutInstance_DeletingWarnsAndConvertingIsAnError)
{
    char const text[] = "No translator singleton instance";
    EXPECT_THAT(m_process.mf_trace([] { ICTranslator::mf_deleteInstance(); }),
                ElementsAre(f_isRecord('W', "ICTranslator::mf_deleteInstance", text)));
    EXPECT_THAT(m_process.mf_run([] { f_convert("a", 1); }),
                f_fails(ICErrno::_E_::Initialization, 'E', "ICTranslator::mf_convertAscii", text));
}

TEST_F(ICTranslatorTrace, Convert_Null_IsAnError)
{
    ICTranslator::mf_createInstance();
    EXPECT_THAT(m_process.mf_run([] { f_convert(nullptr, 1); }),
                f_fails(ICErrno::_E_::Parameter, 'E', "ICTranslator::mf_implConvertAscii", "NULL == _pszAscii"));
}

TEST_F(ICTranslatorTrace, Convert_TooLong_TellsTheBytes)
{
    ICTranslator::mf_createInstance();
    EXPECT_THAT(m_process.mf_run([] { f_convert(std::string(2048, 'a').c_str(), 2048); }),
                f_failsShowing(ICErrno::_E_::Conversion, ERROR_INSUFFICIENT_BUFFER, "ICTranslator::mf_implConvertAscii",
                               "Failure converting DBCS string, 2048 bytes: "));
}
