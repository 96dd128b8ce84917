#pragma once

#include <algorithm>
#include <set>
#include <string>

#include "hsmbase/context/ICLanguage.h"
#include "languages/ResourceIds.h"

// What the build knows of ids and languages, and a language library as a test reads it.

struct RESOURCE_ID
{
    unsigned number;
    wchar_t const * name;
    wchar_t const * inserts;
};

inline RESOURCE_ID const RESOURCE_IDS[] = {
#include "ResourceIdList.inc"
};

// In the order of the system's list.
struct LANGUAGE
{
    wchar_t const * code;
    wchar_t const * name;
    std::set<unsigned> asInEnglish; // texts that are rightly the same
    wchar_t const * folder = L"";   // of the library, with a backslash at its end; empty: that of the program
};

inline LANGUAGE const LANGUAGES[] = {
#include "LanguageList.inc"
};

// English, accented and lengthened, in the place of German: tests/languages/pseudo. No letter of these three texts has
// an accented form.
inline LANGUAGE const PSEUDO_LANGUAGE = {
    L"deu", L"pseudo", {IDS_TIME_COLONS, IDS_TIME_COMMAS, IDS_TIME_DOTS}, L"pseudo\\"};

inline std::wstring f_libraryName(std::wstring const & code)
{
    return L"tnwlang" + code + L".dll";
}

// A language library, loaded for its texts or as code.
class LanguageLibrary
{
public:
    explicit LanguageLibrary(std::wstring const & code, DWORD flags = LOAD_LIBRARY_AS_DATAFILE,
                             std::wstring const & folder = L"")
        : m_handle(::LoadLibraryExW((folder + f_libraryName(code)).c_str(), NULL, flags))
    {}
    explicit LanguageLibrary(LANGUAGE const & language, DWORD flags = LOAD_LIBRARY_AS_DATAFILE)
        : LanguageLibrary(language.code, flags, language.folder)
    {}
    LanguageLibrary(LanguageLibrary const &) = delete;
    LanguageLibrary & operator=(LanguageLibrary const &) = delete;
    ~LanguageLibrary()
    {
        if (m_handle != NULL) ::FreeLibrary(m_handle);
    }

    HMODULE mf_getHandle() const { return m_handle; }

    // Empty when there is none.
    std::wstring mf_getText(unsigned id) const
    {
        wchar_t const * text = NULL;
        int const length = ::LoadStringW(m_handle, id, reinterpret_cast<wchar_t *>(&text), 0);
        return length > 0 ? std::wstring(text, static_cast<std::size_t>(length)) : std::wstring();
    }

    std::set<unsigned> mf_getIds() const
    {
        std::set<unsigned> ids;
        for (unsigned id = 1; id <= 0xFFFF; ++id) {
            if (!mf_getText(id).empty()) ids.insert(id);
        }
        return ids;
    }

private:
    HMODULE m_handle;
};

// The id by which programs know the language; 0 if they don't.
inline unsigned short f_idOf(LANGUAGE const & language)
{
    unsigned short ids[ICLanguage::MAX_LANGUAGE_IDS];
    ICLanguage::mf_getAllLanguageIds(ids);
    return *std::find_if(ids, ids + ICLanguage::MAX_LANGUAGE_IDS, [&language](unsigned short id) {
        return id == 0 || ICLanguage::mf_getLibraryName(id) == f_libraryName(language.code);
    });
}
