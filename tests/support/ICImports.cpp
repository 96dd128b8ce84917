#include "tests/support/ICImports.h"
#include "tests/support/internal/ICImportSlots.h"
#include "tests/support/internal/ICUnaligned.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

template<class TYPE>
TYPE * f_at(HMODULE module, ULONG_PTR offset)
{
    return reinterpret_cast<TYPE *>(reinterpret_cast<ULONG_PTR>(module) + offset);
}

void f_appendImportsFrom(HMODULE module, IMAGE_IMPORT_DESCRIPTOR const & descriptor, std::vector<IMPORT> & imports)
{
    auto const * entry = f_at<ULONG_PTR const>(module, descriptor.OriginalFirstThunk);
    auto * slot = f_at<ANYFUNCTION>(module, descriptor.FirstThunk);
    for (; f_readUnaligned<ULONG_PTR>(entry) != 0; ++entry, ++slot) {
        auto const value = f_readUnaligned<ULONG_PTR>(entry);
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

std::string f_lower(std::string_view text)
{
    std::string lower(text);
    for (char & character : lower)
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    return lower;
}

// Names that hold the wanted one, or are held by it: mostly the other of a pair like CreateFileA and CreateFileW.
std::string f_similarNames(char const * wanted, std::vector<IMPORT> const & imports)
{
    std::string const stem = f_lower(wanted).substr(0, std::max<std::size_t>(4, std::string_view(wanted).size() - 2));
    std::string similar;
    for (IMPORT const & import : imports) {
        if (f_lower(import.m_name).find(stem) != std::string::npos) similar.append(" ").append(import.m_name);
    }
    return similar.empty() ? similar : "; similar:" + similar;
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

ICImportSlots::ICImportSlots(char const * name, wchar_t const * module) : m_name(name)
{
    std::vector<IMPORT> const imports = f_importsOf(module);
    for (IMPORT const & import : imports) {
        if (std::string_view(import.m_name) == name) m_slots.push_back(import.m_slot);
    }
    if (m_slots.empty()) {
        std::string const owner = module == nullptr ? "the program" : f_narrow(module);
        throw std::runtime_error(owner + " does not import " + name + f_similarNames(name, imports));
    }
    m_original = f_readUnaligned<ANYFUNCTION>(m_slots.front());
}

ICImportSlots::~ICImportSlots()
{
    if (m_replacement == nullptr) return;
    for (ANYFUNCTION * slot : m_slots) {
        if (f_readUnaligned<ANYFUNCTION>(slot) == m_replacement)
            mf_exchange(slot, m_original);
        else
            ADD_FAILURE() << "patches of " << m_name << " must end in reverse order";
    }
}

void ICImportSlots::mf_replace(ANYFUNCTION replacement)
{
    m_replacement = replacement;
    for (ANYFUNCTION * slot : m_slots)
        mf_exchange(slot, replacement);
}

ANYFUNCTION ICImportSlots::mf_exchange(ANYFUNCTION * slot, ANYFUNCTION function)
{
    std::lock_guard const guard(g_tableLock);
    DWORD protection = 0;
    ::VirtualProtect(slot, sizeof(*slot), PAGE_READWRITE, &protection);
    auto const before =
        ::InterlockedExchange64(reinterpret_cast<LONG64 volatile *>(slot), reinterpret_cast<LONG64>(function));
    ::VirtualProtect(slot, sizeof(*slot), protection, &protection);
    return reinterpret_cast<ANYFUNCTION>(before);
}
