#include "hsmbase/events/ICEventListener.h"

ICEventListener::ICEventListener() : m_eventMask(ICEVENT_ID(~std::uint64_t{0})) {}

ICEventListener::ICEventListener(ICEVENT_ID mask) : m_eventMask(mask) {}

ICEventListener::ICEventListener(ICEventListener const & other) : m_eventMask(other.mf_getEventMask()) {}

ICEventListener & ICEventListener::operator=(ICEventListener const & other)
{
    m_eventMask = other.mf_getEventMask();
    return *this;
}

void ICEventListener::mf_setEventMask(ICEVENT_ID mask)
{
    m_eventMask = mask;
}

void ICEventListener::mf_addEventMask(ICEVENT_ID mask)
{
    ICEVENT_ID before = m_eventMask;
    while (!m_eventMask.compare_exchange_weak(before, before | mask)) {}
}

ICEVENT_ID ICEventListener::mf_getEventMask() const
{
    return m_eventMask;
}

int ICEventListener::mf_isListener(ICEVENT_ID id) const
{
    return static_cast<bool>(mf_getEventMask() & id);
}

int ICEventListener::operator==(ICEventListener const & other) const
{
    return this == &other;
}
int ICEventListener::operator!=(ICEventListener const & other) const
{
    return this != &other;
}
