#include "hsmbase/context/ICThreadContext.h"

#include <new>
#include <span>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICStatus.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/context/ICTlsHandler.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
constexpr unsigned int RESOURCE_THREAD_CONTEXT = 4446;

struct NAMED_VALUE
{
    ulong value;
    CString const & name;
};

CString f_nameOf(ulong value, std::span<NAMED_VALUE const> names, wchar_t const * otherwise)
{
    for (NAMED_VALUE const & entry : names)
        if (entry.value == value) return entry.name;
    return otherwise;
}
} // namespace

// The values stand in the class; these are their places in memory, for programs that take a reference to one.
ulong const ICThreadContext::TYPE_MAIN;
ulong const ICThreadContext::TYPE_TIMER;
ulong const ICThreadContext::TYPE_POLLING;
ulong const ICThreadContext::TYPE_WORKER;
ulong const ICThreadContext::TYPE_CONTROLLER;
ulong const ICThreadContext::TYPE_PROCESS_IO;
ulong const ICThreadContext::TYPE_DRIVER_RECALL;
ulong const ICThreadContext::TYPE_DRIVER_LOGGING;
ulong const ICThreadContext::TYPE_DRIVER_QUOTA;
ulong const ICThreadContext::TYPE_GC_QUOTA;
ulong const ICThreadContext::TYPE_TERMINATOR;
ulong const ICThreadContext::TYPE_FS_SCAN;
ulong const ICThreadContext::TYPE_BACKUP;
ulong const ICThreadContext::TYPE_MIGRATION;
ulong const ICThreadContext::STATE_GLOBAL;
ulong const ICThreadContext::STATE_ITEM;

CString const ICThreadContext::m_sTypeMain(L"main");
CString const ICThreadContext::m_sTypeTimer(L"timer");
CString const ICThreadContext::m_sTypePolling(L"polling");
CString const ICThreadContext::m_sTypeWorker(L"general-worker");
CString const ICThreadContext::m_sTypeController(L"controller");
CString const ICThreadContext::m_sTypeProcessIO(L"process-io");
CString const ICThreadContext::m_sTypeDriverRecall(L"driver-recall");
CString const ICThreadContext::m_sTypeDriverLogging(L"driver-logging");
CString const ICThreadContext::m_sTypeDriverQuota(L"driver-quota");
CString const ICThreadContext::m_sTypeGcQuota(L"gc-quota");
CString const ICThreadContext::m_sTypeTerminator(L"thread-terminator");
CString const ICThreadContext::m_sTypeFSScan(L"filesystem-scan");
CString const ICThreadContext::m_sTypeBackup(L"backup");
CString const ICThreadContext::m_sTypeMigration(L"migration");
CString const ICThreadContext::m_sStateGlobal(L"global operation");
CString const ICThreadContext::m_sStateItem(L"item operation");

ICThreadContext::ICThreadContext(ulong type, ulong index)
    : m_type(type), m_index(index), m_stateCounter(0), m_canceled(0)
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::ICThreadContext";

    try {
        m_userLanguageId = ICLanguage::mf_getUserLanguageId();
        m_loggingLanguageId = ICLanguage::mf_getLoggingLanguageId();
        m_userLanguageHandle = ICLanguage::mf_getUserLanguageHandle();
        m_loggingLanguageHandle = ICLanguage::mf_getLoggingLanguageHandle();
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure getting language handle(s): %s", failure.mf_toString());
    }
    m_currentLanguageId = m_userLanguageId;
    m_currentLanguageHandle = m_userLanguageHandle;
}

ICThreadContext::~ICThreadContext() = default;

void ICThreadContext::mf_create(ulong type, ulong index)
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_create";

    ICErrnoData outcome;
    ICThreadContext * context = nullptr;
    try {
        context = new (std::nothrow) ICThreadContext(type, index);
        if (context == nullptr)
            ICTrace(_sFunction_).mf_collect(outcome, ICErrno::_E_::Memory, L"No memory for thread context allocation");
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure creating thread context: %s", failure.mf_toString());
    }

    if (context != nullptr) {
        try {
            ICTlsHandler::mf_setContextData(context);
        }
        catch (ICErrno & failure) {
            ICTrace(_sFunction_)
                .mf_collect(outcome, failure, L"Failure setting thread context data: %s", failure.mf_toString());
        }
    }

    if (outcome.mf_isSet()) {
        delete context;
        throw ICErrno(outcome);
    }
    ICTrace(_sFunction_).mf_trace(L"Thread context data attached:\r\n%s%s", ICLog::TAB, mf_toString());
}

void ICThreadContext::mf_delete()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_delete";

    ICErrnoData outcome;
    ICThreadContext * context = nullptr;
    try {
        context = mf_implFindThreadContext();
    }
    catch (ICErrno & failure) {
        ICTrace(_sFunction_)
            .mf_collect(outcome, failure, L"Failure getting thread context data: %s", failure.mf_toString());
    }

    if (!outcome.mf_isSet()) {
        try {
            // The slot is cleared first: no trace line, not even that of a failure, may find a deleted context in it.
            ICTlsHandler::mf_setContextData(nullptr);
            delete context;
        }
        catch (ICErrno & failure) {
            ICTrace(_sFunction_)
                .mf_collect(outcome, failure, L"Failure cleaning thread context data: %s", failure.mf_toString());
        }
    }

    if (outcome.mf_isSet()) throw ICErrno(outcome);
}

int ICThreadContext::mf_isInitialized()
{
    return mf_implFindInitialized() != nullptr;
}

ulong ICThreadContext::mf_getType()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_getType";
    return mf_implForward(_sFunction_, &mf_implGetThreadContext)->m_type;
}

ulong ICThreadContext::mf_getIndex()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_getIndex";
    return mf_implForward(_sFunction_, &mf_implGetThreadContext)->m_index;
}

void ICThreadContext::mf_setState(ulong state)
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_setState";

    ICThreadContext * const context = mf_implForward(_sFunction_, &mf_implGetThreadContext);
    if (state != STATE_GLOBAL && state != STATE_ITEM)
        throw ICTrace(_sFunction_)
            .mf_failedAt(ICLogData::LEVEL_T, ICErrno::_E_::Internal, L"Unknown Thread state: %lu (%s)", state,
                         mf_getStateString(state));

    bool const isGlobal = state == STATE_GLOBAL;
    long const counter =
        isGlobal ? ::InterlockedIncrement(&context->m_stateCounter) : ::InterlockedDecrement(&context->m_stateCounter);
    ICTrace(_sFunction_)
        .mf_trace(L"Thread state counter %scremented to %ld (%s)", isGlobal ? L"in" : L"de", counter,
                  counter < 0 ? L"STATE_ITEM" : L"STATE_GLOBAL");
}

ulong ICThreadContext::mf_getState()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_getState";
    return mf_implForward(_sFunction_, &mf_implGetThreadContext)->m_stateCounter < 0 ? STATE_ITEM : STATE_GLOBAL;
}

CString ICThreadContext::mf_getTypeString(ulong type)
{
    static NAMED_VALUE const names[] = {
        {TYPE_MAIN, m_sTypeMain},
        {TYPE_TIMER, m_sTypeTimer},
        {TYPE_POLLING, m_sTypePolling},
        {TYPE_WORKER, m_sTypeWorker},
        {TYPE_CONTROLLER, m_sTypeController},
        {TYPE_PROCESS_IO, m_sTypeProcessIO},
        {TYPE_DRIVER_RECALL, m_sTypeDriverRecall},
        {TYPE_DRIVER_LOGGING, m_sTypeDriverLogging},
        {TYPE_DRIVER_QUOTA, m_sTypeDriverQuota},
        {TYPE_GC_QUOTA, m_sTypeGcQuota},
        {TYPE_TERMINATOR, m_sTypeTerminator},
        {TYPE_FS_SCAN, m_sTypeFSScan},
        {TYPE_BACKUP, m_sTypeBackup},
        {TYPE_MIGRATION, m_sTypeMigration},
    };
    return f_nameOf(type, names, L"<UNEXPECTED-THREAD-TYPE>");
}

CString ICThreadContext::mf_getStateString(ulong state)
{
    static NAMED_VALUE const names[] = {{STATE_GLOBAL, m_sStateGlobal}, {STATE_ITEM, m_sStateItem}};
    return f_nameOf(state, names, L"<UNEXPECTED-THREAD-STATE>");
}

void ICThreadContext::mf_setUserLanguage()
{
    ICThreadContext * const context = ICStatus::mf_implGetToggleableContext(ICStatus::STATUS_NONE);
    if (context == nullptr) return;
    context->m_currentLanguageId = context->m_userLanguageId;
    context->m_currentLanguageHandle = context->m_userLanguageHandle;
}

void ICThreadContext::mf_setLoggingLanguage()
{
    ICThreadContext * const context = ICStatus::mf_implGetToggleableContext(ICStatus::STATUS_NONE);
    if (context == nullptr) return;
    context->m_currentLanguageId = context->m_loggingLanguageId;
    context->m_currentLanguageHandle = context->m_loggingLanguageHandle;
}

unsigned short ICThreadContext::mf_getCurrentLanguageId()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_getCurrentLanguageId";
    return mf_implForward(_sFunction_, &mf_implGetThreadContext)->m_currentLanguageId;
}

HINSTANCE ICThreadContext::mf_getCurrentLanguageHandle()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_getCurrentLanguageHandle";
    return mf_implForward(_sFunction_, &mf_implGetThreadContext)->m_currentLanguageHandle;
}

void ICThreadContext::mf_setCanceled(int canceled)
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_setCanceled";

    ICThreadContext * const context = mf_implForward(_sFunction_, &mf_implGetThreadContext);
    if (context->m_type == TYPE_MAIN) {
        ICTrace(_sFunction_).mf_trace(L"Main thread, thread cancelation not possible");
        return;
    }
    context->m_canceled = canceled;
}

int ICThreadContext::mf_isCanceled()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_isCanceled";
    return mf_implForward(_sFunction_, &mf_implGetThreadContext)->m_canceled;
}

CString ICThreadContext::mf_toString()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_toString";

    ICThreadContext const * const context = mf_implForward(_sFunction_, &mf_implGetThreadContext);
    CString const type = mf_getTypeString(context->m_type);
    CString const state = mf_implGetStateString(context->m_stateCounter);
    return ICString(RESOURCE_THREAD_CONTEXT, context->m_type, type.GetString(), context->m_index,
                    context->m_stateCounter, state.GetString());
}

// The calling thread's context; NULL if it has none.
ICThreadContext * ICThreadContext::mf_implFindThreadContext()
{
    return static_cast<ICThreadContext *>(ICTlsHandler::mf_getContextData());
}

// The look-up of mf_isInitialized, which those who need the context along with the answer share.
ICThreadContext * ICThreadContext::mf_implFindInitialized()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_isInitialized";
    return mf_implForward(_sFunction_, &mf_implFindThreadContext);
}

// The calling thread's context. A missing one is thrown without a trace line: each operation adds its own.
ICThreadContext * ICThreadContext::mf_implGetThreadContext()
{
    static wchar_t const _sFunction_[] = L"ICThreadContext::mf_implGetThreadContext";

    ICThreadContext * const context = mf_implForward(_sFunction_, &mf_implFindThreadContext);
    if (context == nullptr) throw ICErrno(ICErrno::_E_::Unexpected);
    return context;
}

// Answers what `lookup` does; its failure is logged under the tag `function` and thrown on.
ICThreadContext * ICThreadContext::mf_implForward(wchar_t const * function, ICThreadContext * (*lookup)())
{
    try {
        return lookup();
    }
    catch (ICErrno & failure) {
        throw ICTrace(function).mf_failed(failure, L"Failure getting thread context data: %s", failure.mf_toString());
    }
}

CString ICThreadContext::mf_implGetStateString(long counter)
{
    CString text;
    if (counter < 0)
        text.Format(L"%s%ld", m_sStateItem.GetString(), counter);
    else
        text.Format(L"%s+%ld", m_sStateGlobal.GetString(), counter);
    return text;
}
