#pragma once

#include "tests/support/ICImportPatch.h"

// Lets the library's closing of handles fail while an object lives, or that of another module, nullptr being the
// program; the handles are closed all the same.
//
//     ICFailingClose const failing(ERROR_IO_DEVICE);
//     EXPECT_TRUE(f_throws(ICErrno::_E_::FileClose, [&] { ICPath::mf_getSize(path); }, ERROR_IO_DEVICE));
//     EXPECT_EQ(1u, failing.mf_getCalls());
//
class ICFailingClose
{
public:
    explicit ICFailingClose(ulong error, wchar_t const * module = L"hsmbase.dll")
        : m_patch(
              IC_IMPORT(CloseHandle),
              [this, error](HANDLE handle) -> BOOL {
                  ++m_calls;
                  m_patch.mf_original<decltype(&::CloseHandle)>()(handle);
                  ::SetLastError(error);
                  return FALSE;
              },
              module)
    {}
    ICFailingClose(ICFailingClose const &) = delete;
    ICFailingClose & operator=(ICFailingClose const &) = delete;

    ulong mf_getCalls() const { return m_calls; }

private:
    ulong m_calls = 0;
    ICImportPatch const m_patch;
};
