#pragma once

#include "hsmbase/Types.h"

// The texts of one language library as Markdown: in the texts what has a meaning there is escaped, in what is inserted
// nothing is. The library's handle is enough, whatever language the process speaks, so all can be read side by side.
//
//     ICCatalogTexts const texts(library);
//     texts.mf_get(IDS_LABEL_EXPLANATION, L"**", L"**");   // "**Explanation:** "
//
// Threads: any.
class ICCatalogTexts
{
public:
    // The library stays the caller's.
    explicit ICCatalogTexts(HINSTANCE library) : m_library(library) {}

    // Throws Resource when the library doesn't have the text, or one that can't be formatted: the originator's message
    // tells which.
    CString mf_get(unsigned int id, wchar_t const * first = L"", wchar_t const * second = L"") const;

private:
    CString mf_implLoad(unsigned int id) const;

    HINSTANCE m_library;
};
