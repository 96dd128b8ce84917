#pragma once

#include "tests/support/Platform.h"

#include <optional>
#include <vector>

// Whether the calling thread's own token has the privilege enabled; nothing if the thread has no token.
inline std::optional<bool> f_hasPrivilege(wchar_t const * name)
{
    HANDLE token = nullptr;
    if (!::OpenThreadToken(::GetCurrentThread(), TOKEN_QUERY, FALSE, &token)) return std::nullopt;
    DWORD size = 0;
    ::GetTokenInformation(token, TokenPrivileges, nullptr, 0, &size);
    std::vector<unsigned char> bytes(size);
    ::GetTokenInformation(token, TokenPrivileges, bytes.data(), size, &size);
    ::CloseHandle(token);

    LUID asked = {};
    ::LookupPrivilegeValueW(nullptr, name, &asked);
    auto const & privileges = *reinterpret_cast<TOKEN_PRIVILEGES const *>(bytes.data());
    for (ulong index = 0; index < privileges.PrivilegeCount; ++index) {
        LUID_AND_ATTRIBUTES const & held = privileges.Privileges[index];
        if (held.Luid.LowPart == asked.LowPart && held.Luid.HighPart == asked.HighPart)
            return (held.Attributes & SE_PRIVILEGE_ENABLED) != 0;
    }
    return false;
}

inline std::optional<bool> f_hasDebugPrivilege()
{
    return f_hasPrivilege(L"SeDebugPrivilege");
}

// The test's thread ends without a token of its own, whatever it got.
struct ICOwnTokenEnds
{
    ~ICOwnTokenEnds() { ::RevertToSelf(); }
};
