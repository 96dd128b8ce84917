#include "frame/ICWineHost.h"

#include "winehost/IsWine.h"

void ICWineHost::mf_start()
{
    static wchar_t const MODULE[] = L"winehost.dll";
    if (!f_isWine() || ::GetModuleHandleW(MODULE) != nullptr) return;
    // It stays until the process ends: others may be on their way through it.
    HMODULE const module = ::LoadLibraryExW(MODULE, nullptr, LOAD_LIBRARY_SEARCH_APPLICATION_DIR);
    if (module == nullptr) return;
    auto const start = reinterpret_cast<void (*)()>(::GetProcAddress(module, "f_startWineHost"));
    if (start != nullptr) start();
}
