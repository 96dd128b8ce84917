#include "hsmbase/context/ICStatus.h"

#include "hsmbase/context/internal/ICSectionLock.h"
#include "hsmbase/failure/internal/ICTrace.h"

namespace
{
struct STATUS_ITEM
{
    ulong bit;
    wchar_t const * name;
};

constexpr STATUS_ITEM STATUS_ITEMS[] = {
    {ICStatus::STATUS_NONE, L"STATUS_NONE"},
    {ICStatus::STATUS_CONFIGURATION, L"STATUS_CONFIGURATION"},
    {ICStatus::STATUS_RESOURCES, L"STATUS_RESOURCES"},
    {ICStatus::STATUS_MAIN_THREAD, L"STATUS_MAIN_THREAD"},
    {ICStatus::STATUS_TRANSLATOR, L"STATUS_TRANSLATOR"},
    {ICStatus::STATUS_NUMBER_FORMATTER, L"STATUS_NUMBER_FORMATTER"},
    {ICStatus::STATUS_DEBUGGING, L"STATUS_DEBUGGING"},
    {ICStatus::STATUS_LOGGING, L"STATUS_LOGGING"},
    {ICStatus::STATUS_EVENT_LOGGING, L"STATUS_EVENT_LOGGING"},
    {ICStatus::STATUS_INSTALLATION, L"STATUS_INSTALLATION"},
    {ICStatus::STATUS_STORAGE, L"STATUS_STORAGE"},
    {ICStatus::STATUS_DOMAIN_CONTROLLER, L"STATUS_DOMAIN_CONTROLLER"},
    {ICStatus::STATUS_GENERAL_THREADS, L"STATUS_GENERAL_THREADS"},
    {ICStatus::STATUS_MAIN_DATABASE, L"STATUS_MAIN_DATABASE"},
    {ICStatus::STATUS_CLUSTER_STORAGE, L"STATUS_CLUSTER_STORAGE"},
    {ICStatus::STATUS_CLUSTER, L"STATUS_CLUSTER"},
    {ICStatus::STATUS_BACKEND, L"STATUS_BACKEND"},
    {ICStatus::STATUS_VOLUME_MAPPINGS, L"STATUS_VOLUME_MAPPINGS"},
};
} // namespace

// The values stand in the class; these are their places in memory, for programs that take a reference to one.
ulong const ICStatus::STATUS_NONE;
ulong const ICStatus::STATUS_CONFIGURATION;
ulong const ICStatus::STATUS_RESOURCES;
ulong const ICStatus::STATUS_MAIN_THREAD;
ulong const ICStatus::STATUS_TRANSLATOR;
ulong const ICStatus::STATUS_NUMBER_FORMATTER;
ulong const ICStatus::STATUS_DEBUGGING;
ulong const ICStatus::STATUS_LOGGING;
ulong const ICStatus::STATUS_EVENT_LOGGING;
ulong const ICStatus::STATUS_INSTALLATION;
ulong const ICStatus::STATUS_STORAGE;
ulong const ICStatus::STATUS_DOMAIN_CONTROLLER;
ulong const ICStatus::STATUS_GENERAL_THREADS;
ulong const ICStatus::STATUS_MAIN_DATABASE;
ulong const ICStatus::STATUS_CLUSTER_STORAGE;
ulong const ICStatus::STATUS_CLUSTER;
ulong const ICStatus::STATUS_BACKEND;
ulong const ICStatus::STATUS_VOLUME_MAPPINGS;

constinit ICStatus ICStatus::m_instance(LOCK_UNARMED);

ICStatus::ICStatus() : ICStatus(LOCK_UNARMED)
{
    mf_implArmLock();
}

ICStatus::ICStatus(ICStatus const & other) : ICStatus()
{
    m_status = other.mf_implGetStatus();
}

ICStatus & ICStatus::operator=(ICStatus const & other)
{
    // One lock at a time: two objects assigned to each other by two threads must not wait for each other.
    ulong const bits = other.mf_implGetStatus();
    ICSectionLock const lock(m_lock);
    m_status = bits;
    return *this;
}

ICStatus::~ICStatus()
{
    // The process's own lock outlives its object: the statics of programs and of other files are destroyed later, their
    // destructors may trace, and each trace line asks here first. It goes with the process.
    if (this != &m_instance) ::DeleteCriticalSection(&m_lock);
}

int ICStatus::mf_canToggleLanguages()
{
    return mf_implGetToggleableContext(STATUS_NONE) != nullptr;
}

int ICStatus::mf_canWriteToLogFile()
{
    return mf_implGetToggleableContext(STATUS_LOGGING) != nullptr;
}

int ICStatus::mf_canWriteToEventLog()
{
    return mf_implGetInstance().mf_implHasStatus(STATUS_EVENT_LOGGING);
}

CString ICStatus::mf_getStatusItemString(ulong bit)
{
    static wchar_t const _sFunction_[] = L"ICStatus::mf_getStatusItemString";

    for (STATUS_ITEM const & item : STATUS_ITEMS)
        if (item.bit == bit) return item.name;
    throw ICTrace(_sFunction_)
        .mf_failed(ICErrno::_E_::Unknown, L"Undefined (or multiple-value) status value: %lu", bit);
}

void ICStatus::mf_setStatus(ulong bits, int on)
{
    static wchar_t const _sFunction_[] = L"ICStatus::mf_setStatus";

    mf_implGetInstance().mf_implSetStatus(bits, on);
    if (!(bits & STATUS_LOGGING)) return;

    // Deliberate: the banners follow the change. So the first line of a run is its start banner, and the end banner,
    // which mf_canWriteToLogFile refuses by then, reaches neither file nor listeners.
    ICTrace const trace(_sFunction_);
    if (on)
        trace.mf_info(L"**** Logging started ******************************************************");
    else
        trace.mf_info(L"==== Logging terminated ===================================================");
}

ICStatus & ICStatus::mf_implGetInstance()
{
    // A lock that the compiler builds is not known to work everywhere, and other statics may ask before those of this
    // file are built: the first caller arms the lock, and all others wait for that.
    [[maybe_unused]] static int const isArmed = m_instance.mf_implArmLock();
    return m_instance;
}

// The calling thread's context, if it may toggle languages and the further bits are set, else NULL. Every trace line
// comes along here, so the bits are read once and the slot is looked into once.
ICThreadContext * ICStatus::mf_implGetToggleableContext(ulong furtherBits)
{
    if (!mf_implGetInstance().mf_implHasStatus(STATUS_RESOURCES | STATUS_MAIN_THREAD | furtherBits)) return nullptr;
    try {
        return ICThreadContext::mf_implFindInitialized();
    }
    catch (ICErrno &) {
        // Who cannot learn whether there is a context gets the answer for none.
        return nullptr;
    }
}

int ICStatus::mf_implArmLock()
{
    ::InitializeCriticalSection(&m_lock);
    return 1;
}

ulong ICStatus::mf_implGetStatus() const
{
    ICSectionLock const lock(m_lock);
    return m_status;
}

int ICStatus::mf_implHasStatus(ulong bits) const
{
    return (mf_implGetStatus() & bits) == bits;
}

void ICStatus::mf_implSetStatus(ulong bits, int on)
{
    ICSectionLock const lock(m_lock);
    m_status = on ? m_status | bits : m_status & ~bits;
}
