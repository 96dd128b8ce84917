#include "hsmbase/failure/ICSortOrder.h"

#include "hsmbase/failure/ICErrno.h"

constinit ICSortOrder const ICSortOrder::NONE;
constinit ICSortOrder const ICSortOrder::ASCENDING(ORDER_ASCENDING);
constinit ICSortOrder const ICSortOrder::DESCENDING(ORDER_DESCENDING);

int ICSortOrder::operator==(ICSortOrder const & other) const
{
    return m_order == other.m_order;
}

int ICSortOrder::mf_isAscending() const
{
    return m_order == ORDER_ASCENDING;
}

int ICSortOrder::mf_isDescending() const
{
    return m_order == ORDER_DESCENDING;
}

int ICSortOrder::mf_isSet() const
{
    return mf_isAscending() || mf_isDescending();
}

ICSortOrder const & ICSortOrder::mf_toggle()
{
    if (!mf_isSet()) throw ICErrno(ICErrno::_E_::Initialization);
    m_order = mf_isAscending() ? ORDER_DESCENDING : ORDER_ASCENDING;
    return *this;
}

CString ICSortOrder::mf_toString() const
{
    switch (m_order) {
    case ORDER_NONE: return L"none";
    case ORDER_ASCENDING: return L"ascending";
    case ORDER_DESCENDING: return L"descending";
    default: return L"<unexpected>"; // the field was overwritten
    }
}
