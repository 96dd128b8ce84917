#include "tests/support/internal/ICImportSlots.h"
#include "tests/support/internal/ICFailure.h"
#include "tests/support/internal/ICUnaligned.h"
#include "winehost/ImportTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <string>
#include <string_view>

namespace
{

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

} // namespace

ICImportSlots::ICImportSlots(char const * name, wchar_t const * module) : m_name(name)
{
    std::vector<IMPORT> const imports = f_importsOf(module);
    for (IMPORT const & import : imports) {
        if (std::string_view(import.m_name) == name) m_slots.push_back(import.m_slot);
    }
    if (m_slots.empty()) {
        std::string const owner = module == nullptr ? "the program" : f_utf8(module);
        throw std::runtime_error(owner + " does not import " + name + f_similarNames(name, imports));
    }
    m_original = f_readUnaligned<ANYFUNCTION>(m_slots.front());
}

ICImportSlots::~ICImportSlots()
{
    if (m_replacement == nullptr) return;
    for (ANYFUNCTION * slot : m_slots) {
        if (f_readUnaligned<ANYFUNCTION>(slot) == m_replacement)
            f_exchangeImport(slot, m_original);
        else
            ADD_FAILURE() << "patches of " << m_name << " must end in reverse order";
    }
}

void ICImportSlots::mf_replace(ANYFUNCTION replacement)
{
    m_replacement = replacement;
    for (ANYFUNCTION * slot : m_slots)
        f_exchangeImport(slot, replacement);
}
