// The gate of the trace lines.
#include "tests/registry/RegistryTest.h"

#include "hsmbase/context/ICThreadContext.h"
#include "tests/support/ICStartedProcess.h"

// A trace line ends by turning the thread to the user's language: a thread that stays in the logging language has seen
// none.
TEST(ICRegistryTrace, SilentFailure_LeavesTheThreadsLanguage)
{
    ICStartedProcess const process(L"German");
    ulong value = 0;
    auto const fail = [&] { ICRegistry::mf_getValue(L"None", value, L"No\\Such\\Key", HKLM); };

    ICThreadContext::mf_setLoggingLanguage();
    unsigned short const logging = ICThreadContext::mf_getCurrentLanguageId();
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), f_failureOf(fail));
    EXPECT_EQ(logging, ICThreadContext::mf_getCurrentLanguageId());

    ICRegistry::mf_activateLogging(1);
    EXPECT_EQ(f_registryFailure(ERROR_FILE_NOT_FOUND), f_failureOf(fail));
    EXPECT_NE(logging, ICThreadContext::mf_getCurrentLanguageId());
}

TEST(ICRegistryTrace, SilentFailure_LoadsNoTexts)
{
    ICStartedProcess const process(L"German");
    ICImportFault const texts("LoadStringW");
    ICTestList list{L"a"};
    CString value;
    EXPECT_TRUE(f_failureOf([&] { ICRegistry::mf_getValue(L"None", value, L"No\\Such\\Key", HKLM); }));
    EXPECT_TRUE(f_failureOf([&] { ICRegistry::mf_getValues(L"None", list, L"No\\Such\\Key", HKLM); }));
    EXPECT_EQ(0, ICRegistry::mf_deleteValue(L"None", L"No\\Such\\Key", HKLM));
    EXPECT_EQ(0u, texts.mf_getCalls());
}
