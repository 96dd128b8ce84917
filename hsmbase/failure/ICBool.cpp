#include "hsmbase/failure/ICBool.h"

#include "hsmbase/failure/ICErrno.h"

constinit ICBool const ICBool::IC_TRUE = 1;
constinit ICBool const ICBool::IC_FALSE = 0;
constinit ICBool const ICBool::IC_UNDEFINED;

ICBool::ICBool(CString const & text)
{
    if (text.CompareNoCase(L"false") == 0) m_value = VALUE_FALSE;
    if (text.CompareNoCase(L"true") == 0) m_value = VALUE_TRUE;
}

int ICBool::operator=(int value)
{
    return *this = ICBool(value);
}

int ICBool::operator=(ICBool other)
{
    m_value = other.m_value;
    return mf_isTrue();
}

ICBool::operator int() const
{
    if (!mf_isSet()) throw ICErrno(ICErrno::_E_::BoolNotSet);
    return mf_isTrue();
}

int ICBool::operator==(int value) const
{
    return static_cast<int>(*this) == (value != 0);
}

int ICBool::operator!=(int value) const
{
    return !(*this == value);
}

int ICBool::operator==(ICBool other) const
{
    return m_value == other.m_value;
}

int ICBool::operator!=(ICBool other) const
{
    return !(*this == other);
}

int ICBool::mf_isSet() const
{
    return m_value != VALUE_UNDEFINED;
}

int ICBool::mf_isTrue() const
{
    return m_value == VALUE_TRUE;
}

int ICBool::mf_isFalse() const
{
    return m_value == VALUE_FALSE;
}

void ICBool::mf_reset()
{
    m_value = VALUE_UNDEFINED;
}

CString ICBool::mf_toString() const
{
    switch (m_value) {
    case VALUE_FALSE: return L"false";
    case VALUE_TRUE: return L"true";
    case VALUE_UNDEFINED: return L"undefined";
    default: return L"<unexpected state>"; // the byte was overwritten
    }
}
