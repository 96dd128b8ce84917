#include "winehost/ImportTable.h"

#include <windows.h>

#include <bit>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <string>

namespace
{

template<class TYPE>
TYPE * f_at(HMODULE module, ULONG_PTR offset)
{
    return reinterpret_cast<TYPE *>(reinterpret_cast<char *>(module) + offset);
}

void f_appendImportsFrom(HMODULE module, IMAGE_IMPORT_DESCRIPTOR const & descriptor, std::vector<IMPORT> & imports)
{
    auto const * entry = f_at<char const>(module, descriptor.OriginalFirstThunk);
    auto * slot = f_at<ANYFUNCTION>(module, descriptor.FirstThunk);
    for (ULONG_PTR value = 0;; entry += sizeof(value), ++slot) {
        std::memcpy(&value, entry, sizeof(value)); // linkers put tables at odd addresses
        if (value == 0) return;
        char const * name = "";
        if (!IMAGE_SNAP_BY_ORDINAL(value))
            name = f_at<char const>(module, value + offsetof(IMAGE_IMPORT_BY_NAME, Name));
        imports.push_back({f_at<char const>(module, descriptor.Name), name, slot});
    }
}

std::string f_narrow(wchar_t const * text)
{
    std::string narrow;
    for (; *text != 0; ++text)
        narrow.push_back(*text < 0x7F ? static_cast<char>(*text) : '?');
    return narrow;
}

std::mutex g_tableLock; // Guards the protection of the tables' pages, which is changed and put back.

} // namespace

std::vector<IMPORT> f_importsOf(wchar_t const * module)
{
    HMODULE const loaded = ::GetModuleHandleW(module);
    if (loaded == nullptr) throw std::runtime_error("module " + f_narrow(module) + " is not loaded");

    auto const * dos = f_at<IMAGE_DOS_HEADER const>(loaded, 0);
    auto const * headers = f_at<IMAGE_NT_HEADERS const>(loaded, static_cast<ULONG_PTR>(dos->e_lfanew));
    auto const & directory = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_IMPORT];
    std::vector<IMPORT> imports;
    if (directory.VirtualAddress == 0) return imports;
    auto const * descriptor = f_at<IMAGE_IMPORT_DESCRIPTOR const>(loaded, directory.VirtualAddress);
    for (; descriptor->FirstThunk != 0; ++descriptor)
        f_appendImportsFrom(loaded, *descriptor, imports);
    return imports;
}

ANYFUNCTION f_exchangeImport(ANYFUNCTION * slot, ANYFUNCTION function)
{
    std::lock_guard const guard(g_tableLock);
    DWORD protection = 0;
    ::VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    // As numbers, since tables may lie at odd addresses.
    auto const before =
        ::InterlockedExchange64(reinterpret_cast<LONG64 volatile *>(slot), reinterpret_cast<LONG64>(function));
    ::VirtualProtect(slot, sizeof(*slot), protection, &protection);
    return std::bit_cast<ANYFUNCTION>(before);
}
