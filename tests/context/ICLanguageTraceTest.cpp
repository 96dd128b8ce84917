#include "hsmbase/context/ICLanguage.h"

#include "tests/context/UntilTheTrace.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/LoggedFailure.h"

using testing::ElementsAre;

namespace
{
struct OPERATION
{
    char const * tag;
    void (*action)();
};

class ICLanguageTrace : public testing::Test
{
protected:
    // What the action leaves where there are no languages. The trace lines have them.
    template<class ACTION>
    ICTracedAction mf_runWithoutLanguages(ACTION action) const
    {
        return m_process.mf_run([action] {
            UntilTheTrace const without(ICLanguage::m_pThis, nullptr);
            action();
        });
    }

    ICTracedProcess const m_process{L"German"};
};
} // namespace

TEST_F(ICLanguageTrace, WithoutInstance_WhatNeedsItIsAnError)
{
    OPERATION const operations[] = {
        {"ICLanguage::mf_getLanguageId::1", [] { ICLanguage::mf_getLanguageId(ICLanguage::USER_LANGUAGE); }},
        {"ICLanguage::mf_getLanguageHandle", [] { ICLanguage::mf_getLanguageHandle(ICLanguage::USER_LANGUAGE); }},
        {"ICLanguage::mf_getUserLanguageId", [] { ICLanguage::mf_getUserLanguageId(); }},
        {"ICLanguage::mf_getLoggingLanguageId", [] { ICLanguage::mf_getLoggingLanguageId(); }},
        {"ICLanguage::mf_getUserLanguageHandle", [] { ICLanguage::mf_getUserLanguageHandle(); }},
        {"ICLanguage::mf_getLoggingLanguageHandle", [] { ICLanguage::mf_getLoggingLanguageHandle(); }},
        {"ICLanguage::mf_getFallbackLanguageHandle", [] { ICLanguage::mf_getFallbackLanguageHandle(); }},
        {"ICLanguage::mf_isLanguageDefined", [] { ICLanguage::mf_isLanguageDefined(1033); }},
        {"ICLanguage::mf_requiresUCS2", [] { ICLanguage::mf_requiresUCS2(1033); }},
    };
    for (OPERATION const & operation : operations) {
        SCOPED_TRACE(operation.tag);
        EXPECT_THAT(mf_runWithoutLanguages(operation.action),
                    f_fails(ICErrno::_E_::Initialization, 'E', operation.tag, "Language singleton not initialized"));
    }
}

TEST_F(ICLanguageTrace, WithoutInstance_DeletingWarns)
{
    EXPECT_THAT(mf_runWithoutLanguages([] { ICLanguage::mf_deleteInstance(); }).m_records,
                ElementsAre(f_isRecord('W', "ICLanguage::mf_deleteInstance", "No language singleton instance")));
}

TEST_F(ICLanguageTrace, CreateTwice_IsAnError)
{
    EXPECT_THAT(m_process.mf_run([] { ICLanguage::mf_createInstance(); }),
                f_fails(ICErrno::_E_::AlreadyInitialized, 'E', "ICLanguage::mf_createInstance",
                        "Language singleton already initialized"));
}

TEST_F(ICLanguageTrace, CreateWithoutMemory_IsAnError)
{
    ICImportFault const noMemory("_ZnwyRKSt9nothrow_t", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1));
    EXPECT_THAT(
        mf_runWithoutLanguages([] { ICLanguage::mf_createInstance(); }),
        f_fails(ICErrno::_E_::Memory, 'E', "ICLanguage::mf_createInstance", "No memory to create language object"));
}

TEST_F(ICLanguageTrace, CreateWithoutLibrary_IsAnErrorOfConstructorAndCreation)
{
    ICImportFault const refused("LoadLibraryW", ERROR_NOT_ENOUGH_MEMORY);
    auto const outcome = mf_runWithoutLanguages([] { ICLanguage::mf_createInstance(); });
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::DllOpen, ERROR_NOT_ENOUGH_MEMORY, "ICLanguage::ICLanguage",
                                        "Failure initializing language singleton: "));
    EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::DllOpen, ERROR_NOT_ENOUGH_MEMORY, "ICLanguage::mf_createInstance",
                                        "Failure creating language singleton: "));
}

// The list of languages.

TEST_F(ICLanguageTrace, NameThatIsNone_IsAnError)
{
    for (wchar_t const * name : {static_cast<wchar_t const *>(nullptr), L""})
        EXPECT_THAT(m_process.mf_run([name] { ICLanguage::mf_getLanguageId(name); }),
                    f_fails(ICErrno::_E_::Parameter, 'E', "ICLanguage::mf_getLanguageId::2", "Empty parameter"));
    EXPECT_THAT(
        m_process.mf_run([] { ICLanguage::mf_getLanguageId(L"german"); }),
        f_fails(ICErrno::_E_::Unknown, 'E', "ICLanguage::mf_getLanguageId::2", "Unknown language name: german"));
}

TEST_F(ICLanguageTrace, UnknownId_IsAnErrorInOtherWordsThanTheAnswers)
{
    EXPECT_THAT(m_process.mf_trace([] { ICLanguage::mf_getLanguageName(9999, 0); }),
                ElementsAre(f_isRecord('E', "ICLanguage::mf_getLanguageName",
                                       "Unknown language id: 9999, returning <LANGUAGE-UNKNOWN>")));
    char const text[] = "Unexpected language id: 0x9999, <LIBRARY-UNKNOWN>";
    EXPECT_THAT(m_process.mf_trace([] { ICLanguage::mf_getLibraryName(9999); }),
                ElementsAre(f_isRecord('E', "ICLanguage::mf_getLibraryName", text)));
    EXPECT_THAT(m_process.mf_run([] { ICLanguage::mf_requiresUCS2(9999); }),
                f_fails(ICErrno::_E_::Internal, 'E', "ICLanguage::mf_requiresUCS2", text));
}

// The language in force.

TEST_F(ICLanguageTrace, UnknownSelector_IsAnError)
{
    EXPECT_THAT(m_process.mf_run([] { ICLanguage::mf_getLanguageId(4); }),
                f_fails(ICErrno::_E_::Language, 'E', "ICLanguage::mf_getLanguageId::1", "Unknown language type 4"));
    EXPECT_THAT(m_process.mf_run([] { ICLanguage::mf_getLanguageHandle(4); }),
                f_fails(ICErrno::_E_::Language, 'E', "ICLanguage::mf_getLanguageHandle", "Unknown language type 4"));
}

TEST_F(ICLanguageTrace, CurrentLanguageWithoutContext_IsForwarded)
{
    struct : OPERATION
    {
        char const * text;
    } const operations[] = {
        {{"ICLanguage::mf_implGetCurrentLanguageId",
          [] { ICLanguage::mf_getLanguageId(ICLanguage::CURRENT_LANGUAGE); }},
         "Failure getting current language id from thread context: "},
        {{"ICLanguage::mf_implGetCurrentLanguageHandle",
          [] { ICLanguage::mf_getLanguageHandle(ICLanguage::CURRENT_LANGUAGE); }},
         "Failure getting language library handle: "},
    };
    for (auto const & operation : operations) {
        SCOPED_TRACE(operation.tag);
        ICImportFault const empty("TlsGetValue", ICAnswer::mf_value(nullptr), ICCalls::mf_only(1).mf_onThisThread());
        auto const outcome = m_process.mf_run(operation.action);
        EXPECT_THAT(outcome, f_failsShowing(ICErrno::_E_::Unexpected, operation.tag, operation.text));
    }
}
