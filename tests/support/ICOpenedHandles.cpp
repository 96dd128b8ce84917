#include "tests/support/ICOpenedHandles.h"

#include <tlhelp32.h>

ICOpenedHandles::ICOpenedHandles()
{
    mf_implOpens(IC_IMPORT(CreateFileW), "CloseHandle");
    mf_implOpens(IC_IMPORT(CreateMutexW), "CloseHandle");
    mf_implOpens(IC_IMPORT(OpenProcess), "CloseHandle");
    mf_implOpens(IC_IMPORT(CreateToolhelp32Snapshot), "CloseHandle");
    mf_implOpens(IC_IMPORT(FindFirstFileW), "FindClose");
    mf_implOpens(IC_IMPORT(FindFirstFileExW), "FindClose");
    mf_implOpens(IC_IMPORT(FindFirstVolumeW), "FindVolumeClose");
    mf_implOpens(IC_IMPORT(FindFirstVolumeMountPointW), "FindVolumeMountPointClose");
    mf_implOpensToken();
    mf_implCloses<1>("CloseHandle");
    mf_implCloses<2>("FindClose");
    mf_implCloses<3>("FindVolumeClose");
    mf_implCloses<4>("FindVolumeMountPointClose");
}

ICOpenedHandles::~ICOpenedHandles()
{
    while (!m_patches.empty())
        m_patches.pop_back();
}

std::string ICOpenedHandles::mf_settle()
{
    std::string wrong = std::move(m_wrong);
    m_wrong.clear();
    for (auto const & [handle, opened] : m_open)
        wrong += std::string("left open: a handle of ") + opened.m_openedBy + "; ";
    m_open.clear();
    return wrong;
}

template<class RESULT, class... ARGS>
void ICOpenedHandles::mf_implOpens(ICImportName<RESULT (*)(ARGS...)> name, char const * closedBy)
{
    std::optional<ICImportPatch> & patch = m_patches.emplace_back();
    patch.emplace(name, [this, name, closedBy, &patch](ARGS... arguments) -> RESULT {
        HANDLE const handle = patch->template mf_original<RESULT (*)(ARGS...)>()(arguments...);
        ulong const lastError = ::GetLastError();
        if (handle != nullptr && handle != INVALID_HANDLE_VALUE) m_open[handle] = {name.m_name, closedBy};
        ::SetLastError(lastError);
        return handle;
    });
}

void ICOpenedHandles::mf_implOpensToken()
{
    std::optional<ICImportPatch> & patch = m_patches.emplace_back();
    patch.emplace(IC_IMPORT(OpenThreadToken), [this, &patch](HANDLE thread, DWORD rights, BOOL asSelf, HANDLE * token) {
        BOOL const isOpen =
            patch->mf_original<BOOL (*)(HANDLE, DWORD, BOOL, HANDLE *)>()(thread, rights, asSelf, token);
        ulong const lastError = ::GetLastError();
        if (isOpen) m_open[*token] = {"OpenThreadToken", "CloseHandle"};
        ::SetLastError(lastError);
        return isOpen;
    });
}

// A place for each name: patches are told apart by the types of their lambdas.
template<int PLACE>
void ICOpenedHandles::mf_implCloses(char const * name)
{
    std::optional<ICImportPatch> & patch = m_patches.emplace_back();
    patch.emplace(ICImportName<BOOL (*)(HANDLE)>{name}, [this, name, &patch](HANDLE handle) -> BOOL {
        mf_implClose(handle, name);
        return patch->template mf_original<BOOL (*)(HANDLE)>()(handle);
    });
}

void ICOpenedHandles::mf_implClose(HANDLE handle, char const * name)
{
    auto const found = m_open.find(handle);
    if (found == m_open.end())
        m_wrong += std::string(name) + " of what is not open; ";
    else if (found->second.m_closedBy != std::string(name))
        m_wrong += std::string(name) + " of a handle of " + found->second.m_openedBy + "; ";
    if (found != m_open.end()) m_open.erase(found);
}
