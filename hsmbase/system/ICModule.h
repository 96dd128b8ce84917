#pragma once

#include "hsmbase/Types.h"

// A dynamic library that is loaded while the object lives.
//
//     ICModule module(L"netapi32.dll");
//     auto const free = reinterpret_cast<FREE>(module.mf_getAddress(L"NetApiBufferFree"));
//
// Threads: an object belongs to one thread at a time; what was found may be called from any.
class HSMBASE_EXPORT ICModule
{
public:
    // The library's name or path, as LoadLibraryW takes it. Throws _E_::DllOpen with the system's number.
    ICModule(CString const & name);

    // Deliberate: both objects hold the one load, and the first to go unloads the library for both.
    ICModule(ICModule const & other) = default;
    ICModule & operator=(ICModule const & other) = default;

    // Unloads; a failure of the platform is only logged. Keeps the thread's last error.
    // Deliberate: throws _E_::Initialization if there is no handle.
    virtual ~ICModule() noexcept(false);

    // A function by its name in the library's table. Throws _E_::Parameter for an empty name or no handle,
    // _E_::DllFunction with the system's number if there is no such function.
    FARPROC mf_getAddress(CString const & function);

    // The same with `part` in place of the first "<IC>": "Open<IC>File" and "Ex" find "OpenExFile". Throws
    // _E_::Internal for a template without that mark.
    FARPROC mf_getAddress(CString const & functionTemplate, CString const & part);

private:
    void mf_implOpen();
    void mf_implClose();

    CString m_sName;
    HMODULE m_hModule = nullptr;
};
