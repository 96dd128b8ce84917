#pragma once

#include "hsmbase/failure/ICArray.h"
#include "hsmbase/failure/ICBool.h"

// A key and its value. The value is kept as text, whatever it was given as.
//
//     ICAttribute const attribute(L"retries", 5);
//     if (attribute.mf_getValueULONG() > 3) ...
//
// Threads: a plain value.
class HSMBASE_EXPORT ICAttribute
{
public:
    ICAttribute(ICAttribute const & other);
    ICAttribute(CString const & key, CString const & value);

    // The value becomes "true", "false" or "not set"; the last can't be read back as a boolean.
    ICAttribute(CString const & key, ICBool const & value);

    // Deliberate: numbers above 2147483647 become negative texts; mf_getValueULONG reads them back unharmed.
    ICAttribute(CString const & key, ulong value);

    ICAttribute & operator=(ICAttribute const & other);

    CString const & mf_getKey() const;
    CString const & mf_getValue() const;

    // As mf_StringToBOOL and mf_StringToULONG of the value.
    int mf_getValueBOOL() const;
    ulong mf_getValueULONG() const;

    // Key and value.
    void mf_makeUpper();

    // "key -> value"
    CString mf_toString() const;

    // "true" for 1, "false" for every other number.
    static CString mf_BOOLToString(int value);

    // 1 for "true", 0 for "false", in exactly this case. Throws _E_::Conversion for every other text.
    static int mf_StringToBOOL(CString const & text);

    // The decimal number at the start of the text; 0 where there is none.
    static ulong mf_StringToULONG(CString const & text);

    static CString mf_ULONGToString(ulong value);

    // Sorts by key, case-sensitive; descending with `ascending` 0. The array holds no NULL. Throws what
    // ICArray::mf_sort throws, and _E_::Unexpected in place of a failure of the class library.
    static void mf_sortByKey(ICArray<ICAttribute *, ICAttribute *> & attributes, int ascending);

private:
    CString m_sKey;
    CString m_sValue;
};
