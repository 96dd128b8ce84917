#pragma once

#include "hsmbase/Types.h"

// The texts of one language library as Markdown: what has a meaning there is escaped in the texts, and nothing is in what
// is inserted. The library's handle is enough, whatever language the process speaks, so all can be read side by side.
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

    // Throws Resource, whose originator's message tells why: the library doesn't have the text, or it can't be formatted.
    CString mf_get(unsigned int id, wchar_t const * first = L"", wchar_t const * second = L"") const;

private:
    CString mf_implLoad(unsigned int id) const;

    HINSTANCE m_library;
};
