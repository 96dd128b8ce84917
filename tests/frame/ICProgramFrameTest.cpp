#include "frame/ICProgramFrame.h"

#include <gtest/gtest.h>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/registry/ICRegistry.h"
#include "tests/support/ICChildProcess.h"
#include "tests/support/ICImportFault.h"
#include "tests/support/ICRegistrySandbox.h"
#include "tests/support/ICStartedProcess.h"

// A frame comes up once in a process, so each test has a process of its own, which answers 0 for right.

namespace
{
// The registry root is the first argument.
#define IC_EXPECT_CHILD(name)                                                                                          \
    do {                                                                                                               \
        ICRegistrySandbox const registry;                                                                              \
        ICChildProcess child(name, {registry.mf_getPath()});                                                           \
        EXPECT_EQ(0u, child.mf_getExitCode()) << child.mf_getOutput() << child.mf_getErrors();                         \
    } while (false)

bool f_isAllDown()
{
    return ICRegistry::m_pThis == nullptr && ICLanguage::m_pThis == nullptr && !ICStatus::mf_canToggleLanguages() &&
           ICStatus::mf_implGetInstance().mf_implGetStatus() == 0;
}

// The number of the failure with which the frame does not come up; 0 if it does.
ulong f_failureOf(CString const & root, CString const & language = CString())
{
    try {
        ICProgramFrame const frame(root, language);
        return 0;
    }
    catch (ICErrno & failure) {
        return failure.mf_getErrnoData().mf_getNumber();
    }
}
} // namespace

IC_CHILD(frame_up)
{
    CString const root = arguments[0].c_str();
    {
        ICProgramFrame const frame(root);
        if (ICRegistry::mf_getRegistryRoot(CString()) != root) return 1;
        if (ICThreadContext::mf_getType() != ICThreadContext::TYPE_MAIN || ICThreadContext::mf_getIndex() != 0)
            return 2;
        if (!ICStatus::mf_canToggleLanguages()) return 3;
        if (CString(ICString(2054u)).Find(L'<') >= 0) return 4;
        if (ICLanguage::mf_getUserLanguageId() != 1033) return 5;
        CString directory;
        ICRegistry::mf_getValue(L"LanguageDir", directory, root, HKEY_LOCAL_MACHINE);
        if (directory != ICStartedProcess::mf_getProgramDirectory().c_str()) return 6;
    }
    return f_isAllDown() ? 0 : 7;
}

TEST(ICProgramFrame, Up_EverythingStands_AndGoesDownAgain)
{
    IC_EXPECT_CHILD("frame_up");
}

IC_CHILD(frame_second)
{
    CString const root = arguments[0].c_str();
    ICProgramFrame const frame(root);
    if (f_failureOf(root) != ICErrno::_E_::AlreadyInitialized.mf_getNumber()) return 1;
    // The first one stands as before.
    return ICStatus::mf_canToggleLanguages() ? 0 : 2;
}

TEST(ICProgramFrame, SecondFrame_IsRefusedAndTheFirstStands)
{
    IC_EXPECT_CHILD("frame_second");
}

IC_CHILD(frame_again)
{
    CString const root = arguments[0].c_str();
    if (f_failureOf(root) != 0) return 1;
    if (f_failureOf(root) != ICErrno::_E_::AlreadyInitialized.mf_getNumber()) return 2;
    return f_isAllDown() ? 0 : 3;
}

// Deliberate: the thread slot's number outlives the slot.
TEST(ICProgramFrame, FrameAfterAFrame_IsRefused)
{
    IC_EXPECT_CHILD("frame_again");
}

IC_CHILD(frame_no_slot)
{
    ICImportFault const noSlot("TlsAlloc", ICAnswer::mf_value(0xffffffff));
    if (f_failureOf(arguments[0].c_str()) != ICErrno::_E_::System.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, WithoutASlot_TakesTheRegistryDown)
{
    IC_EXPECT_CHILD("frame_no_slot");
}

IC_CHILD(frame_no_library)
{
    ICImportFault const noLibrary("LoadLibraryW", ERROR_BAD_EXE_FORMAT);
    if (f_failureOf(arguments[0].c_str()) != ICErrno::_E_::DllOpen.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, WithoutLanguages_TakesSlotAndRegistryDown)
{
    IC_EXPECT_CHILD("frame_no_library");
}

IC_CHILD(frame_no_context)
{
    ICImportFault const noContext("TlsSetValue", ERROR_INVALID_PARAMETER);
    if (f_failureOf(arguments[0].c_str()) != ICErrno::_E_::System.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, WithoutAContext_TakesLanguagesDown)
{
    IC_EXPECT_CHILD("frame_no_context");
}

IC_CHILD(frame_german)
{
    CString const root = arguments[0].c_str();
    ICProgramFrame const frame(root, L"German");
    if (ICLanguage::mf_getUserLanguageId() != 1031) return 1;
    return ICLanguage::mf_getConfiguredLanguageId() == 1031 ? 0 : 2;
}

TEST(ICProgramFrame, AnotherLanguage_IsInForceAndStored)
{
    IC_EXPECT_CHILD("frame_german");
}

IC_CHILD(frame_unknown_language)
{
    if (f_failureOf(arguments[0].c_str(), L"Klingon") != ICErrno::_E_::Unknown.mf_getNumber()) return 1;
    return f_isAllDown() ? 0 : 2;
}

TEST(ICProgramFrame, AnUnknownLanguage_TakesAllDown)
{
    IC_EXPECT_CHILD("frame_unknown_language");
}

IC_CHILD(frame_moved)
{
    CString const root = arguments[0].c_str();
    ICRegistry::mf_createInstance(root);
    ICRegistry::mf_setValue(L"LanguageDir", CString(L"C:\\nowhere"), root, 0, HKEY_LOCAL_MACHINE);
    ICRegistry::mf_deleteInstance();
    ICProgramFrame const frame(root);
    CString directory;
    ICRegistry::mf_getValue(L"LanguageDir", directory, root, HKEY_LOCAL_MACHINE);
    return directory == ICStartedProcess::mf_getProgramDirectory().c_str() ? 0 : 1;
}

TEST(ICProgramFrame, AMovedInstallation_FindsItsLanguagesByItself)
{
    IC_EXPECT_CHILD("frame_moved");
}
