#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/support/ICImportPatch.h"

// How a file was opened, in the numbers of CreateFileW.
struct FILE_OPENING
{
    std::wstring m_path;
    ulong m_access;
    ulong m_share;
    ulong m_disposition;
    ulong m_flags;

    bool operator==(FILE_OPENING const &) const = default;

    friend std::ostream & operator<<(std::ostream & out, FILE_OPENING const & opening)
    {
        for (wchar_t const character : opening.m_path)
            out << (character < 0x7F ? static_cast<char>(character) : '?');
        return out << std::hex << " access 0x" << opening.m_access << " share " << opening.m_share << " disposition "
                   << opening.m_disposition << " flags 0x" << opening.m_flags << std::dec;
    }
};

// Keeps how the library opens files while it lives; the files are opened all the same.
//
//     ICRecordedOpens const opens;
//     ICPath::mf_getSize(path);
//     EXPECT_THAT(opens.mf_get(), ElementsAre(FILE_OPENING{f_longPath(file), 0x80, 1, 3, 0x300000}));
//
class ICRecordedOpens
{
public:
    ICRecordedOpens()
        : m_patch(IC_IMPORT(CreateFileW), [this](LPCWSTR path, DWORD access, DWORD share, auto * security,
                                                 DWORD disposition, DWORD flags, HANDLE model) {
              m_opens.push_back({path, access, share, disposition, flags});
              return ::CreateFileW(path, access, share, security, disposition, flags, model);
          })
    {}
    ICRecordedOpens(ICRecordedOpens const &) = delete;
    ICRecordedOpens & operator=(ICRecordedOpens const &) = delete;

    std::vector<FILE_OPENING> const & mf_get() const { return m_opens; }

private:
    std::vector<FILE_OPENING> m_opens;
    ICImportPatch const m_patch;
};
