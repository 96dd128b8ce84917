#include "hsmbase/failure/ICAttribute.h"

#include "hsmbase/failure/internal/ICTrace.h"

ICAttribute::ICAttribute(ICAttribute const & other) = default;

ICAttribute::ICAttribute(CString const & key, CString const & value) : m_sKey(key), m_sValue(value) {}

ICAttribute::ICAttribute(CString const & key, ICBool const & value)
    : m_sKey(key), m_sValue(value.mf_isSet() ? value.mf_toString() : CString(L"not set"))
{}

ICAttribute::ICAttribute(CString const & key, ulong value) : m_sKey(key)
{
    m_sValue.Format(L"%d", value);
}

ICAttribute & ICAttribute::operator=(ICAttribute const & other) = default;

CString const & ICAttribute::mf_getKey() const
{
    return m_sKey;
}

CString const & ICAttribute::mf_getValue() const
{
    return m_sValue;
}

int ICAttribute::mf_getValueBOOL() const
{
    return mf_StringToBOOL(m_sValue);
}

ulong ICAttribute::mf_getValueULONG() const
{
    return mf_StringToULONG(m_sValue);
}

void ICAttribute::mf_makeUpper()
{
    m_sKey.MakeUpper();
    m_sValue.MakeUpper();
}

CString ICAttribute::mf_toString() const
{
    return m_sKey + L" -> " + m_sValue;
}

CString ICAttribute::mf_BOOLToString(int value)
{
    return value == 1 ? L"true" : L"false";
}

int ICAttribute::mf_StringToBOOL(CString const & text)
{
    static wchar_t const _sFunction_[] = L"ICAttribute::mf_StringToBOOL";

    if (text == L"true") return 1;
    if (text == L"false") return 0;
    throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Conversion, L"Value '%s' is not of type BOOL", text);
}

ulong ICAttribute::mf_StringToULONG(CString const & text)
{
    ulong number = 0;
    ::swscanf_s(text, L"%lu", &number); // a text without digits leaves the 0
    return number;
}

CString ICAttribute::mf_ULONGToString(ulong value)
{
    CString text;
    text.Format(L"%lu", value);
    return text;
}

static int f_compareAscending(void const * left, void const * right)
{
    ICAttribute const & first = **static_cast<ICAttribute * const *>(left);
    ICAttribute const & second = **static_cast<ICAttribute * const *>(right);
    return first.mf_getKey().Compare(second.mf_getKey());
}

static int f_compareDescending(void const * left, void const * right)
{
    return f_compareAscending(right, left);
}

void ICAttribute::mf_sortByKey(ICArray<ICAttribute *, ICAttribute *> & attributes, int ascending)
{
    static wchar_t const _sFunction_[] = L"ICAttribute::mf_sortByKey";

    try {
        attributes.mf_sort(ascending != 0 ? f_compareAscending : f_compareDescending);
    }
    catch (ICErrno & failure) {
        throw ICTrace(_sFunction_).mf_failed(failure, L"Failure sorting attribute array: %s", failure.mf_toString());
    }
    catch (...) {
        throw ICTrace(_sFunction_).mf_failed(ICErrno::_E_::Unexpected, L"Exception sorting attribute array");
    }
}
