#include "frame/ICProgramFrame.h"

#include <iterator>

#include "frame/ICWineHost.h"
#include "hsmbase/context/ICDebug.h"
#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICThreadContext.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/context/ICTranslator.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/logging/ICAdminLog.h"
#include "hsmbase/logging/ICEventLog.h"
#include "hsmbase/logging/ICLog.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/registry/ICRegistry.h"
#include "hsmbase/system/ICSystem.h"
#include "hsmbase/text/ICNumberFormatter.h"
#include "hsmbase/volumes/ICStorage.h"

// Steps come up in this order and go down in reverse. Each status bit is set behind what it announces and cleared
// ahead of taking that down.
ICProgramFrame::STEP const ICProgramFrame::STEPS[] = {
    {&ICProgramFrame::mf_implStartRegistry, &ICProgramFrame::mf_implStopRegistry},
    {&ICProgramFrame::mf_implStartThreadSlot, &ICProgramFrame::mf_implStopThreadSlot},
    {&ICProgramFrame::mf_implStartLanguages, &ICProgramFrame::mf_implStopLanguages},
    {&ICProgramFrame::mf_implStartMainThread, &ICProgramFrame::mf_implStopMainThread},
    {&ICProgramFrame::mf_implStartTraceLog, &ICProgramFrame::mf_implStopTraceLog},
    {&ICProgramFrame::mf_implStartAdminLog, &ICProgramFrame::mf_implStopAdminLog},
    {&ICProgramFrame::mf_implStartEventLog, &ICProgramFrame::mf_implStopEventLog},
    {&ICProgramFrame::mf_implStartTranslator, &ICProgramFrame::mf_implStopTranslator},
    {&ICProgramFrame::mf_implStartNumberFormatter, &ICProgramFrame::mf_implStopNumberFormatter},
    {&ICProgramFrame::mf_implStartDebugging, &ICProgramFrame::mf_implStopDebugging},
    {&ICProgramFrame::mf_implStartMachineFacts, &ICProgramFrame::mf_implStopMachineFacts},
    {&ICProgramFrame::mf_implStartStorage, &ICProgramFrame::mf_implStopStorage},
};

ICProgramFrame::ICProgramFrame(CString const & registryRoot, CString const & language)
    : ICProgramFrame({.m_registryRoot = registryRoot, .m_language = language})
{}

ICProgramFrame::ICProgramFrame(OPTIONS const & options) : m_options(options)
{
    try {
        mf_implStart();
    }
    catch (ICErrno & failure) {
        if (m_options.m_tellFailure != nullptr) m_options.m_tellFailure(failure);
        mf_implStop();
        throw;
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
        STEP const & step = STEPS[--m_stepsUp];
        try {
            (this->*step.mf_stop)();
        }
        catch (ICErrno &) {
            // The step has left its trace; what came up before it must go down all the same.
        }
    }
}

void ICProgramFrame::mf_implStartRegistry()
{
    ICRegistry::mf_createInstance(m_options.m_registryRoot);
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

void ICProgramFrame::mf_implStartTraceLog()
{
    if (!m_options.m_traceLog.IsEmpty() || !m_options.m_adminLog.IsEmpty()) mf_implConfigureLogDirectory();
    if (m_options.m_traceLog.IsEmpty()) return;
    ICLog::mf_openLog(m_options.m_traceLog.GetString());
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 1);
}

// The status goes first, so the end banner reaches no file: that is how it is meant.
void ICProgramFrame::mf_implStopTraceLog()
{
    if (m_options.m_traceLog.IsEmpty()) return;
    ICStatus::mf_setStatus(ICStatus::STATUS_LOGGING, 0);
    ICLog::mf_closeLog();
}

// Within the trace log's time, which takes the failures of this one. It has no status bit.
void ICProgramFrame::mf_implStartAdminLog()
{
    if (!m_options.m_adminLog.IsEmpty()) ICAdminLog::mf_openLog(m_options.m_adminLog);
}
void ICProgramFrame::mf_implStopAdminLog()
{
    if (!m_options.m_adminLog.IsEmpty()) ICAdminLog::mf_closeLog();
}

void ICProgramFrame::mf_implStartEventLog()
{
    if (m_options.m_eventSource.IsEmpty()) return;
    ICEventLog::mf_createInstance(m_options.m_eventSource);
    ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 1);
}

void ICProgramFrame::mf_implStopEventLog()
{
    if (m_options.m_eventSource.IsEmpty()) return;
    ICStatus::mf_setStatus(ICStatus::STATUS_EVENT_LOGGING, 0);
    ICEventLog::mf_deleteInstance();
}

void ICProgramFrame::mf_implStartTranslator()
{
    ICTranslator::mf_createInstance();
    ICStatus::mf_setStatus(ICStatus::STATUS_TRANSLATOR, 1);
}

void ICProgramFrame::mf_implStopTranslator()
{
    ICStatus::mf_setStatus(ICStatus::STATUS_TRANSLATOR, 0);
    ICTranslator::mf_deleteInstance();
}

void ICProgramFrame::mf_implStartNumberFormatter()
{
    ICNumberFormatter::mf_createInstance();
    ICStatus::mf_setStatus(ICStatus::STATUS_NUMBER_FORMATTER, 1);
}

void ICProgramFrame::mf_implStopNumberFormatter()
{
    ICStatus::mf_setStatus(ICStatus::STATUS_NUMBER_FORMATTER, 0);
    ICNumberFormatter::mf_deleteInstance();
}

// Off without its key, which is the rule. A registry that can't be asked is no reason for a program not to start.
void ICProgramFrame::mf_implStartDebugging()
{
    try {
        if (ICDebug::mf_createInstance()) ICStatus::mf_setStatus(ICStatus::STATUS_DEBUGGING, 1);
    }
    catch (ICErrno &) {
        // It has left its trace.
    }
}

void ICProgramFrame::mf_implStopDebugging()
{
    ICStatus::mf_setStatus(ICStatus::STATUS_DEBUGGING, 0);
    ICDebug::mf_deleteInstance();
}

// They are kept without a lock, so they are asked for while there is one thread. Who needs what can't be had now asks
// again.
void ICProgramFrame::mf_implStartMachineFacts()
{
    for (void (*const ask)() : {+[] { static_cast<void>(ICSystem::mf_getHostName()); },
                                +[] { static_cast<void>(ICSystem::mf_getHostAddresses()); },
                                +[] { static_cast<void>(ICSystem::mf_getSystemRoot()); },
                                +[] { static_cast<void>(ICSystem::mf_getSystemDrive()); }}) {
        try {
            ask();
        }
        catch (ICErrno &) {
            // It has left its trace.
        }
    }
}

void ICProgramFrame::mf_implStartStorage()
{
    if (!m_options.m_storage) return;
    ICWineHost::mf_start();
    ICStorage::mf_createInstance();
    if (ICStorage::mf_isInitialized()) ICStatus::mf_setStatus(ICStatus::STATUS_STORAGE, 1);
}

void ICProgramFrame::mf_implStopStorage()
{
    if (!m_options.m_storage) return;
    ICStatus::mf_setStatus(ICStatus::STATUS_STORAGE, 0);
    ICStorage::mf_deleteInstance();
}

void ICProgramFrame::mf_implConfigureLanguage() const
{
    if (m_options.m_language.IsEmpty()) return;
    unsigned short const id = ICLanguage::mf_getLanguageId(m_options.m_language);
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
    CString const directory = mf_implGetProgramDirectory();
    // A program that stands beside no libraries either has nothing better to register.
    if (ICPath::mf_exists(ICPath::mf_appendFile(directory, library)))
        ICRegistry::mf_setValue(valueName, directory, root, 0, HKEY_LOCAL_MACHINE);
}

// The logs look for their directory themselves, but one that stands nowhere yet is neither registered nor made by them.
void ICProgramFrame::mf_implConfigureLogDirectory() const
{
    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    CString const directory = mf_implFindLogDirectory();
    if (!ICPath::mf_exists(directory)) ICPath::mf_mkdirs(directory);
    for (wchar_t const * const name : {L"LogFileDir", L"AdminLogFileDir"})
        if (!m_options.m_logDirectory.IsEmpty() || !ICRegistry::mf_exists(name, root, HKEY_LOCAL_MACHINE))
            ICRegistry::mf_setValue(name, directory, root, 0, HKEY_LOCAL_MACHINE);
}

CString ICProgramFrame::mf_implFindLogDirectory() const
{
    if (!m_options.m_logDirectory.IsEmpty()) return m_options.m_logDirectory;
    CString const root = ICRegistry::mf_getRegistryRoot(CString());
    CString directory;
    if (ICRegistry::mf_exists(L"LogFileDir", root, HKEY_LOCAL_MACHINE)) {
        ICRegistry::mf_getValue(L"LogFileDir", directory, root, HKEY_LOCAL_MACHINE);
        return directory;
    }
    if (ICRegistry::mf_exists(L"Path", root, HKEY_LOCAL_MACHINE))
        ICRegistry::mf_getValue(L"Path", directory, root, HKEY_LOCAL_MACHINE);
    else
        directory = mf_implGetProgramDirectory();
    return ICPath::mf_normalizeDirectory(directory) + L"logs\\";
}

// With a backslash at its end.
CString ICProgramFrame::mf_implGetProgramDirectory()
{
    wchar_t program[MAX_PATH] = {};
    ulong const length = ::GetModuleFileNameW(nullptr, program, MAX_PATH - 1);
    CString const path(program, static_cast<int>(length));
    return path.Left(path.ReverseFind(L'\\') + 1);
}
