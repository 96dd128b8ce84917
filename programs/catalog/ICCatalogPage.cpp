#include "programs/catalog/ICCatalogPage.h"

#include <algorithm>
#include <cwchar>

#include "hsmbase/context/ICFormatter.h"
#include "languages/ResourceIds.h"

namespace
{

constexpr int NUMBER_WIDTH = 10; // "0x0300002b"

// Names and numbers are Latin; only the heading of a column may have characters that are twice as wide.
int f_columnsOf(CString const & text)
{
    constexpr wchar_t FIRST_WIDE = 0x2E80;
    return text.GetLength() +
           static_cast<int>(std::count_if(text.GetString(), text.GetString() + text.GetLength(),
                                          [](wchar_t character) { return character >= FIRST_WIDE; }));
}

CString f_padded(CString const & text, int width)
{
    return text + CString(L' ', std::max(0, width - f_columnsOf(text)));
}

} // namespace

CString ICCatalogPage::mf_get()
{
    m_page.Empty();
    mf_implAddHeading(L"#", m_texts.mf_get(IDS_CATALOG_TITLE));
    mf_implAddParagraph(m_texts.mf_get(IDS_CATALOG_PURPOSE, L"`hsmscan --explain-message`"));
    mf_implAddHeading(L"##", m_texts.mf_get(IDS_CATALOG_HEADING_MESSAGES));
    mf_implAddParagraph(m_texts.mf_get(IDS_CATALOG_ABOUT_MESSAGES));
    for (ICMessageCatalog::MESSAGE const & message : ICMessageCatalog::mf_getMessages())
        mf_implAddMessage(message);
    mf_implAddHeading(L"##", m_texts.mf_get(IDS_CATALOG_HEADING_ERRORS));
    mf_implAddParagraph(m_texts.mf_get(IDS_CATALOG_ABOUT_ERRORS));
    for (ICMessageCatalog::SEVERITY const & severity : ICMessageCatalog::mf_getSeverities())
        mf_implAddTable(severity);
    return m_page;
}

void ICCatalogPage::mf_implAddHeading(wchar_t const * level, CString const & text)
{
    if (!m_page.IsEmpty()) m_page += L"\n";
    m_page += level + (L" " + text) + L"\n";
}

void ICCatalogPage::mf_implAddParagraph(CString const & text)
{
    m_page += L"\n" + ICFormatter::mf_formatLine(text) + L"\n";
}

void ICCatalogPage::mf_implAddMessage(ICMessageCatalog::MESSAGE const & message)
{
    CString const insert = L"&lt;" + m_texts.mf_get(message.insertId) + L"&gt;";
    mf_implAddHeading(L"###", message.number);
    mf_implAddParagraph(m_texts.mf_get(message.textId, insert));
    mf_implAddDetail(IDS_LABEL_EXPLANATION, message.mf_getExplanationId());
    mf_implAddDetail(IDS_LABEL_SYSTEM_ACTION, message.mf_getSystemActionId());
    mf_implAddDetail(IDS_LABEL_USER_RESPONSE, message.mf_getUserResponseId());
}

void ICCatalogPage::mf_implAddDetail(unsigned int labelId, unsigned int textId)
{
    mf_implAddParagraph(m_texts.mf_get(labelId, L"**", L"**") + m_texts.mf_get(textId));
}

void ICCatalogPage::mf_implAddTable(ICMessageCatalog::SEVERITY const & severity)
{
    CString const nameHeading = m_texts.mf_get(IDS_CATALOG_NAME);
    m_nameWidth = f_columnsOf(nameHeading);
    for (ICMessageCatalog::ERROR_CONSTANT const & constant : severity.constants)
        m_nameWidth = std::max(m_nameWidth, static_cast<int>(std::wcslen(constant.name)));

    mf_implAddHeading(L"###", m_texts.mf_get(severity.textId));
    m_page += L"\n";
    mf_implAddRow(m_texts.mf_get(IDS_CATALOG_NUMBER), nameHeading, m_texts.mf_get(IDS_CATALOG_TEXT));
    mf_implAddRow(CString(L'-', NUMBER_WIDTH), CString(L'-', m_nameWidth), L"---");
    for (ICMessageCatalog::ERROR_CONSTANT const & constant : severity.constants) {
        CString number;
        number.Format(L"0x%08lx", constant.number);
        mf_implAddRow(number, constant.name, m_texts.mf_get(constant.textId));
    }
}

void ICCatalogPage::mf_implAddRow(CString const & number, CString const & name, CString const & text)
{
    m_page += L"| " + f_padded(number, NUMBER_WIDTH) + L" | " + f_padded(name, m_nameWidth) + L" | " +
              ICFormatter::mf_formatLine(text) + L" |\n";
}
