#pragma once

#include "hsmbase/Types.h"

// The owner of one platform handle. A kind of handle is a struct with TYPE, mf_none() and mf_close(TYPE):
//
//     struct FIND_HANDLE {
//         using TYPE = HANDLE;
//         static TYPE mf_none() { return INVALID_HANDLE_VALUE; }
//         static int mf_close(TYPE handle) { return ::FindClose(handle); }
//     };
//     using ICFindHandle = ICHandle<FIND_HANDLE>;
//
// Where a failed close counts, mf_close is called and its answer, that of the kind, is looked at. The destructor is the
// safety net: it closes what is still open, keeps the thread's last error and reports nothing.
template<class KIND>
class ICHandle
{
public:
    using TYPE = typename KIND::TYPE;

    explicit ICHandle(TYPE handle = KIND::mf_none()) : m_handle(handle) {}
    ICHandle(ICHandle const &) = delete;
    ICHandle & operator=(ICHandle const &) = delete;

    ~ICHandle()
    {
        if (!mf_isOpen()) return;
        ulong const lastError = ::GetLastError();
        KIND::mf_close(m_handle);
        ::SetLastError(lastError);
    }

    bool mf_isOpen() const { return m_handle != KIND::mf_none(); }
    TYPE mf_get() const { return m_handle; }

    // For platform calls that hand out a handle through a pointer; nothing may be open.
    TYPE * mf_receive() { return &m_handle; }

    // Closes; to be called only while open. The handle counts as closed also after a failure.
    [[nodiscard]] auto mf_close()
    {
        TYPE const handle = m_handle;
        m_handle = KIND::mf_none();
        return KIND::mf_close(handle);
    }

private:
    TYPE m_handle;
};
