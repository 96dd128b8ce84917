#pragma once

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/registry/ICRegistry.h"
#include "tests/support/ICRegistrySandbox.h"

// A process in which registry, thread slot, languages and the main thread's context are up while an object lives, below
// a registry root of its own and with the language libraries that were built beside the test program.
//
//     ICStartedProcess const process(L"German");
//     EXPECT_STREQ(L"Fehler", IFSeverity::mf_toString(ICErrno::_E_::FileOpen));
//
// Unlike a program's frame it can come up again and again: it forgets the thread slot behind the library's back.
// Only test programs that reach private parts can include this header.
class ICStartedProcess
{
public:
    explicit ICStartedProcess(wchar_t const * language = L"English")
    {
        m_registry.mf_writeText(L"", L"Language", language);
        m_registry.mf_writeText(L"", L"LanguageDir", mf_getProgramDirectory());
        ICRegistry::mf_createInstance(m_registry.mf_getPath().c_str());
        ICTlsHandler::mf_initialize();
        ICLanguage::mf_createInstance();
        ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
        ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 0);
        ICStatus::mf_setStatus(ICStatus::STATUS_MAIN_THREAD, 1);
    }

    ICStartedProcess(ICStartedProcess const &) = delete;
    ICStartedProcess & operator=(ICStartedProcess const &) = delete;

    ~ICStartedProcess()
    {
        ICStatus::mf_setStatus(ICStatus::STATUS_MAIN_THREAD, 0);
        ICThreadContext::mf_delete();
        ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
        ICLanguage::mf_deleteInstance();
        ICTlsHandler::mf_terminate();
        ICTlsHandler::m_dwIndexContext = 0xffffffff;
        ICRegistry::mf_deleteInstance();
    }

    ICRegistrySandbox const & mf_getRegistry() const { return m_registry; }

    // The folder of the test program, with a backslash at its end.
    static std::wstring mf_getProgramDirectory()
    {
        wchar_t program[MAX_PATH] = {};
        ::GetModuleFileNameW(nullptr, program, MAX_PATH - 1);
        std::wstring const path(program);
        return path.substr(0, path.find_last_of(L'\\') + 1);
    }

private:
    ICRegistrySandbox m_registry;
};
