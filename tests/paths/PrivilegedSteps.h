#pragma once

#include <string>
#include <vector>

#include "tests/support/ICImportPatch.h"
#include "tests/system/PrivilegeState.h"

// What the library does to privileges and, meanwhile, to a file, step by step:
//
//     EXPECT_THAT(steps.mf_get(), ElementsAre("+SeDebugPrivilege", "CreateFileW", "SetFileTime", "-SeDebugPrivilege"));
//
// Calls that an ICImportFault answers, which begins later, are no steps. The thread's own token ends with the object.
class ICPrivilegedSteps
{
public:
    ICPrivilegedSteps()
        : m_adjust(IC_IMPORT(AdjustTokenPrivileges),
                   [this](HANDLE token, BOOL all, TOKEN_PRIVILEGES * privileges, DWORD size, auto * previous,
                          DWORD * previousSize) {
                       mf_implNote(privileges->Privileges[0]);
                       return ::AdjustTokenPrivileges(token, all, privileges, size, previous, previousSize);
                   }),
          m_open(IC_IMPORT(CreateFileW),
                 [this](LPCWSTR path, DWORD access, DWORD share, auto * security, DWORD disposition, DWORD flags,
                        HANDLE model) {
                     m_steps.push_back("CreateFileW");
                     return ::CreateFileW(path, access, share, security, disposition, flags, model);
                 }),
          m_setTimes(IC_IMPORT(SetFileTime),
                     [this](HANDLE file, FILETIME const * creation, FILETIME const * access, FILETIME const * write) {
                         m_steps.push_back("SetFileTime");
                         return ::SetFileTime(file, creation, access, write);
                     }),
          m_setSecurity(IC_IMPORT(SetFileSecurityW),
                        [this](LPCWSTR path, SECURITY_INFORMATION parts, PSECURITY_DESCRIPTOR descriptor) {
                            m_steps.push_back("SetFileSecurityW");
                            return ::SetFileSecurityW(path, parts, descriptor);
                        })
    {}
    ICPrivilegedSteps(ICPrivilegedSteps const &) = delete;
    ICPrivilegedSteps & operator=(ICPrivilegedSteps const &) = delete;

    std::vector<std::string> const & mf_get() const { return m_steps; }
    void mf_clear() { m_steps.clear(); }

    // Whether the thread has none of the privileges enabled that the library switches.
    static bool mf_areAllOff()
    {
        for (wchar_t const * const name : {L"SeDebugPrivilege", L"SeRestorePrivilege", L"SeSecurityPrivilege"})
            if (f_hasPrivilege(name).value_or(false)) return false;
        return true;
    }

private:
    void mf_implNote(LUID_AND_ATTRIBUTES & privilege)
    {
        char name[64] = {};
        DWORD size = sizeof name;
        ::LookupPrivilegeNameA(nullptr, &privilege.Luid, name, &size);
        m_steps.push_back((privilege.Attributes & SE_PRIVILEGE_ENABLED ? "+" : "-") + std::string(name));
    }

    ICOwnTokenEnds const m_tokenEnds;
    std::vector<std::string> m_steps;
    ICImportPatch const m_adjust;
    ICImportPatch const m_open;
    ICImportPatch const m_setTimes;
    ICImportPatch const m_setSecurity;
};
