#include "frame/ICProgramFrame.h"

#include <iterator>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"

// Steps come up in this order and go down in reverse. Each status bit is set behind what it announces and cleared
// ahead of taking that down.
ICProgramFrame::STEP const ICProgramFrame::STEPS[] = {
    {&ICProgramFrame::mf_implStartRegistry, &ICProgramFrame::mf_implStopRegistry},
    {&ICProgramFrame::mf_implStartThreadSlot, &ICProgramFrame::mf_implStopThreadSlot},
    {&ICProgramFrame::mf_implStartLanguages, &ICProgramFrame::mf_implStopLanguages},
    {&ICProgramFrame::mf_implStartMainThread, &ICProgramFrame::mf_implStopMainThread},
};

ICProgramFrame::ICProgramFrame(CString const & registryRoot) : ICProgramFrame(registryRoot, CString()) {}

ICProgramFrame::ICProgramFrame(CString const & registryRoot, CString const & language)
    : m_registryRoot(registryRoot), m_language(language)
{
    try {
        mf_implStart();
    }
    catch (...) {
        mf_implStop();
        throw;
    }
}

ICProgramFrame::~ICProgramFrame()
{
    mf_implStop();
}

void ICProgramFrame::mf_implStart()
{
    for (STEP const & step : STEPS) {
        (this->*step.mf_start)();
        ++m_stepsUp;
    }
}

void ICProgramFrame::mf_implStop()
{
    while (m_stepsUp > 0) {
        --m_stepsUp;
        try {
            (this->*STEPS[m_stepsUp].mf_stop)();
        }
        catch (ICErrno &) {
            // The step has left its trace; what came up before it must go down all the same.
        }
    }
}

void ICProgramFrame::mf_implStartRegistry()
{
    ICRegistry::mf_createInstance(m_registryRoot);
}
void ICProgramFrame::mf_implStopRegistry()
{
    ICRegistry::mf_deleteInstance();
}

void ICProgramFrame::mf_implStartThreadSlot()
{
    ICTlsHandler::mf_initialize();
}
void ICProgramFrame::mf_implStopThreadSlot()
{
    ICTlsHandler::mf_terminate();
}

void ICProgramFrame::mf_implStartLanguages()
{
    mf_implFindLanguageLibraries();
    mf_implConfigureLanguage();
    ICLanguage::mf_createInstance();
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 1);
}

void ICProgramFrame::mf_implStopLanguages()
{
    ICStatus::mf_setStatus(ICStatus::STATUS_RESOURCES, 0);
    ICLanguage::mf_deleteInstance();
}

void ICProgramFrame::mf_implStartMainThread()
{
    ICThreadContext::mf_create(ICThreadContext::TYPE_MAIN, 0);
    ICStatus::mf_setStatus(ICStatus::STATUS_MAIN_THREAD, 1);
}

void ICProgramFrame::mf_implStopMainThread()
{
    ICStatus::mf_setStatus(ICStatus::STATUS_MAIN_THREAD, 0);
    ICThreadContext::mf_delete();
}

void ICProgramFrame::mf_implConfigureLanguage() const
{
    if (m_language.IsEmpty()) return;
    unsigned short const id = ICLanguage::mf_getLanguageId(m_language);
    // A language that cannot be had would only make this and all later runs fall back.
    if (ICLanguage::mf_isLanguageInstalled(id)) ICLanguage::mf_configureLanguage(id);
}

void ICProgramFrame::mf_implFindLanguageLibraries()
{
    static wchar_t const valueName[] = L"LanguageDir";
    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    CString const library = ICLanguage::mf_getLibraryName(ICLanguage::mf_getFallbackLanguageId());

    if (ICRegistry::mf_exists(valueName, root, HKEY_LOCAL_MACHINE)) {
        CString directory;
        ICRegistry::mf_getValue(valueName, directory, root, HKEY_LOCAL_MACHINE);
        if (ICPath::mf_exists(ICPath::mf_appendFile(directory, library))) return;
    }
    wchar_t program[MAX_PATH] = {};
    ulong const length = ::GetModuleFileNameW(nullptr, program, MAX_PATH - 1);
    CString const path(program, static_cast<int>(length));
    CString const directory = path.Left(path.ReverseFind(L'\\') + 1);
    // A program that stands beside no libraries either has nothing better to register.
    if (ICPath::mf_exists(ICPath::mf_appendFile(directory, library)))
        ICRegistry::mf_setValue(valueName, directory, root, 0, HKEY_LOCAL_MACHINE);
}
