// Answers what hsmbase asks of volumes and Wine can't tell, as far as it takes to know Wine's drives for what they are.
// ICProgramFrame loads this module under Wine ahead of the storage. Only hsmbase's imports are changed.
#include "hsmbase/failure/internal/ICTrace.h"
#include "winehost/ImportTable.h"
#include "winehost/IsWine.h"

#include <cwchar>
#include <string_view>

namespace
{

constexpr wchar_t TAG[] = L"winehost";

struct STAND_IN
{
    char const * name;
    ANYFUNCTION function;
};

// The letter of the volume with this id path, as "D:\"; empty if it has none.
CString f_rootOf(wchar_t const * idPath)
{
    for (wchar_t root[] = L"A:\\"; root[0] <= L'Z'; ++root[0]) {
        wchar_t found[MAX_PATH] = {};
        if (::GetVolumeNameForVolumeMountPointW(root, found, MAX_PATH) && std::wcscmp(found, idPath) == 0) return root;
    }
    return CString();
}

// Wine knows the type of a letter, but not of a volume id.
UINT WINAPI f_getDriveType(LPCWSTR root)
{
    UINT const driveType = ::GetDriveTypeW(root);
    if (driveType != DRIVE_UNKNOWN || root == nullptr || std::wcsncmp(root, L"\\\\?\\Volume{", 11) != 0)
        return driveType;
    CString const letter = f_rootOf(root);
    return letter.IsEmpty() ? driveType : ::GetDriveTypeW(letter);
}

// Wine has no volumes that are mounted at directories, and no call that says so.
HANDLE WINAPI f_findFirstVolumeMountPoint(LPCWSTR root, LPWSTR path, DWORD length)
{
    HANDLE const search = ::FindFirstVolumeMountPointW(root, path, length);
    if (search == INVALID_HANDLE_VALUE && ::GetLastError() == ERROR_CALL_NOT_IMPLEMENTED)
        ::SetLastError(ERROR_NO_MORE_FILES);
    return search;
}

STAND_IN const STAND_INS[] = {
    {"GetDriveTypeW", reinterpret_cast<ANYFUNCTION>(&f_getDriveType)},
    {"FindFirstVolumeMountPointW", reinterpret_cast<ANYFUNCTION>(&f_findFirstVolumeMountPoint)},
};

} // namespace

// To be called once after loading. The stand-ins stay: the module must not be unloaded behind this call.
extern "C" __declspec(dllexport) void f_startWineHost()
{
    for (IMPORT const & import : f_importsOf())
        for (STAND_IN const & standIn : STAND_INS)
            if (std::string_view(import.m_name) == standIn.name) f_exchangeImport(import.m_slot, standIn.function);
    ICTrace(TAG).mf_info(L"Standing in for what Wine lacks:\r\n%sGetDriveTypeW: a volume id has the type of its letter"
                         L"\r\n%sFindFirstVolumeMountPointW: no volume has mount points",
                         ICLog::TAB, ICLog::TAB);
}

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    return reason != DLL_PROCESS_ATTACH || f_isWine();
}
