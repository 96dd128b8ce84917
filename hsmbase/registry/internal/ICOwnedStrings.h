#pragma once

#include <memory>

#include "hsmbase/failure/ICArray.h"

// Owns the strings of an array, which as such owns nothing, for a time: they are freed and the array is emptied when
// the owner ends, unless mf_keep has left them to somebody else.
//
//     ICOwnedStrings added(result);
//     added.mf_add(std::make_unique<CString>(L"text"));      // an exception from here on leaves nothing behind
//     added.mf_keep();                                       // the caller's from now on
//
// Threads: as its array.
class ICOwnedStrings
{
public:
    using ARRAY = ICArray<CString *, CString *>;

    // Takes over what is in the array already.
    explicit ICOwnedStrings(ARRAY & strings) : m_strings(&strings) {}
    ICOwnedStrings(ICOwnedStrings const &) = delete;
    ICOwnedStrings & operator=(ICOwnedStrings const &) = delete;

    ~ICOwnedStrings()
    {
        if (m_strings == nullptr) return;
        for (INT_PTR index = 0; index < m_strings->GetCount(); ++index)
            delete m_strings->GetAt(index);
        m_strings->RemoveAll();
    }

    void mf_add(std::unique_ptr<CString> string)
    {
        m_strings->Add(string.get());
        static_cast<void>(string.release());
        // The analyser loses sight of what is stored in an array.
        // NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDeleteLeaks)
    }

    void mf_remove(INT_PTR index)
    {
        delete m_strings->GetAt(index);
        m_strings->RemoveAt(index);
    }

    void mf_keep() { m_strings = nullptr; }

private:
    ARRAY * m_strings; // NULL: kept
};
