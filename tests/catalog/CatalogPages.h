#pragma once

#include <string>

#include "programs/Utf8.h"
#include "programs/catalog/ICCatalog.h"
#include "tests/languages/LanguageLists.h"
#include "tests/support/ICStartedProcess.h"

// The pages of the languages that were built beside the test program.
inline std::vector<ICCatalog::PAGE> f_pages()
{
    return ICCatalog::mf_makePages(ICStartedProcess::mf_getProgramDirectory().c_str());
}

// A text of a language library in UTF-8, as it stands there.
inline std::string f_text(LanguageLibrary const & library, unsigned id)
{
    return f_utf8(library.mf_getText(id).c_str());
}

inline std::wstring f_pageName(LANGUAGE const & language)
{
    return std::wstring(language.name) + L".md";
}

// The page of the language; empty when there is none.
inline std::string f_pageOf(std::vector<ICCatalog::PAGE> const & pages, LANGUAGE const & language)
{
    auto const found = std::find_if(pages.begin(), pages.end(), [&language](ICCatalog::PAGE const & page) {
        return page.name == f_pageName(language).c_str();
    });
    return found == pages.end() ? std::string() : found->text;
}
