#pragma once

#include <string>
#include <vector>

#include "hsmbase/Types.h"

// The catalogue of all messages and error numbers as files: a page in each language, and an index that names each
// language in its own words.
//
//     for (ICCatalog::PAGE const & page : ICCatalog::mf_makePages(L"C:\\Program Files\\hsmbase\\"))
//         ... page.name, page.text ...
//
// Threads: any.
class ICCatalog
{
public:
    struct PAGE
    {
        CString name;     // "simplified-chinese.md"
        std::string text; // UTF-8
    };

    // All pages or none, made from the libraries in the directory. The same libraries give the same pages. Throws, with
    // a message text that names the library: DllOpen for one that is missing or damaged, DllFunction and Version for one
    // that isn't of this version, Resource for one without a text.
    static std::vector<PAGE> mf_makePages(CString const & directory);
};
