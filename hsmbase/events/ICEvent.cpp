#include "hsmbase/events/ICEvent.h"

#include "hsmbase/context/ICString.h"

// The constants need no run time: whatever static meets them first finds them built.
#define ICEVENT_KIND(name, id) constexpr ICEVENT_ID ICEvent::name(id);
#include "hsmbase/events/ICEventIds.def"

namespace
{
constexpr unsigned int RESOURCE_EVENT = 3491;

struct KIND
{
    ICEVENT_ID id;
    wchar_t const * name;
};

constexpr KIND KINDS[] = {
#define ICEVENT_KIND(name, id) {ICEVENT_ID(id), L## #name},
#include "hsmbase/events/ICEventIds.def"
};

CString f_toHexadecimal(ICEVENT_ID id)
{
    CString text;
    text.Format(L"0x%16.16I64x", id.mf_getBits());
    return text;
}
} // namespace

ICEvent::ICEvent(ICEVENT_ID id, ICEventBroadcaster const * broadcaster, CString const & message)
    : m_id(id), m_pBroadcaster(broadcaster), m_sMessage(message)
{}

CString ICEvent::mf_toString(CString const & prefix) const
{
    return ICString(RESOURCE_EVENT, prefix.GetString(), mf_getTypeString(m_id).GetString(),
                    f_toHexadecimal(m_id).GetString(), m_sMessage.GetString());
}

ICEVENT_ID ICEvent::mf_getId() const
{
    return m_id;
}
ICEventBroadcaster const * ICEvent::mf_getBroadcaster() const
{
    return m_pBroadcaster;
}
CString const & ICEvent::mf_getMessage() const
{
    return m_sMessage;
}
void ICEvent::mf_setMessage(CString const & message)
{
    m_sMessage = message;
}

CString ICEvent::mf_getTypeString(ICEVENT_ID id)
{
    CString names;
    for (std::uint64_t bits = id.mf_getBits(); bits != 0; bits &= bits - 1) {
        std::uint64_t const lowest = bits & (~bits + 1);
        ICString::mf_appendList(names, mf_implGetTypeString(ICEVENT_ID(lowest)), L",");
    }
    return names;
}

// The name of exactly one kind.
CString ICEvent::mf_implGetTypeString(ICEVENT_ID id)
{
    for (KIND const & kind : KINDS)
        if (kind.id == id) return kind.name;
    CString text;
    text.Format(L"UNKNOWN EVENT ID: %s", f_toHexadecimal(id).GetString());
    return text;
}
