#include "hsmbase/failure/ICErrnoValue.h"

#include "hsmbase/context/ICString.h"

void ICErrnoValue::mf_reset()
{
    ICErrnoNumber::mf_reset();
    m_resourceId = 0;
}

CString ICErrnoValue::mf_toString() const
{
    CString text;
    text.Format(L"0x%8.8x (%c: %s)", m_number, mf_getSeverityChar(), mf_getString().GetString());
    return text;
}

unsigned int ICErrnoValue::mf_getResourceId() const
{
    return m_resourceId;
}

CString ICErrnoValue::mf_getString() const
{
    return ICString(m_resourceId);
}
