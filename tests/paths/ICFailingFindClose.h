#pragma once

#include "tests/support/ICImportPatch.h"

// Lets the library's closing of searches fail while an object lives; the searches are closed all the same.
//
//     ICFailingFindClose const failing(ERROR_IO_DEVICE);
//     ...
//     EXPECT_EQ(1u, failing.mf_getCalls());
//
class ICFailingFindClose
{
public:
    explicit ICFailingFindClose(ulong error)
        : m_patch(IC_IMPORT(FindClose), [this, error](HANDLE search) -> BOOL {
              ++m_calls;
              ::FindClose(search);
              ::SetLastError(error);
              return FALSE;
          })
    {}
    ICFailingFindClose(ICFailingFindClose const &) = delete;
    ICFailingFindClose & operator=(ICFailingFindClose const &) = delete;

    ulong mf_getCalls() const { return m_calls; }

private:
    ulong m_calls = 0;
    ICImportPatch const m_patch;
};
