#include "programs/catalog/ICCatalog.h"

#include <bit>
#include <iterator>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/failure/ICErrno.h"
#include "hsmbase/paths/ICPath.h"
#include "hsmbase/system/ICModule.h"
#include "languages/ResourceIds.h"
#include "programs/Utf8.h"
#include "programs/catalog/ICCatalogPage.h"
#include "programs/catalog/ICCatalogTexts.h"

namespace
{

// In the order of all languages.
constexpr unsigned int NAME_IDS[] = {IDS_LANGUAGE_CZECH,     IDS_LANGUAGE_ENGLISH,
                                     IDS_LANGUAGE_FRENCH,    IDS_LANGUAGE_GERMAN,
                                     IDS_LANGUAGE_HUNGARIAN, IDS_LANGUAGE_ITALIAN,
                                     IDS_LANGUAGE_JAPANESE,  IDS_LANGUAGE_KOREAN,
                                     IDS_LANGUAGE_POLISH,    IDS_LANGUAGE_PORTUGUESE,
                                     IDS_LANGUAGE_RUSSIAN,   IDS_LANGUAGE_SIMPLIFIED_CHINESE,
                                     IDS_LANGUAGE_SPANISH,   IDS_LANGUAGE_TRADITIONAL_CHINESE};
static_assert(std::size(NAME_IDS) + 1 == ICLanguage::MAX_LANGUAGE_IDS);

CString f_pageName(unsigned short language)
{
    CString name = ICLanguage::mf_getLanguageName(language, 0);
    name.MakeLower();
    name.Replace(L' ', L'-');
    return name + L".md";
}

// A library that isn't of this version may have other texts by the same ids.
void f_checkVersion(ICModule & module)
{
    auto const version = std::bit_cast<ulong (*)()>(module.mf_getAddress(L"?GetLanguageVersion@@YA?BKXZ"))();
    if (version == ICLanguage::LIBRARY_VERSION) return;
    CString text;
    text.Format(L"It has version %lu instead of %lu.", version, ICLanguage::LIBRARY_VERSION);
    throw ICErrno(ICErrno::_E_::Version, ICErrnoData::HSM_INTERNAL, 0, text);
}

// What the pages are made into.
struct CATALOG
{
    std::vector<ICCatalog::PAGE> pages;
    CString heading; // of the index
    CString links;
};

void f_addLanguage(CATALOG & catalog, CString const & library, unsigned short language, unsigned int nameId)
{
    ICModule module(library);
    f_checkVersion(module);
    HINSTANCE const handle = ::GetModuleHandleW(library);
    ICCatalogTexts const texts(handle);
    CString const title = texts.mf_get(IDS_CATALOG_TITLE);
    CString const page = f_pageName(language);
    catalog.pages.push_back({page, f_utf8(ICCatalogPage(handle).mf_get())});
    catalog.links += L"- [" + texts.mf_get(nameId) + L"](" + page + L"): " + title + L"\n";
    if (language == ICLanguage::ENGLISH_ID) catalog.heading = title;
}

} // namespace

std::vector<ICCatalog::PAGE> ICCatalog::mf_makePages(CString const & directory)
{
    CATALOG catalog;
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    ICLanguage::mf_getAllLanguageIds(ids);
    for (std::size_t at = 0; at < std::size(NAME_IDS); ++at) {
        CString const library = ICPath::mf_appendFile(directory, ICLanguage::mf_getLibraryName(ids[at]));
        try {
            f_addLanguage(catalog, library, ids[at], NAME_IDS[at]);
        }
        catch (ICErrno & failure) {
            CString text;
            text.Format(L"The language library '%s' cannot be used: %s", library.GetString(),
                        failure.mf_getErrnoData().mf_getOriginatorMessage());
            failure.mf_setMessageText(text);
            throw;
        }
    }
    catalog.pages.push_back({L"README.md", f_utf8(L"# " + catalog.heading + L"\n\n" + catalog.links)});
    return catalog.pages;
}
