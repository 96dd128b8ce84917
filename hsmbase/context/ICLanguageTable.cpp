#include <algorithm>
#include <cwchar>
#include <iterator>

#include "hsmbase/context/ICLanguage.h"
#include "hsmbase/context/ICString.h"
#include "hsmbase/failure/internal/ICTrace.h"

// The list of languages, and the questions that are answered from it alone.

namespace
{
struct LANGUAGE
{
    unsigned short id;
    wchar_t const * name;
    unsigned int nameResource;
    wchar_t const * library;
    int requiresUCS2;
    int printsDoubleWidthChars;
};

// The list is closed; its order is that of the English names.
constexpr LANGUAGE LANGUAGES[] = {
    {1029, L"Czech", 3832, L"tnwlangcsy.dll", 0, 0},
    {ICLanguage::ENGLISH_ID, L"English", 3833, L"tnwlangenu.dll", 0, 0},
    {1036, L"French", 3835, L"tnwlangfra.dll", 0, 0},
    {1031, L"German", 3836, L"tnwlangdeu.dll", 0, 0},
    {1038, L"Hungarian", 3837, L"tnwlanghun.dll", 0, 0},
    {1040, L"Italian", 3838, L"tnwlangita.dll", 0, 0},
    {1041, L"Japanese", 3839, L"tnwlangjpn.dll", 1, 1},
    {1042, L"Korean", 3840, L"tnwlangkor.dll", 1, 1},
    {1045, L"Polish", 3841, L"tnwlangplk.dll", 0, 0},
    {1046, L"Portuguese", 3842, L"tnwlangptb.dll", 0, 0},
    {1049, L"Russian", 3843, L"tnwlangrus.dll", 1, 0},
    {2052, L"Simplified Chinese", 3844, L"tnwlangchs.dll", 1, 1},
    {3082, L"Spanish", 3845, L"tnwlangesp.dll", 0, 0},
    {1028, L"Traditional Chinese", 3846, L"tnwlangcht.dll", 1, 1},
};
static_assert(std::size(LANGUAGES) + 1 == ICLanguage::MAX_LANGUAGE_IDS);

// The first row that the test accepts, or NULL.
template<class TEST>
LANGUAGE const * f_findLanguage(TEST test)
{
    auto const row = std::find_if(std::begin(LANGUAGES), std::end(LANGUAGES), test);
    return row == std::end(LANGUAGES) ? nullptr : row;
}

LANGUAGE const * f_findLanguage(unsigned short id)
{
    return f_findLanguage([id](LANGUAGE const & language) { return language.id == id; });
}
} // namespace

// The values stand in the class; these are their places in memory, for programs that take a reference to one.
ulong const ICLanguage::USER_LANGUAGE;
ulong const ICLanguage::LOGGING_LANGUAGE;
ulong const ICLanguage::FALLBACK_LANGUAGE;
ulong const ICLanguage::CURRENT_LANGUAGE;
unsigned short const ICLanguage::ENGLISH_ID;
ulong const ICLanguage::MAX_LANGUAGE_IDS;
ulong const ICLanguage::LIBRARY_VERSION;

unsigned short ICLanguage::mf_getLanguageId(wchar_t const * name)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLanguageId::2";

    if ((name == nullptr) || (*name == L'\0'))
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Parameter, L"Empty parameter");
    LANGUAGE const * const language =
        f_findLanguage([name](LANGUAGE const & row) { return ::wcscmp(row.name, name) == 0; });
    if (language == nullptr)
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Unknown, L"Unknown language name: %s", name);
    return language->id;
}

CString ICLanguage::mf_getLanguageName(unsigned short id, int localized)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLanguageName";

    LANGUAGE const * const language = f_findLanguage(id);
    if (language == nullptr) {
        // Deliberate: the trace names another word than the answer; so does that of the library.
        ICTrace(_sFunction_).mf_error(L"Unknown language id: %hu, returning <LANGUAGE-UNKNOWN>", id);
        return L"<UNKNOWN>";
    }
    if (!localized) return language->name;
    return ICString(language->nameResource);
}

wchar_t const * ICLanguage::mf_getLibraryName(unsigned short id)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_getLibraryName";

    LANGUAGE const * const language = f_findLanguage(id);
    if (language == nullptr) {
        ICTrace(_sFunction_).mf_error(L"Unexpected language id: 0x%hu, <LIBRARY-UNKNOWN>", id);
        return L"<UNKNOWN>";
    }
    return language->library;
}

int ICLanguage::mf_isLanguageDefined(unsigned short id)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_isLanguageDefined";

    mf_implGetInstance(_sFunction_);
    return f_findLanguage(id) != nullptr;
}

int ICLanguage::mf_requiresUCS2(unsigned short id)
{
    static wchar_t const _sFunction_[] = L"ICLanguage::mf_requiresUCS2";

    mf_implGetInstance(_sFunction_);
    LANGUAGE const * const language = f_findLanguage(id);
    if (language == nullptr) {
        throw ICTrace(_sFunction_)
            .mf_failed(ICErrno::_E_::Internal, L"Unexpected language id: 0x%hu, <LIBRARY-UNKNOWN>", id);
    }
    return language->requiresUCS2;
}

int ICLanguage::mf_printsDoubleWidthChars(unsigned short id)
{
    LANGUAGE const * const language = f_findLanguage(id);
    return (language != nullptr) && language->printsDoubleWidthChars;
}

unsigned short const * ICLanguage::mf_getAllLanguageIds(unsigned short * ids)
{
    unsigned short * next = ids;
    for (LANGUAGE const & language : LANGUAGES)
        *next++ = language.id;
    *next = 0;
    return ids;
}

unsigned short const * ICLanguage::mf_getInstalledLanguageIds(unsigned short * ids)
{
    unsigned short * next = ids;
    for (LANGUAGE const & language : LANGUAGES)
        if (mf_isLanguageInstalled(language.id)) *next++ = language.id;
    *next = 0;
    return ids;
}
