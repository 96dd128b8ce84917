// The operations of CSimpleString that are too long to stand in the class. Included by atlsimpstr.h only.
#pragma once

#include "../atlsimpstr.h"

inline CSimpleString & CSimpleString::operator=(CSimpleString const & other)
{
    if (m_text == other.m_text) return *this;
    if (mf_implIsLocked()) {
        SetString(other.m_text, other.GetLength());
    } else {
        PXSTR const text = mf_implShare(other);
        mf_implData()->mf_release();
        m_text = text;
    }
    return *this;
}

inline CSimpleString & CSimpleString::operator=(CSimpleString && other)
{
    // A locked buffer stays where it is: the lock's owner holds its address.
    if (mf_implIsLocked() || other.mf_implIsLocked()) {
        return *this = static_cast<CSimpleString const &>(other);
    }
    if (this != &other) {
        mf_implData()->mf_release();
        m_text = std::exchange(other.m_text, g_classlibNil.text);
    }
    return *this;
}

inline void CSimpleString::SetString(PCXSTR text, int length)
{
    if (length == 0) {
        Empty();
        return;
    }
    if (length < 0 || text == nullptr) AtlThrow(E_INVALIDARG);
    CStringData * const data = mf_implData();
    if (data->mf_isOwn() && length <= data->capacity) {
        std::memmove(m_text, text, CStringData::mf_bytes(length));
        mf_implSetLength(length);
        return;
    }
    // The old text goes last, because the new one may be a part of it.
    PXSTR const copy = mf_implCreate(text, length);
    bool const locked = mf_implIsLocked();
    m_text = copy;
    data->mf_release();
    if (locked) {
        mf_implData()->mf_setReferences(CStringData::LOCKED);
    }
}

inline void CSimpleString::Empty() noexcept
{
    CStringData * const data = mf_implData();
    if (mf_implIsLocked()) {
        mf_implSetLength(0);
        return;
    }
    m_text = g_classlibNil.text;
    data->mf_release();
}
