#pragma once

#include "programs/catalog/ICCatalogTexts.h"
#include "programs/catalog/ICMessageCatalog.h"

// The page of the catalogue in one language: all messages with what they say, and all error constants, a table for each
// severity. In Markdown that can be read as it is: a paragraph is one line, and the columns of a table are aligned as
// far as their characters are those of Latin.
//
//     CString const page = ICCatalogPage(library).mf_get();
//
// Threads: an object belongs to one thread.
class ICCatalogPage
{
public:
    explicit ICCatalogPage(HINSTANCE library) : m_texts(library) {}

    // Lines end in "\n". Throws what ICCatalogTexts throws.
    CString mf_get();

private:
    void mf_implAddHeading(wchar_t const * level, CString const & text);
    void mf_implAddParagraph(CString const & text);
    void mf_implAddMessage(ICMessageCatalog::MESSAGE const & message);
    void mf_implAddDetail(unsigned int labelId, unsigned int textId);
    void mf_implAddTable(ICMessageCatalog::SEVERITY const & severity);
    void mf_implAddRow(CString const & number, CString const & name, CString const & text);

    ICCatalogTexts const m_texts;
    CString m_page;
    int m_nameWidth = 0; // of the table that is being made
};
